#include "sources/yuv.h"

#if defined(__AVX2__)
#if defined(__GNUC__) && !defined(__clang__)
// The library's own AVX-512 functions begin with an undefined value (GCC bug 105593).
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>
#endif

namespace sources {
namespace KSN_SIMD_LEVEL {
namespace {

#if defined(__AVX512BW__)
struct vector {
  using words = __m512i;
  static constexpr int lanes = 32;
  static words load(const uint8_t* p) {
    return _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)));
  }
  static words load(const uint16_t* p) { return _mm512_loadu_si512(p); }
  static words pair(int low, int high) { return _mm512_set1_epi32((low & 0xFFFF) | static_cast<int>(high * 65536u)); }
  static words all(int value) { return _mm512_set1_epi32(value); }
  static words low(words a, words b) { return _mm512_unpacklo_epi16(a, b); }
  static words high(words a, words b) { return _mm512_unpackhi_epi16(a, b); }
  static words dot(words a, words weights) { return _mm512_madd_epi16(a, weights); }
  static words add(words a, words b) { return _mm512_add_epi32(a, b); }
  static words pack(words low, words high, __m128i shift) {
    return _mm512_packs_epi32(_mm512_sra_epi32(low, shift), _mm512_sra_epi32(high, shift));
  }
  static void store(uint8_t* p, words first, words second) {
    const words order = _mm512_set_epi64(7, 5, 3, 1, 6, 4, 2, 0);
    _mm512_storeu_si512(p, _mm512_permutexvar_epi64(order, _mm512_packus_epi16(first, second)));
  }
};
#elif defined(__AVX2__)
struct vector {
  using words = __m256i;
  static constexpr int lanes = 16;
  static words load(const uint8_t* p) {
    return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
  }
  static words load(const uint16_t* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
  static words pair(int low, int high) { return _mm256_set1_epi32((low & 0xFFFF) | static_cast<int>(high * 65536u)); }
  static words all(int value) { return _mm256_set1_epi32(value); }
  static words low(words a, words b) { return _mm256_unpacklo_epi16(a, b); }
  static words high(words a, words b) { return _mm256_unpackhi_epi16(a, b); }
  static words dot(words a, words weights) { return _mm256_madd_epi16(a, weights); }
  static words add(words a, words b) { return _mm256_add_epi32(a, b); }
  static words pack(words low, words high, __m128i shift) {
    return _mm256_packs_epi32(_mm256_sra_epi32(low, shift), _mm256_sra_epi32(high, shift));
  }
  static void store(uint8_t* p, words first, words second) {
    const words bytes = _mm256_permute4x64_epi64(_mm256_packus_epi16(first, second), 0xD8);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), bytes);
  }
};
#endif

struct byte_rows {
  uint8_t* b;
  uint8_t* g;
  uint8_t* r;
};

// A loop that the compiler made vectors of took 1.7 times as long: it multiplies 32-bit numbers, while these weights
// and samples fit the products of 16-bit pairs.
template <class Luma, class Chroma>
inline int convert_in_vectors(int width, const yuv_weights& w, const Luma* y, const Chroma* u, const Chroma* v,
                              const byte_rows& to) {
  int x = 0;
#if defined(__AVX2__)
  using words = vector::words;
  const words blue = vector::pair(w.luma, w.blue_u);
  const words green = vector::pair(w.luma, w.green_u);
  const words green_rest = vector::pair(0, w.green_v);
  const words red = vector::pair(w.luma, w.red_v);
  const words blue_bias = vector::all(w.blue_bias);
  const words green_bias = vector::all(w.green_bias);
  const words red_bias = vector::all(w.red_bias);
  const __m128i shift = _mm_cvtsi32_si128(w.shift);
  for (; x + 2 * vector::lanes <= width; x += 2 * vector::lanes) {
    words b[2];
    words g[2];
    words r[2];
    for (int part = 0; part < 2; ++part) {
      const int at = x + part * vector::lanes;
      const words luma = vector::load(y + at);
      const words cu = vector::load(u + at);
      const words cv = vector::load(v + at);
      const words u_low = vector::low(luma, cu);
      const words u_high = vector::high(luma, cu);
      const words v_low = vector::low(luma, cv);
      const words v_high = vector::high(luma, cv);
      b[part] = vector::pack(vector::add(vector::dot(u_low, blue), blue_bias),
                             vector::add(vector::dot(u_high, blue), blue_bias), shift);
      g[part] = vector::pack(
          vector::add(vector::dot(u_low, green), vector::add(vector::dot(v_low, green_rest), green_bias)),
          vector::add(vector::dot(u_high, green), vector::add(vector::dot(v_high, green_rest), green_bias)), shift);
      r[part] = vector::pack(vector::add(vector::dot(v_low, red), red_bias),
                             vector::add(vector::dot(v_high, red), red_bias), shift);
    }
    vector::store(to.b + x, b[0], b[1]);
    vector::store(to.g + x, g[0], g[1]);
    vector::store(to.r + x, r[0], r[1]);
  }
#else
  (void)width, (void)w, (void)y, (void)u, (void)v, (void)to;
#endif
  return x;
}

template <class Luma, class Chroma>
inline void convert(int width, const yuv_weights& weights, const Luma* __restrict y, const Chroma* __restrict u,
                    const Chroma* __restrict v, const byte_rows& to) {
  const yuv_weights w = weights;
  uint8_t* __restrict b = to.b;
  uint8_t* __restrict g = to.g;
  uint8_t* __restrict r = to.r;
  const auto byte = [&](int sum) {
    const int value = sum >> w.shift;
    return static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
  };
  for (int x = convert_in_vectors(width, w, y, u, v, to); x < width; ++x) {
    const int luma = static_cast<int16_t>(y[x]) * w.luma;
    const int cu = static_cast<int16_t>(u[x]);
    const int cv = static_cast<int16_t>(v[x]);
    b[x] = byte(luma + cu * w.blue_u + w.blue_bias);
    g[x] = byte(luma + cu * w.green_u + cv * w.green_v + w.green_bias);
    r[x] = byte(luma + cv * w.red_v + w.red_bias);
  }
}

// Each sample twice. Two at once as one word: the loop over pairs of stores becomes a row of shuffles otherwise.
template <class T>
inline void double_up(int pairs, const T* __restrict from, uint32_t* __restrict to) {
  for (int i = 0; i < pairs; ++i) to[i] = from[i] * 0x10001u;
}

constexpr int block = 512;  // pixels; the doubled chroma stays in the first-level cache

template <class T>
void convert_row(const yuv_row& row, const yuv_weights& w) {
  const T* y = static_cast<const T*>(row.y);
  const T* u = static_cast<const T*>(row.u);
  const T* v = static_cast<const T*>(row.v);
  if (!row.half) {
    convert(row.width, w, y, u, v, {row.b, row.g, row.r});
    return;
  }
  uint32_t wide_u[block / 2];
  uint32_t wide_v[block / 2];
  for (int x = 0; x < row.width; x += block) {
    const int count = row.width - x < block ? row.width - x : block;
    double_up((count + 1) / 2, u + x / 2, wide_u);
    double_up((count + 1) / 2, v + x / 2, wide_v);
    convert(count, w, y + x, reinterpret_cast<const uint16_t*>(wide_u), reinterpret_cast<const uint16_t*>(wide_v),
            {row.b + x, row.g + x, row.r + x});
  }
}

}  // namespace

void convert_yuv_row(const yuv_row& row, const yuv_weights& weights) {
  if (row.bytes == 1) {
    convert_row<uint8_t>(row, weights);
  } else {
    convert_row<uint16_t>(row, weights);
  }
}

}  // namespace KSN_SIMD_LEVEL
}  // namespace sources
