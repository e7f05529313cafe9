#include "save/write_behind.h"

#include <algorithm>
#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <utility>

#include "command/messages.h"
#include "save/own_sources.h"

namespace save {

write_behind::~write_behind() {
  abandon();
  std::unique_lock lock(mutex_);
  done_.wait(lock, [this] { return tasks_ == 0; });
}

std::string write_behind::name_of(int frame) const {
  return numbered_name(target_.path, frame + context_.composition.doc.frame_base);
}

std::string write_behind::missing_line(int frame, const std::string& text, const std::string& reason) const {
  return reason.empty() ? command::about(name_of(frame), text) : command::about(name_of(frame), text, reason);
}

std::string write_behind::obstacle() const {
  // Nobody knows in which order the parts of a sequence are written.
  const bool any_order = !context_.part.is_all();
  const std::string own =
      overwritten_source(context_.composition, layers_, any_order, [this](int frame) { return name_of(frame); });
  if (own.empty()) return {};
  return command::about(own, any_order ? "Not saved, because another frame is read from it"
                                       : "Not saved, because a later frame has yet to be read from it");
}

std::string write_behind::add(int frame, picture picture) {
  const auto entry = std::make_shared<item>();
  // Held by pointer, so that a task that no thread takes can still be run here.
  const auto held = std::make_shared<save::picture>(std::move(picture));
  const std::function<void()> task = [this, entry, held, path = name_of(frame), &format = *target_.format,
                                      options = img::save_options(context_.options)] {
    {
      const std::lock_guard lock(mutex_);
      if (entry->abandoned) {
        *held = {};
        --tasks_;
        done_.notify_all();
        return;
      }
      entry->begun = true;
    }
    result outcome;
    try {
      outcome.line = write_picture(*held, path, format, options);
    } catch (const std::exception&) {
      outcome.line = "Out of memory";  // not even for a line with the name
    }
    outcome.written = outcome.line.empty();
    *held = {};  // back to its pool before the thread of the save needs the next one
    {
      const std::lock_guard lock(mutex_);
      entry->outcome = std::move(outcome);
      entry->done = true;
      --tasks_;
      done_.notify_all();
    }
  };
  items_.push_back(entry);
  // From here on nothing may fail: an item whose task is not carried out would be waited for without end.
  {
    const std::lock_guard lock(mutex_);
    ++tasks_;
  }
  bool taken = false;
  try {
    taken = threads_.run(task);
  } catch (const std::bad_alloc&) {
    // Carried out here, then.
  }
  if (!taken) task();
  return {};
}

bool write_behind::is_done(int frame) const {
  return is_whole(name_of(frame), *target_.format);
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
