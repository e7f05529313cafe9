#include "save/write_behind.h"

#include <algorithm>
#include <utility>

namespace save {

void write_behind::add(picture picture, std::string path, const img::format& format, const img::save_options& options,
                       workers& workers) {
  const auto entry = std::make_shared<item>();
  items_.push_back(entry);
  workers.add_write([this, entry, picture = std::move(picture), path = std::move(path), &format, options]() mutable {
    {
      const std::lock_guard lock(mutex_);
      if (entry->abandoned) return;
      entry->begun = true;
    }
    result outcome;
    outcome.line = write_picture(picture, path, format, options);
    outcome.written = outcome.line.empty();
    picture = {};  // back to its pool before the main thread needs the next one
    {
      const std::lock_guard lock(mutex_);
      entry->outcome = std::move(outcome);
      entry->done = true;
    }
    done_.notify_all();
  });
}

bool write_behind::take(result& result, bool wait) {
  if (items_.empty()) return false;
  std::unique_lock lock(mutex_);
  const std::shared_ptr<item> oldest = items_.front();
  if (wait) done_.wait(lock, [&] { return oldest->done; });
  if (!oldest->done) return false;
  items_.pop_front();
  result = std::move(oldest->outcome);
  return true;
}

void write_behind::abandon() {
  const std::lock_guard lock(mutex_);
  for (const std::shared_ptr<item>& entry : items_) entry->abandoned = !entry->begun;
  std::erase_if(items_, [](const std::shared_ptr<item>& entry) { return entry->abandoned; });
}

}  // namespace save
