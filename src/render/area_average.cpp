#include "render/area_average.h"

#include <algorithm>
#include <cmath>

#include "img/simd_level.h"

namespace render {

namespace baseline {
extern const area_kernels area_table;
}
#if defined(KSN_X86_LEVELS)
namespace v3 {
extern const area_kernels area_table;
}
namespace v4 {
extern const area_kernels area_table;
}
#endif

const area_kernels& area_rows() {
  switch (img::current_simd_level()) {
#if defined(KSN_X86_LEVELS)
    case img::simd_level::v4:
      return v4::area_table;
    case img::simd_level::v3:
      return v3::area_table;
#endif
    default:
      return baseline::area_table;
  }
}

namespace {

constexpr long long whole_sample = 4096;

}  // namespace

area_axis make_area_axis(double start, double length, int count, int size) {
  area_axis axis;
  axis.total = static_cast<std::uint32_t>(std::max(std::lrint(length * whole_sample), long{whole_sample}));
  const long long total = axis.total;
  const long long last_begin = std::max(static_cast<long long>(size) * whole_sample - total, 0LL);
  axis.spans.reserve(static_cast<std::size_t>(std::max(count, 0)));
  for (int i = 0; i < count; ++i) {
    const long long begin = std::clamp(std::llrint((start + i * length) * whole_sample), 0LL, last_begin);
    area_span span{};
    span.first = static_cast<std::int32_t>(begin / whole_sample);
    span.last = static_cast<std::int32_t>((begin + total - 1) / whole_sample);
    const long long whole = (span.last - span.first - 1LL) * whole_sample;
    span.first_weight = static_cast<std::uint16_t>(std::min(whole_sample - begin % whole_sample, total));
    span.last_weight = static_cast<std::uint16_t>(span.last == span.first ? 0 : total - span.first_weight - whole);
    axis.spans.push_back(span);
  }
  return axis;
}

void average_area(img::image& target, const img::image& source, const area_axis& across, const area_axis& down,
                  const area_place& place, int first_row, int last_row) {
  const area_kernels& kernels = area_rows();
  const auto width = static_cast<std::size_t>(source.width);
  constexpr int lanes = 4;
  thread_local std::vector<std::uint16_t> columns;
  columns.resize(width * lanes);
  std::vector<int> planes;
  for (int p = 0; p < img::image::max_planes; ++p) {
    if (source.has_plane(p) && target.has_plane(p)) planes.push_back(p);
  }
  for (int y = first_row; y < last_row; ++y) {
    area_span rows = down.spans[static_cast<std::size_t>(y - place.top)];
    rows.first -= place.source_row;
    rows.last -= place.source_row;
    for (std::size_t at = 0; at < planes.size(); at += lanes) {
      std::uint8_t* out[lanes];
      const std::uint16_t* in[lanes];
      for (std::size_t lane = 0; lane < lanes; ++lane) {
        // Lanes beyond the last plane do its work again.
        const bool own = at + lane < planes.size();
        const int plane = own ? planes[at + lane] : planes.back();
        std::uint16_t* column = columns.data() + (own ? lane : planes.size() - 1 - at) * width;
        if (own) kernels.rows(column, source.row(plane, rows.first), width, width, &rows, down.total);
        in[lane] = column;
        out[lane] = target.row(plane, y) + place.left;
      }
      kernels.columns(out, in, across.spans.data(), across.spans.size(), across.total);
    }
  }
}

}  // namespace render
