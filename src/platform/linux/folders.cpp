#include "platform/folders.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <fstream>

#include "lib/paths.h"
#include "platform/files.h"

namespace platform {
namespace {

bool left_out = false;  // of site and user

// The value of an environment variable that must be an absolute path; empty otherwise (XDG Base Directory
// Specification: relative paths are invalid).
std::string absolute_variable(const char* name) {
  const char* value = std::getenv(name);
  return value && value[0] == '/' ? lib::remove_separator(value) : std::string();
}

std::string home_folder() {
  if (std::string home = absolute_variable("HOME"); !home.empty()) return home;
  const passwd* user = getpwuid(getuid());
  return user && user->pw_dir && user->pw_dir[0] == '/' ? lib::remove_separator(user->pw_dir) : std::string();
}

std::string xdg_folder(const char* variable, const char* below_home) {
  if (std::string folder = absolute_variable(variable); !folder.empty()) return folder;
  const std::string home = home_folder();
  return home.empty() ? home : home + below_home;
}

// The line XDG_DOCUMENTS_DIR="$HOME/..." or "/..." of user-dirs.dirs; `Documents` in the home folder without one.
std::string documents_folder() {
  const std::string home = home_folder();
  const std::string config = xdg_folder("XDG_CONFIG_HOME", "/.config");
  std::string result = home.empty() ? home : home + "/Documents";
  if (config.empty()) return result;
  std::ifstream file(config + "/user-dirs.dirs");
  for (std::string line; std::getline(file, line);) {
    line.erase(0, std::min(line.find_first_not_of(" \t"), line.size()));
    const std::string key = "XDG_DOCUMENTS_DIR=\"";
    if (line.compare(0, key.size(), key) != 0) continue;
    std::string value;
    for (std::size_t i = key.size(); i < line.size() && line[i] != '"'; ++i) {
      if (line[i] == '\\' && i + 1 < line.size()) ++i;
      value += line[i];
    }
    if (value.compare(0, 5, "$HOME") == 0 && (value.size() == 5 || value[5] == '/')) {
      if (home.empty()) continue;
      value.replace(0, 5, home);
    }
    if (!value.empty() && value[0] == '/') result = lib::remove_separator(value);
  }
  return result;
}

std::string executable_folder() {
  char path[PATH_MAX];
  const ssize_t size = readlink("/proc/self/exe", path, sizeof path);
  if (size <= 0) return {};
  const std::string folder = lib::folder_of(std::string_view(path, static_cast<std::size_t>(size)));
  return folder.size() > 1 ? lib::remove_separator(folder) : folder;
}

// The folder `name` of those that come with the program.
std::string beside_executable(const char* name) {
  std::string folder = executable_folder();
  if (folder.empty()) return folder;
  if (lib::file_name(folder) == "bin") {
    const std::string shared = lib::folder_of(folder) + "share/kestrin";
    if (is_folder(shared)) folder = shared;
  }
  return lib::add_separator(folder) + name;
}

std::string kestrin_below(const std::string& folder) {
  return folder.empty() ? folder : folder + "/Kestrin";
}

std::string folder_of_kind(folder_kind kind) {
  switch (kind) {
    case folder_kind::config:
      return beside_executable("config");
    case folder_kind::user:
      return beside_executable("user");
    case folder_kind::documents:
      return kestrin_below(documents_folder());
    case folder_kind::httpdocs:
      return beside_executable("httpdocs");
    case folder_kind::local_data:
    case folder_kind::local_data_6:
    case folder_kind::local_data_7:
      return kestrin_below(xdg_folder("XDG_DATA_HOME", "/.local/share"));
    case folder_kind::roaming_data:
      return kestrin_below(xdg_folder("XDG_CONFIG_HOME", "/.config"));
    case folder_kind::executable:
      return executable_folder();
    case folder_kind::temporary: {
      const std::string folder = absolute_variable("TMPDIR");
      return folder.empty() ? "/tmp" : folder;
    }
    case folder_kind::lookup_tables:
      return beside_executable("LUTs");
    case folder_kind::after_save:
      return beside_executable("scripts/after_save");
    case folder_kind::state:
      return kestrin_below(xdg_folder("XDG_STATE_HOME", "/.local/state"));
    case folder_kind::site:
      return left_out ? std::string() : absolute_variable("KESTRIN_SITE");
  }
  return {};
}

}  // namespace

bool get_folder(folder_kind kind, bool create, std::string& path) {
  const std::string folder = folder_of_kind(kind);
  if (folder.empty() || (create && !make_folders(folder))) return false;
  path = folder;
  return true;
}

std::vector<std::string> definition_folders() {
  std::vector<std::string> folders{folder_of_kind(folder_kind::config)};
  if (left_out) return folders;
  for (const folder_kind kind : {folder_kind::site, folder_kind::user, folder_kind::documents}) {
    if (const std::string folder = folder_of_kind(kind); !folder.empty()) folders.push_back(folder);
  }
  return folders;
}

std::vector<std::string> lookup_folders() {
  std::vector<std::string> folders;
  if (const std::string site = folder_of_kind(folder_kind::site); !site.empty()) folders.push_back(site + "/LUTs");
  folders.push_back(folder_of_kind(folder_kind::lookup_tables));
  return folders;
}

void leave_out_own_folders(bool on) {
  left_out = on;
}

bool own_folders_left_out() {
  return left_out;
}

}  // namespace platform
