#include "img/formats/jpeg/rows.h"

#include "img/at_level.h"
#include "img/formats/jpeg/plain_rows.h"

namespace img {

KSN_DECLARE_LEVELS(extern const jpeg_half_chroma half_chroma)

jpeg_half_chroma active_jpeg_half_chroma() {
  return KSN_AT_LEVEL(half_chroma);
}

jpeg_half_chroma plain_jpeg_half_chroma() {
  return plain_half_chroma;
}

}  // namespace img
