#include "ui/toolkit/painter.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace ui {
namespace {

constexpr std::string_view ellipsis = "\u2026";

// How much of a row's first pixels a rounded corner covers, 0 to 255: the pixel's centre against the circle.
int corner_coverage(int radius, int from_left, int from_top) {
  const double dx = radius - from_left - 0.5;
  const double dy = radius - from_top - 0.5;
  const double inside = radius - std::sqrt(dx * dx + dy * dy) + 0.5;
  return static_cast<int>(std::lround(std::clamp(inside, 0.0, 1.0) * 255));
}

// The rows of a box with rounded corners of that radius that have no corner.
rectangle straight_part(const rectangle& box, int radius) {
  return {box.left, box.top + radius, box.right, box.bottom - radius};
}

}  // namespace

painter::painter(img::image& target, const drawing_functions& functions, int scale, const mouse_handler* hot)
    : target_(target), functions_(functions), scale_(scale), hot_(hot), clip_{0, 0, target.width, target.height} {}

rectangle painter::set_clip(const rectangle& clip) {
  return std::exchange(clip_, math::intersect(clip, {0, 0, target_.width, target_.height}));
}

// `coverage` is 0 to 255 on top of the colour's own.
void painter::cover_row(int y, int left, int right, lib::color color, int coverage) {
  left = std::max(left, clip_.left);
  right = std::min(right, clip_.right);
  if (left >= right || y < clip_.top || y >= clip_.bottom) return;
  const int weight = color.a * coverage / 255;
  const std::uint8_t values[] = {color.b, color.g, color.r};
  for (int plane = 0; plane < 3; ++plane) {
    std::uint8_t* row = target_.row(plane, y);
    if (weight >= 255) {
      std::memset(row + left, values[plane], static_cast<std::size_t>(right - left));
      continue;
    }
    for (int x = left; x < right; ++x) {
      row[x] = static_cast<std::uint8_t>((row[x] * (255 - weight) + values[plane] * weight + 127) / 255);
    }
  }
}

void painter::fill(const rectangle& box, lib::color color) {
  const rectangle seen = math::intersect(box, clip_);
  if (seen.empty()) return;
  if (color.a == 255) return fill_opaque(seen, color);
  for (int y = std::max(box.top, clip_.top); y < std::min(box.bottom, clip_.bottom); ++y) {
    cover_row(y, box.left, box.right, color, 255);
  }
}

void painter::fill_opaque(const rectangle& seen, lib::color color) {
  const std::uint8_t values[] = {color.b, color.g, color.r};
  const auto width = static_cast<std::size_t>(seen.right - seen.left);
  for (int plane = 0; plane < 3; ++plane) {
    std::uint8_t* row = target_.row(plane, seen.top) + seen.left;
    for (int y = seen.top; y < seen.bottom; ++y, row += target_.width) {
      if (width == 1) {
        *row = values[plane];
      } else {
        std::memset(row, values[plane], width);
      }
    }
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
  radius = std::min({radius, (box.right - box.left) / 2, (box.bottom - box.top) / 2});
  fill(straight_part(box, radius), color);
  for (int from_top = 0; from_top < radius; ++from_top) {
    for (const int y : {box.top + from_top, box.bottom - 1 - from_top}) {
      for (int x = 0; x < radius; ++x) {
        const int coverage = corner_coverage(radius, x, from_top);
        cover_row(y, box.left + x, box.left + x + 1, color, coverage);
        cover_row(y, box.right - 1 - x, box.right - x, color, coverage);
      }
      cover_row(y, box.left + radius, box.right - radius, color, 255);
    }
  }
}

void painter::round_frame(const rectangle& box, int radius, lib::color color) {
  radius = std::min({radius, (box.right - box.left) / 2, (box.bottom - box.top) / 2});
  const int width = scale_;
  const rectangle sides = straight_part(box, radius);
  fill({sides.left, sides.top, sides.left + width, sides.bottom}, color);
  fill({sides.right - width, sides.top, sides.right, sides.bottom}, color);
  for (int from_top = 0; from_top < radius; ++from_top) {
    for (const int y : {box.top + from_top, box.bottom - 1 - from_top}) {
      // The ring between the outer circle and the one that lies `width` further in.
      for (int x = 0; x < radius; ++x) {
        const int inner =
            x >= width && from_top >= width ? corner_coverage(radius - width, x - width, from_top - width) : 0;
        const int coverage = corner_coverage(radius, x, from_top) - inner;
        cover_row(y, box.left + x, box.left + x + 1, color, coverage);
        cover_row(y, box.right - 1 - x, box.right - x, color, coverage);
      }
      if (from_top < width) cover_row(y, box.left + radius, box.right - radius, color, 255);
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
