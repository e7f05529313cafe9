// Movies of 1920 x 1080 with grain, in the page cache: decoding in order through the frame cache against `ffmpeg -f
// null` with the same number of threads on the same file, which decodes and throws away; and reading at random against
// the decoding of one group of pictures in order. Rates are of the frames after the first one, so that neither the
// start of a process nor the opening of a file counts. Medians of interleaved rounds.
//
// Arguments: frames of each movie (default 144), rounds (default 5), and a part of a movie's title to run only that.
#include <cstring>
#include <random>
#include <thread>

#include "cache/frame_cache.h"
#include "lib/parallel.h"
#include "sources/clip.h"
#include "support.h"

namespace {

constexpr int group = 24;              // pictures in a group of the long-GOP movies
constexpr std::size_t most_kept = 48;  // frames that stay in the cache, as when its memory is full

struct movie {
  const char* title;
  const char* file;
  const char* options;
  int group;
};

const movie movies[] = {
    {"H.264, groups of 24, 3 B pictures", "h264.mov", "-c:v libx264 -preset fast -crf 20 -pix_fmt yuv420p -g 24 -bf 3",
     group},
    {"ProRes 422 HQ", "prores.mov", "-c:v prores_ks -profile:v 3 -pix_fmt yuv422p10", 1},
    {"Motion JPEG", "mjpeg.avi", "-c:v mjpeg -q:v 3 -pix_fmt yuvj420p", 1},
};

std::shared_ptr<sources::clip> open(const std::string& path) {
  const bool avi = path.ends_with(".avi");
  auto result = sources::open_clip(avi ? sources::clip_kind::avi : sources::clip_kind::quicktime, path, 2400);
  if (!result.opened) std::exit((std::fprintf(stderr, "can't open %s\n", path.c_str()), 1));
  return result.opened;
}

img::const_image_ptr fetch(cache::frame_cache& cache, sources::clip& clip, const std::string& path, int frame) {
  cache::frame_key key;
  key.path = sources::clip_frame_name(clip, path, frame);
  img::const_image_ptr image = cache.get_clip_frame(key, clip, frame, nullptr);
  if (!image) std::exit((std::fprintf(stderr, "no frame %d of %s\n", frame, path.c_str()), 1));
  cache.touch(image);
  while (cache.queue_size() > most_kept) cache.evict_oldest();
  return image;
}

// Seconds for the frames after the first.
double play(const std::string& path) {
  cache::frame_cache cache;
  cache.memory_load = [] { return 0; };
  const auto clip = open(path);
  fetch(cache, *clip, path, 0);
  return bench::seconds([&] {
    for (int i = 1; i < clip->frames(); ++i) fetch(cache, *clip, path, i);
  });
}

double play_with_ffmpeg(const std::string& path) {
  const std::string command =
      "ffmpeg -nostdin -v error -threads " + std::to_string(lib::thread_count()) + " -i " + path + " -an -f null ";
  const double all = bench::seconds([&] { bench::run(command + "-"); });
  const double one = bench::seconds([&] { bench::run(command + "-frames:v 1 -"); });
  return all - one;
}

// Seconds a frame, when all decoding positions of the clip are open.
double jump_about(const std::string& path, int count) {
  const auto clip = open(path);
  std::mt19937 random(3);
  const auto jump = [&] {
    img::image image;
    if (!clip->read(static_cast<int>(random() % static_cast<unsigned>(clip->frames())), 0, image)) std::exit(1);
  };
  for (int i = 0; i < 12; ++i) jump();
  return bench::seconds([&] {
           for (int i = 0; i < count; ++i) jump();
         }) /
         count;
}

}  // namespace

int main(int arguments, char** argument) {
  const int frames = arguments > 1 ? std::atoi(argument[1]) : 144;
  const int rounds = arguments > 2 ? std::atoi(argument[2]) : 5;
  const char* only = arguments > 3 ? argument[3] : "";
  if (!bench::have("ffmpeg")) return std::puts("needs ffmpeg"), 0;
  const bench::work_folder folder;
  std::printf("%d threads, %d frames\n", lib::thread_count(), frames);
  std::printf("%-36s %10s %10s %12s %16s\n", "", "frames/s", "ffmpeg's", "part of it", "jump to group");
  for (const movie& m : movies) {
    if (!std::strstr(m.title, only)) continue;
    const std::string path = folder.path() + "/" + m.file;
    bench::run("ffmpeg -nostdin -v error -f lavfi -i testsrc2=s=1920x1080:r=24,noise=alls=5:allf=t -frames:v " +
               std::to_string(frames) + " " + m.options + " " + path);
    play(path);
    std::vector<double> ours;
    std::vector<double> peer;
    std::vector<double> jumps;
    for (int i = 0; i < rounds; ++i) {
      ours.push_back(play(path));
      peer.push_back(play_with_ffmpeg(path));
      jumps.push_back(jump_about(path, 24));
    }
    const double frame = bench::median(ours) / (frames - 1);
    const double peer_frame = bench::median(peer) / (frames - 1);
    std::printf("%-36s %10.1f %10.1f %12.2f %16.2f\n", m.title, 1.0 / frame, 1.0 / peer_frame, peer_frame / frame,
                bench::median(jumps) / (frame * m.group));
    std::filesystem::remove(path);
  }
}
