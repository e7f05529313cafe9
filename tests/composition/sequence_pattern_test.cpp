#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <random>
#include <sstream>

#include "composition/opening/natural_order.h"
#include "composition/opening/sequence_pattern.h"

namespace {

// The words of a row of text.
std::vector<std::string> words(const char* row) {
  std::istringstream text(row);
  return {std::istream_iterator<std::string>(text), {}};
}

TEST(sequence_pattern, match_number) {
  // Name, pattern and number.
  for (const char* row :
       {"shot.0012.tga shot.????.tga 12", "SHOT.0012.TGA shot.????.tga 12", "x.-05.tga x.???.tga -5",
        "x.+05.tga x.???.tga 5", "a1b2 a?b? 12", "f123.tga f*.tga 123", "f-123.tga f*.tga -123",
        "f2147483647.tga f*.tga 2147483647", "f-2147483647.tga f*.tga -2147483647", "plain.tga plain.tga 0"}) {
    EXPECT_EQ(ksn::match_number(words(row)[0], words(row)[1]), std::stoi(words(row)[2])) << row;
  }
  // Too long, too short, a sign that is not in first place, no number, one that is no int.
  for (const char* row : {"shot.0012.tga shot.???.tga", "shot.012.tga shot.????.tga", "shot.0012.tgaa shot.????.tga",
                          "shot.0012.tg shot.????.tga", "x.0-5.tga x.???.tga", "x.--5.tga x.???.tga", "a1b- a?b?",
                          "f.tga f*.tga", "f12345678901.tga f*.tga", "f21474836470.tga f*.tga"}) {
    EXPECT_EQ(ksn::match_number(words(row)[0], words(row)[1]), ksn::no_number) << row;
  }
  EXPECT_EQ(ksn::match_number("", ""), 0);
  EXPECT_EQ(ksn::match_number("", "?"), ksn::no_number);
}

TEST(sequence_pattern, name_for_number) {
  // Pattern, number and name.
  for (const char* row : {"x.????.tga 7 x.0007.tga", "x.???.tga 1234 x.1234.tga", "x.???.tga -5 x.-05.tga",
                          "x.???.tga -1234 x.-1234.tga", "x.?.tga -5 x.-5.tga", "x.*.tga 305 x.305.tga", "a?b? 12 a1b2",
                          "a?b? 345 a34b5", "plain.tga 3 plain.tga", "? -2147483648 -2147483648", "? 0 0"}) {
    EXPECT_EQ(ksn::name_for_number(words(row)[0], std::stoi(words(row)[1])), words(row)[2]) << row;
  }
}

TEST(sequence_pattern, build_pattern) {
  std::string pattern;
  // Path and pattern.
  for (const char* row :
       {"/a/shot.0012.tga /a/shot.????.tga", "/a/shot.####.tga /a/shot.????.tga", "/a/shot.#.tga /a/shot.?.tga",
        "/a/shot.*.tga /a/shot.*.tga", "/a/s2_v3_0012_x.tga /a/s2_v3_????_x.tga", "/a/x.-05.tga /a/x.???.tga",
        "/a/shot-12.tga /a/shot-??.tga", "/a/x_+5.tga /a/x_??.tga", "/a/-5 /a/??", "/a/12 /a/??", "/a/.12 /a/.??",
        "/a/x\\y1.tga /a/x\\y?.tga", "/a#/b1.tga /a#/b?.tga"}) {
    EXPECT_TRUE(ksn::build_pattern(words(row)[0], pattern)) << row;
    EXPECT_EQ(pattern, words(row)[1]);
  }
  EXPECT_FALSE(ksn::build_pattern("/a9/plain.tga", pattern));
  EXPECT_FALSE(ksn::build_pattern("/a/plain.r3d", pattern));
  EXPECT_EQ(ksn::display_pattern("x.????.tga"), "x.####.tga");
  EXPECT_EQ(ksn::display_pattern("#1.????.tga"), "#1.????.tga");
}

TEST(sequence_pattern, numbers_as_other_programs_write_them) {
  const std::pair<const char*, const char*> rows[] = {
      {"/a/shot.%04d.exr", "/a/shot.####.exr"},
      {"/a/%d.exr", "/a/#.exr"},
      {"/a/shot.@@@.exr", "/a/shot.###.exr"},
      {"/a/shot_@_b.exr", "/a/shot_#_b.exr"},
      {"/a/@@", "/a/##"},
      {"/%04d/a.exr", "/%04d/a.exr"},
      {"/a/icon@2x.png", "/a/icon@2x.png"},
      {"/a/me@home.1.png", "/a/me@home.1.png"},
      {"/a/%04d.##.exr", "/a/%04d.##.exr"},
      {"/a/50%off.png", "/a/50%off.png"},
      {"/a/%4d%.png", "/a/%4d%.png"},
      {"/a/%00d%", "/a/%00d%"},
  };
  for (const auto& [path, expected] : rows) EXPECT_EQ(ksn::with_number_signs(path), expected) << path;
}

TEST(sequence_pattern, ranges) {
  std::vector<int> numbers;
  const std::pair<const char*, std::vector<int>> rows[] = {
      {"5", {5}},
      {"1-4", {1, 2, 3, 4}},
      {"4-1", {4, 3, 2, 1}},
      {"1-10x4", {1, 5, 9}},
      {"10-1x4", {10, 6, 2}},
      {"-3--1,3-3", {-3, -2, -1, 3}},
      {"-1-1,7,7", {-1, 0, 1, 7, 7}},
      {"-2147483647-2147483647x2147483647", {-2147483647, 0, 2147483647}},
  };
  for (const auto& [text, expected] : rows) {
    EXPECT_TRUE(ksn::expand_range(text, numbers)) << text;
    EXPECT_EQ(numbers, expected) << text;
  }
  for (const char* text :
       {"", "1,", ",1", "1-", "1-4x", "1-4x0", "1-4x-1", "1x2", "1 2", "99999999999", "0-2000000", "0-2147483647"}) {
    EXPECT_FALSE(ksn::expand_range(text, numbers)) << text;
  }
}

TEST(natural_order, rows_in_order) {
  const std::vector<std::string> rows[] = {
      {"f9.tga", "f09.tga", "f10.tga", "f010.tga"},
      {"A1", "a2", "A3"},
      {"", "0", "a", "shot", "shot.1", "shot.1.tga", "shot1"},
      {"a1b2", "a1b10", "a2b1", "v1_f2", "v1_f10", "v10_f1"},
      {"x99999999999999999998", "x99999999999999999999", "x100000000000000000000"},
  };
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      for (std::size_t j = 0; j < row.size(); ++j) {
        EXPECT_EQ(ksn::natural_less(row[i], row[j]), i < j) << row[i] << " and " << row[j];
      }
    }
  }
  EXPECT_FALSE(ksn::natural_less("Abc", "aBC"));
  EXPECT_FALSE(ksn::natural_less("aBC", "Abc"));
}

// The quick way for names that differ in one number must agree with plain comparison.
TEST(natural_order, sort_agrees_with_comparison) {
  std::mt19937 random(7);
  const std::function<std::string(std::string)> kinds[] = {
      [](const std::string& n) {
        return "shot." + std::string(5 - std::min<std::size_t>(5, n.size()), '0') + n + ".exr";
      },
      [](const std::string& n) { return "shot." + n + ".exr"; },
      [&](const std::string& n) { return "s" + std::string(random() % 3, '0') + n; },
      [&](const std::string& n) { return (random() % 2 ? "A" : "a") + n + ".tga"; },
      [&](const std::string& n) { return "1" + n + "2" + std::string(random() % 18, '1') + ".tga"; },
      [&](const std::string& n) {
        return std::string(random() % 4, static_cast<char>('a' + random() % 3)) + n + (random() % 2 ? "x" : "-1");
      },
  };
  for (const auto& name_of : kinds) {
    for (int round = 0; round < 20; ++round) {
      std::vector<std::string> names;
      for (int i = 0; i < 50; ++i) names.push_back(name_of(std::to_string(random() % 1500)));
      std::vector<std::string> expected = names;
      std::sort(expected.begin(), expected.end());
      std::stable_sort(expected.begin(), expected.end(), ksn::natural_less);
      ksn::natural_sort(names);
      EXPECT_EQ(names, expected) << "kind " << &name_of - kinds;
    }
  }
}

}  // namespace
