// Every widget of every tab: what it shows of one and of several layers, what typing, dragging and choosing do to the
// fields behind it, and that one step brings all of it back. Then the frame: tabs, place, scrolling, the walk of Tab.
#include <algorithm>
#include <cmath>
#include <set>

#include "composition/editing/undo.h"
#include "ui/panel/board.h"

namespace {

using ui::panel::cell;
using ui::panel::widget;
using strings = std::vector<std::string>;

class property_panel : public support::board {
 protected:
  // A drag adds what the format's digits say to what all layers have; taken back, the value is as before.
  void expect_drag(const ui::panel::page::widget_of& widget, const std::string& what) {
    const cell& made = *widget.made_from;
    const command::field_view value(engine, made.field);
    const auto part = static_cast<std::size_t>(std::max(made.part, 0));
    const auto step_before = composition.undo_stack;
    const double before = value.number(part).value_or(-1e9);
    const math::point from = middle_of(widget);
    const std::string format = made.text;
    const int digits = format.find('.') == format.npos ? 0 : format[format.find('.') + 1] - '0';
    const double by = 20 * (made.step > 0 ? made.step : std::pow(10.0, -digits)) / made.scale;
    input.mouse_down(ui::mouse_button::left, from, false, 0);
    input.mouse_move({from.x + 20, from.y}, 0);
    const double most = value.shape().kind == command::value_kind::color ? 255 : value.shape().most;
    // Whole steps of its own.
    EXPECT_NEAR(value.number(part).value_or(-1e9), std::min(before + by, most), std::max(made.step / 2, 0.51)) << what;
    input.key_down(escape);
    input.mouse_up(ui::mouse_button::left, from, 0);
    EXPECT_EQ(value.number(part).value_or(-1e9), before) << what;
    EXPECT_EQ(composition.undo_stack, step_before) << what;
  }
};

// Kinds of layers for which a tab has something.
ksn::source_type type_for(int tab) {
  constexpr ksn::source_type types[] = {ksn::source_type::avi,   ksn::source_type::avi,  ksn::source_type::avi,
                                        ksn::source_type::brush, ksn::source_type::text, ksn::source_type::avi,
                                        ksn::source_type::avi,   ksn::source_type::r3d};
  return types[tab];
}

TEST_F(property_panel, every_label_hint_and_step_has_a_text) {
  std::set<std::string> fields;
  for (const ui::panel::tab& tab : ui::panel::tabs()) {
    EXPECT_FALSE(text(tab.title).empty());
    for (const ui::panel::row& row : tab.rows) {
      if (*row.label) {
        EXPECT_FALSE(text(row.label).empty());
      }
      for (const cell& one : row.cells) {
        if (!*one.field) continue;
        fields.insert(one.field);
        const std::string name = ui::panel::undo_name_of(one.field);
        if (!name.empty()) {
          EXPECT_NE(text("undo_" + name), text("redo_" + name));
        }
      }
    }
  }
  EXPECT_GT(fields.size(), 60u);
  for (int tab = 0; tab < 8; ++tab) {
    composition.doc.tracks.clear();
    composition.doc.selection.clear();
    add_layer(type_for(tab));
    composition.workspace.pp_tab = tab;
    for (const bool split : {false, true}) {
      composition.workspace.split_color = composition.workspace.split_scale = split;
      drawn_texts();
      for (const auto& one : panel->open_page().widgets()) {
        auto* handler = dynamic_cast<ui::mouse_handler*>(one.object.get());
        if (handler) {
          EXPECT_FALSE(handler->get_tool_tip(middle_of(one)).empty()) << one.made_from->field;
        }
      }
    }
  }
}

// The layers' values now, of all the fields that a step brings back.
strings values_of(command::engine& engine, const char* name) {
  strings values;
  for (const char* layer : {"1:", "2:"}) {
    std::string value;
    engine.get_field(layer + std::string(name), value);
    values.push_back(value);
  }
  return values;
}

TEST_F(property_panel, every_widget_on_two_layers_that_differ) {
  int tried = 0;
  for (int tab = 0; tab < 8; ++tab) {
    for (const bool split : {false, true}) {
      composition.doc.tracks.clear();
      composition.doc.selection.clear();
      add_layer(type_for(tab));
      add_layer(type_for(tab));
      composition.workspace.pp_tab = tab;
      composition.workspace.split_color = composition.workspace.split_scale = split;
      size = {940, 1000};
      const ui::panel::page& page = panel->open_page();
      for (const auto& one : page.widgets()) {
        const cell& made = *one.made_from;
        const std::string name = made.field;
        const bool is_global = name.starts_with("global:");
        if (name.empty() || made.kind == widget::note) continue;
        const std::string what = name + " part " + std::to_string(made.part);
        // The second layer gets another value.
        const command::field_view both(engine, name);
        composition.doc.selection = {1};
        if (both.shape().off.size() && both.off().value_or(false)) both.set_off(false);
        composition.doc.selection = {0, 1};
        if (both.shape().off.size()) both.set_off(false);
        const command::value_kind kind = both.shape().kind;
        if (!is_global && kind != command::value_kind::text) {
          composition.doc.selection = {1};
          const auto part = static_cast<std::size_t>(std::max(made.part, 0));
          const double now = both.number(part).value_or(0);
          const double most = kind == command::value_kind::color ? 255 : both.shape().most;
          both.set_number(now + 1 > most ? now - 1 : now + 1, part);
          composition.doc.selection = {0, 1};
        }
        const strings before = is_global ? strings{field(name), ""} : values_of(engine, made.field);
        const math::point middle = middle_of(one);
        bool is_value = true;
        switch (made.kind) {
          case widget::number: {
            if (!is_global) {
              EXPECT_EQ(before[0] == before[1], false) << what;
            }
            click(middle);
            ASSERT_TRUE(input.focus()) << what;
            type("7");
            input.key_down(enter);
            const double wanted = (7 - made.offset) / made.scale;
            EXPECT_NEAR(both.number(static_cast<std::size_t>(std::max(made.part, 0))).value_or(-1e9), wanted,
                        kind == command::value_kind::number ? 0.006 : 0.51)
                << what;
            expect_drag(one, what);
            break;
          }
          case widget::split:
            click(middle);
            EXPECT_NE(field(name), before[0]);
            click(middle);
            break;
          case widget::check:
          case widget::enabled:
            click(middle);
            break;
          case widget::word: {
            click(middle);
            ASSERT_GT(menu.size(), 1u) << what;
            EXPECT_TRUE(std::none_of(menu.begin(), menu.end(), [](const auto& entry) { return entry.checked; }))
                << what;
            menu_answers = {menu.back().text};
            click(middle);
            break;
          }
          case widget::text:
          case widget::lines:
          case widget::face:
            click(middle);
            type("Some text");
            input.key_down(enter);
            EXPECT_EQ(both.text().value_or(""), "Some text") << what;
            break;
          case widget::color:
            click(middle);
            type("1 2 3");
            input.key_down(enter);
            for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(both.number(i), double(i + 1)) << what;
            break;
          default:
            is_value = false;  // lists that depend on files and layers have a test of their own
        }
        if (!is_value) continue;
        ++tried;
        if (is_global) continue;
        const strings after = values_of(engine, made.field);
        EXPECT_NE(before, after) << what;
        if (made.part != ui::panel::all_parts && both.shape().count == 1) {
          EXPECT_EQ(after[0], after[1]) << what;
        }
        ASSERT_TRUE(composition.can_undo()) << what;
        EXPECT_EQ(composition.undo_stack->text_key(), std::string("undo_") + ui::panel::undo_name_of(made.field));
        composition.undo();
        EXPECT_EQ(values_of(engine, made.field), before) << what;
        composition.undo();
        EXPECT_EQ(values_of(engine, made.field), after) << what << " again";
      }
    }
  }
  EXPECT_GT(tried, 120);
}

TEST_F(property_panel, a_drag_is_one_step) {
  add_layer();
  drawn_texts();
  drag(find("exposure"), 50);
  EXPECT_EQ(field("exposure"), "0.5");
  drag(find("exposure"), 10, platform::key_shift);
  EXPECT_EQ(field("exposure"), "1.5");
  composition.undo();
  EXPECT_EQ(field("exposure"), "0.5") << "all of the second drag, nothing of the first";
  // Escape takes back; so does Escape after arrows while it is typed.
  input.mouse_down(ui::mouse_button::left, find("gain"), false, 0);
  input.mouse_move({find("gain").x + 40, find("gain").y}, 0);
  EXPECT_EQ(field("gain"), "1.4");
  input.key_down(escape);
  EXPECT_EQ(field("gain"), "1");
  EXPECT_EQ(field("exposure"), "0.5");
  click(find("gamma"));
  input.key_down(up);
  input.key_down(up | platform::key_shift);
  EXPECT_EQ(field("gamma"), "1.01") << "the picture follows; the stored number is a hundredth";
  input.key_down(escape);
  EXPECT_EQ(field("gamma"), "1");
  click(find("gamma"));
  input.key_down(up | platform::key_shift);
  input.key_down(enter);
  EXPECT_EQ(field("gamma"), "1.01");
  composition.undo();
  EXPECT_EQ(field("gamma"), "1");
}

TEST_F(property_panel, a_drag_moves_layers_that_differ_by_the_same) {
  struct row {
    int tab;
    const char* field;
    int part;
    const char* first;
    const char* second;
    int by;  // pixels
    const char* first_after;
    const char* second_after;
  };
  const row rows[] = {{0, "exposure", 0, "1", "-0.5", 50, "1.5", "0"},
                      {0, "saturation", 0, "100", "50,60,70", 10, "110", "60,70,80"},
                      {1, "position", 1, "3,4", "10,20", -5, "3,-1", "10,15"},
                      {1, "scale_x", 0, "100", "50", 30, "130", "80"},
                      {1, "crop", 2, "1,2,30,40", "none", 5, "1,2,35,40", "none"},
                      {2, "opacity", 0, "90", "20", 30, "100", "50"}};
  for (const row& r : rows) {
    composition.doc.tracks.clear();
    composition.doc.selection.clear();
    add_layer();
    add_layer();
    engine.run_option(std::string("--1:") + r.field + "=" + r.first);
    engine.run_option(std::string("--2:") + r.field + "=" + r.second);
    composition.undo_stack.reset();
    composition.workspace.pp_tab = r.tab;
    const strings before = values_of(engine, r.field);
    drawn_texts();
    drag(find(r.field, r.part), r.by);
    const strings after{r.first_after, r.second_after};
    EXPECT_EQ(values_of(engine, r.field), after) << r.field;
    composition.undo();
    EXPECT_EQ(values_of(engine, r.field), before) << r.field;
    EXPECT_TRUE(composition.can_undo());
    composition.undo();
    EXPECT_EQ(values_of(engine, r.field), after) << r.field;
    // Back where it began, though it went over the bounds on the way; Escape takes all of it back.
    composition.undo();
    const math::point from = find(r.field, r.part);
    input.mouse_down(ui::mouse_button::left, from, false, 0);
    input.mouse_move({from.x + 5000, from.y}, 0);
    input.mouse_move(from, 0);
    EXPECT_EQ(values_of(engine, r.field), before) << r.field;
    input.mouse_move({from.x + 500, from.y}, 0);
    input.key_down(escape);
    EXPECT_EQ(values_of(engine, r.field), before) << r.field;
  }
}

TEST_F(property_panel, what_belongs_together_goes_together) {
  add_layer();
  composition.workspace.pp_tab = 1;
  drawn_texts();
  click(find("dimensions", 0));
  type("45");
  input.key_down(enter);
  EXPECT_EQ(field("scale_x") + " " + field("scale_y"), "50 50");
  click(find("global:split_scale"));
  click(find("dimensions", 1));
  type("70");
  input.key_down(enter);
  EXPECT_EQ(field("scale_x") + " " + field("scale_y"), "50 100");
  EXPECT_EQ(field("dimensions"), "45,70");
  click(find("global:split_scale"));
  EXPECT_TRUE(shows("50%"));
  click(find("scale_x"));
  type("200");
  input.key_down(enter);
  EXPECT_EQ(field("dimensions"), "180,140");
  click(find("rate"));
  type("12.5");
  input.key_down(enter);
  EXPECT_EQ(field("retime"), "2");
  EXPECT_TRUE(shows("12.50 fps"));
  // A part of the layer is only chosen once it is on.
  EXPECT_EQ(field("crop"), "none");
  click(find("crop", 0));
  EXPECT_EQ(field("crop"), "0,0,0,0");
}

TEST_F(property_panel, tab_walks_and_the_wheel_scrolls) {
  add_layer();
  composition.workspace.split_color = true;
  size = {440, 330};
  drawn_texts();
  EXPECT_LT(panel->frame_in(at()).box.bottom, 330);
  click(find("exposure", 0));
  type("1");
  input.key_down(tab_key);
  type("2");
  input.key_down(tab_key);
  type("3");
  input.key_down(tab_key | platform::key_shift);
  input.key_down(tab_key | platform::key_shift);
  EXPECT_EQ(field("exposure"), "1,2,3");
  input.key_down(tab_key | platform::key_shift);
  type("150");
  input.key_down(enter);
  EXPECT_EQ(field("saturation"), "100,100,250") << "from the first to the last, which scrolled into view";
  const ui::property_panel::frame now = panel->frame_in(at());
  const math::point last = find("saturation", 2);
  EXPECT_TRUE(last.y > now.view.top && last.y < now.view.bottom);
  const math::point hidden = find("exposure", 0);
  EXPECT_LT(hidden.y, now.view.top);
  click(hidden);
  EXPECT_FALSE(input.focus()) << "what is scrolled away takes no click";
  input.mouse_wheel(last, 1200, 0, 0);
  EXPECT_GT(find("exposure", 0).y, now.view.top);
  EXPECT_EQ(field("saturation"), "100,100,250");
}

TEST_F(property_panel, its_place_is_a_fraction_of_the_free_room) {
  add_layer();
  for (const int scale : {1, 2}) {
    composition.interface_scale = scale;
    const auto box = [&] { return panel->frame_in(at()).box; };
    for (const math::point client : {math::point{940, 800}, {1920, 1080}, {440, 330}, {100, 60}}) {
      size = client;
      drawn_texts();
      if (client.x < 300 * scale) continue;
      EXPECT_LE(box().right, client.x);
      EXPECT_LE(box().bottom, client.y);
    }
    size = {1920, 1080};
    composition.workspace.pp_pos = {1, 1};
    drawn_texts();
    const math::point title{box().left + 80, box().top + 5};
    drag(title, -3000);
    EXPECT_EQ(composition.workspace.pp_pos.x, 0) << "held inside the window, at its edge";
    EXPECT_EQ(composition.workspace.pp_pos.y, 1);
    const auto above_split = [&] { return ksn::layout_window(composition, size).split - box().bottom; };
    EXPECT_EQ(above_split(), (17 + 12) * scale) << "clear of the information bar";
    composition.view.add_exposure(10);
    EXPECT_EQ(above_split(), (2 * 17 + 12) * scale) << "and of the view's correction over it";
    composition.view.make_neutral();
    composition.workspace.infobar_visible = false;
    EXPECT_EQ(above_split(), 12 * scale);
    composition.workspace.infobar_visible = true;
    const int left = box().left;
    size = {1400, 900};
    EXPECT_EQ(box().left, left);
    composition.workspace.full_screen = true;
    EXPECT_NE(box().left, left) << "full screen has a place of its own";
    composition.workspace.full_screen = false;
  }
}

TEST_F(property_panel, tabs_are_chosen_and_say_what_they_are_for) {
  composition.workspace.pp_tab = 4;
  EXPECT_TRUE(shows(text("panel.default")));
  add_layer();
  EXPECT_TRUE(shows(text("panel.default"))) << "a movie has no text";
  add_layer(ksn::source_type::text).name = "title";
  EXPECT_FALSE(shows(text("panel.default")));
  EXPECT_TRUE(shows("2 layers"));
  click(find("text_size"));
  type("50");
  input.key_down(enter);
  EXPECT_EQ(composition.doc.tracks[1].lettering.text_attr.size, 50);
  EXPECT_EQ(composition.doc.tracks[0].lettering.text_attr.size, 32) << "only those that the tab is for";

  const math::rectangle box = panel->frame_in(at()).box;
  const math::point dot{(box.left + box.right) / 2 - 35, box.bottom - 10};
  click(dot);
  EXPECT_EQ(composition.workspace.pp_tab, 0);
  click({panel->frame_in(at()).box.right - 14, panel->frame_in(at()).box.top + 11});
  EXPECT_EQ(composition.workspace.pp_tab, 1);
  EXPECT_EQ(commands, strings{"pp_next_tab"});
  menu_answers = {text("panel.tab_source"), text("panel.mi_hide_panel")};
  click({panel->frame_in(at()).box.left + 60, panel->frame_in(at()).box.top + 5});
  EXPECT_EQ(composition.workspace.pp_tab, 6);
  click({panel->frame_in(at()).box.left + 60, panel->frame_in(at()).box.top + 5}, ui::mouse_button::right);
  EXPECT_FALSE(panel->is_shown());
  composition.doc.selection = {1};
  engine.run_command("layer_properties");
  EXPECT_TRUE(panel->is_shown() && composition.workspace.pp_tab == 4);
  engine.run_command("layer_properties");
  EXPECT_FALSE(panel->is_shown());
}

}  // namespace
