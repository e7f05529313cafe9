#include "composition/time/frame_rate.h"

#include <cmath>
#include <initializer_list>
#include <numeric>

namespace ksn {

frame_rate exact_rate(int fpcs) {
  for (const int whole : {24, 30, 48, 60, 96, 120}) {
    const double exact = whole * 1000.0 / 1001.0;
    if (fpcs == static_cast<int>(std::lrint(exact * 100.0))) return {whole * 1000, 1001};
  }
  const int divisor = std::gcd(fpcs, 100);
  return {fpcs / divisor, 100 / divisor};
}

}  // namespace ksn
