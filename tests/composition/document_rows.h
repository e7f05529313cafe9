// The documents as tables: for each field the versions that hold it, what a file holds, and what a reader has of it.
#pragma once

#include "support/archive_tree.h"

namespace support {

// The versions of the types of one file. Those of archives 0 to 3 are all `archive` - 4.
struct file_versions {
  int archive = 4;
  int composition = 12;
  int track = 21;
  int transfer = 7;
  int lookup = 2;
  int text = 1;
  int image = 3;
  int settings = 27;
};

inline file_versions of_archive(int archive) {
  const int all = archive - 4;
  return {archive, all, all, all, all, all, all, all};
}

// The values that integers with a range become.
enum class number_choice { as_listed, below, above };

struct table_row {
  std::string key;
  int from;      // version that introduced the field; the oldest when negative
  value stored;  // what a file of a version that has it holds
  value before;  // what a reader of an older file has
  int to = 99;   // last version that has it; a newest file leaves it out then
};

constexpr int oldest = -4;

// A record of version `version`, or with `as_read` the newest one that a reader of it writes again.
inline value record_of(const std::string& type, const std::vector<table_row>& rows, int version, int newest,
                       bool as_read) {
  std::vector<field> fields;
  for (const table_row& row : rows) {
    const bool there = row.from <= version && version <= row.to;
    if (as_read ? row.to == 99 : there) {
      fields.push_back({row.key, as_read && !there ? row.before : row.stored});
    }
  }
  return versioned(type, as_read ? newest : version, std::move(fields));
}

// Makes the rows of one document, either as a file of some versions holds it or as it is read from there.
struct document_rows {
  file_versions versions;
  bool as_read = false;
  bool xml = false;
  number_choice choice = number_choice::as_listed;

  // An integer with a range.
  value ranged(int number, int first, int last, int otherwise) const {
    if (choice == number_choice::as_listed) return integer(number);
    if (as_read) return integer(otherwise);
    return integer(choice == number_choice::below ? first - 1 : last + 1);
  }
  value opaque(int r, int g, int b) const { return color(as_read ? 255 : 7, r, g, b); }

  value lookup() const {
    const int v = versions.lookup;
    if (v < 1) {
      const std::vector<value> curve(1024, real(0.5));
      if (!as_read) return versioned("lookup", v, {{"tables", list({list(curve), list(curve), list(curve)})}});
      return lookup_of({}, false, std::vector<value>(3072, real(0.5)), false);
    }
    // Halves of 1, 0 and -1 in version 1: (h + 0.125) * 4096, not below 0.
    if (v == 1 && !as_read) return lookup_of({0x3C00, 0, 0xBC00}, true, {real(0.25)}, true);
    if (v == 1) return lookup_of({4608, 512, 0}, true, {real(0.25)}, true);
    return lookup_of({1, 2, 16383}, true, {real(0.25), real(-2)}, true);
  }

  value lookup_of(const std::vector<int>& cube, bool srgb3, const std::vector<value>& curves, bool srgb1) const {
    std::vector<value> words;
    for (const int entry : cube) words.push_back(word(entry));
    return versioned("lookup", as_read ? 2 : versions.lookup,
                     {{"lookup3", list(words)},
                      {"sRGB_output3", boolean(srgb3)},
                      {"lookup1", list(curves)},
                      {"sRGB_output1", boolean(srgb1)}});
  }

  value transfer() const {
    const std::vector<table_row> rows = {
        {"color_space", oldest, integer(as_read ? 220 : 2), {}},
        {"nonlog_cineon", oldest, boolean(true), {}},
        {"lookup_table_name", 4, text("warm.cube"), text("")},
        {"lookup_table", 4, lookup(), lookup_of({}, false, {}, false)},
        {"exposure", oldest, integer(150), {}, 4},
        {"exposure", 5, integers({1, -2, 3}), integers({150, 150, 150})},
        {"temperature", 7, integer(5000), integer(6600)},
        {"lift", 2, integers({4, 5, 6}), integers({0, 0, 0})},
        {"gamma", oldest, integers({90, 110, 120}), {}},
        {"gain", 2, integers({80, 70, 60}), integers({100, 100, 100})},
        {"brightness", oldest, integer(-20), {}, 4},
        {"brightness", 5, integers({7, 8, 9}), integers({-20, -20, -20})},
        {"contrast", oldest, integer(30), {}, 4},
        {"contrast", 5, integers({10, 11, 12}), integers({30, 30, 30})},
        {"soft_clip", oldest, integer(40), {}, 4},
        {"soft_clip", 5, integers({40, 1, 2}), {}, 5},
        {"soft_clip", 6, integer(40), integer(40)},
        {"", oldest, integer(77), {}, 3},
        {"hue", oldest, integer(15), {}, 4},
        {"hue", 5, integers({-10, 0, 10}), integers({15, 15, 15})},
        {"saturation", oldest, integer(101), {}, 4},
        {"saturation", 5, integers({102, 103, 104}), integers({101, 101, 101})},
        {"disable_cc", 1, boolean(true), boolean(false)},
    };
    return record_of("transfer", rows, versions.transfer, 7, as_read);
  }

  value text_attributes() const {
    const std::vector<table_row> rows = {
        {"align_x", oldest, ranged(2, 0, 2, 1), {}},
        {"align_y", oldest, ranged(0, 0, 2, 1), {}},
        {"font", oldest, text("Some Font"), {}},
        {"size", oldest, integer(48), {}},
        {"bold", oldest, boolean(true), {}},
        {"italic", oldest, boolean(true), {}},
        {"color", oldest, color(1, 2, 3, 4), {}},
        {"outline_color", oldest, color(5, 6, 7, 8), {}},
        {"shadow_color", oldest, color(9, 10, 11, 12), {}},
        {"back_enabled", oldest, boolean(true), {}},
        {"back_color", oldest, color(13, 14, 15, 16), {}},
        {"back_cover_layer", 1, boolean(true), boolean(false)},
    };
    return record_of("text", rows, versions.text, 1, as_read);
  }
  static value default_text_attributes() {
    return versioned("text", 1,
                     {{"align_x", integer(1)},
                      {"align_y", integer(1)},
                      {"font", text("Arial")},
                      {"size", integer(32)},
                      {"bold", boolean(false)},
                      {"italic", boolean(false)},
                      {"color", color(255, 255, 255, 255)},
                      {"outline_color", color(255, 0, 0, 0)},
                      {"shadow_color", color(255, 0, 0, 0)},
                      {"back_enabled", boolean(false)},
                      {"back_color", color(255, 0, 0, 0)},
                      {"back_cover_layer", boolean(false)}});
  }

  static value time_code(std::uint32_t code, std::uint32_t user, int num, int den) {
    return versioned("timecode", 0,
                     {{"code", integer(code)}, {"user", integer(user)}, {"num", integer(num)}, {"den", integer(den)}});
  }
  static value key_code(const std::vector<int>& numbers) {
    std::vector<field> fields;
    for (const int number : numbers) fields.push_back({"", integer(number)});
    return versioned("keycode", 0, fields);
  }

  // Two pixels in a row.
  value picture() const {
    const value no_code = time_code(0xFFFFFFFF, 0xFFFFFFFF, 0, 1);
    const value no_key = key_code({-1, 0, 0, 0, 0, 0, 0});
    const bool texts = versions.image == 1;
    const value none = list({});
    const value hint = list({plain({{"first", integer(0)}, {"last", integer(1)}})});
    const std::string gap(5, '\0');
    const std::vector<table_row> rows = {
        {"format", oldest, raw("BGR" + gap), {}},
        {"depth", oldest, raw("\x8\x8\x8" + gap), {}},
        {"width", oldest, integer(2), {}},
        {"height", oldest, integer(1), {}},
        {"user", oldest, integers({1, 0, 2, 3, 4, 5, 6, 7}), {}},
        {"data", oldest, list({block("ab"), block("cd"), block("ef"), none, none, none, none, none}), {}},
        {"hint", -3, list({hint, none, none, none, none, none, none, none}),
         list({none, none, none, none, none, none, none, none})},
        {"src", -3, text("/from.tga"), text("")},
        {"mtime", -1, integer(1234567890), integer(0)},
        {"frame", 1, integer(86), integer(-1)},
        {"timecode", 1, text("01:02:03:04"), {}, 1},
        {"keycode", 1, text("12 34 567890 1234 05"), {}, 1},
        {"timecode", 2, time_code(0x11223304, 5, 1, 2), texts ? time_code(0x01020304, 0, 0, 1) : no_code},
        {"timecode2", 2, time_code(6, 7, 8, 9), no_code},
        {"keycode", 2, key_code({1, 2, 3, 4, 5, 6, 7}), texts ? key_code({12, 34, 567890, 1234, 5, 4, 64}) : no_key},
        {"frame_rate_nm", 2, integer(24000), integer(0)},
        {"frame_rate_dn", 2, integer(1001), integer(0)},
        {"metadata", 3, map({{text("a"), text("b c")}, {text("d"), text("")}}), map({})},
    };
    return record_of("image", rows, versions.image, 3, as_read);
  }

  static value color_key(bool enabled, const value& key, int slope, int tolerance) {
    return plain(
        {{"enabled", boolean(enabled)}, {"key", key}, {"slope", integer(slope)}, {"tolerance", integer(tolerance)}});
  }
  static value image_layer(int type, int index, const std::string& name) {
    return plain({{"type", integer(type)}, {"index", integer(index)}, {"name", text(name)}});
  }
  value r3d(int preset, int kelvin, int tint, int iso, int compensation, int space, int curve, int track) const {
    return plain({{"preset", ranged(preset, 0, 3, 3)},
                  {"kelvin", integer(kelvin)},
                  {"tint", integer(tint)},
                  {"iso", integer(iso)},
                  {"compensation", integer(compensation)},
                  {"color_space", integer(space)},
                  {"gamma_curve", integer(curve)},
                  {"video_track", integer(track)}});
  }

  value track(int id, int source_type) const {
    const bool embedded = source_type == 8 || source_type == 11 || source_type == 12 || source_type == 17;
    const int type_as_read = xml && embedded ? 0 : source_type;
    const value no_color_key = color_key(false, color(255, 0, 0, 0), 6, 48);
    document_rows plain_rows = *this;
    plain_rows.choice = number_choice::as_listed;
    std::vector<table_row> rows = {
        {"id", oldest, integer(id), {}},
        {"source_type", oldest, ranged(as_read ? type_as_read : source_type, 0, 18, 0), {}},
        {"frames", oldest, integer(3), {}},
        {"width", oldest, integer(1920), {}},
        {"height", oldest, integer(1080), {}},
        {"fpcs", oldest, integer(2398), {}},
        {"fpcs2", 5, integer(2997), integer(0)},
        {"path", oldest, text("/a b/"), {}},
        {"mask", oldest, text("c.?.tga"), {}},
        {"range", 7, text("1-3"), text("")},
        {"names", oldest, list({text("c.1.tga"), text("c.2.tga"), text("c.3.tga")}), {}},
        {"vdev", 9, text("/dev/video0"), text("")},
        {"begin", oldest, integer(-4), {}},
        {"retime", oldest, real(0.5), {}},
        {"sbegin_f", oldest, real(0.25), {}},
        {"send_f", oldest, real(2.75), {}},
        {"name", oldest, text("Plate"), {}},
        {"pos", oldest, pair(11, -12), {}},
        {"alpha_type", oldest, ranged(2, 0, 3, 0), {}},
        {"blend_type", oldest, ranged(4, 0, 4, 0), {}},
        {"depth_blend_type", oldest, ranged(2, 0, 2, 0), {}},
        {"visible", oldest, boolean(true), {}},
        {"opacity", oldest, integer(55), {}},
        {"invert_color", oldest, boolean(true), {}},
        {"invert_alpha", oldest, boolean(false), {}},
        {"invert_depth", oldest, boolean(true), {}},
        {"alpha_source_id", oldest, integer(2), {}},
        {"alpha_source_channel", oldest, ranged(7, 0, 7, 3), {}},
        {"alpha_source_range", 21, ranged(2, 0, 3, 0), integer(0)},
        {"alpha_source_invert", oldest, boolean(true), {}},
        {"alpha_source_stretch", oldest, boolean(true), {}},
        {"alpha_source_mode", oldest, ranged(2, 0, 2, 0), {}},
        {"alpha_source_channel2", oldest, ranged(0, 0, 7, 3), {}},
        {"tf", oldest, transfer(), {}},
        {"auto_update", oldest, boolean(true), {}},
        {"disable_cache", oldest, boolean(false), {}},
        {"aspect", oldest, real(1.25), {}},
        {"scale_x", oldest, integer(150), {}},
        {"scale_y", 2, integer(75), integer(150)},
        {"flip_x", 1, boolean(true), boolean(false)},
        {"flip_y", 1, boolean(false), boolean(false)},
        {"border", 3, boolean(true), boolean(false)},
        {"border_color", 3, opaque(21, 22, 23), color(255, 58, 107, 139)},
        {"crop", 4, boolean(true), boolean(false)},
        {"crop_xy", 4, pair(31, 32), pair(0, 0)},
        {"crop_wh", 4, pair(33, 34), pair(1920, 1080)},
        {"text", 8, units("Hello %{name}"), units("")},
        {"text_attr", 8, text_attributes(), default_text_attributes()},
        {"ck_primary", 10, color_key(true, color(41, 42, 43, 44), 45, 46), no_color_key},
        {"ck_secondary", 10, color_key(true, color(51, 52, 53, 54), 55, 56), no_color_key},
        {"fade_in", 11, integer(61), integer(0)},
        {"fade_out", 11, integer(62), integer(0)},
        {"blur_radius", 11, integer(63), integer(0)},
        {"layer", 12, image_layer(2, 1, "Z"), image_layer(0, -1, "")},
        {"layers", 12, map({{text("main"), image_layer(0, -1, "main")}, {text("Z"), image_layer(2, 1, "Z")}}), map({})},
        {"version", 13, text("v2"), text("")},
        {"versions", 13, list({text("v1"), text("v2")}), list({})},
        {"target_view", 14, ranged(1, 0, 2, 2), integer(2)},
        {"safe_area", 15, boolean(true), boolean(false)},
        {"channels", 16, ranged(12, 0, 12, 9), integer(9)},
        {"rds", 17, ranged(5, 0, 5, 2), integer(2)},
        {"rcs", 17, r3d(2, 3200, -5, 400, 1, 2, 3, 4), plain_rows.r3d(1, 5600, 0, 800, 0, 0, 0, 0)},
        {"group_id", 18, integer(100), integer(0)},
        {"audible", 19, boolean(true), boolean(false)},
        {"volume", 19, integer(85), integer(100)},
        {"default_name", 20, text("c.#.tga"), text("")},
    };
    const auto insert_behind = [&](const char* key, const std::vector<table_row>& added) {
      for (std::size_t i = 0; i < rows.size(); ++i) {
        if (rows[i].key != key) continue;
        rows.insert(rows.begin() + static_cast<std::ptrdiff_t>(i) + 1, added.begin(), added.end());
        return;
      }
    };
    if (!xml && source_type == 8) insert_behind("crop_wh", {{"clipboard_image", oldest, picture(), {}}});
    if (!xml && source_type == 9) insert_behind("vdev", {{"smcp", 6, block("shared"), block("")}});
    if (!xml && source_type == 11) insert_behind("crop_wh", {{"brush_image", oldest, picture(), {}}});
    if (!xml && source_type == 12) {
      insert_behind("crop_wh", {{"brush_seq", oldest, map({{integer(0), picture()}, {integer(2), picture()}}), {}}});
    }
    if (!xml && source_type == 17) {
      const value format =
          versioned("sound", 0, {{"sample_rate", integer(44100)}, {"bits", integer(16)}, {"channels", integer(2)}});
      insert_behind("crop_wh", {{"wcp_format", oldest, format, {}}, {"wcp_data", oldest, block("12345678"), {}}});
    }
    return record_of("track", rows, versions.track, 21, as_read);
  }

  value composition(const std::vector<int>& source_types) const {
    std::vector<value> tracks;
    for (const int type : source_types) tracks.push_back(track(static_cast<int>(tracks.size()) + 1, type));
    const std::vector<table_row> rows = {
        {"view", oldest, ranged(11, 0, 12, 9), {}},
        {"back_color", oldest, ranged(7, 0, 7, 0), {}},
        {"safe_area_active", oldest, boolean(true), {}},
        {"safe_area_type", oldest, ranged(2, 0, 2, 0), {}},
        {"mask_type", oldest, ranged(3, 0, 3, 0), {}},
        {"mask_size", oldest, pair(2048, 1556), {}},
        {"grid", oldest, boolean(true), {}},
        {"counter_type", oldest, ranged(6, 0, 6, 0), {}},
        {"playing", oldest, boolean(true), {}},
        {"forward", oldest, boolean(false), {}},
        {"repeat", oldest, ranged(1, 0, 2, 2), {}},
        {"fpcs", oldest, integer(2997), {}},
        {"can_drop_frames", oldest, boolean(true), {}},
        {"tm_n", oldest, integer(300), {}},
        {"tm_f", oldest, integer(3), {}},
        {"tm_l", oldest, integer(200), {}},
        {"tm_t", oldest, real(12.5), {}},
        {"zoom_factor2", oldest, integer(50), {}},
        {"pan_position", oldest, reals(1.5, -2.25), {}},
        {"tracks", oldest, list(tracks), {}},
        {"selection", oldest, integer(1), {}, 3},
        {"selection", 4, integers({0, 1}), integers({1})},
        {"track_max", oldest, integer(4), {}},
        {"pp_visible", oldest, boolean(true), {}},
        {"pp_pos", oldest, reals(0.25, 0.75), {}},
        {"pp_tab", oldest, integer(7), {}},
        {"frame_base", oldest, integer(1), {}},
        {"infobar_visible", oldest, boolean(false), {}},
        {"aspect_enabled", 1, boolean(true), boolean(false)},
        {"aspect", 1, real(1.5), real(1.0666667)},
        {"", 1, boolean(true), {}, 7},
        {"resolution", 2, ranged(2, 0, 2, 0), integer(0)},
        {"brush_size", 3, integer(12), integer(2)},
        {"brush_softness", 3, integer(13), integer(0)},
        {"brush_spacing", 3, integer(14), integer(5)},
        {"brush_color", 3, color(128, 1, 2, 3), color(255, 255, 255, 255)},
        {"back_custom_color", 5, opaque(4, 5, 6), color(255, 54, 58, 69)},
        {"timeline_visible", 6, boolean(false), boolean(true)},
        {"pv_tooltip_enabled", 6, boolean(false), boolean(true)},
        {"fs_timeline_visible", 6, boolean(true), boolean(false)},
        {"fs_infobar_visible", 6, boolean(false), boolean(true)},
        {"fs_pp_visible", 6, boolean(true), boolean(false)},
        {"fs_pp_pos", 6, reals(0.5, 0.125), reals(1, 1)},
        {"fs_pv_tooltip_enabled", 6, boolean(true), boolean(false)},
        {"mask_transforms_enabled", 7, boolean(true), boolean(false)},
        {"", 7, boolean(true), {}, 7},
        {"", 7, boolean(false), {}, 7},
        {"lookup_table_map", 9, map({{text("warm.cube"), lookup()}}), map({})},
        {"prev_track_max", 10, integer(5), integer(0)},
        {"target_view", 11, ranged(1, 0, 2, 0), integer(0)},
        {"stereo_view", 11, ranged(3, 0, 3, 0), integer(0)},
        {"vars", 12, map({{text("shot"), text("a 1")}, {text("x"), text("")}}), map({})},
    };
    return record_of("composition", rows, versions.composition, 12, as_read);
  }

  value settings() const {
    const int v = versions.settings;
    const value aspects = map({{plain({{"first", integer(720)}, {"second", integer(576)}}), real(1.5)}});
    const std::vector<table_row> rows = {
        {"mask_size", oldest, pair(2048, 1556), {}},
        {"default_cfps", oldest, integer(2398), {}},
        {"safe_area_type", 1, ranged(2, 0, 2, 1), integer(1)},
        {"mask_type", 1, ranged(3, 0, 3, 1), integer(1)},
        {"default_alpha_type", 2, ranged(2, 0, 3, 3), integer(3)},
        {"default_aspect", 3, aspects, map({})},
        {"pp_visible", 4, boolean(true), boolean(false)},
        {"pp_position", 4, reals(0.25, 0.75), reals(1, 1)},
        {"pp_tab", 5, integer(3), integer(0)},
        {"vsync", 6, boolean(true), boolean(false)},
        {"volume", 7, integer(90), integer(100)},
        {"ext_device", 8, ranged(5, 1, 7, 1), integer(1)},
        {"", 9, boolean(true), {}, 16},
        {"default_back_color", 10, ranged(5, 0, 7, 0), integer(0)},
        {"brush_size", 10, integer(12), integer(2)},
        {"brush_softness", 10, integer(13), integer(0)},
        {"brush_spacing", 10, integer(14), integer(5)},
        {"brush_color", 10, color(128, 1, 2, 3), color(255, 255, 255, 255)},
        {"spb_enabled", 11, boolean(true), boolean(false)},
        {"default_back_custom_color", 12, opaque(4, 5, 6), color(255, 54, 58, 69)},
        {"automatic_preload", 13, boolean(true), boolean(false)},
        {"timeline_visible", 14, boolean(false), boolean(true)},
        {"pv_tooltip_enabled", 14, boolean(false), boolean(true)},
        {"fs_timeline_visible", 14, boolean(true), boolean(false)},
        {"fs_infobar_visible", 14, boolean(false), boolean(true)},
        {"fs_pp_visible", 14, boolean(true), boolean(false)},
        {"fs_pp_pos", 14, reals(0.5, 0.125), v >= 4 ? reals(0.25, 0.75) : reals(1, 1)},
        {"fs_pv_tooltip_enabled", 14, boolean(true), boolean(false)},
        {"counter_type", 15, ranged(4, 0, 6, 0), integer(0)},
        {"mask_transforms_enabled", 16, boolean(true), boolean(false)},
        {"", 16, boolean(true), {}, 16},
        {"", 16, boolean(true), {}, 16},
        {"lookup_table_map", 18, map({{text("warm.cube"), lookup()}}), map({})},
        {"default_text_attr", 19, text_attributes(), default_text_attributes()},
        {"infobar_visible", 20, boolean(false), boolean(true)},
        {"stereo_view", 21, ranged(2, 0, 3, 0), integer(0)},
        {"switch_views", 22, boolean(true), boolean(false)},
        {"ext_alpha", 23, ranged(2, 0, 2, 0), integer(0)},
        {"continue_playback_after_drag", 24, boolean(true), boolean(false)},
        {"disable_caching_by_default", 24, boolean(true), boolean(false)},
        {"default_frame_base", 25, integer(1), integer(0)},
        {"creation_timestamp", 25, integer(1234567890), integer(5)},
        {"aspect", 26, real(1.25), real(1.0666667)},
        {"view_filter", 27, ranged(2, 0, 2, 0), integer(0)},
        {"brush_pressure", 27, ranged(2, 0, 2, 1), integer(1)},
    };
    return record_of("settings", rows, v, 27, as_read);
  }
};

}  // namespace support
