// The one step of undo: what layers and timeline were before a gesture and after it, and how to swap the two.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "composition/state.h"

namespace ksn {

// The parts of an existing layer that a gesture may change.
struct layer_values {
  std::string name;
  int group_id = 0;
  std::string version;  // of the source; another one brings other files
  source_choices source;
  layer_timing timing;
  layer_placement placement;
  layer_look look;
  layer_sound sound;
  layer_lettering lettering;
};

// Length of the timeline and work area.
struct timeline_extent {
  int tm_n = 0;
  int tm_f = 0;
  int tm_l = 0;
  bool operator==(const timeline_extent&) const = default;
};

enum class undo_rule {
  as_left,   // every layer that changed still has what the step left, and the same layers are selected
  any_left,  // one layer still has it, whatever is selected; those that went on are left alone
  by_offset  // the same layers are selected; numbers go back by as much as they were moved
};

// The name that the catalogue has the texts `undo_NAME` and `redo_NAME` for.
struct undo_name {
  const char* text;
};

// Layers are remembered by id, since indices shift with every change of the stack. Main thread.
class undo_action {
 public:
  // Catalogue key of the menu entry: what undoing, or doing again, would do now.
  std::string text_key() const;
  // Whether the composition still is as the step left it.
  bool is_applicable(const state& composition) const;
  // Swaps the composition between before and after the gesture. Does nothing when it is not applicable.
  void apply(state& composition);

 private:
  friend class undo_capture;
  friend class canvas_capture;
  friend void remember_deleted(state&, std::vector<int>, std::vector<track_info>, std::vector<std::pair<int, int>>);

  struct layer_change {
    int id;
    layer_values now;    // as the step leaves it
    layer_values other;  // on the other side of it
  };
  // The picture of one source frame; the one copy that undo keeps alive.
  struct canvas_change {
    int id;
    int frame;
    img::image_ptr other;
  };
  struct deleted_layers {
    int count_after;
    std::vector<int> indices;  // that they had, ascending
    std::vector<track_info> records;
    std::vector<std::pair<int, int>> alpha_users;  // id of a remaining layer, id of the deleted one it took alpha from
  };

  bool fits(const state& composition, const layer_change& change) const;
  void bring_back(state& composition);

  std::string name_;
  bool undone_ = false;
  undo_rule rule_ = undo_rule::as_left;
  std::optional<std::set<int>> selected_;  // ids that must be selected
  bool needs_crop_ = false;                // the crop must still be on
  std::vector<layer_change> layers_;
  std::optional<std::pair<timeline_extent, timeline_extent>> extent_;   // now, other
  std::optional<std::pair<std::vector<int>, std::vector<int>>> order_;  // of the stack, as ids: now, other
  std::optional<canvas_change> canvas_;
  std::optional<deleted_layers> deleted_;
};

// The state that a gesture starts from: made before it, and told when it has ended.
//
//   ksn::undo_capture before(composition);
//   ... change what is selected ...
//   before.remember(composition, ksn::undo_name{"layer_move"});
class undo_capture {
 public:
  // Of the selected layers, or of these.
  explicit undo_capture(const state& composition);
  undo_capture(const state& composition, const std::set<int>& ids);
  bool layers_changed(const state& composition) const;
  // Makes what changed since then the step of undo; when nothing did, the step before stays. `while_selected` ties it
  // to the selection that the gesture leaves, which `any_left` never is. True when there is a step.
  bool remember(state& composition, undo_name name, undo_rule rule = undo_rule::as_left,
                bool while_selected = true) const;
  // Takes back what changed of the layers since then, as for a gesture that is cancelled. The step of undo stays.
  void take_back(state& composition) const;

 private:
  std::map<int, layer_values> layers_;
  timeline_extent extent_;
  std::vector<int> order_;
};

// The same for the canvas of one source frame of a brush layer, which the gesture is about to change. Fits while the
// layer is the one that is selected.
class canvas_capture {
 public:
  // Copies the picture when it is `painted` on; what is only taken away needs no copy.
  canvas_capture(const track_info& track, int frame, bool painted);
  void remember(state& composition, undo_name name);
  // Puts the picture back, whatever is selected, as for a gesture that is cancelled. The step of undo stays.
  void take_back(state& composition) const;

 private:
  int id_;
  int frame_;
  img::image_ptr before_;
};

// Layers that were taken out of the stack, which come back once and for all.
void remember_deleted(state& composition, std::vector<int> indices, std::vector<track_info> records,
                      std::vector<std::pair<int, int>> alpha_users);

std::set<int> selected_ids(const state& composition);

}  // namespace ksn
