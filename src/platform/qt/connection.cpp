#include "platform/qt/connection.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <QDir>
#include <QGuiApplication>
#include <QLibraryInfo>
#include <QThread>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

namespace platform {
namespace {

constexpr std::chrono::seconds lost_patience(10);  // for a document to be filed

std::atomic<bool> watching = false;
// Called when the connection breaks. Main thread.
std::function<void()>& lost_connection() {
  static std::function<void()> function;
  return function;
}

bool is_set(const char* variable) {
  const char* value = std::getenv(variable);
  return value && *value;
}

// Whether a Wayland compositor takes connections, and Qt knows how to speak to it.
bool reaches_wayland() {
  const QDir plugins(QLibraryInfo::path(QLibraryInfo::PluginsPath) + "/platforms");
  if (plugins.entryList({"libqwayland*"}, QDir::Files).isEmpty()) return false;
  if (is_set("WAYLAND_SOCKET")) return true;
  std::string path = is_set("WAYLAND_DISPLAY") ? std::getenv("WAYLAND_DISPLAY") : "wayland-0";
  if (path[0] != '/') path = std::string(is_set("XDG_RUNTIME_DIR") ? std::getenv("XDG_RUNTIME_DIR") : "") + "/" + path;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path.c_str(), path.size());
  const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool reached = socket >= 0 && connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  if (socket >= 0) close(socket);
  return reached;
}

// Several threads of the toolkit may find the connection broken and are about to end the process: they leave that to
// the main thread, which finds it with its next picture.
void tell_lost_connection() {
  if (!watching) return;
  if (QThread::currentThread() == qGuiApp->thread()) {
    if (const auto lost = std::exchange(lost_connection(), nullptr)) lost();
  } else {
    std::this_thread::sleep_for(lost_patience);
  }
}

// The messages about a broken connection to a Wayland display are the last that it gives in this process.
void show_only_errors(QtMsgType type, const QMessageLogContext&, const QString& text) {
  if (text.startsWith("The Wayland connection")) tell_lost_connection();
  if (type == QtCriticalMsg || type == QtFatalMsg) std::fprintf(stderr, "%s\n", qPrintable(text));
}

}  // namespace

display_probe::display_probe() {
  const std::string platform = is_set("QT_QPA_PLATFORM") ? std::getenv("QT_QPA_PLATFORM") : "";
  const bool asks_wayland = platform.empty() ? is_set("WAYLAND_DISPLAY") : platform.starts_with("wayland");
  const bool asks_x = platform.empty() ? is_set("DISPLAY") : platform == "xcb";
  if (!asks_wayland && !asks_x) {
    good_ = !platform.empty();  // one of the platforms that need no display
  } else if (asks_wayland && reaches_wayland()) {
    good_ = true;
  } else if (asks_x) {
    connection_ = xcb_connect(nullptr, nullptr);
    good_ = xcb_connection_has_error(connection_) == 0;
    // Otherwise Qt would go to the Wayland display that is not there first.
    if (good_) setenv("QT_QPA_PLATFORM", "xcb", 1);
  }
}

display_probe::~display_probe() {
  if (connection_) xcb_disconnect(connection_);
}

void watch_connection(std::function<void()> lost) {
  static const bool registered = std::atexit(tell_lost_connection) == 0;
  static_cast<void>(registered);
  lost_connection() = std::move(lost);
  watching = lost_connection() != nullptr;
}

void quiet_toolkit() {
  qInstallMessageHandler(show_only_errors);
}

bool has_window_manager() {
  const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  if (!x11 || !x11->connection()) return true;
  xcb_connection_t* connection = x11->connection();
  constexpr std::string_view name = "_NET_SUPPORTING_WM_CHECK";
  const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> atom(
      xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 1, name.size(), name.data()), nullptr), std::free);
  if (!atom || atom->atom == XCB_ATOM_NONE) return false;
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
  const std::unique_ptr<xcb_get_property_reply_t, decltype(&std::free)> property(
      xcb_get_property_reply(connection, xcb_get_property(connection, 0, root, atom->atom, XCB_ATOM_WINDOW, 0, 1),
                             nullptr),
      std::free);
  return property && xcb_get_property_value_length(property.get()) > 0;
}

}  // namespace platform
