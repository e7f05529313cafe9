#include "img/formats/exr/header_sizes.h"

#include <algorithm>
#include <cstring>
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

void check_attribute(const source_file& file, header_bytes& bytes, const std::string& name) {
  const std::string type = bytes.name();
  const std::int64_t size = bytes.next32();
  const auto refuse = [&](const std::string& what) {
    throw io::invalid_format(file.path(), "Attribute \"" + name + "\" says " + what);
  };
  if (size > bytes.left()) {
    refuse(std::to_string(size) + " bytes, but only " + std::to_string(bytes.left()) + " are left in the file");
  }
  if (type != "preview" || size < 8) return bytes.skip(size);
  const std::int64_t width = bytes.next32();
  const std::int64_t height = bytes.next32();
  if (width * height > (size - 8) / 4) {
    refuse(std::to_string(width) + " x " + std::to_string(height) + " pixels, but has " + std::to_string(size) +
           " bytes");
  }
  bytes.skip(size - 8);
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
    while (!name.empty()) {
      check_attribute(file, bytes, name);
      name = bytes.name();
    }
    if (!has_parts) return;
  }
}

}  // namespace img
