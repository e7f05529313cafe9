#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "app/application.h"
#include "platform/memory.h"

namespace {

// A standard stream that the caller closed would be the next file that is opened, and lines would be written into it.
void open_standard_streams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) < 0) open("/dev/null", O_RDWR);
  }
}

}  // namespace

int main(int argc, char** argv) {
  open_standard_streams();
  platform::respect_address_space_limit();
  // A file that outgrows the user's limit is an error line, as a full disk is, and who stops reading what is printed
  // ends neither a save nor a window.
  for (const int signal : {SIGXFSZ, SIGPIPE}) std::signal(signal, SIG_IGN);
  // A caller that passes over the ends of its children hands that down, and how a script ended would not be heard.
  std::signal(SIGCHLD, SIG_DFL);
  std::vector<std::string> arguments;
  std::optional<app::application> application;
  try {
    arguments.assign(argv, argv + argc);
    application.emplace();
  } catch (const std::bad_alloc&) {
    return app::fail_without_memory();
  }
  return application->application_main(arguments);
}
