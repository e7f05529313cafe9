// Movies that carry the frame number in the picture: frame N asked for is frame N shown.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <random>
#include <thread>
#include <vector>

#include "paths.h"
#include "support/numbered_movie.h"
#include "support/temp_folder.h"

namespace {

using support::encode_numbers;
using support::number_of_frame;
using support::open_movie;

using movie = support::movie_maker;

// Frame N of `clip` shows the number first + N, forwards, backwards and at random, and nothing is after the end.
void expect_numbers(sources::clip& clip, int count, int first, const std::string& name) {
  ASSERT_EQ(clip.frames(), count) << name;
  for (int i = 0; i < count; ++i) ASSERT_EQ(number_of_frame(clip, i), first + i) << name << " forwards";
  for (int i = count - 1; i >= 0; i -= 7) ASSERT_EQ(number_of_frame(clip, i), first + i) << name << " backwards";
  std::mt19937 random(7);
  for (int i = 0; i < 40; ++i) {
    const int frame = static_cast<int>(random() % static_cast<unsigned>(count));
    ASSERT_EQ(number_of_frame(clip, frame), first + frame) << name << " at random";
  }
  EXPECT_EQ(number_of_frame(clip, count), -1) << name << ": no stale picture after the end";
  EXPECT_EQ(number_of_frame(clip, -1), -1) << name;
}

constexpr const char* x264 = "-c:v libx264 -pix_fmt yuv420p -g 24 -bf 3 ";
constexpr const char* x265 = "-c:v libx265 -pix_fmt yuv420p -x265-params log-level=none:keyint=30 ";

TEST_F(movie, every_frame_by_its_number) {
  struct row {
    const char* file;
    std::string options;
  };
  const row rows[] = {
      {"h264_bframes.mov", x264},
      {"h264_bframes.mkv", x264},
      {"h264.avi", x264},
      {"h264.flv", x264},
      {"h264.h264", x264},
      {"h264_open_gop.ts", std::string(x264) + "-x264opts open-gop=1"},
      {"h264_open_gop.mov", std::string(x264) + "-x264opts open-gop=1"},
      {"h264_one_group.mp4", "-c:v libx264 -pix_fmt yuv420p -g 9999 -keyint_min 9999 -sc_threshold 0 -bf 3"},
      {"h264_fragments.mp4", std::string(x264) + "-movflags frag_keyframe+empty_moov"},
      {"h264_negative_offsets.mp4", std::string(x264) + "-movflags negative_cts_offsets"},
      {"h264_interlaced.mov", std::string(x264) + "-flags +ilme+ildct -x264opts tff=1"},
      {"h265.mp4", x265},
      {"h265.ts", x265},
      {"h265_10bit.mov", "-c:v libx265 -pix_fmt yuv420p10 -tag:v hvc1 -x265-params log-level=none:keyint=30"},
      {"mpeg2.mpg", "-c:v mpeg2video -q:v 3 -g 15 -bf 2"},
      {"mpeg2.ts", "-c:v mpeg2video -q:v 3 -g 15 -bf 2"},
      {"mpeg2.m2v", "-c:v mpeg2video -q:v 3 -g 15 -bf 2"},
      {"mpeg2.mxf", "-c:v mpeg2video -q:v 3 -g 12 -bf 2"},
      {"mpeg4_bframes.avi", "-c:v mpeg4 -q:v 3 -g 15 -bf 2"},
      {"prores.mov", "-c:v prores_ks -pix_fmt yuv422p10"},
      {"prores_4444.mov", "-c:v prores_ks -pix_fmt yuva444p10"},
      {"dnxhr.mov", "-vf scale=480:288:flags=neighbor -c:v dnxhd -profile:v dnxhr_hq -pix_fmt yuv422p"},
      {"dnxhr.mxf", "-vf scale=480:288:flags=neighbor -c:v dnxhd -profile:v dnxhr_hqx -pix_fmt yuv422p10"},
      {"mjpeg.avi", "-c:v mjpeg -q:v 3 -pix_fmt yuvj420p"},
      {"dv.dv", "-vf scale=720:576:flags=neighbor -c:v dvvideo -pix_fmt yuv420p"},
      {"ffv1.mkv", "-c:v ffv1 -pix_fmt yuv444p"},
      {"ffv1_rgb.mkv", "-c:v ffv1 -pix_fmt gbrp10"},
      {"qtrle.mov", "-c:v qtrle -pix_fmt rgb24 -g 20"},
      {"png.mov", "-c:v png -pix_fmt rgb24"},
      {"raw.avi", "-c:v rawvideo -pix_fmt bgr24"},
      {"raw.y4m", "-pix_fmt yuv420p"},
      {"v210.mov", "-c:v v210 -pix_fmt yuv422p10"},
      {"vp9.webm", "-c:v libvpx-vp9 -g 30 -b:v 500k -deadline realtime -cpu-used 8"},
      {"late_start.mp4", std::string(x264) + "-output_ts_offset 3.48"},
      {"late_start.mkv", std::string(x264) + "-output_ts_offset 100"},
      {"late_start.ts", std::string(x264) + "-output_ts_offset 4000"},
  };
  int tried = 0;
  for (const row& r : rows) {
    if (!encode_numbers(file(r.file), 90, r.options)) {
      std::printf("not made: %s\n", r.file);
      continue;
    }
    ++tried;
    const auto clip = opened(r.file);
    ASSERT_TRUE(clip);
    EXPECT_EQ(clip->rate(), 2500) << r.file;
    expect_numbers(*clip, 90, 0, r.file);
  }
  EXPECT_GE(tried, 24) << "ffmpeg made too few of the movies";
}

TEST_F(movie, rates_that_are_no_whole_numbers) {
  struct row {
    const char* file;
    const char* rate;
    int expected;
  };
  // The times of a Matroska file are whole milliseconds, those of MPEG ticks of 1/90000 s.
  const row rows[] = {
      {"a.mov", "24000/1001", 2398}, {"b.mkv", "24000/1001", 2398}, {"c.ts", "30000/1001", 2997},
      {"d.mkv", "60000/1001", 5994}, {"e.avi", "30000/1001", 2997}, {"f.mp4", "48", 4800},
      {"g.mkv", "120", 12000},       {"h.mkv", "15/2", 750},
  };
  for (const row& r : rows) {
    const auto clip = numbered(r.file, 200, x264, r.rate);
    ASSERT_TRUE(clip);
    EXPECT_EQ(clip->rate(), r.expected) << r.file;
    expect_numbers(*clip, 200, 0, r.file);
  }
}

TEST_F(movie, an_edit_list_decides_what_frame_0_is) {
  ASSERT_TRUE(encode_numbers(file("whole.mov"), 90, x264));
  struct row {
    const char* name;
    std::string arguments;
    int count, first;
  };
  const std::string input = "-i " + file("whole.mov") + " -c copy ";
  const row rows[] = {
      // Copied from the key frame 0 on, and shown from the middle of its group.
      {"cut_front.mov", "-ss 0.52 " + input, 77, 13},
      {"cut_front.mp4", "-ss 1.24 " + input, 59, 31},
      // An empty edit in front: the movie begins with its first picture.
      {"delayed.mov",
       "-itsoffset 2 -i " + file("whole.mov") + " -f lavfi -i anullsrc -map 0:v -map 1:a -shortest -c:v copy ", 90, 0},
  };
  for (const row& r : rows) {
    ASSERT_TRUE(support::run_ffmpeg(r.arguments + file(r.name))) << r.name;
    const auto clip = opened(r.name);
    ASSERT_TRUE(clip);
    expect_numbers(*clip, r.count, r.first, r.name);
  }
}

TEST_F(movie, variable_rate_plays_at_its_nominal_rate) {
  // Frames 10 to 19 are dropped: the picture before them stands.
  const std::string drop = "-vf \"select='not(between(n,10,19))'\" -fps_mode passthrough -enc_time_base 1/25 ";
  for (const auto& [name, options] : {std::pair{"gaps.mkv", "-c:v ffv1 -pix_fmt yuv444p"},
                                      {"gaps.mov", "-c:v mjpeg -q:v 3 -pix_fmt yuvj420p"},
                                      {"gaps.mp4", "-c:v libx264 -pix_fmt yuv420p -bf 2"}}) {
    const auto clip = numbered(name, 60, drop + options);
    ASSERT_TRUE(clip);
    EXPECT_EQ(clip->frames(), 60) << name;
    EXPECT_EQ(clip->rate(), 2500) << name;
    for (const auto& [frame, expected] :
         {std::pair{9, 9}, {10, 9}, {15, 9}, {19, 9}, {20, 20}, {14, 9}, {59, 59}, {0, 0}})
      EXPECT_EQ(number_of_frame(*clip, frame), expected) << name << ' ' << frame;
  }
}

TEST_F(movie, several_threads_at_once) {
  const auto clip = numbered("long.mov", 200, "-c:v libx264 -pix_fmt yuv420p -g 30 -bf 2");
  ASSERT_TRUE(clip);
  const auto open_files = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
  };
  const auto before = open_files();
  constexpr int count = 8;  // more than there are decoding positions
  std::vector<int> wrong(count, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < count; ++t) {
    threads.emplace_back([&, t] {
      for (int i = t * 17; i < t * 17 + 60; ++i) wrong[t] += number_of_frame(*clip, i) != i;
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(wrong, std::vector<int>(count, 0));
  EXPECT_LE(open_files() - before, 5) << "the number of open decoders is bounded";
}

TEST_F(movie, times_that_jitter_stay_in_their_frames) {
  for (const char* name : {"jitter.mkv", "jitter.mp4"}) {
    const auto clip = numbered(name, 80,
                               "-vf \"settb=1/1000,setpts='N*40-gt(N,0)*random(1)*12'\" -fps_mode passthrough "
                               "-enc_time_base 1/1000 -c:v libx264 -pix_fmt yuv420p -g 24 -bf 2 -use_editlist 0");
    ASSERT_TRUE(clip);
    EXPECT_EQ(clip->rate(), 2500) << name;
    expect_numbers(*clip, 80, 0, name);
  }
}

// The bytes that the process has read from files so far.
long long bytes_read() {
  std::ifstream file("/proc/self/io");
  std::string name;
  long long count = 0;
  file >> name >> count;
  return count;
}

TEST_F(movie, each_position_reads_on_without_jumps) {
  ASSERT_TRUE(encode_numbers(file("long.mov"), 240,
                             "-vf noise=alls=15:allf=t -c:v libx264 -qp 4 -pix_fmt yuv420p -g 30 -bf 2"));
  const auto size = static_cast<long long>(std::filesystem::file_size(file("long.mov")));
  ASSERT_GT(size, 1 << 20);
  const auto clip = opened("long.mov");
  ASSERT_TRUE(clip);
  // Three layers of one clip take turns, each at its own place and in order.
  const auto play = [&](int from, int to) {
    const long long before = bytes_read();
    for (int i = from; i < to; ++i) {
      for (const int place : {0, 80, 160}) EXPECT_EQ(number_of_frame(*clip, place + i), place + i);
    }
    return bytes_read() - before;
  };
  play(0, 5);
  // A jump would read part of a group again for each frame.
  EXPECT_LT(play(5, 80), size * 3 / 2);
}

TEST_F(movie, frames_have_addresses) {
  struct row {
    const char* file;
    const char* options;
    const char* address;  // of frame 12
  };
  const row rows[] = {
      {"a,1.avi", "-c:v mjpeg -pix_fmt yuvj420p", "\\A,12"},
      {"b.mkv", "-c:v mjpeg -pix_fmt yuvj420p", "\\D,4800000"},  // of 100 ns: 12 times 400,000
      {"c.mov", "-c:v mjpeg -pix_fmt yuvj420p -video_track_timescale 2500", "\\Q,1200"},
  };
  for (const row& r : rows) {
    const auto clip = numbered(r.file, 20, r.options);
    ASSERT_TRUE(clip);
    EXPECT_EQ(sources::clip_frame_name(*clip, file(r.file), 12), file(r.file) + r.address);
  }
}

TEST(movie_samples, first_and_last_frame_of_any_coding) {
  if (!support::have_ffmpeg()) GTEST_SKIP() << "no ffmpeg to make movies with";
  const support::temp_folder folder;
  std::vector<std::string> files;
  for (const auto& [name, options] : {std::pair{"a.avi", "-c:v mpeg4"},
                                      {"b.mkv", "-c:v ffv1"},
                                      {"c.mov", "-c:v prores"},
                                      {"d.mp4", "-c:v libx264 -bf 2 -pix_fmt yuv420p"},
                                      {"e.mov", "-c:v v210"}}) {
    files.push_back(folder / name);
    ASSERT_TRUE(
        support::run_ffmpeg(std::string("-f lavfi -i testsrc2=size=64x48 -frames:v 9 ") + options + " " + files.back()))
        << name;
  }
  for (const char* name : {"movie/100_0306.avi", "movie/10bit.dpx.mkv", "movie/crc32.mkv", "movie/realshort.mp4",
                           "movie/v210_4x4.avi", "movie/xmp480qt.mov", "cine/chart1.cine", "cine/cine_781.cine"}) {
    const std::string file = std::string(KESTRIN_SAMPLES_DIR) + "/" + name;
    if (std::filesystem::exists(file)) files.push_back(file);
  }
  for (const std::string& name : files) {
    const auto clip = open_movie(name).opened;
    ASSERT_TRUE(clip) << name;
    img::image image;
    EXPECT_TRUE(clip->read(0, 0, image)) << name;
    EXPECT_TRUE(clip->read(clip->frames() - 1, 0, image)) << name << " frame " << clip->frames() - 1;
    EXPECT_EQ(image.width, clip->width()) << name;
  }
}

}  // namespace
