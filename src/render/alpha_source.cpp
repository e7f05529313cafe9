#include "render/alpha_source.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "img/color_rows.h"
#include "img/sampling.h"
#include "lib/parallel.h"
#include "render/channels.h"
#include "render/image_pool.h"
#include "render/pipeline.h"
#include "render/plane_kernels.h"

namespace render {
namespace {

using ksn::alpha_source_mode_type;
using ksn::alpha_source_range_type;
using ksn::channel_type;

// One 8-bit channel of a picture; `computed` keeps a luminance alive.
struct channel {
  const std::uint8_t* samples = nullptr;
  img::const_image_ptr computed;
  explicit operator bool() const { return samples != nullptr; }
};

// A gray picture stands for blue, green, red and luma with its one plane.
channel channel_of(const img::image& image, channel_type wanted) {
  int plane = static_cast<int>(wanted);
  if (wanted == channel_type::luma) {
    if (image.has_plane(0) && image.has_plane(1) && image.has_plane(2)) {
      const img::image_ptr gray = pooled_image("L", image.width, image.height);
      luminance(gray->data[0].data(), image);
      return {gray->data[0].data(), gray};
    }
    plane = 0;
  } else if ((plane == 1 || plane == 2) && !image.has_plane(plane)) {
    plane = 0;
  }
  if (!has_bytes(image, plane)) return {};
  return {image.data[plane].data(), nullptr};
}

// Where the columns (or rows) of the alpha source lie in the layer's picture: target x shows source sample
// scale.column(x - origin), for x in first to last - 1. Nothing else is covered.
struct placement {
  img::axis_scale scale;
  int origin = 0;
  int first = 0;
  int last = 0;
};

// `begin` to `end` - 1 are the source samples that its crop leaves.
template <class Sample>
placement place_axis(img::axis_scale scale, int origin, int target_size, int begin, int end, Sample&& sample) {
  placement at{scale, origin, std::max(0, origin), std::min(target_size, origin + scale.scaled_size())};
  while (at.first < at.last && sample(scale, at.first - origin) < begin) ++at.first;
  while (at.first < at.last && sample(scale, at.last - 1 - origin) >= end) --at.last;
  return at;
}

struct matte_placement {
  placement columns;
  placement rows;
};

matte_placement place_matte(const ksn::track_info& track, const img::image& target, int target_reduction,
                            const layer_picture& source) {
  const img::image& matte = *source.image;
  rectangle kept{0, 0, matte.width, matte.height};
  if (source.track->placement.crop) {
    const auto cut = [&](int anchor, int centre, int size, int full, int& first, int& last) {
      const int length = size > 0 ? size : full;
      const int left = centre - length / 2;
      first = std::max(0, anchor + left / source.reduction);
      last = std::min(last, anchor + (left + length) / source.reduction);
    };
    cut(matte.user[0].x, source.track->placement.crop_xy.x, source.track->placement.crop_wh.x,
        source.track->source.width, kept.left, kept.right);
    cut(matte.user[0].y, source.track->placement.crop_xy.y, source.track->placement.crop_wh.y,
        source.track->source.height, kept.top, kept.bottom);
  }
  img::axis_scale x{source.reduction, target_reduction, matte.width, false};
  img::axis_scale y{source.reduction, target_reduction, matte.height, false};
  math::point origin;
  if (track.look.alpha_source_stretch) {
    x = {target.width, matte.width, matte.width, false};
    y = {target.height, matte.height, matte.height, false};
  } else {
    origin.x = target.user[0].x - matte.user[0].x * source.reduction / target_reduction;
    origin.y = target.user[0].y - matte.user[0].y * source.reduction / target_reduction;
  }
  return {place_axis(x, origin.x, target.width, kept.left, kept.right,
                     [](const img::axis_scale& scale, int i) { return scale.column(i); }),
          place_axis(y, origin.y, target.height, kept.top, kept.bottom,
                     [](const img::axis_scale& scale, int i) { return scale.row(i); })};
}

// The matte's samples of one row, zero where it does not reach.
void matte_row(std::uint8_t* out, int y, int width, const std::uint8_t* samples, int matte_width,
               const matte_placement& at, const std::uint8_t* range) {
  const placement& x = at.columns;
  if (y < at.rows.first || y >= at.rows.last || x.first >= x.last) {
    std::memset(out, 0, static_cast<std::size_t>(width));
    return;
  }
  const std::uint8_t* source = samples + static_cast<std::size_t>(at.rows.scale.row(y - at.rows.origin)) * matte_width;
  std::memset(out, 0, static_cast<std::size_t>(x.first));
  if (x.scale.num == x.scale.den) {
    std::memcpy(out + x.first, source + (x.first - x.origin), static_cast<std::size_t>(x.last - x.first));
  } else {
    img::sample_row(out + x.first, source, x.scale, x.first - x.origin, x.last - x.origin);
  }
  std::memset(out + x.last, 0, static_cast<std::size_t>(width - x.last));
  if (range) {
    img::active_color_kernels().map_bytes(out + x.first, out + x.first, range,
                                          static_cast<std::size_t>(x.last - x.first));
  }
}

void copy_or_invert(const img::image& from, int from_plane, img::image& to, int to_plane, bool inverted) {
  const plane_kernels& rows = active_plane_kernels();
  const std::size_t width = static_cast<std::size_t>(from.width);
  lib::parallel_rows(from.height, 1LL * from.width * from.height, [&](int top, int bottom) {
    const std::size_t count = static_cast<std::size_t>(bottom - top) * width;
    if (inverted) {
      rows.invert(to.row(to_plane, top), from.row(from_plane, top), count);
    } else {
      std::memcpy(to.row(to_plane, top), from.row(from_plane, top), count);
    }
  });
}

// `own` may be null: fully opaque.
void write_matte(img::image& target, const ksn::track_info& track, const std::uint8_t* own, const channel& chosen,
                 int matte_width, const matte_placement& at) {
  const plane_kernels& rows = active_plane_kernels();
  const std::uint8_t* range = range_table(track.look.alpha_source_range);
  const auto width = static_cast<std::size_t>(target.width);
  lib::parallel_rows(target.height, 1LL * target.width * target.height, [&](int top, int bottom) {
    for (int y = top; y < bottom; ++y) {
      std::uint8_t* alpha = target.row(alpha_plane, y);
      const std::uint8_t* own_row = own ? own + static_cast<std::size_t>(y) * width : nullptr;
      matte_row(alpha, y, target.width, chosen.samples, matte_width, at, range);
      if (track.look.alpha_source_invert) rows.invert(alpha, alpha, width);
      if (track.look.alpha_source_mode == alpha_source_mode_type::combine) {
        if (own_row) {
          rows.screen(alpha, own_row, width);
        } else {
          std::memset(alpha, 255, width);
        }
      } else if (track.look.alpha_source_mode == alpha_source_mode_type::multiply && own_row) {
        rows.multiply(alpha, own_row, width);
      }
      if (track.look.invert_alpha) rows.invert(alpha, alpha, width);
    }
  });
}

img::const_image_ptr adjustment_matte(const layer_picture& layer, const layer_picture& source, const channel& chosen) {
  std::array<char, img::image::max_planes> letters{};
  letters[alpha_plane] = 'A';
  const img::image_ptr result = pooled_image(letters, layer.track->source.width, layer.track->source.height);
  write_matte(*result, *layer.track, nullptr, chosen, source.image->width,
              place_matte(*layer.track, *result, 1, source));
  return result;
}

// Applies an alpha source or an inversion to a decoded picture.
img::const_image_ptr decorate(const layer_picture& layer, const layer_picture& source, const channel& chosen) {
  const ksn::track_info& track = *layer.track;
  const img::image& image = *layer.image;
  const bool has_alpha = chosen || has_bytes(image, alpha_plane);
  // A gray picture with alpha is completed, since the compositor expects colours before the alpha plane.
  const bool gray_to_colors = has_alpha && (!image.has_plane(1) || !image.has_plane(2));

  std::array<char, img::image::max_planes> letters{};
  for (int i = 0; i < 3; ++i) letters[i] = gray_to_colors ? "BGR"[i] : image.has_plane(i) ? image.format[i] : 0;
  if (has_alpha) letters[alpha_plane] = 'A';
  if (has_bytes(image, depth_plane)) letters[depth_plane] = 'Z';
  const img::image_ptr result = pooled_image(letters, image.width, image.height);
  result->copy_info(image);

  for (int i = 0; i < 3; ++i) {
    if (letters[i]) copy_or_invert(image, image.has_plane(i) ? i : 0, *result, i, track.look.invert_color);
  }
  if (chosen) {
    const channel own = track.look.alpha_source_mode == alpha_source_mode_type::replace
                            ? channel{}
                            : channel_of(image, track.look.alpha_source_channel2);
    write_matte(*result, track, own.samples, chosen, source.image->width,
                place_matte(track, *result, layer.reduction, source));
  } else if (has_alpha) {
    copy_or_invert(image, alpha_plane, *result, alpha_plane, track.look.invert_alpha);
    if (!track.look.invert_alpha) result->hint[alpha_plane] = image.hint[alpha_plane];
  }
  if (letters[depth_plane]) copy_or_invert(image, depth_plane, *result, depth_plane, track.look.invert_depth);
  return result;
}

}  // namespace

const std::uint8_t* range_table(alpha_source_range_type range) {
  struct tables {
    std::array<std::uint8_t, 256> shadows, midtones, highlights;
    tables() {
      for (int i = 0; i < 256; ++i) {
        const double x = std::clamp((102 - i) / 51.0, 0.0, 1.0);
        shadows[i] = static_cast<std::uint8_t>(std::rint((x - (x - 0.5) * 2.0 * x * (x - 1.0)) * 255.0));
      }
      for (int i = 0; i < 256; ++i) {
        highlights[i] = shadows[255 - i];
        midtones[i] = static_cast<std::uint8_t>(255 - shadows[i] - highlights[i]);
      }
    }
  };
  static const tables built;
  switch (range) {
    case alpha_source_range_type::none:
      break;
    case alpha_source_range_type::shadows:
      return built.shadows.data();
    case alpha_source_range_type::midtones:
      return built.midtones.data();
    case alpha_source_range_type::highlights:
      return built.highlights.data();
  }
  return nullptr;
}

img::const_image_ptr apply_alpha_source(const layer_picture& layer, const layer_picture& source) {
  const ksn::track_info& track = *layer.track;
  channel chosen;
  if (source.image && !source.image->empty()) chosen = channel_of(*source.image, track.look.alpha_source_channel);

  if (track.source.type == ksn::source_type::adjustment) {
    return chosen && track.source.width > 0 && track.source.height > 0 ? adjustment_matte(layer, source, chosen)
                                                                       : nullptr;
  }
  const img::image& image = *layer.image;
  const bool inverts = track.look.invert_color || (track.look.invert_alpha && has_bytes(image, alpha_plane)) ||
                       (track.look.invert_depth && has_bytes(image, depth_plane));
  if (!chosen && !inverts) return layer.image;
  return decorate(layer, source, chosen);
}

}  // namespace render
