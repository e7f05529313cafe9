#include "app/after_save.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <vector>

#include "command/messages.h"
#include "composition/sequence.h"
#include "lib/paths.h"

extern char** environ;

namespace app {

namespace {

// Empty when the script ended well.
std::string run_script(const std::string& script, const std::string& argument) {
  std::string name = script;
  std::string path = argument;
  char* const arguments[] = {name.data(), path.data(), nullptr};
  // A script gets the signals that Kestrin passes over.
  sigset_t ignored_here;
  sigemptyset(&ignored_here);
  for (const int signal : {SIGXFSZ, SIGPIPE}) sigaddset(&ignored_here, signal);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigdefault(&attributes, &ignored_here);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  pid_t process = 0;
  const int failure = posix_spawn(&process, script.c_str(), nullptr, &attributes, arguments, environ);
  posix_spawnattr_destroy(&attributes);
  if (failure) return std::string("Could not be started: ") + std::strerror(failure);
  int status = 0;
  while (waitpid(process, &status, 0) < 0) {
    if (errno != EINTR) return std::strerror(errno);
  }
  if (WIFSIGNALED(status)) return "Ended by signal " + std::to_string(WTERMSIG(status));
  if (WEXITSTATUS(status) != 0) return "Exit code " + std::to_string(WEXITSTATUS(status));
  return {};
}

}  // namespace

void run_scripts(const std::string& folder, const std::string& saved_path,
                 const std::function<void(const std::string& line)>& report) {
  std::vector<std::string> names;
  if (lib::list_folder(folder, "*", &names, nullptr) != 0) return;
  ksn::natural_sort(names);
  for (const std::string& name : names) {
    const std::string script = lib::add_separator(folder) + name;
    if (access(script.c_str(), X_OK) != 0) continue;
    if (const std::string failure = run_script(script, saved_path); !failure.empty()) {
      report(command::about(script, failure));
    }
  }
}

}  // namespace app
