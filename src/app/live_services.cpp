#include "app/live_services.h"

#include <chrono>

#include "platform/folders.h"
#include "services/http/actions.h"

namespace app {
namespace {

// For a frame that has to be read; after that a browser gets the picture before.
constexpr std::chrono::milliseconds frame_patience(1500);

}  // namespace

void live_services::register_actions() {
  listen = services::http::register_actions(
      {parts_.engine, server_,
       [](std::string& folder) { return platform::get_folder(platform::folder_kind::httpdocs, false, folder); },
       parts_.text, parts_.set_clipboard_text});
}

bool live_services::poll() {
  return server_.poll([this](int width, int height) {
    if (!pictures_) {
      pictures_ = std::make_unique<services::http::pictures>(parts_.make_pipeline(), parts_.engine.composition());
      pictures_->pipeline().patience = frame_patience;
    }
    return pictures_->draw(parts_.clock.shown_time(), width, height);
  });
}

void live_services::forget_layer(int id) {
  if (!pictures_) return;
  id < 0 ? pictures_->pipeline().forget_all() : pictures_->pipeline().forget_layer(id);
}

}  // namespace app
