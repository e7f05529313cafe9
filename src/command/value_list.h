// Lists of values as text: elements separated by commas, an element with commas in braces.
#pragma once

#include <string>
#include <string_view>

namespace command {

// Takes the next element off the front of `text` into `element`; false when `text` has no more. Start with
// `more` = !text.empty(): it stays true while a comma announces a further element, so that a comma at the very end
// yields a last empty one.
bool take_value(std::string_view& text, bool& more, std::string_view& element);

std::size_t count_values(std::string_view text);

// Adds an element to a list, with braces where it would not be read back as one element. `first`: the list is empty.
void append_value(std::string& list, bool first, std::string_view element);

}  // namespace command
