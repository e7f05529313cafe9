// Reading 1080p TGA pictures into planes, against ffmpeg decoding the same files to planar pictures and against taking
// the same bytes out of the page cache.
#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "img/format.h"
#include "support.h"
#include "test_picture.h"

namespace {

constexpr int pictures = 8;
constexpr int names = 192;  // the pictures over and over, so that a process start counts for little

std::string name_of(const std::string& folder, int n) {
  char text[32];
  std::snprintf(text, sizeof text, "/f_%04d.tga", n);
  return folder + text;
}

void read_pages(const std::string& path, std::vector<char>& buffer) {
  const int handle = open(path.c_str(), O_RDONLY);
  while (read(handle, buffer.data(), buffer.size()) > 0) {
  }
  close(handle);
}

}  // namespace

int main() {
  const bench::work_folder folder;
  const bool peer = bench::have("ffmpeg");
  std::printf("Reading %d TGA files of 1920 x 1080 into planes, %d different ones. Rates are ratios of medians.\n",
              names, pictures);
  std::printf(
      "ffmpeg: whole process, image2 demuxer, `-pix_fmt gbrp` or `gbrap` into the null muxer, default threads.\n");
  std::printf("page cache: read() of the same files in pieces of 256 KiB.  ours: img::load on all threads.\n");
  std::printf("write, of a copy: img::save to a new file against write() of as many bytes from one small buffer.\n\n");
  std::printf("%-22s %8s %18s %22s %16s\n", "files", "MB each", "times ffmpeg's rate", "of the page cache's rate",
              "write, of a copy");
  for (const char* letters : {"BGR", "BGRA"}) {
    for (const int compression : {1, 2}) {
      const std::string path = folder.path() + "/" + letters + std::to_string(compression);
      std::filesystem::create_directory(path);
      std::vector<img::image> sources;
      for (int i = 0; i < pictures; ++i) {
        sources.push_back(bench::test_picture(letters, 1920, 1080, i));
        img::save(sources.back(), name_of(path, i), nullptr, {compression, 90, false});
      }
      for (int i = pictures; i < names; ++i) link(name_of(path, i % pictures).c_str(), name_of(path, i).c_str());
      const double megabytes = static_cast<double>(std::filesystem::file_size(name_of(path, 0))) / 1e6;

      std::vector<char> buffer(256 << 10);
      std::vector<bench::contender> all = {
          {"ours",
           [&] {
             for (int i = 0; i < names; ++i) {
               img::image image;
               img::load(image, name_of(path, i));
             }
           },
           {}},
          {"page cache",
           [&] {
             for (int i = 0; i < names; ++i) read_pages(name_of(path, i), buffer);
           },
           {}},
          {"write",
           [&] {
             for (int i = 0; i < names / 4; ++i) {
               unlink((folder.path() + "/out.tga").c_str());
               img::save(sources[static_cast<std::size_t>(i % pictures)], folder.path() + "/out.tga", nullptr,
                         {compression, 90, false});
             }
           },
           {}},
          {"copy",
           [&] {
             // The same bytes into a file from memory that is in the processor's cache.
             for (int i = 0; i < names / 4; ++i) {
               unlink((folder.path() + "/copy.tga").c_str());
               const int handle = open((folder.path() + "/copy.tga").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
               for (double left = megabytes * 1e6; left > 0; left -= static_cast<double>(buffer.size())) {
                 if (write(handle, buffer.data(), buffer.size()) < 0) std::exit(1);
               }
               close(handle);
             }
           },
           {}},
      };
      if (peer) {
        const std::string command = "ffmpeg -v error -nostdin -f image2 -i " + path + "/f_%04d.tga -pix_fmt " +
                                    (std::strlen(letters) == 4 ? "gbrap" : "gbrp") + " -f null -";
        all.push_back({"ffmpeg", [command] { bench::run(command); }, {}});
      }
      bench::run_in_turn(all, 5);
      const double ours = all[0].typical();
      std::printf("%-22s %8.1f %18.2f %22.2f %16.2f\n",
                  (std::string(std::strlen(letters) == 4 ? "32 bits, " : "24 bits, ") +
                   (compression == 2 ? "run-length" : "plain"))
                      .c_str(),
                  megabytes, peer ? all[4].typical() / ours : 0.0, all[1].typical() / ours,
                  all[3].typical() / all[2].typical());
      std::filesystem::remove_all(path);
    }
  }
}
