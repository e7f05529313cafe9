// A stroke of the brush over the selected brush layer: from the places of the pointer to stamps on a canvas.
#pragma once

#include <memory>
#include <optional>

#include "composition/editing/canvas.h"
#include "composition/editing/undo.h"
#include "composition/state.h"
#include "lib/point.h"
#include "render/brush/stamp.h"
#include "render/compositor.h"

namespace render {

// Which pixel of a layer's canvas, with its fraction, lies under a point of a view's picture. The canvas may end before
// it. Scale, pixel aspect and flips of the layer count.
math::pointd canvas_point(const ksn::track_info& track, const frame_view& view, math::pointd at);

// A gesture of the left button, or with `erase` of the right one. Points are pixels of the view's picture and may have
// fractions; `pressure` is 0 to 1 and changes what `brush_pressure` says. Brush and colour are those of the document
// at the begin. The picture is seen to change by state::touch(). Main thread.
//
//   auto stroke = render::brush_stroke::begin(composition, stamps, view, point, erase, pressure);
//   if (stroke) ... stroke->extend(view, point, pressure); ... stroke->end();
class brush_stroke {
 public:
  // Paints a first stamp. Null where nothing can be painted: no brush layer selected, none at this time, no size.
  static std::unique_ptr<brush_stroke> begin(ksn::state& composition, brush_stamps& stamps, const frame_view& view,
                                             math::pointd at, bool erase, double pressure = 1.0);
  // Paints on to the point in even steps along a smooth curve; what is less than a step waits for the next call.
  void extend(const frame_view& view, math::pointd at, double pressure = 1.0);
  // Makes the stroke the step of undo; one that lies beside the canvas makes none.
  void end();
  // Takes the stroke back and leaves the step of undo that was there.
  void cancel();

 private:
  brush_stroke(ksn::state& composition, brush_stamps& stamps, const ksn::track_info& track, int frame);
  void paint(const frame_view& view, math::pointd at, double pressure);

  ksn::state& composition_;
  brush_stamps& stamps_;
  ksn::canvas_capture before_;
  int layer_id_;
  int frame_;
  brush_shape shape_;
  lib::color color_;
  ksn::brush_pressure_type pressure_changes_;
  bool erase_ = false;
  bool painted_ = false;  // anything
  double step_ = 1;
  math::pointd last_;
  math::pointd previous_;
  double last_pressure_ = 1;
};

// The brush while it is sized by a drag: across changes the size, down the softness.
brush_shape dragged_brush(const brush_shape& from, math::point travel);

}  // namespace render
