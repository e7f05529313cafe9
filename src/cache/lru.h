// The images that the frame cache keeps, in the order in which they were touched, and which of them go first.
#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "cache/pointer_map.h"
#include "img/image.h"

namespace cache {

// Bytes of the planes.
std::size_t bytes_of(const img::image& image);

// How a play comes back to the frames that it has shown.
enum class play_return {
  around,  // in the order in which they were shown: the one shown last is the farthest
  back,    // in the reverse order, or not at all: the one shown first is the farthest
};

// Not thread-safe: the frame cache holds its lock around every call. Taking images out allocates nothing.
//
// The picture touched longest ago goes first, except for those that a play has just shown. Around a loop that does not
// fit, plain LRU throws away the very frame that is needed next, and a second turn finds nothing; so, from begin_play()
// on, first goes what the play has nothing to do with, then what it has passed and comes back to last, and only then
// what it is about to show.
class lru {
 public:
  // Small, and what a touch writes comes first: with many frames a touch is as long as main memory takes.
  struct entry {
    std::uint64_t touched : 63 = 0;  // the number of the touch
    std::uint64_t passed : 1 = 0;    // shown by the play, and its place is in the list of these
    img::const_image_ptr image;
  };
  using entries = std::list<entry>;

  // Makes what touch() needs for an image that is not here yet, outside the lock.
  struct node {
    explicit node(const img::const_image_ptr& image);
    entries entry;
  };

  // Moves the image to the front. False when it is not here.
  bool touch(const img::image* image);
  // The same for one that may not be here yet. The caller lets go of what the node then holds, outside the lock.
  void touch(const img::image* image, node& made);

  // A play begins: what is touched from now on belongs to it.
  void begin_play(play_return way);
  // It turns, and what it passed lies ahead again.
  void turn_play() { merge_passed(); }
  void end_play();
  // The play has shown the image and goes on.
  void pass(const img::image* image);

  // Takes up to `count` images that are the next to go.
  entries take(int count);
  entries take(const img::image* image);
  template <class Matches>
  entries take_if(const Matches& matches);
  template <class Use>
  void for_each(const Use& use) const;
  entries take_all();

  bool contains(const img::image* image) const { return places_.contains(image); }
  std::size_t size() const { return places_.size(); }
  std::size_t bytes() const { return bytes_; }
  // The inconsistency inside, empty when there is none.
  std::string check_invariants() const;

 private:
  entries queue_;   // front: touched last
  entries passed_;  // front: passed last
  pointer_map<img::image, entries::iterator> places_;
  std::size_t bytes_ = 0;
  std::uint64_t touches_ = 0;
  std::uint64_t play_began_ = 0;  // the touches before this one have nothing to do with the play; 0 without a play
  play_return way_ = play_return::back;

  entries& list_of(const entry& e) { return e.passed ? passed_ : queue_; }
  void move_out(entries& to, entries::iterator at);
  void merge_passed();
};

template <class Matches>
lru::entries lru::take_if(const Matches& matches) {
  entries taken;
  for (entries* list : {&queue_, &passed_}) {
    for (auto at = list->begin(); at != list->end();) {
      const auto here = at++;
      if (matches(*here->image)) move_out(taken, here);
    }
  }
  return taken;
}

template <class Use>
void lru::for_each(const Use& use) const {
  for (const entries* list : {&queue_, &passed_}) {
    for (const entry& e : *list) use(*e.image);
  }
}

}  // namespace cache
