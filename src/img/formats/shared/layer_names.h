// Names of the pictures inside a file, by which users choose one.
#pragma once

#include <string>
#include <vector>

#include "img/image.h"

namespace img {

// The list that img::format::list_layers gives: the main picture, then one entry for each name, in this order. A name
// that came before gets a number after it, as in "sky (2)"; an empty one becomes "layer N".
std::vector<layer> layers_named(std::vector<std::string> names);

// The place of `wanted` among layers_named(names), by its name; -1 for the main picture. Throws
// io::invalid_format(path, "Empty layer") for a name that the file does not have.
int find_layer(const std::string& path, const std::vector<layer>& layers, const layer& wanted);

}  // namespace img
