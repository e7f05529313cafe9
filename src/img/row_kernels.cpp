#include "img/row_kernels.h"

#include "img/plain_rows.h"
#include "img/simd_level.h"

namespace img {

namespace baseline {
void set_row_kernels(row_kernels& kernels);
}
#if defined(KSN_X86_LEVELS)
namespace v3 {
void set_row_kernels(row_kernels& kernels);
}
namespace v4 {
void set_row_kernels(row_kernels& kernels);
}
#endif

const row_kernels& active_row_kernels() {
  static const struct tables {
    row_kernels baseline, v3, v4;
    tables() {
      baseline::set_row_kernels(baseline);
#if defined(KSN_X86_LEVELS)
      v3::set_row_kernels(v3);
      v4::set_row_kernels(v4);
#endif
    }
  } all;
  switch (current_simd_level()) {
    case simd_level::v4:
      return all.v4;
    case simd_level::v3:
      return all.v3;
    default:
      return all.baseline;
  }
}

const row_kernels& plain_row_kernels() {
  static const row_kernels table = {plain_split3,
                                    plain_split4,
                                    plain_join3,
                                    plain_join4,
                                    plain_split555,
                                    plain_every<uint8_t, 2>,
                                    plain_every<uint8_t, 4>,
                                    plain_every<uint16_t, 2>,
                                    plain_every<uint16_t, 4>,
                                    plain_every<uint32_t, 2>,
                                    plain_every<uint32_t, 4>};
  return table;
}

}  // namespace img
