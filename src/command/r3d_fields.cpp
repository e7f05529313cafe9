// How a layer of an R3D clip is decoded.
#include "command/field_builder.h"

namespace command {

#define MEMBER(name)         \
  [](auto& layer) -> auto& { \
    return layer.name;       \
  }

void register_r3d_fields(engine& engine) {
  const auto add = [&](const char* name, const char* help, value_shape shape, auto access) {
    add_member<ksn::track_info>(engine, name, help, shape, access);
  };
  constexpr int most_resolution = 5;  // that documents may hold; the last one has no word
  add("r3d_resolution", "resolution at which an R3D clip is decoded", words<ksn::r3d_resolution_type>(most_resolution),
      MEMBER(source.rds));
  add("r3d_track", "video track of an R3D clip", integer(0), MEMBER(source.rcs.track));
  add("r3d_preset", "where the settings of the R3D decoder come from", words<ksn::r3d_preset_type>(),
      MEMBER(source.rcs.preset));
  add("r3d_kelvin", "colour temperature of the R3D decoder, in kelvin", integer(1), MEMBER(source.rcs.kelvin));
  add("r3d_tint", "tint of the R3D decoder, green against magenta", integer(), MEMBER(source.rcs.tint));
  add("r3d_iso", "sensitivity of the R3D decoder, as ISO", integer(1), MEMBER(source.rcs.iso));
  add("r3d_flut", "exposure compensation of the R3D decoder", integer(), MEMBER(source.rcs.flut));
  add("r3d_color_space", "number of the R3D decoder's colour space", integer(0), MEMBER(source.rcs.color_space));
  add("r3d_gamma_curve", "number of the R3D decoder's gamma curve", integer(0), MEMBER(source.rcs.gamma_curve));
}

#undef MEMBER

}  // namespace command
