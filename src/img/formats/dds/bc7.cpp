#include <utility>

#include "img/formats/dds/blocks.h"
#include "img/formats/dds/partitions.h"

namespace img {
namespace {

struct mode {
  int parts;
  int partition_bits;
  int rotation_bits;
  int selection_bits;  // which of two sets of indices is that of the colours
  int color_bits;
  int alpha_bits;
  int endpoint_low_bits;  // a lowest bit for each end
  int part_low_bits;      // or one for both ends of a part
  int index_bits;
  int second_index_bits;
};

constexpr mode modes[] = {
    {3, 4, 0, 0, 4, 0, 1, 0, 3, 0}, {2, 6, 0, 0, 6, 0, 0, 1, 3, 0}, {3, 6, 0, 0, 5, 0, 0, 0, 2, 0},
    {2, 6, 0, 0, 7, 0, 1, 0, 2, 0}, {1, 0, 2, 1, 5, 6, 0, 0, 2, 3}, {1, 0, 2, 0, 7, 8, 0, 0, 2, 2},
    {1, 0, 0, 0, 7, 7, 1, 0, 4, 0}, {2, 6, 0, 0, 5, 5, 1, 0, 2, 0},
};

// To eight bits: the upper bits are repeated below.
int widen(int value, int bits) {
  value <<= 8 - bits;
  return value | value >> bits;
}

int mix(int a, int b, int weight) {
  return (a * (64 - weight) + b * weight + 32) >> 6;
}

}  // namespace

void decode_bc7(const std::uint8_t* bytes, byte_block& out) {
  bptc::bit_reader bits(bytes);
  int number = 0;
  while (number < 8 && bits.next(1) == 0) ++number;
  if (number == 8) {  // reserved
    out = {};
    return;
  }
  const mode& m = modes[number];
  const int partition = bits.next(m.partition_bits);
  const int rotation = bits.next(m.rotation_bits);
  const int selection = bits.next(m.selection_bits);
  int ends[6][4];  // two of each part
  const int count = 2 * m.parts;
  for (int c = 0; c < 4; ++c) {
    for (int e = 0; e < count; ++e) ends[e][c] = bits.next(c < 3 ? m.color_bits : m.alpha_bits);
  }
  int color_bits = m.color_bits, alpha_bits = m.alpha_bits;
  if (m.endpoint_low_bits || m.part_low_bits) {
    int low[6];
    for (int e = 0; e < count; ++e) low[e] = m.part_low_bits && e % 2 == 1 ? low[e - 1] : bits.next(1);
    for (int e = 0; e < count; ++e) {
      for (int c = 0; c < 4; ++c) ends[e][c] = ends[e][c] << 1 | low[e];
    }
    ++color_bits;
    if (alpha_bits > 0) ++alpha_bits;
  }
  for (int e = 0; e < count; ++e) {
    for (int c = 0; c < 3; ++c) ends[e][c] = widen(ends[e][c], color_bits);
    ends[e][3] = alpha_bits > 0 ? widen(ends[e][3], alpha_bits) : 255;
  }
  int first[16], second[16];
  for (int i = 0; i < 16; ++i) first[i] = bits.next(m.index_bits - (bptc::is_anchor(m.parts, partition, i) ? 1 : 0));
  for (int i = 0; i < 16 && m.second_index_bits; ++i) second[i] = bits.next(m.second_index_bits - (i == 0 ? 1 : 0));
  for (int i = 0; i < 16; ++i) {
    const int part = bptc::part_of(m.parts, partition, i);
    int color_weight = bptc::weight(m.index_bits, first[i]);
    int alpha_weight = m.second_index_bits ? bptc::weight(m.second_index_bits, second[i]) : color_weight;
    if (selection) std::swap(color_weight, alpha_weight);
    auto& pixel = out[static_cast<std::size_t>(i)];
    for (int c = 0; c < 4; ++c) {
      pixel[static_cast<std::size_t>(c)] =
          static_cast<std::uint8_t>(mix(ends[2 * part][c], ends[2 * part + 1][c], c < 3 ? color_weight : alpha_weight));
    }
    if (rotation) std::swap(pixel[3], pixel[static_cast<std::size_t>(rotation) - 1]);
  }
}

}  // namespace img
