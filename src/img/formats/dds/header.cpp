#include "img/formats/dds/header.h"

#include <algorithm>
#include <bit>

#include "img/formats/shared/byte_cursor.h"
#include "img/formats/shared/refuse.h"
#include "img/image.h"
#include "io/exceptions.h"
#include "lib/printable.h"

namespace img {
namespace {

constexpr std::uint32_t has_alpha_field = 0x1, alpha_only = 0x2, has_code = 0x4, has_rgb = 0x40, is_luminance = 0x20000;

constexpr std::uint32_t code_of(const char (&text)[5]) {
  return static_cast<std::uint32_t>(text[0]) | static_cast<std::uint32_t>(text[1]) << 8 |
         static_cast<std::uint32_t>(text[2]) << 16 | static_cast<std::uint32_t>(text[3]) << 24;
}

// Codings by their four letters, and by the numbers that Direct3D 9 puts in their place.
struct coded_format {
  std::uint32_t code;
  dds_coding coding;
  bool is_signed;
  int bytes, channels;
};
constexpr coded_format coded_formats[] = {
    {code_of("DXT1"), dds_coding::bc1, false, 0, 4}, {code_of("DXT2"), dds_coding::bc2, false, 0, 4},
    {code_of("DXT3"), dds_coding::bc2, false, 0, 4}, {code_of("DXT4"), dds_coding::bc3, false, 0, 4},
    {code_of("DXT5"), dds_coding::bc3, false, 0, 4}, {code_of("ATI1"), dds_coding::bc4, false, 0, 1},
    {code_of("BC4U"), dds_coding::bc4, false, 0, 1}, {code_of("BC4S"), dds_coding::bc4, true, 0, 1},
    {code_of("ATI2"), dds_coding::bc5, false, 0, 2}, {code_of("BC5U"), dds_coding::bc5, false, 0, 2},
    {code_of("BC5S"), dds_coding::bc5, true, 0, 2},  {36, dds_coding::words, false, 8, 4},
    {111, dds_coding::halves, false, 2, 1},          {113, dds_coding::halves, false, 8, 4},
    {114, dds_coding::floats, false, 4, 1},          {116, dds_coding::floats, false, 16, 4},
};

// DXGI_FORMAT of the longer header.
struct numbered_format {
  std::uint32_t first, last;
  dds_coding coding;
  bool is_signed;
  int bytes, channels;
  std::array<std::uint32_t, 4> masks;  // blue, green, red, alpha
};
constexpr numbered_format numbered_formats[] = {
    {2, 2, dds_coding::floats, false, 16, 4, {}},
    {6, 6, dds_coding::floats, false, 12, 3, {}},
    {10, 10, dds_coding::halves, false, 8, 4, {}},
    {11, 11, dds_coding::words, false, 8, 4, {}},
    {24, 24, dds_coding::fields, false, 4, 4, {0x3FF00000, 0xFFC00, 0x3FF, 0xC0000000}},
    {27, 29, dds_coding::fields, false, 4, 4, {0xFF0000, 0xFF00, 0xFF, 0xFF000000}},
    {41, 41, dds_coding::floats, false, 4, 1, {}},
    {54, 54, dds_coding::halves, false, 2, 1, {}},
    {56, 56, dds_coding::words, false, 2, 1, {}},
    {61, 61, dds_coding::fields, false, 1, 1, {0xFF, 0xFF, 0xFF, 0}},
    {70, 72, dds_coding::bc1, false, 0, 4, {}},
    {73, 75, dds_coding::bc2, false, 0, 4, {}},
    {76, 78, dds_coding::bc3, false, 0, 4, {}},
    {79, 80, dds_coding::bc4, false, 0, 1, {}},
    {81, 81, dds_coding::bc4, true, 0, 1, {}},
    {82, 83, dds_coding::bc5, false, 0, 2, {}},
    {84, 84, dds_coding::bc5, true, 0, 2, {}},
    {85, 85, dds_coding::fields, false, 2, 3, {0x1F, 0x7E0, 0xF800, 0}},
    {86, 86, dds_coding::fields, false, 2, 4, {0x1F, 0x3E0, 0x7C00, 0x8000}},
    {87, 87, dds_coding::fields, false, 4, 4, {0xFF, 0xFF00, 0xFF0000, 0xFF000000}},
    {88, 88, dds_coding::fields, false, 4, 3, {0xFF, 0xFF00, 0xFF0000, 0}},
    {90, 91, dds_coding::fields, false, 4, 4, {0xFF, 0xFF00, 0xFF0000, 0xFF000000}},
    {92, 93, dds_coding::fields, false, 4, 3, {0xFF, 0xFF00, 0xFF0000, 0}},
    {94, 95, dds_coding::bc6h, false, 0, 3, {}},
    {96, 96, dds_coding::bc6h, true, 0, 3, {}},
    {97, 99, dds_coding::bc7, false, 0, 4, {}},
};

void take_code(dds_header& header, std::uint32_t code, byte_cursor& at, const std::string& path) {
  if (code == code_of("DX10")) {
    const std::uint32_t number = at.le_u32();
    at.take(16);
    header.data += 20;
    const auto* found = std::find_if(std::begin(numbered_formats), std::end(numbered_formats),
                                     [&](const auto& f) { return number >= f.first && number <= f.last; });
    if (found == std::end(numbered_formats)) {
      refuse(path, "Unsupported format", "DXGI format " + std::to_string(number), "plain RGB and BC1 to BC7 are read");
    }
    header.coding = found->coding;
    header.is_signed = found->is_signed;
    header.bytes = found->bytes;
    header.channels = found->channels;
    header.masks = found->masks;
    return;
  }
  const auto* found =
      std::find_if(std::begin(coded_formats), std::end(coded_formats), [&](const auto& f) { return f.code == code; });
  if (found == std::end(coded_formats)) {
    const char letters[] = {static_cast<char>(code), static_cast<char>(code >> 8), static_cast<char>(code >> 16),
                            static_cast<char>(code >> 24)};
    refuse(path, "Unsupported compression", lib::printable({letters, sizeof letters}),
           "DXT1 to DXT5, ATI1, ATI2, BC4U, BC4S, BC5U and BC5S are read");
  }
  header.coding = found->coding;
  header.is_signed = found->is_signed;
  header.bytes = found->bytes;
  header.channels = found->channels;
}

}  // namespace

bool dds_header::has_alpha() const {
  if (is_block())
    return coding == dds_coding::bc1 || coding == dds_coding::bc2 || coding == dds_coding::bc3 ||
           coding == dds_coding::bc7;
  return coding == dds_coding::fields ? masks[3] != 0 : channels == 4;
}

bool dds_header::is_deep() const {
  if (coding == dds_coding::fields) {
    return std::any_of(masks.begin(), masks.end(), [](std::uint32_t m) { return std::popcount(m) > 8; });
  }
  return coding >= dds_coding::halves || coding == dds_coding::bc6h;
}

std::int64_t dds_header::data_bytes() const {
  if (is_block()) return std::int64_t{(width + 3) / 4} * ((height + 3) / 4) * block_bytes();
  return static_cast<std::int64_t>(width) * height * bytes;
}

dds_header read_dds_header(const source_file& file) {
  const std::string& path = file.path();
  const file_bytes bytes(file, 0, 148);
  byte_cursor at = bytes.cursor();
  if (at.le_u32() != code_of("DDS ")) throw io::invalid_signature(path);
  if (const std::uint32_t size = at.le_u32(); size != 124) refuse(path, "Invalid header size", size, "124 is read");
  at.take(4);
  dds_header header;
  const std::uint32_t height = at.le_u32(), width = at.le_u32();
  if (height < 1 || height > max_dimension) {
    refuse(path, "Invalid height", height, "1 to " + std::to_string(max_dimension) + " are read");
  }
  if (width < 1 || width > max_dimension) {
    refuse(path, "Invalid width", width, "1 to " + std::to_string(max_dimension) + " are read");
  }
  header.height = static_cast<int>(height);
  header.width = static_cast<int>(width);
  at.take(56);
  if (const std::uint32_t size = at.le_u32(); size != 32) {
    refuse(path, "Invalid pixel format size", size, "32 is read");
  }
  const std::uint32_t flags = at.le_u32(), code = at.le_u32(), bits = at.le_u32();
  for (std::size_t i : {2, 1, 0, 3}) header.masks[i] = at.le_u32();
  at.take(20);
  if ((flags & has_code) != 0) {
    take_code(header, code, at, path);
  } else {
    if ((flags & (has_rgb | is_luminance | alpha_only)) == 0) {
      refuse(path, "Unsupported format", "pixel flags " + std::to_string(flags), "RGB, luminance and alpha are read");
    }
    if (bits != 8 && bits != 16 && bits != 24 && bits != 32) {
      refuse(path, "Unsupported bit count", bits, "8, 16, 24 and 32 are read");
    }
    header.bytes = static_cast<int>(bits / 8);
    if ((flags & (has_alpha_field | alpha_only)) == 0) header.masks[3] = 0;
    if ((flags & is_luminance) != 0) header.masks[0] = header.masks[1] = header.masks[2];
  }
  file.check_range(header.data, header.data_bytes());
  return header;
}

}  // namespace img
