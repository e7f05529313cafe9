#include "command/field.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "command/values.h"

namespace command {

namespace {

constexpr double widest_told = 1e6;  // bounds beyond it are there to keep sums in range, and tell a user nothing

std::string part_form(const value_shape& shape) {
  if (shape.count == 1 && shape.least > -widest_told && shape.most < widest_told) {
    return write_double(shape.least) + ".." + write_double(shape.most);
  }
  return shape.kind == value_kind::integer ? "N" : "X";
}

bool in_bounds(const value_shape& shape, double number) {
  return number >= shape.least && number <= shape.most;
}

bool read_numbers(const value_shape& shape, std::string_view text, field_value& value) {
  const std::span<double> numbers(value.numbers.data(), static_cast<std::size_t>(shape.count));
  if (shape.kind == value_kind::integer) {
    std::array<int, 5> whole{};
    if (!read_ints(text, std::span(whole).first(numbers.size()))) return false;
    std::copy_n(whole.begin(), numbers.size(), numbers.begin());
  } else if (!read_doubles(text, numbers)) {
    if (!shape.one_for_all || !read_double(text, numbers[0])) return false;
    std::fill(numbers.begin(), numbers.end(), numbers[0]);
  }
  return std::all_of(numbers.begin(), numbers.end(), [&](double number) { return in_bounds(shape, number); });
}

// A value that has no word stands as its number.
bool read_word(const value_shape& shape, std::string_view text, field_value& value) {
  int number = 0;
  const bool known = ksn::value_of(shape.words, text, number) ||
                     (read_int(text, number) && in_bounds(shape, number) && ksn::word_of(shape.words, number).empty());
  value.numbers[0] = number;
  return known;
}

}  // namespace

std::string form_of(const value_shape& shape) {
  if (!shape.form.empty()) return shape.form;
  std::string form;
  switch (shape.kind) {
    case value_kind::boolean:
      form = "0|1";
      break;
    case value_kind::word:
      for (const ksn::enum_word& entry : shape.words) form += (form.empty() ? "" : "|") + std::string(entry.word);
      break;
    case value_kind::color:
      form = shape.alpha ? "R,G,B|R,G,B,A" : "R,G,B";
      break;
    case value_kind::text:
      form = "TEXT";
      break;
    case value_kind::integer:
    case value_kind::number:
      form = shape.count == 2 ? "X,Y" : part_form(shape);
      break;
  }
  return shape.off.empty() ? form : shape.off + "|" + form;
}

bool read_value(const value_shape& shape, std::string_view text, field_value& value) {
  field_value found;
  found.off = !shape.off.empty() && text == shape.off;
  bool fits = found.off;
  if (!fits) {
    switch (shape.kind) {
      case value_kind::boolean: {
        bool on = false;
        fits = read_bool(text, on);
        found.numbers[0] = on;
        break;
      }
      case value_kind::integer:
      case value_kind::number:
        fits = read_numbers(shape, text, found);
        break;
      case value_kind::word:
        fits = read_word(shape, text, found);
        break;
      case value_kind::color: {
        lib::color color;
        fits = read_color(text, color);
        found.numbers = {double(color.r), double(color.g), double(color.b), shape.alpha ? double(color.a) : 255.0};
        break;
      }
      case value_kind::text:
        fits = true;
        found.text = text;
        break;
    }
  }
  if (fits) value = std::move(found);
  return fits;
}

namespace {

std::string value_text(const value_shape& shape, const field_value& value, std::string (*write)(double)) {
  if (value.off) return shape.off;
  const std::span<const double> numbers(value.numbers.data(), static_cast<std::size_t>(shape.count));
  switch (shape.kind) {
    case value_kind::word: {
      const int number = static_cast<int>(value.numbers[0]);
      const std::string_view word = ksn::word_of(shape.words, number);
      return word.empty() ? std::to_string(number) : std::string(word);
    }
    case value_kind::color: {
      const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(value.numbers[i]); };
      return write_color({byte(3), byte(0), byte(1), byte(2)});
    }
    case value_kind::text:
      return value.text;
    default: {
      const bool equal = std::all_of(numbers.begin(), numbers.end(), [&](double n) { return n == numbers[0]; });
      std::string text;
      for (const double number : shape.one_for_all&& equal ? numbers.first(1) : numbers) {
        text += (text.empty() ? "" : ",") + write(number);
      }
      return text;
    }
  }
}

}  // namespace

std::string write_value(const value_shape& shape, const field_value& value) {
  return value_text(shape, value, write_double);
}

std::string write_exact_value(const value_shape& shape, const field_value& value) {
  return value_text(shape, value, write_exact_double);
}

field_value clamped(const value_shape& shape, field_value value) {
  const double least = shape.kind == value_kind::color || shape.kind == value_kind::boolean ? 0 : shape.least;
  const double most = shape.kind == value_kind::color ? 255 : shape.kind == value_kind::boolean ? 1 : shape.most;
  for (double& number : value.numbers) {
    if (std::isnan(number)) number = least;
    if (shape.kind != value_kind::number) number = std::nearbyint(number);
    number = std::clamp(number, least, most);
  }
  return value;
}

}  // namespace command
