#include "composition/track_info.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "composition/time/frame_numbers.h"

namespace ksn {
namespace {

// One per process: layers go from one document to another, through the clipboard and undo, and what is kept of them
// beside the document (pipelines, the cache of text) goes by id alone.
std::atomic<int> last_layer_id{0};

}  // namespace

int next_layer_id() {
  return ++last_layer_id;
}

void reserve_layer_id(int id) {
  int last = last_layer_id.load();
  while (last < id && !last_layer_id.compare_exchange_weak(last, id)) {
  }
}

int track_info::length() const {
  return std::max(1, rounded_frame(source.frames * timing.retime));
}

int track_info::in() const {
  const int passes = length();
  return std::clamp(rounded_frame(passes * timing.sbegin_f), 0, passes - 1);
}

int track_info::out() const {
  return std::max(in() + 1, rounded_frame(length() * timing.send_f));
}

void track_info::set_in(int n) {
  timing.sbegin_f = n / static_cast<double>(length());
  set_in_out(in(), out());
}

void track_info::set_out(int n) {
  timing.send_f = n / static_cast<double>(length());
  set_in_out(in(), out());
}

void track_info::set_in_out(int new_in, int new_out) {
  const double pass = length();
  timing.sbegin_f = new_in / pass;
  timing.send_f = new_out / pass;
  const int kept_in = in();
  const int kept_out = out();
  timing.sbegin_f = kept_in / pass;
  timing.send_f = kept_out / pass;
}

int track_info::layer_end() const {
  const long long pass = length();
  return clamped_frame((out() + pass - 1) / pass * pass + timing.begin);
}

double track_info::source_position(double t) const {
  const double first = static_cast<double>(timing.begin) + in();
  const double end = static_cast<double>(timing.begin) + out();
  if (!(t >= first && t < end)) return -1.0;
  if (source.is_single_frame()) return 0.0;
  const long long pass = length();
  const double d = t - timing.begin;
  const double within = d - static_cast<double>(static_cast<long long>(d) / pass * pass);
  return within * source.frames / static_cast<double>(pass);
}

int track_info::faded_value(double t, int base) const {
  const double first = static_cast<double>(timing.begin) + in();
  const double end = static_cast<double>(timing.begin) + out();
  if (!(t >= first && t < end)) return 0;
  double value = base;
  if (t < first + timing.fade_in)
    value = std::min(value, std::nearbyint((t - first + 1.0) * base / (timing.fade_in + 1.0)));
  if (t >= end - timing.fade_out) value = std::min(value, std::nearbyint((end - t) * base / (timing.fade_out + 1.0)));
  return static_cast<int>(value);
}

}  // namespace ksn
