// The text of a layer and its attributes, and the attributes that new text layers get.
#include "command/field_builder.h"

namespace command {

namespace {

using ksn::state;
using ksn::track_info;

constexpr int largest_text = 10000;  // pixels

#define ATTRIBUTE(name)           \
  [](auto& attributes) -> auto& { \
    return attributes.name;       \
  }

// The fields of the attributes that `access` finds in a record.
template <class Record, class Access>
void add_attributes(engine& engine, const std::string& prefix, const std::string& whose, Access access) {
  const auto add = [&](const char* name, const char* help, value_shape shape, auto attribute) {
    add_member<Record>(
        engine, prefix + name, help + whose, shape,
        [ access, attribute ](auto& record) -> auto& { return attribute(access(record)); });
  };
  add("text_align_x", "side to which lines are aligned", words<ksn::text_align_x_type>(), ATTRIBUTE(align_x));
  add("text_align_y", "edge to which the text is aligned", words<ksn::text_align_y_type>(), ATTRIBUTE(align_y));
  add_by<Record>(
      engine, prefix + "text_font", "name of the typeface" + whose, text("NAME"),
      [access](const Record& record) { return access(record).font; },
      [access](Record& record, const std::string& font) {
        if (!font.empty()) access(record).font = font;
        return !font.empty();
      });
  add("text_size", "height of the typeface in pixels", integer(1, largest_text), ATTRIBUTE(size));
  add("text_bold", "whether the text is bold", boolean(), ATTRIBUTE(bold));
  add("text_italic", "whether the text is italic", boolean(), ATTRIBUTE(italic));
  add("text_color", "colour of the letters", color(true), ATTRIBUTE(color));
  add("text_outline_color", "colour of the outline of the letters", color(true), ATTRIBUTE(outline_color));
  add("text_shadow_color", "colour of the shadow of the letters", color(true), ATTRIBUTE(shadow_color));
  add_made<Record>(
      engine, prefix + "text_back_color", "colour of the panel behind the text" + whose,
      or_off(color(true), "none|R,G,B|R,G,B,A"),
      [access](const state&, const Record& record, field_value& value) {
        put(value, access(record).back_color);
        value.off = !access(record).back_enabled;
      },
      [access](state&, Record& record, const field_value& value) {
        ksn::text_attributes& attributes = access(record);
        attributes.back_enabled = !value.off;
        if (!value.off) take(value, attributes.back_color);
        return true;
      });
  add("text_back_cover_layer", "whether the panel behind the text covers the whole layer", boolean(),
      ATTRIBUTE(back_cover_layer));
}

#undef ATTRIBUTE

}  // namespace

void register_text_fields(engine& engine) {
  // On one line, with escapes; a widget gets the text as it is.
  add_by<track_info>(
      engine, "text", "text of a text layer; \\n is a line break, \\\\ a backslash, \\q a double quote", text(),
      [](const track_info& layer) { return layer.lettering.text; },
      [](track_info& layer, const std::string& value) { layer.lettering.text = value; });
  layer_field& row = engine.layer_field_table.back();
  row.get = [](const state&, const track_info& layer, std::string& out) {
    out = escape_text(layer.lettering.text);
    return true;
  };
  row.set = [](state&, track_info& layer, const std::string& value) {
    layer.lettering.text = unescape_text(value);
    return true;
  };
  add_attributes<track_info>(
      engine, "", "", [](auto& layer) -> auto& { return layer.lettering.text_attr; });
}

void register_default_text_fields(engine& engine) {
  add_attributes<state>(
      engine, "default_", ", for new text layers",
      [](auto& composition) -> auto& { return composition.settings.default_text_attr; });
}

}  // namespace command
