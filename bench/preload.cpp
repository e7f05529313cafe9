// Loading ahead. First a source that only waits, as a slow server does, with one reader, four and sixteen; then
// pictures of 1920 x 1080 in the page cache, loaded with `--bench_preload` against plain loops that decode one after
// the other on all processors, as `--bench_decode` does. One of them keeps what it decodes, as loading ahead must; the
// other throws it away and decodes into the same memory again. Medians of interleaved rounds, each of which begins with
// all memory given back to the system.
//
// Then the same against two threads of the usual library, each with files of its own, which keep their pictures as well
// or do not.
//
// At last jumps: the frame that is waited for, with nothing else to do and while readers load what lies ahead of
// another place.
//
// bench_preload [waiting|decoding|peers|jumping]...
#include <ImfArray.h>
#include <ImfRgbaFile.h>

#include <ctime>
#include <filesystem>
#include <thread>

#include "cache/reading/frame_loader.h"
#include "cache/track_frame.h"
#include "img/fresh_rows.h"
#include "img/plane.h"
#include "lib/parallel.h"
#include "peer_readers.h"
#include "platform/memory.h"
#include "support.h"

namespace {

class waiting_clip : public sources::clip {
 public:
  explicit waiting_clip(int count) : count_(count) {}
  sources::clip_kind kind() const override { return sources::clip_kind::avi; }
  int frames() const override { return count_; }
  int rate() const override { return 2500; }
  int width() const override { return 8; }
  int height() const override { return 8; }
  bool has_alpha() const override { return false; }
  bool reads_in_order() const override { return false; }
  long long address_of(int frame) const override { return frame; }
  bool read(int, int, img::image& image) override {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    image = img::image("L", 8, 8, 8);
    return true;
  }

 private:
  int count_;
};

ksn::track_info waiting_layer(int count) {
  ksn::track_info track;
  track.source.type = ksn::source_type::avi;
  track.source.path = "/waiting";
  track.source.clip = std::make_shared<waiting_clip>(count);
  track.source.frames = count;
  track.look.visible = true;
  return track;
}

ksn::track_info file_layer(const std::string& folder, const std::string& extension, int count) {
  ksn::track_info track;
  track.source.type = ksn::source_type::sequence;
  track.source.path = folder + "/";
  std::vector<std::string> names;
  for (int i = 0; i < count; ++i) names.push_back(std::to_string(i) + "." + extension);
  track.source.names = names;
  track.source.frames = count;
  track.look.visible = true;
  return track;
}

// What a contender has read, until the next one begins.
struct kept_frames {
  std::unique_ptr<cache::frame_cache> cache;
  std::vector<img::const_image_ptr> images;
  std::vector<bench::pixels> pixels;
};

void give_back(kept_frames& kept) {
  kept = {};
  img::release_spare_planes();
  platform::release_free_memory();
}

// The work of --bench_preload.
void preload(const ksn::track_info& layer, int readers, kept_frames& kept) {
  ksn::state composition;
  composition.doc.tm_n = composition.doc.tm_l = layer.source.frames;
  composition.doc.tracks.push_back(layer);
  kept.cache = std::make_unique<cache::frame_cache>();
  kept.cache->memory_load = [] { return 0; };
  cache::frame_scheduler reading(*kept.cache, {readers, 0, {}});
  cache::frame_loader loader(reading);
  loader.preload(composition.doc.tracks[0], 0, layer.source.frames);
  loader.finish_preload(composition, [] { return false; });
  if (kept.cache->queue_size() != static_cast<std::size_t>(layer.source.frames)) std::exit(1);
}

img::const_image_ptr read_frame(const ksn::track_info& layer, int frame) {
  return cache::read_directly(*cache::request_of(layer, frame, ksn::cache_resolution_type::full));
}

void read_plainly(const ksn::track_info& layer, kept_frames* kept) {
  for (int i = 0; i < layer.source.frames; ++i) {
    img::const_image_ptr image = read_frame(layer, i);
    if (kept) kept->images.push_back(std::move(image));
  }
}

// Fresh memory for pictures like the first one, a few rows at a time on all processors, and nothing in it: what a load
// pays before it decodes anything.
void only_memory(const ksn::track_info& layer, kept_frames& kept) {
  const img::const_image_ptr like = read_frame(layer, 0);
  const auto half = [&](int first, std::vector<img::const_image_ptr>& images) {
    for (int i = first; i < layer.source.frames; i += 2) {
      auto image = std::make_shared<img::image>();
      image->reset_like(like->format, like->depth[0], like->width, like->height);
      const img::fresh_rows rows(*image);
      for (int y = 0; y < image->height; y += 32) rows.prepare(y, std::min(y + 32, image->height));
      images.push_back(std::move(image));
    }
  };
  std::vector<img::const_image_ptr> others;
  std::thread other([&] { half(1, others); });
  half(0, kept.images);
  other.join();
  kept.images.insert(kept.images.end(), others.begin(), others.end());
}

double processor_seconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// The rate of the last contender is compared with all others: by the clock, and by the processors' time, which says
// more on a machine that does other things.
void compare(const char* title, kept_frames& kept, std::vector<bench::contender> contenders, int rounds) {
  std::vector<std::vector<double>> used(contenders.size());
  for (std::size_t i = 0; i < contenders.size(); ++i) {
    contenders[i].work = [&used, i, work = contenders[i].work] {
      const double start = processor_seconds();
      work();
      used[i].push_back(processor_seconds() - start);
    };
  }
  bench::run_in_turn(contenders, rounds, [&] { give_back(kept); });
  give_back(kept);
  std::printf("%-34s %10s %22s %22s\n", title, "ms", "rate of the last to it", "by processor time");
  for (std::size_t i = 0; i < contenders.size(); ++i) {
    std::printf("%-34s %10.1f %22.2f %22.2f\n", contenders[i].name.c_str(), contenders[i].typical() * 1e3,
                contenders[i].typical() / contenders.back().typical(),
                bench::median(used[i]) / bench::median(used.back()));
  }
}

void compare_waiting() {
  const ksn::track_info layer = waiting_layer(480);
  kept_frames kept;
  for (const int readers : {4, 16}) {
    compare("10 ms a frame", kept,
            {{"one reader", [&] { preload(layer, 1, kept); }, {}},
             {std::to_string(readers) + " readers", [&] { preload(layer, readers, kept); }, {}}},
            3);
  }
}

void compare_decoding(const std::string& folder) {
  constexpr int frames = 64;
  kept_frames kept;
  const struct {
    const char* extension;
    int compression;
  } kinds[] = {{"tga", 2}, {"png", 0}, {"jpg", 0}, {"exr", 3}, {"dpx", 0}};
  for (const auto& kind : kinds) {
    for (int i = 0; i < frames; ++i) {
      img::save_options options;
      options.compression = kind.compression;
      img::save(bench::test_picture("BGR", 1920, 1080, i), folder + "/" + std::to_string(i) + "." + kind.extension,
                nullptr, options);
    }
    const ksn::track_info layer = file_layer(folder, kind.extension, frames);
    compare(kind.extension, kept,
            {{"one after the other, not kept", [&] { read_plainly(layer, nullptr); }, {}},
             {"one after the other", [&] { read_plainly(layer, &kept); }, {}},
             {"memory for them, and no decoding", [&] { only_memory(layer, kept); }, {}},
             {"loaded", [&] { preload(layer, 0, kept); }, {}}},
            7);
  }
}

void compress_by_piz(const std::string& path) {
  Imf::Array2D<Imf::Rgba> pixels(1080, 1920);
  Imf::RgbaInputFile from(path.c_str());
  from.setFrameBuffer(&pixels[0][0], 1, 1920);
  from.readPixels(0, 1079);
  Imf::RgbaOutputFile to(path.c_str(), 1920, 1080, Imf::WRITE_RGB, 1, Imath::V2f(0, 0), 1, Imf::INCREASING_Y,
                         Imf::PIZ_COMPRESSION);
  to.setFrameBuffer(&pixels[0][0], 1, 1920);
  to.writePixels(1080);
}

void compare_peers(const std::string& folder) {
  constexpr int frames = 32, piz = -1;
  kept_frames kept;
  using reader = void (*)(const std::string&, bench::pixels&);
  const struct {
    const char* title;
    const char* extension;
    int compression;
    reader peer;
  } kinds[] = {
#if defined(HAVE_SPNG)
    {"png, libspng", "png", 0, bench::read_by_spng},
#endif
    {"jpg, libjpeg-turbo", "jpg", 0, bench::read_by_turbo},
    {"exr PIZ, OpenEXR", "exr", 4, bench::read_by_openexr},
    {"exr ZIP, OpenEXR", "exr", 3, bench::read_by_openexr},
  };
  for (const auto& kind : kinds) {
    for (int i = 0; i < frames; ++i) {
      img::save_options options;
      options.compression = kind.compression == piz ? 1 : kind.compression;
      const std::string path = folder + "/" + std::to_string(i) + "." + kind.extension;
      img::save(bench::grained("BGR", 3), path, nullptr, options);
      if (kind.compression == piz) compress_by_piz(path);
    }
    const ksn::track_info layer = file_layer(folder, kind.extension, frames);
    const auto side_by_side = [&](bool keep) {
      kept.pixels.resize(frames);
      const auto half = [&](int first) {
        bench::pixels rows;
        for (int i = first; i < frames; i += 2) {
          kind.peer(layer.source.frame_path(i), rows);
          if (keep) kept.pixels[static_cast<std::size_t>(i)].swap(rows);
        }
      };
      std::thread other(half, 1);
      half(0);
      other.join();
    };
    compare(kind.title, kept,
            {{"two side by side, not kept", [&] { side_by_side(false); }, {}},
             {"two side by side", [&] { side_by_side(true); }, {}},
             {"loaded", [&] { preload(layer, 0, kept); }, {}}},
            5);
  }
}

// The frame that is waited for after a jump.
void compare_jumps(const std::string& folder) {
  constexpr int frames = 200, different = 8, jumps = 41;
  for (int i = 0; i < frames; ++i) {
    img::save_options options;
    options.compression = 3;
    const std::string path = folder + "/" + std::to_string(i) + ".exr";
    std::filesystem::remove(path);
    if (i < different) {
      img::save(bench::test_picture("BGR", 1920, 1080, i), path, nullptr, options);
    } else {
      std::filesystem::create_hard_link(folder + "/" + std::to_string(i % different) + ".exr", path);
    }
  }
  const ksn::track_info layer = file_layer(folder, "exr", frames);
  ksn::state composition;
  composition.doc.tm_n = composition.doc.tm_l = frames;
  composition.doc.tracks.push_back(layer);
  composition.doc.playing = true;
  const auto jump = [&](bool busy) {
    cache::frame_cache memory;
    memory.memory_load = [] { return 0; };
    cache::frame_scheduler reading(memory);
    cache::frame_loader loader(reading);
    const auto show = [&](int frame) {
      composition.doc.tm_t = frame;
      loader.tick(composition, frame);
      if (!reading.fetch(*cache::request_of(layer, frame, {}), std::chrono::milliseconds(60000)).image) std::exit(1);
    };
    if (busy) {
      show(0);
      while (memory.queue_size() < 6) std::this_thread::sleep_for(std::chrono::milliseconds(1));
      return bench::seconds([&] { show(100); });
    }
    loader.fill_at_rest = false;
    return bench::seconds([&] {
      if (!reading.fetch(*cache::request_of(layer, 100, {}), std::chrono::milliseconds(60000)).image) std::exit(1);
    });
  };
  std::vector<double> alone, beside, decode;
  for (int i = 0; i < jumps; ++i) {
    alone.push_back(jump(false));
    beside.push_back(jump(true));
    decode.push_back(bench::seconds([&] {
      const lib::single_thread_scope one;
      read_frame(layer, 100);
    }));
  }
  const auto worst = [](std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return times[times.size() * 9 / 10];
  };
  std::printf(
      "first frame after a jump, EXR ZIP 1920 x 1080: %.1f ms alone, %.1f ms beside reading ahead (of ten the\n"
      "slowest %.1f and %.1f ms); one decode on one thread %.1f ms. Later by %.2f of a decode, the slowest by %.2f.\n",
      bench::median(alone) * 1e3, bench::median(beside) * 1e3, worst(alone) * 1e3, worst(beside) * 1e3,
      bench::median(decode) * 1e3, (bench::median(beside) - bench::median(alone)) / bench::median(decode),
      (worst(beside) - bench::median(alone)) / bench::median(decode));
}

}  // namespace

int main(int count, char** arguments) {
  const auto asked = [&](const char* part) { return bench::asked(count, arguments, part); };
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  std::printf("%u processors\n", std::thread::hardware_concurrency());
  if (asked("waiting")) compare_waiting();
  const bench::work_folder folder;
  if (asked("decoding")) compare_decoding(folder.path());
  if (asked("peers")) compare_peers(folder.path());
  if (asked("jumping")) compare_jumps(folder.path());
}
