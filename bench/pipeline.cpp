// The cost of the pipeline for a picture that is in memory, at 1920 x 1080: fetching a shared frame against a search
// for the same key in a std::map that takes no lock and no reference, and its row work against copying the planes that
// it reads or writes on as many threads. 1.0 in the second table is the speed of memory itself; the work cannot be
// faster than that where the copy moves the same bytes. Nanoseconds and milliseconds are for orientation.
#include <cstring>
#include <map>
#include <memory>

#include "img/transfer.h"
#include "lib/parallel.h"
#include "render/alpha_source.h"
#include "render/channels.h"
#include "render/keyer.h"
#include "render/pipeline.h"
#include "render/stereo.h"
#include "support.h"
#include "test_picture.h"

namespace {

constexpr int width = 1920;
constexpr int height = 1080;
constexpr int frames = 48;
constexpr int fetches = 4800;

class still_clip : public sources::clip {
 public:
  sources::clip_kind kind() const override { return sources::clip_kind::avi; }
  int frames() const override { return ::frames; }
  int rate() const override { return 2500; }
  int width() const override { return ::width; }
  int height() const override { return ::height; }
  bool has_alpha() const override { return false; }
  long long address_of(int frame) const override { return frame; }
  bool read(int, int, img::image& image) override {
    image = img::image("BGR", 8, 8, 8);
    return true;
  }
};

ksn::track_info clip_layer() {
  ksn::track_info track;
  track.source.type = ksn::source_type::avi;
  track.source.frames = frames;
  track.source.path = "/projects/show/shots/sq010/sh0200/plates/scan_v003/main_plate_v003.mov";
  track.source.clip = std::make_shared<still_clip>();
  track.look.visible = true;
  return track;
}

void print(const std::vector<bench::contender>& contenders, double unit, const char* unit_name) {
  for (const bench::contender& c : contenders) {
    std::printf("%-58s %10.3f %s %8.2f\n", c.name.c_str(), c.typical() * unit, unit_name,
                c.typical() / contenders.front().typical());
  }
}

void fetching() {
  cache::frame_cache cache;
  cache.memory_load = [] { return 0; };
  render::pipeline pipeline(cache, {});
  ksn::state composition;
  const ksn::track_info track = clip_layer();
  std::map<cache::frame_key, img::const_image_ptr> map;
  std::vector<cache::frame_key> keys;
  std::vector<img::const_image_ptr> held;
  constexpr auto full = ksn::cache_resolution_type::full;
  for (int i = 0; i < frames; ++i) {
    keys.push_back(render::key_of_frame(track, i, full));
    held.push_back(pipeline.layer_image(composition, track, i, full));
    map[keys.back()] = held.back();
  }
  const volatile void* sink = nullptr;
  std::vector<bench::contender> contenders{{"std::map search with the key at hand",
                                            [&] {
                                              for (int i = 0; i < fetches; ++i)
                                                sink =
                                                    map.find(keys[static_cast<std::size_t>(i % frames)])->second.get();
                                            },
                                            {}},
                                           {"layer_image, another frame each time, shared",
                                            [&] {
                                              for (int i = 0; i < fetches; ++i)
                                                sink = pipeline.layer_image(composition, track, i % frames, full).get();
                                            },
                                            {}},
                                           {"layer_image, the same frame again",
                                            [&] {
                                              for (int i = 0; i < fetches; ++i)
                                                sink = pipeline.layer_image(composition, track, 7, full).get();
                                            },
                                            {}},
                                           {"the key alone",
                                            [&] {
                                              for (int i = 0; i < fetches; ++i)
                                                sink = render::key_of_frame(track, i % frames, full).path.data();
                                            },
                                            {}}};
  static_cast<void>(sink);
  bench::run_in_turn(contenders, 31);
  std::printf("%-58s %13s %8s\n", "fetching", "", "to map");
  print(contenders, 1e9 / fetches, "ns");
}

void copy_planes(img::image& to, const img::image& from, int planes) {
  lib::parallel_rows(height, 1LL * width * height, [&](int top, int bottom) {
    const std::size_t count = static_cast<std::size_t>(bottom - top) * width;
    for (int p = 0; p < planes; ++p) std::memcpy(to.row(p, top), from.row(p, top), count);
  });
}

void against_copy(const char* title, int planes, std::vector<bench::contender> others) {
  const img::image from = bench::test_picture("BGRA", width, height, 1);
  img::image to = bench::test_picture("BGRA", width, height, 2);
  std::vector<bench::contender> contenders{
      {"copy of " + std::to_string(planes) + " planes", [&] { copy_planes(to, from, planes); }, {}}};
  for (bench::contender& c : others) contenders.push_back(std::move(c));
  bench::run_in_turn(contenders, 41);
  std::printf("\n%-58s %13s %8s\n", title, "", "to copy");
  print(contenders, 1e3, "ms");
}

void row_work() {
  const auto picture = std::make_shared<img::image>(bench::test_picture("BGRA", width, height, 3));
  const auto other = std::make_shared<img::image>(bench::test_picture("BGRA", width, height, 4));
  img::image work = *picture;
  ksn::color_key key;
  key.enabled = true;
  key.key = {255, 60, 50, 40};
  ksn::track_info inverted;
  inverted.look.invert_color = true;
  ksn::track_info combined;
  combined.look.alpha_source_mode = ksn::alpha_source_mode_type::combine;
  ksn::track_info ranged = combined;
  ranged.look.alpha_source_mode = ksn::alpha_source_mode_type::replace;
  ranged.look.alpha_source_range = ksn::alpha_source_range_type::midtones;
  const ksn::track_info source;
  img::image gray("L", 8, width, height);

  against_copy("colour keys: three planes read, one written", 2,
               {{"one key", [&] { render::apply_keys(work, key, {}); }, {}},
                {"two keys", [&] { render::apply_keys(work, key, key); }, {}},
                {"luminance", [&] { render::luminance(gray.data[0].data(), work); }, {}}});
  against_copy("alpha sources: four planes read and written", 4,
               {{"inverted colours",
                 [&] {
                   render::apply_alpha_source({&inverted, picture, 1}, {});
                 },
                 {}},
                {"combined alpha",
                 [&] {
                   render::apply_alpha_source({&combined, picture, 1}, {&source, other, 1});
                 },
                 {}},
                {"midtones of the source's alpha",
                 [&] {
                   render::apply_alpha_source({&ranged, picture, 1}, {&source, other, 1});
                 },
                 {}}});
  against_copy("stereo: two planes read, one written", 1,
               {{"anaglyph", [&] { render::merge_stereo(work, *other, ksn::stereo_view_type::anaglyph, 0); }, {}}});
  against_copy(
      "stereo: four planes read, four written", 4,
      {{"checkerboard", [&] { render::merge_stereo(work, *other, ksn::stereo_view_type::checkerboard, 0); }, {}},
       {"interlaced (half the rows)",
        [&] { render::merge_stereo(work, *other, ksn::stereo_view_type::interlaced, 0); },
        {}}});
}

}  // namespace

int main() {
  fetching();
  row_work();
}
