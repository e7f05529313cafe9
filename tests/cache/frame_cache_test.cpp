#include "cache/frame_cache.h"

#include <gtest/gtest.h>
#include <utime.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <map>
#include <random>
#include <thread>

#include "io/exceptions.h"
#include "support/fake_clip.h"
#include "support/temp_folder.h"

namespace {

using cache::frame_cache;
using cache::frame_key;

// Pictures of one plane whose sample at (x, y) is x + 3 * y; the size comes from the test.
class counting_format : public img::format {
 public:
  void read(img::image& image, const std::string& path, const img::layer& layer) const override {
    ++reads;
    if (!layer.is_default()) last_layer = layer;
    if (path.find("bad") != std::string::npos) throw io::invalid_format(path, "bad");
    image.reset("BGR", 8, width, height);
    for (int plane = 0; plane < 3; ++plane)
      for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) image.row(plane, y)[x] = static_cast<std::uint8_t>(x + 3 * y + plane);
    image.set_path(path);
    image.user[0] = {101, -7};
  }
  const char* name() const override { return "counting"; }

  int width = 4;
  int height = 2;
  mutable std::atomic<int> reads{0};
  mutable img::layer last_layer;
};

struct cache_test : testing::Test {
  cache_test() {
    cache.memory_load = [this] {
      ++load_queries;
      return load.load();
    };
  }
  ~cache_test() override { EXPECT_EQ(cache.check_invariants(), ""); }

  static frame_key key(const std::string& path, int resolution = 0) {
    frame_key k;
    k.path = path;
    k.resolution = resolution;
    return k;
  }
  img::const_image_ptr get(const frame_key& k, bool revalidate = false, const img::lookup_table* table = nullptr) {
    return cache.get_file_frame(k, format, revalidate, table);
  }
  void fill(int count) {
    for (int i = 0; i < count; ++i) cache.touch(get(key("/f/" + std::to_string(i))));
  }
  // The changed paths since the last call, in their order; "*" when all changed.
  std::vector<std::string> changes() {
    std::set<std::string> changed;
    if (cache.take_changes(changed)) changed.insert("*");
    return {changed.begin(), changed.end()};
  }
  // The paths that are left, touched longest ago first. Empties the queue.
  std::vector<std::string> drain() {
    std::vector<std::string> order;
    for (changes(); cache.evict_oldest(); order.push_back(changes().at(0))) {
    }
    return order;
  }

  std::atomic<int> load{0};
  std::atomic<int> load_queries{0};
  counting_format format;
  frame_cache cache;
};

img::lookup_table cube_of(std::uint16_t value) {
  img::lookup_table table;
  table.set_3d(std::vector<std::uint16_t>(img::lookup_table::cube_entries, value), true);
  return table;
}

TEST_F(cache_test, the_queue_alone_keeps_images) {
  img::const_image_ptr image = get(key("/a"));
  EXPECT_EQ(get(key("/a")), image);
  EXPECT_EQ(format.reads, 1);
  const std::weak_ptr<const img::image> weak = image;
  image = nullptr;
  EXPECT_TRUE(weak.expired()) << "never touched";
  EXPECT_EQ(cache.find(key("/a")), nullptr);
  cache.touch(get(key("/a")));
  EXPECT_EQ(format.reads, 2);
  EXPECT_NE(cache.find(key("/a")), nullptr);
  EXPECT_EQ(cache.find(key("/b")), nullptr);
  EXPECT_TRUE(cache.evict_oldest());
  EXPECT_FALSE(cache.evict_oldest());
  EXPECT_EQ(cache.find(key("/a")), nullptr);
  cache.touch(nullptr);
  EXPECT_EQ(cache.queue_size(), 0u);
}

TEST_F(cache_test, options_reach_the_format_and_failures_come_back) {
  frame_key k = key("/bad", 1);
  k.layer_type = 2;
  k.layer_index = 3;
  k.layer_name = "diffuse";
  EXPECT_THROW(get(k), io::invalid_format);
  EXPECT_EQ(format.last_layer, (img::layer{2, 3, "diffuse"}));
  EXPECT_THROW(get(k), io::invalid_format);
  EXPECT_EQ(format.reads, 2) << "the next request tries the file again";
}

TEST_F(cache_test, reduced_frames_come_from_the_live_full_frame) {
  format.width = 1921;
  format.height = 3;
  const img::const_image_ptr full = get(key("/a"));
  const img::const_image_ptr quarter = get(key("/a", 2));
  EXPECT_EQ(format.reads, 1);
  ASSERT_EQ(quarter->width, 481);
  ASSERT_EQ(quarter->height, 1);
  for (int plane = 0; plane < 3; ++plane)
    for (int x : {0, 1, 479, 480}) EXPECT_EQ(quarter->row(plane, 0)[x], full->row(plane, 0)[x * 4]) << x;
  EXPECT_EQ(quarter->user[0], (math::point{25, -1})) << "truncated, not rounded down";
  EXPECT_EQ(quarter->path, "/a");
  const img::const_image_ptr half = get(key("/a", 1));
  EXPECT_EQ(half->width, 961);
  EXPECT_EQ(half->height, 2);
  EXPECT_EQ(half->row(0, 1)[0], full->row(0, 2)[0]);
  EXPECT_EQ(full->width, 1921) << "the full frame is left as it was";

  cache.touch(get(key("/b", 1)));
  EXPECT_EQ(cache.find(key("/b")), nullptr) << "a stage on the way is not kept";
  EXPECT_NE(cache.find(key("/b", 1)), nullptr);
}

TEST_F(cache_test, lookups_share_the_file_stage) {
  const img::lookup_table dark = cube_of(1000), bright = cube_of(9000);
  frame_key a = key("/a"), b = key("/a");
  a.has_lookup = b.has_lookup = true;
  a.lookup_hash = dark.cube_hash();
  b.lookup_hash = bright.cube_hash();
  ASSERT_NE(a.lookup_hash, b.lookup_hash);
  const img::const_image_ptr base = get(key("/a"));
  const img::const_image_ptr first = get(a, false, &dark), second = get(b, false, &bright);
  EXPECT_EQ(format.reads, 1);
  EXPECT_NE(first, second);
  cache.touch(first);
  cache.touch(second);
  EXPECT_EQ(cache.queue_size(), 2u);
  EXPECT_EQ(first->depth[0], 16) << "a cube's result is kept in half planes";
  EXPECT_NE(first->row<std::uint16_t>(0, 0)[0], second->row<std::uint16_t>(0, 0)[0]);
  EXPECT_EQ(base->depth[0], 8);
  EXPECT_EQ(first->path, "/a");
  EXPECT_EQ(get(a, false, &dark), first);

  // All three stages: reduced first, then looked up.
  frame_key small = a;
  small.resolution = 1;
  const img::const_image_ptr third = get(small, false, &dark);
  EXPECT_EQ(third->width, 2);
  EXPECT_EQ(third->depth[0], 16);
  EXPECT_EQ(format.reads, 1);
}

TEST_F(cache_test, clips) {
  std::vector<std::pair<int, int>> asked;  // frame, resolution
  support::fake_clip clip(10, [&](int frame, int resolution, img::image& image) {
    asked.push_back({frame, resolution});
    image = support::picture("L", 4 >> resolution, 4 >> resolution, {frame});
    return frame < 10;
  });
  const frame_key full = key("/c.avi\\A,3"), half = key("/c.avi\\A,3", 1);
  const img::const_image_ptr image = cache.get_clip_frame(full, clip, 3, nullptr);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->path, full.path);
  EXPECT_EQ(cache.get_clip_frame(half, clip, 3, nullptr)->width, 2);
  clip.reduces = true;
  EXPECT_EQ(cache.get_clip_frame(half, clip, 3, nullptr)->width, 2);
  EXPECT_EQ(asked, (std::vector<std::pair<int, int>>{{3, 0}, {3, 1}}));

  clip.reduces = false;
  frame_key looked_up = key("/c.avi\\A,11", 2);
  looked_up.has_lookup = true;
  const img::lookup_table table = cube_of(5000);
  EXPECT_EQ(cache.get_clip_frame(looked_up, clip, 11, &table), nullptr);
  EXPECT_EQ(cache.get_clip_frame(looked_up, clip, 11, &table), nullptr);
  EXPECT_EQ(clip.reads, 4) << "what could not be had is asked for again";
  looked_up.path = "/c.avi\\A,4";
  EXPECT_EQ(cache.get_clip_frame(looked_up, clip, 4, &table)->path, looked_up.path);
  EXPECT_EQ(asked.back(), (std::pair{4, 0}));
}

TEST_F(cache_test, revalidation) {
  support::temp_folder folder;
  const std::string path = folder / "a";
  auto set_time = [&](int seconds) {
    support::write_file(path, "x");
    const utimbuf times{seconds, seconds};
    ASSERT_EQ(utime(path.c_str(), &times), 0);
  };
  set_time(1000);
  const img::const_image_ptr first = get(key(path));
  const img::const_image_ptr small = get(key(path, 1));
  EXPECT_EQ(get(key(path), true), first);
  set_time(900);
  EXPECT_EQ(get(key(path)), first) << "not asked to look";
  const img::const_image_ptr second = get(key(path, 1), true);
  EXPECT_NE(second, small) << "an older time is another time";
  EXPECT_EQ(format.reads, 2);
  EXPECT_EQ(get(key(path), true)->mtime, 900) << "the full frame behind it was read again too";
  set_time(0);
  EXPECT_EQ(get(key(path, 1), true), second) << "a time of 0 is unknown";
  std::filesystem::remove(path);
  EXPECT_EQ(get(key(path, 1), true), second) << "and so is that of a missing file";
  EXPECT_TRUE(cache::is_stale(*second, path + "x"));
}

TEST_F(cache_test, trimming_thresholds) {
  struct row {
    int reserve, load, evicted;
  };
  const row rows[] = {
      {10, 90, 0}, {10, 91, 1}, {10, 95, 1}, {10, 96, 11}, {10, 97, 11}, {10, 100, 11},
      {50, 50, 0}, {50, 51, 1}, {50, 55, 1}, {50, 56, 11}, {1, 96, 0},   {1, 97, 10},
      {3, 97, 10}, {3, 98, 11}, {80, 21, 1}, {80, 26, 11}, {0, 100, 10},
  };
  for (const row& r : rows) {
    cache.clear();
    load = 0;
    fill(40);
    load = r.load;
    cache.memory_reserve_percent = r.reserve;
    load_queries = 0;
    cache.touch(get(key("/f/39")));
    EXPECT_EQ(40 - static_cast<int>(cache.queue_size()), r.evicted) << r.reserve << " " << r.load;
    EXPECT_EQ(load_queries, 1) << "the load is asked for once a round";
    EXPECT_EQ(cache.find(key("/f/" + std::to_string(r.evicted - 1))), nullptr);
    EXPECT_NE(cache.find(key("/f/" + std::to_string(r.evicted))), nullptr);
  }
}

TEST_F(cache_test, trim_repeats_and_asks_each_time) {
  cache.memory_reserve_percent = 50;  // trim() goes by its own number
  fill(400);
  load_queries = 0;
  load = 95;
  cache.trim(10);
  EXPECT_EQ(cache.queue_size(), 400u - 32);
  EXPECT_EQ(load_queries, 32);
  load = 96;
  cache.trim(10);
  EXPECT_EQ(cache.queue_size(), 400u - 32 - 352);
  // Stops as soon as enough is free.
  int left = 3;
  cache.memory_load = [&] { return --left >= 0 ? 91 : 90; };
  cache.trim(10);
  EXPECT_EQ(cache.queue_size(), 13u);
  cache.memory_load = [] { return 100; };
  cache.trim(10);
  EXPECT_EQ(cache.queue_size(), 0u);
}

// Against a plain deque, with every operation that changes the order.
TEST_F(cache_test, eviction_order_follows_the_model) {
  std::mt19937 random(7);
  std::deque<std::string> model;  // front: touched last
  std::map<std::string, img::const_image_ptr> held;
  auto to_front = [&](const std::string& path) {
    std::erase(model, path);
    model.push_front(path);
  };
  for (int step = 0; step < 4000; ++step) {
    const std::string path = "/d" + std::to_string(random() % 3) + "/" + std::to_string(random() % 20);
    switch (random() % 12) {
      default:
        cache.touch(get(key(path)));
        to_front(path);
        break;
      case 0:
        cache.keep_alive(key(path));
        if (std::find(model.begin(), model.end(), path) != model.end() || held.contains(path)) to_front(path);
        break;
      case 1:
        EXPECT_EQ(cache.evict_oldest(), !model.empty());
        if (!model.empty()) model.pop_back();
        break;
      case 2:
        held[path] = get(key(path));
        break;
      case 3:
        held.clear();
        break;
      case 4:
        cache.remove_path(path);
        std::erase(model, path);
        break;
      case 5:
        if (random() % 8) break;
        cache.remove_folder("/d1/");
        std::erase_if(model, [](const std::string& p) { return p.starts_with("/d1/"); });
        break;
    }
    ASSERT_EQ(cache.check_invariants(), "") << step;
    ASSERT_EQ(cache.queue_size(), model.size()) << step;
  }
  ASSERT_GT(model.size(), 10u);
  EXPECT_EQ(drain(), std::vector<std::string>(model.rbegin(), model.rend()));
}

TEST_F(cache_test, removal_by_path_and_folder) {
  const std::string all[] = {"/s/a.1.tga", "/s/a.2.tga",     "/s/other.tga", "/s/sub/b.tga",
                             "/sx/c.tga",  "/s/c.avi\\A,12", "/s/d\\e.tga",  "f.tga"};
  struct row {
    const char* folder;
    std::vector<std::string> removed;
  };
  const row rows[] = {
      {"/s", {"/s/a.1.tga", "/s/a.2.tga", "/s/d\\e.tga", "/s/other.tga"}},
      {"/s/", {"/s/a.1.tga", "/s/a.2.tga", "/s/d\\e.tga", "/s/other.tga"}},
      {"/s/sub\\", {"/s/sub/b.tga"}},
      {"/s/c.avi", {"/s/c.avi\\A,12"}},
      {"", {"f.tga"}},
      {"/S", {}},
  };
  for (const row& r : rows) {
    for (const std::string& path : all) cache.touch(get(key(path)));
    changes();
    cache.remove_folder(r.folder);
    EXPECT_EQ(changes(), r.removed) << r.folder;
    EXPECT_EQ(cache.queue_size(), std::size(all) - r.removed.size()) << r.folder;
    for (const std::string& path : r.removed) EXPECT_EQ(cache.find(key(path)), nullptr) << path;
  }
  // Every stage of a file goes with its path, and the path is told even when nothing was there.
  cache.clear();
  cache.touch(get(key("/a")));
  cache.touch(get(key("/a", 1)));
  cache.touch(get(key("/b")));
  cache.remove_path("/a");
  cache.remove_path("/none");
  EXPECT_EQ(cache.queue_size(), 1u);
  EXPECT_EQ(changes(), (std::vector<std::string>{"*", "/a", "/b", "/none"}));
}

TEST_F(cache_test, removal_of_changed_files) {
  support::temp_folder folder;
  for (const bool whole_folder : {false, true}) {
    for (const char* name : {"a", "b", "c", "below/d"}) support::write_file(folder / name, name);
    for (const char* name : {"a", "b", "c", "below/d"}) cache.touch(get(key(folder / name)));
    const utimbuf times{1234 + whole_folder, 1234};
    for (const char* name : {"b", "below/d"}) ASSERT_EQ(utime((folder / name).c_str(), &times), 0);
    std::filesystem::remove(folder / "c");
    if (whole_folder) {
      cache.remove_changed_in(folder.path() + "/");
    } else {
      for (const char* name : {"a", "b", "c"}) cache.remove_changed(folder / name);
    }
    EXPECT_EQ(cache.queue_size(), 3u) << whole_folder;
    EXPECT_EQ(cache.find(key(folder / "b")), nullptr) << whole_folder;
    EXPECT_NE(cache.find(key(folder / "below/d")), nullptr) << whole_folder;
    cache.clear();
  }
}

TEST_F(cache_test, clearing) {
  const img::const_image_ptr held = get(key("/f/1"));
  fill(3);
  EXPECT_EQ(changes(), (std::vector<std::string>{"/f/0", "/f/1", "/f/2"}));
  cache.clear();
  EXPECT_EQ(changes(), std::vector<std::string>{"*"});
  EXPECT_EQ(cache.queue_size(), 0u);
  EXPECT_EQ(cache.find(key("/f/1")), nullptr) << "the index is empty though the image lives";
  EXPECT_FALSE(cache.evict_oldest());
  EXPECT_TRUE(changes().empty()) << "an eviction of nothing marks nothing";
}

TEST_F(cache_test, changes_that_nobody_takes_stay_few) {
  for (int i = 0; i < 50000; ++i) cache.note_changed("/f/" + std::to_string(i));
  std::set<std::string> changed;
  EXPECT_TRUE(cache.take_changes(changed)) << "what was not noted by itself is part of all";
  EXPECT_LE(changed.size(), 10000u);
  cache.note_changed("/f/1");
  EXPECT_EQ(changes(), std::vector<std::string>{"/f/1"});
}

TEST_F(cache_test, many_threads) {
  constexpr int threads = 4;
  std::atomic<bool> go{false};
  std::vector<std::thread> workers;
  for (int t = 0; t < threads; ++t)
    workers.emplace_back([&, t] {
      std::mt19937 random(static_cast<unsigned>(t));
      while (!go) std::this_thread::yield();
      for (int i = 0; i < 3000; ++i) {
        const frame_key k = key("/m/" + std::to_string(random() % 30), static_cast<int>(random() % 2));
        const unsigned dice = random() % 64;
        std::set<std::string> changed;
        if (dice == 0) {
          cache.clear();
        } else if (dice == 1) {
          cache.remove_folder("/m");
        } else if (dice == 2) {
          cache.remove_path(k.path);
        } else if (dice < 6) {
          cache.evict_oldest();
        } else if (dice < 8) {
          cache.trim(10);
        } else if (dice < 10) {
          cache.take_changes(changed);
        } else if (dice < 12) {
          cache.evict_for_allocation();
        } else if (dice < 20) {
          cache.keep_alive(k);
        } else {
          const img::const_image_ptr image = get(k);
          ASSERT_EQ(image->width, k.resolution ? 2 : 4);
          ASSERT_EQ(image->row(0, 0)[1], k.resolution ? 2 : 1);
          cache.touch(image);
        }
        if (dice == 63) load = static_cast<int>(random() % 100);
      }
    });
  go = true;
  for (std::thread& worker : workers) worker.join();
  EXPECT_EQ(cache.check_invariants(), "");
  EXPECT_LE(cache.queue_size(), 60u * threads);
}

}  // namespace
