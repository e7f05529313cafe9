#include "render/keyer.h"

#include <algorithm>
#include <cstdlib>

#include "lib/parallel.h"
#include "render/plane_kernels.h"

namespace render {
namespace {

// The result is 255 as soon as difference times slope reaches 510. So neither a slope beyond 510 nor a tolerance that
// leaves every difference beyond 510 can change it, and differences may be cut where the product gets there.
key_row numbers_of(const ksn::color_key& key) {
  key_row numbers{};
  numbers.b = key.key.b;
  numbers.g = key.key.g;
  numbers.r = key.key.r;
  numbers.tolerance = static_cast<std::int16_t>(std::clamp(key.tolerance, -510, 765 + 510));
  numbers.slope = static_cast<std::uint16_t>(std::abs(std::clamp(key.slope, -510, 510)));
  numbers.most = static_cast<std::uint16_t>(numbers.slope ? (510 + numbers.slope - 1) / numbers.slope : 0);
  numbers.reversed = key.slope < 0;
  return numbers;
}

void complete_planes(img::image& image) {
  constexpr char letters[] = {'B', 'G', 'R'};
  for (int i = 0; i < 3; ++i) {
    if (!image.has_plane(i)) {
      image.data[i] = image.data[0];
      image.depth[i] = 8;
    }
    image.format[i] = letters[i];
  }
  if (!image.has_plane(3)) image.set_plane(3, 'A', 8);
  image.hint[3].clear();
}

}  // namespace

void apply_keys(img::image& image, const ksn::color_key& primary, const ksn::color_key& secondary) {
  if (!primary.enabled && !secondary.enabled) return;
  complete_planes(image);
  const key_row first = numbers_of(primary.enabled ? primary : secondary);
  const key_row second = numbers_of(secondary);
  const bool both = primary.enabled && secondary.enabled;
  const plane_kernels& rows = active_plane_kernels();
  const long long samples = 1LL * image.width * image.height;
  lib::parallel_rows(image.height, samples, [&](int top, int bottom) {
    const auto width = static_cast<std::size_t>(image.width);
    for (int y = top; y < bottom; ++y) {
      const std::uint8_t* b = image.row(0, y);
      const std::uint8_t* g = image.row(1, y);
      const std::uint8_t* r = image.row(2, y);
      rows.key(image.row(3, y), b, g, r, width, &first, false);
      if (both) rows.key(image.row(3, y), b, g, r, width, &second, true);
    }
  });
}

}  // namespace render
