#include "pictures.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <stdexcept>

#include "path_data.h"

namespace art {
namespace {

constexpr double lighter = 0.12;         // of full light, under the pointer
constexpr double fainter = 0.4;          // of the opacity, where nothing can be done
constexpr double plate_over = 0.045;     // opacity of the white plate below a button
constexpr double plate_pressed = 0.085;  // and of one that is on
constexpr double plate_radius = 3;
constexpr const char* plain_ink = "#a9a9a9";
constexpr const char* live_ink = "#fbae17";

bool has_word(const std::string& state, const char* word) {
  return ("_" + state + "_").find("_" + std::string(word) + "_") != std::string::npos;
}

paint ink_of(const element& svg, const std::string& state) {
  const std::string* plain = svg.find("color");
  const std::string* lit = svg.find("data-lit");
  const bool live = has_word(state, "pressed") || has_word(state, "drag");
  if (live) return parse_color(lit ? *lit : live_ink);
  return parse_color(plain ? *plain : plain_ink);
}

void lighten(paint& color) {
  for (std::size_t i = 0; i < 3; ++i) color[i] = std::min(1.0, color[i] + lighter);
}

struct view {
  double width = 0;
  double height = 0;
};

view view_of(const element& svg) {
  const std::string* box = svg.find("viewBox");
  const std::vector<std::string> words = box ? split_words(*box) : std::vector<std::string>();
  if (words.size() != 4 || words[0] != "0" || words[1] != "0") {
    throw std::runtime_error(svg.path + ": viewBox must be \"0 0 width height\"");
  }
  const view size{std::atof(words[2].c_str()), std::atof(words[3].c_str())};
  if (!(size.width >= 1) || !(size.height >= 1) || size.width > 4096 || size.height > 4096) {
    throw std::runtime_error(svg.path + ": viewBox has no size");
  }
  return size;
}

img::image to_image(const canvas& drawn, double opacity) {
  img::image image("BGRA", 8, drawn.width, drawn.height);
  const auto byte = [](double value) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 1.0) * 255));
  };
  for (std::size_t i = 0; i < drawn.pixels.size(); ++i) {
    const auto& pixel = drawn.pixels[i];
    const double alpha = pixel[3];
    for (std::size_t c = 0; c < 3; ++c) {
      image.data[2 - c].data()[i] = alpha > 0 ? byte(pixel[c] / alpha) : std::uint8_t{0};
    }
    image.data[3].data()[i] = byte(alpha * opacity);
  }
  return image;
}

// The picture cut to the box of its visible pixels, with a hint for each row.
drawn_state cut_to_ink(const img::image& whole, math::point anchor) {
  int left = whole.width, top = whole.height, right = 0, bottom = 0;
  for (int y = 0; y < whole.height; ++y) {
    for (int x = 0; x < whole.width; ++x) {
      if (whole.row(3, y)[x] == 0) continue;
      left = std::min(left, x);
      right = std::max(right, x + 1);
      top = std::min(top, y);
      bottom = std::max(bottom, y + 1);
    }
  }
  if (right <= left) return {};
  auto cut = std::make_shared<img::image>("BGRA", 8, right - left, bottom - top);
  for (int y = 0; y < cut->height; ++y) {
    for (int plane = 0; plane < 4; ++plane) {
      std::copy_n(whole.row(plane, top + y) + left, cut->width, cut->row(plane, y));
    }
    const std::uint8_t* alpha = cut->row(3, y);
    img::row_hint span;
    for (int x = 0; x < cut->width; ++x) {
      if (alpha[x] == 0) continue;
      if (span.last == 0) span.first = x;
      span.last = x + 1;
    }
    // The last column of a hint is part of it.
    if (span.last > 0) --span.last;
    cut->hint[3].push_back(span);
  }
  cut->user[0] = {anchor.x - left, anchor.y - top};
  cut->user[1] = {whole.width, whole.height};
  return {cut, {left, top}};
}

drawn_state draw_state(const element& svg, const std::string& state, int scale) {
  const view size = view_of(svg);
  canvas target(static_cast<int>(std::lround(size.width * scale)), static_cast<int>(std::lround(size.height * scale)));
  const bool over = has_word(state, "over");
  const bool pressed = has_word(state, "pressed");
  if (svg.find("data-plate") && (over || pressed)) {
    shape plate;
    plate.outlines = {rounded_box(0, 0, size.width, size.height, plate_radius)};
    plate.fill = {1, 1, 1, (pressed ? plate_pressed : 0) + (over ? plate_over : 0)};
    draw(target, plate, scale);
  }
  for (shape& part : shapes_of(svg, state, ink_of(svg, state))) {
    if (over) {
      lighten(part.fill);
      lighten(part.stroke);
    }
    draw(target, part, scale);
  }
  math::point anchor{static_cast<int>(size.width) / 2, static_cast<int>(size.height) / 2};
  if (const std::string* text = svg.find("data-anchor")) {
    const std::vector<std::string> words = split_words(*text);
    if (words.size() != 2) throw std::runtime_error(svg.path + ": data-anchor must be \"x y\"");
    anchor = {std::atoi(words[0].c_str()), std::atoi(words[1].c_str())};
  }
  drawn_state drawn =
      cut_to_ink(to_image(target, has_word(state, "disabled") ? fainter : 1.0), {anchor.x * scale, anchor.y * scale});
  if (!drawn.picture) throw std::runtime_error(svg.path + ": nothing is drawn in the state \"" + state + "\"");
  return drawn;
}

}  // namespace

void add_states(pictures& into, const std::string& svg_path, int scale) {
  const element svg = read_svg(svg_path);
  const std::string stem = std::filesystem::path(svg_path).stem().string();
  const std::string* states = svg.find("data-states");
  for (const std::string& state : states ? split_words(*states) : std::vector<std::string>{"plain"}) {
    const std::string name = stem + (state == "plain" ? "" : "_" + state) + ".tga";
    const drawn_state drawn = draw_state(svg, state, scale);
    drawn.picture->path = "images/" + name;
    if (!into.emplace(name, drawn).second) throw std::runtime_error(svg_path + ": there are two of " + name);
  }
}

img::image draw_at_size(const element& svg, int size) {
  const view box = view_of(svg);
  const double scale = size / box.width;
  canvas target(size, static_cast<int>(std::lround(box.height * scale)));
  for (const shape& part : shapes_of(svg, "plain", ink_of(svg, "plain"))) draw(target, part, scale);
  return to_image(target, 1);
}

}  // namespace art
