#include "composition/undo.h"

#include <gtest/gtest.h>

#include <functional>

#include "composition/canvas.h"
#include "composition/document.h"
#include "composition/layer_placement.h"
#include "composition/layer_stack.h"
#include "composition/layer_state.h"
#include "composition/layer_time.h"

namespace {

using ksn::state;
using ksn::track_info;
using support::document;

// All that a gesture on layers may change, as text.
std::string snapshot(const state& c) {
  std::string text = std::to_string(c.tm_n) + "," + std::to_string(c.tm_l) + ";";
  for (const track_info& t : c.tracks) {
    for (const int value :
         {t.id, t.begin, t.in(), t.out(), t.pos.x, t.pos.y, t.crop_xy.x, t.crop_xy.y, t.crop_wh.x, t.crop_wh.y,
          static_cast<int>(t.alpha_type), static_cast<int>(t.blend_type), static_cast<int>(t.depth_blend_type)}) {
      text += std::to_string(value) + " ";
    }
    if (t.brush_image) text += "painted " + std::to_string(t.brush_image->row(0, 0)[0]);
    text += ";";
  }
  return text;
}

struct gesture {
  const char* key;
  std::function<void(document&)> make;
  std::function<void(document&)> spoil;  // after which the step no longer fits
};

void paint(document& c, int value) {
  track_info& track = c.track_at(c.selected_index());
  img::image_ptr before = ksn::canvas_at(track, 0);
  if (before) before = std::make_shared<img::image>(*before);
  ksn::canvas_for_painting(c, track, 0)->row(0, 0)[0] = static_cast<std::uint8_t>(value);
  c.set_undo_action(std::make_shared<ksn::undo_brush_stroke>(track.id, 0, before));
}

const auto select_one = [](document& c) { c.selection = {1}; };
const auto select_none = [](document& c) { c.selection.clear(); };

const gesture gestures[] = {
    {"align_at_current", [](document& c) { ksn::layer_align_in(c); }, select_one},
    {"align_at_current", [](document& c) { ksn::layer_align_in(c); }, [](document& c) { c.track_at(0).set_in(4); }},
    {"position_after", [](document& c) { ksn::layer_position_after(c); }, select_one},
    {"move_in_timeline",
     [](document& c) {
       c.selection = {1};
       ksn::layer_shift_left(c);
     },
     [](document& c) { c.track_at(1).begin = 77; }},
    {"multiple_move_in_timeline",
     [](document& c) {
       for (const int index : c.selection) c.track_at(index).begin += 12;
       c.set_undo_action(std::make_shared<ksn::undo_multiple_move_in_timeline>(c, 12));
     },
     select_one},
    {"layer_move",
     [](document& c) {
       ksn::move_selected_layers(c, {3, -4});
     },
     select_none},
    {"layer_move",
     [](document& c) {
       ksn::move_selected_layers(c, {3, -4});
     },
     [](document& c) {
       c.selection = {0};
       c.tracks.erase(c.tracks.begin());
     }},
    {"layer_move_crop",
     [](document& c) {
       c.selection = {0};
       track_info& track = c.track_at(0);
       track.crop = true;
       const ksn::crop_fields before{track.crop_xy, track.crop_wh};
       track.crop_xy = {5, 6};
       track.crop_wh = {7, 8};
       c.set_undo_action(std::make_shared<ksn::undo_layer_move_crop>(track, before));
     },
     [](document& c) { c.track_at(0).crop = false; }},
    {"alpha_mode_change", [](document& c) { ksn::set_alpha_mode(c, ksn::alpha_type::pm); },
     [](document& c) {
       for (track_info& track : c.tracks) track.alpha_type = ksn::alpha_type::normal;
     }},
    {"blend_mode_change", [](document& c) { ksn::set_blend_mode(c, ksn::blend_type::screen); },
     [](document& c) {
       for (track_info& track : c.tracks) track.blend_type = ksn::blend_type::multiply;
     }},
    {"depth_mode_change", [](document& c) { ksn::set_depth_mode(c, ksn::depth_blend_type::combine); },
     [](document& c) {
       for (track_info& track : c.tracks) track.depth_blend_type = ksn::depth_blend_type::ignore;
     }},
    {"brush_stroke",
     [](document& c) {
       c.selection = {2};
       paint(c, 50);
     },
     select_one},
    {"clear_canvas",
     [](document& c) {
       c.selection = {2};
       paint(c, 60);
       ksn::clear_canvas(c);
     },
     select_one},
};

// Three layers: a and b selected, c a canvas.
void fill(document& c) {
  c.put("a", 10, 20).set_in(3);
  c.put("b", 40, 20);
  track_info& canvas = c.put_still("c", ksn::source_type::brush);
  canvas.width = canvas.height = 2;
  c.selection = {0, 1};
  c.set_current_time(25);
}

TEST(undo, twice_is_redo) {
  for (const gesture& g : gestures) {
    document c;
    fill(c);
    const std::string before = snapshot(c);
    g.make(c);
    const std::string after = snapshot(c);
    ASSERT_TRUE(c.can_undo()) << g.key;
    EXPECT_EQ(c.undo_stack->text_key(), std::string("undo_") + g.key);
    // The canvas was painted on before it was cleared.
    const std::string start = std::string(g.key) == "clear_canvas" ? [&] {
      std::string text = before;
      text.insert(text.size() - 1, "painted 60");
      return text;
    }() : before;
    for (int round = 0; round < 3; ++round) {
      c.undo();
      EXPECT_EQ(snapshot(c), start) << g.key << " undone, round " << round;
      EXPECT_EQ(c.undo_stack->text_key(), std::string("redo_") + g.key);
      c.undo();
      EXPECT_EQ(snapshot(c), after) << g.key << " done again, round " << round;
      EXPECT_EQ(c.undo_stack->text_key(), std::string("undo_") + g.key);
    }
  }
}

TEST(undo, a_step_that_does_not_fit_does_nothing) {
  for (const gesture& g : gestures) {
    document c;
    fill(c);
    g.make(c);
    g.spoil(c);
    const std::string now = snapshot(c);
    EXPECT_FALSE(c.can_undo()) << g.key;
    c.undo();
    EXPECT_EQ(snapshot(c), now) << g.key;
    ASSERT_TRUE(c.undo_stack);
    EXPECT_EQ(c.undo_stack->text_key(), std::string("undo_") + g.key) << "it was not turned over";
  }
}

TEST(undo, delete_comes_back_once) {
  document c;
  fill(c);
  ksn::layer_delete_selected(c);
  EXPECT_EQ(c.stack(), "c");
  EXPECT_EQ(c.undo_stack->text_key(), "undo_delete_layers");
  c.put("d");
  EXPECT_FALSE(c.can_undo()) << "the count is another";
  c.tracks.pop_back();
  c.undo();
  EXPECT_EQ(c.stack(), "[a] [b] c");
  EXPECT_FALSE(c.can_undo());
  c.undo();
  EXPECT_EQ(c.stack(), "[a] [b] c");
  c.selection = {1};
  ksn::layer_delete_selected(c);
  EXPECT_EQ(c.undo_stack->text_key(), "undo_delete_layer");
}

TEST(undo, mode_change_leaves_layers_that_went_on) {
  document c;
  fill(c);
  c.track_at(1).blend_type = ksn::blend_type::add;
  ksn::set_blend_mode(c, ksn::blend_type::screen);
  c.track_at(0).blend_type = ksn::blend_type::multiply;
  c.undo();
  EXPECT_EQ(c.track_at(0).blend_type, ksn::blend_type::multiply);
  EXPECT_EQ(c.track_at(1).blend_type, ksn::blend_type::add);
}

TEST(undo, a_new_gesture_replaces_the_old_and_frees_its_picture) {
  document c;
  fill(c);
  c.selection = {2};
  paint(c, 1);
  paint(c, 2);
  const std::weak_ptr<ksn::undo_action> first = c.undo_stack;
  paint(c, 3);
  EXPECT_TRUE(first.expired());
  c.undo();
  EXPECT_EQ(c.track_at(2).brush_image->row(0, 0)[0], 2);
}

TEST(undo, position_after_leaves_a_timeline_that_was_changed_since) {
  document c;
  fill(c);
  c.set_timeline_length(20, true);
  ksn::layer_position_after(c);
  EXPECT_EQ(c.tm_n, 77);  // a stands from 57, 20 frames long
  c.set_timeline_length(500, true);
  c.undo();
  EXPECT_EQ(c.tm_n, 500);
  EXPECT_EQ(c.track_at(0).begin, 10);
}

}  // namespace
