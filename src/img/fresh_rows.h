// Memory for rows of a picture just before they are written.
#pragma once

#include <array>

#include "img/image.h"

namespace img {

// Whether the block is one of those that the calling thread had new from the heap last (plane.cpp).
bool has_new_memory(const plane& block);

// Planes of a picture that is about to be filled, row by row. A block that the heap has just got from the system has no
// pages yet, and each page costs a fault when it is first written: for a picture of halves a quarter of its decoding.
// Asked for a few rows at a time they cost a fifth to a quarter less, and come zeroed into the processor's cache, where
// the decoder writes next; asked for all at once they have left it again by then. Blocks that were used before are left
// alone.
class fresh_rows {
 public:
  // On the thread that made the planes.
  explicit fresh_rows(image& image);

  // Rows `first` to `end` - 1 are about to be written. Any thread.
  void prepare(int first, int end) const;
  // Row y is, and those beside it are next, in either direction. One thread at a time.
  void reach(int y);

 private:
  image& image_;
  std::array<bool, image::max_planes> is_new_{};
  bool any_ = false;
  int stretch_ = -1;
};

}  // namespace img
