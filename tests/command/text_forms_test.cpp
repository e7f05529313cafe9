// The small grammars of the command language: tokens, value lists, layer sets.
#include <gtest/gtest.h>

#include "command/engine.h"
#include "command/layer_set.h"
#include "command/value_list.h"

namespace {

using strings = std::vector<std::string>;

TEST(tokenise, quotes_and_backslashes) {
  struct row {
    const char* text;
    strings expected;
  };
  const row rows[] = {
      {"", {}},
      {" \t\r\n\v\f ", {}},
      {"a b\tc\r\nd", {"a", "b", "c", "d"}},
      {"  a  ", {"a"}},
      {"\"a b\" c", {"a b", "c"}},
      {"a\" b \"c", {"a b c"}},
      {"--name=\"x y\"", {"--name=x y"}},
      {"\"\" x", {"", "x"}},
      {"x \"\"", {"x"}},    // an empty pair at the very end is no token
      {"x \"", {"x", ""}},  // an open quote is
      {"x \"a b", {"x", "a b"}},
      {R"(\\server\share)", {R"(\\server\share)"}},
      {R"(a\"b)", {"a\"b"}},
      {R"("a\\" b)", {R"(a\)", "b"}},
      {R"("a\\\" b")", {R"(a\" b)"}},
      {R"("a\\\\" b)", {R"(a\\)", "b"}},
      {R"(\)", {R"(\)"}},
      {R"("a \)", {R"(a \)"}},
      {R"(\"a b\")", {"\"a", "b\""}},
      {"gr\xC3\xBC\xC3\x9F \xE6\x97\xA5", {"gr\xC3\xBC\xC3\x9F", "\xE6\x97\xA5"}},
  };
  for (const row& r : rows) EXPECT_EQ(command::tokenise(r.text), r.expected) << r.text;
}

strings values_of(std::string_view text) {
  strings values;
  std::string_view element;
  for (bool more = !text.empty(); command::take_value(text, more, element);) values.emplace_back(element);
  return values;
}

TEST(value_list, braces_and_commas) {
  struct row {
    const char* text;
    strings expected;
    bool written_back;  // whether the elements give this text
  };
  const row rows[] = {
      {"", {}, true},
      {"a", {"a"}, true},
      {"a,b", {"a", "b"}, true},
      {",", {"", ""}, true},
      {"a,", {"a", ""}, true},
      {"{a,b},{c}", {"a,b", "c"}, false},
      {"{a,b},c", {"a,b", "c"}, true},
      {"{1,2},{3,4}", {"1,2", "3,4"}, true},
      {"{a,{b},c}", {"a,{b},c"}, true},
      {"{a,{b,c},d},e", {"a,{b,c},d", "e"}, true},
      {"{{a},b}", {"{a", "b}"}, false},
      {"{a}b,c}", {"a}b,c"}, true},
      {"{a,b", {"{a,b"}, false},
      {"x,{a,b", {"x", "{a,b"}, false},
      {"{}", {""}, false},
      {"a{b,c", {"a{b", "c"}, true},
  };
  for (const row& r : rows) {
    EXPECT_EQ(values_of(r.text), r.expected) << r.text;
    EXPECT_EQ(command::count_values(r.text), r.expected.size()) << r.text;
    std::string text;
    for (std::size_t i = 0; i < r.expected.size(); ++i) command::append_value(text, i == 0, r.expected[i]);
    if (r.written_back) {
      EXPECT_EQ(text, r.text);
    }
  }
}

// Five layers, from the top: a b c b 'e,1', of which the first three are in groups; 2 and 4 are selected.
ksn::state five_layers() {
  ksn::state composition;
  int id = 101;
  for (const char* name : {"a", "b", "c", "b", "e,1"}) {
    ksn::track_info layer;
    layer.name = name;
    layer.id = id++;
    composition.doc.tracks.push_back(layer);
  }
  composition.doc.tracks[0].group_id = 7;
  composition.doc.tracks[2].group_id = 7;
  composition.doc.tracks[1].group_id = 8;
  composition.doc.selection = {1, 3};
  return composition;
}

TEST(layer_set, forms) {
  const ksn::state composition = five_layers();
  struct row {
    const char* text;
    std::vector<int> members;  // indices
    bool single;
  };
  const row rows[] = {
      {"1", {0}, true},
      {"05", {4}, true},
      {"9", {8}, true},  // beyond the stack: the caller reports it
      {"-1", {4}, true},
      {"-5", {0}, true},
      {"-7", {-2}, true},
      {"'b'", {1}, true},
      {"'e,1'", {4}, true},
      {"'b'+1", {2}, true},
      {"'c'-2", {0}, true},
      {"2..4", {1, 2, 3}, false},
      {"4..2", {3, 2, 1}, false},
      {"3..99", {2, 3, 4}, false},
      {"-2..-99", {3, 2, 1, 0}, false},
      {"'a'..'c'+1", {0, 1, 2, 3}, false},
      {"99..99", {4}, false},
      {"selection", {1, 3}, false},
      {"-selection", {3, 1}, false},
      {"id(103)", {2}, true},
      {"id(7)", {}, true},
      {"group(7)", {0, 2}, false},
      {"-group(7)", {2, 0}, false},
      {"group(9)", {}, false},
      {"1,3,1", {0, 2, 0}, false},
      {"2,-group(7),selection", {1, 2, 0, 1, 3}, false},
      {"!1", {1, 2, 3, 4}, false},
      {"!selection", {0, 2, 4}, false},
      {"!1..5", {}, false},
      {"1..4!2,3", {0, 3}, false},
      {"3,1,3!1", {2, 2}, false},
      {"1!2", {0}, false},
      {"1!9", {0}, false},
  };
  for (const row& r : rows) {
    command::layer_set set;
    ASSERT_TRUE(command::parse_layer_set(composition, r.text, set)) << r.text;
    EXPECT_EQ(set.members, r.members) << r.text;
    EXPECT_EQ(set.single, r.single) << r.text;
  }
}

TEST(layer_set, other_texts_are_none) {
  const ksn::state composition = five_layers();
  for (const char* text :
       {"",      "0",     "-0",  "-",          "+1",        "x",      "'b",           "'none'",     "'none'+", "'b'+",
        "'b'*2", "1..",   "..2", "1...2",      "1..x",      "0..2",   "1,",           ",1",         "1,,2",    "!",
        "1!",    "1!2!3", "!!1", "!0",         "id()",      "id(-1)", "id(1",         "group(",     "-id(1)",  "-'b'",
        "--1",   " 1",    "1 ",  "selection1", "Selection", "1.2",    "selection..2", "id(101)..2", "1x",      "0x1"}) {
    command::layer_set set;
    EXPECT_FALSE(command::parse_layer_set(composition, text, set)) << text;
  }
}

TEST(layer_set, stays_small_whatever_is_asked) {
  const ksn::state composition = five_layers();
  command::layer_set set;
  std::string text = "1..99999999999999999999";
  for (int i = 0; i < 18; ++i) text += "," + text;  // a quarter of a million items of five layers
  EXPECT_FALSE(command::parse_layer_set(composition, text, set));
  ASSERT_TRUE(command::parse_layer_set(composition, "99999999999999999999", set));
  EXPECT_GT(set.members.at(0), 5);
  ASSERT_TRUE(command::parse_layer_set(composition, "'b'-99999999999999999999", set));
  EXPECT_LT(set.members.at(0), 0);
}

TEST(layer_set, of_an_empty_stack) {
  const ksn::state composition;
  for (const char* text : {"1..3", "!1", "selection", "group(0)", "-1..1"}) {
    command::layer_set set;
    ASSERT_TRUE(command::parse_layer_set(composition, text, set)) << text;
    EXPECT_TRUE(set.members.empty()) << text;
  }
}

}  // namespace
