// The server's actions and its field.
#pragma once

#include <functional>
#include <string>

#include "command/engine.h"
#include "services/http/server.h"

namespace services::http {

struct action_parts {
  command::engine& engine;
  http::server& server;
  std::function<bool(std::string& folder)> root;  // of the files; false when there is none
  std::function<std::string(std::string_view key)> text;
  std::function<void(const std::string& text)> set_clipboard_text;  // does nothing without a window
};

// Registers http_start, http_stop, http_toggle, opt_http_copy_url, opt_http_open_in_browser and the field http_url.
// The objects that the parts refer to outlive the tables. Returns what http_start does without a value, which tells
// whether the server listens now.
std::function<bool()> register_actions(const action_parts& parts);

}  // namespace services::http
