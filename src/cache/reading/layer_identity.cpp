#include "cache/reading/layer_identity.h"

#include <functional>

namespace cache {
namespace {

class mixed_hash {
 public:
  template <class T>
  void add(const T& value) {
    hash_ = (hash_ ^ std::hash<T>()(value)) * 0x9E3779B97F4A7C15u;
    hash_ ^= hash_ >> 29;
  }
  std::uint64_t value() const { return hash_; }

 private:
  std::uint64_t hash_ = 1;
};

}  // namespace

std::uint64_t identity_of_frames(const ksn::track_info& track, ksn::cache_resolution_type resolution) {
  mixed_hash mix;
  mix.add(static_cast<int>(resolution));
  mix.add(track.source.path);
  mix.add(track.source.frames);
  // A list of names is replaced as a whole, so its place stands for it.
  mix.add(track.source.names.empty() ? nullptr : track.source.names.front().data());
  mix.add(track.source.clip.get());
  mix.add(track.source.image_layer.type);
  mix.add(track.source.image_layer.index);
  mix.add(track.source.image_layer.name);
  mix.add(static_cast<int>(track.source.rds));
  for (const int setting :
       {static_cast<int>(track.source.rcs.preset), track.source.rcs.kelvin, track.source.rcs.tint, track.source.rcs.iso,
        track.source.rcs.flut, track.source.rcs.color_space, track.source.rcs.gamma_curve, track.source.rcs.track}) {
    mix.add(setting);
  }
  mix.add(track.look.tf.lookup_table.cube_hash());
  return mix.value();
}

std::uint64_t identity_of_timeline(const ksn::state& composition) {
  mixed_hash mix;
  mix.add(composition.doc.tm_f);
  mix.add(composition.doc.tm_l);
  for (const ksn::track_info& track : composition.doc.tracks) {
    mix.add(track.id);
    mix.add(track.look.visible);
    mix.add(track.source.disable_cache);
    mix.add(track.look.alpha_source_id);
    mix.add(track.timing.begin);
    mix.add(track.timing.retime);
    mix.add(track.timing.sbegin_f);
    mix.add(track.timing.send_f);
    mix.add(identity_of_frames(track, composition.view.resolution));
  }
  return mix.value();
}

}  // namespace cache
