// Movies that carry the frame number in the picture: frame N asked for is frame N shown.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "sources/clip.h"

namespace {

namespace fs = std::filesystem;
using sources::clip_kind;

constexpr int width = 160;
constexpr int height = 96;
constexpr int bits = 10;

struct temp_folder {
  fs::path path;
  temp_folder() {
    std::string name = (fs::temp_directory_path() / "kestrin_movie_XXXXXX").string();
    path = mkdtemp(name.data());
  }
  ~temp_folder() { fs::remove_all(path); }
};

bool have_encoder() {
  return std::system("command -v ffmpeg >/dev/null 2>&1") == 0;
}

// Ten blocks of 16 by 96 pixels, one a binary digit: light for 1, dark for 0.
std::string numbered_frame(int number) {
  std::string rows;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) rows += static_cast<char>(number >> (x / 16) & 1 ? 200 : 50);
  }
  return rows;
}

int number_in(const img::image& image) {
  if (image.width != width || image.height != height) return -1;
  int number = 0;
  for (int bit = 0; bit < bits; ++bit) {
    if (image.row(0, height / 2)[bit * 16 + 8] > 128) number |= 1 << bit;
  }
  return number;
}

// Encodes frames 0 to `count` - 1; false when this build of ffmpeg lacks the encoder.
bool encode(const fs::path& file, int count, const std::string& input_options, const std::string& options) {
  const fs::path raw = file.string() + ".gray";
  std::ofstream out(raw, std::ios::binary);
  for (int i = 0; i < count; ++i) out << numbered_frame(i);
  out.close();
  const std::string command = "ffmpeg -nostdin -v error -y -f rawvideo -pix_fmt gray -s 160x96 -r 25 " + input_options +
                              " -i " + raw.string() + " " + options + " " + file.string() + " >/dev/null 2>&1";
  const bool good = std::system(command.c_str()) == 0;
  fs::remove(raw);
  return good;
}

std::shared_ptr<sources::clip> open(const fs::path& file) {
  const auto extension = file.extension();
  const clip_kind kind = extension == ".avi"                          ? clip_kind::avi
                         : extension == ".mov" || extension == ".mp4" ? clip_kind::quicktime
                                                                      : clip_kind::directshow;
  return sources::open_clip(kind, file.string(), 2500).opened;
}

int shown(sources::clip& clip, int frame) {
  img::image image;
  return clip.read(frame, 0, image) ? number_in(image) : -1;
}

struct movie {
  const char* file;
  const char* options;
};

const movie movies[] = {
    {"h264_bframes.mov", "-c:v libx264 -pix_fmt yuv420p -g 24 -bf 3"},
    {"h264_bframes.mkv", "-c:v libx264 -pix_fmt yuv420p -g 24 -bf 3"},
    {"h264_open_gop.ts", "-c:v libx264 -pix_fmt yuv420p -g 24 -bf 3 -x264opts open-gop=1"},
    {"h265.mp4", "-c:v libx265 -pix_fmt yuv420p -x265-params log-level=none:keyint=30"},
    {"h265_10bit.mov", "-c:v libx265 -pix_fmt yuv420p10 -tag:v hvc1 -x265-params log-level=none:keyint=30"},
    {"mpeg2.mpg", "-c:v mpeg2video -q:v 3 -g 15 -bf 2"},
    {"mpeg2.ts", "-c:v mpeg2video -q:v 3 -g 15 -bf 2"},
    {"mpeg4.avi", "-c:v mpeg4 -q:v 3 -g 15"},
    {"prores.mov", "-c:v prores_ks -pix_fmt yuv422p10"},
    {"dnxhr.mov", "-c:v dnxhd -profile:v dnxhr_hq -pix_fmt yuv422p"},
    {"mjpeg.avi", "-c:v mjpeg -q:v 3 -pix_fmt yuvj420p"},
    {"ffv1.mkv", "-c:v ffv1 -pix_fmt yuv444p"},
    {"ffv1_rgb.mkv", "-c:v ffv1 -pix_fmt gbrp10"},
    {"raw.avi", "-c:v rawvideo -pix_fmt bgr24"},
    {"v210.mov", "-c:v v210 -pix_fmt yuv422p10"},
    {"late_start.mp4", "-c:v libx264 -pix_fmt yuv420p -g 24 -bf 3 -output_ts_offset 3.48"},
};

TEST(movie, every_frame_by_its_number) {
  if (!have_encoder()) GTEST_SKIP();
  const temp_folder folder;
  constexpr int count = 90;
  int tried = 0;
  for (const movie& m : movies) {
    const fs::path file = folder.path / m.file;
    if (!encode(file, count, "", m.options)) continue;
    ++tried;
    const auto clip = open(file);
    ASSERT_TRUE(clip) << m.file;
    EXPECT_EQ(clip->frames(), count) << m.file;
    EXPECT_EQ(clip->rate(), 2500) << m.file;
    for (int i = 0; i < count; ++i) ASSERT_EQ(shown(*clip, i), i) << m.file << " forwards";
    for (int i = count - 1; i >= 0; i -= 7) ASSERT_EQ(shown(*clip, i), i) << m.file << " backwards";
    std::mt19937 random(7);
    for (int i = 0; i < 40; ++i) {
      const int frame = static_cast<int>(random() % count);
      ASSERT_EQ(shown(*clip, frame), frame) << m.file << " at random";
    }
    EXPECT_EQ(shown(*clip, count), -1) << m.file << ": no stale picture behind the end";
    EXPECT_EQ(shown(*clip, -1), -1);
  }
  EXPECT_GE(tried, 8) << "ffmpeg made too few of the movies";
}

TEST(movie, several_threads_at_once) {
  if (!have_encoder()) GTEST_SKIP();
  const temp_folder folder;
  const fs::path file = folder.path / "long.mov";
  ASSERT_TRUE(encode(file, 200, "", "-c:v libx264 -pix_fmt yuv420p -g 30 -bf 2"));
  const auto clip = open(file);
  ASSERT_TRUE(clip);
  std::vector<int> wrong(6, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 6; ++t) {
    threads.emplace_back([&, t] {
      for (int i = t * 20; i < t * 20 + 60; ++i) wrong[t] += shown(*clip, i) != i;
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(wrong, std::vector<int>(6, 0));
}

TEST(movie, variable_rate_plays_at_its_nominal_rate) {
  if (!have_encoder()) GTEST_SKIP();
  const temp_folder folder;
  const fs::path file = folder.path / "gaps.mkv";
  // Frames 10 to 19 are dropped: the picture before them stands.
  ASSERT_TRUE(encode(file, 60, "",
                     "-vf \"select='not(between(n,10,19))'\" -fps_mode passthrough -c:v ffv1 -pix_fmt yuv444p -r 25 "
                     "-enc_time_base 1/25"));
  const auto clip = open(file);
  ASSERT_TRUE(clip);
  EXPECT_EQ(clip->frames(), 60);
  for (const auto& [frame, expected] : {std::pair{9, 9}, {10, 9}, {15, 9}, {19, 9}, {20, 20}, {14, 9}, {59, 59}})
    EXPECT_EQ(shown(*clip, frame), expected) << frame;
}

TEST(movie, what_the_header_says_may_be_wrong) {
  if (!have_encoder()) GTEST_SKIP();
  const temp_folder folder;
  const fs::path whole = folder.path / "whole.mov";
  ASSERT_TRUE(encode(whole, 100, "", "-c:v mjpeg -q:v 3 -pix_fmt yuvj420p -movflags +faststart"));
  const fs::path cut = folder.path / "cut.mov";
  fs::copy_file(whole, cut);
  fs::resize_file(cut, fs::file_size(whole) * 6 / 10);
  const auto clip = open(cut);
  ASSERT_TRUE(clip);
  EXPECT_GT(clip->frames(), 40);
  EXPECT_LT(clip->frames(), 75);
  EXPECT_EQ(shown(*clip, clip->frames() - 2), clip->frames() - 2);
  EXPECT_EQ(shown(*clip, 90), -1);

  const auto vanishing = open(whole);
  ASSERT_TRUE(vanishing);
  EXPECT_EQ(shown(*vanishing, 5), 5);
  fs::resize_file(whole, 2000);
  img::image image;
  for (int i = 0; i < 100; i += 9) vanishing->read(i, 0, image);
  fs::remove(whole);
  EXPECT_EQ(shown(*vanishing, 99), -1);
}

TEST(movie, is_refused) {
  const temp_folder folder;
  const fs::path file = folder.path / "junk.mov";
  std::mt19937 random(1);
  std::ofstream out(file, std::ios::binary);
  for (int i = 0; i < 1 << 18; ++i) out.put(static_cast<char>(random()));
  out.close();
  for (const clip_kind kind : {clip_kind::avi, clip_kind::directshow, clip_kind::quicktime, clip_kind::phantom_cine,
                               clip_kind::r3d, clip_kind::rtv}) {
    const auto result = sources::open_clip(kind, file.string(), 2500);
    EXPECT_FALSE(result.opened);
    EXPECT_LT(result.error, 0);
  }
  EXPECT_FALSE(sources::open_clip(clip_kind::quicktime, (folder.path / "missing.mov").string(), 2500).opened);
  if (!have_encoder()) return;
  const fs::path sound = folder.path / "sound.mov";
  const std::string command = "ffmpeg -nostdin -v error -f lavfi -i sine=d=1 -c:a pcm_s16le " + sound.string();
  ASSERT_EQ(std::system(command.c_str()), 0);
  EXPECT_FALSE(open(sound)) << "no video stream";
}

TEST(movie, colours_and_alpha) {
  if (!have_encoder()) GTEST_SKIP();
  const temp_folder folder;
  struct row {
    const char* file;
    const char* options;
    bool alpha;
  };
  const row rows[] = {
      {"bt601.mkv", "-vf scale=out_color_matrix=bt601:out_range=tv -c:v ffv1 -pix_fmt yuv444p -colorspace smpte170m",
       false},
      {"bt709.mkv", "-vf scale=out_color_matrix=bt709:out_range=tv -c:v ffv1 -pix_fmt yuv420p -colorspace bt709",
       false},
      {"bt2020.mkv", "-vf scale=out_color_matrix=bt2020:out_range=tv -c:v ffv1 -pix_fmt yuv422p10 -colorspace bt2020nc",
       false},
      {"full.mkv",
       "-vf scale=out_color_matrix=bt709:out_range=pc -c:v ffv1 -pix_fmt yuv444p12 -colorspace bt709 "
       "-color_range pc",
       false},
      {"alpha.mkv",
       "-vf format=yuva444p,scale=out_color_matrix=bt601:out_range=tv -c:v ffv1 -pix_fmt yuva444p10 "
       "-colorspace smpte170m",
       true},
      {"rgb.mov", "-c:v qtrle -pix_fmt argb", true},
      {"png.mov", "-c:v png -pix_fmt rgb24", false},
  };
  for (const row& r : rows) {
    const fs::path file = folder.path / r.file;
    const std::string command =
        std::string("ffmpeg -nostdin -v error -f lavfi -i color=c=0xC86432@") + (r.alpha ? "0.502" : "1") +
        ":s=64x48:d=0.2:r=25,format=" + (r.alpha ? "rgba" : "rgb24") + " " + r.options + " " + file.string();
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
    const auto clip = open(file);
    ASSERT_TRUE(clip) << r.file;
    img::image image;
    ASSERT_TRUE(clip->read(1, 0, image)) << r.file;
    EXPECT_EQ(clip->has_alpha(), r.alpha) << r.file;
    ASSERT_TRUE(image.has_plane(2)) << r.file;
    EXPECT_NEAR(image.row(2, 20)[20], 0xC8, 2) << r.file;
    EXPECT_NEAR(image.row(1, 20)[20], 0x64, 2) << r.file;
    EXPECT_NEAR(image.row(0, 20)[20], 0x32, 2) << r.file;
    EXPECT_EQ(image.has_plane(3), r.alpha) << r.file;
    if (r.alpha) {
      EXPECT_NEAR(image.row(3, 20)[20], 128, 1) << r.file;
    }
    EXPECT_EQ(image.frame, 1);
    EXPECT_EQ(image.user[0], (math::point{32, 24}));
    EXPECT_EQ(image.frame_rate_nm, 2500);
  }
}

TEST(movie, time_code_and_sound) {
  if (!have_encoder()) GTEST_SKIP();
  const temp_folder folder;
  const fs::path file = folder.path / "tc.mov";
  const std::string command =
      "ffmpeg -nostdin -v error -f lavfi -i color=s=64x48:d=2:r=30000/1001 -f lavfi -i sine=frequency=441:r=44100:d=2 "
      "-timecode \"00:00:59;28\" -c:v mjpeg -c:a pcm_s16le " +
      file.string();
  ASSERT_EQ(std::system(command.c_str()), 0);
  const auto clip = open(file);
  ASSERT_TRUE(clip);
  EXPECT_EQ(clip->rate(), 2997);
  img::image image;
  ASSERT_TRUE(clip->read(2, 0, image));
  EXPECT_EQ(img::to_text(image.timecode), "00:01:00;02") << "two numbers are dropped at the minute";
  const auto wave = clip->read_audio();
  ASSERT_TRUE(wave);
  EXPECT_EQ(wave->sample_rate, 44100u);
  EXPECT_EQ(wave->channels, 1u);
  EXPECT_EQ(wave->frames(), 88200) << "the exact length";
  int crossings = 0;
  for (int i = 1; i < 44100; ++i) crossings += wave->sample(i - 1, 0) < 0 && wave->sample(i, 0) >= 0;
  EXPECT_NEAR(crossings, 441, 1);
}

TEST(movie, samples_that_nobody_here_made) {
  int tried = 0;
  for (const char* name : {"movie/100_0306.avi", "movie/10bit.dpx.mkv", "movie/crc32.mkv", "movie/realshort.mp4",
                           "movie/v210_4x4.avi", "movie/xmp480qt.mov", "cine/chart1.cine", "cine/cine_781.cine"}) {
    const fs::path file = fs::path(KESTRIN_SAMPLES_DIR) / name;
    if (!fs::exists(file)) continue;
    ++tried;
    const auto clip = file.extension() == ".cine"
                          ? sources::open_clip(clip_kind::phantom_cine, file.string(), 2500).opened
                          : open(file);
    ASSERT_TRUE(clip) << name;
    img::image image;
    EXPECT_TRUE(clip->read(0, 0, image)) << name;
    EXPECT_TRUE(clip->read(clip->frames() - 1, 0, image)) << name << " frame " << clip->frames() - 1;
    EXPECT_EQ(image.width, clip->width()) << name;
  }
  if (tried == 0) GTEST_SKIP();
}

}  // namespace
