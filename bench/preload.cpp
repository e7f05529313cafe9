// Loading ahead. First a source that only waits, as a slow server does, with one reader, four and sixteen; then
// pictures of 1920 x 1080 in the page cache, loaded with `--bench_preload` against a plain loop that decodes one after
// the other on all processors, as `--bench_decode` does. Medians of interleaved rounds.
//
// bench_preload [waiting|decoding]...
#include <cstring>
#include <thread>

#include "cache/reading/frame_loader.h"
#include "cache/track_frame.h"
#include "support.h"
#include "test_picture.h"

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

// What --bench_preload does.
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

}  // namespace

int main(int count, char** arguments) {
  const auto asked = [&](const char* part) {
    for (int i = 1; i < count; ++i) {
      if (std::strcmp(arguments[i], part) == 0) return true;
    }
    return count == 1;
  };
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  std::printf("%u processors\n", std::thread::hardware_concurrency());
  if (asked("waiting")) compare_waiting();
  if (!asked("decoding")) return 0;
  const bench::work_folder folder;
  compare_decoding(folder.path());
}
