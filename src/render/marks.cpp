#include "render/marks.h"

#include <cmath>
#include <cstring>

#include "lib/parallel.h"
#include "render/overlays.h"
#include "render/places.h"

namespace render {
namespace {

constexpr int thirds_opacity = 102;  // 40 % of 255, of white
constexpr int pixels_opacity = 41;   // 16 %

// Calls change(row, first, end) for each run of samples outside `inside`, of the first `planes` planes.
template <class Change>
void change_outside(img::image& picture, const rectangle& inside, int planes, const Change& change) {
  const rectangle kept = intersect(inside, {0, 0, picture.width, picture.height});
  lib::parallel_rows(picture.height, 1LL * picture.width * picture.height, [&](int top, int bottom) {
    for (int plane = 0; plane < planes; ++plane) {
      for (int y = top; y < bottom; ++y) {
        std::uint8_t* row = picture.row(plane, y);
        const bool crosses = !kept.empty() && y >= kept.top && y < kept.bottom;
        change(plane, row, row + (crosses ? kept.left : picture.width));
        if (crosses) change(plane, row + kept.right, row + picture.width);
      }
    }
  });
}

// Halves each sample, eight at a time.
void darken(std::uint8_t* first, std::uint8_t* end) {
  for (std::uint64_t eight; end - first >= 8; first += 8) {
    std::memcpy(&eight, first, sizeof eight);
    eight = eight >> 1 & 0x7F7F7F7F7F7F7F7F;
    std::memcpy(first, &eight, sizeof eight);
  }
  for (; first < end; ++first) *first = static_cast<std::uint8_t>(*first >> 1);
}

// White at that opacity over every pixel of the box.
void lighten(img::image& picture, const rectangle& box, int opacity) {
  const rectangle seen = intersect(box, {0, 0, picture.width, picture.height});
  for (int plane = 0; plane < 3; ++plane) {
    for (int y = seen.top; y < seen.bottom; ++y) {
      std::uint8_t* row = picture.row(plane, y);
      for (int x = seen.left; x < seen.right; ++x) {
        row[x] = static_cast<std::uint8_t>(row[x] + (255 - row[x]) * opacity / 255);
      }
    }
  }
}

void draw_grid(img::image& picture, const rectangle& output, math::point size, const frame_view& view) {
  const int width = output.right - output.left;
  const int height = output.bottom - output.top;
  const auto column = [&](int x, int opacity) { lighten(picture, {x, output.top, x + 1, output.bottom}, opacity); };
  const auto line = [&](int y, int opacity) { lighten(picture, {output.left, y, output.right, y + 1}, opacity); };
  if (std::min(view.zoom_x, view.zoom_y) >= pixel_grid_zoom) {
    // Only those that are seen: the first and the last pixel come from the picture's edges.
    const auto each = [](int from, int length, int pixels, int edge, const auto& draw) {
      const double step = static_cast<double>(length) / std::max(pixels, 1);
      const int first = std::max(static_cast<int>(-from / step), 1);
      for (int i = first; i < pixels; ++i) {
        const int at = from + static_cast<int>(static_cast<long long>(i) * length / pixels);
        if (at >= edge) break;
        draw(at, pixels_opacity);
      }
    };
    each(output.left, width, size.x, picture.width, column);
    each(output.top, height, size.y, picture.height, line);
  }
  for (const int third : {1, 2}) {
    column(output.left + static_cast<int>(static_cast<long long>(width) * third / 3), thirds_opacity);
    line(output.top + static_cast<int>(static_cast<long long>(height) * third / 3), thirds_opacity);
  }
}

}  // namespace

void cut_to_output(img::image& picture, const ksn::state& composition, const frame_view& view) {
  using enum ksn::mask_type_t;
  if (view.marks.mask != crop && view.marks.mask != crop_safe) return;
  const lib::color color = composition.doc.resolved_back_color();
  const std::uint8_t samples[] = {color.b, color.g, color.r, 0, 0};
  change_outside(picture, output_place(composition, view), 5,
                 [&samples](int plane, std::uint8_t* first, std::uint8_t* end) {
                   std::memset(first, samples[plane], static_cast<std::size_t>(end - first));
                 });
}

void draw_marks(img::image& picture, const ksn::state& composition, const frame_view& view) {
  const view_marks& marks = view.marks;
  if (marks == view_marks{}) return;
  const rectangle output = output_place(composition, view);
  const rectangle all{0, 0, picture.width, picture.height};
  if (marks.mask == ksn::mask_type_t::transparent) {
    change_outside(picture, output, 3, [](int, std::uint8_t* first, std::uint8_t* end) { darken(first, end); });
  }
  if (marks.mask == ksn::mask_type_t::crop_safe) {
    draw_outline(picture, {output.left - 1, output.top - 1, output.right + 1, output.bottom + 1}, mask_frame_color,
                 all);
  }
  if (marks.safe_area != ksn::safe_area_type_t::none) {
    const bool orange = marks.safe_area == ksn::safe_area_type_t::orange;
    draw_safe_area(picture, output, orange ? safe_area_orange : safe_area_blue, nullptr, all);
  }
  if (marks.grid) draw_grid(picture, output, composition.doc.mask_size, view);
}

}  // namespace render
