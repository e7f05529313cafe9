#include <stddef.h>
#include <stdint.h>
#if defined(__AVX512BW__) && defined(__AVX512VL__)
#include <immintrin.h>
#endif

namespace text {
namespace KSN_SIMD_LEVEL {

#if defined(__AVX512BW__) && defined(__AVX512VL__)

// Most texts are narrower than a loop's step: the last part of a row is the same step under a mask.
void cover_rows(uint8_t* const* rows, const uint8_t* values, int count, const uint8_t* coverage, size_t n, int alpha) {
  const __m512i alphas = _mm512_set1_epi16((short)alpha);
  for (size_t i = 0; i < n; i += 32) {
    const __mmask32 live = n - i >= 32 ? 0xFFFFFFFFu : (1u << (n - i)) - 1;
    const __m512i c = _mm512_cvtepu8_epi16(_mm256_maskz_loadu_epi8(live, coverage + i));
    // All products fit into 16 bits without a sign, and of the last one only the low byte above eight bits counts.
    __m512i w = _mm512_add_epi16(c, _mm512_srli_epi16(c, 7));
    w = _mm512_srli_epi16(_mm512_mullo_epi16(w, alphas), 8);
    w = _mm512_add_epi16(w, _mm512_srli_epi16(w, 7));
    for (int plane = 0; plane < count; ++plane) {
      uint8_t* row = rows[plane] + i;
      const __m512i d = _mm512_cvtepu8_epi16(_mm256_maskz_loadu_epi8(live, row));
      const __m512i more = _mm512_sub_epi16(_mm512_set1_epi16((short)values[plane]), d);
      const __m512i by = _mm512_srli_epi16(_mm512_mullo_epi16(more, w), 8);
      _mm256_mask_storeu_epi8(row, live, _mm512_maskz_cvtepi16_epi8(live, _mm512_add_epi16(d, by)));
    }
  }
}

#else

void cover_rows(uint8_t* const* rows, const uint8_t* values, int count, const uint8_t* coverage, size_t n, int alpha) {
  constexpr size_t block = 64;
  uint16_t weights[block];
  for (size_t first = 0; first < n; first += block) {
    const size_t length = n - first < block ? n - first : block;
    for (size_t i = 0; i < length; ++i) {
      const uint16_t c = coverage[first + i];
      const uint16_t w = (uint16_t)((uint16_t)((c + (c >> 7)) * (uint16_t)alpha) >> 8);
      weights[i] = (uint16_t)(w + (w >> 7));
    }
    for (int plane = 0; plane < count; ++plane) {
      uint8_t* __restrict row = rows[plane] + first;
      const uint16_t value = values[plane];
      for (size_t i = 0; i < length; ++i) {
        const uint16_t d = row[i];
        row[i] = (uint8_t)(d + ((uint16_t)((uint16_t)(value - d) * weights[i]) >> 8));
      }
    }
  }
}

#endif

}  // namespace KSN_SIMD_LEVEL
}  // namespace text
