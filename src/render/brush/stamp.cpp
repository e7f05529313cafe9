#include "render/brush/stamp.h"

#include <algorithm>
#include <cmath>

#include "img/simd_level.h"
#include "lib/rectangle.h"
#include "render/brush/rows.h"

namespace render {

namespace baseline {
extern const brush_kernels brush_table;
}
#if defined(KSN_X86_LEVELS)
namespace v3 {
extern const brush_kernels brush_table;
}
namespace v4 {
extern const brush_kernels brush_table;
}
#endif

const brush_kernels& brush_rows() {
  switch (img::current_simd_level()) {
#if defined(KSN_X86_LEVELS)
    case img::simd_level::v4:
      return v4::brush_table;
    case img::simd_level::v3:
      return v3::brush_table;
#endif
    default:
      return baseline::brush_table;
  }
}

namespace {

// A smooth step from 0 to 1.
double eased(double t) {
  return t - (t - 0.5) * (t * 2) * (t - 1);
}

// Squared distances are counted in sixteenths of a pixel: all that occur are whole numbers then.
constexpr double sixteenth = 1.0 / 16;

const std::array<std::uint32_t, 256>& reciprocals() {
  static const std::array<std::uint32_t, 256> table = [] {
    std::array<std::uint32_t, 256> values{};
    for (std::uint32_t i = 1; i < values.size(); ++i) values[i] = (65536 + i / 2) / i;
    return values;
  }();
  return table;
}

}  // namespace

std::uint8_t brush_coverage(const brush_shape& shape, double squared_distance) {
  const double softness = shape.softness / 100.0;
  const double radius = (shape.size + 1) * 0.5;
  if (squared_distance >= radius * radius) return 0;
  double covered = 0;
  if (softness < 0.5) {
    const int edge = static_cast<int>(radius * softness * 2 + 1);
    if ((radius - edge) * (radius - edge) >= squared_distance) return 255;
    covered = eased((radius - std::sqrt(squared_distance)) / edge);
  } else {
    covered = std::pow(eased(1 - std::sqrt(squared_distance) / radius), (softness * 2 - 1) * 4 + 1);
  }
  return static_cast<std::uint8_t>(std::pow(covered, 0.45454545454545453) * 255.99);
}

const img::image& brush_stamps::stamp(const brush_shape& shape, int quarter_x, int quarter_y) {
  if (!(shape_ == shape)) {
    shape_ = shape;
    for (img::image& stamp : stamps_) stamp.clear();
    reach_[0] = (shape.size + 1) * (shape.size + 1) * 4;
    reach_[256] = -1;
    find_reaches(0, 256);
  }
  img::image& stamp = stamps_[static_cast<std::size_t>(quarter_y + 4 * quarter_x)];
  if (stamp.empty()) fill(stamp, quarter_x, quarter_y);
  return stamp;
}

// Coverage falls with the distance, so a few of its values tell all the others: the reach of a coverage lies between
// those of the coverages around it.
void brush_stamps::find_reaches(int lower, int higher) {
  const int value = (lower + higher) / 2;
  if (value == lower) return;
  int least = reach_[static_cast<std::size_t>(higher)];
  int beyond = reach_[static_cast<std::size_t>(lower)] + 1;
  while (least + 1 < beyond) {
    const int middle = least + (beyond - least) / 2;
    (brush_coverage(shape_, middle * sixteenth) >= value ? least : beyond) = middle;
  }
  reach_[static_cast<std::size_t>(value)] = least;
  find_reaches(lower, value);
  find_reaches(value, higher);
}

void brush_stamps::fill(img::image& stamp, int quarter_x, int quarter_y) const {
  const int side = shape_.size + 3;
  const int first = -(shape_.size / 2);
  stamp.reset("L", 8, side, side);
  stamp.user[0] = {shape_.size / 2 + 1, shape_.size / 2 + 1};
  for (int row = 0; row < side; ++row) {
    const int dy = 4 * (first + row) - 2 - quarter_y;
    std::uint8_t* out = stamp.row(0, row);
    int value = 0;
    for (int column = 0; column < side; ++column) {
      const int dx = 4 * (first + column) - 2 - quarter_x;
      const int distance = dx * dx + dy * dy;
      while (value < 255 && distance <= reach_[static_cast<std::size_t>(value + 1)]) ++value;
      while (value > 0 && distance > reach_[static_cast<std::size_t>(value)]) --value;
      out[column] = static_cast<std::uint8_t>(value);
    }
  }
}

void paint_stamp(img::image& canvas, const img::image& stamp, math::point corner, lib::color color, bool erase) {
  const math::rectangle box{corner.x, corner.y, corner.x + stamp.width, corner.y + stamp.height};
  const math::rectangle visible = math::intersect(box, {0, 0, canvas.width, canvas.height});
  if (visible.empty()) return;
  const brush_kernels& rows = brush_rows();
  const brush_color_row painted{color.b, color.g, color.r, color.a, reciprocals().data()};
  const auto width = static_cast<std::size_t>(visible.right - visible.left);
  for (int y = visible.top; y < visible.bottom; ++y) {
    const std::uint8_t* coverage = stamp.row(0, y - corner.y) + (visible.left - corner.x);
    std::uint8_t* row[4];
    for (int p = 0; p < 4; ++p) row[p] = canvas.row(p, y) + visible.left;
    if (erase) {
      rows.erase(row[3], coverage, width, color.a);
    } else {
      rows.paint(row[0], row[1], row[2], row[3], coverage, width, &painted);
    }
  }
}

}  // namespace render
