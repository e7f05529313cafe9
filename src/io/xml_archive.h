// The readable form of documents: a small fixed dialect of XML. Reading goes by position; names are not looked at.
#pragma once

#include <array>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "io/serialize.h"

namespace io {

constexpr int xml_stream_version = 4;  // that every writer states; readers take 0 to 4

// Lives for one document. The stream throws its own std::ios_base::failure from the construction on.
class xml_oarchive : public describable<xml_oarchive> {
 public:
  static constexpr bool reading = false;
  static constexpr bool binary = false;

  explicit xml_oarchive(std::ostream& out);

  void write_header();
  void write_footer();
  void open_record(std::string_view key) { open("<r", "", 0, key); }  // a plain record
  void open_record(int version, std::string_view key) { open("<r", " v=\"", version, key); }
  void close_record() { close("</r>\n"); }
  void open_sequence(int count, std::string_view key) { open("<q", " size=\"", count, key); }
  void close_sequence() { close("</q>\n"); }
  void open_map(int count, std::string_view key) { open("<m", " size=\"", count, key); }
  void close_map() { close("</m>\n"); }

  void write(bool value, std::string_view key) { write_text(value ? "1" : "0", key); }
  void write(double value, std::string_view key);  // six significant digits
  void write(const std::string& value, std::string_view key);
  void write(const std::u16string& value, std::string_view key) { write(lib::to_utf8(value), key); }
  template <class T>
  requires std::is_integral_v<T>
  void write(T value, std::string_view key) { write_text(std::to_string(value), key); }

  // The seam to io/serialize.h.
  template <class T>
  void scalar(std::string_view key, const T& value) {
    write(value, key);
  }
  template <class T, std::size_t N>
  void raw(std::string_view key, const std::array<T, N>& values) {
    open_sequence(static_cast<int>(N), key);
    for (std::size_t i = 0; i < N; ++i) write(static_cast<int>(values[i]), element(static_cast<int>(i)));
    close_sequence();
  }
  int open_versioned(const void*, int version, std::string_view key) {
    open_record(version, key);
    return version;
  }
  void open_plain(std::string_view key) { open_record(key); }
  int open_list(int count, std::string_view key) {
    open_sequence(count, key);
    return count;
  }
  void close_list() { close_sequence(); }
  int open_map_of(int count, std::string_view key) {
    open_map(count, key);
    return count;
  }
  void close_map_of() { close_map(); }
  // The name of an element, "[0]" for the first; valid until the next call.
  std::string_view element(int index);

 private:
  void open(std::string_view tag, std::string_view attribute, int number, std::string_view key);
  void close(std::string_view tag);
  void add_name(std::string_view key);
  // `text` is escaped already.
  void write_text(std::string_view text, std::string_view key);
  void send();

  std::ostream& out_;
  int indentation_ = 0;
  std::string line_;
  std::array<char, 16> element_name_;
};

// Lives for one document. Throws io::invalid_format, io::invalid_version, io::invalid_count, io::invalid_array_size,
// lib::from_string_failed, and at the end of the text the stream's std::ios_base::failure. Reads ahead of the document.
class xml_iarchive : public describable<xml_iarchive> {
 public:
  static constexpr bool reading = true;
  static constexpr bool binary = false;

  // `source` is the path for messages.
  xml_iarchive(std::istream& in, std::string source);

  void read_header();
  void read_footer() { read_tag("/stream"); }
  int version() const { return version_; }
  // The version of a versioned record: that of the stream less 4 for streams of versions 0 to 3.
  int open_record();
  void open_plain_record() { read_tag("r"); }
  void close_record() { read_tag("/r"); }
  int open_sequence();
  void close_sequence() { read_tag("/q"); }
  int open_map();
  void close_map() { read_tag(version_ >= 4 ? "/m" : "/q"); }

  void read(bool& value);
  void read(double& value);
  void read(std::string& value);
  void read(std::u16string& value);
  void read(std::int8_t& value);
  void read(std::uint8_t& value);
  void read(std::int16_t& value);
  void read(std::uint16_t& value);
  void read(std::int32_t& value);
  void read(std::uint32_t& value);
  void read(std::int64_t& value);
  void read(std::uint64_t& value);

  // The seam to io/serialize.h.
  template <class T>
  void scalar(std::string_view, T& value) {
    read(value);
  }
  template <class T, std::size_t N>
  void raw(std::string_view, std::array<T, N>& values) {
    if (open_sequence() != static_cast<int>(N)) throw invalid_array_size("(reader)");
    for (T& value : values) {
      std::int32_t number = 0;
      read(number);
      value = static_cast<T>(number);
    }
    close_sequence();
  }
  int open_versioned(const void*, int, std::string_view) { return open_record(); }
  void open_plain(std::string_view) { open_plain_record(); }
  int open_list(int, std::string_view) { return open_sequence(); }
  void close_list() { close_sequence(); }
  int open_map_of(int, std::string_view) { return open_map(); }
  void close_map_of() { close_map(); }
  std::string_view element(int) { return {}; }

 private:
  bool fill();       // false at the end of the text
  void need_more();  // at the end of the text the stream throws
  int get();         // the next byte
  // Appends what stands in front of the next `last`, which stays.
  void append_until(std::string& text, char last);
  // Reads a tag that begins with `word` and returns what follows the word; valid until the next tag.
  std::string_view read_tag(std::string_view word);
  int read_tag_with(std::string_view word, std::string_view attribute);
  int read_count(std::string_view word);
  // The raw value of the next field; valid until the next one.
  const std::string& read_text();

  std::istream& in_;
  std::string source_;
  int version_ = xml_stream_version;
  std::vector<char> buffer_ = std::vector<char>(32768);
  std::size_t position_ = 0;
  std::size_t end_ = 0;
  std::string tag_;
  std::string text_;
};

// The two directions of the text of a field.
void append_escaped(std::string& result, std::string_view text);
std::string unescaped(std::string_view text);

}  // namespace io
