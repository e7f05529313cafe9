#include "ui/panel/cells.h"

#include <array>
#include <charconv>
#include <string_view>

#include "ui/panel/grade.h"
#include "ui/panel/picker.h"
#include "ui/picture_color.h"
#include "ui/widgets/button.h"
#include "ui/widgets/chooser.h"
#include "ui/widgets/color_field.h"
#include "ui/widgets/group.h"

namespace ui::panel {
namespace {

using command::field_value;
using command::field_view;

constexpr int check_middle = 7;  // of a check box, from the left of its cell, at scale 1

// --- numbers ---

std::optional<double> stored_number(const field_view& field, int part) {
  if (part != all_parts) return field.number(static_cast<std::size_t>(part));
  std::optional<double> common = field.number(0);
  for (std::size_t i = 1; i < static_cast<std::size_t>(field.shape().count); ++i) {
    if (field.number(i) != common) return std::nullopt;
  }
  return common;
}

void store_number(const field_view& field, int part, double number) {
  if (part != all_parts) {
    field.set_number(number, static_cast<std::size_t>(part));
    return;
  }
  for (int i = 0; i < field.shape().count; ++i) field.set_number(number, static_cast<std::size_t>(i));
}

void add_to_number(const field_view& field, int part, double by) {
  const int first = std::max(part, 0);
  const int last = part == all_parts ? field.shape().count - 1 : part;
  for (int i = first; i <= last; ++i) field.add_to_number(by, static_cast<std::size_t>(i));
}

// The other side follows while both have one scale.
void keep_proportion(const binding& bound, int part) {
  if (bound.bench.composition.workspace.split_scale) return;
  ksn::state& composition = bound.bench.composition;
  for (const int index : composition.doc.selection) {
    ksn::layer_placement& placement = composition.doc.track_at(index).placement;
    part == 0 ? placement.set_scale_y(placement.scale_x) : placement.set_scale_x(placement.scale_y);
  }
}

bool is_on(const field_view& field) {
  return field.has_record() && (field.shape().off.empty() || !field.off().value_or(false));
}

std::shared_ptr<ui_object> make_number(const binding& bound, const cell& c, const widget_box& box) {
  const field_view field = bound.field(c.field);
  ui_edit_field::parts parts;
  parts.format = c.text;
  parts.step = c.step;
  parts.about = field.help();
  parts.get = [field, c]() -> std::optional<double> {
    const std::optional<double> number = stored_number(field, c.part);
    // A tiny negative rest would be shown as -0.
    return number ? std::optional(*number * c.scale + c.offset + 0.0) : std::nullopt;
  };
  parts.set = [&bound, field, c](double shown) {
    const double number = (shown - c.offset) / c.scale;
    bound.changes.make(c.field, [&] {
      store_number(field, c.part, number);
      if (*c.also) store_number(bound.field(c.also), 0, number);
      if (std::string_view(c.field) == "dimensions") keep_proportion(bound, c.part);
    });
  };
  parts.shift = [&bound, field, c](double shown) {
    bound.changes.take_back();
    bound.changes.make(c.field, [&] {
      add_to_number(field, c.part, shown / c.scale);
      if (*c.also) add_to_number(bound.field(c.also), 0, shown / c.scale);
      if (std::string_view(c.field) == "dimensions") keep_proportion(bound, c.part);
    });
  };
  parts.enabled = [field] { return is_on(field); };
  parts.begin_drag = [&bound] { bound.changes.begin(); };
  parts.end_drag = [&bound, c](bool kept) { bound.changes.end(c.field, kept); };
  parts.menu = grade_menu(bound, c.field);
  return std::make_shared<ui_edit_field>(bound.bench.host, box, std::move(parts));
}

// --- switches ---

std::shared_ptr<ui_object> make_check_box(const binding& bound, const cell& c, const widget_box& box,
                                          ui_check_box::parts parts) {
  if (*c.text) {
    parts.label = [&bench = bound.bench, key = c.text] { return bench.text(key); };
  }
  const int right = *c.text ? box.width - check_middle : check_middle;
  const int half = box.height / 2;
  return std::make_shared<ui_check_box>(bound.bench.host, math::point{box.x + check_middle, box.y + half},
                                        rectangle{-check_middle, -half, right, half}, std::move(parts));
}

std::shared_ptr<ui_object> make_check(const binding& bound, const cell& c, const widget_box& box) {
  const field_view field = bound.field(c.field);
  ui_check_box::parts parts;
  parts.get = [field, c]() -> std::optional<bool> {
    const std::optional<double> number = stored_number(field, c.part);
    return number ? std::optional(*number != 0) : std::nullopt;
  };
  parts.set = [&bound, field, c](bool on) {
    bound.changes.make(c.field, [&] { store_number(field, c.part, on ? c.scale : 0); });
  };
  parts.enabled = [field] { return field.has_record(); };
  if (c.kind == widget::split) {
    parts.base = c.field + std::string_view("global:").size();
    parts.hint = std::string("panel.") + parts.base + "_hint";
  }
  return make_check_box(bound, c, box, std::move(parts));
}

std::shared_ptr<ui_object> make_enabled(const binding& bound, const cell& c, const widget_box& box) {
  const field_view field = bound.field(c.field);
  ui_check_box::parts parts;
  parts.get = [field]() -> std::optional<bool> {
    const std::optional<bool> off = field.off();
    return off ? std::optional(!*off) : std::nullopt;
  };
  parts.set = [&bound, field, c](bool on) { bound.changes.make(c.field, [&] { field.set_off(!on); }); };
  parts.enabled = [field] { return field.has_record(); };
  return make_check_box(bound, c, box, std::move(parts));
}

// --- words ---

// "value:key value:key". A value is one of the field's words, or a number where it has none.
std::vector<std::pair<double, std::string>> choices_of(const field_view& field, std::string_view text) {
  std::vector<std::pair<double, std::string>> choices;
  while (!text.empty()) {
    const std::string_view item = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(item.size() + 1, text.size()));
    const std::string_view word = item.substr(0, item.find(':'));
    int value = 0;
    if (!ksn::value_of(field.shape().words, word, value))
      std::from_chars(word.data(), word.data() + word.size(), value);
    choices.emplace_back(value, item.substr(word.size() + 1));
  }
  return choices;
}

std::shared_ptr<ui_object> make_word(const binding& bound, const cell& c, const widget_box& box) {
  const field_view field = bound.field(c.field);
  const auto choices = std::make_shared<const std::vector<std::pair<double, std::string>>>(choices_of(field, c.text));
  ui_chooser::parts parts;
  parts.texts = [&bench = bound.bench, choices] {
    std::vector<std::string> texts;
    for (const auto& one : *choices) texts.push_back(bench.text(one.second));
    return texts;
  };
  parts.get = [field, choices] {
    const std::optional<double> value = field.number();
    for (std::size_t i = 0; value && i < choices->size(); ++i) {
      if ((*choices)[i].first == *value) return static_cast<int>(i);
    }
    return -1;
  };
  parts.set = [&bound, field, choices, c](int index) {
    bound.changes.make(c.field, [&] { field.set_number((*choices)[static_cast<std::size_t>(index)].first); });
  };
  parts.enabled = [field] { return field.has_record(); };
  return std::make_shared<ui_chooser>(bound.bench.host, box, std::move(parts));
}

// --- texts and colours ---

}  // namespace

ui_text_field::parts text_parts(const binding& bound, const cell& c) {
  const field_view field = bound.field(c.field);
  ui_text_field::parts parts;
  parts.get = [field] {
    const std::optional<field_value> value = field.value();
    return value ? value->text : std::string(no_value);
  };
  parts.set = [&bound, field, c](const std::string& text) {
    bound.changes.make(c.field, [&] {
      field_value value;
      value.text = text;
      field.set_value(value);
    });
  };
  parts.enabled = [field] { return field.has_record(); };
  parts.hint = *c.text ? c.text : "panel.text_field_hint";
  parts.one_line = c.kind != widget::lines;
  if (c.kind == widget::lines) {
    parts.menu = [&bench = bound.bench](math::point at) { bench.context_menu("text", at); };
  }
  return parts;
}

namespace {

bool is_color_key(std::string_view field) {
  return field == "primary_color_key" || field == "secondary_color_key";
}

std::shared_ptr<ui_object> make_color(const binding& bound, const cell& c, const widget_box& box) {
  const field_view field = bound.field(c.field);
  ui_color_field::parts parts;
  parts.get = [field]() -> std::optional<lib::color> {
    std::array<std::uint8_t, 3> bytes{};
    for (std::size_t i = 0; i < 3; ++i) {
      const std::optional<double> number = field.number(i);
      if (!number) return std::nullopt;
      bytes[i] = static_cast<std::uint8_t>(*number);
    }
    return lib::color{255, bytes[0], bytes[1], bytes[2]};
  };
  parts.set = [&bound, field, c](lib::color color) {
    bound.changes.make(c.field, [&] {
      field.set_number(color.r, 0);
      field.set_number(color.g, 1);
      field.set_number(color.b, 2);
    });
  };
  parts.enabled = [field] { return is_on(field); };
  parts.pick = [&bound, is_key = is_color_key(c.field), set = parts.set] {
    pick_from_picture(bound.bench, [&bound, is_key, set](math::point at) {
      const ksn::document& document = bound.bench.composition.doc;
      const int layer = document.selection.empty() ? -1 : *document.selection.begin();
      set(is_key ? key_color_at(bound.bench, layer, at) : color_at(bound.bench, at));
    });
  };
  return std::make_shared<ui_color_field>(bound.bench.host, box, std::move(parts));
}

// A button with the text of its action.
class command_button : public button {
 public:
  command_button(workbench& bench, const char* action, const widget_box& box)
      : button({box.x, box.y}, {0, 0, box.width, box.height}), bench_(bench), action_(action) {}
  std::string get_tool_tip(math::point) override { return tip_text(bench_, action_, action_); }

 protected:
  bool is_enabled() const override { return bench_.engine.action_enabled(action_); }
  void act() override { bench_.run(action_); }
  void paint(painter& on, math::point, const rectangle& box, button_state state) override {
    const bool lit = state == button_state::over || state == button_state::pressed;
    on.round_fill(box, on.px(palette::button_radius), lit ? palette::hover : palette::gray(52));
    on.round_frame(box, on.px(palette::button_radius),
                   state == button_state::pressed ? palette::live : palette::field_rim);
    on.line(bench_.text(action_), "panel.value", state == button_state::disabled ? palette::faint : palette::value, box,
            painter::align::centre);
  }

 private:
  workbench& bench_;
  const char* action_;
};

std::shared_ptr<ui_object> make_note(const binding& bound, const cell& c, const widget_box& box) {
  if (!*c.text) return {};
  return std::make_shared<ui_static_text>(
      box, [&bench = bound.bench, key = c.text] { return bench.text(key); }, "small", painter::align::left,
      palette::quiet);
}

}  // namespace

const ksn::track_info* first_layer(const binding& bound) {
  const ksn::document& document = bound.bench.composition.doc;
  for (const int index : document.selection) {
    if (bound.fits(document.track_at(index))) return &document.track_at(index);
  }
  return nullptr;
}

std::shared_ptr<ui_object> make_widget(const binding& bound, const cell& cell, const widget_box& box) {
  switch (cell.kind) {
    case widget::number:
      return make_number(bound, cell, box);
    case widget::check:
    case widget::split:
      return make_check(bound, cell, box);
    case widget::enabled:
      return make_enabled(bound, cell, box);
    case widget::word:
      return make_word(bound, cell, box);
    case widget::text:
    case widget::lines:
      return std::make_shared<ui_text_field>(bound.bench.host, box, text_parts(bound, cell));
    case widget::color:
      return make_color(bound, cell, box);
    case widget::lookup:
      return make_lookup_chooser(bound, box);
    case widget::layer:
      return make_layer_chooser(bound, box);
    case widget::picture:
      return make_picture_chooser(bound, box);
    case widget::version:
      return make_version_chooser(bound, box);
    case widget::face:
      return make_face_field(bound, cell, box);
    case widget::brush_preview:
      return make_brush_preview(bound, box);
    case widget::command:
      return std::make_shared<command_button>(bound.bench, cell.text, box);
    case widget::note:
      return make_note(bound, cell, box);
  }
  return {};
}

}  // namespace ui::panel
