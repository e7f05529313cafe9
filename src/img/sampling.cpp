#include "img/sampling.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "img/row_kernels.h"
#include "lib/parallel.h"

namespace img {
namespace {

// Target to source columns in 16.16 fixed point.
long long step_of(const axis_scale& axis) {
  return axis.num > 0 ? static_cast<long long>(std::rint(axis.den * 65536.0 / axis.num)) : 0;
}

int placed(const axis_scale& axis, long long index) {
  const long long last = std::max(axis.size - 1, 0);
  const int clamped = static_cast<int>(std::clamp(index, 0LL, last));
  return axis.flip ? static_cast<int>(last) - clamped : clamped;
}

template <class T>
void reduce_plane(plane& target, const plane& source, int width, int new_width, int new_height, int factor,
                  void (*kernel)(const T*, T*, std::size_t)) {
  lib::parallel_rows(new_height, static_cast<long long>(new_width) * new_height, [&](int first, int last) {
    for (int y = first; y < last; ++y) {
      kernel(source.as<T>() + static_cast<std::size_t>(y) * factor * width,
             target.as<T>() + static_cast<std::size_t>(y) * new_width, static_cast<std::size_t>(new_width));
    }
  });
}

}  // namespace

int axis_scale::column(int x) const {
  return placed(*this, (step_of(*this) * x) >> 16);
}

int axis_scale::row(int y) const {
  return placed(*this, num > 0 ? static_cast<long long>(y) * den / num : 0);
}

void sample_row(std::uint8_t* out, const std::uint8_t* source, const axis_scale& x, int first, int last) {
  if (first >= last || x.size < 1) return;
  const long long step = step_of(x);
  if (first < 0) {
    const int outside = std::min(last, 0) - first;
    std::memset(out, source[x.flip ? x.size - 1 : 0], static_cast<std::size_t>(outside));
    out += outside;
    first += outside;
  }
  // Columns from `clamped` on all show the source's last sample.
  const long long reach = static_cast<long long>(x.size) << 16;
  const long long inside = step > 0 ? (reach + step - 1) / step : last;
  const int clamped = static_cast<int>(std::clamp<long long>(inside, first, last));
  long long position = step * first;
  const int count = clamped - first;
  if (x.flip) {
    const std::uint8_t* end = source + x.size - 1;
    for (int i = 0; i < count; ++i, position += step) out[i] = end[-(position >> 16)];
  } else if (step == 65536) {
    std::memcpy(out, source + first, static_cast<std::size_t>(std::max(count, 0)));
  } else if (step == 2 * 65536) {
    active_row_kernels().every_2nd_8(source + 2 * first, out, static_cast<std::size_t>(std::max(count, 0)));
  } else if (step == 4 * 65536) {
    active_row_kernels().every_4th_8(source + 4 * first, out, static_cast<std::size_t>(std::max(count, 0)));
  } else {
    for (int i = 0; i < count; ++i, position += step) out[i] = source[position >> 16];
  }
  if (clamped < last) {
    std::memset(out + count, source[x.flip ? 0 : x.size - 1], static_cast<std::size_t>(last - clamped));
  }
}

void reduce(image& image, int factor) {
  const row_kernels& kernels = active_row_kernels();
  const bool half = factor == 2;
  img::image small;
  small.width = (image.width + factor - 1) / factor;
  small.height = (image.height + factor - 1) / factor;
  for (int i = 0; i < image::max_planes; ++i) {
    if (!image.has_plane(i)) continue;
    small.set_plane(i, image.format[i], image.depth[i]);
    auto run = [&](auto* kernel) {
      reduce_plane(small.data[i], image.data[i], image.width, small.width, small.height, factor, kernel);
    };
    if (image.depth[i] == 32) {
      run(half ? kernels.every_2nd_32 : kernels.every_4th_32);
    } else if (image.depth[i] == 16) {
      run(half ? kernels.every_2nd_16 : kernels.every_4th_16);
    } else {
      run(half ? kernels.every_2nd_8 : kernels.every_4th_8);
    }
  }
  small.copy_info(image);
  small.user[0] = {image.user[0].x / factor, image.user[0].y / factor};
  image.swap(small);
}

}  // namespace img
