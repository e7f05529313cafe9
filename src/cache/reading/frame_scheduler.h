// The one place that reads frames into the cache: who wants what, what comes first, and on which threads.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "cache/reading/failure_marks.h"
#include "cache/reading/frame_request.h"

namespace cache {

// Who wants a frame, the most urgent first.
enum class frame_owner {
  waited,    // the user waits for it
  save,      // a saver that writes a sequence
  other,     // readers outside the window: HTTP, a second output
  playback,  // about to be shown: playback and scrubbing
  preload,   // loading ahead that the user asked for
  rest,      // loading ahead while nothing else goes on
};
constexpr int frame_owners = 6;

struct scheduler_options {
  int readers = 0;     // reads at once: 1 to most_readers; 0 goes by the processors
  int processors = 0;  // 0: those of the machine
  // Milliseconds of a steady clock; tests move it by hand.
  std::function<std::uint32_t()> milliseconds;
};

// One per process. Every function may be called from any thread. The lock is never held while a frame is read, nor
// together with a lock of the cache but for a search in its index.
//
// Requests stand in a list for each owner. A free thread takes the first of the most urgent list that may begin: one
// that nobody reads already, that is not in memory, and whose source is not at its limit. A clip that decodes in order
// has one read at a time; of all others as many run as keep the processors busy, and where reads wait for a disk or
// server instead, as many as there are readers. The thread times of a source decide, read by read. While the
// frame that the user waits for is being decoded, on every processor, nothing else begins.
//
// A read that takes longer than hang_after counts as hanging: it keeps its thread, another one takes its place among
// the readers, and nothing more is begun of its source before it returns.
class frame_scheduler {
 public:
  static constexpr int least_readers = 4;  // of the default
  static constexpr int most_readers = 16;
  static constexpr std::uint32_t hang_after = 3000;  // milliseconds

  explicit frame_scheduler(frame_cache& cache, scheduler_options options = {});
  // Waits for the reads at hand. A program that must not wait for one that hangs calls shutdown() and exits.
  ~frame_scheduler();
  frame_scheduler(const frame_scheduler&) = delete;
  frame_scheduler& operator=(const frame_scheduler&) = delete;

  // Replaces what the owner wanted and nobody has begun to read. In the order in which they shall be read. With `more`
  // the owner is woken when few of them are left.
  void want(frame_owner owner, std::vector<frame_request> requests, bool more = false);
  // The same, after what the owner wants already.
  void add(frame_owner owner, std::vector<frame_request> requests, bool more = false);
  // What the owner wants and nobody has begun to read. Asks for no memory, as withdraw(): destructors call both.
  void cancel(frame_owner owner);
  // Drops what playback, preloading and the rest want, of one layer or of all. Reads at hand are finished.
  void cancel_layer(int layer_id);
  void cancel_ahead();

  struct outcome {
    img::const_image_ptr image;
    bool pending = false;  // still being read, or to be read, when the patience ended
  };
  // The frame of the owner `waited`, from memory, from who reads it already, or read now. Without `patience` the
  // calling thread reads it itself; with it a thread of the pool does, and the call returns after that time at the
  // latest. A null image that is not pending is one that the clip can't give. Throws what the source throws, and again,
  // without another try, until the file changes.
  outcome fetch(const frame_request& request, std::optional<std::chrono::milliseconds> patience = {});

  // The owner is through with the frame: takes it off the list, and waits for whoever still reads it. Without that, one
  // that is dropped from memory could come back.
  void withdraw(frame_owner owner, const frame_key& key);

  // The frame at full size past the cache, on the calling thread, under the same rule for failures.
  img::const_image_ptr read_past_cache(const frame_request& request);

  // Runs a task on the pool, after the frames that the user waits for and before all others, in the order of the
  // calls. It must not throw. False when there is no thread to run it.
  bool run(std::function<void()> task);

  // Whether a task, or a read for a save, that is added now would begin at once.
  bool has_free_processor() const;

  // Looks for reads that hang. Called once a tick of the main loop.
  void look();
  // Ends the threads as soon as they have no read at hand; false when one still has after `wait`. Nothing is read
  // ahead afterwards.
  bool shutdown(std::chrono::milliseconds wait);

  // Leaves processors to those who draw and play: owners from `first` on, which only load ahead, do without them.
  void set_spare_processors(int count, frame_owner first = frame_owner::preload);

  void set_readers(int count);  // as scheduler_options::readers
  int readers() const;

  struct counts {
    int reading = 0;
    int waiting = 0;
    int hanging = 0;  // of those being read
  };
  counts count() const;
  // Requests of the owner that nobody has begun to read.
  int waiting_of(frame_owner owner) const;
  // Calls use(request, being_read) for all that is read and wanted. It must be quick and must not call back.
  void for_each(const std::function<void(const frame_request& request, bool being_read)>& use) const;

  frame_cache& cache() { return cache_; }
  failure_marks& failures() { return failures_; }

  // Called from any thread, without the lock: an owner with more to want runs low, or a frame that was given up as
  // pending is there.
  void set_wake(std::function<void()> wake);

 private:
  struct read {
    frame_request request;
    frame_owner owner = frame_owner::waited;
    std::string source;
    double share = 1.0;  // of the processors, while it runs
    std::uint32_t began = 0;
    bool begun = false;
    bool hanging = false;
    bool given_up = false;  // somebody went on without it
    bool done = false;
    bool dropped = false;  // with `done`: nobody tried it, and who waits for it has to
    img::const_image_ptr image;
    std::exception_ptr why;
  };
  // What became of a read.
  struct attempt {
    img::const_image_ptr image;
    std::exception_ptr why;
    bool tried = false;    // the source was asked
    bool dropped = false;  // memory is full
    bool out_of_memory = false;
  };
  using read_ptr = std::shared_ptr<read>;
  // Threads of two kinds, so that what nobody waits for never holds up what somebody does.
  struct crew {
    std::vector<std::thread> threads;
    std::condition_variable wake;
    int idle = 0;
    int hanging = 0;
  };

  frame_cache& cache_;
  scheduler_options options_;
  failure_marks failures_;

  mutable std::mutex lock_;  // guards what follows
  std::condition_variable done_;
  std::array<std::deque<frame_request>, frame_owners> lists_;
  std::array<bool, frame_owners> more_{};
  std::deque<read_ptr> asked_;  // of `waited`, for a thread of the pool
  std::deque<std::function<void()>> tasks_;
  std::unordered_map<frame_key, read_ptr, frame_key_hash> reads_;  // begun or asked for
  std::map<std::string, double> shares_;  // by source: how much of a processor a read takes, below 0 not yet known
  std::map<std::string, int> hanging_;    // by source
  crew urgent_;
  crew ahead_;
  int running_ = 0;    // reads and tasks that are not hanging
  double load_ = 0.0;  // their shares
  bool ending_ = false;
  int readers_ = least_readers;
  int spare_ = 0;  // processors that owners from spared_from_ on leave
  frame_owner spared_from_ = frame_owner::preload;

  std::mutex wake_lock_;        // held while wake_ runs, so that nobody calls one that was taken back
  std::function<void()> wake_;  // wake_lock_

  static bool is_ahead(frame_owner owner) { return owner >= frame_owner::playback; }
  bool has_room(double share, int spare = 0) const;
  int spare_for(frame_owner owner) const;
  double share_of(const frame_request& request, const std::string& source) const;
  bool may_begin(const frame_request& request, frame_owner owner, double& share);
  void begin(const read_ptr& read);
  void end(read& read);
  void leave(double share);
  void take_read(crew& crew, read_ptr& taken);
  read_ptr take_from(frame_owner owner);
  void perform(const read_ptr& read, bool on_one_thread);
  bool leaves_memory_alone(const read& read);
  attempt try_read(const read& read, bool on_one_thread);
  std::optional<outcome> find_or_read(const frame_request& request, std::optional<std::chrono::milliseconds> patience);
  template <class Read>
  img::const_image_ptr marked(const frame_request& request, const Read& read);
  void staff(crew& crew);
  void call_crews();
  void work(crew& crew);
  outcome result_of(const read& read) const;
};

}  // namespace cache
