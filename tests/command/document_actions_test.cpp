// The document's own actions through the language: which there are, when they are enabled, what they leave to read.
#include <gtest/gtest.h>

#include "command/language.h"

namespace {

TEST(document_actions, all_that_need_no_window_are_there) {
  document_language l;
  for (const auto& [name, row] : l.engine.action_table) {
    const bool file = row.group == command::action_group::file || row.group == command::action_group::information;
    if (file || row.ask || row.list || !row.plain()) continue;
    l.run({"--" + name});
    EXPECT_EQ(l.errors, row.unbuilt.empty() ? strings{} : strings{"\"--" + name + "\": Not available"});
    EXPECT_EQ(l.engine.action_enabled(name), row.unbuilt.empty() && (!row.enabled || row.enabled())) << name;
    if (row.takes_value()) l.run({"--" + name + "=1"});
    EXPECT_EQ(l.errors.empty(), row.unbuilt.empty()) << name;
    const bool toggle = row.group == command::action_group::view && name.starts_with("toggle_") && row.unbuilt.empty();
    EXPECT_TRUE(!toggle || row.checked) << name << " has no check mark";
  }
}

TEST(document_actions, enabled) {
  struct row {
    const char* action;
    // With no layers, none of three selected, one, and two.
    const char* enabled;
  };
  const row rows[] = {
      {"layer_delete_all", "0111"},
      {"layer_delete_selected", "0011"},
      {"layer_select_up", "0111"},
      {"layer_assign_group", "0001"},
      {"layer_select_group", "0000"},
      {"first_frame", "1111"},
      {"workarea_set_begin", "1111"},
      {"workarea_set_to_selection", "0011"},
      {"layer_go_to_in", "0010"},
      {"layer_align_in", "0011"},
      {"layer_shift_left", "0010"},
      {"layer_position_after", "0011"},
      {"layer_resize_to_timeline", "0010"},
      {"layer_duplicate_and_split", "0000"},
      {"channel_r", "1111"},
      {"reset_layer_position", "0010"},
      {"layer_move_left", "0011"},
      {"layer_half_width_left", "0010"},
      {"layer_flip_x", "0011"},
      {"layer_duplicate", "0011"},
      {"layer_rescan_sequence", "0000"},
      {"layer_watch_sequence", "0000"},
      {"layer_next_version", "0000"},
      {"layer_replace_with_next", "0010"},
      {"update_all_layers", "0111"},
      {"expand_into_layers", "0000"},
      {"embed_layer", "0010"},
      {"undo", "0000"},
      {"clear_canvas", "0000"},
      {"new_text_layer", "1111"},
  };
  for (const row& r : rows) {
    std::string enabled;
    for (const int selected : {-1, 0, 1, 2}) {
      document_language l(selected < 0 ? strings{} : strings{"a", "b", "c"});
      l.composition.doc.selection.clear();
      for (int i = 0; i < selected; ++i) l.composition.doc.selection.insert(i);
      enabled += l.engine.action_enabled(r.action) ? '1' : '0';
    }
    EXPECT_EQ(enabled, r.enabled) << r.action;
  }
}

TEST(document_actions, effect_as_read_by_fields) {
  struct row {
    strings commands;
    std::string field, value;
  };
  // On layers a, b and c of one frame each, the first selected.
  const row rows[] = {
      {{"--layer_move_right", "--layer_move_down", "--layer_move_down"}, "1:position", "1,2"},
      {{"--layer_move_right", "--undo"}, "1:position", "0,0"},
      {{"--layer_move_right", "--undo", "--undo"}, "1:position", "1,0"},
      {{"--layer_shift_left", "--layer_shift_left", "--undo"}, "1:begin", "-1"},
      {{"--time=40", "--layer_align_begin"}, "1:begin", "40"},
      {{"--time=40", "--layer_align_begin", "--layer_select_last", "--undo"}, "1:begin", "40"},
      {{"--layer_flip_x"}, "1:flip_x", "1"},
      {{"--layer_flip_x", "--layer_flip_x"}, "1:flip_x", "0"},
      {{"--layer_select_all", "--layer_flip_y"}, "3:flip_y", "1"},
      {{"--layer_toggle_difference"}, "1:blend", "difference"},
      {{"--layer_resize_to_timeline"}, "1:length", "250"},
      {{"--time=20", "--workarea_set_begin", "--time=90", "--workarea_set_end", "--layer_resize_to_workarea"},
       "1:length",
       "70"},
      {{"--time=20", "--workarea_set_begin", "--time=90", "--workarea_set_end", "--timeline_trim_to_workarea"},
       "global:timeline",
       "70"},
      {{"--layer_resize_to_timeline", "--time=100", "--layer_duplicate_and_split"}, "2:in_point", "100"},
      {{"--layer_duplicate"}, "2:name", "a'"},
      {{"--layer_move_selected_down"}, "2:name", "a"},
      {{"--layer_select_last", "--layer_move_selected_up"}, "2:name", "c"},
      {{"--layer_select_all", "--layer_assign_group"}, "2:group_id", "100"},
      {{"--layer_delete_selected"}, "1:name", "b"},
      {{"--layer_delete_selected", "--undo"}, "1:name", "a"},
      {{"--layer_delete_selected", "--undo", "--undo"}, "1:name", "a"},
      {{"--new_adjustment_layer=30"}, "1:length", "30"},
      {{"--new_text_layer=0"}, "1:name", "a"},
      {{"--new_text_layer=3x"}, "1:name", "a"},
      {{"--increase_fps"}, "global:fps", "26"},
      {{"--fps=24", "--decrease_fps"}, "global:fps", "23.98"},
      {{"--increase_zoom_factor"}, "global:zoom", "200"},
      {{"--zoom=300", "--pan=5,6", "--reset_pan_and_zoom"}, "global:pan", "0,0"},
      {{"--last_frame"}, "global:time", "249"},
      {{"--time=20", "--layer_shift_right", "--layer_go_to_out"}, "global:time", "2"},
      {{"--layer_go_to_out", "--layer_select_none", "--layer_go_to_end"}, "global:time", "1"},
  };
  for (const row& r : rows) {
    document_language l({"a", "b", "c"});
    l.run(r.commands);
    std::string what;
    for (const std::string& command : r.commands) what += command + " ";
    EXPECT_EQ(l.field(r.field), r.value) << what;
  }
}

TEST(document_actions, lines) {
  document_language l({"a"});
  l.run({"--new_text_layer=0", "--new_text_layer=100000001", "--layer_replace_with=", "--layer_select_none",
         "--layer_replace_with=/x.tga", "--layer_flip_x"});
  EXPECT_EQ(l.errors,
            (strings{"\"--new_text_layer=0\": Invalid option", "\"--new_text_layer=100000001\": Invalid option",
                     "\"--layer_replace_with=\": Invalid option",
                     "\"--layer_replace_with=/x.tga\": Option requires a selected layer"}));
  l.run({"--layer_select_first", "--layer_replace_with=/nowhere/x.tga"});
  EXPECT_EQ(l.errors, (strings{"\"/nowhere/x.tga\": Open error 2 (0x00000002)"}));
}

TEST(document_actions, a_new_layer_lasts_one_frame_and_in_a_window_as_long_as_the_timeline) {
  for (const std::string action : {"--new_text_layer", "--new_brush_layer", "--new_adjustment_layer"}) {
    document_language l;
    l.run({"--timeline=48", action});
    EXPECT_EQ(l.field("1:length"), "1") << action;
    l.run({action + "=5"});
    EXPECT_EQ(l.field("1:length"), "5");
    l.composition.has_window = true;
    l.run({action});
    EXPECT_EQ(l.field("1:length"), "48");
    EXPECT_EQ(l.field("1:begin"), "0");
    l.run({action + "=5"});
    EXPECT_EQ(l.field("1:length"), "5");
  }
}

TEST(document_actions, check_marks) {
  document_language l({"a", "b"});
  EXPECT_FALSE(l.engine.action_checked("layer_flip_x"));
  l.run({"--layer_flip_x"});
  EXPECT_TRUE(l.engine.action_checked("layer_flip_x"));
  l.run({"--layer_select_all"});
  EXPECT_FALSE(l.engine.action_checked("layer_flip_x")) << "not all of them";
  EXPECT_FALSE(l.engine.action_checked("toggle_grid"));
  l.run({"--toggle_grid", "--toggle_timeline"});
  EXPECT_TRUE(l.engine.action_checked("toggle_grid"));
  EXPECT_FALSE(l.engine.action_checked("toggle_timeline"));
  l.composition.workspace.full_screen = true;
  l.run({"--toggle_timeline"});
  EXPECT_TRUE(l.engine.action_checked("toggle_timeline"));
  l.composition.workspace.full_screen = false;
  EXPECT_FALSE(l.engine.action_checked("toggle_timeline")) << "the window keeps its own";
  l.composition.workspace.track_max = 2;
  l.run({"--toggle_layer_stack"});
  EXPECT_EQ(l.composition.workspace.track_max, 0);
  l.run({"--toggle_layer_stack"});
  EXPECT_EQ(l.composition.workspace.track_max, 2);
  l.composition.workspace.pp_tab = 7;
  l.run({"--pp_next_tab"});
  EXPECT_EQ(l.composition.workspace.pp_tab, 0);
  l.run({"--pp_prev_tab"});
  EXPECT_EQ(l.composition.workspace.pp_tab, 7);
}

}  // namespace
