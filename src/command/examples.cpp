#include "command/examples.h"

#include <algorithm>
#include <cctype>
#include <utility>
#include <vector>

namespace command {
namespace {

// What the form alone does not tell, or only as a number that nobody would want. In plain byte order of the names.
constexpr std::pair<std::string_view, std::string_view> values[] = {
    {"alpha", "normal"},
    {"alpha_source", "1"},
    {"autosave", "60"},
    {"back_color", "40,40,40"},
    {"begin", "101"},
    {"blend", "add"},
    {"blur_radius", "3"},
    {"brightness", "0.05"},
    {"brush_size", "40"},
    {"brush_softness", "50"},
    {"brush_spacing", "10"},
    {"chunk", "1/16"},
    {"contrast", "0.2"},
    {"counter_type", "timecode"},
    {"crop", "0,0,1920,800"},
    {"default_alpha", "normal"},
    {"default_back_color", "dark_grey"},
    {"default_fps", "24"},
    {"default_text_align_x", "center"},
    {"default_text_align_y", "middle"},
    {"default_text_font", "DejaVu Sans"},
    {"default_text_size", "48"},
    {"depth", "replace"},
    {"dimensions", "1920,1080"},
    {"exposure", "0.5"},
    {"ext_alpha", "none"},
    {"ext_device", "secondary"},
    {"fade_in", "12"},
    {"fade_out", "12"},
    {"fps", "24"},
    {"frames", "0-9"},
    {"fs_property_panel_position", "0.8,0.1"},
    {"gain", "1.1"},
    {"gamma", "0.9"},
    {"global_aspect", "2"},
    {"global_volume", "50"},
    {"hue", "10"},
    {"image_layer", "diffuse"},
    {"image_layer_index", "-1"},
    {"in_point", "8"},
    {"layer_channels", "rgb"},
    {"layer_move_selected_to", "1"},
    {"length", "48"},
    {"lift", "0.02"},
    {"log", "kestrin.log"},
    {"lookup_table", "film.cube"},
    {"mask_size", "1920,1080"},
    {"mask_type", "crop"},
    {"memory_limit", "8000"},
    {"memory_reserve", "20"},
    {"name", "plate"},
    {"new_adjustment_layer", "10"},
    {"new_brush_layer", "10"},
    {"new_brush_sequence_layer", "10"},
    {"new_text_layer", "10"},
    {"opacity", "50"},
    {"out_point", "56"},
    {"pan", "100,-50"},
    {"pixel_aspect", "2"},
    {"position", "100,-50"},
    {"primary_color_key", "0,255,0,20,20"},
    {"print_field", "length"},
    {"property_panel_position", "0.8,0.1"},
    {"property_panel_tab", "color"},
    {"r3d_iso", "800"},
    {"r3d_kelvin", "5600"},
    {"r3d_resolution", "half"},
    {"rate", "24"},
    {"readers", "8"},
    {"repeat", "loop"},
    {"resolution", "half"},
    {"retime", "2"},
    {"saturation", "80"},
    {"save_options", "bits=16"},
    {"save_window_as", "window.png"},
    {"scale_x", "50"},
    {"scale_y", "50"},
    {"secondary_color_key", "0,0,255,20,20"},
    {"selection", "1..3"},
    {"set_time", "24"},
    {"size", "1920,1080"},
    {"soft_clip", "2"},
    {"stack_rows", "8"},
    {"stereo_mode", "anaglyph"},
    {"temperature", "5600"},
    {"text", "Shot 0020"},
    {"text_align_x", "center"},
    {"text_align_y", "middle"},
    {"text_font", "DejaVu Sans"},
    {"text_size", "48"},
    {"time", "24"},
    {"timeline", "100"},
    {"timeline_cut_begin", "8"},
    {"ui_scale", "2"},
    {"view_channels", "alpha"},
    {"volume", "50"},
    {"wa_begin", "12"},
    {"wa_end", "48"},
    {"window_size", "1280,800"},
    {"zoom", "fit"},
};

}  // namespace

std::vector<std::string> words_in(const std::string& form) {
  std::vector<std::string> words(1);
  for (const char c : form) {
    if (c == '|') {
      words.emplace_back();
    } else if (std::islower(static_cast<unsigned char>(c)) || std::isdigit(static_cast<unsigned char>(c)) || c == '_') {
      words.back() += c;
    } else {
      return {};
    }
  }
  return words.size() > 1 ? words : std::vector<std::string>();
}

std::string example_value(std::string_view name, const std::string& form, const value_shape* shape) {
  const auto known = std::lower_bound(std::begin(values), std::end(values), name,
                                      [](const auto& row, std::string_view wanted) { return row.first < wanted; });
  if (known != std::end(values) && known->first == name) return std::string(known->second);
  if (const auto words = words_in(form); !words.empty()) return words.back();
  if (shape && shape->kind == value_kind::text) return form.substr(form.rfind('|') + 1);
  if (shape && shape->kind == value_kind::color) return "255,128,0";
  if (!shape) return form.find("PATH") != std::string::npos ? "shot.####.exr" : form;
  const std::string number = std::to_string(static_cast<int>(std::clamp(1.0, shape->least, shape->most)));
  std::string value = number;
  for (int i = 1; i < shape->count && !shape->one_for_all; ++i) value += "," + number;
  return value;
}

std::string example_file(const file_question& question) {
  if (!question.file_name.empty()) return std::string(question.file_name);
  constexpr std::pair<std::string_view, const char*> kinds[] = {
      {"kestrin_composition", "shot.ksncomp"}, {"command_file", "slate.ksncmd"}, {"lookup_table", "film.cube"}};
  for (const auto& [kind, file] : kinds) {
    if (question.filter.starts_with(kind)) return file;
  }
  return "plate.####.exr";
}

}  // namespace command
