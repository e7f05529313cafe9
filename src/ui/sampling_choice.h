// Whether playing or a drag can afford a smooth view.
#pragma once

namespace ui {

// Told of every picture. A smooth view is given up for the rest of a play or a drag when two pictures in a row took
// most of the frame's time, or one took all of it, so that no frame is lost for it.
class sampling_choice {
 public:
  // What a picture took, and what a frame may take, in nanoseconds.
  void picture(bool moving, long long took, long long frame) {
    if (!moving) return stop();
    const bool long_one = took * 10 > frame * 8;
    if (took > frame || (long_one && last_was_long_)) plain_ = true;
    last_was_long_ = long_one;
  }
  void stop() { plain_ = last_was_long_ = false; }
  bool plain() const { return plain_; }

 private:
  bool plain_ = false;
  bool last_was_long_ = false;
};

}  // namespace ui
