// The row operations on vectors of bytes. A 16-bit product of two samples carries MUL in its high byte, so samples are
// worked on as even and odd halves of 16-bit lanes and never packed or unpacked.
#include <stdint.h>
#include <string.h>
#if defined(__SSE2__)
#include <immintrin.h>
#endif

#include "render/rows.h"

namespace render::KSN_SIMD_LEVEL {

extern const blend_kernels operations;

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

// Operations that differ by instruction set: saturating sum and difference, the smaller of both, the upper half of a
// 16-bit product, x + (x >> 7) modulo 256, and x with y taken off where s < d.
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

// The opacity of a layer in the forms that products with it need; even and odd lanes are alike.
struct opacity {
  bytes narrow;
  words wide;
  words upper;  // in the upper byte of the lane
  words full;   // wide + (wide >> 7)
};

opacity opacity_of(int weight) {
  const words wide = words{} + (uint16_t)weight;
  return {bytes{} + (uint8_t)weight, wide, wide << 8, wide + (wide >> 7)};
}

// A weight in lanes, where 256 fits, and in bytes, where it is 0.
struct lerp_weight {
  lanes wide;
  bytes narrow;
};

struct bulk_form {
  static bytes mul(bytes x, bytes y) { return multiply(full_scale(split(x)), y); }
  static bytes mul(bytes x, const opacity& c) {
    const lanes w = full_scale(split(x));
    return (bytes)(upper_product(w.even, c.upper) | ((w.odd * c.wide) & 0xff00));
  }
  static bytes mul(const opacity& c, bytes y) { return multiply({c.full, c.full}, y); }
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
  static bytes mul(bytes x, const opacity& c) { return mul(x, c.narrow); }
  static bytes mul(const opacity& c, bytes y) { return mul(c.narrow, y); }
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
  static bytes at(bytes s, bytes, bytes, const opacity&) { return s; }
};
template <class F>
struct full {
  static bytes at(bytes, bytes, bytes d, const opacity&) { return d | 255; }
};
template <class F>
struct blend {
  static bytes at(bytes s, bytes a, bytes d, const opacity&) { return lerp(F::weight(a), s, d); }
};
template <class F>
struct blend_pm {
  static bytes at(bytes s, bytes a, bytes d, const opacity&) { return add(s, F::mul(~a, d)); }
};
template <class F>
struct blend_mask {
  static bytes at(bytes s, bytes a, bytes d, const opacity&) { return add(smaller(s, a), F::mul(~a, d)); }
};
template <class F>
struct add_plain {
  static bytes at(bytes s, bytes, bytes d, const opacity&) { return add(s, d); }
};
template <class F>
struct add_straight {
  static bytes at(bytes s, bytes a, bytes d, const opacity&) { return add(d, F::mul(a, s)); }
};
template <class F>
struct add_mask {
  static bytes at(bytes s, bytes a, bytes d, const opacity&) { return add(d, smaller(s, a)); }
};
template <class F>
struct multiply_plain {
  static bytes at(bytes s, bytes, bytes d, const opacity&) { return F::mul(s, d); }
};
template <class F>
struct multiply_straight {
  static bytes at(bytes s, bytes a, bytes d, const opacity&) { return F::mul(plus_white(F::mul(a, s), a), d); }
};
template <class F>
struct multiply_pm {
  static bytes at(bytes s, bytes a, bytes d, const opacity&) { return F::mul(plus_white(s, a), d); }
};
template <class F>
bytes screen_over(bytes t, bytes d) {
  return add(t, F::mul(~t, d));
}
template <class F>
struct screen_plain {
  static bytes at(bytes s, bytes, bytes d, const opacity&) { return ~F::mul(~s, ~d); }
};
template <class F>
struct screen_straight {
  static bytes at(bytes s, bytes a, bytes d, const opacity&) { return screen_over<F>(F::mul(a, s), d); }
};
template <class F>
struct screen_mask {
  static bytes at(bytes s, bytes a, bytes d, const opacity&) { return screen_over<F>(smaller(s, a), d); }
};
template <class F>
struct difference_plain {
  static bytes at(bytes s, bytes, bytes d, const opacity&) { return distance(s, d); }
};
template <class F>
struct difference_straight {
  static bytes at(bytes s, bytes a, bytes d, const opacity&) { return distance(F::mul(a, s), d); }
};
template <class F>
struct difference_mask {
  static bytes at(bytes s, bytes a, bytes d, const opacity&) { return distance(smaller(s, a), d); }
};

template <class F>
struct scaled_copy {
  static bytes at(bytes s, bytes, bytes d, const opacity& c) { return lerp({{c.wide, c.wide}, c.narrow}, s, d); }
};
template <class F>
struct scaled_full {
  static bytes at(bytes, bytes, bytes d, const opacity& c) { return add(F::mul(~c.narrow, d), c.narrow); }
};
template <class F>
struct scaled_blend {
  static bytes at(bytes s, bytes a, bytes d, const opacity& c) { return lerp(F::small_weight(F::mul(a, c)), s, d); }
};
template <class F>
struct scaled_blend_pm {
  static bytes at(bytes s, bytes a, bytes d, const opacity& c) {
    return add(F::mul(c, s), F::mul_inverse(F::mul(c, a), d));
  }
};
template <class F>
struct scaled_blend_mask {
  static bytes at(bytes s, bytes a, bytes d, const opacity& c) {
    return scaled_blend_pm<F>::at(smaller(s, a), a, d, c);
  }
};
template <class F>
struct scaled_add {
  static bytes at(bytes s, bytes, bytes d, const opacity& c) { return add(F::mul(c, s), d); }
};
template <class F>
struct scaled_add_straight {
  static bytes at(bytes s, bytes a, bytes d, const opacity& c) { return add(d, F::mul(F::mul(s, a), c)); }
};
template <class F>
struct scaled_add_mask {
  static bytes at(bytes s, bytes a, bytes d, const opacity& c) { return add(d, F::mul(c, smaller(s, a))); }
};
template <class F>
struct scaled_multiply {
  static bytes at(bytes s, bytes, bytes d, const opacity& c) { return F::mul(plus_white(F::mul(s, c), c.narrow), d); }
};
template <class F>
struct scaled_multiply_straight {
  static bytes at(bytes s, bytes a, bytes d, const opacity& c) {
    const bytes a2 = F::mul(a, c);
    return F::mul(plus_white(F::mul(a2, s), a2), d);
  }
};
template <class F>
struct scaled_multiply_pm {
  static bytes at(bytes s, bytes a, bytes d, const opacity& c) {
    return F::mul(plus_white(F::mul(s, c), F::mul(a, c)), d);
  }
};
template <class F>
struct scaled_screen {
  static bytes at(bytes s, bytes, bytes d, const opacity& c) { return screen_over<F>(F::mul(c, s), d); }
};
template <class F>
struct scaled_screen_straight {
  static bytes at(bytes s, bytes a, bytes d, const opacity& c) { return screen_over<F>(F::mul(F::mul(a, s), c), d); }
};
template <class F>
struct scaled_screen_mask {
  static bytes at(bytes s, bytes a, bytes d, const opacity& c) { return screen_over<F>(F::mul(c, smaller(s, a)), d); }
};
template <class F>
struct scaled_difference {
  static bytes at(bytes s, bytes, bytes d, const opacity& c) { return distance(F::mul(c, s), d); }
};
template <class F>
struct scaled_difference_straight {
  static bytes at(bytes s, bytes a, bytes d, const opacity& c) { return distance(F::mul(F::mul(s, a), c), d); }
};
template <class F>
struct scaled_difference_mask {
  static bytes at(bytes s, bytes a, bytes d, const opacity& c) { return distance(F::mul(c, smaller(s, a)), d); }
};

bytes load(const uint8_t* from) {
  bytes v;
  memcpy(&v, from, vector_bytes);
  return v;
}
void store(uint8_t* to, bytes v) {
  memcpy(to, &v, vector_bytes);
}

// A part of a vector: 1 to 8 samples, 16, or with AVX-512 any number. The other samples are 0 and are not stored.
#if defined(__AVX512BW__)
bytes load_some(const uint8_t* from, int count) {
  return (bytes)_mm512_maskz_loadu_epi8(~0ull >> (64 - count), from);
}
void store_some(uint8_t* to, bytes v, int count) {
  _mm512_mask_storeu_epi8(to, ~0ull >> (64 - count), (__m512i)v);
}
#else
typedef uint64_t quads __attribute__((vector_size(vector_bytes)));

bytes load_some(const uint8_t* from, int count) {
  uint64_t low = 0, high = 0;
  if (count >= 8) {
    memcpy(&low, from, 8);
    if (count == 16) memcpy(&high, from + 8, 8);
  } else {
    for (int i = 0; i < count; ++i) low |= (uint64_t)from[i] << 8 * i;
  }
  quads v{};
  v[0] = low;
  v[1] = high;
  return (bytes)v;
}
void store_some(uint8_t* to, bytes v, int count) {
  const uint64_t low = ((quads)v)[0], high = ((quads)v)[1];
  if (count >= 8) {
    memcpy(to, &low, 8);
    if (count == 16) memcpy(to + 8, &high, 8);
  } else {
    for (int i = 0; i < count; ++i) to[i] = (uint8_t)(low >> 8 * i);
  }
}
#endif

// How an operation treats alpha.
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

// All planes and layers of one vector at offset i, or of `some` samples. The target stays in registers from layer to
// layer, and what the planes of a layer share is computed once, as the compiler sees all of it.
template <class Colour, class Alpha, class Use, int layers, bool whole>
void block(const row_ends& ends, const source_span* sources, const opacity* opacities, int i, int some) {
  const auto get = [&](const uint8_t* from) { return whole ? load(from) : load_some(from, some); };
  const auto put = [&](uint8_t* to, bytes v) { whole ? store(to, v) : store_some(to, v, some); };
  const int at = i & ends.step;
  bytes blue = get(ends.from[0] + at);
  bytes green = get(ends.from[1] + at);
  bytes red = get(ends.from[2] + at);
  bytes alpha{};
  if (Use::writes) alpha = get(ends.from[3] + at);
  for (int l = 0; l < layers; ++l) {
    const source_span& source = sources[l];
    // The next row from main memory is on its way while this one is worked on. Into the second cache level: in the
    // first it would push the target row out.
    if (whole) {
      for (int p = 0; p < (Use::reads ? 4 : 3); ++p) __builtin_prefetch(source.planes[p] + i + source.ahead, 0, 2);
    }
    const opacity& c = opacities[l];
    bytes a{};
    if (Use::reads) a = get(source.planes[3] + i);
    blue = Colour::at(get(source.planes[0] + i), a, blue, c);
    green = Colour::at(get(source.planes[1] + i), a, green, c);
    red = Colour::at(get(source.planes[2] + i), a, red, c);
    if (Use::writes) alpha = Alpha::at(a, a, alpha, c);
  }
  put(ends.to[0] + i, blue);
  put(ends.to[1] + i, green);
  put(ends.to[2] + i, red);
  if (Use::writes) put(ends.to[3] + i, alpha);
}

template <template <class> class Colour, template <class> class Alpha, class Use, int layers>
void complete_row(const row_ends& row, const source_span* spans, int count) {
  using colour = Colour<bulk_form>;
  using alpha = Alpha<bulk_form>;
  const row_ends ends = row;
  source_span sources[layers];
  opacity opacities[layers];
  for (int l = 0; l < layers; ++l) {
    sources[l] = spans[l];
    opacities[l] = opacity_of(spans[l].weight);
  }
  const int bulk = count & ~7;
  int i = 0;
  for (; i + vector_bytes <= bulk; i += vector_bytes) {
    block<colour, alpha, Use, layers, true>(ends, sources, opacities, i, 0);
  }
  while (i < bulk) {
    int some = bulk - i;
    if (vector_bytes < 64) some = some >= 16 && vector_bytes > 16 ? 16 : 8;
    block<colour, alpha, Use, layers, false>(ends, sources, opacities, i, some);
    i += some;
  }
  if (i < count) {
    block<Colour<tail_form>, Alpha<tail_form>, Use, layers, false>(ends, sources, opacities, i, count - i);
  }
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
      complete_row<Colour, Alpha, Use, 1>(ends, &part, length);
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
  static_assert(most_layers == 2);
  if (complete && layers == 1) {
    complete_row<Colour, Alpha, Use, 1>(ends, sources, count);
  } else if (complete) {
    complete_row<Colour, Alpha, Use, 2>(ends, sources, count);
  } else {
    incomplete_row<Colour, Alpha, Use>(ends, sources, layers, count);
  }
  if (!Use::writes && target.background && target.planes[3]) memset(target.planes[3], target.background[3], count);
}

void keep_larger(uint8_t* target, const uint8_t* source, int count) {
  int i = 0;
  for (; i + vector_bytes <= count; i += vector_bytes) {
    const bytes d = load(target + i);
    store(target + i, add(d, subtract(load(source + i), d)));
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
constexpr blend_kernels operations{
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
