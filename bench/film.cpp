// Film pictures on their way into planes: DPX against the page cache, ffmpeg and a table pass, OpenEXR against the
// library's own scan-line reader, both on two threads.
#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <ImfOutputFile.h>
#include <ImfThreading.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <memory>

#include "img/format.h"
#include "img/transfer.h"
#include "lib/parallel.h"
#include "support.h"
#include "test_picture.h"

namespace {

constexpr int scan_width = 2048;
constexpr int scan_height = 1556;
constexpr int scans = 8;        // different ones, more than the processor's cache holds
constexpr int scan_names = 96;  // for ffmpeg: the same over and over, so that its start counts for little
constexpr std::size_t scan_offset = 8192;
constexpr std::size_t scan_bytes = std::size_t{scan_width} * scan_height * 4;

std::string name_of(const std::string& folder, const char* extension, int n) {
  char text[32];
  std::snprintf(text, sizeof text, "/f_%04d.%s", n, extension);
  return folder + text;
}

void put(std::vector<std::uint8_t>& file, std::size_t offset, std::uint32_t value, int count) {
  for (int i = 0; i < count; ++i)
    file[offset + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(value >> (8 * (count - 1 - i)));
}

// A big-endian scan, as film scanners write it.
void write_scan(const std::string& path, const img::image& picture) {
  std::vector<std::uint8_t> file(scan_offset, 0xFF);
  put(file, 0, 0x53445058, 4);
  put(file, 4, scan_offset, 4);
  put(file, 768, 0, 2);
  put(file, 772, scan_width, 4);
  put(file, 776, scan_height, 4);
  put(file, 800, 50, 1);
  put(file, 803, 10, 1);
  put(file, 804, 1, 2);
  put(file, 806, 0, 2);
  file.resize(scan_offset + scan_bytes);
  for (std::size_t i = 0; i < scan_bytes / 4; ++i) {
    const auto code = [&](int p) { return 95u + picture.data[static_cast<std::size_t>(p)].data()[i] * 590u / 255u; };
    put(file, scan_offset + 4 * i, code(2) << 22 | code(1) << 12 | code(0) << 2, 4);
  }
  const int handle = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (write(handle, file.data(), file.size()) != static_cast<ssize_t>(file.size())) std::exit(1);
  close(handle);
}

void read_pages(const std::string& path, std::size_t offset, void* buffer, std::size_t count) {
  const int handle = open(path.c_str(), O_RDONLY);
  if (pread(handle, buffer, count, static_cast<off_t>(offset)) != static_cast<ssize_t>(count)) std::exit(1);
  close(handle);
}

// One look-up a sample from words to three planes, on all threads.
void table_pass(const std::uint32_t* words, const std::uint8_t (&tables)[3][1024], img::image& out) {
  lib::parallel_rows(scan_height, scan_bytes, [&](int first, int last) {
    const std::size_t end = static_cast<std::size_t>(last) * scan_width;
    std::uint8_t* blue = out.data[0].data();
    std::uint8_t* green = out.data[1].data();
    std::uint8_t* red = out.data[2].data();
    for (std::size_t i = static_cast<std::size_t>(first) * scan_width; i < end; ++i) {
      const std::uint32_t word = __builtin_bswap32(words[i]);
      blue[i] = tables[0][word >> 2 & 1023];
      green[i] = tables[1][word >> 12 & 1023];
      red[i] = tables[2][word >> 22];
    }
  });
}

void bench_scans(const std::string& folder) {
  for (int i = 0; i < scans; ++i)
    write_scan(name_of(folder, "dpx", i), bench::test_picture("BGR", scan_width, scan_height, i));
  for (int i = scans; i < scan_names; ++i) {
    if (link(name_of(folder, "dpx", i % scans).c_str(), name_of(folder, "dpx", i).c_str()) != 0) std::exit(1);
  }
  img::plane warm(scan_bytes);
  static std::uint8_t tables[3][1024];
  for (auto& table : tables) {
    for (int i = 0; i < 1024; ++i) table[i] = static_cast<std::uint8_t>(i / 4);
  }
  img::image planes("BGR", 8, scan_width, scan_height);
  img::image picture;
  img::image scratch;
  img::transfer transfer;
  std::vector<bench::contender> all = {
      {"packed",
       [&] {
         for (int i = 0; i < scans; ++i) img::load(picture, name_of(folder, "dpx", i));
       },
       {}},
      {"pread",
       [&] {
         for (int i = 0; i < scans; ++i) read_pages(name_of(folder, "dpx", i), scan_offset, warm.data(), scan_bytes);
       },
       {}},
      {"planes",
       [&] {
         for (int i = 0; i < scans; ++i)
           img::load_converted(picture, name_of(folder, "dpx", i), nullptr, nullptr, &transfer, &scratch);
       },
       {}},
      {"pread and pass",
       [&] {
         for (int i = 0; i < scans; ++i) {
           read_pages(name_of(folder, "dpx", i), scan_offset, warm.data(), scan_bytes);
           table_pass(warm.as<std::uint32_t>(), tables, planes);
         }
       },
       {}},
  };
  bench::run_in_turn(all, 15);
  std::printf("%-44s %-40s %5.2f\n", "2048 x 1556 DPX to the packed picture", "pread into a warm buffer",
              all[1].typical() / all[0].typical());
  std::printf("%-44s %-40s %5.2f\n", "2048 x 1556 DPX to 8-bit planes", "pread and one table pass",
              all[3].typical() / all[2].typical());
  if (!bench::have("ffmpeg")) return;
  std::vector<bench::contender> pair = {
      {"planes",
       [&] {
         for (int i = 0; i < scan_names; ++i)
           img::load_converted(picture, name_of(folder, "dpx", i), nullptr, nullptr, &transfer, &scratch);
       },
       {}},
      {"ffmpeg",
       [&] { bench::run("ffmpeg -v error -nostdin -f image2 -i " + folder + "/f_%04d.dpx -pix_fmt gbrp -f null -"); },
       {}},
  };
  bench::run_in_turn(pair, 5);
  std::printf("%-44s %-40s %5.2f\n", "2048 x 1556 DPX to 8-bit planes", "ffmpeg to gbrp, default threads",
              pair[1].typical() / pair[0].typical());
}

// Smooth shapes with grain, and an alpha with an edge.
void write_exr(const std::string& path, Imf::Compression compression, int width, int height) {
  const img::image source = bench::test_picture("BGRA", width, height, 1);
  Imf::Header header(width, height);
  header.compression() = compression;
  Imf::FrameBuffer buffer;
  std::vector<std::vector<std::uint16_t>> planes(4);
  const char* const names[] = {"B", "G", "R", "A"};
  for (int p = 0; p < 4; ++p) {
    std::uint16_t halves[256];
    for (int i = 0; i < 256; ++i)
      halves[i] = img::float_to_half(static_cast<float>(p == 3 ? i / 255.0 : img::srgb_decode(i / 255.0)));
    auto& plane = planes[static_cast<std::size_t>(p)];
    for (std::size_t i = 0; i < source.data[0].size(); ++i) {
      // Grain in the lowest bits, which rendered pictures have and pictures of bytes do not.
      const unsigned grain =
          p == 3 ? 0 : static_cast<unsigned>((i * 2654435761u + static_cast<unsigned>(p) * 40503u) >> 20 & 15u);
      const std::uint16_t half = halves[source.data[static_cast<std::size_t>(p)].data()[i]];
      plane.push_back(static_cast<std::uint16_t>(half ^ (half > 0x1000 ? grain : 0)));
    }
    header.channels().insert(names[p], Imf::Channel(Imf::HALF));
    buffer.insert(names[p],
                  Imf::Slice(Imf::HALF, reinterpret_cast<char*>(plane.data()), 2, static_cast<std::size_t>(width) * 2));
  }
  Imf::OutputFile file(path.c_str(), header);
  file.setFrameBuffer(buffer);
  file.writePixels(height);
}

void write_by_library(const std::string& path, Imf::Compression compression, const img::image& picture) {
  Imf::Header header(picture.width, picture.height);
  header.compression() = compression;
  Imf::FrameBuffer buffer;
  const char* const names[] = {"B", "G", "R", "A"};
  for (int p = 0; p < 4; ++p) {
    header.channels().insert(names[p], Imf::Channel(Imf::HALF));
    // The library only reads.
    buffer.insert(names[p], Imf::Slice(Imf::HALF, const_cast<char*>(picture.row<char>(p, 0)), 2,
                                       static_cast<std::size_t>(picture.width) * 2));
  }
  Imf::OutputFile file(path.c_str(), header);
  file.setFrameBuffer(buffer);
  file.writePixels(picture.height);
}

void read_by_library(const std::string& path, img::image& out) {
  Imf::InputFile file(path.c_str(), 2);
  Imf::FrameBuffer buffer;
  const char* const names[] = {"B", "G", "R", "A"};
  for (int p = 0; p < 4; ++p) {
    buffer.insert(names[p], Imf::Slice(Imf::HALF, out.row<char>(p, 0), 2, static_cast<std::size_t>(out.width) * 2));
  }
  file.setFrameBuffer(buffer);
  file.readPixels(0, out.height - 1);
}

void bench_exr(const std::string& folder, const char* name, Imf::Compression compression, int width, int height) {
  const std::string path = folder + "/a.exr";
  write_exr(path, compression, width, height);
  const double share = static_cast<double>(std::filesystem::file_size(path)) / (8.0 * width * height);
  img::image picture;
  img::image planes("BGRA", 16, width, height);
  std::vector<bench::contender> all = {
      {"ours", [&] { img::load(picture, path); }, {}},
      {"library", [&] { read_by_library(path, planes); }, {}},
  };
  bench::run_in_turn(all, width > 2000 ? 11 : 21);
  for (int p = 0; p < 4; ++p) {
    if (std::memcmp(picture.data[static_cast<std::size_t>(p)].data(), planes.data[static_cast<std::size_t>(p)].data(),
                    picture.data[0].size()) != 0) {
      std::fprintf(stderr, "%s: pictures differ\n", name);
      std::exit(1);
    }
  }
  char text[64];
  std::snprintf(text, sizeof text, "%d x %d half EXR, %s (%.0f %%)", width, height, name, share * 100);
  std::printf("%-44s %-40s %5.2f\n", text, "the library's scan-line reader", all[1].typical() / all[0].typical());
  std::filesystem::remove(path);
}

// The picture that write_exr() makes, from memory to a file.
void bench_exr_writing(const std::string& folder, const char* name, Imf::Compression compression, int option, int width,
                       int height) {
  const std::string path = folder + "/a.exr";
  write_exr(path, compression, width, height);
  img::image picture;
  img::load(picture, path);
  std::filesystem::remove(path);
  img::save_options options;
  options.compression = option;
  const auto to_new_file = [&](const std::function<void()>& write) {
    std::filesystem::remove(path);
    write();
  };
  std::vector<bench::contender> all = {
      {"ours", [&] { to_new_file([&] { img::save(picture, path, nullptr, options); }); }, {}},
      {"library", [&] { to_new_file([&] { write_by_library(path, compression, picture); }); }, {}},
  };
  all[1].work();
  const auto library_size = static_cast<double>(std::filesystem::file_size(path));
  all[0].work();
  const double size = static_cast<double>(std::filesystem::file_size(path)) / library_size;
  bench::run_in_turn(all, 9);
  char text[64];
  std::snprintf(text, sizeof text, "%d x %d half EXR, %s, written", width, height, name);
  char peer[64];
  std::snprintf(peer, sizeof peer, "the library's writer (file size %.2f)", size);
  std::printf("%-44s %-40s %5.2f\n", text, peer, all[1].typical() / all[0].typical());
  std::filesystem::remove(path);
}

void bench_half_to_bytes() {
  const int width = 1920;
  const int height = 1080;
  const img::image bytes = bench::test_picture("BGR", width, height, 1);
  img::image halves("BGR", 16, width, height);
  for (int p = 0; p < 3; ++p) {
    for (std::size_t i = 0; i < bytes.data[0].size(); ++i) {
      halves.data[static_cast<std::size_t>(p)].as<std::uint16_t>()[i] =
          img::float_to_half(static_cast<float>(bytes.data[static_cast<std::size_t>(p)].data()[i]) / 255.0F);
    }
  }
  static std::uint8_t table[65536];
  for (int i = 0; i < 65536; ++i) table[i] = static_cast<std::uint8_t>(i >> 7);
  img::image out("BGR", 8, width, height);
  img::image converted;
  img::transfer transfer;
  std::vector<bench::contender> all = {
      {"ours", [&] { transfer.convert(converted, halves); }, {}},
      {"pass",
       [&] {
         for (std::size_t p = 0; p < 3; ++p) {
           lib::parallel_rows(height, static_cast<long long>(width) * height, [&](int first, int last) {
             const std::uint16_t* from = halves.data[p].as<std::uint16_t>();
             std::uint8_t* to = out.data[p].data();
             for (int i = first * width; i < last * width; ++i) to[i] = table[from[i]];
           });
         }
       },
       {}},
  };
  bench::run_in_turn(all, 51);
  std::printf("%-44s %-40s %5.2f\n", "1920 x 1080 half planes to 8-bit planes", "one table pass",
              all[1].typical() / all[0].typical());
}

// Scans under rendered pictures with alpha, from files to files, each side as a process of its own.
void bench_whole_process(const std::string& folder) {
  if (!bench::have("ffmpeg")) return;
  constexpr int frames = 48;
  const std::string in = folder + "/whole";
  std::filesystem::create_directory(in);
  for (int i = 0; i < frames; ++i) {
    if (i < scans) {
      write_scan(name_of(in, "dpx", i), bench::test_picture("BGR", scan_width, scan_height, i));
      img::save(bench::test_picture("BGRA", scan_width, scan_height, i), name_of(in, "tga", i), nullptr,
                {1, 90, false});
    } else if (link(name_of(in, "dpx", i % scans).c_str(), name_of(in, "dpx", i).c_str()) != 0 ||
               link(name_of(in, "tga", i % scans).c_str(), name_of(in, "tga", i).c_str()) != 0) {
      std::exit(1);
    }
  }
  const std::string out = folder + "/out";
  const std::string empty = "rm -rf " + out + " && mkdir " + out + " && ";
  std::vector<bench::contender> all = {
      {"ours",
       [&] {
         bench::run(empty + KESTRIN_BINARY + " " + in + "/f_####.dpx " + in +
                    "/f_####.tga --alpha=normal --save_mask_as_sequence=" + out + "/o_####.tga --exit=status");
       },
       {}},
      {"ffmpeg",
       [&] {
         bench::run(empty + "ffmpeg -v error -nostdin -f image2 -i " + in + "/f_%04d.dpx -f image2 -i " + in +
                    "/f_%04d.tga -filter_complex '[0:v]format=gbrp[a];[1:v]format=gbrap[b];[a][b]overlay=format=gbrp' "
                    "-pix_fmt bgr24 -rle 0 " +
                    out + "/o_%04d.tga");
       },
       {}},
      {"emptying", [&] { bench::run(empty + "true"); }, {}},
  };
  bench::run_in_turn(all, 5);
  std::printf("%-44s %-40s %5.2f\n", "48 DPX under 48 TGA to 48 TGA, whole process",
              "ffmpeg: overlay in gbrp, default threads", all[1].typical() / all[0].typical());
}

struct exr_case {
  const char* name;
  Imf::Compression compression;
  int width;
  int height;
};

}  // namespace

// Arguments name the parts that run: scans, exr, writing, half, whole. None means all.
int main(int argc, char** argv) {
  const std::vector<std::string> parts(argv + 1, argv + argc);
  const auto wanted = [&](const char* part) {
    return parts.empty() || std::find(parts.begin(), parts.end(), part) != parts.end();
  };
  lib::set_thread_count(2);
  Imf::setGlobalThreadCount(2);
  const bench::work_folder folder;
  std::printf("Files in the page cache, two threads. Rates are ratios of medians; more is faster than the peer.\n\n");
  std::printf("%-44s %-40s %5s\n", "work", "against", "rate");
  if (wanted("scans")) bench_scans(folder.path());
  if (wanted("exr")) {
    const exr_case cases[] = {
        {"uncompressed", Imf::NO_COMPRESSION, 1920, 1080}, {"ZIP", Imf::ZIP_COMPRESSION, 1920, 1080},
        {"uncompressed", Imf::NO_COMPRESSION, 3840, 2160}, {"ZIP", Imf::ZIP_COMPRESSION, 3840, 2160},
        {"ZIPS", Imf::ZIPS_COMPRESSION, 1920, 1080},       {"RLE", Imf::RLE_COMPRESSION, 1920, 1080},
        {"PIZ", Imf::PIZ_COMPRESSION, 1920, 1080},         {"PXR24", Imf::PXR24_COMPRESSION, 1920, 1080},
        {"B44", Imf::B44_COMPRESSION, 1920, 1080},         {"B44A", Imf::B44A_COMPRESSION, 1920, 1080},
        {"DWAA", Imf::DWAA_COMPRESSION, 1920, 1080},       {"DWAB", Imf::DWAB_COMPRESSION, 1920, 1080},
    };
    for (const exr_case& c : cases) bench_exr(folder.path(), c.name, c.compression, c.width, c.height);
  }
  if (wanted("writing")) {
    bench_exr_writing(folder.path(), "uncompressed", Imf::NO_COMPRESSION, 1, 1920, 1080);
    bench_exr_writing(folder.path(), "RLE", Imf::RLE_COMPRESSION, 2, 1920, 1080);
    bench_exr_writing(folder.path(), "ZIP", Imf::ZIP_COMPRESSION, 3, 1920, 1080);
  }
  if (wanted("half")) bench_half_to_bytes();
  if (wanted("whole")) bench_whole_process(folder.path());
}
