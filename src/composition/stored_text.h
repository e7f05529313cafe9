// Content that no file holds, on one line of text: a document's archive of it, packed, as base64. Option text carries
// with it what only the document knows.
#pragma once

#include <string>
#include <string_view>

#include "composition/track_info.h"

namespace ksn {

// Whether the layer's picture or sound stands in the document itself.
bool has_stored_content(const track_info& layer);
// The picture, canvases or sound of such a layer, with its kind, length and size.
std::string stored_content(const track_info& layer);
// Makes it the layer's source. Throws the io family for a text that is no such content; the layer is as it was then.
void take_stored_content(std::string_view text, track_info& layer);

std::string stored_table(const img::lookup_table& table);
// Throws the io family.
img::lookup_table table_of(std::string_view text);

}  // namespace ksn
