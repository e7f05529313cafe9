// Composites of 2, 5 and 10 layers of 1920 x 1080 with straight alpha at 50 % opacity, per frame, against
//   pixman   OVER with a constant mask of one half, one call a layer, the rows divided among as many threads
//   ffmpeg   a chain of `overlay` filters in planar RGB over pictures that are half transparent, as its command line
//            runs it; the time of its start is taken out by a second, shorter run
//   bare     a loop that reads every source sample once and writes every target sample once, with the same threads and
//            strips: what the memory allows
// Each row is the median of interleaved rounds in one run; `--best` takes the shortest time instead, for a look at the
// code on a machine that is busy with other work. A ratio to a peer above 1 means that many times its rate;
// the ratio to the bare loop is the composite's time over the loop's.
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "img/simd_level.h"
#include "lib/parallel.h"
#include "render/compositor.h"
#include "support.h"

#if defined(HAVE_PIXMAN)
#include <pixman.h>
#endif

namespace {

constexpr int width = 1920;
constexpr int height = 1080;

// Pictures with noise in every plane.
img::image_ptr noise_picture(unsigned seed) {
  auto picture = std::make_shared<img::image>("BGRA", 8, width, height);
  picture->set_centre_anchor();
  std::minstd_rand random(seed);
  for (int p = 0; p < 4; ++p) {
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) picture->row(p, y)[x] = static_cast<std::uint8_t>(random() >> 8);
    }
  }
  return picture;
}

struct stack {
  ksn::state composition;
  std::vector<render::prepared_layer> layers;
  render::frame_view view;
  img::image target{"BGRAZ", 8, width, height};

  explicit stack(int count) {
    view.width = width;
    view.height = height;
    for (int i = 0; i < count; ++i) {
      ksn::track_info track;
      track.source.type = ksn::source_type::image;
      track.look.alpha_type = ksn::alpha_type::normal;
      track.look.visible = true;
      track.source.width = width;
      track.source.height = height;
      composition.doc.tracks.push_back(track);
    }
    for (int i = count - 1; i >= 0; --i) {
      render::prepared_layer layer;
      layer.index = i;
      layer.image = noise_picture(static_cast<unsigned>(i + 1));
      layer.opacity = 50;
      layers.push_back(layer);
    }
  }

  void composite() {
    const render::background black{};
    render::render_stereo_pair(&target, nullptr, composition, layers, view, &black);
  }
};

using block [[gnu::vector_size(32), gnu::may_alias, gnu::aligned(1)]] = std::uint64_t;

[[gnu::target("avx2")]] void bare_rows(stack& s, int first, int last) {
  const std::size_t begin = static_cast<std::size_t>(first) * width;
  const std::size_t end = static_cast<std::size_t>(last) * width;
  for (int p = 0; p < 4; ++p) {
    std::uint8_t* out = s.target.data[p].data();
    const std::uint8_t* sources[16];
    const std::size_t count = s.layers.size();
    for (std::size_t i = 0; i < count; ++i) sources[i] = s.layers[i].image->data[p].data();
    for (std::size_t at = begin; at < end; at += sizeof(block)) {
      block sum{};
      for (std::size_t i = 0; i < count; ++i) sum ^= *reinterpret_cast<const block*>(sources[i] + at);
      *reinterpret_cast<block*>(out + at) = sum;
    }
  }
  std::memset(s.target.data[4].data() + begin, 0, end - begin);
}

[[gnu::target("avx2")]] void bare_rows_by_layer(stack& s, int first, int last) {
  const std::size_t begin = static_cast<std::size_t>(first) * width;
  const std::size_t end = static_cast<std::size_t>(last) * width;
  block sum{};
  for (const auto& layer : s.layers) {
    for (int p = 0; p < 4; ++p) {
      const std::uint8_t* source = layer.image->data[p].data();
      for (std::size_t at = begin; at < end; at += sizeof(block)) sum ^= *reinterpret_cast<const block*>(source + at);
    }
  }
  for (int p = 0; p < 5; ++p) {
    std::uint8_t* out = s.target.data[p].data();
    for (std::size_t at = begin; at < end; at += sizeof(block)) *reinterpret_cast<block*>(out + at) = sum;
  }
}

void bare(stack& s) {
  lib::parallel_chunks(height, 4, [&](int first, int last) { bare_rows(s, first, last); });
}
void bare_by_layer(stack& s) {
  lib::parallel_chunks(height, 4, [&](int first, int last) { bare_rows_by_layer(s, first, last); });
}

#if defined(HAVE_PIXMAN)
struct pixman_stack {
  std::vector<std::vector<std::uint32_t>> pixels;
  std::vector<pixman_image_t*> layers;
  std::vector<std::uint32_t> target_pixels;
  pixman_image_t* target = nullptr;
  pixman_image_t* mask = nullptr;

  static pixman_image_t* image_of(std::vector<std::uint32_t>& pixels) {
    return pixman_image_create_bits(PIXMAN_a8r8g8b8, width, height, pixels.data(), width * 4);
  }

  explicit pixman_stack(int count) : pixels(static_cast<std::size_t>(count)), target_pixels(width * height) {
    std::minstd_rand random(3);
    for (auto& layer : pixels) {
      layer.resize(width * height);
      for (auto& pixel : layer) {
        // premultiplied, as OVER wants it
        const std::uint32_t a = (random() >> 8) & 255;
        std::uint32_t word = a << 24;
        for (int p = 0; p < 3; ++p) word |= (((random() >> 8) & 255) * a / 255) << (8 * p);
        pixel = word;
      }
      layers.push_back(image_of(layer));
    }
    target = image_of(target_pixels);
    const pixman_color_t half{0, 0, 0, 0x8080};
    mask = pixman_image_create_solid_fill(&half);
  }
  ~pixman_stack() {
    for (auto* layer : layers) pixman_image_unref(layer);
    pixman_image_unref(target);
    pixman_image_unref(mask);
  }

  void composite() {
    const int threads = lib::thread_count();
    lib::parallel_chunks(threads, 1, [&](int first, int last) {
      for (int part = first; part < last; ++part) {
        const int top = height * part / threads;
        const int bottom = height * (part + 1) / threads;
        // Images are shared between the threads for reading; each thread has its own view of its rows.
        std::vector<pixman_image_t*> own;
        auto rows_of = [&](std::vector<std::uint32_t>& words) {
          return pixman_image_create_bits(PIXMAN_a8r8g8b8, width, bottom - top,
                                          words.data() + static_cast<std::size_t>(top) * width, width * 4);
        };
        pixman_image_t* to = rows_of(target_pixels);
        const pixman_color_t half{0, 0, 0, 0x8080};
        pixman_image_t* constant = pixman_image_create_solid_fill(&half);
        std::memset(target_pixels.data() + static_cast<std::size_t>(top) * width, 0,
                    static_cast<std::size_t>(bottom - top) * width * 4);
        for (auto& words : pixels) {
          pixman_image_t* from = rows_of(words);
          pixman_image_composite32(PIXMAN_OP_OVER, from, constant, to, 0, 0, 0, 0, 0, 0, width, bottom - top);
          pixman_image_unref(from);
        }
        pixman_image_unref(constant);
        pixman_image_unref(to);
      }
    });
  }
};
#endif

// Seconds a frame of ffmpeg's overlay chain; 0 when there is no ffmpeg.
double ffmpeg_run(int count, int frames) {
  std::string command = "ffmpeg -nostdin -v error";
  auto input = [&](const char* color) {
    command += std::string(" -f lavfi -i color=c=") + color + ":s=1920x1080:r=25,format=gbrap,loop=-1:1";
  };
  input("black");
  for (int i = 0; i < count; ++i) input("red@0.5");
  command += " -filter_complex \"";
  std::string base = "[0:v]";
  for (int i = 1; i <= count; ++i) {
    const std::string out = "[o" + std::to_string(i) + "]";
    command += base + "[" + std::to_string(i) + ":v]overlay=format=gbrp" + (i < count ? out + ";" : "");
    base = out;
  }
  command += "\" -frames:v " + std::to_string(frames) + " -f null - >/dev/null 2>&1";
  int status = 0;
  const double seconds = bench::seconds([&] { status = std::system(command.c_str()); });
  return status == 0 ? seconds : 0.0;
}

}  // namespace

int main(int argc, char** argv) {
  int rounds = 31;
  bool with_ffmpeg = bench::have("ffmpeg");
  bool best = false;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--no-ffmpeg") with_ffmpeg = false;
    if (argument == "--best") best = true;
    if (argument.starts_with("--threads=")) lib::set_thread_count(std::atoi(argument.c_str() + 10));
    if (argument.starts_with("--level=")) {
      img::pin_simd_level(static_cast<img::simd_level>(std::atoi(argument.c_str() + 8)));
    }
    if (argument.starts_with("--rounds=")) rounds = std::max(1, std::atoi(argument.c_str() + 9));
  }
  std::printf("1920 x 1080, straight alpha, 50 %% opacity, %d threads, kernels of level %d\n", lib::thread_count(),
              static_cast<int>(img::current_simd_level()));
  const auto typical = [best](const bench::contender& c) {
    return best ? *std::min_element(c.times.begin(), c.times.end()) : c.typical();
  };
  std::printf("layers  ms a frame  rate/pixman  rate/ffmpeg  time/bare\n");
  for (const int count : {2, 5, 10}) {
    stack ours(count);
    std::vector<bench::contender> contenders;
    contenders.push_back({"composite", [&] { ours.composite(); }, {}});
    contenders.push_back({"bare", [&] { bare(ours); }, {}});
    contenders.push_back({"bare by layer", [&] { bare_by_layer(ours); }, {}});
#if defined(HAVE_PIXMAN)
    pixman_stack theirs(count);
    contenders.push_back({"pixman", [&] { theirs.composite(); }, {}});
#endif
    bench::run_in_turn(contenders, rounds);
    const double own = typical(contenders[0]);
    std::printf("%6d  %10.2f", count, own * 1e3);
    if (contenders.size() > 3) {
      std::printf("  %11.2f", typical(contenders[3]) / own);
    } else {
      std::printf("  %11s", "-");
    }
    std::vector<double> ffmpeg;
    for (int i = 0; with_ffmpeg && i < 3; ++i) {
      const double longer = ffmpeg_run(count, 60);
      const double shorter = ffmpeg_run(count, 10);
      ffmpeg.push_back((longer - shorter) / 50);
    }
    std::printf("  %11s", ffmpeg.empty() ? "-" : std::to_string(bench::median(ffmpeg) / own).substr(0, 5).c_str());
    std::printf("  %9.2f\n", own / std::min(typical(contenders[1]), typical(contenders[2])));
  }
}
