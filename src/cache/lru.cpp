#include "cache/lru.h"

#include <iterator>
#include <utility>

namespace cache {

std::size_t bytes_of(const img::image& image) {
  std::size_t bytes = 0;
  for (const img::plane& plane : image.data) bytes += plane.size();
  return bytes;
}

lru::node::node(const img::const_image_ptr& image) : entry{{.image = image}} {}

bool lru::touch(const img::image* image) {
  const entries::iterator* found = places_.find(image);
  if (!found) return false;
  const entries::iterator at = *found;
  queue_.splice(queue_.begin(), list_of(*at), at);
  at->passed = 0;
  at->touched = ++touches_;
  return true;
}

void lru::touch(const img::image* image, node& made) {
  if (touch(image)) return;
  places_.insert(image, made.entry.begin());
  queue_.splice(queue_.begin(), made.entry);
  queue_.front().touched = ++touches_;
  bytes_ += bytes_of(*image);
}

void lru::begin_play(play_return way) {
  merge_passed();
  play_began_ = touches_ + 1;
  way_ = way;
}

void lru::end_play() {
  merge_passed();
  play_began_ = 0;
}

void lru::pass(const img::image* image) {
  const entries::iterator* found = places_.find(image);
  if (play_began_ == 0 || !found) return;
  const entries::iterator at = *found;
  passed_.splice(passed_.begin(), list_of(*at), at);
  at->passed = 1;
}

void lru::merge_passed() {
  for (entry& e : passed_) e.passed = 0;
  const auto newer = [](const entry& a, const entry& b) { return a.touched > b.touched; };
  passed_.sort(newer);
  queue_.merge(passed_, newer);
}

void lru::move_out(entries& to, entries::iterator at) {
  places_.erase(at->image.get());
  bytes_ -= bytes_of(*at->image);
  to.splice(to.end(), list_of(*at), at);
}

lru::entries lru::take(int count) {
  entries taken;
  for (; count > 0 && places_.size() != 0; --count) {
    const bool stranger = !queue_.empty() && queue_.back().touched < play_began_;
    if (stranger || passed_.empty()) {
      move_out(taken, std::prev(queue_.end()));
    } else {
      move_out(taken, way_ == play_return::around ? passed_.begin() : std::prev(passed_.end()));
    }
  }
  return taken;
}

lru::entries lru::take(const img::image* image) {
  entries taken;
  const entries::iterator* found = places_.find(image);
  if (found) move_out(taken, *found);
  return taken;
}

lru::entries lru::take_all() {
  entries taken = std::move(queue_);
  taken.splice(taken.end(), passed_);
  queue_.clear();
  places_.clear();
  bytes_ = 0;
  return taken;
}

std::string lru::check_invariants() const {
  if (queue_.size() + passed_.size() != places_.size()) return "lists and places differ in size";
  std::size_t bytes = 0;
  for (const entries* list : {&queue_, &passed_}) {
    std::uint64_t last = touches_ + 1;
    for (auto at = list->begin(); at != list->end(); ++at) {
      if (!at->image) return "null image in a list";
      bytes += bytes_of(*at->image);
      const entries::iterator* found = places_.find(at->image.get());
      if (!found) return "image of a list without a place";
      if (entries::const_iterator(*found) != at) return "image with the place of another";
      if (at->passed != (list == &passed_)) return "image in the wrong list";
      if (list == &queue_ && at->touched >= last) return "queue out of order";
      last = at->touched;
    }
  }
  return bytes == bytes_ ? "" : "bytes that nobody holds";
}

}  // namespace cache
