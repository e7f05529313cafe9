#include "sources/clip.h"

#include <utility>

#include "img/formats/shared/orientation.h"
#include "lib/parallel.h"
#include "platform/module.h"
#include "sources/movie_writer.h"

namespace sources {
namespace {

char key_letter(clip_kind kind) {
  switch (kind) {
    case clip_kind::rtv:
      return 'R';
    case clip_kind::avi:
      return 'A';
    case clip_kind::directshow:
      return 'D';
    case clip_kind::quicktime:
      return 'Q';
    case clip_kind::phantom_cine:
      return 'P';
    case clip_kind::r3d:
      return 'E';
  }
  return 'A';
}

const module_host host{
    [](img::image& image, const char* letters, int bits, int width, int height) {
      image.reset(letters, bits, width, height);
    },
    [](int rows, long long items, void (*call)(void*, int, int), void* body) {
      lib::parallel_rows(rows, items, [&](int first, int last) { call(body, first, last); });
    },
    lib::thread_count,
    active_yuv_row,
};

// A clip whose frames are turned after they are read.
class turned_clip : public clip {
 public:
  turned_clip(std::shared_ptr<clip> inner, int orientation) : inner_(std::move(inner)), orientation_(orientation) {}

  clip_kind kind() const override { return inner_->kind(); }
  int frames() const override { return inner_->frames(); }
  int rate() const override { return inner_->rate(); }
  int width() const override { return swaps() ? inner_->height() : inner_->width(); }
  int height() const override { return swaps() ? inner_->width() : inner_->height(); }
  bool has_alpha() const override { return inner_->has_alpha(); }
  long long address_of(int frame) const override { return inner_->address_of(frame); }
  bool reads_in_order() const override { return inner_->reads_in_order(); }
  bool can_reduce() const override { return inner_->can_reduce(); }
  bool read(int frame, int resolution, img::image& image) override {
    if (!inner_->read(frame, resolution, image)) return false;
    img::apply_orientation(image, orientation_);
    return true;
  }
  std::shared_ptr<const wave_context> read_audio() override { return inner_->read_audio(); }

 private:
  bool swaps() const { return img::swaps_sides(orientation_); }

  std::shared_ptr<clip> inner_;
  int orientation_;
};

}  // namespace

const module_host& lent_to_modules() {
  return host;
}

open_result open_clip(clip_kind kind, const std::string& path, int rate) {
  if (kind == clip_kind::rtv) return {.error = -1, .available = false};
  open_result result;
  std::string missing;
  void* function = platform::module_function("media", "kestrin_open_clip", missing);
  if (!function) return {.error = -1, .words = "movies can't be read here: " + missing, .available = false};
  reinterpret_cast<open_clip_function>(function)(host, kind, path, rate, result);
  if (result.opened && result.orientation != 1) {
    result.opened = std::make_shared<turned_clip>(std::move(result.opened), result.orientation);
    if (img::swaps_sides(result.orientation) && result.pixel_aspect > 0) result.pixel_aspect = 1 / result.pixel_aspect;
  }
  return result;
}

std::string clip_frame_name(const clip& clip, const std::string& path, int frame) {
  return path + '\\' + key_letter(clip.kind()) + ',' + std::to_string(clip.address_of(frame));
}

}  // namespace sources
