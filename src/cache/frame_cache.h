// Decoded frames in memory: a weak index of what exists and a strong queue of what was touched last.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>

#include "img/format.h"
#include "img/image.h"
#include "img/lookup_table.h"
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

// The process-wide store. Every function may be called from any thread. Three locks, never two at once, none held
// across a decode.
class frame_cache {
 public:
  frame_cache();
  ~frame_cache();
  frame_cache(const frame_cache&) = delete;
  frame_cache& operator=(const frame_cache&) = delete;

  // The frame, read and derived (file, reduced, lookup) as far as it is missing. With `revalidate` a live image whose
  // file has a newer time is read again. `lookup` is needed when the key has one. Throws what the format throws.
  img::const_image_ptr get_file_frame(const frame_key& key, const img::format& format, bool revalidate,
                                      const img::lookup_table* lookup);
  // The same from a clip; null when the clip can't give the frame.
  img::const_image_ptr get_clip_frame(const frame_key& key, sources::clip& source, int source_frame,
                                      const img::lookup_table* lookup);
  // The live image of a key, or null. Does not load.
  img::const_image_ptr find(const frame_key& key);

  // Moves the image to the front of the queue, notes its path and applies the trimming rule once. Constant time.
  void touch(const img::const_image_ptr& image);
  // If the key resolves, moves its image to the front without trimming.
  void keep_alive(const frame_key& key);
  // Drops the image touched longest ago; false on an empty queue.
  bool evict_oldest();
  // 32 rounds of the trimming rule.
  void trim(int reserve_percent);

  void remove_path(const std::string& path);
  void remove_folder(const std::string& folder);
  // Removes images of `path` whose file has a newer time.
  void remove_changed(const std::string& path);
  // Empties queue and index, gives memory back and sets changed_all. The caller stops preloading first.
  void clear();

  // Takes the set of paths whose cached state changed, and the flag that says all did.
  bool take_changes(std::set<std::string>& paths);

  int memory_reserve_percent = 10;  // share of memory left to others: 10, 20, 30, 40 or 50
  // Percent of memory in use; tests replace it.
  std::function<int()> memory_load;

  std::size_t queue_size();

 private:
  struct impl;
  std::unique_ptr<impl> impl_;
};

}  // namespace cache
