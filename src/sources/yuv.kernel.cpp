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
  static words quarters(words a) { return _mm512_slli_epi16(a, 2); }
  static words mean(words a, words b) { return _mm512_avg_epu16(a, b); }
  static words three_to_one(words a, words b) {
    const words sum = _mm512_add_epi16(_mm512_add_epi16(a, _mm512_slli_epi16(a, 1)), b);
    return _mm512_srli_epi16(_mm512_add_epi16(sum, _mm512_set1_epi16(2)), 2);
  }
  // Words of both in turn, in two vectors.
  static void weave(words even, words odd, words* to) {
    const words order = _mm512_set_epi64(7, 3, 6, 2, 5, 1, 4, 0);
    even = _mm512_permutexvar_epi64(order, even);
    odd = _mm512_permutexvar_epi64(order, odd);
    to[0] = _mm512_unpacklo_epi16(even, odd);
    to[1] = _mm512_unpackhi_epi16(even, odd);
  }
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
  static words quarters(words a) { return _mm256_slli_epi16(a, 2); }
  static words mean(words a, words b) { return _mm256_avg_epu16(a, b); }
  static words three_to_one(words a, words b) {
    const words sum = _mm256_add_epi16(_mm256_add_epi16(a, _mm256_slli_epi16(a, 1)), b);
    return _mm256_srli_epi16(_mm256_add_epi16(sum, _mm256_set1_epi16(2)), 2);
  }
  // Words of both in turn, in two vectors.
  static void weave(words even, words odd, words* to) {
    even = _mm256_permute4x64_epi64(even, 0xD8);
    odd = _mm256_permute4x64_epi64(odd, 0xD8);
    to[0] = _mm256_unpacklo_epi16(even, odd);
    to[1] = _mm256_unpackhi_epi16(even, odd);
  }
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

// Chroma of a row: samples that each pixel has of its own, or one for two pixels with at least one more on each side.
template <class T>
struct chroma_of_each {
  const T* u;
  const T* v;
};
struct chroma_of_left {
  const uint16_t* u;
  const uint16_t* v;
};
struct chroma_of_between {
  const uint16_t* u;
  const uint16_t* v;
};

#if defined(__AVX2__)
// The chroma of pixels `at` and those that follow, as many as two vectors hold.
inline void fetch(const chroma_of_each<uint8_t>&, const uint8_t* from, int at, vector::words* to) {
  to[0] = vector::quarters(vector::load(from + at));
  to[1] = vector::quarters(vector::load(from + at + vector::lanes));
}
inline void fetch(const chroma_of_each<uint16_t>&, const uint16_t* from, int at, vector::words* to) {
  to[0] = vector::load(from + at);
  to[1] = vector::load(from + at + vector::lanes);
}
inline void fetch(const chroma_of_left&, const uint16_t* from, int at, vector::words* to) {
  const vector::words here = vector::load(from + at / 2);
  vector::weave(here, vector::mean(here, vector::load(from + at / 2 + 1)), to);
}
inline void fetch(const chroma_of_between&, const uint16_t* from, int at, vector::words* to) {
  const vector::words here = vector::load(from + at / 2);
  vector::weave(vector::three_to_one(here, vector::load(from + at / 2 - 1)),
                vector::three_to_one(here, vector::load(from + at / 2 + 1)), to);
}
#endif

inline int chroma_of(uint8_t sample) {
  return 4 * sample;
}
inline int chroma_of(uint16_t sample) {
  return static_cast<int16_t>(sample);
}

struct byte_rows {
  uint8_t* b;
  uint8_t* g;
  uint8_t* r;
};

// A loop that the compiler made vectors of took 1.7 times as long: it multiplies 32-bit numbers, while these weights
// and samples fit the products of 16-bit pairs.
template <class Luma, class Chroma>
inline int convert_in_vectors(int width, const yuv_weights& w, const Luma* y, const Chroma& chroma,
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
    words u[2];
    words v[2];
    fetch(chroma, chroma.u, x, u);
    fetch(chroma, chroma.v, x, v);
    for (int part = 0; part < 2; ++part) {
      const words luma = vector::load(y + x + part * vector::lanes);
      const words u_low = vector::low(luma, u[part]);
      const words u_high = vector::high(luma, u[part]);
      const words v_low = vector::low(luma, v[part]);
      const words v_high = vector::high(luma, v[part]);
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
  (void)width, (void)w, (void)y, (void)chroma, (void)to;
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
  for (int x = convert_in_vectors(width, w, y, chroma_of_each<Chroma>{u, v}, to); x < width; ++x) {
    const int luma = static_cast<int16_t>(y[x]) * w.luma;
    const int cu = chroma_of(u[x]);
    const int cv = chroma_of(v[x]);
    b[x] = byte(luma + cu * w.blue_u + w.blue_bias);
    g[x] = byte(luma + cu * w.green_u + cv * w.green_v + w.green_bias);
    r[x] = byte(luma + cv * w.red_v + w.red_bias);
  }
}

constexpr int block = 512;  // pixels; the chroma that is made for them stays in the first-level cache

// `quarters` of a sample as they count: quarters of bytes, whole words. Words have at most 14 bits.
inline uint16_t mixed(uint16_t quarters, const uint8_t*) {
  return quarters;
}
inline uint16_t mixed(uint16_t quarters, const uint16_t*) {
  return static_cast<uint16_t>(static_cast<uint16_t>(quarters + 2) >> 2);
}

// Samples of two rows, of which the further one has `far` quarters.
template <class T>
inline void mix(int count, const T* __restrict near, const T* __restrict other, int far, uint16_t* __restrict to) {
  const auto sum = [&](int quarters) { return mixed(static_cast<uint16_t>(quarters), near); };
  if (far == 0) {
    for (int i = 0; i < count; ++i) to[i] = sum(4 * near[i]);
  } else if (far == 1) {
    for (int i = 0; i < count; ++i) to[i] = sum(3 * near[i] + other[i]);
  } else {
    for (int i = 0; i < count; ++i) to[i] = sum(2 * near[i] + 2 * other[i]);
  }
}

// Samples of pixel pairs with one more on each side.
struct pair_samples {
  uint16_t words[block / 2 + 2];
  const uint16_t* begin() const { return words + 1; }
};

// The samples of `pairs` pairs from pair `first` on.
template <class T>
inline void take(const yuv_row& row, const T* near, const T* other, int first, int pairs, pair_samples& to) {
  const int end = (row.width + 1) / 2;
  const int from = first > 0 ? first - 1 : 0;
  const int upto = first + pairs < end ? first + pairs + 1 : end;
  mix(upto - from, near + from, row.far ? other + from : near, row.far, to.words + (from - first + 1));
  if (first == 0) to.words[0] = to.words[1];
  if (first + pairs == end) to.words[pairs + 1] = to.words[pairs];
}

// The chroma of each pixel of `pairs` pairs. Two at once as one word: the loop over pairs of stores becomes a row of
// shuffles otherwise.
inline void spread(chroma_across across, const uint16_t* here, int pairs, uint32_t* __restrict to) {
  if (across == chroma_on_left) {
    for (int i = 0; i < pairs; ++i) to[i] = here[i] | static_cast<uint32_t>(here[i] + here[i + 1] + 1) >> 1 << 16;
  } else {
    for (int i = 0; i < pairs; ++i) {
      const uint32_t most = 3u * here[i] + 2u;
      to[i] = (most + here[i - 1]) >> 2 | (most + here[i + 1]) >> 2 << 16;
    }
  }
}

template <class T>
inline void convert_block_of_pairs(const yuv_row& row, const yuv_weights& w, int x, int count) {
  pair_samples u;
  pair_samples v;
  const int pairs = (count + 1) / 2;
  take(row, static_cast<const T*>(row.u), static_cast<const T*>(row.far_u), x / 2, pairs, u);
  take(row, static_cast<const T*>(row.v), static_cast<const T*>(row.far_v), x / 2, pairs, v);
  const T* y = static_cast<const T*>(row.y) + x;
  const byte_rows to = {row.b + x, row.g + x, row.r + x};
  const int done = row.across == chroma_on_left
                       ? convert_in_vectors(count, w, y, chroma_of_left{u.begin(), v.begin()}, to)
                       : convert_in_vectors(count, w, y, chroma_of_between{u.begin(), v.begin()}, to);
  if (done == count) return;
  uint32_t wide_u[block / 2];
  uint32_t wide_v[block / 2];
  spread(row.across, u.begin() + done / 2, pairs - done / 2, wide_u);
  spread(row.across, v.begin() + done / 2, pairs - done / 2, wide_v);
  convert(count - done, w, y + done, reinterpret_cast<const uint16_t*>(wide_u),
          reinterpret_cast<const uint16_t*>(wide_v), {to.b + done, to.g + done, to.r + done});
}

template <class T>
void convert_row(const yuv_row& row, const yuv_weights& w) {
  const T* y = static_cast<const T*>(row.y);
  const T* u = static_cast<const T*>(row.u);
  const T* v = static_cast<const T*>(row.v);
  if (row.across == chroma_on_each && row.far == 0) {
    convert(row.width, w, y, u, v, {row.b, row.g, row.r});
    return;
  }
  for (int x = 0; x < row.width; x += block) {
    const int count = row.width - x < block ? row.width - x : block;
    if (row.across != chroma_on_each) {
      convert_block_of_pairs<T>(row, w, x, count);
      continue;
    }
    uint16_t mixed_u[block];
    uint16_t mixed_v[block];
    mix(count, u + x, static_cast<const T*>(row.far_u) + x, row.far, mixed_u);
    mix(count, v + x, static_cast<const T*>(row.far_v) + x, row.far, mixed_v);
    convert(count, w, y + x, mixed_u, mixed_v, {row.b + x, row.g + x, row.r + x});
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
