// How records enter and leave the stack of layers.
#include <algorithm>

#include "composition/file_paths.h"
#include "composition/frame_numbers.h"
#include "composition/open_error.h"
#include "composition/sequence.h"
#include "composition/state.h"
#include "composition/stereo_pair.h"
#include "composition/undo.h"
#include "composition/versions.h"
#include "img/format.h"
#include "lib/paths.h"
#include "platform/file_watch.h"
#include "platform/files.h"

namespace ksn {
namespace {

// A fresh record whose picture has the size of the output mask.
track_info made_layer(const state& composition, source_type type, int frames, std::string_view name_key) {
  track_info record;
  record.source_type = type;
  record.frames = std::clamp(frames, 1, frame_limit);
  record.width = composition.mask_size.x;
  record.height = composition.mask_size.y;
  record.name = composition.catalogue_text(name_key);
  record.default_name = record.name;
  record.visible = true;
  if (type != source_type::adjustment) record.alpha_type = alpha_type::normal;
  return record;
}

}  // namespace

std::string state::catalogue_text(std::string_view key) const {
  return hooks.text ? hooks.text(key) : std::string(key);
}

bool state::add(const std::string& path, bool single_image, bool after_selected, bool other_view) {
  const track_info* previous = after_selected ? selected_track() : nullptr;
  const int previous_end = previous ? previous->begin + previous->out() : 0;

  track_info record;
  if (!route_source(record, path, single_image, default_alpha_type)) return false;
  enter_stack(std::move(record), true);

  track_info& added = tracks.front();
  if (previous) {
    added.begin = clamped_frame(previous_end);
    const int end = added.layer_end();
    if (end > tm_n) set_timeline_length(end, true);
    tm_l = std::min(std::max(tm_l, end), tm_n);
  } else if (added.source_type == ksn::source_type::sequence && !single_image && track_count() == 1 &&
             img::is_image_file(path)) {
    const auto found = std::find(added.names.begin(), added.names.end(), real_file_name(path));
    if (found != added.names.end()) {
      set_current_time(static_cast<double>(found - added.names.begin()) + added.begin + added.in());
    }
  }
  if (other_view) add_other_stereo_view(*this);
  return true;
}

bool state::add_with_range(const std::string& path, const std::string& range) {
  std::string pattern;
  if (!img::is_image_file(path) || !build_pattern(path, pattern)) return add(path, false, false, false);
  track_info record;
  if (!make_range(pattern, range, record, default_alpha_type)) {
    report_error("\"--range=" + range + "\": Invalid option");
    return false;
  }
  enter_stack(std::move(record), true);
  return true;
}

bool state::add_forced_sequence(const std::string& path) {
  std::string pattern;
  std::string fallback_name;
  if (platform::is_folder(path)) {
    pattern = lib::add_separator(path) + "*";
  } else {
    if (!build_pattern(path, pattern)) pattern = path;
    fallback_name = real_file_name(path);
  }
  track_info record;
  if (scan_folder(pattern, record, default_alpha_type, true, fallback_name) == scan_result::nothing) {
    report_error(no_images_line(path));
    return false;
  }
  enter_stack(std::move(record), true);
  return true;
}

void state::enter_stack(track_info record, bool apply_default_aspect) {
  if (apply_default_aspect) record.set_aspect(default_aspect_for(record.width, record.height));
  if (record.crop_wh.x <= 0) record.crop_wh.x = std::max(record.width, 1);
  if (record.crop_wh.y <= 0) record.crop_wh.y = std::max(record.height, 1);
  if (disable_caching_by_default && record.is_decoded()) {
    record.disable_cache = true;
    if (hooks.drop_path && record.source_type == ksn::source_type::image) hooks.drop_path(record.path);
    if (hooks.drop_path && record.source_type == ksn::source_type::sequence && !record.names.empty()) {
      hooks.drop_path(record.file_of(0));
    }
  }
  record.version = version_of(record);
  tracks.push_front(std::move(record));
  selection = {0};
  if (track_max < track_count()) ++track_max;

  track_info& added = tracks.front();
  const int end = added.layer_end();
  if (track_count() == 1 && !timeline_user_set) {
    set_timeline_length(end, false);
    set_workarea_begin(added.begin + added.in());
    set_workarea_end(end);
    set_current_time(static_cast<double>(added.begin) + added.in());
    if (added.fpcs2 != 0) {
      set_frame_rate(added.fpcs2);
      added.fpcs = fpcs;
    }
  } else {
    extend_timeline_to(end);
  }
  if (automatic_preload && hooks.request_preload) hooks.request_preload(added);
  if (added.has_audio() && hooks.start_audio) hooks.start_audio();
}

void state::new_adjustment_layer(int frames) {
  enter_stack(made_layer(*this, ksn::source_type::adjustment, frames, "ti_adjustment_name"), false);
}

void state::new_brush_layer(int frames) {
  enter_stack(made_layer(*this, ksn::source_type::brush, frames, "ti_brush_name"), false);
}

void state::new_brush_sequence_layer(int frames) {
  enter_stack(made_layer(*this, ksn::source_type::brush_sequence, frames, "ti_brush_sequence_name"), false);
}

void state::new_text_layer(int frames) {
  track_info record = made_layer(*this, ksn::source_type::text, frames, "ti_text_name");
  record.text_attr = default_text_attr;
  enter_stack(std::move(record), false);
}

void state::layer_delete_all() {
  if (hooks.stop_preload) hooks.stop_preload();
  for (const track_info& track : tracks) {
    if (hooks.forget_layer) hooks.forget_layer(track.id);
  }
  watcher.reset();
  tracks.clear();
  selection.clear();
  timeline_user_set = false;
  track_max = 0;
  prev_track_max = 0;
  if (hooks.clear_cache) hooks.clear_cache();
}

void state::new_composition(bool file_among_unsaved) {
  if (file_among_unsaved && hooks.file_among_unsaved) hooks.file_among_unsaved();
  layer_delete_all();
  set_undo_action(nullptr);
  pan_position = {};
  zoom_factor2 = 100;
  aspect_enabled = false;
  fpcs = std::max(default_cfps, 1);
  back_color = default_back_color;
  back_custom_color = default_back_custom_color;
  playing = false;
  frame_base = default_frame_base == 1 ? 1 : 0;
  tm_f = 0;
  tm_l = std::max(tm_n, 1);
  tm_t = 0.0;
  file_name.clear();
  if (hooks.refresh_caption) hooks.refresh_caption();
}

}  // namespace ksn
