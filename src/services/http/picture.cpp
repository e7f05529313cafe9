#include "services/http/picture.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "img/format.h"
#include "img/formats/jpeg/format.h"
#include "io/memory_writer.h"
#include "render/fitted.h"

namespace services::http {
namespace {

// A window that nothing happens to draws as often: files may have been written over meanwhile.
constexpr std::chrono::milliseconds oldest(1000);
constexpr long long most_kept_pixels = 4 << 20;

bool is_live(const ksn::track_info& track) {
  return track.look.visible && track.source.is_live();
}

}  // namespace

pictures::pictures(std::unique_ptr<render::pipeline> pipeline, const ksn::state& composition)
    : pipeline_(std::move(pipeline)), composition_(composition) {}

img::const_image_ptr pictures::draw(double time, int width, int height) {
  const auto now = std::chrono::steady_clock::now();
  const auto& tracks = composition_.doc.tracks;
  const int frame = static_cast<int>(std::floor(time));
  if (frame != frame_ || composition_.revision != revision_ || std::any_of(tracks.begin(), tracks.end(), is_live)) {
    kept_.clear();
  }
  frame_ = frame;
  revision_ = composition_.revision;
  long long pixels = 1LL * width * height;
  std::erase_if(kept_, [&](const kept& k) {
    const bool replaced = now - k.drawn > oldest;
    if (!replaced) pixels += 1LL * k.image->width * k.image->height;
    return replaced;
  });
  for (const kept& k : kept_) {
    if (k.image->width == width && k.image->height == height) return k.image;
  }
  if (pixels > most_kept_pixels) kept_.clear();
  const img::const_image_ptr image = render::render_fitted(*pipeline_, composition_, {width, height}, time);
  if (!pipeline_->waits_for_frames()) kept_.push_back({image, now});
  return image;
}

std::string jpeg_of(const img::image& picture) {
  io::memory_writer file;
  img::write_jpeg(picture, file, {});
  return std::move(file.bytes);
}

}  // namespace services::http
