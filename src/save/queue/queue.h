// Saves that run one after the other while the user goes on working.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "save/save.h"

namespace save {

enum class queue_state {
  waiting,
  running,
  stopping,   // cancelled, and completes what it has
  saved,      // all of it
  failed,     // in part or whole; its lines say why
  cancelled,  // what was done before is kept
};
// "waiting", "running" and so on.
const char* word_of(queue_state state);
inline bool is_over(queue_state state) {
  return state >= queue_state::saved;
}

// One save as it is shown.
struct queue_item {
  int id = 0;        // counts from 1
  std::string path;  // absolute
  queue_state state = queue_state::waiting;
  progress done;
};

using save_function = bool (*)(context& context, const std::string& path);

struct queue_parts {
  // Makes the pipeline of one save, which reports to `report`, on the main thread. It must share nothing with others
  // but what any thread may use.
  std::function<std::unique_ptr<render::pipeline>(std::function<void(const std::string& line)> report)> make_pipeline;
  // There is something for poll(). Any thread.
  std::function<void()> wake;
  // Main thread, in poll().
  std::function<void(const std::string& line)> report;
  std::function<void(const std::string& path)> after_save;
};

// Main thread, with one thread of its own, on which the saves run, from the first one on. Each works on a copy of the
// composition that is made when it is added.
class queue {
 public:
  static constexpr std::size_t most_over = 20;  // saves that are over and still told

  explicit queue(queue_parts parts) : parts_(std::move(parts)) {}
  ~queue() { stop(); }
  queue(const queue&) = delete;
  queue& operator=(const queue&) = delete;

  // Runs `run` with a path, absolute, and what `asked` holds but its functions and the pipeline. Returns the id.
  int add(save_function run, const std::string& path, const context& asked);
  int last_id() const { return last_id_; }

  // Oldest first: all that are not over, and the last ones that are.
  std::vector<queue_item> items() const;
  // How many are not over.
  int unfinished() const;
  // Whether all up to this id are over, and told by poll().
  bool is_over_to(int id) const;
  // The error lines of a save; none of one that is not told any more.
  std::vector<std::string> lines_of(int id) const;

  // One that waits does not begin, one that runs completes what it has, as any save that is cancelled does; one that is
  // over is no longer told. False for an id that is none of theirs.
  bool cancel(int id);
  void cancel_all();

  // Passes on what has come from the saves. True when items() may be different.
  bool poll();
  // Waits for news for poll(), at most that long.
  void wait(int milliseconds);
  // Cancels all, waits for the one that runs and tells of it. The next add() starts afresh.
  void stop();

 private:
  struct entry {
    queue_item shown;
    save_function run = nullptr;
    // All three are destroyed on the main thread, once the save is over: until then its canvases count as shared.
    std::unique_ptr<ksn::state> composition;
    std::unique_ptr<render::pipeline> pipeline;
    std::unique_ptr<save::context> context;
    std::vector<std::string> lines;
    std::size_t told = 0;            // of the lines
    std::vector<std::string> saved;  // for after_save
    bool settled = false;            // over, and poll() knows
  };

  queue_parts parts_;
  int last_id_ = 0;
  std::thread thread_;

  mutable std::mutex lock_;  // guards what follows
  std::condition_variable changed_;
  std::list<entry> entries_;                           // oldest first; places stay
  std::chrono::steady_clock::time_point next_wake_{};  // for progress alone
  bool news_ = false;
  bool ending_ = false;

  void work();
  context context_for(entry& entry, const context& asked);
  void perform(entry& entry);
  void note(entry& entry, const std::string& line);
  void show_progress(entry& entry, const progress& done);
  entry* next_waiting();
  void tell_main();
};

}  // namespace save
