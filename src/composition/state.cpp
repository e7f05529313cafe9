#include "composition/state.h"

#include <algorithm>
#include <iterator>

#include "composition/frame_numbers.h"

namespace ksn {
namespace {

constexpr int shortest_timeline = 10;

constexpr lib::color named_back_colors[] = {{255, 0, 0, 0},   {255, 50, 50, 50},  {255, 0, 255, 0},
                                            {255, 0, 0, 255}, {255, 255, 0, 255}, {255, 255, 255, 255}};

void clamp_to_timeline(composition_view& view) {
  view.tm_l = std::min(view.tm_l, view.tm_n);
  view.tm_t = std::min(view.tm_t, static_cast<double>(view.tm_n));
  if (view.tm_f >= view.tm_l) view.tm_f = view.tm_l - 1;
}

// Moves everything on the timeline to the left by `amount`, but never by so much that fewer than ten frames remain.
void shift_timeline(composition_view& view, int amount) {
  amount = std::min(amount, view.tm_n - shortest_timeline);
  view.tm_f = std::max(0, clamped_frame(static_cast<long long>(view.tm_f) - amount));
  view.tm_l = std::max(1, clamped_frame(static_cast<long long>(view.tm_l) - amount));
  view.tm_t = std::max(0.0, view.tm_t - amount);
  for (track_info& track : view.tracks) track.begin = clamped_frame(static_cast<long long>(track.begin) - amount);
}

}  // namespace

int state::selected_index() const {
  if (selection.size() != 1) return track_count();
  const int index = *selection.begin();
  return index >= 0 && index < track_count() ? index : track_count();
}

track_info* state::selected_track() {
  const int index = selected_index();
  return index == track_count() ? nullptr : &track_at(index);
}

const track_info* state::selected_track() const {
  return const_cast<state*>(this)->selected_track();
}

int state::index_of_id(int id) const {
  const auto found =
      std::find_if(tracks.begin(), tracks.end(), [id](const track_info& track) { return track.id == id; });
  return found == tracks.end() ? -1 : static_cast<int>(found - tracks.begin());
}

void state::set_frame_rate(int new_fpcs) {
  fpcs = std::max(new_fpcs, 1);
}

void state::set_timeline_length(int n, bool forced) {
  tm_n = std::clamp(n, shortest_timeline, frame_limit);
  if (!forced && tracks.empty()) timeline_user_set = true;
  clamp_to_timeline(*this);
}

void state::extend_timeline_to(int layer_end) {
  if (layer_end <= tm_n) return;
  tm_n = std::max(shortest_timeline, layer_end);
  timeline_user_set = false;
  clamp_to_timeline(*this);
}

void state::set_workarea_begin(int n) {
  if (n >= tm_n - 1) {
    tm_f = tm_n - 1;
    tm_l = tm_n;
    return;
  }
  tm_f = std::max(n, 0);
  tm_l = std::max(tm_l, tm_f + 1);
}

void state::set_workarea_end(int n) {
  if (n < 2) {
    tm_f = 0;
    tm_l = 1;
    return;
  }
  tm_l = std::min(n, tm_n);
  tm_f = std::min(tm_f, tm_l - 1);
}

void state::set_current_time(double t) {
  playing = false;
  // Also takes what is not a number to 0.
  tm_t = t > 0.0 ? std::min(t, static_cast<double>(tm_n)) : 0.0;
}

double state::zoom() const {
  return zoom_factor2 / 100.0 * view_pixel_aspect();
}

void state::set_view_aspect(double value) {
  aspect_enabled = value >= 1.0;
  if (aspect_enabled) aspect = value;
}

double state::default_aspect_for(int width, int height) const {
  if (width <= 0 || height <= 0) return 1.0;
  const auto found = default_aspect.find({width, height});
  return found == default_aspect.end() ? 1.0 : found->second;
}

lib::color state::resolved_back_color() const {
  if (back_color == back_color_type::custom) {
    return {255, back_custom_color.r, back_custom_color.g, back_custom_color.b};
  }
  if (back_color == back_color_type::transparent) return named_back_colors[0];
  return named_back_colors[static_cast<int>(back_color)];
}

void state::set_back_color(lib::color color) {
  color.a = 255;
  const auto* found = std::find(std::begin(named_back_colors), std::end(named_back_colors), color);
  if (found != std::end(named_back_colors)) {
    back_color = static_cast<back_color_type>(found - named_back_colors);
    return;
  }
  back_color = back_color_type::custom;
  back_custom_color = color;
}

void state::timeline_fit_all_layers() {
  if (tracks.empty()) return;
  int first = tracks.front().begin;
  for (const track_info& track : tracks) first = std::min(first, track.begin);
  shift_timeline(*this, first);
  int end = shortest_timeline;
  for (const track_info& track : tracks) end = std::max(end, track.layer_end());
  tm_n = end;
  timeline_user_set = false;
  clamp_to_timeline(*this);
}

void state::timeline_trim_to_workarea() {
  shift_timeline(*this, tm_f);
  set_timeline_length(tm_l, true);
}

}  // namespace ksn
