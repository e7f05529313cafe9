// The whole window under a simulated pointer: every button of the strips with the state behind it and the art that
// follows, the splitter, the floating transport, the lists, and places at both scales.
#include <gtest/gtest.h>

#include <map>

#include "command/menu.h"
#include "ui/whole_window.h"

namespace {

using support::strings;
using ui::mouse_button;

using whole_window = support::whole_window;

TEST_F(whole_window, every_button_of_the_strips) {
  add_layer();
  struct row {
    int x, y;
    const char* before;   // art
    const char* command;  // of a click
    const char* after;    // art with the pointer gone
    const char* menu;     // of a right click
  };
  const int first = -140;
  const row rows[] = {
      {first, 12, "button_stereo_l", "opt_target_view_right", "button_stereo_r", "stereo"},
      {first + 20, 12, "r_pressed", "channel_r", "g", "channel_r"},
      {first + 40, 12, "g", "channel_g", "g_pressed", "channel_g"},
      {first + 60, 12, "b", "channel_b", "b_pressed", "channel_b"},
      {first + 80, 12, "a", "channel_a", "a_pressed", ""},
      {first + 100, 12, "l", "channel_l", "l_pressed", ""},
      {first + 120, 12, "z", "channel_z", "z_pressed", ""},
      {first + 140, 12, "properties", "toggle_property_panel", "properties_pressed", ""},
      {first + 160, 12, "safe", "toggle_mask", "safe_pressed", "safe_area"},
      {first + 180, 12, "grid", "toggle_grid", "grid_pressed", ""},
      {first + 200, 12, "transp_bg", "back_color_transparent", "transp_bg_pressed", "back_color"},
      {first + 200, 12, "transp_bg_pressed", "back_color_black", "transp_bg", "back_color"},
      {first + 220, 12, "vsync", "toggle_vsync", "vsync_pressed", "vsync"},
      {first + 240, 12, "quality_full", "cache_resolution_half", "quality_half", "resolution"},
      {first + 240, 12, "quality_half", "cache_resolution_quarter", "quality_quarter", "resolution"},
      {first + 240, 12, "quality_quarter", "cache_resolution_full", "quality_full", "resolution"},
      {-81, 35, "first_frame", "first_frame", "first_frame", ""},
      {-54, 35, "prev_frame", "prev_frame", "prev_frame", ""},
      {-27, 35, "play_back", "play_backward", "pause_pressed", ""},
      {-27, 35, "pause_pressed", "toggle_pause", "play_back", ""},
      {0, 35, "play_forward", "play_forward", "pause_pressed", ""},
      {0, 35, "pause_pressed", "toggle_pause", "play_forward", ""},
      {27, 35, "next_frame", "next_frame", "next_frame", ""},
      {54, 35, "last_frame", "last_frame", "last_frame", ""},
      {81, 35, "loop", "toggle_repeat", "play_once", ""},
  };
  for (const int scale : {1, 2}) {
    composition.interface_scale = scale;
    for (const row& r : rows) {
      const std::string what = std::string(r.command) + " at " + std::to_string(scale);
      EXPECT_TRUE(shows(r.before)) << what;
      commands.clear();
      menus.clear();
      click(below(r.x, r.y));
      EXPECT_EQ(commands, strings{r.command});
      window->input().mouse_leave();
      EXPECT_TRUE(shows(r.after)) << what;
      click(below(r.x, r.y), mouse_button::right);
      window->input().mouse_leave();
      EXPECT_EQ(menus, *r.menu ? strings{r.menu} : strings{}) << what;
      if (!menus.empty()) {
        EXPECT_FALSE(
            command::context_menu({engine, keys, [](std::string_view key) { return std::string(key); }}, r.menu)
                .empty())
            << r.menu;
      }
    }
    // Back to the beginning.
    for (const char* command :
         {"opt_target_view_left", "channel_z", "toggle_property_panel", "toggle_mask", "toggle_grid", "toggle_vsync"}) {
      engine.run_command(command);
    }
    composition.doc.repeat = ksn::repeat_type::loop;
  }
}

TEST_F(whole_window, answers_the_pointer_and_says_what_a_button_does) {
  add_layer();
  keys.load("Right next_frame\n");
  window->input().mouse_move(below(-140 + 180, 12), 0);
  EXPECT_TRUE(shows("grid_over"));
  window->input().mouse_down(mouse_button::left, below(-140 + 180, 12), false, 0);
  EXPECT_TRUE(shows("grid_pressed_over")) << "the value turned over";
  window->input().key_down(27);
  window->input().mouse_move(below(27, 35), 0);
  window->pass(601, true);
  EXPECT_EQ(window->input().tip(), "ctrl_next_frame (Right)");
  EXPECT_EQ(commands, strings{});
}

TEST_F(whole_window, the_splitter_counts_rows) {
  composition.workspace.infobar_visible = false;
  for (int i = 0; i < 5; ++i) add_layer();
  composition.workspace.track_max = 2;
  struct row {
    int by;  // pixels upward
    int rows;
  };
  for (const int scale : {1, 2}) {
    composition.interface_scale = scale;
    for (const row& r : {row{9, 2}, {11, 3}, {-20, 1}, {-70, 0}, {200, 5}, {29, 3}}) {
      composition.workspace.track_max = 2;
      const math::point line = below(300, 2);
      drag(line, {line.x, line.y - r.by * scale});
      EXPECT_EQ(layout().rows, r.rows) << r.by << " at " << scale;
    }
  }
  composition.interface_scale = 1;
  composition.workspace.track_max = 2;
  click(below(300, 0), mouse_button::left, true);
  EXPECT_EQ(layout().rows, 0);
  click(below(300, 0), mouse_button::left, true);
  EXPECT_EQ(layout().rows, 2);
  commands.clear();
  click(below(300, 3), mouse_button::left, true);
  click(below(300, -3), mouse_button::left, true);
  EXPECT_EQ(commands, strings{"add_layer"}) << "3 pixels off the line: below it nothing, above it the preview";
}

TEST_F(whole_window, a_transport_floats_while_the_timeline_is_hidden) {
  add_layer();
  composition.workspace.timeline_visible = false;
  window->input().mouse_move(below(0, -36), 0);
  EXPECT_FALSE(shows("fs_play_forward")) << "not asked for";
  engine.run_command("toggle_spb_enabled");
  struct row {
    int x, y;
    bool shown;
  };
  for (const row& r : {row{0, -80, true}, {0, -81, false}, {239, -40, true}, {240, -40, false}, {-240, -40, false}}) {
    window->input().mouse_move(below(r.x, r.y), 0);
    EXPECT_EQ(shows("fs_play_forward"), r.shown) << r.x << ' ' << r.y;
  }
  click(below(0, -36));
  EXPECT_TRUE(composition.doc.playing);
  EXPECT_TRUE(shows("fs_play_forward_pressed"));
  window->input().mouse_leave();
  EXPECT_FALSE(shows("fs_play_forward_pressed"));
  composition.workspace.full_screen = true;
  engine.run_command("toggle_spb_enabled");
  window->input().mouse_move(below(0, -36), 0);
  EXPECT_TRUE(shows("fs_play_forward_pressed")) << "in full screen always";
}

TEST_F(whole_window, lists_and_messages_over_the_picture) {
  keys.load("Right next_frame\nCtrl+Z undo\n");
  errors.add("first line");
  errors.add("second line");
  art();
  const auto shown = [&](const std::string& text) {
    art();
    return std::count(canvas.texts.begin(), canvas.texts.end(), text);
  };
  EXPECT_EQ(shown("second line"), 1);
  click({40, layout().split - 35});
  EXPECT_EQ(shown("show_errors"), 1) << "a click opens the list";
  EXPECT_EQ(shown("second line"), 2);
  window->input().key_down('C' | platform::key_ctrl);
  EXPECT_NE(clipboard.find("first line\n"), std::string::npos);
  window->input().key_down(27);
  EXPECT_EQ(shown("show_errors"), 0);

  engine.run_command("show_keys");
  EXPECT_EQ(shown("next_frame") + shown("undo"), 2);
  window->input().pass(0, true);
  window->input().text("z");
  EXPECT_EQ(shown("undo"), 1);
  EXPECT_EQ(shown("next_frame"), 0);
  window->input().key_down(27);
  // What has no key is found as well, and Enter runs it.
  engine.run_command("show_keys");
  commands.clear();
  for (const char letter : std::string("the top layer")) {
    window->input().pass(0, true);
    window->input().text(std::string(1, letter));
  }
  art();
  window->input().key_down(13);
  EXPECT_EQ(commands, strings{"layer_select_first"});
  engine.run_command("show_keys");
  window->input().pass(0, true);
  window->input().text("2:opacity=50");
  window->input().key_down(13);
  ASSERT_FALSE(commands.empty());
  EXPECT_EQ(commands.back(), "2:opacity=50");
  engine.run_command("show_keys");
  commands.clear();
  click({5, 5}, mouse_button::left, true);
  EXPECT_EQ(shown("undo"), 0) << "a click outside closes it";
  EXPECT_EQ(commands, strings{}) << "and goes no further";

  EXPECT_EQ(shown("two.tga"), 1) << "without layers, what was open lately";
  add_layer();
  EXPECT_EQ(shown("two.tga"), 0);

  engine.run_command("show_keys");
  window->input().pass(0, true);
  window->input().text("1:opacity=50");
  window->input().key_down(13);
  EXPECT_EQ(composition.doc.track_at(0).look.opacity, 50);
  engine.run_command("undo");
  EXPECT_EQ(composition.doc.track_at(0).look.opacity, 100) << "what was typed is a step of undo";
}

// News stand in the middle of the first screen, and nowhere without an address to go to.
TEST_F(whole_window, news_on_the_first_screen) {
  bool has_link = false;
  engine.add({.group = command::action_group::desktop,
              .name = "open_news",
              .help = "",
              .execute = [] {},
              .enabled = [&] { return has_link; }});
  const auto drawn = [&](const std::string& text) {
    art();
    return std::count(canvas.texts.begin(), canvas.texts.end(), text);
  };
  const auto opens = [&](int x, int y) {
    commands.clear();
    const math::point middle = layout().preview_middle();
    click({middle.x + x, middle.y + y});
    return commands == strings{"open_news"};
  };
  has_link = true;
  EXPECT_EQ(drawn("today: something"), 0);
  EXPECT_FALSE(opens(0, 10)) << "no news";
  news = "today: something";
  EXPECT_EQ(drawn(news), 1);
  EXPECT_EQ(drawn("one.tga"), 1) << "below stands what was opened lately";
  for (const math::point in : {math::point{-160, -4}, {159, 31}, {0, 0}}) EXPECT_TRUE(opens(in.x, in.y)) << in.x;
  for (const math::point out : {math::point{-161, 0}, {160, 0}, {0, -5}, {0, 32}}) {
    EXPECT_FALSE(opens(out.x, out.y)) << out.x << ',' << out.y;
  }
  has_link = false;
  EXPECT_FALSE(opens(0, 0));
  has_link = true;
  add_layer();
  EXPECT_EQ(drawn(news), 0);
  EXPECT_FALSE(opens(0, 0));
}

TEST_F(whole_window, any_size_is_drawn) {
  add_layer();
  composition.workspace.track_max = 1;
  struct row {
    int height, rows;
  };
  for (const row& r : {row{54, -1}, {55, 0}, {74, 0}, {93, 0}, {94, 1}}) {
    size = {440, r.height};
    EXPECT_EQ(layout().rows, r.rows) << r.height;
  }
  for (const int scale : {1, 2}) {
    composition.interface_scale = scale;
    for (const math::point client : {math::point{1, 1}, {3, 77}, {440, 330}, {300, 60}, {1920, 1080}}) {
      size = client;
      art();
      EXPECT_EQ(canvas.picture.width, client.x);
      EXPECT_EQ(canvas.picture.height, client.y);
      for (int y = -2; y <= client.y + 2; y += 7) {
        for (int x = -2; x <= client.x + 2; x += 7) window->input().mouse_move({x, y}, 0);
      }
    }
  }
}

}  // namespace
