// The changes that the panel makes, as steps of undo.
#pragma once

#include <functional>
#include <optional>

#include "composition/editing/undo.h"
#include "ui/area.h"

namespace ui::panel {

// The name of the step that changes this field: the catalogue has `undo_NAME` and `redo_NAME` for it. Empty for a field
// of the window or of a tool, which no step brings back.
const char* undo_name_of(const char* field);

// One step for a gesture, one for each change outside of a gesture. Main thread.
class edits {
 public:
  explicit edits(workbench& bench) : bench_(bench) {}

  // A gesture that changes the selected layers begins. end() makes it a step, or takes all of it back.
  void begin();
  void end(const char* field, bool kept);
  // Within a gesture: back to how it began.
  void take_back();
  bool in_gesture() const { return before_.has_value(); }

  void make(const char* field, const std::function<void()>& change);

 private:
  workbench& bench_;
  std::optional<ksn::undo_capture> before_;

  void remember(const ksn::undo_capture& before, const char* field);
};

}  // namespace ui::panel
