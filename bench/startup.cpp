// Whole processes: how soon the program is done with nothing to do, and with a folder of 100,000 frames to add.
// A ratio below 1 means that Kestrin takes less time than the peer.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include "support.h"

extern char** environ;

namespace {

// Without a shell in between, output thrown away.
void run_process(std::vector<std::string> arguments) {
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  pid_t process = 0;
  int status = 0;
  const bool started = posix_spawnp(&process, pointers[0], &actions, nullptr, pointers.data(), environ) == 0;
  posix_spawn_file_actions_destroy(&actions);
  if (!started || waitpid(process, &status, 0) < 0 || status != 0) {
    std::fprintf(stderr, "failed: %s\n", arguments[0].c_str());
    std::exit(1);
  }
}

void compare(const char* what, const std::vector<std::string>& ours, const std::vector<std::string>& peer, int rounds) {
  std::vector<bench::contender> both = {{"kestrin", [&] { run_process(ours); }, {}},
                                        {"peer", [&] { run_process(peer); }, {}}};
  bench::run_in_turn(both, rounds);
  std::printf("%-34s %8.2f ms %8.2f ms %8.2f\n", what, both[0].typical() * 1e3, both[1].typical() * 1e3,
              both[0].typical() / both[1].typical());
}

void add_large_folder() {
  constexpr int frames = 100000;
  const bench::work_folder folder;
  // An 18-byte header and one pixel: only the first file is opened.
  const char picture[21] = {0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 1, 0, 24, 32};
  for (int i = 0; i < frames; ++i) {
    char name[32];
    std::snprintf(name, sizeof name, "/shot.%06d.tga", i);
    std::FILE* file = std::fopen((folder.path() + name).c_str(), "wb");
    if (!file) std::exit(1);
    std::fwrite(picture, 1, sizeof picture, file);
    std::fclose(file);
  }
  compare("add 100,000 frames / ls -U", {KESTRIN_BINARY, folder.path() + "/shot.######.tga", "--exit"},
          {"ls", "-U", folder.path()}, 31);
}

}  // namespace

int main() {
  std::printf("%-34s %11s %11s %8s\n", "medians", "kestrin", "peer", "ratio");
  if (bench::have("identify")) {
    compare("--exit / identify -version", {KESTRIN_BINARY, "--exit"}, {"identify", "-version"}, 101);
  }
  add_large_folder();
}
