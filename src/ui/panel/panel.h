// The property panel: every setting of the selected layers, over all other areas.
#pragma once

#include <array>
#include <memory>

#include "ui/panel/page.h"
#include "ui/widgets/button.h"

namespace ui {

class property_panel : public ui_object, public mouse_handler {
 public:
  // Registers the actions that open it.
  explicit property_panel(workbench& bench);

  bool is_shown() const { return bench_.composition.workspace.shown_property_panel(); }

  mouse_handler* hit_test(math::point point, const place& at) override;
  void draw(painter& on, const place& at) override;
  press_result mouse_down(mouse_button button, math::point point, bool double_click) override;
  std::shared_ptr<drag_handler> get_drag_handler(mouse_button button, math::point point) override;
  void mouse_up(mouse_button button, math::point point, bool double_click) override;
  int wheel_step(int) override { return 40; }
  void wheel(int axis, int steps, math::point point) override;
  cursor_shape get_cursor(math::point point) override;
  std::string get_tool_tip(math::point point) override;
  bool moved(math::point point) override;

  // Where things stand now in a window, in pixels of its client area.
  struct frame {
    rectangle box;   // all of it
    rectangle view;  // what shows of the tab; the rest scrolls
  };
  frame frame_in(const place& at);
  panel::page& open_page();
  // The origin of the open page.
  place page_place(const place& at);

 private:
  class move_drag;
  workbench& bench_;
  panel::edits changes_;
  std::array<std::unique_ptr<panel::page>, 8> pages_;  // each made when it is first open
  std::array<int, 8> scroll_{};                        // of each tab, at scale 1
  std::shared_ptr<ui_np_button> next_;
  std::shared_ptr<ui_np_button> previous_;
  place place_;
  int drawn_dot_ = -1;

  int tab() const;
  int content_height();
  const math::pointd& layout_position() const;
  int dot_at(math::point point);
  bool is_title(math::point point);
  void scroll_to(int first);
  void make_visible(int top, int bottom);
  void open_for_selection();
  void choose_tab(math::point at);
  std::string layer_line() const;
  void draw_bar(painter& on, const frame& now);
};

std::shared_ptr<property_panel> make_property_panel(workbench& bench);

}  // namespace ui
