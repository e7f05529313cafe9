// Files on disk to frames.
#include <gtest/gtest.h>

#include <filesystem>

#include "composition/opening/sequence.h"
#include "composition/test_document.h"

namespace {

using support::tga;
using support::write_file;

template <class Names>
std::string joined(const Names& names) {
  std::string text;
  for (const auto& name : names) text.append(text.empty() ? "" : " ").append(name);
  return text;
}

TEST(scan, files_and_their_frames) {
  struct row {
    std::vector<std::string> files;
    std::string pattern;
    bool forced;
    std::string names;  // empty for a failure; a single image has its own name alone
    ksn::source_type type = ksn::source_type::sequence;
  };
  std::vector<std::string> seven_of_ten;
  for (const int n : {10, 11, 12, 13, 14, 15, 19}) seven_of_ten.push_back("s." + std::to_string(n) + ".tga");
  const row rows[] = {
      {{"s.0001.tga", "s.0002.tga", "s.0004.tga"}, "s.????.tga", false, "s.0001.tga s.0002.tga s.0003.tga s.0004.tga"},
      {{"s.0001.tga", "s.0002.tga", "s.0004.tga"}, "s.????.tga", true, "s.0001.tga s.0002.tga s.0004.tga"},
      {{"a.1.tga", "a.5.tga", "a.9.tga"}, "a.?.tga", false, "a.1.tga a.5.tga a.9.tga"},
      {seven_of_ten, "s.??.tga", false,
       "s.10.tga s.11.tga s.12.tga s.13.tga s.14.tga s.15.tga s.16.tga s.17.tga s.18.tga s.19.tga"},
      {{"x.-3.tga", "x.-2.tga", "x.-1.tga", "x.00.tga", "x.01.tga", "x.+2.tga", "x.03.tga"},
       "x.??.tga",
       false,
       "x.-3.tga x.-2.tga x.-1.tga x.00.tga x.01.tga x.+2.tga x.03.tga"},
      {{"x.01.tga", "x.-1.tga", "x.-9.tga", "x.70.tga"}, "x.??.tga", true, "x.-9.tga x.-1.tga x.01.tga x.70.tga"},
      {{"x.-2.tga", "x.00.tga", "x.-1.tga"}, "x.??.tga", true, "x.-2.tga x.-1.tga x.00.tga"},
      {{"f2.tga", "f2000.tga", "f002.tga", "F02.tga"}, "f*.tga", true, "f2.tga F02.tga f002.tga f2000.tga"},
      {{"S.01.TGA", "s.03.tga", "s.02.Tga"}, "s.??.tga", false, "S.01.TGA s.02.Tga s.03.tga"},
      {{"f.9.tga", "f.10.tga", "f.11.tga"}, "f.*.tga", false, "f.9.tga f.10.tga f.11.tga"},
      {{"f.1.tga", "f.3.tga", "f.4.tga"}, "f.*.tga", false, "f.1.tga f.2.tga f.3.tga f.4.tga"},
      {{"a0b9.tga", "a1b0.tga", "a0b11.tga"}, "a?b*.tga", true, "a0b9.tga a0b11.tga a1b0.tga"},
      {{"f.07.tga", "f.7.tga", "f.8.tga"}, "f.*.tga", false, "f.07.tga f.8.tga"},
      {{"d20240101120000.tga", "d20240101120001.tga"},
       "d??????????????.tga",
       false,
       "d20240101120000.tga d20240101120001.tga"},
      {{"one.5.tga", "one.5.txt"}, "one.?.tga", false, "one.5.tga", ksn::source_type::image},
      {{"one.5.tga"}, "one.?.tga", true, "one.5.tga"},
      {{"one.5.txt"}, "one.?.txt", false, ""},
      {{}, "one.?.tga", false, ""},
      {{}, "one.?.tga", true, "fallback.tga"},
      {{"b10.tga", "b9.jpg", "A2.png", "readme.txt", "below/c1.tga"}, "*", false, "A2.png b9.jpg b10.tga"},
      {{"only.tga"}, "*", false, "only.tga", ksn::source_type::image},
      {{"plain.tga", "other.tga"}, "plain.tga", true, "plain.tga"},
  };
  for (const row& r : rows) {
    support::temp_folder folder;
    for (const std::string& file : r.files) write_file(folder / file, tga());
    ksn::track_info record;
    std::vector<std::string> errors;
    const std::string pattern = folder / r.pattern;
    const auto note = [&](const std::string& line) { errors.push_back(line); };
    const auto alpha = ksn::alpha_type::mask;
    const bool found = r.forced
                           ? ksn::scan_folder(pattern, record, alpha, true, "fallback.tga") == ksn::scan_result::found
                           : ksn::scan_sequence(pattern, pattern, record, alpha, note);
    const std::string what = r.pattern + " over " + joined(r.files);
    EXPECT_EQ(found, !r.names.empty()) << what;
    if (!found) {
      EXPECT_EQ(errors, std::vector{'"' + pattern + "\": Path contains no images"});
      continue;
    }
    EXPECT_EQ(record.source.type, r.type) << what;
    if (r.type == ksn::source_type::image) {
      EXPECT_EQ(record.source.path, folder / r.names);
      EXPECT_EQ(record.name, r.names);
      EXPECT_EQ(record.source.frames, 1);
      continue;
    }
    EXPECT_EQ(joined(record.source.names), r.names) << what;
    EXPECT_EQ(record.source.frames, static_cast<int>(record.source.names.size()));
    EXPECT_EQ(record.source.path, folder.path() + "/");
    EXPECT_EQ(record.source.mask, r.pattern);
    const bool header_read = !r.files.empty() && !record.source.names.front().ends_with(".png");
    EXPECT_EQ(record.source.width, header_read ? 4 : 0) << what;
    EXPECT_TRUE(record.look.visible);
  }
}

TEST(scan, alpha_mode_and_name) {
  support::temp_folder folder;
  write_file(folder / "shot/a.1.tga", tga(true));
  write_file(folder / "shot/a.2.tga", tga(false));
  ksn::track_info record;
  ASSERT_TRUE(ksn::scan_sequence(folder / "shot/a.?.tga", "", record, ksn::alpha_type::pm, nullptr));
  EXPECT_EQ(record.look.alpha_type, ksn::alpha_type::pm) << "as the first frame has alpha";
  EXPECT_EQ(record.name, "a.#.tga");
  record.timing.begin = 7;
  record.timing.send_f = 0.5;
  ASSERT_TRUE(ksn::add_folder(folder / "shot", record, ksn::alpha_type::pm, nullptr));
  EXPECT_EQ(record.name, "shot");
  EXPECT_EQ(record.source.mask, "*");
  EXPECT_EQ(record.timing.begin, 0);
  EXPECT_EQ(record.timing.send_f, 1.0);
}

TEST(scan, folders_links_and_broken_headers) {
  support::temp_folder folder;
  std::filesystem::create_directories(folder / "s.1.tga");
  write_file(folder / "s.2.tga", "no picture");
  std::filesystem::create_symlink("s.2.tga", folder / "s.3.tga");
  std::filesystem::create_symlink("gone", folder / "s.4.tga");
  ksn::track_info record;
  ASSERT_TRUE(ksn::scan_sequence(folder / "s.?.tga", "", record, ksn::alpha_type::mask, nullptr));
  EXPECT_EQ(joined(record.source.names), "s.2.tga s.3.tga s.4.tga") << "the folder is no frame";
  EXPECT_EQ(record.source.width, 0);
  EXPECT_EQ(record.look.alpha_type, ksn::alpha_type::ignore);
}

}  // namespace
