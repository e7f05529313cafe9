#include <chrono>
#include <cmath>

#include "lib/parallel.h"
#include "render/alpha_source.h"
#include "render/channels.h"
#include "render/compositor.h"
#include "render/counter.h"
#include "render/failures.h"
#include "render/image_pool.h"
#include "render/marks.h"
#include "render/overlays.h"
#include "render/places.h"
#include "render/plane_kernels.h"
#include "render/stereo.h"
#include "text/draw.h"

namespace render {
namespace {

using ksn::cache_resolution_type;

layer_picture fetch(pipeline& pipeline, const ksn::state& composition, int index, double time,
                    cache_resolution_type resolution) {
  const ksn::track_info& track = composition.doc.track_at(index);
  return {&track, pipeline.layer_image(composition, track, time, resolution),
          reduction_of(pipeline.delivered_resolution(track, resolution))};
}

bool is_adjustment(const ksn::track_info& track) {
  return track.source.type == ksn::source_type::adjustment;
}

// The index of the layer that supplies alpha, -1 for none.
int alpha_source_of(const ksn::state& composition, const ksn::track_info& track) {
  return track.look.alpha_source_id == 0 ? -1 : composition.doc.index_of_id(track.look.alpha_source_id);
}

background background_of(const ksn::state& composition) {
  const lib::color color = composition.doc.resolved_back_color();
  return {color.b, color.g, color.r, 0, 0};
}

bool any_layer_of_one_eye(const ksn::state& composition, const std::vector<prepared_layer>& layers) {
  for (const prepared_layer& layer : layers) {
    if (composition.doc.track_at(layer.index).look.target_view != ksn::target_view_type::both) return true;
  }
  return false;
}

// Renders both eyes, the first into `target`, and merges them.
void render_both_eyes(img::image& target, const ksn::state& composition, const std::vector<prepared_layer>& layers,
                      const frame_view& view, const background& below) {
  const img::image_ptr other = pooled_image(target.format, target.width, target.height);
  if (any_layer_of_one_eye(composition, layers)) {
    render_stereo_pair(&target, other.get(), composition, layers, view, &below);
    if (view.switch_views) target.swap(*other);
  } else {
    render_stereo_pair(&target, nullptr, composition, layers, view, &below);
    *other = target;
  }
  merge_stereo(target, *other, view.stereo_mode, view.view_origin.x + view.view_origin.y);
}

// Two grays in squares of eight pixels, fixed to the screen.
constexpr int checker_square = 8;
constexpr std::uint8_t checker_dark = 102;
constexpr std::uint8_t checker_light = 153;

void draw_checker(img::image& image, math::point origin) {
  const plane_kernels& rows = active_plane_kernels();
  const int phase = origin.x & (2 * checker_square - 1);
  lib::parallel_rows(image.height, 1LL * image.width * image.height, [&](int top, int bottom) {
    for (int y = top; y < bottom; ++y) {
      const bool odd = ((y + origin.y) & checker_square) != 0;
      for (int plane = 0; plane < 3; ++plane) {
        rows.checker(image.row(plane, y), image.row(3, y), static_cast<std::size_t>(image.width), phase,
                     odd ? checker_light : checker_dark, odd ? checker_dark : checker_light);
      }
    }
  });
}

void fill_probe(composite_probe& probe, const img::image& image) {
  const math::point at = probe.at;
  probe.inside = at.x >= 0 && at.x < image.width && at.y >= 0 && at.y < image.height;
  if (!probe.inside) return;
  probe.rgba = {image.row(2, at.y)[at.x], image.row(1, at.y)[at.x], image.row(0, at.y)[at.x], image.row(3, at.y)[at.x]};
}

// The view's exposure acts before the 8-bit step where one decoded layer is all that is shown, so that stopping down
// shows what is in its highlights. Nothing where it can't: then it acts on the finished picture like the rest.
std::optional<pipeline::early_exposure> early_exposure(const ksn::state& composition,
                                                       const img::correction& correction) {
  constexpr int linear_space = 1;
  if (correction.exposure == std::array{0, 0, 0} || correction.disable_cc || correction.color_space == linear_space ||
      !correction.lookup_table.empty()) {
    return std::nullopt;
  }
  const ksn::track_info* only = nullptr;
  for (const ksn::track_info& track : composition.doc.tracks) {
    if (!track.look.visible) continue;
    if (only) return std::nullopt;
    only = &track;
  }
  if (!only || !only->source.is_decoded()) return std::nullopt;
  const ksn::layer_look& look = only->look;
  if (look.blend_type != ksn::blend_type::normal || look.alpha_source_id != 0 || look.invert_color ||
      look.ck_primary.enabled || look.ck_secondary.enabled) {
    return std::nullopt;
  }
  return pipeline::early_exposure{only->id, correction.exposure};
}

// Sets the early exposure as long as it lives.
class exposed_layer {
 public:
  exposed_layer(pipeline& pipeline, const std::optional<pipeline::early_exposure>& early) : pipeline_(pipeline) {
    pipeline_.early = early;
  }
  ~exposed_layer() { pipeline_.early.reset(); }
  exposed_layer(const exposed_layer&) = delete;
  exposed_layer& operator=(const exposed_layer&) = delete;

 private:
  pipeline& pipeline_;
};

void correct_rows(img::image& picture, const img::transfer& correction) {
  lib::parallel_rows(picture.height, 3LL * picture.width * picture.height, [&](int top, int bottom) {
    for (int y = top; y < bottom; ++y) {
      correction.apply_row(picture.row(0, y), picture.row(1, y), picture.row(2, y), picture.width);
    }
  });
}

// Tells a frame that failed apart from a black one, and which layer's it is.
constexpr lib::color failure_color{255, 224, 48, 48};
constexpr lib::color failure_shadow{255, 0, 0, 0};
constexpr int failure_margin = 4;  // pixels between outline and name

void mark_failures(img::image& picture, pipeline& pipeline, const ksn::state& composition, const frame_view& view,
                   double time) {
  const rectangle whole{0, 0, picture.width, picture.height};
  for (const layer_failure& failure : failed_layers(pipeline, composition, time)) {
    const ksn::track_info& track = composition.doc.track_at(failure.index);
    const rectangle place = picture_place(track, view);
    draw_outline(picture, place, failure_color, whole);
    const rectangle shown = math::intersect(place, whole);
    const int room = shown.right - shown.left - 2 * failure_margin;
    if (shown.empty() || room <= 0) continue;
    const text::placement one_line{.max_width = room, .max_lines = 1, .clip = shown};
    const math::point corner{shown.left + failure_margin, shown.top + failure_margin};
    const text::font font = text::interface_font("default");
    text::draw_text(pipeline.fonts(), track.name, font, picture, {corner.x + 1, corner.y + 1}, failure_shadow,
                    one_line);
    text::draw_text(pipeline.fonts(), track.name, font, picture, corner, failure_color, one_line);
  }
}

}  // namespace

// A chain ends at a layer that is marked already, so that a ring of sources ends too.
std::vector<bool> layers_taking_part(const ksn::state& composition) {
  std::vector<bool> marked(composition.doc.tracks.size());
  for (std::size_t i = 0; i < marked.size(); ++i) marked[i] = composition.doc.tracks[i].look.visible;
  for (int i = 0; i < composition.doc.track_count(); ++i) {
    if (!composition.doc.track_at(i).look.visible) continue;
    int next = alpha_source_of(composition, composition.doc.track_at(i));
    while (next >= 0 && !marked[static_cast<std::size_t>(next)]) {
      marked[static_cast<std::size_t>(next)] = true;
      next = alpha_source_of(composition, composition.doc.track_at(next));
    }
  }
  return marked;
}

namespace {

prepared_layer prepared(pipeline& pipeline, const ksn::track_info& track, int index, double time,
                        img::const_image_ptr image, cache_resolution_type resolution) {
  return {index, std::move(image), track.faded_value(time, track.look.opacity),
          pipeline.delivered_resolution(track, resolution),
          is_adjustment(track) ? pipeline.row_correction(track) : nullptr};
}

}  // namespace

std::vector<prepared_layer> prepare_layers(pipeline& pipeline, const ksn::state& composition, double time,
                                           cache_resolution_type resolution) {
  const std::vector<bool> marked = layers_taking_part(composition);
  std::vector<layer_picture> pictures(marked.size());
  for (int i = composition.doc.track_count() - 1; i >= 0; --i) {
    if (marked[static_cast<std::size_t>(i)]) {
      pictures[static_cast<std::size_t>(i)] = fetch(pipeline, composition, i, time, resolution);
    }
  }
  std::vector<prepared_layer> layers;
  for (int i = composition.doc.track_count() - 1; i >= 0; --i) {
    const layer_picture& picture = pictures[static_cast<std::size_t>(i)];
    const ksn::track_info& track = composition.doc.track_at(i);
    if (!track.look.visible || !picture.image) continue;
    const int source = alpha_source_of(composition, track);
    img::const_image_ptr image =
        apply_alpha_source(picture, source < 0 ? layer_picture{} : pictures[static_cast<std::size_t>(source)]);
    if (!image && !is_adjustment(track)) continue;
    layers.push_back(prepared(pipeline, track, i, time, std::move(image), resolution));
  }
  return layers;
}

img::const_image_ptr prepare_layer_picture(pipeline& pipeline, const ksn::state& composition, int index, double time,
                                           cache_resolution_type resolution) {
  const ksn::track_info& track = composition.doc.track_at(index);
  // The source first: when a layer is its own source, its picture must be the one of the last fetch.
  const int source_index = alpha_source_of(composition, track);
  layer_picture source;
  if (source_index >= 0) source = fetch(pipeline, composition, source_index, time, resolution);
  const layer_picture layer = fetch(pipeline, composition, index, time, resolution);
  return layer.image ? apply_alpha_source(layer, source) : nullptr;
}

frame_view output_view(const ksn::document& document, const ksn::view& shown) {
  frame_view view;
  view.width = document.mask_size.x;
  view.height = document.mask_size.y;
  view.eyes = shown.stereo_view;
  view.stereo_mode = shown.stereo_mode;
  view.switch_views = shown.switch_views;
  return view;
}

namespace {

// What a composite is made of, beside the view. The background and the view's own correction share its exposure out.
struct ingredients {
  std::vector<prepared_layer> layers;
  background below;
  img::correction correction;
};

template <class Prepare>
ingredients gather(pipeline& pipeline, const ksn::state& composition, const frame_view& view, const Prepare& prepare) {
  ingredients parts{{}, background_of(composition), view.correction};
  const auto early = early_exposure(composition, parts.correction);
  if (early) {
    // The background has no more than its 8 bits.
    img::correction exposure;
    exposure.exposure = parts.correction.exposure;
    if (const img::transfer* rows = pipeline.view_correction(exposure))
      rows->apply_row(&parts.below[0], &parts.below[1], &parts.below[2], 1);
    parts.correction.exposure = {};
  }
  const exposed_layer exposed(pipeline, early);
  parts.layers = prepare();
  return parts;
}

// All of a frame that comes from its ingredients alone. Its height is without the room below.
img::image_ptr compose(pipeline& pipeline, const ksn::state& composition, const frame_view& view,
                       const ingredients& parts) {
  constexpr std::string_view letters = "BGRAZ";
  const img::image_ptr picture = pooled_image(letters, view.width, view.height + view.room_below);
  // The drawing functions see the picture alone.
  picture->height = view.height;
  picture->set_centre_anchor();
  switch (view.eyes) {
    case ksn::target_view_type::left:
      render_stereo_pair(picture.get(), nullptr, composition, parts.layers, view, &parts.below);
      break;
    case ksn::target_view_type::right:
      render_stereo_pair(nullptr, picture.get(), composition, parts.layers, view, &parts.below);
      break;
    case ksn::target_view_type::both:
      render_both_eyes(*picture, composition, parts.layers, view, parts.below);
      break;
  }
  if (view.probe) fill_probe(*view.probe, *picture);
  cut_to_output(*picture, composition, view);
  if (const img::transfer* rows = pipeline.view_correction(parts.correction)) correct_rows(*picture, *rows);
  if (view.for_display && composition.doc.back_color == ksn::back_color_type::transparent) {
    draw_checker(*picture, view.view_origin);
  }
  if (view.channels != ksn::view_type::rgb) select_channels(*picture, view.channels);
  draw_marks(*picture, composition, view);
  return picture;
}

// A view as it is compared: where its probe stands, and not who asks.
bool same_view(const frame_view& view, const frame_ahead& ahead) {
  frame_view compared = view;
  compared.probe = nullptr;
  return compared == ahead.view && (!view.probe || view.probe->at == ahead.probe.at);
}

}  // namespace

void make_ahead(pipeline& pipeline, const ksn::state& composition, const frame_view& view, double time,
                frame_ahead& ahead) {
  ahead = {};
  bool known = true;
  const auto prepare = [&] {
    std::vector<prepared_layer> layers;
    const std::vector<bool> marked = layers_taking_part(composition);
    for (int i = composition.doc.track_count() - 1; i >= 0; --i) {
      if (!marked[static_cast<std::size_t>(i)]) continue;
      const ksn::track_info& track = composition.doc.track_at(i);
      const auto image = pipeline.make_ahead(composition, track, time, view.resolution);
      // Alpha sources and inversions make another picture of it.
      known = known && image && track.look.alpha_source_id == 0 && !track.look.invert_color && !track.look.invert_alpha;
      if (!known || !*image || !track.look.visible) continue;
      layers.push_back(prepared(pipeline, track, i, time, is_adjustment(track) ? nullptr : *image, view.resolution));
    }
    return layers;
  };
  frame_view shown = view;
  shown.probe = &ahead.probe;
  if (view.probe) ahead.probe.at = view.probe->at;
  const ingredients parts = gather(pipeline, composition, view, prepare);
  if (!known) return;
  ahead.picture = compose(pipeline, composition, shown, parts);
  ahead.layers = parts.layers;
  ahead.view = view;
  ahead.view.probe = nullptr;
  ahead.revision = composition.revision;
}

void render_frame(pipeline& pipeline, const ksn::state& composition, img::image& target, const frame_view& view,
                  double time, frame_times* times, frame_ahead* ahead) {
  const auto start = std::chrono::steady_clock::now();
  const ingredients parts =
      gather(pipeline, composition, view, [&] { return prepare_layers(pipeline, composition, time, view.resolution); });
  const auto fetched = std::chrono::steady_clock::now();
  img::image_ptr picture;
  if (ahead && ahead->picture && ahead->revision == composition.revision && ahead->layers == parts.layers &&
      same_view(view, *ahead)) {
    picture = std::move(ahead->picture);
    if (view.probe) *view.probe = ahead->probe;
  } else {
    picture = compose(pipeline, composition, view, parts);
  }
  if (ahead) *ahead = {};
  if (view.for_display) mark_failures(*picture, pipeline, composition, view, time);
  if (view.counter) draw_counter(*picture, pipeline, composition, time);
  picture->frame = static_cast<int>(std::trunc(time));
  picture->timecode = img::timecode_of_frame(picture->frame, composition.doc.fpcs);
  picture->frame_rate_nm = composition.doc.fpcs;
  picture->frame_rate_dn = 100;
  picture->height += view.room_below;
  target.swap(*picture);
  if (times) *times = {(fetched - start).count(), (std::chrono::steady_clock::now() - fetched).count()};
}

}  // namespace render
