// Pictures from shared memory: how fast a block of 1920 x 1080 becomes a picture, against a copy of as many bytes, both
// on all threads.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

#include "lib/parallel.h"
#include "sources/shared_picture.h"
#include "support.h"

int main() {
  constexpr int width = 1920;
  constexpr int height = 1080;
  constexpr std::size_t bytes = std::size_t{4} * width * height;
  const std::string name = "kestrin_bench_" + std::to_string(getpid());
  const int block = shm_open(("/" + name).c_str(), O_RDWR | O_CREAT | O_EXCL, 0600);
  if (block < 0 || ftruncate(block, 32 + bytes) != 0) return 1;
  void* memory = mmap(nullptr, 32 + bytes, PROT_READ | PROT_WRITE, MAP_SHARED, block, 0);
  if (memory == MAP_FAILED) return 1;
  std::memset(memory, 0x5a, 32 + bytes);
  const std::uint32_t header[8] = {sources::shared_picture_header::magic, 0, 32, width, height, 32, 0, 0};
  std::memcpy(memory, header, sizeof header);
  int error = 0;
  std::string reason;
  const auto picture = sources::open_shared_picture("shm:/" + name, error, reason);
  shm_unlink(("/" + name).c_str());
  if (!picture) return 1;

  std::vector<std::uint8_t> from(bytes, 1);
  std::vector<std::uint8_t> to(bytes);
  std::vector<bench::contender> contenders;
  contenders.push_back({"memory copy",
                        [&] {
                          lib::parallel_rows(height, bytes, [&](int first, int last) {
                            const std::size_t at = std::size_t{4} * width * static_cast<std::size_t>(first);
                            std::memcpy(to.data() + at, from.data() + at,
                                        std::size_t{4} * width * static_cast<std::size_t>(last - first));
                          });
                        },
                        {}});
  contenders.push_back({"shared picture", [&] { picture->newest(); }, {}});
  bench::run_in_turn(contenders, 101);
  const double copy = contenders[0].typical();
  for (const bench::contender& c : contenders) {
    std::printf("%-15s %6.2f ms  %6.2f GB/s  %5.2f of a copy\n", c.name.c_str(), c.typical() * 1e3,
                static_cast<double>(bytes) / c.typical() / 1e9, copy / c.typical());
  }
}
