// 10-bit film log codes: 95 is black, 685 white, 300 codes a decade of density 0.6 gamma.
#pragma once

#include <cstdint>

namespace img {

// The code of a linear value: 685 + rint(300 * log10(linear * 0.9892022483767229 + 0.0107977516232771)), clamped to 0
// to 1023; 0 where the logarithm has no value.
int film_code(double linear);

// film_code() of every float through tables, for whole pictures. Built on first use; then any thread.
class film_code_table {
 public:
  static const film_code_table& get();
  // The same code as film_code(value).
  int operator()(float value) const;

 private:
  film_code_table();
  float first_of_[1024 + 1];    // smallest float that has at least this code; the last is never reached
  std::uint16_t start_[65536];  // code of the smallest float that shares the upper half of its bits
};

// Red, green and blue codes as one packed word.
constexpr std::uint32_t film_word(std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
  return red << 22 | green << 12 | blue << 2;
}

}  // namespace img
