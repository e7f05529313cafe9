#include "img/correction_math.h"

#include <Imath/half.h>

#include <algorithm>
#include <cmath>

namespace img {
namespace {

constexpr double pi = 3.141592653589793;

// Gains of a colour temperature, blue, green, red: a fit of the black body curve, given in sRGB.
std::array<double, 3> temperature_gains(int kelvin) {
  const double t = std::clamp(kelvin, 1000, 40000) / 100.0;
  auto linear = [](double v) { return srgb_decode(std::clamp(v, 0.0, 1.0)); };

  double red = 1;
  if (t > 66) red = linear(1.292936186062745 * std::pow(t - 60, -0.1332047592));
  const double green = linear(t <= 66 ? (99.4708025861 * std::log(t) - 161.1195681661) / 255
                                      : 1.129890860895294 * std::pow(t - 60, -0.0755148492));
  double blue = 1;
  if (t <= 19) {
    blue = 0;
  } else if (t < 66) {
    blue = linear((138.5177312231 * std::log(t - 10) - 305.0447927307) / 255);
  }
  return {blue, green, red};
}

color_matrix product(const color_matrix& a, const color_matrix& b) {
  color_matrix out{};
  for (int row = 0; row < 3; ++row) {
    for (int column = 0; column < 3; ++column) {
      for (int i = 0; i < 3; ++i) out[row][column] += a[row][i] * b[i][column];
    }
  }
  return out;
}

color_matrix matrix_of(int hue, int saturation) {
  // To luma and the differences red - luma, blue - luma; turned and scaled there; and back.
  static constexpr color_matrix to_differences{
      {{0.2126, 0.7152, 0.0722}, {0.7874, -0.7152, -0.0722}, {-0.2126, -0.7152, 0.9278}}};
  static constexpr color_matrix from_differences{
      {{1, 1, 0}, {1, -0.2972595078299777, -0.10095078299776288}, {1, 0, 1}}};
  const double h = hue * pi / 180;
  const double s = saturation / 100.0;
  const double a = std::cos(h) * s;
  const double b = std::sin(h) * s * 0.7874 / 0.9278;
  const double c = -0.9278 * std::sin(h) * s / 0.7874;
  const color_matrix turn{{{1, 0, 0}, {0, a, b}, {0, c, a}}};
  return product(from_differences, product(turn, to_differences));
}

}  // namespace

double log_decode(int code) {
  if (code == 95) return 0;
  return (std::pow(10, (code - 685) * 0.0033333333333333335) - 0.0107977516232771) * 1.010915615730753;
}

int log_encode(double linear) {
  const double x = linear * 0.9892022483767229 + 0.0107977516232771;
  if (!(x > 0)) return 0;
  return static_cast<int>(std::clamp(685 - std::trunc(std::log10(x) * -300), 0.0, 1023.0));
}

double srgb_decode(double value) {
  return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}

double srgb_encode(double linear) {
  return linear <= 0.0031308 ? linear * 12.92 : 1.055 * std::pow(linear, 0.4166666666666667) - 0.055;
}

double half_to_double(std::uint16_t bits) {
  return static_cast<float>(Imath::half(Imath::half::FromBits, bits));
}

std::uint16_t float_to_half(float value) {
  return Imath::half(value).bits();
}

int effective_space(const correction& settings, int form_default) {
  if (settings.color_space != 0) return settings.color_space;
  const lookup_table& table = settings.lookup_table;
  if (table.empty()) return form_default;
  return (table.has_cube() ? table.output_srgb3 : table.output_srgb1) ? 2 : 1;
}

correction_math::correction_math(const correction& s)
    : disabled_(s.disable_cc),
      has_lookup_(!s.lookup_table.empty()),
      clips_(s.soft_clip != 0),
      knee_(std::exp2(-s.soft_clip / 100.0 / 3.5)),
      slope_(s.soft_clip / 100.0 + 1) {
  const std::array<double, 3> gains = temperature_gains(s.temperature);
  for (int c = 0; c < 3; ++c) {
    channel& to = channels_[c];
    to.exposure = std::exp2(s.exposure[c] / 100.0);
    to.temperature = gains[c];
    to.lift = s.lift[c];
    to.gain = s.gain[c];
    to.gamma = s.gamma[c] / 100.0;
    to.brightness = s.brightness[c] / 1000.0;
    to.contrast = std::exp2(s.contrast[c] / 100.0);
    to.shown = std::exp2(s.shown_exposure[c] / 100.0);
    to.lifts = s.lift[c] != 0 || s.gain[c] != 100;
    to.bends = s.gamma[c] != 100;
    to.contrasts = s.brightness[c] != 0 || s.contrast[c] != 0;
    to.neutral = s.exposure[c] == 0 && s.temperature == 6600 && !to.lifts && !to.bends && !to.contrasts && !clips_;
  }
}

bool correction_math::is_identity(int c, int space) const {
  return !has_lookup_ && space == 2 && channels_[c].shown == 1 && (disabled_ || channels_[c].neutral);
}

bool correction_math::same_settings(int a, int b) const {
  return disabled_ ? channels_[a].shown == channels_[b].shown : channels_[a] == channels_[b];
}

double correction_math::correct(double v, int c) const {
  if (disabled_) return v;
  const channel& s = channels_[c];
  v = v * s.exposure * s.temperature;
  if (s.lifts) v = s.gain * v / 100 + (1 - v) * s.lift / 1000;
  if (s.bends) v = std::pow(std::max(v, 0.0), s.gamma);
  if (s.contrasts) {
    double t = std::sqrt(std::max(v, 0.0)) + s.brightness;
    t = std::max((t - 0.23) * s.contrast + 0.23, 0.0);
    v = t * t;
  }
  if (clips_ && v > knee_) v = std::log((v - knee_) * slope_ + 1) / slope_ + knee_;
  return v;
}

std::uint8_t correction_math::to_byte(double v, int c, int space) const {
  const double shown = channels_[c].shown;
  if (disabled_ && shown == 1) {
    if (space == 1) v = srgb_encode(v);
  } else if (!is_identity(c, space)) {
    if (space == 2) v = srgb_decode(v);
    v = srgb_encode(correct(v, c) * shown);
  }
  if (!(v > 0)) return 0;
  if (v >= 1) return 255;
  return static_cast<std::uint8_t>(v * 255.99);
}

float correction_math::to_float(double v, int c, int space) const {
  if (space == 2) v = srgb_decode(v);
  return static_cast<float>(correct(v, c));
}

color_matrix hue_saturation_matrix(const correction& settings) {
  color_matrix out{};
  for (int column = 0; column < 3; ++column) {
    const int channel = 2 - column;
    const color_matrix own = matrix_of(settings.hue[channel], settings.saturation[channel]);
    for (int row = 0; row < 3; ++row) out[row][column] = own[row][column];
  }
  return out;
}

}  // namespace img
