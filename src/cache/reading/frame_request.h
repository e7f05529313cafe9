// One frame that somebody wants, with all that a thread needs to read it.
#pragma once

#include <memory>

#include "cache/frame_cache.h"

namespace cache {

// Holds no layer and no document. Its source is a file of `format`, or a frame of `clip`.
struct frame_request {
  frame_key key;
  const img::format* format = nullptr;
  std::shared_ptr<sources::clip> clip;
  int source_frame = 0;      // of the clip
  img::lookup_table lookup;  // when the key has one
  bool revalidate = false;   // a picture in memory is read again when its file has another time
  int layer_id = 0;          // whom a cancel by layer means
};

// The frame through the cache, touched; null where the clip can't give it. Throws what the format or clip throws, and
// std::bad_alloc. Any thread.
img::const_image_ptr read_through(frame_cache& cache, const frame_request& request);

// The same frame at full size past the cache, which is neither asked nor told.
img::const_image_ptr read_directly(const frame_request& request);

// The file that holds the frame.
std::string file_of(const frame_request& request);

// The source whose reads may hang together: a folder of files, or a clip.
std::string source_of(const frame_request& request);

// Whether two requests would read the same file or frame of a clip: what is made from it may differ.
bool same_reading(const frame_request& a, const frame_request& b);

}  // namespace cache
