// The tables of a transfer: every sample of every pixel form as a byte or a float, for each channel.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "img/correction_math.h"

namespace img {

// What indexes a table: a 10-bit log code, an 8-bit sample, a 14-bit fixed sample (n / 4096 - 0.125, the result of a
// cube) or the bits of a half.
enum class sample_form { log, byte, fixed, half };

constexpr int entries_of(sample_form form) {
  constexpr std::array<int, 4> entries{1024, 256, 16384, 65536};
  return entries[static_cast<int>(form)];
}

// The space of a form's samples where neither settings nor lookup say otherwise: 1 linear, 2 sRGB.
constexpr int default_space(sample_form form) {
  return form == sample_form::byte ? 2 : 1;
}

constexpr double fixed_to_double(int n) {
  return n * 0.000244140625 - 0.125;
}

// Built on first use by any number of calls from one thread. A result has three blocks of entries_of(form), blue, green
// and red, and stays valid for the life of the object. `through_linear_index` takes the curves of a log table by the
// linear value of a code instead of by the code.
class transfer_tables {
 public:
  explicit transfer_tables(const correction& settings);

  const std::uint8_t* bytes(const correction& settings, sample_form form, bool through_linear_index = false);
  const float* floats(const correction& settings, sample_form form, bool through_linear_index = false);

  // The table that bytes() has built for a form, for threads that may only read.
  const std::uint8_t* built_bytes(sample_form form) const { return bytes_[static_cast<int>(form)].entries.get(); }

  const correction_math math;
  const color_matrix matrix;
  const bool has_matrix;
  std::array<std::int32_t, 9>
      integer_matrix{};         // rint(256 * matrix), held so that sums of three products stay in 32 bits
  bool matrix_is_small = true;  // no entry beyond matrix_limit

 private:
  template <class T>
  struct table {
    std::unique_ptr<T[]> entries;
    bool through_linear_index = false;
  };
  template <class T>
  const T* built(table<T>& table, const correction& settings, sample_form form, bool through_linear_index);

  std::array<table<std::uint8_t>, 4> bytes_;
  std::array<table<float>, 4> floats_;
};

// What does not depend on settings. Each is built when it is first asked for.
const std::uint16_t* log_to_linear_index();  // [1024], linear value of a log code, 0 to 1023
const std::uint16_t* fixed_to_log();         // [16384], log code of a fixed sample
const std::uint16_t* fixed_to_half();        // [16384]
const std::uint16_t* half_to_index();        // [65536], clamp(rint(h * 1023), 0, 1023)
const std::uint8_t* half_to_alpha();         // [65536], a half as a byte without any curve

}  // namespace img
