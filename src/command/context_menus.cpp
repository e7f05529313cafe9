// The menus of a right click, and what stands in each.
#include <algorithm>

#include "command/menu.h"

namespace command {

namespace {

struct context_row {
  std::string_view menu;
  // Commands, separated by blanks; "-" is a separator of the menu. ">KEY" opens a sub-menu with that text, "<" ends it.
  // "#KEY" only tells that text.
  std::string_view entries;
};

constexpr context_row rows[] = {
    // --- the preview area ---
    {"view",
     "add_layer - fit_window reset_pan_and_zoom toggle_fullscreen - toggle_timeline toggle_layer_stack toggle_infobar "
     "toggle_property_panel toggle_pv_tooltip - toggle_mask toggle_grid toggle_vsync - resize_window_to_fit - "
     "mail_screen_as_jpeg mail_screen_as_png - clipboard_copy_mask clipboard_copy_screen clipboard_paste "
     "clipboard_paste_frame clipboard_paste_image - internal_copy_color"},
    // --- fields of the information bar ---
    {"zoom",
     "zoom=25 zoom=50 zoom=100 zoom=200 zoom=400 - pv_zcm_fit_window pv_zcm_fit_mask - pv_zcm_hd720_ntsc "
     "pv_zcm_hd720_pal pv_zcm_hd1080_ntsc pv_zcm_hd1080_pal"},
    {"counter",
     "tc_frame tc_timecode tc_frame_from_name - tc_embedded_frame tc_embedded_timecode tc_embedded_timecode2 "
     "tc_embedded_keycode"},
    {"fps", "pv_fps_can_drop_frames pv_fps_cannot_drop_frames"},
    {"aspect",
     "global_aspect=1 global_aspect=1.0666667 global_aspect=1.2 global_aspect=1.4222222 global_aspect=2 - "
     "pvm_set_default_aspect"},
    {"memory", "memory_reserve=10 memory_reserve=20 memory_reserve=30 memory_reserve=40 memory_reserve=50"},
    // --- buttons of the option strip ---
    {"stereo",
     "opt_target_view_left opt_target_view_right opt_target_view_both - opt_stereo_view_anaglyph "
     "opt_stereo_view_anaglyph_gm opt_stereo_view_interlaced opt_stereo_view_checkerboard - opt_switch_views"},
    {"channel_r", "view_r_color view_r_grayscale view_r_hidden"},
    {"channel_g", "view_g_color view_g_grayscale view_g_hidden"},
    {"channel_b", "view_b_color view_b_grayscale view_b_hidden"},
    {"safe_area",
     "safe_area_none safe_area_blue safe_area_orange - mask_none mask_transparent mask_crop mask_crop_safe - "
     "mask_transforms_enabled - >pv_mask_preset mask_size=720,486 mask_size=720,576 mask_size=1280,720 "
     "mask_size=1920,1080 mask_size=2048,1080 mask_size=2048,1556 mask_size=3840,2160 mask_size=4096,2160 < "
     "pv_mask_layer pv_mask_layer2"},
    {"back_color",
     "back_color_black back_color_dark_grey back_color_green back_color_blue back_color_magenta "
     "back_color_white back_color_transparent back_color_custom - back_color_paste_color - "
     "back_color_set_as_default"},
    {"resolution", "cache_resolution_full cache_resolution_half cache_resolution_quarter"},
    {"vsync",
     "toggle_vsync - opt_vsync_low_cpu opt_vsync_high_cpu - opt_vsync_pollvb opt_vsync_waitvb "
     "opt_vsync_notearing"},
    {"http", "opt_http_copy_url opt_http_open_in_browser"},
    {"ext",
     "#opt_ext_generic ext_device_secondary ext_device_tertiary - opt_ext_turn_off opt_ext_turn_on - "
     "#opt_ext_cards ext_device_decklink ext_device_firewire ext_device_vtoaster ext_device_bluefish "
     "ext_device_aja_dshow - #opt_ext_alpha ext_alpha_none ext_alpha_internal ext_alpha_external"},
    // --- the layer stack ---
    {"layer",
     "layer_delete_selected - layer_half_width_left layer_half_width_right - layer_preload_into_cache "
     "layer_toggle_disablecache layer_remove_from_cache - layer_duplicate layer_duplicate_and_split - "
     "expand_into_layers add_other_stereo_view - layer_resize_to_timeline layer_resize_to_workarea - "
     "layer_replace_with layer_update_modified layer_toggle_autoupdate layer_rescan_sequence "
     "layer_watch_sequence - clipboard_copy_layer - mail_frame_as_jpeg mail_frame_as_png - locate_in_explorer "
     "open_with"},
    {"layer_modes",
     "blend_normal blend_add blend_mul blend_screen blend_difference - alpha_ignore alpha_normal alpha_pm "
     "alpha_pm2 ta_set_default_alpha - depth_ignore depth_replace depth_combine"},
    // --- the text of a text layer, in the property panel ---
    {"text", "edit_text - text_attributes_set_as_default"},
    // --- the ruler and its rate ---
    {"ruler",
     "frame_base_0 frame_base_1 frame_base_set_as_default - timeline_fit_all_layers timeline_trim_to_workarea"},
    {"rate",
     "fps=23.98 fps=24 fps=25 fps=29.97 fps=30 fps=48 fps=50 fps=59.94 fps=60 - tm_fps_set_as_default "
     "tm_fps_edit"},
};

void number(std::vector<platform::menu_entry>& entries, int& id) {
  for (platform::menu_entry& entry : entries) {
    entry.id = id++;
    number(entry.entries, id);
  }
}

}  // namespace

std::vector<std::string_view> context_menus() {
  std::vector<std::string_view> names;
  for (const context_row& row : rows) names.push_back(row.menu);
  return names;
}

std::string command_of(const std::vector<platform::menu_entry>& entries, int id) {
  for (const platform::menu_entry& entry : entries) {
    if (entry.id == id && !entry.command.empty()) return entry.command;
    if (std::string below = command_of(entry.entries, id); !below.empty()) return below;
  }
  return {};
}

std::vector<platform::menu_entry> context_menu(const menu_source& source, std::string_view name) {
  std::vector<platform::menu_entry> entries;
  std::vector<platform::menu_entry>* into = &entries;
  for (const context_row& row : rows) {
    if (row.menu != name) continue;
    for (std::string_view rest = row.entries; !rest.empty();) {
      const std::string_view text = rest.substr(0, rest.find(' '));
      rest.remove_prefix(std::min(text.size() + 1, rest.size()));
      if (text == "-") {
        into->emplace_back();
      } else if (text == "<") {
        into = &entries;
      } else if (text.starts_with('>')) {
        entries.emplace_back().text = source.text(text.substr(1));
        into = &entries.back().entries;
      } else if (text.starts_with('#')) {
        into->emplace_back().text = source.text(text.substr(1));
        into->back().enabled = false;
      } else {
        into->push_back(entry_of(source, text));
      }
    }
  }
  int id = 0;
  number(entries, id);
  return entries;
}

}  // namespace command
