#include "cache/frame_cache.h"

#include <algorithm>
#include <cassert>
#include <mutex>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "cache/allocation.h"
#include "img/plane.h"
#include "img/sampling.h"
#include "img/transfer.h"
#include "lib/paths.h"
#include "platform/files.h"
#include "platform/memory.h"

namespace cache {
namespace {

// Nothing here needs the order of the keys, and in bench/cache.cpp 1,000 frames are found in three quarters of a
// std::map's time.
using index_map = std::unordered_map<frame_key, std::weak_ptr<const img::image>, frame_key_hash>;

// Paths that are noted one by one. Without a window nobody takes them.
constexpr std::size_t most_changes = 10000;

// The locks of this file that the calling thread holds. An allocation that fails under one must not evict: it would
// take the queue lock a second time.
thread_local int locks_held = 0;

class lock {
 public:
  explicit lock(std::mutex& mutex) : mutex_(mutex) {
    assert(locks_held == 0);
    mutex_.lock();
    ++locks_held;
  }
  ~lock() {
    --locks_held;
    mutex_.unlock();
  }
  lock(const lock&) = delete;
  lock& operator=(const lock&) = delete;

 private:
  std::mutex& mutex_;
};

int machine_load() {
  const platform::memory_status status = platform::query_memory();
  return std::max(status.physical_load, status.address_space_load);
}

int reduction_of(int resolution) {
  return resolution == 1 ? 2 : 4;
}

img::const_image_ptr with_lookup(const img::const_image_ptr& base, const img::lookup_table& lookup) {
  // Not make_shared: the index's weak references would keep the whole block of a dead image.
  const img::image_ptr image(new img::image);
  img::apply_cube(*image, *base, lookup);
  return image;
}

img::const_image_ptr reduced(const img::const_image_ptr& base, int resolution) {
  const img::image_ptr image(new img::image(*base));
  img::reduce(*image, reduction_of(resolution));
  return image;
}

// The folder that remove_folder() knows an image's path by. A clip's frame is named "clip.avi\A,120".
std::string_view folder_of_frame(std::string_view path) {
  const std::size_t at = path.rfind('\\');
  if (at != path.npos && path.size() >= at + 4 && path[at + 2] == ',') return path.substr(0, at);
  const std::size_t slash = path.rfind('/');
  return path.substr(0, slash == path.npos ? 0 : slash);
}

}  // namespace

std::size_t frame_key_hash::operator()(const frame_key& key) const {
  std::size_t hash = std::hash<std::string>()(key.path);
  auto mix = [&](std::size_t value) { hash = (hash ^ value) * 0x9E3779B97F4A7C15u; };
  mix(key.lookup_hash);
  mix(static_cast<std::size_t>(key.resolution) * 2 + key.has_lookup);
  mix(static_cast<std::size_t>(key.layer_index));
  mix(std::hash<std::string>()(key.layer_name));
  return hash ^ hash >> 32;
}

struct frame_cache::impl {
  std::mutex index_lock;
  index_map index;

  std::mutex queue_lock;
  lru queue;

  std::mutex changed_lock;
  std::unordered_set<std::string> changed_paths;
  std::atomic<bool> changed_all{false};  // set without the lock, by a thread that is out of memory

  img::const_image_ptr find(const frame_key& key) {
    const lock guard(index_lock);
    const auto found = index.find(key);
    return found == index.end() ? nullptr : found->second.lock();
  }

  img::const_image_ptr store(const frame_key& key, img::const_image_ptr image) {
    // The node is made before the lock is taken, and freed after.
    index_map single;
    single.emplace(key, image);
    index_map::insert_return_type result;
    {
      const lock guard(index_lock);
      result = index.insert(single.extract(single.begin()));
      if (!result.inserted) result.position->second = image;
    }
    return image;
  }

  // Makes the frame of a key with a lookup, or else with a resolution, from the stage before it, which `get` gives.
  // Null where there is none.
  template <class Get>
  img::const_image_ptr derive(const frame_key& key, const img::lookup_table* lookup, const Get& get) {
    frame_key base_key = key;
    if (!key.has_lookup) base_key.resolution = 0;
    base_key.has_lookup = false;
    base_key.lookup_hash = 0;
    const img::const_image_ptr base = get(base_key);
    if (!base) return nullptr;
    if (!key.has_lookup) return store(key, reduced(base, key.resolution));
    return store(key, lookup && lookup->has_cube() ? with_lookup(base, *lookup) : base);
  }

  void note_changed(const std::string& path) {
    try {
      {
        const lock guard(changed_lock);
        if (changed_paths.contains(path)) return;
        if (changed_paths.size() >= most_changes) {
          changed_all = true;
          return;
        }
      }
      std::unordered_set<std::string> single{path};
      const lock guard(changed_lock);
      changed_paths.insert(single.extract(single.begin()));
    } catch (const std::bad_alloc&) {
      changed_all = true;
    }
  }

  // Pictures taken out of the queue are let go of outside the lock.
  template <class Take>
  lru::entries take(const Take& from) {
    const lock guard(queue_lock);
    return from(queue);
  }
  lru::entries pop(int count) {
    return take([&](lru& queue) { return queue.take(count); });
  }
};

bool is_stale(const img::image& image, const std::string& path) {
  if (image.path != path) return true;
  const int time = platform::modification_time(path);
  return time != 0 && time != image.mtime;
}

frame_cache::frame_cache() : memory_load(machine_load), impl_(std::make_unique<impl>()) {}

frame_cache::~frame_cache() {
  forget_allocation_fallback(this);
}

img::const_image_ptr frame_cache::get_file_frame(const frame_key& key, const img::format& format, bool revalidate,
                                                 const img::lookup_table* lookup) {
  if (img::const_image_ptr image = impl_->find(key)) {
    if (!revalidate || !is_stale(*image, key.path)) return image;
  }
  if (key.has_lookup || key.resolution != 0) {
    return impl_->derive(key, lookup,
                         [&](const frame_key& base) { return get_file_frame(base, format, revalidate, nullptr); });
  }
  const img::image_ptr image(new img::image);
  format.read(*image, key.path, {key.layer_type, key.layer_index, key.layer_name});
  return impl_->store(key, image);
}

img::const_image_ptr frame_cache::get_clip_frame(const frame_key& key, sources::clip& source, int source_frame,
                                                 const img::lookup_table* lookup) {
  if (img::const_image_ptr image = impl_->find(key)) return image;
  if (key.has_lookup || (key.resolution != 0 && !source.can_reduce())) {
    return impl_->derive(key, lookup,
                         [&](const frame_key& base) { return get_clip_frame(base, source, source_frame, nullptr); });
  }
  const img::image_ptr image(new img::image);
  if (!source.read(source_frame, key.resolution, *image)) return nullptr;
  image->path = key.path;
  return impl_->store(key, image);
}

img::const_image_ptr frame_cache::find(const frame_key& key) {
  return impl_->find(key);
}

void frame_cache::move_to_front(const img::const_image_ptr& image) {
  {
    // A picture that is in the queue already, as in playback from memory, only changes its place.
    const lock guard(impl_->queue_lock);
    if (impl_->queue.touch(image.get())) return;
  }
  lru::node made(image);
  const lock guard(impl_->queue_lock);
  impl_->queue.touch(image.get(), made);
}

bool frame_cache::is_kept(const img::const_image_ptr& image) {
  const lock guard(impl_->queue_lock);
  return impl_->queue.contains(image.get());
}

void frame_cache::touch(const img::const_image_ptr& image) {
  if (!image) return;
  // With many frames both wait for main memory, so at the same time.
  __builtin_prefetch(&image->path);
  move_to_front(image);
  impl_->note_changed(image->path);
  trim_once(memory_reserve_percent);
  assert(check_invariants().empty());
}

void frame_cache::keep_alive(const frame_key& key) {
  if (const img::const_image_ptr image = impl_->find(key)) move_to_front(image);
}

void frame_cache::begin_play(play_return way) {
  const lock guard(impl_->queue_lock);
  impl_->queue.begin_play(way);
}

void frame_cache::turn_play() {
  const lock guard(impl_->queue_lock);
  impl_->queue.turn_play();
}

void frame_cache::end_play() {
  const lock guard(impl_->queue_lock);
  impl_->queue.end_play();
}

void frame_cache::pass(const frame_key& key) {
  const img::const_image_ptr image = impl_->find(key);
  if (!image) return;
  const lock guard(impl_->queue_lock);
  impl_->queue.pass(image.get());
}

void frame_cache::drop(const img::const_image_ptr& image) {
  const lru::entries dropped = impl_->take([&](lru& queue) { return queue.take(image.get()); });
  if (!dropped.empty()) impl_->note_changed(image->path);
}

void frame_cache::evict(int count) {
  for (const lru::entry& entry : impl_->pop(count)) impl_->note_changed(entry.image->path);
}

bool frame_cache::evict_oldest() {
  const lru::entries popped = impl_->pop(1);
  if (popped.empty()) return false;
  impl_->note_changed(popped.front().image->path);
  return true;
}

bool frame_cache::evict_for_allocation() noexcept {
  if (locks_held != 0 || impl_->pop(1).empty()) return false;
  impl_->changed_all = true;
  return true;
}

bool frame_cache::trim_once(int reserve_percent) {
  const int load = memory_load();
  if (load > 100 - reserve_percent) evict(1);
  if (load > 105 - reserve_percent || load >= 97) evict(10);
  keep_within_limit();
  return load > 100 - reserve_percent || load >= 97;
}

void frame_cache::keep_within_limit() {
  const std::size_t limit = memory_limit;
  if (limit == 0) return;
  // A picture that is larger than the limit by itself stays until the next one comes.
  const lru::entries popped = impl_->take([&](lru& queue) {
    lru::entries all;
    while (queue.bytes() > limit && queue.size() > 1) all.splice(all.end(), queue.take(1));
    return all;
  });
  for (const lru::entry& entry : popped) impl_->note_changed(entry.image->path);
}

void frame_cache::note_changed(const std::string& path) {
  impl_->note_changed(path);
}

bool frame_cache::is_full(int pictures) {
  if (memory_load() >= 100 - memory_reserve_percent) return true;
  const std::size_t limit = memory_limit;
  if (limit == 0) return false;
  const lock guard(impl_->queue_lock);
  const std::size_t count = impl_->queue.size();
  const std::size_t held = impl_->queue.bytes();
  return count != 0 && held + held / count * static_cast<std::size_t>(pictures) > limit;
}

void frame_cache::trim(int reserve_percent) {
  for (int round = 0; round < 32 && trim_once(reserve_percent); ++round) continue;
  assert(check_invariants().empty());
}

template <class Matches>
void frame_cache::remove_if(const Matches& matches) {
  const lru::entries removed = impl_->take([&](lru& queue) { return queue.take_if(matches); });
  for (const lru::entry& entry : removed) impl_->note_changed(entry.image->path);
  assert(check_invariants().empty());
}

void frame_cache::remove_path(const std::string& path) {
  remove_if([&](const img::image& image) { return image.path == path; });
  impl_->note_changed(path);
}

void frame_cache::remove_folder(const std::string& folder) {
  const std::string wanted = lib::remove_separator(folder);
  remove_if([&](const img::image& image) { return folder_of_frame(image.path) == wanted; });
}

void frame_cache::remove_changed(const std::string& path) {
  const int time = platform::modification_time(path);
  if (time == 0) return;
  remove_if([&](const img::image& image) { return image.path == path && image.mtime != time; });
}

void frame_cache::remove_changed_in(const std::string& folder) {
  const std::string wanted = lib::remove_separator(folder);
  std::unordered_map<std::string, int> times;  // of the files, by path
  {
    const lock guard(impl_->queue_lock);
    impl_->queue.for_each([&](const img::image& image) {
      if (folder_of_frame(image.path) == wanted) times.emplace(image.path, 0);
    });
  }
  for (auto& [path, time] : times) time = platform::modification_time(path);
  remove_if([&](const img::image& image) {
    const auto found = times.find(image.path);
    return found != times.end() && found->second != 0 && found->second != image.mtime;
  });
}

void frame_cache::clear() {
  impl_->take([](lru& queue) { return queue.take_all(); });
  {
    index_map index;
    const lock guard(impl_->index_lock);
    index.swap(impl_->index);
  }
  img::release_spare_planes();
  platform::release_free_memory();
  impl_->changed_all = true;
}

bool frame_cache::take_changes(std::set<std::string>& paths) {
  std::unordered_set<std::string> taken;
  {
    const lock guard(impl_->changed_lock);
    taken.swap(impl_->changed_paths);
  }
  while (!taken.empty()) paths.insert(std::move(taken.extract(taken.begin()).value()));
  return impl_->changed_all.exchange(false);
}

std::size_t frame_cache::queue_size() {
  const lock guard(impl_->queue_lock);
  return impl_->queue.size();
}

std::size_t frame_cache::bytes() {
  const lock guard(impl_->queue_lock);
  return impl_->queue.bytes();
}

std::string frame_cache::check_invariants() {
  const lock guard(impl_->queue_lock);
  return impl_->queue.check_invariants();
}

}  // namespace cache
