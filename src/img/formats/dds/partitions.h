// The common part of the codings BC6H and BC7: how the pixels of a block fall into two or three parts with colours of
// their own, and the weights between two colours (Khronos Data Format Specification, tables of BPTC).
#pragma once

#include <array>
#include <cstdint>

namespace img::bptc {

// The part, 0 to `parts` - 1, of pixel 0 to 15 in partition 0 to 63.
int part_of(int parts, int partition, int pixel);
// Whether the pixel's index lacks its highest bit, which is 0.
bool is_anchor(int parts, int partition, int pixel);
// Of 64, for indices of 2, 3 or 4 bits.
int weight(int bits, int index);

// 128 bits, lowest first.
class bit_reader {
 public:
  explicit bit_reader(const std::uint8_t* bytes) : bytes_(bytes) {}
  int next(int count) {
    int value = 0;
    for (int i = 0; i < count; ++i, ++at_) value |= (bytes_[at_ / 8] >> (at_ % 8) & 1) << i;
    return value;
  }

 private:
  const std::uint8_t* bytes_;
  int at_ = 0;
};

}  // namespace img::bptc
