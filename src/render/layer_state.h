// The pipeline's state of one layer, and how a native picture becomes the layer's 8-bit one.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "cache/frame_cache.h"
#include "composition/track_info.h"
#include "img/image.h"
#include "img/transfer.h"
#include "lib/rectangle.h"

namespace render {

// All that decides how a layer's picture looks; two equal recipes give equal pictures while the source is the same.
struct recipe {
  cache::frame_key key;
  img::correction correction;
  ksn::color_key primary;
  ksn::color_key secondary;
  ksn::view_type channels = ksn::view_type::rgb;
  img::const_image_ptr canvas;  // source of a layer without files; held so that its address stays taken

  bool operator==(const recipe&) const = default;
  bool has_key() const { return primary.enabled || secondary.enabled; }
};

struct developed_picture {
  img::const_image_ptr picture;
  recipe made_from;
  std::weak_ptr<const img::image> native;
};

// A picture of a text layer that can be drawn into again once nobody shows it.
struct text_canvas {
  img::image_ptr picture;
  math::rectangle drawn;  // outside it the picture is empty
};

struct layer_state {
  img::const_image_ptr picture;            // the last one, shared with the cache or from the pool; null after a failure
  recipe made_from;                        // of `picture`
  std::weak_ptr<const img::image> native;  // a decoded frame that it was made from, as long as that is in memory
  developed_picture ahead;                 // of the frame that will be asked for next
  std::uint32_t last_stat_time = 0;        // milliseconds; when the file was looked at
  bool file_changed = false;               // since it was read, as it was seen then
  int render_count = 0;
  std::map<int, std::string> failures;  // the line of each source frame that failed
  std::set<int> noted;                  // source frames that were told to be incomplete

  img::transfer transfer;
  std::shared_ptr<const img::transfer> row_correction;  // of an adjustment layer, after prepare_rows()
  // Of a text layer: what the picture shows, and two pictures to draw into by turns.
  std::string text;
  ksn::text_attributes text_attributes;
  bool text_hinted = false;
  std::array<text_canvas, 2> text_canvases;
  int text_shown = -1;  // which of them has it, -1 for none
  // Around the keyer: the picture that it sees, after lookup and space and before corrections, and the way from there.
  std::optional<img::transfer> key_input;
  std::optional<img::transfer> key_output;
};

// The 8-bit picture of a native one: itself when nothing changes it, else one from the pool. `cube_applied` tells that
// the cube of the layer's lookup is in the picture already.
img::const_image_ptr develop(layer_state& state, const recipe& recipe, const img::const_image_ptr& native,
                             bool cube_applied);

}  // namespace render
