#include "platform/linux/handover_socket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>

#include "platform/folders.h"
#include "platform/handover.h"

namespace platform {
namespace {

constexpr int backlog = 64;

// Whether only this user can make files in a folder.
bool is_private(const std::string& folder) {
  struct stat info {};
  return lstat(folder.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == geteuid() &&
         (info.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

std::string socket_path(const std::string& address) {
  return address + ".socket";
}

bool to_address(const std::string& path, sockaddr_un& address) {
  address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path.c_str(), path.size());
  return true;
}

void limit(int socket, int option, int milliseconds) {
  const timeval time{milliseconds / 1000, milliseconds % 1000 * 1000};
  setsockopt(socket, SOL_SOCKET, option, &time, sizeof time);
}

// One name for one display: an X display whatever its screen, else a Wayland one.
std::string display_name() {
  const char* x = std::getenv("DISPLAY");
  const char* wayland = std::getenv("WAYLAND_DISPLAY");
  std::string name = x && *x ? x : wayland ? wayland : "";
  const std::size_t colon = name.rfind(':');
  if (colon != std::string::npos) name = name.substr(0, name.find('.', colon));
  for (char& c : name) {
    const bool plain =
        (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' || c == '-';
    if (!plain) c = '_';
  }
  return name;
}

}  // namespace

std::string handover_address() {
  const std::string display = display_name();
  if (display.empty()) return {};
  const auto usable = [&](const std::string& folder) {
    sockaddr_un address;
    return is_private(folder) && to_address(socket_path(folder + "/kestrin-" + display), address);
  };
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  std::string folder = runtime && runtime[0] == '/' ? runtime : "";
  if (folder.empty() || !usable(folder)) {
    if (!get_folder(folder_kind::temporary, false, folder)) return {};
    folder += "/kestrin-" + std::to_string(geteuid());
    mkdir(folder.c_str(), 0700);
    if (!usable(folder)) return {};
  }
  return folder + "/kestrin-" + display;
}

descriptor listen_at(const std::string& address) {
  const std::string path = socket_path(address);
  unlink(path.c_str());
  sockaddr_un name;
  descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const bool listens = socket && to_address(path, name) &&
                       bind(socket.get(), reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0 &&
                       chmod(path.c_str(), 0600) == 0 && listen(socket.get(), backlog) == 0;
  return listens ? std::move(socket) : descriptor();
}

descriptor connect_to(const std::string& address, int milliseconds) {
  sockaddr_un name;
  descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (socket) limit(socket.get(), SO_SNDTIMEO, milliseconds);
  const bool connected = socket && to_address(socket_path(address), name) &&
                         connect(socket.get(), reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0;
  return connected ? std::move(socket) : descriptor();
}

void remove_socket(const std::string& address) {
  unlink(socket_path(address).c_str());
}

bool is_same_user(int socket) {
  ucred peer{};
  socklen_t size = sizeof peer;
  return getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == geteuid();
}

bool send_all(int socket, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

void limit_reading(int socket, int milliseconds) {
  limit(socket, SO_RCVTIMEO, milliseconds);
}

long long steady_milliseconds() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

}  // namespace platform
