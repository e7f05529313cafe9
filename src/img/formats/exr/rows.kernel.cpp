#include "img/formats/exr/rows.h"

#include <string.h>

#include "img/formats/exr/plain_rows.h"

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace img::KSN_SIMD_LEVEL {
namespace {

#if defined(__SSE2__)

__m128i load(const uint8_t* at) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
}

// Running sums of 16 bytes, each minus 128.
__m128i running_sums(__m128i differences) {
  __m128i sums = _mm_xor_si128(differences, _mm_set1_epi8(-128));
  sums = _mm_add_epi8(sums, _mm_slli_si128(sums, 1));
  sums = _mm_add_epi8(sums, _mm_slli_si128(sums, 2));
  sums = _mm_add_epi8(sums, _mm_slli_si128(sums, 4));
  return _mm_add_epi8(sums, _mm_slli_si128(sums, 8));
}

__m128i last_byte_everywhere(__m128i bytes) {
  const __m128i doubled = _mm_unpackhi_epi8(bytes, bytes);
  return _mm_shuffle_epi32(_mm_shufflehi_epi16(doubled, 0xFF), 0xFF);
}

#endif

void undo_differences(uint8_t* bytes, size_t count) {
  size_t i = 0;
#if defined(__SSE2__)
  // The first byte stands for itself: as if 128 came before it. Only one addition links a block to the next.
  __m128i before = _mm_set1_epi8(-128);
#if defined(__AVX2__)
  __m256i before2 = _mm256_set1_epi8(-128);
  const __m256i last_of_lane = _mm256_set1_epi8(15);
  for (; i + 32 <= count; i += 32) {
    __m256i sums = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes + i));
    sums = _mm256_xor_si256(sums, _mm256_set1_epi8(-128));
    sums = _mm256_add_epi8(sums, _mm256_slli_si256(sums, 1));
    sums = _mm256_add_epi8(sums, _mm256_slli_si256(sums, 2));
    sums = _mm256_add_epi8(sums, _mm256_slli_si256(sums, 4));
    sums = _mm256_add_epi8(sums, _mm256_slli_si256(sums, 8));
    const __m256i totals = _mm256_shuffle_epi8(sums, last_of_lane);
    sums = _mm256_add_epi8(sums, _mm256_permute2x128_si256(totals, totals, 0x08));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes + i), _mm256_add_epi8(sums, before2));
    before2 = _mm256_add_epi8(before2, _mm256_add_epi8(totals, _mm256_permute2x128_si256(totals, totals, 0x01)));
  }
  before = _mm256_castsi256_si128(before2);
#endif
  for (; i + 16 <= count; i += 16) {
    const __m128i sums = running_sums(load(bytes + i));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes + i), _mm_add_epi8(sums, before));
    before = _mm_add_epi8(before, last_byte_everywhere(sums));
  }
#endif
  for (i = i == 0 ? 1 : i; i < count; ++i) bytes[i] = static_cast<uint8_t>(bytes[i] + bytes[i - 1] - 128);
}

void join_bytes(uint16_t* out, const uint8_t* low, const uint8_t* high, size_t count) {
  size_t i = 0;
#if defined(__SSE2__)
  for (; i + 16 <= count; i += 16) {
    const __m128i lower = load(low + i);
    const __m128i upper = load(high + i);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_unpacklo_epi8(lower, upper));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i + 8), _mm_unpackhi_epi8(lower, upper));
  }
#endif
  plain_join_bytes(out + i, low + i, high + i, count - i);
}

void floats_to_halves(uint16_t* out, const uint32_t* floats, size_t count) {
  size_t i = 0;
#if defined(__F16C__) && defined(__AVX2__)
  const __m256i magnitude_bits = _mm256_set1_epi32(0x7FFFFFFF);
  const __m256i infinity = _mm256_set1_epi32(0x7F800000);
  const __m256i largest = _mm256_set1_epi32(0x477FE000);  // 65504
  for (; i + 8 <= count; i += 8) {
    __m256i bits = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(floats + i));
    const __m256i magnitude = _mm256_and_si256(bits, magnitude_bits);
    // The processor makes every NaN a quiet one.
    if (!_mm256_testz_si256(_mm256_cmpgt_epi32(magnitude, infinity), magnitude_bits)) {
      plain_floats_to_halves(out + i, floats + i, 8);
      continue;
    }
    // The processor rounds what lies a little beyond the largest half down to it.
    const __m256i beyond = _mm256_cmpgt_epi32(magnitude, largest);
    bits = _mm256_or_si256(bits, _mm256_and_si256(beyond, infinity));
    bits = _mm256_andnot_si256(_mm256_and_si256(beyond, _mm256_set1_epi32(0x007FFFFF)), bits);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i),
                     _mm256_cvtps_ph(_mm256_castsi256_ps(bits), _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC));
  }
#endif
  plain_floats_to_halves(out + i, floats + i, count - i);
}

}  // namespace

// Where the portable loop is named, the compiler vectorises it.
extern const exr_kernels exr_rows = {undo_differences, join_bytes, plain_take_differences, plain_split_bytes,
                                     floats_to_halves};

}  // namespace img::KSN_SIMD_LEVEL
