// The connection to the display: tried before Qt needs it, and watched for its end.
#pragma once

#include <functional>

struct xcb_connection_t;

namespace platform {

// Qt ends the process when it can't connect to a display, so that is tried first. A connection to an X display stays
// until Qt has its own: some servers start over, and refuse connections meanwhile, when their last one is closed.
class display_probe {
 public:
  display_probe();
  ~display_probe();
  display_probe(const display_probe&) = delete;
  display_probe& operator=(const display_probe&) = delete;
  bool good() const { return good_; }

 private:
  xcb_connection_t* connection_ = nullptr;
  bool good_ = false;
};

// Calls `lost` once, on the main thread, when the connection breaks: Qt then ends the process from inside a call. Empty
// to stop watching. Call quiet_toolkit() before Qt starts, and this after.
void watch_connection(std::function<void()> lost);

// Keeps the toolkit's remarks about the session, nothing that a user of the command line can act on, from the error
// stream; errors go there.
void quiet_toolkit();

// Whether somebody carries out what a window asks for its state. An X server alone does not.
bool has_window_manager();

}  // namespace platform
