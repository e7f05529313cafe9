#include "ui/preview/selection.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "render/places.h"
#include "ui/preview/gestures.h"
#include "ui/preview/view_drags.h"
#include "ui/toolkit/palette.h"

namespace ui {
namespace {

constexpr int margin = 4;  // around words, at scale 1

rectangle grown(const rectangle& box, int by) {
  return {box.left - by, box.top - by, box.right + by, box.bottom + by};
}

// Corners as angles and sides as bars, as far as the handles reach.
void draw_handles(painter& on, const rectangle& box, lib::color color) {
  const int width = box.right - box.left;
  const int height = box.bottom - box.top;
  if (width < on.px(least_box) || height < on.px(least_box)) return;
  const int half = on.px(handle_length(width / on.scale(), height / on.scale()) / 2);
  const int thick = on.px(3);
  const rectangle outer = grown(box, on.px(1));
  const math::point middle{(box.left + box.right) / 2, (box.top + box.bottom) / 2};
  for (const int side : {0, 1}) {
    const int top = side ? outer.bottom - thick : outer.top;
    on.fill({outer.left, top, outer.left + half, top + thick}, color);
    on.fill({outer.right - half, top, outer.right, top + thick}, color);
    on.fill({middle.x - half, top, middle.x + half, top + thick}, color);
    const int left = side ? outer.right - thick : outer.left;
    on.fill({left, outer.top, left + thick, outer.top + half}, color);
    on.fill({left, outer.bottom - half, left + thick, outer.bottom}, color);
    on.fill({left, middle.y - half, left + thick, middle.y + half}, color);
  }
}

void draw_words(painter& on, const std::string& text, math::point corner) {
  text_place place;
  place.line_gap = on.px(2);
  math::point size = on.measure(text, "layer_selection");
  size.y += place.line_gap * static_cast<int>(std::count(text.begin(), text.end(), '\n'));
  corner.x = std::clamp(corner.x, 0, std::max(on.target().width - size.x - on.px(2 * margin), 0));
  const rectangle box{corner.x, corner.y, corner.x + size.x + on.px(2 * margin), corner.y + size.y + on.px(2 * margin)};
  on.fill(box, palette::with_alpha(palette::gray(16), 190));
  place.position = {box.left + on.px(margin), box.top + on.px(margin)};
  on.text(text, "layer_selection", palette::value, place);
}

// Nothing is drawn over what lies below the preview.
class in_preview {
 public:
  in_preview(painter& on, const workbench& bench) : on_(on) {
    const ksn::window_layout layout = bench.layout();
    before_ = on.set_clip({0, 0, layout.size.x, layout.split});
  }
  ~in_preview() { on_.set_clip(before_); }
  in_preview(const in_preview&) = delete;
  in_preview& operator=(const in_preview&) = delete;

 private:
  painter& on_;
  rectangle before_;
};

}  // namespace

bool takes_hold(const workbench& bench) {
  return (bench.input.modifiers() & (platform::key_shift | platform::key_caps)) != 0;
}

void draw_selection(painter& on, workbench& bench) {
  const in_preview clip(on, bench);
  const ksn::state& composition = bench.composition;
  const render::frame_view view = preview_view(bench);
  const int handled = handled_layer(composition);
  for (const int index : composition.doc.selection) {
    const ksn::track_info& track = composition.doc.track_at(index);
    const rectangle box = render::picture_place(track, view);
    if (box.empty()) continue;
    on.frame(grown(box, on.px(1)), palette::selected);
    if (index != handled) continue;
    draw_handles(on, box, palette::selected);
    if (!track.placement.crop) continue;
    const rectangle crop = render::crop_place(track, view);
    on.frame(grown(crop, on.px(1)), palette::live);
    draw_handles(on, crop, palette::live);
  }
}

std::string describe_layer(const ksn::track_info& track) {
  const ksn::layer_placement& placement = track.placement;
  char text[160];
  std::snprintf(text, sizeof text, ", %d x %d", track.source.width, track.source.height);
  std::string words = track.name + text;
  if (placement.aspect != 1.0) {
    std::snprintf(text, sizeof text, ", %.3f", placement.aspect);
    words += text;
  }
  if (placement.scale_x == placement.scale_y) {
    std::snprintf(text, sizeof text, ", %d%%", placement.scale_x);
  } else {
    std::snprintf(text, sizeof text, ", %d%% %d%%", placement.scale_x, placement.scale_y);
  }
  words += text;
  std::snprintf(text, sizeof text, "\n%d, %d", placement.pos.x, placement.pos.y);
  return words + text;
}

void draw_layer_under_pointer(painter& on, workbench& bench) {
  const in_preview clip(on, bench);
  const ksn::state& composition = bench.composition;
  const render::frame_view view = preview_view(bench);
  const math::point at = bench.input.pointer();
  const int index = layer_at(composition, view, at);
  if (index >= 0) {
    const ksn::track_info& track = composition.doc.track_at(index);
    const rectangle box = render::picture_place(track, view);
    if (!composition.doc.selection.contains(index)) on.frame(grown(box, on.px(1)), palette::gray(226, 140));
    draw_words(on, describe_layer(track), {std::max(box.left, 0), std::max(box.top, 0)});
  }
  char text[64];
  const math::pointd& pan = composition.view.pan_position;
  std::snprintf(text, sizeof text, "X: %d  Y: %d",
                static_cast<int>(std::floor((at.x - view.width / 2) / view.zoom_x - pan.x)),
                static_cast<int>(std::floor((at.y - view.height / 2) / view.zoom_y - pan.y)));
  draw_words(on, text, {at.x + on.px(12), at.y + on.px(16)});
}

}  // namespace ui
