#include "render/rows.h"

#include <algorithm>
#include <cstdlib>

#include "img/at_level.h"

namespace render {

KSN_DECLARE_LEVELS(extern const blend_kernels operations)

namespace {

// MUL and the weight of a lerp differ in the last bit between the two forms; both are part of the picture.
struct bulk_form {
  static int mul(int x, int y) { return ((x + (x >> 7)) * y) >> 8; }
  static int weight(int w) { return w + (w >> 7); }
};
struct tail_form {
  static int mul(int x, int y) { return x * y / 255; }
  static int weight(int w) { return w; }
};

int add(int x, int y) {
  return std::min(x + y, 255);
}
int hi(int x) {
  return std::min(x, 255);
}
int lerp(int w, int s, int d) {
  return (w * (s - d) >> 8) + d;
}

// Each operation gives the new target sample from source sample s, source alpha a, target sample d and weight c. m is
// min(s, a).

// d = s
template <class F>
struct copy {
  static int at(int s, int, int, int) { return s; }
};
// A = 255
template <class F>
struct full {
  static int at(int, int, int, int) { return 255; }
};
// d = (a' * (s - d) >> 8) + d
template <class F>
struct blend {
  static int at(int s, int a, int d, int) { return lerp(F::weight(a), s, d); }
};
// d = ADD(s, MUL(255 - a, d)); with the alpha in the place of s it is the alpha of every blend `normal`
template <class F>
struct blend_pm {
  static int at(int s, int a, int d, int) { return add(s, F::mul(255 - a, d)); }
};
// d = ADD(m, MUL(255 - a, d))
template <class F>
struct blend_mask {
  static int at(int s, int a, int d, int c) { return blend_pm<F>::at(std::min(s, a), a, d, c); }
};
// d = ADD(s, d)
template <class F>
struct add_plain {
  static int at(int s, int, int d, int) { return add(s, d); }
};
// d = ADD(d, MUL(a, s))
template <class F>
struct add_straight {
  static int at(int s, int a, int d, int) { return add(d, F::mul(a, s)); }
};
// d = ADD(d, m)
template <class F>
struct add_mask {
  static int at(int s, int a, int d, int) { return add(d, std::min(s, a)); }
};
// d = MUL(s, d)
template <class F>
struct multiply_plain {
  static int at(int s, int, int d, int) { return F::mul(s, d); }
};
// d = MUL(hi(255 + MUL(a, s) - a), d)
template <class F>
struct multiply_straight {
  static int at(int s, int a, int d, int) { return F::mul(hi(255 + F::mul(a, s) - a), d); }
};
// d = MUL(hi(255 + s - a), d)
template <class F>
struct multiply_pm {
  static int at(int s, int a, int d, int) { return F::mul(hi(255 + s - a), d); }
};
// d = 255 - MUL(255 - s, 255 - d)
template <class F>
struct screen_plain {
  static int at(int s, int, int d, int) { return 255 - F::mul(255 - s, 255 - d); }
};
// d = ADD(t, MUL(255 - t, d))
template <class F>
int screen_over(int t, int d) {
  return add(t, F::mul(255 - t, d));
}
// t = MUL(a, s)
template <class F>
struct screen_straight {
  static int at(int s, int a, int d, int) { return screen_over<F>(F::mul(a, s), d); }
};
// t = m
template <class F>
struct screen_mask {
  static int at(int s, int a, int d, int) { return screen_over<F>(std::min(s, a), d); }
};
// d = |s - d|
template <class F>
struct difference_plain {
  static int at(int s, int, int d, int) { return std::abs(s - d); }
};
// d = |MUL(a, s) - d|
template <class F>
struct difference_straight {
  static int at(int s, int a, int d, int) { return std::abs(F::mul(a, s) - d); }
};
// d = |m - d|
template <class F>
struct difference_mask {
  static int at(int s, int a, int d, int) { return std::abs(std::min(s, a) - d); }
};

// d = ((s - d) * c >> 8) + d; c is on the 256 scale already
template <class F>
struct scaled_copy {
  static int at(int s, int, int d, int c) { return lerp(c, s, d); }
};
// A = ADD(MUL(255 - c, A), c)
template <class F>
struct scaled_full {
  static int at(int, int, int d, int c) { return add(F::mul(255 - c, d), c); }
};
// d = (MUL(a, c)' * (s - d) >> 8) + d
template <class F>
struct scaled_blend {
  static int at(int s, int a, int d, int c) { return lerp(F::weight(F::mul(a, c)), s, d); }
};
// d = ADD(MUL(c, s), MUL(255 - MUL(c, a), d)); with the alpha in the place of s it is the alpha of every blend `normal`
template <class F>
struct scaled_blend_pm {
  static int at(int s, int a, int d, int c) { return add(F::mul(c, s), F::mul(255 - F::mul(c, a), d)); }
};
template <class F>
struct scaled_blend_mask {
  static int at(int s, int a, int d, int c) { return scaled_blend_pm<F>::at(std::min(s, a), a, d, c); }
};
// d = ADD(MUL(c, s), d)
template <class F>
struct scaled_add {
  static int at(int s, int, int d, int c) { return add(F::mul(c, s), d); }
};
// d = ADD(d, MUL(MUL(s, a), c))
template <class F>
struct scaled_add_straight {
  static int at(int s, int a, int d, int c) { return add(d, F::mul(F::mul(s, a), c)); }
};
// d = ADD(d, MUL(c, m))
template <class F>
struct scaled_add_mask {
  static int at(int s, int a, int d, int c) { return add(d, F::mul(c, std::min(s, a))); }
};
// d = MUL(hi(255 + MUL(s, c) - c), d)
template <class F>
struct scaled_multiply {
  static int at(int s, int, int d, int c) { return F::mul(hi(255 + F::mul(s, c) - c), d); }
};
// a2 = MUL(a, c); d = MUL(hi(255 + MUL(a2, s) - a2), d)
template <class F>
struct scaled_multiply_straight {
  static int at(int s, int a, int d, int c) {
    const int a2 = F::mul(a, c);
    return F::mul(hi(255 + F::mul(a2, s) - a2), d);
  }
};
// d = MUL(hi(255 + MUL(s, c) - MUL(a, c)), d)
template <class F>
struct scaled_multiply_pm {
  static int at(int s, int a, int d, int c) { return F::mul(hi(255 + F::mul(s, c) - F::mul(a, c)), d); }
};
// t = MUL(c, s)
template <class F>
struct scaled_screen {
  static int at(int s, int, int d, int c) { return screen_over<F>(F::mul(c, s), d); }
};
// t = MUL(MUL(a, s), c)
template <class F>
struct scaled_screen_straight {
  static int at(int s, int a, int d, int c) { return screen_over<F>(F::mul(F::mul(a, s), c), d); }
};
// t = MUL(c, m)
template <class F>
struct scaled_screen_mask {
  static int at(int s, int a, int d, int c) { return screen_over<F>(F::mul(c, std::min(s, a)), d); }
};
// d = |MUL(c, s) - d|
template <class F>
struct scaled_difference {
  static int at(int s, int, int d, int c) { return std::abs(F::mul(c, s) - d); }
};
// d = |MUL(MUL(s, a), c) - d|
template <class F>
struct scaled_difference_straight {
  static int at(int s, int a, int d, int c) { return std::abs(F::mul(F::mul(s, a), c) - d); }
};
// d = |MUL(c, m) - d|
template <class F>
struct scaled_difference_mask {
  static int at(int s, int a, int d, int c) { return std::abs(F::mul(c, std::min(s, a)) - d); }
};

template <template <class> class Operation>
void plane_row(uint8_t* target, const uint8_t* source, const uint8_t* alpha, int count, int weight) {
  if (!target) return;
  const int bulk = count & ~7;
  for (int i = 0; i < count; ++i) {
    const int s = source ? source[i] : 0;
    const int a = alpha ? alpha[i] : 0;
    target[i] = static_cast<uint8_t>(i < bulk ? Operation<bulk_form>::at(s, a, target[i], weight)
                                              : Operation<tail_form>::at(s, a, target[i], weight));
  }
}

void lay_background(const target_span& target, int count) {
  for (int p = 0; p < 4; ++p) {
    if (target.background && target.planes[p]) std::fill_n(target.planes[p], count, target.background[p]);
  }
}

// The target's alpha stays.
template <template <class> class Colour>
void colours(const target_span& target, const source_span* sources, int layers, int count) {
  lay_background(target, count);
  for (const source_span* source = sources; source != sources + layers; ++source) {
    for (int p = 0; p < 3; ++p) {
      plane_row<Colour>(target.planes[p], source->planes[p], source->planes[3], count, source->weight);
    }
  }
}

// The colours go through one operation and the target's alpha through another, with the source's alpha for s.
template <template <class> class Colour, template <class> class Alpha>
void colours_and_alpha(const target_span& target, const source_span* sources, int layers, int count) {
  lay_background(target, count);
  for (const source_span* source = sources; source != sources + layers; ++source) {
    colours<Colour>({{target.planes[0], target.planes[1], target.planes[2]}, nullptr}, source, 1, count);
    plane_row<Alpha>(target.planes[3], source->planes[3], source->planes[3], count, source->weight);
  }
}

void keep_larger(uint8_t* target, const uint8_t* source, int count) {
  for (int i = 0; i < count; ++i) target[i] = std::max(target[i], source[i]);
}

// Columns: ignore, normal, pm, mask.
constexpr blend_kernels plain_operations{
    {{colours_and_alpha<copy, full>, colours_and_alpha<blend, blend_pm>, colours_and_alpha<blend_pm, blend_pm>,
      colours_and_alpha<blend_mask, blend_mask>},
     {colours<add_plain>, colours_and_alpha<add_straight, add_straight>, colours_and_alpha<add_plain, add_plain>,
      colours_and_alpha<add_mask, add_mask>},
     {colours<multiply_plain>, colours_and_alpha<multiply_straight, multiply_straight>,
      colours_and_alpha<multiply_pm, multiply_pm>, colours_and_alpha<multiply_pm, multiply_pm>},
     {colours<screen_plain>, colours_and_alpha<screen_straight, screen_straight>,
      colours_and_alpha<screen_plain, screen_plain>, colours_and_alpha<screen_mask, screen_mask>},
     {colours<difference_plain>, colours_and_alpha<difference_straight, difference_straight>,
      colours_and_alpha<difference_plain, difference_plain>, colours_and_alpha<difference_mask, difference_mask>}},
    {{colours_and_alpha<scaled_copy, scaled_full>, colours_and_alpha<scaled_blend, scaled_blend_pm>,
      colours_and_alpha<scaled_blend_pm, scaled_blend_pm>, colours_and_alpha<scaled_blend_mask, scaled_blend_mask>},
     {colours<scaled_add>, colours_and_alpha<scaled_add_straight, scaled_add_straight>,
      colours_and_alpha<scaled_add, scaled_add>, colours_and_alpha<scaled_add_mask, scaled_add_mask>},
     {colours<scaled_multiply>, colours_and_alpha<scaled_multiply_straight, scaled_multiply_straight>,
      colours_and_alpha<scaled_multiply_pm, scaled_multiply_pm>,
      colours_and_alpha<scaled_multiply_pm, scaled_multiply_pm>},
     {colours<scaled_screen>, colours_and_alpha<scaled_screen_straight, scaled_screen_straight>,
      colours_and_alpha<scaled_screen, scaled_screen>, colours_and_alpha<scaled_screen_mask, scaled_screen_mask>},
     {colours<scaled_difference>, colours_and_alpha<scaled_difference_straight, scaled_difference_straight>,
      colours_and_alpha<scaled_difference, scaled_difference>,
      colours_and_alpha<scaled_difference_mask, scaled_difference_mask>}},
    keep_larger};

}  // namespace

const blend_kernels& plain_blend_kernels() {
  return plain_operations;
}

const blend_kernels& active_blend_kernels() {
  return KSN_AT_LEVEL(operations);
}

}  // namespace render
