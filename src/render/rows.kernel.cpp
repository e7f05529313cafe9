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

// Saturating sum and difference, and the smaller of both.
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
#elif defined(__AVX2__)
bytes add(bytes x, bytes y) {
  return (bytes)_mm256_adds_epu8((__m256i)x, (__m256i)y);
}
bytes subtract(bytes x, bytes y) {
  return (bytes)_mm256_subs_epu8((__m256i)x, (__m256i)y);
}
bytes smaller(bytes x, bytes y) {
  return (bytes)_mm256_min_epu8((__m256i)x, (__m256i)y);
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
// The bytes in the upper halves of the lanes.
bytes upper_halves(lanes v) {
  return (bytes)((v.even >> 8) | (v.odd & 0xff00));
}
lanes product(lanes x, lanes y) {
  return {x.even * y.even, x.odd * y.odd};
}
// w + (w >> 7), 0 to 256
lanes full_scale(lanes w) {
  return {w.even + (w.even >> 7), w.odd + (w.odd >> 7)};
}

struct bulk_form {
  static bytes mul(bytes x, bytes y) { return upper_halves(product(full_scale(split(x)), split(y))); }
  static lanes weight(bytes w) { return full_scale(split(w)); }
};
struct tail_form {
  // (t + 1 + (t >> 8)) >> 8 is floor(t / 255) for t up to 255 * 255
  static bytes mul(bytes x, bytes y) {
    const lanes t = product(split(x), split(y));
    return upper_halves({t.even + 1 + (t.even >> 8), t.odd + 1 + (t.odd >> 8)});
  }
  static lanes weight(bytes w) { return split(w); }
};

// The second byte of the difference times the weight is what has to be added to d, modulo 256.
bytes lerp(lanes weight, bytes s, bytes d) {
  const lanes from = split(d);
  const lanes to = split(s);
  return d + upper_halves(product(weight, {to.even - from.even, to.odd - from.odd}));
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
  static bytes at(bytes s, bytes, bytes d, bytes c) { return lerp(split(c), s, d); }
};
template <class F>
struct scaled_full {
  static bytes at(bytes, bytes, bytes d, bytes c) { return add(F::mul(~c, d), c); }
};
template <class F>
struct scaled_blend {
  static bytes at(bytes s, bytes a, bytes d, bytes c) { return lerp(F::weight(F::mul(a, c)), s, d); }
};
template <class F>
struct scaled_blend_pm {
  static bytes at(bytes s, bytes a, bytes d, bytes c) { return add(F::mul(c, s), F::mul(~F::mul(c, a), d)); }
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

// The first n samples of a vector; the others are 0 and are not stored.
template <int n>
bytes load(const uint8_t* from) {
  bytes v{};
  memcpy(&v, from, n);
  return v;
}
template <int n>
void store(uint8_t* to, bytes v) {
  memcpy(to, &v, n);
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

// All planes of n samples at offset i. What the planes share is computed once, as the compiler sees all of it.
template <class Colour, class Alpha, class Use, int n>
void block(const row_planes& planes, int i, bytes c) {
  bytes a{};
  if (Use::reads) a = load<n>(planes.source[3] + i);
  const bytes blue = Colour::at(load<n>(planes.source[0] + i), a, load<n>(planes.target[0] + i), c);
  const bytes green = Colour::at(load<n>(planes.source[1] + i), a, load<n>(planes.target[1] + i), c);
  const bytes red = Colour::at(load<n>(planes.source[2] + i), a, load<n>(planes.target[2] + i), c);
  store<n>(planes.target[0] + i, blue);
  store<n>(planes.target[1] + i, green);
  store<n>(planes.target[2] + i, red);
  if (Use::writes) store<n>(planes.target[3] + i, Alpha::at(a, a, load<n>(planes.target[3] + i), c));
}

// The last 1 to 7 samples, in a block of their own.
template <class Colour, class Alpha, class Use>
void tail(const row_planes& planes, int i, int count, bytes c) {
  uint8_t source[4][8] = {};
  uint8_t target[4][8] = {};
  row_planes copies;
  for (int p = 0; p < 4; ++p) {
    copies.source[p] = source[p];
    copies.target[p] = target[p];
    for (int k = 0; k < count; ++k) {
      if (p < 3 || Use::reads) source[p][k] = planes.source[p][i + k];
      if (p < 3 || Use::writes) target[p][k] = planes.target[p][i + k];
    }
  }
  block<Colour, Alpha, Use, 8>(copies, 0, c);
  for (int p = 0; p < (Use::writes ? 4 : 3); ++p) {
    for (int k = 0; k < count; ++k) planes.target[p][i + k] = target[p][k];
  }
}

template <template <class> class Colour, template <class> class Alpha, class Use>
void complete_row(const row_planes& row, int count, int weight) {
  using colour = Colour<bulk_form>;
  using alpha = Alpha<bulk_form>;
  const row_planes planes = row;
  const bytes c = bytes{} + (uint8_t)weight;
  const int bulk = count & ~7;
  int i = 0;
  for (; i + vector_bytes <= bulk; i += vector_bytes) block<colour, alpha, Use, vector_bytes>(planes, i, c);
#if defined(__AVX512BW__)
  if (bulk - i >= 32) {
    block<colour, alpha, Use, 32>(planes, i, c);
    i += 32;
  }
#endif
#if defined(__AVX2__)
  if (bulk - i >= 16) {
    block<colour, alpha, Use, 16>(planes, i, c);
    i += 16;
  }
#endif
  for (; i < bulk; i += 8) block<colour, alpha, Use, 8>(planes, i, c);
  if (i < count) tail<Colour<tail_form>, Alpha<tail_form>, Use>(planes, i, count - i, c);
}

// Target planes that are missing are written to a spare row, piece by piece.
template <template <class> class Colour, template <class> class Alpha, class Use>
void row(const row_planes& planes, int count, int weight) {
  const int needed = Use::writes ? 4 : 3;
  int missing = 0;
  for (int p = 0; p < needed; ++p) missing += !planes.target[p];
  if (missing == 0) {
    complete_row<Colour, Alpha, Use>(planes, count, weight);
    return;
  }
  constexpr int piece = 512;
  uint8_t spare[piece] = {};
  for (int i = 0; i < count; i += piece) {
    row_planes part = planes;
    for (int p = 0; p < 4; ++p) {
      if (part.source[p]) part.source[p] += i;
      part.target[p] = part.target[p] ? part.target[p] + i : spare;
    }
    complete_row<Colour, Alpha, Use>(part, count - i < piece ? count - i : piece, weight);
  }
}

void keep_larger(uint8_t* target, const uint8_t* source, int count) {
  int i = 0;
  for (; i + vector_bytes <= count; i += vector_bytes) {
    const bytes s = load<vector_bytes>(source + i);
    const bytes d = load<vector_bytes>(target + i);
    store<vector_bytes>(target + i, add(d, subtract(s, d)));
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
