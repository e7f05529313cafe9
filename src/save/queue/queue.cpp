#include "save/queue/queue.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "command/messages.h"
#include "io/failure.h"
#include "lib/parallel.h"
#include "platform/threads.h"
#include "save/queue/snapshot.h"

namespace save {
namespace {

// Between two pictures of the progress that the main thread is woken for.
constexpr std::chrono::milliseconds progress_interval(250);

}  // namespace

const char* word_of(queue_state state) {
  constexpr const char* words[] = {"waiting", "running", "stopping", "saved", "failed", "cancelled"};
  return words[static_cast<std::size_t>(state)];
}

int queue::add(save_function run, const std::string& path, const context& asked) {
  auto copy = snapshot(asked.composition);
  {
    const std::lock_guard guard(lock_);
    entry& fresh = entries_.emplace_back();
    fresh.shown.id = ++last_id_;
    fresh.shown.path = path;
    const frame_range frames = frames_of(asked.part, {copy->doc.tm_f, copy->doc.tm_l}, copy->doc.frame_base);
    fresh.shown.done.total = std::max(frames.end - frames.first, 0);
    fresh.run = run;
    fresh.composition = std::move(copy);
    fresh.pipeline = parts_.make_pipeline([this, &fresh](const std::string& line) { note(fresh, line); });
    fresh.context = std::make_unique<context>(context_for(fresh, asked));
    news_ = true;
    changed_.notify_all();
  }
  if (!thread_.joinable()) thread_ = std::thread([this] { work(); });
  return last_id_;
}

context queue::context_for(entry& entry, const context& asked) {
  // Named one by one, so that the compiler asks about a member that is new.
  const auto& [composition, pipeline, options, time, failed_inputs, incomplete, part, report, show, cancelled, after] =
      asked;
  return {*entry.composition,
          *entry.pipeline,
          options,
          time,
          failed_inputs,
          incomplete,
          part,
          [this, &entry](const std::string& line) { note(entry, line); },
          [this, &entry](const progress& done) { show_progress(entry, done); },
          [this, &entry] {
            const std::lock_guard guard(lock_);
            return entry.shown.state == queue_state::stopping;
          },
          [this, &entry](const std::string& saved) {
            const std::lock_guard guard(lock_);
            entry.saved.push_back(saved);
          }};
}

std::vector<queue_item> queue::items() const {
  const std::lock_guard guard(lock_);
  std::vector<queue_item> result;
  for (const entry& one : entries_) result.push_back(one.shown);
  return result;
}

int queue::unfinished() const {
  const std::lock_guard guard(lock_);
  return static_cast<int>(std::ranges::count_if(entries_, [](const entry& one) { return !is_over(one.shown.state); }));
}

bool queue::is_over_to(int id) const {
  const std::lock_guard guard(lock_);
  return std::ranges::all_of(entries_, [id](const entry& one) { return one.shown.id > id || one.settled; });
}

std::vector<std::string> queue::lines_of(int id) const {
  const std::lock_guard guard(lock_);
  const auto found = std::ranges::find_if(entries_, [id](const entry& one) { return one.shown.id == id; });
  return found == entries_.end() ? std::vector<std::string>() : found->lines;
}

bool queue::cancel(int id) {
  const std::lock_guard guard(lock_);
  const auto found = std::ranges::find_if(entries_, [id](const entry& one) { return one.shown.id == id; });
  if (found == entries_.end()) return false;
  news_ = true;
  if (found->shown.state == queue_state::waiting) {
    found->shown.state = queue_state::cancelled;
    found->lines.push_back(command::about(found->shown.path, "Not saved, cancelled before it began"));
  }
  if (found->shown.state == queue_state::running) found->shown.state = queue_state::stopping;
  if (found->settled) entries_.erase(found);
  return true;
}

void queue::cancel_all() {
  for (const queue_item& item : items()) {
    if (!is_over(item.state)) cancel(item.id);
  }
}

bool queue::poll() {
  std::vector<std::string> lines;
  std::vector<std::string> saved;
  std::list<entry> dropped;  // destroyed without the lock: sources may close
  {
    const std::lock_guard guard(lock_);
    if (!std::exchange(news_, false)) return false;
    for (entry& one : entries_) {
      for (; one.told < one.lines.size(); ++one.told) lines.push_back(one.lines[one.told]);
      for (std::string& path : one.saved) saved.push_back(std::move(path));
      one.saved.clear();
      if (!is_over(one.shown.state) || one.settled) continue;
      one.settled = true;
      entry& emptied = dropped.emplace_back();
      emptied.context = std::move(one.context);
      emptied.composition = std::move(one.composition);
      emptied.pipeline = std::move(one.pipeline);
    }
    auto over = static_cast<std::size_t>(std::ranges::count_if(entries_, &entry::settled));
    for (auto at = entries_.begin(); at != entries_.end() && over > most_over;) {
      if (!at->settled) {
        ++at;
        continue;
      }
      dropped.splice(dropped.end(), entries_, at++);
      --over;
    }
  }
  for (const std::string& line : lines) parts_.report(line);
  for (const std::string& path : saved) parts_.after_save(path);
  return true;
}

void queue::wait(int milliseconds) {
  std::unique_lock guard(lock_);
  changed_.wait_for(guard, std::chrono::milliseconds(milliseconds), [this] { return news_; });
}

void queue::stop() {
  cancel_all();
  {
    const std::lock_guard guard(lock_);
    ending_ = true;
    changed_.notify_all();
  }
  if (thread_.joinable()) thread_.join();
  ending_ = false;
  poll();
}

// --- the thread of the saves ---

void queue::work() {
  platform::step_back();
  const lib::background_scope behind_the_window;
  for (;;) {
    entry* next = nullptr;
    {
      std::unique_lock guard(lock_);
      changed_.wait(guard, [&] { return ending_ || (next = next_waiting()); });
      if (ending_) return;
      next->shown.state = queue_state::running;
      news_ = true;
    }
    tell_main();
    perform(*next);
    tell_main();
  }
}

queue::entry* queue::next_waiting() {
  const auto found =
      std::ranges::find_if(entries_, [](const entry& one) { return one.shown.state == queue_state::waiting; });
  return found == entries_.end() ? nullptr : &*found;
}

void queue::note(entry& entry, const std::string& line) {
  const std::lock_guard guard(lock_);
  entry.lines.push_back(line);
  news_ = true;
}

void queue::show_progress(entry& entry, const progress& done) {
  const auto now = std::chrono::steady_clock::now();
  {
    const std::lock_guard guard(lock_);
    entry.shown.done = done;
    if (now < next_wake_) return;
    next_wake_ = now + progress_interval;
    news_ = true;
  }
  tell_main();
}

void queue::perform(entry& entry) {
  bool whole = false;
  try {
    whole = entry.run(*entry.context, entry.shown.path);
  } catch (const std::exception&) {
    note(entry, io::failure_line(entry.shown.path));
  }
  const std::lock_guard guard(lock_);
  const bool stopped = entry.shown.state == queue_state::stopping;
  if (stopped && !whole && entry.lines.empty()) {
    const progress& done = entry.shown.done;
    entry.lines.push_back(command::about(entry.shown.path, "Stopped, " + std::to_string(done.done) + " of " +
                                                               std::to_string(done.total) + " frames are saved"));
  }
  entry.shown.state = whole ? queue_state::saved : stopped ? queue_state::cancelled : queue_state::failed;
  news_ = true;
}

void queue::tell_main() {
  changed_.notify_all();
  if (parts_.wake) parts_.wake();
}

}  // namespace save
