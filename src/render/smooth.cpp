#include <algorithm>
#include <cmath>

#include "lib/parallel.h"
#include "render/area_average.h"
#include "render/image_pool.h"
#include "render/placed_layers.h"

namespace render {
namespace {

constexpr long long most_sampled = 48 << 20;    // samples of the composite for one picture
constexpr std::size_t strip_bytes = 512 << 10;  // of such a strip, so that it stays in the processor's cache

// One axis of a smooth view: which pixels of the target show layers, and where the samples behind them lie.
struct smooth_axis {
  int first = 0;      // pixels of the target
  int last = 0;       // one past the last
  int origin = 0;     // of the samples, from the composition's centre
  int size = 0;       // samples
  double start = 0;   // of the first pixel, in samples from `origin`
  double length = 1;  // of a pixel, in samples
};

// `centre` is the composition's in the target of `size` pixels, `least` to `most` the samples that show something,
// `zoom` pixels for each unit of the composition and `sampled` samples.
smooth_axis place_axis(int centre, int size, double least, double most, double zoom, double sampled) {
  smooth_axis axis;
  axis.length = sampled / zoom;
  axis.first = static_cast<int>(std::clamp(std::floor(least / axis.length) + centre, 0.0, static_cast<double>(size)));
  axis.last = static_cast<int>(std::clamp(std::ceil(most / axis.length) + centre, 0.0, static_cast<double>(size)));
  if (axis.first >= axis.last) return axis;
  const double begin = (static_cast<double>(axis.first) - centre) * axis.length;
  const double end = (static_cast<double>(axis.last) - centre) * axis.length;
  axis.origin = static_cast<int>(std::floor(begin));
  axis.size = static_cast<int>(std::ceil(end)) + 1 - axis.origin;
  axis.start = begin - axis.origin;
  return axis;
}

// Where the layers lie, all together.
rectangle extent_of(const eye& eye) {
  rectangle all;
  for (std::size_t i = 0; i < eye.layers.size(); ++i) {
    const placed_layer& layer = eye.layers[i];
    rectangle box = layer.box;
    if (layer.track->placement.crop && !layer.show_outside) box = intersect(box, layer.crop);
    if (box.empty()) continue;
    all = all.empty() ? box
                      : rectangle{std::min(all.left, box.left), std::min(all.top, box.top),
                                  std::max(all.right, box.right), std::max(all.bottom, box.bottom)};
  }
  return all;
}

// The eye with its layers moved, for a target that is a part of the whole.
eye part_of(const eye& whole, img::image* target, math::point by) {
  eye part = whole;
  part.target = target;
  for (placed_layer& layer : part.layers) {
    layer.box = moved(layer.box, by);
    layer.crop = moved(layer.crop, by);
    layer.half.box = moved(layer.half.box, by);
  }
  for (planned_blend& blend : part.blends) blend.box = moved(blend.box, by);
  return part;
}

frame_view sampled_view(const frame_view& view) {
  frame_view sampled = view;
  sampled.offset = {};
  sampled.zoom_x = std::max(view.zoom_x, 1.0);
  sampled.zoom_y = std::max(view.zoom_y, 1.0);
  return sampled;
}

}  // namespace

void render_smooth(img::image& target, ksn::target_view_type other, const ksn::state& composition,
                   const std::vector<prepared_layer>& layers, const frame_view& view, const background& below) {
  frame_view sampled = sampled_view(view);
  const math::point centre{view.offset.x + target.width / 2, view.offset.y + target.height / 2};
  smooth_axis across;
  smooth_axis down;
  eye whole;
  for (;;) {
    whole = place_all(&target, other, composition, layers, sampled, {});
    const rectangle all = extent_of(whole);
    across = place_axis(centre.x, target.width, all.left, all.right, view.zoom_x, sampled.zoom_x);
    down = place_axis(centre.y, target.height, all.top, all.bottom, view.zoom_y, sampled.zoom_y);
    const long long samples = static_cast<long long>(across.size) * down.size;
    const bool fits = samples <= most_sampled && across.length <= most_area_samples && down.length <= most_area_samples;
    if (fits || (sampled.zoom_x <= view.zoom_x && sampled.zoom_y <= view.zoom_y)) break;
    // Far more than can be averaged in time: fewer samples for each pixel, at least one.
    const double factor = std::min(std::sqrt(static_cast<double>(most_sampled) / static_cast<double>(samples)), 0.9);
    sampled.zoom_x = std::max(sampled.zoom_x * factor, view.zoom_x);
    sampled.zoom_y = std::max(sampled.zoom_y * factor, view.zoom_y);
  }
  const bool shows = across.size > 0 && down.size > 0;
  const bool deep = view.channels == ksn::view_type::depth;
  const int planes = deep ? drawn_planes : drawn_planes - 1;
  whole.draws_lines = false;
  const area_axis columns = make_area_axis(across.start, across.length, across.last - across.first, across.size);
  const area_axis lines = make_area_axis(down.start, down.length, down.last - down.first, down.size);
  const std::size_t row_bytes = static_cast<std::size_t>(std::max(across.size, 1)) * static_cast<std::size_t>(planes);
  const int chunk = std::max(static_cast<int>(static_cast<double>(strip_bytes / row_bytes) / down.length), 1);
  lib::parallel_chunks(target.height, chunk, [&](int first, int last) {
    fill_background(target, {0, first, target.width, last}, below);
    first = std::max(first, down.first);
    last = std::min(last, down.last);
    if (!shows || first >= last) return;
    const int top = lines.spans[static_cast<std::size_t>(first - down.first)].first;
    const int bottom = lines.spans[static_cast<std::size_t>(last - 1 - down.first)].last + 1;
    const img::image_ptr strip = pooled_image(deep ? "BGRAZ" : "BGRA", across.size, bottom - top);
    const eye part = part_of(whole, strip.get(), {-across.origin, -down.origin - top});
    // Small steps, so that the layers' rows meet in the cache as in any other frame.
    for (int y = 0; y < strip->height; y += strip_rows) {
      draw_strip(part, {0, y, strip->width, std::min(y + strip_rows, strip->height)}, &below);
    }
    average_area(target, *strip, columns, lines, {across.first, down.first, top}, first, last);
  });
  const bool any_lines = std::any_of(whole.layers.begin(), whole.layers.end(), [](const placed_layer& layer) {
    return layer.track->placement.border || layer.track->placement.safe_area;
  });
  if (!any_lines) return;
  const eye shown = place_all(&target, other, composition, layers, view, {target.width, target.height});
  for (const placed_layer& layer : shown.layers) draw_lines(layer, target, {0, 0, target.width, target.height});
}

}  // namespace render
