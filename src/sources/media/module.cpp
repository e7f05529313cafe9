// The exports of the media module.
#include <atomic>

#include "sources/clip.h"
#include "sources/media/movie_clip.h"

namespace media {
namespace {
std::atomic<const sources::module_host*> lender{nullptr};
}

const sources::module_host& host() {
  return *lender.load(std::memory_order_relaxed);
}
}  // namespace media

extern "C" __attribute__((visibility("default"))) void kestrin_open_clip(const sources::module_host& host,
                                                                         sources::clip_kind kind,
                                                                         const std::string& path, int rate,
                                                                         sources::open_result& result) {
  media::lender = &host;
  try {
    media::movie_clip::open(kind, path, rate, result);
  } catch (const std::exception&) {
    result = {.error = AVERROR(ENOMEM)};
  }
}
