#include "services/http/actions.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>

#include "command/field_builder.h"
#include "command/messages.h"
#include "lib/from_string.h"
#include "lib/paths.h"
#include "lib/text_file.h"
#include "platform/shell.h"
#include "platform/tcp.h"

namespace services::http {
namespace {

constexpr int usual_port = 8001;
constexpr const char* password_file = ".htpasswd";

// Where the server is to listen, and where it does.
class control {
 public:
  explicit control(const action_parts& parts) : parts_(parts) {}

  bool listening() const { return parts_.server.listening(); }
  std::string url() const {
    if (!listening()) return {};
    return "http://" + shown_host() + ":" + std::to_string(parts_.server.port()) + "/";
  }

  // PORT, ADDRESS:PORT or [ADDRESS]:PORT; false for another text.
  bool take_address(const std::string& value) {
    const std::size_t colon = value.rfind(':');
    int port = 0;
    if (!lib::parse_value(colon == value.npos ? value : value.substr(colon + 1), port) || port < 0 || port > 65535) {
      return false;
    }
    std::optional<std::string> host;
    if (colon != value.npos) {
      host = value.substr(0, colon);
      if (host->size() > 2 && host->front() == '[' && host->back() == ']') host = host->substr(1, host->size() - 2);
      if (host->empty()) return false;
    }
    wanted_host_ = host;
    wanted_port_ = port;
    return true;
  }

  // What start() said last, after a line about a failure.
  bool failed() const { return failed_; }

  bool start() {
    failed_ = !try_to_start();
    return !failed_;
  }

 private:
  bool try_to_start() {
    site site;
    if (!parts_.root(site.root)) site.root.clear();
    if (!read_users(site)) return false;
    const bool open = !site.people.empty();
    host_ = wanted_host_ ? *wanted_host_ : open ? std::string() : "localhost";
    std::string error;
    int number = 0;
    if (!parts_.server.start(host_, wanted_port_, std::move(site), error, number)) {
      const std::string address = shown_host() + ":" + std::to_string(wanted_port_);
      if (number == EADDRINUSE) error += "; --http_start=PORT takes another port";
      parts_.engine.report(command::about(address, error));
      return false;
    }
    parts_.engine.write_output("The HTTP server listens at " + url() + note(open));
    return true;
  }

  bool read_users(site& site) const {
    const std::string path = lib::add_separator(site.root) + password_file;
    std::string text;
    errno = 0;
    if (!site.root.empty() && !lib::read_text_file(path, text)) {
      // A file that is there and can't be read must not open the door to everybody.
      if (errno != ENOENT && errno != ENOTDIR) {
        parts_.engine.report(command::about(path, command::open_error, errno ? std::strerror(errno) : "too large"));
        return false;
      }
      text.clear();
    }
    site.people = users::parse(text);
    password_path_ = path;
    return true;
  }

  bool for_this_computer() const { return host_ == "localhost" || host_.starts_with("127.") || host_ == "::1"; }

  std::string shown_host() const {
    if (host_.empty() || host_ == "0.0.0.0" || host_ == "::") return platform::host_name();
    return host_.find(':') == host_.npos ? host_ : "[" + host_ + "]";
  }

  // Who can look, in the line of the start.
  std::string note(bool users) const {
    if (users) return "";
    if (!for_this_computer())
      return ", for everybody; lines NAME:PASSWORD in " + password_path_ + " would keep it to those";
    return ", for this computer only; lines NAME:PASSWORD in " + password_path_ +
           " or --http_start=ADDRESS:PORT open it to others";
  }

  action_parts parts_;
  std::optional<std::string> wanted_host_;  // as it was last told; absent goes by whether there are users
  int wanted_port_ = usual_port;
  bool failed_ = false;
  std::string host_ = "localhost";  // that it listens at; empty for all interfaces
  mutable std::string password_path_;
};

}  // namespace

std::function<bool()> register_actions(const action_parts& parts) {
  using command::action_group;
  const auto server = std::make_shared<control>(parts);
  command::engine& engine = parts.engine;
  const auto listening = [server] { return server->listening(); };
  engine.add({.group = action_group::services,
              .name = "http_start",
              .help = "start the HTTP server, where it last was or at port 8001; to this computer alone without users",
              .value_form = "PORT|ADDRESS:PORT",
              .value_help = "start the HTTP server at that port, or also at that address; 0.0.0.0 stands for all",
              .execute = [server] { server->start(); },
              .execute_value =
                  [server](const std::string& value) {
                    if (!server->take_address(value)) return false;
                    server->start();
                    return true;
                  }});
  engine.add({.group = action_group::services, .name = "http_stop", .help = "stop the HTTP server", .execute = [parts] {
                parts.server.stop();
              }});
  engine.add({.group = action_group::services,
              .name = "http_toggle",
              .help = "start or stop the HTTP server",
              .execute =
                  [server, parts] {
                    if (server->listening()) {
                      parts.server.stop();
                    } else {
                      server->start();
                    }
                  },
              .checked = listening});
  // The menu shows the address, where there is one.
  const auto title = [server, parts](const char* key) {
    return [server, parts, key] {
      const std::string url = server->url();
      return parts.text(key) + (url.empty() ? "" : "  " + url);
    };
  };
  engine.add({.group = action_group::menu_choice,
              .name = "opt_http_copy_url",
              .help = "copy the address of the HTTP server",
              .execute = [server, parts] { parts.set_clipboard_text(server->url()); },
              .enabled = listening,
              .title = title("opt_http_copy_url")});
  engine.add({.group = action_group::menu_choice,
              .name = "opt_http_open_in_browser",
              .help = "open the address of the HTTP server in the browser",
              .execute =
                  [server, parts] {
                    std::string error;
                    if (!platform::open_address(server->url(), error)) {
                      parts.engine.report(command::about(server->url(), error));
                    }
                  },
              .enabled = listening});
  command::add_read_only<ksn::state>(engine, "http_url",
                                     "address of the HTTP server, empty while it is stopped; only to be read",
                                     command::text("URL"), [server](const ksn::state&) { return server->url(); });
  // A failure of the same line is told once.
  return [server] { return server->listening() || (!server->failed() && server->start()); };
}

}  // namespace services::http
