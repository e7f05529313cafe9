// The per-sample function of a correction, from which every table of a transfer is built.
#pragma once

#include <array>
#include <cstdint>

#include "img/transfer.h"

namespace img {

// 1 linear or 2 sRGB: the space that the settings ask for, else the one that a lookup states, else that of the pixel
// form (2 for 8-bit samples, 1 for all others).
int effective_space(const correction& settings, int form_default);

// Takes what the function needs from the settings, which may go away afterwards. Channel 0 is blue, 1 green, 2 red.
class correction_math {
 public:
  explicit correction_math(const correction& settings);

  // Whether a channel passes unchanged for input in `space`.
  bool is_identity(int c, int space) const;
  // Whether two channels have the same settings, so that one table serves both.
  bool same_settings(int a, int b) const;

  // The correction of one linear sample.
  double correct(double v, int c) const;
  // A sample in `space` as a display-ready byte; NaN gives 0.
  std::uint8_t to_byte(double v, int c, int space) const;
  // A sample in `space` as an unclamped linear float.
  float to_float(double v, int c, int space) const;

  // Gain of the colour temperature, and the knee and slope of the soft clip.
  double temperature_gain(int c) const { return channels_[c].temperature; }
  double soft_clip_knee() const { return knee_; }
  double soft_clip_slope() const { return slope_; }

 private:
  struct channel {
    double exposure = 1;  // factor
    double temperature = 1;
    double lift = 0;    // thousandths
    double gain = 100;  // percent
    double gamma = 1;   // exponent
    double brightness = 0;
    double contrast = 1;  // factor
    double shown = 1;     // factor of the view's exposure
    bool lifts = false;
    bool bends = false;
    bool contrasts = false;
    bool neutral = true;
    bool operator==(const channel&) const = default;
  };
  std::array<channel, 3> channels_;
  bool disabled_ = false;
  bool has_lookup_ = false;
  bool clips_ = false;
  double knee_ = 1;
  double slope_ = 1;
};

// 3 x 3, rows and columns in the order red, green, blue.
using color_matrix = std::array<std::array<double, 3>, 3>;

// Hue and saturation of all three channels as one matrix. Luma weights are those of ITU-R BT.709.
color_matrix hue_saturation_matrix(const correction& settings);

}  // namespace img
