// Colour conversion of 1080p pictures: byte tables and a 17-point cube against ffmpeg's filters, halves and packed
// words against the plainest loop that looks each sample up.
#include <sys/resource.h>

#include <cmath>
#include <cstring>

#include "img/image.h"
#include "img/transfer.h"
#include "lib/parallel.h"
#include "support.h"
#include "test_picture.h"

namespace {

constexpr int width = 1920, height = 1080, pictures = 8;
constexpr std::size_t samples = std::size_t{width} * height;

// The same picture in the other forms: linear halves, and film codes in the byte order of a file.
img::image as_halves(const img::image& bytes) {
  std::uint16_t table[256];
  for (int i = 0; i < 256; ++i) table[i] = img::float_to_half(static_cast<float>(img::srgb_decode(i / 255.0)));
  img::image out("BGR", 16, width, height);
  for (int c = 0; c < 3; ++c) {
    for (std::size_t i = 0; i < samples; ++i) out.data[c].as<std::uint16_t>()[i] = table[bytes.data[c].data()[i]];
  }
  return out;
}

img::image as_words(const img::image& bytes) {
  std::uint32_t table[256];
  for (int i = 0; i < 256; ++i) table[i] = static_cast<std::uint32_t>(img::log_encode(img::srgb_decode(i / 255.0)));
  img::image out("U", 32, width, height);
  for (std::size_t i = 0; i < samples; ++i) {
    const std::uint8_t b = bytes.data[0].data()[i], g = bytes.data[1].data()[i], r = bytes.data[2].data()[i];
    out.data[0].as<std::uint32_t>()[i] = __builtin_bswap32(table[r] << 22 | table[g] << 12 | table[b] << 2);
  }
  return out;
}

// A table look-up pass as one writes it down: every sample of three planes, on all threads.
template <class T>
void look_up(img::image& out, const img::image& in, const std::vector<std::uint8_t>& table) {
  lib::parallel_rows(height, samples, [&](int first, int last) {
    for (int c = 0; c < 3; ++c) {
      const T* from = in.row<T>(c, first);
      std::uint8_t* to = out.row(c, first);
      const std::size_t count = static_cast<std::size_t>(last - first) * width;
      for (std::size_t i = 0; i < count; ++i) to[i] = table[from[i]];
    }
  });
}

void look_up_words(img::image& out, const img::image& in, const std::vector<std::uint8_t>& table) {
  lib::parallel_rows(height, samples, [&](int first, int last) {
    const std::uint32_t* from = in.row<std::uint32_t>(0, first);
    const std::size_t count = static_cast<std::size_t>(last - first) * width;
    std::uint8_t *b = out.row(0, first), *g = out.row(1, first), *r = out.row(2, first);
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint32_t word = __builtin_bswap32(from[i]);
      b[i] = table[word >> 2 & 1023];
      g[i] = table[word >> 12 & 1023];
      r[i] = table[word >> 22];
    }
  });
}

std::string cube_file(const std::string& folder) {
  std::vector<std::uint16_t> nodes;
  for (int r = 0; r < 17; ++r) {
    for (int g = 0; g < 17; ++g) {
      for (int b = 0; b < 17; ++b) {
        const double luma = (0.2126 * r + 0.7152 * g + 0.0722 * b) / 16;
        for (const int v : {b, g, r}) {
          nodes.push_back(static_cast<std::uint16_t>((0.125 + 0.3 * luma + 0.7 * std::pow(v / 16.0, 1.3)) * 4096));
        }
        nodes.push_back(0);
      }
    }
  }
  img::lookup_table table;
  table.set_3d(nodes, true);
  img::save_lookup(folder + "/film.cube", table);
  return folder + "/film.cube";
}

constexpr int peer_frames = 120;

// Processor seconds of this process and of those that it has waited for.
double processor_time() {
  double sum = 0;
  for (const int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
    rusage usage;
    getrusage(who, &usage);
    for (const timeval& t : {usage.ru_utime, usage.ru_stime})
      sum += static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_usec);
  }
  return sum;
}

// Contenders that are timed by the clock when all threads work, and by processor time on one thread, which tells
// something on a busy machine too.
struct race {
  std::vector<bench::contender> runners;

  race(std::vector<bench::contender> all, int rounds, bool by_processor) : runners(std::move(all)) {
    for (bench::contender& c : runners) c.work();
    for (int i = 0; i < rounds; ++i) {
      for (bench::contender& c : runners) {
        const double start = processor_time();
        const double clock = bench::seconds(c.work);
        c.times.push_back(by_processor ? processor_time() - start : clock);
      }
    }
  }
  double typical(int which) const { return runners[static_cast<std::size_t>(which)].typical(); }
  // The time that a step adds to a run which has all but the step.
  double added(int with, int without) const {
    std::vector<double> own;
    const auto &a = runners[static_cast<std::size_t>(with)].times,
               &b = runners[static_cast<std::size_t>(without)].times;
    for (std::size_t i = 0; i < a.size(); ++i) own.push_back(a[i] - b[i]);
    return bench::median(own);
  }
};

// A whole run of ffmpeg over raw planar pictures in memory, without or with a filter.
std::string peer_command(const std::string& raw, const std::string& filter) {
  const std::string threads = std::to_string(lib::thread_count());
  return "ffmpeg -v error -nostdin -filter_threads " + threads + " -threads " + threads + " -stream_loop " +
         std::to_string(peer_frames / pictures - 1) + " -f rawvideo -pix_fmt gbrp -s 1920x1080 -i " + raw +
         (filter.empty() ? "" : " -vf \"" + filter + "\"") + " -f null -";
}

}  // namespace

int main() {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const bench::work_folder folder;
  std::vector<img::image> bytes, halves, words;
  for (int i = 0; i < pictures; ++i) {
    bytes.push_back(bench::test_picture("BGR", width, height, i));
    halves.push_back(as_halves(bytes.back()));
    words.push_back(as_words(bytes.back()));
  }
  img::correction curve_settings;
  curve_settings.gamma.fill(120);
  curve_settings.gain = {100, 105, 110};
  img::transfer curves(curve_settings), plain;
  img::correction cube_settings;
  const std::string cube_path = cube_file(folder.path());
  img::load_lookup(cube_path, cube_settings.lookup_table);
  img::transfer cube(cube_settings);
  std::vector<img::image> targets = bytes;
  std::vector<std::uint8_t> byte_table(256), half_table(65536), log_table(1024);
  for (std::size_t i = 0; i < byte_table.size(); ++i) byte_table[i] = static_cast<std::uint8_t>(255 - i / 2);
  for (std::size_t i = 0; i < half_table.size(); ++i) half_table[i] = static_cast<std::uint8_t>(i >> 6);
  for (std::size_t i = 0; i < log_table.size(); ++i) log_table[i] = static_cast<std::uint8_t>(i >> 2);

  // The work of ffmpeg's demuxer for each of its frames: the pixels come into the planes of a picture from elsewhere.
  std::vector<std::uint8_t> stream;
  const std::string raw = folder.path() + "/frames.gbrp";
  std::FILE* file = std::fopen(raw.c_str(), "wb");
  for (const img::image& image : bytes) {
    for (const int c : {1, 0, 2}) {
      stream.insert(stream.end(), image.row(c, 0), image.row(c, 0) + samples);
      if (file) std::fwrite(image.row(c, 0), 1, samples, file);
    }
  }
  if (file) std::fclose(file);
  auto arrive = [&](img::image& image, std::size_t i) {
    for (std::size_t c = 0; c < 3; ++c) {
      std::memcpy(image.row(static_cast<int>(c), 0), stream.data() + (3 * i + c) * samples, samples);
    }
  };
  img::image arrived = bytes[0];

  auto over = [](auto&& work) {
    return [work] {
      for (std::size_t i = 0; i < pictures; ++i) work(i);
    };
  };
  enum {
    byte_planes,
    half_planes,
    packed_words,
    loop_bytes,
    loop_halves,
    loop_words,
    nothing,
    table,
    table_new,
    cubed,
    cubed_new
  };
  const std::vector<bench::contender> ours = {
      {"8-bit planes", over([&](std::size_t i) { curves.convert(targets[i], bytes[i]); }), {}},
      {"half planes", over([&](std::size_t i) { plain.convert(targets[i], halves[i]); }), {}},
      {"packed 10-bit words", over([&](std::size_t i) { plain.convert(targets[i], words[i]); }), {}},
      {"", over([&](std::size_t i) { look_up<std::uint8_t>(targets[i], bytes[i], byte_table); }), {}},
      {"", over([&](std::size_t i) { look_up<std::uint16_t>(targets[i], halves[i], half_table); }), {}},
      {"", over([&](std::size_t i) { look_up_words(targets[i], words[i], log_table); }), {}},
      {"", over([&](std::size_t i) { arrive(arrived, i); }), {}},
      {"byte table, in place", over([&](std::size_t i) { arrive(arrived, i), curves.apply(arrived); }), {}},
      {"byte table, into another picture",
       over([&](std::size_t i) { arrive(arrived, i), curves.convert(targets[0], arrived); }),
       {}},
      {"cube, in place", over([&](std::size_t i) { arrive(arrived, i), cube.apply(arrived); }), {}},
      {"cube, into another picture",
       over([&](std::size_t i) { arrive(arrived, i), cube.convert(targets[0], arrived); }),
       {}}};
  const std::string filters[] = {"", "lutrgb=r='pow(val/255,1.2)*255':g='pow(val/255,1.1)*255':b='255-val'",
                                 "lut3d=file=" + cube_path + ":interp=trilinear"};

  std::printf("Conversions of %d pictures of 1920 x 1080; medians of rounds in turn.\n", pictures);
  std::printf(
      "Loop: one look-up for each sample. ffmpeg: a run of %d raw planar frames from memory into the null muxer\n",
      peer_frames);
  std::printf(
      "with the filter, less one without; it filters in place. Against it ours is frames copied into a picture and\n");
  std::printf("converted, less the copy alone.\n");
  for (const bool by_processor : {false, true}) {
    lib::set_thread_count(by_processor ? 1 : 0);
    const int threads = lib::thread_count();
    std::printf("\n%s\n", by_processor ? "One thread, processor time:"
                                       : ("By the clock on " + std::to_string(threads) + " threads:").c_str());
    const race own(ours, 15, by_processor);
    std::printf("  %-34s %10s %22s\n", "to 8-bit planes from", "ms a frame", "of the loop's time");
    for (const int i : {byte_planes, half_planes, packed_words}) {
      std::printf("  %-34s %10.3f %22.2f\n", own.runners[static_cast<std::size_t>(i)].name.c_str(),
                  own.typical(i) / pictures * 1e3, own.typical(i) / own.typical(i + loop_bytes));
    }
    if (!bench::have("ffmpeg")) continue;
    std::vector<bench::contender> commands;
    for (const std::string& filter : filters) {
      const std::string command = peer_command(raw, filter);
      commands.push_back({filter.substr(0, filter.find('=')), [command] { bench::run(command); }, {}});
    }
    const race peer(commands, 7, by_processor);
    std::printf("  %-34s %10s %10s %11s\n", "against ffmpeg", "ms a frame", "ffmpeg's", "times rate");
    for (const int i : {table, table_new, cubed, cubed_new}) {
      const int filter = i >= cubed ? 2 : 1;
      const double time = own.added(i, nothing) / pictures, theirs = peer.added(filter, 0) / peer_frames;
      std::printf("  %-34s %10.3f %10.3f %11.2f %s\n", own.runners[static_cast<std::size_t>(i)].name.c_str(),
                  time * 1e3, theirs * 1e3, theirs / time, peer.runners[static_cast<std::size_t>(filter)].name.c_str());
    }
  }
}
