// The picture that the preview area of a window would show.
#pragma once

#include "composition/state.h"
#include "render/compositor.h"

namespace save {

// The client area of a window that is opened without a wish for its size, in pixels.
constexpr int default_client_width = 940;
constexpr int default_client_height = 800;

// The part of the composition in the preview area of a window with this client area: all above the strip of timeline
// and layer rows, under the zoom of `shown`, pixel aspect and pan, which counts in composition pixels. At least one
// pixel either way.
render::frame_view preview_view(const ksn::state& composition, const ksn::view& shown, int client_width,
                                int client_height);
// As the main window shows it.
inline render::frame_view preview_view(const ksn::state& composition, int client_width, int client_height) {
  return preview_view(composition, composition.view, client_width, client_height);
}
// The same for a picture that leaves the window: with the counter, which the information bar shows over it.
render::frame_view saved_screen(const ksn::state& composition, int client_width, int client_height);

}  // namespace save
