// The typeface of a text: typed, or chosen from those that are installed. While the list is open, the picture shows
// what the pointer is on.
#include "ui/panel/cells.h"
#include "ui/toolkit/palette.h"
#include "ui/widgets/chooser.h"

namespace ui::panel {
namespace {

constexpr int arrow_room = 16;  // at the right end, at scale 1

class face_field : public ui_text_field {
 public:
  face_field(const binding& bound, const cell& cell, widget_box box)
      : ui_text_field(bound.bench.host, box, text_parts(bound, cell)), bound_(bound), name_(cell.field) {}

  void draw(painter& on, const place& at) override {
    ui_text_field::draw(on, at);
    const rectangle box = pixels(at);
    draw_list_arrow(on, {box.right - on.px(arrow_room / 2), (box.top + box.bottom) / 2},
                    is_enabled() ? palette::text : palette::faint);
  }
  void mouse_up(mouse_button button, math::point point, bool double_click) override {
    if (button == mouse_button::left && is_enabled() && !is_typing() && on_arrow(point)) return open_list();
    ui_text_field::mouse_up(button, point, double_click);
  }
  std::string get_tool_tip(math::point point) override {
    return on_arrow(point) ? host().text("panel.chooser_hint") : ui_text_field::get_tool_tip(point);
  }
  cursor_shape get_cursor(math::point point) override {
    return on_arrow(point) ? cursor_shape::arrow : ui_text_field::get_cursor(point);
  }

 protected:
  int right_margin() const override { return arrow_room; }

 private:
  const binding& bound_;
  const char* name_;

  bool on_arrow(math::point point) const {
    return point.x >= pixels(last_place()).right - arrow_room * last_place().scale;
  }
  void open_list() {
    const std::vector<std::string> faces = bound_.bench.pipeline.fonts().faces();
    const std::string now = shown_text();
    std::vector<platform::menu_entry> entries;
    for (const std::string& face : faces) {
      platform::menu_entry& entry = entries.emplace_back();
      entry.text = face;
      entry.checkable = true;
      entry.checked = face == now;
      entry.id = static_cast<int>(entries.size()) - 1;
      entry.reached = [this, face] {
        if (!bound_.changes.in_gesture()) bound_.changes.begin();
        bound_.changes.take_back();
        store(face);
      };
    }
    const rectangle box = pixels(last_place());
    const int chosen = host().popup_menu(entries, {box.left, box.bottom});
    if (chosen >= 0) {
      bound_.changes.take_back();
      store(faces[static_cast<std::size_t>(chosen)]);
    }
    bound_.changes.end(name_, chosen >= 0);
    host().input.ask_redraw();
  }
};

}  // namespace

std::shared_ptr<ui_object> make_face_field(const binding& bound, const cell& cell, const widget_box& box) {
  return std::make_shared<face_field>(bound, cell, box);
}

}  // namespace ui::panel
