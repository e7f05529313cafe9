#include "cache/reading/frame_loader.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <thread>
#include <utility>

#include "cache/reading/layer_identity.h"
#include "cache/track_frame.h"

namespace cache {
namespace {

constexpr int enough_waiting = 64;    // requests of a list that need no more
constexpr int few_waiting = 16;       // requests of a list that need more
constexpr int most_looked_at = 1024;  // frames a tick
constexpr int movie_run = 24;         // frames of a movie that are read in their order before it jumps
constexpr int soon_shown = 4;         // frames of a play that are read with all processors
constexpr int judged_frames = 8;      // of a play, whose skips tell whether it keeps up
constexpr int many_skips = 3;
constexpr int few_skips = 1;
constexpr auto pause = std::chrono::milliseconds(1);

bool has_many_frames(const ksn::track_info& track) {
  return track.source.type == ksn::source_type::sequence || track.source.is_clip();
}

bool is_cacheable(const ksn::track_info& track) {
  return track.source.is_decoded() && !track.source.disable_cache;
}

}  // namespace

// --- wishes ---

void frame_loader::preload(const ksn::track_info& layer, int from, int to) {
  if (!is_cacheable(layer) || !has_many_frames(layer)) return;
  from = std::max(from, layer.timing.begin + layer.in());
  to = std::min(to, layer.timing.begin + layer.out());
  if (from >= to) return;
  wishes_.push_back({layer.id, from, to});
  wished_.restart();
}

void frame_loader::begin_preload(const ksn::state& composition) {
  if (head_ < 0) head_ = composition.doc.tm_f;
  read_wished(composition);
}

void frame_loader::preload_after_gesture(const ksn::state& composition, const std::function<void()>& keep_alive) {
  stop();
  if (keep_alive) keep_alive();
  frame_cache& frames = reading_.cache();
  for (int i = 0; i < 32; ++i) frames.trim(frames.memory_reserve_percent + 30);
  const int from = std::max(composition.doc.tm_f, static_cast<int>(composition.doc.tm_t));
  for (const ksn::track_info& track : composition.doc.tracks) {
    if (track.look.visible) preload(track, from, composition.doc.tm_l);
  }
}

void frame_loader::cancel_layer(int layer_id) {
  std::erase_if(wishes_, [&](const wish& w) { return w.layer_id == layer_id; });
  reading_.cancel_layer(layer_id);
}

void frame_loader::stop() {
  wishes_.clear();
  wished_.done = far_.done = true;
  stopped_ = true;
  reading_.cancel_ahead();
}

// --- the play head ---

play_order frame_loader::playing_order(const ksn::state& composition) const {
  return {composition.doc.tm_f, composition.doc.tm_l, head_, forward_, composition.doc.repeat};
}

outward_order frame_loader::resting_order(const ksn::state& composition) const {
  const bool movie = std::any_of(
      composition.doc.tracks.begin(), composition.doc.tracks.end(),
      [](const ksn::track_info& t) { return t.look.visible && t.source.clip && t.source.clip->reads_in_order(); });
  return {composition.doc.tm_f, composition.doc.tm_l, head_, forward_, movie ? movie_run : 1};
}

// Steps of the order up to now by which the head came to where it is; -1 after a jump.
int frame_loader::steps_since(const ksn::state& composition, int head) const {
  if (!playing_ || !composition.doc.playing) return -1;
  const std::optional<int> steps = playing_order(composition).steps_to(head);
  return steps && *steps <= std::max(composition.doc.fpcs / 100, 12) ? *steps : -1;
}

void frame_loader::look_at(const ksn::state& composition, int head) {
  const std::uint64_t identity = identity_of_timeline(composition);
  const int steps = steps_since(composition, head);
  const bool moved = head != head_;
  const bool changed = identity != identity_;
  if (changed || playing_ != composition.doc.playing || (moved && steps < 0)) {
    stopped_ = false;
    far_.restart();
    if (!wishes_.empty()) wished_.restart();
    reading_.cancel(frame_owner::rest);
    reading_.cancel(frame_owner::preload);
    if (changed) {
      needed_ = taking_part ? taking_part(composition) : std::vector<bool>();
      std::erase_if(wishes_, [&](const wish& w) { return composition.doc.index_of_id(w.layer_id) < 0; });
    }
    skips_ = 0;
    keeps_up_ = true;
  } else if (moved) {
    far_.next = std::max(far_.next - steps, 0);
    far_.done = false;
    note_steps(composition, steps);
  }
  if (composition.doc.playing) {
    forward_ = composition.doc.forward;
  } else if (moved && head_ >= 0) {
    forward_ = head > head_;
  }
  head_ = head;
  identity_ = identity;
  playing_ = composition.doc.playing;
}

// A play that leaves frames out shows what can be decoded in time. Frames read ahead of it would come too late as
// well, and takes the processors from the frame that is due.
void frame_loader::note_steps(const ksn::state& composition, int steps) {
  skips_ = (skips_ << 1 | (steps > 1)) & ((1u << judged_frames) - 1);
  const int skipped = std::popcount(skips_);
  const bool kept_up = keeps_up_;
  if (skipped >= many_skips) keeps_up_ = false;
  if (skipped <= few_skips || !composition.doc.can_drop_frames) keeps_up_ = true;
  if (keeps_up_ == kept_up) return;
  reading_.cancel(frame_owner::rest);
  reading_.cancel(frame_owner::preload);
  far_.restart();
  if (!wishes_.empty()) wished_.restart();
}

int frame_loader::near_frames(const ksn::state& composition) const {
  const int least = 2 * reading_.readers();
  int frames = playing_ ? std::clamp(composition.doc.fpcs / 100, least, enough_waiting) : least;
  frame_cache& memory = reading_.cache();
  if (memory.is_full()) {
    // Half of what fits at most, or frames that were read ahead would make each other go.
    const auto layers = std::max<std::size_t>(composition.doc.tracks.size(), 1);
    frames = std::min(frames, std::max(static_cast<int>(memory.queue_size() / (2 * layers)), 1));
  }
  return frames;
}

// --- lists ---

template <class Wanted>
void frame_loader::collect(const ksn::state& composition, int frame, const Wanted& wanted,
                           std::vector<frame_request>& list) const {
  for (std::size_t i = 0; i < composition.doc.tracks.size(); ++i) {
    const ksn::track_info& track = composition.doc.tracks[i];
    if (!is_cacheable(track) || !wanted(i)) continue;
    const double position = track.source_position(frame);
    if (position < 0.0) continue;
    std::optional<frame_request> request = request_of(track, static_cast<int>(position), composition.view.resolution);
    if (!request || reading_.cache().find(request->key) || reading_.failures().has(request->key)) continue;
    request->revalidate = false;
    list.push_back(std::move(*request));
  }
}

void frame_loader::read_shown(const ksn::state& composition, double time) {
  std::vector<frame_request> list;
  const auto visible = [&](std::size_t i) { return composition.doc.tracks[i].look.visible; };
  collect(composition, static_cast<int>(std::floor(time)), visible, list);
  reading_.want(frame_owner::playback, std::move(list));
}

void frame_loader::read_near(const ksn::state& composition) {
  std::vector<frame_request> list;
  const auto wanted = [&](std::size_t i) {
    return i < needed_.size() ? needed_[i] : composition.doc.tracks[i].look.visible;
  };
  const int frames = keeps_up_ && !stopped_ ? near_frames(composition) : 0;
  const play_order ahead = playing_order(composition);
  const outward_order around = resting_order(composition);
  for (int step = 1; step <= frames; ++step) {
    const std::optional<int> frame = playing_ ? ahead.at(step) : around.at(step);
    if (!frame) break;
    collect(composition, *frame, wanted, list);
    if (step == std::min(soon_shown, frames)) soon_there_ = list.empty();
  }
  reading_.want(frame_owner::playback, std::move(list));
}

void frame_loader::read_far(const ksn::state& composition) {
  if (far_.done || stopped_ || reading_.waiting_of(frame_owner::rest) > few_waiting) return;
  if (!playing_ && !fill_at_rest) return;
  if (!keeps_up_ || reading_.cache().is_full()) {
    // At rest nothing makes room again by itself; a play goes on and does.
    far_.done = !playing_;
    return;
  }
  std::vector<frame_request> list;
  const auto wanted = [&](std::size_t i) {
    return i < needed_.size() ? needed_[i] : composition.doc.tracks[i].look.visible;
  };
  const play_order ahead = playing_order(composition);
  const outward_order around = resting_order(composition);
  const int end = playing_ ? ahead.steps() : around.steps();
  for (int looked = 0; looked < most_looked_at && list.size() < enough_waiting && far_.next < end; ++looked) {
    const std::optional<int> frame = playing_ ? ahead.at(far_.next) : around.at(far_.next);
    ++far_.next;
    if (frame) collect(composition, *frame, wanted, list);
  }
  far_.done = far_.next >= end;
  reading_.add(frame_owner::rest, std::move(list), !far_.done);
}

void frame_loader::read_wished(const ksn::state& composition) {
  if (wishes_.empty() || reading_.waiting_of(frame_owner::preload) > few_waiting) return;
  if (playing_ && (!keeps_up_ || play_is_heavy)) return;
  if (reading_.cache().is_full()) {
    wishes_.clear();
    wished_.done = true;
    return;
  }
  if (wished_.done) {
    if (reading_.waiting_of(frame_owner::preload) == 0) wishes_.clear();
    return;
  }
  // From the head on, and around to what lies before it.
  wish all = wishes_.front();
  for (const wish& w : wishes_) all = {0, std::min(all.from, w.from), std::max(all.to, w.to)};
  const play_order order{all.from, all.to, std::clamp(head_, all.from, all.to - 1), true, ksn::repeat_type::loop};
  std::vector<frame_request> list;
  for (int looked = 0; looked < most_looked_at && list.size() < enough_waiting && wished_.next < order.steps();
       ++looked) {
    const int frame = *order.at(wished_.next++);
    collect(
        composition, frame,
        [&](std::size_t i) {
          return std::any_of(wishes_.begin(), wishes_.end(), [&](const wish& w) {
            return w.layer_id == composition.doc.tracks[i].id && frame >= w.from && frame < w.to;
          });
        },
        list);
  }
  wished_.done = wished_.next >= order.steps();
  reading_.add(frame_owner::preload, std::move(list), !wished_.done);
}

void frame_loader::tick(const ksn::state& composition, double time) {
  reading_.look();
  reading_.set_spare_processors(composition.doc.playing ? 1 : 0,
                                soon_there_ ? frame_owner::playback : frame_owner::preload);
  const int before = head_;
  const std::uint64_t identity = identity_;
  const bool was_playing = playing_;
  const int last = std::max(composition.doc.tm_l - 1, composition.doc.tm_f);
  look_at(composition, std::clamp(static_cast<int>(time), composition.doc.tm_f, last));
  const bool same = head_ == before && identity_ == identity && playing_ == was_playing;
  if (!same) read_near(composition);
  read_wished(composition);
  read_far(composition);
}

void frame_loader::finish_preload(const ksn::state& composition, const std::function<bool()>& cancelled) {
  while (!cancelled()) {
    reading_.look();
    begin_preload(composition);
    if (wishes_.empty() && reading_.count().reading == 0) return;
    std::this_thread::sleep_for(pause);
  }
  stop();
}

}  // namespace cache
