// Frames and sequences to disk.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "composition/state.h"
#include "img/format.h"
#include "render/compositor.h"
#include "render/pipeline.h"
#include "save/part.h"

namespace save {

struct progress {
  int done = 0;
  int total = 0;
  double frames_per_second = 0.0;
  double seconds_left = 0.0;
  long long bytes = 0;  // of a movie so far, else 0
};

// What the user chose for all saves: for picture files, and for movies.
struct save_options : img::save_options {
  std::string codec;  // of movies, a name of sources::movie_codecs(); empty: what the container has
  bool audio = true;  // movies have the sound
  bool operator==(const save_options&) const = default;
};

// The surroundings that a saver needs; of one thread. `cancelled` is looked at between frames.
struct context {
  ksn::state& composition;
  render::pipeline& pipeline;
  save_options options;
  double time;  // in timeline frames: of what is saved as one picture
  // Inputs that the command line asked for and did not get.
  std::vector<std::string> failed_inputs;
  // Saves all the same: without those inputs, and composites without the layers that failed.
  bool incomplete = false;
  save::part part;  // of the work area: what a walk over it writes
  std::function<void(const std::string& line)> report_error;
  std::function<void(const progress&)> show_progress;
  std::function<bool()> cancelled;
  std::function<void(const std::string& path)> after_save;  // once for each save that wrote something
};

// Each writes NAME.part and renames it when whole, makes missing parent folders and returns whether all was written. A
// frame of which a layer failed is not written but one line, which names the output, the sources and the reasons; the
// others are. Nothing is written when an input of the line could not be opened. `incomplete` lifts both. With the
// extension of a movie, save_layer_as and save_mask_as_sequence write one file with the sound of the work area; a frame
// that is missing there is the one before, again, and a save that is cancelled completes the movie. Of the work area
// they write `context::part`; nothing, and a line, when it has none of those frames.
bool save_frame_as(context& context, const std::string& path);
bool save_layer_as(context& context, const std::string& path);
bool save_mask_as_image(context& context, const std::string& path);
bool save_mask_as_sequence(context& context, const std::string& path);
// `client_width`, `client_height`: the window's client area.
bool save_screen_as(context& context, const std::string& path, int client_width, int client_height);

// Whether save_layer_as or save_mask_as_sequence may begin: layer, inputs and target are there. Otherwise their error
// line is written.
bool may_save_layer_as(context& context, const std::string& path);
bool may_save_mask_as_sequence(context& context, const std::string& path);

// "48/120 frames, 24.6 a second, 0:03 left", and the megabytes of a movie.
std::string progress_text(const progress& progress);

// The name of a frame of a sequence: a run of `#` in the file part becomes the number with at least that many digits;
// a path with none gets `_%04d` in front of its extension. `number` is not negative.
std::string numbered_name(const std::string& path, int number);

// Reads a `--save_options=` list; false, and no change, for an unknown item.
bool parse_save_options(const std::string& text, save_options& options);

}  // namespace save
