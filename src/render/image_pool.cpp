#include "render/image_pool.h"

#include <algorithm>
#include <array>
#include <memory>
#include <mutex>

namespace render {
namespace {

// Enough for the pictures of a deep stack and the temporaries of its strips; more than that is given back to the heap.
constexpr std::size_t most_waiting = 16;

bool has_form(const img::image& image, const std::array<char, img::image::max_planes>& letters, int width, int height) {
  if (image.format != letters || image.width != width || image.height != height) return false;
  for (int i = 0; i < img::image::max_planes; ++i) {
    if (image.depth[i] != (letters[i] ? 8 : 0)) return false;
  }
  return true;
}

struct image_pool {
  std::mutex lock;
  // Both under lock. Of a fixed size, since a picture comes back in a destructor, where no memory may be asked for.
  std::array<std::unique_ptr<img::image>, most_waiting> waiting;
  std::size_t count = 0;

  // The waiting picture of this form and size, else any, else a new one.
  std::unique_ptr<img::image> take(const std::array<char, img::image::max_planes>& letters, int width, int height) {
    const std::lock_guard guard(lock);
    if (count == 0) return std::make_unique<img::image>();
    std::size_t found = count;
    while (found > 0 && !has_form(*waiting[found - 1], letters, width, height)) --found;
    const std::size_t place = (found > 0 ? found : count) - 1;
    std::unique_ptr<img::image> image = std::move(waiting[place]);
    --count;
    if (place != count) waiting[place] = std::move(waiting[count]);
    return image;
  }

  void give(std::unique_ptr<img::image> image) {
    if (image->width == 0 || image->height == 0) return;
    const std::lock_guard guard(lock);
    if (count < most_waiting) waiting[count++] = std::move(image);
  }
};

// One per process: a picture goes back with its last reference, wherever that is let go, and what waits here serves
// whoever draws next. Never destroyed: pictures may come back from objects of static lifetime.
image_pool& pool() {
  static image_pool& instance = *new image_pool;
  return instance;
}

img::image_ptr shared(std::unique_ptr<img::image> image) {
  image_pool& home = pool();
  return {image.release(), [&home](img::image* returned) { home.give(std::unique_ptr<img::image>(returned)); }};
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
  image_pool& home = pool();
  const std::lock_guard guard(home.lock);
  for (; home.count > 0; --home.count) home.waiting[home.count - 1].reset();
}

}  // namespace render
