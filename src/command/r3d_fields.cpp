#include "command/field_builder.h"

namespace command {

#define SETTING(name)             \
  [](auto& layer) -> auto& {      \
    return layer.source.rcs.name; \
  }

void register_r3d_fields(engine& engine) {
  constexpr int most = std::numeric_limits<int>::max();
  add_layer_word<ksn::r3d_resolution_type>(
      engine, "r3d_resolution", "resolution at which an R3D clip is decoded",
      [](auto& layer) -> auto& { return layer.source.rds; });
  add_layer_int(engine, "r3d_track", "video track", 0, most, SETTING(track));
  add_layer_word<ksn::r3d_preset_type>(engine, "r3d_preset", "where the decoder's settings come from", SETTING(preset));
  add_layer_int(engine, "r3d_kelvin", "colour temperature", 1, most, SETTING(kelvin));
  add_layer_int(engine, "r3d_tint", "green against magenta", -most, most, SETTING(tint));
  add_layer_int(engine, "r3d_iso", "sensitivity", 1, most, SETTING(iso));
  add_layer_int(engine, "r3d_flut", "exposure of the decoder", -most, most, SETTING(flut));
  add_layer_int(engine, "r3d_color_space", "number of the decoder's colour space", 0, most, SETTING(color_space));
  add_layer_int(engine, "r3d_gamma_curve", "number of the decoder's gamma curve", 0, most, SETTING(gamma_curve));
}

#undef SETTING

}  // namespace command
