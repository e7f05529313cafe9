#include "render/counter.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "composition/opening/sequence_pattern.h"
#include "img/timecode.h"
#include "lib/palette.h"
#include "lib/paths.h"
#include "text/draw.h"

namespace render {
namespace {

constexpr const char* nothing = "--";

std::string or_nothing(std::string text) {
  return text.empty() ? nothing : text;
}

std::string number_in_name(const ksn::track_info& track, double time) {
  const double position = track.source_position(time);
  if (position < 0) return nothing;
  const ksn::layer_source& source = track.source;
  const bool single = source.type == ksn::source_type::image;
  if (!single && source.type != ksn::source_type::sequence) return nothing;
  const std::string path = source.frame_path(static_cast<int>(position));
  std::string pattern = source.mask;
  if (single && !ksn::build_pattern(path, pattern)) return nothing;
  const int number = ksn::match_number(lib::file_name(path), lib::file_name(pattern));
  return number == ksn::no_number ? nothing : std::to_string(number);
}

}  // namespace

const ksn::track_info* told_layer(const ksn::state& composition, double time) {
  if (const ksn::track_info* selected = composition.doc.selected_track()) return selected;
  for (const ksn::track_info& track : composition.doc.tracks) {
    if (track.look.visible && track.source.width > 0 && track.source_position(time) >= 0) return &track;
  }
  return nullptr;
}

std::string counter_text(pipeline& pipeline, const ksn::state& composition, double time) {
  using enum ksn::counter_type_t;
  const ksn::counter_type_t kind = composition.workspace.counter_type;
  const int shown = static_cast<int>(std::floor(time));
  if (kind == frame) return std::to_string(shown + composition.doc.frame_base);
  if (kind == timecode) return or_nothing(img::to_text(img::timecode_of_frame(shown, composition.doc.fpcs)));
  const ksn::track_info* track = told_layer(composition, time);
  if (!track) return nothing;
  if (kind == frame_from_name) return number_in_name(*track, time);
  if (!track->look.visible || track->source_position(time) < 0) return nothing;
  const img::const_image_ptr picture = pipeline.layer_image(composition, *track, time, composition.view.resolution);
  if (!picture) return nothing;
  switch (kind) {
    case embedded_frame:
      return picture->frame < 0 ? nothing : std::to_string(picture->frame);
    case embedded_timecode:
      return or_nothing(to_text(picture->timecode));
    case embedded_timecode2:
      return or_nothing(to_text(picture->timecode2));
    case embedded_keycode:
      return or_nothing(to_text(picture->keycode));
    default:
      return nothing;
  }
}

void draw_counter(img::image& picture, pipeline& pipeline, const ksn::state& composition, double time) {
  constexpr int margin = 6;  // beside the text, at scale 1
  const int scale = composition.interface_scale;
  const std::string text = counter_text(pipeline, composition, time);
  const text::font font = text::interface_font("small", scale);
  const text::extent size = text::measure_text(pipeline.fonts(), text, 0, 1, font);
  const int width = size.width + 2 * margin * scale;
  const int middle = picture.width / 2 + (counter_left + counter_right) / 2 * scale;
  const int left = std::max(std::min(middle + width / 2, picture.width) - width, 0);
  const int top = picture.height - counter_height * scale;
  const rectangle plate = intersect({left, top, left + width, picture.height}, {0, 0, picture.width, picture.height});
  if (size.width <= 0 || plate.empty()) return;
  const lib::color ground = lib::palette::ground;
  const std::uint8_t samples[] = {ground.b, ground.g, ground.r, ground.a};
  for (int plane = 0; plane < 4; ++plane) {
    for (int y = plate.top; y < plate.bottom; ++y) {
      std::memset(picture.row(plane, y) + plate.left, samples[plane],
                  static_cast<std::size_t>(plate.right - plate.left));
    }
  }
  const int down = (counter_height * scale - size.height) / 2;
  text::draw_text(pipeline.fonts(), text, font, picture, {left + margin * scale, top + down}, lib::palette::text,
                  {.max_lines = 1, .clip = plate});
}

}  // namespace render
