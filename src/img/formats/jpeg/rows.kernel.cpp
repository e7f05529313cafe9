#include "img/formats/jpeg/rows.h"
#include "img/formats/jpeg/plain_rows.h"

#if defined(__AVX2__)
#include <immintrin.h>
#endif

namespace img::KSN_SIMD_LEVEL {
namespace {

#if defined(__AVX2__)

__m256i load(const void* at) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(at));
}

// Chroma less 128 of 32 pixels: those of the lower halves of both lanes, and those of the upper halves, as unpacking
// the luma orders them.
struct chroma_pair {
  __m256i low, high;
};

chroma_pair chroma_of(const uint16_t* sums) {
  const __m256i here = load(sums);
  const __m256i three = _mm256_add_epi16(here, _mm256_slli_epi16(here, 1));
  const __m256i even =
      _mm256_srli_epi16(_mm256_add_epi16(_mm256_add_epi16(three, load(sums - 1)), _mm256_set1_epi16(8)), 4);
  const __m256i odd =
      _mm256_srli_epi16(_mm256_add_epi16(_mm256_add_epi16(three, load(sums + 1)), _mm256_set1_epi16(7)), 4);
  const __m256i middle = _mm256_set1_epi16(128);
  return {_mm256_sub_epi16(_mm256_unpacklo_epi16(even, odd), middle),
          _mm256_sub_epi16(_mm256_unpackhi_epi16(even, odd), middle)};
}

// value * factor / 65536, rounded. The doubled value stays within 16 bits.
__m256i scaled(__m256i value, short factor) {
  const __m256i twice = _mm256_mulhi_epi16(_mm256_add_epi16(value, value), _mm256_set1_epi16(factor));
  return _mm256_srai_epi16(_mm256_add_epi16(twice, _mm256_set1_epi16(1)), 1);
}

struct colours {
  __m256i b, g, r;
};

// Factors of more than 16 bits are split into whole parts, which are added, and the rest: 2 - 14942 / 65536 for blue,
// 1 + 26345 / 65536 for red, and 18734 / 65536 - 1 for the red part of green.
colours colours_of(__m256i luma, __m256i cb, __m256i cr) {
  const __m256i factors = _mm256_set1_epi32(static_cast<int>(18734u << 16 | (0x10000u - 22554u)));
  const __m256i half = _mm256_set1_epi32(1 << 15);
  const __m256i low =
      _mm256_srai_epi32(_mm256_add_epi32(_mm256_madd_epi16(_mm256_unpacklo_epi16(cb, cr), factors), half), 16);
  const __m256i high =
      _mm256_srai_epi32(_mm256_add_epi32(_mm256_madd_epi16(_mm256_unpackhi_epi16(cb, cr), factors), half), 16);
  const __m256i green = _mm256_sub_epi16(_mm256_packs_epi32(low, high), cr);
  const __m256i blue = _mm256_add_epi16(_mm256_add_epi16(cb, cb), scaled(cb, -14942));
  const __m256i red = _mm256_add_epi16(cr, scaled(cr, 26345));
  return {_mm256_add_epi16(luma, blue), _mm256_add_epi16(luma, green), _mm256_add_epi16(luma, red)};
}

void store(uint8_t* at, __m256i low, __m256i high) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(at), _mm256_packus_epi16(low, high));
}

void rows(const jpeg_half_chroma_row& row, uint16_t* scratch, uint8_t* b, uint8_t* g, uint8_t* r, size_t width) {
  const size_t count = (width + 1) / 2;
  uint16_t* const blue = scratch + 1;
  uint16_t* const red = blue + count + 2;
  jpeg_sums(row.near_blue, row.far_blue, blue, count);
  jpeg_sums(row.near_red, row.far_red, red, count);
  const __m256i zero = _mm256_setzero_si256();
  size_t x = 0;
  for (; x + 32 <= width; x += 32) {
    const __m256i luma = load(row.luma + x);
    const chroma_pair cb = chroma_of(blue + x / 2);
    const chroma_pair cr = chroma_of(red + x / 2);
    const colours low = colours_of(_mm256_unpacklo_epi8(luma, zero), cb.low, cr.low);
    const colours high = colours_of(_mm256_unpackhi_epi8(luma, zero), cb.high, cr.high);
    store(b + x, low.b, high.b);
    store(g + x, low.g, high.g);
    store(r + x, low.r, high.r);
  }
  jpeg_colours(row.luma, blue, red, b, g, r, x, width);
}

#else

constexpr auto rows = plain_half_chroma;

#endif

}  // namespace

extern const jpeg_half_chroma half_chroma = rows;

}  // namespace img::KSN_SIMD_LEVEL
