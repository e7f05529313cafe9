// Photoshop documents on their way out: the merged picture, and where there is alpha one layer with the same.
#pragma once

#include <string>

#include "img/formats/shared/deep_export.h"

namespace img {

// The longest side of a picture; beyond it the form for large documents would be needed.
constexpr int most_psd_side = 30000;

// Both throw what io::llfile does.
void write_psd(const export_planes& planes, const std::string& path, const save_options& options);
void write_psd(const deep_planes& planes, const std::string& path, const save_options& options);

}  // namespace img
