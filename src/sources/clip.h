// Sources of frames and sound beside image files: movies and camera clips.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "img/image.h"
#include "sources/wave.h"
#include "sources/yuv.h"

namespace sources {

enum class clip_kind { rtv = 3, avi = 4, directshow = 5, quicktime = 6, phantom_cine = 13, r3d = 18 };

// One open clip, shared by a layer, its copies and the frame cache. Frames may be read from any thread.
class clip {
 public:
  virtual ~clip() = default;

  virtual clip_kind kind() const = 0;
  virtual int frames() const = 0;
  // Frames per second times 100 that the file declares, 0 when it declares none.
  virtual int rate() const = 0;
  virtual int width() const = 0;
  virtual int height() const = 0;
  virtual bool has_alpha() const = 0;
  // The 64-bit number that stands for a frame in frame names.
  virtual long long address_of(int frame) const = 0;
  // Whether frames come soonest when they are read one at a time in ascending order, as from a decoder of pictures that
  // build on each other.
  virtual bool reads_in_order() const { return true; }
  // Whether read() can deliver reduced frames itself.
  virtual bool can_reduce() const { return false; }
  // Fills `image` with frame 0 to frames() - 1; `resolution` is 0 full, 1 half, 2 quarter, and not 0 only with
  // can_reduce(). False when the frame can't be read. May throw the io family.
  virtual bool read(int frame, int resolution, img::image& image) = 0;
  // The whole sound of the clip in memory; null without sound, or when it can't be decoded. Throws std::bad_alloc.
  virtual std::shared_ptr<const wave_context> read_audio() { return nullptr; }
};

struct open_result {
  std::shared_ptr<clip> opened = {};
  int error = 0;           // of the failed opener
  std::string words = {};  // what that says of it, empty without
  // How the frames lie in the file, as Exif numbers it (img/formats/shared/orientation.h). The reader leaves them so;
  // open_clip() turns them upright.
  int orientation = 1;
  double pixel_aspect = 0;  // width of a pixel to its height as the clip is shown, 0 where the file tells none
  bool available = true;    // false when this build or machine has no reader for the kind
};

// Services of the program that the module uses instead of its own copies: warm picture memory, row threads and the
// pinned instruction set are one per process.
struct module_host {
  void (*reset_image)(img::image& image, const char* letters, int bits, int width, int height);
  // Calls call(body, first, last) for stretches of 0 to `rows`; `items` samples will be touched.
  void (*parallel_rows)(int rows, long long items, void (*call)(void* body, int first, int last), void* body);
  int (*thread_count)();
  yuv_row_function (*yuv_row)();
};

// The function "kestrin_open_clip" of the module "media". It never throws. `host` lives as long as the process.
using open_clip_function = void (*)(const module_host& host, clip_kind kind, const std::string& path, int rate,
                                    open_result& result);

// Opens `path` as one kind, with the media module, which is loaded at the first call; `rate` serves a clip that
// declares none. A kind that has no reader here (RTV, or all of them without the module) gives error -1. Never throws
// for a file that can't be opened.
open_result open_clip(clip_kind kind, const std::string& path, int rate);

// The per-frame name that stands for a clip's frame where a file path is expected: "clip.avi\A,120".
std::string clip_frame_name(const clip& clip, const std::string& path, int frame);

}  // namespace sources
