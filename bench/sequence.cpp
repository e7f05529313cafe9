// Adding a folder of 100,000 frames and leaving again, as a whole process, against `ls -U` of the same folder; and what
// of that is the program's start. Prints ratios of medians.
#include <spawn.h>
#include <sys/wait.h>

#include <fstream>

#include "composition/opening/sequence.h"
#include "lib/paths.h"
#include "support.h"

namespace {

constexpr int frames = 100000;

// A picture of 4 by 3 in the first frame; the others are never opened.
void make_frames(const std::string& folder) {
  std::string tga(18 + 36, '\0');
  tga[2] = 2;
  tga[12] = 4;
  tga[14] = 3;
  tga[16] = 24;
  for (int i = 0; i < frames; ++i) {
    char name[64];
    std::snprintf(name, sizeof name, "/beauty_v003.%06d.tga", i);
    std::ofstream file(folder + name, std::ios::binary);
    if (i == 0) file << tga;
  }
}

// Standard output goes to `null`, as of a program whose listing nobody reads.
void run_process(std::vector<std::string> arguments) {
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", 1, 0);
  pid_t process = 0;
  int status = -1;
  if (posix_spawnp(&process, pointers[0], &actions, nullptr, pointers.data(), environ) != 0 ||
      waitpid(process, &status, 0) != process || status != 0) {
    std::fprintf(stderr, "failed: %s\n", pointers[0]);
    std::exit(1);
  }
  posix_spawn_file_actions_destroy(&actions);
}

}  // namespace

int main() {
  const bench::work_folder work;
  const std::string folder = work.path() + "/frames";
  std::filesystem::create_directories(folder);
  make_frames(folder);

  std::vector<bench::contender> contenders = {
      {"ls -U FOLDER",
       [&] {
         run_process({"ls", "-U", folder});
       },
       {}},
      {"kestrin FOLDER --exit",
       [&] {
         run_process({KESTRIN_BINARY, folder, "--exit"});
       },
       {}},
      {"kestrin FRAME --exit",
       [&] {
         run_process({KESTRIN_BINARY, folder + "/beauty_v003.000000.tga", "--exit"});
       },
       {}},
      {"kestrin --exit",
       [&] {
         run_process({KESTRIN_BINARY, "--exit"});
       },
       {}},
      {"the listing alone, in this process", [&] { lib::visit_files(folder, [](std::string_view) {}); }, {}},
      {"listing, matching, sorting and one header, in this process",
       [&] {
         ksn::track_info record;
         ksn::scan_folder(folder + "/*", record, ksn::alpha_type::mask, false, {});
         if (record.source.frames != frames) std::exit(1);
       },
       {}},
  };
  bench::run_in_turn(contenders, 15);
  std::printf("%d frames; time of each against ls -U\n", frames);
  for (const bench::contender& c : contenders) {
    std::printf("%-60s %.2f\n", c.name.c_str(), c.typical() / contenders[0].typical());
  }
}
