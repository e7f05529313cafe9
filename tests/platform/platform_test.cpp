#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include <cerrno>
#include <cstdlib>

#include "platform/audio_device.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "platform/linux/memory_readings.h"
#include "support/temp_folder.h"
#include "support/variable.h"

namespace {

using support::variable;

TEST(files, questions) {
  support::temp_folder folder;
  const std::string file = folder / "\xC3\xA4 file";
  support::write_file(file, "12345");
  const utimbuf times{1000, 1234567890};
  ASSERT_EQ(utime(file.c_str(), &times), 0);
  EXPECT_EQ(platform::modification_time(file), 1234567890);
  EXPECT_EQ(platform::file_size(file), 5);
  EXPECT_TRUE(platform::file_exists(file));
  EXPECT_FALSE(platform::is_folder(file));
  EXPECT_TRUE(platform::is_folder(folder.path()));
  EXPECT_EQ(platform::modification_time(folder / "none"), 0);
  EXPECT_EQ(platform::file_size(folder / "none"), -1);
  EXPECT_FALSE(platform::file_exists(folder / "none"));
  EXPECT_FALSE(platform::is_folder(folder / "none"));

  EXPECT_TRUE(platform::make_folders(folder / "a/b//c/"));
  EXPECT_TRUE(platform::make_folders(folder / "a/b/c"));
  EXPECT_FALSE(platform::make_folders(file + "/below")) << "a file is in the way";
  EXPECT_FALSE(platform::make_folders(file));

  support::write_file(folder / "old", "old");
  EXPECT_EQ(platform::rename_file(file, folder / "old"), 0);
  EXPECT_EQ(support::read_file(folder / "old"), "12345");
  EXPECT_EQ(platform::rename_file(file, folder / "old"), ENOENT);
}

std::string folder_of(platform::folder_kind kind, bool create = false) {
  std::string path = "unchanged";
  return platform::get_folder(kind, create, path) ? path : path == "unchanged" ? "(none)" : "(changed)";
}

TEST(folders, of_the_user) {
  using platform::folder_kind;
  support::temp_folder home;
  const variable home_variable("HOME", home.path());
  const variable temporary("TMPDIR", home / "tmp/");
  {
    const variable config("XDG_CONFIG_HOME", ""), data("XDG_DATA_HOME", "relative/is/invalid");
    EXPECT_EQ(folder_of(folder_kind::roaming_data), home / ".config/Kestrin");
    const variable state("XDG_STATE_HOME", "");
    EXPECT_EQ(folder_of(folder_kind::state), home / ".local/state/Kestrin");
    for (auto kind : {folder_kind::local_data, folder_kind::local_data_6, folder_kind::local_data_7})
      EXPECT_EQ(folder_of(kind), home / ".local/share/Kestrin");
    EXPECT_EQ(folder_of(folder_kind::documents), home / "Documents/Kestrin");
    EXPECT_EQ(folder_of(folder_kind::temporary), home / "tmp");
  }
  const variable config("XDG_CONFIG_HOME", home / "config"), data("XDG_DATA_HOME", home / "data");
  EXPECT_EQ(folder_of(folder_kind::roaming_data), home / "config/Kestrin");
  EXPECT_EQ(folder_of(folder_kind::local_data), home / "data/Kestrin");

  struct row {
    const char* lines;
    std::string expected;
  };
  const row rows[] = {
      {"XDG_DOCUMENTS_DIR=\"$HOME/Papers/\"\n", home / "Papers"},
      {"# XDG_DOCUMENTS_DIR=\"/no\"\nXDG_DESKTOP_DIR=\"/no\"\n  XDG_DOCUMENTS_DIR=\"/srv/my \\\"docs\"\n",
       "/srv/my \"docs"},
      {"XDG_DOCUMENTS_DIR=\"$HOME\"\n", home.path()},
      {"XDG_DOCUMENTS_DIR=\"relative\"\n", home / "Documents"},
      {"XDG_DOCUMENTS_DIR=\"$HOMER/x\"\n", home / "Documents"},
      {"XDG_DOCUMENTS_DIR=\"", home / "Documents"},
      {"", home / "Documents"},
  };
  for (const row& r : rows) {
    support::write_file(home / "config/user-dirs.dirs", r.lines);
    EXPECT_EQ(folder_of(folder_kind::documents), r.expected + "/Kestrin") << r.lines;
  }

  EXPECT_FALSE(platform::is_folder(home / "data/Kestrin"));
  EXPECT_EQ(folder_of(folder_kind::local_data, true), home / "data/Kestrin");
  EXPECT_TRUE(platform::is_folder(home / "data/Kestrin"));
  support::write_file(home / "file", "");
  const variable blocked("XDG_DATA_HOME", home / "file");
  EXPECT_EQ(folder_of(folder_kind::local_data, true), "(none)");
}

TEST(folders, beside_the_executable) {
  using platform::folder_kind;
  const std::string executable = folder_of(folder_kind::executable);
  char self[4096];
  const ssize_t size = readlink("/proc/self/exe", self, sizeof self);
  ASSERT_GT(size, 0);
  EXPECT_EQ(std::string(self, static_cast<std::size_t>(size)).rfind(executable + "/test_"), 0u);
  const std::string config = folder_of(folder_kind::config);
  ASSERT_TRUE(config.size() > 7 && config.ends_with("/config")) << config;
  const std::string home = config.substr(0, config.size() - 7);
  EXPECT_EQ(folder_of(folder_kind::user), home + "/user");
  EXPECT_EQ(folder_of(folder_kind::httpdocs), home + "/httpdocs");
  EXPECT_EQ(folder_of(folder_kind::lookup_tables), home + "/LUTs");
  EXPECT_EQ(folder_of(folder_kind::after_save), home + "/scripts/after_save");
}

TEST(folders, of_the_site_come_between_the_program_and_the_user) {
  using platform::folder_kind;
  using list = std::vector<std::string>;
  support::temp_folder home;
  const variable home_variable("HOME", home.path()), config("XDG_CONFIG_HOME", home / "config");
  const std::string own = folder_of(folder_kind::config), user = folder_of(folder_kind::user);
  const std::string documents = folder_of(folder_kind::documents), tables = folder_of(folder_kind::lookup_tables);
  for (const char* none : {"", "relative/folder"}) {
    const variable site("KESTRIN_SITE", none);
    EXPECT_EQ(folder_of(folder_kind::site), "(none)");
    EXPECT_EQ(platform::definition_folders(), (list{own, user, documents}));
    EXPECT_EQ(platform::lookup_folders(), list{tables});
  }
  const variable site("KESTRIN_SITE", "/studio/kestrin/");
  EXPECT_EQ(platform::definition_folders(), (list{own, "/studio/kestrin", user, documents}));
  EXPECT_EQ(platform::lookup_folders(), (list{"/studio/kestrin/LUTs", tables}));
  platform::leave_out_own_folders(true);
  EXPECT_EQ(folder_of(folder_kind::site), "(none)");
  EXPECT_EQ(platform::definition_folders(), list{own});
  EXPECT_EQ(platform::lookup_folders(), list{tables});
  platform::leave_out_own_folders(false);
}

TEST(memory, percent_in_use) {
  struct row {
    std::uint64_t available, total;
    int expected;
  };
  const row rows[] = {
      {100, 100, 0},  {0, 100, 100},  {1, 1000, 100},
      {9, 1000, 100}, {10, 1000, 99}, {50, 100, 50},
      {200, 100, 0},  {5, 0, 0},      {UINT64_MAX / 2, UINT64_MAX, 51},
  };
  for (const row& r : rows) EXPECT_EQ(platform::load_percent(r.available, r.total), r.expected) << r.available;
}

TEST(memory, the_fullest_reading_counts) {
  struct file {
    std::string path, content;  // the path below /sys/fs/cgroup
  };
  struct row {
    const char* what;
    const char* groups;  // of the process
    std::vector<file> files;
    int expected;
  };
  // The machine is half full with a million bytes.
  const row rows[] = {
      {"the machine", "", {}, 50},
      {"group without a limit", "0::/a\n", {{"a/memory.max", "max\n"}, {"a/memory.current", "1000000\n"}}, 50},
      {"group with a limit; its file pages are free",
       "0::/a\n",
       {{"a/memory.max", "100000\n"},
        {"a/memory.current", "90000\n"},
        {"a/memory.stat", "anon 70000\nworkingset_inactive_file 9\ninactive_file 10000\nactive_file 2000\n"}},
       78},
      {"a parent's limit",
       "0::/a/b\n",
       {{"a/memory.max", "100000\n"}, {"a/memory.current", "61000\n"}, {"a/b/memory.max", "max\n"}},
       61},
      {"seen from inside a container", "0::/\n", {{"memory.max", "100000\n"}, {"memory.current", "99500\n"}}, 100},
      {"a limit above the machine's memory",
       "0::/a\n",
       {{"a/memory.max", "1024001\n"}, {"a/memory.current", "1024000\n"}},
       50},
      {"the first version",
       "5:cpu,memory:/a\n4:cpuset:/b\nrubbish\n0::/none\n",
       {{"memory/a/memory.limit_in_bytes", "200000\n"},
        {"memory/a/memory.usage_in_bytes", "150000\n"},
        {"memory/a/memory.stat", "inactive_file 1\ntotal_inactive_file 20000\n"}},
       65},
  };
  for (const row& r : rows) {
    support::temp_folder root;
    support::write_file(root / "proc/meminfo",
                        "MemTotal:       1000 kB\nMemFree:         100 kB\nMemAvailable:    500 kB\nCached: 700 kB\n");
    support::write_file(root / "proc/self/cgroup", r.groups);
    for (const file& f : r.files) support::write_file(root / "sys/fs/cgroup/" + f.path, f.content);
    const platform::memory_status status = platform::memory_readings(root.path()).read(0);
    EXPECT_EQ(status.physical_load, r.expected) << r.what;
    EXPECT_EQ(status.address_space_load, 0) << r.what;
  }
  support::temp_folder root;
  EXPECT_EQ(platform::memory_readings(root.path()).read(0).physical_load, 0) << "nothing to read";
  support::write_file(root / "proc/meminfo", "MemTotal: 1000 kB\nMemFree: 100 kB\nSwapCached: 9 kB\nCached: 200 kB\n");
  EXPECT_EQ(platform::memory_readings(root.path()).read(0).physical_load, 70) << "no MemAvailable";
}

TEST(memory, address_space) {
  support::temp_folder root;
  support::write_file(root / "proc/self/statm", "300 50 20 1 0 40 0\n");
  const auto page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
  EXPECT_EQ(platform::memory_readings(root.path()).read(400 * page).address_space_load, 75);
  EXPECT_EQ(platform::memory_readings(root.path()).read(200 * page).address_space_load, 100);
}

TEST(memory, this_machine) {
  const platform::memory_status status = platform::query_memory();
  EXPECT_GT(status.physical_load, 0);
  EXPECT_LE(status.physical_load, 100);
}

TEST(audio, the_play_cursor_moves_between_blocks) {
  constexpr int block = 2048;  // 512 samples, 11.6 ms
  struct row {
    const char* what;
    int next, block;
    double seconds;
    int expected;
  };
  const row rows[] = {
      {"nothing was taken yet", 0, 0, 0.5, 0},
      {"just taken", 10240, block, 0.0, 8192},
      {"a sample later", 10240, block, 1.0 / 44100 + 1e-9, 8196},
      {"whole samples only", 10240, block, 1.9 / 44100, 8196},
      {"half of it", 10240, block, 256.0 / 44100 + 1e-9, 9216},
      {"all of it", 10240, block, 512.0 / 44100 + 1e-9, 10240},
      {"the next block is late", 10240, block, 100.0, 10240},
      {"a counter that ran back", 10240, block, -3.0, 8192},
      {"across the end of the ring", 1024, block, 0.0, 175376},
      {"across it, a while later", 1024, block, 300.0 / 44100 + 1e-9, 176},
  };
  for (const row& r : rows) EXPECT_EQ(platform::audio_play_cursor(r.next, r.block, r.seconds), r.expected) << r.what;
}

}  // namespace
