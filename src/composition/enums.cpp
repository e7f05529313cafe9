#include "composition/enums.h"

namespace ksn {
namespace {

constexpr enum_word source_words[] = {{"none", 0},
                                      {"image", 1},
                                      {"sequence", 2},
                                      {"rtv", 3},
                                      {"avi", 4},
                                      {"directshow", 5},
                                      {"quicktime", 6},
                                      {"wave", 7},
                                      {"clipboard_image", 8},
                                      {"shmem", 9},
                                      {"adjustment", 10},
                                      {"brush", 11},
                                      {"brush_sequence", 12},
                                      {"ph_cine", 13},
                                      {"text", 14},
                                      {"text_sequence", 15},
                                      {"video", 16},
                                      {"embedded_audio", 17},
                                      {"r3d", 18}};
constexpr enum_word back_color_words[] = {{"black", 0},   {"dark_grey", 1}, {"green", 2},       {"blue", 3},
                                          {"magenta", 4}, {"white", 5},     {"transparent", 6}, {"custom", 7}};
constexpr enum_word safe_area_words[] = {{"none", 0}, {"blue", 1}, {"orange", 2}};
constexpr enum_word mask_words[] = {{"none", 0}, {"transparent", 1}, {"crop", 2}, {"crop_safe", 3}};
constexpr enum_word counter_words[] = {{"frame", 0},
                                       {"timecode", 1},
                                       {"frame_from_name", 2},
                                       {"embedded_frame", 3},
                                       {"embedded_timecode", 4},
                                       {"embedded_keycode", 5},
                                       {"embedded_timecode2", 6}};
constexpr enum_word repeat_words[] = {{"none", 0}, {"ping_pong", 1}, {"loop", 2}};
constexpr enum_word ext_device_words[] = {{"decklink", 1},  {"firewire", 2}, {"vtoaster", 3}, {"bluefish", 4},
                                          {"secondary", 5}, {"tertiary", 6}, {"aja_dshow", 7}};
constexpr enum_word ext_alpha_words[] = {{"none", 0}, {"internal", 1}, {"external", 2}};
constexpr enum_word blend_words[] = {{"normal", 0}, {"add", 1}, {"multiply", 2}, {"screen", 3}, {"difference", 4}};
constexpr enum_word alpha_words[] = {{"ignore", 0}, {"normal", 1}, {"pm", 2}, {"mask", 3}};
constexpr enum_word depth_blend_words[] = {{"ignore", 0}, {"replace", 1}, {"combine", 2}};
constexpr enum_word color_space_words[] = {{"default", 0}, {"linear", 1}, {"srgb", 2}};
constexpr enum_word text_align_x_words[] = {{"left", 0}, {"center", 1}, {"right", 2}};
constexpr enum_word text_align_y_words[] = {{"top", 0}, {"middle", 1}, {"bottom", 2}};
constexpr enum_word target_view_words[] = {{"left", 0}, {"right", 1}, {"both", 2}};
constexpr enum_word stereo_view_words[] = {{"anaglyph", 0}, {"interlaced", 1}, {"checkerboard", 2}, {"anaglyph_gm", 3}};
constexpr enum_word view_words[] = {{"b_grayscale", 0}, {"b_color", 1},  {"b_hidden", 2},    {"g_grayscale", 3},
                                    {"g_color", 4},     {"g_hidden", 5}, {"r_grayscale", 6}, {"r_color", 7},
                                    {"r_hidden", 8},    {"rgb", 9},      {"alpha", 10},      {"luma", 11},
                                    {"depth", 12}};
constexpr enum_word channel_words[] = {{"blue", 0},  {"green", 1}, {"red", 2}, {"alpha", 3},
                                       {"depth", 4}, {"5", 5},     {"6", 6},   {"luma", 7}};
constexpr enum_word alpha_source_mode_words[] = {{"replace", 0}, {"combine", 1}, {"multiply", 2}};
constexpr enum_word alpha_source_range_words[] = {{"none", 0}, {"shadows", 1}, {"midtones", 2}, {"highlights", 3}};
constexpr enum_word r3d_resolution_words[] = {{"full", 0},    {"half_premium", 1}, {"half", 2},
                                              {"quarter", 3}, {"eighth", 4},       {"5", 5}};
constexpr enum_word r3d_preset_words[] = {{"rmd", 0}, {"clip", 1}, {"baseline", 2}, {"raw", 3}};
constexpr enum_word cache_resolution_words[] = {{"full", 0}, {"half", 1}, {"quarter", 2}};
constexpr enum_word view_filter_words[] = {{"auto", 0}, {"nearest", 1}, {"smooth", 2}};
constexpr enum_word brush_pressure_words[] = {{"none", 0}, {"size", 1}, {"opacity", 2}};

}  // namespace

#define KSN_WORDS(type, words)                  \
  template <>                                   \
  std::span<const enum_word> words_of<type>() { \
    return words;                               \
  }

KSN_WORDS(source_type, source_words)
KSN_WORDS(back_color_type, back_color_words)
KSN_WORDS(safe_area_type_t, safe_area_words)
KSN_WORDS(mask_type_t, mask_words)
KSN_WORDS(counter_type_t, counter_words)
KSN_WORDS(repeat_type, repeat_words)
KSN_WORDS(ext_device_type, ext_device_words)
KSN_WORDS(ext_alpha_type, ext_alpha_words)
KSN_WORDS(blend_type, blend_words)
KSN_WORDS(alpha_type, alpha_words)
KSN_WORDS(depth_blend_type, depth_blend_words)
KSN_WORDS(color_space_type, color_space_words)
KSN_WORDS(text_align_x_type, text_align_x_words)
KSN_WORDS(text_align_y_type, text_align_y_words)
KSN_WORDS(target_view_type, target_view_words)
KSN_WORDS(stereo_view_type, stereo_view_words)
KSN_WORDS(view_type, view_words)
KSN_WORDS(channel_type, channel_words)
KSN_WORDS(alpha_source_mode_type, alpha_source_mode_words)
KSN_WORDS(alpha_source_range_type, alpha_source_range_words)
KSN_WORDS(r3d_resolution_type, r3d_resolution_words)
KSN_WORDS(r3d_preset_type, r3d_preset_words)
KSN_WORDS(cache_resolution_type, cache_resolution_words)
KSN_WORDS(view_filter_type, view_filter_words)
KSN_WORDS(brush_pressure_type, brush_pressure_words)

#undef KSN_WORDS

std::string_view word_of(std::span<const enum_word> words, int value) {
  for (const enum_word& entry : words) {
    if (entry.value == value) return entry.word;
  }
  return {};
}

bool value_of(std::span<const enum_word> words, std::string_view word, int& value) {
  for (const enum_word& entry : words) {
    if (entry.word == word) {
      value = entry.value;
      return true;
    }
  }
  return false;
}

}  // namespace ksn
