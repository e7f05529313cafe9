// What comes back of pictures that go through a movie: the mean difference of 255 and how far colours have moved, for
// movies that the program writes and reads, for the same movies read by ffmpeg, and for ffmpeg alone with its exact
// conversions and the same encoder and settings, which shows what the codec itself loses.
//
// bench_movie_difference [PICTURE...], beside two pictures of its own
#include <cmath>

#include "img/format.h"
#include "support.h"
#include "test_picture.h"

namespace {

// Colours without grain, as large as those of a sky.
img::image smooth_picture() {
  img::image image("BGR", 8, 1920, 1080);
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      for (int p = 0; p < 3; ++p) {
        const double value = 128.0 + 100.0 * std::sin(x / (40.0 + 13.0 * p) + p) * std::cos(y / (37.0 + 7.0 * p));
        image.row(p, y)[x] = static_cast<std::uint8_t>(std::lrint(value));
      }
    }
  }
  return image;
}

img::image loaded(const std::string& path) {
  img::image image;
  img::load(image, path);
  return image;
}

double mean_difference(const img::image& source, const img::image& back) {
  double sum = 0.0;
  for (int p = 0; p < 3; ++p) {
    for (int y = 0; y < source.height; ++y) {
      for (int x = 0; x < source.width; ++x) sum += std::abs(source.row(p, y)[x] - back.row(p, y)[x]);
    }
  }
  return sum / (3.0 * source.width * source.height);
}

// The place of the least squared difference of colour along a row, in pixels: a parabola through one step each way.
double shift(const img::image& source, const img::image& back) {
  double sums[3] = {};
  for (int step = -1; step <= 1; ++step) {
    for (int y = 0; y < source.height; ++y) {
      for (int x = 1; x + 1 < source.width; ++x) {
        for (const int p : {0, 2}) {
          const double off =
              (source.row(p, y)[x] - source.row(1, y)[x]) - (back.row(p, y)[x + step] - back.row(1, y)[x + step]);
          sums[step + 1] += off * off;
        }
      }
    }
  }
  const double bend = sums[0] + sums[2] - 2.0 * sums[1];
  return bend > 0.0 ? 0.5 * (sums[0] - sums[2]) / bend : 0.0;
}

struct codec {
  const char* name;
  const char* title;
  const char* encoder;
  const char* form;
  bool half_rows;
};

const codec codecs[] = {
    {"prores_hq", "ProRes 422 HQ", "-c:v prores_aw -profile:v 3", "yuv422p10le", false},
    {"dnxhr_hq", "DNxHR HQ", "-c:v dnxhd -profile:v dnxhr_hq", "yuv422p", false},
    {"h264", "H.264, crf 18, medium", "-c:v libx264 -crf 18 -preset medium", "yuv420p", true},
};

void compare(const std::string& title, const img::image& source, const std::string& folder) {
  const std::string in = folder + "/in.tga";
  img::save(source, in, nullptr, {1, 90, false});
  const std::string matrix = source.height > 576 ? "bt709" : "smpte170m";
  for (const codec& c : codecs) {
    if (source.width < 256 || source.height < 120) continue;
    const auto scale = [&](const std::string& way) {
      return way + "_h_chr_pos=0" + (c.half_rows ? ":" + way + "_v_chr_pos=128" : "") +
             ":flags=bicubic+accurate_rnd+full_chroma_int+full_chroma_inp";
    };
    const std::string ffmpeg = "ffmpeg -v error -nostdin -y -i " + folder;
    bench::run(std::string(KESTRIN_BINARY) + " " + in + " --save_options=codec=" + c.name +
               " --save_layer_as=" + folder + "/a.mov --exit=status");
    bench::run(std::string(KESTRIN_BINARY) + " " + folder + "/a.mov --save_frame_as=" + folder +
               "/a.tga --exit=status");
    bench::run(ffmpeg + "/a.mov -vf scale=" + scale("in") + ",format=bgr24 " + folder + "/b.tga");
    bench::run(ffmpeg + "/in.tga -vf scale=out_color_matrix=" + matrix + ":" + scale("out") + ",format=" + c.form +
               " " + c.encoder + " -colorspace " + matrix + " -color_range tv -movflags +write_colr " + folder +
               "/c.mov");
    bench::run(ffmpeg + "/c.mov -vf scale=in_color_matrix=" + matrix + ":" + scale("in") + ",format=bgr24 " + folder +
               "/c.tga");
    std::printf("%-24s %-22s", title.c_str(), c.title);
    for (const char* back : {"/a.tga", "/b.tga", "/c.tga"}) {
      const img::image image = loaded(folder + back);
      std::printf("  %5.2f %+6.2f", mean_difference(source, image), shift(source, image));
    }
    std::printf("\n");
    std::fflush(stdout);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (!bench::have("ffmpeg")) return std::puts("needs ffmpeg"), 0;
  const bench::work_folder work;
  std::printf("%-47s  %12s  %12s  %12s\n", "mean difference of 255, colours moved in pixels", "written,read",
              "read: ffmpeg", "ffmpeg alone");
  compare("ball and grain", bench::test_picture("BGR", 1920, 1080, 0), work.path());
  compare("smooth", smooth_picture(), work.path());
  for (int i = 1; i < argc; ++i) {
    const std::string path = work.path() + "/given.tga";
    bench::run(std::string(KESTRIN_BINARY) + " '" + argv[i] + "' --save_frame_as=" + path + " --exit=status");
    const img::image image = loaded(path);
    if (image.plane_of('R') == 2) compare(std::filesystem::path(argv[i]).filename(), image, work.path());
  }
}
