#include "img/formats/psd/document.h"

#include <algorithm>

#include "img/formats/shared/byte_cursor.h"
#include "img/formats/shared/icc_name.h"
#include "img/formats/shared/metadata_text.h"
#include "img/formats/shared/refuse.h"
#include "io/exceptions.h"
#include "lib/utf.h"

namespace img {
namespace {

constexpr int header_size = 26;
constexpr std::int64_t most_layer_records = 16 << 20;

std::int64_t length_at(const source_file& file, std::int64_t position, int bytes) {
  std::uint8_t number[8];
  file.read(number, static_cast<std::size_t>(bytes), position);
  const std::uint64_t value = bytes == 8 ? be64(number) : be32(number);
  const std::int64_t length = static_cast<std::int64_t>(std::min<std::uint64_t>(value, std::uint64_t{1} << 62));
  file.check_range(position + bytes, length);
  return length;
}

// Blocks after a layer's name or after all layers; body(key, cursor over the data).
template <class Body>
void for_blocks(byte_cursor& at, bool large, const Body& body) {
  // In the large form the lengths of these have eight bytes.
  static constexpr std::string_view wide[] = {"LMsk", "Lr16", "Lr32", "Layr", "Mt16", "Mt32", "Mtrn",
                                              "Alph", "FMsk", "lnk2", "FEid", "FXid", "PxSD"};
  while (at.left() >= 12) {
    const std::string_view signature = at.peek(4);
    if (signature != "8BIM" && signature != "8B64") return;
    at.take(4);
    const std::string_view key{reinterpret_cast<const char*>(at.take(4)), 4};
    const bool long_length = large && std::find(std::begin(wide), std::end(wide), key) != std::end(wide);
    std::uint64_t length = long_length ? be64(at.take(8)) : at.be_u32();
    if (length > at.left()) return;
    body(key, at.part(static_cast<std::size_t>(length)));
    // Lengths are even, and in the list after all layers a multiple of four.
    while (at.left() >= 4 && at.peek(4) != "8BIM" && at.peek(4) != "8B64" && at.peek(1)[0] == 0 && length % 4 != 0) {
      at.take(1);
      ++length;
    }
  }
}

std::string unicode_name(byte_cursor at) {
  const std::uint32_t count = at.be_u32();
  std::u16string text;
  for (std::uint32_t i = 0; i < count && at.left() >= 2; ++i) text += static_cast<char16_t>(at.be_u16());
  while (!text.empty() && text.back() == 0) text.pop_back();
  return lib::to_utf8(text);
}

psd_layer read_layer(byte_cursor& at, bool large) {
  psd_layer layer;
  layer.top = static_cast<std::int32_t>(at.be_u32());
  layer.left = static_cast<std::int32_t>(at.be_u32());
  const std::int64_t bottom = static_cast<std::int32_t>(at.be_u32());
  const std::int64_t right = static_cast<std::int32_t>(at.be_u32());
  layer.width = static_cast<int>(std::clamp<std::int64_t>(right - layer.left, 0, 300000));
  layer.height = static_cast<int>(std::clamp<std::int64_t>(bottom - layer.top, 0, 300000));
  layer.channels.resize(at.be_u16());
  for (psd_channel& channel : layer.channels) {
    channel.id = static_cast<std::int16_t>(at.be_u16());
    channel.size = static_cast<std::int64_t>(large ? be64(at.take(8)) : at.be_u32());
  }
  const std::string_view blend{reinterpret_cast<const char*>(at.take(8)), 8};
  const int opacity = at.u8(), clipping = at.u8(), flags = at.u8();
  at.take(1);
  constexpr int hidden = 2;
  layer.alone = blend == "8BIMnorm" && opacity == 255 && clipping == 0 && (flags & hidden) == 0;
  byte_cursor extra = at.part(at.be_u32());
  const std::uint32_t mask = extra.be_u32();
  extra.take(mask);
  layer.alone = layer.alone && mask == 0;
  extra.take(extra.be_u32());  // blending ranges
  const std::size_t length = extra.u8();
  const std::string_view short_name{reinterpret_cast<const char*>(extra.take(length)), length};
  layer.name = utf8_of_latin1(short_name);
  const std::size_t padding = (4 - (length + 1) % 4) % 4;
  extra.take(std::min(padding, extra.left()));
  for_blocks(extra, large, [&](std::string_view key, byte_cursor block) {
    if (key == "luni" && block.left() >= 4) {
      layer.name = unicode_name(block);
    } else {
      layer.alone = false;
    }
  });
  return layer;
}

// The records and then the channels of one list of layers, whose first byte lies at `position` of the file.
std::vector<psd_layer> read_list(byte_cursor at, std::int64_t position, bool large) {
  std::vector<psd_layer> layers;
  const std::size_t whole = at.left();
  const int count = std::abs(static_cast<std::int16_t>(at.be_u16()));
  for (int i = 0; i < count; ++i) layers.push_back(read_layer(at, large));
  if (count != 1) {
    for (psd_layer& layer : layers) layer.alone = false;
  }
  position += static_cast<std::int64_t>(whole - at.left());
  for (psd_layer& layer : layers) {
    for (psd_channel& channel : layer.channels) {
      channel.position = position;
      position += std::max<std::int64_t>(channel.size, 0);
    }
  }
  return layers;
}

// The count of layers is negative when the merged picture has a transparency of its own.
bool has_merged_transparency(const source_file& file, const psd_document& document) {
  const file_bytes bytes(file, document.layers, std::min<std::int64_t>(document.layers_end - document.layers, 1 << 20));
  byte_cursor at = bytes.cursor();
  bool negative = false;
  try {
    const std::uint64_t length = document.large ? be64(at.take(8)) : at.be_u32();
    if (length >= 2) return static_cast<std::int16_t>(at.be_u16()) < 0;
    at.take(std::min<std::uint64_t>(length, at.left()));
    at.take(std::min<std::size_t>(at.be_u32(), at.left()));
    // The block itself may be longer than what was read of it.
    for_blocks(at, document.large, [&](std::string_view key, byte_cursor block) {
      if (key == "Lr16" || key == "Lr32") negative = static_cast<std::int16_t>(block.be_u16()) < 0;
      if (key == "Mt16" || key == "Mt32" || key == "Mtrn") negative = true;
    });
  } catch (const io::eof_error&) {
    // No layers, no transparency.
  }
  return negative;
}

}  // namespace

psd_document read_psd_document(const source_file& file) {
  const std::string& path = file.path();
  std::uint8_t header[header_size];
  file.read(header, header_size, 0);
  if (be32(header) != 0x38425053) throw io::invalid_signature(path);  // "8BPS"
  psd_document document;
  const int version = be16(header + 4);
  document.large = version == 2;
  document.channels = be16(header + 12);
  const std::uint32_t height = be32(header + 14), width = be32(header + 18);
  document.bits = be16(header + 22);
  document.mode = be16(header + 24);
  if (version != 1 && version != 2) refuse(path, "Unsupported variant", version, "versions 1 and 2 are read");
  const int bits = document.bits;
  if (document.mode == psd_bitmap ? bits != 1 : bits != 8 && bits != 16 && bits != 32) {
    refuse(path, "Invalid/unsupported bit depth", bits,
           document.mode == psd_bitmap ? "bitmaps have 1" : "1, 8, 16 and 32 are read");
  }
  constexpr int modes[] = {psd_bitmap, psd_gray, psd_indexed, psd_rgb, psd_cmyk, psd_duotone};
  if (std::find(std::begin(modes), std::end(modes), document.mode) == std::end(modes)) {
    refuse(path, "Unsupported variant", "colour mode " + std::to_string(document.mode), "0, 1, 2, 3, 4 and 8 are read");
  }
  if (document.mode == psd_indexed && bits != 8) {
    refuse(path, "Invalid/unsupported bit depth", bits, "indexed colours have 8");
  }
  if (document.channels < document.colors() || document.channels > 56) {
    refuse(path, "Unsupported number of channels", document.channels,
           std::to_string(document.colors()) + " to 56 are read");
  }
  check_dimensions(path, width, height);
  document.width = static_cast<int>(width);
  document.height = static_cast<int>(height);

  std::int64_t at = header_size;
  const std::int64_t palette = length_at(file, at, 4);
  if (document.mode == psd_indexed) {
    if (palette < 768) throw io::eof_error(path);
    document.palette = at + 4;
  }
  at += 4 + palette;
  document.resources = at + 4;
  document.resources_end = document.resources + length_at(file, at, 4);
  const int wide = document.large ? 8 : 4;
  document.layers = document.resources_end + wide;
  document.layers_end = document.layers + length_at(file, document.resources_end, wide);
  document.merged = document.layers_end;
  document.on_white = document.has_alpha() && bits != 32 && has_merged_transparency(file, document);
  return document;
}

std::vector<psd_layer> read_psd_layers(const source_file& file, const psd_document& document) {
  const std::int64_t size = document.layers_end - document.layers;
  const int wide = document.large ? 8 : 4;
  // Bitmaps and indexed pictures have none.
  if (size < wide || document.mode == psd_bitmap || document.mode == psd_indexed) return {};
  const file_bytes bytes(file, document.layers, std::min(size, most_layer_records));
  std::vector<psd_layer> layers;
  try {
    byte_cursor at = bytes.cursor();
    const std::uint64_t length = document.large ? be64(at.take(8)) : at.be_u32();
    if (length >= 2) {
      byte_cursor list = at;
      layers =
          read_list(list.part(std::min<std::uint64_t>(length, list.left())), document.layers + wide, document.large);
    }
    // Layers of 16 and 32 bits lie in a block after an empty list and the mask of all layers.
    if (layers.empty()) {
      at.take(std::min<std::uint64_t>(length, at.left()));
      at.take(std::min<std::size_t>(at.be_u32(), at.left()));
      for_blocks(at, document.large, [&](std::string_view key, byte_cursor block) {
        if (key != "Lr16" && key != "Lr32") return;
        const std::int64_t position = document.layers + (block.take(0) - bytes.data());
        layers = read_list(block, position, document.large);
      });
    }
  } catch (const io::eof_error&) {
    // The merged picture does not need the layers.
  }
  std::erase_if(layers, [](const psd_layer& layer) { return layer.width == 0 || layer.height == 0; });
  std::reverse(layers.begin(), layers.end());
  return layers;
}

void take_psd_metadata(const source_file& file, const psd_document& document, image_info& info) {
  const file_bytes bytes(file, document.resources,
                         std::min<std::int64_t>(document.resources_end - document.resources, 64 << 20));
  byte_cursor at = bytes.cursor();
  try {
    while (at.left() >= 12 && at.peek(4) == "8BIM") {
      at.take(4);
      const int id = at.be_u16();
      const std::size_t name = at.u8();
      at.take(name + (name + 1) % 2);
      const std::size_t size = at.be_u32();
      const std::uint8_t* data = at.take(size);
      if (size % 2 != 0 && at.left() > 0) at.take(1);
      constexpr int resolution = 1005, profile = 1039, xmp = 1060;
      if (id == resolution && size >= 16) {
        info.metadata["resolution"] = print("%.10g x %.10g dpi", be32(data) / 65536.0, be32(data + 8) / 65536.0);
      } else if (id == profile) {
        const std::string text = icc_name({data, size});
        if (!text.empty()) info.metadata["icc_profile"] = text;
      } else if (id == xmp) {
        info.metadata["xmp"] = valid_utf8({reinterpret_cast<const char*>(data), std::min<std::size_t>(size, 64 << 10)});
      }
    }
  } catch (const io::eof_error&) {
    // The other blocks are not needed to show the picture.
  }
}

}  // namespace img
