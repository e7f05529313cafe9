// Loading ahead. First a source that only waits, as a slow server does, with one reader, four and sixteen; then
// pictures of 1920 x 1080 in the page cache, loaded with `--bench_preload` against a plain loop that decodes one after
// the other on all processors, as `--bench_decode` does. Medians of interleaved rounds.
//
// At last the same against two threads of the usual library, each with files of its own.
//
// bench_preload [waiting|decoding|peers]...
#include <ImfArray.h>
#include <ImfRgbaFile.h>

#include <thread>

#include "cache/reading/frame_loader.h"
#include "cache/track_frame.h"
#include "peer_readers.h"
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

// The work of --bench_preload.
void preload(const ksn::track_info& layer, int readers) {
  ksn::state composition;
  composition.doc.tm_n = composition.doc.tm_l = layer.source.frames;
  composition.doc.tracks.push_back(layer);
  cache::frame_cache cache;
  cache.memory_load = [] { return 0; };
  cache::frame_scheduler reading(cache, {readers, 0, {}});
  cache::frame_loader loader(reading);
  loader.preload(composition.doc.tracks[0], 0, layer.source.frames);
  loader.finish_preload(composition, [] { return false; });
  if (cache.queue_size() != static_cast<std::size_t>(layer.source.frames)) std::exit(1);
}

void read_plainly(const ksn::track_info& layer) {
  std::vector<img::const_image_ptr> held;
  for (int i = 0; i < layer.source.frames; ++i) held.push_back(cache::read_frame(layer, i));
}

void compare(const char* title, std::vector<bench::contender> contenders, int rounds) {
  bench::run_in_turn(contenders, rounds);
  std::printf("%-34s %10s %20s\n", title, "ms", "rate to the first");
  for (const bench::contender& c : contenders) {
    std::printf("%-34s %10.1f %20.2f\n", c.name.c_str(), c.typical() * 1e3, contenders.front().typical() / c.typical());
  }
}

void compare_waiting() {
  const ksn::track_info layer = waiting_layer(480);
  compare("10 ms a frame",
          {{"one reader", [&] { preload(layer, 1); }, {}},
           {"four readers", [&] { preload(layer, 4); }, {}},
           {"sixteen readers", [&] { preload(layer, 16); }, {}}},
          3);
}

void compare_decoding(const std::string& folder) {
  constexpr int frames = 32;
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
    compare(kind.extension,
            {{"one after the other", [&] { read_plainly(layer); }, {}}, {"loaded", [&] { preload(layer, 0); }, {}}}, 7);
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
  using reader = void (*)(const std::string&, std::vector<unsigned char>&);
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
    const auto half = [&](int first) {
      std::vector<unsigned char> rows;
      for (int i = first; i < frames; i += 2) kind.peer(layer.source.frame_path(i), rows);
    };
    const auto both = [&] {
      std::thread other(half, 1);
      half(0);
      other.join();
    };
    compare(kind.title, {{"two side by side", both, {}}, {"loaded", [&] { preload(layer, 0); }, {}}}, 7);
  }
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
}
