// Documents as trees of plain values, and their bytes in both archive forms, written out here once more so that the
// archives and the descriptions of the types can be held against them.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace support {

struct field;

struct value {
  enum class kind { number, real, text, units, block, raw, list, map, plain, versioned };
  kind what = kind::number;
  int bytes = 4;  // of a number
  long long number = 0;
  double real = 0;
  std::string text;          // also the bytes of a block
  std::vector<field> parts;  // elements, entries or fields
  std::string type;          // of a versioned record
  int version = 0;
};

struct field {
  std::string key;
  value content;
};

inline value sized(int bytes, long long number) {
  value v;
  v.bytes = bytes;
  v.number = number;
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
  value v;
  v.what = value::kind::real;
  v.real = number;
  return v;
}
inline value of_text(value::kind what, std::string text) {
  value v;
  v.what = what;
  v.text = std::move(text);
  return v;
}
inline value text(std::string content) {
  return of_text(value::kind::text, std::move(content));
}
// Of letters below 128 in this writer.
inline value units(std::string content) {
  return of_text(value::kind::units, std::move(content));
}
inline value block(std::string content) {
  return of_text(value::kind::block, std::move(content));
}
inline value raw(std::string content) {
  return of_text(value::kind::raw, std::move(content));
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
  binary_form(const value& root, int archive) : archive_(archive) {
    bytes_ = "LSB\x1a";
    put(archive, 4);
    put(root);
  }
  const std::string& bytes() const { return bytes_; }

 private:
  void put(long long number, int size) {
    for (int i = 0; i < size; ++i) bytes_ += static_cast<char>(number >> (8 * i) & 255);
  }
  void put_count(std::size_t count) {
    bytes_ += "[n]\x1a";
    put(static_cast<long long>(count), 4);
  }
  void put(const value& v) {
    using kind = value::kind;
    if (v.what == kind::list || v.what == kind::map) put_count(v.parts.size());
    if (v.what == kind::block || v.what == kind::text || v.what == kind::units) put_count(v.text.size());
    switch (v.what) {
      case kind::number:
        put(v.number, v.bytes);
        break;
      case kind::real: {
        std::int64_t bits = 0;
        std::memcpy(&bits, &v.real, 8);
        put(bits, 8);
        break;
      }
      case kind::units:
        for (const char letter : v.text) put(letter, archive_ == 0 ? 2 : 4);
        break;
      case kind::versioned:
        if (archive_ >= 4 && told_.insert({v.type, v.version}).second) put(v.version, 4);
        break;
      default:
        bytes_ += v.text;
    }
    for (const field& part : v.parts) put(part.content);
  }

  int archive_;
  std::map<std::string, int> told_;
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
    if (v.what == kind::number || v.what == kind::real || v.what == kind::text || v.what == kind::units) {
      out_ << blanks << "<f" << name << '>';
      if (v.what == kind::number) {
        out_ << v.number;
      } else if (v.what == kind::real) {
        out_ << v.real;
      } else {
        for (const char letter : v.text) letter == ' ' ? out_ << "&#32;" : out_ << letter;
      }
      out_ << "</f>\n";
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
