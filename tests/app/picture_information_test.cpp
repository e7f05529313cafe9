// The information that the program prints of a film frame, from outside.
#include <algorithm>

#include "img/formats/dpx/files.h"
#include "img/formats/exr/files.h"
#include "support/program_test.h"

namespace {

class picture_information : public support::program_test {};

TEST_F(picture_information, metadata_of_a_scan) {
  for (int i = 1; i <= 3; ++i) {
    film_files::bytes file = film_files::make_dpx({});
    file.put_text(160, std::string("two\nlines\0", 10));
    file.put32(1920, 0x01020300 + static_cast<std::uint32_t>(i));
    file.put32(1712, 100 + static_cast<std::uint32_t>(i));
    file.put_real(1724, 24);
    file.put_text(1664, "0102030000040005");
    support::write_file(folder / ("scan.000" + std::to_string(i) + ".dpx"), file.data);
  }
  const support::outcome found = run({"scan.####.dpx", "--set_time=1", "--print_metadata", "--exit"});
  EXPECT_EQ(found.error_lines(), strings{});
  const strings lines = found.out_lines();
  const strings first = {"path=" + (folder / "scan.0002.dpx"),
                         "size=5x3",
                         "pixel_form=U packed 10-bit",
                         "frame=102",
                         "timecode=01:02:03:02",
                         "timecode2=",
                         "keycode=01 02 000004 0005 03",
                         "rate=24/1",
                         "creator=two lines"};
  ASSERT_GT(lines.size(), first.size());
  EXPECT_EQ(strings(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(first.size())), first);
  EXPECT_TRUE(std::is_sorted(lines.begin() + 8, lines.end()));
  EXPECT_NE(std::find(lines.begin(), lines.end(), "e0_descriptor=50 (RGB)"), lines.end());
}

TEST_F(picture_information, layers_of_a_file_and_one_of_them) {
  exr_files::shape s;
  s.channels = {{"R"}, {"G"}, {"B"}, {"diffuse.R"}, {"matte"}};
  exr_files::write(folder / "beauty.exr", s);
  const support::outcome found =
      run({"beauty.exr", "--print_image_layers", "--image_layer=matte", "--print_metadata", "--exit"});
  EXPECT_EQ(found.error_lines(), strings{});
  const strings lines = found.out_lines();
  ASSERT_GT(lines.size(), 5u);
  EXPECT_EQ(strings(lines.begin(), lines.begin() + 2), (strings{"diffuse", "matte"}));
  EXPECT_EQ(lines[3], "size=37x53");
  EXPECT_EQ(lines[4], "pixel_form=L half");
}

TEST_F(picture_information, a_channel_by_its_name_and_the_shape_of_pixels) {
  exr_files::shape s;
  s.channels = {{"R"}, {"G"}, {"B"}, {"Z"}};
  Imf::Header header;
  header.pixelAspectRatio() = 2;
  exr_files::write(folder / "beauty.exr", s, header);
  const support::outcome found = run({"beauty.exr", "--image_layer=Z", "--print_field=1:image_layer",
                                      "--print_field=1:pixel_aspect", "--image_layer=Q", "--exit"});
  ASSERT_EQ(found.error_lines().size(), 1u);
  EXPECT_NE(found.error_lines()[0].find("\"Q\""), std::string::npos);
  ASSERT_EQ(found.out_lines().size(), 2u);
  EXPECT_EQ(found.out_lines()[0], "1:image_layer=Z");
  EXPECT_EQ(std::stod(found.out_lines()[1].substr(found.out_lines()[1].find('=') + 1)), 2);
}

TEST_F(picture_information, says_what_is_missing) {
  support::write_file(folder / "scan.dpx", film_files::make_dpx({}).data);
  EXPECT_EQ(run({"--print_metadata", "--exit"}).error_lines(),
            strings{"\"--print_metadata\": Option requires a selected layer"});
  EXPECT_EQ(run({"--print_image_layers", "--exit"}).error_lines(),
            strings{"\"--print_image_layers\": Option requires a selected layer"});
  EXPECT_EQ(run({"scan.dpx", "--begin=10", "--print_metadata", "--exit"}).error_lines(),
            strings{"\"--print_metadata\": The layer has no picture at the current time"});
  EXPECT_EQ(run({"scan.dpx", "--print_image_layers", "--exit"}).out, "");
}

}  // namespace
