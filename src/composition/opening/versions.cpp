#include "composition/opening/versions.h"

#include <algorithm>
#include <unordered_set>
#include <vector>

#include "composition/editing/layer_cache.h"
#include "composition/opening/file_paths.h"
#include "composition/opening/route.h"
#include "composition/opening/sequence.h"
#include "lib/paths.h"
#include "platform/file_watch.h"
#include "platform/files.h"

namespace ksn {
namespace {

bool is_word(char c) {
  return is_digit(c) || (lowered(c) >= 'a' && lowered(c) <= 'z');
}

// End of `v` and digits at `first`, or `first` when there are none.
std::size_t end_of_token(std::string_view text, std::size_t first) {
  if (first >= text.size() || lowered(text[first]) != 'v') return first;
  std::size_t end = first + 1;
  while (end < text.size() && is_digit(text[end])) ++end;
  return end == first + 1 ? first : end;
}

// Where the versioned component of a path stands, and the token in it.
struct version_place {
  std::string_view folder;  // the parent, with its separator
  std::string_view prefix;  // of the component, in front of the token
  std::string_view token;
  std::string_view suffix;
  bool is_file = false;
};

bool find_place(const track_info& track, version_place& place) {
  const bool folder_only = track.source.type == source_type::sequence;
  std::string_view rest = track.source.path;
  for (bool is_file = !folder_only; !rest.empty(); is_file = false) {
    if (!is_file && rest.back() == '/') rest.remove_suffix(1);
    const auto [folder, name] = split_real_path(rest);
    std::size_t first = 0;
    std::size_t length = 0;
    if (find_version_token(name, is_file, first, length)) {
      place = {folder, name.substr(0, first), name.substr(first, length), name.substr(first + length), is_file};
      return true;
    }
    rest = folder;
    if (rest == "/") break;
  }
  return false;
}

// A source under another version.
struct versioned_source {
  std::string path;
  std::string mask;
  frame_names names;
};

bool source_exists(const track_info& track, const versioned_source& source) {
  if (track.source.type != source_type::sequence) return platform::file_exists(source.path);
  if (!source.names.empty() && platform::file_exists(source.path + std::string(source.names.front()))) return true;
  // The first frame may be a hole: any other will do. A whole folder is known by its names.
  const bool is_folder = source.mask == "*";
  const std::unordered_set<std::string_view> names =
      is_folder ? std::unordered_set<std::string_view>(source.names.begin(), source.names.end())
                : std::unordered_set<std::string_view>();
  const name_matcher matches(source.mask);
  bool found = false;
  lib::visit_files(source.path, [&](std::string_view name) {
    int number = 0;
    bool fits = false;
    found = found || (is_folder ? names.contains(name) : matches(name, number, fits));
  });
  return found;
}

// The paths that may hold the source under another version, most likely first: with the token replaced in all its
// components, in ever fewer down to the nearest, at last in one place alone.
std::vector<std::string> versioned_paths(std::string_view path, std::string_view token, std::string_view version) {
  const auto nearest = static_cast<std::size_t>(token.data() - path.data());
  std::vector<std::string> paths;
  for (std::size_t from = 0; from <= nearest; from = path.find('/', from) + 1) {
    std::string replaced(path.substr(0, from));
    replaced += replace_version(path.substr(from), token, version);
    if (paths.empty() || paths.back() != replaced) paths.push_back(std::move(replaced));
    if (path.find('/', from) == path.npos) break;
  }
  paths.push_back(std::string(path).replace(nearest, token.size(), version));
  return paths;
}

// The source that exists under a version. False, with the most likely one, when none does.
bool find_version(const track_info& track, std::string_view version, versioned_source& source) {
  version_place place;
  if (!find_place(track, place)) return false;
  name_list names;
  for (const std::string_view name : track.source.names) names.add(replace_version(name, place.token, version));
  const frame_names replaced_names(std::move(names));
  const std::string replaced_mask = replace_version(track.source.mask, place.token, version);

  const std::vector<std::string> paths = versioned_paths(track.source.path, place.token, version);
  for (const std::string& path : paths) {
    source = {path, replaced_mask, replaced_names};
    if (source_exists(track, source)) return true;
    source = {path, track.source.mask, track.source.names};
    if (track.source.type == source_type::sequence && source_exists(track, source)) return true;
  }
  source = {paths.front(), replaced_mask, replaced_names};
  return false;
}

// Reads again what the header of a still, or the clip itself, decides. The user's choices stay.
void reopen(state& composition, track_info& track) {
  if (track.source.is_clip()) {
    sources::open_result result =
        sources::open_clip(static_cast<sources::clip_kind>(track.source.type), track.source.path, composition.doc.fpcs);
    track.source.clip = std::move(result.opened);
    track.source.audio.reset();
    if (!track.source.clip) return;
    read_sound(composition, track);
    track.source.frames = track.source.clip->frames();
    track.source.width = track.source.clip->width();
    track.source.height = track.source.clip->height();
    return;
  }
  const std::string first = track.source.frame_path(0);
  if (first.empty() || !platform::file_exists(first)) return;
  track_info fresh;
  read_first_header(fresh, first, track.look.alpha_type);
  if (fresh.source.width == 0) return;
  track.source.width = fresh.source.width;
  track.source.height = fresh.source.height;
  track.source.image_layers = fresh.source.image_layers;
}

// The source as it is under `version` becomes that of the layer.
void take_version(state& composition, track_info& track, const std::string& version, versioned_source source) {
  drop_from_cache(composition, track);
  const bool named_by_file = track.name == name_of_source(track);
  track.source.path = std::move(source.path);
  track.source.mask = std::move(source.mask);
  track.source.names = std::move(source.names);
  track.source.frame_states.clear();
  track.source.version = version;
  track.default_name = name_of_source(track);
  if (named_by_file) track.name = track.default_name;
  reopen(composition, track);
  if (composition.watcher && composition.watcher->watches(track.id))
    composition.watcher->watch(track.id, track.source.path);
}

void step_version(state& composition, int direction) {
  track_info* selected = composition.doc.selected_track();
  if (!selected) return;
  track_info& track = *selected;
  scan_versions(track);
  const int count = static_cast<int>(track.source.versions.size());
  const auto found = std::find(track.source.versions.begin(), track.source.versions.end(), track.source.version);
  int at = static_cast<int>(found - track.source.versions.begin());
  if (at == count) at = direction > 0 ? -1 : count;
  for (int step = 0; step < count; ++step) {
    at = (at + direction + count) % count;
    const std::string candidate = track.source.versions[static_cast<std::size_t>(at)];
    versioned_source source;
    if (candidate == track.source.version || !find_version(track, candidate, source)) continue;
    take_version(composition, track, candidate, std::move(source));
    return;
  }
}

}  // namespace

bool find_version_token(std::string_view name, bool is_file, std::size_t& first, std::size_t& length) {
  for (std::size_t at = 0; at < name.size(); ++at) {
    if (at > 0 && name[at - 1] != '_') continue;
    const std::size_t end = end_of_token(name, at);
    if (end == at) continue;
    if (end < name.size() && name[end] != '_' && !(is_file && name[end] == '.')) continue;
    first = at;
    length = end - at;
    return true;
  }
  return false;
}

std::string replace_version(std::string_view text, std::string_view from, std::string_view to) {
  std::string result;
  std::size_t copied = 0;
  for (std::size_t at = text.find(from); at != std::string_view::npos; at = text.find(from, at + 1)) {
    const std::size_t end = at + from.size();
    if ((at > 0 && is_word(text[at - 1])) || (end < text.size() && is_word(text[end]))) continue;
    result.append(text.substr(copied, at - copied)).append(to);
    copied = end;
  }
  return result.append(text.substr(copied));
}

std::string version_of(const track_info& track) {
  version_place place;
  if (track.source.type != source_type::image && track.source.type != source_type::sequence && !track.source.is_clip())
    return {};
  return find_place(track, place) ? std::string(place.token) : std::string();
}

void scan_versions(track_info& track) {
  track.source.versions.clear();
  track.source.version = version_of(track);
  version_place place;
  if (track.source.version.empty() || !find_place(track, place)) return;
  std::vector<std::string> beside;
  lib::list_folder(place.folder.empty() ? "." : std::string(place.folder), "*", place.is_file ? &beside : nullptr,
                   place.is_file ? nullptr : &beside);
  for (const std::string& name : beside) {
    if (name.size() <= place.prefix.size() + place.suffix.size()) continue;
    if (!name.starts_with(place.prefix) || !name.ends_with(place.suffix)) continue;
    const std::string token = name.substr(place.prefix.size(), name.size() - place.prefix.size() - place.suffix.size());
    if (end_of_token(token, 0) == token.size()) track.source.versions.push_back(token);
  }
  natural_sort(track.source.versions);
}

bool can_change_version(const state& composition) {
  const track_info* track = composition.doc.selected_track();
  return track && !version_of(*track).empty();
}

void layer_next_version(state& composition) {
  step_version(composition, 1);
}

void layer_previous_version(state& composition) {
  step_version(composition, -1);
}

void set_version(state& composition, track_info& track, const std::string& version) {
  const std::string present = version_of(track);
  if (present.empty() || version.empty() || version == present || end_of_token(version, 0) != version.size()) return;
  versioned_source source;
  // One that is not there still becomes the source, by its most likely names.
  find_version(track, version, source);
  take_version(composition, track, version, std::move(source));
}

}  // namespace ksn
