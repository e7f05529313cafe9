// Folders as the open dialog shows them.
#include "composition/opening/folder_rows.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "support/pictures.h"
#include "support/temp_folder.h"

namespace {

constexpr std::chrono::milliseconds long_enough(600'000);

TEST(folder_rows, a_sequence_is_one_row) {
  const support::temp_folder folder;
  for (const char* name :
       {"shot.0998.exr", "shot.0999.exr", "shot.1001.exr", "shot.10.exr", "b_2.tga", "b_10.tga", "b_11.tga", "a10.tga",
        "note1.txt", "note2.txt", ".hidden.1.exr", ".hidden.2.exr", "take.0001.mov", "take.0002.mov", "t.-01.dpx",
        "t.-02.dpx", "big.99999999999.tga", "odd.##.exr", "SHOT.0997.exr"})
    support::write_file(folder / name, std::string(name == std::string("shot.1001.exr") ? 50 : 10, 'x'));
  std::filesystem::create_directory(folder / "sub10");
  std::filesystem::create_directory(folder / "sub9");
  std::filesystem::create_directory(folder / ".git");
  std::vector<ksn::folder_row> rows;
  const auto told = [&] {
    std::vector<std::string> lines;
    for (const ksn::folder_row& row : rows) {
      lines.push_back(
          row.name +
          (row.is_folder ? "/" : "|" + row.first + "|" + ksn::frames_text(row) + "|" + std::to_string(row.bytes)));
      EXPECT_FALSE(row.about);
    }
    return lines;
  };
  ASSERT_EQ(ksn::list_rows(folder.path(), {"exr", "tga", "dpx"}, long_enough, rows), 0);
  EXPECT_EQ(told(), (std::vector<std::string>{
                        "sub9/", "sub10/", "a10.tga|a10.tga||10", "b_2.tga|b_2.tga||10", "b_##.tga|b_10.tga|10-11|20",
                        "big.99999999999.tga|big.99999999999.tga||10", "odd.##.exr|odd.##.exr||10",
                        "shot.10.exr|shot.10.exr||10", "SHOT.0997.exr|SHOT.0997.exr||10",
                        "shot.####.exr|shot.0998.exr|998-1001, 1 missing|70", "t.###.dpx|t.-02.dpx|-2--1|20"}));
  ASSERT_EQ(ksn::list_rows(folder.path() + "/", {}, long_enough, rows), 0);
  EXPECT_EQ(rows.size(), 15u) << "movies and texts are rows of their own";
  EXPECT_EQ(ksn::list_rows(folder / "nothing", {}, long_enough, rows), ENOENT);
  EXPECT_TRUE(rows.empty());
}

TEST(folder_rows, sizes_are_estimated_when_asking_takes_too_long) {
  const support::temp_folder folder;
  for (int i = 0; i < 300; ++i) support::write_file(folder / ("a." + std::to_string(1000 + i) + ".tga"), "1234");
  std::vector<ksn::folder_row> rows;
  ASSERT_EQ(ksn::list_rows(folder.path(), {}, std::chrono::milliseconds(-1), rows), 0);
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(ksn::frames_text(rows[0]), "1000-1299");
  EXPECT_TRUE(rows[0].about);
  EXPECT_EQ(rows[0].bytes, 1200);
}

}  // namespace
