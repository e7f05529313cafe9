// The composition file.
#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

#include "composition/documents/persistence.h"
#include "composition/documents/relink.h"
#include "composition/documents/serialize_track.h"
#include "composition/editing/layer_stack.h"
#include "composition/opening/open_error.h"
#include "composition/opening/route.h"
#include "composition/opening/sequence.h"
#include "composition/time/frame_numbers.h"
#include "io/document.h"
#include "io/failure.h"
#include "io/file.h"
#include "sources/shared_picture.h"
#include "sources/video_input.h"
#include "sources/wave.h"

namespace ksn {

// The contents of a composition file; the rest are settings.
struct composition_record {
  composition_view& stored;
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
  composition_view& v = record.stored;
  put_word(ar, "view", v.view.channels, view_type::rgb);
  put_word(ar, "back_color", v.doc.back_color, back_color_type::black);
  ar.field("safe_area_active", v.view.safe_area_active);
  put_word(ar, "safe_area_type", v.view.safe_area_type, safe_area_type_t::none);
  put_word(ar, "mask_type", v.view.mask_type, mask_type_t::none);
  ar.field("mask_size", v.doc.mask_size);
  ar.field("grid", v.view.grid);
  put_word(ar, "counter_type", v.workspace.counter_type, counter_type_t::frame);
  ar.field("playing", v.doc.playing);
  ar.field("forward", v.doc.forward);
  put_word(ar, "repeat", v.doc.repeat, repeat_type::loop);
  ar.field("fpcs", v.doc.fpcs);
  ar.field("can_drop_frames", v.doc.can_drop_frames);
  ar.field("tm_n", v.doc.tm_n);
  ar.field("tm_f", v.doc.tm_f);
  ar.field("tm_l", v.doc.tm_l);
  ar.field("tm_t", v.doc.tm_t);
  ar.field("zoom_factor2", v.view.zoom_factor2);
  ar.field("pan_position", v.view.pan_position);
  serialize_tracks(ar, v.doc.tracks);
  if (version >= 4) {
    ar.field("selection", v.doc.selection);
  } else {
    int selected = 0;
    ar.field("selection", selected);
    v.doc.selection = {selected};
  }
  ar.field("track_max", v.workspace.track_max);
  ar.field("pp_visible", v.workspace.pp_visible);
  ar.field("pp_pos", v.workspace.pp_pos);
  ar.field("pp_tab", v.workspace.pp_tab);
  ar.field("frame_base", v.doc.frame_base);
  ar.field("infobar_visible", v.workspace.infobar_visible);
  if (version >= 1) {
    ar.field("aspect_enabled", v.view.aspect_enabled);
    ar.field("aspect", v.view.aspect);
    if (version <= 7) skip_bools(ar, 1);
  }
  if (version >= 2) put_word(ar, "resolution", v.view.resolution, cache_resolution_type::full);
  if (version >= 3) {
    ar.field("brush_size", v.workspace.brush_size);
    ar.field("brush_softness", v.workspace.brush_softness);
    ar.field("brush_spacing", v.workspace.brush_spacing);
    ar.field("brush_color", v.workspace.brush_color);
  }
  if (version >= 5) {
    ar.field("back_custom_color", v.doc.back_custom_color);
    if constexpr (A::reading) v.doc.back_custom_color.a = 255;
  }
  if (version >= 6) {
    ar.field("timeline_visible", v.workspace.timeline_visible);
    ar.field("pv_tooltip_enabled", v.workspace.pv_tooltip_enabled);
    ar.field("fs_timeline_visible", v.workspace.fs_timeline_visible);
    ar.field("fs_infobar_visible", v.workspace.fs_infobar_visible);
    ar.field("fs_pp_visible", v.workspace.fs_pp_visible);
    ar.field("fs_pp_pos", v.workspace.fs_pp_pos);
    ar.field("fs_pv_tooltip_enabled", v.workspace.fs_pv_tooltip_enabled);
  }
  if (version >= 7) ar.field("mask_transforms_enabled", v.view.mask_transforms_enabled);
  if (version == 7) skip_bools(ar, 2);
  if (version >= 9) ar.field("lookup_table_map", v.doc.lookup_table_map);
  if (version >= 10) ar.field("prev_track_max", v.workspace.prev_track_max);
  if (version >= 11) {
    put_word(ar, "target_view", v.view.stereo_view, target_view_type::left);
    put_word(ar, "stereo_view", v.view.stereo_mode, stereo_view_type::anaglyph);
  }
  if (version >= 12) ar.field("vars", v.doc.vars);
}

namespace {

constexpr const char* root_key = "composition";

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
    if (!ids.contains(track.look.alpha_source_id)) track.look.alpha_source_id = 0;
  }
}

void drop_unfit_canvas(const track_info& track, img::image_ptr& canvas) {
  const bool fits = canvas && canvas->width == track.source.width && canvas->height == track.source.height &&
                    canvas->format[0] == 'B' && canvas->depth[0] == 8 && canvas->format[3] == 'A' &&
                    canvas->plane_count() == 4;
  if (!fits) canvas = nullptr;
}

void settle_source(track_info& track) {
  track.source.frames = std::clamp(track.source.frames, 0, frame_limit);
  track.source.width = std::clamp(track.source.width, 0, img::max_dimension);
  track.source.height = std::clamp(track.source.height, 0, img::max_dimension);
  track.source.fpcs = std::max(track.source.fpcs, 0);
  track.source.fpcs2 = std::max(track.source.fpcs2, 0);
  if (track.source.type == source_type::sequence) {
    if (track.source.names.empty()) track.source.type = source_type::none;
    track.source.frames = static_cast<int>(track.source.names.size());
  }
  if (track.source.type == source_type::clipboard_image && !track.source.clipboard_image) {
    track.source.type = source_type::none;
  }
  if (track.source.type == source_type::embedded_audio && !track.source.audio) track.source.type = source_type::none;
  if (track.source.brush_image) drop_unfit_canvas(track, track.source.brush_image);
  for (auto entry = track.source.brush_seq.begin(); entry != track.source.brush_seq.end();) {
    if (entry->first >= 0 && entry->first < track.source.frames) drop_unfit_canvas(track, entry->second);
    const bool keep = entry->first >= 0 && entry->first < track.source.frames && entry->second;
    entry = keep ? std::next(entry) : track.source.brush_seq.erase(entry);
  }
}

void settle_layer(track_info& track) {
  settle_source(track);
  track.timing.begin = clamped_frame(track.timing.begin);
  track.timing.retime = finite(track.timing.retime, 1.0);
  track.timing.sbegin_f = finite(track.timing.sbegin_f, 0.0);
  track.timing.send_f = finite(track.timing.send_f, 1.0);
  track.placement.set_aspect(finite(track.placement.aspect, 1.0));
  track.placement.set_scale_x(track.placement.scale_x);
  track.placement.set_scale_y(track.placement.scale_y);
  track.look.opacity = std::clamp(track.look.opacity, 0, 100);
  track.sound.volume = std::max(track.sound.volume, 0);
  track.timing.fade_in = std::clamp(track.timing.fade_in, 0, frame_limit);
  track.timing.fade_out = std::clamp(track.timing.fade_out, 0, frame_limit);
  track.lettering.text_attr.size = std::clamp(track.lettering.text_attr.size, 1, most_text_pixels);
  for (color_key* key : {&track.look.ck_primary, &track.look.ck_secondary}) {
    key->slope = std::clamp(key->slope, 0, frame_limit);
    key->tolerance = std::clamp(key->tolerance, 0, frame_limit);
  }
}

void settle_timeline(composition_view& stored) {
  stored.doc.fpcs = std::max(stored.doc.fpcs, 1);
  stored.doc.tm_n = std::clamp(stored.doc.tm_n, 10, frame_limit);
  stored.doc.tm_l = std::clamp(stored.doc.tm_l, 1, stored.doc.tm_n);
  stored.doc.tm_f = std::clamp(stored.doc.tm_f, 0, stored.doc.tm_l - 1);
  stored.doc.tm_t = std::clamp(finite(stored.doc.tm_t, 0.0), 0.0, static_cast<double>(stored.doc.tm_n));
}

// Values that compositions do not hold are kept from the present document.
composition_view with_settings_of(const composition_view& present) {
  composition_view stored;
  stored.settings = present.settings;
  stored.view.switch_views = present.view.switch_views;
  stored.view.tf = present.view.tf;
  stored.view.filter = present.view.filter;
  stored.workspace.brush_pressure = present.workspace.brush_pressure;
  stored.workspace.full_screen = present.workspace.full_screen;
  return stored;
}

// Opens what the layer reads from again. A source that can't be opened stands as none and keeps what it was; 0, or an
// error code.
int open_source(state& composition, track_info& track) {
  layer_source& source = track.source;
  int error = 0;
  std::string reason;
  switch (source.type) {
    case source_type::wave:
      error = file_error(source.path);
      if (error != 0) break;
      source.audio = sources::load_wave(source.path);
      if (!source.audio) error = -1;
      break;
    case source_type::shmem:
      source.live = sources::open_shared_picture(source.path, error, reason);
      break;
    case source_type::video:
      source.live = sources::open_input(source.vdev, reason);
      break;
    default:
      if (!source.is_clip()) return 0;
      error = file_error(source.path);
      if (error == 0) error = reopen_source(composition, track);
      if (error != 0) break;
      read_sound(composition, track);
      source.frames = source.clip->frames();
      source.width = source.clip->width();
      source.height = source.clip->height();
      return 0;
  }
  if (source.type == source_type::shmem || source.type == source_type::video) {
    if (source.live) {
      source.width = source.live->width();
      source.height = source.live->height();
    } else if (error == 0) {
      error = -1;
    }
  }
  if (error != 0) source.missing_type = std::exchange(source.type, source_type::none);
  return error;
}

const std::string& name_of_missing(const track_info& track) {
  const layer_source& source = track.source;
  return !source.path.empty() ? source.path : !source.vdev.empty() ? source.vdev : track.name;
}

void adopt(state& composition, composition_view&& stored) {
  composition.layer_delete_all();
  composition.set_undo_action(nullptr);
  static_cast<composition_view&>(composition) = std::move(stored);
  // Half a document must not be saved over the one before it.
  composition.file_name.clear();
  for (track_info& track : composition.doc.tracks) {
    const source_type type = track.source.type;
    try {
      if (const int error = open_source(composition, track); error != 0) {
        composition.report_error(open_error_line(name_of_missing(track), error));
      }
    } catch (const std::exception&) {
      composition.report_error(io::failure_line(name_of_missing(track)));
      track.source.type = source_type::none;
      track.source.missing_type = type;
      track.source.clip.reset();
    }
  }
  std::vector<track_info*> sequences;
  for (track_info& track : composition.doc.tracks) {
    if (track.source.type == source_type::sequence) sequences.push_back(&track);
  }
  find_holes(sequences);
  for (const track_info& track : composition.doc.tracks) {
    if (composition.settings.automatic_preload) composition.hooks.request_preload(track);
  }
  if (composition.doc.playing) composition.hooks.start_audio();
}

}  // namespace

void put_within_bounds(composition_view& stored) {
  settle_ids(stored.doc.tracks);
  for (track_info& track : stored.doc.tracks) settle_layer(track);
  std::erase_if(stored.doc.selection,
                [&](int index) { return index < 0 || index >= static_cast<int>(stored.doc.tracks.size()); });
  settle_timeline(stored);
  stored.doc.mask_size.x = std::clamp(stored.doc.mask_size.x, 1, img::max_dimension);
  stored.doc.mask_size.y = std::clamp(stored.doc.mask_size.y, 1, img::max_dimension);
  stored.view.zoom_factor2 = std::max(stored.view.zoom_factor2, 1);
  stored.view.pan_position = {finite(stored.view.pan_position.x, 0.0), finite(stored.view.pan_position.y, 0.0)};
  stored.workspace.pp_pos = {finite(stored.workspace.pp_pos.x, 1.0), finite(stored.workspace.pp_pos.y, 1.0)};
  stored.workspace.fs_pp_pos = {finite(stored.workspace.fs_pp_pos.x, 1.0), finite(stored.workspace.fs_pp_pos.y, 1.0)};
  stored.workspace.pp_tab = stored.workspace.pp_tab < 0 || stored.workspace.pp_tab > 7 ? 0 : stored.workspace.pp_tab;
  stored.workspace.track_max = std::max(stored.workspace.track_max, 0);
  stored.workspace.prev_track_max = std::max(stored.workspace.prev_track_max, 0);
  stored.doc.frame_base = stored.doc.frame_base == 1 ? 1 : 0;
  stored.view.aspect = finite(stored.view.aspect, composition_view().view.aspect);
  stored.doc.back_custom_color.a = 255;
}

template <class Archive>
void read_composition(Archive& archive, composition_view& stored) {
  composition_record record{stored};
  archive.field(root_key, record);
}

bool has_own_grids(const composition_view& stored) {
  const auto in = [](const img::correction& correction) { return has_own_grid(correction.lookup_table); };
  const auto& tables = stored.doc.lookup_table_map;
  const auto& layers = stored.doc.tracks;
  return in(stored.view.tf) ||
         std::any_of(layers.begin(), layers.end(), [&](const track_info& layer) { return in(layer.look.tf); }) ||
         std::any_of(tables.begin(), tables.end(), [](const auto& entry) { return has_own_grid(entry.second); });
}

template <class Archive>
void write_composition(Archive& archive, const composition_view& stored) {
  if (has_own_grids(stored)) state_own_grids(archive);
  // A writer changes nothing.
  const composition_record record{const_cast<composition_view&>(stored)};
  archive.field(root_key, record);
}

template void read_composition(io::binary_iarchive&, composition_view&);
template void read_composition(io::xml_iarchive&, composition_view&);
template void write_composition(io::binary_oarchive&, const composition_view&);
template void write_composition(io::xml_oarchive&, const composition_view&);

void save_composition(const state& composition, const std::string& path) {
  const auto body = [&](auto& archive) { write_composition(archive, composition); };
  io::write_document(path, body, body);
}

void load_composition(state& composition, const std::string& path, bool file_present) {
  { io::file readable(path, "rb"); }
  if (file_present && composition.doc.track_count() > 0) {
    composition.hooks.file_among_unsaved();
  }
  composition_view stored = with_settings_of(composition);
  const auto take = [&] {
    put_within_bounds(stored);
    relink(stored.doc.tracks, path);
    adopt(composition, std::move(stored));
    composition.fit = view_fit::settled;
  };
  try {
    const auto body = [&](auto& archive) { read_composition(archive, stored); };
    io::read_document(path, body, body);
  } catch (...) {
    take();
    throw;
  }
  take();
}

}  // namespace ksn
