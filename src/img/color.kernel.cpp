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

#if defined(__AVX2__)

// One 128-bit lane holds a node and its neighbour in blue.
constexpr size_t next_green = 17 * 4;
constexpr size_t next_red = 17 * 17 * 4;

__m128i load_nodes(const uint16_t* at) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
}

#endif

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

// Four samples at a time, each in its own 128-bit lane.
void cube(uint16_t* out, const uint16_t* b, const uint16_t* g, const uint16_t* r, const uint16_t* nodes, size_t count) {
  const __m512i six_bits = _mm512_set1_epi32(63);
  const __m512i one = _mm512_set1_epi32(64);
  const __m512i half = _mm512_set1_epi32(1 << 17);
  const __m512i first_four = _mm512_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3);
  size_t i = 0;
  for (; i + 16 <= count; i += 16) {
    auto load = [i](const uint16_t* at) {
      return _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(at + i)));
    };
    const __m512i blue = load(b), green = load(g), red = load(r);
    const __m512i r17 = _mm512_mullo_epi32(_mm512_srli_epi32(red, 6), _mm512_set1_epi32(17 * 17));
    const __m512i g17 = _mm512_mullo_epi32(_mm512_srli_epi32(green, 6), _mm512_set1_epi32(17));
    const __m512i cell = _mm512_add_epi32(_mm512_add_epi32(r17, g17), _mm512_srli_epi32(blue, 6));
    alignas(64) uint32_t offset[16];
    _mm512_store_si512(offset, _mm512_slli_epi32(cell, 2));

    const __m512i fr = _mm512_and_si512(red, six_bits);
    const __m512i fg = _mm512_and_si512(green, six_bits);
    const __m512i fb = _mm512_and_si512(blue, six_bits);
    // The weights of the two green neighbours side by side, for each of the two in red.
    const __m512i pair = _mm512_or_si512(_mm512_sub_epi32(one, fg), _mm512_slli_epi32(fg, 16));
    const __m512i low_red = _mm512_mullo_epi32(pair, _mm512_sub_epi32(one, fr));
    const __m512i high_red = _mm512_mullo_epi32(pair, fr);
    for (int k = 0; k < 4; ++k) {
      auto lanes = [&](size_t step) {
        const uint16_t* at = nodes + step;
        __m512i v = _mm512_castsi128_si512(load_nodes(at + offset[4 * k]));
        v = _mm512_inserti32x4(v, load_nodes(at + offset[4 * k + 1]), 1);
        v = _mm512_inserti32x4(v, load_nodes(at + offset[4 * k + 2]), 2);
        return _mm512_inserti32x4(v, load_nodes(at + offset[4 * k + 3]), 3);
      };
      const __m512i choose = _mm512_add_epi32(first_four, _mm512_set1_epi32(4 * k));
      const __m512i w0 = _mm512_permutexvar_epi32(choose, low_red);
      const __m512i w1 = _mm512_permutexvar_epi32(choose, high_red);
      const __m512i w = _mm512_permutexvar_epi32(choose, fb);
      const __m512i n00 = lanes(0), n01 = lanes(next_green);
      const __m512i n10 = lanes(next_red), n11 = lanes(next_red + next_green);
      const __m512i near = _mm512_add_epi32(_mm512_madd_epi16(_mm512_unpacklo_epi16(n00, n01), w0),
                                            _mm512_madd_epi16(_mm512_unpacklo_epi16(n10, n11), w1));
      const __m512i far = _mm512_add_epi32(_mm512_madd_epi16(_mm512_unpackhi_epi16(n00, n01), w0),
                                           _mm512_madd_epi16(_mm512_unpackhi_epi16(n10, n11), w1));
      const __m512i sum =
          _mm512_add_epi32(_mm512_slli_epi32(near, 6), _mm512_mullo_epi32(_mm512_sub_epi32(far, near), w));
      const __m512i rounded = _mm512_srli_epi32(_mm512_add_epi32(sum, half), 18);
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 4 * (i + 4 * k)), _mm512_cvtepi32_epi16(rounded));
    }
  }
  plain_cube(out + 4 * i, b + i, g + i, r + i, nodes, count - i);
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

// Two samples at a time, each in its own 128-bit lane.
void cube(uint16_t* out, const uint16_t* b, const uint16_t* g, const uint16_t* r, const uint16_t* nodes, size_t count) {
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
    const __m256i r17 = _mm256_mullo_epi32(_mm256_srli_epi32(red, 6), _mm256_set1_epi32(17 * 17));
    const __m256i g17 = _mm256_mullo_epi32(_mm256_srli_epi32(green, 6), _mm256_set1_epi32(17));
    const __m256i cell = _mm256_add_epi32(_mm256_add_epi32(r17, g17), _mm256_srli_epi32(blue, 6));
    alignas(32) uint32_t offset[8];
    _mm256_store_si256(reinterpret_cast<__m256i*>(offset), _mm256_slli_epi32(cell, 2));

    const __m256i fr = _mm256_and_si256(red, six_bits);
    const __m256i fg = _mm256_and_si256(green, six_bits);
    const __m256i fb = _mm256_and_si256(blue, six_bits);
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
  plain_cube(out + 4 * i, b + i, g + i, r + i, nodes, count - i);
}

#else

constexpr auto map_bytes = plain_map_bytes;
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

__attribute__((target("avx512vbmi"))) void map_bytes_vbmi(uint8_t* out, const uint8_t* in, const uint8_t* table,
                                                          size_t count) {
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

#endif

}  // namespace

// Fills `rows` with this level's operations. Where the portable loop is named, the compiler does as well.
void set_color_rows(color_rows& rows) {
  rows = {map_bytes, plain_map_halves, plain_map_words, plain_map_nodes, plain_widen_bytes, cube, matrix};
}

#if defined(__AVX512BW__)
// Only for processors with AVX512_VBMI.
void add_vbmi_color_rows(color_rows& rows) {
  rows.map_bytes = map_bytes_vbmi;
}
#endif

}  // namespace img::KSN_SIMD_LEVEL
