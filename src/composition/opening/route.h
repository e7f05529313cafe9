// How an open clip becomes the source of a layer.
#pragma once

#include <memory>
#include <string>

#include "composition/track_info.h"

namespace ksn {

class state;

// Fills the fields of `record` that a clip decides; `rate` is the one it was opened with.
void take_clip(track_info& record, std::shared_ptr<sources::clip> clip, const std::string& path, int rate);

// Takes the sound of the record's open clip, if it has any; a sound too large for the memory is one error line.
void read_sound(const state& composition, track_info& record);

}  // namespace ksn
