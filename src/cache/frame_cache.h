// Decoded frames in memory: a weak index of what exists and a strong LRU queue of what was touched last.
//
// The queue alone keeps images alive. An image that leaves it and that nobody else holds dies at once, and its index
// entry no longer resolves. The cache grows until the machine's memory load passes a percentage, or until its own bytes
// pass a limit that the user may set, and then gives back what was touched longest ago.
#pragma once

#include <array>
#include <atomic>
#include <compare>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>

#include "cache/lru.h"
#include "img/format.h"
#include "img/image.h"
#include "img/lookup/table.h"
#include "sources/clip.h"

namespace cache {

// One frame as asked for. Ordered field by field.
struct frame_key {
  std::string path;  // file, or the per-frame name of a clip; compared as bytes
  int layer_type = 0;
  int layer_index = -1;
  std::string layer_name;
  int decoder_preset = 0;
  std::array<int, 8> r3d_color_settings{};
  int resolution = 0;  // 0 full, 1 half, 2 quarter
  bool has_lookup = false;
  std::uint32_t lookup_hash = 0;

  auto operator<=>(const frame_key&) const = default;
};

struct frame_key_hash {
  std::size_t operator()(const frame_key& key) const;
};

// The process-wide store. Every function may be called from any thread. Three locks, never two at once, none held
// across a decode. Two threads that miss on one key both decode it; the index keeps the later image.
class frame_cache {
 public:
  frame_cache();
  ~frame_cache();
  frame_cache(const frame_cache&) = delete;
  frame_cache& operator=(const frame_cache&) = delete;

  // The frame, read and derived (file, reduced, lookup) as far as it is missing. With `revalidate` a live image whose
  // file has another time is read again. `lookup` is needed when the key has one. Throws what the format throws, and
  // std::bad_alloc.
  img::const_image_ptr get_file_frame(const frame_key& key, const img::format& format, bool revalidate,
                                      const img::lookup_table* lookup);
  // The same from a clip; null when the clip can't give the frame.
  img::const_image_ptr get_clip_frame(const frame_key& key, sources::clip& source, int source_frame,
                                      const img::lookup_table* lookup);
  // The live image of a key, or null. Does not load.
  img::const_image_ptr find(const frame_key& key);

  // Whether the cache itself keeps it, and not only somebody who still shows or reads it.
  bool is_kept(const img::const_image_ptr& image);

  // Moves the image to the front of the queue, notes its path and applies the trimming rule once. Constant time.
  void touch(const img::const_image_ptr& image);
  // If the key resolves, moves its image to the front without trimming.
  void keep_alive(const frame_key& key);
  // Takes the image out of the queue again; it lives as long as somebody else holds it. Constant time.
  void drop(const img::const_image_ptr& image);
  // Drops the image that is the next to go, without a play the one touched longest ago; false on an empty queue.
  bool evict_oldest();
  // The same for operator new: notes that all changed in place of the path, which would ask for memory. False also
  // when the calling thread holds one of the locks.
  bool evict_for_allocation() noexcept;

  // How playing frames that may not all fit changes the order of eviction (lru.h).
  void begin_play(play_return way);
  void turn_play();
  void end_play();
  // The play has shown the frame of the key, if it is in memory, and goes on.
  void pass(const frame_key& key);
  // 32 rounds of the trimming rule: a load above 100 - reserve evicts one image, one above 105 - reserve or of at least
  // 97 ten more.
  void trim(int reserve_percent);

  void remove_path(const std::string& path);
  // Removes the images whose file lies in `folder` itself. The frames of a clip lie in its path.
  void remove_folder(const std::string& folder);
  // Removes images of `path` whose file has another time.
  void remove_changed(const std::string& path);
  // The same for every image whose file is directly in `folder`; asks the file system only for those.
  void remove_changed_in(const std::string& folder);
  // Empties queue and index, gives memory back and sets changed_all. The caller stops preloading first.
  void clear();

  // Adds the set of paths whose cached state changed to `paths` and forgets it; returns and resets the flag that says
  // that all did.
  bool take_changes(std::set<std::string>& paths);

  std::atomic<int> memory_reserve_percent = 10;  // share of memory left to others: 10, 20, 30, 40 or 50
  std::atomic<std::size_t> memory_limit = 0;     // bytes of pictures; 0 leaves it to the share
  // Percent of memory in use, from any thread. Tests replace it before they start threads.
  std::function<int()> memory_load;

  std::size_t queue_size();
  // Bytes of the pictures in the queue.
  std::size_t bytes();
  // Whether another picture, or so many, would make one of those in memory go.
  bool is_full(int pictures = 1);
  // Notes that something about a path changed, for take_changes().
  void note_changed(const std::string& path);
  // The inconsistency inside, empty when there is none. Looks at everything; debug builds call it after each change.
  std::string check_invariants();

 private:
  struct impl;
  void evict(int count);
  bool trim_once(int reserve_percent);  // whether more may have to go
  void keep_within_limit();
  void move_to_front(const img::const_image_ptr& image);
  template <class Matches>
  void remove_if(const Matches& matches);

  std::unique_ptr<impl> impl_;
};

// Whether the image is not what its file holds now: it came from another path, or the file's time is known and differs.
bool is_stale(const img::image& image, const std::string& path);

}  // namespace cache
