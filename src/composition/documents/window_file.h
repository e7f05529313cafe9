// Where the window stood, between runs: kestrin.window.xml of the user's local data.
#pragma once

#include <string>

#include "io/xml_archive.h"
#include "platform/desktop.h"

namespace ksn {

constexpr const char* window_file_name = "kestrin.window.xml";

// Read before the window is first shown and written when it closes. Both swallow every failure and return false;
// `placement` then stays as it is, or the old file.
bool load_window_placement(platform::window_placement& placement);
bool save_window_placement(const platform::window_placement& placement);

// The body, for an archive in memory. Throws as the archive.
platform::window_placement read_window_placement(io::xml_iarchive& archive);

}  // namespace ksn
