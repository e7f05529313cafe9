#include "img/formats/exr/rows.h"

#include "img/formats/exr/plain_rows.h"
#include "img/simd_level.h"

namespace img {

namespace baseline {
extern const exr_row_kernels exr_rows;
}
#if defined(KSN_X86_LEVELS)
namespace v3 {
extern const exr_row_kernels exr_rows;
}
namespace v4 {
extern const exr_row_kernels exr_rows;
}
#endif

const exr_row_kernels& active_exr_rows() {
#if defined(KSN_X86_LEVELS)
  switch (current_simd_level()) {
    case simd_level::v4:
      return v4::exr_rows;
    case simd_level::v3:
      return v3::exr_rows;
    case simd_level::baseline:
      break;
  }
#endif
  return baseline::exr_rows;
}

const exr_row_kernels& plain_exr_rows() {
  static constexpr exr_row_kernels table{plain_undo_differences, plain_join_bytes, plain_take_differences,
                                         plain_split_bytes, plain_floats_to_halves};
  return table;
}

}  // namespace img
