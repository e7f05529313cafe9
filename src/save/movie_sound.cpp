#include "save/movie_sound.h"

#include <cstddef>

#include "playback/mixer.h"
#include "sources/movie_writer.h"

namespace save {

std::vector<int> audible_layers(const ksn::state& composition) {
  std::vector<int> layers;
  for (int i = 0; i < composition.doc.track_count(); ++i) {
    if (composition.doc.track_at(i).sound.audible) layers.push_back(i);
  }
  return layers;
}

movie_sound::movie_sound(const ksn::state& composition, const std::vector<int>& layers, const std::string& container)
    : composition_(composition), rate_(ksn::exact_rate(composition.doc.fpcs)) {
  int common = 0;
  for (const int index : layers) {
    const ksn::track_info& track = composition.doc.track_at(index);
    if (!track.source.has_audio()) continue;
    layers_.push_back(index);
    const int rate = static_cast<int>(track.source.audio->sample_rate);
    common = common == 0 || common == rate ? rate : platform::audio_rate;
  }
  if (!layers_.empty()) sample_rate_ = sources::sound_rate_of_container(container, common);
}

long long movie_sound::first_sample(int number) const {
  const long long per = static_cast<long long>(sample_rate_) * rate_.denominator;
  return (number * per + rate_.numerator - 1) / rate_.numerator;
}

std::vector<std::int16_t> movie_sound::of_frame(int number, int frame) const {
  const long long first = first_sample(number);
  const auto count = static_cast<std::size_t>(2 * (first_sample(number + 1) - first));
  std::vector<std::int16_t> mix(count);
  std::vector<std::int16_t> one(count);
  const long long per = static_cast<long long>(sample_rate_) * rate_.denominator;
  // The part of a frame that has passed at the first sample.
  const double late = static_cast<double>(first * rate_.numerator - number * per) / static_cast<double>(per);
  for (const int index : layers_) {
    const ksn::track_info& track = composition_.doc.track_at(index);
    const double speed = track.timing.retime > 0.0 ? 1.0 / track.timing.retime : 1.0;
    playback::render_layer(track, frame + late, composition_.doc.fpcs, speed, one, sample_rate_);
    playback::add_saturated(mix, one, track.faded_value(frame, track.sound.volume), 100);
  }
  return mix;
}

}  // namespace save
