#include "img/color_rows.h"

#include "img/at_level.h"
#include "img/color_plain_rows.h"

namespace img {

KSN_DECLARE_LEVELS(void set_color_rows(color_kernels& rows))
#if defined(KSN_X86_LEVELS)
namespace v4 {
void add_vbmi_color_rows(color_kernels& rows);
}
#endif

namespace {

struct all_rows {
  color_kernels baseline, v3, v4, v4_extended;
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

const color_kernels& rows_of_level(bool extended) {
  static const all_rows all;
  return at_level(all.baseline, all.v3, extended ? all.v4_extended : all.v4);
}

}  // namespace

const color_kernels& active_color_kernels() {
  return rows_of_level(true);
}

const color_kernels& level_color_kernels() {
  return rows_of_level(false);
}

const color_kernels& plain_color_kernels() {
  static const color_kernels rows = {plain_map_bytes,   plain_map_halves, plain_map_words, plain_map_nodes,
                                     plain_widen_bytes, plain_cube,       plain_matrix};
  return rows;
}

}  // namespace img
