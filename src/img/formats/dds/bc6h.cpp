#include <algorithm>

#include "img/formats/dds/blocks.h"
#include "img/formats/dds/partitions.h"

namespace img {
namespace {

// The bits of a mode after its number, lowest first. r, g and b are the colours, w to z the four ends; `rw9:0` are ten
// bits from the lowest up, `rw10:15` six from the highest down, `rw10` a single one, and d is the partition.
struct mode {
  int number;
  int bits;          // of the first end
  int deltas[3];     // of the others, red, green, blue
  bool transformed;  // the others are differences
  bool two_parts;
  const char* layout;
};

constexpr mode modes[] = {
    {0,
     10,
     {5, 5, 5},
     true,
     true,
     "gy4 by4 bz4 rw9:0 gw9:0 bw9:0 rx4:0 gz4 gy3:0 gx4:0 bz0 gz3:0 bx4:0 bz1 by3:0 ry4:0 bz2 rz4:0 bz3 d4:0"},
    {1,
     7,
     {6, 6, 6},
     true,
     true,
     "gy5 gz4 gz5 rw6:0 bz0 bz1 by4 gw6:0 by5 bz2 gy4 bw6:0 bz3 bz5 bz4 rx5:0 gy3:0 gx5:0 gz3:0 bx5:0 by3:0 ry5:0 "
     "rz5:0 d4:0"},
    {2,
     11,
     {5, 4, 4},
     true,
     true,
     "rw9:0 gw9:0 bw9:0 rx4:0 rw10 gy3:0 gx3:0 gw10 bz0 gz3:0 bx3:0 bw10 bz1 by3:0 ry4:0 bz2 rz4:0 bz3 d4:0"},
    {6,
     11,
     {4, 5, 4},
     true,
     true,
     "rw9:0 gw9:0 bw9:0 rx3:0 rw10 gz4 gy3:0 gx4:0 gw10 gz3:0 bx3:0 bw10 bz1 by3:0 ry3:0 bz0 bz2 rz3:0 gy4 bz3 d4:0"},
    {10,
     11,
     {4, 4, 5},
     true,
     true,
     "rw9:0 gw9:0 bw9:0 rx3:0 rw10 by4 gy3:0 gx3:0 gw10 bz0 gz3:0 bx4:0 bw10 by3:0 ry3:0 bz1 bz2 rz3:0 bz4 bz3 d4:0"},
    {14,
     9,
     {5, 5, 5},
     true,
     true,
     "rw8:0 by4 gw8:0 gy4 bw8:0 bz4 rx4:0 gz4 gy3:0 gx4:0 bz0 gz3:0 bx4:0 bz1 by3:0 ry4:0 bz2 rz4:0 bz3 d4:0"},
    {18,
     8,
     {6, 5, 5},
     true,
     true,
     "rw7:0 gz4 by4 gw7:0 bz2 gy4 bw7:0 bz3 bz4 rx5:0 gy3:0 gx4:0 bz0 gz3:0 bx4:0 bz1 by3:0 ry5:0 rz5:0 d4:0"},
    {22,
     8,
     {5, 6, 5},
     true,
     true,
     "rw7:0 bz0 by4 gw7:0 gy5 gy4 bw7:0 gz5 bz4 rx4:0 gz4 gy3:0 gx5:0 gz3:0 bx4:0 bz1 by3:0 ry4:0 bz2 rz4:0 bz3 d4:0"},
    {26,
     8,
     {5, 5, 6},
     true,
     true,
     "rw7:0 bz1 by4 gw7:0 by5 gy4 bw7:0 bz5 bz4 rx4:0 gz4 gy3:0 gx4:0 bz0 gz3:0 bx5:0 by3:0 ry4:0 bz2 rz4:0 bz3 d4:0"},
    {30,
     6,
     {6, 6, 6},
     false,
     true,
     "rw5:0 gz4 bz0 bz1 by4 gw5:0 gy5 by5 bz2 gy4 bw5:0 gz5 bz3 bz5 bz4 rx5:0 gy3:0 gx5:0 gz3:0 bx5:0 by3:0 ry5:0 "
     "rz5:0 d4:0"},
    {3, 10, {10, 10, 10}, false, false, "rw9:0 gw9:0 bw9:0 rx9:0 gx9:0 bx9:0"},
    {7, 11, {9, 9, 9}, true, false, "rw9:0 gw9:0 bw9:0 rx8:0 rw10 gx8:0 gw10 bx8:0 bw10"},
    {11, 12, {8, 8, 8}, true, false, "rw9:0 gw9:0 bw9:0 rx7:0 rw10:11 gx7:0 gw10:11 bx7:0 bw10:11"},
    {15, 16, {4, 4, 4}, true, false, "rw9:0 gw9:0 bw9:0 rx3:0 rw10:15 gx3:0 gw10:15 bx3:0 bw10:15"},
};

struct fields {
  int ends[4][3] = {};  // w to z; red, green, blue
  int partition = 0;
};

int number_at(const char*& text) {
  int value = 0;
  while (*text >= '0' && *text <= '9') value = value * 10 + (*text++ - '0');
  return value;
}

fields read_fields(const char* layout, bptc::bit_reader& bits) {
  fields out;
  while (*layout != '\0') {
    int* target = &out.partition;
    if (*layout == 'd') {
      ++layout;
    } else {
      const int color = layout[0] == 'r' ? 0 : layout[0] == 'g' ? 1 : 2;
      target = &out.ends[layout[1] - 'w'][color];
      layout += 2;
    }
    const int left = number_at(layout);
    int right = left;
    if (*layout == ':') right = number_at(++layout);
    // The first bit that comes is the one that is named last.
    const int step = left >= right ? 1 : -1;
    for (int bit = right;; bit += step) {
      *target |= bits.next(1) << bit;
      if (bit == left) break;
    }
    if (*layout == ' ') ++layout;
  }
  return out;
}

int sign_extend(int value, int bits) {
  return (value & 1 << (bits - 1)) != 0 ? value - (1 << bits) : value;
}

// To 17 bits with sign or 16 without.
int unquantize(int value, int bits, bool is_signed) {
  if (!is_signed) {
    if (bits >= 15 || value == 0) return value;
    return value == (1 << bits) - 1 ? 0xFFFF : ((value << 15) + 0x4000) >> (bits - 1);
  }
  if (bits >= 16 || value == 0) return value;
  const int magnitude = std::abs(value);
  const int wide = magnitude >= (1 << (bits - 1)) - 1 ? 0x7FFF : ((magnitude << 15) + 0x4000) >> (bits - 1);
  return value < 0 ? -wide : wide;
}

std::uint16_t half_bits(int value, bool is_signed) {
  if (!is_signed) return static_cast<std::uint16_t>((value * 31) >> 6);
  return value < 0 ? static_cast<std::uint16_t>(0x8000 | ((-value * 31) >> 5))
                   : static_cast<std::uint16_t>((value * 31) >> 5);
}

const mode* find_mode(bptc::bit_reader& bits) {
  int number = bits.next(2);
  if (number > 1) number |= bits.next(3) << 2;
  const mode* found =
      std::find_if(std::begin(modes), std::end(modes), [&](const mode& m) { return m.number == number; });
  return found == std::end(modes) ? nullptr : found;
}

}  // namespace

void decode_bc6h(const std::uint8_t* bytes, bool is_signed, half_block& out) {
  bptc::bit_reader bits(bytes);
  const mode* m = find_mode(bits);
  if (m == nullptr) {  // reserved
    out = {};
    return;
  }
  fields f = read_fields(m->layout, bits);
  const int parts = m->two_parts ? 2 : 1;
  for (int c = 0; c < 3; ++c) {
    if (is_signed) f.ends[0][c] = sign_extend(f.ends[0][c], m->bits);
    for (int e = 1; e < 2 * parts; ++e) {
      int& end = f.ends[e][c];
      if (m->transformed || is_signed) end = sign_extend(end, m->deltas[c]);
      if (m->transformed) {
        end = (end + f.ends[0][c]) & ((1 << m->bits) - 1);
        if (is_signed) end = sign_extend(end, m->bits);
      }
    }
    for (int e = 0; e < 2 * parts; ++e) f.ends[e][c] = unquantize(f.ends[e][c], m->bits, is_signed);
  }
  const int index_bits = m->two_parts ? 3 : 4;
  for (int i = 0; i < 16; ++i) {
    const int index = bits.next(index_bits - (bptc::is_anchor(parts, f.partition, i) ? 1 : 0));
    const int weight = bptc::weight(index_bits, index);
    const int part = bptc::part_of(parts, f.partition, i);
    for (int c = 0; c < 3; ++c) {
      const int value = (f.ends[2 * part][c] * (64 - weight) + f.ends[2 * part + 1][c] * weight + 32) >> 6;
      out[static_cast<std::size_t>(i)][static_cast<std::size_t>(c)] = half_bits(value, is_signed);
    }
  }
}

}  // namespace img
