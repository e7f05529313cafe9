#include <array>
#include <cmath>

#include "command/field_builder.h"

namespace command {

namespace {

using ksn::state;

constexpr int largest_size = 65535;       // pixels a side, as for any picture
constexpr double highest_rate = 10000.0;  // frames a second

template <class E, class Member>
void add_word(engine& engine, std::string name, std::string help, Member member) {
  add_global(
      engine, std::move(name), word_form<E>(), std::move(help),
      [member](const state& c) { return std::string(ksn::word_of(c.view.*member)); },
      [member](state& c, const std::string& value) { return ksn::value_of(value, c.view.*member); });
}

template <class Get, class Set>
void add_int(engine& engine, std::string name, std::string help, int least, int most, Get get, Set set) {
  add_global(
      engine, std::move(name), "N", std::move(help), [get](const state& c) { return std::to_string(get(c)); },
      [=](state& c, const std::string& value) {
        int number = 0;
        if (!read_int(value, number, least, most)) return false;
        set(c, number);
        return true;
      });
}

template <class Get, class Set>
void add_double(engine& engine, std::string name, std::string help, Get get, Set set) {
  add_global(
      engine, std::move(name), "X", std::move(help), [get](const state& c) { return write_double(get(c)); },
      [set](state& c, const std::string& value) {
        double number = 0;
        return read_double(value, number) && set(c, number);
      });
}

bool set_back_color(state& c, const std::string& value) {
  if (ksn::value_of(value, c.doc.back_color)) return true;
  lib::color color;
  if (!read_color(value, color)) return false;
  color.a = 255;
  c.doc.set_back_color(color);
  return true;
}

std::string get_back_color(const state& c) {
  return c.doc.back_color == ksn::back_color_type::custom ? write_color(c.doc.back_custom_color)
                                                          : std::string(ksn::word_of(c.doc.back_color));
}

bool set_safe_area(state& c, const std::string& value) {
  if (!ksn::value_of(value, c.view.safe_area_type)) return false;
  c.view.safe_area_active = c.view.safe_area_type != ksn::safe_area_type_t::none;
  return true;
}

bool set_mask_size(state& c, const std::string& value) {
  std::array<int, 2> size{};
  if (!read_ints(value, size)) return false;
  for (const int side : size) {
    if (side < 1 || side > largest_size) return false;
  }
  c.doc.mask_size = {size[0], size[1]};
  return true;
}

bool set_pan(state& c, const std::string& value) {
  std::array<double, 2> pan{};
  if (!read_doubles(value, pan)) return false;
  c.view.pan_position = {pan[0], pan[1]};
  return true;
}

bool set_rate(state& c, double rate) {
  const double hundredths = std::rint(rate * 100.0);
  if (!(hundredths >= 1.0 && rate <= highest_rate)) return false;
  c.doc.set_frame_rate(static_cast<int>(hundredths));
  return true;
}

}  // namespace

void register_global_fields(engine& engine) {
  add_int(
      engine, "timeline", "length of the timeline in frames, at least 10", -most_frames, most_frames,
      [](const state& c) { return c.doc.tm_n; }, [](state& c, int n) { c.doc.set_timeline_length(n, false); });
  add_int(
      engine, "wa_begin", "first frame of the work area", -most_frames, most_frames,
      [](const state& c) { return c.doc.tm_f; }, [](state& c, int n) { c.doc.set_workarea_begin(n); });
  add_int(
      engine, "wa_end", "end of the work area, not part of it", -most_frames, most_frames,
      [](const state& c) { return c.doc.tm_l; }, [](state& c, int n) { c.doc.set_workarea_end(n); });
  add_double(
      engine, "time", "current time in timeline frames", [](const state& c) { return c.doc.tm_t; },
      [](state& c, double t) {
        c.doc.set_current_time(t);
        return true;
      });
  add_global(engine, "back_color", word_form<ksn::back_color_type>() + "|R,G,B", "background of the composite",
             get_back_color, set_back_color);
  add_global(
      engine, "safe_area", word_form<ksn::safe_area_type_t>(), "safe area shown over the picture",
      [](const state& c) {
        return std::string(ksn::word_of(c.view.safe_area_active ? c.view.safe_area_type : ksn::safe_area_type_t::none));
      },
      set_safe_area);
  add_word<ksn::mask_type_t>(engine, "mask_type", "how the output mask is drawn", &ksn::view::mask_type);
  add_global(
      engine, "mask_size", "W,H", "size of the output in pixels",
      [](const state& c) { return std::to_string(c.doc.mask_size.x) + "," + std::to_string(c.doc.mask_size.y); },
      set_mask_size);
  add_double(
      engine, "fps", "frames a second of the timeline", [](const state& c) { return c.doc.fpcs / 100.0; }, set_rate);
  add_int(
      engine, "zoom", "zoom of the view in percent", 1, most_frames, [](const state& c) { return c.view.zoom_factor2; },
      [](state& c, int n) { c.view.zoom_factor2 = n; });
  add_global(
      engine, "pan", "X,Y", "pan of the view",
      [](const state& c) {
        return write_doubles(std::array{c.view.pan_position.x, c.view.pan_position.y});
      },
      set_pan);
  add_int(
      engine, "frame_base", "number of the first frame as shown: 0 or 1", 0, 1,
      [](const state& c) { return c.doc.frame_base; }, [](state& c, int n) { c.doc.frame_base = n; });
  add_double(
      engine, "global_aspect", "pixel aspect of the view; below 1 switches it off",
      [](const state& c) { return c.view.aspect; },
      [](state& c, double value) {
        c.view.set_view_aspect(value);
        return true;
      });
  add_global(
      engine, "apply_transforms_to_mask", "0|1", "placement of layers moves the mask as well",
      [](const state& c) { return write_bool(c.view.mask_transforms_enabled); },
      [](state& c, const std::string& value) { return read_bool(value, c.view.mask_transforms_enabled); });
  add_word<ksn::target_view_type>(engine, "stereo_view", "stereo view that is shown", &ksn::view::stereo_view);
  add_word<ksn::stereo_view_type>(engine, "stereo_mode", "how two stereo views become one picture",
                                  &ksn::view::stereo_mode);
  add_int(
      engine, "global_volume", "volume in percent", 0, most_frames, [](const state& c) { return c.settings.volume; },
      [](state& c, int n) { c.settings.volume = n; });
}

}  // namespace command
