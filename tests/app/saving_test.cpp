// The program from outside: what it saves, the scripts after a save, the progress line and Ctrl+C.
#include <algorithm>
#include <cmath>

#include "app/console.h"
#include "paths.h"
#include "support/program_test.h"

namespace {

class saving : public support::program_test {};

// Blue, green, red of a pixel of a file.
std::vector<int> pixel(const std::string& path, int x, int y) {
  img::image image;
  img::load(image, path);
  std::vector<int> values;
  for (int plane = 0; plane < 3; ++plane) values.push_back(image.row(plane, y)[x]);
  return values;
}

TEST_F(saving, a_stack_as_a_sequence) {
  for (int i = 1; i <= 3; ++i) picture("back." + std::to_string(i) + ".tga", {10 * i, 20, 30}, 8, 6);
  picture("front.png", {0, 0, 255, 255}, 4, 2);
  const support::outcome found =
      run({"back.#.tga", "front.png", "--length=3", "--alpha=normal", "--position=2,0", "--mask_size=8,6",
           "--save_options=compression=rle", "--save_mask_as_sequence=new/deep/out.###.tga", "--exit=status"});
  EXPECT_EQ(found.errors, "");
  EXPECT_EQ(found.out, "");
  EXPECT_EQ(found.code, 0);
  for (int i = 0; i < 3; ++i) {
    const std::string name = folder / ("new/deep/out.00" + std::to_string(i) + ".tga");
    ASSERT_TRUE(std::filesystem::exists(name)) << name;
    EXPECT_EQ(pixel(name, 0, 0), (std::vector<int>{10 * (i + 1), 20, 30})) << i;
    // At the end of a row an opaque pixel may come out one lower.
    const std::vector<int> front = pixel(name, 6, 3);
    EXPECT_TRUE(front[0] == 0 && front[1] == 0 && front[2] >= 254) << front[2];
  }
  EXPECT_FALSE(exists("new/deep/out.003.tga"));
}

TEST_F(saving, the_end_of_the_timeline_shows_its_last_frame) {
  for (int i = 1; i <= 12; ++i) picture("a." + std::to_string(10 + i) + ".tga", {10 * i, 20, 30}, 8, 6);
  const support::outcome found = run({"a.##.tga", "--mask_size=8,6", "--time=12", "--save_frame_as=frame.tga",
                                      "--save_mask_as_image=mask.tga", "--save_screen_as=screen.tga", "--exit=status"});
  EXPECT_EQ(found.errors, "");
  for (const char* name : {"frame.tga", "mask.tga"}) EXPECT_EQ(pixel(folder / name, 0, 0)[0], 120) << name;
  img::image screen;
  img::load(screen, folder / "screen.tga");
  const img::plane& blue = screen.data[0];
  EXPECT_TRUE(std::find(blue.data(), blue.data() + blue.size(), 120) != blue.data() + blue.size());
}

TEST_F(saving, what_a_picture_lacks_is_told) {
  picture("cut.jpg", {10, 20, 30}, 64, 64);
  const std::string whole = support::read_file(folder / "cut.jpg");
  support::write_file(folder / "cut.jpg", whole.substr(0, whole.size() - 40));
  for (const char* command : {"--save_frame_as=out.tga", "--save_mask_as_image=out.tga"}) {
    const support::outcome found = run({"cut.jpg", command, "--exit"});
    EXPECT_EQ(found.errors.rfind(line("cut.jpg", ""), 0), 0u) << command << ": " << found.errors;
    EXPECT_TRUE(exists("out.tga")) << command;
  }
}

TEST_F(saving, failures_are_lines) {
  picture("a.tga");
  support::write_file(folder / "file", "");
  for (const strings& tail : std::vector<strings>{{"--save_frame_as=out.nonsense"},
                                                  {"--save_frame_as=file/out.tga"},
                                                  {"--layer_select_none", "--save_frame_as=out.tga"},
                                                  {"--save_options=nonsense"},
                                                  {"--save_mask_as_image=/dev/full/x.tga"}}) {
    strings arguments = tail;
    arguments.insert(arguments.begin(), "a.tga");
    arguments.push_back("--exit=status");
    const support::outcome found = run(arguments);
    EXPECT_EQ(found.error_lines().size(), 1u) << tail.back() << found.errors;
    EXPECT_EQ(found.code, 1) << tail.back();
    EXPECT_FALSE(exists("out.tga")) << tail.back();
  }
}

TEST_F(saving, scripts_run_behind_each_save) {
  picture("a.tga");
  const std::string program = folder / "kestrin";
  std::filesystem::copy_file(KESTRIN_BINARY, program);
  const auto script = [&](const std::string& name, const std::string& text) {
    support::write_file(folder / ("scripts/after_save/" + name), "#!/bin/sh\n" + text + "\n");
    std::filesystem::permissions(folder / ("scripts/after_save/" + name), std::filesystem::perms::owner_all);
  };
  script("2 later", "echo \"later $1\" >>log");
  script("3 limited", "ulimit -f 0; echo text >limited");
  script("10 last", "exit 3");
  script("1 first", "echo \"first $1\" >>log");
  support::write_file(folder / "scripts/after_save/readme", "not executable");
  const support::outcome found = support::run_program(
      program, {"a.tga", "--save_frame_as=out one.tga", "--save_frame_as=two.tga", "--exit=status"}, folder.path());
  const std::string one = folder / "out one.tga";
  const std::string two = folder / "two.tga";
  EXPECT_EQ(support::read_file(folder / "log"),
            "first " + one + "\nlater " + one + "\nfirst " + two + "\nlater " + two + "\n");
  const std::string limited = line("scripts/after_save/3 limited", "Ended by signal 25");
  const std::string last = line("scripts/after_save/10 last", "Exit code 3");
  EXPECT_EQ(found.error_lines(), (strings{limited, last, limited, last}));
  EXPECT_EQ(found.code, 1);

  // A caller that passes over the ends of its children hands that down.
  const support::outcome deaf = support::run_program(
      "env", {"--ignore-signal=CHLD", program, "a.tga", "--save_frame_as=one.tga", "--exit=status"}, folder.path());
  EXPECT_EQ(deaf.error_lines(), (strings{limited, last}));
  EXPECT_EQ(deaf.code, 1);
}

TEST_F(saving, interrupt_finishes_the_frame_and_keeps_what_is_written) {
  picture("a.tga");
  support::run_options options;
  options.interrupt_when = folder / "out.0001.tga";
  const support::outcome found =
      run({"a.tga", "--length=20000", "--timeline=20000", "--wa_end=20000", "--mask_size=640,480",
           "--save_mask_as_sequence=out.####.tga", "--save_frame_as=never.tga", "--print_field=fps", "--exit"},
          options);
  EXPECT_EQ(found.code, 130);
  EXPECT_EQ(found.out, "");
  EXPECT_FALSE(exists("never.tga"));
  int frames = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    EXPECT_NE(entry.path().extension(), ".part") << entry.path();
    frames += entry.path().filename().string().starts_with("out.") ? 1 : 0;
  }
  EXPECT_GT(frames, 1);
  EXPECT_LT(frames, 20000);
}

TEST_F(saving, progress_is_shown_on_a_terminal_only) {
  picture("a.tga");
  const strings arguments = {"a.tga",
                             "--length=600",
                             "--timeline=600",
                             "--wa_end=600",
                             "--mask_size=320,200",
                             "--save_mask_as_sequence=out.####.tga",
                             "--nonsense",
                             "--exit"};
  support::run_options options;
  options.error_terminal = true;
  const std::string shown = run(arguments, options).errors;
  EXPECT_NE(shown.find("/600 frames"), shown.npos) << shown;
  // The error line has a line of its own, and the progress line is gone before it.
  const std::string tail = "\r\x1b[K\"--nonsense\": Invalid option\r\n";
  EXPECT_TRUE(shown.ends_with(tail)) << shown;
  EXPECT_EQ(run(arguments).errors, "\"--nonsense\": Invalid option\n");
}

TEST(progress, text) {
  struct row {
    save::progress progress;
    const char* text;
  };
  const row rows[] = {
      {{0, 48, 0, 0}, "0/48 frames, 0.0 a second, 0:00 left"},
      {{12, 48, 23.96, 1.5}, "12/48 frames, 24.0 a second, 0:02 left"},
      {{1, 9999, 0.5, 3599.2}, "1/9999 frames, 0.5 a second, 1:00:00 left"},
      {{1, 2, 1, 75}, "1/2 frames, 1.0 a second, 1:15 left"},
      {{1, 2, 1, 1e300}, "1/2 frames, 1.0 a second, 99:59:59 left"},
      {{1, 2, 1, -5}, "1/2 frames, 1.0 a second, 0:00 left"},
      {{1, 2, 1, 3, 31'460'000}, "1/2 frames, 1.0 a second, 0:03 left, 31.5 MB"},
  };
  for (const row& r : rows) EXPECT_EQ(save::progress_text(r.progress), r.text);
}

// From a folder of its own, and the same picture as the one in the documentation.
TEST_F(saving, first_example) {
  const support::outcome found = run({KESTRIN_SOURCE_DIR "/examples/first_look.ksncmd"});
  EXPECT_EQ(found.errors, "");
  EXPECT_EQ(found.out, "var:wrote=first_look.png\n");
  EXPECT_EQ(found.code, 0);
  img::image rendered;
  img::image documented;
  img::load(rendered, folder / "first_look.png");
  img::load(documented, KESTRIN_SOURCE_DIR "/docs/first_look.png");
  ASSERT_EQ(rendered.width, 640);
  ASSERT_EQ(rendered.height, 360);
  ASSERT_EQ(documented.data[0].size(), rendered.data[0].size());
  double difference = 0;
  for (int plane = 0; plane < 3; ++plane) {
    for (std::size_t i = 0; i < rendered.data[0].size(); ++i) {
      difference += std::abs(rendered.row(plane, 0)[i] - documented.row(plane, 0)[i]);
    }
  }
  EXPECT_LT(difference / static_cast<double>(3 * rendered.data[0].size()), 1.0);
}

// A farm's line: one frame of slate, then the shot, with the burn-in over both.
TEST_F(saving, slate_and_burn_in) {
  for (const char* number : {"1001", "1002", "1003"}) {
    img::save(support::picture("BGR", 320, 180, {200, 100, 50}), folder / "shot." + number + ".tga", nullptr, {});
  }
  const std::string examples = KESTRIN_SOURCE_DIR "/examples/";
  const support::outcome done =
      run({"shot.1001.tga", "--mask_size=320,180", "--var:artist=Ada", "--var:notes=none", examples + "slate.ksncmd",
           examples + "burn_in.ksncmd", "--save_mask_as_sequence=out.####.tga", "--exit=status"});
  EXPECT_EQ(done.errors, "");
  EXPECT_EQ(done.code, 0);
  for (int frame = 0; frame < 4; ++frame) {
    img::image image;
    img::load(image, folder / ("out.000" + std::to_string(frame) + ".tga"));
    // The middle is slate or shot; the lower corners hold bright letters.
    EXPECT_EQ(image.row(0, 60)[310], frame == 0 ? 24 : 200) << frame;
    const auto brightest = [&](int first, int last) {
      int most = 0;
      for (int y = 140; y < 180; ++y)
        most = std::max<int>(most, *std::max_element(image.row(2, y) + first, image.row(2, y) + last));
      return most;
    };
    EXPECT_GT(brightest(0, 160), 240) << frame;
    EXPECT_EQ(brightest(260, 320) > 240, frame > 0) << frame;
  }
  EXPECT_FALSE(std::filesystem::exists(folder / "out.0004.tga"));
}

}  // namespace
