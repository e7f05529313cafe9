// The walk over the frames of the work area: reading ahead, compositing and writing behind overlap.
#pragma once

#include <functional>
#include <string_view>
#include <vector>

#include "save/picture_file.h"
#include "save/read_ahead.h"
#include "save/save.h"

namespace save {

// What is said of a frame that can't be had: the catalogue's text of this key, or words of our own.
constexpr std::string_view missing_frame_key = "save_layer_as.missing_frame";
std::string missing_frame_text(const ksn::state& composition);

struct walk {
  // The picture of a timeline frame, made on the thread of the save; none for a frame that could not be made. Memory
  // that runs out makes it one of those, after another try with nothing else under way.
  std::function<picture(int frame)> make;
  // The source frames that it needs.
  std::function<std::vector<cache::frame_request>(int frame)> sources;
  // The layers that it takes pictures from.
  std::vector<int> layers;
  // The least bytes that a frame takes while it is made.
  std::size_t frame_bytes = 0;
  // For a movie: whether it is the composite, whether alpha of the pictures means anything, and the layers that are
  // heard.
  bool is_composite = false;
  bool alpha = true;
  std::vector<int> heard = {};
};

// Writes one file for each frame of the context's part of the work area, or a movie. Lines come in the order of the
// frames. A frame without a picture is reported and left out; the first file that can't be written ends the walk, as
// does the context's `cancelled`, which keeps what is made so far; so does a failure of `make`, which comes through. As
// many pictures are under way as the free memory holds, at least one. Nothing is begun, and one line says why, when not
// even one fits, when the work area has none of the frames, and when a file that is to be read later would be written
// over. Returns whether every frame is written.
bool save_walk(context& context, const target& target, const walk& walk);

}  // namespace save
