// The exports of the media module.
#include <atomic>

#include "sources/clip.h"
#include "sources/media/input.h"
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

extern "C" __attribute__((visibility("default"))) void kestrin_list_inputs(std::vector<std::string>& names) {
  try {
    names = media::list_inputs();
  } catch (const std::exception&) {
    names.clear();
  }
}

extern "C" __attribute__((visibility("default"))) void kestrin_open_input(const sources::module_host& host,
                                                                          const std::string& name,
                                                                          std::shared_ptr<sources::live_source>& opened,
                                                                          std::string& reason) {
  media::lender = &host;
  try {
    opened = media::open_input(name, reason);
  } catch (const std::exception&) {
    reason = "Not enough memory";
  }
}
