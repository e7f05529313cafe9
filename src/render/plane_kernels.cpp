#include "render/plane_kernels.h"

#include "img/at_level.h"

namespace render {

KSN_DECLARE_LEVELS(extern const plane_kernels plane_table)

const plane_kernels& active_plane_kernels() {
  return KSN_AT_LEVEL(plane_table);
}

}  // namespace render
