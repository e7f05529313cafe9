#include "img/formats/tga_runs.h"

#include <string.h>

#if defined(__AVX2__)
#include <immintrin.h>
#endif

namespace img::KSN_SIMD_LEVEL {
namespace {

template <int bytes>
constexpr int planes_of = bytes == 1   ? 1
                          : bytes == 4 ? 4
                                       : 3;

// One stored pixel as a sample for each plane.
template <int bytes>
void spread(const uint8_t* pixel, uint8_t* samples) {
  if constexpr (bytes == 2) {
    const unsigned word = pixel[0] | pixel[1] << 8;
    for (int i = 0; i < 3; ++i) {
      const unsigned v = word >> (5 * i) & 31;
      samples[i] = static_cast<uint8_t>((v << 3) + (v >> 2));
    }
  } else {
    for (int i = 0; i < bytes; ++i) samples[i] = pixel[i];
  }
}

template <int bytes>
void copy_literals(const uint8_t* pixels, uint8_t* const* planes, size_t at, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    uint8_t samples[4];
    spread<bytes>(pixels + bytes * i, samples);
    for (int plane = 0; plane < planes_of<bytes>; ++plane) planes[plane][at + i] = samples[plane];
  }
}

#if defined(__AVX2__)

__m128i load(const uint8_t* at) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
}

void store(uint8_t* at, __m128i value) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(at), value);
}

// Sixteen pixels at a time, the last of them with samples behind `count` that the next packet overwrites.
template <int bytes>
void copy_literals_ahead(const uint8_t* pixels, uint8_t* const* planes, size_t at, size_t count) {
  for (size_t i = 0; i < count; i += 16) {
    const uint8_t* from = pixels + bytes * i;
    if constexpr (bytes == 1) {
      store(planes[0] + at + i, load(from));
    } else if constexpr (bytes == 3) {
      const __m128i p0 = load(from), p1 = load(from + 16), p2 = load(from + 32);
      const auto part = [](__m128i value, int first) {
        // Bytes first, first + 3, ... that lie in the 16 of `value`; zero elsewhere.
        const __m128i index = _mm_add_epi8(_mm_setr_epi8(0, 3, 6, 9, 12, 15, 18, 21, 24, 27, 30, 33, 36, 39, 42, 45),
                                           _mm_set1_epi8(static_cast<char>(first)));
        const __m128i outside =
            _mm_or_si128(_mm_cmpgt_epi8(index, _mm_set1_epi8(15)), _mm_cmpgt_epi8(_mm_setzero_si128(), index));
        return _mm_shuffle_epi8(value, _mm_or_si128(index, outside));
      };
      for (int plane = 0; plane < 3; ++plane) {
        store(planes[plane] + at + i,
              _mm_or_si128(_mm_or_si128(part(p0, plane), part(p1, plane - 16)), part(p2, plane - 32)));
      }
    } else {
      const __m128i by_plane = _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
      const __m128i p0 = _mm_shuffle_epi8(load(from), by_plane), p1 = _mm_shuffle_epi8(load(from + 16), by_plane);
      const __m128i p2 = _mm_shuffle_epi8(load(from + 32), by_plane), p3 = _mm_shuffle_epi8(load(from + 48), by_plane);
      const __m128i bg0 = _mm_unpacklo_epi32(p0, p1), ra0 = _mm_unpackhi_epi32(p0, p1);
      const __m128i bg1 = _mm_unpacklo_epi32(p2, p3), ra1 = _mm_unpackhi_epi32(p2, p3);
      store(planes[0] + at + i, _mm_unpacklo_epi64(bg0, bg1));
      store(planes[1] + at + i, _mm_unpackhi_epi64(bg0, bg1));
      store(planes[2] + at + i, _mm_unpacklo_epi64(ra0, ra1));
      store(planes[3] + at + i, _mm_unpackhi_epi64(ra0, ra1));
    }
  }
}

#endif

template <int bytes>
size_t unpack(tga_packets* packets, uint8_t* const* planes, size_t count) {
  tga_packets p = *packets;
  size_t x = 0;
  while (x < count) {
    if (p.left == 0) {
      if (p.position == p.end) break;
      const bool run = (*p.position & 128) != 0;
      if (run && p.end - p.position <= bytes) break;
      p.left = (*p.position++ & 127) + 1;
      p.literal = !run;
      if (run) {
        spread<bytes>(p.position, p.pixel);
        p.position += bytes;
      }
    }
    size_t take = static_cast<size_t>(p.left) < count - x ? static_cast<size_t>(p.left) : count - x;
    if (p.literal) {
      const size_t stored = static_cast<size_t>(p.end - p.position) / bytes;
      if (stored < take) take = stored;
      if (take == 0) break;
#if defined(__AVX2__)
      if constexpr (bytes != 2) {
        if (((take + 15) & ~size_t{15}) <= count - x) {
          copy_literals_ahead<bytes>(p.position, planes, x, take);
        } else {
          copy_literals<bytes>(p.position, planes, x, take);
        }
      } else {
        copy_literals<bytes>(p.position, planes, x, take);
      }
#else
      copy_literals<bytes>(p.position, planes, x, take);
#endif
      p.position += bytes * take;
    } else {
      for (int plane = 0; plane < planes_of<bytes>; ++plane) {
#if defined(__AVX2__)
        if (((take + 15) & ~size_t{15}) <= count - x) {
          const __m128i value = _mm_set1_epi8(static_cast<char>(p.pixel[plane]));
          for (size_t i = 0; i < take; i += 16) store(planes[plane] + x + i, value);
          continue;
        }
#endif
        memset(planes[plane] + x, p.pixel[plane], take);
      }
    }
    p.left -= static_cast<int>(take);
    x += take;
  }
  *packets = p;
  return x;
}

void equal_neighbours(const uint8_t* const* planes, int plane_count, size_t count, uint64_t* bits) {
  for (size_t i = 0; i < (count + 63) / 64; ++i) bits[i] = 0;
  size_t x = 0;
#if defined(__AVX2__)
  for (; x + 33 <= count; x += 32) {
    __m256i same = _mm256_set1_epi8(-1);
    for (int plane = 0; plane < plane_count; ++plane) {
      const uint8_t* at = planes[plane] + x;
      same = _mm256_and_si256(same, _mm256_cmpeq_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(at)),
                                                      _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at + 1))));
    }
    bits[x / 64] |= static_cast<uint64_t>(static_cast<uint32_t>(_mm256_movemask_epi8(same))) << (x % 64);
  }
#endif
  for (; x + 1 < count; ++x) {
    bool same = true;
    for (int plane = 0; plane < plane_count; ++plane) same = same && planes[plane][x] == planes[plane][x + 1];
    bits[x / 64] |= static_cast<uint64_t>(same) << (x % 64);
  }
}

}  // namespace

void set_tga_kernels(tga_kernels& kernels) {
  kernels.unpack[0] = nullptr;
  kernels.unpack[1] = unpack<1>;
  kernels.unpack[2] = unpack<2>;
  kernels.unpack[3] = unpack<3>;
  kernels.unpack[4] = unpack<4>;
  kernels.equal_neighbours = equal_neighbours;
}

}  // namespace img::KSN_SIMD_LEVEL
