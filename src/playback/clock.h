// The playback clock: moves the composition's position through the work area, one tick of the main loop at a time.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "cache/frame_cache.h"
#include "composition/state.h"
#include "platform/audio_device.h"
#include "playback/mixer.h"

namespace playback {

// Seconds between two readings of a millisecond counter of 32 bits, right across its wrap.
double elapsed_seconds(std::uint32_t now, std::uint32_t last);

// Main thread. Time comes in as arguments only, so that a test moves it by hand. Three sources drive the position, in
// this order: the sound device's ring, the frame counter of an external output, the elapsed time that is given.
class clock {
 public:
  clock(ksn::state& composition, cache::frame_cache& cache);

  // May be null: no sound. Not owned.
  platform::audio_device* audio = nullptr;
  // Replaces the elapsed seconds while an external output runs; nothing when none does. Asked once a tick, also while
  // the sound is the master.
  std::function<std::optional<double>(double elapsed)> device_clock;

  // One tick: advances, wraps or ends the position, keeps coming frames in the cache, mixes and writes the sound.
  // `modal_busy`: a gesture owns the mouse or a menu is open; the position stands and the device gets silence.
  void tick(double elapsed, bool modal_busy);

  // The time of the picture to show: the position, but just before an end of play or timeline that it rests on.
  double shown_time() const;

  // The transport actions.
  void play_forward();
  void play_backward();
  void toggle_pause();
  void reverse_playback_direction();

  // Touches three quarters of the loop ahead of the position and a quarter before it, the next frame last.
  void keep_alive_sweep();

  // Called at the end of a sweep: what is known of cached frames is stale.
  std::function<void()> forget_frame_states;

 private:
  ksn::state& composition_;
  cache::frame_cache& cache_;
  mixer mixer_;
  std::optional<int> last_write_cursor_;  // nothing before the device gave one
  std::optional<double> ended_at_;        // where a play that does not repeat came to its end, until it is left
  bool plays_ = false;                    // the cache knows of the play

  bool any_audible() const;
  double advance(double elapsed, bool audio_locked);
  void bring_into_work_area();
  void step_forward(double amount);
  void step_backward(double amount);
  void ahead_touch(int frame);
  void follow_play();
  void pass_frames(int from, int to, bool forward);
  template <class Use>
  void for_each_key(int timeline_frame, const Use& use) const;
  void keep_frame_alive(int timeline_frame);
};

// The frame counter of an external output as a clock: a jump of two or three counts is jitter and counts as one.
class device_counter {
 public:
  // Seconds since the last reading at the output's rate (hundredths); nothing at the first one or when it runs back.
  std::optional<double> read(int count, int output_rate);

 private:
  int last_ = -1;
};

}  // namespace playback
