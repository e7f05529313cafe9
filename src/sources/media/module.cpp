// What the media module exports.
#include "sources/clip.h"
#include "sources/media/movie_clip.h"

extern "C" __attribute__((visibility("default"))) void kestrin_open_clip(sources::clip_kind kind,
                                                                         const std::string& path, int rate,
                                                                         sources::open_result& result) {
  try {
    media::movie_clip::open(kind, path, rate, result);
  } catch (const std::exception&) {
    result = {nullptr, AVERROR(ENOMEM), true};
  }
}
