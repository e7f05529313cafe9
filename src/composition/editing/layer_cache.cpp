#include "composition/editing/layer_cache.h"

namespace ksn {
namespace {

void forget(const state& composition, const track_info& track) {
  composition.hooks.forget_layer(track.id);
}

void drop_modified(const state& composition, const track_info& track) {
  const state_hooks& hooks = composition.hooks;
  if (track.source.type == source_type::image) hooks.drop_changed(track.source.path);
  if (track.source.type == source_type::sequence) hooks.drop_changed_in(track.source.path);
  forget(composition, track);
}

}  // namespace

void drop_from_cache(const state& composition, const track_info& track) {
  const state_hooks& hooks = composition.hooks;
  hooks.cancel_preload(track);
  forget(composition, track);
  if (!track.source.is_decoded()) return;
  if (track.source.type == source_type::image) {
    hooks.drop_path(track.source.path);
  } else {
    // A clip's path is the folder of the names that its frames are kept under.
    hooks.drop_folder(track.source.path);
  }
}

void layer_update_frame(state& composition) {
  for (const int index : composition.doc.selection) {
    const track_info& track = composition.doc.track_at(index);
    const double position = track.source_position(composition.doc.tm_t);
    if (position < 0.0) continue;
    const std::string path = track.source.frame_path(static_cast<int>(position));
    if (!path.empty()) composition.hooks.drop_path(path);
    forget(composition, track);
  }
}

void layer_update_modified(state& composition) {
  for (const int index : composition.doc.selection) drop_modified(composition, composition.doc.track_at(index));
}

void layer_remove_from_cache(state& composition) {
  for (const int index : composition.doc.selection) drop_from_cache(composition, composition.doc.track_at(index));
}

void update_all_layers(state& composition) {
  for (const track_info& track : composition.doc.tracks) drop_modified(composition, track);
}

void layer_preload_into_cache(state& composition) {
  const track_info* track = composition.doc.selected_track();
  if (track) composition.hooks.request_preload(*track);
}

void preload_all_layers(state& composition) {
  for (const track_info& track : composition.doc.tracks) composition.hooks.request_preload(track);
}

}  // namespace ksn
