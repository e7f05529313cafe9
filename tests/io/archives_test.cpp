#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <sstream>
#include <stdexcept>

#include "io/document.h"
#include "io/file.h"
#include "io/memory_reader.h"
#include "lib/from_string.h"
#include "support/streams.h"
#include "support/temp_folder.h"

namespace {

enum class mood { calm, wild };

struct leaf {
  int first = 0;
  int second = 7;  // from version 2
  bool operator==(const leaf&) const = default;
};

template <class A>
void serialize(A& ar, leaf& v, int version) {
  ar.field("first", v.first);
  if (version >= 2) ar.field("second", v.second);
}

}  // namespace

template <>
inline constexpr int io::record_version<leaf> = 2;

namespace {

using support::failure;
using namespace std::string_literals;

template <class Body>
std::string binary_of(Body&& body) {
  support::byte_writer target;
  io::binary_oarchive out(target);
  body(out);
  return target.bytes;
}

// Reads with the header of an archive version in front of `bytes`.
template <class Body>
void from_binary(const std::string& bytes, int version, Body&& body) {
  std::string whole = "LSB\x1a"s + static_cast<char>(version) + "\0\0\0"s + bytes;
  io::memory_reader source(whole.data(), whole.size());
  io::binary_iarchive in(source);
  in.read_header();
  body(in);
  EXPECT_EQ(source.left(), 0u) << "not all was read";
}

template <class Body>
void from_xml(const std::string& text, Body&& body) {
  std::istringstream stream(text);
  io::xml_iarchive in(stream, "path");
  in.read_header();
  body(in);
}

// Reads one value of a type.
template <class T, class A>
void take(A& in) {
  T value{};
  in.field("", value);
}

const std::string mark = "[n]\x1a";
std::string int32(std::int32_t value) {
  std::string text(4, '\0');
  std::memcpy(text.data(), &value, 4);  // little-endian, as all that this runs on
  return text;
}

// Each value as it stands in a file, and the same value again from there.
template <class T>
void expect_bytes(const char* what, const T& value, const std::string& bytes, T back = {}) {
  EXPECT_EQ(binary_of([&](auto& ar) { ar.field("", value); }), bytes) << what;
  from_binary(bytes, 4, [&](auto& ar) { ar.field("", back); });
  EXPECT_EQ(back, value) << what;
}

TEST(binary_archive, encodings) {
  using text_map = std::map<std::string, int>;
  EXPECT_EQ(binary_of([](auto& ar) { ar.write_header(); }), "LSB\x1a\4\0\0\0"s);
  expect_bytes("bool", true, "\1"s);
  expect_bytes("8 bits", std::int8_t{-2}, "\xFE"s);
  expect_bytes("16 bits", std::uint16_t{0x1234}, "\x34\x12"s);
  expect_bytes("negative", -2, "\xFE\xFF\xFF\xFF"s);
  expect_bytes("enumeration", mood::wild, int32(1));
  expect_bytes("double", 1.0, "\0\0\0\0\0\0\xF0\x3F"s);
  expect_bytes("empty string", ""s, mark + int32(0), "old"s);
  expect_bytes("string", "a\0b"s, mark + int32(3) + "a\0b"s);
  expect_bytes("units", u"A\xD800"s, mark + int32(2) + "A\0\0\0\0\xD8\0\0"s);
  expect_bytes("block", std::vector<std::uint16_t>{1, 0x203}, mark + int32(2) + "\1\0\3\2"s, {9, 9, 9});
  expect_bytes("list", std::vector{""s}, mark + int32(1) + mark + int32(0), {"old", "old"});
  expect_bytes("array", std::array<int, 2>{5, -1}, mark + int32(2) + int32(5) + int32(-1));
  expect_bytes("set", std::set<int>{3, 1}, mark + int32(2) + int32(1) + int32(3), {9});
  expect_bytes("map", text_map{{"k", 3}}, mark + int32(1) + mark + int32(1) + "k" + int32(3), {{"old", 1}});
  expect_bytes("pair", std::pair{4, 5}, int32(4) + int32(5));
  expect_bytes("point", math::point{1, 2}, int32(1) + int32(2));
  const lib::color color = {4, 1, 2, 3};
  expect_bytes("two colours, one version", std::vector{color, color}, mark + int32(2) + int32(0) + "\4\1\2\3\4\1\2\3");
  const std::array<std::uint8_t, 3> raw = {9, 8, 7};
  EXPECT_EQ(binary_of([&](auto& ar) { ar.raw("", raw); }), "\x9\x8\x7"s);
}

TEST(binary_archive, any_non_zero_byte_is_true_and_only_low_bits_of_a_unit_count) {
  bool flag = false;
  std::u16string units;
  from_binary("\2" + mark + int32(1) + "\x41\0\x7F\x7F"s, 4, [&](auto& ar) {
    ar.field("", flag);
    ar.field("", units);
  });
  EXPECT_TRUE(flag);
  EXPECT_EQ(units, u"A");
  from_binary(mark + int32(2) + "A\0\0\xD8"s, 0, [&](auto& ar) { ar.field("", units); });
  EXPECT_EQ(units, u"A\xD800") << "two bytes a unit in version 0";
}

TEST(binary_archive, type_versions) {
  leaf a, b;
  from_binary(int32(1) + int32(10) + int32(20), 4, [&](auto& ar) {
    ar.field("", a);
    ar.field("", b);
  });
  EXPECT_EQ(a, (leaf{10, 7}));
  EXPECT_EQ(b, (leaf{20, 7})) << "a version is told once";
  from_binary("", 2, [](auto& ar) { EXPECT_EQ(ar.read_version("tag"), -2); });
  support::byte_writer target;
  io::binary_oarchive out(target);
  const char tag = 0, other = 0;
  out.write_version(&tag, 3);
  out.write_version(&tag, 3);
  out.write_version(&other, -1);
  EXPECT_EQ(target.bytes, int32(3) + int32(-1));
  EXPECT_EQ(failure([&] { out.write_version(&tag, 4); }), "io::version_conflict");
}

TEST(binary_archive, failures) {
  const std::string stream = "(memory_reader)";
  const std::string eof = "io::eof_error|" + stream + "|Unexpected end of file";
  const std::string bad = "io::invalid_signature|" + stream + "|Invalid signature";
  struct row {
    const char* what;
    std::string bytes, expected;
    void (*read)(io::binary_iarchive&);
  };
  const auto header = [](io::binary_iarchive& in) { in.read_header(); };
  using triple = std::array<int, 3>;
  const row rows[] = {
      {"empty", "", eof, header},
      {"signature", "LSB\x1b\4\0\0\0"s, bad, header},
      {"short signature", "LSB", eof, header},
      {"short version", "LSB\x1a\4\0\0"s, eof, header},
      {"version 5", "LSB\x1a\5\0\0\0"s, "io::invalid_version|" + stream + "|Invalid version", header},
      {"version -1", "LSB\x1a" + int32(-1), "io::invalid_version|" + stream + "|Invalid version", header},
      {"mark", "[m]\x1a" + int32(0), bad, take<std::string>},
      {"short mark", "[n]", eof, take<std::string>},
      {"short count", mark + "\1\0\0"s, eof, take<std::string>},
      {"negative count", mark + int32(-1), "io::invalid_count|" + stream + "|Negative sequence size",
       take<std::string>},
      {"two billion bytes", mark + int32(2000000000) + "abc", eof, take<std::string>},
      {"two billion words", mark + int32(2000000000) + "abc", eof, take<std::vector<std::uint16_t>>},
      {"two billion names", mark + int32(2000000000) + mark + int32(0), eof, take<std::vector<std::string>>},
      {"array of two", mark + int32(2) + int32(0) + int32(0), "io::invalid_array_size|(reader)|Invalid array size",
       take<triple>},
      {"array of four", mark + int32(4), "io::invalid_array_size|(reader)|Invalid array size", take<triple>},
  };
  for (const row& r : rows) {
    io::memory_reader source(r.bytes.data(), r.bytes.size());
    io::binary_iarchive in(source);
    EXPECT_EQ(failure([&] { r.read(in); }), r.expected) << r.what;
  }
  // A picture may have planes of four billion bytes, a sequence not.
  EXPECT_EQ(failure([] { binary_of([](auto& ar) { ar.write_values(nullptr, std::size_t{1} << 31, 1); }); }),
            "io::invalid_format|bytes|More than a document can hold");
}

template <class T>
void expect_text(const T& value, const std::string& text, T back = {}) {
  std::ostringstream stream;
  io::xml_oarchive out(stream);
  out.open_record("r");
  out.field("a", value);
  out.field("", value);
  EXPECT_EQ(stream.str(), "<r name=\"r\">\n  <f name=\"a\">" + text + "</f>\n  <f>" + text + "</f>\n");
  from_xml("<?xml?><stream version=\"4\"><f>" + text + "</f>", [&](auto& ar) { ar.field("", back); });
  EXPECT_EQ(back, value) << text;
}

// Records, lists and maps: tests of the documents hold them against a writer of their own.
TEST(xml_archive, values_as_text) {
  expect_text(-3, "-3");
  expect_text(true, "1");
  expect_text(std::int8_t{-65}, "-65");
  expect_text(std::uint8_t{65}, "65");
  expect_text(mood::wild, "1");
  expect_text(0.25, "0.25");
  expect_text(0.333333, "0.333333");
  expect_text(1e20, "1e+20");
  expect_text(u"\u20AC"s, "\xE2\x82\xAC", u"old"s);
  expect_text(" a<b>&\"'\t\n\0\xC3\xA4\x7F"s, "&#32;a&lt;b&gt;&amp;&quot;&apos;&#9;&#10;&#0;\xC3\xA4\x7F", "old"s);
  std::ostringstream stream;
  io::xml_oarchive(stream).field("a", 1.0 / 3);
  EXPECT_EQ(stream.str(), "<f name=\"a\">0.333333</f>\n") << "six digits";
}

TEST(xml_archive, unescaping) {
  struct row {
    std::string text, expected;
  };
  const row rows[] = {
      {"plain", "plain"},      {"&amp;&lt;&gt;&quot;&apos;", "&<>\"'"},
      {"&#32;x&#10;", " x\n"}, {"&#65", "&#65"},
      {"a;&#65", "a;&#65"},    {"&#65 x; y", "A y"},
      {"&#;", "\0"s},          {"&#300;", std::string(1, static_cast<char>(300 - 256))},
      {"&&amp;&", "&&&"},      {"&nbsp;&ampx", "&nbsp;&ampx"},
      {"&amp;lt;", "&lt;"},
  };
  for (const row& r : rows) EXPECT_EQ(io::unescaped(r.text), r.expected) << r.text;
  std::string every;
  for (int byte = 0; byte < 256; ++byte) every += static_cast<char>(byte);
  std::string text;
  io::append_escaped(text, every);
  EXPECT_EQ(io::unescaped(text), every);
  EXPECT_EQ(text.find_first_of(" <>\"'\n"), text.npos);
  // Marks without end take linear time.
  std::string marks;
  for (int i = 0; i < 300000; ++i) marks += "&#";
  EXPECT_EQ(io::unescaped(marks), marks);
}

TEST(xml_archive, reading) {
  const std::string head = "<?xml whatever?>\r\n <stream x='1' version=\"4\">";
  int a = 0, b = 0;
  from_xml("\xEF\xBB\xBF" + head + "<f name=\"b\"> 1 </f>\t<field>2</f x></stream>", [&](auto& ar) {
    ar.field("a", a);
    ar.field("b", b);
    ar.read_footer();
  });
  EXPECT_EQ(a, 1) << "names are not looked at";
  EXPECT_EQ(b, 2) << "a tag need only begin with its word";

  // A versioned record has no version in streams below version 4.
  from_xml("<?xml?><stream version=\"1\"><r v=\"8\">", [&](auto& ar) { EXPECT_EQ(ar.open_record(), -3); });
}

TEST(xml_archive, failures) {
  const std::string head = "<?xml?><stream version=\"4\">";
  const auto format = [](const std::string& text) { return "io::invalid_format|path|" + text; };
  struct row {
    std::string text, expected;
    void (*read)(io::xml_iarchive&) = [](io::xml_iarchive&) {};
  };
  using list = std::vector<int>;
  const row rows[] = {
      {"", "ios_base::failure"},
      {"\xEF\xBBx", format("'<' expected.")},
      {"x", format("'<' expected.")},
      {"<html>", format("'<?xml>' expected.")},
      {"<?xm>", format("'<?xml>' expected.")},
      {"<?xml?><stream>", format("'<stream version=\"(value)\">' expected.")},
      {"<?xml?><stream version=\"4>", format("'<stream version=\"(value)\">' expected.")},
      {"<?xml?><stream version=\"x\">", "from_string_failed"},
      {"<?xml?><stream version=\"5\">", "io::invalid_version|path|Invalid version"},
      {head, "ios_base::failure", take<int>},
      {head + "<f>1", "ios_base::failure", take<int>},
      {head + "1</f>", format("'<' expected."), take<int>},
      {head + "<r>1</r>", format("'<f>' expected."), take<int>},
      {head + "<f>1<g></f>", format("'</f>' expected."), take<int>},
      {head + "<f>1x</f>", "from_string_failed", take<int>},
      {head + "<f></f>", "from_string_failed", take<int>},
      {head + "<f>256</f>", "from_string_failed", take<std::uint8_t>},
      {head + "<q>", format("'<q size=\"(value)\">' expected."), take<list>},
      {head + "<q size=\"-1\">", "io::invalid_count|path|Negative sequence size", take<list>},
      {head + "<q size=\"2000000000\"><f>1</f></q>", format("'<f>' expected."), take<list>},
      {head + "<q size=\"1\"><f>1</f><f>2</f></q>", format("'</q>' expected."), take<list>},
      {head + "<q size=\"2\">", "io::invalid_array_size|(reader)|Invalid array size", take<std::array<int, 3>>},
      {head + "<q size=\"0\"></q>", format("'<m>' expected."), take<std::map<std::string, int>>},
      {head + "<r><f>1</f></r>", format("'<r v=\"(value)\">' expected."), take<leaf>},
  };
  for (const row& r : rows) EXPECT_EQ(failure([&] { from_xml(r.text, r.read); }), r.expected) << r.text;
}

TEST(document, both_forms_by_name) {
  support::temp_folder folder;
  const std::vector<std::string> v = {"a <b>", "", "\xC3\xA4"};
  std::vector<std::string> back;
  const struct {
    const char* name;
    bool xml;
  } rows[] = {{"a.ksncomp", false}, {"b.XML", true}, {"c.xMl", true}, {"xml", false}, {"d.xml.bak", false}};
  for (const auto& [name, xml] : rows) {
    const std::string path = folder / name;
    io::save_document(path, "all", v);
    EXPECT_FALSE(std::filesystem::exists(path + ".part"));
    io::load_document(path, "all", back);
    EXPECT_EQ(back, v) << name;
    const std::string content = support::read_file(path);
    EXPECT_TRUE(content.starts_with(xml ? "<?xml " : "\x78")) << name;  // zlib's header
    // Cut anywhere, the error names the file.
    for (const std::size_t cut : {std::size_t{0}, std::size_t{1}, content.size() / 2, content.size() - 8}) {
      support::write_file(path, content.substr(0, cut));
      const std::string text = failure([&] { io::load_document(path, "all", back); });
      EXPECT_NE(text.find("|" + path + "|"), text.npos) << name << " " << cut << " " << text;
    }
  }
  support::write_file(folder / "b.xml", "<?xml?><stream version=\"x\">");
  EXPECT_EQ(failure([&] { io::load_document(folder / "b.xml", "all", back); }),
            "io::invalid_format|" + (folder / "b.xml") + "|from_string_failed");
  for (const char* name : {"none.xml", "none", "folder.xml"}) {
    const std::string path = folder / name;
    if (path.ends_with("folder.xml")) std::filesystem::create_directory(path);
    EXPECT_TRUE(failure([&] { io::load_document(path, "all", back); }).starts_with("io::open_error|" + path)) << name;
  }
}

// Every list on its own may be small enough.
TEST(binary_archive, elements_are_limited_in_sum) {
  const std::vector<std::string> six(6);
  const std::string bytes = binary_of([&](auto& out) {
    out.field("a", six);
    out.field("b", six);
  });
  for (const int limit : {11, 12}) {
    std::vector<std::string> first, second;
    const auto read = [&] {
      from_binary(bytes, io::archive_version, [&](io::binary_iarchive& in) {
        in.limit_elements(limit);
        in.field("a", first);
        in.field("b", second);
      });
    };
    if (limit == 12) {
      read();
      EXPECT_EQ(second, six);
    } else {
      EXPECT_EQ(failure(read), "io::invalid_format|(memory_reader)|More elements than a file of its size can hold");
      EXPECT_EQ(first, six);
    }
  }
}

TEST(document, old_file_stays_whole) {
  support::temp_folder folder;
  const std::string path = folder / "a.xml";
  io::save_document(path, "n", 1);
  const std::string before = support::read_file(path);
  {
    // While another writer holds the temporary file.
    io::llfile other(path + ".part", true);
    EXPECT_EQ(failure([&] { io::save_document(path, "n", 2); }),
              "io::open_error|" + path + "|" + std::strerror(EWOULDBLOCK));
  }
  EXPECT_EQ(support::read_file(path), before);
  EXPECT_EQ(failure([&] {
              const auto fails = [](auto&) { throw io::logic_error("in the middle"); };
              io::write_document(path, fails, fails);
            }),
            "io::logic_error|in the middle|Unsupported functionality");
  EXPECT_EQ(support::read_file(path), before);
  EXPECT_FALSE(std::filesystem::exists(path + ".part"));
  // Where there is no temporary file, nothing is removed.
  std::filesystem::create_symlink("/dev/full", folder / "full");
  EXPECT_EQ(failure([&] { io::save_document(folder / "full", "n", 1); }),
            "io::write_error|" + (folder / "full") + "|" + std::strerror(ENOSPC));
  EXPECT_TRUE(std::filesystem::exists("/dev/full"));
  io::save_document(path, "n", 3);
  int back = 0;
  io::load_document(path, "n", back);
  EXPECT_EQ(back, 3);
}

}  // namespace
