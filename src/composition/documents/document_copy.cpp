#include "composition/documents/document_copy.h"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>

#include "composition/documents/recent_items.h"
#include "io/document.h"
#include "io/exceptions.h"
#include "io/part_file.h"
#include "lib/paths.h"
#include "platform/files.h"

namespace ksn {
namespace {

constexpr const char* mark = "run-";  // begins the names of the folders
constexpr const char* lock_name = "/lock";

std::string parent_of_places(const std::string& folder) {
  return lib::add_separator(folder) + "unsaved";
}

}  // namespace

document_copy::document_copy(const std::string& folder) {
  const std::string parent = parent_of_places(folder);
  place_ = parent + "/" + mark + "XXXXXX";
  if (!platform::make_folders(parent) || !mkdtemp(place_.data())) throw io::open_error(parent, errno);
  lock_ = std::make_unique<platform::file_lock>(place_ + lock_name, 0);
  if (lock_->held()) return;
  rmdir(place_.c_str());
  throw io::open_error(place_ + lock_name, EBUSY);
}

document_copy::~document_copy() {
  remove();
  // The lock goes first by name: whoever finds the folder before it is gone finds nobody's.
  unlink((place_ + lock_name).c_str());
  lock_.reset();
  rmdir(place_.c_str());
}

void document_copy::write(const std::string& name, std::string_view bytes) {
  const std::string path = place_ + "/" + name;
  io::write_document_bytes(path, bytes);
  if (!path_.empty() && path_ != path) unlink(path_.c_str());
  path_ = path;
}

void document_copy::remove() {
  if (!path_.empty()) unlink(path_.c_str());
  path_.clear();
}

std::vector<std::string> adopt_copies(const std::string& folder) {
  const std::string parent = parent_of_places(folder);
  std::vector<std::string> places;
  lib::list_folder(parent, std::string(mark) + "*", nullptr, &places);
  std::vector<std::string> found;
  for (const std::string& name : places) {
    const std::string place = parent + "/" + name;
    if (!platform::file_exists(place + lock_name)) continue;  // adopted, or not begun
    const platform::file_lock lock(place + lock_name, 0);
    if (!lock.held()) continue;
    io::remove_dead_parts(place);
    std::vector<std::string> documents;
    lib::list_folder(place, "*.ksncomp", &documents, nullptr);
    for (const std::string& document : documents) found.push_back(place + "/" + document);
    unlink((place + lock_name).c_str());
    if (documents.empty()) rmdir(place.c_str());
  }
  // The list takes the newest last.
  std::sort(found.begin(), found.end(), [](const std::string& a, const std::string& b) {
    return platform::modification_time(a) < platform::modification_time(b);
  });
  for (const std::string& path : found) {
    try {
      enter_unsaved(folder, path);
    } catch (const std::exception&) {
      // It can still be opened by its path, which is returned.
    }
  }
  std::reverse(found.begin(), found.end());
  return found;
}

}  // namespace ksn
