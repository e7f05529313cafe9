#include "img/formats/shared/film_codes.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace img {
namespace {

// Floats in ascending order as consecutive numbers, without the NaNs.
float float_at(std::int64_t rank) {
  return rank < 0 ? -std::bit_cast<float>(static_cast<std::uint32_t>(-rank))
                  : std::bit_cast<float>(static_cast<std::uint32_t>(rank));
}
constexpr std::int64_t rank_of_infinity = 0x7F800000;

}  // namespace

int film_code(double linear) {
  const double v = linear * 0.9892022483767229 + 0.0107977516232771;
  if (!(v > 0)) return 0;
  return static_cast<int>(std::clamp(685.0 - std::rint(std::log10(v) * -300.0), 0.0, 1023.0));
}

film_code_table::film_code_table() {
  first_of_[0] = -std::numeric_limits<float>::infinity();
  std::int64_t below = -rank_of_infinity;
  for (int code = 1; code <= 1023; ++code) {
    std::int64_t at_least = rank_of_infinity;
    while (at_least - below > 1) {
      const std::int64_t middle = (below + at_least) / 2;
      (film_code(static_cast<double>(float_at(middle))) >= code ? at_least : below) = middle;
    }
    first_of_[code] = float_at(at_least);
    below = at_least - 1;
  }
  first_of_[1024] = std::numeric_limits<float>::quiet_NaN();  // compares false
  for (std::uint32_t upper = 0; upper < 65536; ++upper) {
    const bool negative = upper >= 0x8000;
    const float smallest = std::bit_cast<float>(upper << 16 | (negative ? 0xFFFFu : 0u));
    start_[upper] = static_cast<std::uint16_t>(film_code(static_cast<double>(smallest)));
  }
}

const film_code_table& film_code_table::get() {
  static const film_code_table table;
  return table;
}

int film_code_table::operator()(float value) const {
  if (std::isnan(value)) return 0;
  int code = start_[std::bit_cast<std::uint32_t>(value) >> 16];
  while (value >= first_of_[code + 1]) ++code;
  return code;
}

}  // namespace img
