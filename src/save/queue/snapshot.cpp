#include "save/queue/snapshot.h"

#include <utility>

#include "save/sequence.h"

namespace save {
namespace {

class kept_picture : public sources::live_source {
 public:
  explicit kept_picture(sources::live_source& source)
      : width_(source.width()), height_(source.height()), alpha_(source.has_alpha()), picture_(source.newest()) {}
  int width() const override { return width_; }
  int height() const override { return height_; }
  bool has_alpha() const override { return alpha_; }
  img::const_image_ptr newest() override { return picture_; }
  img::const_image_ptr latest() override { return picture_; }

 private:
  int width_;
  int height_;
  bool alpha_;
  img::const_image_ptr picture_;
};

}  // namespace

std::unique_ptr<ksn::state> snapshot(const ksn::state& composition) {
  auto copy = std::make_unique<ksn::state>();
  static_cast<ksn::composition_view&>(*copy) = composition;
  copy->file_name = composition.file_name;
  for (ksn::track_info& track : copy->doc.tracks) {
    if (track.source.live) track.source.live = std::make_shared<kept_picture>(*track.source.live);
  }
  copy->hooks.text = [missing = missing_frame_text(composition)](std::string_view key) {
    return key == missing_frame_key ? missing : std::string(key);
  };
  return copy;
}

}  // namespace save
