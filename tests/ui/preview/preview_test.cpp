// Gestures over the picture as press, movement and release, with the fields and the step of undo after them; the
// information bar.
#include <gtest/gtest.h>

#include <cmath>

#include "composition/editing/undo.h"
#include "ui/whole_window.h"

namespace {

using platform::key_alt;
using platform::key_caps;
using platform::key_ctrl;
using platform::key_shift;
using ui::mouse_button;

class preview : public support::whole_window {
 protected:
  // Three layers around the composition's middle, which lies at 470,361 of the window: 90 x 70 and 40 x 30 pixels at
  // the upper left, and a text of 100 x 60.
  void SetUp() override {
    whole_window::SetUp();
    add_layer();
    composition.doc.tracks.push_back(support::plain_layer(3, "BGR", 40, 30, {1, 2, 3}));
    composition.doc.track_at(1).placement.pos = {-100, -80};
    composition.doc.tracks.push_back(support::plain_layer(1, "BGR", 100, 60, {1, 2, 3}));
    composition.doc.track_at(2).source.type = ksn::source_type::text;
    composition.doc.track_at(2).placement.pos = {150, 0};
    for (ksn::track_info& track : composition.doc.tracks) {
      track.placement.crop_wh = {track.source.width, track.source.height};
    }
    composition.doc.tm_n = composition.doc.tm_l = 1000;
    composition.doc.set_current_time(100);
    composition.workspace.timeline_visible = true;
    composition.workspace.track_max = 0;
    ASSERT_EQ(middle(), (math::point{470, 363}));
  }
  math::point middle() const { return layout().preview_middle(); }
  ksn::track_info& layer(int index) { return composition.doc.track_at(index); }
  math::point from_middle(int x, int y) const { return {middle().x + x, middle().y + y}; }
  // Presses at a point from the middle, moves in two steps and lets go.
  void gesture(mouse_button button, int modifiers, math::point press, math::point by, int milliseconds = 2000) {
    const math::point from = from_middle(press.x, press.y);
    const math::point to{from.x + by.x, from.y + by.y};
    window->input().mouse_move(from, modifiers);
    window->input().mouse_down(button, from, false, modifiers);
    now += static_cast<std::uint32_t>(milliseconds);
    window->input().mouse_move({from.x + by.x / 2, from.y + by.y / 2}, modifiers);
    window->input().mouse_move(to, modifiers);
    window->input().mouse_up(button, to, modifiers);
  }
  // The values that gestures change, in one line.
  std::string fields() const {
    std::string text;
    const auto add = [&text](const char* name, auto... values) {
      text += text.empty() ? name : std::string(" ") + name;
      ((text += " " + std::to_string(values)), ...);
    };
    add("time", static_cast<int>(std::rint(composition.doc.tm_t * 1000)));
    add("pan", static_cast<int>(composition.view.pan_position.x), static_cast<int>(composition.view.pan_position.y));
    add("zoom", composition.view.zoom_factor2);
    for (const ksn::track_info& track : composition.doc.tracks) {
      const ksn::layer_placement& p = track.placement;
      add("|", p.pos.x, p.pos.y, p.scale_x, p.scale_y, p.crop_xy.x, p.crop_xy.y, p.crop_wh.x, p.crop_wh.y,
          track.source.width, track.source.height);
    }
    return text;
  }
  std::string undo_name() const { return composition.undo_stack ? composition.undo_stack->text_key() : ""; }
};

constexpr auto left = mouse_button::left;
constexpr auto middle_button = mouse_button::middle;

TEST_F(preview, gestures_that_change_the_view_or_the_time) {
  struct row {
    const char* what;
    mouse_button button;
    int modifiers;
    math::point press, by;
    double time;
    math::pointd pan;
    int zoom;
  };
  const row rows[] = {
      {"a scrub", left, 0, {0, 0}, {80, 10}, 110, {0, 0}, 200},
      {"a scrub past the start", left, 0, {0, 0}, {-1000, 0}, 0, {0, 0}, 200},
      {"a part of a frame", left, key_ctrl, {0, 0}, {-5, 0}, 99.375, {0, 0}, 200},
      {"a click", left, 0, {0, 0}, {3, 3}, 100, {0, 0}, 200},
      {"alt pans", left, key_alt, {0, 0}, {30, -20}, 100, {15, -10}, 200},
      {"the middle button pans", middle_button, 0, {0, 0}, {-8, 4}, 100, {-4, 2}, 200},
      {"zoom", middle_button, key_alt, {60, 40}, {50, 0}, 100, {0, 0}, 250},
      {"zoom down to the least", middle_button, key_alt, {60, 40}, {-900, 0}, 100, {0, 0}, 1},
      {"zoom around a point", middle_button, key_alt | key_ctrl, {60, 40}, {200, 0}, 100, {-15, -10}, 400},
      {"the right button", mouse_button::right, 0, {0, 0}, {50, 50}, 100, {0, 0}, 200},
  };
  for (const row& r : rows) {
    composition.view.zoom_factor2 = 200;
    composition.view.pan_position = {};
    composition.doc.set_current_time(100);
    const std::string before = fields();
    gesture(r.button, r.modifiers, r.press, r.by);
    EXPECT_NEAR(composition.doc.tm_t, r.time, 1e-9) << r.what;
    EXPECT_EQ(composition.view.pan_position, r.pan) << r.what;
    EXPECT_EQ(composition.view.zoom_factor2, r.zoom) << r.what;
    EXPECT_FALSE(composition.undo_stack) << r.what;

    composition.view.zoom_factor2 = 200;
    composition.view.pan_position = {};
    composition.doc.set_current_time(100);
    window->input().mouse_down(r.button, from_middle(0, 0), false, r.modifiers);
    window->input().mouse_move(from_middle(90, 90), r.modifiers);
    window->input().key_down(27);
    window->input().mouse_up(r.button, from_middle(90, 90), r.modifiers);
    EXPECT_EQ(fields(), before) << r.what << ", taken back";
  }
  EXPECT_EQ(menus, (support::strings(2, "view"))) << "of the right button";
}

TEST_F(preview, a_flick_is_quick_and_steep) {
  struct row {
    const char* what;
    math::point by;
    int milliseconds;
    int played, plays;  // -1 backward, 0 not, 1 forward
    bool goes_on;
  };
  const row rows[] = {{"up", {0, -24}, 1499, 0, 1, false},
                      {"a pixel too short", {0, -23}, 1499, 0, 0, false},
                      {"a millisecond too late", {0, -24}, 1500, 0, 0, false},
                      {"as far to the side", {24, -24}, 100, 0, 0, false},
                      {"nearly as far", {-24, -25}, 100, 0, 1, false},
                      {"down", {0, 30}, 100, 0, -1, false},
                      {"up again", {0, -30}, 100, 1, 0, false},
                      {"down again", {0, 30}, 100, -1, 0, false},
                      {"turned round", {0, 30}, 100, 1, -1, false},
                      {"a scrub while it plays", {80, 0}, 100, 1, 0, false},
                      {"a scrub after which it goes on", {80, 0}, 100, -1, -1, true}};
  for (const row& r : rows) {
    composition.doc.set_current_time(100);
    composition.doc.playing = r.played != 0;
    composition.doc.forward = r.played >= 0;
    composition.settings.continue_playback_after_drag = r.goes_on;
    gesture(left, 0, {0, 0}, r.by, r.milliseconds);
    const int plays = composition.doc.playing ? composition.doc.forward ? 1 : -1 : 0;
    EXPECT_EQ(plays, r.plays) << r.what;
    const bool flick = r.plays != r.played && std::abs(r.by.y) > std::abs(r.by.x);
    EXPECT_EQ(composition.doc.tm_t, flick ? 100 : 100 + r.by.x * 0.125) << r.what;
    EXPECT_EQ(composition.settings.continue_playback_after_drag, r.goes_on);
  }
}

// Every gesture is one step: undone it is as before, done again as after.
TEST_F(preview, gestures_that_change_layers) {
  // A name that begins with "crop" has layer 0 cropped to 30 by 20 pixels.
  struct row {
    const char* what;
    std::set<int> selected;
    int modifiers;
    math::point press, by;
    const char* after;  // the parts of the layers that changed: "LAYER: pos scale crop_xy crop_wh size"
    const char* undo;
    mouse_button button = left;
  };
  constexpr int with_ctrl = key_shift | key_ctrl;
  constexpr int with_alt = key_shift | key_alt;
  const row rows[] = {
      {"the selected layer", {0}, key_shift, {0, 0}, {13, -7}, "0: 13 -7", "move"},
      {"caps lock", {0}, key_caps, {300, 300}, {13, -7}, "0: 13 -7", "move"},
      {"the middle button", {0}, key_shift, {0, 0}, {13, -7}, "0: 13 -7", "move", middle_button},
      {"another layer", {0}, key_shift, {-100, -80}, {5, 5}, "1: -95 -75", "move"},
      {"none selected", {}, key_shift, {-100, -80}, {5, 5}, "1: -95 -75", "move"},
      {"beside all layers", {0}, key_shift, {-300, 200}, {5, 5}, "", ""},
      {"two layers", {0, 1}, key_shift, {300, 200}, {20, 1}, "0: 20 1 1: -80 -79", "move"},
      {"no movement", {0}, key_shift, {0, 0}, {0, 0}, "", ""},
      {"crop", {0}, key_shift, {0, 0}, {4, -6}, "0: crop 4 -6 30 20", "move_crop"},
      {"crop, one axis", {0}, with_ctrl, {0, 0}, {4, -6}, "0: crop 0 -6 30 20", "move_crop"},
      {"crop, beside it", {0}, key_shift, {-30, 20}, {4, -6}, "0: 4 -6", "move"},
      {"crop, a side", {0}, key_shift, {15, 0}, {6, 3}, "0: crop 3 0 36 20", "move_crop"},
      {"crop, a corner", {0}, key_shift, {-15, -10}, {-4, 2}, "0: crop -2 1 34 18", "move_crop"},
      {"crop, closed", {0}, key_shift, {15, 0}, {-90, 0}, "0: crop -15 0 1 20", "move_crop"},
      {"the right side", {0}, key_shift, {44, 0}, {45, 9}, "0: 22 0 scale 150 100", "scale"},
      {"the left side", {0}, key_shift, {-45, 0}, {-90, 9}, "0: -45 0 scale 200 100", "scale"},
      {"the upper side", {0}, key_shift, {0, -35}, {0, 35}, "0: 0 18 scale 100 50", "scale"},
      {"around the centre", {0}, with_alt, {44, 0}, {45, 0}, "0: scale 200 100", "scale"},
      {"a corner", {0}, key_shift, {44, 34}, {90, 7}, "0: 45 35 scale 200 200", "scale"},
      {"a free corner", {0}, with_ctrl, {44, 34}, {90, 7}, "0: 45 4 scale 200 110", "scale"},
      {"past the other side", {0}, key_shift, {44, 0}, {-200, 0}, "0: -45 0 scale 1 100", "scale"},
      {"a text", {2}, key_shift, {49 + 150, 29}, {20, 40}, "2: 160 20 crop 0 0 120 100 size 120 100", "resize"},
      {"a text, larger than any picture",
       {2},
       key_shift,
       {49 + 150, 29},
       {70000, 80000},
       "2: 32868 32738 crop 0 0 65535 65535 size 65535 65535",
       "resize"},
  };
  const ksn::document start = composition.doc;
  for (const row& r : rows) {
    SCOPED_TRACE(r.what);
    composition.doc = start;
    composition.undo_stack.reset();
    composition.doc.selection = r.selected;
    const bool cropped = std::string_view(r.what).starts_with("crop");
    if (cropped) {
      layer(0).placement.crop = true;
      layer(0).placement.crop_wh = {30, 20};
    }
    const std::deque<ksn::track_info> before = composition.doc.tracks;
    const std::string fields_before = fields();
    gesture(r.button, r.modifiers, r.press, r.by);
    std::string after;
    std::set<int> changed;
    for (int i = 0; i < 3; ++i) {
      const ksn::layer_placement& was = before[static_cast<std::size_t>(i)].placement;
      const ksn::layer_placement& is = layer(i).placement;
      const ksn::layer_source& source = layer(i).source;
      std::string text;
      const auto add = [&text](const std::string& name, std::initializer_list<int> values) {
        text += (text.empty() ? "" : " ") + name;
        for (const int value : values) text += (text.empty() ? "" : " ") + std::to_string(value);
      };
      if (is.pos != was.pos) add("", {is.pos.x, is.pos.y});
      if (is.scale_x != was.scale_x || is.scale_y != was.scale_y) add("scale", {is.scale_x, is.scale_y});
      if (is.crop_xy != was.crop_xy || is.crop_wh != was.crop_wh) {
        add("crop", {is.crop_xy.x, is.crop_xy.y, is.crop_wh.x, is.crop_wh.y});
      }
      if (source.width != before[static_cast<std::size_t>(i)].source.width) add("size", {source.width, source.height});
      if (text.empty()) continue;
      after += (after.empty() ? "" : " ") + std::to_string(i) + ": " + text;
      changed.insert(i);
    }
    EXPECT_EQ(after, r.after);
    EXPECT_EQ(composition.doc.selection, changed.empty() ? r.selected : changed);
    EXPECT_EQ(undo_name(), *r.undo ? std::string("undo_layer_") + r.undo : "");
    EXPECT_EQ(composition.doc.tm_t, 100);
    const std::string fields_after = fields();
    if (*r.undo) {
      composition.undo();
      EXPECT_EQ(fields(), fields_before);
      composition.undo();
      EXPECT_EQ(fields(), fields_after);
    }
    // Escape takes it back before it becomes a step.
    composition.undo_stack.reset();
    composition.doc.selection = r.selected;
    composition.doc.tracks = before;
    const math::point from = from_middle(r.press.x, r.press.y);
    window->input().mouse_move(from, r.modifiers);
    window->input().mouse_down(r.button, from, false, r.modifiers);
    window->input().mouse_move({from.x + 50, from.y + 30}, r.modifiers);
    window->input().key_down(27);
    EXPECT_EQ(fields(), fields_before);
    EXPECT_FALSE(composition.undo_stack);
  }
}

TEST_F(preview, exposure_and_gamma_of_the_view_are_dragged_over_the_bar) {
  const math::point spot{middle().x + 400, layout().split - 25};
  const auto drag = [&](int modifiers, int by) {
    window->input().mouse_move(spot, modifiers);
    window->input().mouse_down(left, spot, false, modifiers);
    window->input().mouse_move({spot.x + by, spot.y}, modifiers);
    window->input().mouse_up(left, {spot.x + by, spot.y}, modifiers);
  };
  drag(0, 40);
  EXPECT_TRUE(composition.view.is_neutral()) << "nothing there to drag";
  composition.doc.set_current_time(100);
  composition.view.add_exposure(25);
  drag(0, 40);
  drag(key_shift, -10);
  EXPECT_EQ(composition.view.tf.exposure, (std::array{65, 65, 65}));
  EXPECT_EQ(composition.view.tf.gamma, (std::array{90, 90, 90}));
  EXPECT_EQ(composition.doc.tm_t, 100);
  art();
  EXPECT_EQ(std::count(canvas.texts.begin(), canvas.texts.end(), "+0.65  0.90"), 1);
}

TEST_F(preview, the_brush) {
  composition.doc.mask_size = {60, 40};
  composition.new_brush_layer(1000);
  ksn::workspace& workspace = composition.workspace;
  workspace.brush_size = 5;
  workspace.brush_color = {255, 10, 20, 30};
  const auto alpha_at = [&](int x, int y) {
    const img::image_ptr& canvas = layer(0).source.brush_image;
    return canvas ? canvas->row(3, y + 20)[x + 30] : -1;
  };
  // Painted where the pointer was, on the way and not beside it; erased with the right button.
  gesture(left, 0, {-10, 0}, {20, 0});
  EXPECT_EQ(undo_name(), "undo_brush_stroke");
  EXPECT_EQ((std::array{alpha_at(-10, 0), alpha_at(0, 0), alpha_at(10, 0), alpha_at(-16, 0), alpha_at(0, 6)}),
            (std::array{255, 255, 255, 0, 0}));
  gesture(mouse_button::right, 0, {0, 0}, {0, 0});
  EXPECT_EQ((std::array{alpha_at(-10, 0), alpha_at(0, 0)}), (std::array{255, 0}));
  EXPECT_TRUE(menus.empty());
  composition.undo();
  EXPECT_EQ(alpha_at(0, 0), 255);
  const auto step = composition.undo_stack;
  window->input().mouse_down(left, from_middle(0, 10), false, 0);
  EXPECT_EQ(alpha_at(0, 10), 255);
  window->input().key_down(27);
  EXPECT_EQ(alpha_at(0, 10), 0);
  EXPECT_EQ(composition.undo_stack, step);

  gesture(left, key_ctrl, {0, 0}, {30, 12});
  EXPECT_EQ((std::array{workspace.brush_size, workspace.brush_softness}), (std::array{35, 12}));
  window->input().mouse_down(left, from_middle(0, 0), false, key_ctrl);
  window->input().mouse_move(from_middle(9, 9), key_ctrl);
  window->input().key_down(27);
  EXPECT_EQ((std::array{workspace.brush_size, workspace.brush_softness}), (std::array{35, 12}));

  workspace.brush_color = {99, 0, 0, 0};
  gesture(left, key_ctrl | key_alt, {-25, 15}, {15, -15});
  EXPECT_EQ(workspace.brush_color, (lib::color{99, 9, 19, 29})) << "as the composite shows it";
}

TEST_F(preview, a_crop_in_a_scaled_view_moves_by_pixels_of_the_picture) {
  layer(0).placement.scale_x = 50;
  layer(0).placement.aspect = 2;
  layer(0).placement.crop = true;
  composition.view.zoom_factor2 = 300;
  composition.doc.selection = {0};
  // The axis that moved first is kept until Ctrl comes up.
  const math::point from = from_middle(3, 3);
  window->input().mouse_move(from, key_shift | key_ctrl);
  window->input().mouse_down(left, from, false, key_shift | key_ctrl);
  window->input().mouse_move({from.x + 30, from.y + 6}, key_shift | key_ctrl);
  window->input().mouse_move({from.x + 30, from.y + 60}, key_shift | key_ctrl);
  EXPECT_EQ(layer(0).placement.crop_xy, (math::point{10, 0}));
  window->input().modifiers_changed(key_shift);
  EXPECT_EQ(layer(0).placement.crop_xy, (math::point{10, 20}));
  window->input().mouse_up(left, {from.x + 30, from.y + 60}, key_shift);
}

TEST_F(preview, clicks_and_the_wheel) {
  click(from_middle(0, 0), left, true);
  EXPECT_EQ(commands, (support::strings{"add_layer"}));
  composition.doc.selection = {2};
  const auto twice = [&](math::point at, int modifiers) {
    window->input().mouse_down(left, at, true, modifiers);
    window->input().mouse_up(left, at, modifiers);
  };
  twice(from_middle(-150, 0), key_shift);
  EXPECT_EQ(commands.size(), 1u) << "beside the text";
  for (const int modifier : {key_shift, key_caps}) {
    twice(from_middle(150, 0), modifier);
    EXPECT_EQ(commands.back(), "edit_text");
    EXPECT_TRUE(window->input().focus());
    window->input().key_down(27);
  }
  composition.view.zoom_factor2 = 200;
  window->input().mouse_wheel(from_middle(60, 40), 120, 0, 0);
  EXPECT_EQ(composition.view.zoom_factor2, 300);
  EXPECT_EQ(composition.view.pan_position, (math::pointd{}));
  window->input().mouse_wheel(from_middle(60, 40), -120, 0, key_ctrl);
  EXPECT_EQ(composition.view.zoom_factor2, 200);
  EXPECT_EQ(composition.view.pan_position, (math::pointd{10, 40 / 2.0 - 40 / 3.0}));
}

TEST_F(preview, words_at_the_pointer_while_layers_are_held) {
  layer(1).name = "plate";
  layer(1).placement.aspect = 2;
  layer(1).placement.scale_x = 50;
  composition.workspace.infobar_visible = false;
  composition.view.pan_position = {10, 0};
  const auto words = [&](int modifiers) {
    window->input().mouse_move(from_middle(0, 0), modifiers);
    window->input().mouse_move(from_middle(-92, -82), modifiers);
    art();
    support::strings found;
    for (const std::string& text : canvas.texts) {
      if (text.starts_with("plate") || text.starts_with("X:")) found.push_back(text);
    }
    return found;
  };
  const support::strings all{"plate, 40 x 30, 2.000, 50% 100%\n-100, -80", "X: -102  Y: -82"};
  EXPECT_EQ(words(0), support::strings{});
  EXPECT_EQ(words(key_shift), all);
  EXPECT_EQ(words(key_caps), all);
}

TEST_F(preview, values_under_the_pointer) {
  composition.workspace.infobar_visible = false;
  layer(0).look.alpha_type = ksn::alpha_type::ignore;
  composition.doc.set_current_time(0);
  composition.doc.mask_size = {200, 100};
  const auto tip = [&] {
    window->input().mouse_move(from_middle(-300, 0), 0);
    window->input().mouse_move(from_middle(10, -5), 0);
    for (int i = 0; i < 6; ++i) {
      art();
      window->input().pass(400, true);
    }
    return window->input().tip();
  };
  EXPECT_EQ(tip(),
            "X: 110 Y: 45   RGB: 200 100 40  A: 255\nR: 0.7843  G: 0.3922  B: 0.1569  A: 0.5020\n"
            "H: 22.5  S: 0.800  V: 0.784");
  composition.doc.playing = true;
  EXPECT_EQ(tip(), "");
  composition.doc.playing = false;
  composition.workspace.pv_tooltip_enabled = false;
  EXPECT_EQ(tip(), "");

  engine.run_command("internal_copy_color");
  EXPECT_EQ(clipboard, "200,100,40");
  engine.run_command("internal.set_brush_color");
  EXPECT_EQ(composition.workspace.brush_color, (lib::color{255, 200, 100, 40}));
  composition.view.zoom_factor2 = 700;
  composition.view.pan_position = {-33, 20};
  composition.view.channels = ksn::view_type::alpha;
  window->input().mouse_move(from_middle(-100 * 7 + 3, 0), 0);
  engine.run_command("internal_copy_color");
  EXPECT_EQ(clipboard, "0,0,0") << "beside the layer";
}

TEST_F(preview, an_area_is_counted_while_it_is_dragged) {
  composition.doc.set_current_time(0);
  art();
  window->input().mouse_move(from_middle(0, 0), key_ctrl | key_alt);
  window->input().mouse_down(left, from_middle(0, 0), false, key_ctrl | key_alt);
  window->input().mouse_move(from_middle(-9, 4), key_ctrl | key_alt);
  art();
  EXPECT_EQ(canvas.texts.back(),
            "10 x 5\nR: 0.7843  (0.7843 .. 0.7843)   < 0: 0   > 1: 0   NaN: 0"
            "\nG: 0.3922  (0.3922 .. 0.3922)   < 0: 0   > 1: 0   NaN: 0"
            "\nB: 0.1569  (0.1569 .. 0.1569)   < 0: 0   > 1: 0   NaN: 0"
            "\nA: 0.5020  (0.5020 .. 0.5020)   < 0: 0   > 1: 0   NaN: 0");
  window->input().mouse_up(left, from_middle(-9, 4), 0);
  EXPECT_EQ(composition.doc.tm_t, 0);
  EXPECT_FALSE(composition.undo_stack);
}

// --- the information bar ---

TEST_F(preview, the_information_bar) {
  frames.memory_load = [] { return 37; };
  composition.doc.selection = {0};
  layer(0).placement.crop = true;
  layer(0).placement.crop_wh = {30, 20};
  composition.view.zoom_factor2 = 150;
  composition.view.set_view_aspect(1.2);
  composition.settings.volume = 80;
  composition.doc.frame_base = 1;
  composition.doc.can_drop_frames = true;
  const auto texts = [&] {
    art();
    return std::set<std::string>(canvas.texts.begin(), canvas.texts.end());
  };
  const std::set<std::string> shown = texts();
  // The largest sizes of crops show in full, though the field is too narrow for them.
  layer(0).source.width = 4096;
  layer(0).source.height = 2160;
  EXPECT_TRUE(texts().contains("4096x2160 (30x20)"));
  for (const char* text : {"90x70 (30x20)", "720x576", "80%", "25.00* fps", "37%", "150%", "1.200", "101"}) {
    EXPECT_TRUE(shown.contains(text)) << text;
  }
  composition.workspace.infobar_visible = false;
  EXPECT_FALSE(texts().contains("720x576"));
  composition.workspace.infobar_visible = true;

  struct row {
    int x;
    const char* menu;     // of a right click
    const char* command;  // of a left click; empty: the same menu
  };
  const int y = layout().split - middle().y - 8;
  const row rows[] = {{0, "fps", "pv_fps_cannot_drop_frames"},
                      {90, "memory", ""},
                      {200, "zoom", ""},
                      {280, "aspect", ""},
                      {400, "counter", ""}};
  for (const row& r : rows) {
    for (const int scale : {1, 2}) {
      composition.interface_scale = scale;
      size = {940 * scale, 800 * scale};
      const math::point at{size.x / 2 + r.x * scale, layout().split - 8 * scale};
      menus.clear();
      commands.clear();
      composition.doc.can_drop_frames = true;
      click(at, mouse_button::right);
      click(at, left);
      support::strings expected{r.menu};
      if (!*r.command) expected.push_back(r.menu);
      EXPECT_EQ(menus, expected) << r.menu << scale;
      EXPECT_EQ(commands, *r.command ? support::strings{r.command} : support::strings{}) << r.menu << scale;
    }
  }
  composition.interface_scale = 1;
  size = {940, 800};
  gesture(left, 0, {-100, y}, {15, 0});
  EXPECT_EQ(composition.settings.volume, 95);
  gesture(left, 0, {-100, y}, {900, 0});
  EXPECT_EQ(composition.settings.volume, 100);
  composition.settings.volume = 150;
  gesture(left, 0, {-100, y}, {15, 0});
  EXPECT_EQ(composition.settings.volume, 150) << "louder than the bar makes it";
  EXPECT_EQ(composition.doc.tm_t, 100) << "the bar is not the picture";
  commands.clear();
  for (const auto& [typed, command] :
       {std::pair("1920x1080", "mask_size=1920,1080"), {"2048 858", "mask_size=2048,858"}, {"12", ""}, {"wide", ""}}) {
    click(from_middle(-200, y));
    window->input().pass(0, true);
    window->input().text(typed);
    window->input().key_down(13);
    EXPECT_EQ(commands, *command ? support::strings{command} : support::strings{}) << typed;
    commands.clear();
  }
  EXPECT_EQ(composition.doc.mask_size, (math::point{2048, 858}));
}

TEST_F(preview, the_rate_is_measured_and_frames_are_counted) {
  composition.doc.selection = {};
  const auto shows = [&](const std::string& text) {
    art();
    return std::find(canvas.texts.begin(), canvas.texts.end(), text) != canvas.texts.end();
  };
  composition.doc.playing = true;
  for (int i = 0; i < 4; ++i) {
    now += 80;
    composition.doc.tm_t += 2;
    shows("");
  }
  now += 80;
  EXPECT_TRUE(shows("12.50 fps"));
  window->input().mouse_move({470, layout().split - 8}, 0);
  for (int i = 0; i < 3; ++i) window->input().pass(400, true);
  EXPECT_EQ(window->input().tip(), "pv_fps\npv_fps_dropped: 3");
  composition.doc.playing = false;
  EXPECT_TRUE(shows("25.00 fps"));
}

TEST_F(preview, every_kind_of_counter) {
  auto clip = std::make_shared<support::fake_clip>(3, [](int frame, int, img::image& image) {
    image = support::picture("BGR", 4, 4, {1, 2, 3});
    image.frame = 86400 + frame;
    image.timecode = img::timecode_of_frame(90000 + frame, 2500);
    image.timecode2 = img::timecode_of_frame(25, 2500);
    image.keycode = img::parse_keycode("12 34 567890 1234 00");
    return true;
  });
  composition.doc.tracks.clear();
  composition.doc.tracks.push_back(support::clip_layer(clip, 4, 4));
  composition.doc.set_current_time(1);
  composition.doc.fpcs = 2400;
  using enum ksn::counter_type_t;
  struct row {
    ksn::counter_type_t type;
    const char* text;
    const char* past_the_end;
  };
  for (const row& r :
       {row{frame, "1", "50"}, row{timecode, "00:00:00:01", "00:00:02:02"}, row{frame_from_name, "--", "--"},
        row{embedded_frame, "86401", "--"}, row{embedded_timecode, "01:00:00:01", "--"},
        row{embedded_timecode2, "00:00:01:00", "--"}, row{embedded_keycode, "12 34 567890 1234 00", "--"}}) {
    composition.workspace.counter_type = r.type;
    composition.doc.set_current_time(1);
    art();
    EXPECT_EQ(canvas.texts[7], r.text);
    composition.doc.set_current_time(50);
    art();
    EXPECT_EQ(canvas.texts[7], r.past_the_end);
  }
}

}  // namespace
