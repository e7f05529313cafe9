// Ways into the stack.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "composition/invariants.h"
#include "composition/test_document.h"

namespace {

using ksn::source_type;
using support::document;
using support::tga;
using support::write_file;
namespace fs = std::filesystem;

class adding : public testing::Test {
 protected:
  support::temp_folder folder;
  document c;

  void files(const std::string& stem, int first, int last, bool alpha = false) {
    for (int i = first; i <= last; ++i) write_file(folder / (stem + "." + std::to_string(i) + ".tga"), tga(alpha));
  }
  void TearDown() override { EXPECT_EQ(ksn::broken_invariant(c), ""); }
};

TEST_F(adding, the_timeline_of_the_first_layer_and_of_later_ones) {
  struct row {
    int set_by_hand;  // 0 for not
    std::vector<std::string> patterns;
    std::string timeline;
  };
  files("short", 1, 3);
  files("a", 10, 49);
  files("b", 100, 599);
  const row rows[] = {
      {0, {"a.##.tga"}, "40: 0 to 40, at 0"},
      {0, {"short.#.tga"}, "10: 0 to 3, at 0"},
      {77, {"short.#.tga"}, "77: 0 to 77, at 0"},
      {77, {"b.###.tga"}, "500: 0 to 77, at 0"},
      {0, {"a.##.tga", "b.###.tga"}, "500: 0 to 40, at 0"},
      {0, {"b.###.tga", "a.##.tga"}, "500: 0 to 500, at 0"},
  };
  for (const row& r : rows) {
    document d;
    if (r.set_by_hand) d.doc.set_timeline_length(r.set_by_hand, false);
    for (const std::string& pattern : r.patterns) {
      ASSERT_TRUE(d.add(folder / pattern, false, false, false));
      EXPECT_EQ(d.doc.track_at(0).name, pattern) << "on top";
      EXPECT_EQ(d.doc.selection, std::set<int>{0});
      EXPECT_EQ(d.workspace.track_max, d.doc.track_count());
      EXPECT_EQ(d.doc.track_at(0).placement.crop_wh, (math::point{4, 3}));
    }
    EXPECT_EQ(d.timeline(), r.timeline) << r.patterns[0];
    EXPECT_EQ(ksn::broken_invariant(d), "");
  }
}

TEST_F(adding, one_frame_of_a_sequence_shows_that_frame) {
  files("a", 10, 19);
  ASSERT_TRUE(c.add(folder / "a.14.tga", false, false, false));
  EXPECT_EQ(c.doc.tm_t, 4.0);
  ASSERT_TRUE(c.add(folder / "a.16.tga", false, false, false));
  EXPECT_EQ(c.doc.tm_t, 4.0) << "only with the first layer";
  ASSERT_TRUE(c.add(folder / "a.16.tga", true, false, false));
  EXPECT_EQ(c.doc.track_at(0).source.type, source_type::image);
  EXPECT_EQ(c.doc.track_at(0).source.frames, 1);
}

TEST_F(adding, behind_the_selected_layer) {
  files("a", 10, 39);
  ASSERT_TRUE(c.add(folder / "a.##.tga", false, false, false));
  c.doc.track_at(0).set_in_out(5, 20);
  ASSERT_TRUE(c.add(folder / "a.##.tga", false, true, false));
  EXPECT_EQ(c.doc.track_at(0).timing.begin, 20);
  EXPECT_EQ(c.timeline(), "50: 0 to 50, at 0");
  c.doc.selection.clear();
  ASSERT_TRUE(c.add(folder / "a.##.tga", false, true, false));
  EXPECT_EQ(c.doc.track_at(0).timing.begin, 0) << "nothing to stand after";
}

TEST_F(adding, settings_of_new_layers) {
  files("a", 1, 3, true);
  c.settings.default_alpha_type = ksn::alpha_type::normal;
  c.settings.default_aspect[{4, 3}] = 1.5;
  c.settings.disable_caching_by_default = true;
  c.settings.automatic_preload = true;
  ASSERT_TRUE(c.add(folder / "a.#.tga", false, false, false));
  const ksn::track_info& track = c.doc.track_at(0);
  EXPECT_EQ(track.look.alpha_type, ksn::alpha_type::normal);
  EXPECT_EQ(track.placement.aspect, 1.5);
  EXPECT_TRUE(track.source.disable_cache);
  EXPECT_EQ(c.dropped, std::vector{folder / "a.1.tga"});
  EXPECT_EQ(c.preloaded, std::vector{track.id});
  EXPECT_EQ(track.default_name, "a.#.tga");
}

TEST_F(adding, ranges) {
  files("a", 1, 5);
  ASSERT_TRUE(c.add_with_range(folder / "a.3.tga", "9,3-1"));
  const ksn::track_info& track = c.doc.track_at(0);
  EXPECT_EQ(track.source.names, (ksn::frame_names{"a.9.tga", "a.3.tga", "a.2.tga", "a.1.tga"}));
  EXPECT_EQ(track.source.range, "9,3-1");
  EXPECT_EQ(std::vector(track.source.names.holes().begin(), track.source.names.holes().end()),
            std::vector<std::uint32_t>{0})
      << "there is no a.9.tga";
  EXPECT_EQ(track.source.mask, "a.?.tga");
  EXPECT_EQ(c.doc.tm_l, 4);
  EXPECT_FALSE(c.add_with_range(folder / "a.3.tga", "1-"));
  EXPECT_EQ(c.errors, std::vector<std::string>{"\"--range=1-\": Invalid option"});
  EXPECT_EQ(c.doc.track_count(), 1);
}

TEST_F(adding, forced_sequences) {
  files("a", 1, 2);
  files("a", 9, 9);
  write_file(folder / "one/still.tga", tga());
  struct row {
    const char *path, *mask;
    ksn::frame_names names;
  };
  const row rows[] = {
      {"a.1.tga", "a.?.tga", {"a.1.tga", "a.2.tga", "a.9.tga"}},
      {"not.0001.tga", "not.????.tga", {"not.0001.tga"}},
      {"one", "*", {"still.tga"}},
  };
  for (const row& r : rows) {
    ASSERT_TRUE(c.add_forced_sequence(folder / r.path)) << r.path;
    EXPECT_EQ(c.doc.track_at(0).source.mask, r.mask);
    EXPECT_EQ(c.doc.track_at(0).source.names, r.names) << r.path;
  }
  write_file(folder / "none/readme.txt", "");
  EXPECT_FALSE(c.add_forced_sequence(folder / "none"));
  EXPECT_EQ(c.errors, std::vector{'"' + (folder / "none") + "\": Path contains no images"});
}

// A name may hold the letters that stand for a number; what matches them as such comes first.
TEST_F(adding, files_whose_names_look_like_patterns) {
  for (const char* name : {"a#1.tga", "b?.tga", "c*.tga", "d#.tga", "d7.tga"}) write_file(folder / name, tga());
  for (const auto& [given, shown] :
       {std::pair{"a#1.tga", "a#1.tga"}, {"b?.tga", "b?.tga"}, {"c*.tga", "c*.tga"}, {"d#.tga", "d7.tga"}}) {
    ASSERT_TRUE(c.add(folder / given, false, false, false)) << given;
    EXPECT_EQ(c.doc.track_at(0).source.type, source_type::image) << given;
    EXPECT_EQ(c.doc.track_at(0).source.path, folder / shown) << given;
  }
  EXPECT_TRUE(c.errors.empty());
}

TEST_F(adding, what_does_not_open_is_one_line_and_no_layer) {
  write_file(folder / "empty/readme.txt", "nothing to see");
  write_file(folder / "rubbish.mov", "no movie");
  write_file(folder / "rubbish.rtv", "a kind without a reader");
  write_file(folder / "a.ksncomp", "no source");
  ASSERT_EQ(mkfifo((folder / "pipe.tga").c_str(), 0600), 0);
  fs::create_symlink("loop", folder / "loop");
  struct row {
    std::string path, line;
  };
  const row rows[] = {
      {folder / "gone.tga", "Open error 2 (0x00000002)"},
      {folder / "gone.mov", "Open error 2 (0x00000002)"},
      {folder / "gone.cine", "Open error 2 (0x00000002)"},
      {folder / "rubbish.rtv", "Open error -1 (0xFFFFFFFF)"},
      {folder / "gone.####.tga", "Path contains no images"},
      {folder / "gone.0001.tga", "Path contains no images"},
      {folder / "nowhere/a.#.tga", "Path contains no images"},
      {folder / "empty", "Path contains no images"},
      {folder / "pipe.tga",
       "Open error 29 (0x0000001D): It is a pipe or a device and not a file"},  // nobody writes, so reading it would
                                                                                // never end
      {folder / "loop/a.1.tga", "Open error 40 (0x00000028): The links lead round in a circle"},
      {folder / "loop/a.mov", "Open error 40 (0x00000028): The links lead round in a circle"},
      {folder / "a.ksncomp", "Open error"},
      {"shm:/kestrin_nobody_has_this", "Open error 2 (0x00000002)"},
  };
  for (const row& r : rows) {
    c.errors.clear();
    EXPECT_FALSE(c.add(r.path, false, false, false)) << r.path;
    EXPECT_EQ(c.errors, std::vector{'"' + r.path + "\": " + r.line});
  }
  c.errors.clear();
  EXPECT_FALSE(c.add(folder / "rubbish.mov", false, false, false));
  ASSERT_EQ(c.errors.size(), 1u);
  EXPECT_TRUE(c.errors[0].starts_with('"' + (folder / "rubbish.mov") + "\": Open error 0x")) << c.errors[0];
  EXPECT_EQ(c.doc.track_count(), 0);
  EXPECT_EQ(c.doc.tm_n, 250);
}

TEST_F(adding, sound_alone) {
  // 8-bit mono at 8,000 Hz: 12,001 samples are a little more than 37.5 frames.
  const auto number = [](std::uint32_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> 8 * i);
    return text;
  };
  const std::string samples(12001, '\x80');
  write_file(folder / "a.wav", "RIFF" + number(36 + 12001, 4) + "WAVEfmt " + number(16, 4) + number(1, 2) +
                                   number(1, 2) + number(8000, 4) + number(8000, 4) + number(1, 2) + number(8, 2) +
                                   "data" + number(12001, 4) + samples);
  int started = 0;
  c.hooks.start_audio = [&] { ++started; };
  ASSERT_TRUE(c.add(folder / "a.wav", false, false, false));
  const ksn::track_info& track = c.doc.track_at(0);
  EXPECT_EQ(track.source.type, source_type::wave);
  EXPECT_EQ(track.source.frames, 38);
  EXPECT_TRUE(track.sound.audible);
  EXPECT_TRUE(track.source.has_audio());
  EXPECT_EQ(track.name, "a.wav");
  EXPECT_EQ(started, 1);
  write_file(folder / "b.wav", "no wave");
  EXPECT_FALSE(c.add(folder / "b.wav", false, false, false));
  ASSERT_EQ(c.errors.size(), 1u);
  EXPECT_EQ(c.errors[0], '"' + (folder / "b.wav") + "\": io::invalid_format: Invalid RIFF signature");
}

TEST_F(adding, layers_made_inside) {
  c.doc.mask_size = {200, 100};
  c.hooks.text = [](std::string_view key) { return "<" + std::string(key) + ">"; };
  c.settings.default_text_attr.size = 99;
  c.new_adjustment_layer();
  c.new_brush_layer(20);
  c.new_brush_sequence_layer(30);
  c.new_text_layer();
  EXPECT_EQ(c.stack(), "[<ti_text_name>] <ti_brush_sequence_name> <ti_brush_name> <ti_adjustment_name>");
  const source_type types[] = {source_type::text, source_type::brush_sequence, source_type::brush,
                               source_type::adjustment};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(c.doc.track_at(i).source.type, types[i]);
    EXPECT_EQ(c.doc.track_at(i).source.width, 200);
    EXPECT_EQ(c.doc.track_at(i).placement.crop_wh, (math::point{200, 100}));
    EXPECT_TRUE(c.doc.track_at(i).look.visible);
  }
  EXPECT_EQ(c.doc.track_at(0).lettering.text_attr.size, 99);
  EXPECT_EQ(c.doc.tm_n, 30);
}

TEST_F(adding, new_composition_takes_the_defaults) {
  files("a", 1, 3);
  c.doc.set_timeline_length(77, false);
  ASSERT_TRUE(c.add(folder / "a.#.tga", false, false, false));
  int filed = 0;
  c.hooks.file_among_unsaved = [&] { filed = c.doc.track_count(); };
  c.settings.default_cfps = 2400;
  c.settings.default_back_color = ksn::back_color_type::green;
  c.settings.default_frame_base = 1;
  c.view.zoom_factor2 = 250;
  c.view.pan_position = {3, 4};
  c.view.set_view_aspect(2.0);
  c.file_name = "/x.ksncomp";
  c.doc.tm_t = 2;
  c.doc.playing = true;
  c.new_composition(true);
  EXPECT_EQ(filed, 1);
  EXPECT_EQ(c.doc.track_count(), 0);
  EXPECT_TRUE(c.doc.selection.empty());
  EXPECT_EQ(c.doc.fpcs, 2400);
  EXPECT_EQ(c.doc.back_color, ksn::back_color_type::green);
  EXPECT_EQ(c.doc.frame_base, 1);
  EXPECT_EQ(c.view.zoom(), 1.0);
  EXPECT_EQ(c.view.pan_position, math::pointd());
  EXPECT_EQ(c.file_name, "");
  EXPECT_EQ(c.timeline(), "77: 0 to 77, at 0");
  EXPECT_FALSE(c.doc.timeline_user_set);
  EXPECT_FALSE(c.doc.playing);
  EXPECT_EQ(c.dropped, std::vector<std::string>{"all"});
}

}  // namespace
