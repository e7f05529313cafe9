// Movies that carry the frame number in the picture, made with the ffmpeg program where there is one.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "sources/clip.h"
#include "support/ffmpeg.h"
#include "support/temp_folder.h"

namespace support {

constexpr int number_bits = 10;

// 160 x 96 pixels: ten blocks side by side, one a binary digit, light for 1 and dark for 0.
inline std::string numbered_frame(int number) {
  std::string row;
  for (int x = 0; x < 160; ++x) row += static_cast<char>(number >> (x / 16) & 1 ? 200 : 50);
  std::string rows;
  for (int y = 0; y < 96; ++y) rows += row;
  return rows;
}

// The number in a picture of any size, -1 for no picture.
inline int number_in(const img::image& image) {
  if (image.empty()) return -1;
  int number = 0;
  for (int bit = 0; bit < number_bits; ++bit) {
    if (image.row(0, image.height / 2)[(2 * bit + 1) * image.width / (2 * number_bits)] > 128) number |= 1 << bit;
  }
  return number;
}

// Encodes frames 0 to `count` - 1 at `rate`; false when this ffmpeg can't.
inline bool encode_numbers(const std::string& file, int count, const std::string& options,
                           const std::string& rate = "25", const std::string& other_inputs = "") {
  const std::string raw = file + ".gray";
  {
    std::ofstream out(raw, std::ios::binary);
    for (int i = 0; i < count; ++i) out << numbered_frame(i);
  }
  const bool good = run_ffmpeg("-f rawvideo -pix_fmt gray -s 160x96 -r " + rate + " -i " + raw + " " + other_inputs +
                               " " + options + " " + file);
  std::filesystem::remove(raw);
  return good;
}

// As the kind that is tried for the extension.
inline sources::open_result open_movie(const std::string& file) {
  const std::string extension = std::filesystem::path(file).extension();
  const bool mov = extension == ".mov" || extension == ".mp4";
  const auto kind = extension == ".avi"    ? sources::clip_kind::avi
                    : extension == ".cine" ? sources::clip_kind::phantom_cine
                    : mov                  ? sources::clip_kind::quicktime
                                           : sources::clip_kind::directshow;
  return sources::open_clip(kind, file, 2500);
}

// A test that makes movies of its own.
class movie_maker : public testing::Test {
 protected:
  void SetUp() override {
    if (!have_ffmpeg()) GTEST_SKIP() << "no ffmpeg to make movies with";
  }
  std::string file(const std::string& name) const { return folder / name; }
  // An open movie of encode_numbers(); null after a failure.
  std::shared_ptr<sources::clip> numbered(const std::string& name, int count, const std::string& options,
                                          const std::string& rate = "25") const {
    EXPECT_TRUE(encode_numbers(file(name), count, options, rate)) << name << " is not made";
    return opened(name);
  }
  std::shared_ptr<sources::clip> opened(const std::string& name) const {
    auto clip = open_movie(file(name)).opened;
    EXPECT_TRUE(clip) << name << " is not opened";
    return clip;
  }

  temp_folder folder;
};

inline int number_of_frame(sources::clip& clip, int frame) {
  img::image image;
  return clip.read(frame, 0, image) ? number_in(image) : -1;
}

}  // namespace support
