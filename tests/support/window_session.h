// The program in a real window: an X server of its own without a screen, keys and mouse, and what is to be seen.
#pragma once

#include <xcb/xcb.h>

#include <cstdint>

#include "paths.h"
#include "support/program.h"

namespace support {

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
        {folder_.path(), {}, folder_ / "out", folder_ / "err", ends[1]});
    close(ends[1]);
    std::string number;
    char c = 0;
    while (read(ends[0], &c, 1) == 1 && c != '\n') number += c;
    close(ends[0]);
    if (number.empty()) throw std::runtime_error("Xvfb does not start: " + read_file(folder_ / "err"));
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

// The environment of a program on that server, with folders of the user in `folder`. Without an address of a session
// bus the toolkit's library would start one for the display: it forks and asks for memory in the child, where a
// sanitizer's allocator may still be locked by a thread that is not there, and then the window never comes.
inline std::map<std::string, std::string> desktop_variables(const x_server& server, const std::string& folder) {
  return {{"DISPLAY", server.name()},          {"WAYLAND_DISPLAY", ""},
          {"QT_QPA_PLATFORM", "xcb"},          {"SDL_AUDIODRIVER", "dummy"},
          {"XDG_RUNTIME_DIR", folder},         {"XDG_CONFIG_HOME", folder + "/config"},
          {"XDG_DATA_HOME", folder + "/data"}, {"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + folder + "/no-bus"}};
}

// The program in a window on `server`, with folders of its own. Keys F13 to F24 are free for the test's own bindings.
class window_program {
 public:
  window_program(x_server& server, std::vector<std::string> arguments, const std::string& key_definitions = {},
                 std::map<std::string, std::string> environment = {}, const std::string& output = {})
      : server_(server) {
    if (!key_definitions.empty()) write_file(user_ / "documents/Kestrin/keydefs.txt", key_definitions);
    write_file(user_ / "config/user-dirs.dirs", "XDG_DOCUMENTS_DIR=\"" + user_ / "documents" + "\"\n");
    environment.merge(desktop_variables(server, user_.path()));
    arguments.insert(arguments.begin(), KESTRIN_BINARY);
    program_ = process(std::move(arguments), {user_.path(), std::move(environment),
                                              output.empty() ? user_ / "out" : output, user_ / "errors"});
    if (!wait_until([this] { return !program_.running() || !find().empty(); })) throw std::runtime_error("no window");
    if (!program_.running()) throw std::runtime_error("the program ended: " + errors());
    server_.xdotool({"windowfocus", "--sync", window_});
  }

  process& program() { return program_; }
  std::string user(const std::string& name) const { return user_ / name; }
  std::string errors() const { return read_file(user_ / "errors"); }
  std::string output() const { return read_file(user_ / "out"); }
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
