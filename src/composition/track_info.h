// The layer record of a composition and its frame arithmetic.
#pragma once

#include <string>

#include "composition/layer/lettering.h"
#include "composition/layer/look.h"
#include "composition/layer/placement.h"
#include "composition/layer/sound.h"
#include "composition/layer/source.h"
#include "composition/layer/timing.h"

namespace ksn {

// A new value of a process-wide counter that starts at 1.
int next_layer_id();
// Makes sure that the counter goes on after `id`.
void reserve_layer_id(int id);

// One layer. Plain data; only the main thread reads and writes it.
struct track_info {
  int id = next_layer_id();
  std::string name;
  std::string default_name;
  int group_id = 0;
  layer_source source;
  layer_timing timing;
  layer_placement placement;
  layer_look look;
  layer_sound sound;
  layer_lettering lettering;
  bool operator==(const track_info&) const = default;

  // Timeline frames of one pass through the source; at least 1.
  int length() const;
  // In and out point relative to `begin`; the out point is not part of the layer and may exceed length().
  int in() const;
  int out() const;
  // The points are clamped and stored as fractions that give them again.
  void set_in(int n);
  void set_out(int n);
  void set_in_out(int new_in, int new_out);
  // Timeline frame after the last repeat, whether that is reached or not.
  int layer_end() const;
  // Source position at timeline time t; -1.0 where the layer is not active.
  double source_position(double t) const;
  // `base` (percent) under the fades at timeline time t; 0 where the layer is not active.
  int faded_value(double t, int base) const;
};

}  // namespace ksn
