// A value of a list that opens as a menu.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "ui/toolkit/painter.h"
#include "ui/widgets/host.h"

namespace ui {

// The mark of a list that opens below.
void draw_list_arrow(painter& on, math::point middle, lib::color color);

class ui_basic_chooser : public ui_object, public mouse_handler {
 public:
  ui_basic_chooser(const widget_host& host, widget_box box) : host_(host), box_(box) {}

  mouse_handler* hit_test(math::point point, const place& at) override;
  void draw(painter& on, const place& at) override;
  press_result mouse_down(mouse_button, math::point, bool) override { return press_result::click; }
  void mouse_up(mouse_button button, math::point point, bool double_click) override;
  // A step of the wheel is a step in the list.
  void wheel(int axis, int steps, math::point point) override;
  std::string get_tool_tip(math::point) override { return host_.text("panel.chooser_hint"); }

 protected:
  // The entries, made anew at each call.
  virtual std::vector<std::string> texts() const = 0;
  virtual int current_index() const = 0;  // -1 for none
  virtual void select(int index) = 0;
  virtual bool is_enabled() const = 0;
  // So many entries at the end stand in a list of their own, which opens from the last entry of the first.
  virtual int nested() const { return 0; }
  virtual std::string nested_text() const { return {}; }
  // So many entries at the end are actions and no values: the wheel does not come to them.
  virtual int actions() const { return 0; }
  // While the list is open: the pointer or the keys came to an entry; and the list closed without a choice.
  virtual void point_at(int /*index*/) {}
  virtual void leave_list() {}
  // The text that is shown while the list is closed.
  virtual std::string shown_text() const;

 private:
  const widget_host& host_;
  widget_box box_;
  place last_;
};

class ui_chooser : public ui_basic_chooser {
 public:
  struct parts {
    std::function<std::vector<std::string>()> texts;  // ".." stands for the list that this one is part of
    std::function<int()> get;                         // index into the texts, -1 for none
    std::function<void(int index)> set;
    std::function<bool()> enabled;  // empty: always
    std::function<int()> count;     // of further values, shown as "(%d)" after the first; empty or below 2: not
    int actions = 0;                // how many of the texts, at their end, are actions and no values
  };
  ui_chooser(const widget_host& host, widget_box box, parts parts)
      : ui_basic_chooser(host, box), parts_(std::move(parts)) {}

 protected:
  std::vector<std::string> texts() const override { return parts_.texts(); }
  int current_index() const override { return parts_.get(); }
  void select(int index) override { parts_.set(index); }
  int actions() const override { return parts_.actions; }
  bool is_enabled() const override { return !parts_.enabled || parts_.enabled(); }
  std::string shown_text() const override;

 private:
  parts parts_;
};

}  // namespace ui
