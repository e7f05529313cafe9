// How records enter and leave the stack of layers.
#include <algorithm>

#include "composition/editing/undo.h"
#include "composition/opening/file_paths.h"
#include "composition/opening/open_error.h"
#include "composition/opening/sequence.h"
#include "composition/opening/stereo_pair.h"
#include "composition/opening/versions.h"
#include "composition/state.h"
#include "composition/time/frame_numbers.h"
#include "img/format.h"
#include "lib/paths.h"
#include "platform/file_watch.h"
#include "platform/files.h"

namespace ksn {
namespace {

// A fresh record whose picture has the size of the output mask.
track_info made_layer(const state& composition, source_type type, int frames, std::string_view name_key) {
  track_info record;
  record.source.type = type;
  record.source.frames = std::clamp(frames, 1, frame_limit);
  record.source.width = composition.doc.mask_size.x;
  record.source.height = composition.doc.mask_size.y;
  record.name = composition.catalogue_text(name_key);
  record.default_name = record.name;
  record.look.visible = true;
  if (type != source_type::adjustment) record.look.alpha_type = alpha_type::normal;
  return record;
}

}  // namespace

std::string state::catalogue_text(std::string_view key) const {
  return hooks.text(key);
}

bool state::add(const std::string& path, bool single_image, bool after_selected, bool other_view) {
  const track_info* previous = after_selected ? doc.selected_track() : nullptr;
  const int previous_end = previous ? previous->timing.begin + previous->out() : 0;

  track_info record;
  if (!route_source(record, path, single_image, settings.default_alpha_type)) return false;
  enter_stack(std::move(record), true);

  track_info& added = doc.tracks.front();
  if (previous) {
    added.timing.begin = clamped_frame(previous_end);
    const int end = added.layer_end();
    if (end > doc.tm_n) doc.set_timeline_length(end, true);
    doc.tm_l = std::min(std::max(doc.tm_l, end), doc.tm_n);
  } else if (added.source.type == ksn::source_type::sequence && !single_image && doc.track_count() == 1 &&
             img::is_image_file(path)) {
    const auto found = std::find(added.source.names.begin(), added.source.names.end(), real_file_name(path));
    if (found != added.source.names.end()) {
      doc.set_current_time(static_cast<double>(found - added.source.names.begin()) + added.timing.begin + added.in());
    }
  }
  if (other_view) add_other_stereo_view(*this);
  return true;
}

bool state::add_with_range(const std::string& path, const std::string& range) {
  std::string pattern;
  if (!img::is_image_file(path) || !build_pattern(path, pattern)) return add(path, false, false, false);
  track_info record;
  if (!make_range(pattern, range, record, settings.default_alpha_type)) {
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
  if (scan_folder(pattern, record, settings.default_alpha_type, true, fallback_name) == scan_result::nothing) {
    report_error(no_images_line(path));
    return false;
  }
  enter_stack(std::move(record), true);
  return true;
}

void state::enter_stack(track_info record, bool apply_default_aspect) {
  // The file's own value goes before the usual one for its size.
  if (apply_default_aspect && record.placement.aspect == 1.0)
    record.placement.set_aspect(settings.default_aspect_for(record.source.width, record.source.height));
  if (record.placement.crop_wh.x <= 0) record.placement.crop_wh.x = std::max(record.source.width, 1);
  if (record.placement.crop_wh.y <= 0) record.placement.crop_wh.y = std::max(record.source.height, 1);
  if (settings.disable_caching_by_default && record.source.is_decoded()) {
    record.source.disable_cache = true;
    if (record.source.type == ksn::source_type::image) hooks.drop_path(record.source.path);
    if (record.source.type == ksn::source_type::sequence && !record.source.names.empty()) {
      hooks.drop_path(record.source.file_of(0));
    }
  }
  record.source.version = version_of(record);
  doc.tracks.push_front(std::move(record));
  doc.selection = {0};
  if (workspace.track_max < doc.track_count()) ++workspace.track_max;

  track_info& added = doc.tracks.front();
  const int end = added.layer_end();
  if (doc.track_count() == 1 && !doc.timeline_user_set) {
    doc.set_timeline_length(end, false);
    doc.set_workarea_begin(added.timing.begin + added.in());
    doc.set_workarea_end(end);
    doc.set_current_time(static_cast<double>(added.timing.begin) + added.in());
    if (added.source.fpcs2 != 0) {
      doc.set_frame_rate(added.source.fpcs2);
      added.source.fpcs = doc.fpcs;
    }
  } else {
    doc.extend_timeline_to(end);
  }
  if (settings.automatic_preload) hooks.request_preload(added);
  if (added.source.has_audio()) hooks.start_audio();
  if (fit == view_fit::open && added.source.width > 0) {
    fit = view_fit::due;
    hooks.fit_view();
  }
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
  record.lettering.text_attr = settings.default_text_attr;
  enter_stack(std::move(record), false);
}

void state::layer_delete_all() {
  hooks.stop_preload();
  for (const track_info& track : doc.tracks) {
    hooks.forget_layer(track.id);
  }
  watcher.reset();
  doc.tracks.clear();
  doc.selection.clear();
  doc.timeline_user_set = false;
  workspace.track_max = 0;
  workspace.prev_track_max = 0;
  hooks.clear_cache();
}

void state::new_composition(bool file_among_unsaved) {
  if (file_among_unsaved) hooks.file_among_unsaved();
  layer_delete_all();
  set_undo_action(nullptr);
  view.pan_position = {};
  view.zoom_factor2 = 100;
  view.aspect_enabled = false;
  fit = view_fit::open;
  doc.fpcs = std::max(settings.default_cfps, 1);
  doc.back_color = settings.default_back_color;
  doc.back_custom_color = settings.default_back_custom_color;
  doc.playing = false;
  doc.frame_base = settings.default_frame_base == 1 ? 1 : 0;
  doc.tm_f = 0;
  doc.tm_l = std::max(doc.tm_n, 1);
  doc.tm_t = 0.0;
  file_name.clear();
  hooks.refresh_caption();
}

}  // namespace ksn
