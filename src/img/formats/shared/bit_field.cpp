#include "img/formats/shared/bit_field.h"

#include <bit>

#include "img/formats/shared/byte_order.h"
#include "img/formats/shared/deep_samples.h"

namespace img {
namespace {

class bit_field {
 public:
  explicit bit_field(std::uint32_t mask)
      : mask_(mask), shift_(mask ? std::countr_zero(mask) : 0), bits_(std::popcount(mask)) {}
  std::uint8_t byte_of(std::uint32_t pixel) const {
    if (mask_ == 0) return 0;
    const std::uint32_t value = (pixel & mask_) >> shift_;
    if (bits_ >= 8) return static_cast<std::uint8_t>(value >> (bits_ - 8));
    std::uint32_t filled = value << (8 - bits_);
    for (int have = bits_; have < 8; have *= 2) filled |= filled >> have;
    return static_cast<std::uint8_t>(filled);
  }
  std::uint16_t word_of(std::uint32_t pixel) const {
    if (mask_ == 0) return 0;
    const std::uint64_t most = mask_ >> shift_;
    return static_cast<std::uint16_t>((((pixel & mask_) >> shift_) * std::uint64_t{65535} + most / 2) / most);
  }

 private:
  std::uint32_t mask_;
  int shift_;
  int bits_;
};

std::uint32_t pixel_at(const std::uint8_t* at, int bytes) {
  switch (bytes) {
    case 1:
      return *at;
    case 2:
      return le16(at);
    case 3:
      return le16(at) | static_cast<std::uint32_t>(at[2]) << 16;
    default:
      return le32(at);
  }
}

}  // namespace

void put_bit_fields(image& image, int y, const std::uint8_t* pixels, int bytes,
                    const std::array<std::uint32_t, 4>& masks) {
  for (int p = 0; p < image.plane_count(); ++p) {
    const bit_field field(masks[static_cast<std::size_t>(p)]);
    if (image.depth[p] == 8) {
      std::uint8_t* out = image.row(p, y);
      for (int x = 0; x < image.width; ++x) out[x] = field.byte_of(pixel_at(pixels + x * bytes, bytes));
    } else {
      const std::uint16_t* table = p == 3 ? fraction16_to_half() : encoded16_to_half();
      std::uint16_t* out = image.row<std::uint16_t>(p, y);
      for (int x = 0; x < image.width; ++x) out[x] = table[field.word_of(pixel_at(pixels + x * bytes, bytes))];
    }
  }
}

}  // namespace img
