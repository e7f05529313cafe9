#include <ImfBoxAttribute.h>
#include <ImfChromaticitiesAttribute.h>
#include <ImfDoubleAttribute.h>
#include <ImfEnvmapAttribute.h>
#include <ImfFloatAttribute.h>
#include <ImfFloatVectorAttribute.h>
#include <ImfIntAttribute.h>
#include <ImfMatrixAttribute.h>
#include <ImfPreviewImageAttribute.h>
#include <ImfRationalAttribute.h>
#include <ImfStandardAttributes.h>
#include <ImfStringAttribute.h>
#include <ImfStringVectorAttribute.h>
#include <ImfVecAttribute.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>

#include "img/format.h"
#include "img/formats/exr/files.h"
#include "support/temp_folder.h"

namespace {

using exr_files::shape;

img::image load_with(const Imf::Header& header, const shape& s = {}) {
  const support::temp_folder folder;
  exr_files::write(folder / "a.exr", s, header);
  img::image image;
  img::load(image, folder / "a.exr");
  return image;
}

template <class Attribute>
std::shared_ptr<Imf::Attribute> made(const Attribute& attribute) {
  return std::make_shared<Attribute>(attribute);
}

TEST(ExrMetadata, EveryTypeOfAttribute) {
  const Imf::TimeCode time(1, 2, 3, 4, true, false, true, true, false, true);
  const Imf::KeyCode key(1, 2, 3, 4, 5, 6, 70);
  // Those without a value come from the file itself.
  const struct {
    const char* name;
    std::shared_ptr<Imf::Attribute> value;
    const char* text;
  } rows[] = {
      {"channels", {}, "R HALF, Z FLOAT, id UINT 2x4"},
      {"compression", {}, "B44A_COMPRESSION"},
      {"dataWindow", {}, "0 4 7 11"},
      {"displayWindow", {}, "-1 2 38 41"},
      {"lineOrder", {}, "INCREASING_Y"},
      {"pixelAspectRatio", {}, "1.5"},
      {"screenWindowCenter", {}, "0 0"},
      {"screenWindowWidth", {}, "1"},
      {"preview", made(Imf::PreviewImageAttribute(Imf::PreviewImage(12, 9))), "[preview image 12x9]"},
      {"owner", made(Imf::StringAttribute("Studio \xC3\x9C")), "Studio \xC3\x9C"},
      {"latin", made(Imf::StringAttribute("caf\xE9")), "caf?"},
      {"count", made(Imf::IntAttribute(-17)), "-17"},
      {"fraction", made(Imf::FloatAttribute(0.1F)), "0.1000000015"},
      {"precise", made(Imf::DoubleAttribute(1.0 / 3)), "0.3333333333"},
      {"ratio", made(Imf::RationalAttribute({30000, 1001})), "30000/1001"},
      {"map", made(Imf::EnvmapAttribute(Imf::ENVMAP_CUBE)), "ENVMAP_CUBE"},
      {"box", made(Imf::Box2fAttribute({{0.5F, 1}, {2, 3}})), "0.5 1 2 3"},
      {"v2i", made(Imf::V2iAttribute({1, -2})), "1 -2"},
      {"v2d", made(Imf::V2dAttribute({0.1, -2})), "0.1 -2"},
      {"v3i", made(Imf::V3iAttribute({1, -2, 3})), "1 -2 3"},
      {"v3f", made(Imf::V3fAttribute({1.5F, 2, -3})), "1.5 2 -3"},
      {"v3d", made(Imf::V3dAttribute({0.1, 2, -3})), "0.1 2 -3"},
      {"m33", made(Imf::M33fAttribute({1, 2, 3, 4, 5, 6, 7, 8, 9})), "1 2 3 4 5 6 7 8 9"},
      {"m33d", made(Imf::M33dAttribute({0.1, 2, 3, 4, 5, 6, 7, 8, 9})), "0.1 2 3 4 5 6 7 8 9"},
      {"m44", made(Imf::M44fAttribute(Imath::M44f())), "1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1"},
      {"m44d", made(Imf::M44dAttribute(Imath::M44d())), "1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1"},
      {"list", made(Imf::StringVectorAttribute({"left", "right"})), "left, right"},
      {"floats", made(Imf::FloatVectorAttribute({1, 0.5F})), "1 0.5"},
      {"chromaticities", made(Imf::ChromaticitiesAttribute({{0.5F, 0.25F}, {1, 2}, {3, 4}, {5, 6}})),
       "0.5 0.25 1 2 3 4 5 6"},
      {"timeCode", made(Imf::TimeCodeAttribute(time)), "01:02:03:04 df:1 cf:0 f/p:1 bgf0:1 bgf1:0 bgf2:1"},
      {"keyCode", made(Imf::KeyCodeAttribute(key)), "01 02 000003 0004 05 ppf:6 ppc:70"},
  };
  shape s;
  s.display = {{-1, 2}, {38, 41}};
  s.data = {{0, 4}, {7, 11}};
  s.compression = Imf::B44A_COMPRESSION;
  s.channels = {{"R"}, {"Z", Imf::FLOAT}, {"id", Imf::UINT, 2, 4}};
  Imf::Header header;
  header.pixelAspectRatio() = 1.5F;
  std::map<std::string, std::string> expected;
  for (const auto& row : rows) {
    if (row.value) header.insert(row.name, *row.value);
    expected[row.name] = row.text;
  }
  EXPECT_EQ(load_with(header, s).metadata, expected);
}

TEST(ExrMetadata, NamedValues) {
  const char* const compressions[] = {"NO", "RLE", "ZIPS", "ZIP", "PIZ", "PXR24", "B44", "B44A", "DWAA", "DWAB"};
  shape s;
  s.order = Imf::DECREASING_Y;
  for (int i = 0; i < 10; ++i) {
    s.compression = static_cast<Imf::Compression>(i);
    const img::image image = load_with(Imf::Header(), s);
    EXPECT_EQ(image.metadata.at("compression"), compressions[i] + std::string("_COMPRESSION"));
    EXPECT_EQ(image.metadata.at("lineOrder"), "DECREASING_Y");
  }
  shape tiled;
  tiled.tile = 16;
  tiled.levels = Imf::RIPMAP_LEVELS;
  EXPECT_EQ(load_with(Imf::Header(), tiled).metadata.at("tiles"), "16x16 RIPMAP_LEVELS ROUND_DOWN");
}

// A type that no library knows, put in place of one of the same length.
TEST(ExrMetadata, UnknownTypesShowTheirName) {
  const support::temp_folder folder;
  const std::string path = folder / "a.exr";
  Imf::Header header;
  header.insert("special", Imf::RationalAttribute(Imf::Rational(1, 2)));
  exr_files::write(path, {}, header);
  std::string file = support::read_file(path);
  const std::size_t at = file.find("special") + 8;
  ASSERT_EQ(file.substr(at, 8), "rational");
  file.replace(at, 8, "unheard!");
  support::write_file(path, file);
  img::image image;
  img::load(image, path);
  EXPECT_EQ(image.metadata.at("special"), "[type unheard!]");
}

TEST(ExrMetadata, CodesAndRateOfTheImage) {
  Imf::Header header;
  Imf::addTimeCode(header, Imf::TimeCode(0x41020304, 0x55667788));
  Imf::addKeyCode(header, Imf::KeyCode(1, 2, 3, 4, 5, 6, 70));
  Imf::addFramesPerSecond(header, Imf::Rational(24000, 1001));
  header.pixelAspectRatio() = 1.5F;
  const img::image image = load_with(header);
  EXPECT_EQ(image.timecode.code, 0x41020304u);
  EXPECT_EQ(image.timecode.user, 0x55667788u);
  EXPECT_EQ(image.timecode.den, 1u);
  EXPECT_EQ(image.keycode, (img::keycode{1, 2, 3, 4, 5, 6, 70}));
  EXPECT_EQ(image.frame_rate_nm, 24000);
  EXPECT_EQ(image.frame_rate_dn, 1001);
  EXPECT_EQ(image.pixel_aspect, 1.5);

  const img::image bare = load_with(Imf::Header());
  EXPECT_EQ(bare.timecode, img::timecode());
  EXPECT_EQ(bare.keycode, img::keycode());
  EXPECT_EQ(bare.frame_rate_nm, 0);
  EXPECT_EQ(bare.frame, -1);

  Imf::Header fields;
  Imf::addTimeCode(fields, Imf::TimeCode(0x81020304, 0));
  fields.insert("framesPerSecond", Imf::FloatAttribute(50));
  EXPECT_EQ(to_text(load_with(fields).timecode), "01:02:03:04+1/2");

  Imf::Header absurd;
  absurd.insert("framesPerSecond", Imf::RationalAttribute(Imf::Rational(24, 0)));
  EXPECT_EQ(load_with(absurd).frame_rate_nm, 0);
}

}  // namespace
