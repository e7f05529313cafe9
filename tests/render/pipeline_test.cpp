#include "render/pipeline.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <new>

#include "img/transfer.h"
#include "io/exceptions.h"
#include "render/image_pool.h"
#include "support/fake_clip.h"
#include "support/levels.h"
#include "support/temp_folder.h"

namespace {

using ksn::cache_resolution_type;
using ksn::source_type;

constexpr auto full = cache_resolution_type::full;

class pipeline_test : public testing::Test {
 protected:
  pipeline_test() {
    cache.memory_load = [] { return 0; };
  }

  img::const_image_ptr fetch(const ksn::track_info& track, int frame = 0, cache_resolution_type resolution = full,
                             bool force = false) {
    return pipeline.layer_frame(composition, track, frame, resolution, force, frame);
  }
  bool is_shared(const ksn::track_info& track, const img::const_image_ptr& image) {
    return image && cache.find(render::key_of_frame(track, 0, full)) == image;
  }

  cache::frame_cache cache;
  ksn::state composition;
  std::vector<std::string> lines;
  std::uint32_t now = 4294967000u;  // wraps within a test
  render::pipeline pipeline{cache,
                            {true, [this](const std::string& line) { lines.push_back(line); }, [this] { return now; }}};
};

std::shared_ptr<support::fake_clip> clip_of(const ksn::track_info& track) {
  return std::static_pointer_cast<support::fake_clip>(track.clip);
}

img::lookup_table black_cube() {
  img::lookup_table table;
  table.set_3d(std::vector<std::uint16_t>(img::lookup_table::cube_entries, 512), true);  // 512 / 4096 - 0.125 is 0
  return table;
}

img::lookup_table inverting_curves() {
  std::vector<double> values(img::lookup_table::curve_entries);
  for (int i = 0; i < 3 * 1024; ++i) values[static_cast<std::size_t>(i)] = 1.0 - i % 1024 / 1023.0;
  img::lookup_table table;
  table.set_1d(values, true);
  return table;
}

// What a layer may ask for beside its frame, with the blue, green, red (and alpha) that 100, 150, 200 become.
struct treatment {
  const char* name;
  std::function<void(ksn::track_info&)> change;
  bool shared;
  std::vector<int> expected;
};

const treatment treatments[] = {
    {"nothing", [](ksn::track_info&) {}, true, {100, 150, 200}},
    {"placement",
     [](ksn::track_info& t) { t.scale_x = 50, t.opacity = 20, t.invert_color = true; },
     true,
     {100, 150, 200}},
    {"a correction that is off",
     [](ksn::track_info& t) {
       t.tf.exposure = {100, 100, 100}, t.tf.disable_cc = true;
     },
     true,
     {100, 150, 200}},
    {"channels", [](ksn::track_info& t) { t.channels = ksn::view_type::r_grayscale; }, false, {200, 200, 200}},
    // D(100 / 255) * 0 for blue
    {"exposure", [](ksn::track_info& t) { t.tf.exposure[0] = -10000; }, false, {0, 150, 200}},
    // No saturation: every channel becomes 0.2126 R + 0.7152 G + 0.0722 B = 157.0; in 1/256, 54 * 200 >> 8 and
    // 183 * 150 >> 8 and 18 * 100 >> 8 are 42, 107 and 7 in a row of four.
    {"saturation",
     [](ksn::track_info& t) {
       t.tf.saturation = {0, 0, 0};
     },
     false,
     {156, 156, 156}},
    // 100 / 255 * 1023 = 401.2: 1 - 401 / 1023 = 0.608, and so on
    {"curves", [](ksn::track_info& t) { t.tf.lookup_table = inverting_curves(); }, false, {155, 105, 55}},
    {"cube", [](ksn::track_info& t) { t.tf.lookup_table = black_cube(); }, false, {0, 0, 0}},
    {"key", [](ksn::track_info& t) { t.ck_primary.enabled = true; }, false, {100, 150, 200, 255}},
};

TEST_F(pipeline_test, an_untouched_8_bit_frame_is_shared_and_no_other) {
  for (const treatment& c : treatments) {
    ksn::track_info track = support::plain_layer(1, "BGR", 4, 2, {100, 150, 200});
    c.change(track);
    const img::const_image_ptr image = fetch(track);
    ASSERT_TRUE(image) << c.name;
    EXPECT_EQ(is_shared(track, image), c.shared) << c.name;
    for (std::size_t p = 0; p < c.expected.size(); ++p) {
      EXPECT_EQ(support::samples(*image, static_cast<int>(p)), std::vector<int>(8, c.expected[p]))
          << c.name << " plane " << p;
    }
  }
}

TEST_F(pipeline_test, a_picture_is_rebuilt_when_what_it_is_made_from_changes) {
  for (const treatment& c : treatments) {
    cache.clear();
    ksn::track_info track = support::plain_layer(2, "BGR", 4, 2, {100, 150, 200});
    const img::const_image_ptr plain = fetch(track);
    EXPECT_EQ(fetch(track), plain);
    EXPECT_EQ(pipeline.render_count(track.id), 1) << c.name;
    const ksn::track_info before = track;
    c.change(track);
    const bool same_recipe = std::string_view(c.name) == "nothing" || std::string_view(c.name) == "placement";
    const img::const_image_ptr changed = fetch(track);
    EXPECT_EQ(pipeline.render_count(track.id), same_recipe ? 1 : 2) << c.name;
    EXPECT_EQ(fetch(track), changed) << c.name;
    EXPECT_EQ(fetch(before), plain) << c.name;
    fetch(track, 1);
    EXPECT_EQ(pipeline.render_count(track.id), same_recipe ? 2 : 4) << c.name;
    EXPECT_EQ(clip_of(track)->reads, 2) << c.name;
  }
}

TEST_F(pipeline_test, a_picture_that_is_held_outlives_the_next_fetch) {
  ksn::track_info track = support::plain_layer(3, "BGR", 4, 2, {100, 150, 200});
  track.channels = ksn::view_type::b_grayscale;
  const img::const_image_ptr first = fetch(track, 0);
  const img::const_image_ptr second = fetch(track, 1);
  EXPECT_NE(first, second);
  EXPECT_EQ(support::samples(*first, 2), std::vector<int>(8, 100));
  EXPECT_EQ(support::samples(*second, 2), std::vector<int>(8, 101));
}

TEST_F(pipeline_test, source_frames_by_time) {
  ksn::track_info track = support::plain_layer(3, "BGR", 4, 2, {100, 150, 200});
  track.begin = 10;
  track.retime = 2.0;
  track.send_f = 2.0;
  const std::map<double, int> blue{{9.9, -1},   {10.0, 100}, {11.9, 100}, {12.0, 101},
                                   {15.5, 102}, {16.0, 100}, {21.9, 102}, {22.0, -1}};
  for (const auto& [time, expected] : blue) {
    const img::const_image_ptr image = pipeline.layer_image(composition, track, time, full);
    EXPECT_EQ(image ? image->row(0, 0)[0] : -1, expected) << time;
  }
  EXPECT_EQ(fetch(track, -1), nullptr);
  EXPECT_EQ(fetch(track, 3), nullptr);
  for (const source_type type : {source_type::none, source_type::wave, source_type::embedded_audio}) {
    track.source_type = type;
    EXPECT_EQ(pipeline.layer_image(composition, track, 12.0, full), nullptr);
  }
}

TEST_F(pipeline_test, reduced_frames) {
  auto clip = std::make_shared<support::fake_clip>(1, [](int, int, img::image& image) {
    image = support::random_picture("BGRA", 9, 6);
    return true;
  });
  ksn::track_info track = support::clip_layer(clip, 9, 6);
  const img::image whole = support::random_picture("BGRA", 9, 6);
  for (const int factor : {2, 4}) {
    const auto resolution = factor == 2 ? cache_resolution_type::half : cache_resolution_type::quarter;
    for (const bool force : {false, true}) {
      const img::const_image_ptr image = fetch(track, 0, resolution, force);
      ASSERT_TRUE(image);
      EXPECT_EQ(image->width, (9 + factor - 1) / factor);
      EXPECT_EQ(image->height, (6 + factor - 1) / factor);
      EXPECT_EQ(image->user[0], (math::point{4 / factor, 3 / factor}));
      for (int y = 0; y < image->height; ++y) {
        for (int x = 0; x < image->width; ++x) {
          EXPECT_EQ(image->row(3, y)[x], whole.row(3, y * factor)[x * factor]) << factor << ' ' << x << ' ' << y;
        }
      }
    }
    EXPECT_EQ(pipeline.delivered_resolution(track, resolution), resolution);
  }
  track.disable_cache = true;
  EXPECT_EQ(fetch(track, 0, cache_resolution_type::quarter)->width, 9);
  EXPECT_EQ(pipeline.delivered_resolution(track, cache_resolution_type::quarter), full);
}

TEST_F(pipeline_test, a_layer_without_cache_leaves_the_store_alone) {
  ksn::track_info track = support::plain_layer(1, "BGR", 4, 2, {100, 150, 200});
  const img::const_image_ptr cached = fetch(track);
  track.disable_cache = true;
  cache.evict_oldest();
  for (int i = 0; i < 3; ++i) {
    const img::const_image_ptr image = fetch(track);
    ASSERT_TRUE(image);
    EXPECT_NE(image, cached);
    EXPECT_EQ(image->path, "/clips/BGR100.avi\\A,0");
    EXPECT_EQ(clip_of(track)->reads, 2 + i);
  }
  EXPECT_EQ(cache.queue_size(), 0u);
  EXPECT_EQ(cache.find(render::key_of_frame(track, 0, full)), cached);

  render::pipeline uncached{cache, {false, {}, {}}};
  track.disable_cache = false;
  EXPECT_NE(uncached.layer_frame(composition, track, 0, full, false, 0), cached);
  EXPECT_EQ(cache.queue_size(), 0u);
}

// A half picture of 0.5 is 188 for display. Keyed at 188 it is transparent, whatever the exposure makes of it: two
// stops more give white.
TEST_F(pipeline_test, a_key_sees_the_picture_before_the_correction) {
  auto clip = std::make_shared<support::fake_clip>(1, [](int, int, img::image& image) {
    image = img::image("BGR", 16, 4, 2);
    for (int p = 0; p < 3; ++p) std::fill_n(image.row<std::uint16_t>(p, 0), 8, std::uint16_t{0x3800});
    return true;
  });
  ksn::track_info track = support::clip_layer(clip, 4, 2);
  track.tf.exposure = {200, 200, 200};
  track.ck_secondary.enabled = true;
  track.ck_secondary.key = {255, 188, 188, 187};
  track.ck_secondary.tolerance = 0;
  track.ck_secondary.slope = 8;
  const img::const_image_ptr image = fetch(track);
  ASSERT_TRUE(image);
  EXPECT_EQ(support::letters_of(*image), "BGRA");
  for (int p = 0; p < 3; ++p) EXPECT_EQ(support::samples(*image, p), std::vector<int>(8, 255)) << p;
  EXPECT_EQ(support::samples(*image, 3), std::vector<int>(8, 4));
  // Without the key the frame is the same, from the same cached picture.
  track.ck_secondary.enabled = false;
  EXPECT_EQ(support::letters_of(*fetch(track)), "BGR");
  EXPECT_EQ(clip->reads, 1);
}

// The cube stands in the cache; a second layer with the same cube does not read or compute it again.
TEST_F(pipeline_test, a_cube_is_applied_once) {
  ksn::track_info track = support::plain_layer(1, "BGR", 4, 2, {100, 150, 200});
  track.tf.lookup_table = black_cube();
  fetch(track);
  const cache::frame_key key = render::key_of_frame(track, 0, full);
  EXPECT_TRUE(key.has_lookup);
  EXPECT_EQ(key.lookup_hash, track.tf.lookup_table.cube_hash());
  ASSERT_TRUE(cache.find(key));
  ksn::track_info direct = track;
  direct.id = ksn::next_layer_id();
  direct.disable_cache = true;
  EXPECT_EQ(support::differing_plane(*fetch(direct), *fetch(track)), -1);
  // The native frame has no lookup.
  EXPECT_EQ(pipeline.native_frame(track, 0)->row(2, 1)[3], 200);
  EXPECT_EQ(pipeline.native_frame(direct, 0)->row(2, 1)[3], 200);
}

TEST_F(pipeline_test, a_frame_that_fails_is_one_line) {
  struct failure {
    const char* line;
    std::function<bool()> fail;
  };
  const failure failures[] = {
      {"\"/x/a.avi\": io::read_error: No such device",
       [] {
         throw io::read_error("/x/a.avi", "No such device");
         return true;
       }},
      {"\"/clips/fake.avi\\A,1\": wrong",
       [] {
         throw std::runtime_error("wrong");
         return true;
       }},
      {"\"/clips/fake.avi\\A,1\": Not enough memory",
       [] {
         throw std::bad_alloc();
         return true;
       }},
      {"\"/clips/fake.avi\\A,1\": The frame can't be read", [] { return false; }},
  };
  const std::function<bool()>* fail = nullptr;
  auto clip = std::make_shared<support::fake_clip>(2, [&](int frame, int, img::image& image) {
    if (frame == 1 && fail) return (*fail)();
    image = support::picture("BGR", 4, 2, {frame});
    return true;
  });
  const ksn::track_info track = support::clip_layer(clip, 4, 2);
  for (const failure& c : failures) {
    cache.clear();
    lines.clear();
    fail = &c.fail;
    for (int i = 0; i < 3; ++i) {
      EXPECT_TRUE(fetch(track, 0)) << c.line;
      EXPECT_EQ(fetch(track, 1), nullptr) << c.line;
      EXPECT_EQ(fetch(track, 1), nullptr) << c.line;
      EXPECT_EQ(pipeline.native_frame(track, 1), nullptr) << c.line;
    }
    EXPECT_EQ(lines, std::vector<std::string>{c.line});
    EXPECT_TRUE(pipeline.frame_failed(track.id, 1)) << c.line;
    EXPECT_FALSE(pipeline.frame_failed(track.id, 0)) << c.line;
    // Once it could be had, the next failure is news.
    fail = nullptr;
    EXPECT_TRUE(fetch(track, 1)) << c.line;
    EXPECT_FALSE(pipeline.frame_failed(track.id, 1)) << c.line;
    cache.clear();
    fail = &c.fail;
    fetch(track, 0);
    fetch(track, 1);
    EXPECT_EQ(lines.size(), 2u) << c.line;
  }
  EXPECT_FALSE(pipeline.frame_failed(track.id + 1000, 0));
}

TEST_F(pipeline_test, a_file_of_no_known_format) {
  ksn::track_info track;
  track.source_type = source_type::image;
  track.frames = 1;
  for (const char* path : {"/no/where.xyz", "/no/dot"}) {
    track.path = path;
    lines.clear();
    EXPECT_EQ(fetch(track), nullptr);
    EXPECT_EQ(lines, std::vector<std::string>{'"' + track.path + "\": io::invalid_format: Unrecognized file type"});
  }
}

TEST_F(pipeline_test, memory_that_runs_out_takes_two_cached_frames_a_try) {
  struct memory_case {
    std::size_t cached;
    int failing_tries;
    bool succeeds;
    std::size_t left;
  };
  for (const memory_case& c : {memory_case{40, 3, true, 34 + 1},
                               {40, 100, false, 10},
                               {3, 2, true, 0 + 1},
                               {3, 100, false, 0},
                               {0, 1, false, 0}}) {
    cache.clear();
    for (std::size_t i = 0; i < c.cached; ++i) cache.touch(std::make_shared<img::image>("L", 8, 1, 1));
    int tries = 0;
    auto clip = std::make_shared<support::fake_clip>(1, [&](int, int, img::image& image) {
      if (++tries <= c.failing_tries) throw std::bad_alloc();
      image = support::picture("BGR", 4, 2);
      return true;
    });
    const ksn::track_info track = support::clip_layer(clip, 4, 2);
    EXPECT_EQ(fetch(track) != nullptr, c.succeeds) << c.cached << ' ' << c.failing_tries;
    EXPECT_EQ(cache.queue_size(), c.left) << c.cached << ' ' << c.failing_tries;
    EXPECT_EQ(tries, c.succeeds ? c.failing_tries + 1 : std::min<int>(16, static_cast<int>(c.cached + 1) / 2 + 1));
  }
}

TEST_F(pipeline_test, pictures_made_inside_the_program) {
  ksn::track_info track;
  track.frames = 1;
  track.width = 6;
  track.height = 4;
  struct made_case {
    source_type type;
    const char* letters;  // empty: no picture
  };
  const img::image_ptr canvas = std::make_shared<img::image>(support::picture("BGRA", 6, 4, {1, 2, 3, 4}));
  for (const made_case& c : {made_case{source_type::text, "BGRA"},
                             {source_type::adjustment, "BGR"},
                             {source_type::clipboard_image, "BGRA"},
                             {source_type::brush, "BGRA"},
                             {source_type::brush_sequence, "BGRA"},
                             {source_type::shmem, ""}}) {
    ksn::track_info layer = track;
    layer.id = ksn::next_layer_id();
    layer.source_type = c.type;
    layer.clipboard_image = layer.brush_image = canvas;
    layer.brush_seq[0] = canvas;
    const img::const_image_ptr image = fetch(layer);
    EXPECT_EQ(image ? support::letters_of(*image) : "", c.letters) << ksn::word_of(c.type);
    EXPECT_EQ(fetch(layer), image) << ksn::word_of(c.type);
    if (!image) continue;
    EXPECT_EQ(pipeline.render_count(layer.id), 1) << ksn::word_of(c.type);
    EXPECT_EQ(image->width, 6) << ksn::word_of(c.type);
    if (c.type == source_type::text) {
      EXPECT_EQ(support::samples(*image, 3), std::vector<int>(24, 0));
      continue;
    }
    layer.tf.exposure = {-10000, -10000, -10000};
    const img::const_image_ptr black = fetch(layer);
    const bool corrected = c.type != source_type::adjustment;
    EXPECT_EQ(black != image, corrected) << ksn::word_of(c.type);
    EXPECT_EQ(black->row(1, 0)[0], 0) << ksn::word_of(c.type);
  }
  // No canvas, no picture, and no line either.
  track.source_type = source_type::brush_sequence;
  EXPECT_EQ(fetch(track, 0), nullptr);
  EXPECT_TRUE(lines.empty());
  EXPECT_FALSE(pipeline.frame_failed(track.id, 0));
}

// --- files ---

std::string tga(int width, int height, std::uint8_t blue, std::uint8_t green, std::uint8_t red) {
  std::string file(18, '\0');
  file[2] = 2;
  file[12] = static_cast<char>(width);
  file[14] = static_cast<char>(height);
  file[16] = 24;
  file[17] = 0x20;
  for (int i = 0; i < width * height; ++i) {
    for (const std::uint8_t sample : {blue, green, red}) file += static_cast<char>(sample);
  }
  return file;
}

void write_with_time(const std::string& path, const std::string& content, int time) {
  support::write_file(path, content);
  const timespec times[2] = {{time, 0}, {time, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

TEST_F(pipeline_test, a_file_that_changes_is_read_again_within_two_seconds) {
  const support::temp_folder folder;
  ksn::track_info track;
  track.source_type = source_type::image;
  track.frames = 1;
  track.path = folder / "still.tga";
  track.auto_update = true;
  const auto blue = [&] {
    const img::const_image_ptr image = fetch(track);
    return image ? image->row(0, 0)[0] : -1;
  };
  write_with_time(track.path, tga(4, 2, 10, 0, 0), 1000);
  EXPECT_EQ(blue(), 10);
  write_with_time(track.path, tga(4, 2, 20, 0, 0), 2000);
  now += 1999;
  EXPECT_EQ(blue(), 10);  // not looked at yet
  now += 1;
  EXPECT_EQ(blue(), 20);
  // An older time is a change, too; the same time is none, nor is a file that is gone.
  write_with_time(track.path, tga(4, 2, 30, 0, 0), 500);
  now += 2000;
  EXPECT_EQ(blue(), 30);
  write_with_time(track.path, tga(4, 2, 40, 0, 0), 500);
  now += 2000;
  EXPECT_EQ(blue(), 30);
  std::filesystem::remove(track.path);
  now += 2000;
  EXPECT_EQ(blue(), 30);
  // A private picture is compared just the same.
  track.channels = ksn::view_type::b_grayscale;
  write_with_time(track.path, tga(4, 2, 50, 0, 0), 600);
  EXPECT_EQ(blue(), 50);
  write_with_time(track.path, tga(4, 2, 60, 0, 0), 700);
  EXPECT_EQ(blue(), 50);
  now += 2000;
  EXPECT_EQ(blue(), 60);
  // Without automatic reload it stays; a forced fetch reads it.
  track.auto_update = false;
  write_with_time(track.path, tga(4, 2, 70, 0, 0), 800);
  now += 10000;
  EXPECT_EQ(blue(), 60);
  EXPECT_EQ(fetch(track, 0, full, true)->row(0, 0)[0], 70);
  EXPECT_EQ(blue(), 70);
}

TEST_F(pipeline_test, frames_of_a_sequence) {
  const support::temp_folder folder;
  ksn::track_info track;
  track.source_type = source_type::sequence;
  track.path = folder.path() + "/";
  std::vector<std::string> names;
  for (const int n : {0, 1, 2}) {
    names.push_back("f." + std::to_string(n) + ".tga");
    if (n != 1) support::write_file(track.path + names.back(), tga(4, 2, static_cast<std::uint8_t>(n), 5, 6));
  }
  track.names = names;
  track.frames = 3;
  EXPECT_EQ(fetch(track, 2)->row(0, 0)[0], 2);
  EXPECT_EQ(fetch(track, 1), nullptr);
  EXPECT_EQ(fetch(track, 0)->row(0, 0)[0], 0);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].substr(0, lines[0].find(": ")), '"' + (folder / "f.1.tga") + '"');
  EXPECT_NE(lines[0].find("io::open_error"), std::string::npos) << lines[0];
  EXPECT_EQ(fetch(track, 0)->path, folder / "f.0.tga");
}

TEST(image_pool, a_picture_is_used_again_by_form_and_comes_back_clean) {
  render::release_pooled_images();
  const std::uint8_t* block = nullptr;
  {
    const img::image_ptr first = render::pooled_image("BGRA", 40, 30);
    const img::image_ptr other = render::pooled_image("L", 40, 30);
    block = first->data[3].data();
    first->frame = 7;
    first->path = "/a";
    first->hint[3].resize(30);
    EXPECT_EQ(first->user[0], (math::point{20, 15}));
  }
  const img::image_ptr again = render::pooled_image("BGRA", 40, 30);
  EXPECT_EQ(again->data[3].data(), block);
  EXPECT_EQ(again->frame, -1);
  EXPECT_TRUE(again->path.empty());
  EXPECT_TRUE(again->hint[3].empty());
  const img::image_ptr gaps = render::pooled_image({'B', 0, 0, 'A'}, 5, 3);
  EXPECT_EQ(support::letters_of(*gaps), "B..A");
  EXPECT_EQ(gaps->width, 5);
}

}  // namespace
