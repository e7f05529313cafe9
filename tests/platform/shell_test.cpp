// Programs of the desktop, with scripts in their place that note what they are given.
#include "platform/shell.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>

#include "support/temp_folder.h"
#include "support/variable.h"
#include "support/wait.h"

namespace {

TEST(shell, starts_programs_and_waits_for_none) {
  support::temp_folder folder;
  const auto script = [&](const std::string& name, const std::string& end) {
    const std::string text = "#!/bin/sh\nprintf '%s|' " + name + " \"$@\" >> " + folder / "told.part" + "\nmv " +
                             folder / "told.part" + " " + folder / "told\n" + end;
    support::write_file(folder / ("bin/" + name), text);
    chmod((folder / ("bin/" + name)).c_str(), 0755);
  };
  const support::variable path("PATH", folder / "bin:/usr/bin:/bin");
  const auto told = [&](const std::string& expected) {
    const bool right = support::wait_until([&] { return support::read_file(folder / "told") == expected; });
    EXPECT_TRUE(right) << support::read_file(folder / "told");
    std::remove((folder / "told").c_str());
  };
  std::string error;
  const auto begin = std::chrono::steady_clock::now();
  for (const char* name : {"xdg-open", "xdg-email"}) script(name, "sleep 30\n");
  ASSERT_TRUE(platform::open_address("http://localhost:8080/?a=b c", error));
  told("xdg-open|http://localhost:8080/?a=b c|");
  ASSERT_TRUE(platform::mail("/a/b 'c'\".jpg", error));
  told("xdg-email|--attach|/a/b 'c'\".jpg|");
  script("gdbus", "exit 0\n");
  ASSERT_TRUE(platform::reveal("/a/b '$(x)\xE4.exr", error));
  told(
      "gdbus|call|--session|--timeout|5|--dest|org.freedesktop.FileManager1|--object-path|"
      "/org/freedesktop/FileManager1|--method|org.freedesktop.FileManager1.ShowItems|"
      "['file:///a/b%20%27%24%28x%29%E4.exr']||");
  // Nobody answers on the bus.
  script("gdbus", "rm " + folder / "told\nexit 1\n");
  ASSERT_TRUE(platform::reveal("/a b/c.exr", error));
  told("xdg-open|/a b|");
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20)) << "nobody waited for a program";

  const support::variable none("PATH", folder / "empty");
  EXPECT_FALSE(platform::mail("/a", error));
  EXPECT_EQ(error, "xdg-email is not installed");
}

}  // namespace
