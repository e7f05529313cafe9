// Samples of more than eight bits, which the picture model holds as linear halves.
#pragma once

#include <cstddef>
#include <cstdint>

#include "img/image.h"

namespace img {

// How a file holds one sample. Real numbers are linear light; whole numbers are fractions of their largest value, of
// which colours are sRGB encoded and alpha is not.
struct sample_form {
  enum kind_type { whole, real } kind = whole;
  int bits = 16;          // 8, 16 or 32 for whole numbers; 16, 32 or 64 for real ones
  bool swapped = false;   // the bytes of each sample are most significant first
  bool inverted = false;  // whole numbers count down from white

  int bytes() const { return bits / 8; }
};

// `count` samples, one every `step` bytes, as halves: encoded colours are decoded to linear light, each sample rounded
// once. `linear` is for alpha and for other numbers that carry no encoding. Reads nothing between or after the
// samples.
void halves_of(std::uint16_t* out, const std::uint8_t* samples, std::size_t step, std::size_t count,
               const sample_form& form, bool linear);

// `count` pixels of three colours and nothing else side by side, red, green, blue, as halves.
void halves_of_colors(std::uint16_t* red, std::uint16_t* green, std::uint16_t* blue, const std::uint8_t* pixels,
                      std::size_t count, const sample_form& form);

// The same to `count` samples from (x, y) on of one plane of a picture of 16 or 8 bits; the latter only takes samples
// of 8 bits. The plane `A` takes plain numbers, the others colours.
void put_samples(image& image, int plane, int x, int y, std::size_t count, const std::uint8_t* samples,
                 std::size_t step, const sample_form& form);

// sRGB encoded 16-bit fraction to linear half, and 16-bit fraction to half. [65536]
const std::uint16_t* encoded16_to_half();
const std::uint16_t* fraction16_to_half();

// The way out: linear light to sRGB encoded 16-bit fractions, rounded to nearest, and plain fractions for alpha.
// Outside 0 to 1 is cut, NaN is 0.
void encode16(std::uint16_t* out, const float* in, std::size_t count, bool linear);

}  // namespace img
