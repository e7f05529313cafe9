#include "composition/editing/undo.h"

#include <gtest/gtest.h>

#include <functional>

#include "composition/editing/canvas.h"
#include "composition/editing/layer_placement.h"
#include "composition/editing/layer_stack.h"
#include "composition/editing/layer_switches.h"
#include "composition/test_document.h"
#include "composition/time/layer_time.h"

namespace {

using ksn::state;
using ksn::track_info;
using support::document;

// All that a gesture on layers may change, as text.
std::string snapshot(const state& c) {
  std::string text = std::to_string(c.doc.tm_n) + "," + std::to_string(c.doc.tm_l) + ";";
  for (const track_info& t : c.doc.tracks) {
    for (const int value :
         {t.id, t.timing.begin, t.in(), t.out(), t.placement.pos.x, t.placement.pos.y, t.placement.crop_xy.x,
          t.placement.crop_xy.y, t.placement.crop_wh.x, t.placement.crop_wh.y, static_cast<int>(t.look.alpha_type),
          static_cast<int>(t.look.blend_type), static_cast<int>(t.look.depth_blend_type)}) {
      text += std::to_string(value) + " ";
    }
    if (t.source.brush_image) text += "painted " + std::to_string(t.source.brush_image->row(0, 0)[0]);
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
  track_info& track = c.doc.track_at(c.doc.selected_index());
  ksn::canvas_capture before(track, 0, true);
  ksn::canvas_for_painting(c, track, 0)->row(0, 0)[0] = static_cast<std::uint8_t>(value);
  before.remember(c, ksn::undo_name{"brush_stroke"});
}

void crop(document& c) {
  c.doc.selection = {0};
  track_info& track = c.doc.track_at(0);
  track.placement.crop = true;
  const ksn::undo_capture before(c);
  track.placement.crop_xy = {5, 6};
  track.placement.crop_wh = {7, 8};
  before.remember(c, ksn::undo_name{"layer_move_crop"});
}

void drag_in_time(document& c) {
  const ksn::undo_capture before(c);
  for (const int index : c.doc.selection) c.doc.track_at(index).timing.begin += 12;
  before.remember(c, ksn::undo_name{"multiple_move_in_timeline"}, ksn::undo_rule::by_offset);
}

// Selects these layers first.
auto on(std::set<int> layers, std::function<void(document&)> make) {
  return [=](document& c) {
    c.doc.selection = layers;
    make(c);
  };
}

auto select(std::set<int> layers) {
  return [=](document& c) { c.doc.selection = layers; };
}

template <class Mode>
auto set_all(Mode ksn::layer_look::*field, Mode mode) {
  return [=](document& c) {
    for (track_info& track : c.doc.tracks) track.look.*field = mode;
  };
}

void move(document& c) {
  ksn::move_selected_layers(c, {3, -4});
}

void delete_first(document& c) {
  c.doc.selection = {0};
  c.doc.tracks.pop_front();
}

const gesture gestures[] = {
    {"align_at_current", ksn::layer_align_in, select({1})},
    {"align_at_current", ksn::layer_align_in, [](document& c) { c.doc.track_at(0).set_in(4); }},
    {"position_after", ksn::layer_position_after, select({1})},
    {"move_in_timeline", on({1}, ksn::layer_shift_left), [](document& c) { c.doc.track_at(1).timing.begin = 77; }},
    {"multiple_move_in_timeline", drag_in_time, select({1})},
    {"layer_move", move, select({})},
    {"layer_move", move, delete_first},
    {"layer_move_crop", crop, [](document& c) { c.doc.track_at(0).placement.crop = false; }},
    {"alpha_mode_change", [](document& c) { ksn::set_alpha_mode(c, ksn::alpha_type::pm); },
     set_all(&ksn::layer_look::alpha_type, ksn::alpha_type::normal)},
    {"blend_mode_change", [](document& c) { ksn::set_blend_mode(c, ksn::blend_type::screen); },
     set_all(&ksn::layer_look::blend_type, ksn::blend_type::multiply)},
    {"depth_mode_change", [](document& c) { ksn::set_depth_mode(c, ksn::depth_blend_type::combine); },
     set_all(&ksn::layer_look::depth_blend_type, ksn::depth_blend_type::ignore)},
    {"brush_stroke", on({2}, [](document& c) { paint(c, 50); }), select({1})},
    {"clear_canvas", on({3}, ksn::clear_canvas), select({1})},
    {"clear_canvas", on({3}, ksn::clear_canvas), [](document& c) { c.doc.track_at(3).source.width = 3; }},
};

// Four layers: a and b selected, c a canvas without and d one with paint.
void fill(document& c) {
  c.put("a", 10, 20).set_in(3);
  c.put("b", 40, 20);
  for (const int index : {2, 3}) {
    track_info& canvas = c.put_still("canvas", ksn::source_type::brush);
    canvas.source.width = canvas.source.height = 2;
    c.doc.selection = {index};
    if (index == 3) paint(c, 60);
  }
  c.undo_stack.reset();
  c.doc.selection = {0, 1};
  c.doc.set_current_time(25);
}

TEST(undo, twice_is_redo_while_the_step_fits) {
  for (const gesture& g : gestures) {
    document c;
    fill(c);
    const std::string before = snapshot(c);
    g.make(c);
    const std::string after = snapshot(c);
    EXPECT_NE(after, before) << g.key;
    ASSERT_TRUE(c.can_undo()) << g.key;
    for (int round = 0; round < 3; ++round) {
      EXPECT_EQ(c.undo_stack->text_key(), std::string("undo_") + g.key);
      c.undo();
      EXPECT_EQ(snapshot(c), before) << g.key << " undone, round " << round;
      EXPECT_EQ(c.undo_stack->text_key(), std::string("redo_") + g.key);
      c.undo();
      EXPECT_EQ(snapshot(c), after) << g.key << " done again, round " << round;
    }
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
  EXPECT_EQ(c.stack(), "canvas canvas");
  EXPECT_EQ(c.undo_stack->text_key(), "undo_delete_layers");
  c.put("d");
  EXPECT_FALSE(c.can_undo()) << "the count is another";
  c.doc.tracks.pop_back();
  c.undo();
  EXPECT_EQ(c.stack(), "[a] [b] canvas canvas");
  EXPECT_FALSE(c.can_undo());
  c.undo();
  EXPECT_EQ(c.stack(), "[a] [b] canvas canvas");
  c.doc.selection = {1};
  ksn::layer_delete_selected(c);
  EXPECT_EQ(c.undo_stack->text_key(), "undo_delete_layer");
}

TEST(undo, mode_change_leaves_layers_that_went_on) {
  document c;
  fill(c);
  c.doc.track_at(1).look.blend_type = ksn::blend_type::add;
  ksn::set_blend_mode(c, ksn::blend_type::screen);
  c.doc.track_at(0).look.blend_type = ksn::blend_type::multiply;
  c.undo();
  EXPECT_EQ(c.doc.track_at(0).look.blend_type, ksn::blend_type::multiply);
  EXPECT_EQ(c.doc.track_at(1).look.blend_type, ksn::blend_type::add);
}

TEST(undo, a_new_gesture_replaces_the_old_and_frees_its_picture) {
  document c;
  fill(c);
  c.doc.selection = {2};
  paint(c, 1);
  paint(c, 2);
  const std::weak_ptr<ksn::undo_action> first = c.undo_stack;
  paint(c, 3);
  EXPECT_TRUE(first.expired());
  c.undo();
  EXPECT_EQ(c.doc.track_at(2).source.brush_image->row(0, 0)[0], 2);
}

TEST(undo, position_after_leaves_a_timeline_that_was_changed_since) {
  document c;
  fill(c);
  c.doc.set_timeline_length(20, true);
  ksn::layer_position_after(c);
  EXPECT_EQ(c.doc.tm_n, 77);  // a stands from 57, 20 frames long
  c.doc.set_timeline_length(500, true);
  c.undo();
  EXPECT_EQ(c.doc.tm_n, 500);
  EXPECT_EQ(c.doc.track_at(0).timing.begin, 10);
}

TEST(undo, what_was_moved_since_goes_back_by_the_offset) {
  document c;
  fill(c);
  move(c);
  c.doc.track_at(0).placement.pos = {100, 100};
  ASSERT_TRUE(c.can_undo());
  c.undo();
  EXPECT_EQ(c.doc.track_at(0).placement.pos, (math::point{97, 104}));
  EXPECT_EQ(c.doc.track_at(1).placement.pos, math::point());
}

// Any part of several layers, the stack's order and the timeline go back in one step; what the gesture left alone keeps
// what came since.
TEST(undo, a_gesture_of_any_kind) {
  document c;
  fill(c);
  const std::vector<int> ids{c.doc.track_at(0).id, c.doc.track_at(1).id};
  const ksn::undo_capture before(c, {ids[0], ids[1]});
  EXPECT_FALSE(before.remember(c, ksn::undo_name{"layer_move"}));
  EXPECT_EQ(c.undo_stack, nullptr) << "nothing changed";

  c.doc.track_at(0).lettering.text = "new";
  c.doc.track_at(0).look.tf.exposure[1] = 50;
  c.doc.track_at(1).sound.volume = 7;
  c.doc.track_at(1).source.rds = ksn::r3d_resolution_type::eighth;
  c.doc.track_at(1).name = "renamed";
  std::swap(c.doc.track_at(0), c.doc.track_at(1));
  c.doc.set_timeline_length(400, true);
  c.doc.set_workarea_begin(30);
  EXPECT_TRUE(before.remember(c, ksn::undo_name{"layer_move"}, ksn::undo_rule::as_left, false));
  c.doc.track_at(1).look.opacity = 33;
  c.doc.selection = {};
  for (int round = 0; round < 2; ++round) {
    ASSERT_TRUE(c.can_undo());
    c.forgotten.clear();
    c.undo();
    EXPECT_EQ(c.doc.index_of_id(ids[0]), 0);
    EXPECT_EQ(c.doc.track_at(0).lettering.text, "");
    EXPECT_EQ(c.doc.track_at(0).look.tf, img::correction());
    EXPECT_EQ(c.doc.track_at(0).look.opacity, 33);
    EXPECT_EQ(c.doc.track_at(1).sound.volume, 100);
    EXPECT_EQ(c.doc.track_at(1).source.rds, ksn::r3d_resolution_type::half);
    EXPECT_EQ(c.doc.track_at(1).name, "b");
    EXPECT_EQ(c.timeline(), "250: 0 to 250, at 25");
    EXPECT_EQ(c.forgotten, std::vector<int>{ids[1]}) << "its source decodes in another way";
    c.undo();
    EXPECT_EQ(c.doc.index_of_id(ids[0]), 1);
    EXPECT_EQ(c.doc.track_at(1).lettering.text, "new");
    EXPECT_EQ(c.doc.track_at(0).name, "renamed");
    EXPECT_EQ(c.timeline(), "400: 30 to 250, at 25");
  }
  c.doc.track_at(0).sound.volume = 8;
  EXPECT_FALSE(c.can_undo()) << "one layer went on";
}

// A layer that comes back may have taken its alpha from one that is gone by then.
TEST(undo, no_alpha_source_dangles) {
  document c;
  fill(c);
  c.doc.track_at(0).look.alpha_source_id = c.doc.track_at(1).id;
  c.doc.selection = {0};
  ksn::layer_delete_selected(c);
  c.doc.tracks.pop_front();
  c.put("c");
  c.undo();
  EXPECT_EQ(c.stack(), "[a] canvas canvas c");
  EXPECT_EQ(c.doc.track_at(0).look.alpha_source_id, 0);
}

}  // namespace
