// The source of a layer's pictures and sound.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "composition/enums.h"
#include "composition/opening/frame_names.h"
#include "img/image.h"
#include "sources/clip.h"
#include "sources/live_source.h"
#include "sources/wave.h"

namespace ksn {

// Decode settings of an r3d layer. `raw` is the flattened form that frame keys carry.
struct r3d_color_settings {
  r3d_preset_type preset = r3d_preset_type::clip;
  int kelvin = 5600;
  int tint = 0;
  int iso = 800;
  int flut = 0;
  int color_space = 0;
  int gamma_curve = 0;
  int track = 0;
  bool operator==(const r3d_color_settings&) const = default;
};

// The state of the frames of a layer, one byte for each source frame: 1 stored, 2 drawn on, 3 the load failed, 0
// unknown. May be shorter than the source: what is not there is unknown. A copy of a layer starts without knowledge, so
// that copying one of 100,000 frames costs nothing, and layers are equal whatever is known of them.
class frame_table : public std::vector<std::uint8_t> {
 public:
  using vector::vector;
  frame_table() = default;
  frame_table(const frame_table&) : vector() {}
  frame_table(frame_table&&) noexcept = default;
  frame_table& operator=(const frame_table&) {
    clear();
    return *this;
  }
  frame_table& operator=(frame_table&&) noexcept = default;
  bool operator==(const frame_table&) const { return true; }
};

// What the user chose for a source. Another source that is taken keeps it as far as it can, and undo brings it back.
struct source_choices {
  int width = 0;  // of the picture at full resolution; a choice for one that is made inside
  int height = 0;
  bool auto_update = false;    // re-read when the file changes
  bool disable_cache = false;  // frames bypass the cache
  r3d_resolution_type rds = r3d_resolution_type::half;
  r3d_color_settings rcs;
  img::layer image_layer;  // picture shown of a multi-layer file
  bool operator==(const source_choices&) const = default;
};

// Copies share what is open and the pictures that are made inside.
struct layer_source : source_choices {
  ksn::source_type type = ksn::source_type::none;
  // The former kind of a source that could not be opened again with its document: shown as none, stored as it was.
  ksn::source_type missing_type = ksn::source_type::none;
  int frames = 0;                                      // 1 for a still
  int fpcs = 0;                                        // hundredths of a frame per second that it was opened with
  int fpcs2 = 0;                                       // rate that it declares itself, 0 none
  std::string path;                                    // file, or the folder of a sequence with its closing separator
  std::string mask;                                    // file name pattern of a sequence
  std::string range;                                   // text of an explicit range of a sequence
  frame_names names;                                   // file names of a sequence by source frame
  std::shared_ptr<sources::clip> clip;                 // open clip of a clip source type
  std::shared_ptr<const sources::wave_context> audio;  // sound of the source or of an embedded_audio layer
  std::shared_ptr<sources::live_source> live;          // open source of a shmem or video layer
  img::image_ptr clipboard_image;                      // picture of a clipboard_image layer
  img::image_ptr brush_image;                          // canvas of a brush layer
  std::map<int, img::image_ptr> brush_seq;             // canvases of a brush_sequence layer by source frame
  std::vector<std::uint8_t> smcp;                      // contents of a shmem layer as the document stored them
  std::string vdev;                                    // device of a video layer
  std::vector<img::layer> image_layers;
  std::string version;
  std::vector<std::string> versions;
  frame_table frame_states;
  bool operator==(const layer_source&) const = default;

  ksn::source_type stored_type() const { return type == ksn::source_type::none ? missing_type : type; }
  // A source whose frames are decoded from a file.
  bool is_decoded() const;
  // A source whose position is always 0.
  bool is_single_frame() const;
  bool is_clip() const;
  // Shows other pictures from moment to moment without any command.
  bool is_live() const { return live != nullptr; }
  // May hold the time of day.
  bool is_text() const { return type == source_type::text || type == source_type::text_sequence; }
  bool has_audio() const { return audio != nullptr; }

  // Becomes another source. The user's choices for the layer stay, as far as the new source has them.
  void take(layer_source fresh);

  // Path of a name of a sequence, which must have that many.
  std::string file_of(std::size_t frame) const { return path + std::string(names[frame]); }
  // Path of the file of a source frame; for clips the per-frame name; empty for sources without files.
  std::string frame_path(int source_frame) const;
};

}  // namespace ksn
