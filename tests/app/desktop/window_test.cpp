// The program in a real window.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <future>
#include <map>
#include <sstream>

#include "composition/documents/recent_items.h"
#include "img/format.h"
#include "paths.h"
#include "support/drop_source.h"
#include "support/pictures.h"
#include "support/window_session.h"

namespace {

using support::rectangle;
using support::screenshot;
using support::wait_until;
using support::window_program;
using namespace std::chrono_literals;
using namespace std::string_view_literals;

screenshot as_screenshot(const img::image& image) {
  screenshot result{image.width, image.height, {}};
  for (std::size_t i = 0; i < image.data[0].size(); ++i) {
    result.pixels.push_back(static_cast<std::uint32_t>(image.data[2].data()[i] << 16 | image.data[1].data()[i] << 8 |
                                                       image.data[0].data()[i]));
  }
  return result;
}

class window : public testing::Test {
 protected:
  static void SetUpTestSuite() { server = new support::x_server; }
  static void TearDownTestSuite() { delete std::exchange(server, nullptr); }

  static support::x_server* server;
  support::temp_folder folder;

  img::image picture(const std::string& name, int width, int height, unsigned seed = 1) {
    const img::image image = support::random_picture("BGRA", width, height, seed);
    support::write_file(folder / name, "");
    img::save(image, folder / name, nullptr, {});
    return image;
  }

  // The binding that look_at() needs.
  std::string screen_key() const { return "F9 save_screen_as=" + (folder / "screen.png") + "\n"; }

  // Presses the key and returns the file dialog that it opens.
  std::string open_dialog(window_program& program, const char* key) {
    program.key(key);
    std::string dialog;
    EXPECT_TRUE(wait_until([&] {
      const std::string all = server->xdotool({"search", "--onlyvisible", "--all", "--pid",
                                               std::to_string(program.program().id()), "--name", "Composition"});
      dialog = all.substr(0, all.find('\n'));
      return !dialog.empty();
    })) << "a dialog opens";
    return dialog;
  }

  // What stands before the window; empty for nothing.
  std::string second_window(window_program& program) {
    std::istringstream all(server->xdotool(
        {"search", "--onlyvisible", "--all", "--pid", std::to_string(program.program().id()), "--name", ""}));
    for (std::string id; all >> id;) {
      if (id != program.window()) return id;
    }
    return {};
  }

  void expect_quit(window_program& program) {
    program.key("ctrl+q");
    EXPECT_EQ(program.program().wait_for_end(), 0) << program.errors();
  }

  // The picture of the preview area by the compositor.
  screenshot preview_of(window_program& program) {
    std::filesystem::remove(folder / "screen.png");
    program.key("F9");
    EXPECT_TRUE(wait_until([&] { return std::filesystem::exists(folder / "screen.png"); })) << program.errors();
    img::image image;
    img::load(image, folder / "screen.png", nullptr, nullptr);
    return as_screenshot(image);
  }

  // Whether the window comes to show that above its strip, at the bottom of the client area; as far as the information
  // bar leaves it, which is 34 pixels high at most.
  bool comes_to_show(window_program& program, const screenshot& preview, int strip,
                     const support::x_server& on = *server) {
    return wait_until([&] {
      const rectangle at = program.geometry();
      const int menu = at.height - strip - preview.height;
      const int seen = preview.height - 34;
      return menu >= 0 &&
             on.look().part(at.x, at.y + menu, preview.width, seen) == preview.part(0, 0, preview.width, seen);
    });
  }
};
support::x_server* window::server = nullptr;

// On the error stream, on the picture, and again in each save.
TEST_F(window, tells_of_a_frame_that_failed) {
  picture("a.1.tga", 301, 200);
  picture("a.2.tga", 301, 200);
  std::filesystem::resize_file(folder / "a.2.tga", 100);
  const std::string screen = "F9 save_screen_as=" + (folder / "screen.png") + "\n";
  window_program program(*server, {folder / "a.#.tga"}, screen + "F2 set_time=1\nF3 save_incomplete=1\n");
  EXPECT_EQ(program.errors(), "");
  program.key("F2");
  const std::string line = "\"" + (folder / "a.2.tga") + "\": io::eof_error: Unexpected end of file\n";
  ASSERT_TRUE(wait_until([&] { return program.errors() == line; })) << program.errors();
  std::string told = line;
  for (int i = 0; i < 2; ++i) {
    program.key("F9");
    told += "\"" + (folder / "screen.png") + "\": The frame is missing: " + line;
    ASSERT_TRUE(wait_until([&] { return program.errors() == told; })) << program.errors();
  }
  EXPECT_FALSE(std::filesystem::exists(folder / "screen.png"));
  program.key("F3");
  const screenshot preview = preview_of(program);
  ASSERT_TRUE(comes_to_show(program, preview, 94));
  const int left = preview.width / 2 - 150;
  const int top = preview.height / 2 - 100;
  for (const auto& [x, y] : {std::pair(0, 0), {300, 0}, {0, 199}, {300, 199}, {150, 0}})
    EXPECT_EQ(preview.at(left + x, top + y), 0xE03030u) << x << " " << y;
  EXPECT_EQ(preview.at(left + 150, top + 100), 0u);
  expect_quit(program);
}

TEST_F(window, shows_what_the_compositor_says) {
  const img::image image = picture("a.tga", 301, 200);
  struct row {
    const char* key;
    const char* commands;
    int strip;  // below the preview area: 74 and 20 for a layer, 3 without a timeline
  };
  const row rows[] = {
      {"F2", "zoom=200", 94},
      {"F3", "zoom=37 pan=13.5,-40", 94},
      {"F4", "reset_pan_and_zoom channel_g", 94},
      {"F5", "channel_g alpha=normal back_color=transparent", 94},
      {"F6", "toggle_timeline", 3},
      {"F7", "toggle_timeline global_aspect=1.5", 94},
      {"F8", "global_aspect=0 toggle_layer_stack", 74},
      {"F10", "toggle_layer_stack zoom=150 back_color=10,20,30", 94},
  };
  std::string keys = screen_key();
  for (const row& r : rows) keys += std::string(r.key) + " " + r.commands + "\n";
  window_program program(*server, {folder / "a.tga", "--alpha=ignore"}, keys);

  // By hand: the picture's centre (150, 100) stands on the centre of the area.
  const screenshot first = preview_of(program);
  ASSERT_TRUE(comes_to_show(program, first, 94));
  const screenshot whole = as_screenshot(image);
  EXPECT_TRUE(first.part(first.width / 2 - 150, first.height / 2 - 100, 301, 200) == whole);
  EXPECT_EQ(first.at(0, 0), 0u);

  screenshot before = first;
  for (const row& r : rows) {
    program.key(r.key);
    screenshot now;
    ASSERT_TRUE(wait_until([&] { return (now = preview_of(program)) != before; })) << r.commands;
    EXPECT_TRUE(comes_to_show(program, now, r.strip)) << r.commands;
    before = now;
  }
  expect_quit(program);
  EXPECT_EQ(program.errors(), "");
}

// Although nothing else happens to the window.
TEST_F(window, shows_a_file_again_that_changes) {
  picture("a.tga", 301, 200, 1);
  window_program program(*server, {folder / "a.tga", "--alpha=ignore", "--auto_update=1"}, screen_key());
  screenshot preview = preview_of(program);
  ASSERT_TRUE(comes_to_show(program, preview, 94));
  const screenshot other = as_screenshot(picture("a.tga", 301, 200, 2));
  // The time of a file is told in seconds.
  std::filesystem::last_write_time(folder / "a.tga", std::filesystem::file_time_type::clock::now() + 9s);
  for (int y = 0; y < other.height; ++y) {
    const auto row = other.pixels.begin() + y * other.width;
    const int at = (preview.height / 2 - 100 + y) * preview.width + preview.width / 2 - 150;
    std::copy(row, row + other.width, preview.pixels.begin() + at);
  }
  EXPECT_TRUE(comes_to_show(program, preview, 94));
  expect_quit(program);
}

TEST_F(window, keeps_what_it_is_asked_to_at_its_end) {
  picture("a.tga", 40, 30);
  struct row {
    const char* name;
    std::vector<std::string> arguments;
    std::function<void(window_program&)> end;
    int code;
    bool kept;
  };
  const auto quit = [](window_program& program) { program.key("ctrl+q"); };
  const auto terminate = [](window_program& program) { program.program().send(SIGTERM); };
  const row rows[] = {
      {"key", {folder / "a.tga"}, quit, 0, true},
      {"button", {folder / "a.tga"}, [](auto& program) { server->ask_to_close(program.window()); }, 0, true},
      {"signal", {folder / "a.tga"}, terminate, 128 + SIGTERM, true},
      {"signal in a dialog",
       {folder / "a.tga"},
       [&](auto& program) {
         open_dialog(program, "ctrl+o");
         terminate(program);
       },
       128 + SIGTERM,
       true},
      {"transient", {folder / "a.tga", "--transient"}, quit, 0, false}};
  for (const row& r : rows) {
    window_program program(*server, r.arguments);
    EXPECT_EQ(program.title().rfind("Kestrin 32 ", 0), 0u) << program.title();
    EXPECT_TRUE(wait_until([&] { return program.title().ends_with(" - a.tga\n"); })) << program.title();
    r.end(program);
    EXPECT_EQ(program.program().wait_for_end(), r.code) << r.name;
    EXPECT_EQ(std::filesystem::exists(program.user("config/Kestrin/kestrin.settings.dat")), r.kept) << r.name;
    EXPECT_EQ(std::filesystem::exists(program.user("data/Kestrin/kestrin.window.xml")), r.kept) << r.name;
    // The document is filed in any case.
    const ksn::recent_lists lists = ksn::read_recent(program.user("data/Kestrin"));
    const auto unsaved = lists.find(ksn::unsaved_items);
    ASSERT_TRUE(unsaved != lists.end() && unsaved->second.size() == 1) << r.name;
    EXPECT_TRUE(std::filesystem::exists(unsaved->second[0].path));
  }
}

TEST_F(window, comes_back_where_it_was) {
  support::temp_folder user;
  const std::map<std::string, std::string> same = {{"XDG_CONFIG_HOME", user / "config"},
                                                   {"XDG_DATA_HOME", user / "data"}};
  {
    window_program program(*server, {"--autosave=3600"}, {}, same);
    server->xdotool({"windowmove", program.window(), "123", "45"});
    server->xdotool({"windowsize", program.window(), "700", "600"});
    ASSERT_TRUE(wait_until([&] { return program.geometry() == rectangle{123, 45, 700, 600}; }));
    program.key("F11");
    ASSERT_TRUE(wait_until([&] { return program.geometry() == rectangle{0, 0, 1280, 1024}; })) << "full screen";
    expect_quit(program);
  }
  {
    window_program program(*server, {}, {}, same);
    EXPECT_TRUE(wait_until([&] {
      return program.geometry() == rectangle{123, 45, 700, 600};
    })) << program.geometry().x
        << " " << program.geometry().width;
  }
  // Larger than the screen, or half outside: all of it can be seen.
  for (const auto& [key, value] : {std::pair("right", "5000"), {"left", "1100"}}) {
    std::string text = support::read_file(user / "data/Kestrin/kestrin.window.xml");
    const std::size_t at = text.find(">", text.find("\"" + std::string(key) + "\"")) + 1;
    text.replace(at, text.find("<", at) - at, value);
    support::write_file(user / "data/Kestrin/kestrin.window.xml", text);
    window_program program(*server, {}, {}, same);
    const rectangle found = program.geometry();
    EXPECT_TRUE(found.x >= 0 && found.x + found.width <= 1280) << key << ' ' << found.x << ' ' << found.width;
  }
  // Out of reach, absurd, or no placement at all: a window that can be seen.
  for (const char* left : {"100000", "-2000000000", "x", "<"}) {
    std::string text = support::read_file(user / "data/Kestrin/kestrin.window.xml");
    const std::size_t at = text.find(">", text.find("\"left\"")) + 1;
    ASSERT_NE(at, 0u);
    text.replace(at, text.find("<", at) - at, left);
    support::write_file(user / "data/Kestrin/kestrin.window.xml", text);
    window_program program(*server, {}, {}, same);
    const rectangle found = program.geometry();
    EXPECT_TRUE(found.x >= 0 && found.x < 1200 && found.width >= 440 && found.width <= 1280) << left << found.x;
  }
}

TEST_F(window, a_crash_leaves_the_composition) {
  picture("a.tga", 40, 30);
  support::temp_folder user;
  const std::map<std::string, std::string> same = {
      {"XDG_CONFIG_HOME", user / "config"}, {"XDG_DATA_HOME", user / "data"}, {"XDG_STATE_HOME", user / "state"}};
  const auto copies = [&] {
    int count = 0;
    std::error_code none;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(user / "data/Kestrin/unsaved", none))
      count += entry.path().extension() == ".ksncomp" ? 1 : 0;
    return count;
  };
  {
    window_program program(*server, {folder / "a.tga", "--autosave=1"}, {}, same);
    ASSERT_TRUE(wait_until([&] { return copies() == 1; }));
    program.program().send(SIGKILL);
    program.program().wait();
  }
  const auto unsaved = [&] { return ksn::read_recent(user / "data/Kestrin")[ksn::unsaved_items].size(); };
  {
    window_program program(*server, {}, {}, same);
    ASSERT_TRUE(wait_until([&] { return !second_window(program).empty(); })) << "an empty window asks";
    EXPECT_EQ(unsaved(), 1u);
    server->xdotool({"windowfocus", "--sync", second_window(program), "key", "alt+y"});
    ASSERT_TRUE(wait_until([&] { return copies() == 2; })) << "what was opened is kept at once";
    program.program().send(SIGKILL);
    program.program().wait();
  }
  // A window that shows something already is not asked.
  window_program program(*server, {folder / "a.tga"}, {}, same);
  EXPECT_TRUE(wait_until([&] { return program.errors().find("File, Open Unsaved") != std::string::npos; }));
  EXPECT_EQ(unsaved(), 2u);
  expect_quit(program);
  EXPECT_EQ(copies(), 3) << "filed at its end";
}

TEST_F(window, ends_when_its_display_goes_away) {
  picture("a.tga", 40, 30);
  support::x_server own;
  window_program program(own, {folder / "a.tga", "--length=1000000", "--timeline=1000000", "--wa_end=1000000"},
                         "F2 save_layer_as=" + folder / "long.mkv" + "\n");
  program.key("F2");
  ASSERT_TRUE(wait_until([&] { return std::filesystem::exists(folder / "long.mkv.part"); }));
  own.stop();
  EXPECT_EQ(program.program().wait_for_end(), 1);
  // A save that ran is completed; before its first frame nothing is left.
  EXPECT_FALSE(std::filesystem::exists(folder / "long.mkv.part"));
  EXPECT_EQ(std::filesystem::exists(folder / "long.mkv"),
            program.errors().find("long.mkv\": Stopped, the movie has ") != std::string::npos)
      << program.errors();
  EXPECT_NE(program.errors().find("The display is gone"), std::string::npos) << program.errors();
  EXPECT_EQ(ksn::read_recent(program.user("data/Kestrin"))[ksn::unsaved_items].size(), 1u);
}

TEST_F(window, lives_through_absurd_sizes_and_definitions) {
  picture("a.tga", 64, 48);
  window_program program(*server, {folder / "a.tga"},
                         screen_key() + "F2 no_such_action no_such=1 9:opacity=5\nF3 zoom=300\nF4 \"\nnonsense\n");
  program.key("F2");
  program.key("F4");
  program.key("F3");
  const std::pair<int, int> sizes[] = {{1, 1}, {8000, 8000}, {700, 500}};
  for (const auto& [width, height] : sizes) {
    server->xdotool({"windowsize", program.window(), std::to_string(width), std::to_string(height)});
    ASSERT_TRUE(wait_until([&, width = width, height = height] {
      return program.geometry().width == width && program.geometry().height == height;
    }));
  }
  EXPECT_TRUE(wait_until([&] { return preview_of(program).width == 700; }));
  const screenshot preview = preview_of(program);
  EXPECT_TRUE(comes_to_show(program, preview, 94));
  EXPECT_NE(preview.at(350 - 90, preview.height / 2), 0u) << "zoomed to 300 percent";
  expect_quit(program);
}

TEST_F(window, takes_every_kind_of_key) {
  // Each definition with what xdotool calls the key.
  std::istringstream bound(
      "F f  shift+f shift+f  Ctrl+F ctrl+f  Alt+F alt+f  shift+CTRL+alt+F ctrl+alt+shift+f  7 7  shift+7 shift+7  "
      "F2 F2  shift+F12 shift+F12  space space  tab Tab  ctrl+shift+tab ctrl+shift+Tab  enter Return  esc Escape  "
      "backspace BackSpace  del Delete  ins Insert  home Home  end End  pgup Page_Up  shift+pgdn shift+Page_Down  "
      "left Left  alt+right alt+Right  up Up  ctrl+down ctrl+Down  numpad5 KP_5  numpad* KP_Multiply  "
      "numpad+ KP_Add  numpad- KP_Subtract  numpad/ KP_Divide  ; semicolon  shift+; shift+semicolon  = equal  "
      "shift+= shift+equal  , comma  - minus  . period  / slash  ` grave  [ bracketleft  "
      "shift+] shift+bracketright  \\ backslash  ' apostrophe");
  std::string keys;
  std::string expected;
  std::vector<std::string> presses = {"key"};
  for (std::string definition, pressed; bound >> definition >> pressed; presses.push_back(pressed)) {
    const std::string number = std::to_string(presses.size());
    keys += definition + " var:k=" + number + " print_field=var:k\n";
    expected += "var:k=" + number + "\n";
  }
  ASSERT_EQ(presses.size(), 44u);
  window_program program(*server, {}, keys);
  server->xdotool(presses);
  EXPECT_TRUE(wait_until([&] { return program.output().size() >= expected.size(); }));
  EXPECT_EQ(program.output(), expected);
}

TEST_F(window, shows_a_pixel_as_a_pixel_on_screens_of_any_scale) {
  picture("a.tga", 301, 200);
  support::x_server large(2000, 1700);
  // From 1.5 on the strip is twice as high.
  for (const auto& [scale, strip] : {std::pair("1.25", 94), {"1.5", 188}, {"2", 188}}) {
    window_program program(large, {folder / "a.tga"}, screen_key(), {{"QT_SCALE_FACTOR", scale}});
    const screenshot preview = preview_of(program);
    EXPECT_EQ(preview.width, program.geometry().width) << scale;
    EXPECT_TRUE(comes_to_show(program, preview, strip, large)) << scale;
  }
}

// The driver of a machine without a graphics card stands in for one. Its leaks can't be told apart: it is unloaded
// before the process ends.
TEST_F(window, shows_the_same_through_opengl) {
  picture("a.tga", 301, 200);
  window_program program(*server, {folder / "a.tga"},
                         screen_key() + "F2 toggle_vsync print_field=global:zoom\nF3 zoom=200\nF4 channel_r zoom=100\n",
                         {{"KESTRIN_OPENGL", "software"}, {"ASAN_OPTIONS", "detect_leaks=0"}});
  for (const char* key : {"F2", "F3", "F4", "F2", "F3"}) {
    program.key(key);
    const screenshot preview = preview_of(program);
    EXPECT_TRUE(comes_to_show(program, preview, 94)) << key;
  }
  std::string loaded = support::read_file("/proc/" + std::to_string(program.program().id()) + "/maps");
  const bool drew = loaded.find("swrast_dri") != loaded.npos || loaded.find("libgallium") != loaded.npos;
  EXPECT_TRUE(drew) << "the driver of Mesa before 24.2, or since";
  expect_quit(program);
}

TEST_F(window, works_from_its_menu_while_the_clock_goes_on) {
  for (int i = 1; i <= 60; ++i) picture("shot." + std::to_string(100 + i) + ".tga", 301, 200, i);
  window_program program(*server, {folder / "shot.101.tga"}, screen_key());
  ASSERT_TRUE(comes_to_show(program, preview_of(program), 94));
  const rectangle at = program.geometry();
  const auto middle = [&] { return server->look().part(at.x + 440, at.y + 340, 60, 60); };
  // The fourth menu; its first entry plays.
  const screenshot stopped = middle();
  const auto click = [&](int x, int y) {
    server->xdotool({"mousemove", std::to_string(at.x + x), std::to_string(at.y + y), "click", "1"});
  };
  const auto menu_comes_to_be = [&](bool open) {
    return wait_until([&] { return (server->look().at(at.x + 145, at.y + 60) != 0) == open; });
  };
  click(135, 9);
  ASSERT_TRUE(menu_comes_to_be(true));
  server->xdotool({"key", "Down", "Return"});
  EXPECT_TRUE(wait_until([&] { return middle() != stopped; })) << "it plays";
  click(135, 9);
  ASSERT_TRUE(menu_comes_to_be(true));
  const screenshot playing = middle();
  EXPECT_TRUE(wait_until([&] { return middle() != playing; })) << "the menu is open, and it plays";
  program.key("Escape");
  ASSERT_TRUE(menu_comes_to_be(false));
  expect_quit(program);
}

// The window stays usable, what it does to the document is not in the save, and its close asks.
TEST_F(window, saves_go_on_while_it_is_used) {
  picture("a.tga", 64, 48);
  window_program program(*server, {folder / "a.tga", "--mask_size=64,48"});
  const auto hand_over = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "--attach=status");
    return support::run_program(KESTRIN_BINARY, arguments, folder.path(),
                                support::desktop_variables(*server, program.user("")));
  };
  auto sender = std::async(std::launch::async, hand_over,
                           std::vector<std::string>{"--length=1000000", "--timeline=1000000", "--wa_end=1000000",
                                                    "--save_layer_as=long.mkv"});
  const std::vector<std::string> ask = {"--print_field=saves_running"};
  ASSERT_TRUE(wait_until([&] { return hand_over(ask).out == "global:saves_running=1\n"; }));
  EXPECT_EQ(hand_over({"--layer_select_all", "--layer_delete_selected", "--timeline=10"}).code, 0);
  const auto dialog = [&] { return second_window(program); };
  server->ask_to_close(program.window());
  ASSERT_TRUE(wait_until([&] { return !dialog().empty(); }));
  server->xdotool({"windowfocus", "--sync", dialog(), "key", "Escape"});
  ASSERT_TRUE(wait_until([&] { return dialog().empty(); }));
  EXPECT_EQ(hand_over(ask).out, "global:saves_running=1\n");
  EXPECT_EQ(hand_over({"--save_queue_cancel"}).code, 0);
  const support::outcome sent = sender.get();
  EXPECT_EQ(sent.code, 1);
  EXPECT_NE(sent.errors.find("long.mkv\": Stopped, the movie has "), std::string::npos) << sent.errors;
  EXPECT_TRUE(std::filesystem::exists(folder / "long.mkv") && !std::filesystem::exists(folder / "long.mkv.part"));
  // An exit in the line of a save comes after it, and asks nobody.
  EXPECT_EQ(hand_over({"a.tga", "--save_mask_as_sequence=short.#.tga", "--exit"}).code, 0);
  EXPECT_TRUE(std::filesystem::exists(folder / "short.0.tga") && std::filesystem::exists(folder / "short.9.tga"));
  EXPECT_EQ(program.program().wait_for_end(), 0) << program.errors();
}

// Whatever opened a dialog: the picture goes on playing behind it, and lines of other instances are carried out.
TEST_F(window, a_dialog_holds_up_neither_clock_nor_sender) {
  for (int i = 1; i <= 60; ++i) picture("shot." + std::to_string(100 + i) + ".tga", 301, 200, i);
  window_program program(*server, {folder / "shot.101.tga", "--zoom=400"}, screen_key());
  ASSERT_TRUE(comes_to_show(program, preview_of(program), 94));
  const rectangle at = program.geometry();
  const auto corner = [&] { return server->look().part(at.x + 2, at.y + 680, 20, 20); };
  const screenshot stopped = corner();
  program.key("space");
  ASSERT_TRUE(wait_until([&] { return corner() != stopped; })) << "it plays";
  const auto windows = [&] {
    std::istringstream all(server->xdotool(
        {"search", "--onlyvisible", "--all", "--pid", std::to_string(program.program().id()), "--name", ""}));
    std::vector<std::string> found;
    for (std::string id; all >> id;) {
      if (id != program.window()) found.push_back(id);
    }
    return found;
  };
  const auto click_at = [&](int x, int y, std::vector<std::string> rest) {
    std::vector<std::string> words = {"mousemove", "--sync", std::to_string(at.x + x), std::to_string(at.y + y)};
    words.insert(words.end(), rest.begin(), rest.end());
    server->xdotool(words);
  };
  struct row {
    const char* name;
    std::function<void()> open;
  };
  const row rows[] = {{"key", [&] { program.key("ctrl+o"); }},
                      {"double click",
                       [&] {
                         click_at(100, 100, {"click", "--repeat", "2", "--delay", "50", "1"});
                       }},
                      {"menu", [&] {
                         const std::vector<std::string> closed = windows();
                         click_at(12, 9, {"click", "1"});
                         ASSERT_TRUE(wait_until([&] { return windows() != closed; }));
                         const std::vector<std::string> open = windows();
                         server->xdotool({"sleep", "0.5", "key", "Down", "Return"});
                         // The menu is a window too: what is waited for next must not be that one.
                         ASSERT_TRUE(wait_until([&] { return windows() != open; }));
                       }}};
  for (const row& r : rows) {
    const std::vector<std::string> before = windows();
    r.open();
    ASSERT_TRUE(wait_until([&] { return windows().size() > before.size(); })) << r.name;
    const screenshot playing = corner();
    EXPECT_TRUE(wait_until([&] { return corner() != playing; })) << r.name;
    const support::outcome sent = support::run_program(KESTRIN_BINARY, {"--attach_nf", "--zoom=400"}, folder.path(),
                                                       support::desktop_variables(*server, program.user("")));
    EXPECT_EQ(sent.code, 0) << r.name << sent.errors;
    server->xdotool({"key", "Escape"});
    ASSERT_TRUE(wait_until([&] { return windows().size() == before.size(); })) << r.name;
    server->xdotool({"windowfocus", "--sync", program.window()});
  }
  expect_quit(program);
}

TEST_F(window, opens_and_saves_through_dialogs) {
  picture("a.tga", 60, 40);
  window_program program(*server, {folder / "a.tga"}, screen_key());
  ASSERT_TRUE(comes_to_show(program, preview_of(program), 94));
  const auto answer = [&](const char* key, const std::string& text) {
    server->xdotool({"windowfocus", "--sync", open_dialog(program, key), "key", "ctrl+a", "type", text + "\r"});
  };
  answer("ctrl+shift+s", folder / "new.ksncomp");
  EXPECT_TRUE(wait_until([&] { return program.title().find(" - new.ksncomp") != std::string::npos; }))
      << program.title();
  EXPECT_TRUE(std::filesystem::exists(folder / "new.ksncomp"));
  server->xdotool({"windowfocus", "--sync", program.window(), "key", "ctrl+n"});
  EXPECT_TRUE(wait_until([&] { return program.title().find(" - unnamed.ksncomp") != std::string::npos; }));
  answer("ctrl+o", folder / "new.ksncomp");
  EXPECT_TRUE(wait_until([&] { return program.title().find(" - new.ksncomp") != std::string::npos; }))
      << program.title();
}

TEST_F(window, has_the_clipboard_and_the_mouse_of_its_desktop) {
  picture("a.tga", 60, 40);
  window_program program(*server, {folder / "a.tga", "--mask_size=50,30"},
                         screen_key() + "F2 clipboard_copy_mask clipboard_paste print_field=1:name\n");
  ASSERT_TRUE(comes_to_show(program, preview_of(program), 94));
  program.key("F2");
  EXPECT_TRUE(wait_until([&] { return program.output() == "1:name=Clipboard Image\n"; })) << program.output();
  EXPECT_TRUE(wait_until([&] { return comes_to_show(program, preview_of(program), 114); }));

  const screenshot before = preview_of(program);
  const rectangle at = program.geometry();
  const auto move = [&](int x, int y) {
    server->xdotool({"mousemove", "--sync", std::to_string(at.x + x), std::to_string(at.y + y)});
  };
  move(300, 300);
  server->xdotool({"mousedown", "2"});
  move(333, 322);
  server->xdotool({"mouseup", "2"});
  ASSERT_TRUE(wait_until([&] { return preview_of(program) != before; }));
  EXPECT_TRUE(preview_of(program).part(33, 22, 800, 600) == before.part(0, 0, 800, 600)) << "moved by the drag";
  const screenshot moved = preview_of(program);
  server->xdotool({"click", "4"});
  EXPECT_TRUE(wait_until([&] { return preview_of(program) != moved; })) << "zoomed by the wheel";
}

TEST_F(window, takes_files_that_are_dropped_by_thousands_and_leaves_junk) {
  picture("a b\xE4.tga", 60, 40);
  std::string thousands;
  for (int i = 0; i < 10000; ++i) {
    const std::string name = "shot." + std::to_string(10000 + i) + ".tga";
    if (i == 0) picture(name, 8, 6);
    // Frames that are there, but no pictures.
    if (i > 0) support::write_file(folder / name, "");
    thousands += "file://" + folder.path() + "/" + name + "\r\n";
  }
  window_program program(*server, {}, screen_key() + "F2 print_field=!9999:name print_field=global:timeline\n");
  const auto target = static_cast<xcb_window_t>(std::strtoul(program.window().c_str(), nullptr, 10));
  const rectangle at = program.geometry();
  support::drop_source source(server->name());
  const auto drop = [&](const std::string& type, const std::string& data) {
    return source.drop(target, at.x + 300, at.y + 300, type, data);
  };
  EXPECT_FALSE(drop("text/plain", "no files"));
  EXPECT_TRUE(drop("text/uri-list", "http://example.org/x.tga\r\nfile:\r\n\r\n# \r\n%zz\r\n"));
  EXPECT_TRUE(drop("text/uri-list", ""));
  EXPECT_TRUE(drop("text/uri-list", "file://" + folder.path() + "/a%20b%E4.tga\r\n"));
  EXPECT_TRUE(drop("text/uri-list", thousands));
  EXPECT_TRUE(wait_until([&] {
    program.key("F2");
    return program.output().ends_with("!9999:name=shot.#####.tga,a b\xE4.tga\nglobal:timeline=10000\n");
  })) << program.output()
      << program.errors();
  EXPECT_TRUE(comes_to_show(program, preview_of(program), 114));
  expect_quit(program);
}

TEST_F(window, reads_definitions_and_texts_in_any_encoding) {
  support::temp_folder user;
  // Latin 1, a wrong byte order mark, a zero byte.
  support::write_file(user / "documents/Kestrin/messages.txt",
                      "mi_file=D\xE4tei\n\xFF\xFEmi_edit=x\nmi_view=\xC3(\0\n"sv);
  support::write_file(user / "documents/Kestrin/keydefs.txt",
                      "\xFF\xFE F2\0 zoom=9\nF3 zoom=\xE4\n\xE4 exit\nF4 exit\n"sv);
  support::write_file(user / "config/user-dirs.dirs", "XDG_DOCUMENTS_DIR=\"" + user / "documents" + "\"\n");
  window_program program(*server, {}, {}, {{"XDG_CONFIG_HOME", user / "config"}});
  server->xdotool({"key", "F2", "F3", "F4"});
  EXPECT_EQ(program.program().wait_for_end(), 0) << program.errors();
}

TEST_F(window, exits_without_ever_loading_the_toolkit) {
  picture("a.tga", 8, 8);
  const support::outcome found =
      support::run_program(KESTRIN_BINARY, {folder / "a.tga", "--save_screen_as=" + (folder / "s.png"), "--exit"},
                           folder.path(), {{"DISPLAY", server->name()}, {"LD_DEBUG", "files"}});
  EXPECT_EQ(found.code, 0);
  EXPECT_TRUE(std::filesystem::exists(folder / "s.png"));
  EXPECT_NE(found.errors.find("libpng"), std::string::npos) << "what is loaded is told";
  for (const char* library : {"libQt6", "libSDL", "libxcb", "kestrin_desktop"})
    EXPECT_EQ(found.errors.find(library), std::string::npos) << library;
}

TEST_F(window, says_why_there_is_none) {
  const std::map<std::string, std::string> dead_ends[] = {{{"DISPLAY", ":4711"}}, {{"WAYLAND_DISPLAY", "nobody"}}};
  for (const auto& environment : dead_ends) {
    support::run_options options;
    options.environment = environment;
    const support::outcome found = support::run_program(KESTRIN_BINARY, {"--print_field=global:zoom"}, options);
    EXPECT_EQ(found.code, 255);
    EXPECT_EQ(found.out, "global:zoom=100\n");
    EXPECT_EQ(found.error_lines().size(), 1u) << found.errors;
    EXPECT_EQ(found.errors.rfind("No window can be opened: ", 0), 0u) << found.errors;
  }
}

}  // namespace
