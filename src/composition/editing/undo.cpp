#include "composition/editing/undo.h"

#include <algorithm>
#include <tuple>

#include "composition/editing/canvas.h"
#include "composition/editing/layer_stack.h"
#include "composition/opening/versions.h"
#include "composition/time/frame_numbers.h"

namespace ksn {
namespace {

// The fields of the parts. A field that is added to one of them does not compile until it stands here.
template <class T>
concept timing_like = std::is_same_v<std::remove_const_t<T>, layer_timing>;

auto fields_of(timing_like auto& part) {
  auto& [begin, retime, sbegin_f, send_f, fade_in, fade_out] = part;
  return std::tie(begin, retime, sbegin_f, send_f, fade_in, fade_out);
}

template <class T>
concept placement_like = std::is_same_v<std::remove_const_t<T>, layer_placement>;

auto fields_of(placement_like auto& part) {
  auto& [pos, aspect, scale_x, scale_y, flip_x, flip_y, crop, crop_xy, crop_wh, border, border_color, safe_area] = part;
  return std::tie(pos, aspect, scale_x, scale_y, flip_x, flip_y, crop, crop_xy, crop_wh, border, border_color,
                  safe_area);
}

template <class T>
concept look_like = std::is_same_v<std::remove_const_t<T>, layer_look>;

auto fields_of(look_like auto& part) {
  auto& [visible, alpha, blend, depth, opacity, invert_color, invert_alpha, invert_depth, source_id, source_channel,
         source_range, source_invert, source_stretch, source_mode, source_channel2, tf, primary, secondary, blur,
         target_view, channels] = part;
  return std::tie(visible, alpha, blend, depth, opacity, invert_color, invert_alpha, invert_depth, source_id,
                  source_channel, source_range, source_invert, source_stretch, source_mode, source_channel2, tf,
                  primary, secondary, blur, target_view, channels);
}

template <class T>
concept source_like = std::is_base_of_v<source_choices, std::remove_const_t<T>>;

auto fields_of(source_like auto& part) {
  using choices = std::conditional_t<std::is_const_v<std::remove_reference_t<decltype(part)>>, const source_choices,
                                     source_choices>;
  auto& [width, height, auto_update, disable_cache, rds, rcs, image_layer] = static_cast<choices&>(part);
  return std::tie(width, height, auto_update, disable_cache, rds, rcs, image_layer);
}

// Of a layer or of its values.
auto fields_of(auto& layer) {
  return std::tuple_cat(std::tie(layer.name, layer.group_id, layer.sound.audible, layer.sound.volume,
                                 layer.lettering.text, layer.lettering.text_attr),
                        fields_of(layer.source), fields_of(layer.timing), fields_of(layer.placement),
                        fields_of(layer.look));
}

auto times_of(const layer_timing& timing) {
  return std::tie(timing.begin, timing.retime, timing.sbegin_f, timing.send_f);
}

layer_values values_of(const track_info& track) {
  return {track.name,      track.group_id, track.source.version, track.source,   track.timing,
          track.placement, track.look,     track.sound,          track.lettering};
}

timeline_extent extent_of(const state& composition) {
  return {composition.doc.tm_n, composition.doc.tm_f, composition.doc.tm_l};
}

std::vector<int> order_of(const state& composition) {
  std::vector<int> ids;
  for (const track_info& track : composition.doc.tracks) ids.push_back(track.id);
  return ids;
}

// Calls visit(field, now, other) for each field of the layer that the step changed.
template <class Track, class Visit>
void visit_changes(Track& track, const layer_values& now, const layer_values& other, Visit visit) {
  const auto fields = fields_of(track);
  const auto left = fields_of(now);
  const auto before = fields_of(other);
  const auto one = [&](auto& field, const auto& a, const auto& b) {
    if (!(a == b)) visit(field, a, b);
  };
  [&]<std::size_t... I>(std::index_sequence<I...>) {
    (one(std::get<I>(fields), std::get<I>(left), std::get<I>(before)), ...);
  }
  (std::make_index_sequence<std::tuple_size_v<decltype(fields)>>());
}

int moved(int value, int from, int to) {
  return clamped_frame(static_cast<long long>(value) + to - from);
}

template <class T>
void move_back(T& field, const T& now, const T& other) {
  if constexpr (std::is_same_v<T, int>) {
    field = moved(field, now, other);
  } else if constexpr (std::is_same_v<T, math::point>) {
    field = {moved(field.x, now.x, other.x), moved(field.y, now.y, other.y)};
  } else if (field == now) {
    field = other;
  }
}

bool differ(const layer_values& a, const layer_values& b) {
  bool result = a.version != b.version;
  visit_changes(a, a, b, [&](const auto&...) { result = true; });
  return result;
}

// The layers stand in the order of `ids`, which names each of them; the selection keeps its layers.
void reorder(state& composition, const std::vector<int>& ids) {
  const std::set<int> selected = selected_ids(composition);
  std::deque<track_info>& tracks = composition.doc.tracks;
  const auto place = [&](const track_info& track) { return std::find(ids.begin(), ids.end(), track.id); };
  std::sort(tracks.begin(), tracks.end(),
            [&](const track_info& a, const track_info& b) { return place(a) < place(b); });
  composition.doc.selection.clear();
  for (int i = 0; i < composition.doc.track_count(); ++i) {
    if (selected.contains(composition.doc.track_at(i).id)) composition.doc.selection.insert(i);
  }
}

}  // namespace

void state::set_undo_action(std::shared_ptr<undo_action> action) {
  undo_stack = std::move(action);
  touch();
}

bool state::can_undo() const {
  return undo_stack && undo_stack->is_applicable(*this);
}

void state::undo() {
  // The step may be replaced while it works.
  if (const std::shared_ptr<undo_action> action = undo_stack) action->apply(*this);
  touch();
}

std::set<int> selected_ids(const state& composition) {
  std::set<int> ids;
  for (const int index : composition.doc.selection) ids.insert(composition.doc.track_at(index).id);
  return ids;
}

std::string undo_action::text_key() const {
  return (undone_ ? "redo_" : "undo_") + name_;
}

bool undo_action::fits(const state& composition, const layer_change& change) const {
  const int index = composition.doc.index_of_id(change.id);
  if (index < 0) return false;
  const track_info& track = composition.doc.track_at(index);
  if (needs_crop_ && !track.placement.crop) return false;
  if (change.now.version != change.other.version && track.source.version != change.now.version) return false;
  // When one of the times changed, the others say what it means.
  bool as_left = times_of(change.now.timing) == times_of(change.other.timing) ||
                 times_of(track.timing) == times_of(change.now.timing);
  visit_changes(track, change.now, change.other,
                [&](const auto& field, const auto& now, const auto&) { as_left = as_left && field == now; });
  return as_left;
}

bool undo_action::is_applicable(const state& composition) const {
  if (deleted_) return !undone_ && composition.doc.track_count() == deleted_->count_after;
  if (selected_ && selected_ids(composition) != *selected_) return false;
  if (canvas_) {
    const track_info* track = composition.doc.selected_track();
    return track && track->id == canvas_->id && has_canvas(*track) && canvas_fits(*track, canvas_->other);
  }
  if (order_ && order_of(composition) != order_->first) return false;
  if (layers_.empty()) return order_ || (extent_ && extent_of(composition) == extent_->first);
  const auto still = [&](const layer_change& change) { return fits(composition, change); };
  switch (rule_) {
    case undo_rule::as_left:
      return std::all_of(layers_.begin(), layers_.end(), still);
    case undo_rule::any_left:
      return std::any_of(layers_.begin(), layers_.end(), still);
    case undo_rule::by_offset:
      break;
  }
  return true;
}

void undo_action::apply(state& composition) {
  if (!is_applicable(composition)) return;
  if (deleted_) bring_back(composition);
  if (canvas_) {
    track_info& track = *composition.doc.selected_track();
    img::image_ptr now = canvas_at(track, canvas_->frame);
    set_canvas(composition, track, canvas_->frame, std::move(canvas_->other));
    canvas_->other = std::move(now);
  }
  for (layer_change& change : layers_) {
    const int index = composition.doc.index_of_id(change.id);
    if (index >= 0 && (rule_ == undo_rule::by_offset || fits(composition, change))) {
      track_info& track = composition.doc.track_at(index);
      if (change.now.version != change.other.version) set_version(composition, track, change.other.version);
      visit_changes(track, change.now, change.other, [&](auto& field, const auto& now, const auto& other) {
        if (rule_ == undo_rule::by_offset) {
          move_back(field, now, other);
        } else {
          field = other;
        }
      });
      if (!(change.now.source == change.other.source)) {
        composition.hooks.forget_layer(track.id);
      }
    }
    std::swap(change.now, change.other);
  }
  if (order_) {
    reorder(composition, order_->second);
    std::swap(order_->first, order_->second);
  }
  if (extent_) {
    // The timeline follows only while it still is as the gesture left it.
    if (extent_of(composition) == extent_->first) {
      composition.doc.set_timeline_length(extent_->second.tm_n, true);
      composition.doc.tm_f = extent_->second.tm_f;
      composition.doc.tm_l = extent_->second.tm_l;
    }
    std::swap(extent_->first, extent_->second);
  }
  drop_dangling_alpha_sources(composition);
  undone_ = !undone_;
}

void undo_action::bring_back(state& composition) {
  for (track_info& record : deleted_->records) reopen_source(composition, record);
  insert_layers(composition, deleted_->indices, std::move(deleted_->records));
  composition.doc.selection = std::set<int>(deleted_->indices.begin(), deleted_->indices.end());
  const std::map<int, int> sources(deleted_->alpha_users.begin(), deleted_->alpha_users.end());
  for (track_info& track : composition.doc.tracks) {
    const auto found = sources.find(track.id);
    if (found != sources.end() && track.look.alpha_source_id == 0) track.look.alpha_source_id = found->second;
  }
  deleted_->records.clear();
}

undo_capture::undo_capture(const state& composition) : undo_capture(composition, selected_ids(composition)) {}

undo_capture::undo_capture(const state& composition, const std::set<int>& ids)
    : extent_(extent_of(composition)), order_(order_of(composition)) {
  for (const track_info& track : composition.doc.tracks) {
    if (ids.contains(track.id)) layers_.emplace(track.id, values_of(track));
  }
}

bool undo_capture::layers_changed(const state& composition) const {
  return std::any_of(composition.doc.tracks.begin(), composition.doc.tracks.end(), [&](const track_info& track) {
    const auto before = layers_.find(track.id);
    return before != layers_.end() && differ(values_of(track), before->second);
  });
}

bool undo_capture::remember(state& composition, undo_name name, undo_rule rule, bool while_selected) const {
  auto step = std::make_shared<undo_action>();
  step->name_ = name.text;
  step->rule_ = rule;
  for (const track_info& track : composition.doc.tracks) {
    const auto before = layers_.find(track.id);
    if (before == layers_.end()) continue;
    layer_values now = values_of(track);
    if (!differ(now, before->second)) continue;
    // The crop rectangle of a layer that is not cropped can't be seen to come back.
    if (now.placement.crop && before->second.placement.crop &&
        (now.placement.crop_xy != before->second.placement.crop_xy ||
         now.placement.crop_wh != before->second.placement.crop_wh)) {
      step->needs_crop_ = true;
    }
    step->layers_.push_back({track.id, std::move(now), before->second});
  }
  if (const timeline_extent now = extent_of(composition); !(now == extent_)) step->extent_ = {now, extent_};
  if (std::vector<int> now = order_of(composition);
      now != order_ && std::is_permutation(now.begin(), now.end(), order_.begin(), order_.end())) {
    step->order_ = {std::move(now), order_};
  }
  if (step->layers_.empty() && !step->extent_ && !step->order_) return false;
  if (while_selected && rule != undo_rule::any_left && !step->layers_.empty()) {
    step->selected_ = selected_ids(composition);
  }
  composition.set_undo_action(std::move(step));
  return true;
}

void undo_capture::take_back(state& composition) const {
  for (track_info& track : composition.doc.tracks) {
    const auto before = layers_.find(track.id);
    if (before == layers_.end()) continue;
    const layer_values now = values_of(track);
    if (now.version != before->second.version) set_version(composition, track, before->second.version);
    visit_changes(track, now, before->second, [](auto& field, const auto&, const auto& other) { field = other; });
    if (!(now.source == before->second.source)) composition.hooks.forget_layer(track.id);
  }
  composition.touch();
}

canvas_capture::canvas_capture(const track_info& track, int frame, bool painted)
    : id_(track.id), frame_(frame), before_(canvas_at(track, frame)) {
  if (before_ && painted) before_ = std::make_shared<img::image>(*before_);
}

void canvas_capture::remember(state& composition, undo_name name) {
  auto step = std::make_shared<undo_action>();
  step->name_ = name.text;
  step->canvas_ = {id_, frame_, std::move(before_)};
  composition.set_undo_action(std::move(step));
}

void canvas_capture::take_back(state& composition) const {
  const int index = composition.doc.index_of_id(id_);
  if (index < 0) return;
  track_info& track = composition.doc.track_at(index);
  if (!has_canvas(track) || !canvas_fits(track, before_)) return;
  set_canvas(composition, track, frame_, before_);
  composition.touch();
}

void remember_deleted(state& composition, std::vector<int> indices, std::vector<track_info> records,
                      std::vector<std::pair<int, int>> alpha_users) {
  auto step = std::make_shared<undo_action>();
  step->name_ = indices.size() > 1 ? "delete_layers" : "delete_layer";
  step->deleted_ = {composition.doc.track_count(), std::move(indices), std::move(records), std::move(alpha_users)};
  composition.set_undo_action(std::move(step));
}

}  // namespace ksn
