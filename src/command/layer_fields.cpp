// Fields of layers, in the order of their option text.
#include <algorithm>
#include <cmath>

#include "command/field_builder.h"
#include "command/layer_set.h"
#include "img/format.h"

namespace command {

namespace {

using ksn::state;
using ksn::track_info;

constexpr int channel_type = 2;  // of an img::layer that is not the main picture

#define MEMBER(name)         \
  [](auto& layer) -> auto& { \
    return layer.name;       \
  }

template <class Member>
void member(engine& engine, const char* name, const char* help, value_shape shape, Member access) {
  add_member<track_info>(engine, name, help, shape, access);
}
template <class Get, class Set>
void by(engine& engine, const char* name, const char* help, value_shape shape, Get get, Set set) {
  add_by<track_info>(engine, name, help, shape, get, set);
}

value_shape frame() {
  return integer(-most_frames, most_frames);
}

void get_crop(const state&, const track_info& layer, field_value& value) {
  value.off = !layer.placement.crop;
  value.numbers = {double(layer.placement.crop_xy.x), double(layer.placement.crop_xy.y),
                   double(layer.placement.crop_wh.x), double(layer.placement.crop_wh.y)};
}

bool set_crop(state&, track_info& layer, const field_value& value) {
  layer.placement.crop = !value.off;
  if (value.off) return true;
  const auto at = [&](std::size_t i) { return static_cast<int>(value.numbers[i]); };
  layer.placement.crop_xy = {at(0), at(1)};
  layer.placement.crop_wh = {at(2), at(3)};
  return true;
}

// Shows the picture of the file for which `is_wanted` holds.
template <class Wanted>
bool show_image_layer(track_info& layer, Wanted is_wanted) {
  const auto found = std::find_if(layer.source.image_layers.begin(), layer.source.image_layers.end(), is_wanted);
  if (found == layer.source.image_layers.end()) return false;
  layer.source.image_layer = *found;
  return true;
}

bool set_image_layer_index(track_info& layer, int index) {
  if (index == -1) {
    layer.source.image_layer = {};
    return true;
  }
  return show_image_layer(layer, [&](const img::layer& entry) { return entry.index == index; });
}

// Whether the layer's file has a picture of that name that no list holds: a single channel.
bool has_picture(const track_info& layer, const img::layer& wanted) {
  const bool of_a_file =
      layer.source.type == ksn::source_type::image || layer.source.type == ksn::source_type::sequence;
  const std::string path = of_a_file ? layer.source.frame_path(0) : std::string();
  const img::format* format = path.empty() ? nullptr : img::find_format(path);
  if (!format || !format->has_named_layers()) return false;
  try {
    format->read_header(path, wanted);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

bool set_image_layer(track_info& layer, const std::string& name) {
  if (name.empty()) {
    layer.source.image_layer = {};
    return true;
  }
  if (show_image_layer(layer, [&](const img::layer& entry) { return entry.name == name; })) return true;
  const img::layer channel{channel_type, -1, name};
  if (!has_picture(layer, channel)) return false;
  layer.source.image_layer = channel;
  return true;
}

bool set_alpha_source(state& composition, track_info& layer, const field_value& value) {
  if (value.text == "none") {
    layer.look.alpha_source_id = 0;
    return true;
  }
  layer_set set;
  if (!parse_layer_set(composition, value.text, set) || set.members.size() != 1) return false;
  const int index = set.members[0];
  if (index < 0 || index >= composition.doc.track_count()) return false;
  layer.look.alpha_source_id = composition.doc.track_at(index).id;
  return true;
}

void get_alpha_source(const state& composition, const track_info& layer, field_value& value) {
  const int index = layer.look.alpha_source_id ? composition.doc.index_of_id(layer.look.alpha_source_id) : -1;
  value.text = index < 0 ? "none" : std::to_string(index + 1);
}

// Red, green, blue, tolerance, slope.
bool set_color_key(ksn::color_key& key, const field_value& value) {
  if (value.off) {
    key.enabled = false;
    return true;
  }
  for (std::size_t i = 0; i < 5; ++i) {
    const double number = value.numbers[i];
    if ((i < 3 && number > 255) || (i != 3 && number != std::rint(number))) return false;
  }
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(value.numbers[i]); };
  key.enabled = true;
  key.key = {255, byte(0), byte(1), byte(2)};
  key.tolerance = static_cast<int>(std::rint(value.numbers[3]));
  key.slope = static_cast<int>(value.numbers[4]);
  return true;
}

template <class Member>
void add_color_key(engine& engine, const char* name, const char* help, Member access) {
  value_shape shape = number(0, most_frames, 0);
  shape.count = 5;
  add_made<track_info>(
      engine, name, help, or_off(shape, "none|R,G,B,TOLERANCE,SLOPE"),
      [access](const state&, const track_info& layer, field_value& value) {
        const ksn::color_key& key = access(layer);
        value.off = !key.enabled;
        value.numbers = {double(key.key.r), double(key.key.g), double(key.key.b), double(key.tolerance),
                         double(key.slope)};
      },
      [access](state&, track_info& layer, const field_value& value) { return set_color_key(access(layer), value); });
}

void register_timing(engine& engine) {
  by(
      engine, "name", "name of the layer; an empty one brings back the name it had first", text(),
      [](const track_info& layer) { return layer.name; },
      [](track_info& layer, const std::string& name) { layer.name = name.empty() ? layer.default_name : name; });
  member(engine, "group_id", "number of the layer's group, 0 for none", integer(0), MEMBER(group_id));
  member(engine, "begin", "frame of the timeline at which the layer's source starts", frame(), MEMBER(timing.begin));
  by(
      engine, "in_point", "first visible frame of the layer, counted from `begin`", frame(),
      [](const track_info& layer) { return layer.in(); }, [](track_info& layer, int n) { layer.set_in(n); });
  by(
      engine, "out_point", "end of the layer's visible frames, counted from `begin`", frame(),
      [](const track_info& layer) { return layer.out(); }, [](track_info& layer, int n) { layer.set_out(n); });
  by(
      engine, "length", "number of the layer's visible frames", integer(1, most_frames),
      [](const track_info& layer) { return layer.out() - layer.in(); },
      [](track_info& layer, int n) { layer.set_out(layer.in() + n); });
}

void register_blending(engine& engine) {
  member(engine, "position", "centre of the layer, in pixels from the centre of the composition", integers(2, "X,Y"),
         MEMBER(placement.pos));
  member(engine, "blend", "how the layer's colours are blended with what is below", words<ksn::blend_type>(),
         MEMBER(look.blend_type));
  member(engine, "alpha", "how the layer's alpha channel is read", words<ksn::alpha_type>(), MEMBER(look.alpha_type));
  member(engine, "depth", "how the layer's depth meets what is below", words<ksn::depth_blend_type>(),
         MEMBER(look.depth_blend_type));
  member(engine, "opacity", "opacity of the layer in percent", integer(0, 100), MEMBER(look.opacity));
  member(engine, "fade_in", "length of the layer's fade-in, in frames", integer(0, most_frames),
         MEMBER(timing.fade_in));
  member(engine, "fade_out", "length of the layer's fade-out, in frames", integer(0, most_frames),
         MEMBER(timing.fade_out));
  member(engine, "invert_color", "whether the layer's colours are inverted", boolean(), MEMBER(look.invert_color));
  member(engine, "invert_alpha", "whether the layer's alpha is inverted", boolean(), MEMBER(look.invert_alpha));
  member(engine, "invert_depth", "whether the layer's depth is inverted", boolean(), MEMBER(look.invert_depth));
  member(engine, "auto_update", "whether frames are read again when their files change", boolean(),
         MEMBER(source.auto_update));
  member(engine, "disable_caching", "whether the layer's frames are kept out of memory", boolean(),
         MEMBER(source.disable_cache));
}

void register_placement(engine& engine) {
  by(
      engine, "pixel_aspect", "width of the layer's pixels over their height, at least 0.001", any_number(3),
      [](const track_info& layer) { return layer.placement.aspect; },
      [](track_info& layer, double aspect) { layer.placement.set_aspect(aspect); });
  by(
      engine, "scale_x", "width of the layer in percent, at least 1", integer(),
      [](const track_info& layer) { return layer.placement.scale_x; },
      [](track_info& layer, int n) { layer.placement.set_scale_x(n); });
  by(
      engine, "scale_y", "height of the layer in percent, at least 1", integer(),
      [](const track_info& layer) { return layer.placement.scale_y; },
      [](track_info& layer, int n) { layer.placement.set_scale_y(n); });
  member(engine, "flip_x", "whether the layer is mirrored left to right", boolean(), MEMBER(placement.flip_x));
  member(engine, "flip_y", "whether the layer is mirrored top to bottom", boolean(), MEMBER(placement.flip_y));
  member(engine, "border", "whether the layer has an outline of one pixel", boolean(), MEMBER(placement.border));
  member(engine, "border_color", "colour of the layer's outline", color(false), MEMBER(placement.border_color));
  member(engine, "layer_safe_area", "whether the layer's safe area is shown", boolean(), MEMBER(placement.safe_area));
  add_made<track_info>(engine, "crop", "part of the layer that is shown: centre from its anchor, width, height",
                       or_off(integers(4, ""), "none|X,Y,W,H"), get_crop, set_crop);
}

void register_source(engine& engine) {
  add_color_key(engine, "primary_color_key", "colour that becomes transparent, with tolerance and slope",
                MEMBER(look.ck_primary));
  add_color_key(engine, "secondary_color_key", "second colour that becomes transparent, with tolerance and slope",
                MEMBER(look.ck_secondary));
  by(
      engine, "image_layer_index", "picture that is shown of a file with several, by number; -1 is the main one",
      integer(-1), [](const track_info& layer) { return layer.source.image_layer.index; }, set_image_layer_index);
  by(
      engine, "image_layer",
      "picture that is shown of a file with several: name of a layer or of one channel; empty is the main one",
      text("NAME"), [](const track_info& layer) { return layer.source.image_layer.name; }, set_image_layer);
  member(engine, "layer_channels", "channels of the layer that are used", words<ksn::view_type>(),
         MEMBER(look.channels));
  member(engine, "target_view", "stereo view in which the layer appears", words<ksn::target_view_type>(),
         MEMBER(look.target_view));
  member(engine, "volume", "volume of the layer's sound, in percent", integer(0, most_frames), MEMBER(sound.volume));
  add_made<track_info>(engine, "alpha_source", "layer that supplies this layer's alpha channel", text("none|LAYER"),
                       get_alpha_source, set_alpha_source);
  member(engine, "alpha_source_channel", "channel that is taken from the alpha source", words<ksn::channel_type>(),
         MEMBER(look.alpha_source_channel));
  member(engine, "alpha_source_range", "tonal range that is taken from the alpha source",
         words<ksn::alpha_source_range_type>(), MEMBER(look.alpha_source_range));
  member(engine, "alpha_source_invert", "whether the alpha source is inverted", boolean(),
         MEMBER(look.alpha_source_invert));
  member(engine, "alpha_source_stretch", "whether the alpha source is fitted to the layer's size", boolean(),
         MEMBER(look.alpha_source_stretch));
  member(engine, "alpha_source_mode", "how the alpha source meets the layer's own alpha",
         words<ksn::alpha_source_mode_type>(), MEMBER(look.alpha_source_mode));
  member(engine, "alpha_source_channel2", "second channel of the alpha source, for the combined modes",
         words<ksn::channel_type>(), MEMBER(look.alpha_source_channel2));
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
  register_more_fields(engine);
}

}  // namespace command
