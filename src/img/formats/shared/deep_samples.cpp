#include "img/formats/shared/deep_samples.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "img/formats/exr/rows.h"
#include "img/formats/shared/byte_order.h"
#include "img/row_kernels.h"
#include "img/transfer.h"

namespace img {
namespace {

std::vector<std::uint16_t> make_table(bool linear) {
  std::vector<std::uint16_t> table(65536);
  for (std::size_t i = 0; i < table.size(); ++i) {
    const double value = static_cast<double>(i) / 65535;
    table[i] = float_to_half(static_cast<float>(linear ? value : srgb_decode(value)));
  }
  return table;
}

template <bool swapped>
void map16(std::uint16_t* out, const std::uint8_t* in, std::size_t step, std::size_t count, const std::uint16_t* table,
           std::uint16_t flip) {
  const auto code = [&](const std::uint8_t* at) { return (swapped ? be16(at) : le16(at)) ^ flip; };
  if (step == 2) {
#pragma GCC unroll 8
    for (std::size_t i = 0; i < count; ++i) out[i] = table[code(in + 2 * i)];
    return;
  }
  for (std::size_t i = 0; i < count; ++i, in += step) out[i] = table[code(in)];
}

// Real numbers pass through rows of floats of this length.
constexpr std::size_t block = 256;

template <class Load>
void through_floats(std::uint16_t* out, const std::uint8_t* in, std::size_t step, std::size_t count, const Load& load) {
  float values[block];
  std::uint32_t bits[block];
  while (count > 0) {
    const std::size_t part = std::min(count, block);
    for (std::size_t i = 0; i < part; ++i, in += step) values[i] = load(in);
    std::memcpy(bits, values, 4 * part);
    active_exr_kernels().floats_to_halves(out, bits, part);
    out += part;
    count -= part;
  }
}

void real_to_halves(std::uint16_t* out, const std::uint8_t* in, std::size_t step, std::size_t count, int bits,
                    bool swapped) {
  if (bits == 16) {
    for (std::size_t i = 0; i < count; ++i, in += step) out[i] = swapped ? be16(in) : le16(in);
  } else if (bits == 32) {
    if (step == 4 && !swapped) {
      // Row buffers lie as floats do; the kernel takes any address all the same.
      active_exr_kernels().floats_to_halves(out, reinterpret_cast<const std::uint32_t*>(in), count);
    } else if (swapped) {
      through_floats(out, in, step, count, [](const std::uint8_t* at) { return std::bit_cast<float>(be32(at)); });
    } else {
      through_floats(out, in, step, count, [](const std::uint8_t* at) { return std::bit_cast<float>(le32(at)); });
    }
  } else {
    through_floats(out, in, step, count, [swapped](const std::uint8_t* at) {
      return static_cast<float>(std::bit_cast<double>(swapped ? be64(at) : le64(at)));
    });
  }
}

// The upper bits of a float between 0 and 1 give a first code, from which one step leads to the right one.
class encoder {
 public:
  encoder() {
    for (std::size_t i = 0; i < first_.size(); ++i) {
      const double value = std::bit_cast<float>(static_cast<std::uint32_t>(i) << shift);
      first_[i] = static_cast<float>(srgb_encode(value) * 65535);
    }
  }
  std::uint16_t operator()(float v) const {
    if (!(v > 0.0F)) return 0;
    if (v >= 1.0F) return 65535;
    const std::uint32_t bits = std::bit_cast<std::uint32_t>(v);
    const std::uint32_t at = bits >> shift;
    const float fraction = static_cast<float>(bits & ((1U << shift) - 1)) / static_cast<float>(1U << shift);
    const float code = first_[at] + (first_[at + 1] - first_[at]) * fraction;
    return static_cast<std::uint16_t>(code + 0.5F);
  }

 private:
  // Between two neighbours of the table the curve leaves the straight line by less than a hundredth of a code.
  static constexpr int shift = 14;
  std::vector<float> first_ = std::vector<float>((0x3F800000U >> shift) + 2);
};

}  // namespace

const std::uint16_t* encoded16_to_half() {
  static const std::vector<std::uint16_t> table = make_table(false);
  return table.data();
}

const std::uint16_t* fraction16_to_half() {
  static const std::vector<std::uint16_t> table = make_table(true);
  return table.data();
}

void halves_of(std::uint16_t* out, const std::uint8_t* samples, std::size_t step, std::size_t count,
               const sample_form& form, bool linear) {
  if (form.kind == sample_form::real) return real_to_halves(out, samples, step, count, form.bits, form.swapped);
  const std::uint16_t* table = linear ? fraction16_to_half() : encoded16_to_half();
  if (form.bits == 8) {
    const unsigned flip = form.inverted ? 255 : 0;
    for (std::size_t i = 0; i < count; ++i, samples += step) out[i] = table[257U * (*samples ^ flip)];
  } else if (form.bits == 16) {
    const std::uint16_t flip = form.inverted ? 0xFFFF : 0;
    if (form.swapped) {
      map16<true>(out, samples, step, count, table, flip);
    } else {
      map16<false>(out, samples, step, count, table, flip);
    }
  } else {
    for (std::size_t i = 0; i < count; ++i, samples += step) {
      const std::uint32_t code = (form.swapped ? be32(samples) : le32(samples)) ^ (form.inverted ? 0xFFFFFFFF : 0);
      const double value = code / 4294967295.0;
      out[i] = float_to_half(static_cast<float>(linear ? value : srgb_decode(value)));
    }
  }
}

void halves_of_colors(std::uint16_t* red, std::uint16_t* green, std::uint16_t* blue, const std::uint8_t* pixels,
                      std::size_t count, const sample_form& form) {
  // All samples of a block one after the other first, and then each colour to its plane.
  std::uint16_t halves[3 * block];
  const auto bytes = static_cast<std::size_t>(form.bytes());
  for (; count > 0;) {
    const std::size_t part = std::min(count, block);
    halves_of(halves, pixels, bytes, 3 * part, form, false);
    active_row_kernels().split3_16(halves, red, green, blue, part);
    pixels += 3 * part * bytes;
    red += part;
    green += part;
    blue += part;
    count -= part;
  }
}

void put_samples(image& image, int plane, int x, int y, std::size_t count, const std::uint8_t* samples,
                 std::size_t step, const sample_form& form) {
  if (image.depth[plane] == 16) {
    return halves_of(image.row<std::uint16_t>(plane, y) + x, samples, step, count, form, image.format[plane] == 'A');
  }
  std::uint8_t* out = image.row(plane, y) + x;
  const std::uint8_t flip = form.inverted ? 255 : 0;
  if (step == 1 && flip == 0) {
    std::memcpy(out, samples, count);
  } else {
    for (std::size_t i = 0; i < count; ++i, samples += step) out[i] = *samples ^ flip;
  }
}

void encode16(std::uint16_t* out, const float* in, std::size_t count, bool linear) {
  if (linear) {
    for (std::size_t i = 0; i < count; ++i) {
      out[i] = in[i] > 0.0F ? static_cast<std::uint16_t>(std::min(in[i], 1.0F) * 65535.0F + 0.5F) : 0;
    }
    return;
  }
  static const encoder encode;
  for (std::size_t i = 0; i < count; ++i) out[i] = encode(in[i]);
}

}  // namespace img
