// Movies out, as whole processes against ffmpeg with the same encoder and settings: a 1080p TGA sequence to four
// codecs, and 48 DPX pictures of 2K under 48 TGA pictures with alpha to ProRes 422 HQ.
//
// bench_movie_saving [--rounds=5]
#include <sys/resource.h>

#include <cstring>

#include "img/format.h"
#include "support.h"
#include "test_picture.h"

namespace {

constexpr int frames = 48;

void make_sequence(const std::string& folder, const char* name, const char* extension, const char* letters, int width,
                   int height, int shift) {
  for (int i = 0; i < frames; ++i) {
    char file[32];
    std::snprintf(file, sizeof file, "/%s.%04d.%s", name, i, extension);
    img::save(bench::test_picture(letters, width, height, (i + shift) % 30), folder + file, nullptr, {1, 90, false});
  }
}

// Processor time of all processes that have ended.
double child_seconds() {
  rusage used{};
  getrusage(RUSAGE_CHILDREN, &used);
  const auto seconds = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
  };
  return seconds(used.ru_utime) + seconds(used.ru_stime);
}

void compare(const std::string& what, const std::string& ours, const std::string& theirs, int rounds) {
  std::vector<double> processor[2];
  const auto measured = [&](int index, const std::string& command) {
    const double before = child_seconds();
    bench::run(command);
    processor[index].push_back(child_seconds() - before);
  };
  std::vector<bench::contender> both = {{"kestrin", [&] { measured(0, KESTRIN_BINARY + ours); }, {}},
                                        {"ffmpeg", [&] { measured(1, "ffmpeg -v error -nostdin -y " + theirs); }, {}}};
  bench::run_in_turn(both, rounds);
  std::printf("%-44s %6.2f %15.2f\n", what.c_str(), both[1].typical() / both[0].typical(),
              bench::median(processor[1]) / bench::median(processor[0]));
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  int rounds = 5;
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--rounds=", 9) == 0) rounds = std::max(1, std::atoi(argv[i] + 9));
  }
  if (!bench::have("ffmpeg")) {
    std::printf("no ffmpeg to compare with\n");
    return 0;
  }
  const bench::work_folder work;
  const std::string folder = work.path();
  make_sequence(folder, "hd", "tga", "BGR", 1920, 1080, 0);
  make_sequence(folder, "back", "dpx", "BGR", 2048, 1556, 11);
  make_sequence(folder, "front", "tga", "BGRA", 2048, 1556, 0);
  std::printf("Rate of kestrin against ffmpeg with the same encoder and settings, %d frames, whole processes,\n",
              frames);
  std::printf("ratios of medians of %d rounds: by the clock, and by processor time, which holds on a busy machine.\n\n",
              rounds);
  std::printf("%-44s %6s %15s\n", "", "clock", "processor time");
  struct row {
    const char* what;
    const char* codec;
    const char* extension;
    const char* settings;
  };
  const row rows[] = {
      {"1080p TGA to ProRes 422 HQ", "prores_hq", "mov",
       "-c:v prores_aw -profile:v 3 -vendor apl0 -pix_fmt yuv422p10le"},
      {"1080p TGA to H.264, crf 18, medium", "h264", "mp4", "-c:v libx264 -crf 18 -preset medium -pix_fmt yuv420p"},
      {"1080p TGA to DNxHR HQ", "dnxhr_hq", "mov", "-c:v dnxhd -profile:v dnxhr_hq -pix_fmt yuv422p"},
      {"1080p TGA to FFV1", "ffv1", "mkv", "-c:v ffv1 -level 3 -pix_fmt bgr0"},
  };
  for (const row& r : rows) {
    const std::string out = folder + "/out." + r.extension;
    compare(r.what,
            " '" + folder + "/hd.####.tga' --fps=24 --save_options=codec=" + r.codec + " --save_layer_as='" + out +
                "' --exit=status",
            "-framerate 24 -i '" + folder + "/hd.%04d.tga' " + r.settings + " '" + out + "'", rounds);
  }
  const std::string out = folder + "/out.mov";
  compare("48 DPX 2K under 48 TGA to ProRes 422 HQ",
          " '" + folder + "/back.####.dpx' '" + folder +
              "/front.####.tga' --alpha=normal --fps=24 --mask_size=2048,1556 --save_mask_as_sequence='" + out +
              "' --exit=status",
          "-framerate 24 -i '" + folder + "/back.%04d.dpx' -framerate 24 -i '" + folder +
              "/front.%04d.tga' -filter_complex overlay=format=gbrp -c:v prores_aw -profile:v 3 -vendor apl0 -pix_fmt "
              "yuv422p10le '" +
              out + "'",
          rounds);
}
