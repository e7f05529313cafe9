#include "path_data.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <stdexcept>
#include <string>

namespace art {
namespace {

constexpr int curve_steps = 48;
constexpr double pi = std::numbers::pi;

class numbers {
 public:
  explicit numbers(std::string_view text) : text_(text), at_(text_.c_str()) {}
  void skip() {
    while (std::isspace(static_cast<unsigned char>(*at_)) || *at_ == ',') ++at_;
  }
  bool done() {
    skip();
    return *at_ == 0;
  }
  bool at_letter() {
    skip();
    return std::isalpha(static_cast<unsigned char>(*at_));
  }
  char letter() { return *at_++; }
  double next() {
    skip();
    char* end = nullptr;
    const double value = std::strtod(at_, &end);
    if (end == at_) throw std::invalid_argument("a number is missing at \"" + std::string(at_).substr(0, 12) + "\"");
    at_ = end;
    return value;
  }
  // Flags of arcs may stand without a separator.
  bool flag() {
    skip();
    if (*at_ != '0' && *at_ != '1') throw std::invalid_argument("a flag is 0 or 1");
    return *at_++ == '1';
  }

 private:
  std::string text_;
  const char* at_;
};

struct pen {
  std::vector<outline> lines;
  point at;
  point start;

  void move(point to) {
    lines.push_back({{to}, false});
    at = start = to;
  }
  void line(point to) {
    if (lines.empty()) throw std::invalid_argument("it begins without M");
    if (lines.back().closed) lines.push_back({{start}, false});
    lines.back().points.push_back(to);
    at = to;
  }
  void cubic(point b, point c, point d) {
    const point a = at;
    for (int i = 1; i <= curve_steps; ++i) {
      const double t = static_cast<double>(i) / curve_steps;
      const double u = 1 - t;
      const double w[] = {u * u * u, 3 * u * u * t, 3 * u * t * t, t * t * t};
      line({w[0] * a.x + w[1] * b.x + w[2] * c.x + w[3] * d.x, w[0] * a.y + w[1] * b.y + w[2] * c.y + w[3] * d.y});
    }
  }
  void quadratic(point b, point c) {
    const point a = at;
    cubic({a.x + (b.x - a.x) * 2 / 3, a.y + (b.y - a.y) * 2 / 3},
          {c.x + (b.x - c.x) * 2 / 3, c.y + (b.y - c.y) * 2 / 3}, c);
  }
  // The conversion to a centre is that of SVG 1.1, F.6.5.
  void arc(double rx, double ry, double degrees, bool large, bool sweep, point to) {
    rx = std::abs(rx);
    ry = std::abs(ry);
    if (rx == 0 || ry == 0 || (to.x == at.x && to.y == at.y)) return line(to);
    const double cosine = std::cos(degrees * pi / 180);
    const double sine = std::sin(degrees * pi / 180);
    const double hx = (at.x - to.x) / 2;
    const double hy = (at.y - to.y) / 2;
    const double x = cosine * hx + sine * hy;
    const double y = -sine * hx + cosine * hy;
    const double excess = x * x / (rx * rx) + y * y / (ry * ry);
    if (excess > 1) {
      rx *= std::sqrt(excess);
      ry *= std::sqrt(excess);
    }
    const double below = rx * rx * y * y + ry * ry * x * x;
    double factor = std::sqrt(std::max(0.0, (rx * rx * ry * ry - below) / below));
    if (large == sweep) factor = -factor;
    const double cx = factor * rx * y / ry;
    const double cy = -factor * ry * x / rx;
    const point centre{cosine * cx - sine * cy + (at.x + to.x) / 2, sine * cx + cosine * cy + (at.y + to.y) / 2};
    const double first = std::atan2((y - cy) / ry, (x - cx) / rx);
    double turn = std::atan2((-y - cy) / ry, (-x - cx) / rx) - first;
    if (sweep && turn < 0) turn += 2 * pi;
    if (!sweep && turn > 0) turn -= 2 * pi;
    for (int i = 1; i < curve_steps; ++i) {
      const double angle = first + turn * i / curve_steps;
      const double ex = rx * std::cos(angle);
      const double ey = ry * std::sin(angle);
      line({centre.x + cosine * ex - sine * ey, centre.y + sine * ex + cosine * ey});
    }
    line(to);
  }
};

}  // namespace

matrix matrix::operator*(const matrix& inner) const {
  return {a * inner.a + c * inner.b, b * inner.a + d * inner.b,     a * inner.c + c * inner.d,
          b * inner.c + d * inner.d, a * inner.e + c * inner.f + e, b * inner.e + d * inner.f + f};
}

double matrix::size() const {
  return std::sqrt(std::abs(a * d - b * c));
}

std::vector<outline> parse_path(std::string_view data) {
  numbers in(data);
  pen pen;
  char command = 0;
  point control;  // of the curve before, for those that go on smoothly
  char curve = 0;
  while (!in.done()) {
    if (in.at_letter()) {
      command = in.letter();
    } else if (command == 0 || command == 'Z' || command == 'z') {
      throw std::invalid_argument("a command is missing");
    }
    const bool relative = std::islower(static_cast<unsigned char>(command));
    const char kind = static_cast<char>(std::toupper(static_cast<unsigned char>(command)));
    const auto next_point = [&] {
      const double x = in.next();
      const double y = in.next();
      return relative ? point{pen.at.x + x, pen.at.y + y} : point{x, y};
    };
    const auto mirrored = [&](char like) {
      return curve == like ? point{2 * pen.at.x - control.x, 2 * pen.at.y - control.y} : pen.at;
    };
    char drawn = 0;
    switch (kind) {
      case 'M':
        pen.move(next_point());
        command = relative ? 'l' : 'L';
        break;
      case 'L':
        pen.line(next_point());
        break;
      case 'H':
        pen.line({in.next() + (relative ? pen.at.x : 0), pen.at.y});
        break;
      case 'V':
        pen.line({pen.at.x, in.next() + (relative ? pen.at.y : 0)});
        break;
      case 'C':
      case 'S': {
        const point b = kind == 'C' ? next_point() : mirrored('C');
        const point c = next_point();
        pen.cubic(b, c, next_point());
        control = c;
        drawn = 'C';
        break;
      }
      case 'Q':
      case 'T': {
        control = kind == 'Q' ? next_point() : mirrored('Q');
        pen.quadratic(control, next_point());
        drawn = 'Q';
        break;
      }
      case 'A': {
        const double rx = in.next();
        const double ry = in.next();
        const double degrees = in.next();
        const bool large = in.flag();
        const bool sweep = in.flag();
        pen.arc(rx, ry, degrees, large, sweep, next_point());
        break;
      }
      case 'Z':
        if (pen.lines.empty()) throw std::invalid_argument("it begins without M");
        pen.lines.back().closed = true;
        pen.at = pen.start;
        break;
      default:
        throw std::invalid_argument(std::string("there is no command ") + command);
    }
    curve = drawn;
  }
  return pen.lines;
}

matrix parse_transform(std::string_view text) {
  matrix result;
  while (true) {
    text.remove_prefix(std::min(text.find_first_not_of(" ,\t\n"), text.size()));
    if (text.empty()) return result;
    const std::size_t open = text.find('(');
    const std::size_t close = text.find(')');
    if (open == text.npos || close == text.npos || close < open) throw std::invalid_argument("a bracket is missing");
    const std::string_view name = text.substr(0, open);
    std::vector<double> values;
    for (numbers in(text.substr(open + 1, close - open - 1)); !in.done();) values.push_back(in.next());
    const std::size_t count = values.size();
    values.resize(6);
    matrix one;
    if (name == "translate" && count >= 1 && count <= 2) {
      one = {1, 0, 0, 1, values[0], values[1]};
    } else if (name == "scale" && count >= 1 && count <= 2) {
      one = {values[0], 0, 0, count == 2 ? values[1] : values[0], 0, 0};
    } else if (name == "rotate" && (count == 1 || count == 3)) {
      const double angle = values[0] * pi / 180;
      const matrix turn{std::cos(angle), std::sin(angle), -std::sin(angle), std::cos(angle), 0, 0};
      one = matrix{1, 0, 0, 1, values[1], values[2]} * turn * matrix{1, 0, 0, 1, -values[1], -values[2]};
    } else if (name == "matrix" && count == 6) {
      one = {values[0], values[1], values[2], values[3], values[4], values[5]};
    } else {
      throw std::invalid_argument(std::string(name));
    }
    result = result * one;
    text.remove_prefix(close + 1);
  }
}

outline rounded_box(double x, double y, double width, double height, double radius) {
  radius = std::min({radius, width / 2, height / 2});
  outline box{{}, true};
  if (radius <= 0) {
    box.points = {{x, y}, {x + width, y}, {x + width, y + height}, {x, y + height}};
    return box;
  }
  const point centres[] = {{x + width - radius, y + radius},
                           {x + width - radius, y + height - radius},
                           {x + radius, y + height - radius},
                           {x + radius, y + radius}};
  constexpr int steps = curve_steps / 4;
  for (int corner = 0; corner < 4; ++corner) {
    for (int i = 0; i <= steps; ++i) {
      const double angle = (corner - 1 + static_cast<double>(i) / steps) * pi / 2;
      box.points.push_back(
          {centres[corner].x + radius * std::cos(angle), centres[corner].y + radius * std::sin(angle)});
    }
  }
  return box;
}

outline ellipse(double cx, double cy, double rx, double ry) {
  outline round{{}, true};
  for (int i = 0; i < 2 * curve_steps; ++i) {
    const double angle = i * pi / curve_steps;
    round.points.push_back({cx + rx * std::cos(angle), cy + ry * std::sin(angle)});
  }
  return round;
}

}  // namespace art
