#include "render/image_pool.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace render {
namespace {

// Enough for the pictures of a deep stack and the temporaries of its strips; more than that is given back to the heap.
constexpr std::size_t most_waiting = 16;

struct image_pool {
  std::mutex lock;
  std::vector<std::unique_ptr<img::image>> waiting;  // under lock

  // The waiting picture of this form and size, else any, else a new one.
  std::unique_ptr<img::image> take(const std::array<char, img::image::max_planes>& letters, int width, int height) {
    const std::lock_guard guard(lock);
    if (waiting.empty()) return std::make_unique<img::image>();
    auto found = std::find_if(waiting.rbegin(), waiting.rend(), [&](const auto& image) {
      return image->format == letters && image->width == width && image->height == height && image->depth[0] == 8;
    });
    if (found == waiting.rend()) found = waiting.rbegin();
    std::unique_ptr<img::image> image = std::move(*found);
    *found = std::move(waiting.back());
    waiting.pop_back();
    return image;
  }

  void give(std::unique_ptr<img::image> image) {
    if (image->width == 0 || image->height == 0) return;
    const std::lock_guard guard(lock);
    if (waiting.size() < most_waiting) waiting.push_back(std::move(image));
  }
};

// One per process: a picture goes back with its last reference, wherever that is let go, and what waits here serves
// whoever draws next. Never destroyed: pictures may come back from objects of static lifetime.
image_pool& pool() {
  static image_pool& instance = *new image_pool;
  return instance;
}

img::image_ptr shared(std::unique_ptr<img::image> image) {
  return {image.release(), [](img::image* returned) { pool().give(std::unique_ptr<img::image>(returned)); }};
}

bool has_form(const img::image& image, const std::array<char, img::image::max_planes>& letters, int width, int height) {
  if (image.format != letters || image.width != width || image.height != height) return false;
  for (int i = 0; i < img::image::max_planes; ++i) {
    if (image.depth[i] != (letters[i] ? 8 : 0)) return false;
  }
  return true;
}

}  // namespace

img::image_ptr pooled_image(const std::array<char, img::image::max_planes>& letters, int width, int height) {
  std::unique_ptr<img::image> image = pool().take(letters, width, height);
  if (has_form(*image, letters, width, height)) {
    image->copy_info({});
    for (auto& rows : image->hint) rows.clear();
  } else {
    image->reset_like(letters, 8, width, height);
  }
  image->set_centre_anchor();
  return shared(std::move(image));
}

img::image_ptr pooled_image(std::string_view letters, int width, int height) {
  std::array<char, img::image::max_planes> form{};
  std::copy_n(letters.begin(), std::min(letters.size(), form.size()), form.begin());
  return pooled_image(form, width, height);
}

img::image_ptr pooled_image() {
  return shared(pool().take({}, 0, 0));
}

img::image_ptr empty_image() {
  return shared(std::make_unique<img::image>());
}

void release_pooled_images() {
  std::vector<std::unique_ptr<img::image>> freed;
  const std::lock_guard guard(pool().lock);
  freed.swap(pool().waiting);
}

}  // namespace render
