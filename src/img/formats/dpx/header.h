// The headers of film scans: DPX (SMPTE ST 268-1) and Cineon (Kodak Cineon 4.5).
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "img/image.h"

namespace img {

// What the pixel reader needs of a header.
struct film_header {
  int width = 0;  // of element 0, in pixels; any value from the file
  int height = 0;
  int bit_depth = 10;              // 10, or another when each sample has 16 bits of the file for itself
  int descriptor = 50;             // 50 RGB, 51 RGBA
  std::uint32_t line_padding = 0;  // bytes behind each row
  std::int64_t data_offset = 0;    // where the pixels begin
  bool big_endian = true;
  bool bottom_up = false;  // the file's first row is the lowest
};

// Bytes of the fixed part of either header. A file may be shorter, and its pixels may begin earlier.
constexpr std::size_t film_header_bytes = 2048;

// Reads a header from the first bytes of a file and takes metadata, time codes, key code, rate and frame number into
// `info`. Fields with all bits set, and fields behind the begin of the pixels, count as not given. Throws
// io::invalid_signature, io::eof_error, and io::invalid_format for what can't be read; `path` names the file in them.
film_header parse_film_header(std::span<const std::uint8_t> bytes, const std::string& path, image_info& info);

}  // namespace img
