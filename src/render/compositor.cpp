#include "render/compositor.h"

#include <array>
#include <cmath>
#include <cstring>

#include "img/sampling.h"
#include "lib/parallel.h"
#include "render/blend.h"
#include "render/overlays.h"
#include "render/rows.h"

namespace render {
namespace {

// A strip holds every layer before the next one starts, so that its target rows stay in the cache.
constexpr int strip_rows = 4;

// A layer with everything that does not change from strip to strip.
struct placed_layer {
  const ksn::track_info* track = nullptr;
  const img::image* image = nullptr;
  std::shared_ptr<const img::transfer> correction;  // of an adjustment layer
  math::point position;                             // of the layer's centre in the picture
  layer_geometry scale;
  rectangle box;  // the scaled layer, unclipped
  rectangle crop;
  blend_mode mode;
  bool show_outside = false;  // what the crop cuts off shows at half opacity
};

rectangle moved(const rectangle& box, math::point by) {
  return {box.left + by.x, box.top + by.y, box.right + by.x, box.bottom + by.y};
}

rectangle zoomed(const rectangle& box, const frame_view& view) {
  auto scaled = [](int value, double zoom) { return static_cast<int>(value * zoom); };
  return {scaled(box.left, view.zoom_x), scaled(box.top, view.zoom_y), scaled(box.right, view.zoom_x),
          scaled(box.bottom, view.zoom_y)};
}

std::shared_ptr<const img::transfer> prepared_correction(const ksn::track_info& track) {
  auto correction = std::make_shared<img::transfer>(track.tf);
  correction->prepare_rows();
  return correction;
}

std::vector<placed_layer> place(const ksn::state& composition, const std::vector<prepared_layer>& layers,
                                const frame_view& view, int width, int height) {
  std::vector<placed_layer> placed;
  placed.reserve(layers.size());
  for (const prepared_layer& layer : layers) {
    placed_layer out;
    out.track = &composition.track_at(layer.index);
    out.image = layer.image.get();
    const ksn::track_info& track = *out.track;
    const bool adjusts = track.source_type == ksn::source_type::adjustment;
    if (!out.image && !adjusts) continue;
    out.position.x = width / 2 + view.offset.x + static_cast<int>(std::rint(track.pos.x * view.zoom_x));
    out.position.y = height / 2 + view.offset.y + static_cast<int>(std::rint(track.pos.y * view.zoom_y));
    out.scale = layer_scale(track, view.zoom_x, view.zoom_y, layer.resolution);
    if (adjusts) {
      const rectangle size = placed_rectangle({}, track.width, track.height, {}, out.scale);
      out.box = moved(size, {out.position.x - size.right / 2, out.position.y - size.bottom / 2});
      out.correction = layer.correction ? layer.correction : prepared_correction(track);
    } else {
      out.box = placed_rectangle(out.position, out.image->width, out.image->height, out.image->user[0], out.scale);
    }
    if (track.crop) {
      out.crop = moved(zoomed(crop_rect(track), view), out.position);
      out.show_outside = view.crop_preview && composition.selected_index() == layer.index;
    }
    out.mode = {track.alpha_type, track.blend_type, track.depth_blend_type, layer.opacity};
    placed.push_back(std::move(out));
  }
  return placed;
}

// The alpha source of an adjustment layer: a picture of the layer's size with an alpha plane.
int alpha_plane_of(const img::image* image) {
  if (!image) return -1;
  const int plane = image->has_plane(3) ? 3 : image->plane_of('A');
  return plane >= 0 && image->depth[plane] == 8 ? plane : -1;
}

// Corrects what lies below, within the layer's rectangle; with opacity or alpha, blends the corrected copy back.
void adjust_rect(const placed_layer& layer, img::image& target, const rectangle& clip) {
  const rectangle visible = intersect(intersect(layer.box, clip), {0, 0, target.width, target.height});
  if (visible.empty()) return;
  const int width = visible.right - visible.left;
  const int alpha = alpha_plane_of(layer.image);
  if (layer.mode.opacity >= 100 && alpha < 0) {
    for (int y = visible.top; y < visible.bottom; ++y) {
      layer.correction->apply_row(target.row(0, y) + visible.left, target.row(1, y) + visible.left,
                                  target.row(2, y) + visible.left, width);
    }
    return;
  }
  const int opacity = layer.mode.opacity;
  const auto& family = opacity >= 100 ? current_rows().opaque : current_rows().scaled;
  const auto alpha_type = alpha < 0 ? ksn::alpha_type::ignore : layer.mode.alpha;
  const row_operation operation = family[static_cast<int>(ksn::blend_type::normal)][static_cast<int>(alpha_type)];
  thread_local std::vector<std::uint8_t> scratch;
  scratch.resize(static_cast<std::size_t>(width) * 4);
  img::axis_scale columns;
  img::axis_scale lines;
  if (alpha >= 0) {
    columns = {layer.box.right - layer.box.left, layer.image->width, layer.image->width, false};
    lines = {layer.box.bottom - layer.box.top, layer.image->height, layer.image->height, false};
  }
  for (int y = visible.top; y < visible.bottom; ++y) {
    row_planes planes{};
    for (int p = 0; p < 4; ++p) {
      if (target.has_plane(p)) planes.target[p] = target.row(p, y) + visible.left;
      if (p < 3 || alpha >= 0) planes.source[p] = scratch.data() + p * width;
    }
    std::uint8_t* copy = scratch.data();
    for (int p = 0; p < 3; ++p) std::memcpy(copy + p * width, planes.target[p], static_cast<std::size_t>(width));
    layer.correction->apply_row(copy, copy + width, copy + 2 * width, width);
    if (alpha >= 0) {
      img::sample_row(copy + 3 * width, layer.image->row(alpha, lines.row(y - layer.box.top)), columns,
                      visible.left - layer.box.left, visible.right - layer.box.left);
    }
    operation(planes, width, opacity * 256 / 100);
  }
}

// The four rectangles of `strip` around the crop, at half opacity.
void draw_outside(const placed_layer& layer, img::image& target, const rectangle& strip) {
  const rectangle inside = intersect(layer.crop, strip);
  const rectangle kept = inside.empty() ? rectangle{strip.left, strip.top, strip.left, strip.top} : inside;
  const rectangle around[] = {{strip.left, strip.top, strip.right, kept.top},
                              {strip.left, kept.bottom, strip.right, strip.bottom},
                              {strip.left, kept.top, kept.left, kept.bottom},
                              {kept.right, kept.top, strip.right, kept.bottom}};
  blend_mode half = layer.mode;
  half.opacity /= 2;
  for (const rectangle& part : around) {
    blend_scaled(target, *layer.image, layer.position, half, layer.scale, &part, layer.track->flip_x,
                 layer.track->flip_y);
  }
}

void draw_layer(const placed_layer& layer, img::image& target, const rectangle& strip) {
  const ksn::track_info& track = *layer.track;
  const rectangle clip = track.crop ? intersect(strip, layer.crop) : strip;
  if (layer.correction) {
    adjust_rect(layer, target, clip);
  } else {
    if (layer.show_outside) draw_outside(layer, target, strip);
    blend_scaled(target, *layer.image, layer.position, layer.mode, layer.scale, &clip, track.flip_x, track.flip_y);
  }
  if (track.border) draw_outline(target, layer.box, track.border_color, strip);
  if (track.safe_area) {
    draw_safe_area(target, layer.box, track.border_color, layer.show_outside ? &layer.crop : nullptr, strip);
  }
}

}  // namespace

void render_stereo_pair(img::image* left, img::image* right, const ksn::state& composition,
                        const std::vector<prepared_layer>& layers, const frame_view& view, double) {
  const img::image* any = left ? left : right;
  if (!any) return;
  const std::vector<placed_layer> placed = place(composition, layers, view, any->width, any->height);
  if (placed.empty()) return;
  lib::parallel_chunks(any->height, strip_rows, [&](int first, int last) {
    const rectangle strip{0, first, any->width, last};
    for (const placed_layer& layer : placed) {
      if (left && layer.track->target_view != ksn::target_view_type::right) draw_layer(layer, *left, strip);
      if (right && layer.track->target_view != ksn::target_view_type::left) draw_layer(layer, *right, strip);
    }
  });
}

}  // namespace render
