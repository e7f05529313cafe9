// An X server without a screen for the benchmarks that need a window.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

extern char** environ;

namespace bench {

inline pid_t start_process(std::vector<std::string> arguments, int inherited = -1) {
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (inherited >= 0) posix_spawn_file_actions_adddup2(&actions, inherited, 9);
  pid_t process = 0;
  const int failure = posix_spawnp(&process, pointers[0], &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failure) {
    std::fprintf(stderr, "can't run %s\n", pointers[0]);
    std::exit(1);
  }
  return process;
}

// Xvfb on a display of its own, named in the environment for all that starts after it.
class x_display {
 public:
  x_display(const std::string& folder, int width, int height) : screen_(folder + "/Xvfb_screen0") {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) std::exit(1);
    server_ = start_process(
        {"Xvfb", "-displayfd", "9", "-screen", "0", std::to_string(width) + "x" + std::to_string(height) + "x24",
         "-noreset", "-nolisten", "tcp", "-fbdir", folder},
        ends[1]);
    close(ends[1]);
    std::string number;
    for (char c = 0; read(ends[0], &c, 1) == 1 && c != '\n';) number += c;
    close(ends[0]);
    if (number.empty()) {
      std::fprintf(stderr, "Xvfb does not start: tools/install_packages.sh test\n");
      std::exit(1);
    }
    setenv("DISPLAY", (":" + number).c_str(), 1);
    setenv("QT_QPA_PLATFORM", "xcb", 1);
    unsetenv("WAYLAND_DISPLAY");
  }
  ~x_display() {
    if (screen_bytes_) munmap(screen_bytes_, size_);
    kill(server_, SIGTERM);
    waitpid(server_, nullptr, 0);
  }
  x_display(const x_display&) = delete;
  x_display& operator=(const x_display&) = delete;

  // The colour of a pixel of the screen as 0xRRGGBB. The server keeps the screen in a file: a header of big-endian
  // words, a table of colours, then rows.
  std::uint32_t pixel(int x, int y) {
    if (!screen_bytes_) {
      const int file = open(screen_.c_str(), O_RDONLY | O_CLOEXEC);
      struct stat info {};
      if (file < 0 || fstat(file, &info) != 0) std::exit(1);
      size_ = static_cast<std::size_t>(info.st_size);
      void* bytes = mmap(nullptr, size_, PROT_READ, MAP_SHARED, file, 0);
      close(file);
      if (bytes == MAP_FAILED) std::exit(1);
      screen_bytes_ = static_cast<std::uint8_t*>(bytes);
    }
    const auto word = [this](std::size_t index) {
      std::uint32_t value = 0;
      for (std::size_t i = 0; i < 4; ++i) value = value << 8 | screen_bytes_[index * 4 + i];
      return value;
    };
    const volatile std::uint8_t* at = screen_bytes_ + word(0) + word(19) * 12 + static_cast<std::size_t>(word(12)) * y +
                                      static_cast<std::size_t>(x) * 4;
    return at[0] | static_cast<std::uint32_t>(at[1]) << 8 | static_cast<std::uint32_t>(at[2]) << 16;
  }

 private:
  std::string screen_;
  pid_t server_ = 0;
  std::uint8_t* screen_bytes_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace bench
