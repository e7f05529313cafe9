// The composition as a browser sees it.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "composition/state.h"
#include "img/image.h"
#include "render/pipeline.h"

namespace services::http {

// The pictures of one document for all browsers. Main thread.
class pictures {
 public:
  pictures(std::unique_ptr<render::pipeline> pipeline, const ksn::state& composition);

  // The whole output at a time of the timeline, as large as it fits into `width` by `height` pixels, in their middle on
  // the composition's background. The picture before is given again as long as it still holds.
  img::const_image_ptr draw(double time, int width, int height);
  render::pipeline& pipeline() { return *pipeline_; }

 private:
  struct kept {
    img::const_image_ptr image;
    std::chrono::steady_clock::time_point drawn;
  };
  std::unique_ptr<render::pipeline> pipeline_;
  const ksn::state& composition_;
  // The picture of the frame and the revision that follow.
  std::vector<kept> kept_;
  int frame_ = -1;
  unsigned long long revision_ = 0;
};

// A JPEG file of the picture. Any thread. Throws the io family.
std::string jpeg_of(const img::image& picture);

}  // namespace services::http
