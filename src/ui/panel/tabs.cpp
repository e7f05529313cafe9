#include "ui/panel/tabs.h"

namespace ui::panel {
namespace {

using enum widget;
using kind = ksn::source_type;

constexpr const char* channel_words =
    "blue:panel.channel_b green:panel.channel_g red:panel.channel_r alpha:panel.channel_a luma:panel.channel_l "
    "depth:panel.channel_z";

bool any_layer(const ksn::track_info&) {
  return true;
}

bool has_picture(const ksn::track_info& layer) {
  return layer.source.stored_type() != kind::wave && layer.source.stored_type() != kind::embedded_audio;
}

bool is_brush(const ksn::track_info& layer) {
  return layer.source.type == kind::brush || layer.source.type == kind::brush_sequence;
}

bool is_text(const ksn::track_info& layer) {
  return layer.source.type == kind::text || layer.source.type == kind::text_sequence;
}

bool is_r3d(const ksn::track_info& layer) {
  return layer.source.stored_type() == kind::r3d;
}

// Red, green and blue of one value.
row triple(const char* label, const char* field, const char* format, double scale = 1, double offset = 0) {
  row made{.label = label, .when = shown::color_split};
  for (int part = 0; part < 3; ++part) {
    made.cells.push_back(
        {.kind = number, .field = field, .text = format, .part = part, .scale = scale, .offset = offset});
  }
  return made;
}

cell joined(const char* field, const char* format, double scale = 1, double offset = 0) {
  return {.kind = number, .field = field, .text = format, .part = all_parts, .scale = scale, .offset = offset};
}

constexpr row space() {
  return {.is_space = true};
}

constexpr double percent_of_byte = 100.0 / 255.0;

std::vector<row> color_rows() {
  const cell soft_clip{number, "soft_clip", "%+.2f"};
  return {
      {"pp_tab_color.lookup_table", {{lookup, "lookup_table"}}},
      {"panel.color_space",
       {{word, "color_space",
         "default:panel.colorspace_default linear:panel.colorspace_linear srgb:panel.colorspace_srgb"}}},
      space(),
      {"panel.exposure_softclip", {joined("exposure", "%+.2f"), soft_clip}, shown::color_joined},
      triple("panel.exposure", "exposure", "%+.2f"),
      {"panel.softclip", {soft_clip, {note}, {note}}, shown::color_split},
      {"panel.temperature", {{.kind = number, .field = "temperature", .text = "%.0f", .step = 10}, {note}}},
      space(),
      {"panel.lift_gamma_gain",
       {joined("lift", "%.3f"), joined("gamma", "%.3f"), joined("gain", "%.2f")},
       shown::color_joined},
      triple("panel.lift", "lift", "%.3f"),
      triple("panel.gamma", "gamma", "%.3f"),
      triple("panel.gain", "gain", "%.2f"),
      space(),
      // Brightness and saturation in percent, saturation as the difference from none.
      {"panel.brightness_contrast",
       {joined("brightness", "%+.1f", 100), joined("contrast", "%+.2f")},
       shown::color_joined},
      triple("panel.brightness", "brightness", "%+.1f", 100),
      triple("panel.contrast", "contrast", "%+.2f"),
      {"panel.hue_saturation", {joined("hue", "%+.0f"), joined("saturation", "%+.0f", 1, -100)}, shown::color_joined},
      triple("panel.hue", "hue", "%+.0f"),
      triple("panel.saturation", "saturation", "%+.0f", 1, -100),
      space(),
      {"panel.disable_cc", {{check, "disable_cc"}, {split, "global:split_color", "panel.split_color"}}},
  };
}

std::vector<row> placement_rows() {
  const cell flips[] = {{check, "flip_x", "panel.flip_x"}, {check, "flip_y", "panel.flip_y"}};
  return {
      {"pp_tab_placement.name_and_group_id",
       {{.kind = text, .field = "name", .weight = 3}, {number, "group_id", "%.0f"}},
       shown::one_layer},
      {"pp_tab_placement.multiple", {{note}, {note}, {note}, {number, "group_id", "%.0f"}}, shown::many_layers},
      space(),
      {"panel.position", {{number, "position", "%.0f", 0}, {number, "position", "%.0f", 1}}},
      {"panel.dimensions", {{number, "dimensions", "%.0f", 0}, {number, "dimensions", "%.0f", 1}}},
      {"panel.scale",
       {{.kind = number, .field = "scale_x", .text = "%.0f%%", .also = "scale_y"},
        {split, "global:split_scale", "panel.split_scale"}},
       shown::scale_joined},
      {"panel.scale", {{number, "scale_x", "%.0f%%"}, {number, "scale_y", "%.0f%%"}}, shown::scale_split},
      {"", {{note}, {split, "global:split_scale", "panel.split_scale"}}, shown::scale_split},
      {"", {flips[0], flips[1]}},
      {"panel.aspect", {{number, "pixel_aspect", "%.3f"}, {note}}},
      space(),
      {"panel.crop", {{enabled, "crop"}, {number, "crop", "%.0f", 0}, {number, "crop", "%.0f", 1}}},
      {"", {{note}, {number, "crop", "%.0f", 2}, {number, "crop", "%.0f", 3}}},
      space(),
      {"panel.retime", {{number, "retime", "%.3f"}, {number, "rate", "%.2f fps"}}},
  };
}

std::vector<row> blending_rows() {
  return {
      {"panel.color_mode",
       {{.kind = word,
         .field = "blend",
         .text = "normal:blend_normal add:blend_add multiply:blend_mul screen:blend_screen difference:blend_difference",
         .weight = 44},
        {.kind = check, .field = "invert_color", .text = "panel.invert_color", .weight = 25}}},
      {"panel.alpha_mode",
       {{.kind = word,
         .field = "alpha",
         .text = "ignore:panel.alpha_ignore normal:panel.alpha_normal pm:panel.alpha_pm mask:panel.alpha_pm2",
         .weight = 44},
        {.kind = check, .field = "invert_alpha", .text = "panel.invert_alpha", .weight = 25}}},
      {"panel.depth_mode",
       {{.kind = word,
         .field = "depth",
         .text = "ignore:panel.depth_ignore replace:panel.depth_replace combine:panel.depth_combine",
         .weight = 44},
        {.kind = check, .field = "invert_depth", .text = "panel.invert_depth", .weight = 25}}},
      space(),
      {"panel.opacity_and_fade",
       {{number, "opacity", "%.0f%%"}, {number, "fade_in", "%.0f"}, {number, "fade_out", "%.0f"}}},
      space(),
      {"panel.alpha_source", {{layer, "alpha_source"}}},
      {"panel.alpha_source_channel",
       {{word, "alpha_source_channel", channel_words},
        {word, "alpha_source_range",
         "none:alpha_source_range_none shadows:alpha_source_range_shadows midtones:alpha_source_range_midtones "
         "highlights:alpha_source_range_highlights"}}},
      {"",
       {{check, "alpha_source_invert", "panel.invert_source"},
        {check, "alpha_source_stretch", "panel.stretch_to_fit"}}},
      {"panel.alpha_source_mode",
       {{word, "alpha_source_mode",
         "replace:alpha_source_replace combine:alpha_source_combine multiply:alpha_source_multiply"},
        {word, "alpha_source_channel2", channel_words}}},
  };
}

std::vector<row> brush_rows() {
  return {
      {"pp_tab_brush.size", {{number, "global:brush_size", "%.0f"}, {note}}},
      {"pp_tab_brush.softness", {{number, "global:brush_softness", "%.0f"}, {note}}},
      {"pp_tab_brush.spacing", {{number, "global:brush_spacing", "%.0f"}, {note}}},
      {"pp_tab_brush.opacity",
       {{.kind = number, .field = "global:brush_color", .text = "%.0f", .part = 3, .scale = percent_of_byte}, {note}}},
      {"panel.brush_color", {{color, "global:brush_color"}}},
      {.cells = {{brush_preview}}, .lines = 4},
  };
}

std::vector<row> text_rows() {
  const auto drawn = [](const char* label, const char* field) {
    return row{
        label,
        {{.kind = check, .field = field, .part = 3, .scale = 255}, {.kind = color, .field = field, .weight = 5}}};
  };
  return {
      {.label = "pp_tab_text.text", .cells = {{lines, "text", "pp_tab_text.text_hint"}}, .lines = 4},
      {"pp_tab_text.align",
       {{word, "text_align_x", "left:align_x_left center:align_x_center right:align_x_right"},
        {word, "text_align_y", "top:align_y_top middle:align_y_middle bottom:align_y_bottom"}}},
      {"pp_tab_text.font",
       {{.kind = face, .field = "text_font", .text = "pp_tab_text.font_hint", .weight = 5},
        {.kind = number, .field = "text_size", .text = "%.0f px", .weight = 3}}},
      {"", {{check, "text_bold", "pp_tab_text.bold"}, {check, "text_italic", "pp_tab_text.italic"}}},
      {"pp_tab_text.color", {{.kind = note}, {.kind = color, .field = "text_color", .weight = 5}}},
      drawn("pp_tab_text.outline", "text_outline_color"),
      drawn("pp_tab_text.shadow", "text_shadow_color"),
      {"pp_tab_text.background",
       {{enabled, "text_back_color"}, {.kind = color, .field = "text_back_color", .weight = 5}}},
      {"pp_tab_text.background_opacity",
       {{.kind = number, .field = "text_back_color", .text = "%.0f%%", .part = 3, .scale = percent_of_byte}, {note}}},
      {"", {{check, "text_back_cover_layer", "pp_tab_text.cover_entire_layer"}}},
  };
}

std::vector<row> effects_rows() {
  const auto key = [](const char* label, const char* field) {
    return row{label, {{enabled, field}, {.kind = color, .field = field, .weight = 5}}};
  };
  const auto reach = [](const char* field) {
    return row{"pp_tab_effects.color_key",
               {{.kind = number, .field = field, .text = "%.2f", .part = 3, .step = 1}, {number, field, "%.0f", 4}}};
  };
  return {
      key("pp_tab_effects.primary_key", "primary_color_key"),
      reach("primary_color_key"),
      space(),
      key("pp_tab_effects.secondary_key", "secondary_color_key"),
      reach("secondary_color_key"),
      space(),
      {"pp_tab_effects.frames",
       {{.kind = check, .field = "border", .text = "panel.border", .weight = 4},
        {.kind = check, .field = "layer_safe_area", .text = "panel.safe_area", .weight = 5}}},
      {"panel.border_color", {{color, "border_color"}}},
  };
}

std::vector<row> source_rows() {
  return {
      {"pp_tab_source.image_layer", {{picture, "image_layer"}}},
      {"pp_tab_source.channels",
       {{word, "layer_channels",
         "rgb:view_rgb alpha:view_alpha luma:view_luma depth:view_depth r_color:view_r_color "
         "r_grayscale:view_r_grayscale r_hidden:view_r_hidden g_color:view_g_color g_grayscale:view_g_grayscale "
         "g_hidden:view_g_hidden b_color:view_b_color b_grayscale:view_b_grayscale b_hidden:view_b_hidden"}}},
      {"pp_tab_source.version", {{version, ""}}},
      {"pp_tab_source.target_view",
       {{word, "target_view",
         "left:pp_tab_source.target_view_left right:pp_tab_source.target_view_right "
         "both:pp_tab_source.target_view_both"}}},
  };
}

std::vector<row> r3d_rows() {
  return {
      {"pp_tab_r3d.save_current_look", {{.kind = command, .text = "save_current_look"}}},
      {"pp_tab_r3d.resolution",
       {{word, "r3d_resolution",
         "full:r3d_decode_full half_premium:r3d_decode_half_premium half:r3d_decode_half quarter:r3d_decode_quarter "
         "eighth:r3d_decode_eighth"}}},
      {"pp_tab_r3d.video_track", {{number, "r3d_track", "%.0f"}, {note}}},
      {"pp_tab_r3d.preset",
       {{word, "r3d_preset",
         "rmd:r3d_color_preset_rmd clip:r3d_color_preset_clip baseline:r3d_color_preset_baseline "
         "raw:r3d_color_preset_raw"}}},
      // Tint and compensation are stored in hundredths.
      {"pp_tab_r3d.kelvin_tint",
       {{number, "r3d_kelvin", "%.0f"}, {.kind = number, .field = "r3d_tint", .text = "%+.2f", .scale = 0.01}}},
      {"pp_tab_r3d.iso_compensation",
       {{number, "r3d_iso", "%.0f"}, {.kind = number, .field = "r3d_flut", .text = "%+.2f", .scale = 0.01}}},
      {"pp_tab_r3d.color_space",
       {{word, "r3d_color_space",
         "0:ImageColorCameraRGB 1:ImageColorRec709 2:ImageColorREDspace 3:ImageColorREDcolor 4:ImageColorSRGB "
         "5:ImageColorAdobe1998 6:ImageColorREDcolor2 7:ImageColorREDcolor3"}}},
      {"pp_tab_r3d.gamma_curve",
       {{word, "r3d_gamma_curve",
         "0:ImageGammaLinear 1:ImageGammaRec709 2:ImageGammaREDspace 3:ImageGammaREDlog 4:ImageGammaPDlog685 "
         "5:ImageGammaPDlog985 6:ImageGammaREDgamma 7:ImageGammaSRGB 8:ImageGammaREDlogFilm 9:ImageGammaREDgamma2 "
         "10:ImageGammaREDgamma3"}}},
      {"", {{note, "", "pp_tab_r3d.no_decoder"}}},
  };
}

}  // namespace

std::span<const tab> tabs() {
  static const tab all[] = {
      {"panel.tab_color", has_picture, color_rows()},
      {"panel.tab_placement", any_layer, placement_rows()},
      {"panel.tab_blending", has_picture, blending_rows()},
      {"panel.tab_brush", is_brush, brush_rows()},
      {"panel.tab_text", is_text, text_rows()},
      {"panel.tab_effects", has_picture, effects_rows()},
      {"panel.tab_source", has_picture, source_rows()},
      {"panel.tab_r3d", is_r3d, r3d_rows()},
  };
  return all;
}

}  // namespace ui::panel
