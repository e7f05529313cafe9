#include "render/channels.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <memory>

#include "img/transfer.h"
#include "lib/parallel.h"
#include "render/image_pool.h"
#include "render/plane_kernels.h"

namespace render {
namespace {

using ksn::view_type;

// The plane that b_, g_ and r_ values name; -1 for the rest.
int color_plane(view_type channels) {
  const int value = static_cast<int>(channels);
  return value <= static_cast<int>(view_type::r_hidden) ? value / 3 : -1;
}

template <class Body>
void for_rows(const img::image& image, Body&& body) {
  const long long samples = 1LL * image.width * image.height;
  lib::parallel_rows(image.height, samples, [&](int top, int bottom) {
    const std::size_t first = static_cast<std::size_t>(top) * image.width;
    const std::size_t last = static_cast<std::size_t>(bottom) * image.width;
    body(first, last);
  });
}

const std::array<std::uint16_t, 256>& byte_to_half() {
  static const auto table = [] {
    std::array<std::uint16_t, 256> values{};
    for (int i = 0; i < 256; ++i) values[i] = img::float_to_half(static_cast<float>(i / 255.0));
    return values;
  }();
  return table;
}

std::uint8_t half_to_byte(std::uint16_t bits) {
  const double value = img::half_to_double(bits);
  if (!(value > 0.0)) return 0;
  return value >= 1.0 ? 255 : static_cast<std::uint8_t>(value * 255.99);
}

// Alpha and depth may have another depth than the colours; other pairs of depths than these are left alone.
bool can_copy_plane(int from_bits, int to_bits) {
  return from_bits == to_bits || (from_bits == 8 && to_bits == 16) || (from_bits == 16 && to_bits == 8);
}

void copy_plane(img::image& target, int to, const img::image& source, int from) {
  const int from_bits = source.depth[from];
  const int to_bits = target.depth[to];
  for_rows(target, [&](std::size_t first, std::size_t last) {
    if (from_bits == to_bits) {
      const std::size_t bytes = static_cast<std::size_t>(to_bits) / 8;
      std::memcpy(target.data[to].data() + first * bytes, source.data[from].data() + first * bytes,
                  (last - first) * bytes);
    } else if (from_bits == 8) {
      const auto& table = byte_to_half();
      const std::uint8_t* in = source.data[from].data();
      auto* out = target.data[to].as<std::uint16_t>();
      for (std::size_t i = first; i < last; ++i) out[i] = table[in[i]];
    } else {
      const auto* in = source.data[from].as<std::uint16_t>();
      std::uint8_t* out = target.data[to].data();
      for (std::size_t i = first; i < last; ++i) out[i] = half_to_byte(in[i]);
    }
  });
}

void clear_plane(img::image& image, int index) {
  if (!image.has_plane(index)) return;
  const std::size_t bytes = static_cast<std::size_t>(image.depth[index]) / 8;
  for_rows(image, [&](std::size_t first, std::size_t last) {
    std::memset(image.data[index].data() + first * bytes, 0, (last - first) * bytes);
  });
}

void spread_plane(img::image& image, int from) {
  if (!image.has_plane(from)) return;
  for (int to = 0; to < 3; ++to) {
    if (to != from && image.has_plane(to) && can_copy_plane(image.depth[from], image.depth[to])) {
      copy_plane(image, to, image, from);
    }
  }
}

bool has_colors(const img::image& image) {
  return image.has_plane(0) && image.has_plane(1) && image.has_plane(2) && image.depth[0] == image.depth[1] &&
         image.depth[0] == image.depth[2];
}

void half_luminance(img::image& image) {
  static const std::unique_ptr<double[]> values = [] {
    auto table = std::make_unique<double[]>(65536);
    for (int i = 0; i < 65536; ++i) table[i] = img::half_to_double(static_cast<std::uint16_t>(i));
    return table;
  }();
  auto* b = image.data[0].as<std::uint16_t>();
  auto* g = image.data[1].as<std::uint16_t>();
  auto* r = image.data[2].as<std::uint16_t>();
  for_rows(image, [&](std::size_t first, std::size_t last) {
    for (std::size_t i = first; i < last; ++i) {
      const double y = 0.2126 * values[r[i]] + 0.7152 * values[g[i]] + 0.0722 * values[b[i]];
      b[i] = g[i] = r[i] = img::float_to_half(static_cast<float>(y));
    }
  });
}

void select_planes(img::image& image, view_type channels) {
  const int plane = color_plane(channels);
  if (plane >= 0) {
    switch (static_cast<int>(channels) % 3) {
      case 0:  // grayscale
        return spread_plane(image, plane);
      case 1:  // color
        for (int other = 0; other < 3; ++other) {
          if (other != plane) clear_plane(image, other);
        }
        return;
      default:  // hidden
        return clear_plane(image, plane);
    }
  }
  if (channels == view_type::alpha) spread_plane(image, alpha_plane);
  if (channels == view_type::depth) spread_plane(image, depth_plane);
  if (channels == view_type::luma && has_colors(image)) {
    if (image.depth[0] == 16) {
      half_luminance(image);
    } else if (image.depth[0] == 8) {
      luminance(image.data[0].data(), image);
      copy_plane(image, 1, image, 0);
      copy_plane(image, 2, image, 0);
    }
  }
}

// One 10-bit value in all three fields.
constexpr std::uint32_t all_fields = 0x401004;
constexpr std::array<std::uint32_t, 3> field_mask{0xFFC, 0x3FF000, 0xFFC00000};
constexpr std::array<int, 3> field_shift{2, 12, 22};

// Runs every word through `change` and turns big-endian words into host order on the way.
template <class Change>
void for_words(img::image& image, Change&& change) {
  auto* words = image.data[0].as<std::uint32_t>();
  const bool swapped = image.format[0] == 'U' && std::endian::native == std::endian::little;
  for_rows(image, [&](std::size_t first, std::size_t last) {
    if (swapped) {
      for (std::size_t i = first; i < last; ++i) words[i] = change(__builtin_bswap32(words[i]));
    } else {
      for (std::size_t i = first; i < last; ++i) words[i] = change(words[i]);
    }
  });
  if (image.format[0] == 'U') image.format[0] = 'u';
}

void show_packed_plane(img::image& image, int index) {
  if (!image.has_plane(index) || !can_copy_plane(image.depth[index], 8)) return;
  const img::image_ptr shown = pooled_image("BGR", image.width, image.height);
  shown->copy_info(image);
  for (int to = 0; to < 3; ++to) copy_plane(*shown, to, image, index);
  image.swap(*shown);
}

void packed_luminance(img::image& image) {
  static const auto code_words = [] {
    std::array<std::uint32_t, 256> words{};
    for (int i = 0; i < 256; ++i) {
      words[i] = static_cast<std::uint32_t>(img::log_encode(img::srgb_decode(i / 255.0))) * all_fields;
    }
    return words;
  }();
  const img::image_ptr bytes = pooled_image();
  img::transfer default_settings;
  default_settings.convert(*bytes, image);
  const img::image_ptr gray = pooled_image("L", image.width, image.height);
  luminance(gray->data[0].data(), *bytes);
  const std::uint8_t* in = gray->data[0].data();
  auto* words = image.data[0].as<std::uint32_t>();
  for_rows(image, [&](std::size_t first, std::size_t last) {
    for (std::size_t i = first; i < last; ++i) words[i] = code_words[in[i]];
  });
  image.format[0] = 'u';
}

void select_fields(img::image& image, view_type channels) {
  const int field = color_plane(channels);
  if (field >= 0) {
    const std::uint32_t mask = field_mask[field];
    const int shift = field_shift[field];
    switch (static_cast<int>(channels) % 3) {
      case 0:
        return for_words(image, [=](std::uint32_t word) { return ((word & mask) >> shift) * all_fields; });
      case 1:
        return for_words(image, [=](std::uint32_t word) { return word & mask; });
      default:
        return for_words(image, [=](std::uint32_t word) { return word & ~mask; });
    }
  }
  if (channels == view_type::alpha) show_packed_plane(image, image.plane_of('A'));
  if (channels == view_type::depth) show_packed_plane(image, image.plane_of('Z'));
  if (channels == view_type::luma) packed_luminance(image);
}

}  // namespace

void select_channels(img::image& image, ksn::view_type channels) {
  if (image.empty() || channels == view_type::rgb) return;
  if (image.is_packed()) {
    select_fields(image, channels);
  } else {
    place_planes(image);
    select_planes(image, channels);
  }
}

bool planes_in_place(const img::image& image) {
  if (image.is_packed()) return true;
  const int alpha = image.plane_of('A');
  const int depth = image.plane_of('Z');
  return (alpha < 0 || alpha == alpha_plane) && (depth < 0 || depth == depth_plane);
}

void place_planes(img::image& image) {
  if (planes_in_place(image)) return;
  const auto move_plane = [&](int from, int to) {
    if (from < 0 || from == to) return;
    std::swap(image.format[from], image.format[to]);
    std::swap(image.depth[from], image.depth[to]);
    image.data[from].swap(image.data[to]);
    image.hint[from].swap(image.hint[to]);
  };
  move_plane(image.plane_of('Z'), depth_plane);
  move_plane(image.plane_of('A'), alpha_plane);
}

void luminance(std::uint8_t* out, const img::image& image) {
  const plane_kernels& rows = active_plane_kernels();
  for_rows(image, [&](std::size_t first, std::size_t last) {
    rows.luminance(out + first, image.data[0].data() + first, image.data[1].data() + first,
                   image.data[2].data() + first, last - first);
  });
}

}  // namespace render
