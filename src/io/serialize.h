// One description of a persistent type for all archives.
//
//   template <class A>
//   void serialize(A& ar, chroma_key& v, int version) {
//     ar.field("enabled", v.enabled);
//     ar.field("key", v.key);
//     if (version >= 2) ar.field("slope", v.slope);
//   }
//
// A writer and a reader run the same lines in the same order; names matter to human readers of XML alone. A type is a
// plain record unless io::record_version is specialised for it; then its version goes in front, a writer runs the lines
// with that version and a reader with the one it finds. With a writer the value must not be changed.
//
// Fields may be bool, integers, enumerations, double, std::string, std::u16string, io::wide(utf8), lib::color,
// math::point2, std::pair, std::array, std::vector, std::set, std::map and types with a serialize() of their own.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "io/exceptions.h"
#include "lib/color.h"
#include "lib/point.h"
#include "lib/utf.h"

namespace io {

// The version that writers state for a type; -1 for a plain record.
template <class T>
inline constexpr int record_version = -1;
template <>
inline constexpr int record_version<lib::color> = 0;

// The identity of a type in the version tables of the binary archives. Never written.
template <class T>
inline constexpr char type_tag = 0;

// UTF-8 text that archives hold as 16-bit units.
struct wide {
  explicit wide(std::string& utf8) : text(utf8) {}
  std::string& text;
};

template <class A>
void serialize(A& ar, lib::color& v, int) {
  ar.field("a", v.a);
  ar.field("r", v.r);
  ar.field("g", v.g);
  ar.field("b", v.b);
}

namespace detail {

template <class T>
inline constexpr bool is_scalar =
    std::is_arithmetic_v<T> || std::is_same_v<T, std::string> || std::is_same_v<T, std::u16string>;
// Types that binary archives move as one block.
template <class T>
inline constexpr bool is_block_item = std::is_integral_v<T> && !std::is_same_v<T, bool> && sizeof(T) <= 4;

template <class T>
inline constexpr bool is_pair = false;
template <class A, class B>
inline constexpr bool is_pair<std::pair<A, B>> = true;
template <class T>
inline constexpr bool is_point = false;
template <class T>
inline constexpr bool is_point<math::point2<T>> = true;

template <class A, class T>
void put(A& ar, std::string_view key, T& value);

template <class A, class T>
void put_elements(A& ar, std::string_view key, std::vector<T>& values) {
  const int count = ar.open_list(static_cast<int>(values.size()), key);
  if constexpr (A::reading) {
    values.clear();
    // Grows as the elements come: a count alone must not claim memory.
    for (int i = 0; i < count; ++i) put(ar, ar.element(i), values.emplace_back());
  } else {
    for (int i = 0; i < count; ++i) put(ar, ar.element(i), values[static_cast<std::size_t>(i)]);
  }
  ar.close_list();
}

template <class A, class T>
void put_field(A& ar, std::string_view key, std::vector<T>& values) {
  if constexpr (A::binary && is_block_item<T>) {
    ar.block(values);
  } else {
    put_elements(ar, key, values);
  }
}

template <class A, class T, std::size_t N>
void put_field(A& ar, std::string_view key, std::array<T, N>& values) {
  if (ar.open_list(static_cast<int>(N), key) != static_cast<int>(N)) throw invalid_array_size("(reader)");
  for (std::size_t i = 0; i < N; ++i) put(ar, ar.element(static_cast<int>(i)), values[i]);
  ar.close_list();
}

template <class A, class T>
void put_field(A& ar, std::string_view key, std::set<T>& values) {
  std::vector<T> list(values.begin(), values.end());
  put_field(ar, key, list);
  if constexpr (A::reading) values = std::set<T>(list.begin(), list.end());
}

// A pair or a point: a plain record with the names of its members.
template <class A, class First, class Second>
void put_two(A& ar, std::string_view key, const char* first_key, First& first, const char* second_key, Second& second) {
  ar.open_plain(key);
  put(ar, first_key, first);
  put(ar, second_key, second);
  ar.close_record();
}

template <class A, class K, class V>
void put_entry(A& ar, int index, K& key, V& value) {
  ar.open_plain(ar.element(index));
  if constexpr (is_point<K>) {
    put_two(ar, "key", "first", key.x, "second", key.y);
  } else if constexpr (is_pair<K>) {
    put_two(ar, "key", "first", key.first, "second", key.second);
  } else {
    put(ar, "key", key);
  }
  put(ar, "value", value);
  ar.close_record();
}

template <class A, class K, class V, class Compare>
void put_field(A& ar, std::string_view key, std::map<K, V, Compare>& values) {
  const int count = ar.open_map_of(static_cast<int>(values.size()), key);
  if constexpr (A::reading) {
    values.clear();
    for (int i = 0; i < count; ++i) {
      K entry_key{};
      V entry_value{};
      put_entry(ar, i, entry_key, entry_value);
      values.insert_or_assign(std::move(entry_key), std::move(entry_value));
    }
  } else {
    int i = 0;
    for (auto& [entry_key, entry_value] : values) put_entry(ar, i++, const_cast<K&>(entry_key), entry_value);
  }
  ar.close_map_of();
}

template <class A, class X, class Y>
void put_field(A& ar, std::string_view key, std::pair<X, Y>& value) {
  put_two(ar, key, "x", value.first, "y", value.second);
}

template <class A, class T>
void put_field(A& ar, std::string_view key, math::point2<T>& value) {
  put_two(ar, key, "x", value.x, "y", value.y);
}

template <class A>
void put_field(A& ar, std::string_view key, wide& value) {
  std::u16string units;
  if constexpr (!A::reading) units = lib::to_utf16(value.text);
  ar.scalar(key, units);
  if constexpr (A::reading) value.text = lib::to_utf8(units);
}

template <class A, class T>
void put_field(A& ar, std::string_view key, T& value) {
  if constexpr (record_version<T> >= 0) {
    const int version = ar.open_versioned(&type_tag<T>, ar.stated_version(&type_tag<T>, record_version<T>), key);
    serialize(ar, value, version);
  } else {
    ar.open_plain(key);
    serialize(ar, value, 0);
  }
  ar.close_record();
}

template <class A, class T>
void put(A& ar, std::string_view key, T& value) {
  if constexpr (is_scalar<T>) {
    ar.scalar(key, value);
  } else if constexpr (std::is_enum_v<T>) {
    auto number = static_cast<std::int32_t>(value);
    ar.scalar(key, number);
    if constexpr (A::reading) value = static_cast<T>(number);
  } else {
    put_field(ar, key, value);
  }
}

}  // namespace detail

// The functions that a description calls. `Self` is the archive.
template <class Self>
class describable {
 public:
  template <class T>
  void field(const char* key, T& value) {
    detail::put(self(), key, value);
  }
  template <class T>
  void field(const char* key, const T& value) {
    static_assert(!Self::reading);
    detail::put(self(), key, const_cast<T&>(value));
  }
  void field(const char* key, wide value) { detail::put(self(), key, value); }

  // An int or enumeration of which a reader takes `first` to `last` and replaces anything else by `otherwise`.
  template <class T>
  void ranged(const char* key, T& value, int first, int last, int otherwise) {
    auto number = static_cast<std::int32_t>(value);
    self().scalar(key, number);
    if constexpr (Self::reading) value = static_cast<T>(number < first || number > last ? otherwise : number);
  }

  // Has a writer state another version than record_version for all records of a type; before the first of them.
  void state_version(const void* tag, int version) { stated_.push_back({tag, version}); }
  int stated_version(const void* tag, int otherwise) const {
    for (const auto& [stated, version] : stated_) {
      if (stated == tag) return version;
    }
    return otherwise;
  }

 private:
  Self& self() { return static_cast<Self&>(*this); }

  std::vector<std::pair<const void*, int>> stated_;
};

}  // namespace io
