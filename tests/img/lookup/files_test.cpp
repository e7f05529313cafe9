// Lookup tables from and to their four text forms.
#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cmath>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "img/lookup/table.h"
#include "paths.h"
#include "support/failure.h"
#include "support/temp_folder.h"

namespace {

using img::lookup_table;

std::string repeated(const std::string& text, int count) {
  std::string out;
  for (int i = 0; i < count; ++i) out += text;
  return out;
}

double curve(const lookup_table& table, int c, int i) {
  return table.curves()[c * 1024 + i];
}

// Value c (0 red, 1 green, 2 blue) of a node.
double node(const lookup_table& table, int r, int g, int b, int c) {
  const int n = table.points();
  return table.cube()[((r * n + g) * n + b) * 4 + 2 - c] / 4096.0 - 0.125;
}

template <class T>
std::string triple(T r, T g, T b) {
  return std::to_string(r) + ' ' + std::to_string(g) + ' ' + std::to_string(b) + '\n';
}

// The lines of a cube of `size` points a side, line(r, g, b) for each.
template <class Line>
std::string cube_lines(int size, bool red_fastest, Line&& line) {
  std::string text;
  for (int outer = 0; outer < size; ++outer) {
    for (int g = 0; g < size; ++g) {
      for (int inner = 0; inner < size; ++inner) {
        text += red_fastest ? line(inner, g, outer) : line(outer, g, inner);
      }
    }
  }
  return text;
}

// Calls check(r, g, b) for all nodes of a table.
template <class Check>
void for_nodes(int points, Check&& check) {
  for (int i = 0; i < points * points * points; ++i) check(i / points / points, i / points % points, i % points);
}

lookup_table with_curves(const std::vector<double>& values) {
  lookup_table table;
  table.set_1d(values, true);
  return table;
}

lookup_table random_cube(unsigned seed, int least, int most, int points = 17) {
  std::mt19937 random(seed);
  std::vector<std::uint16_t> nodes(lookup_table::entries_of(points));
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    nodes[i] = i % 4 == 3 ? 0 : static_cast<std::uint16_t>(least + random() % (most - least + 1));
  }
  lookup_table table;
  table.set_3d(nodes, true);
  return table;
}

class lookup_files : public testing::Test {
 protected:
  lookup_table load(const std::string& name, const std::string& text) {
    support::write_file(folder_ / name, text);
    lookup_table table;
    img::load_lookup(folder_ / name, table);
    return table;
  }

  // As support::failure_of(). The table must stay as it was.
  std::string failure(const std::string& name, const std::string& text) {
    support::write_file(folder_ / name, text);
    const lookup_table before = with_curves(std::vector<double>(lookup_table::curve_entries, 0.25));
    lookup_table table = before;
    const std::string failure = support::failure_of(folder_ / name, [&] { img::load_lookup(folder_ / name, table); });
    EXPECT_TRUE(failure.empty() || table == before) << name;
    return failure;
  }

  std::string saved(const std::string& name, const lookup_table& table) {
    img::save_lookup(folder_ / name, table);
    return support::read_file(folder_ / name);
  }

  support::temp_folder folder_;
};

TEST_F(lookup_files, failures) {
  const std::string eof = "io::eof_error: Unexpected end of file";
  auto invalid = [](const std::string& message) { return "io::invalid_format: " + message; };
  const std::string data = invalid("Invalid data line");
  const std::string size3 = invalid("Invalid 3D table size");
  const std::string size1 = invalid("Invalid 1D table size");
  const std::string both = invalid("3D+1D tables are not supported");
  const std::string cube8 = repeated("0 0 0\n", 8);
  const std::string csp = "CSPLUTV100\n3D\n";
  const std::string csp_shaper = "2\n0 1\n0 1\n";
  const struct {
    std::string name;
    std::string expected;
    std::vector<std::string> texts;
  } rows[] = {
      {"a.txt", invalid("Unrecognized file type"), {""}},
      {"lut", invalid("Unrecognized file type"), {"LUT: 3 2\n0 1 0 1 0 1"}},

      {"a.LUT",
       invalid("Unsupported channel count or invalid table size"),
       {"LUT: 3 1\n0\n0\n0\n", "LUT: 1 4\n0\n0\n0\n0\n", "LUT: 4 2\n", "LUT: 3\n0\n", "LUT:\n", "LUT: 3 -5\n",
        "LUT: 3 99999999999\n", "LUT: 3 2000000000\n0\n"}},
      {"a.lut", invalid("Missing line \"LUT:\""), {"", "no mark\nlut: 3 2\n"}},
      {"a.lut", eof, {"LUT: 3 1000000\n0\n1\n", "LUT: 3 2\n0\n1\n0\n1\n0\n"}},
      {"a.lut",
       data,
       {"LUT: 3 2\n0\nx\n0\n1\n0\n1\n", "LUT: 3 2\n0\n0.5\n0\n1\n0\n1\n", "LUT: 3 2\n0\n99999999999\n0\n1\n0\n1\n"}},

      {"a.3dl",
       eof,
       {"", "0 64 128 192\n", "0 1023\n" + repeated("0 0 0\n", 7), "Mesh 4 12\n" + repeated("0 0 0\n", 4912),
        std::string(100000, '7')}},
      {"a.3dl",
       size3,
       {cube8 + "0 0 0\n", "0 1023\n" + repeated("0 0 0\n", 27), "Mesh 30 12\n" + cube8, "Mesh four\n" + cube8}},
      {"a.3dl", data, {"0 0 0\n0 0\n", "0 0 0\n0 0 0 0\n", "0 0 0\n0 0.5 1\n", "0 0 0\n0 0 1000000000000\n"}},

      {"a.cube", invalid("Missing table size"), {"", "TITLE \"nothing\"\n", "0 0 0\nLUT_3D_SIZE 2\n"}},
      {"a.cube", both, {"LUT_3D_SIZE 2\nLUT_1D_SIZE 2\n"}},
      {"a.cms", both, {"LUT_1D_SIZE 2\nLUT_3D_SIZE 2\n" + cube8}},
      {"a.cube",
       size1,
       {"LUT_1D_SIZE 1\n", "LUT_1D_SIZE -7\n", "LUT_1D_SIZE 99999999999999999999\n", "LUT_1D_SIZE\n",
        "LUT_1D_SIZE 2\n0 0 0\nLUT_1D_SIZE 3\n"}},
      {"a.cube",
       size3,
       {"LUT_3D_SIZE 1\n", "LUT_3D_SIZE x\n", "LUT_3D_SIZE 2000000000\n0 0 0\n",
        "LUT_3D_SIZE 2\n" + cube8 + "0 0 0\n"}},
      {"a.cube",
       invalid("Invalid domain"),
       {"DOMAIN_MIN 0 1 0\nLUT_1D_SIZE 2\n0 0 0\n1 1 1\n", "LUT_3D_INPUT_RANGE 1 0\nLUT_3D_SIZE 2\n" + cube8}},
      {"a.cube", data, {"DOMAIN_MAX 1 1\nLUT_3D_SIZE 2\n" + cube8, "LUT_1D_INPUT_RANGE 0 nan\n"}},
      {"a.cube", eof, {"LUT_3D_SIZE 257\n0 0 0\n", "LUT_3D_SIZE 2\n" + repeated("0 0 0\n", 7)}},

      {"a.csp", eof, {"", "CSPLUTV100\n3D\n", csp + csp_shaper + csp_shaper + csp_shaper + "2 2 2\n0 0 0\n"}},
      {"a.csp", data, {"CSPLUTV200\n", "CSPLUTV100\n2D\n0\n", csp + "2\n0 x\n0 1\n", csp + "2\n0\n0 1\n"}},
      {"a.csp",
       invalid("Invalid table size"),
       {csp + "1\n0\n0\n", csp + csp_shaper + csp_shaper + csp_shaper + "2 2 300\n"}},
      {"a.csp", invalid("The inputs in line 4 do not rise"), {csp + "2\n0 0\n0 1\n2\n"}},
      {"a.spi1d", eof, {"Length 2\nComponents 1\n{\n0\n}\n", "Length 1000000\nComponents 3\n{\n0 0 0\n"}},
      {"a.spi1d", data, {"From 1 0\n", "Length 1\n", "Components 4\n", "Length 2\nComponents 2\n{\n0\n"}},
      {"a.spi1d", invalid("Missing"), {"", "Length 2\n{\n0\n1\n}\n"}},
      {"a.spi3d", eof, {"", "SPILUT 1.0\n3 3\n2 2 2\n0 0 0 0 0 0\n"}},
      {"a.spi3d", size3, {"SPILUT 1.0\n3 3\n2 2 1\n", "SPILUT 1.0\n3 3\n2 2 300\n"}},
      {"a.spi3d", data, {"LUT\n", "SPILUT 1.0\n3 3\n2 2 2\n0 0 2 0 0 0\n", "SPILUT 1.0\n3 3\n2 2 2\n0 0 0 0 0\n"}},
      {"a.spi3d", invalid("Invalid 3D table: a node"), {"SPILUT 1.0\n3 3\n2 2 2\n" + repeated("0 0 0 1 1 1\n", 8)}},
      {"a.cc", invalid("No ColorCorrection"), {"", "<x/>", "<!-- <ColorCorrection> -->", "<ColorCorrection"}},
      {"a.cdl", invalid("Invalid Slope: \"1 1\""), {"<ColorCorrection><Slope>1 1</Slope>"}},
      {"a.ccc",
       invalid("Invalid Power"),
       {"<ColorCorrection><Power>1 0 1</Power>", "<ColorCorrection><Power>a</Power>"}},
      {"a.cc", invalid("Invalid Saturation"), {"<ColorCorrection><Saturation>-1</Saturation>"}},
  };
  for (const auto& row : rows) {
    for (const std::string& text : row.texts) {
      EXPECT_EQ(failure(row.name, text).substr(0, row.expected.size()), row.expected) << row.name << "\n"
                                                                                      << text.substr(0, 80);
    }
  }
  for (const std::string line : {"nan 0 0", "-inf 0 0", "0 0", "0 0 0 0", "0 0 0x", "0 0,5 0", "0 nan 0", "0 -inf 0",
                                 "0 1e999 0", "0 0 -", "0 +-1 0"}) {
    EXPECT_EQ(failure("a.cube", "# note\r\n\r\nLUT_1D_SIZE 2\r\n" + line + "\n1 1 1\n"),
              data + " 4: \"" + line + "\"; expected three finite numbers");
  }
  EXPECT_EQ(failure("a.cube", std::string("LUT_1D_SIZE 2\n0 0 \0\n1 1 1\n", 26)),
            data + " 2: \"0 0 ?\"; expected three finite numbers");
  EXPECT_EQ(failure("a.cube", "0 0 0\nLUT_3D_SIZE 2\n"),
            invalid("Missing table size: line 1 is data, but no LUT_3D_SIZE or LUT_1D_SIZE comes before it"));
}

TEST_F(lookup_files, unreadable_files) {
  lookup_table table;
  EXPECT_THROW(img::load_lookup(folder_ / "none.cube", table), io::open_error);
  std::filesystem::create_directory(folder_ / "folder.cube");
  EXPECT_THROW(img::load_lookup(folder_ / "folder.cube", table), io::open_error);
  EXPECT_TRUE(table.empty());
}

TEST_F(lookup_files, lut_scale_follows_the_largest_value) {
  const struct {
    int largest;
    double scale;
  } rows[] = {{1, 255},     {255, 255},   {256, 1023},   {1023, 1023},
              {1024, 4095}, {4095, 4095}, {4096, 65535}, {65535, 65535}};
  for (const auto& row : rows) {
    const std::string top = std::to_string(row.largest);
    // The largest value is one of green's, the scale is that of all.
    const lookup_table table = load("a.lut", "# note\nLUT: 3 2 12\n0\n1\n0\n" + top + "\n0\n 1 \n");
    EXPECT_TRUE(table.has_curves() && !table.has_cube());
    EXPECT_TRUE(table.output_srgb1);
    EXPECT_DOUBLE_EQ(curve(table, 0, 1023), 1 / row.scale) << row.largest;
    EXPECT_DOUBLE_EQ(curve(table, 1, 1023), row.largest / row.scale) << row.largest;
    EXPECT_DOUBLE_EQ(curve(table, 1, 0), 0);
    EXPECT_NEAR(curve(table, 1, 341), row.largest / row.scale / 3, 1e-12) << row.largest;
  }
}

TEST_F(lookup_files, curves_are_drawn_through_their_points) {
  // Entry 511.5 would be the middle.
  const lookup_table tent = load("b.cube", "LUT_1D_SIZE 3\r\n0 -7 0\r\n1 2 +1e-3\r\n0 0 0.5\r\n");
  EXPECT_EQ(curve(tent, 0, 0), 0);
  EXPECT_EQ(curve(tent, 1, 0), -7);
  EXPECT_NEAR(curve(tent, 0, 511), 1022 / 1023.0, 1e-12);
  EXPECT_NEAR(curve(tent, 1, 512), 2 * 1022 / 1023.0, 1e-12);
  EXPECT_NEAR(curve(tent, 2, 511), 0.001 * 1022 / 1023.0, 1e-12);
  EXPECT_EQ(curve(tent, 2, 1023), 0.5);
}

TEST_F(lookup_files, a_cube_of_17_passes_unchanged) {
  const std::string floats = "SOMETHING 3\nLUT_3D_SIZE 17\n" + cube_lines(17, true, [](int r, int g, int b) {
                               return triple(r / 16.0, g / 16.0, b / 16.0);
                             });
  const std::string integers =
      "# a\n\n0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n" +
      cube_lines(17, false, [](int r, int g, int b) { return triple(r * 255, g * 255, b * 255); });
  for (const char* name : {"a.cube", "a.cms", "a.3dl"}) {
    const bool is_3dl = std::string(name) == "a.3dl";
    const lookup_table table = load(name, is_3dl ? integers : floats);
    EXPECT_TRUE(table.has_cube() && table.output_srgb3) << name;
    for_nodes(17, [&](int r, int g, int b) {
      const int place[3] = {b, g, r};
      for (int c = 0; c < 3; ++c) {
        const double value = is_3dl ? place[c] * 255 / 4095.0 : place[c] / 16.0;
        ASSERT_EQ(table.cube()[((r * 17 + g) * 17 + b) * 4 + c], std::rint((value + 0.125) * 4096)) << name;
      }
    });
  }
}

TEST_F(lookup_files, other_grids_are_kept) {
  // Two points a side: green 0.5 and blue 1 times the coordinate, and a red that needs all three.
  const lookup_table two = load("a.cms", "LUT_3D_SIZE 2\n" + cube_lines(2, true, [](int r, int g, int b) {
                                           return triple<double>(r * g * b, g * 0.5, b);
                                         }));
  const lookup_table many = load("b.cube", "LUT_3D_SIZE 33\n" + cube_lines(33, true, [](int r, int g, int b) {
                                             return triple(r / 32.0, g / 64.0, b / 32.0);
                                           }));
  // Half of the colours on the way in, so that the table is needed at other places than it has.
  const lookup_table domain =
      load("c.cube", "LUT_3D_SIZE 3\nDOMAIN_MIN 0 -1 0.5\nDOMAIN_MAX 2 1 1.5\n" +
                         cube_lines(3, true, [](int r, int g, int b) { return triple(r / 2.0, g / 2.0, b / 2.0); }));
  EXPECT_EQ(two.points(), 2);
  EXPECT_EQ(node(two, 1, 1, 1, 0), 1);
  EXPECT_EQ(node(two, 1, 0, 1, 0), 0);
  EXPECT_EQ(node(two, 0, 1, 0, 1), 0.5);
  EXPECT_EQ(many.points(), 33);
  for_nodes(33, [&](int r, int g, int b) {
    ASSERT_NEAR(node(many, r, g, b, 0), r / 32.0, 1.0 / 8192);
    ASSERT_NEAR(node(many, r, g, b, 1), g / 64.0, 1.0 / 8192);
    ASSERT_NEAR(node(many, r, g, b, 2), b / 32.0, 1.0 / 8192);
  });
  EXPECT_EQ(domain.points(), 65);
  for_nodes(65, [&](int r, int g, int b) {
    ASSERT_NEAR(node(domain, r, g, b, 0), r / 128.0, 1.0 / 8192);
    ASSERT_NEAR(node(domain, r, g, b, 1), 0.5 + g / 128.0, 1.0 / 8192);
    ASSERT_NEAR(node(domain, r, g, b, 2), std::max(b - 32, 0) / 64.0, 1.0 / 8192);
  });
}

// A cube of its own axes and curves before it, and curves, as each further form writes them.
TEST_F(lookup_files, forms_that_are_only_read) {
  // Red 0 to 2 in its shaper, then the middle of three points at a quarter.
  const lookup_table csp = load(
      "a.csp",
      "CSPLUTV100\n3D\n\nBEGIN METADATA\n0 0\nEND METADATA\n3\n0 1 2\n0 0.25 1\n2\n0 1\n0 1\n2\n0 1\n"
      "0 1\n\n2 3 2\n" +
          [] {
            std::string lines;
            for (int b = 0; b < 2; ++b) {
              for (int g = 0; g < 3; ++g) {
                for (int r = 0; r < 2; ++r) lines += triple<double>(r, g * g / 4.0, b);
              }
            }
            return lines;
          }());
  EXPECT_EQ(csp.points(), 65);
  for_nodes(65, [&](int r, int g, int b) {
    ASSERT_NEAR(node(csp, r, g, b, 0), r / 256.0, 1.0 / 8192);
    ASSERT_NEAR(node(csp, r, g, b, 1), g < 32 ? g / 128.0 : 0.25 + (g - 32) * 0.75 / 32, 1.0 / 8192);
    ASSERT_NEAR(node(csp, r, g, b, 2), b / 64.0, 1.0 / 8192);
  });
  // Two shapers whose ends are further apart than a number can say: what lies below 0 is the first point.
  const std::string steep = "2\n0 1\n-1e308 1e308\n";
  const lookup_table far = load("c.csp", "CSPLUTV100\n3D\n" + steep + steep + "2\n0 1\n0 1\n2 2 2\n" +
                                             repeated("0 0.5 0\n", 4) + repeated("1 0.5 1\n", 4));
  EXPECT_NEAR(node(far, 0, 0, 32, 0), 0.5, 1.0 / 8192);
  EXPECT_NEAR(node(far, 64, 64, 0, 1), 0.5, 1.0 / 8192);
  const lookup_table lines =
      load("b.csp", "CSPLUTV100\n1D\n2\n0 1\n0 1\n2\n0 1\n0 0.5\n2\n0 1\n0 1\n3\n0 0 0\n0.25 1 2\n1 2 4\n");
  EXPECT_NEAR(curve(lines, 0, 1023), 1, 1e-12);
  EXPECT_NEAR(curve(lines, 1, 1023), 1, 1e-12);
  EXPECT_NEAR(curve(lines, 2, 0), 0, 1e-12);

  const lookup_table spi1d = load("a.spi1d", "Version 1\nFrom -1 3\nLength 3\nComponents 1\n{\n 0.0\n 1.0\n 5\n}\n");
  for (int c = 0; c < 3; ++c) {
    EXPECT_NEAR(curve(spi1d, c, 0), 0.5, 1e-12);
    EXPECT_NEAR(curve(spi1d, c, 1023), 1, 1e-12);
  }
  const lookup_table three = load("b.spi1d", "Version 1\nFrom 0 1\nLength 2\nComponents 3\n{\n0 1 2\n1 0 3\n}\n");
  EXPECT_EQ(curve(three, 1, 0), 1);
  EXPECT_EQ(curve(three, 2, 1023), 3);

  std::string nodes = "SPILUT 1.0\n3 3\n3 3 3\n";
  for (int b = 2; b >= 0; --b) {
    for (int r = 0; r < 3; ++r) {
      for (int g = 0; g < 3; ++g) {
        nodes += std::to_string(r) + ' ' + std::to_string(g) + ' ' + std::to_string(b) + ' ' +
                 triple<double>(r / 2.0, g / 4.0, b);
      }
    }
  }
  const lookup_table spi3d = load("a.spi3d", nodes);
  EXPECT_EQ(spi3d.points(), 3);
  for_nodes(3, [&](int r, int g, int b) {
    EXPECT_EQ(node(spi3d, r, g, b, 0), r / 2.0);
    EXPECT_EQ(node(spi3d, r, g, b, 1), g / 4.0);
    EXPECT_EQ(node(spi3d, r, g, b, 2), b);
  });
}

// By the formulas of the ASC, worked out by hand; saturation takes the form of a cube.
TEST_F(lookup_files, color_decisions) {
  const std::string sop =
      "<SOPNode>\n<!-- <Slope>9 9 9</Slope> --><Slope>2 1\t1</Slope><Offset>-0.5 0.25 0</Offset>"
      "<Power>1 1 2</Power></SOPNode>";
  const lookup_table cc =
      load("a.cc", "<?xml version=\"1.0\"?>\n<ColorCorrection id=\"x\">" + sop + "</ColorCorrection>");
  EXPECT_EQ(curve(cc, 0, 0), 0);
  EXPECT_NEAR(curve(cc, 0, 682), 2 * 682 / 1023.0 - 0.5, 1e-12);
  EXPECT_NEAR(curve(cc, 1, 341), 341 / 1023.0 + 0.25, 1e-12);
  EXPECT_EQ(curve(cc, 1, 1023), 1);
  EXPECT_NEAR(curve(cc, 2, 341), 1 / 9.0, 1e-12);
  // The first of a collection, with a prefix and a saturation of half.
  const lookup_table cdl = load("a.cdl",
                                "<ColorDecisionList xmlns:c=\"urn:ASC:CDL:v1.01\"><c:ColorDecision><c:ColorCorrection>"
                                "<c:SatNode><c:Saturation> 0.5 </c:Saturation></c:SatNode></c:ColorCorrection>"
                                "</c:ColorDecision><ColorCorrection>" +
                                    sop + "</ColorCorrection></ColorDecisionList>");
  EXPECT_EQ(cdl.points(), 65);
  EXPECT_NEAR(node(cdl, 64, 0, 0, 0), 0.2126 + 0.5 * (1 - 0.2126), 1.0 / 8192);
  EXPECT_NEAR(node(cdl, 64, 0, 0, 2), 0.5 * 0.2126, 1.0 / 8192);
  EXPECT_NEAR(node(cdl, 32, 32, 32, 1), 0.5, 1.0 / 8192);
}

TEST_F(lookup_files, values_outside_the_fixed_range_are_held) {
  const lookup_table table =
      load("a.cube", "\xEF\xBB\xBFTITLE \"x\"\nLUT_3D_SIZE 2\n" + repeated("-0.2 100 1e-400 # note\r", 8));
  EXPECT_EQ(node(table, 0, 0, 0, 0), -0.125);
  EXPECT_EQ(table.cube()[1], 16383);
  EXPECT_EQ(node(table, 0, 0, 0, 2), 0);
}

TEST_F(lookup_files, depth_of_a_3dl) {
  const struct {
    std::string header;
    int value;
    double expected;
  } rows[] = {{"", 4095, 1},
              {"", 1023, 1023 / 4095.0},
              {"", 4096, 4096 / 65535.0},
              {"", 65535, 1},
              {"3DMESH\nMesh 1 10\n", 1023, 1023 / 1023.0},
              {"3DMESH\nMesh 1 12\n", 4098, 4098 / 4095.0},
              {"3DMESH\nMesh 1 16\n", 1000, 1000 / 65535.0},
              {"# Output bit depth 10\n", 1023, 1},
              {"# Input bit depth 10, output bit depth 16\n", 4095, 4095 / 65535.0},
              {"# in: 8, output: 0 - 1023\n", 1023, 1},
              {"# written by hand, 12 lines, output of a tool\n", 1023, 1023 / 4095.0},
              {"", -4095, -0.125}};
  for (const auto& row : rows) {
    // "Mesh 1" is three points a side.
    const bool mesh = row.header.starts_with("3D");
    const int nodes = mesh ? 27 : 8;
    const std::string text = row.header + repeated("0 0 0\n", nodes - 1) + "0 0 " + std::to_string(row.value) +
                             "\n\n# end\nLUT8\ngamma 1.0\n";
    const lookup_table table = load("a.3dl", text);
    const int last = table.points() - 1;
    EXPECT_EQ(last, mesh ? 2 : 1);
    EXPECT_NEAR(node(table, last, last, last, 2), row.expected, 1.0 / 8192) << row.header << row.value;
    EXPECT_EQ(node(table, 0, 0, 0, 2), 0);
  }
  // Three input positions look like a node.
  std::string text = "0 512 1023\n";
  for (int i = 0; i < 27; ++i) text += std::to_string(i / 9 * 2047) + " 0 0\n";
  EXPECT_NEAR(node(load("b.3dl", text), 1, 2, 2, 0), 2047 / 4095.0, 1.0 / 8192);
}

TEST_F(lookup_files, refused_exports) {
  const lookup_table none, curves = with_curves(std::vector<double>(lookup_table::curve_entries, 0.25));
  const lookup_table cube = random_cube(1, 0, 16383);
  const struct {
    const char* name;
    const lookup_table& table;
    const char* expected;
  } rows[] = {{"a.lut", cube, "This format does not support 3D lookup tables"},
              {"a.3dl", curves, "This format does not support 1D lookup tables"},
              {"a.cms", curves, "This format does not support 1D lookup tables"},
              {"a.cube", none, "Cannot export an empty lookup table"},
              {"a.png", cube, "Unrecognized file type"}};
  for (const auto& row : rows) {
    EXPECT_EQ(support::failure_of(folder_ / row.name, [&] { saved(row.name, row.table); }),
              std::string("io::invalid_format: ") + row.expected);
    EXPECT_FALSE(std::filesystem::exists(folder_ / row.name));
  }
  EXPECT_THROW(saved("no/a.cube", cube), io::open_error);
}

TEST_F(lookup_files, what_is_written) {
  std::vector<double> values(lookup_table::curve_entries);
  for (int i = 0; i < 1024; ++i) {
    values[i] = i / 1023.0;
    values[1024 + i] = i == 1 ? 1e-7 : -1;
    values[2048 + i] = i == 2 ? std::nan("") : 2;
  }
  const lookup_table curves = with_curves(values);

  const std::string lut = saved("a.lut", curves);
  EXPECT_EQ(lut.substr(0, lut.find("LUT:")),
            "#   LUT to convert 10-bit log to 16-bit linear.\n#   Version 3.0\n"
            "#   RGB Reference White:     685   685   685\n#   RGB Reference Black:      95    95    95\n"
            "#   RGB Softclip:              0     0     0\n#   RGB Film Gamma:          0.6   0.6   0.6\n"
            "#   RGB Gamma Correction:    1.0   1.0   1.0\n#   RGB HighLight:         65535 65535 65535\n"
            "#   RGB Shadow:                0     0     0\n#   Exported by Kestrin.\n");
  EXPECT_NE(lut.find("LUT: 3 1024\n0\n64\n128\n192\n"), std::string::npos);
  EXPECT_EQ(lut.substr(lut.size() - 18), "65535\n65535\n65535\n");
  EXPECT_EQ(std::count(lut.begin(), lut.end(), '\n'), 11 + 3 * 1024);

  const std::string cube1 = saved("a.cube", curves);
  EXPECT_TRUE(cube1.starts_with("TITLE \"1D lookup table exported by Kestrin\"\nLUT_1D_SIZE 1024\n0 -1 2\n"))
      << cube1.substr(0, 100);

  const lookup_table cube = random_cube(2, 512, 512 + 4096);
  std::vector<std::uint16_t> nodes(cube.cube().begin(), cube.cube().end());
  // Blue's second node of the first row: 0.5, 0.25, over 1 (blue, green, red).
  nodes[4] = 512 + 2048;
  nodes[5] = 512 + 1024;
  nodes[6] = 16383;
  lookup_table marked;
  marked.set_3d(nodes, true);
  const std::string mesh = saved("a.3dl", marked);
  EXPECT_TRUE(mesh.starts_with("0 64 128 192 256 320 384 448 512 576 640 704 768 832 896 960 1023\n"));
  EXPECT_NE(mesh.find("\n4095 1024 2048\n"), std::string::npos);
  EXPECT_EQ(std::count(mesh.begin(), mesh.end(), '\n'), 1 + 4913);

  const std::string cube3 = saved("b.cube", marked);
  EXPECT_TRUE(cube3.starts_with("TITLE \"3D lookup table exported by Kestrin\"\nLUT_3D_SIZE 17\n"));
  const std::string cms = saved("b.cms", marked);
  EXPECT_TRUE(cms.starts_with("NUCODA_3D_CUBE 1\n# 17x17x17 3D lookup table exported by Kestrin\nLUT_3D_SIZE 17\n"));
  EXPECT_EQ(cms.substr(cms.find("LUT_3D")), cube3.substr(cube3.find("LUT_3D")));
  EXPECT_NE(cube3.find("\n3.874755859375 0.25 0.5\n"), std::string::npos);
}

TEST_F(lookup_files, what_is_written_reads_back) {
  // A comma as the decimal point must not matter. The locale may be missing here; the rest counts all the same.
  std::setlocale(LC_ALL, "de_DE.UTF-8");
  lookup_table back;
  for (const int points : {2, 17, 24, 33}) {
    const lookup_table cube = random_cube(3, 0, 16383, points);
    for (const char* name : {"a.cube", "a.cms"}) EXPECT_EQ(load(name, saved(name, cube)), cube) << name << points;
    const lookup_table held = random_cube(4, 512, 512 + 4096, points);
    back = load("a.3dl", saved("a.3dl", held));
    ASSERT_EQ(back.points(), points);
    for (std::size_t i = 0; i < back.cube().size(); ++i) ASSERT_NEAR(back.cube()[i], held.cube()[i], 1);
  }

  std::vector<double> values(lookup_table::curve_entries);
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = std::sin(i * 0.37) * (i % 3 ? 1 : 1e-5);
  const lookup_table curves = with_curves(values);
  EXPECT_EQ(load("b.cube", saved("b.cube", curves)), curves);
  back = load("b.lut", saved("b.lut", curves));
  for (std::size_t i = 0; i < values.size(); ++i) ASSERT_NEAR(back.curves()[i], std::max(values[i], 0.0), 1 / 65535.0);
  std::setlocale(LC_ALL, "C");
}

TEST_F(lookup_files, real_files) {
  const std::string samples = KESTRIN_SAMPLES_DIR "/lut/";
  // A curve's value at an index, or a node's at its place; of red, green or blue (0, 1, 2).
  const struct {
    const char* name;
    int place[3];
    int colour;
    double value;
  } rows[] = {
      {"logtolin_8to8.lut", {0}, 0, 0},
      {"logtolin_8to8.lut", {1023}, 2, 1},
      {"LUTApply1D_example.lut", {1}, 0, 8 / 4095.0},
      {"LUTApply1D_example.lut", {1023}, 2, 1},
      {"ACES_Proxy_10_to_ACES.cube", {0}, 1, 0.0004883},
      {"ACES_Proxy_10_to_ACES.cube", {33}, 1, 0.0007714},  // 33 * 31 / 1023 is 1
      {"ACES_Proxy_10_to_ACES.cube", {1023}, 1, 704.3},
      {"discreet-3d-lut.3dl", {0, 0, 0}, 0, 17 / 4095.0},
      {"discreet-3d-lut.3dl", {0, 0, 1}, 2, 68 / 4095.0},
      {"discreet-3d-lut.3dl", {16, 16, 16}, 2, 4094 / 4095.0},
      // Red from -0.1 to 1.5 in 8 points: 0 lies at 0.4375, 1 at 4.8125.
      {"eotf_sRGB_3D.cube", {0, 0, 0}, 0, -0.0077399 + 0.4375 * (0.0150427 + 0.0077399)},
      {"eotf_sRGB_3D.cube", {64, 0, 0}, 0, 0.6283248 + 0.8125 * (1.1002822 - 0.6283248)},
      {"iridas_3d.cube", {64, 32, 0}, 0, 1},
      {"iridas_3d.cube", {64, 32, 0}, 1, 0},  // green begins at 1
      {"iridas_3d.cube", {64, 32, 64}, 2, 2},
  };
  lookup_table table;
  for (const auto& row : rows) {
    if (!std::filesystem::exists(samples + row.name)) continue;
    img::load_lookup(samples + row.name, table);
    const auto& [r, g, b] = row.place;
    const bool cube = table.has_cube();
    EXPECT_NEAR(cube ? node(table, r, g, b, row.colour) : curve(table, row.colour, r), row.value,
                cube ? 1.0 / 8192 : 1e-12)
        << row.name << " " << r << " " << g << " " << b;
  }
  // Nodes of 12 bits over a mesh of 10, as a film suite writes them: red slowest.
  std::string identity;
  for (int i = 0; i <= 16; ++i) identity += std::to_string(std::min(64 * i, 1023)) + (i < 16 ? " " : "\n");
  for (int i = 0; i < 17 * 17 * 17; ++i) {
    for (const int at : {i / 289, i / 17 % 17, i % 17}) identity += std::to_string((at * 4095 + 8) / 16) + " ";
    identity += "\n";
  }
  const std::string made = folder_ / "made.3dl";
  support::write_file(made, identity);
  for (const std::string& name :
       {made, samples + "identity_NucodaCMS33.cms", samples + "identity_Smoke17_12bits.3dl"}) {
    if (!std::filesystem::exists(name)) continue;
    img::load_lookup(name, table);
    const double last = table.points() - 1;
    for_nodes(table.points(), [&](int r, int g, int b) {
      ASSERT_NEAR(node(table, r, g, b, 0), r / last, 0.0005) << name;
      ASSERT_NEAR(node(table, r, g, b, 1), g / last, 0.0005) << name;
      ASSERT_NEAR(node(table, r, g, b, 2), b / last, 0.0005) << name;
    });
  }
}

}  // namespace
