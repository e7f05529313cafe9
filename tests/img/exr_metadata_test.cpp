#include <ImfChromaticitiesAttribute.h>
#include <ImfDoubleAttribute.h>
#include <ImfEnvmapAttribute.h>
#include <ImfFloatAttribute.h>
#include <ImfFloatVectorAttribute.h>
#include <ImfIntAttribute.h>
#include <ImfMatrixAttribute.h>
#include <ImfOpaqueAttribute.h>
#include <ImfPreviewImage.h>
#include <ImfRationalAttribute.h>
#include <ImfStandardAttributes.h>
#include <ImfStringAttribute.h>
#include <ImfStringVectorAttribute.h>
#include <ImfVecAttribute.h>
#include <gtest/gtest.h>

#include "exr_files.h"
#include "img/format.h"
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

TEST(ExrMetadata, EveryTypeOfAttribute) {
  shape s;
  s.display = {{-1, 2}, {38, 41}};
  s.data = {{0, 4}, {7, 11}};
  s.compression = Imf::B44A_COMPRESSION;
  s.channels = {{"R"}, {"Z", Imf::FLOAT}, {"id", Imf::UINT, 2, 4}};
  Imf::Header header;
  header.pixelAspectRatio() = 1.5F;
  header.setPreviewImage(Imf::PreviewImage(12, 9));
  header.insert("owner", Imf::StringAttribute("Studio \xC3\x9C"));
  header.insert("latin", Imf::StringAttribute("caf\xE9"));
  header.insert("count", Imf::IntAttribute(-17));
  header.insert("fraction", Imf::FloatAttribute(0.1F));
  header.insert("precise", Imf::DoubleAttribute(1.0 / 3));
  header.insert("ratio", Imf::RationalAttribute(Imf::Rational(30000, 1001)));
  header.insert("map", Imf::EnvmapAttribute(Imf::ENVMAP_CUBE));
  header.insert("v2i", Imf::V2iAttribute({1, -2}));
  header.insert("v3f", Imf::V3fAttribute({1.5F, 2, -3}));
  header.insert("m33", Imf::M33fAttribute({1, 2, 3, 4, 5, 6, 7, 8, 9}));
  header.insert("list", Imf::StringVectorAttribute({"left", "right"}));
  header.insert("floats", Imf::FloatVectorAttribute({1, 0.5F}));
  header.insert("chromaticities", Imf::ChromaticitiesAttribute(Imf::Chromaticities()));
  Imf::addTimeCode(header, Imf::TimeCode(1, 2, 3, 4, true, false, true, true, false, true));
  Imf::addKeyCode(header, Imf::KeyCode(1, 2, 3, 4, 5, 6, 70));
  const img::image image = load_with(header, s);
  const std::pair<const char*, const char*> expected[] = {
      {"channels", "R HALF, Z FLOAT, id UINT 2x4"},
      {"compression", "B44A_COMPRESSION"},
      {"dataWindow", "0 4 7 11"},
      {"displayWindow", "-1 2 38 41"},
      {"lineOrder", "INCREASING_Y"},
      {"pixelAspectRatio", "1.5"},
      {"screenWindowCenter", "0 0"},
      {"screenWindowWidth", "1"},
      {"preview", "[preview image 12x9]"},
      {"owner", "Studio \xC3\x9C"},
      {"latin", "caf?"},
      {"count", "-17"},
      {"fraction", "0.1000000015"},
      {"precise", "0.3333333333"},
      {"ratio", "30000/1001"},
      {"map", "ENVMAP_CUBE"},
      {"v2i", "1 -2"},
      {"v3f", "1.5 2 -3"},
      {"m33", "1 2 3 4 5 6 7 8 9"},
      {"list", "left, right"},
      {"floats", "1 0.5"},
      {"chromaticities",
       "0.6399999857 0.3300000131 0.3000000119 0.6000000238 0.150000006 0.05999999866 0.3127000034 0.3289999962"},
      {"timeCode", "01:02:03:04 df:1 cf:0 f/p:1 bgf0:1 bgf1:0 bgf2:1"},
      {"keyCode", "01 02 000003 0004 05 ppf:6 ppc:70"},
  };
  for (const auto& [name, text] : expected) {
    const auto found = image.metadata.find(name);
    ASSERT_NE(found, image.metadata.end()) << name;
    EXPECT_EQ(found->second, text) << name;
  }
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
  const img::image image = load_with(header);
  EXPECT_EQ(image.timecode.code, 0x41020304u);
  EXPECT_EQ(image.timecode.user, 0x55667788u);
  EXPECT_EQ(image.timecode.den, 1u);
  EXPECT_EQ(image.keycode, (img::keycode{1, 2, 3, 4, 5, 6, 70}));
  EXPECT_EQ(image.frame_rate_nm, 24000);
  EXPECT_EQ(image.frame_rate_dn, 1001);

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
