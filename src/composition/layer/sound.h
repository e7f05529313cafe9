// How a layer's sound is heard; the sound itself belongs to its source.
#pragma once

namespace ksn {

struct layer_sound {
  bool audible = false;
  int volume = 100;  // percent
  bool operator==(const layer_sound&) const = default;
};

}  // namespace ksn
