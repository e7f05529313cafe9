// The common part of the gestures along the timeline.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "composition/editing/undo.h"
#include "ui/area.h"
#include "ui/timeline/ruler_scale.h"
#include "ui/timeline/snapping.h"

namespace ui {

constexpr int drag_band = 64;  // pixels at scale 1: farther above or below the press a ruler's drag shows the old value
constexpr int snap_reach = 8;  // pixels at scale 1

// The ruler as the window has it now.
ruler_scale scale_of(const workbench& bench);
// The frame under the time cursor.
int shown_frame(const ksn::state& composition);
// Of the layers.
std::set<int> all_ids(const ksn::document& doc);
// "+12", "-3", "0".
std::string signed_frames(int frames);

// A horizontal gesture that counts in frames of the ruler as it was at the press. Each step counts from the press, not
// from the step before. The document may change below it, since commands of others are carried out meanwhile: layers
// are known by their ids.
class time_drag : public drag_handler {
 public:
  // `ids` are those of the layers that it may change.
  time_drag(workbench& bench, const std::set<int>& ids);
  void begin(math::point point) override;
  cursor_shape get_cursor(math::point) override { return cursor_shape::size_horizontal; }
  // The line of a snap, and what the gesture did, at the pointer.
  void draw(math::point point, painter& on) override;

 protected:
  // The text that the gesture shows while it goes on; empty for none.
  virtual std::string text() const { return {}; }

  ksn::document& doc() const { return bench_.composition.doc; }
  // Null when the layer is gone.
  ksn::track_info* track_of(int id) const;
  int frames_moved(math::point point) const;
  bool outside_band(math::point point) const;
  // The frames that Ctrl draws to, asked for at the press.
  virtual std::vector<int> snap_frames_at_press() const { return snap_frames(doc(), {}, true); }
  // `frame` or, with Ctrl held, the nearest of them.
  int snap(int frame);
  // A frame as the user counts it.
  std::string shown(int frame) const { return std::to_string(frame + doc().frame_base); }
  // Makes all that the gesture changed one step of undo.
  bool remember(const char* name, ksn::undo_rule rule = ksn::undo_rule::as_left, bool while_selected = true) const {
    return before_.remember(bench_.composition, ksn::undo_name{name}, rule, while_selected);
  }
  void changed() { bench_.composition.touch(); }

  workbench& bench_;
  const ruler_scale ruler_;
  math::point from_;            // of the press
  std::optional<int> snapped_;  // frame that the last step was drawn to

 private:
  const ksn::undo_capture before_;
  std::vector<int> frames_;  // that Ctrl draws to, as they were at the press
};

}  // namespace ui
