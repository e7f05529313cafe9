// The exports of the media module.
#include <atomic>

#include "sources/clip.h"
#include "sources/media/movie_clip.h"
#include "sources/media/writing/movie_file.h"

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

extern "C" __attribute__((visibility("default"))) void kestrin_open_movie_writer(
    const sources::writing_host& host, const sources::movie_settings& settings,
    std::unique_ptr<sources::movie_writer>& writer, sources::movie_failure& failure) {
  media::lender = &host.common;
  try {
    writer = media::movie_file::open(host, settings, failure);
  } catch (const std::exception&) {
    failure = {ENOMEM, {}};
  }
}
