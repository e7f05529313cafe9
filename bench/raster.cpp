// PNG and JPEG of 1920 x 1080 into planes on one thread, against libspng and libjpeg-turbo with rows side by side.
#include <cstdio>

#include "img/format.h"
#include "lib/parallel.h"
#include "peer_readers.h"
#include "support.h"

namespace {

void print(const char* work, const char* peer, std::vector<bench::contender>& all) {
  bench::run_in_turn(all, 21);
  std::printf("%-34s %-34s %5.2f\n", work, peer, all[1].typical() / all[0].typical());
}

}  // namespace

int main() {
  lib::set_thread_count(1);
  const bench::work_folder folder;
  img::image picture;
  bench::pixels rows;
  std::printf("Files in the page cache, one thread. Ratios of medians; more is faster than the peer.\n\n");
#if defined(HAVE_SPNG)
  for (const char* letters : {"BGR", "BGRA"}) {
    const std::string path = folder.path() + "/a.png";
    img::save(bench::grained(letters, 3), path, nullptr, {});
    std::vector<bench::contender> all = {{"ours", [&] { img::load(picture, path); }, {}},
                                         {"libspng", [&] { bench::read_by_spng(path, rows); }, {}}};
    print(letters[3] != 0 ? "1080p PNG, RGBA" : "1080p PNG, RGB", "libspng", all);
  }
#endif
  const std::string path = folder.path() + "/a.jpg";
  img::save(bench::grained("BGR", 7), path, nullptr, {});
  std::vector<bench::contender> all = {{"ours", [&] { img::load(picture, path); }, {}},
                                       {"libjpeg-turbo", [&] { bench::read_by_turbo(path, rows); }, {}}};
  print("1080p JPEG 4:2:0", "libjpeg-turbo", all);
}
