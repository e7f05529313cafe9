// Saves that take their part of the work area, and leave alone what is there.
#include "save/part.h"

#include <set>

#include "save/picture_file.h"
#include "save/studio.h"

namespace {

using save_tests::studio;

TEST(part, texts) {
  const struct {
    bool (*parse)(const std::string& text, save::part& part);
    const char* text;
    std::vector<int> values;  // first, last, chunk, chunks; none for a text that is refused
  } rows[] = {
      {save::parse_frames, "1001-1010", {1001, 1010, 3, 4}},
      {save::parse_frames, "7", {7, 7, 3, 4}},
      {save::parse_frames, "-5--2", {-5, -2, 3, 4}},
      {save::parse_frames, "all", {0, -1, 3, 4}},
      {save::parse_frames, "10-9", {}},
      {save::parse_frames, "1-", {}},
      {save::parse_frames, "", {}},
      {save::parse_frames, "1-2x2", {}},
      {save::parse_frames, "99999999999", {}},
      {save::parse_chunk, "16/16", {2, 5, 16, 16}},
      {save::parse_chunk, "0/4", {}},
      {save::parse_chunk, "5/4", {}},
      {save::parse_chunk, "1", {}},
      {save::parse_chunk, "1/2/3", {}},
      {save::parse_chunk, "1/0", {}},
  };
  for (const auto& r : rows) {
    save::part part{2, 5, 3, 4};
    EXPECT_EQ(r.parse(r.text, part), !r.values.empty()) << r.text;
    const std::vector<int> values{part.first, part.last, part.chunk, part.chunks};
    EXPECT_EQ(values, r.values.empty() ? (std::vector<int>{2, 5, 3, 4}) : r.values) << r.text;
  }
}

// Whatever the numbers: the chunks cover the range, touch, and differ by one frame at most.
TEST(part, chunks_share_a_range) {
  for (const int frames : {0, 1, 5, 16, 47, 480, 2147483000}) {
    for (const int chunks : {1, 2, 7, 16, 500}) {
      int at = -3;
      for (int chunk = 1; chunk <= chunks; ++chunk) {
        const save::frame_range range = save::frames_of({0, -1, chunk, chunks}, {-3, frames - 3}, 1);
        ASSERT_EQ(range.first, at);
        ASSERT_LE(std::abs(range.end - range.first - frames / chunks), 1);
        at = range.end;
      }
      EXPECT_EQ(at, frames - 3);
    }
  }
}

TEST_F(studio, every_part_writes_its_frames) {
  open_sequence({10, 20, 30, 40, 50, 60, 70, 80, 90, 100});
  run({"--frame_base=1", "--wa_begin=1", "--wa_end=9"});  // numbers 2 to 9
  const struct {
    text_list options;
    std::vector<int> numbers;
    std::string line;
  } rows[] = {
      {{"--frames=4-6"}, {4, 5, 6}, {}},
      {{"--frames=3"}, {3}, {}},
      {{"--frames=-7-3"}, {2, 3}, {}},
      {{"--frames=8-2000000000"}, {8, 9}, {}},
      {{"--chunk=2/3"}, {4, 5, 6}, {}},
      {{"--frames=4-6", "--chunk=3/3"}, {6}, {}},
      {{"--chunk=1/100"}, {}, {}},
      {{"--chunk=100/100"}, {9}, {}},
      {{"--frames=10-12"}, {}, "No frame from 10 to 12 in the work area, which goes from 2 to 9"},
      {{"--frames=4", "--chunk=1/2", "--frames=all", "--chunk=1/1"}, {2, 3, 4, 5, 6, 7, 8, 9}, {}},
  };
  for (const std::string save : {"--save_layer_as=", "--save_mask_as_sequence="}) {
    for (const auto& r : rows) {
      std::filesystem::remove_all(folder / "out");
      shown.clear();
      text_list arguments{"--frames=all", "--chunk=1/1"};
      arguments.insert(arguments.end(), r.options.begin(), r.options.end());
      arguments.push_back(save + out("c.#.tga"));
      EXPECT_EQ(run(arguments), r.line.empty() ? text_list() : text_list{"\"" + out("c.#.tga") + "\": " + r.line});
      std::vector<int> numbers;
      for (int i = 0; i < 20; ++i) {
        const int level = level_of(out("c." + std::to_string(i) + ".tga"));
        if (level < 0) continue;
        numbers.push_back(i);
        EXPECT_EQ(level, 10 * i);
      }
      EXPECT_EQ(numbers, r.numbers) << arguments[2];
      EXPECT_EQ(shown.size(), r.numbers.size());
      for (const save::progress& p : shown) EXPECT_EQ(p.total, static_cast<int>(r.numbers.size()));
    }
  }
  EXPECT_EQ(run({"--frames=1001", "--chunk=2", "--skip_existing=2"}),
            (text_list{"\"--chunk=2\": Invalid option", "\"--skip_existing=2\": Invalid option"}));
}

TEST_F(studio, frames_that_are_there_and_whole_are_left_alone) {
  open_sequence({10, 20, 30, 40, 50, 60});
  EXPECT_EQ(run({"--save_mask_as_sequence=" + out("c.#.tga")}), text_list());
  const std::string whole = support::read_file(out("c.0.tga"));
  img::save(support::picture("BGR", 16, 8, {99, 99, 99}), out("c.1.tga"), nullptr, {});  // stays, whatever it shows
  support::write_file(out("c.2.tga"), "");
  support::write_file(out("c.3.tga"), support::read_file(out("c.3.tga")).substr(0, whole.size() / 2));
  std::filesystem::remove(out("c.4.tga"));
  support::write_file(out("c.5.tga.part"), "of a task that was killed");
  shown.clear();
  EXPECT_EQ(run({"--skip_existing", "--save_mask_as_sequence=" + out("c.#.tga")}), text_list());
  EXPECT_EQ(shown.size(), 3u);
  std::vector<int> levels;
  for (int i = 0; i < 6; ++i) levels.push_back(level_of(out("c." + std::to_string(i) + ".tga")));
  EXPECT_EQ(levels, (std::vector<int>{10, 99, 30, 40, 50, 60}));
  // All of it is there: nothing is saved, and no script is started.
  saved.clear();
  EXPECT_EQ(run({"--save_mask_as_sequence=" + out("c.#.tga")}), text_list());
  EXPECT_EQ(saved, text_list());
  // Another part may read what this one writes over.
  for (int i = 1; i < 5; ++i)
    img::save(support::picture("BGR", 16, 8, {i, i, i}), folder / ("d.000" + std::to_string(i) + ".tga"), nullptr, {});
  run({"--skip_existing=0", folder / "d.####.tga", "--chunk=1/2"});
  EXPECT_EQ(run({"--save_layer_as=" + (folder / "d.####.tga")}),
            text_list{"\"" + (folder / "d.0001.tga") + "\": Not saved, because another frame is read from it"});
  EXPECT_EQ(
      run({"--chunk=1/1", "--skip_existing", "--save_layer_as=" + out("c.mov")}),
      text_list{"\"" + out("c.mov") + "\": A movie is one file: --chunk and --skip_existing are for frames in files"});
}

// A file that ends early is never whole, in any of the formats that are written.
TEST_F(studio, a_cut_file_is_not_whole) {
  img::image picture = support::picture("BGR", 40, 24, {1, 2, 3});
  for (int p = 0; p < 3; ++p) {
    for (int i = 0; i < 40 * 24; ++i) picture.data[p].data()[i] = static_cast<std::uint8_t>(i * 37 * (p + 1) + i / 7);
  }
  for (const std::string extension : {"exr", "dpx", "cin", "tif", "ftif", "png", "jpg", "psd", "bmp", "tga", "sgi"}) {
    const std::string path = folder / ("whole." + extension);
    const img::format& format = *img::find_format(path);
    img::save(picture, path, nullptr, {});
    EXPECT_TRUE(save::is_whole(path, format)) << extension;
    const std::string content = support::read_file(path);
    for (const std::size_t size : {std::size_t{0}, std::size_t{20}, content.size() / 4, content.size() / 2,
                                   content.size() * 3 / 4, content.size() - 64}) {
      support::write_file(path, content.substr(0, size));
      EXPECT_FALSE(save::is_whole(path, format)) << extension << " of " << size << " bytes of " << content.size();
    }
  }
}

}  // namespace
