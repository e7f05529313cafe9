#include "cache/reading/failure_marks.h"

#include <set>
#include <utility>
#include <vector>

#include "lib/paths.h"
#include "platform/files.h"

namespace cache {

void failure_marks::set(const frame_key& key, const std::string& file, std::uint64_t stamp, std::exception_ptr why) {
  mark made{file, stamp, std::move(why)};
  const std::lock_guard guard(lock_);
  marks_.insert_or_assign(key, std::move(made));
}

template <class Matches>
void failure_marks::forget_if(const Matches& matches) {
  const std::lock_guard guard(lock_);
  std::erase_if(marks_, [&](const auto& item) { return matches(item.second); });
}

void failure_marks::forget(const std::string& path) {
  forget_if([&](const mark& m) { return m.file == path; });
}

void failure_marks::forget_folder(const std::string& folder) {
  const std::string wanted = lib::remove_separator(folder);
  forget_if([&](const mark& m) { return m.file == wanted || lib::remove_separator(lib::folder_of(m.file)) == wanted; });
}

void failure_marks::forget_changed() {
  std::vector<std::pair<std::string, std::uint64_t>> known;
  {
    const std::lock_guard guard(lock_);
    for (const auto& [key, m] : marks_) known.emplace_back(m.file, m.stamp);
  }
  std::set<std::string> changed;
  for (const auto& [file, stamp] : known) {
    if (platform::file_stamp(file) != stamp) changed.insert(file);
  }
  if (!changed.empty()) forget_if([&](const mark& m) { return changed.contains(m.file); });
}

void failure_marks::forget_all() {
  forget_if([](const mark&) { return true; });
}

bool failure_marks::still_fails(const frame_key& key, std::exception_ptr& why) {
  mark found;
  {
    const std::lock_guard guard(lock_);
    const auto at = marks_.find(key);
    if (at == marks_.end()) return false;
    found = at->second;
  }
  if (platform::file_stamp(found.file) != found.stamp) {
    const std::lock_guard guard(lock_);
    marks_.erase(key);
    return false;
  }
  why = found.why;
  return true;
}

bool failure_marks::has(const frame_key& key) const {
  const std::lock_guard guard(lock_);
  return marks_.contains(key);
}

}  // namespace cache
