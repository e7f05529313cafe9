#include <algorithm>
#include <cmath>
#include <cstdio>

#include "save/save.h"

namespace save {

std::string progress_text(const progress& progress) {
  constexpr double longest = 359999.0;  // keeps the hours within two digits
  const int seconds = static_cast<int>(std::ceil(std::clamp(progress.seconds_left, 0.0, longest)));
  char text[160];
  int length = std::snprintf(text, sizeof text, "%d/%d frames, %.1f a second, ", progress.done, progress.total,
                             progress.frames_per_second);
  if (seconds >= 3600) {
    std::snprintf(text + length, sizeof text - static_cast<std::size_t>(length), "%d:%02d:%02d left", seconds / 3600,
                  seconds / 60 % 60, seconds % 60);
  } else {
    std::snprintf(text + length, sizeof text - static_cast<std::size_t>(length), "%d:%02d left", seconds / 60,
                  seconds % 60);
  }
  if (progress.bytes == 0) return text;
  char size[48];
  std::snprintf(size, sizeof size, ", %.1f MB", static_cast<double>(progress.bytes) / 1e6);
  return std::string(text) + size;
}

}  // namespace save
