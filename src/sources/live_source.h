// What shows another picture from moment to moment: a block of shared memory, a video input.
#pragma once

#include "img/image.h"

namespace sources {

// Shared by a layer and its copies. Main thread.
class live_source {
 public:
  virtual ~live_source() = default;

  virtual int width() const = 0;  // pixels, at least 1
  virtual int height() const = 0;
  virtual bool has_alpha() const = 0;
  // The newest whole picture, 8-bit and read only; the one before where there is no newer one, null before the first.
  virtual img::const_image_ptr newest() = 0;
  // What newest() gave last, without a look at the source; null before that.
  virtual img::const_image_ptr latest() = 0;
};

}  // namespace sources
