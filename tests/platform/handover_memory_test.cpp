// The hand-over while memory runs out: operator new of this program fails at a point that a test chooses.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <thread>

#include "platform/handover.h"
#include "support/temp_folder.h"

namespace {

std::atomic<long> until_failure = 0;  // allocations up to the one that fails; none does at 0 or below

}  // namespace

// Where they were inlined the compiler would take malloc and delete for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) {
  if (until_failure > 0 && --until_failure == 0) throw std::bad_alloc();
  void* block = std::malloc(size == 0 ? 1 : size);
  if (!block) throw std::bad_alloc();
  return block;
}

[[gnu::noinline]] void operator delete(void* block) noexcept {
  std::free(block);
}

[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}

namespace {

// Sends the bytes and reads what comes until the other end closes. Takes no memory. The kinds of the records that came,
// as letters.
std::string_view exchanged(const std::string& path, std::string_view bytes) {
  static char answer[4096];
  static char kinds[64];
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  std::memcpy(name.sun_path, path.c_str(), path.size());
  const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  std::size_t length = 0;
  if (connect(socket, reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0 &&
      send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size())) {
    for (ssize_t count = 0; (count = recv(socket, answer + length, sizeof answer - length, 0)) > 0;) {
      length += static_cast<std::size_t>(count);
    }
  }
  close(socket);
  std::size_t records = 0;
  for (std::size_t at = 0; at < length; at += 5u + static_cast<unsigned char>(answer[at + 1]))
    kinds[records++] = answer[at];
  return {kinds, records};
}

TEST(handover, memory_that_runs_out_at_any_point) {
  const support::temp_folder folder;
  const std::string path = folder / "line.socket";
  const std::string bytes = platform::encode_handover({"/", {"kestrin", std::string(1000, 'x')}});
  std::atomic<int> carried_out = 0;
  std::atomic<bool> stop = false;
  std::atomic<bool> held = false;  // the line leaves something going on
  platform::handover line(folder / "line");
  const platform::carry_out_function carry_out = [&](const platform::handover_message& message, std::string& answer) {
    ++carried_out;
    answer += platform::encode_answer(platform::answer_kind::output, message.arguments[1].substr(0, 100));
    if (!held) return true;
    line.hold([](std::string& more) {
      more += platform::encode_answer(platform::answer_kind::output, "the rest of the answer");
      return true;
    });
    return true;
  };
  std::thread owner([&] {
    // A start that finds no memory tries again.
    until_failure = 1;
    line.serve([] {});
    for (; !stop; usleep(500)) line.poll(carry_out);
    line.stop();
  });
  // The socket is there before the line serves: what fails before that is a start, not an answer.
  while (!exchanged(path, bytes).ends_with('d')) usleep(500);
  for (const bool holds : {false, true}) {
    held = holds;
    bool failed = true;
    for (long at = 1; failed; ++at) {
      SCOPED_TRACE(at);
      const int before = carried_out;
      until_failure = at;
      const std::string_view answer = exchanged(path, bytes);
      failed = until_failure.exchange(0) == 0;
      EXPECT_LE(carried_out, before + 1);
      // Who hears no end sends the line again.
      EXPECT_EQ(carried_out > before, answer.ends_with('d')) << answer;
      EXPECT_FALSE(!failed && answer != (held ? "tood" : "tod")) << answer;
      EXPECT_TRUE(exchanged(path, bytes).ends_with('d')) << "with memory again";
    }
  }
  stop = true;
  owner.join();
}

}  // namespace
