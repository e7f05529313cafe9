// The metadata of the frames of a Phantom Cine file: numbers, rate, and when each was taken.
//
// Layout (Vision Research, "The Cine File Format"): a file header of 44 bytes, a setup block, tagged blocks with
// something for each image, the table of image positions, the images. All little-endian.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "img/image.h"

namespace sources {

// Time of day and date, Universal Time.
struct cine_time {
  std::uint32_t seconds = 0;   // since the beginning of 1970
  std::uint32_t fraction = 0;  // in 1 / 2^32 s
  bool operator==(const cine_time&) const = default;
};

// Reads a few bytes for each question and keeps none, so its memory does not depend on what a file claims. Any thread
// may ask.
class cine_file {
 public:
  // Reads exactly `count` bytes at `offset`; false when they are not there. Any thread.
  using read_function = std::function<bool(void* buffer, std::size_t count, std::int64_t offset)>;

  // No Cine file that can be read gives nothing.
  static std::optional<cine_file> open(const std::string& path);
  static std::optional<cine_file> open(read_function read, std::int64_t size);

  int first_image() const { return first_image_; }  // number of frame 0, counted from the trigger
  int frames() const { return frames_; }            // that the table has; a file that was cut may hold fewer
  // Those before the first one that the file does not hold to its end.
  int whole_frames() const;
  double rate() const { return rate_; }  // pictures a second that the camera took, 0 when not told
  cine_time trigger() const { return trigger_; }

  // When a frame was exposed.
  std::optional<cine_time> time_of(int frame) const;
  // The time code that was recorded along with a frame, null without.
  img::timecode timecode_of(int frame) const;

  // Sets time codes and metadata of frame `frame`: the recorded time code if there is one, the time of day otherwise,
  // or second to it.
  void describe(int frame, img::image_info& info) const;

 private:
  struct block {
    std::int64_t position = 0;
    int entries = 0;  // of 8 bytes
  };

  bool is_whole(int frame) const;

  read_function read_;
  std::int64_t size_ = 0;   // of the file
  std::int64_t table_ = 0;  // of the positions of the images
  std::int64_t entry_size_ = 8;
  int first_image_ = 0;
  int frames_ = 0;
  double rate_ = 0.0;
  cine_time trigger_;
  block times_;
  block timecodes_;

  void find_blocks(std::int64_t position, std::int64_t end);
};

// Hours to frames of a time at a rate (a second). Beyond 30 pictures a second a frame of the code is divided into
// sub-frames, since it counts no more than 30.
img::timecode timecode_of(const cine_time& time, double rate);
// "2014-07-14 10:38:04.322456 UTC".
std::string to_text(const cine_time& time);

}  // namespace sources
