#include "render/text/layer_picture.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "render/text/line_places.h"

namespace render {
namespace {

constexpr int shadow_offset = 2;  // pixels, both ways
constexpr int outline_width = 1;

struct placed_line {
  std::shared_ptr<const text::mask> ink;
  int left = 0;  // where the line begins
  int top = 0;
  int width = 0;
};

// One sample of a colour with straight alpha over one that may be transparent.
struct over {
  int alpha;  // of the colour at this pixel
  int below;  // what shows of the alpha below, times 255
  int total;  // the alpha of both, times 255
  std::uint8_t mix(int color, int under) const {
    return static_cast<std::uint8_t>((color * alpha * 255 + under * below + total / 2) / total);
  }
};

void cover_pixel(img::image& target, std::size_t at, lib::color color, int coverage) {
  const int alpha = (coverage * color.a + 127) / 255;
  if (alpha == 0) return;
  std::uint8_t& stored = target.data[3].data()[at];
  const over mix{alpha, stored * (255 - alpha), alpha * 255 + stored * (255 - alpha)};
  const int values[] = {color.b, color.g, color.r};
  for (int plane = 0; plane < 3; ++plane) {
    std::uint8_t& sample = target.data[static_cast<std::size_t>(plane)].data()[at];
    sample = mix.mix(values[plane], sample);
  }
  stored = static_cast<std::uint8_t>((mix.total + 127) / 255);
}

// Draws the mask with its corner at a place. Returns the part that lies in the picture.
math::rectangle cover(img::image& target, const text::mask& mask, int left, int top, lib::color color) {
  const math::rectangle area =
      math::intersect({left, top, left + mask.width, top + mask.height}, {0, 0, target.width, target.height});
  for (int y = area.top; y < area.bottom; ++y) {
    const std::uint8_t* coverage = mask.coverage.data() + static_cast<std::size_t>(y - top) * mask.width;
    const std::size_t row = static_cast<std::size_t>(y) * target.width;
    for (int x = area.left; x < area.right; ++x) {
      const int covered = coverage[x - left];
      if (covered != 0) cover_pixel(target, row + static_cast<std::size_t>(x), color, covered);
    }
  }
  return area;
}

void fill_box(img::image& target, const math::rectangle& box, lib::color color) {
  const std::uint8_t values[] = {color.b, color.g, color.r, color.a};
  for (int plane = 0; plane < 4; ++plane) {
    for (int y = box.top; y < box.bottom; ++y) {
      std::memset(target.row(plane, y) + box.left, values[plane], static_cast<std::size_t>(box.right - box.left));
    }
  }
}

// The mask grown by a pixel on all sides: each sample is the largest of its neighbours.
text::mask grown(const text::mask& mask) {
  text::mask wide{mask.left - outline_width, mask.top - outline_width, mask.width + 2, mask.height + 2, {}};
  const auto width = static_cast<std::size_t>(wide.width);
  std::vector<std::uint8_t> across(width * static_cast<std::size_t>(mask.height));
  for (int y = 0; y < mask.height; ++y) {
    const std::uint8_t* from = mask.coverage.data() + static_cast<std::size_t>(y) * mask.width;
    std::uint8_t* to = across.data() + static_cast<std::size_t>(y) * width;
    for (int x = 0; x < mask.width; ++x) {
      for (int i = 0; i < 3; ++i) to[x + i] = std::max(to[x + i], from[x]);
    }
  }
  wide.coverage.resize(width * static_cast<std::size_t>(wide.height));
  for (int y = 0; y < mask.height; ++y) {
    const std::uint8_t* from = across.data() + static_cast<std::size_t>(y) * width;
    for (int i = 0; i < 3; ++i) {
      std::uint8_t* to = wide.coverage.data() + static_cast<std::size_t>(y + i) * width;
      for (std::size_t x = 0; x < width; ++x) to[x] = std::max(to[x], from[x]);
    }
  }
  return wide;
}

math::rectangle united(const math::rectangle& a, const math::rectangle& b) {
  if (a.empty()) return b;
  if (b.empty()) return a;
  return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right), std::max(a.bottom, b.bottom)};
}

// The lines at their places, those without ink too. No ink of those that lie outside the picture is asked for.
std::vector<placed_line> place_lines(text::fonts& fonts, const ksn::text_attributes& attributes, const text::font& font,
                                     std::string_view text, const img::image& target) {
  std::vector<placed_line> lines;
  for (const line_place& place : place_text_lines(fonts, attributes, text, target.width, target.height)) {
    // Ink may hang over its line by as much again.
    if (place.top > target.height + place.height) break;
    if (place.top + 2 * place.height < 0) continue;
    placed_line line{nullptr, place.left, place.top, place.width};
    if (place.last > place.first) line.ink = fonts.mask_of(font, text.substr(place.first, place.last - place.first));
    lines.push_back(std::move(line));
  }
  return lines;
}

}  // namespace

int text_layer_margin(int line_height) {
  return std::max(line_height / 4, shadow_offset + outline_width);
}

math::rectangle draw_text_layer(text::fonts& fonts, const ksn::text_attributes& attributes, std::string_view text,
                                img::image& target) {
  const text::font font{attributes.font, attributes.size, attributes.bold, attributes.italic};
  const int height = fonts.metrics_of(font).height;
  const int margin = text_layer_margin(height);
  const std::vector<placed_line> lines = place_lines(fonts, attributes, font, text, target);
  const math::rectangle whole{0, 0, target.width, target.height};
  math::rectangle drawn;
  if (attributes.back_enabled && attributes.back_color.a > 0) {
    math::rectangle box = attributes.back_cover_layer ? whole : math::rectangle();
    for (const placed_line& line : lines) {
      if (line.width == 0) continue;
      box = united(box, {line.left - margin, line.top - margin / 2, line.left + line.width + margin,
                         line.top + height + margin / 2});
    }
    box = math::intersect(box, whole);
    if (!box.empty()) fill_box(target, box, attributes.back_color);
    drawn = box;
  }
  const bool outlined = attributes.outline_color.a > 0;
  std::vector<text::mask> outlines(lines.size());
  if (outlined) {
    for (std::size_t i = 0; i < lines.size(); ++i) {
      if (lines[i].ink) outlines[i] = grown(*lines[i].ink);
    }
  }
  const auto add = [&](std::size_t i, const text::mask& mask, int offset, lib::color color) {
    drawn =
        united(drawn, cover(target, mask, lines[i].left + mask.left + offset, lines[i].top + mask.top + offset, color));
  };
  for (std::size_t i = 0; i < lines.size() && attributes.shadow_color.a > 0; ++i) {
    if (lines[i].ink) add(i, outlined ? outlines[i] : *lines[i].ink, shadow_offset, attributes.shadow_color);
  }
  for (std::size_t i = 0; i < lines.size() && outlined; ++i) {
    if (lines[i].ink) add(i, outlines[i], 0, attributes.outline_color);
  }
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (lines[i].ink) add(i, *lines[i].ink, 0, attributes.color);
  }
  return drawn;
}

void clear_box(img::image& target, const math::rectangle& box) {
  if (!box.empty()) fill_box(target, box, {0, 0, 0, 0});
}

void set_alpha_hints(img::image& target, const math::rectangle& box, bool wanted) {
  std::vector<img::row_hint>& hints = target.hint[3];
  hints.clear();
  if (!wanted) return;
  // A row without ink keeps its first column, which is empty as well: a hint has its last column in it.
  hints.resize(static_cast<std::size_t>(target.height));
  for (int y = box.top; y < box.bottom; ++y) hints[static_cast<std::size_t>(y)] = {box.left, box.right - 1};
}

}  // namespace render
