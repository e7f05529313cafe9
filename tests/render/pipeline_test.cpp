#include "render/pipeline.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <new>

#include "io/exceptions.h"
#include "render/image_pool.h"
#include "support/fake_clip.h"
#include "support/temp_folder.h"

namespace {

using ksn::cache_resolution_type;
using ksn::source_type;
using values = std::vector<int>;

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
  cache::frame_cache cache;
  ksn::state composition;
  std::vector<std::string> lines;
  std::uint32_t now = 4294967000u;  // wraps within a test
  render::pipeline pipeline{cache,
                            {true, [this](const std::string& line) { lines.push_back(line); }, [this] { return now; }}};
};

std::shared_ptr<support::fake_clip> clip_of(const ksn::track_info& track) {
  return std::static_pointer_cast<support::fake_clip>(track.source.clip);
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

// The changes that a layer may ask for, with the blue, green, red (and alpha) that 100, 150, 200 become.
struct treatment {
  const char* name;
  std::function<void(ksn::track_info&)> change;
  enum { same, shared, made_anew } picture;
  values expected;
};

const treatment treatments[] = {
    {"nothing", [](ksn::track_info&) {}, treatment::same, {100, 150, 200}},
    {"placement",
     [](ksn::track_info& t) { t.placement.scale_x = 50, t.look.invert_color = true; },
     treatment::same,
     {100, 150, 200}},
    {"a correction that is off",
     [](ksn::track_info& t) { t.look.tf.exposure[1] = 100, t.look.tf.disable_cc = true; },
     treatment::shared,
     {100, 150, 200}},
    {"channels",
     [](ksn::track_info& t) { t.look.channels = ksn::view_type::r_grayscale; },
     treatment::made_anew,
     {200, 200, 200}},
    // D(100 / 255) * 0 for blue
    {"exposure", [](ksn::track_info& t) { t.look.tf.exposure[0] = -10000; }, treatment::made_anew, {0, 150, 200}},
    // No saturation: every channel becomes 0.2126 R + 0.7152 G + 0.0722 B = 157.0; in 1/256, 54 * 200 >> 8 and
    // 183 * 150 >> 8 and 18 * 100 >> 8 are 42, 107 and 7 in a row of four.
    {"saturation", [](ksn::track_info& t) { t.look.tf.saturation.fill(0); }, treatment::made_anew, {156, 156, 156}},
    // 100 / 255 * 1023 = 401.2: 1 - 401 / 1023 = 0.608, and so on
    {"curves",
     [](ksn::track_info& t) { t.look.tf.lookup_table = inverting_curves(); },
     treatment::made_anew,
     {155, 105, 55}},
    {"cube", [](ksn::track_info& t) { t.look.tf.lookup_table = black_cube(); }, treatment::made_anew, {0, 0, 0}},
    {"key", [](ksn::track_info& t) { t.look.ck_primary.enabled = true; }, treatment::made_anew, {100, 150, 200, 255}},
    // The key sees what lookup and space have made, and neither is applied to that again.
    {"key after curves",
     [](ksn::track_info& t) {
       t.look.tf.lookup_table = inverting_curves(), t.look.ck_primary = {true, {255, 55, 105, 155}};
     },
     treatment::made_anew,
     {155, 105, 55, 0}},
    {"key after a space",
     [](ksn::track_info& t) {
       t.look.tf.color_space = 1, t.look.ck_primary = {true, {255, 229, 202, 168}};
     },
     treatment::made_anew,
     {168, 202, 229, 0}},
};

// An untouched 8-bit frame is the cached picture itself. A private one is made again when what it is made from changes,
// and only then.
TEST_F(pipeline_test, pictures_and_what_they_are_made_from) {
  for (const treatment& c : treatments) {
    cache.clear();
    ksn::track_info track = support::plain_layer(2, "BGR", 4, 2, {100, 150, 200});
    const img::const_image_ptr plain = fetch(track);
    EXPECT_EQ(fetch(track), plain);
    EXPECT_EQ(cache.find(render::key_of_frame(track, 0, full)), plain);
    EXPECT_EQ(pipeline.render_count(track.id), 1) << c.name;
    const ksn::track_info before = track;
    c.change(track);
    const int builds = c.picture == treatment::same ? 1 : 2;
    const img::const_image_ptr changed = fetch(track);
    ASSERT_TRUE(changed) << c.name;
    EXPECT_EQ(changed == plain, c.picture != treatment::made_anew) << c.name;
    for (std::size_t p = 0; p < c.expected.size(); ++p) {
      EXPECT_EQ(support::samples(*changed, static_cast<int>(p)), values(8, c.expected[p])) << c.name << " plane " << p;
    }
    EXPECT_EQ(fetch(track), changed) << c.name;
    EXPECT_EQ(pipeline.render_count(track.id), builds) << c.name;
    EXPECT_EQ(fetch(before), plain) << c.name;
    fetch(track, 1);
    EXPECT_EQ(pipeline.render_count(track.id), 2 * builds) << c.name;
    EXPECT_EQ(clip_of(track)->reads, 2) << c.name;
  }
}

TEST_F(pipeline_test, source_frames_by_time) {
  ksn::track_info track = support::plain_layer(3, "BGR", 4, 2, {100, 150, 200});
  track.look.channels = ksn::view_type::b_grayscale;
  track.timing.begin = 10;
  track.timing.retime = 2.0;
  track.timing.send_f = 2.0;
  const std::map<double, int> blue{{9.9, -1},   {10.0, 100}, {11.9, 100}, {12.0, 101},
                                   {15.5, 102}, {16.0, 100}, {21.9, 102}, {22.0, -1}};
  std::vector<std::pair<img::const_image_ptr, int>> held;
  for (const auto& [time, expected] : blue) {
    const img::const_image_ptr image = pipeline.layer_image(composition, track, time, full);
    EXPECT_EQ(image ? image->row(0, 0)[0] : -1, expected) << time;
    if (image) held.emplace_back(image, expected);
  }
  // A picture that is held outlives the next fetch.
  for (const auto& [image, expected] : held) EXPECT_EQ(support::samples(*image, 2), values(8, expected));
  EXPECT_EQ(fetch(track, -1), nullptr);
  EXPECT_EQ(fetch(track, 3), nullptr);
  for (const source_type type : {source_type::none, source_type::wave, source_type::embedded_audio}) {
    track.source.type = type;
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
      for (int i = 0; i < image->width * image->height; ++i) {
        const int x = i % image->width * factor;
        EXPECT_EQ(image->row(3, 0)[i], whole.row(3, i / image->width * factor)[x]) << factor << ' ' << i;
      }
    }
    EXPECT_EQ(pipeline.delivered_resolution(track, resolution), resolution);
  }
  track.source.disable_cache = true;
  EXPECT_EQ(fetch(track, 0, cache_resolution_type::quarter)->width, 9);
  EXPECT_EQ(pipeline.delivered_resolution(track, cache_resolution_type::quarter), full);
}

TEST_F(pipeline_test, a_layer_without_cache_leaves_the_store_alone) {
  ksn::track_info track = support::plain_layer(1, "BGR", 4, 2, {100, 150, 200});
  const img::const_image_ptr cached = fetch(track);
  cache.evict_oldest();
  track.source.disable_cache = true;
  for (int i = 0; i < 3; ++i) {
    const img::const_image_ptr image = fetch(track);
    EXPECT_NE(image, cached);
    EXPECT_EQ(image->path, "/clips/BGR100.avi\\A,0");
    EXPECT_EQ(clip_of(track)->reads, 2 + i);
  }
  EXPECT_EQ(cache.find(render::key_of_frame(track, 0, full)), cached);
  track.source.disable_cache = false;
  render::pipeline uncached{cache, {false, {}, {}}};
  EXPECT_NE(uncached.layer_frame(composition, track, 0, full, false, 0), cached);
  EXPECT_EQ(cache.queue_size(), 0u);
}

std::shared_ptr<support::fake_clip> half_clip() {
  return std::make_shared<support::fake_clip>(1, [](int, int, img::image& image) {
    image = img::image("BGR", 16, 4, 1);
    image.set_plane(4, 'Z', 16);
    constexpr std::uint16_t halves[] = {0x3C00, 0x3400, 0xBC00, 0x3800};  // 1, 0.25, -1 and 0.5
    for (const int p : {0, 1, 2, 4}) std::copy_n(halves, 4, image.row<std::uint16_t>(p, 0));
    return true;
  });
}

// Colours go through the tables, alpha and depth become trunc(v * 255.99) within 0 to 1.
TEST_F(pipeline_test, pictures_of_other_forms) {
  ksn::track_info track = support::clip_layer(half_clip(), 4, 1, "/clips/half.avi");
  EXPECT_EQ(support::samples(*fetch(track), 1), (values{255, 137, 0, 188}));  // encoded for display
  EXPECT_EQ(support::samples(*fetch(track), 4), (values{255, 63, 0, 127}));
  track.look.channels = ksn::view_type::depth;
  EXPECT_EQ(support::samples(*fetch(track), 1), (values{255, 137, 0, 188}));  // copied as halves before

  auto packed = std::make_shared<support::fake_clip>(1, [](int, int, img::image& image) {
    image = img::image("U", 32, 2, 1);
    image.row<std::uint32_t>(0, 0)[0] = __builtin_bswap32(95u << 22 | 685u << 12 | 95u << 2);
    image.row<std::uint32_t>(0, 0)[1] = __builtin_bswap32(685u << 22 | 95u << 12 | 95u << 2);
    image.set_plane(1, 'A', 8);
    image.row(1, 0)[0] = image.row(1, 0)[1] = 7;
    return true;
  });
  EXPECT_EQ(support::letters_of(*fetch(support::plain_layer(1, "LA", 4, 2, {9, 70}))), "L..A");
  const ksn::track_info film = support::clip_layer(packed, 2, 1, "/clips/packed.avi");
  EXPECT_EQ(pipeline.native_frame(film, 0)->format[0], 'U');
  const values expected[] = {{0, 0}, {255, 0}, {0, 255}, {7, 7}};  // code 95 is black, 685 white
  for (int p = 0; p < 4; ++p) EXPECT_EQ(support::samples(*fetch(film), p), expected[p]) << p;
}

// Keyed at the 188 of the last pixel that one is transparent, whatever the exposure makes of it: two stops more give
// white.
TEST_F(pipeline_test, a_key_sees_the_picture_before_the_correction) {
  const auto clip = half_clip();
  ksn::track_info track = support::clip_layer(clip, 4, 1);
  track.look.tf.exposure = {200, 200, 200};
  track.look.ck_secondary = {true, {255, 188, 188, 187}, 8, 0};
  const img::const_image_ptr image = fetch(track);
  ASSERT_TRUE(image);
  EXPECT_EQ(support::letters_of(*image), "BGRAZ");
  for (int p = 0; p < 3; ++p) EXPECT_EQ(support::samples(*image, p), (values{255, 255, 0, 255})) << p;
  EXPECT_EQ(support::samples(*image, 3), (values{255, 255, 255, 4}));
  // Without the key the frame is the same, from the same cached picture.
  track.look.ck_secondary.enabled = false;
  EXPECT_EQ(support::letters_of(*fetch(track)), "BGR.Z");
  EXPECT_EQ(clip->reads, 1);
}

// The cube stands in the cache; a second layer with the same cube does not read or compute it again.
TEST_F(pipeline_test, a_cube_is_applied_once) {
  ksn::track_info track = support::plain_layer(1, "BGR", 4, 2, {100, 150, 200});
  track.look.tf.lookup_table = black_cube();
  fetch(track);
  const cache::frame_key key = render::key_of_frame(track, 0, full);
  EXPECT_TRUE(key.has_lookup);
  EXPECT_EQ(key.lookup_hash, track.look.tf.lookup_table.cube_hash());
  ASSERT_TRUE(cache.find(key));
  ksn::track_info direct = track;
  direct.id = ksn::next_layer_id();
  direct.source.disable_cache = true;
  EXPECT_EQ(support::differing_plane(*fetch(direct), *fetch(track)), -1);
  // The native frame has no lookup.
  EXPECT_EQ(pipeline.native_frame(track, 0)->row(2, 1)[3], 200);
  EXPECT_EQ(pipeline.native_frame(direct, 0)->row(2, 1)[3], 200);
}

TEST_F(pipeline_test, a_frame_that_fails_is_one_line) {
  const struct failure {
    const char* line;
    std::function<bool()> fail;
  } failures[] = {
      {"\"/x/a.avi\": io::read_error: No such device",
       []() -> bool { throw io::read_error("/x/a.avi", "No such device"); }},
      {"\"/clips/fake.avi\\A,1\": wrong", []() -> bool { throw std::runtime_error("wrong"); }},
      {"\"/clips/fake.avi\\A,1\": Not enough memory", []() -> bool { throw std::bad_alloc(); }},
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
    // The line comes once, until the frame could be had; what fails after that is news.
    for (const std::size_t expected_lines : {1u, 2u}) {
      fail = &c.fail;
      EXPECT_TRUE(fetch(track, 0)) << c.line;
      EXPECT_EQ(fetch(track, 1), nullptr) << c.line;
      EXPECT_EQ(fetch(track, 1), nullptr) << c.line;
      EXPECT_EQ(pipeline.native_frame(track, 1), nullptr) << c.line;
      EXPECT_EQ(lines, std::vector<std::string>(expected_lines, c.line));
      EXPECT_TRUE(pipeline.failure_of(track.id, 1)) << c.line;
      EXPECT_FALSE(pipeline.failure_of(track.id, 0)) << c.line;
      fail = nullptr;
      EXPECT_TRUE(fetch(track, 1)) << c.line;
      EXPECT_FALSE(pipeline.failure_of(track.id, 1)) << c.line;
      cache.clear();
    }
  }
  EXPECT_FALSE(pipeline.failure_of(track.id + 1000, 0));
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
  const auto canvas = std::make_shared<img::image>(support::picture("BGRA", 6, 4, {1, 2, 3, 4}));
  const struct {
    source_type type;
    const char* letters;  // empty: no picture
    int green;            // and what a correction to black makes of it is another picture
  } cases[] = {
      {source_type::text, "BGRA", 0},
      {source_type::adjustment, "BGR", 0},
      {source_type::clipboard_image, "BGRA", 2},
      {source_type::brush, "BGRA", 2},
      {source_type::brush_sequence, "BGRA", 2},
      {source_type::shmem, "", 0},
  };
  for (const auto& c : cases) {
    ksn::track_info layer;
    layer.source.frames = 1;
    layer.source.width = 6;
    layer.source.height = 4;
    layer.source.type = c.type;
    layer.source.clipboard_image = layer.source.brush_image = layer.source.brush_seq[0] = canvas;
    const img::const_image_ptr image = fetch(layer);
    EXPECT_EQ(image ? support::letters_of(*image) : "", c.letters) << ksn::word_of(c.type);
    EXPECT_EQ(fetch(layer), image) << ksn::word_of(c.type);
    if (!image) continue;
    EXPECT_EQ(pipeline.render_count(layer.id), 1) << ksn::word_of(c.type);
    EXPECT_EQ(support::samples(*image, 1), values(24, c.green)) << ksn::word_of(c.type);
    layer.look.tf.exposure = {-10000, -10000, -10000};
    // Of an adjustment layer it is the correction that counts.
    EXPECT_EQ(fetch(layer) == image, c.type == source_type::adjustment) << ksn::word_of(c.type);
    EXPECT_EQ(support::samples(*fetch(layer), 1), values(24, 0)) << ksn::word_of(c.type);
  }
  // No canvas, no picture, and no line either.
  ksn::track_info layer;
  layer.source.type = source_type::brush_sequence;
  EXPECT_EQ(fetch(layer, 0), nullptr);
  EXPECT_TRUE(lines.empty());
  EXPECT_FALSE(pipeline.failure_of(layer.id, 0));
}

// --- files ---

// One pixel.
std::string tga(int blue) {
  std::string file(21, '\0');
  file[2] = 2;
  file[12] = file[14] = 1;
  file[16] = 24;
  file[18] = static_cast<char>(blue);
  return file;
}

TEST_F(pipeline_test, a_file_that_changes_is_read_again_within_two_seconds) {
  const support::temp_folder folder;
  ksn::track_info track;
  track.source.type = source_type::image;
  track.source.frames = 1;
  track.source.path = folder / "still.tga";
  const struct {
    bool auto_update, own_picture;
    int blue, time;  // of the file; time 0 for none
    std::uint32_t later;
    int expected;
  } steps[] = {
      {true, false, 10, 1000, 0, 10},   {true, false, 20, 2000, 1999, 10},  // not looked at yet
      {true, false, 20, 2000, 1, 20},   {true, false, 30, 500, 2000, 30},   // an older time is a change, too
      {true, false, 40, 500, 2000, 30},                                     // the same time is none
      {true, false, 45, 900, 1, 30},                                        // just looked at
      {true, false, 0, 0, 2000, 30},                                        // nor is a file that is gone
      {true, true, 50, 600, 0, 50},  // a private picture is compared just the same
      {true, true, 60, 700, 0, 50},     {true, true, 60, 700, 2000, 60},   {false, true, 70, 800, 10000, 60},
  };
  for (const auto& step : steps) {
    std::filesystem::remove(track.source.path);
    if (step.time != 0) {
      support::write_file(track.source.path, tga(step.blue));
      const timespec times[2] = {{step.time, 0}, {step.time, 0}};
      ASSERT_EQ(utimensat(AT_FDCWD, track.source.path.c_str(), times, 0), 0);
    }
    track.source.auto_update = step.auto_update;
    track.look.channels = step.own_picture ? ksn::view_type::b_grayscale : ksn::view_type::rgb;
    now += step.later;
    const img::const_image_ptr image = fetch(track);
    EXPECT_EQ(image ? image->row(0, 0)[0] : -1, step.expected) << &step - steps;
  }
  EXPECT_EQ(fetch(track, 0, full, true)->row(0, 0)[0], 70);
  EXPECT_EQ(fetch(track)->row(0, 0)[0], 70);
}

TEST_F(pipeline_test, frames_of_a_sequence) {
  const support::temp_folder folder;
  support::write_file(folder / "f.0.tga", tga(7));
  ksn::track_info track;
  track.source.type = source_type::sequence;
  track.source.path = folder.path() + "/";
  track.source.names = {"f.0.tga", "f.1.tga", "f.2.xyz"};
  track.source.frames = 3;
  for (const int frame : {2, 1, 0}) EXPECT_EQ(fetch(track, frame) != nullptr, frame == 0) << frame;
  EXPECT_EQ(fetch(track, 0)->row(0, 0)[0], 7);
  EXPECT_EQ(fetch(track, 0)->path, folder / "f.0.tga");
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], '"' + (folder / "f.2.xyz") + "\": io::invalid_format: Unrecognized file type");
  EXPECT_TRUE(lines[1].starts_with('"' + (folder / "f.1.tga") + "\": io::open_error: ")) << lines[1];
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
