#include "render/plane_kernels.h"

#include "img/simd_level.h"

namespace render {

namespace baseline {
extern const plane_kernels plane_table;
}
#if defined(KSN_X86_LEVELS)
namespace v3 {
extern const plane_kernels plane_table;
}
namespace v4 {
extern const plane_kernels plane_table;
}
#endif

const plane_kernels& plane_rows() {
  switch (img::current_simd_level()) {
#if defined(KSN_X86_LEVELS)
    case img::simd_level::v4:
      return v4::plane_table;
    case img::simd_level::v3:
      return v3::plane_table;
#endif
    default:
      return baseline::plane_table;
  }
}

}  // namespace render
