// A layer's source frame in terms of the cache, the same for display and for loading ahead.
#pragma once

#include <optional>

#include "cache/reading/frame_request.h"
#include "composition/track_info.h"

namespace cache {

// The load key of a layer's frame at a resolution.
frame_key key_of_frame(const ksn::track_info& track, int source_frame, ksn::cache_resolution_type resolution);

// Whether the source, which must be a decoded one, has the frame, whose file or name within a clip is `path`.
bool has_frame(const ksn::track_info& track, int source_frame, const std::string& path);

// All that a thread needs to read the frame of that key. Nothing where the source, which must be a decoded one, has no
// such frame. Throws io::invalid_format for a name that no format claims.
std::optional<frame_request> request_of(const ksn::track_info& track, int source_frame, frame_key key);
// The same under the key of key_of_frame(); nothing as well where no format claims the name.
std::optional<frame_request> request_of(const ksn::track_info& track, int source_frame,
                                        ksn::cache_resolution_type resolution);

}  // namespace cache
