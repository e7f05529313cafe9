#include "platform/shell.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

namespace platform {
namespace {

bool is_installed(const std::string& program) {
  const char* path = std::getenv("PATH");
  std::string_view rest = path ? path : "/usr/bin:/bin";
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find(':'), rest.size());
    if (access((std::string(rest.substr(0, end)) + "/" + program).c_str(), X_OK) == 0) return true;
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return false;
}

// In a session of its own and without our terminal's input; the child of a child where nobody will wait for it.
bool start(const std::vector<std::string>& words, std::string& error, int* process) {
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  const pid_t child = fork();
  if (child < 0) {
    error = std::strerror(errno);
    return false;
  }
  if (child == 0) {
    // Between fork and exec only calls that are safe in a signal handler.
    if (!process && fork() != 0) _exit(0);
    setsid();
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    for (const int signal : {SIGINT, SIGTERM, SIGPIPE, SIGHUP}) ::signal(signal, SIG_DFL);
    const int nothing = open("/dev/null", O_RDWR);
    if (nothing >= 0) {
      for (int descriptor = 0; descriptor < 3; ++descriptor) dup2(nothing, descriptor);
    }
    execvp(arguments[0], arguments.data());
    _exit(127);
  }
  if (process) {
    *process = child;
    return true;
  }
  while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
  return true;
}

bool need(const char* program, std::string& error) {
  if (is_installed(program)) return true;
  error = std::string(program) + " is not installed";
  return false;
}

// RFC 3986: everything but letters, digits, a few marks and the separators of folders as % and two digits.
std::string file_uri(const std::string& path) {
  std::string result = "file://";
  for (const char c : path) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       std::strchr("/-._~", c) != nullptr;
    if (plain && c != '\0') {
      result += c;
      continue;
    }
    constexpr char digits[] = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    result += {'%', digits[byte >> 4], digits[byte & 15]};
  }
  return result;
}

}  // namespace

bool open_address(const std::string& address, std::string& error, int* process) {
  return need("xdg-open", error) && start({"xdg-open", address}, error, process);
}

bool reveal(const std::string& path, std::string& error, int* process) {
  const std::string folder = path.substr(0, std::max<std::size_t>(path.rfind('/'), 1));
  if (!is_installed("gdbus")) return open_address(folder, error, process);
  if (!need("xdg-open", error)) return false;
  // gdbus fails when no file manager answers. A quote never occurs in the address.
  return start({"/bin/sh", "-c",
                "gdbus call --session --timeout 5 --dest org.freedesktop.FileManager1 "
                "--object-path /org/freedesktop/FileManager1 --method org.freedesktop.FileManager1.ShowItems "
                "\"['$1']\" '' || exec xdg-open \"$2\"",
                "sh", file_uri(path), folder},
               error, process);
}

bool launch_again(std::string& error) {
  char path[4096];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  if (length <= 0 || static_cast<std::size_t>(length) == sizeof path) {
    error = "its file is not found";
    return false;
  }
  return start({std::string(path, static_cast<std::size_t>(length))}, error, nullptr);
}

bool mail(const std::string& path, std::string& error, int* process) {
  return need("xdg-email", error) && start({"xdg-email", "--attach", path}, error, process);
}

}  // namespace platform
