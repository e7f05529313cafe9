// The main loop on a desktop that is made up.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>

#include "app/clipboard_actions.h"
#include "app/dialog_actions.h"
#include "app/shell_actions.h"
#include "app/window_run.h"
#include "command/menu.h"
#include "composition/editing/undo.h"
#include "composition/state.h"
#include "img/format.h"
#include "io/exceptions.h"
#include "save/actions.h"
#include "save/preview_view.h"
#include "support/made_up_desktop.h"
#include "support/pictures.h"
#include "support/temp_folder.h"
#include "support/wait.h"

namespace {

using strings = std::vector<std::string>;
using namespace std::chrono_literals;

class window_run : public testing::Test {
 protected:
  support::temp_folder folder;
  support::made_up_desktop desktop;
  ksn::state composition;
  cache::frame_cache frames;
  cache::frame_scheduler reading{frames};
  cache::frame_loader loader{reading};
  command::engine engine{composition};
  render::pipeline pipeline{frames, {true, {}, [this] { return now; }, &reading}};
  playback::clock clock{composition, frames};
  strings lines;
  app::window_run window{{composition, engine, pipeline, frames, loader, clock, "Title",
                          [](std::string_view key) { return "<" + std::string(key) + ">"; },
                          [this](const std::string& line) { lines.push_back(line); }}};
  app::shell_watch shell{[this](const std::string& line) { lines.push_back(line); }};
  std::vector<app::tick_times> ticks;
  std::uint32_t now = 4'294'967'000u;  // milliseconds; wraps soon

  void SetUp() override {
    window.milliseconds = [this] { return now; };
    desktop.waited = [this](int milliseconds) { now += static_cast<std::uint32_t>(milliseconds); };
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME"}) setenv(name, folder.path().c_str(), 1);
    engine.write_error = [this](const std::string& line) { lines.push_back(line); };
    composition.hooks.report_error = [this](const std::string& line) { engine.report(line); };
    command::register_fields(engine);
    command::register_language_actions(engine);
    command::register_document_actions(engine);
    const auto current = [this] { return window.desktop(); };
    window.register_actions();
    window.is_transient = [] { return true; };
    window.observer = [this](const app::tick_times& times) { ticks.push_back(times); };
    save::register_save_actions(
        engine, pipeline,
        {[this](const save::progress& progress) { window.show_progress("", progress.done, progress.total); },
         [this] { return window.progress_cancelled(); }, nullptr, nullptr, nullptr});
    app::ask_with_dialogs({engine, current, [](std::string_view key) { return std::string(key); }, nullptr});
    app::register_shell_actions(
        engine, [this] { return clock.shown_time(); }, shell);
    app::register_clipboard_actions({engine, pipeline, current, [this] { return clock.shown_time(); }});
    command::register_menu_choices(engine);
  }

  std::string picture(const std::string& name, int width = 8, int height = 6) {
    support::write_file(folder / name, "");
    img::save(support::random_picture("BGR", width, height), folder / name, nullptr, {});
    return folder / name;
  }
  void step(std::function<void()> action, int passes = 1) {
    desktop.script.push_back(std::move(action));
    // One tick waits for events at its start and at its end.
    for (int i = 1; i < 2 * passes; ++i) desktop.script.push_back({});
  }
  // Runs the window for one step.
  void in_window(std::function<void()> action) {
    step(std::move(action));
    EXPECT_EQ(window.run(desktop), 0);
  }
  // The entry of a command in a menu or its sub-menus; valid until the next call.
  const platform::menu_entry* found_in(std::vector<platform::menu_entry> entries, const std::string& command) {
    for (platform::menu_entry& entry : entries) {
      if (entry.command == command) return &(found_ = std::move(entry));
      if (const platform::menu_entry* below = found_in(std::move(entry.entries), command)) return below;
    }
    return nullptr;
  }
  platform::menu_entry found_;
  // As a command line without the program's name.
  void pass(strings arguments) {
    arguments.insert(arguments.begin(), "kestrin");
    engine.command_pass(arguments);
  }
  int drawn() const {
    return static_cast<int>(std::count_if(ticks.begin(), ticks.end(), [](const auto& tick) { return tick.drawn; }));
  }
};

TEST_F(window_run, draws_when_something_happened) {
  int load = 20;
  frames.memory_load = [&load] { return load; };
  composition.new_adjustment_layer();
  step({}, 120);
  EXPECT_EQ(window.run(desktop), 0);
  EXPECT_GE(ticks.size(), 120u);
  EXPECT_EQ(drawn(), 1) << "120 times 40 ms";

  ticks.clear();
  step({}, 40);
  step([&] { load = 21; }, 40);
  window.run(desktop);
  EXPECT_EQ(drawn(), 2) << "another figure on the bar";

  ticks.clear();
  composition.new_text_layer();
  step({}, 60);
  window.run(desktop);
  EXPECT_EQ(drawn(), 3) << "a text may tell the time: once a second";
  composition.layer_delete_all();

  ticks.clear();
  pass({picture("a.tga"), "--auto_update=1"});
  ASSERT_EQ(lines, strings());
  // What is read on other threads is there in the next tick.
  desktop.waited = [this](int milliseconds) {
    now += static_cast<std::uint32_t>(milliseconds);
    support::wait_until([this] { return reading.count().reading + reading.count().waiting == 0; });
  };
  step({}, 100);
  int before = 0;
  step(
      [&] {
        before = drawn();
        std::filesystem::last_write_time(folder / "a.tga", std::filesystem::file_time_type::clock::now() + 9s);
      },
      100);
  window.run(desktop);
  EXPECT_GE(before, 1) << "the picture";
  EXPECT_LE(before, 2) << "the mark of its frame, if that came later; the file is looked at and is the same";
  EXPECT_EQ(drawn(), before + 1) << "another file";
  composition.layer_delete_all();
  composition.new_adjustment_layer();

  ticks.clear();
  step({}, 5);
  step([&] { desktop.events.key(command::parse_key("F7")); }, 5);
  step([&] { desktop.size.x = 500; }, 5);
  step([&] { desktop.events.menu_chosen("channel_r"); }, 5);
  EXPECT_EQ(window.run(desktop), 0);
  EXPECT_EQ(drawn(), 4);

  // A wait that ends early makes no second picture of a frame.
  ticks.clear();
  desktop.waited = [this](int) { ++now; };
  composition.doc.fpcs = 100;  // a second for each frame
  step([&] { composition.doc.playing = true; }, 90);
  EXPECT_EQ(window.run(desktop), 0);
  EXPECT_GE(ticks.size(), 90u);
  EXPECT_EQ(drawn(), 2) << "180 ms of ticks that last 100";
}

TEST_F(window_run, waits_as_long_as_its_state_allows) {
  struct row {
    const char* name;
    bool foreground, playing, minimised;
    int throttle, fpcs;
    int wait;  // at the end of each tick
  };
  const row rows[] = {{"stopped in the background", false, false, false, 1, 2500, 960},
                      {"stopped in front", true, false, false, 1, 2500, 40},
                      {"the slowest rate", true, false, false, 1, 100, 100},
                      {"minimised", true, false, true, 1, 2500, 960},
                      {"minimised while it plays", true, true, true, 1, 1000, 100},
                      {"playing in the background", false, true, false, 1, 2500, 40},
                      {"playing in front", true, true, false, 1, 2500, 40},
                      {"a throttle of 0 in front", true, false, false, 0, 2500, 0},
                      {"a throttle of 0 in the background", false, false, false, 0, 2500, 960}};
  for (const row& r : rows) {
    desktop.foreground = r.foreground;
    desktop.minimised = r.minimised;
    desktop.waits.clear();
    const int pictures = desktop.pictures;
    step(
        [&, r] {
          composition.doc.playing = r.playing;
          composition.settings.vsync_parameter = r.throttle;
          composition.doc.fpcs = r.fpcs;
        },
        6);
    window.run(desktop);
    // The waits of 0 are the starts of ticks.
    const std::set<int> waits(desktop.waits.begin(), desktop.waits.end());
    EXPECT_EQ(waits, (std::set<int>{0, r.wait})) << r.name;
    EXPECT_EQ(desktop.pictures == pictures, r.minimised) << r.name;
  }

  // With a layer it is awake before the next frame is due, and makes its picture.
  ksn::track_info layer;
  layer.source.type = ksn::source_type::text;
  layer.source.frames = 1;
  layer.look.visible = true;
  composition.enter_stack(std::move(layer), false);
  desktop.minimised = false;
  desktop.waits.clear();
  step(
      [&] {
        composition.settings.vsync_parameter = 1;
        composition.doc.playing = true;
        composition.doc.fpcs = 2500;
      },
      6);
  window.run(desktop);
  const std::set<int> waits(desktop.waits.begin(), desktop.waits.end());
  ASSERT_GT(waits.size(), 1u);
  EXPECT_LT(*std::next(waits.begin()), 40);
}

TEST_F(window_run, a_play_writes_to_the_screen_and_its_last_picture_is_kept) {
  desktop.has_memory = true;
  step([&] { EXPECT_EQ(desktop.written, 0); });
  step([&] { composition.doc.playing = true; }, 8);
  int pictures = 0;
  step(
      [&] {
        EXPECT_GT(desktop.written, 1);
        pictures = desktop.pictures;
        composition.doc.playing = false;
      },
      4);
  step([&] { EXPECT_EQ(desktop.pictures, pictures + 1); });
  EXPECT_EQ(window.run(desktop), 0);
}

TEST_F(window_run, closes_in_order) {
  composition.hooks.file_among_unsaved = [&] {
    desktop.calls.push_back("file " + std::to_string(composition.doc.track_count()));
  };
  window.is_transient = [&] {
    desktop.calls.push_back("save");
    return true;
  };
  const std::function<void()> ends[] = {[&] { desktop.events.close_requested(); },
                                        [&] { desktop.events.menu_chosen("exit"); }};
  for (const auto& end : ends) {
    desktop.calls.clear();
    engine.quit_requested = engine.exit_requested = false;
    step([&] {
      composition.new_adjustment_layer();
      desktop.events.menu_chosen("toggle_fullscreen");
    });
    step(end);
    EXPECT_EQ(window.run(desktop), 0);
    EXPECT_EQ(desktop.calls, (strings{"fullscreen", "file 1", "window", "save", "destroy"}));
    EXPECT_EQ(composition.doc.track_count(), 0);
    desktop.script.clear();
  }
}

// A full disk must not take the document along with the window unasked.
TEST_F(window_run, asks_before_it_loses_the_document) {
  composition.hooks.file_among_unsaved = [] { throw io::write_error("/disk/a", ENOSPC); };
  composition.new_adjustment_layer();
  desktop.message_answers = {platform::message_answer::no, platform::message_answer::yes};
  int kept = 0;
  step([&] { desktop.events.close_requested(); });
  step([&] { kept = composition.doc.track_count(); });
  EXPECT_EQ(window.run(desktop), 0);
  EXPECT_EQ(kept, 1);
  EXPECT_EQ(composition.doc.track_count(), 0);
  ASSERT_EQ(desktop.messages.size(), 2u);
  EXPECT_NE(desktop.messages[0].find("\"/disk/a\": io::write_error: No space left on device"), std::string::npos)
      << desktop.messages[0];
  EXPECT_EQ(lines.size(), 2u);
}

TEST_F(window_run, closes_when_the_work_beside_it_lets_it) {
  using enum app::close_answer;
  const app::close_answer answers[] = {stay, later, later, close};
  int asked = 0;
  strings seen;
  window.may_close = [&] { return answers[asked++]; };
  step([&] { desktop.events.menu_chosen("exit"); });
  step([&] {
    seen.push_back(std::to_string(asked));
    desktop.events.close_requested();
  });
  // While it waits, lines of other instances are carried out as ever.
  step([&] { pass({"--time=7"}); });
  EXPECT_EQ(window.run(desktop), 0);
  EXPECT_EQ(seen, strings{"1"});
  EXPECT_EQ(asked, 4);
  EXPECT_EQ(desktop.calls, strings{"destroy"});
}

TEST_F(window_run, reports_what_does_not_start) {
  desktop.window_opens = false;
  EXPECT_EQ(window.run(desktop), -1);
  desktop.window_opens = true;
  desktop.presenting_error = static_cast<int>(0x80049202u);
  EXPECT_EQ(window.run(desktop), -1);
  EXPECT_EQ(desktop.messages,
            (strings{"Unable to create the main window.", "Unable to initialize DirectDraw (Error code: 80049202)."}));
}

TEST_F(window_run, opens_as_it_was_told_before) {
  composition.doc.mask_size = {600, 400};
  composition.workspace.timeline_visible = false;
  engine.execute_action("resize_window_to_fit");
  engine.execute_action("toggle_always_on_top");
  engine.execute_action("toggle_fullscreen");
  composition.workspace.full_screen = false;
  int width = 0;
  int height = 0;
  EXPECT_TRUE(window.client_area(width, height));
  EXPECT_EQ(width, 600);
  EXPECT_EQ(height, 437) << "three rows below the preview, and the bar with as much above";
  engine.run_option("--add_layer=" + picture("a.tga", 300, 50));
  composition.view.zoom_factor2 = 200;
  engine.execute_action("resize_window_to_fit");
  window.run(desktop);
  EXPECT_EQ(desktop.size, (math::point{600, 137})) << "the layer at its zoom";
  EXPECT_TRUE(desktop.options.always_on_top);
  EXPECT_EQ(desktop.title, "Title - unnamed.ksncomp");
}

TEST_F(window_run, shows_the_table_as_its_menu) {
  in_window([&] {
    EXPECT_EQ(desktop.options.menus, (strings{"<mi_file>", "<mi_edit>", "<mi_view>", "<mi_play>", "<mi_layer>"}));
    struct row {
      int menu;
      const char* action;
      bool enabled, checkable, checked;
    };
    composition.view.grid = true;
    const row rows[] = {{0, "exit", true, false, false},
                        {2, "toggle_grid", true, true, true},
                        {2, "toggle_vsync", true, true, false},
                        {4, "layer_move_left", false, false, false},
                        {4, "layer_replace_with", false, false, false},
                        {1, "clipboard_paste", false, false, false},
                        {2, "toggle_fullscreen", true, true, false},
                        {0, "save_frame_as", true, false, false}};
    for (const row& r : rows) {
      const platform::menu_entry* entry = found_in(desktop.events.open_menu(r.menu), r.action);
      ASSERT_NE(entry, nullptr) << r.action;
      EXPECT_EQ(entry->enabled, r.enabled) << r.action;
      EXPECT_EQ(entry->checkable, r.checkable) << r.action;
      EXPECT_EQ(entry->checked, r.checked) << r.action;
      EXPECT_EQ(entry->text, "<" + std::string(r.action) + ">");
    }
  });
}

TEST_F(window_run, right_click_menus_hold_actions) {
  const command::menu_source source{engine, {}, [](std::string_view key) { return std::string(key); }};
  const std::function<void(const std::vector<platform::menu_entry>&)> check = [&](const auto& entries) {
    for (const platform::menu_entry& entry : entries) {
      // Rooms that are not here have these.
      const bool elsewhere = entry.command.starts_with("opt_http_") || entry.command.starts_with("opt_ext_turn_");
      EXPECT_TRUE(entry.command.empty() || elsewhere || engine.find_action(entry.command)) << entry.command;
      check(entry.entries);
    }
  };
  EXPECT_EQ(command::context_menus().size(), 21u);
  for (const std::string_view menu : command::context_menus()) {
    EXPECT_GE(command::context_menu(source, menu).size(), 2u) << menu;
    check(command::context_menu(source, menu));
  }
  EXPECT_TRUE(command::context_menu(source, "nonsense").empty());
  composition.view.zoom_factor2 = 200;
  const std::vector<platform::menu_entry> zooms = command::context_menu(source, "zoom");
  EXPECT_TRUE(zooms[3].checked && !zooms[2].checked && zooms[5].is_separator());
  EXPECT_EQ(zooms[3].text, "200%");
  engine.run_command(command::command_of(zooms, zooms[0].id));
  EXPECT_EQ(composition.view.zoom_factor2, 25);
}

TEST_F(window_run, asks_for_files) {
  const std::string a = picture("a.tga");
  const std::string b = picture("b.tga");
  in_window([&] {
    desktop.answers = {{a, b}, {folder / "c.ksncomp"}, {folder / "out/x.tga"}, {}, {folder / "x.none"}};
    desktop.events.menu_chosen("add_layer");
    EXPECT_EQ(composition.doc.track_count(), 2);
    desktop.events.menu_chosen("layer_replace_with");
    desktop.events.menu_chosen("save_mask_as_image");
    EXPECT_TRUE(std::filesystem::exists(folder / "out/x.tga"));
    desktop.events.menu_chosen("save_mask_as_image");
    EXPECT_TRUE(desktop.messages.size() == 1) << "the replacement can't be opened";
    desktop.events.menu_chosen("save_mask_as_image");
    ASSERT_EQ(desktop.messages.size(), 2u);
    EXPECT_NE(desktop.messages[1].find("x.none\": Invalid file type"), std::string::npos) << desktop.messages[1];
    ASSERT_EQ(desktop.dialogs.size(), 5u);
    EXPECT_TRUE(desktop.dialogs[0].several);
    EXPECT_FALSE(desktop.dialogs[0].save);
    EXPECT_TRUE(desktop.dialogs[2].save);
    EXPECT_EQ(desktop.dialogs[3].folder, folder / "out/") << "where the last one ended";
  });
}

TEST_F(window_run, save_dialogs_offer_the_options_of_the_format_and_remember_them) {
  composition.new_adjustment_layer();
  composition.doc.mask_size = {64, 32};
  composition.doc.tm_l = 3;
  const auto keys = [&] {
    strings found;
    for (const platform::form_choice& choice : desktop.offered) found.push_back(choice.key);
    return found;
  };
  in_window([&] {
    desktop.answers = {
        {folder / "a.mkv"}, {folder / "b.mkv"}, {folder / "c.##.jpg"}, {folder / "d.exr"}, {folder / "e.mkv"}};
    desktop.chosen = {{"codec", "ffv1"}, {"quality", "70"}, {"audio", "0"}};
    desktop.events.menu_chosen("save_mask_as_sequence");
    EXPECT_EQ(keys(), (strings{"codec", "quality", "audio"}));
    EXPECT_EQ(desktop.offered[0].words.size(), 16u) << "as usual, and all but raw and those of other containers";
    EXPECT_EQ(desktop.offered[0].chosen, 0u);
    desktop.events.menu_chosen("save_mask_as_sequence");
    EXPECT_EQ(desktop.offered[0].words[desktop.offered[0].chosen].word, "ffv1") << "as before";
    EXPECT_EQ(desktop.offered[1].words[desktop.offered[1].chosen].word, "70");
    desktop.chosen = {{"quality", "30"}};
    desktop.events.menu_chosen("save_mask_as_sequence");
    EXPECT_EQ(keys(), (strings{"quality"}));
    desktop.chosen = {{"compression", ""}};
    desktop.events.menu_chosen("save_mask_as_image");
    EXPECT_EQ(keys(), (strings{"compression", "ignore_alpha"}));
    EXPECT_TRUE(std::filesystem::exists(folder / "c.02.jpg") && std::filesystem::exists(folder / "d.exr"));
    desktop.events.menu_chosen("save_mask_as_image");
    EXPECT_TRUE(keys().empty()) << "one picture is no movie";
  });
  const std::string size = "64 x 32, ";
  EXPECT_EQ(desktop.described, (strings{size + "3 frames at 25 a second: " + folder / "a.mkv",
                                        size + "3 frames at 25 a second: " + folder / "b.mkv",
                                        size + "3 frames at 25 a second: " + folder / "c.00.jpg to c.02.jpg",
                                        size + folder / "d.exr", size + folder / "e.mkv"}));
}

TEST_F(window_run, dialogs_remember_over_an_exit) {
  composition.new_adjustment_layer();
  const std::string file = folder / "kept/dialogs.txt";
  std::filesystem::create_directory(folder / "kept");
  const auto begin_anew = [&] {
    app::ask_with_dialogs({engine, [this] { return window.desktop(); },
                           [](std::string_view key) { return std::string(key); }, nullptr, [&] { return file; }});
  };
  begin_anew();
  in_window([&] {
    desktop.answers = {{folder / "out/a.jpg"}, {folder / "b.exr"}};
    desktop.chosen = {{"quality", "70"}};
    desktop.events.menu_chosen("save_mask_as_image");
    desktop.chosen = {{"compression", "b44a"}, {"ignore_alpha", "0"}};
    desktop.events.menu_chosen("save_mask_as_image");
  });
  // Another instance chose for another kind meanwhile; a line that nobody knows is harmless.
  support::write_file(file, support::read_file(file) + "options png bits=16\nnonsense\n");
  desktop.script.clear();
  begin_anew();
  in_window([&] {
    desktop.answers = {{folder / "c.jpg"}, {folder / "d.exr"}, {folder / "e.png"}};
    for (const char* wanted : {"70", "b44a", "16"}) {
      desktop.chosen.clear();
      desktop.events.menu_chosen("save_mask_as_image");
      bool found = false;
      for (const platform::form_choice& choice : desktop.offered)
        found = found || choice.words[choice.chosen].word == wanted;
      EXPECT_TRUE(found) << wanted;
    }
    EXPECT_EQ(desktop.dialogs[2].folder, folder.path() + "/") << "where the last run ended";
  });
}

TEST_F(window_run, says_why_an_action_did_nothing) {
  engine.run_option("--save_mask_as_image");
  engine.run_option("--clipboard_copy_mask");
  EXPECT_EQ(lines, (strings{"\"--save_mask_as_image\": Not available without a value: --save_mask_as_image=PATH",
                            "\"--clipboard_copy_mask\": Not available without a window"}));
  in_window([&] {
    engine.add({.name = "far_away", .help = "what nobody does", .unbuilt = "it is far away"});
    desktop.events.menu_chosen("far_away");
    EXPECT_EQ(desktop.messages, (strings{"\"--far_away\": Not available"}));
    desktop.events.key(command::parse_key("F7"));
    EXPECT_EQ(desktop.messages.size(), 1u);
  });
}

TEST_F(window_run, shows_how_far_a_save_is_and_lets_it_be_cancelled) {
  composition.new_adjustment_layer();
  composition.doc.mask_size = {4, 4};
  composition.doc.tm_l = 20;
  const auto files = [&] {
    return std::distance(std::filesystem::directory_iterator(folder / "out"), std::filesystem::directory_iterator());
  };
  step([&] {
    desktop.answers = {{folder / "out/a.####.tga"}, {folder / "out/b.####.tga"}, {folder / "out/c.####.tga"}};
    desktop.events.menu_chosen("save_mask_as_sequence");
    EXPECT_EQ(files(), 20);
    EXPECT_GT(desktop.progress_steps, 0);
    desktop.cancel_progress_at = 5;
    desktop.events.menu_chosen("save_mask_as_sequence");
    EXPECT_LT(files(), 40);
    EXPECT_GT(files(), 20);
  });
  step([&] {
    // The next one is another one.
    desktop.cancel_progress_at = -1;
    std::filesystem::remove_all(folder / "out");
    desktop.events.menu_chosen("save_mask_as_sequence");
    EXPECT_EQ(files(), 20);
  });
  window.run(desktop);
}

TEST_F(window_run, copies_and_pastes) {
  const std::string a = picture("a b.tga", 5, 4);
  in_window([&] {
    composition.doc.mask_size = {7, 3};
    composition.doc.back_color = ksn::back_color_type::custom;
    composition.doc.back_custom_color = {255, 10, 20, 30};
    desktop.events.menu_chosen("clipboard_copy_mask");
    EXPECT_EQ(desktop.board_size, (math::point{7, 3}));
    EXPECT_EQ(desktop.board_pixels[0], 30);
    EXPECT_EQ(desktop.board_pixels[1], 20);
    EXPECT_EQ(desktop.board_pixels[2], 10);

    // Blue, green, red, alpha of a picture one pixel wide.
    desktop.board_pixels = {1, 2, 3, 4, 5, 6, 7, 8};
    desktop.board_size = {1, 2};
    desktop.events.menu_chosen("clipboard_paste");
    ASSERT_EQ(composition.doc.track_count(), 1);
    const ksn::track_info& pasted = composition.doc.track_at(0);
    EXPECT_EQ(pasted.source.type, ksn::source_type::clipboard_image);
    EXPECT_EQ(support::samples(*pasted.source.clipboard_image, 2), (std::vector<int>{3, 7}));

    desktop.board_text = "file://" + folder.path() + "/a%20b.tga\r\n";
    desktop.events.menu_chosen("clipboard_paste");
    ASSERT_EQ(composition.doc.track_count(), 2);
    EXPECT_EQ(composition.doc.track_at(0).source.width, 5);

    desktop.board_text = "--ksncmd\n--zoom=300 --1:opacity=7\n";
    desktop.events.menu_chosen("clipboard_paste");
    EXPECT_EQ(composition.view.zoom_factor2, 300);
    EXPECT_EQ(composition.doc.track_at(0).look.opacity, 7);
    ASSERT_TRUE(composition.can_undo());
    EXPECT_EQ(composition.undo_stack->text_key(), "undo_paste");
    composition.undo();
    EXPECT_EQ(composition.doc.track_at(0).look.opacity, 100);
    composition.undo();

    for (const char* text : {"--ksncmdx\n--zoom=1", "just words", "/no/such/file", "file://%zz%"}) {
      desktop.board_text = text;
      desktop.board_pixels.clear();
      EXPECT_FALSE(engine.action_enabled("clipboard_paste")) << text;
      desktop.events.menu_chosen("clipboard_paste");
    }
    EXPECT_EQ(composition.doc.track_count(), 2);
    EXPECT_EQ(composition.view.zoom_factor2, 300);
  });
}

TEST_F(window_run, takes_what_is_dropped) {
  strings sequence;
  for (int i = 0; i < 30; ++i) sequence.push_back(picture("shot." + std::to_string(1000 + i) + ".tga"));
  const std::string still = picture("still.tga");
  support::write_file(folder / "zoom.ksncmd", "--zoom=450\n");
  support::write_file(folder / "junk.exr", "no picture");
  int before = 0;
  step([&] {
    // Its frames are in the sequence that the first one brought.
    desktop.events.dropped(sequence);
    EXPECT_EQ(composition.doc.track_count(), 1);
    EXPECT_EQ(composition.doc.track_at(0).source.frames, 30);
    desktop.events.dropped({still, folder / "zoom.ksncmd", folder / "junk.exr", "/no/such.tga", "", "\xFF\xFE"});
    EXPECT_EQ(composition.view.zoom_factor2, 450);
    EXPECT_EQ(desktop.messages.size(), 1u);
    EXPECT_EQ(desktop.calls, (strings{"forward", "forward"}));
    EXPECT_EQ(composition.doc.tracks.back().source.frames, 30);
    // Not in the midst of other work.
    before = composition.doc.track_count();
    engine.command_depth = 1;
    desktop.events.dropped({still});
    EXPECT_EQ(composition.doc.track_count(), before);
    engine.command_depth = 0;
  });
  step([&] { EXPECT_EQ(composition.doc.track_count(), before + 1); });
  window.run(desktop);
}

TEST_F(window_run, is_at_ease_with_ten_thousand_dropped_files) {
  strings paths;
  for (int i = 0; i < 10000; ++i) paths.push_back(folder / ("gone." + std::to_string(i) + ".nothing"));
  step([&] {
    desktop.events.dropped(paths);
    ASSERT_EQ(desktop.messages.size(), 1u);
    EXPECT_LT(desktop.messages[0].size(), 10000u) << "not all the lines";
    EXPECT_EQ(lines.size(), 10000u);
    lines.clear();
    desktop.cancel_progress_at = 1;
    desktop.events.dropped(paths);
    EXPECT_LT(lines.size(), 10000u) << "cancelled";
  });
  step({});
  window.run(desktop);
}

TEST_F(window_run, memory_that_runs_out_ends_the_gesture_alone) {
  using platform::mouse_action;
  using platform::mouse_button;
  composition.new_brush_layer();
  bool fails = false;
  composition.hooks.forget_layer = [&](int) {
    if (std::exchange(fails, false)) throw std::bad_alloc();
  };
  const auto press = [&] { desktop.events.mouse({mouse_action::press, mouse_button::left, {470, 353}, 0, 0}); };
  const auto move = [&] { desktop.events.mouse({mouse_action::move, mouse_button::none, {490, 353}, 0, 0}); };
  in_window([&] {
    for (const bool at_press : {true, false}) {
      fails = at_press;
      press();
      fails = !at_press;
      move();
      EXPECT_EQ(lines, strings{"Not enough memory; what was dragged is as it was before"}) << at_press;
      EXPECT_FALSE(composition.doc.track_at(0).source.brush_image) << at_press;
      lines.clear();
    }
    press();
    desktop.events.mouse({mouse_action::release, mouse_button::left, {470, 353}, 0, 0});
    EXPECT_TRUE(composition.can_undo()) << "and the next one is whole";
  });
}

TEST_F(window_run, zooms_and_pans_with_the_mouse) {
  using platform::mouse_action;
  using platform::mouse_button;
  struct row {
    const char* name;
    std::vector<platform::mouse_event> events;
    int zoom;
    math::pointd pan;
  };
  const int alt = platform::key_alt;
  const int ctrl = platform::key_ctrl;
  const auto wheel = [](int by, int modifiers = 0, math::point at = {}) {
    return platform::mouse_event{mouse_action::wheel, mouse_button::none, at, by, modifiers};
  };
  const auto drag = [](mouse_button button, int modifiers, math::point to) {
    return std::vector<platform::mouse_event>{{mouse_action::press, button, {100, 100}, 0, modifiers},
                                              {mouse_action::move, mouse_button::none, {120, 90}, 0, modifiers},
                                              {mouse_action::release, button, to, 0, modifiers}};
  };
  // The area is 940 by 706: its centre is 470, 353.
  const row rows[] = {
      {"wheel", {wheel(120)}, 200, {0, 0}},
      {"wheel back", {wheel(-240)}, 40, {0, 0}},
      {"parts of a step", {wheel(40), wheel(40), wheel(40)}, 200, {0, 0}},
      {"the point stays", {wheel(120, ctrl, {570, 303})}, 200, {-50, 25}},
      {"middle button", drag(mouse_button::middle, 0, {130, 80}), 100, {30, -20}},
      {"left button with Alt", drag(mouse_button::left, alt, {130, 80}), 100, {30, -20}},
      {"left button", drag(mouse_button::left, 0, {130, 80}), 100, {0, 0}},
      {"zoomed",
       [&] {
         std::vector<platform::mouse_event> all = drag(mouse_button::middle, 0, {130, 80});
         all.insert(all.begin(), wheel(120));
         return all;
       }(),
       200,
       {15, -10}},
  };
  for (const row& r : rows) {
    step([&, r] {
      composition.view.zoom_factor2 = 100;
      composition.view.pan_position = {};
      for (const platform::mouse_event& event : r.events) desktop.events.mouse(event);
      EXPECT_EQ(composition.view.zoom_factor2, r.zoom) << r.name;
      EXPECT_EQ(composition.view.pan_position, r.pan) << r.name << " " << composition.view.pan_position.x;
    });
  }
  step([&] {
    composition.view.pan_position = {1, 2};
    desktop.events.mouse({mouse_action::press, mouse_button::middle, {0, 0}, 0, 0});
    desktop.events.mouse({mouse_action::move, mouse_button::none, {50, 50}, 0, 0});
    desktop.events.key(command::parse_key("escape"));
    EXPECT_EQ(composition.view.pan_position, (math::pointd{1, 2})) << "Escape takes a drag back";
  });
  window.run(desktop);
}

// The first layer of a new composition is shown whole; a zoom that was told stays.
TEST_F(window_run, fits_the_first_layer) {
  const std::string large = picture("large.png", 2000, 500);
  const std::string small = picture("small.png", 20, 10);
  desktop.size = {940, 800};
  struct row {
    const char* what;
    strings before;  // the window opens
    strings inside;
    int zoom;
  };
  const row rows[] = {{"larger than the window", {large}, {}, 47},
                      {"smaller", {small}, {}, 100},
                      {"added in the window", {}, {large}, 47},
                      {"several at once", {small, large}, {}, 47},
                      {"a second layer", {small}, {large}, 100},
                      {"a zoom that is told before", {"--zoom=100", large}, {}, 100},
                      {"after", {large, "--zoom=30"}, {}, 30},
                      {"in the window", {large}, {"--zoom=200"}, 200},
                      {"asked for", {small, "--zoom=fit"}, {}, 4700},
                      {"asked for in the window", {small}, {"--zoom=fit"}, 4700},
                      {"by the key", {small}, {"--fit_window"}, 4700},
                      {"the output", {small, "--mask_size=1880,100"}, {"--fit_mask"}, 50},
                      {"the next composition", {small}, {"--new_composition", large}, 47}};
  for (const row& r : rows) {
    composition.new_composition(false);
    composition.workspace.timeline_visible = false;
    pass(r.before);
    EXPECT_EQ(composition.view.zoom_factor2, r.what == std::string("after")       ? 30
                                             : r.what == std::string("asked for") ? 4700
                                                                                  : 100)
        << r.what << " without a window";
    int zoom = 0;
    step([&] { pass(r.inside); });
    step([&] { zoom = composition.view.zoom_factor2; });
    window.run(desktop);
    EXPECT_EQ(zoom, r.zoom) << r.what;
    desktop.script.clear();
  }
}

// Marks over the picture go into the picture of the screen and into no other.
TEST_F(window_run, overlays_are_on_the_screen_alone) {
  pass({picture("a.png", 60, 40), "--mask_size=50,30"});
  composition.doc.selection = {0};
  const std::vector<std::string> every{"save_frame_as", "save_layer_as", "save_mask_as_image", "save_mask_as_sequence",
                                       "save_screen_as"};
  const auto saved = [&](const std::string& when, const std::vector<std::string>& actions) {
    std::map<std::string, std::string> files;
    for (const std::string& action : actions) {
      const bool walks = action == "save_layer_as" || action == "save_mask_as_sequence";
      const std::string path = folder / (when + action);
      pass({"--" + action + "=" + path + ".png"});
      files[action] = support::read_file(path + (walks ? "_0000.png" : ".png"));
      EXPECT_FALSE(files[action].empty()) << action;
    }
    return files;
  };
  auto plain = saved("plain", every);
  struct row {
    const char* what;
    std::function<void()> show;
  };
  const row rows[] = {{"mask", [&] { composition.view.safe_area_type = ksn::safe_area_type_t::none; }},
                      {"crop", [&] { composition.view.mask_type = ksn::mask_type_t::crop; }},
                      {"frame", [&] { composition.view.mask_type = ksn::mask_type_t::crop_safe; }},
                      {"safe area", [&] { composition.view.safe_area_type = ksn::safe_area_type_t::orange; }},
                      {"grid", [&] { composition.view.grid = true; }},
                      {"another counter", [&] { composition.workspace.counter_type = ksn::counter_type_t::timecode; }},
                      {"no counter", [&] { composition.workspace.infobar_visible = false; }}};
  std::set<std::string> screens{plain["save_screen_as"]};
  composition.view.safe_area_active = true;
  for (const row& r : rows) {
    r.show();
    const auto files = saved(r.what, every);
    for (const auto& [action, content] : files) {
      const bool screen = action == "save_screen_as";
      EXPECT_TRUE(screen ? screens.insert(content).second : content == plain[action]) << r.what << ' ' << action;
    }
  }
  // What a crop cuts off shows on the screen while the layer is selected.
  pass({"--crop=0,0,20,20"});
  auto cropped = saved("cropped", every);
  pass({"--layer_select_none"});
  auto unselected = saved("unselected", {"save_mask_as_image", "save_mask_as_sequence", "save_screen_as"});
  EXPECT_NE(cropped["save_screen_as"], unselected["save_screen_as"]);
  EXPECT_EQ(cropped["save_mask_as_image"], unselected["save_mask_as_image"]);
  EXPECT_EQ(cropped["save_mask_as_sequence"], unselected["save_mask_as_sequence"]);
  // The checker lies below the picture of the screen alone; a saved background is without light.
  pass({"--back_color=transparent"});
  img::image composite;
  img::image screen;
  auto checked = saved("checked", {"save_mask_as_image", "save_screen_as"});
  EXPECT_NE(checked["save_screen_as"], unselected["save_screen_as"]);
  img::load(composite, folder / "checkedsave_mask_as_image.png");
  EXPECT_EQ((std::array{composite.row(2, 0)[0], composite.row(3, 0)[0]}), (std::array<std::uint8_t, 2>{0, 0}));
  img::load(screen, folder / "checkedsave_screen_as.png");
  EXPECT_EQ(screen.row(2, 0)[0], 102);
}

TEST_F(window_run, an_input_method_is_told_of_the_caret_and_composes_there) {
  pass({"--mask_size=200,100", "--new_text_layer", "--text=ab"});
  composition.doc.selection = {0};
  const auto text = [&] { return composition.doc.track_at(0).lettering.text; };
  step([&] {
    EXPECT_FALSE(desktop.text_input);
    engine.run_command("edit_text");
  });
  step({}, 2);
  math::rectangle before;
  step([&] {
    EXPECT_TRUE(desktop.text_input);
    before = desktop.text_caret;
    EXPECT_FALSE(before.empty());
    desktop.events.composing("wide");
    EXPECT_EQ(text(), "wide") << "in the place of what was selected";
  });
  step({}, 2);
  step([&] {
    EXPECT_GT(desktop.text_caret.left, before.left) << "after what is composed";
    desktop.events.composing("");
    desktop.events.text("W");
    desktop.events.key(13);
    EXPECT_EQ(text(), "W");
  });
  step({}, 2);
  step([&] { EXPECT_FALSE(desktop.text_input); });
  window.run(desktop);
}

// At a hundred thousand frames a second every picture takes too long.
TEST_F(window_run, a_smooth_view_gives_way_while_it_plays_and_comes_back) {
  picture("shot.1.tga");
  engine.run_option("--add_layer=" + picture("shot.2.tga"));
  composition.doc.tm_l = 2;
  composition.doc.fpcs = 10'000'000;
  desktop.waited = [this](int) { ++now; };
  std::vector<bool> smooth;
  const auto look = [&] { smooth.push_back(save::preview_view(composition, 940, 780).smooth); };
  step(look);
  step([&] { composition.doc.playing = true; }, 5);
  step(look);
  step([&] { composition.doc.playing = false; }, 2);
  step(look);
  window.run(desktop);
  EXPECT_EQ(smooth, (std::vector<bool>{true, false, true}));
}

TEST_F(window_run, tells_what_a_tick_took) {
  picture("shot.1.tga");
  engine.run_option("--add_layer=" + picture("shot.2.tga"));
  composition.doc.tm_l = 2;
  composition.doc.fpcs = 100000;  // a thousand frames a second: each tick shows another one
  desktop.waited = [this](int) { ++now; };
  step([&] { composition.doc.playing = true; }, 50);
  window.run(desktop);
  int news = 0;
  for (const app::tick_times& tick : ticks) {
    EXPECT_GE(tick.frame, 0);
    EXPECT_LT(tick.frame, 2);
    if (!tick.drawn) continue;
    news += tick.new_frame;
    EXPECT_GT(tick.composite + tick.fetch, 0);
    EXPECT_GE(tick.lateness, tick.fetch + tick.composite + tick.draw + tick.present);
  }
  EXPECT_GE(news, 2);
  app::tick_times times;
  times.composite = 3'000'000;
  times.present = 1'500'000;
  EXPECT_EQ(app::slowest_part(times), "composite 3.0 ms of 4.5 ms");
}

}  // namespace
