#include "composition/settings.h"

namespace ksn {

double settings::default_aspect_for(int width, int height) const {
  if (width <= 0 || height <= 0) return 1.0;
  const auto found = default_aspect.find({width, height});
  return found == default_aspect.end() ? 1.0 : found->second;
}

}  // namespace ksn
