#include "composition/opening/replace.h"

#include <optional>
#include <utility>

#include "composition/opening/file_paths.h"
#include "composition/opening/sequence.h"
#include "composition/opening/versions.h"
#include "img/format.h"
#include "lib/paths.h"
#include "platform/file_watch.h"

namespace ksn {
namespace {

// The source of `fresh` becomes that of the layer.
void take_source(state& composition, track_info& track, track_info fresh) {
  if (composition.watcher) composition.watcher->forget(track.id);
  composition.hooks.cancel_preload(track);
  if (track.name.empty() || track.name == track.default_name) track.name = fresh.name;
  track.default_name = fresh.default_name;
  if (!track.source.has_audio()) track.sound.audible = fresh.sound.audible;
  track.source.take(std::move(fresh.source));
  track.source.version = version_of(track);
  track.set_in_out(track.in(), track.out());
  composition.hooks.forget_layer(track.id);
  if (composition.settings.automatic_preload) composition.hooks.request_preload(track);
}

// Of names that are visited in any order, the one that stands next to `present` in the given direction.
class neighbour_search {
 public:
  neighbour_search(std::string_view present, bool forward) : present_(present), forward_(forward) {}
  void consider(std::string_view name) {
    if (name == present_) return;
    if (!first_ || before(name, *first_)) first_ = name;
    if (before(present_, name) && (!next_ || before(name, *next_))) next_ = name;
  }
  // From the end the search begins again at the start.
  const std::optional<std::string>& found() const { return next_ ? next_ : first_; }

 private:
  bool before(std::string_view a, std::string_view b) const {
    return forward_ ? natural_less(a, b) : natural_less(b, a);
  }
  std::string_view present_;
  bool forward_;
  std::optional<std::string> next_;
  std::optional<std::string> first_;
};

void replace_sequence(state& composition, track_info& track, bool forward) {
  neighbour_search search(forward ? track.source.names.back() : track.source.names.front(), forward);
  const name_matcher own_frames(track.source.mask);
  name_list others;
  lib::visit_files(track.source.path.empty() ? "." : track.source.path, [&](std::string_view name) {
    int number = 0;
    bool fits = false;
    if (track.source.mask == "*" || own_frames(name, number, fits) || !img::is_image_file(std::string(name))) return;
    search.consider(name);
    others.add(name);
  });
  if (!search.found()) return;
  const std::string path = track.source.path + *search.found();
  std::string pattern;
  track_info fresh;
  const bool is_sequence =
      build_pattern(path, pattern) &&
      scan_folder(pattern, fresh, composition.settings.default_alpha_type, false, {}, &others) == scan_result::found;
  if (!is_sequence) {
    fresh = track_info();
    if (!composition.route_source(fresh, path, true, composition.settings.default_alpha_type)) return;
  }
  take_source(composition, track, std::move(fresh));
}

void replace_file(state& composition, track_info& track, bool forward) {
  const auto [folder, file] = split_real_path(track.source.path);
  neighbour_search search(file, forward);
  const std::string extension = lib::lower_extension(track.source.path);
  lib::visit_files(folder.empty() ? "." : std::string(folder), [&](std::string_view name) {
    const bool counts =
        track.source.is_clip() ? lib::lower_extension(name) == extension : img::is_image_file(std::string(name));
    if (counts) search.consider(name);
  });
  if (!search.found()) return;
  track_info fresh;
  const std::string path = std::string(folder) + *search.found();
  if (!composition.route_source(fresh, path, true, composition.settings.default_alpha_type)) return;
  take_source(composition, track, std::move(fresh));
}

void replace_with_neighbour(state& composition, bool forward) {
  if (!can_replace_with_neighbour(composition)) return;
  track_info& track = *composition.doc.selected_track();
  if (track.source.type == source_type::sequence) {
    replace_sequence(composition, track, forward);
  } else {
    replace_file(composition, track, forward);
  }
}

}  // namespace

bool layer_replace_with(state& composition, const std::string& path) {
  track_info* track = composition.doc.selected_track();
  track_info fresh;
  if (!track || !composition.route_source(fresh, path, false, composition.settings.default_alpha_type)) return false;
  take_source(composition, *track, std::move(fresh));
  return true;
}

bool can_replace_with_neighbour(const state& composition) {
  const track_info* track = composition.doc.selected_track();
  return track && track->source.is_decoded() &&
         (track->source.type != source_type::sequence || !track->source.names.empty());
}

void layer_replace_with_next(state& composition) {
  replace_with_neighbour(composition, true);
}

void layer_replace_with_previous(state& composition) {
  replace_with_neighbour(composition, false);
}

}  // namespace ksn
