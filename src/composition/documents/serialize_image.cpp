#include "composition/documents/serialize_image.h"

#include <algorithm>
#include <cmath>

namespace ksn {
namespace {

[[noreturn]] void refuse(const char* what) {
  throw io::invalid_format("(reader)", std::string("Invalid picture: ") + what);
}

// Whether the first planes are those of a pixel form.
bool known_form(const img::image& picture) {
  const int bits = picture.depth[0];
  switch (picture.format[0]) {
    case 'B':
      return (bits == 8 || bits == 16) && picture.format[1] == 'G' && picture.format[2] == 'R' &&
             picture.depth[1] == bits && picture.depth[2] == bits;
    case 'L':
      return bits == 8 || bits == 16;
    case 'U':
    case 'u':
    case 'V':
    case 'W':
      return bits == 32;
    default:
      return false;
  }
}

}  // namespace

void check_picture(img::image& picture) {
  img::check_dimensions("(reader)", picture.width, picture.height);
  if (!known_form(picture)) refuse("unknown pixel form");
  for (std::size_t i = 0; i < img::image::max_planes; ++i) {
    const int bits = picture.depth[i];
    if ((picture.format[i] == 0) != picture.data[i].empty()) refuse("planes and letters differ");
    if (picture.data[i].empty()) {
      picture.depth[i] = 0;
      picture.hint[i].clear();
      continue;
    }
    const bool same_depth = picture.is_packed() ? i == 0 || bits == 8 || bits == 16 : bits == picture.depth[0];
    if (!same_depth) refuse("depths differ");
    if (picture.data[i].size() != img::plane_bytes(bits, picture.width, picture.height)) refuse("size of a plane");
    for (img::row_hint& hint : picture.hint[i]) {
      hint.first = std::clamp(hint.first, 0, picture.width);
      hint.last = std::clamp(hint.last, 0, picture.width);
    }
    if (picture.hint[i].size() != static_cast<std::size_t>(picture.height)) picture.hint[i].clear();
  }
}

void take_old_curves(img::lookup_table& table, const old_curves& curves) {
  std::vector<double> values;
  values.reserve(img::lookup_table::curve_entries);
  for (const auto& curve : curves) values.insert(values.end(), curve.begin(), curve.end());
  table.set_1d(values, false);
}

void convert_half_cube(std::vector<std::uint16_t>& cube) {
  for (std::uint16_t& value : cube) {
    const double fixed = std::nearbyint((img::half_to_double(value) + 0.125) * 4096.0);
    value = std::isnan(fixed) ? 512 : static_cast<std::uint16_t>(std::clamp(fixed, 0.0, 16383.0));
  }
}

}  // namespace ksn
