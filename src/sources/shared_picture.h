// A picture that another program keeps in shared memory while it renders.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "sources/live_source.h"

namespace sources {

// The begin of a block: little-endian words of 32 bits, and a text. What a short header does not hold has the value
// that stands here.
struct shared_picture_header {
  static constexpr std::uint32_t magic = 0xFC7D001A;
  static constexpr int least_bytes = 32;
  static constexpr int most_bytes = 108;  // that mean something

  int width = 0;  // pixels
  int height = 0;
  std::uint32_t color_offset = 0;  // of `height` rows of blue, green, red and a free byte
  std::uint32_t alpha_offset = 0;  // of `height` rows of bytes; 0 for none
  std::uint32_t third_offset = 0;  // of a plane of 4 bytes a pixel that is not shown; 0 for none
  int frame = -1;                  // that is being rendered
  std::uint32_t render_time = 0;   // as the renderer counts it
  std::string project;             // at most 64 bytes
  std::uint32_t further = 0;       // of the renderer's own
};

// Reads the header at the begin of a block of `block_bytes`, of which the first `count` (at most `most_bytes`) are
// given. False, with what is wrong in `reason`, unless all that it speaks of lies in the block.
bool parse_header(const std::uint8_t* bytes, std::size_t count, std::int64_t block_bytes, shared_picture_header& header,
                  std::string& reason);

constexpr const char* shared_picture_prefix = "shm:/";

// Opens the block that a path with the prefix names, and reads its picture once. Null with an errno in `error`, or with
// 0 there and what is wrong in `reason`. The geometry stays that of the opening; a block that has become too short for
// it leaves the picture as it was. Throws std::bad_alloc.
std::shared_ptr<live_source> open_shared_picture(const std::string& path, int& error, std::string& reason);

}  // namespace sources
