#include "composition/documents/recent_items.h"

#include <stdlib.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "composition/documents/persistence.h"
#include "composition/documents/shared_file.h"
#include "composition/opening/file_paths.h"
#include "io/document.h"
#include "io/part_file.h"
#include "lib/paths.h"
#include "platform/file_lock.h"
#include "platform/files.h"

namespace io {
template <>
inline constexpr int record_version<ksn::recent_item> = 0;
}  // namespace io

namespace ksn {

template <class A>
void serialize(A& ar, recent_item& v, int) {
  ar.field("path", v.path);
  ar.field("flags", v.flags);
}

namespace {

constexpr const char* root_key = "recent";
constexpr int longest_wait = longest_lock_wait;  // milliseconds, for a document that would be lost
constexpr int longest_note_wait = 500;           // for a note; many programs of a farm may share the lists

std::string list_path(const std::string& folder) {
  return lib::add_separator(folder) + recent_file_name;
}
std::string lock_path(const std::string& folder) {
  return lib::add_separator(folder) + "kestrin.recent.lock";
}

// Returns the items that fell off the end.
std::vector<recent_item> put_in_front(std::vector<recent_item>& items, const std::string& path) {
  recent_item newest{path, 0};
  const auto known = std::find_if(items.begin(), items.end(), [&](const auto& item) { return item.path == path; });
  if (known != items.end()) newest = *known;
  std::erase_if(items, [&](const recent_item& item) { return item.path == path; });
  items.insert(items.begin(), std::move(newest));
  std::vector<recent_item> dropped;
  if (items.size() > most_recent_items) {
    const auto end = items.begin() + static_cast<std::ptrdiff_t>(most_recent_items);
    dropped.assign(end, items.end());
    items.erase(end, items.end());
  }
  return dropped;
}

// Only files that were put below the folder are removed.
void remove_unsaved(const std::string& folder, const std::string& path) {
  const std::string below = lib::add_separator(folder) + "unsaved/";
  if (!path.starts_with(below) || path.find("/../") != path.npos) return;
  std::error_code ignored;
  std::filesystem::remove(path, ignored);
  std::filesystem::remove(std::filesystem::path(path).parent_path(), ignored);
}

}  // namespace

std::string unsaved_name(const std::string& file_name) {
  if (file_name.empty()) return "unnamed.ksncomp";
  return lib::split_extension(real_file_name(file_name)).stem + ".ksncomp";
}

void clear_dead_unsaved(const std::string& folder) {
  const std::string parent = lib::add_separator(folder) + "unsaved";
  std::vector<std::string> places;
  lib::list_folder(parent, "*", nullptr, &places);
  for (const std::string& name : places) {
    const std::string place = parent + "/" + name;
    // A folder without one may be another process's that is about to write there.
    std::error_code ignored;
    if (io::remove_dead_parts(place) > 0) std::filesystem::remove(place, ignored);
  }
}

recent_lists read_recent(io::xml_iarchive& archive) {
  recent_lists lists;
  archive.field(root_key, lists);
  return lists;
}

recent_lists read_recent(const std::string& folder) {
  recent_lists lists;
  try {
    io::load_document(list_path(folder), root_key, lists);
  } catch (const std::exception&) {
    return {};
  }
  for (auto& [kind, items] : lists) {
    if (items.size() > most_recent_items) items.resize(most_recent_items);
  }
  return lists;
}

bool note_recent(const std::string& folder, const char* kind, const std::vector<std::string>& paths) {
  const auto with_notes = [&](recent_lists lists) {
    for (const std::string& path : paths) put_in_front(lists[kind], path);
    return lists;
  };
  // Most often it is the same again: then nothing is locked and written.
  if (const recent_lists present = read_recent(folder); with_notes(present) == present) return true;
  const platform::file_lock lock(lock_path(folder), longest_note_wait);
  if (!lock.held()) return false;
  io::save_document(list_path(folder), root_key, with_notes(read_recent(folder)));
  return true;
}

void enter_unsaved(const std::string& folder, const std::string& path) {
  const platform::file_lock lock(lock_path(folder), longest_wait);
  if (!lock.held()) throw io::open_error(lock_path(folder), EBUSY);
  recent_lists lists = read_recent(folder);
  const std::vector<recent_item> dropped = put_in_front(lists[unsaved_items], path);
  io::save_document(list_path(folder), root_key, lists);
  for (const recent_item& item : dropped) remove_unsaved(folder, item.path);
}

void file_unsaved(const std::string& folder, const state& composition) {
  const std::string parent = lib::add_separator(folder) + "unsaved";
  std::string place = parent + "/XXXXXX";
  if (!platform::make_folders(parent) || !mkdtemp(place.data())) throw io::open_error(parent, errno);
  const std::string path = place + "/" + unsaved_name(composition.file_name);
  const auto forget = [&] { remove_unsaved(folder, path); };
  try {
    save_composition(composition, path);
    enter_unsaved(folder, path);
  } catch (...) {
    forget();
    throw;
  }
}

}  // namespace ksn
