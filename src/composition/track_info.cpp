#include "composition/track_info.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "composition/frame_numbers.h"

namespace ksn {
namespace {

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

bool track_info::is_decoded() const {
  return source_type == ksn::source_type::image || source_type == ksn::source_type::sequence || is_clip();
}

bool track_info::is_clip() const {
  switch (source_type) {
    case ksn::source_type::rtv:
    case ksn::source_type::avi:
    case ksn::source_type::directshow:
    case ksn::source_type::quicktime:
    case ksn::source_type::ph_cine:
    case ksn::source_type::r3d:
      return true;
    default:
      return false;
  }
}

bool track_info::is_single_frame() const {
  switch (source_type) {
    case ksn::source_type::image:
    case ksn::source_type::clipboard_image:
    case ksn::source_type::shmem:
    case ksn::source_type::adjustment:
    case ksn::source_type::brush:
    case ksn::source_type::text:
    case ksn::source_type::video:
      return true;
    default:
      return false;
  }
}

int track_info::length() const {
  return std::max(1, rounded_frame(frames * retime));
}

int track_info::in() const {
  const int passes = length();
  return std::clamp(rounded_frame(passes * sbegin_f), 0, passes - 1);
}

int track_info::out() const {
  return std::max(in() + 1, rounded_frame(length() * send_f));
}

void track_info::set_in(int n) {
  sbegin_f = n / static_cast<double>(length());
  set_in_out(in(), out());
}

void track_info::set_out(int n) {
  send_f = n / static_cast<double>(length());
  set_in_out(in(), out());
}

void track_info::set_in_out(int new_in, int new_out) {
  const double pass = length();
  sbegin_f = new_in / pass;
  send_f = new_out / pass;
  const int kept_in = in();
  const int kept_out = out();
  sbegin_f = kept_in / pass;
  send_f = kept_out / pass;
}

int track_info::layer_end() const {
  const long long pass = length();
  return clamped_frame((out() + pass - 1) / pass * pass + begin);
}

double track_info::source_position(double t) const {
  const double first = static_cast<double>(begin) + in();
  const double end = static_cast<double>(begin) + out();
  if (!(t >= first && t < end)) return -1.0;
  if (is_single_frame()) return 0.0;
  const long long pass = length();
  const double d = t - begin;
  const double within = d - static_cast<double>(static_cast<long long>(d) / pass * pass);
  return within * frames / static_cast<double>(pass);
}

int track_info::faded_value(double t, int base) const {
  const double first = static_cast<double>(begin) + in();
  const double end = static_cast<double>(begin) + out();
  if (!(t >= first && t < end)) return 0;
  double value = base;
  if (t < first + fade_in) value = std::min(value, std::nearbyint((t - first + 1.0) * base / (fade_in + 1.0)));
  if (t >= end - fade_out) value = std::min(value, std::nearbyint((end - t) * base / (fade_out + 1.0)));
  return static_cast<int>(value);
}

void track_info::set_aspect(double value) {
  aspect = value > 0.001 ? value : 0.001;
}

void track_info::set_scale_x(int value) {
  scale_x = value < 2 ? 1 : value;
}

void track_info::set_scale_y(int value) {
  scale_y = value < 2 ? 1 : value;
}

std::string track_info::frame_path(int source_frame) const {
  if (source_type == ksn::source_type::image) return path;
  if (source_type == ksn::source_type::sequence) {
    if (source_frame < 0 || source_frame >= static_cast<int>(names.size())) return {};
    return file_of(static_cast<std::size_t>(source_frame));
  }
  if (is_clip() && clip) return sources::clip_frame_name(*clip, path, source_frame);
  return {};
}

}  // namespace ksn
