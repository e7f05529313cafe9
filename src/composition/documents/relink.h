// Sources of layers that moved along with their composition.
#pragma once

#include <deque>
#include <string>

#include "composition/track_info.h"

namespace ksn {

// Makes the paths of the layers real ones for a composition that now stands at `composition_path`. Relative paths are
// taken from its folder. A source that is not where the layer says is looked for under the same names beside and below
// that folder and the three above it: the nearest folder wins, and in it the longest part of the old path. What is
// found nowhere stays as it stands.
void relink(std::deque<track_info>& tracks, const std::string& composition_path);

}  // namespace ksn
