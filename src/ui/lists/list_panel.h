// A panel over the middle of the window with rows of text: it takes all keys until Escape closes it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ui/area.h"
#include "ui/toolkit/painter.h"
#include "ui/widgets/text_editor.h"

namespace ui {

struct list_row {
  std::string left;   // in a narrow column
  std::string right;  // the rest of the row
  bool is_heading = false;
  std::vector<std::string> commands = {};  // that the row stands for
};

// The derived class says what is in it. While it is open it holds the focus; a click outside closes it.
class list_panel : public ui_object, public mouse_handler, public ui_focus_handler {
 public:
  explicit list_panel(workbench& bench);

  bool is_open() const { return bench_.input.focus().get() == this; }
  void open();

  mouse_handler* hit_test(math::point point, const place& at) override;
  void draw(painter& on, const place& at) override;
  press_result mouse_down(mouse_button, math::point, bool) override { return press_result::click; }
  void mouse_up(mouse_button button, math::point point, bool double_click) override;
  int wheel_step(int) override { return 40; }
  void wheel(int axis, int steps, math::point point) override;
  bool moved(math::point point) override { return row_at(point) != drawn_hover_; }

  void key_char(char16_t character) override;
  bool key(int code) override;
  void commit() override;
  void cancel() override {}
  mouse_handler* handler_at(math::point point) override;

 protected:
  virtual std::string title() const = 0;
  // Those that fit what was typed, which is in lower case.
  virtual std::vector<list_row> rows(const std::string& search) const = 0;
  virtual int left_width() const = 0;  // of the narrow column, at scale 1
  virtual bool is_searchable() const { return false; }
  virtual std::string note() const = 0;  // at the lower end: what can be done here
  virtual bool starts_at_end() const { return false; }
  virtual void row_clicked(const list_row&) {}
  // One row is the chosen one: the keys move it, and Enter is a click on it.
  virtual bool has_choice() const { return false; }
  virtual void copied() {}  // Ctrl+C

  workbench& bench() const { return bench_; }
  // What was typed, as it was.
  std::string typed() const { return search_.text(); }

 private:
  workbench& bench_;
  text_editor search_;
  int first_ = 0;   // row at the top
  int chosen_ = 0;  // where the list has a choice
  int drawn_hover_ = -1;
  place place_;

  std::vector<list_row> found() const { return rows(lowered_search()); }
  std::string lowered_search() const;
  rectangle panel() const;
  rectangle list() const;
  int visible_rows() const;
  int row_at(math::point point) const;
  void scroll_to(int first, int count);
  void go_to(int row, int count);
};

}  // namespace ui
