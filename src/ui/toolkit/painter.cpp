#include "ui/toolkit/painter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "ui/toolkit/mixing.h"

namespace ui {
namespace {

constexpr std::string_view ellipsis = "\u2026";

// How much of a pixel near a rounded corner is inside, 0 to 255: the pixel's centre against the circle.
std::uint8_t coverage_at(int radius, int from_left, int from_top) {
  const double dx = radius - from_left - 0.5;
  const double dy = radius - from_top - 0.5;
  const double inside = radius - std::sqrt(dx * dx + dy * dy) + 0.5;
  return static_cast<std::uint8_t>(std::lround(std::clamp(inside, 0.0, 1.0) * 255));
}

// The corners of the radii that the interface has, each of them some hundred times a picture.
class corner_table {
 public:
  corner_table() {
    for (int radius = 1; radius <= largest; ++radius) {
      for (int i = 0; i < radius * radius; ++i) {
        kept_[static_cast<std::size_t>(radius)][static_cast<std::size_t>(i)] =
            coverage_at(radius, i % radius, i / radius);
      }
    }
  }
  int at(int radius, int from_left, int from_top) const {
    if (radius > largest) return coverage_at(radius, from_left, from_top);
    return kept_[static_cast<std::size_t>(radius)][static_cast<std::size_t>(from_top * radius + from_left)];
  }

 private:
  static constexpr int largest = 8;
  std::array<std::array<std::uint8_t, largest * largest>, largest + 1> kept_{};
};

const corner_table& corners() {
  static const corner_table table;
  return table;
}

}  // namespace

painter::painter(img::image& target, const drawing_functions& functions, int scale, const mouse_handler* hot)
    : target_(target), functions_(functions), scale_(scale), hot_(hot), clip_{0, 0, target.width, target.height} {}

rectangle painter::set_clip(const rectangle& clip) {
  return std::exchange(clip_, math::intersect(clip, {0, 0, target_.width, target_.height}));
}

void painter::fill(const rectangle& box, lib::color color) {
  const rectangle seen = math::intersect(box, clip_);
  if (seen.empty() || color.a == 0) return;
  const std::uint8_t values[] = {color.b, color.g, color.r};
  const auto width = static_cast<std::size_t>(seen.right - seen.left);
  for (int plane = 0; plane < 3; ++plane) {
    const std::uint8_t value = values[plane];
    std::uint8_t* row = target_.row(plane, seen.top) + seen.left;
    for (int y = seen.top; y < seen.bottom; ++y, row += target_.width) {
      if (color.a < 255) {
        mix_row(row, width, value, color.a);
      } else if (width <= 2) {
        // Rules and ticks.
        row[0] = row[width - 1] = value;
      } else {
        std::memset(row, value, width);
      }
    }
  }
}

// `coverage` is 0 to 255 on top of the colour's own.
void painter::cover_pixel(int x, int y, lib::color color, int coverage) {
  if (x < clip_.left || x >= clip_.right || y < clip_.top || y >= clip_.bottom) return;
  const int weight = color.a * coverage / 255;
  if (weight == 0) return;
  const std::uint8_t values[] = {color.b, color.g, color.r};
  for (int plane = 0; plane < 3; ++plane) plain_mix_row(target_.row(plane, y) + x, 1, values[plane], weight);
}

// The four pixels that lie so far from the sides and from the upper and lower end of the box.
void painter::cover_corners(const rectangle& box, int x, int y, lib::color color, int coverage) {
  if (coverage <= 0) return;
  for (const int row : {box.top + y, box.bottom - 1 - y}) {
    cover_pixel(box.left + x, row, color, coverage);
    cover_pixel(box.right - 1 - x, row, color, coverage);
  }
}

void painter::frame(const rectangle& box, lib::color color) {
  const int width = scale_;
  fill({box.left, box.top, box.right, box.top + width}, color);
  fill({box.left, box.bottom - width, box.right, box.bottom}, color);
  fill({box.left, box.top + width, box.left + width, box.bottom - width}, color);
  fill({box.right - width, box.top + width, box.right, box.bottom - width}, color);
}

void painter::round_fill(const rectangle& box, int radius, lib::color color) {
  radius = std::max(std::min({radius, (box.right - box.left) / 2, (box.bottom - box.top) / 2}), 0);
  fill({box.left, box.top + radius, box.right, box.bottom - radius}, color);
  fill({box.left + radius, box.top, box.right - radius, box.top + radius}, color);
  fill({box.left + radius, box.bottom - radius, box.right - radius, box.bottom}, color);
  const corner_table& table = corners();
  for (int y = 0; y < radius; ++y) {
    for (int x = 0; x < radius; ++x) cover_corners(box, x, y, color, table.at(radius, x, y));
  }
}

void painter::round_frame(const rectangle& box, int radius, lib::color color) {
  radius = std::max(std::min({radius, (box.right - box.left) / 2, (box.bottom - box.top) / 2}), 0);
  const int width = scale_;
  const rectangle sides{box.left, box.top + radius, box.right, box.bottom - radius};
  fill({sides.left, sides.top, sides.left + width, sides.bottom}, color);
  fill({sides.right - width, sides.top, sides.right, sides.bottom}, color);
  const int level = std::min(width, radius);
  fill({box.left + radius, box.top, box.right - radius, box.top + level}, color);
  fill({box.left + radius, box.bottom - level, box.right - radius, box.bottom}, color);
  // The ring between the outer circle and the one that lies `width` further in.
  const corner_table& table = corners();
  for (int y = 0; y < radius; ++y) {
    for (int x = 0; x < radius; ++x) {
      const int inner = x >= width && y >= width ? table.at(radius - width, x - width, y - width) : 0;
      cover_corners(box, x, y, color, table.at(radius, x, y) - inner);
    }
  }
}

const img::image* painter::art_of(std::string_view name) const {
  return functions_.skin_image ? functions_.skin_image(std::string(name) + ".tga", scale_) : nullptr;
}

bool painter::art(std::string_view name, math::point point) {
  const img::image* image = art_of(name);
  if (image && functions_.draw_image) functions_.draw_image(target_, *image, point, &clip_);
  return image != nullptr;
}

math::point painter::measure(std::string_view text, std::string_view font, int max_width, int max_lines) const {
  if (!functions_.measure_text) return {};
  return functions_.measure_text(text, max_width, max_lines, font, scale_);
}

void painter::text(std::string_view text, std::string_view font, lib::color color, const text_place& place) {
  if (functions_.draw_text) functions_.draw_text(target_, text, font, scale_, color, place, &clip_);
}

void painter::line(std::string_view text, std::string_view font, lib::color color, const rectangle& box, align where,
                   int margin) {
  const int room = box.right - box.left - (where == align::centre ? 0 : margin);
  if (room <= 0 || text.empty()) return;
  std::string cut;
  math::point size = measure(text, font, 0, 1);
  if (size.x > room) {
    cut = elided(*this, text, font, room);
    text = cut;
    size = measure(text, font, 0, 1);
  }
  text_place place;
  place.position = {box.left, box.top + (box.bottom - box.top - size.y) / 2};
  place.max_lines = 1;
  if (where == align::left) place.position.x += margin;
  if (where == align::centre) place.position.x += (box.right - box.left - size.x) / 2;
  if (where == align::right) place.position.x = box.right - margin - size.x;
  const rectangle before = set_clip(math::intersect(clip_, box));
  this->text(text, font, color, place);
  clip_ = before;
}

std::string elided(const painter& on, std::string_view text, std::string_view font, int width) {
  if (width <= 0) return {};
  if (on.measure(text, font, 0, 1).x <= width) return std::string(text);
  // Cut between characters: following bytes of UTF-8 begin with the bits 10.
  const auto cut = [&](std::size_t length) {
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
    return std::string(text.substr(0, length)) + std::string(ellipsis);
  };
  std::size_t fits = 0;
  std::size_t exceeds = text.size();
  while (exceeds - fits > 1) {
    const std::size_t middle = (fits + exceeds) / 2;
    (on.measure(cut(middle), font, 0, 1).x <= width ? fits : exceeds) = middle;
  }
  return cut(fits);
}

}  // namespace ui
