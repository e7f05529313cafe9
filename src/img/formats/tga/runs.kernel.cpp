#include "img/formats/tga/runs.h"

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

// For the 16 samples of a plane, which of the 16 loaded bytes each comes from; 0x80 makes zero. The second index of
// `whole` and `thirds` is 0 for literals and 1 for a run, so that neither needs a branch: packets of real pictures come
// in an order that no processor foresees.
struct sample_order {
  alignas(16) uint8_t single[2][16];
  alignas(16) uint8_t thirds[2][3][3][16];  // by plane and by the third of 48 bytes
  alignas(16) uint8_t whole[2][16];         // four pixels of four bytes become four samples of each plane

  constexpr sample_order() : single(), thirds(), whole() {
    for (int i = 0; i < 16; ++i) {
      single[0][i] = static_cast<uint8_t>(i);
      single[1][i] = 0;
      whole[0][i] = static_cast<uint8_t>(4 * (i % 4) + i / 4);
      whole[1][i] = static_cast<uint8_t>(i / 4);
      for (int plane = 0; plane < 3; ++plane) {
        for (int third = 0; third < 3; ++third) {
          const int at = 3 * i + plane - 16 * third;
          thirds[0][plane][third][i] = static_cast<uint8_t>(at >= 0 && at < 16 ? at : 0x80);
          thirds[1][plane][third][i] = static_cast<uint8_t>(third == 0 ? plane : 0x80);
        }
      }
    }
  }
};
constexpr sample_order orders;

// Sixteen pixels from `from` on, or (run 1) sixteen times the first.
template <int bytes>
void copy_sixteen(const uint8_t* from, int run, uint8_t* const* planes, size_t at) {
  if constexpr (bytes == 1) {
    store(planes[0] + at, _mm_shuffle_epi8(load(from), load(orders.single[run])));
  } else if constexpr (bytes == 3) {
    const __m128i p0 = load(from), p1 = load(from + 16), p2 = load(from + 32);
    for (int plane = 0; plane < 3; ++plane) {
      const auto& order = orders.thirds[run][plane];
      store(planes[plane] + at,
            _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(p0, load(order[0])), _mm_shuffle_epi8(p1, load(order[1]))),
                         _mm_shuffle_epi8(p2, load(order[2]))));
    }
  } else {
    const size_t step = run ? 0 : 16;
    const __m128i order = load(orders.whole[run]);
    const __m128i p0 = _mm_shuffle_epi8(load(from), order), p1 = _mm_shuffle_epi8(load(from + step), order);
    const __m128i p2 = _mm_shuffle_epi8(load(from + 2 * step), order);
    const __m128i p3 = _mm_shuffle_epi8(load(from + 3 * step), order);
    const __m128i bg0 = _mm_unpacklo_epi32(p0, p1), ra0 = _mm_unpackhi_epi32(p0, p1);
    const __m128i bg1 = _mm_unpacklo_epi32(p2, p3), ra1 = _mm_unpackhi_epi32(p2, p3);
    store(planes[0] + at, _mm_unpacklo_epi64(bg0, bg1));
    store(planes[1] + at, _mm_unpackhi_epi64(bg0, bg1));
    store(planes[2] + at, _mm_unpacklo_epi64(ra0, ra1));
    store(planes[3] + at, _mm_unpackhi_epi64(ra0, ra1));
  }
}

// Unpacks whole packets of up to 16 pixels from x on, as far as they come and lie well within row and data. Each writes
// 16 samples, of which the next packets overwrite what is too much.
template <int bytes>
size_t unpack_short(tga_packets& p, uint8_t* const* planes, size_t x, size_t count) {
  while (x + 16 <= count && p.end - p.position > 16 * bytes) {
    const int length = (*p.position & 127) + 1;
    if (length > 16) break;
    const int run = *p.position >> 7;
    copy_sixteen<bytes>(p.position + 1, run, planes, x);
    p.position += 1 + (run ? 1 : length) * bytes;
    x += static_cast<size_t>(length);
  }
  return x;
}

#endif

template <int bytes>
size_t unpack(tga_packets* packets, uint8_t* const* planes, size_t count) {
  tga_packets p = *packets;
  size_t x = 0;
  while (x < count) {
    if (p.left == 0) {
#if defined(__AVX2__)
      if constexpr (bytes != 2) x = unpack_short<bytes>(p, planes, x, count);
      if (x == count) break;
#endif
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
      size_t done = 0;
#if defined(__AVX2__)
      if constexpr (bytes != 2) {
        for (; done + 16 <= take; done += 16) copy_sixteen<bytes>(p.position + bytes * done, 0, planes, x + done);
      }
#endif
      copy_literals<bytes>(p.position + bytes * done, planes, x + done, take - done);
      p.position += bytes * take;
    } else {
      for (int plane = 0; plane < planes_of<bytes>; ++plane) {
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

extern const tga_kernels tga_rows = {{nullptr, unpack<1>, unpack<2>, unpack<3>, unpack<4>}, equal_neighbours};

}  // namespace img::KSN_SIMD_LEVEL
