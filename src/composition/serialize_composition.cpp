// The composition file.
#include <algorithm>
#include <cmath>
#include <set>

#include "composition/frame_numbers.h"
#include "composition/layer_stack.h"
#include "composition/persistence.h"
#include "composition/relink.h"
#include "composition/route.h"
#include "composition/serialize_track.h"
#include "io/document.h"
#include "io/file.h"
#include "sources/wave.h"

namespace ksn {

// What a composition file holds of a view; the rest are settings.
struct composition_record {
  composition_view& view;
};

}  // namespace ksn

namespace io {
template <>
inline constexpr int record_version<ksn::composition_record> = 12;
}  // namespace io

namespace ksn {
namespace {

template <class A>
void serialize_tracks(A& ar, std::deque<track_info>& tracks) {
  const int count = ar.open_list(static_cast<int>(tracks.size()), "tracks");
  if constexpr (A::reading) tracks.clear();
  // A layer takes thousands of bytes, and packed with others like it less than ten.
  if constexpr (A::reading && A::binary) ar.claim_elements(63LL * count);
  for (int i = 0; i < count; ++i) {
    if constexpr (A::reading) tracks.emplace_back();
    io::detail::put(ar, ar.element(i), tracks[static_cast<std::size_t>(i)]);
  }
  ar.close_list();
}

template <class A>
void skip_bools(A& ar, int count) {
  for (bool dropped = false; count > 0; --count) ar.field("", dropped);
}

}  // namespace

template <class A>
void serialize(A& ar, composition_record& record, int version) {
  composition_view& v = record.view;
  ar.ranged("view", v.view, 0, 12, 9);
  ar.ranged("back_color", v.back_color, 0, 7, 0);
  ar.field("safe_area_active", v.safe_area_active);
  ar.ranged("safe_area_type", v.safe_area_type, 0, 2, 0);
  ar.ranged("mask_type", v.mask_type, 0, 3, 0);
  ar.field("mask_size", v.mask_size);
  ar.field("grid", v.grid);
  ar.ranged("counter_type", v.counter_type, 0, 6, 0);
  ar.field("playing", v.playing);
  ar.field("forward", v.forward);
  ar.ranged("repeat", v.repeat, 0, 2, 2);
  ar.field("fpcs", v.fpcs);
  ar.field("can_drop_frames", v.can_drop_frames);
  ar.field("tm_n", v.tm_n);
  ar.field("tm_f", v.tm_f);
  ar.field("tm_l", v.tm_l);
  ar.field("tm_t", v.tm_t);
  ar.field("zoom_factor2", v.zoom_factor2);
  ar.field("pan_position", v.pan_position);
  serialize_tracks(ar, v.tracks);
  if (version >= 4) {
    ar.field("selection", v.selection);
  } else {
    int selected = 0;
    ar.field("selection", selected);
    v.selection = {selected};
  }
  ar.field("track_max", v.track_max);
  ar.field("pp_visible", v.pp_visible);
  ar.field("pp_pos", v.pp_pos);
  ar.field("pp_tab", v.pp_tab);
  ar.field("frame_base", v.frame_base);
  ar.field("infobar_visible", v.infobar_visible);
  if (version >= 1) {
    ar.field("aspect_enabled", v.aspect_enabled);
    ar.field("aspect", v.aspect);
    if (version <= 7) skip_bools(ar, 1);
  }
  if (version >= 2) ar.ranged("resolution", v.resolution, 0, 2, 0);
  if (version >= 3) {
    ar.field("brush_size", v.brush_size);
    ar.field("brush_softness", v.brush_softness);
    ar.field("brush_spacing", v.brush_spacing);
    ar.field("brush_color", v.brush_color);
  }
  if (version >= 5) {
    ar.field("back_custom_color", v.back_custom_color);
    if constexpr (A::reading) v.back_custom_color.a = 255;
  }
  if (version >= 6) {
    ar.field("timeline_visible", v.timeline_visible);
    ar.field("pv_tooltip_enabled", v.pv_tooltip_enabled);
    ar.field("fs_timeline_visible", v.fs_timeline_visible);
    ar.field("fs_infobar_visible", v.fs_infobar_visible);
    ar.field("fs_pp_visible", v.fs_pp_visible);
    ar.field("fs_pp_pos", v.fs_pp_pos);
    ar.field("fs_pv_tooltip_enabled", v.fs_pv_tooltip_enabled);
  }
  if (version >= 7) ar.field("mask_transforms_enabled", v.mask_transforms_enabled);
  if (version == 7) skip_bools(ar, 2);
  if (version >= 9) ar.field("lookup_table_map", v.lookup_table_map);
  if (version >= 10) ar.field("prev_track_max", v.prev_track_max);
  if (version >= 11) {
    ar.ranged("target_view", v.target_view, 0, 2, 0);
    ar.ranged("stereo_view", v.stereo_view, 0, 3, 0);
  }
  if (version >= 12) ar.field("vars", v.vars);
}

namespace {

constexpr const char* root_key = "composition";

// A writer changes nothing.
composition_record record_to_write(const composition_view& view) {
  return {const_cast<composition_view&>(view)};
}

// Identities above it are replaced, so that there is always a next one.
constexpr int largest_layer_id = 1'000'000'000;
constexpr int most_text_pixels = 10'000;

double finite(double value, double otherwise) {
  return std::isfinite(value) ? value : otherwise;
}

// An identity of its own for every layer, and alpha sources that are layers or none.
void settle_ids(std::deque<track_info>& tracks) {
  std::set<int> ids;
  for (const track_info& track : tracks) {
    if (track.id <= largest_layer_id) reserve_layer_id(track.id);
  }
  for (track_info& track : tracks) {
    if (track.id < 1 || track.id > largest_layer_id || ids.contains(track.id)) track.id = next_layer_id();
    ids.insert(track.id);
  }
  for (track_info& track : tracks) {
    if (!ids.contains(track.alpha_source_id)) track.alpha_source_id = 0;
  }
}

void drop_unfit_canvas(const track_info& track, img::image_ptr& canvas) {
  const bool fits = canvas && canvas->width == track.width && canvas->height == track.height &&
                    canvas->format[0] == 'B' && canvas->depth[0] == 8 && canvas->format[3] == 'A' &&
                    canvas->plane_count() == 4;
  if (!fits) canvas = nullptr;
}

void settle_source(track_info& track) {
  track.frames = std::clamp(track.frames, 0, frame_limit);
  track.width = std::clamp(track.width, 0, img::max_dimension);
  track.height = std::clamp(track.height, 0, img::max_dimension);
  track.fpcs = std::max(track.fpcs, 0);
  track.fpcs2 = std::max(track.fpcs2, 0);
  if (track.source_type == source_type::sequence) {
    if (track.names.empty()) track.source_type = source_type::none;
    track.frames = static_cast<int>(track.names.size());
  }
  if (track.source_type == source_type::clipboard_image && !track.clipboard_image) {
    track.source_type = source_type::none;
  }
  if (track.source_type == source_type::embedded_audio && !track.audio) track.source_type = source_type::none;
  if (track.brush_image) drop_unfit_canvas(track, track.brush_image);
  for (auto entry = track.brush_seq.begin(); entry != track.brush_seq.end();) {
    if (entry->first >= 0 && entry->first < track.frames) drop_unfit_canvas(track, entry->second);
    const bool keep = entry->first >= 0 && entry->first < track.frames && entry->second;
    entry = keep ? std::next(entry) : track.brush_seq.erase(entry);
  }
}

void settle_layer(track_info& track) {
  settle_source(track);
  track.begin = clamped_frame(track.begin);
  track.retime = finite(track.retime, 1.0);
  track.sbegin_f = finite(track.sbegin_f, 0.0);
  track.send_f = finite(track.send_f, 1.0);
  track.set_aspect(finite(track.aspect, 1.0));
  track.set_scale_x(track.scale_x);
  track.set_scale_y(track.scale_y);
  track.opacity = std::clamp(track.opacity, 0, 100);
  track.volume = std::max(track.volume, 0);
  track.fade_in = std::clamp(track.fade_in, 0, frame_limit);
  track.fade_out = std::clamp(track.fade_out, 0, frame_limit);
  track.text_attr.size = std::clamp(track.text_attr.size, 1, most_text_pixels);
  const auto byte = [](int& value) { value = std::clamp(value, 0, 255); };
  byte(track.ck_primary.slope);
  byte(track.ck_primary.tolerance);
  byte(track.ck_secondary.slope);
  byte(track.ck_secondary.tolerance);
}

void settle_timeline(composition_view& view) {
  view.fpcs = std::max(view.fpcs, 1);
  view.tm_n = std::clamp(view.tm_n, 10, frame_limit);
  view.tm_l = std::clamp(view.tm_l, 1, view.tm_n);
  view.tm_f = std::clamp(view.tm_f, 0, view.tm_l - 1);
  view.tm_t = std::clamp(finite(view.tm_t, 0.0), 0.0, static_cast<double>(view.tm_n));
}

// What compositions do not hold goes on from the present document.
composition_view with_settings_of(const composition_view& present) {
  composition_view view;
  view.default_back_color = present.default_back_color;
  view.default_back_custom_color = present.default_back_custom_color;
  view.default_cfps = present.default_cfps;
  view.default_alpha_type = present.default_alpha_type;
  view.default_aspect = present.default_aspect;
  view.default_frame_base = present.default_frame_base;
  view.default_text_attr = present.default_text_attr;
  view.vsync = present.vsync;
  view.vsync_parameter = present.vsync_parameter;
  view.vsync_mode = present.vsync_mode;
  view.ext_device = present.ext_device;
  view.ext_alpha = present.ext_alpha;
  view.volume = present.volume;
  view.spb_enabled = present.spb_enabled;
  view.automatic_preload = present.automatic_preload;
  view.switch_views = present.switch_views;
  view.continue_playback_after_drag = present.continue_playback_after_drag;
  view.disable_caching_by_default = present.disable_caching_by_default;
  view.creation_timestamp = present.creation_timestamp;
  view.tf = present.tf;
  return view;
}

// Opens what the layer reads from again. A source that is gone leaves a layer without one, or throws.
void open_source(state& composition, track_info& track) {
  switch (track.source_type) {
    case source_type::wave:
      track.audio = sources::load_wave(track.path);
      return;
    case source_type::shmem:
    case source_type::video:
      track.source_type = source_type::none;
      return;
    default:
      break;
  }
  if (!track.is_clip()) return;
  reopen_source(composition, track);
  if (!track.clip) {
    track.source_type = source_type::none;
    return;
  }
  read_sound(composition, track);
  track.frames = track.clip->frames();
  track.width = track.clip->width();
  track.height = track.clip->height();
}

void adopt(state& composition, composition_view&& view) {
  composition.layer_delete_all();
  composition.set_undo_action(nullptr);
  static_cast<composition_view&>(composition) = std::move(view);
  // Half a document must not be saved over the one before it.
  composition.file_name.clear();
  for (track_info& track : composition.tracks) {
    try {
      open_source(composition, track);
    } catch (const std::exception&) {
      track.source_type = source_type::none;
    }
  }
  for (const track_info& track : composition.tracks) {
    if (composition.automatic_preload && composition.hooks.request_preload) composition.hooks.request_preload(track);
  }
  if (composition.playing && composition.hooks.start_audio) composition.hooks.start_audio();
}

}  // namespace

void put_within_bounds(composition_view& view) {
  settle_ids(view.tracks);
  for (track_info& track : view.tracks) settle_layer(track);
  std::erase_if(view.selection, [&](int index) { return index < 0 || index >= static_cast<int>(view.tracks.size()); });
  settle_timeline(view);
  view.mask_size.x = std::clamp(view.mask_size.x, 1, img::max_dimension);
  view.mask_size.y = std::clamp(view.mask_size.y, 1, img::max_dimension);
  view.zoom_factor2 = std::max(view.zoom_factor2, 1);
  view.pan_position = {finite(view.pan_position.x, 0.0), finite(view.pan_position.y, 0.0)};
  view.pp_pos = {finite(view.pp_pos.x, 1.0), finite(view.pp_pos.y, 1.0)};
  view.fs_pp_pos = {finite(view.fs_pp_pos.x, 1.0), finite(view.fs_pp_pos.y, 1.0)};
  view.pp_tab = view.pp_tab < 0 || view.pp_tab > 7 ? 0 : view.pp_tab;
  view.track_max = std::max(view.track_max, 0);
  view.prev_track_max = std::max(view.prev_track_max, 0);
  view.frame_base = view.frame_base == 1 ? 1 : 0;
  view.aspect = finite(view.aspect, composition_view().aspect);
  view.back_custom_color.a = 255;
}

void read_composition(io::binary_iarchive& archive, composition_view& view) {
  composition_record record{view};
  archive.field(root_key, record);
}

void read_composition(io::xml_iarchive& archive, composition_view& view) {
  composition_record record{view};
  archive.field(root_key, record);
}

void write_composition(io::binary_oarchive& archive, const composition_view& view) {
  archive.field(root_key, record_to_write(view));
}

void write_composition(io::xml_oarchive& archive, const composition_view& view) {
  archive.field(root_key, record_to_write(view));
}

void save_composition(const state& composition, const std::string& path) {
  const auto body = [&](auto& archive) { write_composition(archive, composition); };
  io::write_document(path, body, body);
}

void load_composition(state& composition, const std::string& path, bool file_present) {
  { io::file readable(path, "rb"); }
  if (file_present && composition.track_count() > 0 && composition.hooks.file_among_unsaved) {
    composition.hooks.file_among_unsaved();
  }
  composition_view view = with_settings_of(composition);
  const auto take = [&] {
    put_within_bounds(view);
    relink(view.tracks, path);
    adopt(composition, std::move(view));
  };
  try {
    const auto body = [&](auto& archive) { read_composition(archive, view); };
    io::read_document(path, body, body);
  } catch (...) {
    take();
    throw;
  }
  take();
}

}  // namespace ksn
