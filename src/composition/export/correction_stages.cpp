#include "composition/export/correction_stages.h"

#include <algorithm>
#include <cmath>

#include "img/correction_math.h"

namespace ksn {

correction_stages::correction_stages(const img::correction& settings) {
  const img::correction_math math(settings);
  constexpr int neutral_kelvin = 6600;
  for (std::size_t i = 0; i < 3; ++i) {
    const std::size_t c = 2 - i;  // settings are blue first
    stops[i] = settings.exposure[c] / 100.0;
    const bool tinted = settings.temperature != neutral_kelvin;
    multiply[i] = std::exp2(stops[i]) * (tinted ? math.temperature_gain(static_cast<int>(c)) : 1.0);
    lift[i] = settings.lift[c] / 1000.0;
    gain[i] = settings.gain[c] / 100.0;
    gamma[i] = 100.0 / std::max(settings.gamma[c], 1);
    brightness[i] = settings.brightness[c] / 1000.0;
    contrast[i] = std::exp2(settings.contrast[c] / 100.0);
    hue[i] = settings.hue[c];
    saturation[i] = settings.saturation[c] / 100.0;
  }
  clips = settings.soft_clip != 0;
  knee = math.soft_clip_knee();
}

bool correction_stages::has_grade() const {
  return !all(multiply, 1) || !all(lift, 0) || !all(gain, 1) || !all(gamma, 1);
}
bool correction_stages::has_contrast() const {
  return !all(brightness, 0) || !all(contrast, 1);
}
bool correction_stages::has_hue() const {
  return !all(hue, 0) || !all(saturation, 1);
}

}  // namespace ksn
