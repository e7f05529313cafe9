// The pictures of the interface, by name.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "img/image.h"
#include "lib/point.h"
#include "lib/rectangle.h"

namespace ui {

// One bundle: a zlib stream around a binary archive, which holds a map of names to picture records. Read once when a
// window run or a picture of the window begins; its pictures are only read from then on.
class skin {
 public:
  // Takes a bundle in place of what was there. False, and empty, when it is damaged.
  bool load(const void* data, std::size_t size);
  // The bundle for a scale of 1 or 2, `skin_1.ksnskin` or `skin_2.ksnskin` in `config` beside the executable. False,
  // with a line for the user in `error`, when it is missing or damaged; the interface then draws without pictures.
  bool load_for_scale(int scale, std::string& error);

  // The picture of exactly this name ("r_pressed_over.tga"), null when there is none. Alive until the next load.
  const img::image* image(std::string_view name) const;
  std::size_t size() const { return images_.size(); }
  // All of them, in the order of their names.
  void for_each(const std::function<void(const std::string& name, const img::image& image)>& call) const;

 private:
  std::map<std::string, img::image_ptr, std::less<>> images_;
};

// Draws a picture over an 8-bit target, its anchor at `position`. A null picture draws nothing; `clip` may be null.
void draw_image(img::image& target, const img::image* image, math::point position,
                const math::rectangle* clip = nullptr);

}  // namespace ui
