#include "platform/file_watch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <set>

namespace platform {
namespace {

constexpr std::uint32_t changes_of_names = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
constexpr std::uint32_t ends_of_folder = IN_DELETE_SELF | IN_MOVE_SELF;

}  // namespace

folder_watcher::~folder_watcher() {
  if (queue_ >= 0) close(queue_);
}

bool folder_watcher::watch(int key, const std::string& folder) {
  forget(key);
  if (queue_ < 0) queue_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (queue_ < 0) return false;
  const int handle = inotify_add_watch(queue_, folder.c_str(), changes_of_names | ends_of_folder | IN_ONLYDIR);
  if (handle < 0) return false;
  handle_of_[key] = handle;
  keys_of_[handle].push_back(key);
  return true;
}

void folder_watcher::forget(int key) {
  const auto found = handle_of_.find(key);
  if (found == handle_of_.end()) return;
  const int handle = found->second;
  handle_of_.erase(found);
  std::vector<int>& keys = keys_of_[handle];
  std::erase(keys, key);
  if (!keys.empty()) return;
  keys_of_.erase(handle);
  inotify_rm_watch(queue_, handle);
}

void folder_watcher::drop_handle(int handle) {
  const auto found = keys_of_.find(handle);
  if (found == keys_of_.end()) return;
  for (const int key : found->second) handle_of_.erase(key);
  keys_of_.erase(found);
  // Fails when the system has dropped it already.
  inotify_rm_watch(queue_, handle);
}

std::vector<int> folder_watcher::poll() {
  std::set<int> changed;
  alignas(inotify_event) char block[16384];
  while (queue_ >= 0) {
    const ssize_t size = read(queue_, block, sizeof block);
    if (size <= 0) break;
    for (ssize_t at = 0; at < size;) {
      const auto& event = *reinterpret_cast<const inotify_event*>(block + at);
      at += static_cast<ssize_t>(sizeof(inotify_event) + event.len);
      if (event.mask & IN_Q_OVERFLOW) {
        // Some were lost: everything may have changed.
        for (const auto& [key, handle] : handle_of_) changed.insert(key);
      } else if (event.mask & (ends_of_folder | IN_IGNORED | IN_UNMOUNT)) {
        drop_handle(event.wd);
      } else if (const auto found = keys_of_.find(event.wd); found != keys_of_.end()) {
        changed.insert(found->second.begin(), found->second.end());
      }
    }
  }
  std::erase_if(changed, [this](int key) { return !watches(key); });
  return {changed.begin(), changed.end()};
}

}  // namespace platform
