// The settings file.
#include <algorithm>
#include <cmath>

#include "composition/documents/persistence.h"
#include "composition/documents/serialize_track.h"
#include "composition/documents/shared_file.h"
#include "io/document.h"
#include "lib/paths.h"
#include "platform/files.h"
#include "platform/folders.h"

namespace ksn {

// The contents of the settings file.
struct settings_record {
  composition_view& stored;
};

}  // namespace ksn

namespace io {
template <>
inline constexpr int record_version<ksn::settings_record> = 27;
}  // namespace io

namespace ksn {

template <class A>
void serialize(A& ar, settings_record& record, int version) {
  composition_view& v = record.stored;
  const auto skip_bools = [&](int count) {
    for (bool dropped = false; count > 0; --count) ar.field("", dropped);
  };
  ar.field("mask_size", v.doc.mask_size);
  ar.field("default_cfps", v.settings.default_cfps);
  if (version >= 1) {
    put_word(ar, "safe_area_type", v.view.safe_area_type, safe_area_type_t::blue);
    put_word(ar, "mask_type", v.view.mask_type, mask_type_t::transparent);
  }
  if (version >= 2) put_word(ar, "default_alpha_type", v.settings.default_alpha_type, alpha_type::mask);
  if (version >= 3) ar.field("default_aspect", v.settings.default_aspect);
  if (version >= 4) {
    ar.field("pp_visible", v.workspace.pp_visible);
    ar.field("pp_position", v.workspace.pp_pos);
  }
  if (version >= 5) ar.field("pp_tab", v.workspace.pp_tab);
  if (version >= 6) ar.field("vsync", v.settings.vsync);
  if (version >= 7) ar.field("volume", v.settings.volume);
  if (version >= 8) put_word(ar, "ext_device", v.settings.ext_device, ext_device_type::decklink);
  if (version >= 9 && version <= 16) skip_bools(1);
  if (version >= 10) {
    put_word(ar, "default_back_color", v.settings.default_back_color, back_color_type::black);
    ar.field("brush_size", v.workspace.brush_size);
    ar.field("brush_softness", v.workspace.brush_softness);
    ar.field("brush_spacing", v.workspace.brush_spacing);
    ar.field("brush_color", v.workspace.brush_color);
  }
  if (version >= 11) ar.field("spb_enabled", v.settings.spb_enabled);
  if (version >= 12) {
    ar.field("default_back_custom_color", v.settings.default_back_custom_color);
    if constexpr (A::reading) {
      v.settings.default_back_custom_color.a = 255;
      v.doc.back_custom_color = v.settings.default_back_custom_color;
    }
  }
  if (version >= 13) ar.field("automatic_preload", v.settings.automatic_preload);
  if (version >= 14) {
    ar.field("timeline_visible", v.workspace.timeline_visible);
    ar.field("pv_tooltip_enabled", v.workspace.pv_tooltip_enabled);
    ar.field("fs_timeline_visible", v.workspace.fs_timeline_visible);
    ar.field("fs_infobar_visible", v.workspace.fs_infobar_visible);
    ar.field("fs_pp_visible", v.workspace.fs_pp_visible);
    ar.field("fs_pp_pos", v.workspace.fs_pp_pos);
    ar.field("fs_pv_tooltip_enabled", v.workspace.fs_pv_tooltip_enabled);
  } else {
    v.workspace.timeline_visible = true;
    v.workspace.pv_tooltip_enabled = true;
    v.workspace.fs_timeline_visible = false;
    v.workspace.fs_infobar_visible = v.workspace.infobar_visible;
    v.workspace.fs_pp_visible = false;
    v.workspace.fs_pp_pos = v.workspace.pp_pos;
    v.workspace.fs_pv_tooltip_enabled = false;
  }
  if (version >= 15) put_word(ar, "counter_type", v.workspace.counter_type, counter_type_t::frame);
  if (version >= 16) ar.field("mask_transforms_enabled", v.view.mask_transforms_enabled);
  if (version == 16) skip_bools(2);
  if (version >= 18) ar.field("lookup_table_map", v.doc.lookup_table_map);
  if (version >= 19) ar.field("default_text_attr", v.settings.default_text_attr);
  if (version >= 20) ar.field("infobar_visible", v.workspace.infobar_visible);
  if (version >= 21) put_word(ar, "stereo_view", v.view.stereo_mode, stereo_view_type::anaglyph);
  if (version >= 22) ar.field("switch_views", v.view.switch_views);
  if (version >= 23) put_word(ar, "ext_alpha", v.settings.ext_alpha, ext_alpha_type::none);
  if (version >= 24) {
    ar.field("continue_playback_after_drag", v.settings.continue_playback_after_drag);
    ar.field("disable_caching_by_default", v.settings.disable_caching_by_default);
  }
  if (version >= 25) {
    ar.field("default_frame_base", v.settings.default_frame_base);
    ar.field("creation_timestamp", v.settings.creation_timestamp);
  }
  if (version >= 26) ar.field("aspect", v.view.aspect);
  if (version >= 27) {
    put_word(ar, "view_filter", v.view.filter, view_filter_type::automatic);
    put_word(ar, "brush_pressure", v.workspace.brush_pressure, brush_pressure_type::size);
  }
}

namespace {

constexpr const char* root_key = "kestrin.settings";

bool settings_path(bool create, std::string& path) {
  if (!platform::get_folder(platform::folder_kind::roaming_data, create, path)) return false;
  path = lib::add_separator(path) + settings_file_name;
  return true;
}

// The values that the settings decide for the first document, and values that no setter would have stored.
void settle(composition_view& stored) {
  std::erase_if(stored.settings.default_aspect,
                [](const auto& entry) { return !(std::isfinite(entry.second) && entry.second > 0.0); });
  if (stored.settings.default_cfps < 1) stored.settings.default_cfps = composition_view().settings.default_cfps;
  stored.doc.fpcs = stored.settings.default_cfps;
  stored.settings.default_frame_base = stored.settings.default_frame_base == 1 ? 1 : 0;
  stored.doc.frame_base = stored.settings.default_frame_base;
  stored.settings.volume = std::max(stored.settings.volume, 0);
  stored.settings.default_text_attr.size = std::max(stored.settings.default_text_attr.size, 1);
  put_within_bounds(stored);
}

}  // namespace

template <class Archive>
void read_settings(Archive& archive, composition_view& stored) {
  settings_record record{stored};
  archive.field(root_key, record);
}

template <class Archive>
void write_settings(Archive& archive, const composition_view& stored) {
  if (has_own_grids(stored)) state_own_grids(archive);
  // A writer changes nothing.
  const settings_record record{const_cast<composition_view&>(stored)};
  archive.field(root_key, record);
}

template void read_settings(io::binary_iarchive&, composition_view&);
template void read_settings(io::xml_iarchive&, composition_view&);
template void write_settings(io::binary_oarchive&, const composition_view&);
template void write_settings(io::xml_oarchive&, const composition_view&);

void load_settings_file(composition_view& stored, const std::string& path) {
  try {
    const auto body = [&](auto& archive) { read_settings(archive, stored); };
    io::read_document(path, body, body);
  } catch (...) {
    settle(stored);
    throw;
  }
  settle(stored);
}

void save_settings_file(const composition_view& stored, const std::string& path) {
  const auto body = [&](auto& archive) { write_settings(archive, stored); };
  io::write_document(path, body, body);
}

bool load_settings(composition_view& stored) {
  try {
    std::string path;
    if (settings_path(false, path) && platform::file_exists(path)) {
      load_settings_file(stored, path);
      return true;
    }
    if (!platform::get_folder(platform::folder_kind::site, false, path)) return false;
    path = lib::add_separator(path) + settings_file_name;
    if (!platform::file_exists(path)) return false;
    load_settings_file(stored, path);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

bool save_settings(const composition_view& stored) {
  std::string path;
  return settings_path(true, path) && write_shared_file(path, [&] { save_settings_file(stored, path); });
}

std::string settings_bytes(const composition_view& stored) {
  return io::document_bytes([&](io::binary_oarchive& archive) { write_settings(archive, stored); });
}

bool save_settings_bytes(std::string_view bytes) {
  std::string path;
  return settings_path(true, path) && write_shared_file(path, [&] { io::write_document_bytes(path, bytes); });
}

}  // namespace ksn
