// Reading 1080p pictures of the other still formats into planes, each against the programs that people read them with:
// whole processes that decode the same files in the page cache and throw them away.
//
// bench_stills [tiff|others]...
#include <cstring>
#include <memory>

#include "img/format.h"
#include "img/transfer.h"
#include "peer_readers.h"
#include "support.h"

namespace {

constexpr int names = 96;  // of few pictures, over and over, so that a process start counts for little
constexpr int pictures = 8;
constexpr int rounds = 5;

struct kind {
  const char* title;
  const char* extension;
  img::save_options options;
  bool floats = false;
};

struct peer {
  const char* program;
  const char* title;
  // Decodes the files STEM0000.EXTENSION and so on, as many as `count`.
  std::string (*command)(const std::string& stem, const std::string& extension);
  int count;
};

std::string list_of(const std::string& stem, const std::string& extension, int count) {
  std::string list;
  for (int i = 0; i < count; ++i) {
    char name[16];
    std::snprintf(name, sizeof name, "%04d.", i);
    list += " " + stem + name + extension;
  }
  return list;
}

constexpr int few_names = 16;  // for programs that hold all pictures of a line at once, or write them

const peer all_peers[] = {
    {"oiiotool", "oiiotool",
     [](const std::string& stem, const std::string& extension) {
       return "oiiotool --frames 0-" + std::to_string(names - 1) + " --native -i:now=1 " + stem + "%04d." + extension +
              " 2>/dev/null";
     },
     names},
    {"tiffinfo", "libtiff's tiffinfo -D",
     [](const std::string& stem, const std::string& extension) {
       return "tiffinfo -D" + list_of(stem, extension, names) + " >/dev/null 2>&1";
     },
     names},
    {"tiffcp", "libtiff's tiffcp",
     [](const std::string& stem, const std::string& extension) {
       return "tiffcp -c none" + list_of(stem, extension, few_names) + " " + stem + "copy.tif";
     },
     few_names},
    {"ffmpeg", "ffmpeg",
     [](const std::string& stem, const std::string& extension) {
       return "ffmpeg -v error -nostdin -f image2 -i " + stem + "%04d." + extension + " -f null -";
     },
     names},
    {"convert", "ImageMagick",
     [](const std::string& stem, const std::string& extension) {
       return "convert" + list_of(stem, extension, few_names) + " null:";
     },
     few_names},
};

bool reads(const peer& peer, const std::string& extension) {
  const std::string name = peer.program;
  if (name == "tiffinfo" || name == "tiffcp") return extension == "tif" || extension == "ftif";
  return name != "ffmpeg" || (extension != "hdr" && extension != "ftif");
}

void write_picture(const kind& kind, const std::string& path, int number) {
  img::image picture = bench::grained("BGR", 7);
  picture.data[0].data()[0] = static_cast<std::uint8_t>(number);
  if (std::strcmp(kind.extension, "hdr") == 0) {
    // Which is not written here.
    img::save(picture, path + ".png", nullptr, {});
    bench::run("oiiotool " + path + ".png -d float -o " + path);
  } else if (kind.floats) {
    img::float_image floats;
    img::transfer().convert_float(floats, picture, true);
    img::find_format(path)->write_float(floats, path, kind.options);
  } else {
    img::save(picture, path, nullptr, kind.options);
  }
}

void compare(const kind& kind) {
  const bench::work_folder folder;
  const std::string stem = folder.path() + "/f_", extension = kind.extension;
  const auto name_of = [&](int n) {
    char number[16];
    std::snprintf(number, sizeof number, "%04d.", n);
    return stem + number + extension;
  };
  for (int i = 0; i < pictures; ++i) write_picture(kind, name_of(i), i);
  for (int i = pictures; i < names; ++i) std::filesystem::create_hard_link(name_of(i % pictures), name_of(i));
  std::vector<bench::contender> all = {{"ours",
                                        [&] {
                                          for (int i = 0; i < names; ++i) {
                                            img::image image;
                                            img::load(image, name_of(i));
                                          }
                                        },
                                        {}}};
  std::vector<const peer*> peers;
  for (const peer& p : all_peers) {
    if (!bench::have(p.program) || !reads(p, extension)) continue;
    peers.push_back(&p);
    all.push_back({p.title, [&] { bench::run(p.command(stem, extension)); }, {}});
  }
  bench::run_in_turn(all, rounds);
  const double own = all[0].typical() / names;
  for (std::size_t i = 1; i < all.size(); ++i) {
    std::printf("%-26s %-24s %6.2f\n", kind.title, all[i].name.c_str(), all[i].typical() / peers[i - 1]->count / own);
  }
}

}  // namespace

int main(int count, char** arguments) {
  const auto asked = [&](const char* part) { return bench::asked(count, arguments, part); };
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  std::printf(
      "%d files of 1920 x 1080 in the page cache. Ours: img::load on all threads; peers: whole processes, with\n",
      names);
  std::printf("the threads that they take by themselves. Rate of ours to the peer's, medians of %d rounds.\n", rounds);
  std::printf("tiffinfo -D reads the bytes of the samples and no more; tiffcp writes them to another file.\n\n");
  const kind tiff[] = {
      {"TIFF, 8 bits", "tif", {.compression = 1}},
      {"TIFF, 8 bits, LZW", "tif", {.compression = 5}},
      {"TIFF, 16 bits", "tif", {.compression = 1, .bits = 16}},
      {"TIFF, float", "ftif", {.compression = 1}, true},
  };
  const kind others[] = {
      {"BMP, 24 bits", "bmp", {}},
      {"SGI, run-length", "sgi", {.compression = 2}},
      {"PSD, run-length", "psd", {.compression = 2}},
      {"Radiance HDR", "hdr", {}},
  };
  if (asked("tiff")) {
    for (const kind& k : tiff) compare(k);
  }
  if (asked("others")) {
    for (const kind& k : others) {
      if (std::strcmp(k.extension, "hdr") != 0 || bench::have("oiiotool")) compare(k);
    }
  }
}
