#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <random>
#include <sstream>
#include <stdexcept>

#include "io/document.h"
#include "io/exceptions.h"
#include "io/file.h"
#include "io/memory_reader.h"
#include "lib/from_string.h"
#include "support/archive_sample.h"
#include "support/temp_folder.h"

namespace {

using support::everything;
using support::old_leaf;
using namespace std::string_literals;

struct string_writer : io::binary_writer {
  void write(const void* buffer, int count) override {
    bytes.append(static_cast<const char*>(buffer), static_cast<std::size_t>(count));
  }
  void flush() override {}
  const char* name() const override { return "string"; }
  std::string bytes;
};

template <class Body>
std::string binary_of(Body&& body, bool header = false) {
  string_writer target;
  io::binary_oarchive out(target);
  if (header) out.write_header();
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
std::string xml_of(Body&& body) {
  std::ostringstream text;
  io::xml_oarchive out(text);
  body(out);
  return text.str();
}

template <class Body>
void from_xml(const std::string& text, Body&& body) {
  std::istringstream stream(text);
  io::xml_iarchive in(stream, "path");
  body(in);
}

// Class, source and message of a failure of the io family, or what() of any other.
template <class Action>
std::string failure(Action&& action) {
  try {
    action();
  } catch (const io::exception& e) {
    return std::string(e.what()) + "|" + e.source() + "|" + e.message();
  } catch (const std::ios_base::failure&) {
    return "ios_base::failure";
  } catch (const std::exception& e) {
    return e.what();
  }
  return "none";
}

const std::string mark = "[n]\x1a";
std::string int32(std::int32_t value) {
  std::string text(4, '\0');
  std::memcpy(text.data(), &value, 4);  // little-endian, as all that this runs on
  return text;
}

TEST(binary_archive, encodings) {
  EXPECT_EQ(binary_of([](auto&) {}, true), "LSB\x1a\4\0\0\0"s);
  struct row {
    const char* what;
    std::string found, expected;
  };
  bool yes = true;
  std::uint16_t half = 0x1234;
  double one = 1;
  support::mood wild = support::mood::wild;
  std::u16string units = u"A\xD800";
  std::vector<std::uint16_t> halves = {1, 0x203};
  std::array<int, 2> two = {5, -1};
  std::array<std::uint8_t, 3> raw = {9, 8, 7};
  std::map<std::string, int> map = {{"k", 3}};
  math::point point = {1, 2};
  lib::color color = {4, 1, 2, 3};
  const row rows[] = {
      {"bool", binary_of([&](auto& ar) { ar.field("", yes); }), "\1"s},
      {"16 bits", binary_of([&](auto& ar) { ar.field("", half); }), "\x34\x12"s},
      {"negative", binary_of([&](auto& ar) { ar.write(-2); }), "\xFE\xFF\xFF\xFF"s},
      {"enumeration", binary_of([&](auto& ar) { ar.field("", wild); }), int32(1)},
      {"double", binary_of([&](auto& ar) { ar.field("", one); }), "\0\0\0\0\0\0\xF0\x3F"s},
      {"empty string", binary_of([&](auto& ar) { ar.write(""s); }), mark + int32(0)},
      {"string", binary_of([&](auto& ar) { ar.write("a\0b"s); }), mark + int32(3) + "a\0b"s},
      {"units", binary_of([&](auto& ar) { ar.field("", units); }), mark + int32(2) + "A\0\0\0\0\xD8\0\0"s},
      {"block", binary_of([&](auto& ar) { ar.field("", halves); }), mark + int32(2) + "\1\0\3\2"s},
      {"array", binary_of([&](auto& ar) { ar.field("", two); }), mark + int32(2) + int32(5) + int32(-1)},
      {"raw", binary_of([&](auto& ar) { ar.raw("", raw); }), "\x9\x8\x7"s},
      {"map", binary_of([&](auto& ar) { ar.field("", map); }), mark + int32(1) + mark + int32(1) + "k" + int32(3)},
      {"point", binary_of([&](auto& ar) { ar.field("", point); }), int32(1) + int32(2)},
      {"two colours, one version", binary_of([&](auto& ar) {
         ar.field("", color);
         ar.field("", color);
       }),
       int32(0) + "\4\1\2\3\4\1\2\3"s},
  };
  for (const row& r : rows) EXPECT_EQ(r.found, r.expected) << r.what;
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
  // Each archive tells a version once; those below version 4 tell none.
  old_leaf a, b;
  from_binary(int32(1) + int32(10) + int32(20), 4, [&](auto& ar) {
    ar.field("", a);
    ar.field("", b);
  });
  EXPECT_EQ(a, (old_leaf{10, 7}));
  EXPECT_EQ(b, (old_leaf{20, 7}));
  for (int version : {0, 1, 2, 3}) {
    from_binary(int32(10), version, [&](auto& ar) {
      EXPECT_EQ(ar.read_version("tag"), version - 4);
      EXPECT_EQ(ar.read_version("tag"), version - 4);
      ar.field("", a);
    });
    EXPECT_EQ(a.first, 10);
  }
  string_writer target;
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
  const auto text = [](io::binary_iarchive& in) {
    std::string value;
    in.read(value);
  };
  const auto block = [](io::binary_iarchive& in) {
    std::vector<std::uint16_t> value;
    in.block(value);
  };
  const auto triple = [](io::binary_iarchive& in) {
    std::array<int, 3> value;
    in.field("", value);
  };
  const auto names = [](io::binary_iarchive& in) {
    std::vector<std::string> value;
    in.field("", value);
  };
  const row rows[] = {
      {"empty", "", eof, header},
      {"signature", "LSB\x1b\4\0\0\0"s, bad, header},
      {"short signature", "LSB", eof, header},
      {"short version", "LSB\x1a\4\0\0"s, eof, header},
      {"version 5", "LSB\x1a\5\0\0\0"s, "io::invalid_version|" + stream + "|Invalid version", header},
      {"version -1", "LSB\x1a" + int32(-1), "io::invalid_version|" + stream + "|Invalid version", header},
      {"mark", "[m]\x1a" + int32(0), bad, text},
      {"negative count", mark + int32(-1), "io::invalid_count|" + stream + "|Negative sequence size", text},
      {"two billion bytes", mark + int32(2000000000) + "abc", eof, text},
      {"two billion words", mark + int32(2000000000) + "abc", eof, block},
      {"two billion names", mark + int32(2000000000) + mark + int32(0) + mark + int32(0), eof, names},
      {"array of two", mark + int32(2) + int32(0) + int32(0), "io::invalid_array_size|(reader)|Invalid array size",
       triple},
      {"array of four", mark + int32(4), "io::invalid_array_size|(reader)|Invalid array size", triple},
  };
  for (const row& r : rows) {
    io::memory_reader source(r.bytes.data(), r.bytes.size());
    io::binary_iarchive in(source);
    EXPECT_EQ(failure([&] { r.read(in); }), r.expected) << r.what;
  }
}

TEST(archives, everything_comes_back) {
  const everything v = support::sample();
  const std::string bytes = binary_of([&](auto& ar) { ar.field("all", v); });
  everything back;
  from_binary(bytes, 4, [&](auto& ar) { ar.field("all", back); });
  EXPECT_EQ(back, v);

  const std::string text = xml_of([&](auto& ar) {
    ar.write_header();
    ar.field("all", v);
    ar.write_footer();
  });
  everything from_text;
  from_xml(text, [&](auto& ar) {
    ar.read_header();
    ar.field("all", from_text);
    ar.read_footer();
  });
  EXPECT_EQ(from_text, v);

  // Read into a value that is full already: nothing of the old stays.
  everything again = support::sample();
  again.words["old"] = "x";
  again.numbers.resize(9);
  from_binary(bytes, 4, [&](auto& ar) { ar.field("all", again); });
  EXPECT_EQ(again, v);
}

TEST(archives, a_value_out_of_range_is_mended_when_read) {
  for (int stored : {-1, 2, INT32_MAX}) {
    support::mood state = support::mood::calm;
    from_binary(int32(stored), 4, [&](auto& ar) { ar.ranged("", state, 0, 1, 1); });
    EXPECT_EQ(state, support::mood::wild) << stored;
  }
  int device = 0;
  from_binary(int32(7), 4, [&](auto& ar) { ar.ranged("", device, 1, 7, 1); });
  EXPECT_EQ(device, 7);
}

// A file cut short or changed anywhere ends with an error or with other values, never with anything worse.
TEST(archives, damaged_anywhere) {
  const everything v = support::sample();
  const std::string bytes = binary_of([&](auto& ar) { ar.field("all", v); }, true);
  const std::string text = xml_of([&](auto& ar) {
    ar.write_header();
    ar.field("all", v);
    ar.write_footer();
  });
  const auto read_bytes = [](const std::string& data) {
    io::memory_reader source(data.data(), data.size());
    io::binary_iarchive in(source);
    everything back;
    in.read_header();
    in.field("all", back);
  };
  const auto read_text = [](const std::string& data) {
    from_xml(data, [&](auto& in) {
      everything back;
      in.read_header();
      in.field("all", back);
      in.read_footer();
    });
  };
  for (std::size_t cut = 0; cut < bytes.size(); ++cut)
    ASSERT_EQ(failure([&] { read_bytes(bytes.substr(0, cut)); }),
              "io::eof_error|(memory_reader)|Unexpected end of file")
        << cut;
  for (std::size_t cut = 0; cut + 1 < text.size(); ++cut)
    ASSERT_NE(failure([&] { read_text(text.substr(0, cut)); }), "none") << cut;
  std::mt19937 random(5);
  for (int i = 0; i < 4000; ++i) {
    std::string changed = bytes;
    changed[random() % changed.size()] ^= static_cast<char>(1 << random() % 8);
    failure([&] { read_bytes(changed); });
    changed = text;
    changed[random() % changed.size()] ^= static_cast<char>(1 << random() % 8);
    failure([&] { read_text(changed); });
  }
}

TEST(xml_archive, written_form) {
  const std::string expected =
      "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\n\n<stream version=\"4\">\n\n"
      "<r name=\"root\">\n"
      "  <f name=\"number\">-3</f>\n"
      "  <f>1</f>\n"
      "  <f name=\"byte\">65</f>\n"
      "  <f name=\"real\">0.333333</f>\n"
      "  <f name=\"big\">1e+20</f>\n"
      "  <f name=\"text\">&#32;a&lt;b&gt;&amp;&quot;&apos;&#9;&#10;&#0;\xC3\xA4\x7F</f>\n"
      "  <f name=\"utf8\">\xE2\x82\xAC</f>\n"
      "  <q size=\"2\" name=\"names\">\n"
      "    <f name=\"[0]\">x</f>\n"
      "    <f name=\"[1]\"></f>\n"
      "  </q>\n"
      "  <r name=\"point\">\n"
      "    <f name=\"x\">1</f>\n"
      "    <f name=\"y\">2</f>\n"
      "  </r>\n"
      "  <r v=\"0\" name=\"color\">\n"
      "    <f name=\"a\">4</f>\n"
      "    <f name=\"r\">1</f>\n"
      "    <f name=\"g\">2</f>\n"
      "    <f name=\"b\">3</f>\n"
      "  </r>\n"
      "  <m size=\"1\" name=\"map\">\n"
      "    <r name=\"[0]\">\n"
      "      <r name=\"key\">\n"
      "        <f name=\"first\">720</f>\n"
      "        <f name=\"second\">576</f>\n"
      "      </r>\n"
      "      <f name=\"value\">1.25</f>\n"
      "    </r>\n"
      "  </m>\n"
      "  <r v=\"2\">\n"
      "    <f name=\"first\">1</f>\n"
      "    <f name=\"second\">7</f>\n"
      "  </r>\n"
      "</r>\n"
      "\n</stream>\n";
  std::string utf8 = "\xE2\x82\xAC";
  std::vector<std::string> names = {"x", ""};
  math::point point{1, 2};
  lib::color color{4, 1, 2, 3};
  std::map<std::pair<int, int>, double> map = {{{720, 576}, 1.25}};
  old_leaf leaf{1, 7};
  EXPECT_EQ(xml_of([&](auto& ar) {
              ar.write_header();
              ar.open_record("root");
              ar.write(-3, "number");
              ar.write(true, "");
              ar.write(std::uint8_t{65}, "byte");
              ar.write(1.0 / 3, "real");
              ar.write(1e20, "big");
              ar.write(" a<b>&\"'\t\n\0\xC3\xA4\x7F"s, "text");
              ar.field("utf8", io::wide(utf8));
              ar.field("names", names);
              ar.field("point", point);
              ar.field("color", color);
              ar.field("map", map);
              ar.field("", leaf);
              ar.close_record();
              ar.write_footer();
            }),
            expected);
}

TEST(xml_archive, unescaping) {
  struct row {
    std::string text, expected;
  };
  const row rows[] = {
      {"", ""},
      {"plain", "plain"},
      {"&amp;&lt;&gt;&quot;&apos;", "&<>\"'"},
      {"&#32;x&#10;", " x\n"},
      {"&#65", "&#65"},
      {"a;&#65", "a;&#65"},
      {"&#65 x; y", "A y"},
      {"&#;", "\0"s},
      {"&#300;", std::string(1, static_cast<char>(300 - 256))},
      {"&", "&"},
      {"&&amp;", "&&"},
      {"&nbsp;&ampx", "&nbsp;&ampx"},
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
  const auto two = [&](auto& ar) {
    ar.read_header();
    ar.field("a", a);
    ar.field("b", b);
    ar.read_footer();
  };
  from_xml("\xEF\xBB\xBF" + head + "<f name=\"b\"> 1 </f>\t<field>2</f x></stream>", two);
  EXPECT_EQ(a, 1) << "names are not looked at";
  EXPECT_EQ(b, 2) << "a tag need only begin with its word";

  // Streams below version 4: a map is a sequence, a versioned record has no version.
  const std::string old_head = "<?xml?><stream version=\"3\">";
  std::map<std::string, int> map;
  old_leaf leaf{1, 2};
  from_xml(old_head + "<q size=\"1\"><r><f>k</f><f>5</f></r></q><r><f>9</f></r></stream>", [&](auto& ar) {
    ar.read_header();
    ar.field("map", map);
    ar.field("leaf", leaf);
    ar.read_footer();
  });
  EXPECT_EQ(map, (std::map<std::string, int>{{"k", 5}}));
  EXPECT_EQ(leaf, (old_leaf{9, 2}));
  from_xml("<?xml?><stream version=\"1\"><r v=\"8\">", [&](auto& ar) {
    ar.read_header();
    EXPECT_EQ(ar.open_record(), -3);
  });
}

TEST(xml_archive, failures) {
  const std::string head = "<?xml?><stream version=\"4\">";
  const auto format = [](const std::string& text) { return "io::invalid_format|path|" + text; };
  struct row {
    std::string text, expected;
    void (*read)(io::xml_iarchive&);
  };
  const auto nothing = [](io::xml_iarchive&) {};
  const auto number = [](io::xml_iarchive& in) {
    int value = 0;
    in.field("", value);
  };
  const auto byte = [](io::xml_iarchive& in) {
    std::uint8_t value = 0;
    in.field("", value);
  };
  const auto list = [](io::xml_iarchive& in) {
    std::vector<int> value;
    in.field("", value);
  };
  const auto triple = [](io::xml_iarchive& in) {
    std::array<int, 3> value;
    in.field("", value);
  };
  const auto map = [](io::xml_iarchive& in) {
    std::map<std::string, int> value;
    in.field("", value);
  };
  const auto record = [](io::xml_iarchive& in) {
    old_leaf value;
    in.field("", value);
  };
  const row rows[] = {
      {"", "ios_base::failure", nothing},
      {"\xEF\xBBx", format("'<' expected."), nothing},
      {"x", format("'<' expected."), nothing},
      {"<html>", format("'<?xml>' expected."), nothing},
      {"<?xm>", format("'<?xml>' expected."), nothing},
      {"<?xml?><stream>", format("'<stream version=\"(value)\">' expected."), nothing},
      {"<?xml?><stream version=\"4>", format("'<stream version=\"(value)\">' expected."), nothing},
      {"<?xml?><stream version=\"x\">", "from_string_failed", nothing},
      {"<?xml?><stream version=\"5\">", "io::invalid_version|path|Invalid version", nothing},
      {head, "ios_base::failure", number},
      {head + "<f>1", "ios_base::failure", number},
      {head + "1</f>", format("'<' expected."), number},
      {head + "<r>1</r>", format("'<f>' expected."), number},
      {head + "<f>1<g></f>", format("'</f>' expected."), number},
      {head + "<f>1x</f>", "from_string_failed", number},
      {head + "<f></f>", "from_string_failed", number},
      {head + "<f>256</f>", "from_string_failed", byte},
      {head + "<q>", format("'<q size=\"(value)\">' expected."), list},
      {head + "<q size=\"-1\">", "io::invalid_count|path|Negative sequence size", list},
      {head + "<q size=\"2000000000\"><f>1</f></q>", format("'<f>' expected."), list},
      {head + "<q size=\"1\"><f>1</f><f>2</f></q>", format("'</q>' expected."), list},
      {head + "<q size=\"2\">", "io::invalid_array_size|(reader)|Invalid array size", triple},
      {head + "<q size=\"0\"></q>", format("'<m>' expected."), map},
      {head + "<r><f>1</f></r>", format("'<r v=\"(value)\">' expected."), record},
  };
  for (const row& r : rows)
    EXPECT_EQ(failure([&] {
                from_xml(r.text, [&](io::xml_iarchive& in) {
                  in.read_header();
                  r.read(in);
                });
              }),
              r.expected)
        << r.text;
}

TEST(document, both_forms_by_name) {
  support::temp_folder folder;
  const everything v = support::sample();
  for (const char* name : {"a.ksncomp", "b.XML", "c.xml", "xml"}) {
    const std::string path = folder / name;
    io::save_document(path, "all", v);
    EXPECT_NE(access((path + ".part").c_str(), F_OK), 0);
    everything back;
    io::load_document(path, "all", back);
    EXPECT_EQ(back, v) << name;
    const std::string content = support::read_file(path);
    EXPECT_EQ(content.starts_with("<?xml "), path.size() > 4 && io::is_xml_document(path)) << name;
    if (!io::is_xml_document(path)) {
      EXPECT_EQ(content[0], '\x78') << "zlib's header";
    }
    // Cut anywhere, the error names the file.
    for (const std::size_t cut : {std::size_t{0}, std::size_t{1}, content.size() / 2, content.size() - 8}) {
      support::write_file(path, content.substr(0, cut));
      const std::string text = failure([&] { io::load_document(path, "all", back); });
      EXPECT_NE(text.find("|" + path + "|"), text.npos) << name << " " << cut << " " << text;
    }
  }
  EXPECT_TRUE(io::is_xml_document("a.xMl"));
  EXPECT_FALSE(io::is_xml_document("axml"));
  EXPECT_FALSE(io::is_xml_document("a.xml.part"));
  everything back;
  for (const char* name : {"none.xml", "none", "folder.xml"}) {
    const std::string path = folder / name;
    if (std::string(name).starts_with("folder")) {
      ASSERT_EQ(mkdir(path.c_str(), 0777), 0);
    }
    EXPECT_TRUE(failure([&] { io::load_document(path, "all", back); }).starts_with("io::open_error|" + path)) << name;
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
    EXPECT_EQ(failure([&] { io::save_document(path, "n", 2); }), "io::open_error|" + path + ".part|CreateFile");
  }
  EXPECT_EQ(support::read_file(path), before);
  EXPECT_EQ(failure([&] {
              const auto fails = [](auto&) { throw io::logic_error("in the middle"); };
              io::write_document(path, fails, fails);
            }),
            "io::logic_error|in the middle|Unsupported functionality");
  EXPECT_EQ(support::read_file(path), before);
  io::save_document(path, "n", 3);
  int back = 0;
  io::load_document(path, "n", back);
  EXPECT_EQ(back, 3);
}

}  // namespace
