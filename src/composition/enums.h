// The enumerations of the document with their words in the command language.
#pragma once

#include <span>
#include <string_view>

namespace ksn {

enum class source_type {
  none,
  image,
  sequence,
  rtv,
  avi,
  directshow,
  quicktime,
  wave,
  clipboard_image,
  shmem,
  adjustment,
  brush,
  brush_sequence,
  ph_cine,
  text,
  text_sequence,
  video,
  embedded_audio,
  r3d
};
enum class back_color_type { black, dark_grey, green, blue, magenta, white, transparent, custom };
enum class safe_area_type_t { none, blue, orange };
enum class mask_type_t { none, transparent, crop, crop_safe };
enum class counter_type_t {
  frame,
  timecode,
  frame_from_name,
  embedded_frame,
  embedded_timecode,
  embedded_keycode,
  embedded_timecode2
};
enum class repeat_type { none, ping_pong, loop };
enum class ext_device_type { decklink = 1, firewire, vtoaster, bluefish, secondary, tertiary, aja_dshow };
enum class ext_alpha_type { none, internal, external };
enum class blend_type { normal, add, multiply, screen, difference };
enum class alpha_type { ignore, normal, pm, mask };
enum class depth_blend_type { ignore, replace, combine };
enum class color_space_type { default_space, linear, srgb };
enum class text_align_x_type { left, center, right };
enum class text_align_y_type { top, middle, bottom };
enum class target_view_type { left, right, both };
enum class stereo_view_type { anaglyph, interlaced, checkerboard, anaglyph_gm };
enum class view_type {
  b_grayscale,
  b_color,
  b_hidden,
  g_grayscale,
  g_color,
  g_hidden,
  r_grayscale,
  r_color,
  r_hidden,
  rgb,
  alpha,
  luma,
  depth
};
// The value is the index of the plane; `luma` is computed from the colours.
enum class channel_type { blue = 0, green = 1, red = 2, alpha = 3, depth = 4, luma = 7 };
enum class alpha_source_mode_type { replace, combine, multiply };
enum class alpha_source_range_type { none, shadows, midtones, highlights };
enum class r3d_resolution_type { full, half_premium, half, quarter, eighth };
enum class r3d_preset_type { rmd, clip, baseline, raw };
enum class cache_resolution_type { full, half, quarter };
// How the view shows a picture at less than its own size; automatic is smooth in a window and nearest without.
enum class view_filter_type { automatic, nearest, smooth };
// What the pressure of a pen changes of the brush.
enum class brush_pressure_type { none, size, opacity };

// One word of an enumeration and the integer that is stored for it.
struct enum_word {
  std::string_view word;
  int value;
};

// The words of E in the order of their values, from the least to the largest that files may hold; a value between them
// that has no name goes by its number. Specialised in enums.cpp for every enumeration above.
template <class E>
std::span<const enum_word> words_of();

// The word of a value; empty for a value that has none.
std::string_view word_of(std::span<const enum_word> words, int value);
template <class E>
std::string_view word_of(E value) {
  return word_of(words_of<E>(), static_cast<int>(value));
}
// Stores the value of `word`; false and no change for an unknown word.
bool value_of(std::span<const enum_word> words, std::string_view word, int& value);
template <class E>
bool value_of(std::string_view word, E& value) {
  int number = 0;
  if (!value_of(words_of<E>(), word, number)) return false;
  value = static_cast<E>(number);
  return true;
}

}  // namespace ksn
