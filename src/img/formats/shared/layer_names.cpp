#include "img/formats/shared/layer_names.h"

#include <set>

#include "io/exceptions.h"

namespace img {

std::vector<layer> layers_named(std::vector<std::string> names) {
  std::vector<layer> layers(1);
  std::set<std::string> taken;
  for (const std::string& name : names) {
    const int index = static_cast<int>(layers.size());
    const std::string base = name.empty() ? "layer " + std::to_string(index) : name;
    std::string unique = base;
    for (int i = 2; !taken.insert(unique).second; ++i) unique = base + " (" + std::to_string(i) + ")";
    layers.push_back({2, index, unique});
  }
  return layers;
}

int find_layer(const std::string& path, const std::vector<layer>& layers, const layer& wanted) {
  if (wanted.is_default()) return -1;
  for (std::size_t i = 1; i < layers.size(); ++i) {
    if (layers[i].name == wanted.name) return static_cast<int>(i) - 1;
  }
  throw io::invalid_format(path, "Empty layer");
}

}  // namespace img
