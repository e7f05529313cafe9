#include "img/row_kernels.h"

#include "img/plain_rows.h"
#include "img/simd_level.h"

namespace img {

namespace baseline {
extern const row_kernels rows;
}
#if defined(KSN_X86_LEVELS)
namespace v3 {
extern const row_kernels rows;
}
namespace v4 {
extern const row_kernels rows;
}
#endif

const row_kernels& active_row_kernels() {
#if defined(KSN_X86_LEVELS)
  switch (current_simd_level()) {
    case simd_level::v4:
      return v4::rows;
    case simd_level::v3:
      return v3::rows;
    case simd_level::baseline:
      break;
  }
#endif
  return baseline::rows;
}

const row_kernels& plain_row_kernels() {
  static constexpr row_kernels table = {plain_split3,
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
