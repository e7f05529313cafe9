#include <algorithm>
#include <array>
#include <cmath>

#include "command/field_builder.h"
#include "command/layer_set.h"

namespace command {

namespace {

using ksn::state;
using ksn::track_info;

constexpr int largest_int = std::numeric_limits<int>::max();

#define MEMBER(name)         \
  [](auto& layer) -> auto& { \
    return layer.name;       \
  }

// Integers that pass through a function of the record.
template <class Get, class Set>
void add_number(engine& engine, std::string name, std::string help, int least, int most, Get get, Set set) {
  add_layer(
      engine, std::move(name), "N", std::move(help),
      [get](const state&, const track_info& layer) { return std::to_string(get(layer)); },
      [=](state&, track_info& layer, const std::string& value) {
        int number = 0;
        if (!read_int(value, number, least, most)) return false;
        set(layer, number);
        return true;
      });
}

bool set_position(state&, track_info& layer, const std::string& value) {
  std::array<int, 2> position{};
  if (!read_ints(value, position)) return false;
  layer.placement.pos = {position[0], position[1]};
  return true;
}

bool set_crop(state&, track_info& layer, const std::string& value) {
  if (value == "none") {
    layer.placement.crop = false;
    return true;
  }
  std::array<int, 4> crop{};
  if (!read_ints(value, crop)) return false;
  layer.placement.crop = true;
  layer.placement.crop_xy = {crop[0], crop[1]};
  layer.placement.crop_wh = {crop[2], crop[3]};
  return true;
}

std::string get_crop(const state&, const track_info& layer) {
  if (!layer.placement.crop) return "none";
  return std::to_string(layer.placement.crop_xy.x) + "," + std::to_string(layer.placement.crop_xy.y) + "," +
         std::to_string(layer.placement.crop_wh.x) + "," + std::to_string(layer.placement.crop_wh.y);
}

// Shows the picture of the file for which `is_wanted` holds.
template <class Wanted>
bool show_image_layer(track_info& layer, Wanted is_wanted) {
  const auto found = std::find_if(layer.source.image_layers.begin(), layer.source.image_layers.end(), is_wanted);
  if (found == layer.source.image_layers.end()) return false;
  layer.source.image_layer = *found;
  return true;
}

bool set_image_layer_index(state&, track_info& layer, const std::string& value) {
  int index = 0;
  if (!read_int(value, index, -1)) return false;
  if (index == -1) {
    layer.source.image_layer = {};
    return true;
  }
  return show_image_layer(layer, [&](const img::layer& entry) { return entry.index == index; });
}

bool set_image_layer(state&, track_info& layer, const std::string& value) {
  if (value.empty()) {
    layer.source.image_layer = {};
    return true;
  }
  return show_image_layer(layer, [&](const img::layer& entry) { return entry.name == value; });
}

bool set_alpha_source(state& composition, track_info& layer, const std::string& value) {
  if (value == "none") {
    layer.look.alpha_source_id = 0;
    return true;
  }
  layer_set set;
  if (!parse_layer_set(composition, value, set) || set.members.size() != 1) return false;
  const int index = set.members[0];
  if (index < 0 || index >= composition.doc.track_count()) return false;
  layer.look.alpha_source_id = composition.doc.track_at(index).id;
  return true;
}

std::string get_alpha_source(const state& composition, const track_info& layer) {
  const int index = layer.look.alpha_source_id ? composition.doc.index_of_id(layer.look.alpha_source_id) : -1;
  return index < 0 ? "none" : std::to_string(index + 1);
}

bool set_border_color(state&, track_info& layer, const std::string& value) {
  if (!read_color(value, layer.placement.border_color)) return false;
  layer.placement.border_color.a = 255;
  return true;
}

// `none`, or red, green, blue, tolerance, slope.
bool read_color_key(std::string_view text, ksn::color_key& key) {
  if (text == "none") {
    key.enabled = false;
    return true;
  }
  std::array<double, 5> numbers{};
  if (!read_doubles(text, numbers)) return false;
  const double tolerance = std::rint(numbers[3]);
  for (int i = 0; i < 5; ++i) {
    const double number = numbers[static_cast<std::size_t>(i)];
    if (number < 0 || number > (i < 3 ? 255 : most_frames) || (i != 3 && number != std::rint(number))) return false;
  }
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(numbers[i]); };
  key.enabled = true;
  key.key = {255, byte(0), byte(1), byte(2)};
  key.tolerance = static_cast<int>(tolerance);
  key.slope = static_cast<int>(numbers[4]);
  return true;
}

std::string write_color_key(const ksn::color_key& key) {
  if (!key.enabled) return "none";
  return std::to_string(key.key.r) + "," + std::to_string(key.key.g) + "," + std::to_string(key.key.b) + "," +
         write_double(key.tolerance) + "," + std::to_string(key.slope);
}

void add_color_key(engine& engine, std::string name, std::string help, ksn::color_key ksn::layer_look::*key) {
  add_layer(
      engine, std::move(name), "none|R,G,B,TOLERANCE,SLOPE", std::move(help),
      [key](const state&, const track_info& layer) { return write_color_key(layer.look.*key); },
      [key](state&, track_info& layer, const std::string& value) { return read_color_key(value, layer.look.*key); });
}

void register_timing(engine& engine) {
  add_layer(
      engine, "name", "TEXT", "name of the layer; empty brings the first one back",
      [](const state&, const track_info& layer) { return layer.name; },
      [](state&, track_info& layer, const std::string& value) {
        layer.name = value.empty() ? layer.default_name : value;
        return true;
      });
  add_layer_int(engine, "group_id", "number of its group, 0 for none", 0, largest_int, MEMBER(group_id));
  add_layer_int(engine, "begin", "timeline frame of its first source frame", -most_frames, most_frames,
                MEMBER(timing.begin));
  add_number(
      engine, "in_point", "first visible frame, counted from begin", -most_frames, most_frames,
      [](const track_info& layer) { return layer.in(); }, [](track_info& layer, int n) { layer.set_in(n); });
  add_number(
      engine, "out_point", "end of the visible frames, counted from begin", -most_frames, most_frames,
      [](const track_info& layer) { return layer.out(); }, [](track_info& layer, int n) { layer.set_out(n); });
  add_number(
      engine, "length", "number of visible frames", 1, most_frames,
      [](const track_info& layer) { return layer.out() - layer.in(); },
      [](track_info& layer, int n) { layer.set_out(layer.in() + n); });
}

void register_blending(engine& engine) {
  add_layer(
      engine, "position", "X,Y", "its centre in pixels from the centre of the composition",
      [](const state&, const track_info& layer) {
        return std::to_string(layer.placement.pos.x) + "," + std::to_string(layer.placement.pos.y);
      },
      set_position);
  add_layer_word<ksn::blend_type>(engine, "blend", "how its colours meet what is below", MEMBER(look.blend_type));
  add_layer_word<ksn::alpha_type>(engine, "alpha", "how its alpha channel is read", MEMBER(look.alpha_type));
  add_layer_word<ksn::depth_blend_type>(engine, "depth", "how its depth meets what is below",
                                        MEMBER(look.depth_blend_type));
  add_layer_int(engine, "opacity", "percent", 0, 100, MEMBER(look.opacity));
  add_layer_int(engine, "fade_in", "frames", 0, most_frames, MEMBER(timing.fade_in));
  add_layer_int(engine, "fade_out", "frames", 0, most_frames, MEMBER(timing.fade_out));
  add_layer_bool(engine, "invert_color", "complement of the colours", MEMBER(look.invert_color));
  add_layer_bool(engine, "invert_alpha", "complement of the alpha channel", MEMBER(look.invert_alpha));
  add_layer_bool(engine, "invert_depth", "complement of the depth channel", MEMBER(look.invert_depth));
  add_layer_bool(engine, "auto_update", "read again when its file changes", MEMBER(source.auto_update));
  add_layer_bool(engine, "disable_caching", "frames are not kept in memory", MEMBER(source.disable_cache));
}

void register_placement(engine& engine) {
  add_layer(
      engine, "pixel_aspect", "X", "width of its pixels over their height",
      [](const state&, const track_info& layer) { return write_double(layer.placement.aspect); },
      [](state&, track_info& layer, const std::string& value) {
        double aspect = 0;
        if (!read_double(value, aspect)) return false;
        layer.placement.set_aspect(aspect);
        return true;
      });
  add_number(
      engine, "scale_x", "width in percent, at least 1", -largest_int, largest_int,
      [](const track_info& layer) { return layer.placement.scale_x; },
      [](track_info& layer, int n) { layer.placement.set_scale_x(n); });
  add_number(
      engine, "scale_y", "height in percent, at least 1", -largest_int, largest_int,
      [](const track_info& layer) { return layer.placement.scale_y; },
      [](track_info& layer, int n) { layer.placement.set_scale_y(n); });
  add_layer_bool(engine, "flip_x", "mirrored left to right", MEMBER(placement.flip_x));
  add_layer_bool(engine, "flip_y", "mirrored top to bottom", MEMBER(placement.flip_y));
  add_layer_bool(engine, "border", "outline of one pixel", MEMBER(placement.border));
  add_layer(
      engine, "border_color", "R,G,B", "colour of the outline",
      [](const state&, const track_info& layer) { return write_color(layer.placement.border_color); },
      set_border_color);
  add_layer_bool(engine, "layer_safe_area", "safe area of the layer", MEMBER(placement.safe_area));
  add_layer(engine, "crop", "none|X,Y,W,H", "rectangle that is shown: centre from its anchor, width, height", get_crop,
            set_crop);
}

void register_source(engine& engine) {
  add_color_key(engine, "primary_color_key", "colour that becomes transparent", &ksn::layer_look::ck_primary);
  add_color_key(engine, "secondary_color_key", "a second such colour", &ksn::layer_look::ck_secondary);
  add_layer(
      engine, "image_layer_index", "N", "picture of a file that holds several, by number; -1 is the main one",
      [](const state&, const track_info& layer) { return std::to_string(layer.source.image_layer.index); },
      set_image_layer_index);
  add_layer(
      engine, "image_layer", "NAME", "the same by name; empty is the main one",
      [](const state&, const track_info& layer) { return layer.source.image_layer.name; }, set_image_layer);
  add_layer_word<ksn::view_type>(engine, "layer_channels", "channels that are used", MEMBER(look.channels));
  add_layer_word<ksn::target_view_type>(engine, "target_view", "stereo view in which it appears",
                                        MEMBER(look.target_view));
  add_layer_int(engine, "volume", "percent", 0, most_frames, MEMBER(sound.volume));
  add_layer(engine, "alpha_source", "none|LAYER", "layer that supplies its alpha channel", get_alpha_source,
            set_alpha_source);
  add_layer_word<ksn::channel_type>(engine, "alpha_source_channel", "channel taken from the alpha source",
                                    MEMBER(look.alpha_source_channel));
  add_layer_word<ksn::alpha_source_range_type>(engine, "alpha_source_range", "tonal range taken from the alpha source",
                                               MEMBER(look.alpha_source_range));
  add_layer_bool(engine, "alpha_source_invert", "complement of the alpha source", MEMBER(look.alpha_source_invert));
  add_layer_bool(engine, "alpha_source_stretch", "the alpha source is fitted to this layer's size",
                 MEMBER(look.alpha_source_stretch));
  add_layer_word<ksn::alpha_source_mode_type>(engine, "alpha_source_mode", "how it meets the layer's own alpha",
                                              MEMBER(look.alpha_source_mode));
  add_layer_word<ksn::channel_type>(engine, "alpha_source_channel2", "second channel, for the combined modes",
                                    MEMBER(look.alpha_source_channel2));
}

#undef MEMBER

}  // namespace

void register_layer_fields(engine& engine) {
  register_timing(engine);
  register_blending(engine);
  register_placement(engine);
  register_source(engine);
}

void register_fields(engine& engine) {
  register_global_fields(engine);
  register_layer_fields(engine);
  register_color_fields(engine);
  register_text_fields(engine);
  register_r3d_fields(engine);
}

}  // namespace command
