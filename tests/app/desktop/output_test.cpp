// The picture on other monitors.
#include <gtest/gtest.h>

#include "app/external_output.h"
#include "app/window_run.h"
#include "composition/state.h"
#include "img/format.h"
#include "support/fake_clip.h"
#include "support/made_up_desktop.h"
#include "support/pictures.h"
#include "support/window_session.h"

namespace {

using strings = std::vector<std::string>;

class output : public testing::Test {
 protected:
  support::made_up_desktop desktop;
  ksn::state composition;
  cache::frame_cache frames;
  command::engine engine{composition};
  playback::clock clock{composition, frames};
  strings lines;
  bool has_window = true;
  app::external_output external{
      {engine, clock, [this] { return std::make_unique<render::pipeline>(frames, render::pipeline_options{}); },
       [this] { return has_window ? &desktop : nullptr; },
       [](std::string_view key) { return "<" + std::string(key) + ">"; },
       [this](const std::string& line) { lines.push_back(line); }}};

  void SetUp() override {
    engine.write_error = [this](const std::string& line) { lines.push_back(line); };
    command::register_fields(engine);
    command::register_menu_choices(engine);
    external.register_actions();
    composition.doc.mask_size = {4, 2};
    composition.doc.tracks.push_back(support::plain_layer(100, "BGR", 4, 2, {10, 20, 30}));
    desktop.outputs = {{8, 8}, {4, 2}};
  }
  void run(const std::string& line) { engine.command_pass(command::tokenise("kestrin " + line)); }
  std::string state() {
    std::string value;
    engine.get_field("global:ext_output", value);
    return value;
  }
  // Blue, green and red of a pixel of the last picture.
  strings pixel(int x, int y, int width) const {
    strings result;
    for (int i = 0; i < 3; ++i) {
      result.push_back(
          std::to_string(desktop.output_pictures.back()[static_cast<std::size_t>((y * width + x) * 4 + i)]));
    }
    return result;
  }
};

TEST_F(output, goes_to_one_monitor_at_a_time) {
  EXPECT_EQ(state(), "");
  run("--ext_device=secondary --toggle_ext_device");
  EXPECT_EQ(state(), "secondary,8,8");
  EXPECT_TRUE(engine.action_checked("toggle_ext_device"));
  EXPECT_FALSE(engine.action_enabled("opt_ext_turn_on"));
  external.tick();
  ASSERT_EQ(desktop.output_pictures.size(), 1u);
  EXPECT_EQ(pixel(0, 2, 8), (strings{"10", "20", "30"}));
  EXPECT_EQ(pixel(0, 1, 8), (strings{"0", "0", "0"}));

  // Only what can have changed it makes a picture.
  external.tick();
  EXPECT_EQ(desktop.output_pictures.size(), 1u);
  composition.touch();
  external.tick();
  composition.doc.set_current_time(1.0);
  external.tick();
  EXPECT_EQ(desktop.output_pictures.size(), 3u);

  // Another choice changes over, to one that is not there ends it.
  run("--ext_device_tertiary");
  external.tick();
  EXPECT_EQ(state(), "tertiary,4,2");
  EXPECT_EQ(desktop.calls, (strings{"output 1", "no output", "output 2"}));
  EXPECT_EQ(desktop.output_pictures.back().size(), 4u * 2 * 4);
  run("--opt_ext_turn_off");
  EXPECT_EQ(state(), "");
  external.tick();
  EXPECT_EQ(desktop.calls.back(), "no output");
  EXPECT_TRUE(lines.empty()) << lines[0];
}

TEST_F(output, what_is_not_there) {
  for (const char* device : {"decklink", "firewire", "vtoaster", "bluefish", "aja_dshow"}) {
    run("--ext_device=" + std::string(device) + " --opt_ext_turn_on");
    EXPECT_EQ(state(), "");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(std::exchange(lines, {})[0], "\"<ext_device_" + std::string(device) +
                                               ">\": This kind of output is not supported; secondary and tertiary are "
                                               "monitors");
  }
  EXPECT_TRUE(external.settings() == app::output_settings{});
  desktop.outputs.pop_back();
  run("--ext_device=tertiary --toggle_ext_device");
  EXPECT_EQ(std::exchange(lines, {}), strings{"\"<ext_device_tertiary>\": There is no such monitor"});

  // Unplugged.
  run("--ext_device=secondary --toggle_ext_device");
  external.tick();
  desktop.outputs[0] = {};
  external.tick();
  EXPECT_EQ(std::exchange(lines, {}),
            strings{"\"<ext_device_secondary>\": The monitor is gone, and the output has ended"});
  EXPECT_EQ(state(), "");

  // Before there is a window it waits for one.
  desktop.outputs[0] = {8, 8};
  has_window = false;
  run("--toggle_ext_device");
  external.tick();
  EXPECT_EQ(state(), "");
  EXPECT_TRUE(engine.action_checked("toggle_ext_device"));
  has_window = true;
  external.tick();
  EXPECT_EQ(state(), "secondary,8,8");
  EXPECT_TRUE(lines.empty());
}

// Two monitors on an X server without a screen: the window on the left one, the picture alone on the right one.
TEST(output_window, covers_the_second_monitor) {
  support::x_server server(1200, 600);
  support::temp_folder folder;
  support::write_file(folder / "a.tga", "");
  img::save(support::picture("BGR", 64, 64, {200, 100, 50}), folder / "a.tga", nullptr, {});
  const auto xrandr = [&](strings arguments) {
    return support::run_program(
        "/usr/bin/xrandr", std::move(arguments),
        support::run_options{.environment = {{"DISPLAY", server.name()}}, .interrupt_when = {}});
  };
  if (xrandr({"--setmonitor", "L", "800/200x600/150+0+0", "none"}).code != 0 ||
      xrandr({"--setmonitor", "R", "400/100x600/150+800+0", "none"}).code != 0) {
    GTEST_SKIP() << "no xrandr that can divide the screen";
  }
  support::window_program program(server, {folder / "a.tga", "--mask_size=64,64", "--window_size=500,400",
                                           "--transient", "--ext_device=secondary", "--toggle_ext_device"});
  const auto shown = [&](int x, int y) { return server.look().at(x, y); };
  EXPECT_TRUE(support::wait_until([&] { return shown(1000, 300) == 0x3264C8; })) << program.errors();
  // 400 pixels wide in the middle of 600 lines, and black around.
  EXPECT_EQ(shown(801, 101), 0x3264C8u);
  EXPECT_EQ(shown(1199, 498), 0x3264C8u);
  EXPECT_EQ(shown(1000, 90), 0u);
  EXPECT_EQ(shown(1000, 510), 0u);
  xrandr({"--delmonitor", "R"});
  EXPECT_TRUE(support::wait_until([&] { return program.errors().find("The monitor is gone") != std::string::npos; }));
  program.program().send(SIGTERM);
  EXPECT_EQ(program.program().wait_for_end(), 128 + SIGTERM);
}

}  // namespace
