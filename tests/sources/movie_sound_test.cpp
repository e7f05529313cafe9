// Time codes and sound of movies.
#include <gtest/gtest.h>

#include "support/numbered_movie.h"
#include "support/pictures.h"
#include "support/temp_folder.h"

namespace {

using support::open_movie;

using movie_sound = support::movie_maker;

TEST_F(movie_sound, time_codes) {
  struct row {
    const char* file;
    const char* rate;
    const char* timecode;
    int frame;
    const char* expected;
  };
  const row rows[] = {
      {"drop.mov", "30000/1001", "00:00:59;28", 2, "00:01:00;02"},  // two numbers are dropped at the minute
      {"film.mov", "24", "01:00:00:00", 30, "01:00:01:06"},
      {"film.mxf", "25", "10:11:12:24", 1, "10:11:13:00"},
      {"none.mov", "25", "", 3, ""},
      // All pictures of a second are counted in the file, and every other one here.
      {"counted.mov", "30000/1001", "01:00:00:00", 31, "01:00:01:01"},
      {"fast.mov", "50", "01:00:00:40", 11, "01:00:01:00+1/2"},
      {"fast_drop.mov", "60000/1001", "01:00:59;58", 2, "01:01:00;02+0/2"},
      {"fast_drop_10.mov", "60000/1001", "01:09:59;59", 1, "01:10:00;00+0/2"},
      {"fast_counted.mov", "60000/1001", "01:00:00:59", 1, "01:00:01:00+0/2"},
      {"film_counted.mov", "48000/1001", "01:00:00:47", 1, "01:00:01:00+0/2"},
  };
  for (const row& r : rows) {
    const std::string code = *r.timecode ? " -timecode \"" + std::string(r.timecode) + "\"" : std::string();
    ASSERT_TRUE(support::run_ffmpeg(std::string("-f lavfi -i color=s=64x48:d=2:r=") + r.rate + code +
                                    " -c:v mpeg2video -q:v 3 " + file(r.file)))
        << r.file;
    const auto clip = opened(r.file);
    ASSERT_TRUE(clip);
    img::image image;
    ASSERT_TRUE(clip->read(r.frame, 0, image));
    EXPECT_EQ(img::to_text(image.timecode), r.expected) << r.file;
  }
}

TEST_F(movie_sound, one_block_of_the_exact_length) {
  struct row {
    const char* file;
    const char* codec;
    int rate, channels;
    bool exact;
  };
  const row rows[] = {
      {"a.mov", "pcm_s16le", 44100, 1, true}, {"b.mov", "pcm_s24le", 48000, 2, true},
      {"c.avi", "pcm_s16le", 48000, 2, true}, {"d.mkv", "flac", 44100, 2, true},
      {"e.mov", "pcm_f32le", 48000, 2, true}, {"f.mov", "alac", 44100, 2, true},
      {"g.mp4", "aac", 48000, 2, false},      {"h.mkv", "libvorbis", 44100, 1, false},
      {"i.ts", "mp2", 48000, 2, false},       {"j.mov", "pcm_s16le -ac 6", 48000, 2, true},
      {"k.mov", "pcm_u8", 22050, 1, true},
  };
  for (const row& r : rows) {
    const std::string rate = std::to_string(r.rate);
    ASSERT_TRUE(support::run_ffmpeg(
        "-f lavfi -i color=s=64x48:d=2:r=25 -f lavfi -i sine=frequency=441:r=" + rate +
        ":d=2 -c:v mpeg2video -q:v 3 -c:a " + r.codec + " -ar " + rate +
        (std::string(r.codec).find("-ac") == std::string::npos ? " -ac " + std::to_string(r.channels) : "") + " " +
        file(r.file)))
        << r.file;
    const auto clip = opened(r.file);
    ASSERT_TRUE(clip);
    const auto wave = clip->read_audio();
    ASSERT_TRUE(wave) << r.file;
    EXPECT_EQ(wave->sample_rate, static_cast<unsigned>(r.rate)) << r.file;
    EXPECT_EQ(wave->channels, static_cast<unsigned>(r.channels)) << r.file;
    EXPECT_EQ(wave->bits, 16);
    // A codec with blocks may fill up its last one.
    EXPECT_GE(wave->frames(), 2LL * r.rate - (r.exact ? 0 : 2304)) << r.file;
    EXPECT_LE(wave->frames(), 2LL * r.rate + (r.exact ? 0 : 2304)) << r.file;
    int crossings = 0;
    for (int i = 1; i < r.rate; ++i) crossings += wave->sample(i - 1, 0) < 0 && wave->sample(i, 0) >= 0;
    EXPECT_NEAR(crossings, 441, 2) << r.file;
  }
}

// Broadcast recordings change between films and news: the layout, the number of channels or the rate.
TEST_F(movie_sound, a_form_that_changes_in_the_middle) {
  const auto part = [&](const std::string& name, const std::string& form) {
    EXPECT_TRUE(
        support::run_ffmpeg("-f lavfi -i color=s=64x48:d=1:r=25 -f lavfi -i sine=frequency=441:r=48000:d=1 -c:v "
                            "mpeg2video -q:v 3 -c:a ac3 " +
                            form + " " + file(name)));
    return support::read_file(file(name));
  };
  const std::string wide = part("wide.ts", "-af \"pan=5.1|FC=c0\""), pair = part("pair.ts", "-ac 2");
  const std::string slow = part("slow.ts", "-ac 2 -ar 32000");
  struct row {
    const char* name;
    std::string content;
  };
  for (const row& r : {row{"down.ts", wide + pair}, row{"up.ts", pair + wide}, row{"rate.ts", pair + slow}}) {
    support::write_file(file(r.name), r.content);
    const auto clip = opened(r.name);
    ASSERT_TRUE(clip);
    const auto wave = clip->read_audio();
    ASSERT_TRUE(wave) << r.name;
    EXPECT_EQ(wave->sample_rate, 48000u);
    EXPECT_EQ(wave->channels, 2u);
    EXPECT_NEAR(static_cast<double>(wave->frames()), 96000, 4608) << r.name;
    for (const int from : {12'000, 60'000}) {
      int crossings = 0;
      for (int i = from + 1; i <= from + 24'000; ++i)
        crossings += wave->sample(i - 1, 0) < 0 && wave->sample(i, 0) >= 0;
      EXPECT_NEAR(crossings, 220, 3) << r.name << " from " << from;
    }
  }
}

TEST_F(movie_sound, begins_with_frame_0) {
  // A click at a quarter of a second in the file, where the picture is frame 5 of 20 a second; then the same with the
  // sound half a second later, and with the picture cut.
  ASSERT_TRUE(
      support::run_ffmpeg("-f lavfi -i color=s=64x48:d=2:r=20 -f lavfi -i "
                          "\"aevalsrc='if(between(t,0.25,0.26),0.9,0)':s=48000:d=2\" "
                          "-c:v mjpeg -c:a pcm_s16le " +
                          file("a.mov")));
  ASSERT_TRUE(support::run_ffmpeg("-i " + file("a.mov") + " -itsoffset 0.5 -i " + file("a.mov") +
                                  " -map 0:v -map 1:a -c copy " + file("late.mkv")));
  ASSERT_TRUE(support::run_ffmpeg("-i " + file("a.mov") + " -c copy -output_ts_offset 7 " + file("shifted.mkv")));
  for (const auto& [name, click] : {std::pair{"a.mov", 0.25}, {"late.mkv", 0.75}, {"shifted.mkv", 0.25}}) {
    const auto clip = opened(name);
    ASSERT_TRUE(clip);
    const auto wave = clip->read_audio();
    ASSERT_TRUE(wave) << name;
    long long first = 0;
    while (first < wave->frames() && wave->sample(first, 0) < 8192) ++first;
    EXPECT_NEAR(static_cast<double>(first) / wave->sample_rate, click, 0.0015) << name;
  }
}

TEST_F(movie_sound, none_and_broken) {
  ASSERT_TRUE(support::run_ffmpeg("-f lavfi -i color=s=64x48:d=1:r=25 -c:v mjpeg " + file("silent.mov")));
  EXPECT_FALSE(open_movie(file("silent.mov")).opened->read_audio());
  ASSERT_TRUE(support::run_ffmpeg("-f lavfi -i color=s=64x48:d=1:r=25 -f lavfi -i sine=d=1 -c:v mjpeg -c:a pcm_s16le " +
                                  file("gone.mov")));
  const auto clip = opened("gone.mov");
  ASSERT_TRUE(clip);
  std::filesystem::remove(file("gone.mov"));
  EXPECT_FALSE(clip->read_audio());
}

}  // namespace
