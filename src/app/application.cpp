#include "app/application.h"

namespace app {

struct application::impl {};

application::application() : impl_(std::make_unique<impl>()) {}
application::~application() = default;

int application::application_main(const std::vector<std::string>&) {
  return 0;
}

}  // namespace app
