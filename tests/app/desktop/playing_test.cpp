// The program plays in a real window: keys, sound that reaches the device, and lines of other instances.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "img/format.h"
#include "paths.h"
#include "support/pictures.h"
#include "support/window_session.h"

namespace {

using support::wait_until;
using support::window_program;

class playing : public testing::Test {
 protected:
  static void SetUpTestSuite() { server = new support::x_server; }
  static void TearDownTestSuite() { delete std::exchange(server, nullptr); }

  static support::x_server* server;
  support::temp_folder folder;

  void make_shot(const std::string& name, int frames) {
    for (int i = 0; i < frames; ++i) {
      char number[16];
      std::snprintf(number, sizeof number, ".%04d.tga", i);
      img::save(support::random_picture("BGR", 16, 9, static_cast<unsigned>(i)), folder / name + number, nullptr, {});
    }
  }

  // Another instance that runs to its end beside the window.
  support::outcome attach(window_program& program, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "--attach_nf");
    return support::run_program(KESTRIN_BINARY, std::move(arguments), folder.path(), environment(program));
  }
  static std::map<std::string, std::string> environment(window_program& program) {
    return {{"DISPLAY", server->name()}, {"QT_QPA_PLATFORM", "xcb"}, {"XDG_RUNTIME_DIR", program.user(".")}};
  }
  // The text of a field of the running instance.
  std::string field(window_program& program, const std::string& name) {
    const std::string line = attach(program, {"--print_field=" + name}).out;
    const std::size_t sign = line.find('=');
    return sign == line.npos ? line : line.substr(sign + 1, line.size() - sign - 2);
  }
  double time(window_program& program) { return std::atof(field(program, "global:time").c_str()); }
};
support::x_server* playing::server = nullptr;

TEST_F(playing, keys_move_through_time) {
  make_shot("shot", 8);
  window_program program(*server, {folder / "shot.####.tga", "--fps=50", "--print_field=fps"});
  EXPECT_TRUE(wait_until([&] { return program.output() == "global:fps=50\n"; })) << "it is not kept until the end";
  ASSERT_EQ(time(program), 0.0);
  struct row {
    const char* key;
    double time;
  };
  for (const row& r : {row{"Right", 1}, row{"Right", 2}, row{"End", 7}, row{"Left", 6}, row{"Home", 0}}) {
    program.key(r.key);
    EXPECT_TRUE(wait_until([&] { return time(program) == r.time; })) << r.key << " " << time(program);
  }
  // Playing passes by more places than a step could reach, and a stop holds one of them.
  for (const char* key : {"space", "l", "Up", "j", "Down"}) {
    program.key(key);
    std::set<double> places;
    EXPECT_TRUE(wait_until([&] { return places.insert(time(program)), places.size() > 5; })) << key;
    program.key(key);
    double last = -1.0;
    EXPECT_TRUE(wait_until([&] { return last == std::exchange(last, time(program)); })) << key;
    usleep(100000);
    EXPECT_EQ(time(program), last) << key;
  }
  EXPECT_EQ(program.errors(), "");
}

TEST_F(playing, lines_of_other_instances) {
  make_shot("a", 3);
  make_shot("b", 3);
  // Who read its output is gone before anything is written.
  const std::string pipe = folder / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  window_program program(*server, {folder / "a.####.tga"}, {}, {}, pipe);
  close(reader);

  const support::outcome added =
      attach(program, {"b.####.tga", "--print_field=1:name", "--print_field=2:name", "--bad"});
  EXPECT_EQ(added.code, 0);
  EXPECT_EQ(added.out, "1:name=b.####.tga\n2:name=a.####.tga\n") << "a relative path means the sender's folder";
  EXPECT_EQ(added.errors, "\"--bad\": Invalid option\n");

  EXPECT_EQ(attach(program, {"--exit"}).code, 0);
  EXPECT_EQ(program.program().wait_for_end(), 0);
}

TEST_F(playing, attaching_brings_the_window_to_the_front) {
  img::save(support::picture("BGR", 64, 64, {0, 0, 255}), folder / "red.tga", nullptr, {});
  img::save(support::picture("BGR", 64, 64, {255, 0, 0}), folder / "blue.tga", nullptr, {});
  const auto pixels = [](std::uint32_t color) {
    const support::screenshot screen = server->look();
    return std::count(screen.pixels.begin(), screen.pixels.end(), color);
  };
  const auto open = [&](const char* name) {
    return std::make_unique<window_program>(*server, std::vector<std::string>{folder / name});
  };
  // Two windows at one place, each with folders of its own: the second one does not know of the first.
  const auto first = open("red.tga");
  server->xdotool({"windowmove", "--sync", first->window(), "10", "10"});
  ASSERT_TRUE(wait_until([&] { return pixels(0xFF0000) == 64 * 64; }));
  const auto other = open("blue.tga");
  server->xdotool({"windowmove", "--sync", other->window(), "10", "10"});
  ASSERT_TRUE(wait_until([&] { return pixels(0x0000FF) == 64 * 64 && pixels(0xFF0000) == 0; }));
  EXPECT_EQ(attach(*first, {}).code, 0);
  EXPECT_EQ(field(*first, "1:name"), "red.tga");
  EXPECT_EQ(pixels(0xFF0000), 0) << "it stays where it is";
  EXPECT_EQ(support::run_program(KESTRIN_BINARY, {"--attach"}, "/", environment(*first)).code, 0);
  EXPECT_TRUE(wait_until([&] { return pixels(0xFF0000) == 64 * 64; }));
}

TEST_F(playing, of_several_first_instances_one_opens_the_window) {
  constexpr int count = 4;
  make_shot("a", 2);
  const support::temp_folder runtime;
  std::vector<support::process> programs;
  for (int i = 0; i < count; ++i) {
    support::process_options options{folder.path(), support::desktop_variables(*server, runtime.path()),
                                     runtime / std::to_string(i), "/dev/null"};
    programs.emplace_back(std::vector<std::string>{KESTRIN_BINARY, "--attach", "--transient", "a.####.tga"}, options);
  }
  const auto running = [&] {
    return std::count_if(programs.begin(), programs.end(), [](auto& p) { return p.running(); });
  };
  ASSERT_TRUE(wait_until([&] { return running() <= 1; }));
  const auto ask = [&](std::vector<std::string> arguments) {
    return support::run_program(KESTRIN_BINARY, std::move(arguments), "/",
                                {{"DISPLAY", server->name()}, {"XDG_RUNTIME_DIR", runtime.path()}});
  };
  EXPECT_EQ(ask({"--attach", "--print_field=4:name", "--print_field=5:name"}).out, "4:name=a.####.tga\n");
  EXPECT_EQ(running(), 1);
}

// Left: a number that climbs by one each sample and starts again at 30,000. Right: the thousands of the sample's
// number.
constexpr int cycle = 30000;
constexpr int samples = 4 * 44100;
constexpr int quiet_base = 1000;  // so that no sample of the left side is 0

std::string counting_wave() {
  std::string data;
  const auto word = [&data](int value) {
    data += static_cast<char>(value & 255);
    data += static_cast<char>(value >> 8 & 255);
  };
  for (int i = 0; i < samples; ++i) {
    word(i % cycle + quiet_base);
    word(i / 1000 + 1);
  }
  const auto number = [](std::uint32_t value) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(value >> shift & 255);
    return bytes;
  };
  const std::string format("\x01\0\x02\0\x44\xAC\0\0\x10\xB1\x02\0\x04\0\x10\0", 16);
  return "RIFF" + number(static_cast<std::uint32_t>(36 + data.size())) + "WAVEfmt " + number(16) + format + "data" +
         number(static_cast<std::uint32_t>(data.size())) + data;
}

struct heard {
  int longest = 0;  // samples of the wave in a row
  int wrong = 0;    // samples that are none of it
  int jumps = 0;    // places where the sound goes on with another sample than the next
};

// `scale`: what a sample of the wave is multiplied with, of 256; below that some samples look alike.
heard listen(const std::string& raw, int scale) {
  std::map<std::pair<int, int>, int> numbers;
  for (int i = 0; i < samples; ++i) {
    numbers[{(i % cycle + quiet_base) * scale >> 8, (i / 1000 + 1) * scale >> 8}] = i;
  }
  heard result;
  int before = -1;
  int run = 0;
  for (std::size_t at = 0; at + 4 <= raw.size(); at += 4) {
    const auto word = [&](std::size_t i) {
      return static_cast<std::int16_t>(static_cast<unsigned char>(raw[i]) | static_cast<unsigned char>(raw[i + 1])
                                                                                << 8);
    };
    const auto found = numbers.find({word(at), word(at + 2)});
    const int number = found == numbers.end() ? -1 : found->second;
    result.wrong += number < 0 && (word(at) != 0 || word(at + 2) != 0);
    const bool both = number >= 0 && before >= 0;
    const bool follows = both && std::abs(number - before - 1) <= 256 / scale * 2 - 2;
    run = follows ? run + 1 : 0;
    result.jumps += both && !follows;
    result.longest = std::max(result.longest, run);
    before = number;
  }
  return result;
}

TEST_F(playing, the_right_samples_reach_the_device) {
  support::write_file(folder / "count.wav", counting_wave());
  make_shot("shot", 100);
  const std::string raw = folder / "device.raw";
  window_program program(*server, {folder / "shot.####.tga", "--fps=25"}, {},
                         {{"SDL_AUDIODRIVER", "disk"}, {"SDL_DISKAUDIOFILE", raw}});
  EXPECT_EQ(time(program), 0.0);
  EXPECT_FALSE(std::filesystem::exists(raw)) << "without a layer that sounds the device stays closed";
  EXPECT_EQ(attach(program, {"count.wav", "--play_forward"}).code, 0);
  // Three seconds, with the loop's end after four in some of the rest.
  constexpr std::uintmax_t wanted = 3 * 176400;
  ASSERT_TRUE(wait_until([&] { return std::filesystem::exists(raw) && std::filesystem::file_size(raw) > wanted; }));
  program.key("space");
  const heard all = listen(support::read_file(raw), 256);
  EXPECT_EQ(all.wrong, 0);
  EXPECT_GT(all.longest, 44100) << "a second without a gap";
  EXPECT_LE(all.jumps, 3) << "only where the machine stood still, or the loop came round";

  // Half the volume, and half of it again.
  std::uintmax_t from = 0;
  EXPECT_TRUE(wait_until([&] {
    const std::string now = support::read_file(raw);
    from = now.size();
    return std::all_of(now.end() - 20000, now.end(), [](char c) { return c == 0; });
  })) << "stopped, it is silent";
  EXPECT_EQ(attach(program, {"--1:volume=50", "--global_volume=50", "--time=0", "--play_forward"}).code, 0);
  ASSERT_TRUE(wait_until([&] { return std::filesystem::file_size(raw) > from + wanted / 2; }));
  program.key("space");
  const heard quiet = listen(support::read_file(raw).substr(from), 64);
  EXPECT_EQ(quiet.wrong, 0);
  EXPECT_GT(quiet.longest, 22050);
  EXPECT_EQ(program.errors().find("\"--"), std::string::npos) << program.errors();
}

TEST_F(playing, without_a_device_the_timer_drives) {
  support::write_file(folder / "count.wav", counting_wave());
  window_program program(*server, {folder / "count.wav", "--fps=25", "--play_forward"}, {},
                         {{"SDL_AUDIODRIVER", "there is none"}});
  const double start = time(program);
  EXPECT_TRUE(wait_until([&] { return time(program) != start; }));
  EXPECT_EQ(attach(program, {"--exit"}).code, 0);
  EXPECT_EQ(program.program().wait_for_end(), 0);
}

}  // namespace
