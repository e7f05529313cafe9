// The compact form of documents: little-endian values one after the other, a version in front of the first record of
// each type. Files have it inside a zlib stream.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "io/serialize.h"
#include "io/streams.h"

namespace io {

constexpr int archive_version = 4;  // that every writer states; readers take 0 to 4

// The versions of the types that came by, by tag. A handful, so the list is searched from its start.
class type_versions {
 public:
  // Null when the tag is not there.
  const int* find(const void* tag) const;
  void add(const void* tag, int version) { versions_.push_back({tag, version}); }

 private:
  std::vector<std::pair<const void*, int>> versions_;
};

// Lives for one document. Throws what the stream throws.
class binary_oarchive : public describable<binary_oarchive> {
 public:
  static constexpr bool reading = false;
  static constexpr bool binary = true;

  explicit binary_oarchive(binary_writer& writer) : writer_(writer) {}

  void write_header();
  // Writes the version at the first record of a type. Throws std::logic_error("io::version_conflict") when the type
  // came with another one before.
  void write_version(const void* tag, int version);
  void write_sequence_size(int count);
  void write_block(const void* data, int count);
  // A sequence of `count` items of `size` bytes each. Throws io::invalid_format for more items than its header can
  // tell.
  void write_values(const void* data, std::size_t count, std::size_t size);

  void write(bool value) { write(static_cast<std::uint8_t>(value)); }
  void write(double value) { write_block(&value, sizeof value); }
  void write(const std::string& value);
  void write(const std::u16string& value);  // each unit in four bytes
  template <class T>
  requires std::is_integral_v<T>
  void write(T value) { write_block(&value, sizeof value); }

  // The seam to io/serialize.h.
  template <class T>
  void scalar(std::string_view, const T& value) {
    write(value);
  }
  template <class T>
  void block(const std::vector<T>& values) {
    write_values(values.data(), values.size(), sizeof(T));
  }
  // Raw bytes without a header.
  template <class T, std::size_t N>
  void raw(std::string_view, const std::array<T, N>& values) {
    write_block(values.data(), static_cast<int>(sizeof values));
  }
  int open_versioned(const void* tag, int version, std::string_view) {
    write_version(tag, version);
    return version;
  }
  void open_plain(std::string_view) {}
  void close_record() {}
  int open_list(int count, std::string_view) {
    write_sequence_size(count);
    return count;
  }
  void close_list() {}
  int open_map_of(int count, std::string_view key) { return open_list(count, key); }
  void close_map_of() {}
  std::string_view element(int) { return {}; }

 private:
  binary_writer& writer_;
  type_versions versions_;
};

// Lives for one document. Throws io::eof_error, io::invalid_signature, io::invalid_version, io::invalid_count and
// io::invalid_array_size. Memory grows with the data that comes, not with the counts that are claimed.
class binary_iarchive : public describable<binary_iarchive> {
 public:
  static constexpr bool reading = true;
  static constexpr bool binary = true;

  explicit binary_iarchive(binary_reader& reader) : reader_(reader) {}

  void read_header();
  int version() const { return version_; }
  // Refuses lists and maps of more than `count` elements in all with io::invalid_format. A packed file of a few bytes
  // can claim and deliver billions of empty texts; its own size tells how many it may reasonably hold.
  void limit_elements(long long count) { elements_left_ = count; }
  // For elements that are large when read: each counts as this many more.
  void claim_elements(long long count);
  // The version of the type of the record that begins here: that of the file less 4 for files of versions 0 to 3.
  int read_version(const void* tag);
  int read_sequence_size();
  void read_block(void* data, int count);

  void read(bool& value);
  void read(double& value) { read_block(&value, sizeof value); }
  void read(std::string& value);
  void read(std::u16string& value);
  template <class T>
  requires std::is_integral_v<T>
  void read(T& value) { read_block(&value, sizeof value); }

  // The seam to io/serialize.h.
  template <class T>
  void scalar(std::string_view, T& value) {
    read(value);
  }
  template <class T>
  void block(std::vector<T>& values) {
    read_values(values, read_sequence_size());
  }
  template <class T, std::size_t N>
  void raw(std::string_view, std::array<T, N>& values) {
    read_block(values.data(), static_cast<int>(sizeof values));
  }
  int open_versioned(const void* tag, int, std::string_view) { return read_version(tag); }
  void open_plain(std::string_view) {}
  void close_record() {}
  int open_list(int, std::string_view) { return read_element_count(); }
  void close_list() {}
  int open_map_of(int, std::string_view) { return read_element_count(); }
  void close_map_of() {}
  std::string_view element(int) { return {}; }

 private:
  int read_element_count();
  // Reads `count` items in stretches, so that a lie about the count ends at the end of the data.
  template <class Container>
  void read_values(Container& values, int count);

  binary_reader& reader_;
  int version_ = archive_version;
  long long elements_left_ = std::numeric_limits<long long>::max();
  type_versions versions_;
};

}  // namespace io
