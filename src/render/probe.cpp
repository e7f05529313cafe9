#include "render/probe.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "img/sampling.h"
#include "img/transfer.h"
#include "lib/parallel.h"
#include "render/blend.h"
#include "render/places.h"

namespace render {
namespace {

constexpr int colors = 3;
constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();

// How a source picture lies in a view's picture.
struct placed_source {
  source_picture source;
  rectangle shown;  // what of it is drawn, in pixels of the view's picture; may reach beyond that
  math::point corner;
  img::axis_scale columns;
  img::axis_scale rows;
};

rectangle cropped(const rectangle& box, const ksn::track_info& track, const frame_view& view) {
  return track.placement.crop ? intersect(box, crop_place(track, view)) : box;
}

std::optional<placed_source> place(pipeline& pipeline, const ksn::state& composition, const frame_view& view,
                                   int layer) {
  if (layer < 0 || layer >= composition.doc.track_count()) return std::nullopt;
  const ksn::track_info& track = composition.doc.track_at(layer);
  placed_source result;
  result.source = pipeline.shown_source(track);
  const img::image* image = result.source.image.get();
  if (!image || image->empty()) return std::nullopt;
  const layer_geometry scale = layer_scale(track, view.zoom_x, view.zoom_y, result.source.resolution);
  if (scale.num_x <= 0 || scale.num_y <= 0) return std::nullopt;
  const rectangle box = placed_rectangle(layer_centre(track, view, view.width, view.height), image->width,
                                         image->height, image->user[0], scale);
  result.corner = {box.left, box.top};
  result.shown = cropped(box, track, view);
  result.columns = {scale.num_x, scale.den_x, image->width, track.placement.flip_x};
  result.rows = {scale.num_y, scale.den_y, image->height, track.placement.flip_y};
  return result;
}

const std::vector<float>& half_values() {
  static const std::vector<float> table = [] {
    std::vector<float> values(65536);
    for (std::size_t i = 0; i < values.size(); ++i) {
      values[i] = static_cast<float>(img::half_to_double(static_cast<std::uint16_t>(i)));
    }
    return values;
  }();
  return table;
}

// Where red, green, blue and alpha of a picture are.
struct channel_places {
  std::array<int, 4> plane{-1, -1, -1, -1};
  std::array<int, 3> shift{22, 12, 2};  // of a packed word
  bool packed = false;
  bool big_endian = false;
};

channel_places places_of(const img::image& image) {
  channel_places places;
  places.packed = image.is_packed();
  places.big_endian = image.format[0] == 'U';
  const bool gray = !places.packed && (image.format[0] == 'L' || !image.has_plane(1) || image.format[1] == 'A');
  for (int i = 0; i < colors; ++i) places.plane[static_cast<std::size_t>(i)] = gray || places.packed ? 0 : 2 - i;
  places.plane[3] = image.plane_of('A');
  return places;
}

std::uint32_t swapped(std::uint32_t word) {
  return word >> 24 | (word >> 8 & 0xff00u) | (word << 8 & 0xff0000u) | word << 24;
}

// `count` values of a channel (0 red, 1 green, 2 blue, 3 alpha) from column `first` of a row.
void read_row(float* out, const img::image& image, const channel_places& places, int channel, int y, int first,
              int count) {
  const int plane = places.plane[static_cast<std::size_t>(channel)];
  if (channel < colors && places.packed) {
    const std::uint32_t* row = image.row<std::uint32_t>(plane, y) + first;
    const int shift = places.shift[static_cast<std::size_t>(channel)];
    for (int x = 0; x < count; ++x) {
      const std::uint32_t word = places.big_endian ? swapped(row[x]) : row[x];
      out[x] = static_cast<float>(word >> shift & 1023u) / 1023.0f;
    }
  } else if (image.depth[static_cast<std::size_t>(plane)] == 16) {
    const std::uint16_t* row = image.row<std::uint16_t>(plane, y) + first;
    const float* values = half_values().data();
    for (int x = 0; x < count; ++x) out[x] = values[row[x]];
  } else {
    const std::uint8_t* row = image.row(plane, y) + first;
    for (int x = 0; x < count; ++x) out[x] = static_cast<float>(row[x]) / 255.0f;
  }
}

// The sums of a channel while its rows are gone through.
struct sums {
  double sum = 0;
  long long finite = 0;
  long long numbers = 0;
  float least = std::numeric_limits<float>::infinity();
  float most = -std::numeric_limits<float>::infinity();
  channel_statistics counts;

  void add(const float* values, int count) {
    for (int i = 0; i < count; ++i) {
      const float value = values[i];
      if (std::isnan(value)) {
        ++counts.not_a_number;
        continue;
      }
      ++numbers;
      counts.below_zero += value < 0.0f;
      counts.above_one += value > 1.0f;
      least = std::min(least, value);
      most = std::max(most, value);
      if (std::isinf(value)) continue;
      ++finite;
      sum += value;
    }
  }
  void add(const sums& other) {
    sum += other.sum;
    finite += other.finite;
    numbers += other.numbers;
    least = std::min(least, other.least);
    most = std::max(most, other.most);
    counts.below_zero += other.counts.below_zero;
    counts.above_one += other.counts.above_one;
    counts.not_a_number += other.counts.not_a_number;
  }
  channel_statistics result() const {
    channel_statistics done = counts;
    done.mean = finite > 0 ? sum / static_cast<double>(finite) : not_a_number;
    done.least = numbers > 0 ? least : not_a_number;
    done.most = numbers > 0 ? most : not_a_number;
    return done;
  }
};

// The source samples that make target samples first to last - 1.
template <class Sample>
std::pair<int, int> samples_behind(int first, int last, Sample sample) {
  const int a = sample(first);
  const int b = sample(last - 1);
  return {std::min(a, b), std::max(a, b) + 1};
}

}  // namespace

int picture_under(const pipeline& pipeline, const ksn::state& composition, const frame_view& view, math::point at) {
  for (int i = 0; i < composition.doc.track_count(); ++i) {
    const ksn::track_info& track = composition.doc.track_at(i);
    if (!track.look.visible || track.source.type == ksn::source_type::adjustment) continue;
    if (!pipeline.shows_picture(track.id)) continue;
    const rectangle box = cropped(picture_place(track, view), track, view);
    if (holds(box, at)) return i;
  }
  return -1;
}

std::optional<pixel_values> values_at(pipeline& pipeline, const ksn::state& composition, const frame_view& view,
                                      int layer, math::point at) {
  const std::optional<placed_source> placed = place(pipeline, composition, view, layer);
  if (!placed || !holds(placed->shown, at)) return std::nullopt;
  const img::image& image = *placed->source.image;
  const int x = placed->columns.column(at.x - placed->corner.x);
  const int y = placed->rows.row(at.y - placed->corner.y);
  const int reduction = reduction_of(placed->source.resolution);
  const channel_places places = places_of(image);
  pixel_values result;
  result.layer = layer;
  result.pixel = {x * reduction, y * reduction};
  result.has_alpha = places.plane[3] >= 0;
  result.reduced = reduction > 1;
  result.after_cube = placed->source.after_cube;
  result.rgba[3] = 1.0f;
  for (int c = 0; c < (result.has_alpha ? 4 : colors); ++c) {
    read_row(&result.rgba[static_cast<std::size_t>(c)], image, places, c, y, x, 1);
  }
  return result;
}

std::optional<area_statistics> statistics_over(pipeline& pipeline, const ksn::state& composition,
                                               const frame_view& view, int layer, const rectangle& box) {
  const std::optional<placed_source> placed = place(pipeline, composition, view, layer);
  if (!placed) return std::nullopt;
  const rectangle drawn = intersect(placed->shown, box);
  if (drawn.empty()) return std::nullopt;
  const img::image& image = *placed->source.image;
  const auto [left, right] = samples_behind(drawn.left - placed->corner.x, drawn.right - placed->corner.x,
                                            [&](int x) { return placed->columns.column(x); });
  const auto [top, bottom] = samples_behind(drawn.top - placed->corner.y, drawn.bottom - placed->corner.y,
                                            [&](int y) { return placed->rows.row(y); });
  const channel_places places = places_of(image);
  const int channels = places.plane[3] >= 0 ? 4 : colors;
  const int first_row = top;
  const int first_column = left;
  const int width = right - left;
  // Stretches of a fixed length, added up in their order: the mean does not depend on the number of threads.
  constexpr int stretch = 16;
  const int rows = bottom - top;
  std::vector<std::array<sums, 4>> parts(static_cast<std::size_t>((rows + stretch - 1) / stretch));
  lib::parallel_chunks(rows, stretch, [&](int first, int last) {
    thread_local std::vector<float> values;
    values.resize(static_cast<std::size_t>(width));
    std::array<sums, 4>& part = parts[static_cast<std::size_t>(first / stretch)];
    for (int y = first; y < last; ++y) {
      for (int c = 0; c < channels; ++c) {
        read_row(values.data(), image, places, c, first_row + y, first_column, width);
        part[static_cast<std::size_t>(c)].add(values.data(), width);
      }
    }
  });
  std::array<sums, 4> total;
  for (const std::array<sums, 4>& part : parts) {
    for (std::size_t c = 0; c < 4; ++c) total[c].add(part[c]);
  }
  const int reduction = reduction_of(placed->source.resolution);
  area_statistics result;
  result.layer = layer;
  const ksn::track_info& track = composition.doc.track_at(layer);
  result.area =
      intersect({left * reduction, top * reduction, right * reduction, bottom * reduction},
                {0, 0, std::max(track.source.width, image.width), std::max(track.source.height, image.height)});
  result.pixels = static_cast<long long>(width) * rows;
  result.has_alpha = channels == 4;
  result.reduced = reduction > 1;
  result.after_cube = placed->source.after_cube;
  for (std::size_t c = 0; c < static_cast<std::size_t>(channels); ++c) result.rgba[c] = total[c].result();
  return result;
}

}  // namespace render
