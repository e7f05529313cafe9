// Whether playing or a drag can afford a smooth view.
#pragma once

#include <algorithm>

namespace ui {

// Told of every picture. A smooth view is given up when two pictures in a row took most of the frame's time, or one
// took all of it, so that no frame is lost for it. It is tried again after 48 pictures, since a shot that was being
// read is in memory later, and after each try in vain after twice as many.
class sampling_choice {
 public:
  // What compositing and drawing took, and what a frame may take, in nanoseconds.
  void picture(bool moving, long long took, long long frame) {
    if (!moving) return stop();
    if (plain_) {
      plain_ = --rest_ > 0;
      return;
    }
    const bool long_one = took * 10 > frame * 8;
    if (took > frame || (long_one && last_was_long_)) {
      plain_ = true;
      rest_ = next_rest_;
      next_rest_ = std::min(2 * next_rest_, longest_rest);
    }
    last_was_long_ = long_one && !plain_;
  }
  void stop() { *this = {}; }
  bool plain() const { return plain_; }

 private:
  static constexpr int longest_rest = 48 << 10;

  bool plain_ = false;
  bool last_was_long_ = false;
  int rest_ = 0;        // pictures until the next try
  int next_rest_ = 48;  // after that try
};

}  // namespace ui
