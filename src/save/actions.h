// The save actions of the command language.
#pragma once

#include "command/engine.h"
#include "render/pipeline.h"
#include "save/queue/queue.h"
#include "save/save.h"

namespace save {

// The functions that the actions need beside document and pipeline. Every function may be empty.
struct surroundings {
  std::function<void(const progress&)> show_progress;
  std::function<bool()> cancelled;
  std::function<void(const std::string& path)> after_save;
  // Stores the client area of the window, or of the one that would be opened, and returns true where it is known.
  std::function<bool(int& width, int& height)> client_area;
  // The time of the picture in the window; without it that of the composition.
  std::function<double()> shown_time;
  // Where saves of many frames run beside the user's work; null while they are to run at once.
  std::function<save::queue*()> queue = nullptr;
};

// Gives the value forms of save_frame_as, save_layer_as, save_mask_as_image, save_mask_as_sequence, save_screen_as and
// save_options their work. The options live as long as the actions. Engine and pipeline must outlive the tables.
void register_save_actions(command::engine& engine, render::pipeline& pipeline, surroundings surroundings);

}  // namespace save
