#include "render/compositor.h"

#include <cmath>
#include <cstring>
#include <span>

#include "img/sampling.h"
#include "lib/parallel.h"
#include "render/channels.h"
#include "render/overlays.h"
#include "render/placed_layers.h"
#include "render/rows.h"

namespace render {
namespace {

rectangle zoomed(const rectangle& box, const frame_view& view) {
  return {limited(box.left * view.zoom_x), limited(box.top * view.zoom_y), limited(box.right * view.zoom_x),
          limited(box.bottom * view.zoom_y)};
}

std::shared_ptr<const img::transfer> prepared_correction(const ksn::track_info& track) {
  auto correction = std::make_shared<img::transfer>(track.look.tf);
  correction->prepare_rows();
  return correction;
}

// `size` is that of the picture that the layer is placed in.
void place(eye& out, const ksn::state& composition, const prepared_layer& prepared, const frame_view& view,
           math::point size) {
  const ksn::track_info& track = composition.doc.track_at(prepared.index);
  const bool adjusts = track.source.type == ksn::source_type::adjustment;
  if (!prepared.image && !adjusts) return;
  placed_layer layer;
  layer.track = &track;
  layer.image = prepared.image.get();
  layer.opacity = prepared.opacity;
  const math::point position = layer_centre(track, view, size.x, size.y);
  const layer_geometry scale = layer_scale(track, view.zoom_x, view.zoom_y, prepared.resolution);
  if (track.placement.crop) {
    layer.crop = moved(zoomed(crop_rect(track), view), position);
    layer.show_outside = view.crop_preview && !adjusts && composition.doc.selected_index() == prepared.index;
  }
  planned_blend blend;
  if (adjusts) {
    const rectangle whole = placed_rectangle({}, track.source.width, track.source.height, {}, scale);
    layer.box = moved(whole, {position.x - whole.right / 2, position.y - whole.bottom / 2});
    layer.correction = prepared.correction ? prepared.correction : prepared_correction(track);
  } else {
    blend_mode mode{track.look.alpha_type, track.look.blend_type, track.look.depth_blend_type, prepared.opacity};
    blend = plan_blend(*layer.image, position, mode, scale, track.placement.flip_x, track.placement.flip_y);
    layer.box = blend.box;
    mode.opacity /= 2;
    if (layer.show_outside)
      layer.half = plan_blend(*layer.image, position, mode, scale, track.placement.flip_x, track.placement.flip_y);
  }
  out.layers.push_back(std::move(layer));
  out.blends.push_back(blend);
}

// Corrects what lies below, within the layer's rectangle; with opacity or alpha, blends the corrected copy back.
void adjust_rect(const placed_layer& layer, img::image& target, const rectangle& clip) {
  const rectangle visible = intersect(intersect(layer.box, clip), {0, 0, target.width, target.height});
  if (visible.empty()) return;
  const int width = visible.right - visible.left;
  const img::image* matte = layer.image;
  if (layer.opacity >= 100 && !matte) {
    for (int y = visible.top; y < visible.bottom; ++y) {
      layer.correction->apply_row(target.row(0, y) + visible.left, target.row(1, y) + visible.left,
                                  target.row(2, y) + visible.left, width);
    }
    return;
  }
  const int opacity = layer.opacity;
  const auto& family = opacity >= 100 ? active_blend_kernels().opaque : active_blend_kernels().scaled;
  const auto alpha_type = matte ? layer.track->look.alpha_type : ksn::alpha_type::ignore;
  const row_operation operation = family[static_cast<int>(ksn::blend_type::normal)][static_cast<int>(alpha_type)];
  thread_local std::vector<std::uint8_t> scratch;
  scratch.resize(static_cast<std::size_t>(width) * 4);
  img::axis_scale columns;
  img::axis_scale lines;
  if (matte) {
    columns = {layer.box.right - layer.box.left, matte->width, matte->width, false};
    lines = {layer.box.bottom - layer.box.top, matte->height, matte->height, false};
  }
  for (int y = visible.top; y < visible.bottom; ++y) {
    target_span below{};
    source_span copy{};
    std::uint8_t* planes[4];
    for (int p = 0; p < 4; ++p) {
      below.planes[p] = target.row(p, y) + visible.left;
      planes[p] = scratch.data() + static_cast<std::size_t>(p) * width;
      if (p < 3) std::memcpy(planes[p], below.planes[p], static_cast<std::size_t>(width));
      if (p < 3 || matte) copy.planes[p] = planes[p];
    }
    layer.correction->apply_row(planes[0], planes[1], planes[2], width);
    if (matte) {
      img::sample_row(planes[3], matte->row(alpha_plane, lines.row(y - layer.box.top)), columns,
                      visible.left - layer.box.left, visible.right - layer.box.left);
    }
    copy.weight = opacity * 256 / 100;
    operation(below, &copy, 1, width);
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
  for (const rectangle& part : around) draw_blends(target, {&layer.half, 1}, part, nullptr);
}

void draw_layer(const placed_layer& layer, const planned_blend& blend, img::image& target, const rectangle& strip) {
  const ksn::track_info& track = *layer.track;
  const rectangle clip = track.placement.crop ? intersect(strip, layer.crop) : strip;
  if (layer.correction) {
    adjust_rect(layer, target, clip);
  } else {
    if (layer.show_outside) draw_outside(layer, target, strip);
    draw_blends(target, {&blend, 1}, clip, nullptr);
  }
}

// A layer that is nothing but its blend, so that it may be drawn together with the next.
bool is_plain(const placed_layer& layer) {
  return !layer.correction && !layer.track->placement.crop && !layer.track->placement.border &&
         !layer.track->placement.safe_area;
}

// The lowest layer of which something shows in the strip, or whose depth counts.
std::size_t lowest_shown(const eye& eye, const rectangle& strip) {
  std::size_t lowest = 0;
  for (std::size_t i = 1; i < eye.layers.size(); ++i) {
    if (has_depth(eye.blends[i - 1])) break;
    if (!eye.layers[i].correction && !eye.layers[i].track->placement.crop && hides(eye.blends[i], strip)) lowest = i;
  }
  return lowest;
}

}  // namespace

eye place_all(img::image* target, ksn::target_view_type other, const ksn::state& composition,
              const std::vector<prepared_layer>& layers, const frame_view& view, math::point size) {
  eye out;
  out.target = target;
  if (!target) return out;
  out.layers.reserve(layers.size());
  out.blends.reserve(layers.size());
  for (const prepared_layer& layer : layers) {
    if (composition.doc.track_at(layer.index).look.target_view != other) place(out, composition, layer, view, size);
  }
  return out;
}

void draw_lines(const placed_layer& layer, img::image& target, const rectangle& strip) {
  const ksn::track_info& track = *layer.track;
  if (track.placement.border) draw_outline(target, layer.box, track.placement.border_color, strip);
  if (track.placement.safe_area) {
    draw_safe_area(target, layer.box, track.placement.border_color, layer.show_outside ? &layer.crop : nullptr, strip);
  }
}

void draw_strip(const eye& eye, const rectangle& strip, const background* below) {
  const std::span<const planned_blend> blends = eye.blends;
  const std::size_t lowest = lowest_shown(eye, strip);
  std::size_t i = lowest;
  while (i < eye.layers.size() && is_plain(eye.layers[i])) ++i;
  draw_blends(*eye.target, blends.subspan(lowest, i - lowest), strip, below);
  while (i < eye.layers.size()) {
    const std::size_t first = i;
    while (i < eye.layers.size() && is_plain(eye.layers[i])) ++i;
    if (first < i) {
      draw_blends(*eye.target, blends.subspan(first, i - first), strip, nullptr);
    } else {
      draw_layer(eye.layers[i], blends[i], *eye.target, strip);
      if (eye.draws_lines) draw_lines(eye.layers[i], *eye.target, strip);
      ++i;
    }
  }
}

math::point layer_centre(const ksn::track_info& track, const frame_view& view, int width, int height) {
  return {limited(std::rint(track.placement.pos.x * view.zoom_x) + view.offset.x + width / 2),
          limited(std::rint(track.placement.pos.y * view.zoom_y) + view.offset.y + height / 2)};
}

void render_stereo_pair(img::image* left, img::image* right, const ksn::state& composition,
                        const std::vector<prepared_layer>& layers, const frame_view& view, const background* below) {
  const img::image* any = left ? left : right;
  if (!any) return;
  if (below && view.smooth && (view.zoom_x < 1.0 || view.zoom_y < 1.0)) {
    if (left) render_smooth(*left, ksn::target_view_type::right, composition, layers, view, *below);
    if (right) render_smooth(*right, ksn::target_view_type::left, composition, layers, view, *below);
    return;
  }
  const math::point size{any->width, any->height};
  const eye eyes[] = {place_all(left, ksn::target_view_type::right, composition, layers, view, size),
                      place_all(right, ksn::target_view_type::left, composition, layers, view, size)};
  lib::parallel_chunks(any->height, strip_rows, [&](int first, int last) {
    for (const eye& eye : eyes) {
      if (eye.target) draw_strip(eye, {0, first, any->width, last}, below);
    }
  });
}

}  // namespace render
