#include "composition/time/transport.h"

#include <algorithm>
#include <cmath>

namespace ksn {

void first_frame(state& composition) {
  composition.doc.set_current_time(composition.doc.tm_f);
}

void last_frame(state& composition) {
  composition.doc.set_current_time(composition.doc.tm_l - 1);
}

void prev_frame(state& composition) {
  composition.doc.set_current_time(std::max(std::nearbyint(composition.doc.tm_t) - 1, 0.0));
}

void next_frame(state& composition) {
  composition.doc.set_current_time(std::min(std::nearbyint(composition.doc.tm_t) + 1, composition.doc.tm_n - 1.0));
}

}  // namespace ksn
