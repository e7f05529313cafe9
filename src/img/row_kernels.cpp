#include "img/row_kernels.h"

#include "img/at_level.h"
#include "img/plain_rows.h"

namespace img {

KSN_DECLARE_LEVELS(extern const row_kernels rows)

const row_kernels& active_row_kernels() {
  return KSN_AT_LEVEL(rows);
}

const row_kernels& plain_row_kernels() {
  static constexpr row_kernels table = {plain_split3,
                                        plain_split4,
                                        plain_join3,
                                        plain_join4,
                                        plain_split3_16,
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
