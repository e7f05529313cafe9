#include "save/save.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <thread>

#include "lib/parallel.h"
#include "save/sequence.h"
#include "save/studio.h"

namespace {

using save_tests::studio;

TEST_F(studio, a_composite_sequence_is_written_whole) {
  sequence("a", {10, 20, 30, 40, 50, 60});
  EXPECT_EQ(run({folder / "a.1001.tga", "--mask_size=20,10", "--frame_base=1",
                 "--save_mask_as_sequence=" + out("deep/c.###.tga")}),
            text_list());
  EXPECT_EQ(files_of(out("deep")),
            (text_list{"c.001.tga", "c.002.tga", "c.003.tga", "c.004.tga", "c.005.tga", "c.006.tga"}));
  for (int i = 0; i < 6; ++i) {
    const img::image image = loaded(out("deep/c.00" + std::to_string(i + 1) + ".tga"));
    EXPECT_EQ(image.width, 20);
    EXPECT_EQ(image.height, 10);
    EXPECT_EQ(image.row(0, 5)[10], 10 * (i + 1)) << i;  // the layer in the middle
    EXPECT_EQ(image.row(3, 5)[10], 255);
    EXPECT_EQ(image.row(0, 0)[0], 0);  // nothing around it
    EXPECT_EQ(image.row(3, 0)[0], 0);
  }
  ASSERT_EQ(shown.size(), 6u);
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(shown[static_cast<std::size_t>(i)].done, i + 1);
    EXPECT_EQ(shown[static_cast<std::size_t>(i)].total, 6);
    EXPECT_GE(shown[static_cast<std::size_t>(i)].seconds_left, 0.0);
  }
  EXPECT_EQ(saved, text_list{out("deep/c.###.tga")});
  // Pictures that the save read have left the cache; those that were there before stay.
  EXPECT_EQ(frames.queue_size(), 0u);
  for (int t : {0, 1})
    pipeline.layer_image(composition, composition.doc.track_at(0), t, ksn::cache_resolution_type::full);
  ASSERT_EQ(frames.queue_size(), 2u);
  EXPECT_EQ(run({"--save_mask_as_sequence=" + out("c.tga")}), text_list());
  EXPECT_EQ(frames.queue_size(), 2u);
}

TEST_F(studio, the_same_files_for_any_number_of_threads) {
  std::vector<int> levels;
  for (int i = 0; i < 40; ++i) levels.push_back(i * 5);
  sequence("back", levels);
  std::reverse(levels.begin(), levels.end());
  sequence("front", levels, "BGRA");
  run({folder / "back.1001.tga", folder / "front.1001.tga", "--alpha=normal", "--mask_size=64,33"});
  text_list first;
  for (const int threads : {1, 2, 3, 7}) {
    lib::set_thread_count(threads);
    EXPECT_EQ(run({"--save_mask_as_sequence=" + out("c.####.tga")}), text_list()) << threads;
    text_list contents;
    for (const std::string& name : files_of(folder / "out")) contents.push_back(name + support::read_file(out(name)));
    EXPECT_EQ(contents.size(), 40u);
    if (first.empty()) first = contents;
    EXPECT_TRUE(contents == first) << threads << " threads";
    std::filesystem::remove_all(folder / "out");
  }
  lib::set_thread_count(0);
}

TEST_F(studio, a_layer_is_saved_without_placement_and_with_its_own_planes) {
  open_sequence({10, 20, 30}, "BGRA");
  run({"--position=5,5", "--scale_x=50", "--gain=2", "--invert_alpha=1"});
  EXPECT_EQ(run({"--save_layer_as=" + out("c.tga")}), text_list());
  for (int i = 0; i < 3; ++i) {
    const img::image image = loaded(out("c_000" + std::to_string(i) + ".tga"));
    EXPECT_EQ(support::letters_of(image), "BGRA");
    EXPECT_EQ(image.width, 16);
    EXPECT_GT(image.row(0, 0)[0], 10 * (i + 1));  // twice the light
    EXPECT_EQ(image.row(3, 0)[0], 127);
  }
  EXPECT_EQ(run({"--set_time=2", "--save_frame_as=" + out("one.tga")}), text_list());
  EXPECT_EQ(support::read_file(out("one.tga")), support::read_file(out("c_0002.tga")));
  EXPECT_EQ(saved, (text_list{out("c.tga"), out("one.tga")}));
}

TEST_F(studio, one_composite_has_the_size_of_the_mask) {
  open_sequence({10, 20, 30});
  EXPECT_EQ(run({"--mask_size=7,5", "--set_time=1", "--zoom=400", "--pan=3,3", "--save_mask_as_image=" + out("c.tga"),
                 "--save_screen_as=" + out("screen.tga")}),
            text_list());
  const img::image image = loaded(out("c.tga"));
  EXPECT_EQ(image.width, 7);
  EXPECT_EQ(image.height, 5);
  EXPECT_EQ(support::samples(image, 1), std::vector<int>(35, 20));
  const img::image screen = loaded(out("screen.tga"));
  EXPECT_EQ(screen.width, 940);
  EXPECT_EQ(screen.height, 800 - 74 - 20 * std::min(1, composition.workspace.track_max));
}

TEST_F(studio, options_last_until_the_next) {
  open_sequence({10});
  EXPECT_EQ(run({"--save_options=compression=rle,ignore_alpha=1", "--save_mask_as_image=" + out("packed.tga"),
                 "--save_mask_as_image=" + out("packed2.tga"), "--save_options=quality=5",
                 "--save_mask_as_image=" + out("plain.tga")}),
            text_list());
  const std::string packed = support::read_file(out("packed.tga"));
  const std::string plain = support::read_file(out("plain.tga"));
  EXPECT_EQ(packed.at(2), 10);
  EXPECT_EQ(packed.at(16), 24);
  EXPECT_EQ(support::read_file(out("packed2.tga")), packed);
  EXPECT_EQ(plain.at(2), 2);
  EXPECT_EQ(plain.at(16), 32);
  EXPECT_EQ(run({"--save_options=quality=500"}), text_list{"\"--save_options=quality=500\": Invalid option"});
}

TEST_F(studio, missing_frames_are_reported_in_order_and_left_out) {
  open_sequence({10, -1, 30, -1, 50});
  const std::string source = "\"" + (folder / "a.100");
  const std::string target = "\"" + out("c_000");
  const std::string reason = ".tga\": io::eof_error: Unexpected end of file";
  const auto missing = [&](const char* to, const char* from) {
    return target + to + ".tga\": The frame is missing: " + source + from + reason;
  };
  // Told again by every save.
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(run({"--save_layer_as=" + out("c.tga")}), (text_list{missing("1", "2"), missing("3", "4")}));
  }
  EXPECT_EQ(files_of(folder / "out"), (text_list{"c_0000.tga", "c_0002.tga", "c_0004.tga"}));
  EXPECT_EQ(shown.back().done, 5);
  composition.hooks.text = [](std::string_view key) { return "<" + std::string(key) + ">"; };
  EXPECT_EQ(run({"--save_layer_as=" + out("d.tga")})[0],
            "\"" + out("d_0001.tga") + "\": <save_layer_as.missing_frame>: " + source + "2" + reason);
}

TEST_F(studio, a_composite_of_a_broken_layer_is_written_only_when_asked_for) {
  open_sequence({10, 20, 30});
  sequence("b", {40, -1, 60});
  img::save(support::picture("BGR", 2, 2), folder / "still.tga", nullptr, {});  // small, in the middle of all frames
  run({folder / "b.1001.tga", folder / "still.tga", "--length=3", "--layer_select_down"});
  const std::string line = "\"" + out("c_0001.tga") + "\": The frame is missing: \"" + (folder / "b.1002.tga") +
                           "\": io::eof_error: Unexpected end of file";
  EXPECT_EQ(run({"--save_mask_as_sequence=" + out("c.tga")}), text_list{line});
  EXPECT_EQ(files_of(folder / "out"), (text_list{"c_0000.tga", "c_0002.tga"}));
  // A layer that only gives its alpha counts, one that is hidden does not.
  EXPECT_EQ(run({"--layer_toggle_visible", "--1:alpha_source=2", "--set_time=1",
                 "--save_mask_as_image=" + out("c_0001.tga")}),
            text_list{line});
  EXPECT_FALSE(std::filesystem::exists(out("c_0001.tga")));
  EXPECT_EQ(run({"--1:alpha_source=none", "--save_mask_as_image=" + out("hidden.tga")}), text_list());
  EXPECT_EQ(run({"--layer_toggle_visible", "--save_incomplete=1", "--save_mask_as_sequence=" + out("c.tga")}),
            text_list());
  EXPECT_EQ(level_of(out("c_0000.tga")), 40);
  EXPECT_EQ(level_of(out("c_0001.tga")), 20);
  EXPECT_EQ(level_of(out("c_0002.tga")), 60);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(loaded(out("c_000" + std::to_string(i) + ".tga")).row(0, 4)[8], 0) << i;
  EXPECT_EQ(run({"--save_incomplete=2"}), text_list{"\"--save_incomplete=2\": Invalid option"});
}

TEST_F(studio, nothing_is_saved_without_an_input_of_the_line) {
  open_sequence({10});
  const std::string none = folder / "none.tga";
  const std::string open_line = "\"" + none + "\": Open error 2 (0x00000002)";
  const std::string save_line = "\"" + out("c.tga") + "\": Not saved, because an input could not be opened: \"" + none +
                                "\" (--save_incomplete=1 saves without)";
  const std::string save = "--save_mask_as_image=" + out("c.tga");
  const struct {
    text_list arguments, lines;
    bool written;
  } rows[] = {
      {{none, save}, {open_line, save_line}, false},
      {{"--add_layer=" + none, save}, {open_line, save_line}, false},
      {{"--layer_replace_with=" + none, save}, {open_line, save_line}, false},
      {{none, "--save_layer_as=" + out("c.tga")}, {open_line, save_line}, false},
      {{"--save_incomplete=1", none, save, "--save_incomplete=0"}, {open_line}, true},
      // The document itself is another matter after that.
      {{none, "--layer_delete_all", save}, {open_line}, true},
      {{none, "--new_composition", save}, {open_line}, true},
      // And so is what another line asked for.
      {{none}, {open_line}, false},
      {{save}, {}, true},
  };
  for (const auto& r : rows) {
    std::filesystem::remove(out("c.tga"));
    EXPECT_EQ(run(r.arguments), r.lines) << r.arguments[0];
    EXPECT_EQ(std::filesystem::exists(out("c.tga")), r.written) << r.arguments[0];
  }
}

TEST_F(studio, targets_that_can_not_be_written) {
  open_sequence({10, 20, 30, 40, 50, 60, 70, 80});
  support::write_file(folder / "file", "x");
  support::write_file(out("c.tga"), "the old file");
  std::filesystem::create_directories(out("folder.tga"));
  std::filesystem::create_directories(out("c.tga.part"));
  const std::string below_file = "file/sub/c.tga";
  const struct {
    const char* command;
    std::string path, about, line;
  } rows[] = {
      {"save_mask_as_image", "out/c.xyz", "out/c.xyz", "Invalid file type"},
      {"save_mask_as_image", "out/c", "out/c", "Invalid file type"},
      {"save_mask_as_image", "out/c.mov", "out/c.mov", "Movies are saved by save_layer_as and save_mask_as_sequence"},
      {"save_mask_as_sequence", "file/sub/c.mov", "file/sub", "Create error 20 (0x00000014): Not a directory"},
      {"save_frame_as", "c.dds", "c.dds", "io::exception: Unsupported functionality"},
      {"save_mask_as_image", "out/folder.tga", "out/folder.tga", "Create error 21 (0x00000015): It is a folder"},
      {"save_mask_as_image", "out/c.tga", "out/c.tga", "Create error 21 (0x00000015): It is a folder"},
      {"save_mask_as_image", below_file, "file/sub", "Create error 20 (0x00000014): Not a directory"},
      {"save_mask_as_sequence", below_file, "file/sub", "Create error 20 (0x00000014): Not a directory"},
      {"save_layer_as", below_file, "file/sub", "Create error 20 (0x00000014): Not a directory"},
  };
  for (const auto& r : rows) {
    EXPECT_EQ(run({std::string("--") + r.command + "=" + (folder / r.path)}),
              text_list{"\"" + (folder / r.about) + "\": " + r.line});
  }
  EXPECT_EQ(saved, text_list());
  // The name of the partial file was taken, and so the old file has stayed.
  EXPECT_EQ(support::read_file(out("c.tga")), "the old file");
  std::filesystem::remove(out("c.tga.part"));
  EXPECT_EQ(run({"--save_mask_as_image=" + out("c.tga")}), text_list());
  EXPECT_EQ(level_of(out("c.tga")), 10);
  EXPECT_EQ(files_of(folder / "out"), (text_list{"c.tga", "folder.tga"}));
  run({"--layer_select_none"});
  for (const std::string command : {"--save_frame_as=x.tga", "--save_layer_as=x.tga"}) {
    EXPECT_EQ(run({command}), text_list{"\"" + command + "\": Option requires a selected layer"});
  }
}

TEST_F(studio, a_full_disk_ends_the_walk_with_one_line) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
  open_sequence({10, 20, 30, 40, 50, 60, 70, 80, 90, 100});
  std::filesystem::create_directories(folder / "out");
  // Frames 3 and on land on a full device.
  for (int i = 3; i < 10; ++i) std::filesystem::create_symlink("/dev/full", out("c_000" + std::to_string(i) + ".tga"));
  EXPECT_EQ(run({"--save_mask_as_sequence=" + out("c.tga")}),
            text_list{"\"" + out("c_0003.tga") + "\": io::write_error: WriteFile: No space left on device"});
  for (int i = 0; i < 3; ++i) EXPECT_EQ(level_of(out("c_000" + std::to_string(i) + ".tga")), 10 * (i + 1));
  EXPECT_EQ(saved.size(), 1u);

  // Of a movie nothing is left, so there is nothing to run a script for.
  support::write_file(out("m.avi"), "before");
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  const auto before = signal(SIGXFSZ, SIG_IGN);
  const rlimit small{rlim_t{1} << 20, limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  EXPECT_EQ(run({"--mask_size=256,256", "--save_options=codec=raw", "--save_mask_as_sequence=" + out("m.avi")}),
            text_list{"\"" + out("m.avi") + "\": io::write_error: File too large"});
  setrlimit(RLIMIT_FSIZE, &limit);
  signal(SIGXFSZ, before);
  EXPECT_GT(shown.back().bytes, 0) << "some of it was written";
  EXPECT_EQ(saved.size(), 1u);
  EXPECT_EQ(support::read_file(out("m.avi")), "before");
}

// A slow write that fails comes before the next frame, which has no picture: its line is the one that ends the save.
TEST_F(studio, lines_come_in_the_order_of_the_frames) {
  open_sequence({10, 20, -1, 40});
  std::filesystem::create_directories(folder / "out");
  ASSERT_EQ(mkfifo(out("c_0001.tga").c_str(), 0666), 0);
  const int reader = open(out("c_0001.tga").c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  const auto before = signal(SIGPIPE, SIG_IGN);
  std::thread closes([reader] {
    pollfd written{reader, POLLIN, 0};
    poll(&written, 1, -1);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    close(reader);
  });
  EXPECT_EQ(run({"--mask_size=256,256", "--save_mask_as_sequence=" + out("c.tga")}),
            text_list{"\"" + out("c_0001.tga") + "\": io::write_error: WriteFile: Broken pipe"});
  closes.join();
  signal(SIGPIPE, before);
  EXPECT_TRUE(std::filesystem::exists(out("c_0000.tga")));
  EXPECT_FALSE(std::filesystem::exists(out("c_0003.tga")));
}

TEST_F(studio, cancelling_keeps_what_is_written) {
  open_sequence(std::vector<int>(30, 10));
  for (const int frames_written : {4, 0}) {
    cancel_after = frames_written;
    EXPECT_EQ(run({"--save_mask_as_sequence=" + out("c" + std::to_string(frames_written) + ".tga")}), text_list());
    EXPECT_EQ(files_of(folder / "out"), (text_list{"c4_0000.tga", "c4_0001.tga", "c4_0002.tga", "c4_0003.tga"}));
    EXPECT_EQ(saved.size(), 1u);
  }
}

TEST_F(studio, memory_that_runs_out_keeps_what_is_made) {
  open_sequence({10, 20, 30, 40});
  const auto note = [this](const std::string& path) { saved.push_back(path); };
  const auto report = [this](const std::string& line) { lines.push_back(line); };
  save::context context{composition, pipeline, {}, 0.0, {}, false, {}, report, nullptr, nullptr, note};
  // Frame 1 finds memory when nothing else is under way, frame 2 never.
  int tries = 0;
  const auto make = [&](int frame) -> save::picture {
    if (frame == 2 || (frame == 1 && tries++ == 0)) throw std::bad_alloc();
    return {std::make_shared<img::image>(support::picture("BGR", 2, 2, {frame})), nullptr, {}};
  };
  const save::target target{out("c.tga"), img::find_format("c.tga")};
  lines.clear();
  EXPECT_FALSE(
      save::save_walk(context, target, {make, [](int) { return std::vector<cache::frame_request>(); }, {}, 0}));
  EXPECT_EQ(lines, text_list{"\"" + out("c_0002.tga") + "\": The frame is missing: Out of memory"});
  EXPECT_EQ(files_of(folder / "out"), (text_list{"c_0000.tga", "c_0001.tga", "c_0003.tga"}));
  EXPECT_EQ(level_of(out("c_0001.tga")), 1);
  EXPECT_EQ(saved, text_list{out("c.tga")});
}

TEST_F(studio, a_frame_that_is_to_be_read_is_not_written_over) {
  const auto name = [this](const char* stem, int number) {
    return folder / (stem + std::string(".000") + std::to_string(number) + ".tga");
  };
  std::filesystem::create_directory(folder / "by");
  for (int i = 0; i < 6; ++i) std::filesystem::create_symlink(name("a", i), name("by/link", i));
  const auto refused = [](const std::string& path) {
    return text_list{"\"" + path + "\": Not saved, because a later frame has yet to be read from it"};
  };
  const struct {
    int first_number;
    const char* option;
    std::string path;
    text_list lines;
    std::vector<int> levels;  // afterwards, of numbers 0 to 4
  } rows[] = {
      {0, "--frame_base=1", folder / "a.####.tga", refused(name("a", 1)), {10, 20, 30, 40, -1}},
      {0, "--frame_base=1", folder / "by/link.####.tga", refused(name("by/link", 1)), {10, 20, 30, 40, -1}},
      {0, "--frame_base=0", folder / "a.####.tga", {}, {10, 20, 30, 40, -1}},
      {1, "--frame_base=0", folder / "a.####.tga", {}, {10, 20, 30, 40, 40}},
  };
  for (const auto& r : rows) {
    for (const std::string save : {"--save_layer_as=", "--save_mask_as_sequence="}) {
      for (int i = 0; i < 6; ++i) std::filesystem::remove(name("a", i));
      for (int i = 0; i < 4; ++i) {
        const int level = 10 * (i + 1);
        img::save(support::picture("BGR", 16, 8, {level, level, level}), name("a", r.first_number + i), nullptr, {});
      }
      frames.clear();
      pipeline.forget_all();
      EXPECT_EQ(run({"--layer_delete_all", folder / "a.####.tga", "--mask_size=16,8", r.option, save + r.path}),
                r.lines);
      std::vector<int> levels;
      for (int i = 0; i < 5; ++i) levels.push_back(level_of(name("a", i)));
      EXPECT_EQ(levels, r.levels) << r.option << " " << save << r.path;
    }
  }
  // A still that every frame shows.
  EXPECT_EQ(run({"--layer_delete_all", name("a", 1), "--still_image", "--length=3", "--timeline=3", "--wa_end=3",
                 "--frame_base=1", "--save_mask_as_sequence=" + (folder / "a.####.tga")}),
            refused(name("a", 1)));
}

TEST_F(studio, floats_pass_through_where_both_ends_hold_them) {
  img::image bright("BGR", 16, 4, 4);
  for (int p = 0; p < 3; ++p) std::fill_n(bright.data[p].as<std::uint16_t>(), 16, std::uint16_t{0x4200});  // 3.0
  const std::string source = folder / "bright.exr";
  img::save(bright, source, nullptr, {});
  // An operation on bytes in the layer's way takes the picture through bytes.
  for (const std::string setting : {"--opacity=100", "--layer_channels=luma", "--invert_color=1"}) {
    run({"--layer_delete_all", source, setting});
    EXPECT_EQ(run({"--wa_begin=0", "--wa_end=1", "--save_frame_as=" + out("c.exr"), "--save_layer_as=" + out("d.exr")}),
              text_list());
    for (const char* name : {"c.exr", "d_0000.exr"}) {
      const bool kept = loaded(out(name)).data[1].as<std::uint16_t>()[0] == 0x4200;
      EXPECT_EQ(kept, setting == "--opacity=100") << name << " " << setting;
    }
  }
}

}  // namespace
