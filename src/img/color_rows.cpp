#include "img/color_rows.h"

#include "img/color_plain_rows.h"
#include "img/simd_level.h"

namespace img {

namespace baseline {
void set_color_rows(color_rows& rows);
}
#if defined(KSN_X86_LEVELS)
namespace v3 {
void set_color_rows(color_rows& rows);
}
namespace v4 {
void set_color_rows(color_rows& rows);
void add_vbmi_color_rows(color_rows& rows);
}  // namespace v4
#endif

namespace {

struct all_rows {
  color_rows baseline, v3, v4, v4_extended;
  all_rows() {
    baseline::set_color_rows(baseline);
#if defined(KSN_X86_LEVELS)
    v3::set_color_rows(v3);
    v4::set_color_rows(v4);
    v4_extended = v4;
    // Processors since 2019 have it; x86-64-v4 does not promise it.
    if (__builtin_cpu_supports("avx512vbmi")) v4::add_vbmi_color_rows(v4_extended);
#endif
  }
};

const color_rows& rows_of_level(bool extended) {
  static const all_rows all;
  switch (current_simd_level()) {
    case simd_level::v4:
      return extended ? all.v4_extended : all.v4;
    case simd_level::v3:
      return all.v3;
    default:
      return all.baseline;
  }
}

}  // namespace

const color_rows& active_color_rows() {
  return rows_of_level(true);
}

const color_rows& level_color_rows() {
  return rows_of_level(false);
}

const color_rows& plain_color_rows() {
  static const color_rows rows = {plain_map_bytes,   plain_map_halves, plain_map_words, plain_map_nodes,
                                  plain_widen_bytes, plain_cube,       plain_matrix};
  return rows;
}

}  // namespace img
