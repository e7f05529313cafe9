// The headers of film scans: DPX (SMPTE ST 268-1) and Cineon (Kodak Cineon 4.5).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "img/image.h"

namespace img {

// How samples stand in a row. Words are of 32 bits, in the byte order of the file.
enum class film_coding {
  bytes,         // one byte a sample
  three_a_word,  // three of 10 bits a word; the highest first, or the lowest for pictures of one channel
  run_on,        // 10 or 12 bits each, the lowest of a word first, on over the ends of words
  shorts,        // 16 bits a sample
  floats,        // IEEE singles
};

// The fields of a header that the pixel reader needs.
struct film_header {
  int width = 0;  // of element 0, in pixels; any value from the file
  int height = 0;
  film_coding coding = film_coding::three_a_word;
  int bits = 10;                   // that count in a sample: 8, 10, 12, 16 or 32
  int shift = 2;                   // of a sample, or of the lowest in a word, above the lowest bit of what holds it
  int channels = 3;                // 1, 3 or 4: luma, RGB, RGBA
  bool alpha_first = false;        // then alpha, blue, green, red
  std::uint32_t line_padding = 0;  // bytes after each row
  std::int64_t data_offset = 0;    // where the pixels begin
  bool big_endian = true;
  bool bottom_up = false;  // the file's first row is the lowest

  // The common form, which is kept as the file holds it: red, green and blue in the upper 30 bits of a word.
  bool is_plain_log() const { return coding == film_coding::three_a_word && channels == 3 && shift == 2; }
};

// Bytes of the fixed part of either header. A file may be shorter, and its pixels may begin earlier.
constexpr std::size_t film_header_bytes = 2048;

// Reads a header from the first bytes of a file and takes metadata, time codes, key code, rate, pixel aspect and frame
// number into `info`. Fields with all bits set, and fields after the start of the pixels, count as not given. Throws
// io::invalid_signature, io::eof_error, and io::invalid_format for what can't be read, with what was found and what is
// read; `path` names the file in them.
film_header parse_film_header(std::span<const std::uint8_t> bytes, const std::string& path, image_info& info);

}  // namespace img
