// One tab: its rows with their widgets, laid out from top to bottom.
#pragma once

#include <memory>
#include <vector>

#include "ui/panel/cells.h"

namespace ui::panel {

// At scale 1.
constexpr int panel_width = 260;
constexpr int row_height = 22;

class page {
 public:
  // `scroll_to` makes a part of the page visible, from `top` to `bottom` at scale 1; `scroll` turns the wheel.
  page(workbench& bench, edits& changes, const tab& table, std::function<void(int top, int bottom)> scroll_to,
       std::function<void(int steps)> scroll);
  page(const page&) = delete;
  page& operator=(const page&) = delete;

  // Whether one of the selected layers is for this tab.
  bool fits() const;
  // Of the rows that are there now, at scale 1.
  int height() const;
  // `at` counts from the page's upper left corner.
  mouse_handler* hit_test(math::point point, const place& at);
  void draw(painter& on, const place& at);

  // A widget of the page and where it stands, for those who look for it by its field.
  struct widget_of {
    const cell* made_from;
    std::shared_ptr<ui_object> object;
    rectangle box;  // in the page, at scale 1
  };
  std::vector<widget_of> widgets() const;

 private:
  struct placed_cell {
    const cell* made_from;
    std::shared_ptr<ui_object> object;
    widget_box box;
    typing_field* field = nullptr;  // the object, when it can be typed into
  };
  struct placed_row {
    const row* made_from;
    std::vector<placed_cell> cells;
    int height;
  };

  workbench& bench_;
  binding bound_;
  std::function<void(int, int)> scroll_to_;
  std::vector<placed_row> rows_;

  bool is_there(const row& row) const;
  int top_of(const placed_row& row) const;
  void walk(const typing_field* from, int direction);
  void draw_row(painter& on, const place& at, const placed_row& row);
};

}  // namespace ui::panel
