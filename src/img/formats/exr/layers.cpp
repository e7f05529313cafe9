#include "img/formats/exr/layers.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>

#include "io/exceptions.h"

namespace img {
namespace {

struct suffix_group {
  std::array<const char*, 3> colors;  // shown as red, green, blue
  const char* alpha;                  // null when the group has none
  bool single;                        // a lone channel that is not the first is a gray picture
};

constexpr suffix_group groups[] = {
    {{".R", ".G", ".B"}, ".A", false},
    {{".r", ".g", ".b"}, ".a", false},
    {{".red", ".green", ".blue"}, ".alpha", false},
    {{".X", ".Y", ".Z"}, nullptr, true},
    {{".x", ".y", ".z"}, nullptr, true},
    {{".MX", ".MY", ".MZ"}, nullptr, false},
    {{".U", ".V", ".W"}, nullptr, false},
    {{".u", ".v", ".w"}, nullptr, false},
};

// Channels of a group under the name `layer`; -1 for one that is not there.
struct found_group {
  std::array<int, 3> colors{-1, -1, -1};
  int alpha = -1;
  int count() const {
    return static_cast<int>(std::count_if(colors.begin(), colors.end(), [](int c) { return c >= 0; }));
  }
};

found_group find_group(const exr_file& file, const std::string& layer, const suffix_group& group) {
  found_group found;
  for (std::size_t i = 0; i < 3; ++i) found.colors[i] = file.find_channel(layer + group.colors[i]);
  if (group.alpha != nullptr) found.alpha = file.find_channel(layer + group.alpha);
  return found;
}

const exr_attr_chlist_entry_t& channel_of(const exr_file& file, const exr_channel_use& use) {
  return file.channels().entries[use.channel];
}

void check_sampling(const exr_file& file, const exr_picture& picture) {
  for (const exr_channel_use& use : picture.uses) {
    const exr_attr_chlist_entry_t& channel = channel_of(file, use);
    if (channel.x_sampling != 1 || channel.y_sampling != 1) {
      throw io::invalid_format(file.path(), "Unsupported sampling rate");
    }
  }
}

// The planes can hold halves, and floats as halves.
void check_types(const exr_file& file, const exr_picture& picture) {
  for (const exr_channel_use& use : picture.uses) {
    const exr_pixel_type_t type = channel_of(file, use).pixel_type;
    if (type != EXR_PIXEL_HALF && type != EXR_PIXEL_FLOAT) {
      throw io::invalid_format(file.path(), "Unsupported channel type within a layer");
    }
    if (type != channel_of(file, picture.uses.front()).pixel_type) {
      throw io::invalid_format(file.path(), "Channel type mismatch within a layer");
    }
  }
}

exr_picture gray_picture(int channel) {
  exr_picture picture;
  picture.letters = "L";
  picture.uses = {{channel, 0}};
  return picture;
}

// Planes stand in the order blue, green, red.
exr_picture colour_picture(const std::array<int, 3>& red_green_blue, int alpha) {
  exr_picture picture;
  picture.letters = alpha >= 0 ? "BGRA" : "BGR";
  for (std::size_t i = 0; i < 3; ++i) {
    if (red_green_blue[i] >= 0) picture.uses.push_back({red_green_blue[i], 2 - static_cast<int>(i)});
  }
  if (alpha >= 0) picture.uses.push_back({alpha, 3});
  return picture;
}

exr_picture main_picture(const exr_file& file) {
  const int luma = file.find_channel("Y");
  const bool chroma = file.find_channel("RY") >= 0 || file.find_channel("BY") >= 0;
  std::array<int, 3> colors{file.find_channel("R"), file.find_channel("G"), file.find_channel("B")};
  if (chroma) {
    colors.fill(-1);
  } else if (luma >= 0) {
    colors.fill(luma);
  }
  exr_picture picture = colour_picture(colors, file.find_channel("A"));
  picture.from_chroma = chroma;
  if (const int depth = file.find_channel("Z"); depth >= 0) {
    picture.has_depth = true;
    picture.uses.push_back({depth, 4});
  }
  return picture;
}

exr_picture layer_picture(const exr_file& file, const std::string& name) {
  if (const int channel = file.find_channel(name); channel >= 0) return gray_picture(channel);
  const std::string prefix = name + ".";
  const exr_attr_chlist_t& list = file.channels();
  const bool any = std::any_of(list.entries, list.entries + list.num_channels, [&](const exr_attr_chlist_entry_t& c) {
    return std::string_view(c.name.str).starts_with(prefix);
  });
  if (!any) throw io::invalid_format(file.path(), "Empty layer");
  for (const suffix_group& group : groups) {
    const found_group found = find_group(file, name, group);
    if (found.count() == 0) continue;
    if (group.single && found.count() == 1 && found.colors[0] < 0) {
      return gray_picture(std::max(found.colors[1], found.colors[2]));
    }
    return colour_picture(found.colors, found.alpha);
  }
  throw io::invalid_format(file.path(), "Unsupported layer");
}

// The name of the group that a channel belongs to: what is before its last dot. Empty for none.
std::string group_name(std::string_view channel) {
  const std::size_t dot = channel.rfind('.');
  if (dot == std::string_view::npos || dot == 0 || dot + 1 == channel.size()) return {};
  return std::string(channel.substr(0, dot));
}

}  // namespace

exr_picture choose_picture(const exr_file& file, const layer& layer) {
  std::string name = layer.name;
  if (name.empty() && layer.index > 0) {
    // An entry of the list by its place alone.
    const std::vector<img::layer> layers = layers_of(file);
    if (static_cast<std::size_t>(layer.index) >= layers.size()) throw io::invalid_format(file.path(), "Empty layer");
    name = layers[static_cast<std::size_t>(layer.index)].name;
  }
  exr_picture picture = name.empty() ? main_picture(file) : layer_picture(file, name);
  // The library turns integers of the main picture into halves.
  if (!name.empty()) check_types(file, picture);
  check_sampling(file, picture);
  return picture;
}

std::vector<layer> layers_of(const exr_file& file) {
  const exr_attr_chlist_t& list = file.channels();
  std::set<std::string> names;  // of groups that can be read
  std::set<int> shown;          // channels of the main picture and of those groups
  for (const char* name : {"R", "G", "B", "A", "Z", "Y", "RY", "BY"}) shown.insert(file.find_channel(name));
  for (int i = 0; i < list.num_channels; ++i) {
    const std::string name = group_name(list.entries[i].name.str);
    if (name.empty() || names.contains(name)) continue;
    const auto group = std::find_if(std::begin(groups), std::end(groups),
                                    [&](const suffix_group& g) { return find_group(file, name, g).count() > 0; });
    if (group == std::end(groups)) continue;
    names.insert(name);
    const found_group found = find_group(file, name, *group);
    shown.insert(found.colors.begin(), found.colors.end());
    shown.insert(found.alpha);
  }
  std::vector<layer> layers(1);
  const auto add = [&](const std::string& name) { layers.push_back({2, static_cast<int>(layers.size()), name}); };
  for (const std::string& name : names) add(name);
  for (int i = 0; i < list.num_channels; ++i) {
    const exr_attr_chlist_entry_t& channel = list.entries[i];
    const bool readable = channel.pixel_type != EXR_PIXEL_UINT && channel.x_sampling == 1 && channel.y_sampling == 1;
    if (readable && !shown.contains(i)) add(channel.name.str);
  }
  return layers;
}

}  // namespace img
