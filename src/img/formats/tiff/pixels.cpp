#include "img/formats/tiff/pixels.h"

#include <algorithm>
#include <cstring>

#include "img/formats/shared/byte_order.h"
#include "img/formats/shared/parallel_tasks.h"
#include "img/formats/shared/refuse.h"
#include "img/formats/tiff/blocks.h"
#include "img/row_kernels.h"
#include "io/exceptions.h"

namespace img {
namespace {

constexpr int piece_bytes = 256 << 10;

// Whether only the library knows how these colours become red, green and blue.
bool needs_library_colors(const tiff_picture& picture) {
  switch (picture.photometric) {
    case tiff_white_is_zero:
    case tiff_black_is_zero:
    case tiff_rgb:
    case tiff_palette:
    case tiff_cmyk:
      return false;
    case tiff_ycbcr:
      return picture.compression != tiff_jpeg || picture.planar;
    default:
      return true;
  }
}

// Rows of one block that lie in the picture.
struct piece {
  int sample = 0;  // the only one in the block, or the first
  int x = 0, y = 0;
  int width = 0, rows = 0;
};

std::size_t plane_of_sample(const tiff_picture& picture, int sample) {
  if (sample >= picture.colors) return 3;
  return picture.colors == 1 ? 0 : static_cast<std::size_t>(2 - sample);
}

// Samples of 1 to 31 bits, most significant bit first, as samples of 8, 16 or 32 bits that fill their range.
class widener {
 public:
  explicit widener(const tiff_picture& picture) : bits_(picture.bits) {}
  bool is_needed() const { return bits_ != 8 && bits_ != 16 && bits_ != 32 && bits_ != 64; }
  int bits() const { return bits_ < 8 ? 8 : bits_ < 16 ? 16 : 32; }

  const std::uint8_t* widen(const std::uint8_t* row, std::size_t count, bool scale) {
    wide_.resize(count * static_cast<std::size_t>(bits() / 8));
    const std::uint64_t most = (std::uint64_t{1} << bits_) - 1;
    const std::uint64_t full = (std::uint64_t{1} << bits()) - 1;
    std::uint64_t held = 0;
    int have = 0;
    for (std::size_t i = 0; i < count; ++i) {
      while (have < bits_) {
        held = held << 8 | *row++;
        have += 8;
      }
      have -= bits_;
      std::uint64_t value = held >> have & most;
      if (scale) value = (value * full + most / 2) / most;
      std::memcpy(wide_.data() + i * static_cast<std::size_t>(bits() / 8), &value,
                  static_cast<std::size_t>(bits() / 8));
    }
    return wide_.data();
  }

 private:
  int bits_;
  std::vector<std::uint8_t> wide_;
};

std::uint32_t whole_at(const std::uint8_t* at, const sample_form& form) {
  switch (form.bits) {
    case 8:
      return *at;
    case 16:
      return form.swapped ? be16(at) : le16(at);
    default:
      return form.swapped ? be32(at) : le32(at);
  }
}

// Ink to light without a profile: each light is what its ink and black leave.
void put_inks(const tiff_file& file, image& image, const piece& at, int y, const std::uint8_t* row, std::size_t step,
              const sample_form& form) {
  if (form.kind == sample_form::real) {
    refuse(file.path(), "Unsupported TIFF variant", "floats in CMYK", "integers are read");
  }
  const std::uint16_t* table = encoded16_to_half();
  for (int x = 0; x < at.width; ++x, row += step) {
    const std::size_t bytes = static_cast<std::size_t>(form.bytes());
    const int shift = form.bits == 32 ? 16 : 0;
    const std::uint64_t full = form.bits == 8 ? 255 : 65535;
    const std::uint64_t black = full - (whole_at(row + 3 * bytes, form) >> shift);
    for (std::size_t c = 0; c < 3; ++c) {
      const std::uint64_t light = ((full - (whole_at(row + c * bytes, form) >> shift)) * black + full / 2) / full;
      const int plane = static_cast<int>(2 - c);
      if (form.bits == 8) {
        image.row(plane, y)[at.x + x] = static_cast<std::uint8_t>(light);
      } else {
        image.row<std::uint16_t>(plane, y)[at.x + x] = table[light];
      }
    }
  }
}

// A palette holds words. Most writers put a byte into the upper half and repeat it, 0 or 255 below, and some old ones
// the byte itself.
std::vector<std::uint8_t> bytes_of_palette(const std::vector<std::uint64_t>& words) {
  const auto all = [&](const auto& test) { return std::all_of(words.begin(), words.end(), test); };
  const bool bytes = all([](std::uint64_t v) { return v < 256; });
  const bool upper = all([](std::uint64_t v) { return (v & 255) == 0 || (v & 255) == 255 || (v & 255) == v >> 8; });
  std::vector<std::uint8_t> out;
  for (const std::uint64_t v : words) {
    out.push_back(static_cast<std::uint8_t>(bytes ? v : upper ? v >> 8 : (v + 128) / 257));
  }
  return out;
}

void put_palette(const std::vector<std::uint8_t>& palette, image& image, const piece& at, int y,
                 const std::uint8_t* row, std::size_t step, const sample_form& form) {
  const std::size_t entries = palette.size() / 3;
  for (int x = 0; x < at.width; ++x, row += step) {
    const std::size_t index = std::min<std::size_t>(whole_at(row, form), entries - 1);
    for (std::size_t c = 0; c < 3; ++c) image.row(static_cast<int>(2 - c), y)[at.x + x] = palette[c * entries + index];
  }
}

// Gray is the same in all three colours.
void repeat_gray(image& image, const piece& at, int y) {
  const std::size_t bytes = static_cast<std::size_t>(image.depth[0]) / 8;
  const std::size_t offset =
      (static_cast<std::size_t>(y) * static_cast<std::size_t>(image.width) + static_cast<std::size_t>(at.x)) * bytes;
  for (std::size_t p = 1; p < 3; ++p) {
    std::memcpy(image.data[p].data() + offset, image.data[0].data() + offset,
                static_cast<std::size_t>(at.width) * bytes);
  }
}

void put_row(const tiff_file& file, const tiff_picture& picture, const std::vector<std::uint8_t>& palette, image& image,
             const piece& at, int y, const std::uint8_t* row, const sample_form& form) {
  const int samples = picture.block_samples();
  const std::size_t step = static_cast<std::size_t>(samples) * static_cast<std::size_t>(form.bytes());
  const auto width = static_cast<std::size_t>(at.width);
  if (picture.photometric == tiff_palette) {
    put_palette(palette, image, at, y, row, step, form);
  } else if (picture.photometric == tiff_cmyk) {
    put_inks(file, image, at, y, row, step, form);
    if (picture.has_alpha)
      put_samples(image, 3, at.x, y, width, row + 4 * static_cast<std::size_t>(form.bytes()), step, form);
  } else if (!picture.planar && picture.colors == 3 && form.bits == 8 && samples <= 4) {
    const row_kernels& kernels = active_row_kernels();
    std::uint8_t* red = image.row(2, y) + at.x;
    std::uint8_t* green = image.row(1, y) + at.x;
    std::uint8_t* blue = image.row(0, y) + at.x;
    if (samples == 3) {
      kernels.split3(row, red, green, blue, width);
    } else {
      kernels.split4(row, red, green, blue, image.row(3, y) + at.x, width);
    }
  } else if (!picture.planar && picture.colors == 3 && samples == 3 && image.depth[0] == 16) {
    halves_of_colors(image.row<std::uint16_t>(2, y) + at.x, image.row<std::uint16_t>(1, y) + at.x,
                     image.row<std::uint16_t>(0, y) + at.x, row, width, form);
  } else {
    const int wanted = std::min(samples, picture.colors + (picture.has_alpha ? 1 : 0));
    for (int s = 0; s < wanted; ++s) {
      const int sample = at.sample + s;
      sample_form own = form;
      if (sample >= picture.colors) own.inverted = false;
      put_samples(image, static_cast<int>(plane_of_sample(picture, sample)), at.x, y, width,
                  row + static_cast<std::size_t>(s * form.bytes()), step, own);
    }
    if (picture.colors == 1 && at.sample == 0) repeat_gray(image, at, y);
  }
}

void read_by_library(const tiff_file& file, const tiff_picture& picture, image& image) {
  plane pixels(std::size_t{4} * static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height));
  const std::size_t most = 4 * pixels.size() + static_cast<std::size_t>(file.source().size()) + (1 << 20);
  tiff_library_picture(file.path(), picture.position, most)
      .read_rgba(image.width, image.height, pixels.as<std::uint32_t>());
  lib::parallel_rows(image.height, static_cast<long long>(pixels.size()), [&](int first, int last) {
    const auto width = static_cast<std::size_t>(image.width);
    std::vector<std::uint8_t> unused(image.has_plane(3) ? 0 : width);
    for (int y = first; y < last; ++y) {
      const std::uint8_t* row = pixels.data() + 4 * width * static_cast<std::size_t>(y);
      active_row_kernels().split4(row, image.row(2, y), image.row(1, y), image.row(0, y),
                                  image.has_plane(3) ? image.row(3, y) : unused.data(), width);
    }
  });
}

}  // namespace

const char* letters_of(const tiff_picture& picture) {
  return picture.has_alpha ? "BGRA" : "BGR";
}

int depth_of(const tiff_picture& picture) {
  return picture.bits <= 8 || picture.photometric == tiff_palette || needs_library_colors(picture) ? 8 : 16;
}

void read_tiff_pixels(const tiff_file& file, const tiff_picture& picture, image& image) {
  if (needs_library_colors(picture)) return read_by_library(file, picture, image);
  if (picture.photometric == tiff_cmyk && picture.planar) return read_by_library(file, picture, image);
  const int height = picture.block_height;
  const bool in_parts = picture.compression == tiff_none;
  const int part_rows =
      in_parts ? std::clamp(piece_bytes / static_cast<int>(std::min<std::size_t>(picture.row_bytes(), piece_bytes)), 1,
                            height)
               : height;
  const int parts = (height + part_rows - 1) / part_rows;
  const int blocks_of_plane = picture.across() * picture.down();
  const int wanted_planes =
      picture.planar ? std::min(picture.samples, picture.colors + (picture.has_alpha ? 1 : 0)) : 1;
  const std::vector<std::uint8_t> palette = bytes_of_palette(picture.palette);
  struct worker {
    tiff_blocks blocks;
  };
  const bool small = static_cast<long long>(picture.width) * picture.height < 32768;
  parallel_tasks<worker>(
      blocks_of_plane * wanted_planes * parts, small ? 1 : lib::thread_count(), [&](int task, worker& own) {
        const int block = task / parts;
        const int in_plane = block % blocks_of_plane;
        const int first = task % parts * part_rows;
        piece at;
        at.sample = block / blocks_of_plane;
        at.x = in_plane % picture.across() * picture.block_width;
        at.y = in_plane / picture.across() * height + first;
        at.width = std::min(picture.block_width, picture.width - at.x);
        at.rows = std::min({part_rows, height - first, picture.height - at.y});
        if (at.rows <= 0) return;
        const std::uint8_t* row = own.blocks.rows(file, picture, static_cast<std::size_t>(block), first, at.rows);
        sample_form form = tiff_blocks::form_of(file, picture);
        widener widener(picture);
        for (int y = at.y; y < at.y + at.rows; ++y, row += picture.row_bytes()) {
          const std::uint8_t* samples = row;
          if (widener.is_needed()) {
            samples = widener.widen(
                row, static_cast<std::size_t>(at.width) * static_cast<std::size_t>(picture.block_samples()),
                picture.photometric != tiff_palette);
            form.bits = widener.bits();
            form.swapped = false;
          }
          put_row(file, picture, palette, image, at, y, samples, form);
        }
      });
}

}  // namespace img
