// Sequences that are read again, by hand or when their folder changes.
#pragma once

#include "composition/state.h"

namespace ksn {

// A sequence with a pattern can be scanned again; with an explicit range it can't be watched.
bool can_rescan(const track_info& track);
bool can_watch(const track_info& track);

// Takes the files that are there now. Timeline, work area and current time follow the end of a growing sequence.
void rescan(state& composition, track_info& track);

bool can_rescan_selected(const state& composition);
bool can_watch_selected(const state& composition);
void layer_rescan_sequence(state& composition);
void layer_watch_sequence(state& composition);
bool watches_selected(const state& composition);

// Scans every watched layer again whose folder changed. Called once a tick.
void poll_watches(state& composition);

}  // namespace ksn
