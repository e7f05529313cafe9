#include "img/formats/exr/header_sizes.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "io/exceptions.h"

namespace img {
namespace {

constexpr std::size_t longest_name = 255;  // "OpenEXR File Layout", openexr.com
constexpr std::int64_t first_header = 8;   // after the magic number and the version
constexpr std::int64_t window_bytes = 4096;

// Bytes of the file in order, a stretch at a time.
class header_bytes {
 public:
  explicit header_bytes(const source_file& file) : file_(file), window_(window_bytes) {}

  std::int64_t left() const { return file_.size() - place_; }
  void skip(std::int64_t count) { place_ += count; }
  std::uint8_t next() {
    if (place_ < start_ || place_ >= start_ + held_) {
      held_ = std::min(window_bytes, left());
      if (held_ <= 0) throw io::eof_error(file_.path());
      file_.read(window_.data(), static_cast<std::size_t>(held_), place_);
      start_ = place_;
    }
    return window_[static_cast<std::size_t>(place_++ - start_)];
  }
  std::uint32_t next32() {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value |= static_cast<std::uint32_t>(next()) << (8 * i);
    return value;
  }
  std::string name() {
    std::string text;
    while (const std::uint8_t c = next()) {
      text += static_cast<char>(c);
      if (text.size() > longest_name) throw io::invalid_format(file_.path(), "A name in the header does not end");
    }
    return text;
  }

 private:
  const source_file& file_;
  std::vector<std::uint8_t> window_;
  std::int64_t place_ = first_header;
  std::int64_t start_ = 0;  // of the window
  std::int64_t held_ = 0;
};

// Bytes of the types whose values always take as many: the library reads so many, whatever size is written before them.
struct fixed_type {
  std::string_view name;
  std::int64_t bytes;
};
constexpr fixed_type fixed_types[] = {{"box2i", 16},
                                      {"box2f", 16},
                                      {"chromaticities", 32},
                                      {"compression", 1},
                                      {"deepImageState", 1},
                                      {"double", 8},
                                      {"envmap", 1},
                                      {"float", 4},
                                      {"int", 4},
                                      {"keycode", 28},
                                      {"lineOrder", 1},
                                      {"m33d", 72},
                                      {"m33f", 36},
                                      {"m44d", 128},
                                      {"m44f", 64},
                                      {"rational", 8},
                                      {"tiledesc", 9},
                                      {"timecode", 8},
                                      {"v2d", 16},
                                      {"v2f", 8},
                                      {"v2i", 8},
                                      {"v3d", 24},
                                      {"v3f", 12},
                                      {"v3i", 12}};

// How many bytes the library takes for the value of an attribute that says that it has `size`. Reads no further than
// that size needs.
std::int64_t bytes_taken(header_bytes& bytes, const std::string& type, std::int64_t size) {
  for (const fixed_type& fixed : fixed_types) {
    if (type == fixed.name) return bytes.skip(std::min(size, fixed.bytes)), fixed.bytes;
  }
  std::int64_t taken = 0;
  if (type == "chlist") {
    for (bool more = true; more && taken <= size;) {
      const std::string channel = bytes.name();
      more = !channel.empty();
      if (more) bytes.skip(16);
      taken += static_cast<std::int64_t>(channel.size()) + (more ? 17 : 1);
    }
    return taken;
  }
  if (type == "stringvector") {
    while (taken < size) {
      const std::int64_t length = bytes.next32();
      taken += 4 + length;
      if (taken <= size) bytes.skip(length);
    }
    return taken;
  }
  bytes.skip(size);
  return type == "floatvector" ? size / 4 * 4 : size;
}

void check_attribute(const source_file& file, header_bytes& bytes, const std::string& name) {
  const std::string type = bytes.name();
  const std::int64_t size = bytes.next32();
  const auto refuse = [&](const std::string& what) {
    throw io::invalid_format(file.path(), "Attribute \"" + name + "\" says " + what);
  };
  const std::string bytes_said = std::to_string(size) + " bytes, but ";
  if (size > bytes.left()) refuse(bytes_said + "only " + std::to_string(bytes.left()) + " are left in the file");
  if (type == "preview" && size >= 8) {
    const std::uint64_t width = bytes.next32();
    const std::uint64_t height = bytes.next32();
    if (width * height != static_cast<std::uint64_t>(size - 8) / 4 || size % 4 != 0) {
      refuse(std::to_string(width) + " x " + std::to_string(height) + " pixels, but has " + std::to_string(size) +
             " bytes");
    }
    return bytes.skip(size - 8);
  }
  const std::int64_t taken = bytes_taken(bytes, type, size);
  if (taken != size) refuse(bytes_said + "its value takes " + std::to_string(taken));
}

// What memory is made for. Of two attributes of one name the two libraries that read a file take one each.
constexpr std::string_view alone[] = {"channels",      "chunkCount", "compression", "dataWindow",
                                      "displayWindow", "lineOrder",  "tiles",       "type"};

void check_header(const source_file& file, header_bytes& bytes, std::string name) {
  std::set<std::string> names;
  for (; !name.empty(); name = bytes.name()) {
    const bool counts = std::find(std::begin(alone), std::end(alone), name) != std::end(alone);
    if (counts && !names.insert(name).second) {
      throw io::invalid_format(file.path(), "Invalid header: it gives more than one " + name);
    }
    check_attribute(file, bytes, name);
  }
}

}  // namespace

void check_header_sizes(const source_file& file) {
  header_bytes bytes(file);
  std::uint8_t flags = 0;
  file.read(&flags, 1, 5);
  const bool has_parts = (flags & 0x10) != 0;
  // Each header ends with an empty name, and the list of headers with an empty header.
  for (;;) {
    std::string name = bytes.name();
    if (name.empty()) return;
    check_header(file, bytes, std::move(name));
    if (!has_parts) return;
  }
}

}  // namespace img
