#include "ui/timeline/row_drawing.h"

#include <algorithm>
#include <string>

#include "composition/window_layout.h"
#include "ui/timeline/row_layout.h"
#include "ui/toolkit/painter.h"
#include "ui/toolkit/palette.h"

namespace ui {
namespace {

constexpr int bar_top = 3;  // at scale 1, from the row's
constexpr int bar_bottom = ksn::layer_row_height - 2;
constexpr int mark_height = 2;
// In the columns of the signs. The eye leaves room for three digits, whose first one has some at its left.
constexpr int number_left = -1;
constexpr int number_right = row_column - 2;
constexpr int long_number_right = row_column + 2;
constexpr int eye_middle = row_column + 9;
constexpr int speaker_middle = 2 * row_column + 8;

const char* blend_letter(ksn::blend_type type) {
  constexpr const char* letters[] = {"N", "A", "M", "S", "D"};
  const auto index = static_cast<std::size_t>(type);
  return index < std::size(letters) ? letters[index] : "?";
}

const char* alpha_letter(ksn::alpha_type type) {
  constexpr const char* letters[] = {"i", "n", "p", "p'"};
  const auto index = static_cast<std::size_t>(type);
  return index < std::size(letters) ? letters[index] : "?";
}

lib::color bar_color(const ksn::track_info& track, bool selected) {
  if (selected) return palette::selected_bar;
  switch (track.source.type) {
    case ksn::source_type::text:
    case ksn::source_type::text_sequence:
      return palette::bar_text;
    case ksn::source_type::adjustment:
      return palette::bar_adjustment;
    default:
      return track.source.is_single_frame() ? palette::bar_still : palette::bar_sequence;
  }
}

bool plays(const ksn::track_info& track) {
  return track.look.visible || track.sound.audible;
}

lib::color ground_of(const drawn_row& row) {
  return row.selected ? palette::selected_row : row.index % 2 ? palette::row_other : palette::row;
}

// `part` of 255 of a colour over the row.
lib::color faded(lib::color color, lib::color ground, int part) {
  const auto mix = [part](int a, int b) { return static_cast<std::uint8_t>(b + (a - b) * part / 255); };
  return {255, mix(color.r, ground.r), mix(color.g, ground.g), mix(color.b, ground.b)};
}

lib::color color_of_bar(const drawn_row& row) {
  const lib::color ground = ground_of(row);
  if (!row.gone.empty()) return faded(palette::failed, ground, 90);
  const lib::color color = bar_color(row.track, row.selected);
  return plays(row.track) ? color : faded(color, ground, row.selected ? 150 : 90);
}

void draw_letters(painter& on, const ruler_scale& ruler, const drawn_row& row) {
  const int left = ruler.right() + on.px(6);
  const int bottom = row.top + on.px(ksn::layer_row_height);
  const int room = (ruler.width - (row.scrolls ? on.px(scroll_bar_width) : 0) - left) / 2;
  on.line(blend_letter(row.track.look.blend_type), "track.effect", palette::value, {left, row.top, left + room, bottom},
          painter::align::centre);
  on.line(alpha_letter(row.track.look.alpha_type), "track.effect", palette::text,
          {left + room, row.top, left + 2 * room, bottom}, painter::align::centre);
}

// A line where a layer that plays several times begins again.
void draw_passes(painter& on, const ruler_scale& ruler, const ksn::track_info& track, const rectangle& box) {
  const int length = track.length();
  if (track.source.is_single_frame() || length * ruler.pixels_per_frame() < on.px(4)) return;
  // A layer may have begun to repeat long before the timeline.
  const double before_box = ruler.frame_at(box.left) - track.timing.begin;
  const long long first = static_cast<long long>(std::max<double>(track.in(), before_box)) / length + 1;
  for (long long frame = first * length; frame < track.out(); frame += length) {
    const int x = ruler.x_of(static_cast<double>(track.timing.begin) + static_cast<double>(frame));
    if (x >= box.right) break;
    if (x > box.left) on.fill({x, box.top, x + on.px(1), box.bottom}, palette::row_rule);
  }
}

// The row below its parts. What a bar covers anyway is left out: it is most of what there is to fill.
void draw_ground(painter& on, const ruler_scale& ruler, const drawn_row& row, const rectangle& box) {
  const lib::color ground = ground_of(row);
  const int top = row.top + on.px(1);
  const int bottom = row.top + on.px(ksn::layer_row_height);
  const int corner = on.px(palette::field_radius);
  on.fill({0, row.top, ruler.width, top}, palette::row_rule);
  if (box.right - box.left <= 2 * corner) return on.fill({0, top, ruler.width, bottom}, ground);
  on.fill({0, top, ruler.width, box.top}, ground);
  on.fill({0, box.top, box.left + corner, box.bottom}, ground);
  on.fill({box.right - corner, box.top, ruler.width, box.bottom}, ground);
  on.fill({0, box.bottom, ruler.width, bottom}, ground);
}

rectangle box_of(const painter& on, const ruler_scale& ruler, const drawn_row& row) {
  const bar_place bar = bar_of(ruler, row.track);
  return {bar.begin, row.top + on.px(bar_top), bar.end, row.top + on.px(bar_bottom)};
}

void draw_bar(painter& on, const ruler_scale& ruler, const drawn_row& row, const rectangle& box) {
  const ksn::track_info& track = row.track;
  if (box.left >= box.right) return;
  const lib::color color = color_of_bar(row);
  on.round_fill(box, on.px(palette::field_radius), color);
  if (row.selected) on.round_frame(box, on.px(palette::field_radius), plays(track) ? palette::selected : color);
  if (row.gone.empty()) draw_holes(on, row.columns.holes, row.columns_left, box, color, ground_of(row));
  draw_passes(on, ruler, track, box);
  draw_marks(on, row.columns.marks, row.columns_left,
             {box.left, box.bottom - on.px(mark_height), box.right, box.bottom}, row.selected);
}

void draw_name(painter& on, const drawn_row& row, const rectangle& box) {
  if (box.left >= box.right) return;
  const ksn::track_info& track = row.track;
  const rectangle before = on.set_clip(math::intersect(on.clip(), box));
  const std::string percent = std::to_string(track.look.opacity) + "%";
  const int width = on.measure(percent, "track.opacity").x + on.px(8);
  const bool room = row.gone.empty() && box.right - box.left > 2 * width;
  std::string with_gone;
  if (!row.gone.empty()) with_gone.append(track.name).append("  ").append(row.gone);
  on.line(row.gone.empty() ? track.name : with_gone, "track.name",
          row.selected   ? palette::on_selected_bar
          : plays(track) ? palette::value
                         : palette::on_bar,
          {box.left + on.px(5), box.top, box.right - (room ? width : 0), box.bottom});
  if (room)
    on.line(percent, "track.opacity", row.selected ? palette::on_selected_bar : palette::on_bar,
            {box.right - width, box.top, box.right - on.px(5), box.bottom}, painter::align::right);
  on.set_clip(before);
}

void draw_signs(painter& on, const ruler_scale& ruler, const drawn_row& row, const rectangle& box) {
  const int bottom = row.top + on.px(ksn::layer_row_height);
  on.line(std::to_string(row.index + 1), "timeline.digits", row.selected ? palette::value : palette::quiet,
          {on.px(number_left), row.top, on.px(row.index < 99 ? number_right : long_number_right), bottom},
          painter::align::right);
  const int middle = (row.top + bottom) / 2;
  if (row.track.look.visible) on.art("visible", {on.px(eye_middle), middle});
  if (row.track.sound.audible) on.art("audible", {on.px(speaker_middle), middle});
  draw_letters(on, ruler, row);
  draw_name(on, row, box);
}

}  // namespace

void prepare_rows(const painter& on) {
  for (const char* font : {"timeline.digits", "track.effect", "track.name", "track.opacity"}) on.measure("0", font);
  on.art_of("visible");
}

void draw_row(painter& on, const ruler_scale& ruler, const drawn_row& row) {
  const rectangle box = box_of(on, ruler, row);
  draw_ground(on, ruler, row, box);
  draw_bar(on, ruler, row, box);
  draw_signs(on, ruler, row, box);
}

}  // namespace ui
