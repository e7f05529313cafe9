#include "img/formats/iff/tiled.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "img/formats/iff/chunks.h"
#include "img/formats/shared/deep_samples.h"
#include "img/formats/shared/refuse.h"
#include "io/exceptions.h"

namespace img {
namespace {

constexpr std::uint32_t has_color = 1, has_alpha = 2;
constexpr std::size_t tile_alignment = 4;

int plane_of_channel(int channel) {
  return channel == 3 ? 3 : 2 - channel;
}

// Bytes of one kind of a tile: a code with bit 7 repeats the byte after it, others are so many bytes as they stand.
void unpack(byte_cursor& codes, std::uint8_t* out, std::size_t count, const std::string& path) {
  for (std::size_t at = 0; at < count;) {
    const unsigned code = codes.u8();
    const std::size_t run = (code & 127) + 1;
    if (run > count - at) throw io::invalid_format(path, "Invalid tile data");
    if ((code & 128) != 0) {
      std::memset(out + at, codes.u8(), run);
    } else {
      std::memcpy(out + at, codes.take(run), run);
    }
    at += run;
  }
}

void read_tile(byte_cursor data, const tiled_header& header, const std::string& path, image& image) {
  const int left = data.be_u16(), bottom = data.be_u16(), right = data.be_u16(), top = data.be_u16();
  if (left > right || bottom > top || right >= header.width || top >= header.height) {
    throw io::invalid_format(path, "Invalid tile data");
  }
  const auto width = static_cast<std::size_t>(right - left + 1);
  const std::size_t pixels = width * static_cast<std::size_t>(top - bottom + 1);
  const auto channels = static_cast<std::size_t>(header.channels);
  const auto size = static_cast<std::size_t>(header.bytes);
  sample_form form;
  form.bits = 8 * header.bytes;
  form.swapped = true;
  // A tile that packing would not make smaller stands as it is: alpha, blue, green, red.
  const std::uint8_t* samples = nullptr;
  std::vector<std::uint8_t> unpacked;
  std::size_t step = channels * size;
  if (!header.packed || data.left() >= pixels * step) {
    samples = data.take(pixels * step);
  } else {
    // All the highest bytes come first, alpha before blue, green and red, and then the lower ones.
    step = size;
    unpacked.resize(pixels * channels * size);
    std::vector<std::uint8_t> bytes(pixels);
    for (std::size_t b = 0; b < size; ++b) {
      for (std::size_t c = 0; c < channels; ++c) {
        unpack(data, bytes.data(), pixels, path);
        for (std::size_t i = 0; i < pixels; ++i) unpacked[(c * pixels + i) * size + b] = bytes[i];
      }
    }
    samples = unpacked.data();
  }
  for (std::size_t c = 0; c < channels; ++c) {
    const int plane = plane_of_channel(static_cast<int>(channels - 1 - c));
    const std::uint8_t* channel = samples + (unpacked.empty() ? c * size : c * pixels * size);
    for (int y = bottom; y <= top; ++y) {
      put_samples(image, plane, left, header.height - 1 - y, width,
                  channel + static_cast<std::size_t>(y - bottom) * width * step, step, form);
    }
  }
}

}  // namespace

tiled_header read_tiled_header(const byte_cursor& chunks, const std::string& path) {
  tiled_header header;
  for_chunks(chunks, tile_alignment, [&](std::string_view name, byte_cursor data) {
    if (name != "TBHD") return true;
    const std::uint32_t width = data.be_u32(), height = data.be_u32();
    data.take(4);
    const std::uint32_t flags = data.be_u32();
    header.bytes = data.be_u16() == 0 ? 1 : 2;
    data.take(2);
    const std::uint32_t compression = data.be_u32();
    if (width < 1 || height < 1 || width > max_dimension || height > max_dimension) {
      refuse(path, "Invalid image dimensions", std::to_string(width) + " x " + std::to_string(height),
             "1 to " + std::to_string(max_dimension) + " are read");
    }
    if ((flags & has_color) == 0) throw io::invalid_format(path, "Alpha-only images are not supported");
    if (compression > 1) refuse(path, "Unsupported compression", compression, "0 and 1 are read");
    header.width = static_cast<int>(width);
    header.height = static_cast<int>(height);
    header.channels = (flags & has_alpha) != 0 ? 4 : 3;
    header.packed = compression == 1;
    return false;
  });
  if (header.width == 0) throw io::invalid_format(path, "Invalid image dimensions: no TBHD chunk tells them");
  return header;
}

void read_tiles(const byte_cursor& chunks, const tiled_header& header, const std::string& path, image& image) {
  for_chunks(chunks, tile_alignment, [&](std::string_view name, byte_cursor group) {
    if (name != "FOR4" || group.peek(4) != "TBMP") return true;
    group.take(4);
    for_chunks(group, tile_alignment, [&](std::string_view tile, byte_cursor data) {
      if (tile == "RGBA") read_tile(data, header, path, image);
      return true;
    });
    return false;
  });
}

}  // namespace img
