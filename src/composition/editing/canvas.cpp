#include "composition/editing/canvas.h"

#include <algorithm>

#include "composition/editing/undo.h"

namespace ksn {
namespace {

constexpr std::uint8_t frame_unknown = 0;
constexpr std::uint8_t frame_drawn_on = 2;

void mark_frame(track_info& track, int frame, std::uint8_t mark) {
  const auto at = static_cast<std::size_t>(frame);
  if (at >= track.source.frame_states.size()) {
    if (mark == frame_unknown) return;
    track.source.frame_states.resize(at + 1, frame_unknown);
  }
  track.source.frame_states[at] = mark;
}

}  // namespace

bool canvas_frame(const state& composition, const track_info& track, int& frame) {
  if (!has_canvas(track)) return false;
  const double end = static_cast<double>(track.timing.begin) + track.out();
  const double position = track.source_position(std::min(composition.doc.tm_t, end - 0.001));
  if (position < 0.0 || position >= track.source.frames) return false;
  frame = static_cast<int>(position);
  return true;
}

img::image_ptr canvas_at(const track_info& track, int frame) {
  if (track.source.type == source_type::brush) return track.source.brush_image;
  const auto found = track.source.brush_seq.find(frame);
  return found == track.source.brush_seq.end() ? nullptr : found->second;
}

bool canvas_fits(const track_info& track, const img::image_ptr& canvas) {
  return !canvas || (canvas->width == track.source.width && canvas->height == track.source.height);
}

void set_canvas(const state& composition, track_info& track, int frame, img::image_ptr canvas) {
  if (track.source.type == source_type::brush) {
    track.source.brush_image = std::move(canvas);
  } else {
    mark_frame(track, frame, canvas ? frame_drawn_on : frame_unknown);
    if (canvas) {
      track.source.brush_seq[frame] = std::move(canvas);
    } else {
      track.source.brush_seq.erase(frame);
    }
  }
  composition.hooks.forget_layer(track.id);
}

img::image* canvas_for_painting(const state& composition, track_info& track, int frame) {
  // The renderer lets go of it, so that what remains are copies of the layer and undo.
  composition.hooks.forget_layer(track.id);
  img::image_ptr canvas = canvas_at(track, frame);
  if (canvas && canvas.use_count() == 2) return canvas.get();
  if (canvas) {
    canvas = std::make_shared<img::image>(*canvas);
  } else {
    if (track.source.width <= 0 || track.source.height <= 0) return nullptr;
    canvas = std::make_shared<img::image>("BGRA", 8, track.source.width, track.source.height);
    canvas->fill(0, 0, 0, 0);
    canvas->set_centre_anchor();
  }
  img::image* result = canvas.get();
  set_canvas(composition, track, frame, std::move(canvas));
  return result;
}

void clear_canvas(state& composition) {
  track_info* track = composition.doc.selected_track();
  int frame = 0;
  if (!track || !canvas_frame(composition, *track, frame)) return;
  if (!canvas_at(*track, frame)) return;
  canvas_capture before(*track, frame, false);
  set_canvas(composition, *track, frame, nullptr);
  before.remember(composition, undo_name{"clear_canvas"});
}

}  // namespace ksn
