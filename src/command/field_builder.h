// Rows of the two field tables, each in one call. `member` is a function that gives a reference to a member of a
// record, const or not; what a member's type is decides how it is read and set.
#pragma once

#include <cmath>
#include <string>
#include <type_traits>
#include <utility>

#include "command/engine.h"
#include "command/messages.h"
#include "command/values.h"

namespace command {

constexpr int largest_int = std::numeric_limits<int>::max();
// Bounds that keep sums and products of frame numbers within an int.
constexpr int most_frames = 100000000;

// --- shapes ---

inline value_shape boolean() {
  return {.kind = value_kind::boolean, .least = 0, .most = 1};
}
inline value_shape integer(int least = -largest_int, int most = largest_int) {
  return {.kind = value_kind::integer, .least = double(least), .most = double(most)};
}
inline value_shape integers(int count, std::string form, int least = -largest_int, int most = largest_int) {
  return {.kind = value_kind::integer,
          .count = count,
          .least = double(least),
          .most = double(most),
          .form = std::move(form)};
}
inline value_shape number(double least, double most, int decimals) {
  return {.kind = value_kind::number, .least = least, .most = most, .decimals = decimals};
}
inline value_shape any_number(int decimals) {
  return number(std::numeric_limits<double>::lowest(), std::numeric_limits<double>::max(), decimals);
}
inline value_shape any_numbers(int count, std::string form, int decimals) {
  value_shape shape = any_number(decimals);
  shape.count = count;
  shape.form = std::move(form);
  return shape;
}
// The words of an enumeration; stored values up to `most` may have none.
template <class E>
value_shape words(int most = 0) {
  const std::span<const ksn::enum_word> all = ksn::words_of<E>();
  return {.kind = value_kind::word,
          .least = double(all.front().value),
          .most = double(std::max(all.back().value, most)),
          .words = all};
}
inline value_shape color(bool alpha) {
  return {.kind = value_kind::color, .alpha = alpha};
}
inline value_shape text(std::string form = {}) {
  return {.kind = value_kind::text, .form = std::move(form)};
}
inline value_shape or_off(value_shape shape, std::string form, std::string off = "none") {
  shape.off = std::move(off);
  shape.form = std::move(form);
  return shape;
}

// --- values of members ---

template <class T>
void put(field_value& value, const T& member) {
  if constexpr (std::is_same_v<T, std::string>) {
    value.text = member;
  } else if constexpr (std::is_same_v<T, lib::color>) {
    value.numbers = {double(member.r), double(member.g), double(member.b), double(member.a)};
  } else if constexpr (std::is_same_v<T, math::point> || std::is_same_v<T, math::pointd>) {
    value.numbers = {double(member.x), double(member.y)};
  } else {
    value.numbers[0] = static_cast<double>(member);
  }
}

template <class T>
void take(const field_value& value, T& member) {
  const auto at = [&](std::size_t i) { return value.numbers[i]; };
  if constexpr (std::is_same_v<T, std::string>) {
    member = value.text;
  } else if constexpr (std::is_same_v<T, lib::color>) {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(at(i)); };
    member = {byte(3), byte(0), byte(1), byte(2)};
  } else if constexpr (std::is_same_v<T, math::point>) {
    member = {static_cast<int>(at(0)), static_cast<int>(at(1))};
  } else if constexpr (std::is_same_v<T, math::pointd>) {
    member = {at(0), at(1)};
  } else if constexpr (std::is_same_v<T, bool>) {
    member = at(0) != 0;
  } else if constexpr (std::is_enum_v<T>) {
    member = static_cast<T>(static_cast<int>(at(0)));
  } else {
    member = static_cast<T>(at(0));
  }
}

// --- rows ---

template <class Record>
std::vector<field<Record>>& table_of(engine& engine) {
  if constexpr (std::is_same_v<Record, ksn::state>) {
    return engine.global_field_table;
  } else {
    return engine.layer_field_table;
  }
}

// Gives a row its text forms, which go by its shape, and enters it.
template <class Record>
void enter(engine& engine, field<Record> row) {
  row.get = [shape = row.shape, get = row.get_value](const ksn::state& composition, const Record& record,
                                                     std::string& out) {
    field_value value;
    get(composition, record, value);
    out = write_value(shape, value);
    return true;
  };
  if (row.set_value) {
    row.set = [&engine, name = row.name, shape = row.shape, set = row.set_value](
                  ksn::state& composition, Record& record, const std::string& text) {
      field_value value;
      if (!read_value(shape, text, value) || !set(composition, record, value)) {
        engine.report(invalid_value(text, std::is_same_v<Record, ksn::state> ? "global" : "layer", name));
      }
      return true;
    };
  }
  table_of<Record>(engine).push_back(std::move(row));
}

// A member as it is stored.
template <class Record, class Member>
void add_member(engine& engine, std::string name, std::string help, value_shape shape, Member member) {
  enter<Record>(engine, {.name = std::move(name),
                         .help = std::move(help),
                         .shape = shape,
                         .get_value = [member](const ksn::state&, const Record& record,
                                               field_value& value) { put(value, member(record)); },
                         .set_value =
                             [member](ksn::state&, Record& record, const field_value& value) {
                               take(value, member(record));
                               return true;
                             },
                         .get = {},
                         .set = {}});
}

// A value that goes through functions: get(record) -> T, set(record, T), which may return false for one that it
// refuses.
template <class Record, class Get, class Set>
void add_by(engine& engine, std::string name, std::string help, value_shape shape, Get get, Set set) {
  using T = std::decay_t<std::invoke_result_t<Get, const Record&>>;
  enter<Record>(engine, {.name = std::move(name),
                         .help = std::move(help),
                         .shape = shape,
                         .get_value = [get](const ksn::state&, const Record& record,
                                            field_value& value) { put(value, get(record)); },
                         .set_value =
                             [set](ksn::state&, Record& record, const field_value& value) {
                               T typed{};
                               take(value, typed);
                               if constexpr (std::is_void_v<std::invoke_result_t<Set, Record&, T>>) {
                                 set(record, typed);
                                 return true;
                               } else {
                                 return static_cast<bool>(set(record, typed));
                               }
                             },
                         .get = {},
                         .set = {}});
}

// A value that can only be read.
template <class Record, class Get>
void add_read_only(engine& engine, std::string name, std::string help, value_shape shape, Get get) {
  enter<Record>(engine, {.name = std::move(name),
                         .help = std::move(help),
                         .shape = shape,
                         .get_value = [get](const ksn::state&, const Record& record,
                                            field_value& value) { put(value, get(record)); },
                         .set_value = {},
                         .get = {},
                         .set = {}});
}

// A value that is put together from several members: get(composition, record, value), set(composition, record, value).
template <class Record, class Get, class Set>
void add_made(engine& engine, std::string name, std::string help, value_shape shape, Get get, Set set) {
  enter<Record>(engine, {.name = std::move(name),
                         .help = std::move(help),
                         .shape = shape,
                         .get_value = get,
                         .set_value = set,
                         .get = {},
                         .set = {}});
}

// The parts of the tables, in the order of print_fields.
void register_global_fields(engine& engine);
void register_layer_fields(engine& engine);
void register_color_fields(engine& engine);  // of layers, then of the view
void register_text_fields(engine& engine);
void register_default_text_fields(engine& engine);
void register_r3d_fields(engine& engine);
void register_more_fields(engine& engine);  // what completes the document and the settings

}  // namespace command
