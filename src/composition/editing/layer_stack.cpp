#include "composition/editing/layer_stack.h"

#include <algorithm>
#include <map>
#include <utility>

#include "composition/editing/layer_cache.h"
#include "composition/editing/undo.h"
#include "composition/time/frame_numbers.h"
#include "img/format.h"
#include "platform/file_watch.h"

namespace ksn {
namespace {

// Sources that hold something open, which a deleted layer lets go of.
bool holds_open_source(const track_info& track) {
  return track.source.is_clip() || track.source.type == source_type::video;
}

// The indices of layers after `inserted` (ascending, final) have come between them.
std::set<int> shifted(const std::set<int>& selection, const std::vector<int>& inserted) {
  std::set<int> result;
  auto next = inserted.begin();
  int before = 0;
  for (const int index : selection) {
    while (next != inserted.end() && *next <= index + before) {
      ++next;
      ++before;
    }
    result.insert(result.end(), index + before);
  }
  return result;
}

void raise_track_max(state& composition, int count) {
  composition.workspace.track_max = std::min(composition.workspace.track_max + count,
                                             std::max(composition.workspace.track_max, composition.doc.track_count()));
}

// The copies of the layers at `originals`, each to stand right below its model.
void insert_below(state& composition, const std::vector<int>& originals, std::vector<track_info> copies) {
  std::vector<int> indices;
  for (std::size_t i = 0; i < originals.size(); ++i) indices.push_back(originals[i] + static_cast<int>(i) + 1);
  insert_layers(composition, indices, std::move(copies));
}

track_info duplicate_of(const track_info& track) {
  track_info copy = copy_of(track);
  copy.name += '\'';
  return copy;
}

}  // namespace

void insert_layers(state& composition, const std::vector<int>& indices, std::vector<track_info> records) {
  std::deque<track_info> stack;
  auto existing = composition.doc.tracks.begin();
  auto record = records.begin();
  for (const int index : indices) {
    while (static_cast<int>(stack.size()) < index && existing != composition.doc.tracks.end()) {
      stack.push_back(std::move(*existing++));
    }
    stack.push_back(std::move(*record++));
  }
  std::move(existing, composition.doc.tracks.end(), std::back_inserter(stack));
  composition.doc.tracks = std::move(stack);
  composition.doc.selection = shifted(composition.doc.selection, indices);
  raise_track_max(composition, static_cast<int>(indices.size()));
}

std::vector<track_info> take_layers(state& composition, const std::set<int>& indices) {
  std::vector<track_info> taken;
  std::deque<track_info> kept;
  std::set<int> selection;
  taken.reserve(indices.size());
  for (int index = 0; index < composition.doc.track_count(); ++index) {
    track_info& track = composition.doc.track_at(index);
    if (indices.contains(index)) {
      if (composition.watcher) composition.watcher->forget(track.id);
      composition.hooks.forget_layer(track.id);
      taken.push_back(std::move(track));
      continue;
    }
    if (composition.doc.selection.contains(index)) selection.insert(selection.end(), static_cast<int>(kept.size()));
    kept.push_back(std::move(track));
  }
  composition.doc.tracks = std::move(kept);
  composition.doc.selection = std::move(selection);
  composition.workspace.track_max = std::min(composition.workspace.track_max, composition.doc.track_count());
  composition.workspace.prev_track_max = std::min(composition.workspace.prev_track_max, composition.doc.track_count());
  return taken;
}

track_info copy_of(const track_info& track) {
  track_info copy = track;
  copy.id = next_layer_id();
  return copy;
}

void drop_dangling_alpha_sources(state& composition) {
  std::set<int> ids;
  for (const track_info& track : composition.doc.tracks) ids.insert(track.id);
  for (track_info& track : composition.doc.tracks) {
    if (!ids.contains(track.look.alpha_source_id)) track.look.alpha_source_id = 0;
  }
}

int reopen_source(state& composition, track_info& record) {
  layer_source& source = record.source;
  if (!source.is_clip() || source.clip) return 0;
  const sources::open_result result =
      sources::open_clip(static_cast<sources::clip_kind>(source.type), source.path, composition.doc.fpcs);
  source.clip = result.opened;
  return source.clip ? 0 : result.error != 0 ? result.error : -1;
}

void layer_move_selected_up(state& composition) {
  const int index = composition.doc.selected_index();
  if (index == composition.doc.track_count() || index == 0) return;
  std::swap(composition.doc.track_at(index), composition.doc.track_at(index - 1));
  composition.doc.selection = {index - 1};
}

void layer_move_selected_down(state& composition) {
  const int index = composition.doc.selected_index();
  if (index >= composition.doc.track_count() - 1) return;
  std::swap(composition.doc.track_at(index), composition.doc.track_at(index + 1));
  composition.doc.selection = {index + 1};
}

void move_layer(state& composition, int from, int to) {
  document& doc = composition.doc;
  to = std::clamp(to, 0, doc.track_count() - 1);
  const std::set<int> selected = selected_ids(composition);
  track_info moved = std::move(doc.track_at(from));
  doc.tracks.erase(doc.tracks.begin() + from);
  doc.tracks.insert(doc.tracks.begin() + to, std::move(moved));
  doc.selection.clear();
  for (int i = 0; i < doc.track_count(); ++i) {
    if (selected.contains(doc.track_at(i).id)) doc.selection.insert(i);
  }
}

void layer_delete_selected(state& composition) {
  if (!composition.doc.has_selection()) return;
  const std::vector<int> indices(composition.doc.selection.begin(), composition.doc.selection.end());
  std::vector<track_info> records = take_layers(composition, composition.doc.selection);

  std::set<std::pair<source_type, std::string>> remaining;
  for (const track_info& track : composition.doc.tracks) remaining.emplace(track.source.type, track.source.path);
  std::set<int> deleted_ids;
  for (track_info& record : records) {
    deleted_ids.insert(record.id);
    if (remaining.emplace(record.source.type, record.source.path).second) drop_from_cache(composition, record);
    if (holds_open_source(record)) record.source.clip.reset();
  }
  std::vector<std::pair<int, int>> alpha_users;
  for (track_info& track : composition.doc.tracks) {
    if (!deleted_ids.contains(track.look.alpha_source_id)) continue;
    alpha_users.emplace_back(track.id, track.look.alpha_source_id);
    track.look.alpha_source_id = 0;
  }
  remember_deleted(composition, indices, std::move(records), std::move(alpha_users));
}

void layer_duplicate(state& composition) {
  const std::vector<int> originals(composition.doc.selection.begin(), composition.doc.selection.end());
  std::vector<track_info> copies;
  copies.reserve(originals.size());
  for (const int index : originals) copies.push_back(duplicate_of(composition.doc.track_at(index)));
  insert_below(composition, originals, std::move(copies));
}

std::vector<int> layers_to_split(const state& composition) {
  const long long t = static_cast<long long>(composition.doc.tm_t);
  std::vector<int> under;
  const auto consider = [&](int index) {
    const track_info& track = composition.doc.track_at(index);
    if (static_cast<long long>(track.timing.begin) + track.in() < t &&
        t < static_cast<long long>(track.timing.begin) + track.out()) {
      under.push_back(index);
    }
  };
  if (composition.doc.has_selection()) {
    for (const int index : composition.doc.selection) consider(index);
    return under;
  }
  for (int index = 0; index < composition.doc.track_count(); ++index) consider(index);
  if (under.size() > 1) under.clear();
  return under;
}

void layer_duplicate_and_split(state& composition) {
  const std::vector<int> originals = layers_to_split(composition);
  const int t = static_cast<int>(composition.doc.tm_t);
  std::vector<track_info> copies;
  copies.reserve(originals.size());
  for (const int index : originals) {
    track_info& track = composition.doc.track_at(index);
    track_info copy = duplicate_of(track);
    // The in point lies within one pass of the source, so a split in a later pass moves the copy by whole passes.
    const int length = track.length();
    const int relative = t - track.timing.begin;
    const int passes = relative / length;
    copy.timing.begin =
        clamped_frame(static_cast<long long>(copy.timing.begin) + static_cast<long long>(passes) * length);
    copy.set_in_out(relative - passes * length, track.out() - passes * length);
    track.set_out(relative);
    copies.push_back(std::move(copy));
  }
  insert_below(composition, originals, std::move(copies));
}

bool can_expand_into_layers(const state& composition) {
  const track_info* track = composition.doc.selected_track();
  return track && track->source.image_layers.size() > 1 && track->source.image_layer.is_default();
}

void expand_into_layers(state& composition) {
  if (!can_expand_into_layers(composition)) return;
  const int index = composition.doc.selected_index();
  const track_info model = std::move(take_layers(composition, {index}).front());
  std::vector<track_info> copies;
  std::vector<int> indices;
  for (const img::layer& layer : model.source.image_layers) {
    track_info copy = copy_of(model);
    copy.source.image_layer = layer;
    indices.push_back(index + static_cast<int>(copies.size()));
    copies.push_back(std::move(copy));
  }
  // Who took alpha from the whole takes it from the first part.
  for (track_info& track : composition.doc.tracks) {
    if (track.look.alpha_source_id == model.id) track.look.alpha_source_id = copies.front().id;
  }
  insert_layers(composition, indices, std::move(copies));
  composition.doc.selection = std::set<int>(indices.begin(), indices.end());
}

bool can_embed_layer(const state& composition) {
  const track_info* track = composition.doc.selected_track();
  return track && track->source.is_decoded() && track->source.frames == 1;
}

void embed_layer(state& composition) {
  if (!can_embed_layer(composition)) return;
  track_info& track = *composition.doc.selected_track();
  auto picture = std::make_shared<img::image>();
  if (track.source.is_clip()) {
    if (!track.source.clip || !track.source.clip->read(0, 0, *picture)) {
      composition.report_error('"' + track.source.path + "\": Open error");
      return;
    }
  } else {
    img::load(*picture, track.source.frame_path(0), nullptr, &track.source.image_layer);
  }
  if (composition.watcher) composition.watcher->forget(track.id);
  composition.hooks.cancel_preload(track);
  layer_source embedded;
  embedded.type = source_type::clipboard_image;
  embedded.frames = 1;
  embedded.fpcs = track.source.fpcs;
  embedded.fpcs2 = track.source.fpcs2;
  embedded.width = picture->width;
  embedded.height = picture->height;
  embedded.clipboard_image = std::move(picture);
  track.source.take(std::move(embedded));
  track.source.auto_update = false;
  composition.hooks.forget_layer(track.id);
}

}  // namespace ksn
