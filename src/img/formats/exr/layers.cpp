#include "img/formats/exr/layers.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <utility>

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

using channel_list = exr_attr_chlist_t;

found_group find_group(const channel_list& list, const std::string& layer, const suffix_group& group) {
  found_group found;
  for (std::size_t i = 0; i < 3; ++i) found.colors[i] = find_channel(list, layer + group.colors[i]);
  if (group.alpha != nullptr) found.alpha = find_channel(list, layer + group.alpha);
  return found;
}

const char* type_name(exr_pixel_type_t type) {
  return type == EXR_PIXEL_HALF ? "HALF" : type == EXR_PIXEL_FLOAT ? "FLOAT" : "UINT";
}

// The reason why the channels can't be read; empty when they can.
std::string sampling_fault(const channel_list& list, const exr_picture& picture) {
  for (const exr_channel_use& use : picture.uses) {
    const exr_attr_chlist_entry_t& channel = list.entries[use.channel];
    if (channel.x_sampling != 1 || channel.y_sampling != 1) {
      return std::string("Unsupported sampling rate: ") + channel.name.str + " is sampled " +
             std::to_string(channel.x_sampling) + " x " + std::to_string(channel.y_sampling) + "; 1 x 1 is read";
    }
  }
  return {};
}

// The planes can hold halves, and floats as halves.
std::string type_fault(const channel_list& list, const exr_picture& picture) {
  for (const exr_channel_use& use : picture.uses) {
    const exr_attr_chlist_entry_t& channel = list.entries[use.channel];
    const exr_attr_chlist_entry_t& first = list.entries[picture.uses.front().channel];
    const std::string found = std::string(channel.name.str) + " is " + type_name(channel.pixel_type);
    if (channel.pixel_type == EXR_PIXEL_UINT) {
      return "Unsupported channel type within a layer: " + found + "; HALF and FLOAT are read";
    }
    if (channel.pixel_type != first.pixel_type) {
      return "Channel type mismatch within a layer: " + std::string(first.name.str) + " is " +
             type_name(first.pixel_type) + ", " + found;
    }
  }
  return {};
}

bool is_readable(const channel_list& list, const exr_picture& picture) {
  return sampling_fault(list, picture).empty() && type_fault(list, picture).empty();
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

exr_picture group_picture(const suffix_group& group, const found_group& found) {
  if (group.single && found.count() == 1 && found.colors[0] < 0) {
    return gray_picture(std::max(found.colors[1], found.colors[2]));
  }
  return colour_picture(found.colors, found.alpha);
}

// The name of the group that a channel belongs to: what is before its last dot. Empty for none.
std::string group_name(std::string_view channel) {
  const std::size_t dot = channel.rfind('.');
  if (dot == std::string_view::npos || dot == 0 || dot + 1 == channel.size()) return {};
  return std::string(channel.substr(0, dot));
}

constexpr const char* main_colours[] = {"R", "G", "B", "Y", "RY", "BY"};

// The first layer that can be read, colours before vectors.
exr_picture first_layer(const channel_list& list) {
  const auto vectors = std::find_if(std::begin(groups), std::end(groups), [](const auto& g) { return g.single; });
  const std::pair<const suffix_group*, const suffix_group*> kinds[] = {{std::begin(groups), vectors},
                                                                       {vectors, std::end(groups)}};
  for (const auto& [first, last] : kinds) {
    for (int i = 0; i < list.num_channels; ++i) {
      const std::string name = group_name(list.entries[i].name.str);
      if (name.empty()) continue;
      for (const suffix_group* group = first; group != last; ++group) {
        const found_group found = find_group(list, name, *group);
        if (found.count() == 0) continue;
        exr_picture picture = group_picture(*group, found);
        if (!is_readable(list, picture)) continue;
        picture.shown_layer = name;
        return picture;
      }
    }
  }
  return {};
}

exr_picture main_picture(const channel_list& list) {
  std::array<int, 3> colors{find_channel(list, "R"), find_channel(list, "G"), find_channel(list, "B")};
  const bool whole = std::all_of(colors.begin(), colors.end(), [](int c) { return c >= 0; });
  const int luma = find_channel(list, "Y");
  const bool chroma = !whole && (find_channel(list, "RY") >= 0 || find_channel(list, "BY") >= 0);
  if (chroma) {
    colors.fill(-1);
  } else if (!whole && luma >= 0) {
    colors.fill(luma);
  }
  exr_picture picture = colour_picture(colors, find_channel(list, "A"));
  picture.from_chroma = chroma;
  const bool any = std::any_of(std::begin(main_colours), std::end(main_colours),
                               [&](const char* name) { return find_channel(list, name) >= 0; });
  if (!any) {
    if (exr_picture shown = first_layer(list); !shown.uses.empty()) picture = std::move(shown);
  }
  if (const int depth = find_channel(list, "Z"); depth >= 0 && picture.letters.size() > 1) {
    picture.has_depth = true;
    picture.uses.push_back({depth, 4});
  }
  return picture;
}

bool has_layer(const channel_list& list, const std::string& name) {
  const std::string prefix = name + ".";
  return std::any_of(list.entries, list.entries + list.num_channels, [&](const exr_attr_chlist_entry_t& c) {
    return name == c.name.str || std::string_view(c.name.str).starts_with(prefix);
  });
}

exr_picture layer_picture(const exr_file& file, const std::string& name) {
  const channel_list& list = file.channels();
  if (const int channel = find_channel(list, name); channel >= 0) return gray_picture(channel);
  if (!has_layer(list, name)) {
    throw io::invalid_format(file.path(),
                             "Empty layer: no channel is called " + name + " or begins with " + name + ".");
  }
  for (const suffix_group& group : groups) {
    if (const found_group found = find_group(list, name, group); found.count() > 0) return group_picture(group, found);
  }
  throw io::invalid_format(file.path(),
                           "Unsupported layer: " + name + " has none of the channels R, G, B; X, Y, Z; U, V, W");
}

// A part of the file, and what of it; an empty name is its main picture.
struct place {
  int part = 0;
  std::string name;
};

place find_place(const exr_file& file, const std::string& name) {
  const std::vector<exr_part>& parts = file.parts();
  if (parts.size() < 2 || has_layer(*parts[0].channels, name)) return {0, name};
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const std::string& part = parts[i].name;
    if (part.empty()) continue;
    if (name == part) return {static_cast<int>(i), {}};
    if (!name.starts_with(part + ".")) continue;
    std::string rest = name.substr(part.size() + 1);
    if (has_layer(*parts[i].channels, rest)) return {static_cast<int>(i), std::move(rest)};
  }
  for (std::size_t i = 1; i < parts.size(); ++i) {
    if (has_layer(*parts[i].channels, name)) return {static_cast<int>(i), name};
  }
  return {0, name};
}

// Names of what a list has beside its main picture.
std::vector<std::string> layer_names(const channel_list& list) {
  std::set<std::string> names;  // of groups that can be read
  std::set<int> shown;          // channels of the main picture and of those groups
  for (const char* name : {"R", "G", "B", "A", "Z", "Y", "RY", "BY"}) shown.insert(find_channel(list, name));
  for (int i = 0; i < list.num_channels; ++i) {
    const std::string name = group_name(list.entries[i].name.str);
    if (name.empty() || names.contains(name)) continue;
    const auto group = std::find_if(std::begin(groups), std::end(groups),
                                    [&](const suffix_group& g) { return find_group(list, name, g).count() > 0; });
    if (group == std::end(groups)) continue;
    names.insert(name);
    const found_group found = find_group(list, name, *group);
    shown.insert(found.colors.begin(), found.colors.end());
    shown.insert(found.alpha);
  }
  std::vector<std::string> all(names.begin(), names.end());
  for (int i = 0; i < list.num_channels; ++i) {
    if (!shown.contains(i) && is_readable(list, gray_picture(i))) all.emplace_back(list.entries[i].name.str);
  }
  return all;
}

}  // namespace

exr_picture choose_picture(exr_file& file, const layer& layer) {
  std::string name = layer.name;
  if (name.empty() && layer.index > 0) {
    // An entry of the list by its place alone.
    const std::vector<img::layer> layers = layers_of(file);
    if (static_cast<std::size_t>(layer.index) >= layers.size()) {
      throw io::invalid_format(file.path(), "Empty layer: number " + std::to_string(layer.index) + " of " +
                                                std::to_string(layers.size() - 1));
    }
    name = layers[static_cast<std::size_t>(layer.index)].name;
  }
  const place wanted = name.empty() ? place() : find_place(file, name);
  file.use_part(wanted.part);
  exr_picture picture = wanted.name.empty() ? main_picture(file.channels()) : layer_picture(file, wanted.name);
  std::string fault = sampling_fault(file.channels(), picture);
  // The library turns integers of the main picture into halves.
  if (fault.empty() && !wanted.name.empty()) fault = type_fault(file.channels(), picture);
  if (!fault.empty()) throw io::invalid_format(file.path(), fault);
  return picture;
}

std::vector<layer> layers_of(const exr_file& file) {
  const std::vector<exr_part>& parts = file.parts();
  if (std::all_of(parts.begin(), parts.end(), [](const exr_part& part) { return part.is_deep(); })) {
    throw io::invalid_format(file.path(), "Unsupported deep data");
  }
  std::vector<layer> layers(1);
  const auto add = [&](const std::string& name) { layers.push_back({2, static_cast<int>(layers.size()), name}); };
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const exr_part& part = parts[i];
    if (part.is_deep()) continue;
    const exr_picture main = main_picture(*part.channels);
    if (i > 0 && (!main.uses.empty() || main.from_chroma)) add(part.name);
    for (const std::string& name : layer_names(*part.channels)) {
      if (i == 0) {
        add(name);
      } else if (name != main.shown_layer) {
        add(part.name + "." + name);
      }
    }
  }
  return layers;
}

std::vector<std::string> channels_of(const exr_file& file) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < file.parts().size(); ++i) {
    const exr_part& part = file.parts()[i];
    if (part.is_deep()) continue;
    const channel_list& list = *part.channels;
    for (int channel = 0; channel < list.num_channels; ++channel) {
      if (!is_readable(list, gray_picture(channel))) continue;
      const std::string name = list.entries[channel].name.str;
      names.push_back(i == 0 ? name : part.name + "." + name);
    }
  }
  return names;
}

}  // namespace img
