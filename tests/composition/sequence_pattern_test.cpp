#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "composition/sequence.h"

namespace {

using ksn::no_number;

TEST(sequence_pattern, match_number) {
  struct row {
    const char *name, *pattern;
    int number;
  };
  const row rows[] = {
      {"shot.0012.tga", "shot.????.tga", 12},
      {"SHOT.0012.TGA", "shot.????.tga", 12},
      {"shot.0012.tga", "shot.???.tga", no_number},
      {"shot.012.tga", "shot.????.tga", no_number},
      {"shot.0012.tgaa", "shot.????.tga", no_number},
      {"shot.0012.tg", "shot.????.tga", no_number},
      {"x.-05.tga", "x.???.tga", -5},
      {"x.+05.tga", "x.???.tga", 5},
      {"x.0-5.tga", "x.???.tga", no_number},  // a sign only in first place
      {"x.--5.tga", "x.???.tga", no_number},
      {"a1b2", "a?b?", 12},
      {"a1b-", "a?b?", no_number},
      {"f123.tga", "f*.tga", 123},
      {"f-123.tga", "f*.tga", -123},
      {"f.tga", "f*.tga", no_number},
      {"f12345678901.tga", "f*.tga", no_number},  // does not fit
      {"f2147483647.tga", "f*.tga", 2147483647},
      {"f-2147483647.tga", "f*.tga", -2147483647},
      {"plain.tga", "plain.tga", 0},
      {"", "", 0},
      {"", "?", no_number},
  };
  for (const row& r : rows) EXPECT_EQ(ksn::match_number(r.name, r.pattern), r.number) << r.name << " by " << r.pattern;
}

TEST(sequence_pattern, name_for_number) {
  struct row {
    const char* pattern;
    int number;
    const char* name;
  };
  const row rows[] = {
      {"x.????.tga", 7, "x.0007.tga"},
      {"x.???.tga", 1234, "x.1234.tga"},
      {"x.???.tga", -5, "x.-05.tga"},
      {"x.???.tga", -1234, "x.-1234.tga"},
      {"x.?.tga", -5, "x.-5.tga"},
      {"x.*.tga", 305, "x.305.tga"},
      {"a?b?", 12, "a1b2"},
      {"a?b?", 345, "a34b5"},
      {"plain.tga", 3, "plain.tga"},
      {"?", -2147483647 - 1, "-2147483648"},
      {"?", 0, "0"},
  };
  for (const row& r : rows) EXPECT_EQ(ksn::name_for_number(r.pattern, r.number), r.name) << r.pattern;
}

TEST(sequence_pattern, names_and_numbers_agree) {
  for (const char* pattern : {"x.????.tga", "?.exr", "v2_*.dpx"}) {
    for (const int number : {0, 1, 9, 10, -1, -9}) {
      const std::string name = ksn::name_for_number(pattern, number);
      if (name.size() == std::string(pattern).size() || std::string(pattern).find('*') != std::string::npos) {
        EXPECT_EQ(ksn::match_number(name, pattern), number) << name << " by " << pattern;
      }
    }
  }
}

TEST(sequence_pattern, build_pattern) {
  struct row {
    const char *path, *pattern;  // empty for none
  };
  const row rows[] = {
      {"/a/shot.0012.tga", "/a/shot.????.tga"},
      {"/a/shot.####.tga", "/a/shot.????.tga"},
      {"/a/shot.#.tga", "/a/shot.?.tga"},
      {"/a/shot.*.tga", "/a/shot.*.tga"},
      {"/a/s2_v3_0012_x.tga", "/a/s2_v3_????_x.tga"},
      {"/a9/plain.tga", ""},
      {"/a/plain.r3d", ""},
      {"/a/12", "/a/??"},
      {"/a/.12", "/a/.??"},
      {"/a/x\\y1.tga", "/a/x\\y?.tga"},
      {"/a#/b1.tga", "/a#/b?.tga"},
  };
  for (const row& r : rows) {
    std::string pattern;
    EXPECT_EQ(ksn::build_pattern(r.path, pattern), *r.pattern != 0) << r.path;
    EXPECT_EQ(pattern, r.pattern) << r.path;
  }
  EXPECT_EQ(ksn::display_pattern("x.????.tga"), "x.####.tga");
  EXPECT_EQ(ksn::display_pattern("#1.????.tga"), "#1.????.tga");
}

TEST(sequence_pattern, ranges) {
  struct row {
    const char* text;
    std::vector<int> numbers;  // empty for a refusal
  };
  const row rows[] = {
      {"5", {5}},
      {"1-4", {1, 2, 3, 4}},
      {"4-1", {4, 3, 2, 1}},
      {"1-10x4", {1, 5, 9}},
      {"10-1x4", {10, 6, 2}},
      {"-3--1", {-3, -2, -1}},
      {"-1-1,7,7", {-1, 0, 1, 7, 7}},
      {"3-3", {3}},
      {"", {}},
      {"1,", {}},
      {",1", {}},
      {"1-", {}},
      {"1-4x", {}},
      {"1-4x0", {}},
      {"1-4x-1", {}},
      {"1x2", {}},
      {"1 2", {}},
      {"99999999999", {}},
      {"0-2000000", {}},
      {"0-2147483647", {}},
      {"-2147483647-2147483647x2147483647", {-2147483647, 0, 2147483647}},
  };
  for (const row& r : rows) {
    std::vector<int> numbers;
    const bool ok = ksn::expand_range(r.text, numbers);
    EXPECT_EQ(ok ? numbers : std::vector<int>(), r.numbers) << r.text;
  }
}

TEST(natural_order, rows_in_order) {
  const std::vector<std::string> rows[] = {
      {"f9.tga", "f10.tga"},
      {"f9.tga", "f09.tga", "f10.tga", "f010.tga"},
      {"A1", "a2", "A3"},
      {"shot", "shot.1", "shot.1.tga", "shot1"},
      {"a1b2", "a1b10", "a2b1"},
      {"x99999999999999999998", "x99999999999999999999", "x100000000000000000000"},
      {"", "0", "a"},
      {"v1_f2", "v1_f10", "v10_f1"},
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
  const auto name_of = [&](int kind) -> std::string {
    const std::string number = std::to_string(random() % 1500);
    switch (kind) {
      case 0:
        return "shot." + std::string(5 - std::min<std::size_t>(5, number.size()), '0') + number + ".exr";
      case 1:
        return "shot." + number + ".exr";
      case 2:
        return "s" + std::string(random() % 3, '0') + number;
      case 3:
        return (random() % 2 ? "A" : "a") + number + ".tga";
      case 4:
        return "1" + number + "2" + std::string(random() % 18, '1') + ".tga";
      default:
        return std::string(random() % 4, static_cast<char>('a' + random() % 3)) + number + (random() % 2 ? "x" : "-1");
    }
  };
  for (int kind = 0; kind < 6; ++kind) {
    for (int round = 0; round < 20; ++round) {
      std::vector<std::string> names;
      for (int i = 0; i < 50; ++i) names.push_back(name_of(kind));
      std::vector<std::string> expected = names;
      std::sort(expected.begin(), expected.end());
      std::stable_sort(expected.begin(), expected.end(),
                       [](const std::string& a, const std::string& b) { return ksn::natural_less(a, b); });
      ksn::natural_sort(names);
      EXPECT_EQ(names, expected) << "kind " << kind;
    }
  }
}

}  // namespace
