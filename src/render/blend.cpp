#include "render/blend.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "img/sampling.h"
#include "lib/parallel.h"
#include "render/rows.h"

namespace render {
namespace {

constexpr int alpha_plane = 3;
constexpr int depth_plane = 4;
constexpr int drawn_planes = 5;

using plane_indices = std::array<int, drawn_planes>;  // blue, green, red, alpha, depth; -1 for none

bool has_bytes(const img::image& image, int index) {
  return image.has_plane(index) && image.depth[index] == 8;
}

plane_indices source_planes(const img::image& source) {
  if (!has_bytes(source, 0)) return {-1, -1, -1, -1, -1};
  // A gray picture may hold its alpha right behind the one plane.
  const bool gray = source.format[0] == 'L' || !has_bytes(source, 1);
  int alpha = has_bytes(source, alpha_plane) ? alpha_plane : -1;
  if (gray && alpha < 0) alpha = source.plane_of('A');
  if (alpha >= 0 && !has_bytes(source, alpha)) alpha = -1;
  const int depth = has_bytes(source, depth_plane) ? depth_plane : -1;
  if (gray) return {0, 0, 0, alpha, depth};
  return {0, 1, has_bytes(source, 2) ? 2 : 0, alpha, depth};
}

plane_indices target_planes(const img::image& target) {
  plane_indices planes{};
  for (int p = 0; p < drawn_planes; ++p) planes[p] = has_bytes(target, p) ? p : -1;
  return planes;
}

struct row_choice {
  row_operation colour;
  bool reads_alpha;
  int weight;
  ksn::depth_blend_type depth;
};

row_choice choose(const blend_mode& mode, bool source_has_alpha) {
  const row_operations& rows = current_rows();
  const int opacity = std::clamp(mode.opacity, 0, 100);
  const auto alpha = source_has_alpha ? mode.alpha : ksn::alpha_type::ignore;
  const auto& family = opacity == 100 ? rows.opaque : rows.scaled;
  return {family[static_cast<int>(mode.blend)][static_cast<int>(alpha)], alpha != ksn::alpha_type::ignore,
          opacity * 256 / 100, mode.depth};
}

// The samples of one target row from column `first` on, in up to five source planes of which `source` gives the bytes.
template <class Source>
void blend_row(img::image& target, const plane_indices& to, const row_choice& row, int y, int first, int last,
               Source source) {
  if (first >= last) return;
  row_planes planes{};
  for (int p = 0; p < 4; ++p) {
    if (to[p] >= 0) planes.target[p] = target.row(to[p], y) + first;
    if (p < alpha_plane || row.reads_alpha) planes.source[p] = source(p);
  }
  row.colour(planes, last - first, row.weight);
}

void blend_depth(std::uint8_t* target, const std::uint8_t* source, int count, ksn::depth_blend_type depth) {
  if (depth == ksn::depth_blend_type::replace) {
    std::memcpy(target, source, static_cast<std::size_t>(count));
  } else {
    current_rows().keep_larger(target, source, count);
  }
}

rectangle clipped(const rectangle& box, const img::image& target, const rectangle* clip) {
  rectangle visible = intersect(box, {0, 0, target.width, target.height});
  return clip ? intersect(visible, *clip) : visible;
}

long long area(const rectangle& box) {
  return static_cast<long long>(box.right - box.left) * (box.bottom - box.top);
}

// Rows of a thread's scaled source, one for each plane.
std::uint8_t* scratch_rows(int width) {
  thread_local std::vector<std::uint8_t> bytes;
  bytes.resize(static_cast<std::size_t>(width) * drawn_planes);
  return bytes.data();
}

}  // namespace

rectangle placed_rectangle(math::point position, int width, int height, math::point anchor,
                           const layer_geometry& scale) {
  auto scaled = [](int value, int num, int den) { return static_cast<int>(static_cast<long long>(value) * num / den); };
  const int left = position.x - scaled(anchor.x, scale.num_x, scale.den_x);
  const int top = position.y - scaled(anchor.y, scale.num_y, scale.den_y);
  return {left, top, left + scaled(width, scale.num_x, scale.den_x), top + scaled(height, scale.num_y, scale.den_y)};
}

void blend_image(img::image& target, const img::image& source, math::point position, const blend_mode& mode,
                 const rectangle* clip) {
  const rectangle box = placed_rectangle(position, source.width, source.height, source.user[0], {1, 1, 1, 1});
  const rectangle visible = clipped(box, target, clip);
  const plane_indices from = source_planes(source);
  if (visible.empty() || from[0] < 0) return;
  const plane_indices to = target_planes(target);
  const row_choice row = choose(mode, from[alpha_plane] >= 0);
  const auto& hints = source.hint[alpha_plane];
  const bool hinted = static_cast<int>(hints.size()) == source.height;
  const bool with_depth = mode.depth != ksn::depth_blend_type::ignore && from[depth_plane] >= 0 && to[depth_plane] >= 0;

  auto draw_rows = [&](int begin, int end) {
    for (int y = visible.top + begin; y < visible.top + end; ++y) {
      const int source_y = y - box.top;
      int first = visible.left;
      int last = visible.right;
      if (hinted) {
        const img::row_hint& hint = hints[static_cast<std::size_t>(source_y)];
        first = std::max(first, box.left + std::clamp(hint.first, 0, source.width));
        last = std::min(last, box.left + std::clamp(hint.last, -1, source.width - 1) + 1);
      }
      blend_row(target, to, row, y, first, last,
                [&](int p) { return source.row(from[p], source_y) + (first - box.left); });
      if (with_depth) {
        blend_depth(target.row(depth_plane, y) + visible.left,
                    source.row(depth_plane, source_y) + (visible.left - box.left), visible.right - visible.left,
                    mode.depth);
      }
    }
  };
  lib::parallel_rows(visible.bottom - visible.top, area(visible), draw_rows);
}

void blend_scaled(img::image& target, const img::image& source, math::point position, const blend_mode& mode,
                  const layer_geometry& scale, const rectangle* clip, bool flip_x, bool flip_y) {
  if (clip && clip->empty()) return;
  if (scale.num_x == scale.den_x && scale.num_y == scale.den_y && !flip_x && !flip_y) {
    blend_image(target, source, position, mode, clip);
    return;
  }
  if (scale.num_x <= 0 || scale.num_y <= 0) return;
  const rectangle box = placed_rectangle(position, source.width, source.height, source.user[0], scale);
  const rectangle visible = clipped(box, target, clip);
  const plane_indices from = source_planes(source);
  if (visible.empty() || from[0] < 0) return;
  const plane_indices to = target_planes(target);
  const row_choice row = choose(mode, from[alpha_plane] >= 0);
  const bool with_depth = mode.depth != ksn::depth_blend_type::ignore && from[depth_plane] >= 0 && to[depth_plane] >= 0;
  const img::axis_scale columns{scale.num_x, scale.den_x, source.width, flip_x};
  const img::axis_scale lines{scale.num_y, scale.den_y, source.height, flip_y};
  const int first = visible.left - box.left;
  const int width = visible.right - visible.left;
  const bool gray = from[1] == 0;
  // An opaque plate needs no scratch: its samples go straight into the target.
  const bool direct = mode.opacity >= 100 && mode.blend == ksn::blend_type::normal && !gray && !row.reads_alpha &&
                      (mode.depth == ksn::depth_blend_type::replace || from[depth_plane] < 0);

  auto copy_rows = [&](int begin, int end) {
    for (int y = visible.top + begin; y < visible.top + end; ++y) {
      const int source_y = lines.row(y - box.top);
      for (int p = 0; p < drawn_planes; ++p) {
        if (to[p] < 0) continue;
        std::uint8_t* out = target.row(p, y) + visible.left;
        if (p == alpha_plane) {
          std::memset(out, 255, static_cast<std::size_t>(width));
        } else if (from[p] >= 0) {
          img::sample_row(out, source.row(from[p], source_y), columns, first, first + width);
        }
      }
    }
  };
  auto draw_rows = [&](int begin, int end) {
    std::uint8_t* scratch = scratch_rows(width);
    int sampled_y = -1;
    for (int y = visible.top + begin; y < visible.top + end; ++y) {
      const int source_y = lines.row(y - box.top);
      if (source_y != sampled_y) {
        for (int p = 0; p < drawn_planes; ++p) {
          const bool wanted = p == 0 || (p < alpha_plane && !gray) || (p == alpha_plane && row.reads_alpha) ||
                              (p == depth_plane && with_depth);
          if (!wanted) continue;
          img::sample_row(scratch + p * width, source.row(from[p], source_y), columns, first, first + width);
        }
        sampled_y = source_y;
      }
      blend_row(target, to, row, y, visible.left, visible.right,
                [&](int p) { return scratch + (gray && p < alpha_plane ? 0 : p) * width; });
      if (with_depth) {
        blend_depth(target.row(depth_plane, y) + visible.left, scratch + depth_plane * width, width, mode.depth);
      }
    }
  };
  if (direct) {
    lib::parallel_rows(visible.bottom - visible.top, area(visible), copy_rows);
  } else {
    lib::parallel_rows(visible.bottom - visible.top, area(visible), draw_rows);
  }
}

}  // namespace render
