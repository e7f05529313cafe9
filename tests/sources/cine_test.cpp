#include "sources/cine.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "paths.h"
#include "sources/clip.h"
#include "support/cine_file.h"
#include "support/temp_folder.h"

namespace {

using sources::cine_file;

std::optional<cine_file> open(const std::string& bytes) {
  return cine_file::open(
      [bytes](void* buffer, std::size_t count, std::int64_t offset) {
        if (offset < 0 || count > bytes.size() || offset > static_cast<std::int64_t>(bytes.size() - count))
          return false;
        std::memcpy(buffer, bytes.data() + offset, count);
        return true;
      },
      static_cast<std::int64_t>(bytes.size()));
}

// 2014-07-14 10:38:04 UTC.
constexpr std::uint32_t some_day = 1405334284;

support::cine_options full() {
  support::cine_options options;
  options.trigger_seconds = some_day + 1;
  options.trigger_fraction = 0x80000000u;
  options.times = {{some_day, 0}, {some_day, 4294967296 / 1000 + 3}, {some_day, 0xFFFFFFFFu}};
  options.timecodes = {0x10380407u, 0x10380408u, 0};
  return options;
}

TEST(cine, times_and_numbers_of_its_frames) {
  const auto cine = open(support::cine_file(full()));
  ASSERT_TRUE(cine);
  EXPECT_EQ(cine->frames(), 3);
  EXPECT_EQ(cine->first_image(), -2);
  EXPECT_EQ(cine->rate(), 1000.0);
  EXPECT_EQ(cine->trigger(), (sources::cine_time{some_day + 1, 0x80000000u}));
  EXPECT_EQ(cine->time_of(1), (sources::cine_time{some_day, 4294968})) << "without the flags in the lowest bits";
  EXPECT_FALSE(cine->time_of(-1));
  EXPECT_FALSE(cine->time_of(3));

  img::image_info info[3];
  for (int i = 0; i < 3; ++i) cine->describe(i, info[i]);
  EXPECT_EQ(to_text(info[0].timecode), "10:38:04:07");
  EXPECT_EQ(info[0].timecode.user, 0x1234u);
  EXPECT_EQ(to_text(info[1].timecode2), "10:38:04:00+01/40") << "1000 pictures a second are 25 times 40";
  EXPECT_EQ(to_text(info[2].timecode), "10:38:04:24+39/40") << "no code was recorded: the time of day";
  EXPECT_FALSE(info[2].timecode2.is_valid());
  EXPECT_EQ(info[1].metadata["image_time"], "2014-07-14 10:38:04.001000 UTC");
  EXPECT_EQ(info[1].metadata["trigger_time"], "2014-07-14 10:38:05.500000 UTC");
  EXPECT_EQ(info[1].metadata["image_number"], "-1");
}

TEST(cine, time_of_day_at_many_rates) {
  struct row {
    double rate;
    std::uint32_t fraction;
    const char* text;
  };
  const std::uint32_t half = 0x80000000u;
  const row rows[] = {
      {0.0, half, "10:38:04:00"},           {24.0, half, "10:38:04:12"},
      {25.0, half, "10:38:04:12"},          {30.0, 0xFFFFFFFFu, "10:38:04:29"},
      {48.0, half, "10:38:04:12+0/2"},      {50.0, half, "10:38:04:12+1/2"},
      {60.0, half, "10:38:04:15+0/2"},      {120.0, half + (1u << 30), "10:38:04:22+2/4"},
      {1000.0, half, "10:38:04:12+20/40"},  {90000.0, half, "10:38:04:15+0000/3000"},
      {1e6, half, "10:38:04:12+4999/9999"},
  };
  for (const row& r : rows) EXPECT_EQ(to_text(sources::timecode_of({some_day, r.fraction}, r.rate)), r.text) << r.rate;
}

TEST(cine, lies_cost_the_times_or_the_file_and_no_memory) {
  const std::string good = support::cine_file(full());
  struct lie {
    const char* what;
    std::size_t at;
    std::uint32_t value;
    bool opens;
  };
  constexpr std::size_t setup = 84;
  constexpr std::size_t block = setup + 5768;
  const lie lies[] = {
      {"no signature", 0, 0x00414141, false},      {"no images", 20, 0, false},
      {"images without number", 20, ~0u, false},   {"more images than positions", 20, 1000, false},
      {"table after the end", 32, ~0u, false},     {"table in the header", 32, 8, false},
      {"setup after the end", 28, ~0u, true},      {"setup in the header", 28, 4, true},
      {"no mark", setup + 140, 0, true},           {"setup longer than the file", setup + 140, 0xFFFF5453, true},
      {"block of no size", block, 0, true},        {"block beyond the table", block, 100000, true},
      {"block of a huge size", block, ~0u, true},  {"block of another kind", block + 4, 7, true},
      {"fewer times than frames", block, 8, true},
  };
  for (const lie& l : lies) {
    std::string bytes = good;
    for (int i = 0; i < 4; ++i) bytes[l.at + i] = static_cast<char>(l.value >> 8 * i);
    const auto cine = open(bytes);
    ASSERT_EQ(cine.has_value(), l.opens) << l.what;
    if (!cine) continue;
    EXPECT_FALSE(cine->time_of(1)) << l.what;
    img::image_info info;
    cine->describe(1, info);
    EXPECT_EQ(info.metadata["image_number"], "-1") << l.what;
  }
  for (std::size_t size = 0; size < good.size(); size += size < 100 ? 1 : 97) {
    const auto cine = open(good.substr(0, size));
    if (!cine) continue;
    for (int i = 0; i < 3; ++i) {
      img::image_info info;
      cine->describe(i, info);
    }
  }
}

TEST(cine, as_a_clip) {
  const support::temp_folder folder;
  const std::string path = folder / "drop.cine";
  support::cine_options options = full();
  options.rate = 90000;
  support::write_file(path, support::cine_file(options));
  const auto result = sources::open_clip(sources::clip_kind::phantom_cine, path, 2500);
  if (!result.available) GTEST_SKIP();
  ASSERT_TRUE(result.opened);
  sources::clip& clip = *result.opened;
  EXPECT_EQ(clip.frames(), 3);
  EXPECT_EQ(clip.rate(), 9'000'000);
  EXPECT_EQ(sources::clip_frame_name(clip, path, 2), path + "\\P,0") << "frame number plus the first image's";
  EXPECT_EQ(sources::clip_frame_name(clip, path, 0), path + "\\P,-2");
  for (const int frame : {2, 0, 1}) {
    img::image image;
    ASSERT_TRUE(clip.read(frame, 0, image));
    ASSERT_EQ(image.format[0], 'L');
    EXPECT_EQ(image.row(0, 5)[7], 10 * (frame + 1));
    EXPECT_EQ(image.frame, frame);
    EXPECT_EQ(image.frame_rate_nm, 9'000'000);
    EXPECT_EQ(image.metadata["image_number"], std::to_string(frame - 2));
  }
  img::image image;
  ASSERT_TRUE(clip.read(0, 0, image));
  EXPECT_EQ(to_text(image.timecode), "10:38:04:07");
  EXPECT_EQ(to_text(image.timecode2), "10:38:04:00+0000/3000");

  // The last picture was not written whole.
  std::filesystem::resize_file(path, std::filesystem::file_size(path) - 20);
  const auto cut = sources::open_clip(sources::clip_kind::phantom_cine, path, 2500).opened;
  ASSERT_TRUE(cut);
  EXPECT_EQ(cut->frames(), 2);
  EXPECT_TRUE(cut->read(1, 0, image));
  EXPECT_EQ(image.row(0, 5)[7], 20);
  EXPECT_FALSE(cut->read(2, 0, image));

  // A file of 1 GB that claims sixteen million images and holds nothing.
  std::string empty = support::cine_file(options).substr(0, 6000);
  empty[20] = empty[21] = empty[22] = empty[23] = static_cast<char>(0xFF);
  support::write_file(path, empty);
  std::filesystem::resize_file(path, 1 << 30);
  EXPECT_FALSE(sources::open_clip(sources::clip_kind::phantom_cine, path, 2500).opened);
}

TEST(cine, samples_that_nobody_here_made) {
  struct row {
    const char* file;
    int frames;
    int first;
    double rate;
    const char* timecode;
    const char* time;
  };
  // Values read from the bytes of the files by eye.
  const row rows[] = {
      {"cine/chart1.cine", 1, -123, 25.0, "10:38:04:08", "2000-07-13 10:38:04.322456 UTC"},
      {"cine/cine_781.cine", 15, -5417, 90000.0, "03:54:33:26", "2019-02-26 23:17:25.923956 UTC"},
  };
  for (const row& r : rows) {
    const std::string path = std::string(KESTRIN_SAMPLES_DIR) + "/" + r.file;
    if (!std::filesystem::exists(path)) continue;
    const auto cine = cine_file::open(path);
    ASSERT_TRUE(cine) << path;
    EXPECT_EQ(cine->frames(), r.frames);
    EXPECT_EQ(cine->first_image(), r.first);
    EXPECT_EQ(cine->rate(), r.rate);
    img::image_info info;
    cine->describe(0, info);
    EXPECT_EQ(to_text(info.timecode), r.timecode);
    EXPECT_EQ(info.metadata["image_time"], r.time);
  }
}

}  // namespace
