#include "command/field_builder.h"

namespace command {

namespace {

using ksn::state;
using ksn::track_info;

constexpr int largest_text = 10000;  // pixels

#define ATTRIBUTE(name)                    \
  [](auto& layer) -> auto& {               \
    return layer.lettering.text_attr.name; \
  }

void add_color(engine& engine, std::string name, std::string help, lib::color ksn::text_attributes::*color) {
  add_layer(
      engine, std::move(name), "R,G,B|R,G,B,A", std::move(help),
      [color](const state&, const track_info& layer) { return write_color(layer.lettering.text_attr.*color); },
      [color](state&, track_info& layer, const std::string& value) {
        return read_color(value, layer.lettering.text_attr.*color);
      });
}

bool set_back_color(state&, track_info& layer, const std::string& value) {
  ksn::text_attributes& attributes = layer.lettering.text_attr;
  const bool enabled = value != "none";
  if (enabled && !read_color(value, attributes.back_color)) return false;
  attributes.back_enabled = enabled;
  return true;
}

}  // namespace

void register_text_fields(engine& engine) {
  add_layer(
      engine, "text", "TEXT", "text with its fields; \\n is a line break, \\\\ a backslash, \\q a double quote",
      [](const state&, const track_info& layer) { return escape_text(layer.lettering.text); },
      [](state&, track_info& layer, const std::string& value) {
        layer.lettering.text = unescape_text(value);
        return true;
      });
  add_layer_word<ksn::text_align_x_type>(engine, "text_align_x", "side to which lines are set", ATTRIBUTE(align_x));
  add_layer_word<ksn::text_align_y_type>(engine, "text_align_y", "edge to which the text is set", ATTRIBUTE(align_y));
  add_layer(
      engine, "text_font", "NAME", "name of the face",
      [](const state&, const track_info& layer) { return layer.lettering.text_attr.font; },
      [](state&, track_info& layer, const std::string& value) {
        if (value.empty()) return false;
        layer.lettering.text_attr.font = value;
        return true;
      });
  add_layer_int(engine, "text_size", "pixels", 1, largest_text, ATTRIBUTE(size));
  add_layer_bool(engine, "text_bold", "bold face", ATTRIBUTE(bold));
  add_layer_bool(engine, "text_italic", "italic face", ATTRIBUTE(italic));
  add_color(engine, "text_color", "colour of the letters", &ksn::text_attributes::color);
  add_color(engine, "text_outline_color", "colour of their outline", &ksn::text_attributes::outline_color);
  add_color(engine, "text_shadow_color", "colour of their shadow", &ksn::text_attributes::shadow_color);
  add_layer(
      engine, "text_back_color", "none|R,G,B|R,G,B,A", "colour of the panel behind the text",
      [](const state&, const track_info& layer) {
        const ksn::text_attributes& attributes = layer.lettering.text_attr;
        return attributes.back_enabled ? write_color(attributes.back_color) : "none";
      },
      set_back_color);
  add_layer_bool(engine, "text_back_cover_layer", "the panel covers the whole layer", ATTRIBUTE(back_cover_layer));
}

#undef ATTRIBUTE

}  // namespace command
