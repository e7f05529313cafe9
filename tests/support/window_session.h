// The program in a real window: an X server of its own without a screen, keys and mouse, and what is to be seen.
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/program.h"
#include "support/temp_folder.h"

namespace support {

constexpr std::chrono::seconds patience(30);

// Asks until it holds; false after the patience of a busy machine.
inline bool wait_until(const std::function<bool()>& holds, std::chrono::seconds how_long = patience) {
  const auto end = std::chrono::steady_clock::now() + how_long;
  while (!holds()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

// A program that runs beside the test. Killed at the end of its life if it is still there.
class process {
 public:
  process() = default;
  process(std::vector<std::string> command, std::map<std::string, std::string> environment, const std::string& folder,
          const std::string& output, int inherited = -1) {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable; ++variable) {
      const std::string text = *variable;
      if (!environment.contains(text.substr(0, text.find('=')))) variables.push_back(text);
    }
    for (const auto& [name, value] : environment) {
      if (!value.empty()) variables.push_back(name + "=" + value);
    }
    const auto pointers = [](std::vector<std::string>& texts) {
      std::vector<char*> result;
      for (std::string& text : texts) result.push_back(text.data());
      result.push_back(nullptr);
      return result;
    };
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, (output + ".out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, (output + ".err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (inherited >= 0) posix_spawn_file_actions_adddup2(&actions, inherited, 9);
    const int failure =
        posix_spawnp(&id_, command[0].c_str(), &actions, nullptr, pointers(command).data(), pointers(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    if (failure) throw std::runtime_error("can't run " + command[0] + ": " + std::strerror(failure));
  }
  ~process() {
    if (id_ > 0) {
      kill(id_, SIGKILL);
      wait();
    }
  }
  process(process&& other) noexcept : id_(std::exchange(other.id_, 0)), code_(other.code_) {}
  process& operator=(process&& other) noexcept {
    std::swap(id_, other.id_);
    std::swap(code_, other.code_);
    return *this;
  }

  pid_t id() const { return id_; }
  void send(int signal) const { kill(id_, signal); }
  bool running() {
    int status = 0;
    if (id_ > 0 && waitpid(id_, &status, WNOHANG) == id_) end(status);
    return id_ > 0;
  }
  // The exit code, or 1000 and the number of the signal that ended it; -1 when it does not end.
  int wait_for_end() {
    return wait_until([this] { return !running(); }) ? code_ : -1;
  }

 private:
  pid_t id_ = 0;
  int code_ = -1;

  void end(int status) {
    id_ = 0;
    code_ = WIFSIGNALED(status) ? 1000 + WTERMSIG(status) : WEXITSTATUS(status);
  }
  void wait() {
    int status = 0;
    while (waitpid(id_, &status, 0) < 0 && errno == EINTR) {
    }
    end(status);
  }
};

// Colours as 0xRRGGBB.
struct screenshot {
  int width = 0;
  int height = 0;
  std::vector<std::uint32_t> pixels;

  std::uint32_t at(int x, int y) const { return pixels[static_cast<std::size_t>(y) * width + x]; }
  screenshot part(int left, int top, int w, int h) const {
    screenshot result{w, h, {}};
    for (int y = top; y < top + h; ++y) {
      for (int x = left; x < left + w; ++x) result.pixels.push_back(x < width && y < height ? at(x, y) : 0xFF000000u);
    }
    return result;
  }
  bool operator==(const screenshot&) const = default;
};

// Xvfb on a display of its own, with one screen.
class x_server {
 public:
  explicit x_server(int width = 1280, int height = 1024) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    server_ = process(
        {"Xvfb", "-displayfd", "9", "-screen", "0", std::to_string(width) + "x" + std::to_string(height) + "x24",
         "-nolisten", "tcp", "-noreset", "-nocursor", "-fbdir", folder_.path()},
        {}, folder_.path(), folder_ / "xvfb", ends[1]);
    close(ends[1]);
    std::string number;
    char c = 0;
    while (read(ends[0], &c, 1) == 1 && c != '\n') number += c;
    close(ends[0]);
    if (number.empty()) throw std::runtime_error("Xvfb does not start: " + read_file(folder_ / "xvfb.err"));
    name_ = ":" + number;
  }

  const std::string& name() const { return name_; }
  void stop() { server_.send(SIGKILL); }

  // The whole screen. The server keeps it in a file: a header of big-endian words, a table of colours, then rows.
  screenshot look() const {
    const std::string file = read_file(folder_ / "Xvfb_screen0");
    const auto word = [&](std::size_t index) {
      std::uint32_t value = 0;
      for (int i = 0; i < 4; ++i) value = value << 8 | static_cast<std::uint8_t>(file[index * 4 + i]);
      return value;
    };
    if (file.size() < 100) throw std::runtime_error("no screen");
    const std::size_t header = word(0);
    const std::size_t row_bytes = word(12);
    const std::size_t colors = word(19);
    screenshot result{static_cast<int>(word(4)), static_cast<int>(word(5)), {}};
    result.pixels.resize(static_cast<std::size_t>(result.width) * result.height);
    for (int y = 0; y < result.height; ++y) {
      const char* row = file.data() + header + colors * 12 + row_bytes * y;
      for (int x = 0; x < result.width; ++x) {
        std::uint32_t pixel;
        std::memcpy(&pixel, row + x * 4, 4);
        result.pixels[static_cast<std::size_t>(y) * result.width + x] = pixel & 0xFFFFFF;
      }
    }
    return result;
  }

  // Asks a window to close, as the button of its frame does.
  void ask_to_close(const std::string& window) const {
    xcb_connection_t* connection = xcb_connect(name_.c_str(), nullptr);
    const auto atom = [&](const std::string& text) {
      xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(
          connection, xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(text.size()), text.c_str()), nullptr);
      const xcb_atom_t result = reply ? reply->atom : 0;
      free(reply);
      return result;
    };
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = static_cast<xcb_window_t>(std::strtoul(window.c_str(), nullptr, 10));
    event.type = atom("WM_PROTOCOLS");
    event.data.data32[0] = atom("WM_DELETE_WINDOW");
    xcb_send_event(connection, 0, event.window, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&event));
    xcb_flush(connection);
    free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
    xcb_disconnect(connection);
  }

  // Runs xdotool and returns what it prints.
  std::string xdotool(std::vector<std::string> arguments) const {
    return run_program("/usr/bin/xdotool", std::move(arguments), "/", {{"DISPLAY", name_}}).out;
  }

 private:
  temp_folder folder_;
  process server_;
  std::string name_;
};

struct rectangle {
  int x = 0, y = 0, width = 0, height = 0;
  bool operator==(const rectangle&) const = default;
};

// The program in a window on `server`, with folders of its own. Keys F13 to F24 are free for the test's own bindings.
class window_program {
 public:
  window_program(x_server& server, std::vector<std::string> arguments, const std::string& key_definitions = {},
                 std::map<std::string, std::string> environment = {})
      : server_(server) {
    if (!key_definitions.empty()) write_file(user_ / "documents/Kestrin/keydefs.txt", key_definitions);
    write_file(user_ / "config/user-dirs.dirs", "XDG_DOCUMENTS_DIR=\"" + user_ / "documents" + "\"\n");
    environment.insert({{"DISPLAY", server.name()},
                        {"WAYLAND_DISPLAY", ""},
                        {"QT_QPA_PLATFORM", "xcb"},
                        {"SDL_AUDIODRIVER", "dummy"},
                        {"XDG_RUNTIME_DIR", user_.path()},
                        {"XDG_CONFIG_HOME", user_ / "config"},
                        {"XDG_DATA_HOME", user_ / "data"}});
    arguments.insert(arguments.begin(), KESTRIN_BINARY);
    program_ = process(std::move(arguments), std::move(environment), user_.path(), user_ / "program");
    if (!wait_until([this] { return !program_.running() || !find().empty(); })) throw std::runtime_error("no window");
    if (!program_.running()) throw std::runtime_error("the program ended: " + errors());
    server_.xdotool({"windowfocus", "--sync", window_});
  }

  process& program() { return program_; }
  std::string user(const std::string& name) const { return user_ / name; }
  std::string errors() const { return read_file(user_ / "program.err"); }
  std::string output() const { return read_file(user_ / "program.out"); }
  const std::string& window() const { return window_; }

  std::string title() const { return server_.xdotool({"getwindowname", window_}); }
  rectangle geometry() const {
    const std::string text = "\n" + server_.xdotool({"getwindowgeometry", "--shell", window_});
    const auto number = [&](const char* name) {
      const std::size_t at = text.find("\n" + std::string(name) + "=");
      return at == text.npos ? 0 : std::atoi(text.c_str() + at + std::strlen(name) + 2);
    };
    return {number("X"), number("Y"), number("WIDTH"), number("HEIGHT")};
  }
  void key(const std::string& name) { server_.xdotool({"key", "--clearmodifiers", name}); }

 private:
  x_server& server_;
  temp_folder user_;
  process program_;
  std::string window_;

  const std::string& find() {
    const std::string found =
        server_.xdotool({"search", "--onlyvisible", "--all", "--pid", std::to_string(program_.id()), "--name", " - "});
    window_ = found.substr(0, found.find('\n'));
    return window_;
  }
};

}  // namespace support
