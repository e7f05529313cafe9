// Pictures and layers to the clipboard, and commands, files and pictures from it.
#pragma once

#include <functional>

#include "command/engine.h"
#include "platform/desktop.h"
#include "render/pipeline.h"

namespace app {

struct clipboard_parts {
  command::engine& engine;
  render::pipeline& pipeline;
  std::function<platform::desktop*()> desktop;  // null while there is no window
  std::function<double()> shown_time;           // of the picture in the window
};

// Registers clipboard_copy_layer and clipboard_copy_cc, which copy option text that clipboard_paste takes,
// clipboard_copy_layer_as_nk, clipboard_copy_mask, clipboard_copy_screen, and clipboard_paste and its three kinds: a
// command text, whose first line is `--ksncmd`; files, by their paths or addresses one a line; a picture, which becomes
// a layer that holds it. The parts are copied; engine and pipeline must outlive the table.
void register_clipboard_actions(const clipboard_parts& parts);

}  // namespace app
