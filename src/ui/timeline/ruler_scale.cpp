#include "ui/timeline/ruler_scale.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

namespace ui {
namespace {

constexpr int least_tick_distance = 4;  // pixels at scale 1

struct box {
  int x, y, width, height;  // at scale 1 but for x
};

bool inside(const box& box, int scale, int x, int y) {
  return x >= box.x && x < box.x + box.width * scale && y >= box.y * scale && y < (box.y + box.height) * scale;
}

// The steps from small to large that labels may stand at.
std::vector<int> label_steps(int rate) {
  std::vector<int> steps;
  const auto add = [&steps](long long step) {
    if (step <= std::numeric_limits<int>::max()) steps.push_back(static_cast<int>(step));
  };
  for (long long power = 1; power <= 1'000'000'000; power *= 10) {
    for (const int digit : {1, 2, 5}) {
      if (rate == 0 || digit * power < rate) add(digit * power);
    }
  }
  if (rate > 0) {
    for (const int seconds : {1, 2, 5, 10, 30, 60, 120, 300, 600, 1800, 3600, 7200, 18000, 36000, 86400}) {
      add(static_cast<long long>(seconds) * rate);
    }
  }
  return steps;
}

}  // namespace

double ruler_scale::pixels_per_frame() const {
  return static_cast<double>(std::max(1, width - (2 * ruler_margin + 1) * scale)) / std::max(1, length);
}

int ruler_scale::x_of(double frame) const {
  constexpr double far = 1e8;  // from there on a place is only "outside"
  return left() + static_cast<int>(std::rint(std::clamp(frame * pixels_per_frame(), -far, far)));
}

ruler_region ruler_hit(const ruler_scale& ruler, const ruler_marks& marks, int x, int y) {
  const int s = ruler.scale;
  const auto at = [&](int left, int width, int height, int top = ruler_top) {
    return inside({left, top, width, height}, s, x, y);
  };
  if (at(ruler.x_of(marks.end), 4, 17)) return ruler_region::work_area_end;
  if (at(ruler.x_of(marks.begin) - 4 * s, 4, 17)) return ruler_region::work_area_begin;
  if (at(ruler.x_of(marks.time) - 5 * s, 11, 12)) return ruler_region::cursor;
  const int middle = ruler.width / 2;
  const int half = (ruler.width - 88 * s) / 2;
  if (at(middle - half - 5 * s, 5, 19)) return ruler_region::left_handle;
  if (at(middle + (ruler.width - 88 * s) - half, 5, 19)) return ruler_region::right_handle;
  if (y < ruler_top * s || y >= (ruler_top + ruler_height) * s) return ruler_region::none;
  if (x >= ruler.x_of(marks.begin) && x < ruler.x_of(marks.end)) return ruler_region::work_area;
  return x >= ruler.left() && x <= ruler.right() ? ruler_region::rest : ruler_region::none;
}

ruler_ticks ticks_of(const ruler_scale& ruler, int label_width, int rate) {
  const std::vector<int> steps = label_steps(rate);
  const double scale = ruler.pixels_per_frame();
  std::size_t i = 0;
  while (i + 1 < steps.size() && steps[i] * scale < label_width) ++i;
  ruler_ticks ticks{steps[i], 0};
  for (std::size_t k = 0; k < i; ++k) {
    if (ticks.major % steps[k] == 0 && steps[k] * scale >= least_tick_distance * ruler.scale) {
      ticks.minor = steps[k];
      break;
    }
  }
  return ticks;
}

}  // namespace ui
