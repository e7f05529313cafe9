#include "img/formats/rla/header.h"

#include <algorithm>

#include "img/formats/shared/byte_order.h"
#include "img/formats/shared/metadata_text.h"
#include "img/formats/shared/refuse.h"
#include "img/image.h"
#include "io/exceptions.h"
#include "lib/paths.h"

namespace img {
namespace {

constexpr int rla_revision = 0xFFFE, rpf_revision = 0xFFFD;
constexpr int real_samples = 3;

int word_at(const std::uint8_t* header, int at) {
  return static_cast<std::int16_t>(be16(header + at));
}

std::string text_at(const std::uint8_t* header, int at, int size) {
  const char* begin = reinterpret_cast<const char*>(header + at);
  std::string text(begin, std::find(begin, begin + size, '\0'));
  text.erase(text.find_last_not_of(' ') + 1);
  text.erase(0, text.find_first_not_of(' '));
  return valid_utf8(text);
}

rla_channels channels_at(const std::uint8_t* header, int count_at, int type_at, int bits_at, const std::string& path) {
  rla_channels channels;
  channels.count = word_at(header, count_at);
  channels.bits = word_at(header, bits_at);
  if (channels.bits == 0) channels.bits = 8;
  const int type = word_at(header, type_at);
  channels.real = channels.bits == 32 && (type == real_samples || type > real_samples);
  if (channels.count < 0 || channels.count > 64 || channels.bits < 1 || (channels.bits > 16 && channels.bits != 32)) {
    refuse(path, "Invalid RLA/RPF file",
           std::to_string(channels.count) + " channels of " + std::to_string(channels.bits) + " bits",
           "0 to 64 of 1 to 16 or of 32 bits are read");
  }
  return channels;
}

// Left, right, bottom, top; the bottom row has the smallest number. Either pair may be the wrong way round.
struct window {
  int left, right, bottom, top;
  window(const std::uint8_t* header, int at)
      : left(word_at(header, at)),
        right(word_at(header, at + 2)),
        bottom(word_at(header, at + 4)),
        top(word_at(header, at + 6)) {
    if (left > right) std::swap(left, right);
    if (bottom > top) std::swap(bottom, top);
  }
};

}  // namespace

std::int64_t rla_header::most_row_bytes() const {
  std::int64_t bytes = 0;
  for (const rla_channels& kind : {colors, mattes, others}) {
    bytes += static_cast<std::int64_t>(kind.count) * (2 + 2 * static_cast<std::int64_t>(stored_width) * kind.bytes());
  }
  return bytes;
}

rla_header read_rla_header(const source_file& file) {
  const std::string& path = file.path();
  std::uint8_t bytes[rla_header_size];
  file.read(bytes, rla_header_size, 0);
  const int revision = be16(bytes + 26);
  if (revision != rla_revision && revision != rpf_revision) {
    refuse(path, "Unsupported variant", "revision " + std::to_string(revision),
           std::to_string(rla_revision) + " and " + std::to_string(rpf_revision) + " are read");
  }
  rla_header header;
  const window whole(bytes, 0), active(bytes, 8);
  header.width = whole.right - whole.left + 1;
  header.height = whole.top - whole.bottom + 1;
  header.left = active.left - whole.left;
  header.top = whole.top - active.top;
  header.stored_width = active.right - active.left + 1;
  header.stored_height = active.top - active.bottom + 1;
  if (header.width > max_dimension || header.stored_width > max_dimension) {
    refuse(path, "Invalid image width", std::max(header.width, header.stored_width),
           "up to " + std::to_string(max_dimension) + " is read");
  }
  check_dimensions(path, header.width, header.height);
  header.frame = word_at(bytes, 16);
  header.colors = channels_at(bytes, 20, 18, 658, path);
  header.mattes = channels_at(bytes, 22, 660, 662, path);
  header.others = channels_at(bytes, 24, 664, 666, path);
  if (header.colors.count == 0) throw io::invalid_format(path, "Invalid RLA/RPF file: it has no colour channels");
  if (const std::string space = text_at(bytes, 580, 32); lib::to_lower(space) != "rgb") {
    refuse(path, "Unsupported color space", space, "rgb is read");
  }
  header.others_name = text_at(bytes, 668, 32);
  static constexpr struct {
    const char* name;
    int at, size;
  } texts[] = {{"Gamma", 28, 16}, {"Description", 272, 128}, {"Program", 400, 64}, {"Machine", 464, 32},
               {"User", 496, 32}, {"Date", 528, 20},         {"Aspect", 548, 24},  {"Filter", 626, 32}};
  for (const auto& text : texts) {
    const std::string value = text_at(bytes, text.at, text.size);
    if (!value.empty()) header.metadata[text.name] = value;
  }
  // Each row needs its place in the table, and each channel of it at least the length of its record.
  file.check_range(rla_header_size, std::int64_t{4} * header.stored_height);
  const std::int64_t left = file.size() - rla_header_size - std::int64_t{4} * header.stored_height;
  check_size(path, header.width, header.height, 1, std::max<std::int64_t>(left, 0), 1 << 14);
  return header;
}

}  // namespace img
