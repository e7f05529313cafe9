#include "ui/area.h"

namespace ui {

std::string tip_text(const workbench& bench, std::string_view key, std::string_view action) {
  const std::string keys = bench.key_text(action);
  return bench.text(key) + (keys.empty() ? "" : " (" + keys + ")");
}

std::vector<area> make_areas(workbench& bench) {
  static_cast<void>(bench);
  // One line for each area, in the order of drawing: preview, options, controls, timeline, tracks, panel.
  return {};
}

}  // namespace ui
