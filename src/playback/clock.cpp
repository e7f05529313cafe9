#include "playback/clock.h"

#include <cmath>

#include "render/pipeline.h"

namespace playback {
namespace {

constexpr double audio_stall = 0.9;      // seconds; from here on the ring may have wrapped, and plain time is kept
constexpr double before_an_end = 0.001;  // frames

}  // namespace

double elapsed_seconds(std::uint32_t now, std::uint32_t last) {
  return static_cast<std::uint32_t>(now - last) / 1000.0;
}

clock::clock(ksn::state& composition, cache::frame_cache& cache) : composition_(composition), cache_(cache) {}

bool clock::any_audible() const {
  for (const ksn::track_info& track : composition_.tracks) {
    if (track.audible && track.has_audio()) return true;
  }
  return false;
}

void clock::tick(double elapsed, bool modal_busy) {
  ksn::state& c = composition_;
  if (c.playing || ended_at_ != c.tm_t) ended_at_.reset();
  const bool sound = audio && audio->is_open();
  int play = 0;
  int write = 0;
  bool cursors = false;
  if (sound) {
    mixer_.clear();
    cursors = audio->get_cursors(play, write);
  }
  const bool audio_locked = sound && c.forward && any_audible();
  // An output's counter is read in any case, so that it is up to date when the sound falls silent.
  const std::optional<double> device = device_clock ? device_clock(elapsed) : std::nullopt;
  if (audio_locked && elapsed < audio_stall) {
    if (cursors && last_write_cursor_) {
      const int moved = (write - *last_write_cursor_ + platform::audio_ring_bytes) % platform::audio_ring_bytes;
      elapsed = static_cast<double>(moved) / platform::audio_ring_bytes;
    }
  } else if (device) {
    elapsed = *device;
  }
  if (cursors) last_write_cursor_ = write;

  if (!modal_busy && c.playing && elapsed != 0.0) {
    const double speed = advance(elapsed, audio_locked);
    if (sound && c.forward) mixer_.mix(c, c.tm_t, speed);
  }
  if (sound && cursors) mixer_.write_to(*audio, elapsed, play, write);
}

double clock::advance(double elapsed, bool audio_locked) {
  ksn::state& c = composition_;
  bring_into_work_area();
  const int before = static_cast<int>(c.tm_t);
  double amount = c.fpcs * elapsed / 100.0;
  double speed = 1.0;
  if (!c.can_drop_frames && !audio_locked && amount > 1.0) {
    speed = 1.0 / amount;
    amount = 1.0;
  }
  if (c.forward) {
    step_forward(amount);
  } else {
    step_backward(amount);
  }
  // A stall longer than the work area leads past its other end.
  bring_into_work_area();
  const int now = static_cast<int>(c.tm_t);
  if (now != before && c.playing && c.forward) ahead_touch(now);
  return speed;
}

double clock::shown_time() const {
  const ksn::state& c = composition_;
  const bool rests_on_end = c.tm_t >= c.tm_n || (!c.playing && ended_at_ == c.tm_t);
  return rests_on_end ? c.tm_t - before_an_end : c.tm_t;
}

void clock::bring_into_work_area() {
  ksn::state& c = composition_;
  if (c.tm_t < c.tm_f || c.tm_t > c.tm_l) c.tm_t = c.forward ? c.tm_f : c.tm_l;
}

void clock::step_forward(double amount) {
  ksn::state& c = composition_;
  c.tm_t += amount;
  if (c.tm_t < c.tm_l) return;
  switch (c.repeat) {
    case ksn::repeat_type::none:
      c.tm_t = c.tm_l;
      c.playing = false;
      ended_at_ = c.tm_t;
      break;
    case ksn::repeat_type::ping_pong:
      c.tm_t = 2.0 * c.tm_l - c.tm_t;
      c.forward = false;
      break;
    case ksn::repeat_type::loop:
      c.tm_t -= c.tm_l - c.tm_f;
      keep_alive_sweep();
      break;
  }
}

void clock::step_backward(double amount) {
  ksn::state& c = composition_;
  c.tm_t -= amount;
  if (c.tm_t >= c.tm_f) return;
  switch (c.repeat) {
    case ksn::repeat_type::none:
      c.tm_t = c.tm_f;
      c.playing = false;
      break;
    case ksn::repeat_type::ping_pong:
      c.tm_t = 2.0 * c.tm_f - c.tm_t;
      c.forward = true;
      keep_alive_sweep();
      break;
    case ksn::repeat_type::loop:
      c.tm_t += c.tm_l - c.tm_f;
      break;
  }
}

void clock::play_forward() {
  ksn::state& c = composition_;
  if (c.playing && c.forward) {
    c.playing = false;
    return;
  }
  c.playing = true;
  c.forward = true;
  if (c.repeat == ksn::repeat_type::none && c.tm_t >= c.tm_l) c.tm_t = c.tm_f;
  keep_alive_sweep();
}

void clock::play_backward() {
  ksn::state& c = composition_;
  if (c.playing && !c.forward) {
    c.playing = false;
    return;
  }
  c.playing = true;
  c.forward = false;
  if (c.repeat == ksn::repeat_type::none && c.tm_t <= c.tm_f) c.tm_t = c.tm_l;
}

void clock::toggle_pause() {
  composition_.playing = !composition_.playing;
  if (composition_.playing && composition_.forward) keep_alive_sweep();
}

void clock::reverse_playback_direction() {
  composition_.playing = true;
  composition_.forward = !composition_.forward;
}

void clock::keep_alive_sweep() {
  const ksn::state& c = composition_;
  const int current = static_cast<int>(c.tm_t);
  if (current < c.tm_f || current >= c.tm_l) return;
  const int span = c.tm_l - c.tm_f;
  int n = static_cast<int>(static_cast<long long>(span) * 3 / 4);
  int t = current + n;
  while (n > 0) {
    --n;
    --t;
    keep_frame_alive(t >= c.tm_l ? t - c.tm_l + c.tm_f : t);
    if (n % 3 == 0 && n != 0) keep_frame_alive(current - n / 3);
  }
  if (forget_frame_states) forget_frame_states();
}

void clock::ahead_touch(int frame) {
  const ksn::state& c = composition_;
  const int span = c.tm_l - c.tm_f;
  int step = span / 3;
  for (int i = 0; i < 8 && step >= 1; ++i, step /= 2) {
    const int t = frame + step;
    keep_frame_alive(t >= c.tm_l ? t - span : t);
  }
}

void clock::keep_frame_alive(int timeline_frame) {
  const ksn::state& c = composition_;
  if (timeline_frame < c.tm_f || timeline_frame >= c.tm_l) return;
  for (const ksn::track_info& track : c.tracks) {
    if (!track.visible || track.disable_cache || !track.is_decoded()) continue;
    const int frame = static_cast<int>(track.source_position(timeline_frame));
    if (frame < 0 || frame >= track.frames) continue;
    cache_.keep_alive(render::key_of_frame(track, frame, c.resolution));
  }
}

std::optional<double> device_counter::read(int count, int output_rate) {
  const int last = last_;
  if (last >= 0 && count > last + 1 && count < last + 4) count = last + 1;
  last_ = count;
  if (last < 0 || count < last || output_rate <= 0) return std::nullopt;
  return (count - last) * 100.0 / output_rate;
}

}  // namespace playback
