#include "platform/desktop.h"

#include <cstdlib>
#include <string_view>

#include "platform/module.h"

namespace platform {
namespace {

bool is_set(const char* variable) {
  const char* value = std::getenv(variable);
  return value && *value;
}

}  // namespace

bool has_display() {
  // The toolkit can do without one where it is told so.
  const char* platform = std::getenv("QT_QPA_PLATFORM");
  return is_set("DISPLAY") || is_set("WAYLAND_DISPLAY") ||
         std::string_view(platform ? platform : "").starts_with("offscreen");
}

std::unique_ptr<desktop> open_desktop(std::string& error) {
  if (!has_display()) {
    error = "no display";
    return nullptr;
  }
  void* function = module_function("desktop", "kestrin_make_desktop", error);
  if (!function) return nullptr;
  return std::unique_ptr<desktop>(reinterpret_cast<make_desktop_function>(function)(error));
}

}  // namespace platform
