#include "app/sound_start.h"

#include <algorithm>

namespace app {

void sound_start::use(platform::audio_device* device) {
  device_ = device;
  clock_.audio = nullptr;
  failed_ = false;
}

void sound_start::poll() {
  if (!device_ || clock_.audio || failed_) return;
  const auto& tracks = composition_.doc.tracks;
  if (std::none_of(tracks.begin(), tracks.end(), [](const ksn::track_info& t) { return t.source.has_audio(); })) return;
  if (device_->open()) {
    clock_.audio = device_;
  } else {
    failed_ = true;
  }
}

}  // namespace app
