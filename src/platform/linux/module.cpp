#include "platform/module.h"

#include <dlfcn.h>

#include <map>
#include <mutex>

#include "lib/paths.h"
#include "platform/files.h"
#include "platform/folders.h"

namespace platform {
namespace {

struct loaded_module {
  void* handle = nullptr;
  std::string error;
};

loaded_module load(const std::string& name) {
  const std::string file = "kestrin_" + name + ".so";
  std::string folder;
  get_folder(folder_kind::executable, false, folder);
  std::string path = folder + "/" + file;
  if (!file_exists(path)) path = lib::full_path(folder + "/../lib/kestrin/" + file);
  loaded_module result;
  // Local binding keeps the libraries of one module out of the way of another's.
  result.handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!result.handle) {
    const char* reason = dlerror();
    result.error = reason ? reason : "can't be loaded";
  }
  return result;
}

}  // namespace

void* module_function(const std::string& name, const std::string& function, std::string& error) {
  static std::mutex lock;
  static std::map<std::string, loaded_module> modules;
  const std::lock_guard guard(lock);
  auto found = modules.find(name);
  if (found == modules.end()) found = modules.emplace(name, load(name)).first;
  if (!found->second.handle) {
    error = found->second.error;
    return nullptr;
  }
  void* symbol = dlsym(found->second.handle, function.c_str());
  if (!symbol) error = "kestrin_" + name + ".so has no function " + function;
  return symbol;
}

}  // namespace platform
