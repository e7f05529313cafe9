// The paintable pictures of brush layers.
#pragma once

#include "composition/state.h"

namespace ksn {

inline bool has_canvas(const track_info& track) {
  return track.source.type == source_type::brush || track.source.type == source_type::brush_sequence;
}

// The source frame that is painted on at the composition's current time: past the end of the layer it is the last one.
// False where the layer has none.
bool canvas_frame(const state& composition, const track_info& track, int& frame);
// The canvas of a source frame, null where nothing was painted yet.
img::image_ptr canvas_at(const track_info& track, int frame);
// Whether the layer can have this canvas: it has the layer's size, or is none.
bool canvas_fits(const track_info& track, const img::image_ptr& canvas);
// Puts a canvas there, or with null takes it away, and has the layer's picture made again.
void set_canvas(const state& composition, track_info& track, int frame, img::image_ptr canvas);
// The canvas to paint on, which only the layer holds: made transparent when there is none, copied when it is shared
// with a copy of the layer or with undo. Valid until the next change of the layer. Null for a layer without a size.
img::image* canvas_for_painting(const state& composition, track_info& track, int frame);

// Takes the canvas of the selected layer at the current time away. Undoable.
void clear_canvas(state& composition);

}  // namespace ksn
