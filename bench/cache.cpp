// The cost of the frame cache beside the pictures themselves: touching a frame with few and with many frames in the
// queue, and finding one, against a plain std::map search for the same keys that takes no lock and no reference. Prints
// nanoseconds for orientation; the ratios are what counts. Medians of interleaved rounds. The number of steps is the
// same for any number of frames; what grows with it is how many of the steps wait for main memory.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "cache/frame_cache.h"
#include "support.h"

namespace {

using clock_type = std::chrono::steady_clock;

struct filled_cache {
  cache::frame_cache cache;
  std::vector<cache::frame_key> keys;
  std::vector<img::const_image_ptr> images;
  std::map<cache::frame_key, img::const_image_ptr> map;
  std::vector<int> order;
};

// Makes the empty picture of a path.
class empty_format : public img::format {
 public:
  void read(img::image& image, const std::string& path, const img::layer&) const override { image.path = path; }
  const char* name() const override { return "empty"; }
};

std::unique_ptr<filled_cache> fill(int count) {
  auto filled = std::make_unique<filled_cache>();
  filled->cache.memory_load = [] { return 0; };
  for (int i = 0; i < count; ++i) {
    char path[100];
    std::snprintf(path, sizeof path, "/projects/show/shots/sq010/sh0200/render/beauty_v003/beauty.%06d.exr", i);
    cache::frame_key key;
    key.path = path;
    const img::const_image_ptr image = filled->cache.get_file_frame(key, empty_format(), false, nullptr);
    filled->cache.touch(image);
    filled->keys.push_back(key);
    filled->images.push_back(image);
    filled->map[key] = image;
  }
  std::set<std::string> changed;
  filled->cache.take_changes(changed);
  filled->order.resize(static_cast<std::size_t>(count));
  std::iota(filled->order.begin(), filled->order.end(), 0);
  return filled;
}

// Nanoseconds of one call of body(i), for `calls` calls along the order of the cache.
template <class Body>
double measure(filled_cache& filled, std::size_t& at, int calls, Body&& body) {
  const auto start = clock_type::now();
  for (int i = 0; i < calls; ++i) {
    body(static_cast<std::size_t>(filled.order[at]));
    if (++at == filled.order.size()) at = 0;
  }
  return std::chrono::duration<double, std::nano>(clock_type::now() - start).count() / calls;
}

void report(const char* what, bool shuffled) {
  constexpr int rounds = 25, calls = 2400;
  const int counts[] = {10, 1000, 100000};
  std::vector<std::unique_ptr<filled_cache>> caches;
  std::mt19937 random(1);
  for (int count : counts) {
    caches.push_back(fill(count));
    if (shuffled) std::shuffle(caches.back()->order.begin(), caches.back()->order.end(), random);
  }
  std::vector<double> touches[3], finds[3], searches[3];
  std::size_t places[3][3] = {};
  const volatile void* sink = nullptr;
  for (int round = 0; round < rounds; ++round) {
    for (int c = 0; c < 3; ++c) {
      filled_cache& filled = *caches[static_cast<std::size_t>(c)];
      int since_taken = 0;
      touches[c].push_back(measure(filled, places[c][0], calls, [&](std::size_t i) {
        filled.cache.touch(filled.images[i]);
        // The timeline takes the changes once a tick, here with eight layers.
        if (++since_taken % 8 == 0) {
          std::set<std::string> changed;
          filled.cache.take_changes(changed);
        }
      }));
      finds[c].push_back(
          measure(filled, places[c][1], calls, [&](std::size_t i) { sink = filled.cache.find(filled.keys[i]).get(); }));
      searches[c].push_back(measure(filled, places[c][2], calls,
                                    [&](std::size_t i) { sink = filled.map.find(filled.keys[i])->second.get(); }));
    }
  }
  static_cast<void>(sink);
  std::printf("%s\n%10s %12s %14s %12s %14s %14s\n", what, "frames", "touch ns", "to 10 frames", "find ns",
              "std::map ns", "find to map");
  for (int c = 0; c < 3; ++c)
    std::printf("%10d %12.0f %14.2f %12.0f %14.0f %14.2f\n", counts[c], bench::median(touches[c]),
                bench::median(touches[c]) / bench::median(touches[0]), bench::median(finds[c]),
                bench::median(searches[c]), bench::median(finds[c]) / bench::median(searches[c]));
}

}  // namespace

int main() {
  report("in order, as in playback", false);
  report("in random order: each step misses the processor's caches", true);

  cache::frame_cache cache;
  std::vector<double> rounds;
  int load = 0;
  for (int round = 0; round < 25; ++round) {
    const auto start = clock_type::now();
    for (int i = 0; i < 40; ++i) load += cache.memory_load();
    rounds.push_back(std::chrono::duration<double, std::nano>(clock_type::now() - start).count() / 40);
  }
  std::printf("one reading of the memory load (part of every touch, replaced above): %.0f ns, load %d %%\n",
              bench::median(rounds), load / 1000);
}
