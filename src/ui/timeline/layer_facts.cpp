#include "ui/timeline/layer_facts.h"

#include <cmath>

#include "lib/format.h"

namespace ui {
namespace {

constexpr int full_level = 32767;  // of samples on the 16-bit scale

std::string level_of(const workbench& bench, const sources::wave_context& sound) {
  const double part = static_cast<double>(sound.peak()) / full_level;
  return lib::format(bench.text("ti_peak_audio_volume"), part, part > 0 ? 20 * std::log10(part) : -96.0);
}

}  // namespace

std::string layer_facts(const workbench& bench, const ksn::track_info& track) {
  std::string lines;
  const auto add = [&lines](const std::string& line) { lines += "\n" + line; };
  if (const img::const_image_ptr shown = track.source.live ? track.source.live->latest() : nullptr) {
    if (const auto project = shown->metadata.find("project"); project != shown->metadata.end())
      add(lib::format(bench.text("ti_shm_project"), project->second));
    if (shown->frame >= 0) add(lib::format(bench.text("ti_shm_frame"), shown->frame));
    if (const auto time = shown->metadata.find("render time"); time != shown->metadata.end() && time->second != "0")
      add(lib::format(bench.text("ti_shm_rtime"), time->second));
    if (!shown->note.empty()) add(shown->note);
  }
  if (track.source.has_audio()) add(level_of(bench, *track.source.audio));
  return lines;
}

}  // namespace ui
