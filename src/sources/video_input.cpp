#include "sources/video_input.h"

#include "platform/module.h"
#include "sources/movie_writer.h"

namespace sources {

std::vector<std::string> list_inputs() {
  std::vector<std::string> names;
  std::string missing;
  if (void* function = platform::module_function("media", "kestrin_list_inputs", missing)) {
    reinterpret_cast<list_inputs_function>(function)(names);
  }
  return names;
}

std::shared_ptr<live_source> open_input(const std::string& name, std::string& reason) {
  std::shared_ptr<live_source> opened;
  if (void* function = platform::module_function("media", "kestrin_open_input", reason)) {
    reinterpret_cast<open_input_function>(function)(lent_to_modules(), name, opened, reason);
  }
  return opened;
}

}  // namespace sources
