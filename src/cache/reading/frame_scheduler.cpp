#include "cache/reading/frame_scheduler.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <utility>

#include "lib/foreground.h"
#include "lib/parallel.h"
#include "platform/files.h"
#include "platform/threads.h"

namespace cache {
namespace {

constexpr std::size_t most_looked_at = 64;  // requests of a list, before the next list has its turn
constexpr std::size_t low_list = 16;        // requests of a list at which its owner is asked for more
constexpr double least_share = 0.02;
constexpr double unknown_share = -1.0;
constexpr double shortest_measured = 0.0002;  // seconds

// A thread that stood aside was ready.
platform::thread_times times_so_far() {
  platform::thread_times times = platform::read_thread_times();
  times.ready += lib::seconds_given_way();
  return times;
}

// The part of a read that was work and not waiting.
double work_share(const platform::thread_times& before, const platform::thread_times& after) {
  const double wall = after.wall - before.wall;
  const double running = after.running - before.running;
  const double waited = wall - running - (after.ready - before.ready);
  if (wall < shortest_measured || waited <= 0.0) return 1.0;
  return std::clamp(running / (running + waited), least_share, 1.0);
}

}  // namespace

frame_scheduler::frame_scheduler(frame_cache& cache, scheduler_options options)
    : cache_(cache), options_(std::move(options)) {
  if (!options_.milliseconds) options_.milliseconds = platform::milliseconds;
  if (options_.processors <= 0) {
    options_.processors = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  }
  set_readers(options_.readers);
}

frame_scheduler::~frame_scheduler() {
  shutdown(std::chrono::milliseconds(0));
  for (crew* crew : {&urgent_, &ahead_}) {
    for (std::thread& thread : crew->threads) thread.join();
  }
}

void frame_scheduler::set_readers(int count) {
  const std::lock_guard guard(lock_);
  readers_ = std::clamp(count > 0 ? count : std::max(options_.processors, least_readers), 1, most_readers);
  call_crews();
}

void frame_scheduler::set_spare_processors(int count, frame_owner first) {
  const std::lock_guard guard(lock_);
  if (spare_ == count && spared_from_ == first) return;
  spare_ = count;
  spared_from_ = first;
  call_crews();
}

int frame_scheduler::readers() const {
  const std::lock_guard guard(lock_);
  return readers_;
}

void frame_scheduler::set_wake(std::function<void()> wake) {
  const std::lock_guard guard(wake_lock_);
  wake_ = std::move(wake);
}

void frame_scheduler::want(frame_owner owner, std::vector<frame_request> requests, bool more) {
  std::deque<frame_request> list(std::make_move_iterator(requests.begin()), std::make_move_iterator(requests.end()));
  const std::lock_guard guard(lock_);
  if (ending_) return;
  lists_[static_cast<std::size_t>(owner)].swap(list);
  more_[static_cast<std::size_t>(owner)] = more;
  call_crews();
}

void frame_scheduler::add(frame_owner owner, std::vector<frame_request> requests, bool more) {
  const std::lock_guard guard(lock_);
  if (ending_) return;
  std::deque<frame_request>& list = lists_[static_cast<std::size_t>(owner)];
  std::move(requests.begin(), requests.end(), std::back_inserter(list));
  more_[static_cast<std::size_t>(owner)] = more;
  call_crews();
}

void frame_scheduler::cancel(frame_owner owner) {
  const std::lock_guard guard(lock_);
  lists_[static_cast<std::size_t>(owner)].clear();
  more_[static_cast<std::size_t>(owner)] = false;
}

void frame_scheduler::cancel_layer(int layer_id) {
  const std::lock_guard guard(lock_);
  for (int i = static_cast<int>(frame_owner::playback); i < frame_owners; ++i) {
    std::erase_if(lists_[static_cast<std::size_t>(i)], [&](const frame_request& r) { return r.layer_id == layer_id; });
  }
}

void frame_scheduler::cancel_ahead() {
  const std::lock_guard guard(lock_);
  for (int i = static_cast<int>(frame_owner::playback); i < frame_owners; ++i) {
    lists_[static_cast<std::size_t>(i)].clear();
  }
}

bool frame_scheduler::run(std::function<void()> task) {
  const std::lock_guard guard(lock_);
  if (ending_) return false;
  tasks_.push_back(std::move(task));
  staff(urgent_);
  if (!urgent_.threads.empty()) return true;
  tasks_.pop_back();
  return false;
}

bool frame_scheduler::has_free_processor() const {
  const std::lock_guard guard(lock_);
  return tasks_.empty() && asked_.empty() && lists_[static_cast<std::size_t>(frame_owner::save)].empty() &&
         has_room(1.0);
}

// --- what may begin ---

bool frame_scheduler::has_room(double share, int spare) const {
  if (running_ == 0) return true;
  return running_ < readers_ && load_ + share <= options_.processors - spare + 0.01;
}

int frame_scheduler::spare_for(frame_owner owner) const {
  return owner >= spared_from_ ? spare_ : 0;
}

double frame_scheduler::share_of(const frame_request& request, const std::string& source) const {
  if (request.clip && request.clip->reads_in_order()) return 1.0;
  const auto found = shares_.find(source);
  return found == shares_.end() || found->second < 0 ? 1.0 : found->second;
}

bool frame_scheduler::may_begin(const frame_request& request, frame_owner owner, double& share) {
  for (const auto& [key, other] : reads_) {
    if (same_reading(other->request, request)) return false;
    if (request.clip && request.clip == other->request.clip && request.clip->reads_in_order() && other->begun) {
      return false;
    }
  }
  const std::string source = source_of(request);
  if (hanging_.contains(source)) return false;
  share = share_of(request, source);
  return has_room(share, spare_for(owner));
}

void frame_scheduler::begin(const read_ptr& read) {
  read->begun = true;
  read->began = options_.milliseconds();
  ++running_;
  load_ += read->share;
}

void frame_scheduler::leave(double share) {
  load_ = --running_ == 0 ? 0.0 : load_ - share;
}

void frame_scheduler::end(read& read) {
  read.done = true;
  if (read.hanging) {
    if (--hanging_[read.source] == 0) hanging_.erase(read.source);
    --(is_ahead(read.owner) ? ahead_ : urgent_).hanging;
  } else {
    leave(read.share);
  }
  const auto found = reads_.find(read.request.key);
  if (found != reads_.end() && found->second.get() == &read) reads_.erase(found);
}

frame_scheduler::read_ptr frame_scheduler::take_from(frame_owner owner) {
  std::deque<frame_request>& list = lists_[static_cast<std::size_t>(owner)];
  for (std::size_t i = 0; i < list.size() && i < most_looked_at;) {
    const frame_request& request = list[i];
    if (reads_.contains(request.key) || cache_.find(request.key)) {
      list.erase(list.begin() + static_cast<std::ptrdiff_t>(i));
      continue;
    }
    double share = 1.0;
    if (!may_begin(request, owner, share)) {
      ++i;
      continue;
    }
    auto taken = std::make_shared<read>();
    taken->request = std::move(list[i]);
    list.erase(list.begin() + static_cast<std::ptrdiff_t>(i));
    taken->owner = owner;
    taken->source = source_of(taken->request);
    taken->share = share;
    shares_.try_emplace(taken->source, unknown_share);
    reads_.emplace(taken->request.key, taken);
    begin(taken);
    return taken;
  }
  return nullptr;
}

// Nothing when the crew has nothing to do now.
void frame_scheduler::take_read(crew& crew, read_ptr& taken) {
  if (&crew == &urgent_ && !asked_.empty()) {
    taken = std::move(asked_.front());
    asked_.pop_front();
    begin(taken);
    return;
  }
  if (!has_room(least_share)) return;
  const bool ahead = &crew == &ahead_;
  for (int i = 0; i < frame_owners; ++i) {
    const auto owner = static_cast<frame_owner>(i);
    if (is_ahead(owner) != ahead || lists_[static_cast<std::size_t>(i)].empty()) continue;
    if ((taken = take_from(owner))) return;
  }
}

// --- reading ---

frame_scheduler::outcome frame_scheduler::result_of(const read& read) const {
  if (read.why) std::rethrow_exception(read.why);
  return {read.image, false};
}

frame_scheduler::outcome frame_scheduler::fetch(const frame_request& request,
                                                std::optional<std::chrono::milliseconds> patience) {
  // A read is dropped before it takes any time, so the patience can begin again.
  for (;;) {
    if (std::optional<outcome> found = find_or_read(request, patience)) return std::move(*found);
  }
}

// Nothing where it waited for a read that was dropped.
std::optional<frame_scheduler::outcome> frame_scheduler::find_or_read(
    const frame_request& request, std::optional<std::chrono::milliseconds> patience) {
  const img::const_image_ptr known = cache_.find(request.key);
  if (known && (!request.revalidate || !is_stale(*known, request.key.path))) {
    cache_.touch(known);
    return outcome{known, false};
  }
  std::exception_ptr why;
  if (failures_.still_fails(request.key, why)) {
    if (why) std::rethrow_exception(why);
    return outcome{};
  }
  const lib::foreground_scope waited_for;
  std::unique_lock guard(lock_);
  read_ptr mine;
  bool by_pool = false;
  const auto found = reads_.find(request.key);
  if (found != reads_.end()) {
    mine = found->second;
  } else {
    // A read that ended since the first search has left its picture. A second one would be kept beside it.
    if (const img::const_image_ptr come = cache_.find(request.key); come && come != known) {
      guard.unlock();
      cache_.touch(come);
      return outcome{come, false};
    }
    mine = std::make_shared<read>();
    mine->request = request;
    mine->source = source_of(request);
    if (patience && hanging_.contains(mine->source)) return outcome{nullptr, true};
    mine->share = share_of(request, mine->source);
    if (mine->share > 0.5) mine->share = options_.processors;
    const auto place = reads_.emplace(request.key, mine).first;
    by_pool = patience && !ending_;
    if (by_pool) {
      try {
        asked_.push_back(mine);
      } catch (const std::bad_alloc&) {
        reads_.erase(place);  // nobody would ever end it
        throw;
      }
      staff(urgent_);
      by_pool = !urgent_.threads.empty();
      if (!by_pool) asked_.pop_back();
    }
    if (!by_pool) {
      begin(mine);
      guard.unlock();
      perform(mine, false);
      guard.lock();
    }
  }
  const auto is_done = [&] { return mine->done; };
  // Who reads ahead must not stand aside for the one who waits for it.
  std::optional<lib::foreground_break> at_rest;
  if (is_ahead(mine->owner)) at_rest.emplace();
  if (!patience) {
    done_.wait(guard, is_done);
  } else if (mine->given_up || !done_.wait_for(guard, *patience, is_done)) {
    mine->given_up = true;
    return outcome{nullptr, true};
  }
  if (mine->dropped) return std::nullopt;
  guard.unlock();
  return result_of(*mine);
}

// Leaves a mark at a frame that fails for another reason than memory.
template <class Read>
img::const_image_ptr frame_scheduler::marked(const frame_request& request, const Read& read) {
  const std::string file = file_of(request);
  const std::uint64_t stamp = platform::file_stamp(file);
  img::const_image_ptr image;
  std::exception_ptr why;
  try {
    image = read();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    why = std::current_exception();
  }
  if (image) return image;
  failures_.set(request.key, file, stamp, why);
  cache_.note_changed(request.key.path);
  if (why) std::rethrow_exception(why);
  return nullptr;
}

img::const_image_ptr frame_scheduler::read_past_cache(const frame_request& request) {
  std::exception_ptr why;
  if (!failures_.still_fails(request.key, why)) return marked(request, [&] { return read_directly(request); });
  if (why) std::rethrow_exception(why);
  return nullptr;
}

// A frame that nobody is about to see is read only where memory is left, for the others that are being read too.
bool frame_scheduler::leaves_memory_alone(const read& read) {
  if (read.owner != frame_owner::preload && read.owner != frame_owner::rest) return false;
  return cache_.is_full(count().reading);
}

// Throws nothing: whoever waits for the frame has to be told.
frame_scheduler::attempt frame_scheduler::try_read(const read& read, bool on_one_thread) {
  attempt made;
  try {
    made.dropped = leaves_memory_alone(read);
    if (made.dropped || failures_.still_fails(read.request.key, made.why)) return made;
    made.tried = true;
    const lib::single_thread_scope alone(on_one_thread);
    made.image = marked(read.request, [&] { return read_through(cache_, read.request); });
  } catch (const std::bad_alloc&) {
    made.out_of_memory = true;
    made.why = std::current_exception();
  } catch (...) {
    made.why = std::current_exception();
  }
  return made;
}

void frame_scheduler::perform(const read_ptr& read, bool on_one_thread) {
  const platform::thread_times before = times_so_far();
  attempt made = try_read(*read, on_one_thread);
  const double share = work_share(before, times_so_far());
  bool wake = false;
  {
    const std::lock_guard guard(lock_);
    read->image = std::move(made.image);
    read->why = std::move(made.why);
    read->dropped = made.dropped;
    // A frame that was read on all processors says little of how it does on one.
    const auto known = shares_.find(read->source);
    if (known != shares_.end() && on_one_thread && made.tried && !read->hanging) {
      known->second = known->second < 0 ? share : (known->second + share) / 2;
    }
    end(*read);
    const auto owner = static_cast<std::size_t>(read->owner);
    if (made.dropped || (made.out_of_memory && is_ahead(read->owner))) {
      lists_[static_cast<std::size_t>(frame_owner::preload)].clear();
      lists_[static_cast<std::size_t>(frame_owner::rest)].clear();
    }
    const bool low = more_[owner] && lists_[owner].size() < low_list;
    if (low) more_[owner] = false;
    wake = read->given_up || low;
    call_crews();
  }
  done_.notify_all();
  if (!wake) return;
  const std::lock_guard guard(wake_lock_);
  if (wake_) wake_();
}

void frame_scheduler::withdraw(frame_owner owner, const frame_key& key) {
  std::unique_lock guard(lock_);
  std::erase_if(lists_[static_cast<std::size_t>(owner)], [&](const frame_request& r) { return r.key == key; });
  done_.wait(guard, [&] { return !reads_.contains(key); });
}

void frame_scheduler::look() {
  const std::lock_guard guard(lock_);
  const std::uint32_t now = options_.milliseconds();
  for (const auto& [key, read] : reads_) {
    if (!read->begun || read->hanging || now - read->began < hang_after) continue;
    ++hanging_[read->source];
    read->hanging = true;
    ++(is_ahead(read->owner) ? ahead_ : urgent_).hanging;
    leave(read->share);
  }
  if (!hanging_.empty()) call_crews();
}

// --- threads ---

// Wakes an idle thread, or starts one while there are fewer than readers. Throws nothing.
void frame_scheduler::staff(crew& crew) {
  if (ending_) return;
  if (crew.idle > 0) {
    crew.wake.notify_one();
    return;
  }
  if (static_cast<int>(crew.threads.size()) >= readers_ + crew.hanging) return;
  try {
    crew.threads.emplace_back([this, &crew] { work(crew); });
  } catch (const std::exception&) {
    // The threads that there are do the work of the one that the system, or its memory, refuses.
  }
}

void frame_scheduler::call_crews() {
  const auto wanted = [this](frame_owner owner) { return !lists_[static_cast<std::size_t>(owner)].empty(); };
  if (!tasks_.empty() || !asked_.empty() || wanted(frame_owner::save) || wanted(frame_owner::other)) staff(urgent_);
  if (!has_room(least_share)) return;
  if (wanted(frame_owner::playback) || wanted(frame_owner::preload) || wanted(frame_owner::rest)) staff(ahead_);
}

void frame_scheduler::work(crew& crew) {
  std::optional<lib::ahead_scope> ahead;
  if (&crew == &ahead_) {
    platform::step_back();
    ahead.emplace();
  }
  std::unique_lock guard(lock_);
  while (!ending_) {
    if (&crew == &urgent_ && asked_.empty() && !tasks_.empty() && has_room(1.0)) {
      std::function<void()> task = std::move(tasks_.front());
      tasks_.pop_front();
      ++running_;
      load_ += 1.0;
      call_crews();
      guard.unlock();
      {
        const lib::single_thread_scope alone;
        task();
        task = nullptr;  // what it holds goes before the task counts as done
      }
      guard.lock();
      leave(1.0);
      done_.notify_all();
      call_crews();
      continue;
    }
    read_ptr taken;
    try {
      take_read(crew, taken);
    } catch (const std::bad_alloc&) {
      // The request stays in its list, or is made again.
    }
    if (taken) {
      call_crews();
      guard.unlock();
      perform(taken, taken->owner != frame_owner::waited);
      taken = nullptr;
      guard.lock();
      continue;
    }
    ++crew.idle;
    crew.wake.wait(guard);
    --crew.idle;
  }
}

bool frame_scheduler::shutdown(std::chrono::milliseconds wait) {
  std::unique_lock guard(lock_);
  ending_ = true;
  for (auto& list : lists_) list.clear();
  // Whoever waits for one of these reads it itself.
  tasks_.clear();
  for (const read_ptr& read : asked_) {
    read->dropped = read->done = true;
    reads_.erase(read->request.key);
  }
  asked_.clear();
  urgent_.wake.notify_all();
  ahead_.wake.notify_all();
  done_.notify_all();
  return done_.wait_for(guard, wait, [this] { return running_ == 0 && hanging_.empty(); });
}

// --- what is known ---

frame_scheduler::counts frame_scheduler::count() const {
  const std::lock_guard guard(lock_);
  counts found;
  for (const auto& [key, read] : reads_) {
    ++(read->begun ? found.reading : found.waiting);
    found.hanging += read->hanging;
  }
  for (const auto& list : lists_) found.waiting += static_cast<int>(list.size());
  return found;
}

int frame_scheduler::waiting_of(frame_owner owner) const {
  const std::lock_guard guard(lock_);
  return static_cast<int>(lists_[static_cast<std::size_t>(owner)].size());
}

void frame_scheduler::for_each(const std::function<void(const frame_request& request, bool being_read)>& use) const {
  const std::lock_guard guard(lock_);
  for (const auto& list : lists_) {
    for (const frame_request& request : list) use(request, false);
  }
  for (const auto& [key, read] : reads_) use(read->request, read->begun);
}

}  // namespace cache
