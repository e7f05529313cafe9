// Headers of Windows and OS/2 bitmaps.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "img/formats/shared/source_file.h"

namespace img {

enum bmp_compression { bmp_plain = 0, bmp_rle8 = 1, bmp_rle4 = 2, bmp_bit_fields = 3, bmp_alpha_bit_fields = 6 };

struct bmp_header {
  int width = 0;
  int height = 0;
  int bits = 0;  // of a pixel
  int compression = bmp_plain;
  bool top_down = false;
  std::array<std::uint32_t, 4> masks{};              // blue, green, red, alpha; 0 for a colour that is not there
  std::vector<std::array<std::uint8_t, 3>> palette;  // blue, green, red
  std::int64_t data = 0;                             // where the pixels lie

  bool has_palette() const { return bits <= 8; }
  bool has_alpha() const { return masks[3] != 0; }
  bool is_packed() const { return compression == bmp_rle8 || compression == bmp_rle4; }
  // Whether a colour has more than 8 bits.
  bool is_deep() const;
  // Bytes of a stored row, which ends at a multiple of four.
  std::int64_t row_bytes() const { return (static_cast<std::int64_t>(width) * bits + 31) / 32 * 4; }
};

// Throws io::invalid_signature, io::invalid_format with "Invalid width", "Invalid height", "Invalid number of planes",
// "Invalid/unsupported bit depth" and "Unsupported compression type", and io::eof_error for pixels beyond the file.
bmp_header read_bmp_header(const source_file& file);

}  // namespace img
