#include "composition/layer_cache.h"

namespace ksn {
namespace {

void forget(const state& composition, const track_info& track) {
  if (composition.hooks.forget_layer) composition.hooks.forget_layer(track.id);
}

void drop_modified(const state& composition, const track_info& track) {
  const state_hooks& hooks = composition.hooks;
  if (track.source_type == source_type::image && hooks.drop_changed) hooks.drop_changed(track.path);
  if (track.source_type == source_type::sequence && hooks.drop_changed_in) hooks.drop_changed_in(track.path);
  forget(composition, track);
}

}  // namespace

void drop_from_cache(const state& composition, const track_info& track) {
  const state_hooks& hooks = composition.hooks;
  if (hooks.cancel_preload) hooks.cancel_preload(track);
  forget(composition, track);
  if (!track.is_decoded()) return;
  if (track.source_type == source_type::image) {
    if (hooks.drop_path) hooks.drop_path(track.path);
  } else if (hooks.drop_folder) {
    // A clip's path is the folder of the names that its frames are kept under.
    hooks.drop_folder(track.path);
  }
}

void layer_update_frame(state& composition) {
  for (const int index : composition.selection) {
    const track_info& track = composition.track_at(index);
    const double position = track.source_position(composition.tm_t);
    if (position < 0.0) continue;
    const std::string path = track.frame_path(static_cast<int>(position));
    if (!path.empty() && composition.hooks.drop_path) composition.hooks.drop_path(path);
    forget(composition, track);
  }
}

void layer_update_modified(state& composition) {
  for (const int index : composition.selection) drop_modified(composition, composition.track_at(index));
}

void layer_remove_from_cache(state& composition) {
  for (const int index : composition.selection) drop_from_cache(composition, composition.track_at(index));
}

void update_all_layers(state& composition) {
  for (const track_info& track : composition.tracks) drop_modified(composition, track);
}

void layer_preload_into_cache(state& composition) {
  const track_info* track = composition.selected_track();
  if (track && composition.hooks.request_preload) composition.hooks.request_preload(*track);
}

void preload_all_layers(state& composition) {
  if (!composition.hooks.request_preload) return;
  for (const track_info& track : composition.tracks) composition.hooks.request_preload(track);
}

}  // namespace ksn
