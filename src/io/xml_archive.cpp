#include "io/xml_archive.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <istream>
#include <ostream>

#include "io/exceptions.h"
#include "lib/from_string.h"
#include "lib/utf.h"

namespace io {
namespace {

constexpr std::string_view declaration = "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\n\n";

template <class T>
void append_number(std::string& text, T number) {
  char digits[24];
  text.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

}  // namespace

void append_escaped(std::string& result, std::string_view text) {
  for (const char c : text) {
    switch (c) {
      case '"':
        result += "&quot;";
        break;
      case '&':
        result += "&amp;";
        break;
      case '\'':
        result += "&apos;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      default:
        if (static_cast<unsigned char>(c) < 33) {
          result += "&#";
          append_number(result, static_cast<int>(c));
          result += ';';
        } else {
          result += c;
        }
    }
  }
}

std::string unescaped(std::string_view text) {
  struct entity {
    std::string_view name;
    char value;
  };
  static constexpr entity entities[] = {{"amp;", '&'}, {"lt;", '<'}, {"gt;", '>'}, {"quot;", '"'}, {"apos;", '\''}};
  const std::size_t last_semicolon = text.rfind(';');
  std::string result;
  for (std::size_t at = 0;;) {
    const std::size_t mark = std::min(text.find('&', at), text.size());
    result.append(text, at, mark - at);
    if (mark == text.size()) return result;
    const std::string_view rest = text.substr(mark + 1);
    at = mark + 1;
    // Without a `;` ahead the search for it is left out, or many marks would each walk the whole text.
    if (rest.substr(0, 1) == "#" && last_semicolon != text.npos && last_semicolon > mark) {
      const std::size_t end = rest.find(';');
      unsigned number = 0;
      std::from_chars(rest.data() + 1, rest.data() + end, number);
      result += static_cast<char>(number);
      at += end + 1;
      continue;
    }
    char value = '&';
    for (const entity& e : entities) {
      if (rest.substr(0, e.name.size()) != e.name) continue;
      value = e.value;
      at += e.name.size();
      break;
    }
    result += value;
  }
}

xml_oarchive::xml_oarchive(std::ostream& out) : out_(out) {
  out_.exceptions(std::ios::badbit | std::ios::failbit);
}

void xml_oarchive::write_header() {
  line_ = declaration;
  line_ += "<stream version=\"";
  append_number(line_, xml_stream_version);
  line_ += "\">\n\n";
  send();
}

void xml_oarchive::write_footer() {
  line_ = "\n</stream>\n";
  send();
}

void xml_oarchive::write(double value, std::string_view key) {
  char digits[32];
  const auto end = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::general, 6).ptr;
  write_text({digits, end}, key);
}

void xml_oarchive::write(const std::string& value, std::string_view key) {
  std::string text;
  append_escaped(text, value);
  write_text(text, key);
}

std::string_view xml_oarchive::element(int index) {
  char* const first = element_name_.data();
  first[0] = '[';
  char* const end = std::to_chars(first + 1, first + element_name_.size() - 1, index).ptr;
  *end = ']';
  return {first, end + 1};
}

void xml_oarchive::add_name(std::string_view key) {
  if (!key.empty()) line_.append(" name=\"").append(key).append("\"");
}

void xml_oarchive::open(std::string_view tag, std::string_view attribute, int number, std::string_view key) {
  line_.assign(static_cast<std::size_t>(indentation_), ' ');
  line_ += tag;
  if (!attribute.empty()) {
    line_ += attribute;
    append_number(line_, number);
    line_ += '"';
  }
  add_name(key);
  line_ += ">\n";
  indentation_ += 2;
  send();
}

void xml_oarchive::close(std::string_view tag) {
  indentation_ -= 2;
  line_.assign(static_cast<std::size_t>(indentation_), ' ');
  line_ += tag;
  send();
}

void xml_oarchive::write_text(std::string_view text, std::string_view key) {
  line_.assign(static_cast<std::size_t>(indentation_), ' ');
  line_ += "<f";
  add_name(key);
  line_ += '>';
  line_ += text;
  line_ += "</f>\n";
  send();
}

void xml_oarchive::send() {
  out_.write(line_.data(), static_cast<std::streamsize>(line_.size()));
}

xml_iarchive::xml_iarchive(std::istream& in, std::string source) : in_(in), source_(std::move(source)) {
  in_.exceptions(std::ios::badbit | std::ios::failbit);
}

bool xml_iarchive::fill() {
  if (position_ != end_) return true;
  position_ = 0;
  end_ = static_cast<std::size_t>(in_.rdbuf()->sgetn(buffer_.data(), static_cast<std::streamsize>(buffer_.size())));
  return end_ > 0;
}

void xml_iarchive::need_more() {
  if (!fill()) in_.setstate(std::ios::eofbit | std::ios::failbit);
}

int xml_iarchive::get() {
  if (position_ == end_) need_more();
  return static_cast<unsigned char>(buffer_[position_++]);
}

void xml_iarchive::append_until(std::string& text, char last) {
  for (;;) {
    need_more();
    const char* const from = buffer_.data() + position_;
    const void* const found = std::memchr(from, last, end_ - position_);
    const std::size_t count =
        found ? static_cast<std::size_t>(static_cast<const char*>(found) - from) : end_ - position_;
    text.append(from, count);
    position_ += count;
    if (found) return;
  }
}

void xml_iarchive::read_header() {
  if (fill() && buffer_[position_] == '\xEF') {
    for (const int expected : {0xEF, 0xBB, 0xBF})
      if (get() != expected) throw invalid_format(source_, "'<' expected.");
  }
  read_tag("?xml");
  const int version = read_tag_with("stream", "version");
  if (version < 0 || version > xml_stream_version) throw invalid_version(source_);
  version_ = version;
}

std::string_view xml_iarchive::read_tag(std::string_view word) {
  int byte = get();
  while (byte == ' ' || (byte >= '\t' && byte <= '\r')) byte = get();
  if (byte != '<') throw invalid_format(source_, "'<' expected.");
  // A wrong tag is refused before the rest of the file is taken for its text.
  for (const char expected : word) {
    if (get() != static_cast<unsigned char>(expected)) {
      throw invalid_format(source_, "'<" + std::string(word) + ">' expected.");
    }
  }
  tag_.clear();
  append_until(tag_, '>');
  ++position_;
  return tag_;
}

int xml_iarchive::read_tag_with(std::string_view word, std::string_view attribute) {
  const std::string_view rest = read_tag(word);
  const std::string start = std::string(attribute) + "=\"";
  const std::size_t at = rest.find(start);
  const std::size_t end = at == rest.npos ? at : rest.find('"', at + start.size());
  if (end == rest.npos) {
    throw invalid_format(source_, "'<" + std::string(word) + " " + std::string(attribute) + "=\"(value)\">' expected.");
  }
  return lib::from_string<std::int32_t>(rest.substr(at + start.size(), end - at - start.size()));
}

int xml_iarchive::read_count(std::string_view word) {
  const int count = read_tag_with(word, "size");
  if (count < 0) throw invalid_count(source_);
  return count;
}

int xml_iarchive::open_record() {
  if (version_ >= 4) return read_tag_with("r", "v");
  read_tag("r");
  return version_ - 4;
}

int xml_iarchive::open_sequence() {
  return read_count("q");
}

int xml_iarchive::open_map() {
  return read_count(version_ >= 4 ? "m" : "q");
}

const std::string& xml_iarchive::read_text() {
  read_tag("f");
  text_.clear();
  append_until(text_, '<');
  read_tag("/f");
  if (text_.find('&') != text_.npos) text_ = unescaped(text_);
  return text_;
}

#define KSN_XML_READ(type)                       \
  void xml_iarchive::read(type& value) {         \
    value = lib::from_string<type>(read_text()); \
  }
KSN_XML_READ(bool)
KSN_XML_READ(double)
KSN_XML_READ(std::string)
KSN_XML_READ(std::int8_t)
KSN_XML_READ(std::uint8_t)
KSN_XML_READ(std::int16_t)
KSN_XML_READ(std::uint16_t)
KSN_XML_READ(std::int32_t)
KSN_XML_READ(std::uint32_t)
KSN_XML_READ(std::int64_t)
KSN_XML_READ(std::uint64_t)
#undef KSN_XML_READ

void xml_iarchive::read(std::u16string& value) {
  value = lib::to_utf16(read_text());
}

}  // namespace io
