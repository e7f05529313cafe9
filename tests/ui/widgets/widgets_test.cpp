// Widgets under a simulated pointer and keyboard: the values behind them, and the art and texts that they show.
#include <gtest/gtest.h>

#include <deque>
#include <optional>

#include "ui/drawn.h"
#include "ui/widgets/button.h"
#include "ui/widgets/chooser.h"
#include "ui/widgets/color_field.h"
#include "ui/widgets/edit_field.h"
#include "ui/widgets/group.h"

namespace {

using ui::mouse_button;
using strings = std::vector<std::string>;

class widgets : public testing::Test {
 protected:
  std::shared_ptr<ui::ui_object> widget;
  int scale = 1;
  ui::input input{{[this](math::point point) { return widget->hit_test(point, at()); }, [](ui::cursor_shape) {}, {}}};
  std::string board;
  std::deque<int> menu_answers;
  std::vector<platform::menu_entry> menu;
  ui::widget_host host{input, [](std::string_view key) { return std::string(key); },
                       [this](const std::vector<platform::menu_entry>& entries, math::point) {
                         menu = entries;
                         if (menu_answers.empty()) return -1;
                         const int answer = menu_answers.front();
                         menu_answers.pop_front();
                         return answer;
                       },
                       [this] { return board; }, [this](const std::string& text) { board = text; }};
  support::drawn canvas;

  ui::place at() const { return {{100, 100}, {400, 300}, scale}; }
  void draw() {
    ui::painter on = canvas.painter(scale, input.hot());
    widget->draw(on, at());
  }
  strings art() {
    draw();
    return canvas.art;
  }
  std::string text() {
    draw();
    return canvas.texts.empty() ? "" : canvas.texts.front();
  }
  void press(int x, int y, mouse_button button = mouse_button::left) {
    input.mouse_down(button, {100 + x, 100 + y}, false, 0);
  }
  void release(int x, int y, mouse_button button = mouse_button::left) {
    input.mouse_up(button, {100 + x, 100 + y}, 0);
  }
  void move(int x, int y, int modifiers = 0) { input.mouse_move({100 + x, 100 + y}, modifiers); }
  void click(int x, int y, mouse_button button = mouse_button::left) {
    press(x, y, button);
    release(x, y, button);
  }
  void type(const std::string& text) {
    input.pass(0, true);
    input.text(text);
  }
};

TEST_F(widgets, a_button_in_each_state) {
  bool enabled = true;
  int runs = 0;
  widget = std::make_shared<ui::ui_button>(math::point{20, 10}, ui::rectangle{-5, -5, 6, 6},
                                           ui::ui_button::parts{"x", {}, [&] { return enabled; }, [&] { ++runs; }});
  for (scale = 1; scale <= 2; ++scale) {
    const int s = scale;
    EXPECT_EQ(art(), strings{"x.tga"});
    move(15 * s, 5 * s);
    EXPECT_EQ(art(), strings{"x_over.tga"}) << "its first pixel";
    move(26 * s, 10 * s);
    EXPECT_EQ(art(), strings{"x.tga"}) << "past its last one";
    press(20 * s, 10 * s);
    EXPECT_EQ(art(), strings{"x_pressed.tga"});
    move(40 * s, 10 * s);
    EXPECT_EQ(art(), strings{"x.tga"}) << "pressed, and drawn away from it";
    release(40 * s, 10 * s);
    EXPECT_EQ(runs, s - 1) << "a release elsewhere";
    press(20 * s, 10 * s);
    input.key_down(27);
    EXPECT_EQ(runs, s - 1) << "taken back";
    click(20 * s, 10 * s);
    EXPECT_EQ(runs, s);
    click(20 * s, 10 * s, mouse_button::right);
    EXPECT_EQ(runs, s);
    enabled = false;
    EXPECT_EQ(art(), strings{"x_disabled.tga"});
    click(20 * s, 10 * s);
    EXPECT_EQ(runs, s);
    enabled = true;
    move(200, 200);
  }
}

TEST_F(widgets, a_check_box_and_a_group) {
  bool value = false;
  bool enabled = true;
  const auto box = [&](int x, bool& of) {
    return std::make_shared<ui::ui_check_box>(
        host, math::point{x, 10}, ui::rectangle{-6, -6, 7, 7},
        ui::ui_check_box::parts{
            .get = [&of] { return of; }, .set = [&of](bool on) { of = on; }, .enabled = [&] { return enabled; }});
  };
  bool other = true;
  const auto group = std::make_shared<ui::ui_group>(math::point{0, 20});
  group->add(box(10, value));
  group->add(box(14, other));  // half beneath the first
  group->add(std::make_shared<ui::ui_static_text>(ui::widget_box{0, 0, 60, 20}, [] { return std::string("label"); }));
  widget = group;
  EXPECT_EQ(art(), (strings{"checkbox_off.tga", "checkbox_on.tga"}));
  EXPECT_EQ(canvas.texts, strings{"label"});
  click(14, 30);
  EXPECT_TRUE(value && other) << "the first child wins";
  click(20, 30);
  EXPECT_TRUE(value && !other);
  EXPECT_EQ(art(), (strings{"checkbox_on.tga", "checkbox_off_over.tga"}));
  enabled = false;
  EXPECT_EQ(art(), (strings{"checkbox_disabled.tga", "checkbox_disabled.tga"}));
  EXPECT_EQ(group->hit_test({140, 121}, at()), nullptr) << "a label is no target";
}

TEST_F(widgets, a_chooser) {
  int index = -1;
  int count = 1;
  bool enabled = true;
  widget = std::make_shared<ui::ui_chooser>(host, ui::widget_box{0, 0, 100, 20},
                                            ui::ui_chooser::parts{[] {
                                                                    return strings{"..", "one", "two"};
                                                                  },
                                                                  [&] { return index; }, [&](int i) { index = i; },
                                                                  [&] { return enabled; }, [&] { return count; }});
  EXPECT_EQ(text(), "---");
  menu_answers = {2, -1, 7};
  click(50, 10);
  EXPECT_EQ(index, 2);
  EXPECT_EQ(text(), "two");
  click(50, 10);
  EXPECT_TRUE(menu.size() == 3 && menu[2].checked && !menu[1].checked && menu[0].text == "..");
  click(50, 10);
  EXPECT_EQ(index, 2) << "no answer, and one that is none";
  count = 3;
  EXPECT_EQ(text(), "two (3)");
  input.mouse_wheel({150, 110}, 120, 0, 0);
  EXPECT_EQ(index, 1);
  input.mouse_wheel({150, 110}, -1200, 0, 0);
  EXPECT_EQ(index, 2);
  enabled = false;
  menu.clear();
  click(50, 10);
  EXPECT_TRUE(menu.empty());
}

TEST_F(widgets, a_number_is_typed) {
  std::optional<double> value = 1.25;
  bool enabled = true;
  widget = std::make_shared<ui::ui_edit_field>(host, ui::widget_box{0, 0, 60, 20},
                                               ui::ui_edit_field::parts{.format = "%+.2f",
                                                                        .get = [&] { return value; },
                                                                        .set = [&](double v) { value = v; },
                                                                        .enabled = [&] { return enabled; }});
  struct row {
    const char* typed;  // after a click, which selects what is there
    std::vector<int> keys;
    double value;
  };
  constexpr int enter = 13;
  constexpr int escape = 27;
  const row rows[] = {{"3.5", {enter}, 3.5},
                      {"-.5", {enter}, -0.5},
                      {"7", {escape}, -0.5},
                      {"a1b2", {enter}, 12},
                      {"", {enter}, 12},
                      {"+-", {enter}, 12},
                      {"12345678901234567890", {enter}, 123456789012345},
                      {"12", {8, enter}, 1},
                      {"12", {37, 8, enter}, 2},
                      {"12", {36, 46, enter}, 2},
                      {"1e999", {enter}, 2}};
  for (const row& r : rows) {
    click(30, 10);
    ASSERT_TRUE(input.focus());
    type(r.typed);
    for (const int key : r.keys) input.key_down(key);
    EXPECT_EQ(value, r.value) << r.typed;
    EXPECT_FALSE(input.focus());
  }
  EXPECT_EQ(text(), "+2.00");
  value.reset();
  EXPECT_EQ(text(), "---");
  click(30, 10);
  type("9");
  click(300, 100);
  EXPECT_FALSE(value) << "a click elsewhere drops it";
  enabled = false;
  EXPECT_EQ(text(), "---");
  click(30, 10);
  EXPECT_FALSE(input.focus());

  enabled = true;
  value = 5;
  board = "x42\n";
  menu_answers = {1, 2, 3};
  click(30, 10);
  type("77");
  click(30, 10, mouse_button::right);
  EXPECT_EQ(board, "77");
  ASSERT_EQ(menu.size(), 4u);
  EXPECT_EQ(menu[3].text, "ui_cm_undo_reset");
  click(30, 10, mouse_button::right);
  click(30, 10, mouse_button::right);
  input.key_down(13);
  EXPECT_EQ(value, 5) << "typing was taken back";
}

TEST_F(widgets, a_number_is_dragged) {
  double value = 1;
  std::string told;
  widget = std::make_shared<ui::ui_edit_field>(
      host, ui::widget_box{0, 0, 60, 20},
      ui::ui_edit_field::parts{.format = "%.2f",
                               .get = [&] { return value; },
                               .set = [&](double v) { value = v; },
                               .begin_drag = [&] { told += "begin "; },
                               .end_drag = [&](bool kept) { told += kept ? "kept " : "dropped "; }});
  press(30, 10);
  move(34, 10);
  EXPECT_EQ(told, "") << "not yet";
  move(40, 10);
  EXPECT_DOUBLE_EQ(value, 1.1);
  move(50, 10, platform::key_shift);
  EXPECT_DOUBLE_EQ(value, 2.1);
  move(40, 10, platform::key_ctrl);
  EXPECT_DOUBLE_EQ(value, 2.09);
  release(40, 10);
  EXPECT_EQ(told, "begin kept ");
  press(30, 10);
  move(90, 10);
  input.key_down(27);
  EXPECT_DOUBLE_EQ(value, 2.09);
  EXPECT_EQ(told, "begin kept begin dropped ");
  scale = 2;
  press(30, 10);
  move(50, 10);
  release(50, 10);
  EXPECT_DOUBLE_EQ(value, 2.19) << "a pixel of the layout is two";
}

TEST_F(widgets, a_colour_and_a_text) {
  std::optional<lib::color> color = lib::color{255, 10, 20, 30};
  widget = std::make_shared<ui::ui_color_field>(
      host, ui::widget_box{0, 0, 100, 20},
      ui::ui_color_field::parts{[&] { return color; }, [&](lib::color c) { color = c; }, {}});
  EXPECT_EQ(text(), "10 20 30");
  for (const char* bad : {"1 2", "256 0 0", "1 2 x", ""}) {
    click(10, 10);
    type(bad);
    input.key_down(13);
    EXPECT_EQ(color, (lib::color{255, 10, 20, 30})) << bad;
  }
  click(10, 10);
  type("0, 255 7");
  input.key_down(13);
  EXPECT_EQ(color, (lib::color{255, 0, 255, 7}));

  std::string words = "one";
  widget = std::make_shared<ui::ui_text_field>(
      host, ui::widget_box{0, 0, 100, 60},
      ui::ui_text_field::parts{[&] { return words; }, [&](const std::string& t) { words = t; }, {}, ""});
  click(10, 10);
  input.key_down('A' | platform::key_ctrl);
  type("a\xF0\x9F\x98\x80");
  input.key_down(8);
  type("b");
  input.key_down(13 | platform::key_shift);
  type("\xC3\xA4");
  input.key_down(38);
  type("c");
  draw();
  input.key_down(13);
  EXPECT_EQ(words, "acb\n\xC3\xA4") << "a pair of surrogates goes as one";
}

TEST_F(widgets, the_line_with_the_caret_is_seen) {
  std::string words = "1\n2\n3\n4\n5\n6\n7\n8";
  widget = std::make_shared<ui::ui_text_field>(
      host, ui::widget_box{0, 0, 100, 60},
      ui::ui_text_field::parts{[&] { return words; }, [&](const std::string& t) { words = t; }, {}, ""});
  click(10, 10);
  input.key_down(35);
  // Lines are 10 high and stand 5 below the upper edge and above the lower one.
  for (const int top : {145, 145, 145, 145, 135, 125, 115, 105}) {
    draw();
    EXPECT_EQ(input.focus()->caret().top, top);
    input.key_down(38);
  }
}

TEST_F(widgets, what_an_input_method_is_at) {
  std::string words = "one";
  widget = std::make_shared<ui::ui_text_field>(
      host, ui::widget_box{0, 0, 100, 20},
      ui::ui_text_field::parts{[&] { return words; }, [&](const std::string& t) { words = t; }, {}, "", true});
  EXPECT_FALSE(input.composing("x").now) << "nobody types";
  click(10, 10);
  input.key_down(35);
  input.composing("\xC3\xA4");
  EXPECT_EQ(text(), "one\xC3\xA4");
  // Letters are 7 wide; the caret stands after what is composed.
  EXPECT_EQ(input.focus()->caret().left, 100 + 5 + 7 * 5);
  input.composing("two");
  EXPECT_EQ(text(), "onetwo");
  input.composing("");
  type("!");
  EXPECT_EQ(text(), "one!");
  input.composing("lost");
  input.key_down(13);
  EXPECT_EQ(words, "one!");
}

}  // namespace
