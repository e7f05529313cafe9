#include "img/plain_rows.h"
#include "img/row_kernels.h"

#if defined(__AVX2__)
#include <immintrin.h>
#endif

namespace img::KSN_SIMD_LEVEL {
namespace {

#if defined(__AVX2__)

__m256i load(const uint8_t* at) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
}

void store(uint8_t* at, __m256i value) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(at), value);
}

// 16 bytes from each of two places, one to a lane.
__m256i load_lanes(const uint8_t* low, const uint8_t* high) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(low))),
                                 _mm_loadu_si128(reinterpret_cast<const __m128i*>(high)), 1);
}

void store_lanes(uint8_t* low, uint8_t* high, __m256i value) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(low), _mm256_castsi256_si128(value));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(high), _mm256_extracti128_si256(value, 1));
}

__m256i both_lanes(__m128i value) {
  return _mm256_broadcastsi128_si256(value);
}

__m256i any(__m256i a, __m256i b, __m256i c) {
  return _mm256_or_si256(_mm256_or_si256(a, b), c);
}

// Of 48 bytes of 16 pixels in three parts: where the samples of one colour lie in part `part`, at the places in the
// plane that they belong to; -1 elsewhere.
__m256i split_mask(int colour, int part) {
  alignas(16) signed char mask[16];
  for (int i = 0; i < 16; ++i) {
    const int at = 3 * i + colour - 16 * part;
    mask[i] = static_cast<signed char>(at >= 0 && at < 16 ? at : -1);
  }
  return both_lanes(_mm_load_si128(reinterpret_cast<const __m128i*>(mask)));
}

// The reverse: which sample of the colour each byte of part `part` holds.
__m256i join_mask(int colour, int part) {
  alignas(16) signed char mask[16];
  for (int i = 0; i < 16; ++i) {
    const int at = 16 * part + i - colour;
    mask[i] = static_cast<signed char>(at >= 0 && at % 3 == 0 ? at / 3 : -1);
  }
  return both_lanes(_mm_load_si128(reinterpret_cast<const __m128i*>(mask)));
}

void split3(const uint8_t* pixels, uint8_t* b, uint8_t* g, uint8_t* r, size_t count) {
  size_t i = 0;
  if (count >= 32) {
    __m256i mask[3][3];
    for (int colour = 0; colour < 3; ++colour) {
      for (int part = 0; part < 3; ++part) mask[colour][part] = split_mask(colour, part);
    }
    uint8_t* const planes[3] = {b, g, r};
    for (; i + 32 <= count; i += 32) {
      const uint8_t* at = pixels + 3 * i;
      const __m256i p0 = load_lanes(at, at + 48);
      const __m256i p1 = load_lanes(at + 16, at + 64);
      const __m256i p2 = load_lanes(at + 32, at + 80);
      for (int colour = 0; colour < 3; ++colour) {
        store(planes[colour] + i,
              any(_mm256_shuffle_epi8(p0, mask[colour][0]), _mm256_shuffle_epi8(p1, mask[colour][1]),
                  _mm256_shuffle_epi8(p2, mask[colour][2])));
      }
    }
  }
  plain_split3(pixels + 3 * i, b + i, g + i, r + i, count - i);
}

void split4(const uint8_t* pixels, uint8_t* b, uint8_t* g, uint8_t* r, uint8_t* a, size_t count) {
  const __m256i by_colour = both_lanes(_mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15));
  const __m256i in_order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
  size_t i = 0;
  for (; i + 32 <= count; i += 32) {
    const uint8_t* at = pixels + 4 * i;
    const __m256i p0 = _mm256_shuffle_epi8(load(at), by_colour);
    const __m256i p1 = _mm256_shuffle_epi8(load(at + 32), by_colour);
    const __m256i p2 = _mm256_shuffle_epi8(load(at + 64), by_colour);
    const __m256i p3 = _mm256_shuffle_epi8(load(at + 96), by_colour);
    const __m256i bg0 = _mm256_unpacklo_epi32(p0, p1), ra0 = _mm256_unpackhi_epi32(p0, p1);
    const __m256i bg1 = _mm256_unpacklo_epi32(p2, p3), ra1 = _mm256_unpackhi_epi32(p2, p3);
    store(b + i, _mm256_permutevar8x32_epi32(_mm256_unpacklo_epi64(bg0, bg1), in_order));
    store(g + i, _mm256_permutevar8x32_epi32(_mm256_unpackhi_epi64(bg0, bg1), in_order));
    store(r + i, _mm256_permutevar8x32_epi32(_mm256_unpacklo_epi64(ra0, ra1), in_order));
    store(a + i, _mm256_permutevar8x32_epi32(_mm256_unpackhi_epi64(ra0, ra1), in_order));
  }
  plain_split4(pixels + 4 * i, b + i, g + i, r + i, a + i, count - i);
}

void join3(const uint8_t* b, const uint8_t* g, const uint8_t* r, uint8_t* pixels, size_t count) {
  size_t i = 0;
  if (count >= 32) {
    __m256i mask[3][3];
    for (int colour = 0; colour < 3; ++colour) {
      for (int part = 0; part < 3; ++part) mask[colour][part] = join_mask(colour, part);
    }
    for (; i + 32 <= count; i += 32) {
      const __m256i blue = load(b + i), green = load(g + i), red = load(r + i);
      for (int part = 0; part < 3; ++part) {
        uint8_t* at = pixels + 3 * i + 16 * part;
        store_lanes(at, at + 48,
                    any(_mm256_shuffle_epi8(blue, mask[0][part]), _mm256_shuffle_epi8(green, mask[1][part]),
                        _mm256_shuffle_epi8(red, mask[2][part])));
      }
    }
  }
  plain_join3(b + i, g + i, r + i, pixels + 3 * i, count - i);
}

void join4(const uint8_t* b, const uint8_t* g, const uint8_t* r, const uint8_t* a, uint8_t* pixels, size_t count) {
  size_t i = 0;
  for (; i + 32 <= count; i += 32) {
    const __m256i blue = load(b + i), green = load(g + i), red = load(r + i), alpha = load(a + i);
    const __m256i bg0 = _mm256_unpacklo_epi8(blue, green), bg1 = _mm256_unpackhi_epi8(blue, green);
    const __m256i ra0 = _mm256_unpacklo_epi8(red, alpha), ra1 = _mm256_unpackhi_epi8(red, alpha);
    uint8_t* at = pixels + 4 * i;
    store_lanes(at, at + 64, _mm256_unpacklo_epi16(bg0, ra0));
    store_lanes(at + 16, at + 80, _mm256_unpackhi_epi16(bg0, ra0));
    store_lanes(at + 32, at + 96, _mm256_unpacklo_epi16(bg1, ra1));
    store_lanes(at + 48, at + 112, _mm256_unpackhi_epi16(bg1, ra1));
  }
  plain_join4(b + i, g + i, r + i, a + i, pixels + 4 * i, count - i);
}

#else

constexpr auto split3 = plain_split3;
constexpr auto split4 = plain_split4;
constexpr auto join3 = plain_join3;
constexpr auto join4 = plain_join4;

#endif

}  // namespace

// Where the portable loop is named, the compiler vectorises it.
extern const row_kernels rows = {split3,
                                 split4,
                                 join3,
                                 join4,
                                 plain_split3_16,
                                 plain_split555,
                                 plain_every<uint8_t, 2>,
                                 plain_every<uint8_t, 4>,
                                 plain_every<uint16_t, 2>,
                                 plain_every<uint16_t, 4>,
                                 plain_every<uint32_t, 2>,
                                 plain_every<uint32_t, 4>};

}  // namespace img::KSN_SIMD_LEVEL
