// The sound of a movie: the mix of layers, frame by frame.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "composition/state.h"
#include "composition/time/frame_rate.h"

namespace save {

// The layers that are heard with the composite.
std::vector<int> audible_layers(const ksn::state& composition);

// The thread of the save; the layers stay as they are while this lives.
class movie_sound {
 public:
  // Of those of `layers` that have sound, for a movie of this rate in a container. The sample rate is that of the
  // sources where they agree, else 44,100 Hz, and one that the container's sound can have.
  movie_sound(const ksn::state& composition, const std::vector<int>& layers, const std::string& container);

  // Hz; 0 when nothing is heard.
  int sample_rate() const { return sample_rate_; }
  // What belongs to frame `number` of the movie, which shows the timeline frame `frame`: from the first sample at or
  // after its beginning to that of the next one. Interleaved stereo, with the volumes and fades of the layers.
  std::vector<std::int16_t> of_frame(int number, int frame) const;

 private:
  const ksn::state& composition_;
  std::vector<int> layers_;
  ksn::frame_rate rate_;
  int sample_rate_ = 0;

  long long first_sample(int number) const;
};

}  // namespace save
