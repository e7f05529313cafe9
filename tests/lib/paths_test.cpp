#include "lib/paths.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "support/temp_folder.h"
#include "support/variable.h"

namespace {

TEST(paths, parts) {
  struct row {
    const char *path, *separated, *unseparated, *backslashes, *folder, *name;
  };
  const row rows[] = {
      {"", "", "", "", "", ""},
      {"name", "name/", "name", "name", "", "name"},
      {"a/b/name", "a/b/name/", "a/b/name", "a\\b\\name", "a/b/", "name"},
      {"a\\name", "a\\name/", "a\\name", "a\\name", "a\\", "name"},
      {"a/b\\", "a/b\\", "a/b", "a\\b\\", "a/b\\", ""},
      {"a//", "a//", "a/", "a\\\\", "a//", ""},
      {"/", "/", "", "\\", "/", ""},
      {"C:name", "C:name/", "C:name", "C:name", "C:", "name"},
      {"1:name", "1:name/", "1:name", "1:name", "", "1:name"},
      {"C:/name", "C:/name/", "C:/name", "C:\\name", "C:/", "name"},
  };
  for (const row& r : rows) {
    EXPECT_EQ(lib::add_separator(r.path), r.separated) << r.path;
    EXPECT_EQ(lib::remove_separator(r.path), r.unseparated) << r.path;
    EXPECT_EQ(lib::to_backslashes(r.path), r.backslashes) << r.path;
    const auto [folder, name] = lib::split_path(r.path);
    EXPECT_EQ(folder, r.folder) << r.path;
    EXPECT_EQ(name, r.name) << r.path;
  }
  EXPECT_EQ(lib::add_separator("a", '\\'), "a\\");
  // A real file's name may hold all but "/".
  EXPECT_EQ(lib::folder_of("a/C:b\\c"), "a/");
  EXPECT_EQ(lib::file_name("a/C:b\\c"), "C:b\\c");
  EXPECT_EQ(lib::folder_of("C:b\\c"), "");
  EXPECT_EQ(lib::file_name("a/"), "");
}

TEST(paths, extensions) {
  struct row {
    const char *name, *stem, *extension;
  };
  const row rows[] = {{"a.tga", "a", ".tga"}, {"a.1.TGA", "a.1", ".TGA"}, {".hidden", ".hidden", ""}, {"..", "..", ""},
                      {"a", "a", ""},         {"a.", "a", "."},           {".a.b", ".a", ".b"},       {"", "", ""}};
  for (const row& r : rows) {
    EXPECT_EQ(lib::split_extension(r.name).stem, r.stem) << r.name;
    EXPECT_EQ(lib::split_extension(r.name).extension, r.extension) << r.name;
  }
  EXPECT_EQ(lib::lower_extension("/a.b/C.TgA"), "tga");
  EXPECT_EQ(lib::lower_extension("/a.b/C"), "");
  EXPECT_EQ(lib::lower_extension("/a/.tga"), "");
  EXPECT_EQ(lib::to_lower("A\xC3\x84Z"), "a\xC3\x84z") << "only ASCII letters have a lower form";
}

TEST(paths, full_path_resolves_as_text) {
  support::temp_folder folder;
  char before[4096];
  ASSERT_NE(getcwd(before, sizeof before), nullptr);
  ASSERT_EQ(chdir(folder.path().c_str()), 0);
  char real[4096];
  ASSERT_NE(getcwd(real, sizeof real), nullptr);
  const std::string here = real;
  const std::string parent = here.substr(0, here.rfind('/'));
  struct row {
    std::string path, expected;
  };
  const row rows[] = {
      {"a", here + "/a"},
      {"./a//b/", here + "/a/b/"},
      {"a/../b", here + "/b"},
      {"../x", parent + "/x"},
      {"/a/./b/..", "/a"},
      {"/../..", "/"},
      {"//a", "/a"},
      {"", ""},
      {"/a/b/../", "/a/"},
      {"...", here + "/..."},
      {".", here},
      {"/", "/"},
      {"~", "/home/me"},
      {"~/a/../b", "/home/me/b"},
      {"~you/a", here + "/~you/a"},
      {"./~/a", here + "/~/a"},
      {"a/~", here + "/a/~"},
  };
  const support::variable home("HOME", "/home/me");
  for (const row& r : rows) EXPECT_EQ(lib::full_path(r.path), r.expected) << r.path;

  // A folder that is gone has no path.
  const std::string gone = folder / "gone";
  ASSERT_EQ(mkdir(gone.c_str(), 0777), 0);
  ASSERT_EQ(chdir(gone.c_str()), 0);
  ASSERT_EQ(rmdir(gone.c_str()), 0);
  EXPECT_EQ(lib::full_path("a/../b"), "a/../b");
  ASSERT_EQ(chdir(before), 0);
}

TEST(paths, wildcards) {
  struct row {
    const char *pattern, *text;
    bool matches;
  };
  const row rows[] = {
      {"", "", true},           {"", "a", false},         {"*", "", true},          {"*", "abc", true},
      {"?", "", false},         {"?", "a", true},         {"a?c", "abc", true},     {"a?c", "ac", false},
      {"*.TGA", "x.tga", true}, {"*.tga", "x.tg", false}, {"a*b*c", "aXbYc", true}, {"a*b*c", "acb", false},
      {"*ab", "aab", true},     {"*a*a*", "a", false},    {"a**", "a", true},       {"*.*.x", "a.b.c.x", true},
      {"a", "A", true},         {"[", "[", true},
  };
  for (const row& r : rows) EXPECT_EQ(lib::match_wildcard(r.pattern, r.text), r.matches) << r.pattern << " " << r.text;
  // Many stars must not take exponential time.
  std::string stars;
  for (int i = 0; i < 40; ++i) stars += "*a";
  EXPECT_FALSE(lib::match_wildcard(stars + "b", std::string(2000, 'a')));
}

TEST(paths, folder_listing) {
  support::temp_folder folder;
  // More names than one block of the listing holds.
  std::vector<std::string> expected;
  for (int i = 0; i < 12000; ++i) {
    char name[120];
    std::snprintf(name, sizeof name, "a_rather_long_name_that_takes_space_in_the_block_and_more_of_it.%05d.tga", i);
    expected.push_back(name);
    ASSERT_EQ(mknod((folder / name).c_str(), S_IFREG | 0644, 0), 0);
  }
  for (const char* name : {"sub", ".dot", "..."}) ASSERT_EQ(mkdir((folder / name).c_str(), 0777), 0);
  ASSERT_EQ(symlink("sub", (folder / "link_to_folder").c_str()), 0);
  ASSERT_EQ(symlink(expected[0].c_str(), (folder / "link_to_file").c_str()), 0);
  ASSERT_EQ(symlink("nowhere", (folder / "link_to_nothing").c_str()), 0);
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0666), 0);
  expected.push_back("link_to_file");
  expected.push_back("link_to_nothing");

  std::vector<std::string> files, folders;
  ASSERT_EQ(lib::list_folder(folder.path(), "*", &files, &folders), 0);
  std::sort(files.begin(), files.end());
  std::sort(folders.begin(), folders.end());
  EXPECT_EQ(files, expected);
  EXPECT_EQ(folders, (std::vector<std::string>{"...", ".dot", "link_to_folder", "sub"}));

  files.clear();
  ASSERT_EQ(lib::list_folder(folder.path() + "/", "*.1199?.TGA", &files, nullptr), 0);
  EXPECT_EQ(files.size(), 10u);
  EXPECT_EQ(lib::list_folder(folder / "none", "*", &files, nullptr), ENOENT);
  EXPECT_EQ(lib::list_folder(folder / "link_to_file", "*", &files, nullptr), ENOTDIR);
}

}  // namespace
