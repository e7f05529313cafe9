#include "img/formats/rla/header.h"

#include <algorithm>

#include "img/formats/shared/byte_cursor.h"
#include "img/formats/shared/metadata_text.h"
#include "img/formats/shared/refuse.h"
#include "img/image.h"
#include "io/exceptions.h"
#include "lib/paths.h"

namespace img {
namespace {

constexpr int rla_revision = 0xFFFE, rpf_revision = 0xFFFD;
constexpr int wide_whole_samples = 2;

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
  // Some writers leave the type at 0 for the real numbers of 32 bits.
  channels.real = channels.bits == 32 && word_at(header, type_at) != wide_whole_samples;
  if (channels.count < 0 || channels.count > 64 || channels.bits < 1 || (channels.bits > 16 && channels.bits != 32)) {
    refuse(path, "Invalid RLA/RPF file",
           std::to_string(channels.count) + " channels of " + std::to_string(channels.bits) + " bits",
           "0 to 64 of 1 to 16 or of 32 bits are read");
  }
  return channels;
}

// The order in which files keep them.
constexpr rla_pixel_channel known_pixel_channels[] = {
    {'Z', "Z", 4, rla_pixel_channel::real},
    {'E', "Material ID", 1, rla_pixel_channel::whole},
    {'O', "Object ID", 2, rla_pixel_channel::whole},
    {'U', "UV", 8, rla_pixel_channel::pair_of_reals},
    {'N', "Normal", 4, rla_pixel_channel::packed},
    {'R', "Non-Clamped Color", 4, rla_pixel_channel::shared_exponent},
    {'C', "Coverage", 1, rla_pixel_channel::whole},
    {'B', "Background", 3, rla_pixel_channel::color},
    {'I', "Node Render ID", 2, rla_pixel_channel::whole},
    {'G', "Color", 3, rla_pixel_channel::color},
    {'T', "Transparency", 3, rla_pixel_channel::color},
    {'V', "Velocity", 8, rla_pixel_channel::pair_of_reals},
    {'W', "Sub-Pixel Weight", 3, rla_pixel_channel::color},
    {'M', "Sub-Pixel Mask", 2, rla_pixel_channel::whole},
};

// The name of the program ends with a list of letters in parentheses, as in "3ds max : ( Z E O P )". Some tell other
// things than channels.
std::vector<rla_pixel_channel> listed_channels(const std::string& program) {
  const std::size_t begin = program.rfind('('), end = program.rfind(')');
  if (begin == std::string::npos || end == std::string::npos || end < begin) return {};
  const std::string letters = program.substr(begin + 1, end - begin - 1);
  if (letters.find_first_not_of(" ZEOUNRCBIGTVWMLPDA") != std::string::npos) return {};
  for (std::size_t i = 1; i < letters.size(); ++i) {
    if (letters[i - 1] != ' ' && letters[i] != ' ') return {};
  }
  std::vector<rla_pixel_channel> listed;
  for (const rla_pixel_channel& known : known_pixel_channels) {
    if (letters.find(known.letter) != std::string::npos) listed.push_back(known);
  }
  return listed;
}

// Numbers of a picture are neither tiny nor huge: those that would be in one order of the bytes are counted against it.
// Real numbers are most significant byte first, but there are files of programs that left them as they lay in memory.
bool holds_little_endian(const source_file& file, const rla_header& header) {
  const rla_channels* kinds[] = {&header.colors, &header.mattes, &header.others};
  int records = 0;
  std::size_t first = 0;
  for (; first < 3 && !(kinds[first]->count > 0 && kinds[first]->real); ++first) records += kinds[first]->count;
  if (first == 3) return false;
  const auto sane = [](std::uint32_t bits) {
    const std::uint32_t exponent = bits >> 23 & 255;
    return bits << 1 == 0 || (exponent > 127 - 40 && exponent < 127 + 40);
  };
  const int rows = std::min(header.stored_height, 16);
  const auto most = static_cast<std::int64_t>(header.most_row_bytes());
  const std::size_t samples = 4 * static_cast<std::size_t>(header.stored_width);
  long long for_big = 0, for_little = 0;
  for (int i = 0; i < rows; ++i) {
    std::uint8_t place[4];
    file.read(place, 4, rla_header_size + 4 * (static_cast<std::int64_t>(i) * header.stored_height / rows));
    const file_bytes bytes(file, be32(place), most);
    byte_cursor at = bytes.cursor();
    for (int record = 0; record < records && at.left() >= 2; ++record) {
      at.take(std::min<std::size_t>(at.be_u16(), at.left()));
    }
    if (at.left() < 2 + samples || at.be_u16() != samples) continue;
    const std::uint8_t* reals = at.take(samples);
    for (std::size_t s = 0; s < samples; s += 4) {
      for_big += sane(be32(reals + s)) ? 1 : 0;
      for_little += sane(le32(reals + s)) ? 1 : 0;
    }
  }
  return for_little > for_big;
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
  for (const rla_pixel_channel& channel : pixel_channels) {
    bytes += channel.bytes * (2 + 2 * static_cast<std::int64_t>(stored_width));
  }
  return bytes;
}

int rla_header::records_before(std::size_t pixel_channel) const {
  int records = channel_count();
  for (std::size_t i = 0; i < pixel_channel; ++i) records += pixel_channels[i].bytes;
  return records;
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
  header.pixel_channels = listed_channels(text_at(bytes, 400, 64));
  header.little_endian = holds_little_endian(file, header);
  return header;
}

}  // namespace img
