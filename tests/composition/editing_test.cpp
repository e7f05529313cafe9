// Selection, time, placement and state of layers.
#include <gtest/gtest.h>

#include "composition/editing/canvas.h"
#include "composition/editing/layer_cache.h"
#include "composition/editing/layer_placement.h"
#include "composition/editing/layer_stack.h"
#include "composition/editing/layer_switches.h"
#include "composition/editing/selection.h"
#include "composition/editing/undo.h"
#include "composition/invariants.h"
#include "composition/test_document.h"
#include "composition/time/layer_time.h"
#include "composition/time/transport.h"

namespace {

using ksn::state;
using ksn::track_info;
using support::document;
using operation = void (*)(state&);

class editing : public testing::Test {
 protected:
  document c;
  void TearDown() override { EXPECT_EQ(ksn::broken_invariant(c), ""); }
};

TEST(stack, selection_and_order) {
  struct row {
    operation run;
    const char *before, *after;
  };
  const row rows[] = {
      {ksn::layer_select_up, "a b [c] d", "a [b] c d"},
      {ksn::layer_select_up, "[a] b", "[a] b"},
      {ksn::layer_select_up, "a b", "a [b]"},
      {ksn::layer_select_up, "a [b] c [d]", "[a] b c d"},
      {ksn::layer_select_down, "a [b] c", "a b [c]"},
      {ksn::layer_select_down, "a [b]", "a [b]"},
      {ksn::layer_select_down, "a b", "[a] b"},
      {ksn::layer_select_down, "[a] b [c] d", "a b c [d]"},
      {ksn::layer_select_first, "a [b] [c]", "[a] b c"},
      {ksn::layer_select_last, "a b", "a [b]"},
      {ksn::layer_select_none, "[a] [b]", "a b"},
      {ksn::layer_select_all, "a [b] c", "[a] [b] [c]"},
      {ksn::layer_move_selected_up, "a [b] c", "[b] a c"},
      {ksn::layer_move_selected_up, "[a] b", "[a] b"},
      {ksn::layer_move_selected_up, "a [b] [c]", "a [b] [c]"},
      {ksn::layer_move_selected_down, "a [b] c", "a c [b]"},
      {ksn::layer_move_selected_down, "a [b]", "a [b]"},
      {ksn::layer_move_selected_down, "a b", "a b"},
      {ksn::layer_duplicate, "[a] b [c]", "[a] a' b [c] c'"},
      {ksn::layer_delete_selected, "a [b] [c] d", "a d"},
  };
  for (const row& r : rows) {
    document c;
    c.put_stack(r.before);
    r.run(c);
    EXPECT_EQ(c.stack(), r.after) << "from " << r.before;
    EXPECT_EQ(c.workspace.track_max, c.doc.track_count()) << "from " << r.before;
    EXPECT_EQ(ksn::broken_invariant(c), "");
    document empty;
    r.run(empty);
    EXPECT_TRUE(empty.doc.selection.empty());
  }
}

TEST_F(editing, groups) {
  c.put_stack("a [b] c d");
  c.doc.track_at(3).group_id = 5;
  const auto groups = [&] {
    std::vector<int> ids;
    for (const track_info& track : c.doc.tracks) ids.push_back(track.group_id);
    return ids;
  };
  ksn::layer_assign_group(c);
  EXPECT_EQ(groups(), (std::vector{0, 0, 0, 5})) << "one layer makes no group";
  ksn::layer_select_group(c);
  EXPECT_EQ(c.stack(), "a [b] c d") << "0 is no group";
  for (const auto& [selection, expected] :
       {std::pair{std::set{0, 1}, std::vector{100, 100, 0, 5}}, {std::set{2, 3}, std::vector{100, 100, 101, 101}}}) {
    c.doc.selection = selection;
    ksn::layer_assign_group(c);
    EXPECT_EQ(groups(), expected);
  }
  c.doc.selection = {1};
  ksn::layer_select_group(c);
  EXPECT_EQ(c.stack(), "[a] [b] c d");
}

TEST_F(editing, deleting) {
  c.put_stack("a [b] [c] d");
  c.doc.track_at(3).source.path = c.doc.track_at(1).source.path;  // one folder for b and d
  c.doc.track_at(0).look.alpha_source_id = c.doc.track_at(2).id;
  const int b = c.doc.track_at(1).id;
  const int deleted = c.doc.track_at(2).id;
  ksn::layer_delete_selected(c);
  EXPECT_EQ(c.dropped, std::vector<std::string>{"/nowhere/c/"}) << "b's folder is still in use";
  EXPECT_EQ(std::count(c.forgotten.begin(), c.forgotten.end(), b), 1);
  EXPECT_EQ(c.doc.track_at(0).look.alpha_source_id, 0);
  c.undo();
  EXPECT_EQ(c.stack(), "a [b] [c] d");
  EXPECT_EQ(c.doc.track_at(0).look.alpha_source_id, deleted);
  EXPECT_EQ(c.workspace.track_max, 4);
}

TEST_F(editing, go_to_and_set_points) {
  track_info& track = c.put("a", 20, 30);
  track.set_in_out(5, 40);  // the second pass is not finished
  c.doc.selection = {0};
  c.doc.set_timeline_length(100, true);
  for (const auto& [run, time] : {std::pair{operation(ksn::layer_go_to_begin), 20.0},
                                  {ksn::layer_go_to_end, 80.0},
                                  {ksn::layer_go_to_in, 25.0},
                                  {ksn::layer_go_to_out, 60.0}}) {
    c.doc.playing = true;
    run(c);
    EXPECT_EQ(c.doc.tm_t, time);
    EXPECT_FALSE(c.doc.playing);
  }
  for (const auto& [time, run, in, out] : {std::tuple{27.9, operation(ksn::layer_set_in_at_current), 7, 40},
                                           {40.2, ksn::layer_set_out_at_current, 7, 20},
                                           {0.0, ksn::layer_set_out_at_current, 7, 8}}) {  // at least one frame
    c.doc.set_current_time(time);
    run(c);
    EXPECT_EQ(track.in(), in);
    EXPECT_EQ(track.out(), out);
  }
}

TEST_F(editing, align) {
  c.put("a", 3, 10).set_in_out(2, 6);
  c.put("b", 50, 20);
  c.put("c", 7, 5);
  c.doc.selection = {0, 1};
  c.doc.set_current_time(30.8);
  for (const auto& [run, expected] : {std::pair{operation(ksn::layer_align_begin), std::vector{30, 30, 7}},
                                      {ksn::layer_align_end, {20, 10, 7}},
                                      {ksn::layer_align_in, {28, 30, 7}},
                                      {ksn::layer_align_out, {24, 10, 7}}}) {
    run(c);
    EXPECT_EQ(c.begins(), expected);
  }
}

TEST_F(editing, position_after_chains_the_selection) {
  c.put("a", 0, 10).set_in_out(3, 10);
  c.put("b", 90, 20);
  c.put("c", 5, 40).set_in_out(0, 15);
  c.doc.set_timeline_length(30, true);
  c.doc.selection = {0, 1, 2};
  ksn::layer_position_after(c);
  EXPECT_EQ(c.begins(), (std::vector{37, 20, 5})) << "b after c, which ends at 5 + 15; a's frame 3 stands at 40";
  EXPECT_EQ(c.timeline(), "47: 0 to 47, at 0");
  c.doc.track_at(1).timing.begin = 0;
  c.doc.selection = {1};
  ksn::layer_position_after(c);
  EXPECT_EQ(c.begins(), (std::vector{37, 20, 5})) << "one alone follows the layer below it";
  c.doc.selection = {2};
  c.undo_stack.reset();
  ksn::layer_position_after(c);
  EXPECT_EQ(c.begins(), (std::vector{37, 20, 5}));
  EXPECT_EQ(c.undo_stack, nullptr);
}

TEST_F(editing, split_shows_what_the_whole_did) {
  struct row {
    int begin, frames, in, out, at;
  };
  // The third splits in the third pass, the fourth a still that is held for fifty frames.
  const row rows[] = {{10, 20, 0, 20, 15}, {10, 20, 4, 18, 15}, {0, 10, 0, 35, 23}, {0, 1, 0, 50, 20}};
  for (const row& r : rows) {
    document d;
    track_info& track = d.put("a", r.begin, r.frames);
    track.set_in_out(r.in, r.out);
    const track_info whole = track;
    d.doc.set_current_time(r.at);
    ksn::layer_duplicate_and_split(d);
    ASSERT_EQ(d.stack(), "a a'");
    for (double t = r.begin; t < r.begin + r.out + 2; t += 0.5) {
      const bool in_first = t < r.at;
      EXPECT_EQ(d.doc.track_at(in_first ? 0 : 1).source_position(t), whole.source_position(t)) << "at " << t;
      EXPECT_EQ(d.doc.track_at(in_first ? 1 : 0).source_position(t), -1.0) << "at " << t;
    }
  }
  c.put("a", 10, 20);
  const auto layers_at = [&](int frame) {
    c.doc.set_current_time(frame);
    return ksn::layers_to_split(c).size();
  };
  for (const int at : {9, 10, 30}) EXPECT_EQ(layers_at(at), 0u) << at;
  c.put("b", 0, 50);
  EXPECT_EQ(layers_at(15), 0u) << "two under the time and none selected";
  c.doc.selection = {1};
  EXPECT_EQ(layers_at(15), 1u);
}

TEST_F(editing, stills_take_any_time) {
  c.put("a", 0, 50);
  c.put_still("still");
  c.new_adjustment_layer(7);  // more than one frame, of which one is shown
  c.doc.set_timeline_length(80, true);
  c.doc.tm_f = 20;
  c.doc.tm_l = 60;
  for (const int index : {0, 1, 2}) {
    c.doc.selection = {index};
    ksn::layer_resize_to_workarea(c);
    EXPECT_EQ(c.doc.track_at(index).timing.begin, index == 1 ? 0 : 20);
    EXPECT_EQ(c.doc.track_at(index).in(), 0);
    EXPECT_EQ(c.doc.track_at(index).out(), index == 1 ? 50 : 40);
    EXPECT_EQ(c.doc.track_at(index).layer_end(), index == 1 ? 50 : 60);
    ksn::layer_resize_to_timeline(c);
    EXPECT_EQ(c.doc.track_at(index).timing.begin, 0);
    EXPECT_EQ(c.doc.track_at(index).out(), index == 1 ? 50 : 80);
  }
}

TEST_F(editing, work_area_of_the_selection) {
  c.put("a", 10, 20).set_in(5);
  c.put("b", 40, 20);
  c.put("c", 0, 5);
  for (const auto& [selection, expected] : {std::pair{std::set{0, 1}, "250: 15 to 60, at 0"},
                                            {std::set{2}, "250: 0 to 5, at 0"},
                                            {std::set<int>(), "250: 0 to 5, at 0"}}) {
    c.doc.selection = selection;
    ksn::workarea_set_to_selection(c);
    EXPECT_EQ(c.timeline(), expected);
  }
}

TEST_F(editing, transport) {
  c.doc.tm_f = 10;
  c.doc.tm_l = 20;
  for (const auto& [run, from, to] : {std::tuple{operation(ksn::first_frame), 15.0, 10.0},
                                      {ksn::last_frame, 15.0, 19.0},
                                      {ksn::prev_frame, 15.6, 15.0},
                                      {ksn::prev_frame, 0.4, 0.0},
                                      {ksn::next_frame, 15.6, 17.0},
                                      {ksn::next_frame, 248.0, 249.0},
                                      {ksn::next_frame, 249.0, 249.0},
                                      {ksn::prev_frame, 14.5, 13.0}}) {
    c.doc.playing = true;
    c.doc.tm_t = from;
    run(c);
    EXPECT_EQ(c.doc.tm_t, to) << "from " << from;
    EXPECT_FALSE(c.doc.playing);
  }
}

TEST_F(editing, positions) {
  c.put("a");
  c.put("b").placement.pos = {7, 8};
  c.doc.selection = {0, 1};
  ksn::move_selected_layers(c, {-1, 0});
  EXPECT_EQ(c.doc.track_at(0).placement.pos, (math::point{-1, 0}));
  EXPECT_EQ(c.doc.track_at(1).placement.pos, (math::point{6, 8}));
  c.doc.selection = {0};
  ksn::reset_layer_position(c);
  EXPECT_EQ(c.doc.track_at(0).placement.pos, math::point());
  EXPECT_EQ(c.doc.track_at(1).placement.pos, (math::point{6, 8}));
  c.undo();
  EXPECT_EQ(c.doc.track_at(0).placement.pos, (math::point{-1, 0}));
  c.undo();
  c.undo_stack.reset();
  ksn::reset_layer_position(c);
  EXPECT_EQ(c.undo_stack, nullptr) << "it was there already";

  // 40 by 30 at half width with pixels twice as wide, and a third of the height: 40 by 9.
  track_info& track = c.doc.track_at(0);
  track.placement.scale_x = 50;
  track.placement.aspect = 2.0;
  track.placement.scale_y = 33;
  EXPECT_EQ(ksn::displayed_size(track), (math::point{40, 9}));
  ksn::move_by_half_size(c, -1, 0);
  ksn::move_by_half_size(c, 0, 1);
  EXPECT_EQ(c.doc.track_at(0).placement.pos, (math::point{-20, 4}));
}

TEST_F(editing, made_layers_follow_the_mask) {
  c.doc.mask_size = {200, 100};
  c.new_text_layer();
  c.new_brush_layer();
  track_info& text = c.doc.track_at(1);
  text.placement.crop_xy = {10, -5};
  text.placement.crop_wh = {101, 50};
  c.doc.mask_size = {300, 50};
  c.doc.selection = {0, 1};
  ksn::layer_resize_to_mask(c);
  EXPECT_EQ(c.doc.track_at(0).source.width, 200) << "a canvas has its size";
  EXPECT_EQ(c.doc.track_at(1).source.width, 300);
  EXPECT_EQ(c.doc.track_at(1).source.height, 50);
  EXPECT_EQ(c.doc.track_at(1).placement.crop_xy, (math::point{15, -2}));   // -2.5 goes to the even
  EXPECT_EQ(c.doc.track_at(1).placement.crop_wh, (math::point{152, 25}));  // 151.5 too
}

TEST_F(editing, difference_leaves_other_modes) {
  c.put_stack("[a] [b]");
  c.doc.track_at(0).look.blend_type = ksn::blend_type::screen;
  for (const auto expected : {ksn::blend_type::difference, ksn::blend_type::normal}) {
    ksn::layer_toggle_difference(c);
    EXPECT_EQ(c.doc.track_at(0).look.blend_type, ksn::blend_type::screen);
    EXPECT_EQ(c.doc.track_at(1).look.blend_type, expected);
  }
  ksn::layer_toggle_disable_cc(c);
  EXPECT_TRUE(ksn::disable_cc_in_selection(c));
  c.doc.selection.clear();
  EXPECT_FALSE(ksn::disable_cc_in_selection(c));
}

TEST_F(editing, cache_requests) {
  c.put("a");
  c.put_still("still");
  c.new_text_layer();
  c.doc.set_current_time(4);
  c.doc.selection = {0, 1, 2};
  ksn::layer_update_frame(c);
  EXPECT_EQ(c.dropped, (std::vector<std::string>{"/nowhere/a/a.4.tga"})) << "the still has ended, the text has no file";
  c.dropped.clear();
  ksn::layer_update_modified(c);
  EXPECT_EQ(c.dropped, (std::vector<std::string>{"changed in /nowhere/a/", "changed /nowhere/still.tga"}));
  c.dropped.clear();
  ksn::layer_remove_from_cache(c);
  EXPECT_EQ(c.dropped, (std::vector<std::string>{"/nowhere/a/", "/nowhere/still.tga"}));
  ksn::layer_preload_into_cache(c);
  EXPECT_TRUE(c.preloaded.empty()) << "not with several selected";
  c.doc.selection = {1};
  ksn::layer_preload_into_cache(c);
  EXPECT_EQ(c.preloaded, std::vector{c.doc.track_at(1).id});
}

TEST_F(editing, expanding_a_file_of_several_pictures) {
  c.put("above").look.alpha_source_id = 0;
  track_info& file = c.put_still("file");
  file.source.image_layers = {{}, {2, 1, "diffuse"}, {2, 2, "shadow"}};
  c.doc.track_at(0).look.alpha_source_id = file.id;
  c.put("below");
  c.doc.selection = {1};
  ASSERT_TRUE(ksn::can_expand_into_layers(c));
  ksn::expand_into_layers(c);
  EXPECT_EQ(c.stack(), "above [file] [file] [file] below");
  EXPECT_EQ(c.doc.track_at(1).source.image_layer, img::layer());
  EXPECT_EQ(c.doc.track_at(2).source.image_layer.name, "diffuse");
  EXPECT_EQ(c.doc.track_at(3).source.image_layer.name, "shadow");
  EXPECT_EQ(c.doc.track_at(0).look.alpha_source_id, c.doc.track_at(1).id);
  c.doc.selection = {2};
  EXPECT_FALSE(ksn::can_expand_into_layers(c)) << "its picture is chosen";
}

TEST_F(editing, embedding_keeps_the_picture) {
  support::temp_folder folder;
  support::write_file(folder / "still.tga", support::tga(true, 8, 6));
  ASSERT_TRUE(c.add(folder / "still.tga", true, false, false));
  ksn::embed_layer(c);
  const track_info& track = c.doc.track_at(0);
  EXPECT_EQ(track.source.type, ksn::source_type::clipboard_image);
  ASSERT_TRUE(track.source.clipboard_image);
  EXPECT_EQ(track.source.clipboard_image->width, 8);
  EXPECT_EQ(track.source.path, "");
  EXPECT_EQ(track.name, "still.tga");
  EXPECT_FALSE(ksn::can_embed_layer(c));
  c.put("sequence");
  c.doc.selection = {1};
  EXPECT_FALSE(ksn::can_embed_layer(c));
}

TEST_F(editing, canvases) {
  c.doc.mask_size = {6, 4};
  c.new_brush_sequence_layer(10);
  track_info& track = c.doc.track_at(0);
  c.doc.set_current_time(3.7);
  int frame = 0;
  ASSERT_TRUE(ksn::canvas_frame(c, track, frame));
  EXPECT_EQ(frame, 3);
  c.doc.set_current_time(200);
  ASSERT_TRUE(ksn::canvas_frame(c, track, frame)) << "after the end it is the last frame";
  EXPECT_EQ(frame, 9);
  track.timing.begin = 300;
  EXPECT_FALSE(ksn::canvas_frame(c, track, frame));
  track.timing.begin = 0;

  c.doc.set_current_time(3);
  ksn::clear_canvas(c);
  EXPECT_EQ(c.undo_stack, nullptr) << "nothing was painted";
  img::image* canvas = ksn::canvas_for_painting(c, track, 3);
  EXPECT_EQ(canvas->width, 6);
  EXPECT_EQ(canvas->user[0], (math::point{3, 2}));
  EXPECT_EQ(canvas->row(3, 0)[0], 0);
  EXPECT_EQ(track.source.frame_states.at(3), 2);
  canvas->row(0, 0)[0] = 77;
  EXPECT_EQ(ksn::canvas_for_painting(c, track, 3), canvas) << "nobody else holds it";

  ksn::layer_duplicate(c);
  track_info& copy = c.doc.track_at(1);
  const img::image* other = ksn::canvas_for_painting(c, copy, 3);
  EXPECT_NE(other, canvas) << "painting on the copy leaves the original";
  EXPECT_EQ(other->row(0, 0)[0], 77);

  ksn::clear_canvas(c);
  EXPECT_TRUE(c.doc.track_at(0).source.brush_seq.empty());
  EXPECT_EQ(c.doc.track_at(0).source.frame_states.at(3), 0);
  c.undo();
  EXPECT_EQ(ksn::canvas_at(c.doc.track_at(0), 3).get(), canvas);
}

}  // namespace
