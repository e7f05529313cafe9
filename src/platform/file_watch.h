// Word from the system that the names in a folder changed.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace platform {

// Any number of watches, each known by a key of the owner's choice. One thread. A watch that the system can't start or
// keep (folder gone or moved away, limit reached, file system without notification) ends quietly.
class folder_watcher {
 public:
  folder_watcher() = default;
  ~folder_watcher();
  folder_watcher(const folder_watcher&) = delete;
  folder_watcher& operator=(const folder_watcher&) = delete;

  // Watches the names in `folder`, not in folders below it; replaces a former watch of the key. False when the folder
  // can't be watched.
  bool watch(int key, const std::string& folder);
  void forget(int key);
  bool watches(int key) const { return handle_of_.contains(key); }
  bool empty() const { return handle_of_.empty(); }
  // The keys whose folders changed since the last call, each once, ascending. Does not wait.
  std::vector<int> poll();

 private:
  int queue_ = -1;
  std::map<int, int> handle_of_;             // by key
  std::map<int, std::vector<int>> keys_of_;  // by the system's handle; one folder has one handle

  void drop_handle(int handle);
};

}  // namespace platform
