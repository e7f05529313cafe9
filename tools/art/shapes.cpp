#include "shapes.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace art {
namespace {

constexpr int lines_in_a_pixel = 32;

struct interval {
  double left, right;
};

struct segment {
  point a, b;
};

std::vector<segment> segments_of(const shape& shape, double scale, bool close) {
  std::vector<segment> result;
  for (const outline& line : shape.outlines) {
    const std::size_t count = line.points.size();
    const auto at = [&](std::size_t i) { return point{line.points[i].x * scale, line.points[i].y * scale}; };
    if (count == 1) result.push_back({at(0), at(0)});
    for (std::size_t i = 0; i + 1 < count; ++i) result.push_back({at(i), at(i + 1)});
    if (count > 1 && (close || line.closed)) result.push_back({at(count - 1), at(0)});
  }
  return result;
}

void filled_at(const std::vector<segment>& segments, bool even_odd, double y, std::vector<interval>& result) {
  struct crossing {
    double x;
    int turn;
  };
  std::vector<crossing> crossings;
  for (const segment& s : segments) {
    if ((s.a.y <= y) == (s.b.y <= y)) continue;
    crossings.push_back({s.a.x + (s.b.x - s.a.x) * (y - s.a.y) / (s.b.y - s.a.y), s.a.y < s.b.y ? 1 : -1});
  }
  std::sort(crossings.begin(), crossings.end(), [](const crossing& a, const crossing& b) { return a.x < b.x; });
  int winding = 0;
  for (std::size_t i = 0; i + 1 < crossings.size(); ++i) {
    winding += crossings[i].turn;
    if (even_odd ? (i % 2 == 0) : winding != 0) result.push_back({crossings[i].x, crossings[i + 1].x});
  }
}

// A stroke is the union of its segments, each with round ends: convex, so one interval a line.
void stroked_at(const std::vector<segment>& segments, double radius, double y, std::vector<interval>& result) {
  for (const segment& s : segments) {
    interval found{std::numeric_limits<double>::max(), std::numeric_limits<double>::lowest()};
    const auto add = [&](double left, double right) {
      found.left = std::min(found.left, left);
      found.right = std::max(found.right, right);
    };
    for (const point& end : {s.a, s.b}) {
      const double dy = y - end.y;
      if (std::abs(dy) >= radius) continue;
      const double half = std::sqrt(radius * radius - dy * dy);
      add(end.x - half, end.x + half);
    }
    const double length = std::hypot(s.b.x - s.a.x, s.b.y - s.a.y);
    if (length > 0) {
      const double nx = -(s.b.y - s.a.y) / length * radius;
      const double ny = (s.b.x - s.a.x) / length * radius;
      const point corners[] = {
          {s.a.x + nx, s.a.y + ny}, {s.b.x + nx, s.b.y + ny}, {s.b.x - nx, s.b.y - ny}, {s.a.x - nx, s.a.y - ny}};
      for (int i = 0; i < 4; ++i) {
        const point& a = corners[i];
        const point& b = corners[(i + 1) % 4];
        if ((a.y <= y) == (b.y <= y)) continue;
        const double x = a.x + (b.x - a.x) * (y - a.y) / (b.y - a.y);
        add(x, x);
      }
    }
    if (found.left < found.right) result.push_back(found);
  }
}

void merge(std::vector<interval>& intervals) {
  std::sort(intervals.begin(), intervals.end(), [](const interval& a, const interval& b) { return a.left < b.left; });
  std::size_t kept = 0;
  for (const interval& next : intervals) {
    if (kept > 0 && next.left <= intervals[kept - 1].right) {
      intervals[kept - 1].right = std::max(intervals[kept - 1].right, next.right);
    } else {
      intervals[kept++] = next;
    }
  }
  intervals.resize(kept);
}

void add_coverage(const interval& span, std::vector<double>& row) {
  const double left = std::clamp(span.left, 0.0, static_cast<double>(row.size()));
  const double right = std::clamp(span.right, 0.0, static_cast<double>(row.size()));
  for (auto x = static_cast<std::size_t>(left); x < row.size() && static_cast<double>(x) < right; ++x) {
    const auto pixel = static_cast<double>(x);
    row[x] += (std::min(right, pixel + 1) - std::max(left, pixel)) / lines_in_a_pixel;
  }
}

template <class SpansAt>
void paint_over(canvas& target, const paint& color, const SpansAt& spans_at) {
  std::vector<interval> spans;
  std::vector<double> row(static_cast<std::size_t>(target.width));
  for (int y = 0; y < target.height; ++y) {
    std::fill(row.begin(), row.end(), 0.0);
    for (int i = 0; i < lines_in_a_pixel; ++i) {
      spans.clear();
      spans_at(y + (i + 0.5) / lines_in_a_pixel, spans);
      merge(spans);
      for (const interval& span : spans) add_coverage(span, row);
    }
    for (std::size_t x = 0; x < row.size(); ++x) {
      const double alpha = std::min(row[x], 1.0) * color[3];
      auto& pixel = target.pixels[static_cast<std::size_t>(y) * row.size() + x];
      for (std::size_t c = 0; c < 3; ++c) pixel[c] = pixel[c] * (1 - alpha) + color[c] * alpha;
      pixel[3] = pixel[3] * (1 - alpha) + alpha;
    }
  }
}

}  // namespace

void draw(canvas& target, const shape& shape, double scale) {
  if (shape.fill[3] > 0) {
    const std::vector<segment> segments = segments_of(shape, scale, true);
    paint_over(target, shape.fill,
               [&](double y, std::vector<interval>& spans) { filled_at(segments, shape.even_odd, y, spans); });
  }
  if (shape.stroke[3] > 0) {
    const std::vector<segment> segments = segments_of(shape, scale, false);
    paint_over(target, shape.stroke, [&](double y, std::vector<interval>& spans) {
      stroked_at(segments, shape.stroke_width * scale / 2, y, spans);
    });
  }
}

}  // namespace art
