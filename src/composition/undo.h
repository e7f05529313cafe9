// The one step of undo: what a gesture changed, and how to swap it back and forth.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "composition/state.h"

namespace ksn {

// Layers are remembered by id, since indices shift with every change of the stack. Main thread.
class undo_action {
 public:
  virtual ~undo_action() = default;

  // Catalogue key of the menu entry: what undoing, or doing again, would do now.
  virtual std::string text_key() const = 0;
  // Whether the composition still is as the action left it.
  virtual bool is_applicable(const state& composition) const = 0;
  // Swaps the composition between before and after the gesture. Does nothing when it is not applicable.
  void apply(state& composition);

 protected:
  virtual void swap(state& composition) = 0;
  std::string key_for(const char* name) const { return (undone_ ? "redo_" : "undo_") + std::string(name); }
  bool undone() const { return undone_; }

 private:
  bool undone_ = false;
};

// Where a layer stands in time.
struct time_fields {
  int begin = 0;
  double sbegin_f = 0.0;
  double send_f = 1.0;
  bool operator==(const time_fields&) const = default;
};
using layer_times = std::map<int, time_fields>;  // by layer id

time_fields times_of(const track_info& track);
void set_times(track_info& track, const time_fields& times);
layer_times selected_times(const state& composition);
std::set<int> selected_ids(const state& composition);

// Each action is created when its gesture has ended; `before` is what the gesture started from.

class undo_align_at_current : public undo_action {
 public:
  undo_align_at_current(const state& composition, layer_times before)
      : before_(std::move(before)), after_(selected_times(composition)) {}
  std::string text_key() const override { return key_for("align_at_current"); }
  bool is_applicable(const state& composition) const override { return selected_times(composition) == after_; }

 protected:
  void swap(state& composition) override;

 private:
  layer_times before_;
  layer_times after_;
};

// Length of the timeline and end of the work area.
struct timeline_extent {
  int tm_n = 0;
  int tm_l = 0;
  bool operator==(const timeline_extent&) const = default;
};

class undo_position_after : public undo_align_at_current {
 public:
  undo_position_after(const state& composition, layer_times before, timeline_extent extent_before)
      : undo_align_at_current(composition, std::move(before)),
        before_(extent_before),
        after_{composition.doc.tm_n, composition.doc.tm_l} {}
  std::string text_key() const override { return key_for("position_after"); }

 protected:
  // The timeline follows only while it still is as the gesture left it.
  void swap(state& composition) override;

 private:
  timeline_extent before_;
  timeline_extent after_;
};

class undo_move_in_timeline : public undo_action {
 public:
  undo_move_in_timeline(const track_info& moved, const time_fields& before)
      : id_(moved.id), before_(before), after_(times_of(moved)) {}
  std::string text_key() const override { return key_for("move_in_timeline"); }
  bool is_applicable(const state& composition) const override;

 protected:
  void swap(state& composition) override;

 private:
  int id_;
  time_fields before_;
  time_fields after_;
};

// The selected layers were moved by `offset` frames.
class undo_multiple_move_in_timeline : public undo_action {
 public:
  undo_multiple_move_in_timeline(const state& composition, int offset)
      : ids_(selected_ids(composition)), offset_(offset) {}
  std::string text_key() const override { return key_for("multiple_move_in_timeline"); }
  bool is_applicable(const state& composition) const override { return selected_ids(composition) == ids_; }

 protected:
  void swap(state& composition) override;

 private:
  std::set<int> ids_;
  int offset_;
};

// The selected layers were moved by `offset` pixels.
class undo_layer_move : public undo_action {
 public:
  undo_layer_move(const state& composition, math::point offset) : ids_(selected_ids(composition)), offset_(offset) {}
  std::string text_key() const override { return key_for("layer_move"); }
  bool is_applicable(const state& composition) const override { return selected_ids(composition) == ids_; }

 protected:
  void swap(state& composition) override;

 private:
  std::set<int> ids_;
  math::point offset_;
};

struct crop_fields {
  math::point xy;
  math::point wh;
  bool operator==(const crop_fields&) const = default;
};

class undo_layer_move_crop : public undo_action {
 public:
  undo_layer_move_crop(const track_info& cropped, const crop_fields& before)
      : id_(cropped.id), before_(before), after_{cropped.placement.crop_xy, cropped.placement.crop_wh} {}
  std::string text_key() const override { return key_for("layer_move_crop"); }
  bool is_applicable(const state& composition) const override;

 protected:
  void swap(state& composition) override;

 private:
  int id_;
  crop_fields before_;
  crop_fields after_;
};

// A mode was set on several layers. Applicable while one of them still has the value that stands at this point.
template <class Mode, Mode layer_look::*Field>
class undo_mode_change : public undo_action {
 public:
  undo_mode_change(std::map<int, Mode> old_values, Mode new_value)
      : old_values_(std::move(old_values)), new_value_(new_value) {}
  bool is_applicable(const state& composition) const override {
    for (const track_info& track : composition.doc.tracks) {
      const auto found = old_values_.find(track.id);
      if (found != old_values_.end() && track.look.*Field == (undone() ? found->second : new_value_)) return true;
    }
    return false;
  }

 protected:
  void swap(state& composition) override {
    for (track_info& track : composition.doc.tracks) {
      const auto found = old_values_.find(track.id);
      if (found == old_values_.end()) continue;
      const Mode expected = undone() ? found->second : new_value_;
      if (track.look.*Field == expected) track.look.*Field = undone() ? new_value_ : found->second;
    }
  }

 private:
  std::map<int, Mode> old_values_;  // by layer id
  Mode new_value_;
};

class undo_alpha_mode_change : public undo_mode_change<alpha_type, &layer_look::alpha_type> {
 public:
  using undo_mode_change::undo_mode_change;
  std::string text_key() const override { return key_for("alpha_mode_change"); }
};
class undo_blend_mode_change : public undo_mode_change<blend_type, &layer_look::blend_type> {
 public:
  using undo_mode_change::undo_mode_change;
  std::string text_key() const override { return key_for("blend_mode_change"); }
};
class undo_depth_mode_change : public undo_mode_change<depth_blend_type, &layer_look::depth_blend_type> {
 public:
  using undo_mode_change::undo_mode_change;
  std::string text_key() const override { return key_for("depth_mode_change"); }
};

// The canvas of one source frame of a brush layer was changed; `before` is a copy from before, null for none. Holds the
// one picture that undo keeps alive.
class undo_canvas_change : public undo_action {
 public:
  undo_canvas_change(int layer_id, int frame, img::image_ptr before)
      : id_(layer_id), frame_(frame), other_(std::move(before)) {}
  bool is_applicable(const state& composition) const override;

 protected:
  void swap(state& composition) override;

 private:
  int id_;
  int frame_;
  img::image_ptr other_;
};

class undo_brush_stroke : public undo_canvas_change {
 public:
  using undo_canvas_change::undo_canvas_change;
  std::string text_key() const override { return key_for("brush_stroke"); }
};
class undo_clear_canvas : public undo_canvas_change {
 public:
  using undo_canvas_change::undo_canvas_change;
  std::string text_key() const override { return key_for("clear_canvas"); }
};

// Layers that were taken out of the stack, with the indices they had, ascending. Comes back once and for all.
class undo_delete_layer : public undo_action {
 public:
  // `alpha_users` pairs the id of a remaining layer with the id of the deleted one that supplied its alpha.
  undo_delete_layer(const state& composition, std::vector<int> indices, std::vector<track_info> records,
                    std::vector<std::pair<int, int>> alpha_users);
  std::string text_key() const override;
  bool is_applicable(const state& composition) const override;

 protected:
  void swap(state& composition) override;

 private:
  int count_after_;
  std::vector<int> indices_;
  std::vector<track_info> records_;
  std::vector<std::pair<int, int>> alpha_users_;
  bool several_;
};

}  // namespace ksn
