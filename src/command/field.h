// A field: its name, the values it takes, and how it is read and set. The command line, the help, the
// reference and the widgets of a panel all go by the one row of a field.
#pragma once

#include <array>
#include <functional>
#include <limits>
#include <span>
#include <string>
#include <string_view>

#include "composition/enums.h"
#include "composition/state.h"

namespace command {

enum class value_kind { boolean, integer, number, word, color, text };

// The values that a field takes.
struct value_shape {
  value_kind kind = value_kind::text;
  int count = 1;  // numbers in one value: 2 for a position, 3 for red, green, blue
  // Bounds of each integer and number, in the user's unit. A text outside them is refused, a drag stops there.
  double least = std::numeric_limits<int>::min();
  double most = std::numeric_limits<int>::max();
  int decimals = 0;                            // that a panel shows of a number
  std::span<const ksn::enum_word> words = {};  // of a word
  bool alpha = false;                          // a colour has a fourth part
  bool one_for_all = false;                    // one number stands for several that are equal
  std::string off = {};                        // the word that switches the field off: "none"
  std::string form = {};                       // for help and reference; empty: made from the rest
};

// The value of a field, typed. A panel's drag goes by it and prints nothing.
struct field_value {
  bool off = false;                 // as the word that switches the field off
  std::array<double, 5> numbers{};  // a bool is 0 or 1, a word its stored integer, a colour red, green, blue, alpha
  std::string text;                 // of a text

  bool operator==(const field_value&) const = default;
};

// How a value is written for people: "0|1", "0..100", "X,Y".
std::string form_of(const value_shape& shape);
// Texts to values and back. A reader takes a text that the shape allows, or returns false.
bool read_value(const value_shape& shape, std::string_view text, field_value& value);
std::string write_value(const value_shape& shape, const field_value& value);
// The same with as many digits as it takes to read the very number back.
std::string write_exact_value(const value_shape& shape, const field_value& value);
// The nearest value that the shape allows.
field_value clamped(const value_shape& shape, field_value value);

// A field of a `Record`, which is the document or one of its layers. One that can't be set has neither setter.
template <class Record>
struct field {
  std::string name;
  std::string help;
  value_shape shape;
  // Typed. A setter takes a value that the shape allows; false when the record does not.
  std::function<void(const ksn::state&, const Record&, field_value&)> get_value;
  std::function<bool(ksn::state&, Record&, const field_value&)> set_value;
  // As text. A setter reports a bad value itself and returns true.
  std::function<bool(const ksn::state&, const Record&, std::string&)> get;
  std::function<bool(ksn::state&, Record&, const std::string&)> set;
  bool of_machine = false;  // the first value depends on the machine, and stands in no document

  bool read_only() const { return !set; }
};
using global_field = field<ksn::state>;
using layer_field = field<ksn::track_info>;

}  // namespace command
