#include "render/blend.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "lib/parallel.h"
#include "render/channels.h"

namespace render {
namespace {

plane_indices source_planes(const img::image& source) {
  if (!has_bytes(source, 0)) return {-1, -1, -1, -1, -1};
  const bool gray = source.format[0] == 'L' || !has_bytes(source, 1);
  int alpha = has_bytes(source, alpha_plane) ? alpha_plane : -1;
  // A gray picture may hold its alpha right after the one plane.
  if (gray && alpha < 0 && has_bytes(source, source.plane_of('A'))) alpha = source.plane_of('A');
  const int depth = has_bytes(source, depth_plane) ? depth_plane : -1;
  if (gray) return {0, 0, 0, alpha, depth};
  return {0, 1, has_bytes(source, 2) ? 2 : 0, alpha, depth};
}

rectangle picture_of(const img::image& image) {
  return {0, 0, image.width, image.height};
}

long long area(const rectangle& box) {
  return static_cast<long long>(box.right - box.left) * (box.bottom - box.top);
}

target_span target_row(img::image& target, int y, int x) {
  target_span row{};
  for (int p = 0; p < 4; ++p) {
    if (has_bytes(target, p)) row.planes[p] = target.row(p, y) + x;
  }
  return row;
}

source_span source_row(const planned_blend& blend, int source_y, int source_x) {
  const img::image& source = *blend.source;
  source_span row{};
  for (int p = 0; p < (blend.reads_alpha ? 4 : 3); ++p) {
    row.planes[p] = source.row(blend.planes[p], source_y) + source_x;
  }
  row.weight = blend.weight;
  row.ahead = source_y + 1 < source.height ? source.width : 0;
  return row;
}

void blend_depth(const planned_blend& blend, img::image& target, int y, int x, const std::uint8_t* source, int count) {
  if (blend.depth == ksn::depth_blend_type::replace) {
    std::memcpy(target.row(depth_plane, y) + x, source, static_cast<std::size_t>(count));
  } else {
    active_blend_kernels().keep_larger(target.row(depth_plane, y) + x, source, count);
  }
}

bool blends_depth(const planned_blend& blend, const img::image& target) {
  return has_depth(blend) && has_bytes(target, depth_plane);
}

bool hinted(const planned_blend& blend) {
  return !blend.resamples && static_cast<int>(blend.source->hint[alpha_plane].size()) == blend.source->height;
}

void draw_depth(img::image& target, const planned_blend& blend, const rectangle& visible) {
  if (!blends_depth(blend, target)) return;
  for (int y = visible.top; y < visible.bottom; ++y) {
    blend_depth(blend, target, y, visible.left,
                blend.source->row(depth_plane, y - blend.box.top) + (visible.left - blend.box.left),
                visible.right - visible.left);
  }
}

// Unscaled blends of one operation in one rectangle. `below` starts the target rows.
void draw_joined(img::image& target, std::span<const planned_blend> blends, const rectangle& visible,
                 const background* below) {
  source_span rows[most_layers];
  for (int y = visible.top; y < visible.bottom; ++y) {
    target_span to = target_row(target, y, visible.left);
    if (below) to.background = below->data();
    for (std::size_t i = 0; i < blends.size(); ++i) {
      rows[i] = source_row(blends[i], y - blends[i].box.top, visible.left - blends[i].box.left);
    }
    blends[0].operation(to, rows, static_cast<int>(blends.size()), visible.right - visible.left);
  }
  for (const planned_blend& blend : blends) draw_depth(target, blend, visible);
}

void draw_hinted(img::image& target, const planned_blend& blend, const rectangle& visible) {
  for (int y = visible.top; y < visible.bottom; ++y) {
    const int source_y = y - blend.box.top;
    const img::row_hint& hint = blend.source->hint[alpha_plane][static_cast<std::size_t>(source_y)];
    const int width = blend.source->width;
    const int first = std::max(visible.left, blend.box.left + std::clamp(hint.first, 0, width));
    const int last = std::min(visible.right, blend.box.left + std::clamp(hint.last, -1, width - 1) + 1);
    if (first >= last) continue;
    const source_span row = source_row(blend, source_y, first - blend.box.left);
    blend.operation(target_row(target, y, first), &row, 1, last - first);
  }
  draw_depth(target, blend, visible);
}

// An opaque plate needs no scratch: its samples go straight into the target.
void copy_resampled(img::image& target, const planned_blend& blend, const rectangle& visible) {
  const int first = visible.left - blend.box.left;
  const int last = visible.right - blend.box.left;
  for (int y = visible.top; y < visible.bottom; ++y) {
    const int source_y = blend.lines.row(y - blend.box.top);
    for (int p = 0; p < drawn_planes; ++p) {
      if (!has_bytes(target, p)) continue;
      std::uint8_t* out = target.row(p, y) + visible.left;
      if (p == alpha_plane) {
        std::memset(out, 255, static_cast<std::size_t>(last - first));
      } else if (blend.planes[p] >= 0) {
        img::sample_row(out, blend.source->row(blend.planes[p], source_y), blend.columns, first, last);
      }
    }
  }
}

void draw_resampled(img::image& target, const planned_blend& blend, const rectangle& visible) {
  if (blend.copies) {
    copy_resampled(target, blend, visible);
    return;
  }
  const int first = visible.left - blend.box.left;
  const int width = visible.right - visible.left;
  const bool gray = blend.planes[1] == 0;
  const bool with_depth = blends_depth(blend, target);
  thread_local std::vector<std::uint8_t> scratch;
  scratch.resize(static_cast<std::size_t>(width) * drawn_planes);
  auto scratch_row = [&](int p) { return scratch.data() + static_cast<std::size_t>(p) * width; };
  int sampled_y = -1;
  for (int y = visible.top; y < visible.bottom; ++y) {
    const int source_y = blend.lines.row(y - blend.box.top);
    for (int p = 0; p < drawn_planes && source_y != sampled_y; ++p) {
      const bool wanted = p == 0 || (p < alpha_plane && !gray) || (p == alpha_plane && blend.reads_alpha) ||
                          (p == depth_plane && with_depth);
      if (!wanted) continue;
      img::sample_row(scratch_row(p), blend.source->row(blend.planes[p], source_y), blend.columns, first,
                      first + width);
    }
    sampled_y = source_y;
    source_span row{};
    for (int p = 0; p < (blend.reads_alpha ? 4 : 3); ++p) row.planes[p] = scratch_row(gray && p < 3 ? 0 : p);
    row.weight = blend.weight;
    blend.operation(target_row(target, y, visible.left), &row, 1, width);
    if (with_depth) blend_depth(blend, target, y, visible.left, scratch_row(depth_plane), width);
  }
}

// Whether the row operations of both may go through a row together.
bool joins(const planned_blend& lower, const planned_blend& upper, const rectangle& lower_visible,
           const rectangle& upper_visible) {
  return lower.operation == upper.operation && lower_visible == upper_visible && !lower.resamples && !upper.resamples &&
         !hinted(lower) && !hinted(upper);
}

void fill_rows(img::image& target, const rectangle& box, const background& samples, int first_plane) {
  for (int p = first_plane; p < drawn_planes; ++p) {
    if (!has_bytes(target, p)) continue;
    for (int y = box.top; y < box.bottom; ++y) {
      std::memset(target.row(p, y) + box.left, samples[static_cast<std::size_t>(p)],
                  static_cast<std::size_t>(box.right - box.left));
    }
  }
}

}  // namespace

rectangle placed_rectangle(math::point position, int width, int height, math::point anchor,
                           const layer_geometry& scale) {
  auto scaled = [](int value, int num, int den) {
    return limited(static_cast<double>(static_cast<long long>(value) * num / den));
  };
  const int left = position.x - scaled(anchor.x, scale.num_x, scale.den_x);
  const int top = position.y - scaled(anchor.y, scale.num_y, scale.den_y);
  return {left, top, left + scaled(width, scale.num_x, scale.den_x), top + scaled(height, scale.num_y, scale.den_y)};
}

planned_blend plan_blend(const img::image& source, math::point position, const blend_mode& mode,
                         const layer_geometry& scale, bool flip_x, bool flip_y) {
  planned_blend blend;
  blend.source = &source;
  blend.planes = source_planes(source);
  if (blend.planes[0] < 0 || scale.num_x <= 0 || scale.num_y <= 0) return blend;
  blend.box = placed_rectangle(position, source.width, source.height, source.user[0], scale);
  const int opacity = std::clamp(mode.opacity, 0, 100);
  // Without an alpha plane every alpha mode is `ignore`.
  const auto alpha = blend.planes[alpha_plane] >= 0 ? mode.alpha : ksn::alpha_type::ignore;
  const blend_kernels& rows = active_blend_kernels();
  const auto& family = opacity == 100 ? rows.opaque : rows.scaled;
  blend.operation = family[static_cast<int>(mode.blend)][static_cast<int>(alpha)];
  blend.weight = opacity * 256 / 100;
  blend.reads_alpha = alpha != ksn::alpha_type::ignore;
  blend.depth = mode.depth;
  blend.resamples = scale.num_x != scale.den_x || scale.num_y != scale.den_y || flip_x || flip_y;
  blend.replaces = opacity == 100 && mode.blend == ksn::blend_type::normal && !blend.reads_alpha;
  blend.copies = blend.resamples && blend.replaces && blend.planes[1] > 0 &&
                 (mode.depth == ksn::depth_blend_type::replace || blend.planes[depth_plane] < 0);
  blend.columns = {scale.num_x, scale.den_x, source.width, flip_x};
  blend.lines = {scale.num_y, scale.den_y, source.height, flip_y};
  return blend;
}

bool has_depth(const planned_blend& blend) {
  return blend.depth != ksn::depth_blend_type::ignore && blend.planes[depth_plane] >= 0;
}

bool hides(const planned_blend& blend, const rectangle& area) {
  return blend.replaces && !hinted(blend) && intersect(blend.box, area) == area;
}

void draw_blends(img::image& target, std::span<const planned_blend> blends, const rectangle& clip,
                 const background* below) {
  const rectangle rows = intersect(clip, picture_of(target));
  if (rows.empty()) return;
  if (below) {
    // The lowest layer may start from the background itself when it goes over all of it.
    const bool joined =
        !blends.empty() && !blends[0].resamples && !hinted(blends[0]) && intersect(blends[0].box, rows) == rows;
    fill_rows(target, rows, *below, joined ? depth_plane : 0);
    if (!joined) below = nullptr;
  }
  while (!blends.empty()) {
    const planned_blend& blend = blends[0];
    const rectangle visible = intersect(blend.box, rows);
    std::size_t count = 1;
    if (visible.empty()) {
    } else if (blend.resamples) {
      draw_resampled(target, blend, visible);
    } else if (hinted(blend)) {
      draw_hinted(target, blend, visible);
    } else {
      while (count < most_layers && count < blends.size() &&
             joins(blend, blends[count], visible, intersect(blends[count].box, rows))) {
        ++count;
      }
      draw_joined(target, blends.first(count), visible, below);
    }
    below = nullptr;
    blends = blends.subspan(count);
  }
}

void fill_background(img::image& target, const rectangle& box, const background& samples) {
  fill_rows(target, intersect(box, picture_of(target)), samples, 0);
}

void blend_scaled(img::image& target, const img::image& source, math::point position, const blend_mode& mode,
                  const layer_geometry& scale, const rectangle* clip, bool flip_x, bool flip_y) {
  const planned_blend blend = plan_blend(source, position, mode, scale, flip_x, flip_y);
  rectangle visible = intersect(blend.box, picture_of(target));
  if (clip) visible = intersect(visible, *clip);
  if (visible.empty()) return;
  lib::parallel_rows(visible.bottom - visible.top, area(visible), [&](int first, int last) {
    draw_blends(target, {&blend, 1}, {visible.left, visible.top + first, visible.right, visible.top + last}, nullptr);
  });
}

void blend_image(img::image& target, const img::image& source, math::point position, const blend_mode& mode,
                 const rectangle* clip) {
  blend_scaled(target, source, position, mode, {1, 1, 1, 1}, clip, false, false);
}

}  // namespace render
