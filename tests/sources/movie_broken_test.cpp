// Movies that are cut, lie, change or vanish: the line, no hang, no growth.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <random>

#include "support/numbered_movie.h"
#include "support/temp_folder.h"

namespace {

namespace fs = std::filesystem;
using sources::clip_kind;
using support::encode_numbers;
using support::number_of_frame;
using support::open_movie;

constexpr clip_kind all_kinds[] = {clip_kind::avi,          clip_kind::directshow, clip_kind::quicktime,
                                   clip_kind::phantom_cine, clip_kind::r3d,        clip_kind::rtv};

using broken_movie = support::movie_maker;

// Kilobytes that the process has in memory.
long resident() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) return std::strtol(line.c_str() + 6, nullptr, 10);
  }
  return 0;
}

TEST(junk, is_refused_by_every_kind_without_growth) {
  const support::temp_folder folder;
  const std::string file = folder / "junk.mov";
  std::mt19937 random(1);
  const auto bytes = [&](std::size_t count) {
    std::string text;
    while (text.size() < count) text += static_cast<char>(random());
    return text;
  };
  const std::string header(
      "\0\0\0\x14"
      "ftypqt  \0\0\0\0qt  ",
      20);
  struct row {
    const char* name;
    std::string beginning;
  };
  const row rows[] = {
      {"zeros", ""},
      {"noise", bytes(1 << 18)},
      // An atom of 1 GB that is the movie's description.
      {"a description without end", header + std::string("\x3F\xFF\xFF\x00moov\x3F\xFF\xF0\x00trak", 16)},
      {"data without a description", header + std::string("\x3F\xFF\xFF\x00mdat", 8) + bytes(5000)},
      {"a list of a size that is a lie", "RIFF" +
                                             std::string("\xFF\xFF\xFF\x3F"
                                                         "AVI LIST\xF0\xFF\xFF\x3Fhdrl",
                                                         20) +
                                             bytes(3000)},
      {"transport packets of nothing",
       [] {
         std::string packets;
         for (int i = 0; i < 4000; ++i) packets += std::string("\x47\x1F\xFF\x10", 4) + std::string(184, '\xFF');
         return packets;
       }()},
  };
  open_movie(file);  // the libraries are in memory from here on
  const long before = resident();
  for (const row& r : rows) {
    support::write_file(file, r.beginning);
    fs::resize_file(file, 1 << 30);
    for (const clip_kind kind : all_kinds) {
      const auto result = sources::open_clip(kind, file, 2500);
      EXPECT_FALSE(result.opened) << r.name;
      EXPECT_LT(result.error, 0) << r.name;
    }
    EXPECT_LT(resident() - before, 64 * 1024) << r.name << ": of a file of 1 GB";
  }
}

TEST(junk, what_is_no_file) {
  const support::temp_folder folder;
  const std::string pipe = folder / "pipe.mov";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  support::write_file(folder / "empty.mov", "");
  support::write_file(folder / "list.mov", "ffconcat version 1.0\nfile /etc/passwd\n");
  fs::create_directory(folder / "folder.mov");
  for (const char* name : {"pipe.mov", "empty.mov", "list.mov", "folder.mov", "missing.mov"}) {
    for (const clip_kind kind : all_kinds) EXPECT_FALSE(sources::open_clip(kind, folder / name, 2500).opened) << name;
  }
  const auto rtv = sources::open_clip(clip_kind::rtv, folder / "empty.mov", 2500);
  EXPECT_FALSE(rtv.available);
  EXPECT_EQ(rtv.error, -1);
}

TEST_F(broken_movie, without_pictures) {
  struct row {
    const char* name;
    const char* arguments;
  };
  const row rows[] = {
      {"sound.mov", "-f lavfi -i sine=d=1 -c:a pcm_s16le"},
      {"sound.avi", "-f lavfi -i sine=d=1 -c:a pcm_s16le"},
      {"sound.mkv", "-f lavfi -i sine=d=1 -c:a flac"},
      {"sound.wav", "-f lavfi -i sine=d=1 -c:a pcm_f32le"},
      {"zero_frames.mov", "-f lavfi -i color=s=64x48:d=1 -frames:v 0 -c:v mjpeg"},
      {"zero_frames.avi", "-f lavfi -i color=s=64x48:d=1 -frames:v 0 -c:v mjpeg"},
      {"zero_frames.mkv", "-f lavfi -i color=s=64x48:d=1 -frames:v 0 -c:v ffv1"},
  };
  for (const row& r : rows) {
    ASSERT_TRUE(support::run_ffmpeg(std::string(r.arguments) + " " + file(r.name))) << r.name;
    for (const clip_kind kind : all_kinds) EXPECT_FALSE(sources::open_clip(kind, file(r.name), 2500).opened) << r.name;
  }
}

TEST_F(broken_movie, with_a_size_that_changes) {
  const std::string small = "-f lavfi -i color=c=white:s=160x96:r=25 -frames:v 20 ";
  const std::string large = "-f lavfi -i color=c=white:s=320x192:r=25 -frames:v 20 ";
  struct row {
    const char* extension;
    const char* options;
  };
  const row rows[] = {
      {".ts", "-c:v mpeg2video -q:v 3 -g 5 -bf 0 "},
      {".mjpeg", "-c:v mjpeg -q:v 3 -pix_fmt yuvj420p "},
      {".h264", "-c:v libx264 -pix_fmt yuv420p -g 5 -bf 0 "},
  };
  for (const row& r : rows) {
    const std::string first = file(std::string("first") + r.extension);
    const std::string second = file(std::string("second") + r.extension);
    const std::string both = file(std::string("both") + r.extension);
    // The second part goes on in time where there are times.
    ASSERT_TRUE(support::run_ffmpeg(small + r.options + first));
    ASSERT_TRUE(support::run_ffmpeg(large + r.options + "-output_ts_offset 0.8 " + second));
    support::write_file(both, support::read_file(first) + support::read_file(second));
    const auto clip = open_movie(both).opened;
    ASSERT_TRUE(clip) << r.extension;
    EXPECT_EQ(clip->width(), 160);
    EXPECT_GE(clip->frames(), 38) << r.extension;
    for (const int frame : {0, 5, 30, 3, 38, 15, 25}) {
      img::image image;
      const bool good = clip->read(frame, 0, image);
      EXPECT_EQ(good, frame < 20) << r.extension << ' ' << frame << ": a picture of another size is none of this clip";
      if (good) {
        EXPECT_EQ(image.width, 160);
        EXPECT_GT(image.row(1, 50)[50], 240);
      }
    }
  }
}

TEST_F(broken_movie, that_was_cut) {
  struct row {
    const char* file;
    const char* options;
  };
  const row rows[] = {
      {"a.mov", "-c:v mjpeg -q:v 3 -pix_fmt yuvj420p -movflags +faststart"},
      {"b.mp4", "-c:v libx264 -pix_fmt yuv420p -g 12 -bf 2 -movflags +faststart"},
      {"c.mp4", "-c:v libx264 -pix_fmt yuv420p -g 12 -bf 2 -movflags frag_keyframe+empty_moov"},
      {"d.mkv", "-c:v libx264 -pix_fmt yuv420p -g 12 -bf 2"},
      {"e.ts", "-c:v mpeg2video -q:v 3 -g 12 -bf 2"},
      {"f.avi", "-c:v mjpeg -q:v 3 -pix_fmt yuvj420p"},
      {"g.mpg", "-c:v mpeg2video -q:v 3 -g 12 -bf 2"},
  };
  for (const row& r : rows) {
    ASSERT_TRUE(encode_numbers(file(r.file), 100, r.options)) << r.file;
    fs::resize_file(file(r.file), fs::file_size(file(r.file)) * 6 / 10);
    const auto clip = opened(r.file);
    ASSERT_TRUE(clip);
    EXPECT_GT(clip->frames(), 25) << r.file;  // the description of a small movie takes its part of the file
    EXPECT_LT(clip->frames(), 75) << r.file;
    for (const int frame : {3, clip->frames() - 5, 20, 0, clip->frames() - 6})
      EXPECT_EQ(number_of_frame(*clip, frame), frame) << r.file;
    EXPECT_EQ(number_of_frame(*clip, 90), -1) << r.file;
    // The last frames may be damaged, but come or fail at once.
    for (int frame = clip->frames() - 1; frame > clip->frames() - 4; --frame) number_of_frame(*clip, frame);
  }
}

TEST_F(broken_movie, whose_header_counts_wrongly) {
  ASSERT_TRUE(encode_numbers(file("a.avi"), 50, "-c:v mjpeg -q:v 3 -pix_fmt yuvj420p"));
  const std::string good = support::read_file(file("a.avi"));
  const std::size_t main_header = good.find("avih") + 8;
  const std::size_t stream_header = good.find("strh") + 8;
  ASSERT_LT(stream_header, good.size());
  for (const unsigned count : {0u, 7u, 51u, 5000u, 0x7FFFFFFFu}) {
    std::string bytes = good;
    for (int i = 0; i < 4; ++i) {
      bytes[main_header + 16 + i] = static_cast<char>(count >> 8 * i);    // dwTotalFrames
      bytes[stream_header + 32 + i] = static_cast<char>(count >> 8 * i);  // dwLength
    }
    support::write_file(file("b.avi"), bytes);
    const auto clip = opened("b.avi");
    ASSERT_TRUE(clip);
    EXPECT_EQ(clip->frames(), 50) << count;
    for (const int frame : {49, 0, 25}) EXPECT_EQ(number_of_frame(*clip, frame), frame) << count;
  }
}

TEST_F(broken_movie, that_vanishes_while_it_plays) {
  // Larger than what a reader may hold in its buffer.
  for (const auto& [name, options] : {std::pair{"a.mov", "-vf noise=alls=8 -c:v mjpeg -q:v 1 -pix_fmt yuvj420p"},
                                      {"b.ts", "-vf noise=alls=8 -c:v mpeg2video -q:v 1 -g 12 -bf 2"}}) {
    const auto cut = numbered(name, 100, options);
    ASSERT_TRUE(cut);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(number_of_frame(*cut, i), i) << name;
    fs::resize_file(file(name), 2000);
    img::image image;
    for (int i = 6; i < 100; ++i) cut->read(i, 0, image);
    for (int i = 99; i >= 0; i -= 9) cut->read(i, 0, image);
    EXPECT_EQ(number_of_frame(*cut, 99), -1) << name;

    const auto deleted = numbered(name, 100, options);
    ASSERT_TRUE(deleted);
    EXPECT_EQ(number_of_frame(*deleted, 5), 5) << name;
    fs::remove(file(name));
    // A position that is open goes on, and no other can be opened: each read is right or fails.
    for (const int frame : {6, 7, 50, 3, 99, 20, 21, 70}) {
      const int shown = number_of_frame(*deleted, frame);
      EXPECT_TRUE(shown == frame || shown == -1) << name << ' ' << frame << " shows " << shown;
    }
  }
}

}  // namespace
