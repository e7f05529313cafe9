// Codings of OpenEXR chunks. Nothing here throws or reads past its input.
#pragma once

#include <openexr.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace img {

// One row of one channel and where it begins in the unpacked chunk. Rows of a chunk stand in the order of the lines,
// and in each line in that of the channels.
struct exr_row {
  int channel = 0;
  int y = 0;  // line of the picture
  exr_pixel_type_t type = EXR_PIXEL_HALF;
  std::size_t at = 0;       // bytes
  std::size_t samples = 0;  // of 2 bytes for halves, else 4
};

// Run-length coding. False unless all of `in` gives just `size` bytes.
bool expand_exr_runs(const std::uint8_t* in, std::size_t in_size, std::uint8_t* out, std::size_t size);

// The reverse. Returns the packed size, 0 when it would be more than `room` bytes.
std::size_t pack_exr_runs(const std::uint8_t* in, std::size_t in_size, std::uint8_t* out, std::size_t room);

// PXR24: what the deflated part holds, as running differences whose bytes stand apart, floats without their lowest.
constexpr int pxr24_sample_bytes(exr_pixel_type_t type) {
  return type == EXR_PIXEL_HALF ? 2 : type == EXR_PIXEL_FLOAT ? 3 : 4;
}
// Returns where the rows end in `in`.
const std::uint8_t* unpack_pxr24(const std::uint8_t* in, std::uint8_t* out, std::span<const exr_row> rows);

}  // namespace img
