#include "playback/clock.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "render/pipeline.h"

namespace playback {
namespace {

constexpr double audio_stall = 0.9;      // seconds; from here on the ring may have wrapped, and plain time is kept
constexpr double before_an_end = 0.001;  // frames
constexpr int most_passed = 32;          // frames that one tick leaves behind

}  // namespace

double elapsed_seconds(std::uint32_t now, std::uint32_t last) {
  return static_cast<std::uint32_t>(now - last) / 1000.0;
}

clock::clock(ksn::state& composition, cache::frame_cache& cache) : composition_(composition), cache_(cache) {}

bool clock::any_audible() const {
  for (const ksn::track_info& track : composition_.doc.tracks) {
    if (track.sound.audible && track.source.has_audio()) return true;
  }
  return false;
}

void clock::tick(double elapsed, bool modal_busy) {
  ksn::state& c = composition_;
  if (c.doc.playing || ended_at_ != c.doc.tm_t) ended_at_.reset();
  follow_play();
  const bool sound = audio && audio->is_open();
  int play = 0;
  int write = 0;
  bool cursors = false;
  if (sound) {
    mixer_.clear();
    cursors = audio->get_cursors(play, write);
  }
  const bool audio_locked = sound && c.doc.forward && any_audible();
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

  if (!modal_busy && c.doc.playing && elapsed != 0.0) {
    const double speed = advance(elapsed, audio_locked);
    if (sound && c.doc.forward) mixer_.mix(c, c.doc.tm_t, speed);
  }
  if (sound && cursors) mixer_.write_to(*audio, elapsed, play, write);
}

// Tells the cache of the beginning and the end of a play, however it came about.
void clock::follow_play() {
  const ksn::state& c = composition_;
  if (c.doc.playing == plays_) return;
  plays_ = c.doc.playing;
  if (!plays_) {
    cache_.end_play();
    return;
  }
  cache_.begin_play(c.doc.repeat == ksn::repeat_type::loop ? cache::play_return::around : cache::play_return::back);
}

double clock::advance(double elapsed, bool audio_locked) {
  ksn::state& c = composition_;
  bring_into_work_area();
  const int before = static_cast<int>(c.doc.tm_t);
  double amount = c.doc.fpcs * elapsed / 100.0;
  double speed = 1.0;
  if (!c.doc.can_drop_frames && !audio_locked && amount > 1.0) {
    speed = 1.0 / amount;
    amount = 1.0;
  }
  const bool forward = c.doc.forward;
  if (forward) {
    step_forward(amount);
  } else {
    step_backward(amount);
  }
  // A stall longer than the work area leads past its other end.
  bring_into_work_area();
  const int now = static_cast<int>(c.doc.tm_t);
  if (now != before && c.doc.playing && c.doc.forward == forward) pass_frames(before, now, forward);
  if (c.doc.forward != forward) cache_.turn_play();
  if (now != before && c.doc.playing && c.doc.forward) ahead_touch(now);
  return speed;
}

double clock::shown_time() const {
  const ksn::state& c = composition_;
  const bool rests_on_end = c.doc.tm_t >= c.doc.tm_n || (!c.doc.playing && ended_at_ == c.doc.tm_t);
  return rests_on_end ? c.doc.tm_t - before_an_end : c.doc.tm_t;
}

void clock::bring_into_work_area() {
  ksn::state& c = composition_;
  if (c.doc.tm_t < c.doc.tm_f || c.doc.tm_t > c.doc.tm_l) c.doc.tm_t = c.doc.forward ? c.doc.tm_f : c.doc.tm_l;
}

void clock::step_forward(double amount) {
  ksn::state& c = composition_;
  c.doc.tm_t += amount;
  if (c.doc.tm_t < c.doc.tm_l) return;
  switch (c.doc.repeat) {
    case ksn::repeat_type::none:
      c.doc.tm_t = c.doc.tm_l;
      c.doc.playing = false;
      ended_at_ = c.doc.tm_t;
      break;
    case ksn::repeat_type::ping_pong:
      c.doc.tm_t = 2.0 * c.doc.tm_l - c.doc.tm_t;
      c.doc.forward = false;
      break;
    case ksn::repeat_type::loop:
      c.doc.tm_t -= c.doc.tm_l - c.doc.tm_f;
      keep_alive_sweep();
      break;
  }
}

void clock::step_backward(double amount) {
  ksn::state& c = composition_;
  c.doc.tm_t -= amount;
  if (c.doc.tm_t >= c.doc.tm_f) return;
  switch (c.doc.repeat) {
    case ksn::repeat_type::none:
      c.doc.tm_t = c.doc.tm_f;
      c.doc.playing = false;
      break;
    case ksn::repeat_type::ping_pong:
      c.doc.tm_t = 2.0 * c.doc.tm_f - c.doc.tm_t;
      c.doc.forward = true;
      keep_alive_sweep();
      break;
    case ksn::repeat_type::loop:
      c.doc.tm_t += c.doc.tm_l - c.doc.tm_f;
      break;
  }
}

void clock::play_forward() {
  ksn::state& c = composition_;
  if (c.doc.playing && c.doc.forward) {
    c.doc.playing = false;
    return;
  }
  c.doc.playing = true;
  c.doc.forward = true;
  if (c.doc.repeat == ksn::repeat_type::none && c.doc.tm_t >= c.doc.tm_l) c.doc.tm_t = c.doc.tm_f;
  follow_play();
  keep_alive_sweep();
}

void clock::play_backward() {
  ksn::state& c = composition_;
  if (c.doc.playing && !c.doc.forward) {
    c.doc.playing = false;
    return;
  }
  c.doc.playing = true;
  c.doc.forward = false;
  if (c.doc.repeat == ksn::repeat_type::none && c.doc.tm_t <= c.doc.tm_f) c.doc.tm_t = c.doc.tm_l;
}

void clock::toggle_pause() {
  composition_.doc.playing = !composition_.doc.playing;
  follow_play();
  if (composition_.doc.playing && composition_.doc.forward) keep_alive_sweep();
}

void clock::reverse_playback_direction() {
  composition_.doc.playing = true;
  composition_.doc.forward = !composition_.doc.forward;
}

void clock::keep_alive_sweep() {
  const ksn::state& c = composition_;
  const int current = static_cast<int>(c.doc.tm_t);
  if (current < c.doc.tm_f || current >= c.doc.tm_l) return;
  const int span = c.doc.tm_l - c.doc.tm_f;
  int n = static_cast<int>(static_cast<long long>(span) * 3 / 4);
  int t = current + n;
  while (n > 0) {
    --n;
    --t;
    keep_frame_alive(t >= c.doc.tm_l ? t - c.doc.tm_l + c.doc.tm_f : t);
    if (n % 3 == 0 && n != 0) keep_frame_alive(current - n / 3);
  }
  if (forget_frame_states) forget_frame_states();
}

void clock::ahead_touch(int frame) {
  const ksn::state& c = composition_;
  const int span = c.doc.tm_l - c.doc.tm_f;
  int step = span / 3;
  for (int i = 0; i < 8 && step >= 1; ++i, step /= 2) {
    const int t = frame + step;
    keep_frame_alive(t >= c.doc.tm_l ? t - span : t);
  }
}

template <class Use>
void clock::for_each_key(int timeline_frame, const Use& use) const {
  const ksn::state& c = composition_;
  if (timeline_frame < c.doc.tm_f || timeline_frame >= c.doc.tm_l) return;
  for (const ksn::track_info& track : c.doc.tracks) {
    if (!track.look.visible || track.source.disable_cache || !track.source.is_decoded()) continue;
    const int frame = static_cast<int>(track.source_position(timeline_frame));
    if (frame < 0 || frame >= track.source.frames) continue;
    use(render::key_of_frame(track, frame, c.view.resolution));
  }
}

void clock::keep_frame_alive(int timeline_frame) {
  for_each_key(timeline_frame, [this](const cache::frame_key& key) { cache_.keep_alive(key); });
}

// The frames from `from` on have been shown, or left out, on the way to `to`, which is shown now.
void clock::pass_frames(int from, int to, bool forward) {
  const ksn::state& c = composition_;
  const int span = c.doc.tm_l - c.doc.tm_f;
  if (span < 2) return;
  // A frame that lasts is not over while the next one shows the same picture.
  std::vector<cache::frame_key> shown;
  for_each_key(to, [&](cache::frame_key key) { shown.push_back(std::move(key)); });
  int t = from;
  for (int steps = 0; t != to && steps < most_passed; ++steps) {
    for_each_key(t, [&](const cache::frame_key& key) {
      if (std::find(shown.begin(), shown.end(), key) == shown.end()) cache_.pass(key);
    });
    t += forward ? 1 : -1;
    if (t >= c.doc.tm_l) t = c.doc.tm_f;
    if (t < c.doc.tm_f) t = c.doc.tm_l - 1;
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
