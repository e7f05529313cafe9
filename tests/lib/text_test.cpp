#include <gtest/gtest.h>

#include <limits>

#include "lib/color.h"
#include "lib/error_record.h"
#include "lib/format.h"
#include "lib/from_string.h"
#include "lib/json.h"
#include "lib/messages.h"
#include "lib/printable.h"
#include "lib/utf.h"
#include "support/temp_folder.h"

namespace {

using namespace std::string_literals;

TEST(format, fields) {
  struct row {
    std::string text, expected;
  };
  const row rows[] = {
      {"", ""},
      {"plain", "plain"},
      {"{1} of {2}", "42 of two"},
      {"{2}{2}", "twotwo"},
      {"{{1}", "{1}"},
      {"{{{1}}", "{42}"},
      {"a}b", "a}b"},
      {"{0}", "[error: argument '0' missing]"},
      {"{5}", "[error: argument '5' missing]"},
      {"{99999999999999999999}", "[error: argument '99999999999999999999' missing]"},
      {"{x} {1}", "[error: argument 'x' missing] 42"},
      {"{1x}", "[error: argument '1x' missing]"},
      {"{-1}", "[error: argument '-1' missing]"},
      {"{}", "[error: argument '' missing]"},
      {"{:d}", "[error: argument '' missing]"},
      {"{01}", "42"},
      {"a{1", "a[error: parse error at '{1']"},
      {"{1} {", "42 [error: parse error at '{']"},
      {"{1:05d}", "00042"},
      {"{1:5}|{1:-5}|{1:+}", "   42|42   |+42"},
      {"{1:x} {1:#x} {1:#X} {1:o} {1:#o}", "2a 0x2a 0X2A 52 052"},
      {"{1:q} {1:6q}", "42     42"},
      {"{1:5:d}", "   42"},
      {"{2:5}|{2:-5}|{2:05}", "  two|two  |00two"},
      {"{3:.2f} {3:8.3f} {3:e} {3:.1E} {3:#.0f} {3}", "1.50    1.500 1.500000e+00 1.5E+00 2. 1.5"},
      {"{4} {4:03d}", "7 007"},
  };
  for (const row& r : rows) {
    EXPECT_EQ(lib::format(r.text, 42, "two"s, 1.5, static_cast<unsigned char>(7)), r.expected) << r.text;
    const std::u16string wide = lib::format(lib::to_utf16(r.text), 42, u"two"s, 1.5, static_cast<unsigned char>(7));
    EXPECT_EQ(lib::to_utf8(wide), r.expected) << r.text;
  }
  EXPECT_EQ(lib::format("{1}"s), "[error: argument '1' missing]");
  EXPECT_EQ(lib::format("{1:10000000000}"s, 1).size(), 1000u) << "a width is bounded";
  EXPECT_EQ(lib::format("{1} {2:x}"s, -7, 4000000000u), "-7 ee6b2800");
}

TEST(printable, one_line_that_does_nothing_to_a_terminal) {
  const struct {
    std::string text, expected;
  } rows[] = {
      {"", ""},
      {"plate v2.tga", "plate v2.tga"},
      {"a\nb\r\tc", "a\\nb\\r\\tc"},
      {"\x1b[2J\x7f"s + '\0', "\\x1B[2J\\x7F\\x00"},
      {"\xC2\x9B"
       "2J \xC2\xA0\xC3\xA9\xC2",
       "\\xC2\\x9B"
       "2J \xC2\xA0\xC3\xA9\xC2"},
  };
  for (const auto& r : rows) EXPECT_EQ(lib::printable(r.text), r.expected);
}

TEST(error_record, keeps_the_latest_lines) {
  lib::error_record record;
  for (int i = 0; i < 250; ++i) record.add(std::to_string(i));
  EXPECT_EQ(record.count(), 250);
  ASSERT_EQ(record.entries().size(), lib::error_record::most);
  EXPECT_EQ(record.entries().front().text, "50");
  EXPECT_EQ(record.entries().back().text, "249");
  EXPECT_LE(record.entries().front().time, record.entries().back().time);
}

template <class T>
void expect_values(std::initializer_list<std::pair<const char*, T>> good, std::initializer_list<const char*> bad) {
  for (const auto& [text, value] : good) EXPECT_EQ(lib::from_string<T>(text), value) << text;
  for (const char* text : bad) EXPECT_THROW(lib::from_string<T>(text), lib::from_string_failed) << text;
}

TEST(from_string, values) {
  expect_values<int>({{"12 ", 12}, {" \t-7\n", -7}, {"+3", 3}, {"007", 7}, {"-2147483648", INT32_MIN}},
                     {"", " ", "12a", "a", "1 2", "1.0", "--1", "+-1", "- 1", "2147483648", "0x10"});
  expect_values<std::uint8_t>({{"0", 0}, {"255", 255}, {"65", 65}}, {"256", "-1", "A"});
  expect_values<std::int8_t>({{"-128", -128}}, {"128"});
  expect_values<std::uint32_t>({{"4294967295", 4294967295u}}, {"4294967296"});
  expect_values<bool>({{"0", false}, {"1", true}}, {"2", "-1", "true", ""});
  expect_values<double>({{"1.5", 1.5}, {"-.25", -.25}, {"1e3 ", 1000}, {"2.", 2}, {"1E-2", .01}, {"1e-5000", 0}},
                        {"", "1e", "1.5.", "1,5", "nan", "inf", "-inf", "1e999", "0x1p3", ".", "e5"});
  expect_values<std::string>({{" a b ", " a b "}, {"", ""}}, {});
  EXPECT_STREQ(lib::from_string_failed().what(), "from_string_failed");
  int kept = 5;
  EXPECT_FALSE(lib::parse_value("9x", kept));
  EXPECT_EQ(kept, 5);
}

TEST(utf, every_unit_and_pair_survives) {
  for (std::uint32_t unit = 0; unit < 0x10000; ++unit) {
    const std::u16string text{static_cast<char16_t>(unit)};
    const std::string bytes = lib::to_utf8(text);
    ASSERT_EQ(bytes.size(), unit < 0x80 ? 1u : unit < 0x800 ? 2u : 3u) << unit;
    ASSERT_EQ(lib::to_utf16(bytes), text) << unit;
  }
  for (std::uint32_t code = 0x10000; code < 0x110000; code += 97) {
    const std::u16string text{static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10)),
                              static_cast<char16_t>(0xDC00 + (code & 0x3FF))};
    const std::string bytes = lib::to_utf8(text);
    ASSERT_EQ(bytes.size(), 4u) << code;
    ASSERT_EQ(lib::to_utf16(bytes), text) << code;
  }
}

TEST(utf, known_and_broken_text) {
  EXPECT_EQ(lib::to_utf8(u"a\u00E4\u20AC\U0001F600"), "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(lib::to_utf8(u"\xDC00\xD800x"), "\xED\xB0\x80\xED\xA0\x80x");
  struct row {
    const char* bytes;
    std::u16string expected;
  };
  const row rows[] = {
      {"a\xC3", u"a"},
      {"a\xE2\x82", u"a"},
      {"a\xF0\x9F\x98", u"a"},
      {"a\x80", u"a"},
      {"\xC3"
       "AB",
       u"\u00C1"
       u"B"},  // a following byte is masked, not checked
      // A stray following byte leads a form of four: code 0x1041 less 0x10000, of which the low 20 bits make the pair.
      {"\x80"
       "AAAB",
       u"\xDBC4\xDC41"
       u"B"},
  };
  for (const row& r : rows) EXPECT_EQ(lib::to_utf16(r.bytes), r.expected) << r.bytes;
}

TEST(catalogue, lines) {
  lib::catalogue texts;
  texts.load_text("# comment\n\nkey=value\r\n key=blank\n=none\nno equals\nempty=\nLong.key=a=b \n1=digit\nkey2=x");
  EXPECT_EQ(texts.text("key"), "value");
  EXPECT_EQ(texts.text("empty"), "");
  EXPECT_EQ(texts.text("Long.key"), "a=b ");
  EXPECT_EQ(texts.text("key2"), "x");
  for (const char* missing : {" key", "no equals", "1", "", "Key"}) {
    EXPECT_EQ(texts.text(missing), missing);
    EXPECT_FALSE(texts.has(missing));
  }
  support::temp_folder folder;
  support::write_file(folder / "messages.txt", "\xEF\xBB\xBFkey=other\nmore=\xC3\xA4");
  EXPECT_TRUE(texts.load_file(folder / "messages.txt"));
  EXPECT_FALSE(texts.load_file(folder / "none"));
  EXPECT_EQ(texts.text("key"), "other");
  EXPECT_EQ(texts.text("more"), "\xC3\xA4");
}

TEST(color, lerp_rounds_each_byte) {
  const lib::color a{0, 10, 20, 255}, b{255, 11, 23, 0};
  EXPECT_EQ(lib::lerp(a, b, 0), a);
  EXPECT_EQ(lib::lerp(a, b, 1), b);
  EXPECT_EQ(lib::lerp(a, b, 0.5), (lib::color{128, 10, 22, 128})) << "127.5 and 21.5 round to even, so does 10.5";
}

TEST(json, strings) {
  const struct {
    std::string text, expected;
  } rows[] = {
      {"a/\u00e9\uffff", "a/\u00e9\uffff"},
      {"\\ \"\n\t\x7f"s, R"(\\ \"\n\u0009\u007f)"},
      {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},  // the first and the last of four bytes
      {"\xF0\x8F\x80\x80", R"(\ufffd\ufffd\ufffd\ufffd)"},
      {"\xF4\x90\x80\x80", R"(\ufffd\ufffd\ufffd\ufffd)"},
      {"\xF5x", R"(\ufffdx)"},
      {"\xED\xA0\x80", R"(\ufffd\ufffd\ufffd)"},  // half of a pair of UTF-16
      {"\xC1\xBFx\xE2\x82", R"(\ufffd\ufffdx\ufffd\ufffd)"},
  };
  for (const auto& row : rows) EXPECT_EQ(lib::json_string(row.text), '"' + row.expected + '"');
}

}  // namespace
