// The row operations on vectors of bytes. A 16-bit product of two samples carries MUL in its high byte, so samples are
// worked on as even and odd halves of 16-bit lanes and never packed or unpacked.
#include <stdint.h>
#include <string.h>
#if defined(__SSE2__)
#include <immintrin.h>
#endif

#include "render/rows.h"

namespace render::KSN_SIMD_LEVEL {

extern const row_operations operations;

namespace {

#if defined(__AVX512BW__)
constexpr int vector_bytes = 64;
#elif defined(__AVX2__)
constexpr int vector_bytes = 32;
#else
constexpr int vector_bytes = 16;
#endif

typedef uint8_t bytes __attribute__((vector_size(vector_bytes)));
typedef uint16_t words __attribute__((vector_size(vector_bytes)));

// What differs by instruction set: saturating sum and difference, the smaller of both, the upper half of a 16-bit
// product, x + (x >> 7) modulo 256, and x with y taken off where s < d.
#if defined(__AVX512BW__)
bytes add(bytes x, bytes y) {
  return (bytes)_mm512_adds_epu8((__m512i)x, (__m512i)y);
}
bytes subtract(bytes x, bytes y) {
  return (bytes)_mm512_subs_epu8((__m512i)x, (__m512i)y);
}
bytes smaller(bytes x, bytes y) {
  return (bytes)_mm512_min_epu8((__m512i)x, (__m512i)y);
}
words upper_product(words x, words y) {
  return (words)_mm512_mulhi_epu16((__m512i)x, (__m512i)y);
}
bytes full_scale(bytes x) {
  return (bytes)_mm512_mask_add_epi8((__m512i)x, _mm512_movepi8_mask((__m512i)x), (__m512i)x, _mm512_set1_epi8(1));
}
bytes minus_where_less(bytes x, bytes y, bytes s, bytes d) {
  return (bytes)_mm512_mask_sub_epi8((__m512i)x, _mm512_cmplt_epu8_mask((__m512i)s, (__m512i)d), (__m512i)x,
                                     (__m512i)y);
}
#else
#if defined(__AVX2__)
bytes add(bytes x, bytes y) {
  return (bytes)_mm256_adds_epu8((__m256i)x, (__m256i)y);
}
bytes subtract(bytes x, bytes y) {
  return (bytes)_mm256_subs_epu8((__m256i)x, (__m256i)y);
}
bytes smaller(bytes x, bytes y) {
  return (bytes)_mm256_min_epu8((__m256i)x, (__m256i)y);
}
words upper_product(words x, words y) {
  return (words)_mm256_mulhi_epu16((__m256i)x, (__m256i)y);
}
#elif defined(__SSE2__)
bytes add(bytes x, bytes y) {
  return (bytes)_mm_adds_epu8((__m128i)x, (__m128i)y);
}
bytes subtract(bytes x, bytes y) {
  return (bytes)_mm_subs_epu8((__m128i)x, (__m128i)y);
}
bytes smaller(bytes x, bytes y) {
  return (bytes)_mm_min_epu8((__m128i)x, (__m128i)y);
}
words upper_product(words x, words y) {
  return (words)_mm_mulhi_epu16((__m128i)x, (__m128i)y);
}
#else
bytes add(bytes x, bytes y) {
  const bytes sum = x + y;
  return sum | (bytes)(sum < x);
}
bytes subtract(bytes x, bytes y) {
  return (x - y) & (bytes)(x > y);
}
bytes smaller(bytes x, bytes y) {
  return x - subtract(x, y);
}
words upper_product(words x, words y) {
  words out;
  for (int i = 0; i < vector_bytes / 2; ++i) out[i] = (uint16_t)((uint32_t)x[i] * y[i] >> 16);
  return out;
}
#endif
bytes full_scale(bytes x) {
  typedef int8_t signed_bytes __attribute__((vector_size(vector_bytes)));
  return x - (bytes)((signed_bytes)x < 0);
}
bytes minus_where_less(bytes x, bytes y, bytes s, bytes d) {
  return x - (y & ~(bytes)(subtract(d, s) == 0));
}
#endif

// The samples of a vector as 16-bit lanes.
struct lanes {
  words even;
  words odd;
};

lanes split(bytes v) {
  const words w = (words)v;
  return {w & 0xff, w >> 8};
}
// w + (w >> 7), 0 to 256
lanes full_scale(lanes w) {
  return {w.even + (w.even >> 7), w.odd + (w.odd >> 7)};
}
// (w * y) >> 8 modulo 256. The shift is free: the even sample is multiplied in the upper byte of its lane and read from
// the upper half of the product, the odd one stays in the upper byte of the lower half.
bytes multiply(lanes w, bytes y) {
  const words even = upper_product(w.even, (words)y << 8);
  const words odd = w.odd * ((words)y >> 8);
  return (bytes)(even | (odd & 0xff00));
}

// A weight in lanes, where 256 fits, and in bytes, where it is 0.
struct lerp_weight {
  lanes wide;
  bytes narrow;
};

struct bulk_form {
  static bytes mul(bytes x, bytes y) { return multiply(full_scale(split(x)), y); }
  static bytes mul_inverse(bytes x, bytes y) {
    // 255 - x on the full scale is 256 - x'; holds for x up to 254.
    const lanes w = split(full_scale(x));
    return multiply({256 - w.even, 256 - w.odd}, y);
  }
  static lerp_weight weight(bytes w) { return {full_scale(split(w)), full_scale(w)}; }
  // For w up to 254.
  static lerp_weight small_weight(bytes w) { return {split(full_scale(w)), full_scale(w)}; }
};
struct tail_form {
  // (t + 1 + (t >> 8)) >> 8 is floor(t / 255) for t up to 255 * 255
  static bytes mul(bytes x, bytes y) {
    const lanes a = split(x);
    const lanes b = split(y);
    const words even = a.even * b.even;
    const words odd = a.odd * b.odd;
    return (bytes)(((even + 1 + (even >> 8)) >> 8) | ((odd + 1 + (odd >> 8)) & 0xff00));
  }
  static bytes mul_inverse(bytes x, bytes y) { return mul(~x, y); }
  static lerp_weight weight(bytes w) { return {split(w), w}; }
  static lerp_weight small_weight(bytes w) { return weight(w); }
};

// d + (w * (s - d) >> 8). Where s - d is negative its byte is 256 too large, which the product carries as w.
bytes lerp(const lerp_weight& w, bytes s, bytes d) {
  return minus_where_less(d + multiply(w.wide, s - d), w.narrow, s, d);
}
// min(255 + x - y, 255)
bytes plus_white(bytes x, bytes y) {
  return ~subtract(y, x);
}
bytes distance(bytes x, bytes y) {
  return subtract(x, y) | subtract(y, x);
}

// The operations of the plain rows, in the same order.

template <class F>
struct copy {
  static bytes at(bytes s, bytes, bytes, bytes) { return s; }
};
template <class F>
struct full {
  static bytes at(bytes, bytes, bytes d, bytes) { return d | 255; }
};
template <class F>
struct blend {
  static bytes at(bytes s, bytes a, bytes d, bytes) { return lerp(F::weight(a), s, d); }
};
template <class F>
struct blend_pm {
  static bytes at(bytes s, bytes a, bytes d, bytes) { return add(s, F::mul(~a, d)); }
};
template <class F>
struct blend_mask {
  static bytes at(bytes s, bytes a, bytes d, bytes) { return add(smaller(s, a), F::mul(~a, d)); }
};
template <class F>
struct add_plain {
  static bytes at(bytes s, bytes, bytes d, bytes) { return add(s, d); }
};
template <class F>
struct add_straight {
  static bytes at(bytes s, bytes a, bytes d, bytes) { return add(d, F::mul(a, s)); }
};
template <class F>
struct add_mask {
  static bytes at(bytes s, bytes a, bytes d, bytes) { return add(d, smaller(s, a)); }
};
template <class F>
struct multiply_plain {
  static bytes at(bytes s, bytes, bytes d, bytes) { return F::mul(s, d); }
};
template <class F>
struct multiply_straight {
  static bytes at(bytes s, bytes a, bytes d, bytes) { return F::mul(plus_white(F::mul(a, s), a), d); }
};
template <class F>
struct multiply_pm {
  static bytes at(bytes s, bytes a, bytes d, bytes) { return F::mul(plus_white(s, a), d); }
};
template <class F>
bytes screen_over(bytes t, bytes d) {
  return add(t, F::mul(~t, d));
}
template <class F>
struct screen_plain {
  static bytes at(bytes s, bytes, bytes d, bytes) { return ~F::mul(~s, ~d); }
};
template <class F>
struct screen_straight {
  static bytes at(bytes s, bytes a, bytes d, bytes) { return screen_over<F>(F::mul(a, s), d); }
};
template <class F>
struct screen_mask {
  static bytes at(bytes s, bytes a, bytes d, bytes) { return screen_over<F>(smaller(s, a), d); }
};
template <class F>
struct difference_plain {
  static bytes at(bytes s, bytes, bytes d, bytes) { return distance(s, d); }
};
template <class F>
struct difference_straight {
  static bytes at(bytes s, bytes a, bytes d, bytes) { return distance(F::mul(a, s), d); }
};
template <class F>
struct difference_mask {
  static bytes at(bytes s, bytes a, bytes d, bytes) { return distance(smaller(s, a), d); }
};

template <class F>
struct scaled_copy {
  static bytes at(bytes s, bytes, bytes d, bytes c) { return lerp({split(c), c}, s, d); }
};
template <class F>
struct scaled_full {
  static bytes at(bytes, bytes, bytes d, bytes c) { return add(F::mul(~c, d), c); }
};
template <class F>
struct scaled_blend {
  static bytes at(bytes s, bytes a, bytes d, bytes c) { return lerp(F::small_weight(F::mul(a, c)), s, d); }
};
template <class F>
struct scaled_blend_pm {
  static bytes at(bytes s, bytes a, bytes d, bytes c) { return add(F::mul(c, s), F::mul_inverse(F::mul(c, a), d)); }
};
template <class F>
struct scaled_blend_mask {
  static bytes at(bytes s, bytes a, bytes d, bytes c) { return scaled_blend_pm<F>::at(smaller(s, a), a, d, c); }
};
template <class F>
struct scaled_add {
  static bytes at(bytes s, bytes, bytes d, bytes c) { return add(F::mul(c, s), d); }
};
template <class F>
struct scaled_add_straight {
  static bytes at(bytes s, bytes a, bytes d, bytes c) { return add(d, F::mul(F::mul(s, a), c)); }
};
template <class F>
struct scaled_add_mask {
  static bytes at(bytes s, bytes a, bytes d, bytes c) { return add(d, F::mul(c, smaller(s, a))); }
};
template <class F>
struct scaled_multiply {
  static bytes at(bytes s, bytes, bytes d, bytes c) { return F::mul(plus_white(F::mul(s, c), c), d); }
};
template <class F>
struct scaled_multiply_straight {
  static bytes at(bytes s, bytes a, bytes d, bytes c) {
    const bytes a2 = F::mul(a, c);
    return F::mul(plus_white(F::mul(a2, s), a2), d);
  }
};
template <class F>
struct scaled_multiply_pm {
  static bytes at(bytes s, bytes a, bytes d, bytes c) { return F::mul(plus_white(F::mul(s, c), F::mul(a, c)), d); }
};
template <class F>
struct scaled_screen {
  static bytes at(bytes s, bytes, bytes d, bytes c) { return screen_over<F>(F::mul(c, s), d); }
};
template <class F>
struct scaled_screen_straight {
  static bytes at(bytes s, bytes a, bytes d, bytes c) { return screen_over<F>(F::mul(F::mul(a, s), c), d); }
};
template <class F>
struct scaled_screen_mask {
  static bytes at(bytes s, bytes a, bytes d, bytes c) { return screen_over<F>(F::mul(c, smaller(s, a)), d); }
};
template <class F>
struct scaled_difference {
  static bytes at(bytes s, bytes, bytes d, bytes c) { return distance(F::mul(c, s), d); }
};
template <class F>
struct scaled_difference_straight {
  static bytes at(bytes s, bytes a, bytes d, bytes c) { return distance(F::mul(F::mul(s, a), c), d); }
};
template <class F>
struct scaled_difference_mask {
  static bytes at(bytes s, bytes a, bytes d, bytes c) { return distance(F::mul(c, smaller(s, a)), d); }
};

// The first n samples of a vector; with n 0 the first `few`, 1 to 7. The other samples are 0 and are not stored.
template <int n>
bytes load(const uint8_t* from, int few) {
  bytes v{};
  if (n > 0) {
    memcpy(&v, from, n);
    return v;
  }
  uint64_t packed = from[0];
  if (few >= 4) {
    uint32_t low, high;
    memcpy(&low, from, 4);
    memcpy(&high, from + few - 4, 4);
    packed = low | (uint64_t)high << 8 * (few - 4);
  } else if (few >= 2) {
    uint16_t low, high;
    memcpy(&low, from, 2);
    memcpy(&high, from + few - 2, 2);
    packed = low | (uint32_t)high << 8 * (few - 2);
  }
  memcpy(&v, &packed, 8);
  return v;
}
template <int n>
void store(uint8_t* to, bytes v, int few) {
  if (n > 0) {
    memcpy(to, &v, n);
    return;
  }
  uint64_t packed;
  memcpy(&packed, &v, 8);
  for (int i = 0; i < few; ++i) to[i] = (uint8_t)(packed >> 8 * i);
}

// What an operation does with alpha besides its colours.
struct no_alpha {
  static constexpr bool reads = false, writes = false;
};
struct fills_alpha {
  static constexpr bool reads = false, writes = true;
};
struct blends_alpha {
  static constexpr bool reads = true, writes = true;
};

// Where the samples of a target row come from and go to. A background repeats its one vector: `step` masks the offset.
struct row_ends {
  const uint8_t* from[4];
  uint8_t* to[4];
  int step;
};

// All planes and layers of n samples at offset i. The target stays in registers from layer to layer, and what the
// planes of a layer share is computed once, as the compiler sees all of it.
template <class Colour, class Alpha, class Use, int n>
void block(const row_ends& ends, const source_span* sources, int layers, int i, int few) {
  const int at = i & ends.step;
  bytes blue = load<n>(ends.from[0] + at, few);
  bytes green = load<n>(ends.from[1] + at, few);
  bytes red = load<n>(ends.from[2] + at, few);
  bytes alpha{};
  if (Use::writes) alpha = load<n>(ends.from[3] + at, few);
  for (int l = 0; l < layers; ++l) {
    const source_span& source = sources[l];
    // The next row from main memory is on its way while this one is worked on. One line a block and plane; closer
    // levels than the second would push the target row out.
    if (n == vector_bytes) {
      for (int p = 0; p < (Use::reads ? 4 : 3); ++p) __builtin_prefetch(source.planes[p] + i + source.ahead, 0, 2);
    }
    const bytes c = bytes{} + (uint8_t)source.weight;
    bytes a{};
    if (Use::reads) a = load<n>(source.planes[3] + i, few);
    blue = Colour::at(load<n>(source.planes[0] + i, few), a, blue, c);
    green = Colour::at(load<n>(source.planes[1] + i, few), a, green, c);
    red = Colour::at(load<n>(source.planes[2] + i, few), a, red, c);
    if (Use::writes) alpha = Alpha::at(a, a, alpha, c);
  }
  store<n>(ends.to[0] + i, blue, few);
  store<n>(ends.to[1] + i, green, few);
  store<n>(ends.to[2] + i, red, few);
  if (Use::writes) store<n>(ends.to[3] + i, alpha, few);
}

template <template <class> class Colour, template <class> class Alpha, class Use>
void complete_row(const row_ends& row, const source_span* sources, int layers, int count) {
  using colour = Colour<bulk_form>;
  using alpha = Alpha<bulk_form>;
  const row_ends ends = row;
  const int bulk = count & ~7;
  int i = 0;
  for (; i + vector_bytes <= bulk; i += vector_bytes) {
    block<colour, alpha, Use, vector_bytes>(ends, sources, layers, i, 0);
  }
#if defined(__AVX512BW__)
  if (bulk - i >= 32) {
    block<colour, alpha, Use, 32>(ends, sources, layers, i, 0);
    i += 32;
  }
#endif
#if defined(__AVX2__)
  if (bulk - i >= 16) {
    block<colour, alpha, Use, 16>(ends, sources, layers, i, 0);
    i += 16;
  }
#endif
  for (; i < bulk; i += 8) block<colour, alpha, Use, 8>(ends, sources, layers, i, 0);
  if (i < count) block<Colour<tail_form>, Alpha<tail_form>, Use, 0>(ends, sources, layers, i, count - i);
}

// Target planes that are missing are written to a spare row, piece by piece.
template <template <class> class Colour, template <class> class Alpha, class Use>
void incomplete_row(const row_ends& row, const source_span* sources, int layers, int count) {
  constexpr int piece = 512;
  uint8_t spare[piece] = {};
  row_ends ends = row;
  for (int i = 0; i < count; i += piece) {
    for (int p = 0; p < 4; ++p) {
      ends.to[p] = row.to[p] ? row.to[p] + i : spare;
      ends.from[p] = row.to[p] ? row.from[p] + (i & row.step) : spare;
    }
    const int length = count - i < piece ? count - i : piece;
    for (int l = 0; l < layers; ++l) {
      source_span part = sources[l];
      for (int p = 0; p < 4; ++p) {
        if (part.planes[p]) part.planes[p] += i;
      }
      complete_row<Colour, Alpha, Use>(ends, &part, 1, length);
      for (int p = 0; p < 4; ++p) ends.from[p] = ends.to[p];
      ends.step = ~0;
    }
    ends.step = row.step;
  }
}

template <template <class> class Colour, template <class> class Alpha, class Use>
void row(const target_span& target, const source_span* sources, int layers, int count) {
  bytes background[4];
  row_ends ends;
  ends.step = target.background ? 0 : ~0;
  bool complete = true;
  for (int p = 0; p < 4; ++p) {
    ends.to[p] = target.planes[p];
    ends.from[p] = target.planes[p];
    if (target.background) {
      background[p] = bytes{} + target.background[p];
      ends.from[p] = (const uint8_t*)&background[p];
    }
    if (!target.planes[p] && (p < 3 || Use::writes)) complete = false;
  }
  if (complete) {
    complete_row<Colour, Alpha, Use>(ends, sources, layers, count);
  } else {
    incomplete_row<Colour, Alpha, Use>(ends, sources, layers, count);
  }
  if (!Use::writes && target.background && target.planes[3]) memset(target.planes[3], target.background[3], count);
}

void keep_larger(uint8_t* target, const uint8_t* source, int count) {
  int i = 0;
  for (; i + vector_bytes <= count; i += vector_bytes) {
    const bytes s = load<vector_bytes>(source + i, 0);
    const bytes d = load<vector_bytes>(target + i, 0);
    store<vector_bytes>(target + i, add(d, subtract(s, d)), 0);
  }
  for (; i < count; ++i) {
    if (target[i] < source[i]) target[i] = source[i];
  }
}

template <template <class> class Colour>
constexpr row_operation colours = row<Colour, full, no_alpha>;
template <template <class> class Colour, template <class> class Alpha>
constexpr row_operation filled = row<Colour, Alpha, fills_alpha>;
template <template <class> class Colour, template <class> class Alpha = Colour>
constexpr row_operation blended = row<Colour, Alpha, blends_alpha>;

}  // namespace

// Columns: ignore, normal, pm, mask.
constexpr row_operations operations{
    {{filled<copy, full>, blended<blend, blend_pm>, blended<blend_pm>, blended<blend_mask, blend_pm>},
     {colours<add_plain>, blended<add_straight>, blended<add_plain>, blended<add_mask>},
     {colours<multiply_plain>, blended<multiply_straight>, blended<multiply_pm>, blended<multiply_pm>},
     {colours<screen_plain>, blended<screen_straight>, blended<screen_plain>, blended<screen_mask>},
     {colours<difference_plain>, blended<difference_straight>, blended<difference_plain>, blended<difference_mask>}},
    {{filled<scaled_copy, scaled_full>, blended<scaled_blend, scaled_blend_pm>, blended<scaled_blend_pm>,
      blended<scaled_blend_mask, scaled_blend_pm>},
     {colours<scaled_add>, blended<scaled_add_straight>, blended<scaled_add>, blended<scaled_add_mask>},
     {colours<scaled_multiply>, blended<scaled_multiply_straight>, blended<scaled_multiply_pm>,
      blended<scaled_multiply_pm>},
     {colours<scaled_screen>, blended<scaled_screen_straight>, blended<scaled_screen>, blended<scaled_screen_mask>},
     {colours<scaled_difference>, blended<scaled_difference_straight>, blended<scaled_difference>,
      blended<scaled_difference_mask>}},
    keep_larger};

}  // namespace render::KSN_SIMD_LEVEL
