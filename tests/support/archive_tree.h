// Documents as trees of plain values, and their bytes in both archive forms, written out here once more so that the
// archives and the descriptions of the types can be held against them.
#pragma once

#include <bit>
#include <cstdint>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace support {

struct field;

struct value {
  enum class kind { leaf, list, map, plain, versioned };
  kind what = kind::leaf;
  std::string bytes;         // of a leaf in a binary archive
  std::string old_bytes;     // the same in version 0, where they differ
  std::string text;          // of a leaf in XML
  std::vector<field> parts;  // elements, entries or fields
  std::string type;          // of a versioned record
  int version = 0;
};

struct field {
  std::string key;
  value content;
};

inline std::string little_endian(long long number, int size) {
  std::string bytes;
  for (int i = 0; i < size; ++i) bytes += static_cast<char>(number >> (8 * i) & 255);
  return bytes;
}
inline std::string count_header(std::size_t count) {
  return "[n]\x1a" + little_endian(static_cast<long long>(count), 4);
}

inline value sized(int bytes, long long number) {
  value v;
  v.bytes = little_endian(number, bytes);
  v.text = std::to_string(number);
  return v;
}
inline value boolean(bool number) {
  return sized(1, number);
}
inline value integer(long long number) {
  return sized(4, number);
}
inline value word(long long number) {
  return sized(2, number);
}
inline value real(double number) {
  value v = sized(8, std::bit_cast<std::int64_t>(number));
  std::ostringstream text;
  text << number;
  v.text = text.str();
  return v;
}
inline value raw(std::string bytes) {
  value v;
  v.bytes = std::move(bytes);
  return v;
}
inline value block(const std::string& bytes) {
  return raw(count_header(bytes.size()) + bytes);
}
// In this writer only the blank is a letter that XML must escape.
inline value text(const std::string& content) {
  value v = block(content);
  for (const char letter : content) v.text += letter == ' ' ? "&#32;" : std::string(1, letter);
  return v;
}
// Of letters below 128.
inline value units(const std::string& content) {
  value v = text(content);
  v.old_bytes = v.bytes = count_header(content.size());
  for (const char letter : content) {
    v.bytes += little_endian(letter, 4);
    v.old_bytes += little_endian(letter, 2);
  }
  return v;
}
inline value list(const std::vector<value>& elements) {
  value v;
  v.what = value::kind::list;
  for (const value& element : elements) v.parts.push_back({"[" + std::to_string(v.parts.size()) + "]", element});
  return v;
}
inline value integers(const std::vector<int>& numbers) {
  std::vector<value> elements;
  for (const int number : numbers) elements.push_back(integer(number));
  return list(elements);
}
inline value plain(std::vector<field> fields) {
  value v;
  v.what = value::kind::plain;
  v.parts = std::move(fields);
  return v;
}
inline value map(const std::vector<std::pair<value, value>>& entries) {
  std::vector<value> elements;
  for (const auto& [key, content] : entries) elements.push_back(plain({{"key", key}, {"value", content}}));
  value v = list(elements);
  v.what = value::kind::map;
  return v;
}
inline value pair(int x, int y) {
  return plain({{"x", integer(x)}, {"y", integer(y)}});
}
inline value reals(double x, double y) {
  return plain({{"x", real(x)}, {"y", real(y)}});
}
inline value versioned(std::string type, int version, std::vector<field> fields) {
  value v = plain(std::move(fields));
  v.what = value::kind::versioned;
  v.type = std::move(type);
  v.version = version;
  return v;
}
inline value color(int a, int r, int g, int b) {
  return versioned("color", 0, {{"a", sized(1, a)}, {"r", sized(1, r)}, {"g", sized(1, g)}, {"b", sized(1, b)}});
}

// The bytes of a document whose archive states the version `archive`.
class binary_form {
 public:
  binary_form(const value& root, int archive) : archive_(archive), bytes_("LSB\x1a" + little_endian(archive, 4)) {
    put(root);
  }
  const std::string& bytes() const { return bytes_; }

 private:
  void put(const value& v) {
    using kind = value::kind;
    if (v.what == kind::list || v.what == kind::map) bytes_ += count_header(v.parts.size());
    const bool tells = v.what == kind::versioned && archive_ >= 4 && told_.insert(v.type).second;
    if (tells) bytes_ += little_endian(v.version, 4);
    bytes_ += archive_ == 0 && !v.old_bytes.empty() ? v.old_bytes : v.bytes;
    for (const field& part : v.parts) put(part.content);
  }

  int archive_;
  std::set<std::string> told_;
  std::string bytes_;
};

// The text of a document whose stream states the version `archive`.
class xml_form {
 public:
  xml_form(const value& root, const std::string& key, int archive) : archive_(archive) {
    out_ << "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\n\n<stream version=\"" << archive
         << "\">\n\n";
    put(root, key, 0);
    out_ << "\n</stream>\n";
  }
  std::string text() const { return out_.str(); }

 private:
  void put(const value& v, const std::string& key, int indentation) {
    using kind = value::kind;
    const std::string blanks(static_cast<std::size_t>(indentation), ' ');
    const std::string name = key.empty() ? "" : " name=\"" + key + "\"";
    if (v.what == kind::leaf) {
      out_ << blanks << "<f" << name << '>' << v.text << "</f>\n";
      return;
    }
    std::string tag = "r";
    std::string attribute;
    if (v.what == kind::list || (v.what == kind::map && archive_ < 4)) tag = "q";
    if (v.what == kind::map && archive_ >= 4) tag = "m";
    if (tag != "r") attribute = " size=\"" + std::to_string(v.parts.size()) + "\"";
    if (v.what == kind::versioned && archive_ >= 4) attribute = " v=\"" + std::to_string(v.version) + "\"";
    out_ << blanks << '<' << tag << attribute << name << ">\n";
    for (const field& part : v.parts) put(part.content, part.key, indentation + 2);
    out_ << blanks << "</" << tag << ">\n";
  }

  int archive_;
  std::ostringstream out_;
};

}  // namespace support
