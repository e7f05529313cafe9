#include "img/transfer_tables.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "img/color_rows.h"
#include "lib/parallel.h"

namespace img {
namespace {

int index_1023(double v) {
  return v > 0 ? static_cast<int>(std::rint(std::min(v, 1.0) * 1023)) : 0;
}

double curve_at(const double* curve, double v) {
  if (!(v > 0)) return curve[0];
  if (v >= 1) return curve[1023];
  const double x = v * 1023;
  const int i = static_cast<int>(x);
  const double fraction = x - i;
  return curve[i] + (curve[i + 1] - curve[i]) * fraction;
}

// The value that sample `i` of a form stands for, `curve` being the channel's 1024 entries or null.
double input_value(sample_form form, int i, const double* curve, bool through_linear_index) {
  switch (form) {
    case sample_form::byte:
      return curve ? curve[index_1023(i / 255.0)] : i / 255.0;
    case sample_form::log:
      if (!curve) return log_decode(i);
      return curve[through_linear_index ? log_to_linear_index()[i] : i];
    case sample_form::half: {
      const double v = half_to_double(static_cast<std::uint16_t>(i));
      return curve ? curve_at(curve, v) : v;
    }
    case sample_form::fixed:
      break;
  }
  return fixed_to_double(i);
}

void fill_entry(std::uint8_t& out, const correction_math& math, double v, int c, int space) {
  out = math.to_byte(v, c, space);
}

void fill_entry(float& out, const correction_math& math, double v, int c, int space) {
  out = math.to_float(v, c, space);
}

template <int count, class Function>
const auto* fixed_table(Function&& function) {
  using value = decltype(function(0));
  static const std::unique_ptr<value[]> entries = [&] {
    auto out = std::make_unique<value[]>(count);
    for (int i = 0; i < count; ++i) out[i] = function(i);
    return out;
  }();
  return entries.get();
}

bool changes_hue_or_saturation(const correction& s) {
  return !s.disable_cc && (s.hue != std::array{0, 0, 0} || s.saturation != std::array{100, 100, 100});
}

}  // namespace

transfer_tables::transfer_tables(const correction& settings)
    : math(settings), matrix(hue_saturation_matrix(settings)), has_matrix(changes_hue_or_saturation(settings)) {
  for (int i = 0; i < 9; ++i) {
    const double entry = std::rint(std::clamp(matrix[i / 3][i % 3] * 256, -2e6, 2e6));
    integer_matrix[i] = static_cast<std::int32_t>(entry);
    if (std::abs(integer_matrix[i]) > matrix_limit) matrix_is_small = false;
  }
}

template <class T, class View>
View transfer_tables::built(table<T, View>& table, const correction& settings, sample_form form,
                            bool through_linear_index) {
  if (table.entries[0] && table.through_linear_index == through_linear_index) return table.view;
  const int count = entries_of(form);
  const lookup_table& lookup = settings.lookup_table;
  const bool curves = lookup.has_curves() && !lookup.has_cube() && form != sample_form::fixed;
  const int space = effective_space(settings, default_space(form));
  for (int c = 0; c < 3; ++c) {
    if (c > 0 && !curves && math.same_settings(c, c - 1)) {
      table.view.of[c] = table.view.of[c - 1];
      continue;
    }
    const double* curve = curves ? lookup.curves().data() + (2 - c) * 1024 : nullptr;
    table.entries[c] = std::make_unique<T[]>(count);
    T* entries = table.entries[c].get();
    table.view.of[c] = entries;
    lib::parallel_rows(count, count, [&](int first, int last) {
      for (int i = first; i < last; ++i) {
        fill_entry(entries[i], math, input_value(form, i, curve, through_linear_index), c, space);
      }
    });
  }
  table.through_linear_index = through_linear_index;
  return table.view;
}

channel_bytes transfer_tables::bytes(const correction& settings, sample_form form, bool through_linear_index) {
  return built(bytes_[static_cast<int>(form)], settings, form, through_linear_index);
}

channel_floats transfer_tables::floats(const correction& settings, sample_form form, bool through_linear_index) {
  return built(floats_[static_cast<int>(form)], settings, form, through_linear_index);
}

const std::uint16_t* log_to_linear_index() {
  return fixed_table<1024>([](int i) { return static_cast<std::uint16_t>(index_1023(log_decode(i))); });
}

const std::uint16_t* fixed_to_log() {
  return fixed_table<16384>([](int i) { return static_cast<std::uint16_t>(log_encode(fixed_to_double(i))); });
}

const std::uint16_t* fixed_to_half() {
  return fixed_table<16384>([](int i) { return float_to_half(static_cast<float>(fixed_to_double(i))); });
}

const std::uint16_t* half_to_index() {
  return fixed_table<65536>(
      [](int i) { return static_cast<std::uint16_t>(index_1023(half_to_double(static_cast<std::uint16_t>(i)))); });
}

const std::uint8_t* half_to_alpha() {
  return fixed_table<65536>([](int i) {
    const double v = half_to_double(static_cast<std::uint16_t>(i));
    return static_cast<std::uint8_t>(!(v > 0) ? 0 : v >= 1 ? 255 : v * 255.99);
  });
}

}  // namespace img
