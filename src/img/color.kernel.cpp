#include "img/color_plain_rows.h"
#include "img/color_rows.h"

#if defined(__AVX2__)
#pragma GCC diagnostic push
// gcc 12 takes the undefined operands inside its own header for mistakes.
#pragma GCC diagnostic ignored "-Wuninitialized"
#if !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>
#pragma GCC diagnostic pop
#endif

namespace img::KSN_SIMD_LEVEL {
namespace {

#if defined(__AVX512BW__)

// The 16 tables of 16 entries, chosen by the upper half of the index.
void map_bytes(uint8_t* out, const uint8_t* in, const uint8_t* table, size_t count) {
  __m512i part[16];
  for (int k = 0; k < 16; ++k) {
    part[k] = _mm512_broadcast_i32x4(_mm_loadu_si128(reinterpret_cast<const __m128i*>(table + 16 * k)));
  }
  size_t i = 0;
  for (; i < count; i += 64) {
    const size_t left = count - i;
    const __mmask64 live = left >= 64 ? ~__mmask64{0} : (__mmask64{1} << left) - 1;
    const __m512i x = _mm512_maskz_loadu_epi8(live, in + i);
    const __m512i low = _mm512_and_si512(x, _mm512_set1_epi8(15));
    const __mmask64 bit4 = _mm512_test_epi8_mask(x, _mm512_set1_epi8(16));
    const __mmask64 bit5 = _mm512_test_epi8_mask(x, _mm512_set1_epi8(32));
    const __mmask64 bit6 = _mm512_test_epi8_mask(x, _mm512_set1_epi8(64));
    __m512i quarter[4];
    for (int k = 0; k < 4; ++k) {
      const __m512i even = _mm512_mask_shuffle_epi8(_mm512_shuffle_epi8(part[4 * k], low), bit4, part[4 * k + 1], low);
      const __m512i odd =
          _mm512_mask_shuffle_epi8(_mm512_shuffle_epi8(part[4 * k + 2], low), bit4, part[4 * k + 3], low);
      quarter[k] = _mm512_mask_blend_epi8(bit5, even, odd);
    }
    const __m512i lower = _mm512_mask_blend_epi8(bit6, quarter[0], quarter[1]);
    const __m512i upper = _mm512_mask_blend_epi8(bit6, quarter[2], quarter[3]);
    _mm512_mask_storeu_epi8(out + i, live, _mm512_mask_blend_epi8(_mm512_movepi8_mask(x), lower, upper));
  }
}

#elif defined(__AVX2__)

void map_bytes(uint8_t* out, const uint8_t* in, const uint8_t* table, size_t count) {
  __m256i part[16];
  for (int k = 0; k < 16; ++k) {
    part[k] = _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(table + 16 * k)));
  }
  size_t i = 0;
  for (; i + 32 <= count; i += 32) {
    const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + i));
    const __m256i low = _mm256_and_si256(x, _mm256_set1_epi8(15));
    // A blend looks at the top bit of each byte.
    const __m256i bit4 = _mm256_slli_epi16(x, 3), bit5 = _mm256_slli_epi16(x, 2), bit6 = _mm256_slli_epi16(x, 1);
    __m256i quarter[4];
    for (int k = 0; k < 4; ++k) {
      const __m256i even =
          _mm256_blendv_epi8(_mm256_shuffle_epi8(part[4 * k], low), _mm256_shuffle_epi8(part[4 * k + 1], low), bit4);
      const __m256i odd = _mm256_blendv_epi8(_mm256_shuffle_epi8(part[4 * k + 2], low),
                                             _mm256_shuffle_epi8(part[4 * k + 3], low), bit4);
      quarter[k] = _mm256_blendv_epi8(even, odd, bit5);
    }
    const __m256i lower = _mm256_blendv_epi8(quarter[0], quarter[1], bit6);
    const __m256i upper = _mm256_blendv_epi8(quarter[2], quarter[3], bit6);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), _mm256_blendv_epi8(lower, upper, x));
  }
  plain_map_bytes(out + i, in + i, table, count - i);
}

#else

constexpr auto map_bytes = plain_map_bytes;

#endif

#if defined(__AVX2__)

// One 128-bit lane holds a node and its neighbour in blue.
__m128i load_nodes(const uint16_t* at) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
}

// Two samples at a time, each in its own 128-bit lane. Four at a time in 512 bits took 2.2 ns a sample where this takes
// 1.9 (Zen 4): the loads of the nodes count, and putting four lanes together costs more than it saves.
// For 17, 33, 65 and 129 points, whose weights are whole in 1/64; then the sum of eight nodes of 14 bits fits in 32
// bits.
void cube(uint16_t* out, const uint16_t* b, const uint16_t* g, const uint16_t* r, const uint16_t* nodes, int points,
          size_t count) {
  const int cells = points - 1;
  if (cells < 16 || (cells & (cells - 1)) != 0) return plain_cube(out, b, g, r, nodes, points, count);
  const size_t next_green = static_cast<size_t>(points) * 4;
  const size_t next_red = next_green * static_cast<size_t>(points);
  int cell_bits = 4;
  while (1 << cell_bits < cells) ++cell_bits;
  const __m128i to_cell = _mm_cvtsi32_si128(10 - cell_bits);
  const __m128i to_weight = _mm_cvtsi32_si128(cell_bits - 4);
  const __m256i six_bits = _mm256_set1_epi32(63);
  const __m256i one = _mm256_set1_epi32(64);
  const __m256i half = _mm256_set1_epi32(1 << 17);
  const __m256i first_two = _mm256_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1);
  size_t i = 0;
  for (; i + 8 <= count; i += 8) {
    auto load = [i](const uint16_t* at) {
      return _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(at + i)));
    };
    const __m256i blue = load(b), green = load(g), red = load(r);
    const __m256i reds = _mm256_mullo_epi32(_mm256_srl_epi32(red, to_cell), _mm256_set1_epi32(points * points));
    const __m256i greens = _mm256_mullo_epi32(_mm256_srl_epi32(green, to_cell), _mm256_set1_epi32(points));
    const __m256i cell = _mm256_add_epi32(_mm256_add_epi32(reds, greens), _mm256_srl_epi32(blue, to_cell));
    alignas(32) uint32_t offset[8];
    _mm256_store_si256(reinterpret_cast<__m256i*>(offset), _mm256_slli_epi32(cell, 2));

    const __m256i fr = _mm256_and_si256(_mm256_sll_epi32(red, to_weight), six_bits);
    const __m256i fg = _mm256_and_si256(_mm256_sll_epi32(green, to_weight), six_bits);
    const __m256i fb = _mm256_and_si256(_mm256_sll_epi32(blue, to_weight), six_bits);
    // The weights of the two green neighbours side by side, for each of the two in red.
    const __m256i pair = _mm256_or_si256(_mm256_sub_epi32(one, fg), _mm256_slli_epi32(fg, 16));
    const __m256i low_red = _mm256_mullo_epi32(pair, _mm256_sub_epi32(one, fr));
    const __m256i high_red = _mm256_mullo_epi32(pair, fr);
    __m256i done[2];
    for (int k = 0; k < 4; ++k) {
      auto lanes = [&](size_t step) {
        const uint16_t* at = nodes + step;
        return _mm256_inserti128_si256(_mm256_castsi128_si256(load_nodes(at + offset[2 * k])),
                                       load_nodes(at + offset[2 * k + 1]), 1);
      };
      const __m256i choose = _mm256_add_epi32(first_two, _mm256_set1_epi32(2 * k));
      const __m256i w0 = _mm256_permutevar8x32_epi32(low_red, choose);
      const __m256i w1 = _mm256_permutevar8x32_epi32(high_red, choose);
      const __m256i w = _mm256_permutevar8x32_epi32(fb, choose);
      const __m256i n00 = lanes(0), n01 = lanes(next_green);
      const __m256i n10 = lanes(next_red), n11 = lanes(next_red + next_green);
      const __m256i near = _mm256_add_epi32(_mm256_madd_epi16(_mm256_unpacklo_epi16(n00, n01), w0),
                                            _mm256_madd_epi16(_mm256_unpacklo_epi16(n10, n11), w1));
      const __m256i far = _mm256_add_epi32(_mm256_madd_epi16(_mm256_unpackhi_epi16(n00, n01), w0),
                                           _mm256_madd_epi16(_mm256_unpackhi_epi16(n10, n11), w1));
      const __m256i sum =
          _mm256_add_epi32(_mm256_slli_epi32(near, 6), _mm256_mullo_epi32(_mm256_sub_epi32(far, near), w));
      done[k & 1] = _mm256_srli_epi32(_mm256_add_epi32(sum, half), 18);
      if (k & 1) {
        const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi32(done[0], done[1]), 0xD8);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 4 * (i + 2 * (k - 1))), packed);
      }
    }
  }
  plain_cube(out + 4 * i, b + i, g + i, r + i, nodes, points, count - i);
}

#else

constexpr auto cube = plain_cube;

#endif

// In 16 bits, as vectors of all levels have them: (s << 7) * (m << 1) >> 16 is s * m >> 8.
void matrix(uint8_t* b, uint8_t* g, uint8_t* r, const int32_t* m, size_t count) {
  int16_t twice[9];
  for (int i = 0; i < 9; ++i) twice[i] = static_cast<int16_t>(2 * m[i]);
  auto part = [](int16_t s, int16_t m2) { return static_cast<int16_t>(s * m2 >> 16); };
  for (size_t i = 0; i < count; ++i) {
    const int16_t blue = static_cast<int16_t>(b[i] << 7);
    const int16_t green = static_cast<int16_t>(g[i] << 7);
    const int16_t red = static_cast<int16_t>(r[i] << 7);
    int16_t sum[3];
    for (int row = 0; row < 3; ++row) {
      sum[row] = static_cast<int16_t>(part(red, twice[3 * row]) + part(green, twice[3 * row + 1]) +
                                      part(blue, twice[3 * row + 2]));
      sum[row] = static_cast<int16_t>(sum[row] < 0 ? 0 : sum[row] > 255 ? 255 : sum[row]);
    }
    r[i] = static_cast<uint8_t>(sum[0]);
    g[i] = static_cast<uint8_t>(sum[1]);
    b[i] = static_cast<uint8_t>(sum[2]);
  }
}

#if defined(__AVX512BW__)

#define KSN_VBMI __attribute__((target("avx512vbmi")))

KSN_VBMI void map_bytes_vbmi(uint8_t* out, const uint8_t* in, const uint8_t* table, size_t count) {
  const __m512i part0 = _mm512_loadu_si512(table), part1 = _mm512_loadu_si512(table + 64);
  const __m512i part2 = _mm512_loadu_si512(table + 128), part3 = _mm512_loadu_si512(table + 192);
  for (size_t i = 0; i < count; i += 64) {
    const size_t left = count - i;
    const __mmask64 live = left >= 64 ? ~__mmask64{0} : (__mmask64{1} << left) - 1;
    const __m512i x = _mm512_maskz_loadu_epi8(live, in + i);
    const __m512i lower = _mm512_permutex2var_epi8(part0, x, part1);
    const __m512i upper = _mm512_permutex2var_epi8(part2, x, part3);
    _mm512_mask_storeu_epi8(out + i, live, _mm512_mask_blend_epi8(_mm512_movepi8_mask(x), lower, upper));
  }
}

// 64 bytes each of blue, green and red.
struct planar {
  __m512i of[3];
};

KSN_VBMI planar separated(const __m512i (&pairs)[4]) {
  // Each 64 bits of a pair of samples hold blue, blue, green, green, red, red and two bytes without meaning.
  alignas(64) uint8_t blue_green[64], red[64];
  for (int i = 0; i < 32; ++i) {
    blue_green[i] = static_cast<uint8_t>(i / 2 * 8 + i % 2);
    blue_green[32 + i] = static_cast<uint8_t>(blue_green[i] + 2);
    red[i] = red[32 + i] = static_cast<uint8_t>(blue_green[i] + 4);
  }
  const __m512i choose_bg = _mm512_load_si512(blue_green), choose_r = _mm512_load_si512(red);
  const __m512i bg0 = _mm512_permutex2var_epi8(pairs[0], choose_bg, pairs[1]);
  const __m512i bg1 = _mm512_permutex2var_epi8(pairs[2], choose_bg, pairs[3]);
  const __m512i r0 = _mm512_permutex2var_epi8(pairs[0], choose_r, pairs[1]);
  const __m512i r1 = _mm512_permutex2var_epi8(pairs[2], choose_r, pairs[3]);
  return {
      {_mm512_shuffle_i64x2(bg0, bg1, 0x44), _mm512_shuffle_i64x2(bg0, bg1, 0xEE), _mm512_shuffle_i64x2(r0, r1, 0x44)}};
}

// 64 look-ups in 1024 bytes. `low` holds the lower eight bits of the indexes, `high` the upper two and rubbish.
KSN_VBMI __m512i look_up_1024(const uint8_t* table, __m512i low, __m512i high) {
  const __mmask64 bit7 = _mm512_movepi8_mask(low);
  const __mmask64 bit8 = _mm512_test_epi8_mask(high, _mm512_set1_epi8(1));
  const __mmask64 bit9 = _mm512_test_epi8_mask(high, _mm512_set1_epi8(2));
  __m512i quarter[4];
  for (int k = 0; k < 4; ++k) {
    const uint8_t* part = table + 256 * k;
    const __m512i even = _mm512_permutex2var_epi8(_mm512_loadu_si512(part), low, _mm512_loadu_si512(part + 64));
    const __m512i odd = _mm512_permutex2var_epi8(_mm512_loadu_si512(part + 128), low, _mm512_loadu_si512(part + 192));
    quarter[k] = _mm512_mask_blend_epi8(bit7, even, odd);
  }
  const __m512i lower = _mm512_mask_blend_epi8(bit8, quarter[0], quarter[1]);
  const __m512i upper = _mm512_mask_blend_epi8(bit8, quarter[2], quarter[3]);
  return _mm512_mask_blend_epi8(bit9, lower, upper);
}

KSN_VBMI void map_words_vbmi(uint8_t* b, uint8_t* g, uint8_t* r, const uint32_t* words, const channel_bytes& tables,
                             bool swapped, size_t count) {
  // Bit positions of the bytes that separated() expects, in 64 bits of two words.
  const __m512i low_bits = _mm512_set1_epi64(0x00'00'36'16'2C'0C'22'02);
  const __m512i high_bits = _mm512_set1_epi64(0x00'00'3E'1E'34'14'2A'0A);
  const __m512i kept = _mm512_broadcast_i32x4(_mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
  const __m512i turned = _mm512_broadcast_i32x4(_mm_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12));
  const __m512i order = swapped ? turned : kept;
  size_t i = 0;
  for (; i + 64 <= count; i += 64) {
    __m512i low[4], high[4];
    for (int k = 0; k < 4; ++k) {
      const __m512i pairs = _mm512_shuffle_epi8(_mm512_loadu_si512(words + i + 16 * k), order);
      low[k] = _mm512_multishift_epi64_epi8(low_bits, pairs);
      high[k] = _mm512_multishift_epi64_epi8(high_bits, pairs);
    }
    const planar lows = separated(low), highs = separated(high);
    uint8_t* const out[3] = {b, g, r};
    for (int c = 0; c < 3; ++c) {
      _mm512_storeu_si512(out[c] + i, look_up_1024(tables.of[c], lows.of[c], highs.of[c]));
    }
  }
  plain_map_words(b + i, g + i, r + i, words + i, tables, swapped, count - i);
}

#endif

// Four look-ups before the first store: a loop of single ones took twice as long.
void map_halves(uint8_t* out, const uint16_t* in, const uint8_t* table, size_t count) {
  size_t i = 0;
  for (; i + 4 <= count; i += 4) {
    const uint8_t a = table[in[i]], b = table[in[i + 1]], c = table[in[i + 2]], d = table[in[i + 3]];
    out[i] = a;
    out[i + 1] = b;
    out[i + 2] = c;
    out[i + 3] = d;
  }
  plain_map_halves(out + i, in + i, table, count - i);
}

}  // namespace

// Fills `rows` with this level's operations. Where the portable loop is named, the compiler does as well.
void set_color_rows(color_kernels& rows) {
  rows = {map_bytes, map_halves, plain_map_words, plain_map_nodes, plain_widen_bytes, cube, matrix};
}

#if defined(__AVX512BW__)
// Only for processors with AVX512_VBMI.
void add_vbmi_color_rows(color_kernels& rows) {
  rows.map_bytes = map_bytes_vbmi;
  rows.map_words = map_words_vbmi;
}
#endif

}  // namespace img::KSN_SIMD_LEVEL
