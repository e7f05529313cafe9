// Loading ahead: as many frames of four sequences as of one, which one worker reads alone, and a plain loop that reads
// the same frames without cache and workers. Once for run-length TGA of 1920 x 1080 that are in the page cache, where
// the processors are the limit (their number is printed), and once for a source that only waits, as a slow server does,
// where four workers are. Medians of interleaved rounds.
#include <thread>

#include "cache/preload.h"
#include "cache/track_frame.h"
#include "support.h"
#include "test_picture.h"

namespace {

constexpr int sequences = 4;
constexpr int frames = 12;  // of each sequence

class waiting_clip : public sources::clip {
 public:
  explicit waiting_clip(int count) : count_(count) {}
  sources::clip_kind kind() const override { return sources::clip_kind::avi; }
  int frames() const override { return count_; }
  int rate() const override { return 2500; }
  int width() const override { return 8; }
  int height() const override { return 8; }
  bool has_alpha() const override { return false; }
  long long address_of(int frame) const override { return frame; }
  bool read(int, int, img::image& image) override {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    image = img::image("L", 8, 8, 8);
    return true;
  }

 private:
  int count_;
};

ksn::track_info waiting_layer(int number, int count) {
  ksn::track_info track;
  track.source.type = ksn::source_type::avi;
  track.source.path = "/waiting" + std::to_string(number);
  track.source.clip = std::make_shared<waiting_clip>(count);
  track.source.frames = count;
  return track;
}

ksn::track_info file_layer(const std::string& folder, int first, int count) {
  ksn::track_info track;
  track.source.type = ksn::source_type::sequence;
  track.source.path = folder + "/";
  std::vector<std::string> names;
  for (int i = first; i < first + count; ++i) names.push_back(std::to_string(i) + ".tga");
  track.source.names = names;
  track.source.frames = count;
  return track;
}

void preload(const std::vector<ksn::track_info>& layers) {
  cache::frame_cache cache;
  cache.memory_load = [] { return 0; };
  cache::preloader preloader(cache);
  for (const ksn::track_info& layer : layers) preloader.preload_range(layer, 0, layer.source.frames);
  while (preloader.pending_tasks() != 0) std::this_thread::sleep_for(std::chrono::microseconds(200));
}

void read_plainly(const ksn::track_info& layer) {
  std::vector<img::const_image_ptr> held;
  for (int i = 0; i < layer.source.frames; ++i) held.push_back(cache::read_frame(layer, i));
}

void compare(const char* title, const ksn::track_info& one, const std::vector<ksn::track_info>& four) {
  std::vector<bench::contender> contenders{
      {"one sequence, one worker", [&] { preload({one}); }, {}},
      {"four sequences, four workers", [&] { preload(four); }, {}},
      {"a plain loop", [&] { read_plainly(one); }, {}},
  };
  bench::run_in_turn(contenders, 9);
  std::printf("%-40s %10s %20s\n", title, "ms", "rate to one worker");
  for (const bench::contender& c : contenders) {
    std::printf("%-40s %10.1f %20.2f\n", c.name.c_str(), c.typical() * 1e3, contenders.front().typical() / c.typical());
  }
}

}  // namespace

int main() {
  const bench::work_folder folder;
  for (int i = 0; i < sequences * frames; ++i) {
    img::save_options options;
    options.compression = 2;
    img::save(bench::test_picture("BGRA", 1920, 1080, i), folder.path() + "/" + std::to_string(i) + ".tga", nullptr,
              options);
  }
  std::vector<ksn::track_info> files;
  std::vector<ksn::track_info> waiting;
  for (int i = 0; i < sequences; ++i) {
    files.push_back(file_layer(folder.path(), i * frames, frames));
    waiting.push_back(waiting_layer(i, frames));
  }
  std::printf("%u processors\n", std::thread::hardware_concurrency());
  compare("decoding", file_layer(folder.path(), 0, sequences * frames), files);
  compare("waiting", waiting_layer(9, sequences * frames), waiting);
}
