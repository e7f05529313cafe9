#include "save/save.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include "command/engine.h"
#include "lib/parallel.h"
#include "save/actions.h"
#include "support/pictures.h"
#include "support/temp_folder.h"

namespace {

// Document, cache, pipeline and command language as the program has them, with every line and callback noted.
class studio : public ::testing::Test {
 protected:
  studio() {
    engine.write_error = [this](const std::string& line) { lines.push_back(line); };
    composition.hooks.report_error = [this](const std::string& line) { engine.report(line); };
    command::register_fields(engine);
    command::register_language_actions(engine);
    command::register_document_actions(engine);
    save::register_save_actions(engine, pipeline,
                                {[this](const save::progress& p) { shown.push_back(p); },
                                 [this] { return cancel_after >= 0 && --cancel_after < 0; },
                                 [this](const std::string& path) { saved.push_back(path); }, nullptr});
    command::register_unavailable(engine);
  }

  // A gray level for each frame, 16 x 8; a negative level is a broken file.
  void sequence(const std::string& name, const std::vector<int>& levels, const char* letters = "BGR") {
    for (std::size_t i = 0; i < levels.size(); ++i) {
      const std::string path = folder / (name + "." + std::to_string(1001 + i) + ".tga");
      if (levels[i] < 0) {
        support::write_file(path, "short");
      } else {
        const int level = levels[i];
        img::save(support::picture(letters, 16, 8, {level, level, level, 128}), path, nullptr, {});
      }
    }
  }
  // Index 0 of the arguments is the program. Returns the error lines.
  std::vector<std::string> run(std::vector<std::string> arguments) {
    lines.clear();
    arguments.insert(arguments.begin(), "kestrin");
    engine.command_pass(arguments);
    return lines;
  }
  std::string out(const std::string& name) const { return folder / ("out/" + name); }
  // The level of the first pixel, -1 for no such file.
  int level_of(const std::string& path) {
    if (!std::filesystem::exists(path)) return -1;
    img::image image;
    img::load(image, path);
    return image.row(0, 0)[0];
  }
  std::vector<std::string> files_of(const std::string& path) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
  using text_list = std::vector<std::string>;

  support::temp_folder folder;
  ksn::state composition;
  cache::frame_cache frames;
  command::engine engine{composition};
  std::vector<std::string> lines;
  render::pipeline pipeline{frames, {true, [this](const std::string& line) { engine.report(line); }, {}}};
  std::vector<save::progress> shown;
  std::vector<std::string> saved;
  int cancel_after = -1;
};

TEST_F(studio, a_composite_sequence_is_written_whole) {
  sequence("a", {10, 20, 30, 40, 50, 60});
  EXPECT_EQ(run({folder / "a.1001.tga", "--mask_size=20,10", "--frame_base=1",
                 "--save_mask_as_sequence=" + out("deep/c.###.tga")}),
            text_list());
  EXPECT_EQ(files_of(out("deep")),
            (text_list{"c.001.tga", "c.002.tga", "c.003.tga", "c.004.tga", "c.005.tga", "c.006.tga"}));
  for (int i = 0; i < 6; ++i) {
    img::image image;
    img::load(image, out("deep/c.00" + std::to_string(i + 1) + ".tga"));
    EXPECT_EQ(image.width, 20);
    EXPECT_EQ(image.height, 10);
    EXPECT_EQ(image.row(0, 5)[10], 10 * (i + 1)) << i;  // the layer in the middle
    EXPECT_EQ(image.row(3, 5)[10], 255);
    EXPECT_EQ(image.row(0, 0)[0], 0);  // nothing around it
    EXPECT_EQ(image.row(3, 0)[0], 0);
  }
  ASSERT_FALSE(shown.empty());
  for (std::size_t i = 0; i < shown.size(); ++i) {
    EXPECT_EQ(shown[i].done, static_cast<int>(i) + 1);
    EXPECT_EQ(shown[i].total, 6);
    EXPECT_GE(shown[i].seconds_left, 0.0);
  }
  EXPECT_EQ(shown.back().done, 6);
  EXPECT_EQ(saved, text_list{out("deep/c.###.tga")});
  EXPECT_EQ(frames.queue_size(), 0u);  // what the save read has left the cache
}

TEST_F(studio, what_was_in_the_cache_stays_there) {
  sequence("a", {10, 20, 30});
  run({folder / "a.1001.tga"});
  for (int t : {0, 1}) pipeline.layer_image(composition, composition.track_at(0), t, ksn::cache_resolution_type::full);
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
  std::vector<std::string> first;
  for (const int threads : {1, 2, 3, 7}) {
    lib::set_thread_count(threads);
    EXPECT_EQ(run({"--save_mask_as_sequence=" + out("c.####.tga")}), text_list()) << threads;
    std::vector<std::string> contents;
    for (const std::string& name : files_of(folder / "out")) contents.push_back(name + support::read_file(out(name)));
    EXPECT_EQ(contents.size(), 40u);
    if (first.empty()) first = contents;
    EXPECT_TRUE(contents == first) << threads << " threads";
    std::filesystem::remove_all(folder / "out");
  }
  lib::set_thread_count(0);
}

TEST_F(studio, a_layer_is_saved_without_placement_and_with_its_own_planes) {
  sequence("a", {10, 20, 30}, "BGRA");
  run({folder / "a.1001.tga", "--position=5,5", "--scale_x=50", "--gain=2", "--invert_alpha=1"});
  EXPECT_EQ(run({"--save_layer_as=" + out("c.tga")}), text_list());
  for (int i = 0; i < 3; ++i) {
    img::image image;
    img::load(image, out("c_000" + std::to_string(i) + ".tga"));
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
  sequence("a", {10, 20, 30});
  EXPECT_EQ(run({folder / "a.1001.tga", "--mask_size=7,5", "--set_time=1", "--zoom=400", "--pan=3,3",
                 "--save_mask_as_image=" + out("c.tga"), "--save_screen_as=" + out("screen.tga")}),
            text_list());
  img::image image;
  img::load(image, out("c.tga"));
  EXPECT_EQ(image.width, 7);
  EXPECT_EQ(image.height, 5);
  for (std::size_t i = 0; i < 35; ++i) EXPECT_EQ(image.data[1].data()[i], 20);
  img::load(image, out("screen.tga"));
  EXPECT_EQ(image.width, 940);
  EXPECT_EQ(image.height, 800 - 74 - 20 * std::min(1, composition.track_max));
}

TEST_F(studio, options_last_until_the_next) {
  sequence("a", {10});
  EXPECT_EQ(run({folder / "a.1001.tga", "--save_options=compression=rle,ignore_alpha=1",
                 "--save_mask_as_image=" + out("packed.tga"), "--save_mask_as_image=" + out("packed2.tga"),
                 "--save_options=quality=5", "--save_mask_as_image=" + out("plain.tga")}),
            text_list());
  EXPECT_EQ(support::read_file(out("packed.tga"))[2], 10);
  EXPECT_EQ(support::read_file(out("packed.tga"))[16], 24);
  EXPECT_EQ(support::read_file(out("packed2.tga")), support::read_file(out("packed.tga")));
  EXPECT_EQ(support::read_file(out("plain.tga"))[2], 2);
  EXPECT_EQ(support::read_file(out("plain.tga"))[16], 32);
  EXPECT_EQ(run({"--save_options=quality=500"}), text_list{"\"--save_options=quality=500\": Invalid option"});
}

TEST_F(studio, missing_frames_are_reported_in_order_and_left_out) {
  sequence("a", {10, -1, 30, -1, 50});
  run({folder / "a.1001.tga"});
  const std::string source = "\"" + (folder / "a.100");
  const std::string target = "\"" + out("c_000");
  EXPECT_EQ(
      run({"--save_layer_as=" + out("c.tga")}),
      (text_list{source + "2.tga\": io::eof_error: Unexpected end of file", target + "1.tga\": The frame is missing",
                 source + "4.tga\": io::eof_error: Unexpected end of file", target + "3.tga\": The frame is missing"}));
  EXPECT_EQ(files_of(folder / "out"), (text_list{"c_0000.tga", "c_0002.tga", "c_0004.tga"}));
  EXPECT_EQ(shown.back().done, 5);
  composition.hooks.text = [](std::string_view key) { return "<" + std::string(key) + ">"; };
  EXPECT_EQ(run({"--save_layer_as=" + out("d.tga")})[0],
            "\"" + out("d_0001.tga") + "\": <save_layer_as.missing_frame>");
}

TEST_F(studio, a_composite_goes_on_without_the_layer_that_is_broken) {
  sequence("a", {10, 20, 30});
  sequence("b", {40, -1, 60});
  run({folder / "a.1001.tga", folder / "b.1001.tga", "--mask_size=16,8"});
  EXPECT_EQ(run({"--save_mask_as_sequence=" + out("c.tga")}),
            text_list{"\"" + (folder / "b.1002.tga") + "\": io::eof_error: Unexpected end of file"});
  EXPECT_EQ(level_of(out("c_0000.tga")), 40);
  EXPECT_EQ(level_of(out("c_0001.tga")), 20);
  EXPECT_EQ(level_of(out("c_0002.tga")), 60);
}

TEST_F(studio, targets_that_can_not_be_written) {
  sequence("a", {10, 20, 30, 40, 50, 60, 70, 80});
  run({folder / "a.1001.tga", "--mask_size=16,8"});
  support::write_file(folder / "file", "x");
  std::filesystem::create_directories(out("folder.tga"));
  struct row {
    const char* command;
    std::string path;
    std::string line;
  };
  const auto quoted = [](const std::string& path) { return "\"" + path + "\": "; };
  const std::string in_file = folder / "file/sub/c.tga";
  const row rows[] = {
      {"save_mask_as_image", out("c.xyz"), quoted(out("c.xyz")) + "Invalid file type"},
      {"save_mask_as_image", out("c"), quoted(out("c")) + "Invalid file type"},
      {"save_mask_as_sequence", out("c.mov"), quoted(out("c.mov")) + "Not available"},
      {"save_frame_as", out("c.psd"),
       quoted(out("c.psd")) + "io::invalid_format: PSD files are not supported by this build"},
      {"save_mask_as_image", out("folder.tga"), quoted(out("folder.tga")) + "Create error 21 (0x00000015)"},
      {"save_mask_as_image", in_file, quoted(folder / "file/sub") + "Create error 20 (0x00000014)"},
      {"save_mask_as_sequence", in_file, quoted(folder / "file/sub") + "Create error 20 (0x00000014)"},
      {"save_layer_as", in_file, quoted(folder / "file/sub") + "Create error 20 (0x00000014)"},
  };
  for (const row& r : rows) {
    EXPECT_EQ(run({std::string("--") + r.command + "=" + r.path}), text_list{r.line}) << r.command;
  }
  EXPECT_EQ(saved, text_list());
  run({"--layer_select_none"});
  for (const std::string command : {"--save_frame_as=x.tga", "--save_layer_as=x.tga"}) {
    EXPECT_EQ(run({command}), text_list{"\"" + command + "\": Option requires a selected layer"});
  }
}

TEST_F(studio, a_full_disk_ends_the_walk_with_one_line) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
  sequence("a", {10, 20, 30, 40, 50, 60, 70, 80, 90, 100});
  run({folder / "a.1001.tga", "--mask_size=16,8"});
  std::filesystem::create_directories(folder / "out");
  // Frames 3 and on land on a full device.
  for (int i = 3; i < 10; ++i) std::filesystem::create_symlink("/dev/full", out("c_000" + std::to_string(i) + ".tga"));
  EXPECT_EQ(run({"--save_mask_as_sequence=" + out("c.tga")}),
            text_list{"\"" + out("c_0003.tga") + "\": io::write_error: WriteFile: No space left on device"});
  for (int i = 0; i < 3; ++i) EXPECT_EQ(level_of(out("c_000" + std::to_string(i) + ".tga")), 10 * (i + 1));
  EXPECT_EQ(saved.size(), 1u);
}

TEST_F(studio, a_name_stays_untouched_until_its_file_is_whole) {
  sequence("a", {10, 20});
  run({folder / "a.1001.tga", "--mask_size=16,8"});
  support::write_file(out("c.tga"), "the old file");
  // The partial file can't be renamed over this one, since the writer fails first: its name is taken by a folder.
  std::filesystem::create_directories(out("c.tga.part"));
  EXPECT_EQ(run({"--save_mask_as_image=" + out("c.tga")}),
            text_list{"\"" + out("c.tga") + "\": Create error 21 (0x00000015)"});
  EXPECT_EQ(support::read_file(out("c.tga")), "the old file");
  std::filesystem::remove(out("c.tga.part"));
  EXPECT_EQ(run({"--save_mask_as_image=" + out("c.tga")}), text_list());
  EXPECT_EQ(level_of(out("c.tga")), 10);
  EXPECT_EQ(files_of(folder / "out"), text_list{"c.tga"});
}

TEST_F(studio, cancelling_keeps_what_is_written) {
  std::vector<int> levels(30, 10);
  sequence("a", levels);
  run({folder / "a.1001.tga", "--mask_size=16,8"});
  cancel_after = 4;
  EXPECT_EQ(run({"--save_mask_as_sequence=" + out("c.tga")}), text_list());
  EXPECT_EQ(files_of(folder / "out"), (text_list{"c_0000.tga", "c_0001.tga", "c_0002.tga", "c_0003.tga"}));
  EXPECT_EQ(saved.size(), 1u);
  cancel_after = 0;
  EXPECT_EQ(run({"--save_mask_as_sequence=" + out("d.tga")}), text_list());
  EXPECT_EQ(files_of(folder / "out").size(), 4u);
  EXPECT_EQ(saved.size(), 1u);
}

TEST_F(studio, floats_pass_through_where_both_ends_hold_them) {
  img::image bright("BGR", 16, 4, 4);
  for (int p = 0; p < 3; ++p) {
    for (int i = 0; i < 16; ++i) bright.data[p].as<std::uint16_t>()[i] = 0x4200;  // 3.0
  }
  const std::string source = folder / "bright.exr";
  img::save(bright, source, nullptr, {});
  struct row {
    const char* setting;
    bool floats;
  };
  // What works on bytes in the layer's way takes the picture through bytes.
  for (const row& r :
       {row{"--opacity=100", true}, row{"--layer_channels=luma", false}, row{"--invert_color=1", false}}) {
    run({"--layer_delete_all", source, r.setting});
    EXPECT_EQ(run({"--wa_begin=0", "--wa_end=1", "--save_frame_as=" + out("c.exr"), "--save_layer_as=" + out("d.exr")}),
              text_list());
    for (const char* name : {"c.exr", "d_0000.exr"}) {
      img::image image;
      img::load(image, out(name));
      EXPECT_EQ(image.data[1].as<std::uint16_t>()[0] == 0x4200, r.floats) << name << " " << r.setting;
    }
  }
}

}  // namespace
