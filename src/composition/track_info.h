// The layer record of a composition and its frame arithmetic.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "composition/enums.h"
#include "composition/frame_names.h"
#include "img/image.h"
#include "img/transfer.h"
#include "lib/color.h"
#include "lib/point.h"
#include "sources/clip.h"
#include "sources/wave.h"

namespace ksn {

struct color_key {
  bool enabled = false;
  lib::color key{255, 0, 0, 0};
  int slope = 6;
  int tolerance = 48;
  bool operator==(const color_key&) const = default;
};

struct text_attributes {
  text_align_x_type align_x = text_align_x_type::center;
  text_align_y_type align_y = text_align_y_type::middle;
  std::string font = "Arial";
  int size = 32;  // pixels
  bool bold = false;
  bool italic = false;
  lib::color color{255, 255, 255, 255};
  lib::color outline_color{255, 0, 0, 0};
  lib::color shadow_color{255, 0, 0, 0};
  bool back_enabled = false;
  lib::color back_color{255, 0, 0, 0};
  bool back_cover_layer = false;
  bool operator==(const text_attributes&) const = default;
};

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

// What is known of the frames of a layer, one byte for each source frame: 1 stored, 2 drawn on, 3 the load failed, 0
// unknown. May be shorter than the source: what is not there is unknown. A copy of a layer starts without knowledge, so
// that copying one of 100,000 frames costs nothing.
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
};

// A new value of a process-wide counter that starts at 1.
int next_layer_id();
// Makes sure that the counter goes on behind `id`.
void reserve_layer_id(int id);

// One layer. Plain data; only the main thread reads and writes it.
struct track_info {
  int id = next_layer_id();
  ksn::source_type source_type = ksn::source_type::none;
  int frames = 0;         // frames in the source, 1 for a still
  int fpcs = 0;           // hundredths of a frame per second that the source was opened with
  int fpcs2 = 0;          // rate that the source declares itself, 0 none
  std::string path;       // file, or the folder of a sequence with its closing separator
  std::string mask;       // file name pattern of a sequence
  std::string range;      // text of an explicit range of a sequence
  frame_names names;      // file names of a sequence by source frame
  int begin = 0;          // timeline frame at which source frame 0 would stand; may be negative
  double retime = 1.0;    // timeline frames per source frame
  double sbegin_f = 0.0;  // in point as a fraction of length()
  double send_f = 1.0;    // out point as a fraction of length(); above 1 the source repeats
  std::string name;
  math::point pos;  // of the layer's centre, in composition pixels from the centre
  ksn::alpha_type alpha_type = ksn::alpha_type::ignore;
  ksn::blend_type blend_type = ksn::blend_type::normal;
  ksn::depth_blend_type depth_blend_type = ksn::depth_blend_type::replace;
  bool visible = false;
  int opacity = 100;  // percent
  bool invert_color = false;
  bool invert_alpha = false;
  bool invert_depth = false;
  int alpha_source_id = 0;  // id of the layer that supplies alpha, 0 none
  channel_type alpha_source_channel = channel_type::alpha;
  alpha_source_range_type alpha_source_range = alpha_source_range_type::none;
  bool alpha_source_invert = false;
  bool alpha_source_stretch = false;
  alpha_source_mode_type alpha_source_mode = alpha_source_mode_type::replace;
  channel_type alpha_source_channel2 = channel_type::alpha;
  img::correction tf;
  bool auto_update = false;    // re-read when the file changes
  bool disable_cache = false;  // frames bypass the cache
  double aspect = 1.0;         // pixel aspect, through set_aspect()
  int scale_x = 100;           // percent, through set_scale_x()
  int scale_y = 100;
  bool flip_x = false;
  bool flip_y = false;
  bool border = false;
  lib::color border_color{255, 58, 107, 139};
  bool crop = false;
  math::point crop_xy;  // centre of the crop rectangle in layer pixels, from the anchor
  math::point crop_wh;  // its size; 0 or less means the picture size
  int width = 0;        // of the picture at full resolution
  int height = 0;
  std::shared_ptr<sources::clip> clip;                 // open clip of a clip source type
  std::shared_ptr<const sources::wave_context> audio;  // sound of the source or of an embedded_audio layer
  img::image_ptr clipboard_image;                      // picture of a clipboard_image layer
  img::image_ptr brush_image;                          // canvas of a brush layer
  std::map<int, img::image_ptr> brush_seq;             // canvases of a brush_sequence layer by source frame
  std::vector<std::uint8_t> smcp;                      // contents of a shmem layer as the document stored them
  r3d_resolution_type rds = r3d_resolution_type::half;
  r3d_color_settings rcs;
  std::string vdev;  // device of a video layer
  color_key ck_primary;
  color_key ck_secondary;
  int fade_in = 0;  // frames
  int fade_out = 0;
  int blur_radius = 0;  // pixels; stored, not rendered
  img::layer layer;     // picture shown of a multi-layer file
  std::vector<img::layer> layers;
  std::string version;
  std::vector<std::string> versions;
  target_view_type target_view = target_view_type::both;
  bool safe_area = false;
  view_type channels = view_type::rgb;
  int group_id = 0;
  bool audible = false;
  int volume = 100;  // percent
  std::string default_name;
  std::string text;  // of a text layer, UTF-8, fields included
  text_attributes text_attr;

  frame_table frame_states;

  // A source whose frames are decoded from a file.
  bool is_decoded() const;
  // A source whose position is always 0.
  bool is_single_frame() const;
  bool is_clip() const;
  bool has_audio() const { return audio != nullptr; }

  // Timeline frames of one pass through the source; at least 1.
  int length() const;
  // In and out point relative to `begin`; the out point is not part of the layer and may exceed length().
  int in() const;
  int out() const;
  // The points are clamped and stored as fractions that give them again.
  void set_in(int n);
  void set_out(int n);
  void set_in_out(int new_in, int new_out);
  // Timeline frame behind the last repeat, whether that is reached or not.
  int layer_end() const;
  // Source position at timeline time t; -1.0 where the layer is not active.
  double source_position(double t) const;
  // `base` (percent) under the fades at timeline time t; 0 where the layer is not active.
  int faded_value(double t, int base) const;

  // Values at or below the least one become it: 0.001, and 1 percent.
  void set_aspect(double value);
  void set_scale_x(int value);
  void set_scale_y(int value);

  // Path of a name of a sequence, which must have that many.
  std::string file_of(std::size_t frame) const { return path + std::string(names[frame]); }
  // Path of the file of a source frame; for clips the per-frame name; empty for sources without files.
  std::string frame_path(int source_frame) const;
};

}  // namespace ksn
