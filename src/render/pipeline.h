// From a layer at a timeline time to one 8-bit planar picture that the compositor can blend.
#pragma once

#include <array>
#include <chrono>
#include <ctime>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

#include "cache/reading/frame_scheduler.h"
#include "cache/track_frame.h"
#include "composition/state.h"
#include "img/image.h"
#include "lib/rectangle.h"
#include "text/fonts.h"

namespace render {

// The pipeline's state of a layer between frames, by layer id. Main thread.
struct layer_state;
struct recipe;

struct layer_geometry {
  int num_x = 1000;
  int den_x = 1000;
  int num_y = 1000;
  int den_y = 1000;
};

// The picture that a layer's shown one was made of, before any colour.
struct source_picture {
  img::const_image_ptr image;                                                // null when it is not in memory any more
  ksn::cache_resolution_type resolution = ksn::cache_resolution_type::full;  // that it came at
  bool after_cube = false;  // with the layer's cube in it: the picture before that is not in memory any more
};

struct pipeline_options {
  bool use_cache = true;  // false reads every frame again and keeps nothing
  // One error line without line feed for a frame that could not be made. A frame that goes on failing with the same
  // line is reported once; who needs the reason again asks failure_of().
  std::function<void(const std::string& line)> report_error;
  // Milliseconds of a steady clock; tests move it by hand.
  std::function<std::uint32_t()> milliseconds;
  // Who reads the frames; null reads them on the calling thread, and tries those that failed at each call. Not owned.
  cache::frame_scheduler* reading = nullptr;
  // The time of day for text layers, the system's by default; tests set it.
  std::function<std::time_t()> clock = {};
  // The fonts of text layers and marks. Without them the pipeline has its own.
  text::fonts* fonts = nullptr;
};

class pipeline {
 public:
  pipeline(cache::frame_cache& cache, pipeline_options options);
  ~pipeline();

  // The layer's picture at a timeline time; null for a layer without one there. `resolution` is that of the cache.
  // The image is owned by the pipeline or shared with the cache: read only, valid until the layer's next fetch.
  img::const_image_ptr layer_image(const ksn::state& composition, const ksn::track_info& track, double time,
                                   ksn::cache_resolution_type resolution);
  img::const_image_ptr layer_frame(const ksn::state& composition, const ksn::track_info& track, int source_frame,
                                   ksn::cache_resolution_type resolution, bool force_reload, double time);
  // The picture that layer_image() will give at a time to come, null for none; nothing where that can't be told before.
  // It is made where the source frame is in memory, and kept until the layer's next fetch of another picture.
  std::optional<img::const_image_ptr> make_ahead(const ksn::state& composition, const ksn::track_info& track,
                                                 double time, ksn::cache_resolution_type resolution);
  // The decoded source frame in its native form, before any colour: for float saving and information. Null on failure.
  img::const_image_ptr native_frame(const ksn::track_info& track, int source_frame);

  // The resolution at which this layer's pictures come when `wanted` is asked for: sources that bypass the cache, and
  // those without files, come at full resolution.
  ksn::cache_resolution_type delivered_resolution(const ksn::track_info& track,
                                                  ksn::cache_resolution_type wanted) const;

  // The sources of the layer's last picture, from memory alone.
  source_picture shown_source(const ksn::track_info& track);
  // Whether the last fetch of the layer gave a picture.
  bool shows_picture(int layer_id) const;

  // The correction of an adjustment layer, ready for rows; kept until the settings change.
  std::shared_ptr<const img::transfer> row_correction(const ksn::track_info& track);

  // How long a call of layer_image() or layer_frame() waits for a frame. After that the layer keeps the picture that it
  // had. Nothing: until the frame is there.
  std::optional<std::chrono::milliseconds> patience;
  // Whether a layer showed an earlier picture since the last call, for want of its frame.
  bool waits_for_frames() { return std::exchange(waits_, false); }
  // Whether the file of a layer that takes part at `time` and follows its file has changed, or the file that could not
  // be read. Looks at each every two seconds at most, and tells of a change once: a fetch of the layer reads it again.
  bool finds_changed_file(const ksn::state& composition, double time);

  // The text layer whose text shows as it is written, its fields not filled: the one that is edited. 0 for none.
  int written_layer = 0;
  // The exposure of a view, which acts on one layer before its picture has 8 bits: on what is fetched while it is set.
  struct early_exposure {
    int layer_id = 0;
    std::array<int, 3> hundredths{};  // of a stop; blue, green, red
  };
  std::optional<early_exposure> early;
  // A correction of finished pictures, ready for rows; null for a neutral one. Valid until the next call.
  const img::transfer* view_correction(const img::correction& settings);

  // Drops what is kept for a layer.
  void forget_layer(int layer_id);
  void forget_all();
  // Incremented at each rebuild of the layer's picture; the display uses it to notice change.
  int render_count(int layer_id) const;
  // The line of a source frame whose last fetch failed, null for one that did not.
  const std::string* failure_of(int layer_id, int source_frame) const;

  // While one lives, failures are noted and not reported: for work that tells of them itself, each time.
  class silence {
   public:
    explicit silence(pipeline& pipeline) : pipeline_(pipeline) { ++pipeline_.silent_; }
    ~silence() { --pipeline_.silent_; }
    silence(const silence&) = delete;
    silence& operator=(const silence&) = delete;

   private:
    pipeline& pipeline_;
  };

  cache::frame_cache& frame_cache() { return cache_; }
  // The fonts of text layers and marks.
  text::fonts& fonts() { return *options_.fonts; }
  cache::frame_scheduler* reading() { return options_.reading; }

 private:
  struct request;

  layer_state& state_of(int layer_id);
  recipe recipe_of(const request& asked) const;
  bool is_due(const layer_state& state) const;
  bool has_changed_file(layer_state& state);
  img::const_image_ptr decoded_frame(layer_state& state, const request& asked);
  img::const_image_ptr native_of(const request& asked, const cache::frame_key& key, bool through_cache);
  img::const_image_ptr made_frame(layer_state& state, const request& asked);
  img::const_image_ptr canvas_of(layer_state& state, const request& asked);
  img::const_image_ptr draw_text_canvas(layer_state& state, const request& asked);
  // Runs `attempt` under the rules for failures; notes what fails, and is null then.
  img::const_image_ptr noting_failure(layer_state& state, const ksn::track_info& track, int source_frame,
                                      const std::function<img::const_image_ptr()>& attempt);
  void report(layer_state& state, int source_frame, std::string line);
  bool is_direct(const ksn::track_info& track) const { return track.source.disable_cache || !options_.use_cache; }

  cache::frame_cache& cache_;
  pipeline_options options_;
  std::unique_ptr<text::fonts> own_fonts_;
  std::unique_ptr<img::transfer> view_correction_;
  bool waits_ = false;
  std::unordered_map<int, std::unique_ptr<layer_state>> layers_;
  int silent_ = 0;
};

// The recorded code or number of the layer's picture at the current time; null for sources that are not recordings.
img::timecode layer_timecode(pipeline& pipeline, const ksn::state& composition, const ksn::track_info& track);
img::keycode layer_keycode(pipeline& pipeline, const ksn::state& composition, const ksn::track_info& track);
int layer_frame_number(pipeline& pipeline, const ksn::state& composition, const ksn::track_info& track);

using cache::key_of_frame;

// A place or size in pixels, cut so that sums of a few of them never overflow: to 2^28 either way.
int limited(double value);

// How many pixels of the source stand behind one of a reduced picture in each direction: 1, 2 or 4.
int reduction_of(ksn::cache_resolution_type resolution);

// The display scale of a layer as fractions of 1000ths, with the reduction of its picture made up for. `resolution` is
// what the cache was asked for.
layer_geometry layer_scale(const ksn::track_info& track, double zoom_x, double zoom_y,
                           ksn::cache_resolution_type resolution);

using math::intersect;
using math::rectangle;

// The crop rectangle in scaled pixels around the anchor, at 100 % zoom.
rectangle crop_rect(const ksn::track_info& track);

}  // namespace render
