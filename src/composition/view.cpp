#include "composition/view.h"

#include <algorithm>
#include <limits>

namespace ksn {

void view::increase_zoom_factor() {
  const int step = zoom_factor2 >= 100 ? 100 : zoom_factor2 >= 50 ? 50 : zoom_factor2 >= 10 ? 10 : 1;
  if (zoom_factor2 > std::numeric_limits<int>::max() - step) return;
  zoom_factor2 = (zoom_factor2 / step + 1) * step;
}

void view::decrease_zoom_factor() {
  if (zoom_factor2 <= 1) return;
  const int step = zoom_factor2 > 100 ? 100 : zoom_factor2 > 50 ? 50 : zoom_factor2 > 10 ? 10 : 1;
  zoom_factor2 = (zoom_factor2 - 1) / step * step;
}

void view::toggle_channel(view_type channel) {
  channels = channels == channel ? view_type::rgb : channel;
}

void view::step_channel_mode(channel_type channel) {
  // By the view at hand; one row for blue, green and red.
  static constexpr signed char next[3][13] = {{1, 2, 9, 0, 1, 7, 0, 1, 4, 0, 0, 0, 0},
                                              {3, 4, 7, 4, 5, 9, 3, 4, 1, 3, 3, 3, 3},
                                              {6, 7, 4, 6, 7, 1, 7, 8, 9, 6, 6, 6, 6}};
  const int row = static_cast<int>(channel);
  if (row > 2) return;
  channels = static_cast<view_type>(next[row][static_cast<int>(channels)]);
}

bool view::channel_lit(channel_type channel) const {
  const auto shown_in = [this](std::initializer_list<int> views) {
    return std::find(views.begin(), views.end(), static_cast<int>(channels)) != views.end();
  };
  switch (channel) {
    case channel_type::blue:
      return shown_in({0, 1, 5, 8, 9});
    case channel_type::green:
      return shown_in({2, 3, 4, 8, 9});
    case channel_type::red:
      return shown_in({2, 5, 6, 7, 9});
    case channel_type::alpha:
      return channels == view_type::alpha;
    case channel_type::luma:
      return channels == view_type::luma;
    case channel_type::depth:
      return channels == view_type::depth;
  }
  return false;
}

void view::toggle_mask() {
  if (safe_area_active) {
    safe_area_active = false;
    return;
  }
  if (safe_area_type == safe_area_type_t::none && mask_type == mask_type_t::none) {
    safe_area_type = safe_area_type_t::blue;
    mask_type = mask_type_t::transparent;
  }
  safe_area_active = true;
}

void view::add_exposure(int hundredths) {
  constexpr int most = 10000;
  for (int& value : tf.exposure) value = std::clamp(value + hundredths, -most, most);
}

void view::add_gamma(int hundredths) {
  for (int& value : tf.gamma) value = std::clamp(value + hundredths, 10, 1000);
}

void view::make_neutral() {
  img::correction neutral;
  neutral.color_space = tf.color_space;
  neutral.nonlog_cineon = tf.nonlog_cineon;
  neutral.lookup = tf.lookup;
  neutral.lookup_table = tf.lookup_table;
  tf = neutral;
}

bool view::is_neutral() const {
  view other = *this;
  other.make_neutral();
  return other.tf == tf;
}

double view::zoom() const {
  return zoom_factor2 / 100.0 * view_pixel_aspect();
}

void view::set_view_aspect(double value) {
  aspect_enabled = value >= 1.0;
  if (aspect_enabled) aspect = value;
}

}  // namespace ksn
