// A clip whose frames a test makes up.
#pragma once

#include <atomic>
#include <functional>

#include "composition/track_info.h"
#include "sources/clip.h"
#include "support/pictures.h"

namespace support {

class fake_clip : public sources::clip {
 public:
  using frame_function = std::function<bool(int frame, int resolution, img::image& image)>;

  fake_clip(int frames, frame_function read) : frames_(frames), read_(std::move(read)) {}

  sources::clip_kind kind() const override { return sources::clip_kind::avi; }
  int frames() const override { return frames_; }
  int rate() const override { return 2500; }
  int width() const override { return 0; }
  int height() const override { return 0; }
  bool has_alpha() const override { return false; }
  long long address_of(int frame) const override { return frame; }
  bool can_reduce() const override { return reduces; }
  bool reads_in_order() const override { return in_order; }
  bool read(int frame, int resolution, img::image& image) override {
    ++reads;
    return read_(frame, resolution, image);
  }

  std::atomic<int> reads{0};
  bool reduces = false;
  bool in_order = false;

 private:
  int frames_;
  frame_function read_;
};

// A visible layer that shows the clip from timeline frame 0 on; "PATH\A,N" is the name of frame N.
inline ksn::track_info clip_layer(std::shared_ptr<sources::clip> clip, int width, int height,
                                  const std::string& path = "/clips/fake.avi") {
  ksn::track_info track;
  track.source.type = ksn::source_type::avi;
  track.source.frames = clip->frames();
  track.source.path = path;
  track.source.clip = std::move(clip);
  track.source.width = width;
  track.source.height = height;
  track.look.visible = true;
  return track;
}

// The same with frames of one colour: blue, green, red and so on, the frame number added to blue.
inline ksn::track_info plain_layer(int frames, std::string letters, int width, int height, std::vector<int> values) {
  auto clip = std::make_shared<fake_clip>(frames, [=](int frame, int, img::image& image) {
    std::vector<int> shifted = values;
    shifted[0] += frame;
    image = picture(letters, width, height, shifted);
    return true;
  });
  return clip_layer(clip, width, height, "/clips/" + letters + std::to_string(values[0]) + ".avi");
}

}  // namespace support
