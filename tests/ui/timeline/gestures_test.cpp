// Every gesture of the ruler and of the layer stack, by pointer: what it
// changes, that one undo takes it back and another brings it again, and that
// Escape leaves nothing.
#include <cstdlib>
#include <functional>
#include <random>

#include "composition/invariants.h"
#include "ui/whole_window.h"

namespace {

using ui::mouse_button;
constexpr int ctrl = platform::key_ctrl;
constexpr int shift = platform::key_shift;
constexpr int escape = 27;

class timeline : public support::whole_window {
 protected:
  void SetUp() override {
    support::whole_window::SetUp();
    size = {1091, 800};
    set_up_document(100);
  }
  // 100 frames make 10 pixels each. Three layers of 30 frames, the last one
  // playing twice.
  void set_up_document(int length) {
    ksn::document& doc = composition.doc;
    doc = {};
    doc.tm_n = length;
    doc.tm_f = 20;
    doc.tm_l = 60;
    doc.tm_t = 40;
    for (const int begin : {10, 40, 0}) {
      doc.tracks.push_back(support::plain_layer(30, "BGRA", 9, 7, {40, 100, 200, 128}));
      doc.tracks.back().timing.begin = begin;
      doc.tracks.back().name = std::string(1, static_cast<char>('a' + doc.track_count() - 1));
    }
    doc.tracks[2].set_out(60);
    doc.selection = {0};
    composition.workspace.track_max = 10;
    composition.undo_stack.reset();
  }
  // On the ruler, so many pixels from its left end.
  math::point on_ruler(int pixels) const { return {45 + pixels, layout().split + 60}; }
  // In the middle of a row of the stack, so many pixels from the left end of
  // the ruler.
  math::point on_row(int pixels, int row) const { return {45 + pixels, layout().split + 84 + 20 * row}; }

  // All that undo brings back: work area and length, then each layer from the
  // top with begin, in and out.
  std::string known() const {
    const ksn::document& doc = composition.doc;
    std::string text = std::to_string(doc.tm_f) + "-" + std::to_string(doc.tm_l) + "/" + std::to_string(doc.tm_n);
    for (const ksn::track_info& track : doc.tracks) {
      text += " " + track.name + std::to_string(track.timing.begin) + "[" + std::to_string(track.in()) + "," +
              std::to_string(track.out()) + ")";
      if (!track.look.visible) text += "hidden";
      if (track.look.opacity != 100) text += std::to_string(track.look.opacity) + "%";
    }
    return text;
  }
  // The index of the layer in the first row, by the tip of its number.
  int row_at_top() {
    ui::mouse_handler* found = window->hit_test(on_row(-40, 0));
    const std::string tip = found ? found->get_tool_tip(on_row(-40, 0)) : std::string();
    for (int i = 0; i < composition.doc.track_count(); ++i) {
      if (tip.starts_with(composition.doc.track_at(i).name + "\n")) return i;
    }
    return -1;
  }
  std::string selected() const {
    std::string text;
    for (const int index : composition.doc.selection) text += composition.doc.track_at(index).name;
    return text;
  }

  struct gesture {
    const char* what;
    math::point from;
    math::point by;
    std::string after;
    mouse_button button = mouse_button::left;
    int modifiers = 0;
  };
  void check(const gesture& row, const std::function<void()>& prepare) {
    const math::point to{row.from.x + row.by.x, row.from.y + row.by.y};
    prepare();
    const std::string before = known();
    window->input().mouse_down(row.button, row.from, false, 0);
    window->input().mouse_move(to, row.modifiers);
    window->input().key_down(escape);
    EXPECT_EQ(known(), before) << row.what << ", cancelled";
    EXPECT_FALSE(composition.can_undo()) << row.what;

    prepare();
    window->input().mouse_down(row.button, row.from, false, 0);
    window->input().mouse_move({row.from.x + 7, row.from.y}, row.modifiers);
    window->input().mouse_move(to, row.modifiers);
    window->input().mouse_up(row.button, to, row.modifiers);
    EXPECT_EQ(known(), row.after) << row.what;
    EXPECT_EQ(ksn::broken_invariant(composition), "") << row.what;
    EXPECT_EQ(composition.can_undo(), known() != before) << row.what;
    if (known() == before) return;
    engine.run_command("undo");
    EXPECT_EQ(known(), before) << row.what << ", undone";
    engine.run_command("undo");
    EXPECT_EQ(known(), row.after) << row.what << ", done again";
  }
};

TEST_F(timeline, every_drag_of_the_ruler) {
  const std::string layers = " a10[0,30) b40[0,30) c0[0,60)";
  const mouse_button middle = mouse_button::middle;
  const gesture rows[] = {
      {"_f", on_ruler(198), {50, 0}, "25-60/100" + layers},
      {"_f to the end of the work area", on_ruler(198), {999, 0}, "59-60/100" + layers},
      {"_f beyond the start", on_ruler(198), {-999, 0}, "0-60/100" + layers},
      {"_f too far above", on_ruler(198), {50, -65}, "20-60/100" + layers},
      {"_f at the edge above", on_ruler(198), {50, -64}, "25-60/100" + layers},
      {"_f too far below", on_ruler(198), {50, 65}, "20-60/100" + layers},
      {"_f not so far below", on_ruler(198), {50, 60}, "25-60/100" + layers},
      {"_l", on_ruler(602), {-54, 0}, "20-55/100" + layers},
      {"_l beyond the timeline", on_ruler(602), {999, 0}, "20-100/100" + layers},
      {"_l to the start", on_ruler(602), {-999, 0}, "20-21/100" + layers},
      {"_w", on_ruler(300), {160, 0}, "36-76/100" + layers, middle},
      {"_w beyond the end", on_ruler(300), {700, 0}, "60-100/100" + layers, middle},
      {"_w beyond the start", on_ruler(300), {-700, 0}, "0-40/100" + layers, middle},
      {"_0 takes frames away", on_ruler(-4), {100, 0}, "10-50/90 a0[0,30) b30[0,30) c-10[0,60)"},
      {"_0 leaves ten frames", on_ruler(-4), {999, 0}, "0-1/10 a-80[0,30) b-50[0,30) c-90[0,60)"},
      {"_0 puts frames in front", on_ruler(-4), {-30, 0}, "23-63/103 a13[0,30) b43[0,30) c3[0,60)"},
      {"_0 too far away", on_ruler(-4), {100, 65}, "20-60/100" + layers},
      {"_n", on_ruler(1004), {70, 0}, "20-60/107" + layers},
      {"_n leaves ten frames", on_ruler(1004), {-999, 0}, "9-10/10" + layers},
  };
  for (const gesture& row : rows) {
    const int changes = work_area_changes;
    check(row, [this] { set_up_document(100); });
    EXPECT_EQ(work_area_changes - changes, row.after == "20-60/100" + layers ? 0 : 1) << row.what;
  }
}

TEST_F(timeline, the_time_cursor) {
  struct row {
    int from;
    math::point by;
    int time;
    int modifiers = 0;
  };
  // On the cursor at 400, on the work area and on the rest.
  for (const row& r : {row{400, {0, 0}, 40}, row{400, {33, 0}, 43}, row{400, {999, 0}, 100}, row{400, {30, 65}, 40},
                       row{400, {30, 60}, 43}, row{250, {0, 0}, 25}, row{254, {30, 0}, 28}, row{900, {-999, 0}, 0},
                       row{900, {10, 70}, 40}}) {
    set_up_document(100);
    drag(on_ruler(r.from), {on_ruler(r.from).x + r.by.x, on_ruler(r.from).y + r.by.y});
    EXPECT_EQ(composition.doc.tm_t, r.time) << r.from << " by " << r.by.x << ", " << r.by.y;
  }
  // While it plays: the drag stops it, and afterwards it goes on where the
  // setting says so.
  for (const bool goes_on : {false, true}) {
    composition.settings.continue_playback_after_drag = goes_on;
    composition.doc.playing = true;
    window->input().mouse_down(mouse_button::left, on_ruler(100), false, 0);
    EXPECT_EQ(composition.doc.tm_t, 10);
    EXPECT_FALSE(composition.doc.playing);
    window->input().mouse_up(mouse_button::left, on_ruler(100), 0);
    EXPECT_EQ(composition.doc.playing, goes_on);
  }
  EXPECT_FALSE(composition.can_undo());
}

TEST_F(timeline, every_drag_of_the_stack) {
  const gesture rows[] = {
      {"body", on_row(200, 0), {52, 0}, "20-60/100 a15[0,30) b40[0,30) c0[0,60)"},
      {"body past the start", on_row(200, 0), {-352, 0}, "20-60/100 a-25[0,30) b40[0,30) c0[0,60)"},
      {"body one row down", on_row(200, 0), {0, 14}, "20-60/100 b40[0,30) a10[0,30) c0[0,60)"},
      {"body down and on", on_row(200, 0), {30, 500}, "20-60/100 b40[0,30) c0[0,60) a13[0,30)"},
      {"body up", on_row(500, 1), {0, -21}, "20-60/100 b40[0,30) a10[0,30) c0[0,60)"},
      {"body of what was not selected", on_row(500, 1), {10, 0}, "20-60/100 a10[0,30) b41[0,30) c0[0,60)"},
      {"a short way is a click", on_row(200, 0), {4, 4}, "20-60/100 a10[0,30) b40[0,30) c0[0,60)"},
      {"in", on_row(102, 0), {50, 0}, "20-60/100 a10[5,30) b40[0,30) c0[0,60)"},
      {"in past the out", on_row(102, 0), {999, 0}, "20-60/100 a10[29,30) b40[0,30) c0[0,60)"},
      {"in before the start", on_row(102, 0), {-50, 0}, "20-60/100 a10[0,30) b40[0,30) c0[0,60)"},
      {"out", on_row(397, 0), {-54, 0}, "20-60/100 a10[0,25) b40[0,30) c0[0,60)"},
      {"out into repeats", on_row(397, 0), {350, 0}, "20-60/100 a10[0,65) b40[0,30) c0[0,60)"},
  };
  for (const gesture& row : rows) check(row, [this] { set_up_document(100); });

  const gesture of_two[] = {
      {"bodies", on_row(500, 1), {-60, 40}, "20-60/100 a4[0,30) b34[0,30) c0[0,60)"},
      {"ins", on_row(402, 1), {30, 0}, "20-60/100 a10[3,30) b40[3,30) c0[0,60)"},
      {"outs", on_row(697, 1), {-30, 0}, "20-60/100 a10[0,27) b40[0,27) c0[0,60)"},
  };
  for (const gesture& row : of_two) {
    check(row, [this] {
      set_up_document(100);
      composition.doc.selection = {0, 1};
    });
  }
}

TEST_F(timeline, ctrl_snaps) {
  // One pixel a frame; 8 pixels reach. Whole seconds are 25 frames.
  const std::string layers = " a10[0,30) b40[0,30) c0[0,60)";
  const gesture rows[] = {
      {"to an end of a layer", on_ruler(18), {-6, 0}, "10-60/1000" + layers, mouse_button::left, ctrl},
      {"without Ctrl", on_ruler(18), {-6, 0}, "14-60/1000" + layers},
      {"to the time", on_ruler(61), {-15, 0}, "20-40/1000" + layers, mouse_button::left, ctrl},
      {"to a second", on_ruler(61), {66, 0}, "20-125/1000" + layers, mouse_button::left, ctrl},
      {"far from all", on_ruler(61), {52, 0}, "20-112/1000" + layers, mouse_button::left, ctrl},
      {"the end of a body to a second",
       on_row(25, 0),
       {87, 0},
       "20-60/1000 a95[0,30) b40[0,30) c0[0,60)",
       mouse_button::left,
       ctrl},
      {"the start of a body to a layer",
       on_row(25, 0),
       {57, 0},
       "20-60/1000 a70[0,30) b40[0,30) c0[0,60)",
       mouse_button::left,
       ctrl},
      {"an out point", on_row(39, 0), {17, 0}, "20-60/1000 a10[0,50) b40[0,30) c0[0,60)", mouse_button::left, ctrl},
  };
  for (const gesture& row : rows) {
    check(row, [this] {
      set_up_document(1000);
      // Only what is named in the rows may be met.
      composition.doc.tracks[2].timing.begin = 0;
    });
  }
}

TEST_F(timeline, ctrl_snaps_to_what_was_there_at_the_press) {
  set_up_document(1000);
  const math::point press = on_ruler(18);
  window->input().mouse_down(mouse_button::left, press, false, 0);
  window->input().mouse_move({press.x - 6, press.y}, 0);
  EXPECT_EQ(composition.doc.tm_f, 14);
  window->input().mouse_move({press.x - 4, press.y}, ctrl);
  EXPECT_EQ(composition.doc.tm_f, 20);
  window->input().mouse_up(mouse_button::left, {press.x - 4, press.y}, ctrl);
}

TEST_F(timeline, a_timeline_that_shrinks_during_a_gesture) {
  struct row {
    int x;
    mouse_button button;
    const char* after;
  };
  for (const auto& [x, button, after] :
       {row{602, mouse_button::left, "14-15/15"}, row{300, mouse_button::middle, "0-15/15 "}}) {
    set_up_document(100);
    window->input().mouse_down(button, on_ruler(x), false, 0);
    engine.run_option("--timeline=15");
    window->input().mouse_move(on_ruler(x + 30), 0);
    EXPECT_EQ(ksn::broken_invariant(composition), "") << x;
    window->input().mouse_up(button, on_ruler(x + 30), 0);
    EXPECT_EQ(known().substr(0, 8), after);
  }
}

TEST_F(timeline, eyes_and_speakers_are_painted_over_rows) {
  composition.doc.tracks[1].look.visible = false;
  composition.doc.tracks[2].source.type = ksn::source_type::wave;
  const std::string before = known();
  drag(on_row(-22, 0), on_row(-22, 2));
  EXPECT_EQ(known(), "20-60/100 a10[0,30)hidden b40[0,30)hidden c0[0,60)") << "a sound has no picture to hide";
  engine.run_command("undo");
  EXPECT_EQ(known(), before);
  composition.doc.tracks[1].look.opacity = 0;
  click(on_row(-22, 1));
  EXPECT_EQ(known(), "20-60/100 a10[0,30) b40[0,30) c0[0,60)") << "with its opacity";
  EXPECT_EQ(selected(), "b");
  composition.doc.selection = {0, 1};
  click(on_row(-22, 1));
  EXPECT_EQ(selected(), "ab");
  drag(on_row(-8, 0), on_row(-8, 2));
  EXPECT_FALSE(composition.doc.tracks[0].sound.audible) << "without sound nothing is switched";

  for (ksn::track_info& track : composition.doc.tracks) track.source.audio = std::make_shared<sources::wave_context>();
  composition.doc.tracks[1].sound = {false, 0};
  window->input().mouse_down(mouse_button::left, on_row(-8, 1), false, 0);
  window->input().mouse_move(on_row(-8, 2), 0);
  EXPECT_EQ(composition.doc.tracks[1].sound, (ksn::layer_sound{true, 100}));
  EXPECT_TRUE(composition.doc.tracks[2].sound.audible);
  window->input().key_down(escape);
  EXPECT_EQ(composition.doc.tracks[1].sound, (ksn::layer_sound{false, 0}));

  for (ksn::track_info& track : composition.doc.tracks) track.look.visible = true;
  composition.doc.selection = {};
  drag(on_row(-22, 1), on_row(-22, 0));
  EXPECT_FALSE(composition.doc.tracks[0].look.visible) << "upward, to the first row";
}

TEST_F(timeline, clicks_select) {
  struct row {
    int layer, modifiers;
    const char* selected;
  };
  for (const row& r : {row{1, 0, "b"}, row{2, ctrl, "bc"}, row{1, ctrl, "c"}, row{0, shift, "abc"}, row{0, 0, "a"},
                       row{2, shift, "abc"}, row{1, ctrl, "ac"}}) {
    for (const int x : {-40, 10, 200, 1020}) {
      const std::set<int> before = composition.doc.selection;
      const math::point point = on_row(x, r.layer);
      window->input().mouse_down(mouse_button::left, point, false, r.modifiers);
      window->input().mouse_up(mouse_button::left, point, r.modifiers);
      EXPECT_EQ(selected(), r.selected) << "at " << x;
      if (x != 1020) composition.doc.selection = before;
    }
  }
}

TEST_F(timeline, double_clicks) {
  const auto twice = [&](int x, int layer) { click(on_row(x, layer), mouse_button::left, true); };
  composition.doc.tracks[0].set_in_out(5, 20);
  twice(152, 0);
  EXPECT_EQ(known(), "20-60/100 a10[0,20) b40[0,30) c0[0,60)");
  twice(297, 0);
  EXPECT_EQ(known(), "20-60/100 a10[0,30) b40[0,30) c0[0,60)");
  engine.run_command("undo");
  EXPECT_EQ(known(), "20-60/100 a10[0,20) b40[0,30) c0[0,60)");

  composition.doc.tracks[1].group_id = composition.doc.tracks[2].group_id = 100;
  twice(-40, 2);
  EXPECT_EQ(selected(), "bc");

  struct row {
    ksn::source_type type;
    int tab;
  };
  for (const row& r : {row{ksn::source_type::brush, 3}, row{ksn::source_type::brush_sequence, 3},
                       row{ksn::source_type::text, 4}, row{ksn::source_type::avi, 1}}) {
    composition.doc.tracks[1].source.type = r.type;
    composition.workspace.shown_property_panel() = false;
    composition.workspace.pp_tab = 1;
    twice(500, 1);
    EXPECT_TRUE(composition.workspace.shown_property_panel());
    EXPECT_EQ(composition.workspace.pp_tab, r.tab);
    EXPECT_EQ(selected(), "b");
    twice(900, 1);
    EXPECT_FALSE(composition.workspace.shown_property_panel());
  }
}

TEST_F(timeline, right_clicks_open_menus) {
  struct row {
    math::point point;
    const char* menu;
    const char* selected;
  };
  const row rows[] = {{on_row(500, 1), "layer", "b"}, {on_row(1020, 2), "layer_modes", "c"},
                      {on_row(900, 0), "", "a"},      {on_row(-40, 1), "", "a"},
                      {on_ruler(300), "ruler", "a"},  {on_ruler(800), "ruler", "a"},
                      {on_ruler(-25), "rate", "a"}};
  for (const row& r : rows) {
    menus.clear();
    composition.doc.selection = {0};
    click(r.point, mouse_button::right);
    EXPECT_EQ(menus, *r.menu ? support::strings{r.menu} : support::strings{}) << r.menu;
    EXPECT_EQ(selected(), r.selected) << r.menu;
  }
  composition.doc.selection = {0, 1};
  click(on_row(500, 1), mouse_button::right);
  EXPECT_EQ(selected(), "ab");
}

TEST_F(timeline, fields_for_rate_and_length) {
  const auto type = [&](math::point point, const char* text) {
    click(point);
    window->input().pass(0, true);
    window->input().text(text);
    window->input().key_down(13);
  };
  type(on_ruler(-25), "24");
  EXPECT_EQ(composition.doc.fpcs, 2400);
  type(on_ruler(1030), "250");
  EXPECT_EQ(composition.doc.tm_n, 250);
  EXPECT_TRUE(composition.can_undo());
  engine.run_command("undo");
  EXPECT_EQ(composition.doc.tm_n, 100);
  drag(on_ruler(1030), {on_ruler(1030).x + 25, on_ruler(1030).y});
  EXPECT_EQ(composition.doc.tm_n, 125);
  engine.run_command("undo");
  EXPECT_EQ(composition.doc.tm_n, 100);
  EXPECT_EQ(work_area_changes, 2);
  // Shorter on the way, but not in the end.
  const std::string before = known();
  const math::point field = on_ruler(1030);
  for (const bool kept : {false, true}) {
    composition.undo_stack.reset();
    window->input().mouse_down(mouse_button::left, field, false, 0);
    for (const int by : {-70, -90, kept ? 0 : -50}) {
      window->input().mouse_move({field.x + by, field.y}, 0);
      EXPECT_EQ(composition.doc.tm_n, 100 + by);
    }
    kept ? window->input().mouse_up(mouse_button::left, field, 0) : window->input().key_down(escape);
    EXPECT_EQ(known(), before) << kept;
    EXPECT_EQ(composition.doc.tm_t, 40) << kept;
    EXPECT_FALSE(composition.undo_stack) << kept;
  }
  EXPECT_EQ(work_area_changes, 2);
  click(field);
  window->input().pass(0, true);
  window->input().text("12");
  window->input().key_down(40);
  EXPECT_EQ(known().substr(0, 8), "10-11/11");
  window->input().key_down(escape);
  EXPECT_EQ(known(), before) << "stepped by an arrow";

  engine.run_command("tm_fps_edit");
  window->input().pass(0, true);
  window->input().text("30");
  window->input().key_down(13);
  EXPECT_EQ(composition.doc.fpcs, 3000);
}

TEST_F(timeline, a_layer_that_goes_during_a_gesture) {
  for (const int x : {200, 102, 397, -22}) {
    set_up_document(100);
    window->input().mouse_down(mouse_button::left, on_row(x, 0), false, 0);
    window->input().mouse_move(on_row(x + 50, 0), 0);
    engine.run_command("layer_delete_all");
    window->input().mouse_move(on_row(x + 90, 1), 0);
    art();
    window->input().mouse_up(mouse_button::left, on_row(x + 90, 1), 0);
    EXPECT_EQ(ksn::broken_invariant(composition), "");
  }
  window->input().mouse_down(mouse_button::middle, on_ruler(300), false, 0);
  engine.run_command("timeline=10");
  window->input().mouse_move(on_ruler(500), 0);
  window->input().mouse_up(mouse_button::middle, on_ruler(500), 0);
  EXPECT_EQ(ksn::broken_invariant(composition), "");
}

TEST_F(timeline, many_layers_scroll) {
  for (int i = 0; i < 200; ++i) {
    composition.doc.tracks.push_back(composition.doc.tracks[0]);
    composition.doc.tracks.back().id = ksn::next_layer_id();
  }
  composition.workspace.track_max = 10;
  const auto first_row = [&] {
    click(on_row(-40, 0));
    return composition.doc.selected_index();
  };
  EXPECT_EQ(first_row(), 0);
  window->input().mouse_wheel(on_row(500, 5), -240, 0, 0);
  EXPECT_EQ(first_row(), 2);
  window->input().mouse_wheel(on_row(500, 5), -120 * 500, 0, 0);
  EXPECT_EQ(first_row(), 193);
  // The thumb, the arrows and the trough of the scroll bar.
  const int x = 1091 - 6 - 45;
  drag({x + 45, on_row(0, 9).y - 10}, {x + 45, 0});
  EXPECT_EQ(first_row(), 0);
  click({x + 45, on_row(0, 9).y + 5});
  EXPECT_EQ(first_row(), 1);
  click({x + 45, on_row(0, 5).y});
  EXPECT_EQ(first_row(), 11);
  click({x + 45, on_row(0, 0).y - 5});
  EXPECT_EQ(first_row(), 10);
  // A layer that is selected by a command comes into sight.
  composition.doc.selection = {100};
  art();
  EXPECT_EQ(first_row(), 91);
}

TEST_F(timeline, rows_scroll_while_something_is_held) {
  for (int i = 0; i < 200; ++i) {
    composition.doc.tracks.push_back(composition.doc.tracks[0]);
    composition.doc.tracks.back().id = ksn::next_layer_id();
    composition.doc.tracks.back().name = std::to_string(i);
  }
  composition.workspace.track_max = 10;
  art();
  ui::input& input = window->input();
  const auto wait = [&](int milliseconds) {
    ui::redraw wish;
    for (int i = 0; i < milliseconds; i += 20) {
      now += 20;
      wish.add(window->pass(20, true));
    }
    return wish.now;
  };
  // The lower arrow: once at the press, then again and again, and not when the pointer has left it.
  const math::point arrow{1091 - 6, on_row(0, 9).y + 5};
  input.mouse_down(mouse_button::left, arrow, false, 0);
  EXPECT_EQ(row_at_top(), 1);
  EXPECT_FALSE(wait(300));
  EXPECT_EQ(row_at_top(), 1);
  EXPECT_TRUE(wait(1000));
  const int held = row_at_top();
  EXPECT_GT(held, 10);
  input.mouse_move({arrow.x - 200, arrow.y}, 0);
  wait(1000);
  EXPECT_EQ(row_at_top(), held);
  input.mouse_up(mouse_button::left, {arrow.x - 200, arrow.y}, 0);
  // A bar that is held at the lower edge goes on to rows that were not seen, and back.
  composition.doc.selection = {held};
  const std::string name = composition.doc.track_at(held).name;
  input.mouse_down(mouse_button::left, on_row(200, 0), false, 0);
  input.mouse_move(on_row(200, 9), 0);
  EXPECT_FALSE(wait(1000)) << "inside nothing moves";
  input.mouse_move({on_row(200, 9).x, on_row(0, 9).y + 30}, 0);
  EXPECT_TRUE(wait(2000));
  const int scrolled = row_at_top();
  EXPECT_GT(scrolled, held + 10);
  input.mouse_up(mouse_button::left, on_row(200, 9), 0);
  EXPECT_EQ(composition.doc.track_at(scrolled + 9).name, name);
  engine.run_command("undo");
  EXPECT_EQ(ksn::broken_invariant(composition), "");
}

// A pointer that does anything anywhere in ruler and stack, mixed with
// commands. KESTRIN_WALK_STEPS makes it longer.
TEST_F(timeline, any_gestures_keep_what_always_holds) {
  const char* wanted = std::getenv("KESTRIN_WALK_STEPS");
  std::mt19937 random(3);
  const auto below = [&](int end) { return static_cast<int>(random() % static_cast<unsigned>(end)); };
  const char* commands[] = {"undo",
                            "undo",
                            "layer_duplicate",
                            "layer_delete_selected",
                            "timeline=70",
                            "selection=1",
                            "next_frame",
                            "timeline_fit_all_layers",
                            "timeline=300",
                            "wa_end=30",
                            "layer_move_selected_to=2",
                            "timeline_cut_begin=-9"};
  int undone = 0;
  for (int step = wanted ? std::atoi(wanted) : 10'000; step > 0; --step) {
    const math::point point{below(1110) - 10, layout().split + 40 + below(300)};
    const auto button = below(5) == 0 ? mouse_button::middle : mouse_button::left;
    const int held = below(4) == 0 ? (below(2) ? ctrl : shift) : 0;
    const int event = below(12);
    if (event < 4) {
      window->input().mouse_down(button, point, below(6) == 0, held);
    } else if (event < 8) {
      window->input().mouse_move(point, held);
    } else if (event < 10) {
      window->input().mouse_up(button, point, held);
    } else if (event == 10) {
      window->input().key_down(below(3) == 0 ? escape : 13);
      window->input().mouse_wheel(point, 120 * (below(7) - 3), 0, held);
    } else {
      const char* command = commands[below(static_cast<int>(std::size(commands)))];
      undone += std::string_view(command) == "undo" && composition.can_undo();
      engine.run_command(command);
      if (composition.doc.track_count() < 2 || composition.doc.track_count() > 40) set_up_document(100);
    }
    if (step % 20 == 0) art();
    ASSERT_EQ(ksn::broken_invariant(composition), "") << step << " steps before the end, event " << event;
  }
  EXPECT_GT(undone, 20) << "nothing was left to undo";
}

}  // namespace
