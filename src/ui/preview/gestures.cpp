#include "ui/preview/gestures.h"

#include <cstdlib>

#include "render/places.h"

namespace ui {
namespace {

constexpr int least_width = 3;  // of what the pointer can find

rectangle widened(rectangle box) {
  const auto widen = [](int& first, int& end) {
    const int missing = least_width - (end - first);
    if (missing <= 0) return;
    first -= missing / 2;
    end = first + least_width;
  };
  widen(box.left, box.right);
  widen(box.top, box.bottom);
  return box;
}

// The corners reach 2 pixels outside and half a length inside; the sides 1 pixel outside and 2 inside, half a length
// from their middle both ways.
handle layer_handle(const rectangle& box, math::point point, int scale) {
  const int width = box.right - box.left;
  const int height = box.bottom - box.top;
  if (width < least_box * scale || height < least_box * scale) return {};
  const int half = handle_length(width / scale, height / scale) / 2 * scale;
  const auto corner = [&](int at, int first, int end) {
    if (at >= first - 2 * scale && at < first + half) return 0;
    return at >= end - half && at < end + 2 * scale ? 2 : 1;
  };
  const auto side = [&](int at, int first, int end) {
    if (at >= first - scale && at < first + 2 * scale) return 0;
    return at >= end - 2 * scale && at < end + scale ? 2 : 1;
  };
  const auto middle = [&](int at, int first, int end) { return std::abs(2 * at + 1 - first - end) <= 2 * half; };
  const int x = corner(point.x, box.left, box.right);
  const int y = corner(point.y, box.top, box.bottom);
  if (x != 1 && y != 1) return {handle::box_kind::layer, x, y};
  const int across = side(point.x, box.left, box.right);
  const int down = side(point.y, box.top, box.bottom);
  if (across != 1 && middle(point.y, box.top, box.bottom)) return {handle::box_kind::layer, across, 1};
  if (down != 1 && middle(point.x, box.left, box.right)) return {handle::box_kind::layer, 1, down};
  return {};
}

// Two pixels around the corners and all along the sides.
handle crop_handle(const rectangle& box, math::point point, int scale) {
  const int reach = 2 * scale;
  const auto near = [&](int at, int first, int end) {
    // A rectangle without a width is found by its end, so that it can be drawn open again.
    if (std::abs(at - end) <= reach) return 2;
    return std::abs(at - first) <= reach ? 0 : 1;
  };
  if (point.x < box.left - reach || point.x > box.right + reach || point.y < box.top - reach ||
      point.y > box.bottom + reach)
    return {};
  const handle found{handle::box_kind::crop, near(point.x, box.left, box.right), near(point.y, box.top, box.bottom)};
  return found.across == 1 && found.down == 1 ? handle{} : found;
}

}  // namespace

int handled_layer(const ksn::state& composition) {
  return composition.doc.selection.empty() ? -1 : *composition.doc.selection.begin();
}

int layer_at(const ksn::state& composition, const render::frame_view& view, math::point point) {
  const int handled = handled_layer(composition);
  for (int i = 0; i < composition.doc.track_count(); ++i) {
    const ksn::track_info& track = composition.doc.track_at(i);
    if (track.source.width <= 0 || track.source.height <= 0 || (!track.look.visible && i != handled)) continue;
    if (holds(widened(render::picture_place(track, view)), point)) return i;
  }
  return -1;
}

int handle_length(int width, int height) {
  if (width >= 60 && height >= 60) return 20;
  return width >= 30 && height >= 30 ? 10 : 5;
}

handle find_handle(const rectangle& box, const rectangle* crop, math::point point, int scale) {
  if (box.right - box.left < least_box * scale || box.bottom - box.top < least_box * scale) return {};
  const handle found = layer_handle(box, point, scale);
  return found.of == handle::box_kind::none && crop ? crop_handle(*crop, point, scale) : found;
}

gesture choose_gesture(const press& press) {
  using platform::mouse_button;
  const bool shift = (press.modifiers & platform::key_shift) != 0;
  const bool ctrl = (press.modifiers & platform::key_ctrl) != 0;
  const bool alt = (press.modifiers & platform::key_alt) != 0;
  if (press.button == mouse_button::right) return press.brush ? gesture::erase : gesture::none;
  if (press.button == mouse_button::middle && !shift) {
    if (!alt) return gesture::pan;
    return ctrl ? gesture::zoom_at_point : gesture::zoom;
  }
  if (press.button == mouse_button::left) {
    if (press.modifiers & platform::key_caps) {
      if (press.over_crop) return gesture::crop;
      return press.selected > 0 ? gesture::layers : gesture::none;
    }
    if (!shift) {
      if (alt && !ctrl) return gesture::pan;
      if (!press.brush) return alt ? gesture::area : gesture::scrub;
      if (!ctrl) return gesture::paint;
      return alt ? gesture::brush_color : gesture::brush_size;
    }
  }
  if (!shift) return gesture::none;
  if (press.over_crop) return gesture::crop;
  if (press.selected > 1 || (press.selected == 1 && !alt && press.over_layer)) return gesture::layers;
  return gesture::layers_at_point;
}

}  // namespace ui
