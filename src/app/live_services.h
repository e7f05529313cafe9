// The services that show the composition elsewhere, and their place in the main loop.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "command/engine.h"
#include "playback/clock.h"
#include "render/pipeline.h"
#include "services/http/picture.h"
#include "services/http/server.h"

namespace app {

struct live_parts {
  command::engine& engine;
  playback::clock& clock;
  // Makes a pipeline of its own over the program's cache.
  std::function<std::unique_ptr<render::pipeline>()> make_pipeline;
  std::function<std::string(std::string_view key)> text;
  std::function<void(const std::string& text)> set_clipboard_text;
};

// Main thread.
class live_services {
 public:
  explicit live_services(live_parts parts) : parts_(std::move(parts)) {}

  void register_actions();
  // Ends a wait of the main loop, from any thread; empty while there is no loop.
  void set_wake(std::function<void()> wake) { server_.set_wake(std::move(wake)); }
  // Draws what browsers ask for. True when there was something to do.
  bool poll();
  // Drops all that is kept for a layer outside of the document, of all layers for -1.
  void forget_layer(int id);
  void end() { server_.end(); }

  // Starts the server unless it listens; false after an error line.
  std::function<bool()> listen;

 private:
  live_parts parts_;
  services::http::server server_;
  std::unique_ptr<services::http::pictures> pictures_;  // made with the first one
};

}  // namespace app
