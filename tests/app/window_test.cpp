// The program in a real window.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <map>

#include "composition/recent_items.h"
#include "img/format.h"
#include "support/pictures.h"
#include "support/window_session.h"

namespace {

using support::rectangle;
using support::screenshot;
using support::wait_until;
using support::window_program;

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

  // What the compositor says that the preview area shows.
  screenshot preview_of(window_program& program) {
    std::filesystem::remove(folder / "screen.png");
    program.key("F9");
    EXPECT_TRUE(wait_until([&] { return std::filesystem::exists(folder / "screen.png"); })) << program.errors();
    img::image image;
    img::load(image, folder / "screen.png", nullptr, nullptr);
    return as_screenshot(image);
  }

  // Whether the window comes to show that above its strip for `rows` layers, at the bottom of the client area.
  bool comes_to_show(window_program& program, const screenshot& preview, int strip) {
    return wait_until([&] {
      const rectangle at = program.geometry();
      const int menu = at.height - strip - preview.height;
      return menu >= 0 && server->look().part(at.x, at.y + menu, preview.width, preview.height) == preview;
    });
  }
};
support::x_server* window::server = nullptr;

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
      {"F8", "global_aspect=0 layer_delete_selected", 74},
      {"F10", "undo zoom=150 back_color=10,20,30", 94},
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
  program.key("ctrl+q");
  EXPECT_EQ(program.program().wait_for_end(), 0);
  EXPECT_EQ(program.errors(), "");
}

TEST_F(window, keeps_what_it_is_asked_to_at_its_end) {
  picture("a.tga", 40, 30);
  struct row {
    std::vector<std::string> arguments;
    const char* end;  // a key; "" asks the window to close, as its button does
    int signal;       // instead of a key
    bool kept;
  };
  const row rows[] = {{{folder / "a.tga"}, "ctrl+q", 0, true},
                      {{folder / "a.tga"}, "", 0, true},
                      {{folder / "a.tga"}, "", SIGTERM, true},
                      {{folder / "a.tga", "--transient"}, "ctrl+q", 0, false}};
  for (const row& r : rows) {
    window_program program(*server, r.arguments);
    EXPECT_EQ(program.title().rfind("Kestrin 32 ", 0), 0u) << program.title();
    EXPECT_NE(program.title().find(" - unnamed.ksncomp"), std::string::npos) << program.title();
    if (r.signal != 0) {
      program.program().send(r.signal);
    } else if (*r.end) {
      program.key(r.end);
    } else {
      server->ask_to_close(program.window());
    }
    EXPECT_EQ(program.program().wait_for_end(), r.signal == 0 ? 0 : 128 + r.signal);
    EXPECT_EQ(std::filesystem::exists(program.user("config/Kestrin/kestrin.settings.dat")), r.kept) << r.end;
    EXPECT_EQ(std::filesystem::exists(program.user("data/Kestrin/kestrin.window.xml")), r.kept) << r.end;
    // The document is filed in any case.
    const ksn::recent_lists lists = ksn::read_recent(program.user("data/Kestrin"));
    const auto unsaved = lists.find(ksn::unsaved_items);
    ASSERT_TRUE(unsaved != lists.end() && unsaved->second.size() == 1) << r.end;
    EXPECT_TRUE(std::filesystem::exists(unsaved->second[0].path));
  }
}

TEST_F(window, ends_when_its_display_goes_away) {
  picture("a.tga", 40, 30);
  support::x_server own;
  window_program program(own, {folder / "a.tga"});
  own.stop();
  EXPECT_EQ(program.program().wait_for_end(), 1);
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
  program.key("ctrl+q");
  EXPECT_EQ(program.program().wait_for_end(), 0);
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
