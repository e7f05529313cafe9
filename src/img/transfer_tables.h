// The tables of a transfer: every sample of every pixel form as a byte or a float, for each channel.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "img/color_rows.h"
#include "img/correction_math.h"

namespace img {

// The index of a table: a 10-bit log code, an 8-bit sample, a 14-bit fixed sample (n / 4096 - 0.125, the result of a
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

// Blue, green, red, as channel_bytes.
struct channel_floats {
  const float* of[3];
};

// Built on first use by one thread. A result has a table of entries_of(form) for each channel and stays valid until the
// next call for the same form. `through_linear_index` takes the curves of a log table by the linear value of a code
// instead of by the code.
class transfer_tables {
 public:
  explicit transfer_tables(const correction& settings);

  channel_bytes bytes(const correction& settings, sample_form form, bool through_linear_index = false);
  channel_floats floats(const correction& settings, sample_form form, bool through_linear_index = false);

  // The table that bytes() has built for a form, for threads that may only read.
  channel_bytes built_bytes(sample_form form) const { return bytes_[static_cast<int>(form)].view; }

  const correction_math math;
  const color_matrix matrix;
  const bool has_matrix;
  std::array<std::int32_t, 9>
      integer_matrix{};         // rint(256 * matrix), held so that sums of three products stay in 32 bits
  bool matrix_is_small = true;  // no entry beyond matrix_limit

 private:
  template <class T, class View>
  struct table {
    std::array<std::unique_ptr<T[]>, 3> entries;  // none for a channel that takes the table before it
    View view{};
    bool through_linear_index = false;
  };
  template <class T, class View>
  View built(table<T, View>& table, const correction& settings, sample_form form, bool through_linear_index);

  std::array<table<std::uint8_t, channel_bytes>, 4> bytes_;
  std::array<table<float, channel_floats>, 4> floats_;
};

// Tables that do not depend on settings. Each is built when it is first asked for.
const std::uint16_t* log_to_linear_index();  // [1024], linear value of a log code, 0 to 1023
const std::uint16_t* fixed_to_log();         // [16384], log code of a fixed sample
const std::uint16_t* fixed_to_half();        // [16384]
const std::uint16_t* half_to_index();        // [65536], clamp(rint(h * 1023), 0, 1023)
const std::uint8_t* half_to_alpha();         // [65536], a half as a byte without any curve

}  // namespace img
