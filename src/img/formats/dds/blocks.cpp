#include "img/formats/dds/blocks.h"

#include <algorithm>

#include "img/formats/shared/byte_order.h"

namespace img {
namespace {

using color = std::array<std::uint8_t, 4>;

// So many parts of one colour of 5, 6 and 5 bits and so many of another, rounded once.
color mix(unsigned a, unsigned b, unsigned of_a, unsigned of_b) {
  const auto part = [&](int shift, unsigned most) {
    const unsigned whole = most * (of_a + of_b);
    const unsigned value = of_a * (a >> shift & most) + of_b * (b >> shift & most);
    return static_cast<std::uint8_t>((value * 255 + whole / 2) / whole);
  };
  return {part(11, 31), part(5, 63), part(0, 31), 255};
}

// Two colours and two between them; or, in the order that `may_be_clear` gives a meaning, one between and none.
void decode_colors(const std::uint8_t* bytes, bool may_be_clear, byte_block& out) {
  const unsigned first = le16(bytes), second = le16(bytes + 2);
  std::array<color, 4> colors{mix(first, second, 1, 0), mix(first, second, 0, 1)};
  if (first > second || !may_be_clear) {
    colors[2] = mix(first, second, 2, 1);
    colors[3] = mix(first, second, 1, 2);
  } else {
    colors[2] = mix(first, second, 1, 1);
    colors[3] = {0, 0, 0, 0};
  }
  const std::uint32_t indices = le32(bytes + 4);
  for (std::size_t i = 0; i < 16; ++i) out[i] = colors[indices >> (2 * i) & 3];
}

// Eight values on the line between two, or six and the ends of the range.
std::array<std::uint8_t, 16> decode_values(const std::uint8_t* bytes, bool is_signed) {
  const auto value = [&](int i) {
    return is_signed ? std::max<int>(static_cast<std::int8_t>(bytes[i]), -127) : int{bytes[i]};
  };
  const int first = value(0), second = value(1);
  const auto byte = [&](double v) {
    return static_cast<std::uint8_t>(is_signed ? (v / 127 + 1) / 2 * 255 + 0.5 : v + 0.5);
  };
  std::array<std::uint8_t, 8> values{byte(first), byte(second)};
  const int steps = first > second ? 7 : 5;
  for (int i = 1; i < steps; ++i) {
    values[static_cast<std::size_t>(i) + 1] = byte(static_cast<double>((steps - i) * first + i * second) / steps);
  }
  if (steps == 5) {
    values[6] = 0;
    values[7] = 255;
  }
  std::uint64_t indices = 0;
  for (int i = 7; i > 1; --i) indices = indices << 8 | bytes[i];
  std::array<std::uint8_t, 16> out;
  for (std::size_t i = 0; i < 16; ++i) out[i] = values[indices >> (3 * i) & 7];
  return out;
}

}  // namespace

void decode_bc1(const std::uint8_t* bytes, byte_block& out) {
  decode_colors(bytes, true, out);
}

void decode_bc2(const std::uint8_t* bytes, byte_block& out) {
  decode_colors(bytes + 8, false, out);
  const std::uint64_t alpha = le64(bytes);
  for (std::size_t i = 0; i < 16; ++i) out[i][3] = static_cast<std::uint8_t>((alpha >> (4 * i) & 15) * 17);
}

void decode_bc3(const std::uint8_t* bytes, byte_block& out) {
  decode_colors(bytes + 8, false, out);
  const std::array<std::uint8_t, 16> alpha = decode_values(bytes, false);
  for (std::size_t i = 0; i < 16; ++i) out[i][3] = alpha[i];
}

void decode_bc4(const std::uint8_t* bytes, bool is_signed, byte_block& out) {
  const std::array<std::uint8_t, 16> values = decode_values(bytes, is_signed);
  for (std::size_t i = 0; i < 16; ++i) out[i] = {values[i], values[i], values[i], 255};
}

void decode_bc5(const std::uint8_t* bytes, bool is_signed, byte_block& out) {
  const std::array<std::uint8_t, 16> red = decode_values(bytes, is_signed), green = decode_values(bytes + 8, is_signed);
  for (std::size_t i = 0; i < 16; ++i) out[i] = {red[i], green[i], 0, 255};
}

}  // namespace img
