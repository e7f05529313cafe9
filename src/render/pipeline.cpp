#include "render/pipeline.h"

#include <cstring>
#include <new>

#include "cache/track_frame.h"
#include "img/sampling.h"
#include "io/failure.h"
#include "platform/files.h"
#include "render/compositor.h"
#include "render/image_pool.h"
#include "render/layer_state.h"
#include "render/text/expand.h"
#include "render/text/layer_picture.h"

namespace render {
namespace {

using ksn::cache_resolution_type;
using ksn::source_type;

constexpr std::uint32_t stat_interval = 2000;  // milliseconds between looks at a file's time
constexpr int load_attempts = 16;

bool has_pictures(source_type type) {
  return type != source_type::none && type != source_type::wave && type != source_type::embedded_audio;
}

bool follows_file(const ksn::layer_source& source) {
  return source.auto_update && source.is_decoded() && !source.is_clip();
}

// The picture of a drawn layer before anything is drawn.
img::const_image_ptr blank_picture(std::string_view letters, int width, int height) {
  const img::image_ptr picture = pooled_image(letters, width, height);
  picture->fill(0, 0, 0, 0);
  return picture;
}

// Stands for a frame that is still being read.
const img::const_image_ptr& not_yet_there() {
  static const img::const_image_ptr none = std::make_shared<img::image>();
  return none;
}

bool is_blank_of(const img::const_image_ptr& picture, std::string_view letters, int width, int height) {
  return picture && picture->width == width && picture->height == height &&
         picture->plane_count() == static_cast<int>(letters.size());
}

bool has_recorded_fields(const ksn::layer_source& source) {
  return source.is_decoded() || source.type == source_type::clipboard_image || source.type == source_type::shmem ||
         source.type == source_type::video;
}

img::const_image_ptr picture_with_fields(pipeline& pipeline, const ksn::state& composition,
                                         const ksn::track_info& track) {
  if (!has_recorded_fields(track.source)) return nullptr;
  return pipeline.layer_image(composition, track, composition.doc.tm_t, composition.view.resolution);
}

}  // namespace

struct pipeline::request {
  const ksn::track_info& track;
  int source_frame;
  cache_resolution_type resolution;
  bool force_reload;
  const ksn::state* composition = nullptr;  // null where only the native picture counts
  double time = 0;
};

pipeline::pipeline(cache::frame_cache& cache, pipeline_options options) : cache_(cache), options_(std::move(options)) {
  if (!options_.milliseconds) options_.milliseconds = platform::milliseconds;
  if (!options_.clock) options_.clock = [] { return std::time(nullptr); };
  if (!options_.fonts) {
    own_fonts_ = std::make_unique<text::fonts>(options_.report_error);
    options_.fonts = own_fonts_.get();
  }
}

pipeline::~pipeline() = default;

layer_state& pipeline::state_of(int layer_id) {
  std::unique_ptr<layer_state>& state = layers_[layer_id];
  if (!state) state = std::make_unique<layer_state>();
  return *state;
}

cache_resolution_type pipeline::delivered_resolution(const ksn::track_info& track, cache_resolution_type wanted) const {
  return track.source.is_decoded() && !is_direct(track) ? wanted : cache_resolution_type::full;
}

img::const_image_ptr pipeline::layer_image(const ksn::state& composition, const ksn::track_info& track, double time,
                                           cache_resolution_type resolution) {
  if (!has_pictures(track.source.type)) return nullptr;
  const double position = track.source_position(time);
  if (position < 0.0) return nullptr;
  return layer_frame(composition, track, static_cast<int>(position), resolution, false, time);
}

img::const_image_ptr pipeline::layer_frame(const ksn::state& composition, const ksn::track_info& track,
                                           int source_frame, cache_resolution_type resolution, bool force_reload,
                                           double time) {
  if (source_frame < 0 || !has_pictures(track.source.type)) return nullptr;
  layer_state& state = state_of(track.id);
  const request asked{track, source_frame, delivered_resolution(track, resolution), force_reload, &composition, time};
  return track.source.is_decoded() ? decoded_frame(state, asked) : made_frame(state, asked);
}

recipe pipeline::recipe_of(const request& asked) const {
  const ksn::track_info& track = asked.track;
  recipe wanted{key_of_frame(track, asked.source_frame, asked.resolution),
                track.look.tf,
                track.look.ck_primary,
                track.look.ck_secondary,
                track.look.channels,
                nullptr};
  if (early && early->layer_id == track.id) wanted.correction.shown_exposure = early->hundredths;
  return wanted;
}

std::optional<img::const_image_ptr> pipeline::make_ahead(const ksn::state& composition, const ksn::track_info& track,
                                                         double time, cache_resolution_type resolution) {
  const double position = track.source_position(time);
  if (!has_pictures(track.source.type) || position < 0.0) return nullptr;
  const request asked{track, static_cast<int>(position), delivered_resolution(track, resolution), false, &composition,
                      time};
  layer_state& state = state_of(track.id);
  if (!track.source.is_decoded()) {
    // What a text or a live source shows is known when it is shown.
    const bool stays = track.source.type == source_type::clipboard_image || track.source.type == source_type::brush ||
                       track.source.type == source_type::brush_sequence || track.source.type == source_type::adjustment;
    if (stays && state.picture && canvas_of(state, asked) == state.made_from.canvas) return state.picture;
    return std::nullopt;
  }
  if (is_direct(track)) return std::nullopt;
  recipe wanted = recipe_of(asked);
  if (state.picture && state.made_from == wanted) return state.picture;
  const img::const_image_ptr native = cache_.find(wanted.key);
  if (!native) return std::nullopt;
  if (state.ahead.made_from == wanted && state.ahead.native.lock() == native) return state.ahead.picture;
  state.ahead = {};
  state.ahead.picture = develop(state, wanted, native, wanted.key.has_lookup);
  state.ahead.native = native;
  state.ahead.made_from = std::move(wanted);
  return state.ahead.picture;
}

bool pipeline::is_due(const layer_state& state) const {
  return options_.milliseconds() - state.last_stat_time >= stat_interval;
}

// Of a layer that was fetched from a file.
bool pipeline::has_changed_file(layer_state& state) {
  if (!is_due(state)) return state.file_changed;
  state.last_stat_time = options_.milliseconds();
  const cache::frame_key& key = state.made_from.key;
  if (state.picture) {
    const int time = platform::modification_time(key.path);
    state.file_changed = time != 0 && time != state.picture->mtime;
  } else {
    std::exception_ptr why;
    state.file_changed = !options_.reading || !options_.reading->failures().still_fails(key, why);
  }
  return state.file_changed;
}

bool pipeline::finds_changed_file(const ksn::state& composition, double time) {
  const std::deque<ksn::track_info>& tracks = composition.doc.tracks;
  std::vector<bool> taking_part;
  bool found = false;
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    if (!follows_file(tracks[i].source)) continue;
    const auto known = layers_.find(tracks[i].id);
    if (known == layers_.end() || known->second->made_from.key.path.empty() || !is_due(*known->second)) continue;
    if (taking_part.empty()) taking_part = layers_taking_part(composition);
    if (taking_part[i] && tracks[i].source_position(time) >= 0.0) found |= has_changed_file(*known->second);
  }
  return found;
}

img::const_image_ptr pipeline::decoded_frame(layer_state& state, const request& asked) {
  const ksn::track_info& track = asked.track;
  const bool direct = is_direct(track);
  recipe wanted = recipe_of(asked);
  if (state.picture && !direct && !asked.force_reload && state.made_from == wanted) {
    if (!follows_file(track.source)) return state.picture;
    if (!has_changed_file(state)) return state.picture;
  }

  const bool through_cache = !direct && !asked.force_reload;
  bool late = false;
  img::const_image_ptr picture = noting_failure(state, track, asked.source_frame, [&]() -> img::const_image_ptr {
    img::const_image_ptr native = native_of(asked, wanted.key, through_cache);
    late = native == not_yet_there();
    if (!native || late) return native;
    state.native = native;
    if (state.ahead.picture) {
      const developed_picture ahead = std::exchange(state.ahead, {});
      if (ahead.made_from == wanted && ahead.native.lock() == native) return ahead.picture;
    }
    // Lets go of the old picture first, so that a picture from the pool can be used again for this one.
    state.picture.reset();
    return develop(state, wanted, native, wanted.key.has_lookup);
  });
  if (late) {
    waits_ = true;
    return state.picture;
  }
  ++state.render_count;
  state.picture = std::move(picture);
  state.made_from = std::move(wanted);
  state.last_stat_time = options_.milliseconds();
  state.file_changed = false;
  return state.picture;
}

// The text with its fields filled, drawn again only when that changes something.
img::const_image_ptr pipeline::draw_text_canvas(layer_state& state, const request& asked) {
  const ksn::track_info& track = asked.track;
  if (track.source.width <= 0 || track.source.height <= 0) return nullptr;
  const field_sources sources{
      *asked.composition, asked.time, options_.clock(), [&](const ksn::track_info& other) -> img::const_image_ptr {
        if (!has_recorded_fields(other.source)) return nullptr;
        return layer_image(*asked.composition, other, asked.time, asked.composition->view.resolution);
      }};
  std::string text = track.id == written_layer ? track.lettering.text : expand_text(track.lettering.text, sources);
  // Where alpha hides what is transparent, the blend can leave it out.
  const bool hinted =
      track.look.alpha_type != ksn::alpha_type::ignore && track.look.alpha_source_id == 0 && !track.look.invert_alpha;
  if (state.text_shown >= 0) {
    const img::image_ptr& shown = state.text_canvases[static_cast<std::size_t>(state.text_shown)].picture;
    if (shown->width == track.source.width && shown->height == track.source.height && state.text == text &&
        state.text_attributes == track.lettering.text_attr && state.text_hinted == hinted) {
      return shown;
    }
  }
  const int index = state.text_shown == 0 ? 1 : 0;
  text_canvas& canvas = state.text_canvases[static_cast<std::size_t>(index)];
  state.text_shown = -1;
  const bool free = canvas.picture && canvas.picture.use_count() == 1;
  if (free && canvas.picture->width == track.source.width && canvas.picture->height == track.source.height) {
    clear_box(*canvas.picture, canvas.drawn);
  } else {
    canvas.picture = pooled_image("BGRA", track.source.width, track.source.height);
    canvas.picture->fill(0, 0, 0, 0);
  }
  canvas.drawn = {0, 0, track.source.width, track.source.height};
  canvas.drawn = draw_text_layer(*options_.fonts, track.lettering.text_attr, text, *canvas.picture);
  set_alpha_hints(*canvas.picture, canvas.drawn, hinted);
  state.text = std::move(text);
  state.text_attributes = track.lettering.text_attr;
  state.text_hinted = hinted;
  state.text_shown = index;
  return canvas.picture;
}

// The decoded source frame, full or reduced; not_yet_there() when the patience ended first.
img::const_image_ptr pipeline::native_of(const request& asked, const cache::frame_key& key, bool through_cache) {
  const ksn::track_info& track = asked.track;
  // What is in memory needs no request, which is a copy of the key.
  if (through_cache && !track.source.auto_update && cache::has_frame(track, asked.source_frame, key.path)) {
    if (img::const_image_ptr kept = cache_.find(key)) {
      cache_.touch(kept);
      return kept;
    }
  }
  std::optional<cache::frame_request> wanted = cache::request_of(track, asked.source_frame, key);
  if (!wanted) return nullptr;
  if (through_cache) {
    if (!options_.reading) return cache::read_through(cache_, *wanted);
    const cache::frame_scheduler::outcome found = options_.reading->fetch(*wanted, patience);
    return found.pending ? not_yet_there() : found.image;
  }
  img::const_image_ptr native =
      options_.reading ? options_.reading->read_past_cache(*wanted) : cache::read_directly(*wanted);
  if (native && asked.resolution != cache_resolution_type::full) {
    auto reduced = std::make_shared<img::image>(*native);
    img::reduce(*reduced, reduction_of(asked.resolution));
    native = std::move(reduced);
  }
  if (native && key.has_lookup) {
    // In the form that the cache keeps, so that the picture is the same either way.
    auto looked_up = std::make_shared<img::image>();
    img::apply_cube(*looked_up, *native, wanted->lookup);
    native = std::move(looked_up);
  }
  return native;
}

// The source picture of a layer that is made inside the program, null where it has none.
img::const_image_ptr pipeline::canvas_of(layer_state& state, const request& asked) {
  const ksn::track_info& track = asked.track;
  const auto blank = [&](std::string_view letters) {
    const img::const_image_ptr& last = state.made_from.canvas;
    if (track.source.width <= 0 || track.source.height <= 0) return img::const_image_ptr();
    return is_blank_of(last, letters, track.source.width, track.source.height)
               ? last
               : blank_picture(letters, track.source.width, track.source.height);
  };
  switch (track.source.type) {
    case source_type::clipboard_image:
      return track.source.clipboard_image;
    case source_type::shmem:
    case source_type::video:
      return track.source.live ? track.source.live->newest() : nullptr;
    case source_type::brush:
      return track.source.brush_image;
    case source_type::brush_sequence: {
      const auto found = track.source.brush_seq.find(asked.source_frame);
      return found == track.source.brush_seq.end() ? nullptr : found->second;
    }
    case source_type::text:
    case source_type::text_sequence:
      return asked.composition ? draw_text_canvas(state, asked) : blank("BGRA");
    case source_type::adjustment:
      return blank("BGR");
    default:
      return nullptr;
  }
}

img::const_image_ptr pipeline::made_frame(layer_state& state, const request& asked) {
  const ksn::track_info& track = asked.track;
  img::const_image_ptr canvas;
  noting_failure(state, track, asked.source_frame, [&] { return canvas = canvas_of(state, asked); });
  if (!canvas || canvas->empty()) {
    state.picture.reset();
    return nullptr;
  }
  recipe wanted{{}, track.look.tf, {}, {}, track.look.channels, canvas};
  // The pixels of an adjustment layer are never used: its correction is what counts.
  if (track.source.type == source_type::adjustment) wanted.correction = {};
  if (state.picture && state.made_from == wanted) return state.picture;
  ++state.render_count;
  state.picture.reset();
  state.picture =
      noting_failure(state, track, asked.source_frame, [&] { return develop(state, wanted, canvas, false); });
  state.made_from = std::move(wanted);
  return state.picture;
}

img::const_image_ptr pipeline::native_frame(const ksn::track_info& track, int source_frame) {
  if (source_frame < 0 || !has_pictures(track.source.type)) return nullptr;
  layer_state& state = state_of(track.id);
  const request asked{track, source_frame, cache_resolution_type::full, false, nullptr, 0};
  if (!track.source.is_decoded()) return canvas_of(state, asked);
  cache::frame_key key = key_of_frame(track, source_frame, cache_resolution_type::full);
  key.has_lookup = false;
  key.lookup_hash = 0;
  const std::optional<std::chrono::milliseconds> kept = std::exchange(patience, std::nullopt);
  const img::const_image_ptr native =
      noting_failure(state, track, source_frame, [&] { return native_of(asked, key, !is_direct(track)); });
  patience = kept;
  return native;
}

source_picture pipeline::shown_source(const ksn::track_info& track) {
  const auto found = layers_.find(track.id);
  if (found == layers_.end() || !found->second->picture) return {};
  const layer_state& state = *found->second;
  if (!track.source.is_decoded()) return {state.made_from.canvas, cache_resolution_type::full, false};
  cache::frame_key key = state.made_from.key;
  source_picture shown{state.native.lock(), static_cast<cache_resolution_type>(key.resolution), key.has_lookup};
  if (!key.has_lookup) return shown;
  key.has_lookup = false;
  key.lookup_hash = 0;
  if (img::const_image_ptr before = cache_.find(key)) shown = {std::move(before), shown.resolution, false};
  return shown;
}

bool pipeline::shows_picture(int layer_id) const {
  const auto found = layers_.find(layer_id);
  return found != layers_.end() && found->second->picture;
}

const img::transfer* pipeline::view_correction(const img::correction& settings) {
  if (settings == img::correction{}) return nullptr;
  if (!view_correction_) view_correction_ = std::make_unique<img::transfer>();
  view_correction_->prepare(settings);
  const img::transfer& correction = *view_correction_;
  const bool changes = !settings.lookup_table.empty() || correction.has_matrix() || !correction.is_identity(0, 2) ||
                       !correction.is_identity(1, 2) || !correction.is_identity(2, 2);
  if (!changes) return nullptr;
  view_correction_->prepare_rows();
  return &correction;
}

std::shared_ptr<const img::transfer> pipeline::row_correction(const ksn::track_info& track) {
  std::shared_ptr<const img::transfer>& kept = state_of(track.id).row_correction;
  if (!kept || !(kept->settings() == track.look.tf)) {
    auto correction = std::make_shared<img::transfer>(track.look.tf);
    correction->prepare_rows();
    kept = std::move(correction);
  }
  return kept;
}

img::const_image_ptr pipeline::noting_failure(layer_state& state, const ksn::track_info& track, int source_frame,
                                              const std::function<img::const_image_ptr()>& attempt) {
  const auto name = [&] {
    const std::string path = track.source.frame_path(source_frame);
    return !path.empty() ? path : !track.source.path.empty() ? track.source.path : track.name;
  };
  for (int attempts = 1;; ++attempts) {
    try {
      img::const_image_ptr image = attempt();
      if (image) {
        state.failures.erase(source_frame);
        // A save tells its failures itself, but nobody else tells what is missing from a picture that is there.
        if (!image->note.empty() && state.noted.insert(source_frame).second && options_.report_error) {
          options_.report_error('"' + name() + "\": " + image->note);
        }
      } else if (track.source.is_decoded()) {
        report(state, source_frame, '"' + name() + "\": The frame can't be read");
      }
      return image;
    } catch (const std::bad_alloc&) {
      release_pooled_images();
      if (attempts < load_attempts && cache_.evict_oldest()) {
        cache_.evict_oldest();
        continue;
      }
      report(state, source_frame, io::failure_line(name()));
    } catch (const std::exception&) {
      report(state, source_frame, io::failure_line(name()));
    }
    return nullptr;
  }
}

void pipeline::report(layer_state& state, int source_frame, std::string line) {
  std::string& reported = state.failures[source_frame];
  if (reported == line) return;
  reported = std::move(line);
  if (options_.report_error && silent_ == 0) options_.report_error(reported);
}

void pipeline::forget_layer(int layer_id) {
  layers_.erase(layer_id);
}

void pipeline::forget_all() {
  layers_.clear();
}

int pipeline::render_count(int layer_id) const {
  const auto found = layers_.find(layer_id);
  return found == layers_.end() ? 0 : found->second->render_count;
}

const std::string* pipeline::failure_of(int layer_id, int source_frame) const {
  const auto layer = layers_.find(layer_id);
  if (layer == layers_.end()) return nullptr;
  const auto failure = layer->second->failures.find(source_frame);
  return failure == layer->second->failures.end() ? nullptr : &failure->second;
}

img::timecode layer_timecode(pipeline& pipeline, const ksn::state& composition, const ksn::track_info& track) {
  const img::const_image_ptr picture = picture_with_fields(pipeline, composition, track);
  return picture ? picture->timecode : img::timecode{};
}

img::keycode layer_keycode(pipeline& pipeline, const ksn::state& composition, const ksn::track_info& track) {
  const img::const_image_ptr picture = picture_with_fields(pipeline, composition, track);
  return picture ? picture->keycode : img::keycode{};
}

int layer_frame_number(pipeline& pipeline, const ksn::state& composition, const ksn::track_info& track) {
  const img::const_image_ptr picture = picture_with_fields(pipeline, composition, track);
  return picture ? picture->frame : -1;
}

}  // namespace render
