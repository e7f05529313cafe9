#include "composition/replace.h"

#include <optional>
#include <utility>

#include "composition/file_paths.h"
#include "composition/layer_cache.h"
#include "composition/sequence.h"
#include "composition/sequence_pattern.h"
#include "composition/versions.h"
#include "img/format.h"
#include "lib/paths.h"
#include "platform/file_watch.h"

namespace ksn {
namespace {

bool replace_source(state& composition, track_info& track, const std::string& path, bool single_image) {
  track_info fresh;
  if (!composition.route_source(fresh, path, single_image, composition.default_alpha_type)) return false;
  if (composition.watcher) composition.watcher->forget(track.id);
  if (composition.hooks.cancel_preload) composition.hooks.cancel_preload(track);
  if (track.name.empty() || track.name == track.default_name) track.name = fresh.name;
  track.default_name = fresh.default_name;
  const bool has_same_layer = [&] {
    for (const img::layer& layer : fresh.layers) {
      if (layer == track.layer) return true;
    }
    return false;
  }();
  if (!has_same_layer) track.layer = {};
  track.source_type = fresh.source_type;
  track.frames = fresh.frames;
  track.fpcs = fresh.fpcs;
  track.fpcs2 = fresh.fpcs2;
  track.path = std::move(fresh.path);
  track.mask = std::move(fresh.mask);
  track.range = std::move(fresh.range);
  track.names = std::move(fresh.names);
  track.width = fresh.width;
  track.height = fresh.height;
  track.clip = std::move(fresh.clip);
  track.clipboard_image.reset();
  track.brush_image.reset();
  track.brush_seq.clear();
  track.smcp.clear();
  track.layers = std::move(fresh.layers);
  track.version = version_of(track);
  track.versions.clear();
  track.frame_states.clear();
  track.set_in_out(track.in(), track.out());
  if (composition.hooks.forget_layer) composition.hooks.forget_layer(track.id);
  if (composition.automatic_preload && composition.hooks.request_preload) composition.hooks.request_preload(track);
  return true;
}

// The name in `folder` that stands next to `present` in the given direction among those that `counts` takes.
template <class Counts>
std::optional<std::string> neighbour(std::string_view folder, std::string_view present, bool forward, Counts counts) {
  const auto before = [&](std::string_view a, std::string_view b) {
    return forward ? natural_less(a, b) : natural_less(b, a);
  };
  std::optional<std::string> next;   // the nearest behind `present`
  std::optional<std::string> first;  // where the walk begins again
  lib::visit_files(folder.empty() ? "." : std::string(folder), [&](std::string_view name) {
    if (name == present || !counts(name)) return;
    if (!first || before(name, *first)) first = name;
    if (before(present, name) && (!next || before(name, *next))) next = name;
  });
  return next ? next : first;
}

void replace_with_neighbour(state& composition, bool forward) {
  if (!can_replace_with_neighbour(composition)) return;
  track_info& track = composition.track_at(composition.selected_index());
  const bool is_sequence = track.source_type == source_type::sequence;
  const std::string extension = lib::lower_extension(track.path);
  const auto [folder, file] = split_real_path(track.path);
  const std::string present(!is_sequence ? file : forward ? track.names.back() : track.names.front());
  const auto next = neighbour(folder, present, forward, [&](std::string_view name) {
    int number = 0;
    bool fits = false;
    if (is_sequence && (track.mask == "*" || match_frame(name, track.mask, number, fits))) return false;
    return track.is_clip() ? lib::lower_extension(name) == extension : img::is_image_file(std::string(name));
  });
  if (next) replace_source(composition, track, std::string(folder) + *next, !is_sequence);
}

}  // namespace

bool layer_replace_with(state& composition, const std::string& path) {
  const int index = composition.selected_index();
  return index != composition.track_count() && replace_source(composition, composition.track_at(index), path, false);
}

bool can_replace_with_neighbour(const state& composition) {
  const int index = composition.selected_index();
  if (index == composition.track_count()) return false;
  const track_info& track = composition.track_at(index);
  return track.is_decoded() && (track.source_type != source_type::sequence || !track.names.empty());
}

void layer_replace_with_next(state& composition) {
  replace_with_neighbour(composition, true);
}

void layer_replace_with_previous(state& composition) {
  replace_with_neighbour(composition, false);
}

}  // namespace ksn
