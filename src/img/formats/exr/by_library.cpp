// Pixels of the compressions that the library decodes, and of files with luminance and chroma.
#include <ImfArray.h>
#include <ImfFrameBuffer.h>
#include <ImfInputPart.h>
#include <ImfMultiPartInputFile.h>
#include <ImfRgbaFile.h>

#include <algorithm>

#include "img/formats/exr/decode.h"
#include "img/formats/exr/library.h"
#include "lib/parallel.h"

namespace img {
namespace {

// Lines that are read at once where they can't go into the picture directly: a whole number of chunks in every
// compression.
constexpr int block_lines = 256;

std::size_t data_width(const exr_file& file) {
  return static_cast<std::size_t>(file.data_window().max.x - file.data_window().min.x) + 1;
}

// The address that a sample at place 0, 0 would have, when `at` is that of the one at `x`, `y`.
char* origin_of(const void* at, std::int64_t x, std::int64_t y, std::int64_t sample, std::int64_t row) {
  return reinterpret_cast<char*>(reinterpret_cast<std::intptr_t>(at) - x * sample - y * row);
}

// The library makes room for two whole tiles a thread, also where only a corner of one lies in the picture.
void check_tiles(const exr_file& file) {
  if (!file.is_tiled()) return;
  constexpr double always = 8 << 20;  // bytes; 1024 x 1024 of four halves
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  exr_tile_level_mode_t levels = EXR_TILE_LAST_TYPE;
  exr_tile_round_mode_t rounding = EXR_TILE_ROUND_LAST_TYPE;
  file.check(exr_get_tile_descriptor(file.context(), file.part(), &width, &height, &levels, &rounding));
  double bytes = 0;  // of a pixel, at most
  for (int i = 0; i < file.channels().num_channels; ++i) {
    bytes += file.channels().entries[i].pixel_type == EXR_PIXEL_HALF ? 2 : 4;
  }
  const exr_attr_box2i_t& data = file.data_window();
  const double pixels = static_cast<double>(data_width(file)) * (static_cast<double>(data.max.y) - data.min.y + 1);
  const double tile = static_cast<double>(width) * height;
  if (tile > pixels && tile * bytes > always) {
    throw io::invalid_format(file.path(), "Unsupported tile size: " + std::to_string(width) + " x " +
                                              std::to_string(height) + ", larger than the picture");
  }
}

void read_directly(Imf::InputPart& input, const exr_file& file, const std::vector<exr_channel_use>& uses, image& image,
                   const exr_overlap& overlap) {
  const exr_attr_v2i_t& display = file.display_window().min;
  const std::int64_t row = image.width * 2LL;
  Imf::FrameBuffer target;
  for (const exr_channel_use& use : uses) {
    char* base = origin_of(image.data[static_cast<std::size_t>(use.plane)].data(), display.x, display.y, 2, row);
    target.insert(file.channels().entries[use.channel].name.str,
                  Imf::Slice(Imf::HALF, base, 2, static_cast<std::size_t>(row)));
  }
  input.setFrameBuffer(target);
  input.readPixels(overlap.top, overlap.bottom - 1);
}

void read_in_blocks(Imf::InputPart& input, const exr_file& file, const std::vector<exr_channel_use>& uses, image& image,
                    const exr_overlap& overlap) {
  const exr_attr_box2i_t& data = file.data_window();
  const exr_attr_v2i_t& display = file.display_window().min;
  const std::size_t width = data_width(file);
  const std::int64_t row = static_cast<std::int64_t>(width) * 2;
  std::vector<plane> blocks;
  for (std::size_t i = 0; i < uses.size(); ++i) blocks.emplace_back(width * 2 * block_lines);
  for (int top = overlap.top; top < overlap.bottom; top += block_lines) {
    const int bottom = std::min(top + block_lines, overlap.bottom);
    Imf::FrameBuffer target;
    for (std::size_t i = 0; i < uses.size(); ++i) {
      target.insert(file.channels().entries[uses[i].channel].name.str,
                    Imf::Slice(Imf::HALF, origin_of(blocks[i].data(), data.min.x, top, 2, row), 2,
                               static_cast<std::size_t>(row)));
    }
    input.setFrameBuffer(target);
    input.readPixels(top, bottom - 1);
    for (std::size_t i = 0; i < uses.size(); ++i) {
      for (int y = top; y < bottom; ++y) {
        const std::uint16_t* from = blocks[i].as<std::uint16_t>() + static_cast<std::size_t>(y - top) * width;
        std::copy_n(from + (overlap.left - data.min.x), overlap.right - overlap.left,
                    image.row<std::uint16_t>(uses[i].plane, y - display.y) + (overlap.left - display.x));
      }
    }
  }
}

}  // namespace

void read_by_library(const exr_file& file, const std::vector<exr_channel_use>& uses, image& image,
                     const exr_overlap& overlap) {
  check_tiles(file);
  start_exr_threads();
  with_exr_errors(file.path(), [&] {
    exr_input_stream stream(file.source());
    Imf::MultiPartInputFile parts(stream);
    Imf::InputPart input(parts, file.part());
    const bool inside = overlap.left == file.data_window().min.x && overlap.right == file.data_window().max.x + 1;
    if (inside) {
      read_directly(input, file, uses, image, overlap);
    } else {
      read_in_blocks(input, file, uses, image, overlap);
    }
  });
}

void decode_chroma(const exr_file& file, image& image) {
  if (file.part() > 0) {
    throw io::invalid_format(file.path(), "Luminance and chroma are read in the first part only");
  }
  const exr_overlap overlap = overlap_of(file);
  if (overlap.empty()) return;
  check_chunk_sizes(file);
  check_tiles(file);
  start_exr_threads();
  with_exr_errors(file.path(), [&] {
    exr_input_stream stream(file.source());
    Imf::RgbaInputFile input(stream);
    const exr_attr_box2i_t& data = file.data_window();
    const exr_attr_v2i_t& display = file.display_window().min;
    const std::size_t width = data_width(file);
    Imf::Array<Imf::Rgba> block(static_cast<long>(width) * block_lines);
    for (int top = overlap.top; top < overlap.bottom; top += block_lines) {
      const int bottom = std::min(top + block_lines, overlap.bottom);
      const auto row = static_cast<std::int64_t>(width * sizeof(Imf::Rgba));
      input.setFrameBuffer(reinterpret_cast<Imf::Rgba*>(origin_of(&block[0], data.min.x, top, sizeof(Imf::Rgba), row)),
                           1, width);
      input.readPixels(top, bottom - 1);
      lib::parallel_rows(
          bottom - top, static_cast<long long>(bottom - top) * static_cast<long long>(width), [&](int first, int last) {
            for (int line = first; line < last; ++line) {
              const Imf::Rgba* from =
                  &block[static_cast<long>(line) * static_cast<long>(width)] + (overlap.left - data.min.x);
              const int y = top + line - display.y;
              const int x = overlap.left - display.x;
              for (int i = 0; i < overlap.right - overlap.left; ++i) {
                image.row<std::uint16_t>(0, y)[x + i] = from[i].b.bits();
                image.row<std::uint16_t>(1, y)[x + i] = from[i].g.bits();
                image.row<std::uint16_t>(2, y)[x + i] = from[i].r.bits();
              }
            }
          });
    }
  });
}

}  // namespace img
