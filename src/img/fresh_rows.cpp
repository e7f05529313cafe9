#include "img/fresh_rows.h"

#include <algorithm>

#include "platform/memory.h"

namespace img {
namespace {

constexpr int stretch_rows = 32;

}  // namespace

fresh_rows::fresh_rows(image& image) : image_(image) {
  for (std::size_t p = 0; p < is_new_.size(); ++p) {
    is_new_[p] = image.data[p].size() >= smallest_spare_plane && has_new_memory(image.data[p]);
    any_ = any_ || is_new_[p];
  }
}

void fresh_rows::prepare(int first, int end) const {
  if (!any_) return;
  for (int p = 0; p < image::max_planes; ++p) {
    const auto place = static_cast<std::size_t>(p);
    if (!is_new_[place]) continue;
    const std::size_t row = plane_bytes(image_.depth[place], image_.width, 1);
    const std::size_t from = row * static_cast<std::size_t>(first);
    platform::make_present(image_.data[place].data() + from, row * static_cast<std::size_t>(end) - from);
  }
}

void fresh_rows::reach(int y) {
  const int stretch = y / stretch_rows;
  if (!any_ || stretch == stretch_) return;
  stretch_ = stretch;
  prepare(stretch * stretch_rows, std::min((stretch + 1) * stretch_rows, image_.height));
}

}  // namespace img
