// Ends from places that can't be walked back from.
#include "platform/crash.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "support/sanitized.h"
#include "support/temp_folder.h"

namespace {

void call_what_is_no_function() {
  void (*volatile nowhere)() = nullptr;
  nowhere();
}

#if defined(__x86_64__)
void lose_the_stack() {
  asm volatile("mov $64, %rbp; mov $64, %rsp; call *%rsp");
}
#endif

TEST(crash, is_told_where_the_stack_can_not_be_walked) {
#if defined(KSN_SANITIZED)
  GTEST_SKIP() << "the signal is the sanitizer's own";
#endif
  std::vector<void (*)()> ends{call_what_is_no_function};
#if defined(__x86_64__)
  ends.push_back(lose_the_stack);
#endif
  for (void (*end)() : ends) {
    const support::temp_folder folder;
    const pid_t child = fork();
    if (child == 0) {
      const int errors = open((folder / "errors").c_str(), O_WRONLY | O_CREAT, 0600);
      dup2(errors, STDERR_FILENO);
      platform::watch_crashes("Kestrin 1 2.3", folder / "traces");
      platform::set_crash_note("The composition is kept.");
      end();
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV) << status;
    const std::filesystem::directory_iterator files(folder / "traces");
    ASSERT_NE(files, std::filesystem::directory_iterator());
    EXPECT_EQ(support::read_file(folder / "errors"), "Kestrin ended by signal 11; the trace is in \"" +
                                                         files->path().string() + "\". The composition is kept.\n");
    const std::string trace = support::read_file(files->path());
    const std::string binary = std::filesystem::canonical("/proc/self/exe");
    EXPECT_EQ(trace.rfind("Kestrin 1 2.3\nEnded by signal 11 (", 0), 0u) << trace;
    if (end == call_what_is_no_function) {
      bool found = false;
      for (std::size_t at = 0; (at = trace.find("[0x", at)) != std::string::npos; ++at) {
        const std::uintptr_t call = std::stoull(trace.substr(at + 1), nullptr, 16);
        const auto function = reinterpret_cast<std::uintptr_t>(call_what_is_no_function);
        found |= call > function && call < function + 64;
      }
      EXPECT_TRUE(found) << "who called: " << trace;
    }
    EXPECT_NE(trace.find(" " + binary + "\n", trace.find("\nModules:\n")), std::string::npos) << trace;
  }
}

}  // namespace
