#include "sources/clip.h"

#include "lib/parallel.h"
#include "platform/module.h"

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

}  // namespace

open_result open_clip(clip_kind kind, const std::string& path, int rate) {
  if (kind == clip_kind::rtv) return {nullptr, -1, false};
  open_result result;
  std::string missing;
  void* function = platform::module_function("media", "kestrin_open_clip", missing);
  if (!function) return {nullptr, -1, false};
  reinterpret_cast<open_clip_function>(function)(host, kind, path, rate, result);
  return result;
}

std::string clip_frame_name(const clip& clip, const std::string& path, int frame) {
  return path + '\\' + key_letter(clip.kind()) + ',' + std::to_string(clip.address_of(frame));
}

}  // namespace sources
