#include "img/formats/exr/rows.h"

#include "img/at_level.h"
#include "img/formats/exr/plain_rows.h"

namespace img {

KSN_DECLARE_LEVELS(extern const exr_kernels exr_rows)

const exr_kernels& active_exr_kernels() {
  return KSN_AT_LEVEL(exr_rows);
}

const exr_kernels& plain_exr_kernels() {
  static constexpr exr_kernels table{plain_undo_differences, plain_join_bytes, plain_take_differences,
                                     plain_split_bytes, plain_floats_to_halves};
  return table;
}

}  // namespace img
