// The settings file.
#include <algorithm>
#include <cmath>

#include "composition/persistence.h"
#include "composition/serialize_track.h"
#include "io/document.h"
#include "lib/paths.h"
#include "platform/file_lock.h"
#include "platform/folders.h"

namespace ksn {

// What the settings file holds of a view.
struct settings_record {
  composition_view& view;
};

}  // namespace ksn

namespace io {
template <>
inline constexpr int record_version<ksn::settings_record> = 26;
}  // namespace io

namespace ksn {

template <class A>
void serialize(A& ar, settings_record& record, int version) {
  composition_view& v = record.view;
  const auto skip_bools = [&](int count) {
    for (bool dropped = false; count > 0; --count) ar.field("", dropped);
  };
  ar.field("mask_size", v.mask_size);
  ar.field("default_cfps", v.default_cfps);
  if (version >= 1) {
    ar.ranged("safe_area_type", v.safe_area_type, 0, 2, 1);
    ar.ranged("mask_type", v.mask_type, 0, 3, 1);
  }
  if (version >= 2) ar.ranged("default_alpha_type", v.default_alpha_type, 0, 3, 3);
  if (version >= 3) ar.field("default_aspect", v.default_aspect);
  if (version >= 4) {
    ar.field("pp_visible", v.pp_visible);
    ar.field("pp_position", v.pp_pos);
  }
  if (version >= 5) ar.field("pp_tab", v.pp_tab);
  if (version >= 6) ar.field("vsync", v.vsync);
  if (version >= 7) ar.field("volume", v.volume);
  if (version >= 8) ar.ranged("ext_device", v.ext_device, 1, 7, 1);
  if (version >= 9 && version <= 16) skip_bools(1);
  if (version >= 10) {
    ar.ranged("default_back_color", v.default_back_color, 0, 7, 0);
    ar.field("brush_size", v.brush_size);
    ar.field("brush_softness", v.brush_softness);
    ar.field("brush_spacing", v.brush_spacing);
    ar.field("brush_color", v.brush_color);
  }
  if (version >= 11) ar.field("spb_enabled", v.spb_enabled);
  if (version >= 12) {
    ar.field("default_back_custom_color", v.default_back_custom_color);
    if constexpr (A::reading) {
      v.default_back_custom_color.a = 255;
      v.back_custom_color = v.default_back_custom_color;
    }
  }
  if (version >= 13) ar.field("automatic_preload", v.automatic_preload);
  if (version >= 14) {
    ar.field("timeline_visible", v.timeline_visible);
    ar.field("pv_tooltip_enabled", v.pv_tooltip_enabled);
    ar.field("fs_timeline_visible", v.fs_timeline_visible);
    ar.field("fs_infobar_visible", v.fs_infobar_visible);
    ar.field("fs_pp_visible", v.fs_pp_visible);
    ar.field("fs_pp_pos", v.fs_pp_pos);
    ar.field("fs_pv_tooltip_enabled", v.fs_pv_tooltip_enabled);
  } else {
    v.timeline_visible = true;
    v.pv_tooltip_enabled = true;
    v.fs_timeline_visible = false;
    v.fs_infobar_visible = v.infobar_visible;
    v.fs_pp_visible = false;
    v.fs_pp_pos = v.pp_pos;
    v.fs_pv_tooltip_enabled = false;
  }
  if (version >= 15) ar.ranged("counter_type", v.counter_type, 0, 6, 0);
  if (version >= 16) ar.field("mask_transforms_enabled", v.mask_transforms_enabled);
  if (version == 16) skip_bools(2);
  if (version >= 18) ar.field("lookup_table_map", v.lookup_table_map);
  if (version >= 19) ar.field("default_text_attr", v.default_text_attr);
  if (version >= 20) ar.field("infobar_visible", v.infobar_visible);
  if (version >= 21) ar.ranged("stereo_view", v.stereo_view, 0, 3, 0);
  if (version >= 22) ar.field("switch_views", v.switch_views);
  if (version >= 23) ar.ranged("ext_alpha", v.ext_alpha, 0, 2, 0);
  if (version >= 24) {
    ar.field("continue_playback_after_drag", v.continue_playback_after_drag);
    ar.field("disable_caching_by_default", v.disable_caching_by_default);
  }
  if (version >= 25) {
    ar.field("default_frame_base", v.default_frame_base);
    ar.field("creation_timestamp", v.creation_timestamp);
  }
  if (version >= 26) ar.field("aspect", v.aspect);
}

namespace {

constexpr const char* root_key = "kestrin.settings";
constexpr int longest_wait = 2000;  // milliseconds

// A writer changes nothing.
settings_record record_to_write(const composition_view& view) {
  return {const_cast<composition_view&>(view)};
}

bool settings_path(bool create, std::string& path) {
  if (!platform::get_folder(platform::folder_kind::roaming_data, create, path)) return false;
  path = lib::add_separator(path) + settings_file_name;
  return true;
}

// The values that the settings decide for the first document, and values that no setter would have stored.
void settle(composition_view& view) {
  std::erase_if(view.default_aspect,
                [](const auto& entry) { return !(std::isfinite(entry.second) && entry.second > 0.0); });
  if (view.default_cfps < 1) view.default_cfps = composition_view().default_cfps;
  view.fpcs = view.default_cfps;
  view.default_frame_base = view.default_frame_base == 1 ? 1 : 0;
  view.frame_base = view.default_frame_base;
  view.volume = std::max(view.volume, 0);
  view.default_text_attr.size = std::max(view.default_text_attr.size, 1);
  put_within_bounds(view);
}

}  // namespace

void load_settings_file(composition_view& view, const std::string& path) {
  try {
    const auto body = [&](auto& archive) { read_settings(archive, view); };
    io::read_document(path, body, body);
  } catch (...) {
    settle(view);
    throw;
  }
  settle(view);
}

void save_settings_file(const composition_view& view, const std::string& path) {
  const auto body = [&](auto& archive) { write_settings(archive, view); };
  io::write_document(path, body, body);
}

void read_settings(io::binary_iarchive& archive, composition_view& view) {
  settings_record record{view};
  archive.field(root_key, record);
}

void read_settings(io::xml_iarchive& archive, composition_view& view) {
  settings_record record{view};
  archive.field(root_key, record);
}

void write_settings(io::binary_oarchive& archive, const composition_view& view) {
  archive.field(root_key, record_to_write(view));
}

void write_settings(io::xml_oarchive& archive, const composition_view& view) {
  archive.field(root_key, record_to_write(view));
}

bool load_settings(composition_view& view) {
  try {
    std::string path;
    if (!settings_path(false, path)) return false;
    load_settings_file(view, path);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

bool save_settings(const composition_view& view) {
  try {
    std::string path;
    if (!settings_path(true, path)) return false;
    const platform::file_lock lock(path + ".lock", longest_wait);
    if (!lock.held()) return false;
    save_settings_file(view, path);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace ksn
