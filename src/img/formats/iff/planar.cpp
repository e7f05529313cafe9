#include "img/formats/iff/planar.h"

#include <algorithm>

#include "img/formats/iff/chunks.h"
#include "img/formats/shared/packbits.h"
#include "img/formats/shared/refuse.h"
#include "io/exceptions.h"

namespace img {
namespace {

constexpr std::size_t alignment = 2;
constexpr std::uint32_t half_bright_mode = 0x80, hold_and_modify_mode = 0x800;

void check_header(const planar_header& header, int compression, const std::string& path) {
  if (header.width < 1 || header.height < 1) {
    refuse(path, "Invalid image dimensions", std::to_string(header.width) + " x " + std::to_string(header.height),
           "both are at least 1");
  }
  if (compression > 1) refuse(path, "Unsupported compression", compression, "0 and 1 are read");
  if (header.mask > 2) refuse(path, "Unsupported mask type", header.mask, "0, 1 and 2 are read");
  const bool known = header.bytes
                         ? header.planes == 8
                         : (header.planes >= 1 && header.planes <= 8) || header.planes == 24 || header.planes == 32;
  if (!known) {
    refuse(path, "Unsupported number of planes", header.planes,
           header.bytes ? "8 are read" : "1 to 8, 24 and 32 are read");
  }
}

// The row as numbers of 8 or 32 bits, the first plane lowest.
template <class Number>
void gather(const std::uint8_t* row, std::size_t plane_bytes, int planes, std::vector<Number>& out) {
  std::fill(out.begin(), out.end(), Number{0});
  for (int p = 0; p < planes; ++p, row += plane_bytes) {
    for (std::size_t x = 0; x < out.size(); ++x) {
      out[x] = static_cast<Number>(out[x] | static_cast<Number>(row[x / 8] >> (7 - x % 8) & 1) << p);
    }
  }
}

// The upper two bits say whether the others are a colour of the palette, or replace one part of the pixel before.
void put_held(const planar_header& header, const std::vector<std::uint8_t>& codes, image& image, int y) {
  const int bits = header.planes - 2;
  const int most = (1 << bits) - 1;
  std::array<std::uint8_t, 3> color{};
  if (!header.palette.empty()) color = header.palette[0];
  for (std::size_t x = 0; x < codes.size(); ++x) {
    const int value = codes[x] & most;
    const auto part = static_cast<std::uint8_t>(bits == 4 ? value * 17 : value << 2 | value >> 4);
    switch (codes[x] >> bits) {
      case 0:
        color = header.palette[static_cast<std::size_t>(value)];
        break;
      case 1:
        color[2] = part;
        break;
      case 2:
        color[0] = part;
        break;
      default:
        color[1] = part;
    }
    for (std::size_t c = 0; c < 3; ++c) image.row(static_cast<int>(2 - c), y)[x] = color[c];
  }
}

void put_indices(const planar_header& header, const std::vector<std::uint8_t>& codes, image& image, int y) {
  for (std::size_t x = 0; x < codes.size(); ++x) {
    for (std::size_t c = 0; c < 3; ++c) image.row(static_cast<int>(2 - c), y)[x] = header.palette[codes[x]][c];
    if (header.mask == 2) image.row(3, y)[x] = codes[x] == header.clear_color ? 0 : 255;
  }
}

void put_colors(const std::vector<std::uint32_t>& pixels, bool alpha, image& image, int y) {
  for (std::size_t x = 0; x < pixels.size(); ++x) {
    for (std::size_t c = 0; c < (alpha ? 4U : 3U); ++c) {
      image.row(static_cast<int>(c == 3 ? 3 : 2 - c), y)[x] = static_cast<std::uint8_t>(pixels[x] >> (8 * c));
    }
  }
}

void put_mask(const std::uint8_t* row, image& image, int y) {
  std::uint8_t* out = image.row(3, y);
  for (int x = 0; x < image.width; ++x) out[x] = (row[x / 8] >> (7 - x % 8) & 1) != 0 ? 255 : 0;
}

}  // namespace

planar_header read_planar_header(const byte_cursor& chunks, bool bytes, const std::string& path) {
  planar_header header;
  header.bytes = bytes;
  int compression = 0;
  std::uint32_t mode = 0;
  bool there = false;
  for_chunks(chunks, alignment, [&](std::string_view name, byte_cursor data) {
    if (name == "BMHD") {
      there = true;
      header.width = data.be_u16();
      header.height = data.be_u16();
      data.take(4);
      header.planes = data.u8();
      header.mask = data.u8();
      compression = data.u8();
      data.take(1);
      header.clear_color = data.be_u16();
    } else if (name == "CMAP") {
      while (data.left() >= 3 && header.palette.size() < 256) {
        const std::uint8_t* color = data.take(3);
        header.palette.push_back({color[0], color[1], color[2]});
      }
    } else if (name == "CAMG" && data.left() >= 4) {
      mode = data.be_u32();
    }
    return name != "BODY";
  });
  if (!there) throw io::invalid_format(path, "Invalid image dimensions");
  check_header(header, compression, path);
  // Rows of bytes have no planes, so none of a mask.
  if (bytes && header.mask == 1) header.mask = 0;
  header.packed = compression == 1;
  header.hold_and_modify = (mode & hold_and_modify_mode) != 0 && (header.planes == 6 || header.planes == 8);
  if (header.planes <= 8) {
    // The second half of a palette of 32 colours is the first at half its brightness, where the mode says so.
    if ((mode & half_bright_mode) != 0 && header.planes == 6 && header.palette.size() >= 32) {
      header.palette.resize(32);
      for (std::size_t i = 0; i < 32; ++i) {
        const auto& c = header.palette[i];
        header.palette.push_back({static_cast<std::uint8_t>(c[0] / 2), static_cast<std::uint8_t>(c[1] / 2),
                                  static_cast<std::uint8_t>(c[2] / 2)});
      }
    }
    // Without a palette the numbers are gray.
    if (header.palette.empty() && !header.hold_and_modify) {
      const int most = (1 << header.planes) - 1;
      for (int i = 0; i <= most; ++i) {
        const auto gray = static_cast<std::uint8_t>(i * 255 / most);
        header.palette.push_back({gray, gray, gray});
      }
    }
    header.palette.resize(256);
  }
  return header;
}

void read_planes(const byte_cursor& chunks, const planar_header& header, const std::string& path, image& image) {
  const auto width = static_cast<std::size_t>(header.width);
  const std::size_t plane_bytes = header.bytes ? (width + 1) / 2 * 2 : (width + 15) / 16 * 2;
  const int planes = header.bytes ? 1 : header.planes + (header.mask == 1 ? 1 : 0);
  const std::size_t row_bytes = plane_bytes * static_cast<std::size_t>(planes);
  bool found = false;
  for_chunks(chunks, alignment, [&](std::string_view name, byte_cursor data) {
    if (name != "BODY") return true;
    found = true;
    std::vector<std::uint8_t> unpacked(row_bytes), codes(width);
    std::vector<std::uint32_t> pixels(width);
    for (int y = 0; y < header.height; ++y) {
      const std::uint8_t* row = unpacked.data();
      if (header.packed) {
        std::size_t used = 0;
        const std::string_view rest = data.peek(data.left());
        if (unpack_packbits(unpacked.data(), row_bytes, reinterpret_cast<const std::uint8_t*>(rest.data()), rest.size(),
                            &used) < row_bytes) {
          throw io::eof_error(path);
        }
        data.take(used);
      } else {
        row = data.take(row_bytes);
      }
      if (header.planes > 8) {
        gather(row, plane_bytes, header.planes, pixels);
        put_colors(pixels, header.planes == 32, image, y);
      } else {
        if (header.bytes) {
          std::copy_n(row, width, codes.begin());
        } else {
          gather(row, plane_bytes, header.planes, codes);
        }
        if (header.hold_and_modify) {
          put_held(header, codes, image, y);
        } else {
          put_indices(header, codes, image, y);
        }
      }
      if (header.mask == 1) put_mask(row + plane_bytes * static_cast<std::size_t>(header.planes), image, y);
    }
    return false;
  });
  if (!found) throw io::eof_error(path);
}

}  // namespace img
