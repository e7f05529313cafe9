#include "platform/module.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>

#include <cstdint>
#include <map>
#include <mutex>

#include "lib/paths.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "platform/linux/descriptor.h"

namespace platform {
namespace {

struct loaded_module {
  void* handle = nullptr;
  std::string error;
};

// Whether all that the system maps of a module is in its file. It believes the headers, and the first touch of what is
// not there is a signal that ends the process.
bool is_whole(const std::string& path) {
  const int handle = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (handle < 0) return true;  // the loader says why
  const descriptor file(handle);
  struct stat status {};
  ElfW(Ehdr) header;
  if (fstat(handle, &status) != 0 || pread(handle, &header, sizeof header, 0) != sizeof header) return false;
  const auto size = static_cast<std::uint64_t>(status.st_size);
  const auto fits = [size](std::uint64_t offset, std::uint64_t count) {
    return offset <= size && count <= size - offset;
  };
  if (header.e_phentsize != sizeof(ElfW(Phdr))) return false;
  for (int i = 0; i < header.e_phnum; ++i) {
    ElfW(Phdr) part;
    const auto place = static_cast<off_t>(header.e_phoff + static_cast<std::uint64_t>(i) * sizeof part);
    if (pread(handle, &part, sizeof part, place) != sizeof part) return false;
    if (part.p_type == PT_LOAD && !fits(part.p_offset, part.p_filesz)) return false;
  }
  return fits(header.e_shoff, static_cast<std::uint64_t>(header.e_shentsize) * header.e_shnum);
}

loaded_module load(const std::string& name) {
  const std::string file = "kestrin_" + name + ".so";
  std::string folder;
  get_folder(folder_kind::executable, false, folder);
  std::string path = folder + "/" + file;
  if (!file_exists(path)) path = lib::full_path(folder + "/../lib/kestrin/" + file);
  loaded_module result;
  if (!is_whole(path)) {
    result.error = path + " is cut short";
    return result;
  }
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
  // One per process, as the system loads a library once however often it is asked for. Never unloaded: code of a module
  // may be on the stack of any thread.
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
