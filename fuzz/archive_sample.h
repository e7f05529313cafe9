// A record with every kind of field that archives know.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "io/serialize.h"
#include "lib/color.h"
#include "lib/point.h"

namespace support {

enum class mood { calm, wild, last = wild };

struct leaf {
  int number = 0;
  std::string name;
  bool operator==(const leaf&) const = default;
};

struct old_leaf {
  int first = 0;
  int second = 7;  // from version 2
  bool operator==(const old_leaf&) const = default;
};

struct everything {
  bool flag = false;
  std::int8_t small = 0;
  std::uint8_t byte = 0;
  std::uint16_t half = 0;
  int number = 0;
  double real = 0;
  mood state = mood::calm;
  std::string text;
  std::u16string units;
  std::string utf8;
  std::vector<std::uint8_t> bytes;
  std::vector<int> numbers;
  std::vector<double> reals;
  std::vector<std::string> names;
  std::array<int, 3> triple{};
  std::set<int> selection;
  std::pair<int, int> pair{};
  math::pointd point;
  lib::color color;
  lib::color color2;
  leaf plain;
  std::vector<old_leaf> versioned;
  std::map<std::string, std::string> words;
  std::map<math::point, double> aspects;
  std::map<std::string, std::vector<leaf>> lists;
  bool operator==(const everything&) const = default;
};

}  // namespace support

template <>
inline constexpr int io::record_version<support::old_leaf> = 2;
template <>
inline constexpr int io::record_version<support::everything> = 5;

namespace support {

template <class A>
void serialize(A& ar, leaf& v, int) {
  ar.field("number", v.number);
  ar.field("name", v.name);
}

template <class A>
void serialize(A& ar, old_leaf& v, int version) {
  ar.field("first", v.first);
  if (version >= 2) ar.field("second", v.second);
}

template <class A>
void serialize(A& ar, everything& v, int) {
  ar.field("flag", v.flag);
  ar.field("small", v.small);
  ar.field("byte", v.byte);
  ar.field("half", v.half);
  ar.field("number", v.number);
  ar.field("real", v.real);
  ar.ranged("state", v.state, 0, static_cast<int>(mood::last), static_cast<int>(mood::wild));
  ar.field("text", v.text);
  ar.field("units", v.units);
  ar.field("utf8", io::wide(v.utf8));
  ar.field("bytes", v.bytes);
  ar.field("numbers", v.numbers);
  ar.field("reals", v.reals);
  ar.field("names", v.names);
  ar.field("triple", v.triple);
  ar.field("selection", v.selection);
  ar.field("pair", v.pair);
  ar.field("point", v.point);
  ar.field("color", v.color);
  ar.field("color2", v.color2);
  ar.field("plain", v.plain);
  ar.field("versioned", v.versioned);
  ar.field("words", v.words);
  ar.field("aspects", v.aspects);
  ar.field("lists", v.lists);
}

}  // namespace support
