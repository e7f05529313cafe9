// What gestures may know of the rows that are seen, and do to them.
#pragma once

#include <cstdint>
#include <functional>

#include "lib/point.h"

namespace ui {

struct row_view {
  std::function<int(math::point)> layer_at;  // index of the layer in the row of a point, -1 for none
  std::function<int()> first;                // index of the layer in the first row
  // Called at each pass of a gesture that other rows belong to: at the upper and lower edge of the rows, and beyond, it
  // brings the next row into sight, the faster the farther out the pointer is.
  std::function<void(math::point)> scroll_at_edge;
};

// Tells when something that a held button repeats is due again.
class repeater {
 public:
  repeater(std::uint32_t now, int first_delay) : due_(now + static_cast<std::uint32_t>(first_delay)) {}
  // True once in every `interval` milliseconds, at the earliest after the first delay.
  bool is_due(std::uint32_t now, int interval) {
    if (static_cast<std::int32_t>(now - due_) < 0) return false;
    due_ = now + static_cast<std::uint32_t>(interval);
    return true;
  }

 private:
  std::uint32_t due_;
};

}  // namespace ui
