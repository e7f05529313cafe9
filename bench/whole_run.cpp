// The whole program as a batch tool: 48 TGA pictures with alpha over 48 others, out as 48 TGA pictures, 1080p, against
// ffmpeg doing the same job.
//
// bench_whole_run [OTHER]: the path of another kestrin, as that of the version before, is compared as well.
#include "img/format.h"
#include "support.h"
#include "test_picture.h"

namespace {

constexpr int frames = 48;

void make_sequence(const std::string& folder, const char* name, const char* letters, int shift) {
  for (int i = 0; i < frames; ++i) {
    char file[32];
    std::snprintf(file, sizeof file, "/%s.%04d.tga", name, i);
    img::save(bench::test_picture(letters, 1920, 1080, (i + shift) % 30), folder + file, nullptr, {1, 90, false});
  }
}

}  // namespace

int main(int count, char** arguments) {
  const bench::work_folder work;
  const std::string folder = work.path();
  make_sequence(folder, "back", "BGR", 11);
  make_sequence(folder, "front", "BGRA", 0);
  const std::string out = folder + "/out";
  auto fresh = [out] {
    std::filesystem::remove_all(out);
    std::filesystem::create_directory(out);
  };

  const auto save_by = [&](const std::string& program) {
    return [program, folder, out] {
      bench::run(program + " '" + folder + "/back.####.tga' '" + folder +
                 "/front.####.tga' --alpha=normal --mask_size=1920,1080 --save_mask_as_sequence='" + out +
                 "/o.####.tga' --exit=status");
    };
  };
  std::vector<bench::contender> all = {
      {"kestrin", save_by(KESTRIN_BINARY), {}},
      {"page cache",
       [&] { bench::run("cat " + folder + "/back.*.tga " + folder + "/front.*.tga > " + out + "/all"); },
       {}},
  };
  if (count > 1) all.push_back({arguments[1], save_by(arguments[1]), {}});
  if (bench::have("ffmpeg")) {
    // The overlay in planes of red, green and blue, and in the form that the ends of the graph have already, packed
    // pixels.
    for (const char* format : {"gbrp", "auto"}) {
      const std::string command = "ffmpeg -v error -nostdin -f image2 -i '" + folder +
                                  "/back.%04d.tga' -f image2 -i '" + folder +
                                  "/front.%04d.tga' -filter_complex overlay=format=" + format +
                                  " -pix_fmt bgra -rle 0 '" + out + "/o.%04d.tga'";
      all.push_back({std::string("ffmpeg, overlay=format=") + format, [command] { bench::run(command); }, {}});
    }
  }
  for (bench::contender& c : all) {
    c.work = [fresh, work = c.work] {
      fresh();
      work();
    };
  }
  bench::run_in_turn(all, 5);
  std::printf("%d TGA files with alpha over %d, out as %d TGA files of 32 bits, 1920 x 1080, uncompressed, whole\n",
              frames, frames, frames);
  std::printf(
      "processes with two layers, in a folder that was just emptied. \"page cache\" is `cat` of all input files\n");
  std::printf("into one file. Ratios of medians of %zu rounds.\n\n", all[0].times.size());
  for (std::size_t i = 1; i < all.size(); ++i) {
    std::printf("rate of kestrin against %-32s %6.2f\n", all[i].name.c_str(), all[i].typical() / all[0].typical());
  }
}
