#include <cmath>

#include "byte_text.h"

namespace {

using namespace raster_files;

struct form {
  int left = 0, right = 1, bottom = 0, top = 1;  // the whole picture
  int active_left = 0, active_right = 1, active_bottom = 0, active_top = 1;
  int colors = 3, mattes = 0, others = 0;
  int bits = 8, type = 0, other_bits = 32, other_type = 3;
  int revision = 0xFFFE;
  bytes space = "rgb", other_name = "depth", program = "";
};

bytes padded(bytes text, std::size_t size) {
  text.resize(size);
  return text;
}

bytes header(const form& f) {
  bytes h;
  for (const int v : {f.left, f.right, f.bottom, f.top, f.active_left, f.active_right, f.active_bottom, f.active_top, 7,
                      f.type, f.colors, f.mattes, f.others, f.revision}) {
    h += be16(static_cast<std::uint64_t>(v));
  }
  h += padded("2.2", 16) + bytes(96, '\0') + be32(0) + bytes(128, '\0') + padded("described", 128) +
       padded(f.program, 64) + bytes(32 + 32 + 20 + 24 + 8, '\0');
  h += padded(f.space, 32) + be16(0) + bytes(12 + 32, '\0') + be16(f.bits) + be16(f.type) + be16(f.bits) +
       be16(f.other_type) + be16(f.other_bits);
  h += padded(f.other_name, 32) + bytes(36, '\0') + be32(0);
  EXPECT_EQ(h.size(), 740u);
  return h;
}

bytes record(const bytes& data) {
  return be16(data.size()) + data;
}
bytes literals(const bytes& data) {
  return bytes(1, static_cast<char>(-static_cast<int>(data.size()))) + data;
}

// Rows from the bottom up, each its records.
bytes rla_of(const form& f, const std::vector<bytes>& rows) {
  bytes table, body;
  for (const bytes& row : rows) {
    table += be32(740 + 4 * rows.size() + body.size());
    body += row;
  }
  return header(f) + table + body;
}

bytes colour_row(const bytes& red, const bytes& green, const bytes& blue) {
  return record(literals(red)) + record(literals(green)) + record(literals(blue));
}

struct rla : file_test {
  rla() : file_test("rla") {}
};

TEST_F(rla, forms) {
  const img::image image =
      read(rla_of({}, {colour_row("rR", "gG", "bB"), record("\1x") + record("\1y") + record("\1z")}));
  ASSERT_STREQ(image.format.data(), "BGR");
  EXPECT_EQ(image.frame, 7);
  EXPECT_EQ(image.metadata.at("Description"), "described");
  EXPECT_EQ(samples(image, 2), "xxrR");
  EXPECT_EQ(samples(image, 1), "yygG");
  EXPECT_EQ(samples(image, 0), "zzbB");

  form alpha;
  alpha.mattes = 1;
  const img::image with_alpha = read(rla_of(alpha, {colour_row("rR", "gG", "bB") + record(literals("aA")),
                                                    colour_row("12", "34", "56") + record(literals("78"))}));
  EXPECT_EQ(samples(with_alpha, 3), "78aA");

  // The stored part is a pixel of the upper right corner of three by two.
  form part;
  part.left = 10, part.right = 12, part.bottom = 20, part.top = 21;
  part.active_left = part.active_right = 12, part.active_bottom = part.active_top = 21;
  const img::image placed = read(rla_of(part, {colour_row("r", "g", "b")}));
  EXPECT_EQ(samples(placed, 2), bytes("\0\0r\0\0\0", 6));

  form gray;
  gray.colors = 1;
  EXPECT_EQ(samples(read(rla_of(gray, {record(literals("ab")), record(literals("cd"))})), 0), "cdab");
}

TEST_F(rla, more_than_eight_bits) {
  form f;
  f.bottom = f.active_bottom = 1;
  // All the upper bytes come before the lower ones.
  const auto words = [](int a, int b) {
    return record(literals({static_cast<char>(a >> 8), static_cast<char>(b >> 8)}) +
                  literals({static_cast<char>(a), static_cast<char>(b)}));
  };
  f.bits = 16;
  const img::image image = read(rla_of(f, {words(300, 30001) + words(0, 65535) + words(9, 7)}));
  ASSERT_EQ(image.depth[0], 16);
  expect_codes(image, 2, {300, 30001}, "16 bits");
  expect_codes(image, 1, {0, 65535}, "16 bits");
  f.bits = 10;
  expect_codes(read(rla_of(f, {words(1023, 512) + words(0, 1) + words(9, 7)})), 2, {65535, 32800}, "10 bits");
  // Real numbers come as they are, also in files that tell no type and in those of the wrong order, or byte by byte.
  f.bits = 32;
  const std::pair<int, bytes> reals[] = {
      {3, record(be_float(0.5F) + be_float(-4.0F))},
      {0, record(be_float(0.5F) + be_float(-4.0F))},
      {4, record(number(std::bit_cast<std::uint32_t>(0.5F), 4, false) +
                 number(std::bit_cast<std::uint32_t>(-4.0F), 4, false))},
      {4, record(literals("\x3F\xC0") + literals(bytes("\0\x80", 2)) + bytes("\1\0\1\0", 4))}};
  for (const auto& [type, channel] : reals) {
    f.type = type;
    EXPECT_EQ(halves(read(rla_of(f, {channel + channel + channel})), 1), (std::vector<double>{0.5, -4.0})) << type;
  }
  f.type = 2;
  const bytes wide = record(literals("\x75\x31") + bytes("\1\0\1\0\1\0", 6));
  expect_codes(read(rla_of(f, {wide + wide + wide})), 0, {0x7500, 0x3100}, "32 bits");
}

// What a renderer keeps of each pixel, one record for each byte, the highest first.
TEST_F(rla, pixel_channels_are_layers) {
  form f;
  f.bottom = f.active_bottom = 1;
  f.mattes = 1, f.revision = 0xFFFD;
  f.program = "a renderer : ( Z E O U N R G L P D )";
  const auto split = [](const bytes& first, const bytes& second) {
    bytes out;
    for (std::size_t i = 0; i < first.size(); ++i) out += record(literals({first[i], second[i]}));
    return out;
  };
  const bytes row = colour_row("rR", "gG", "bB") + record(literals("aA")) + split(be_float(2.5F), be_float(-1e30F)) +
                    split("\3", "\4") + split(be16(7), be16(300)) +
                    split(be_float(0.25F) + be_float(0.5F), be_float(0) + be_float(1)) + split("nnnn", "NNNN") +
                    split("\x82\x10\x20\x40", bytes(4, '\0')) + split("wvu", "WVU");
  support::write_file(path, rla_of(f, {row + be32(0)}));
  std::vector<img::layer> layers;
  img::list_layers(path, nullptr, layers);
  struct picture {
    const char* name;
    std::vector<std::vector<double>> planes;
  };
  const picture pictures[] = {{"Z", {{2.5, -INFINITY}}},
                              {"Material ID", {{3, 4}}},
                              {"Object ID", {{7, 300}}},
                              {"UV", {{0, 0}, {0.25, 0}, {0.5, 1}}},
                              {"Non-Clamped Color", {{0.25, 0}, {0.5, 0}, {1, 0}}},
                              {"Color", {{'w', 'W'}, {'v', 'V'}, {'u', 'U'}}}};
  ASSERT_EQ(layers.size(), 1 + std::size(pictures));
  for (std::size_t i = 0; i < std::size(pictures); ++i) {
    EXPECT_EQ(layers[i + 1].name, pictures[i].name);
    img::image image;
    img::load(image, path, nullptr, &layers[i + 1]);
    ASSERT_STREQ(image.format.data(), pictures[i].planes.size() == 3 ? "BGR" : "L") << pictures[i].name;
    for (std::size_t p = 0; p < pictures[i].planes.size(); ++p) {
      const bytes plane = samples(image, static_cast<int>(p));
      const std::vector<double> found =
          image.depth[0] == 16 ? halves(image, static_cast<int>(p)) : std::vector<double>(plane.begin(), plane.end());
      EXPECT_EQ(found, pictures[i].planes[p]) << pictures[i].name << " plane " << p;
    }
  }
  img::image image;
  img::load(image, path);
  EXPECT_EQ(samples(image, 3), "aA");
}

TEST_F(rla, other_channels_are_layers) {
  form f;
  f.bottom = f.active_bottom = 1;
  f.bits = 16, f.others = 2, f.mattes = 2;
  const bytes zero = record(bytes("\1\0\1\0", 4));
  const bytes file = rla_of(f, {zero + zero + zero + zero + record(literals("ab") + literals("cd")) +
                                record(be_float(2.0F) + be_float(3.0F)) + record(be_float(5.0F) + be_float(6.0F))});
  support::write_file(path, file);
  std::vector<img::layer> layers;
  img::list_layers(path, nullptr, layers);
  ASSERT_EQ(layers.size(), 4u);
  EXPECT_EQ(layers[1].name, "matte 2");
  EXPECT_EQ(layers[2].name, "Z");
  EXPECT_EQ(layers[3].name, "depth 2");
  img::image image;
  img::load(image, path, nullptr, &layers[3]);
  ASSERT_STREQ(image.format.data(), "L");
  EXPECT_EQ(halves(image, 0), (std::vector<double>{5.0, 6.0}));
  img::load(image, path);
  ASSERT_EQ(image.plane_of('Z'), 4);
  EXPECT_EQ(halves(image, 4), (std::vector<double>{2.0, 3.0}));
  EXPECT_EQ(support::load_failure(path, {2, 1, "normal"}), "Empty layer");
}

TEST_F(rla, bad_files_say_what_is_wrong) {
  const bytes rows = rla_of({}, {colour_row("rR", "gG", "bB"), colour_row("rR", "gG", "bB")});
  const auto with = [](auto&& change) {
    form f;
    change(f);
    return rla_of(f, {colour_row("rR", "gG", "bB"), colour_row("rR", "gG", "bB")});
  };
  const char* const invalid = "Invalid RLA/RPF file";
  expect_failures({
      {"empty", "", "Unexpected end of file"},
      {"cut in the header", rows.substr(0, 700), "Unexpected end of file"},
      {"cut in a row", rows.substr(0, rows.size() - 1), "Unexpected end of file"},
      {"revision", with([](form& f) { f.revision = 1; }), "Unsupported variant"},
      {"colour space", with([](form& f) { f.space = "xyz"; }), "Unsupported color space"},
      {"no colours", with([](form& f) { f.colors = 0; }), invalid},
      {"negative mattes", with([](form& f) { f.mattes = -1; }), invalid},
      {"24 bits", with([](form& f) { f.bits = 24; }), invalid},
      {"too wide", with([](form& f) { f.left = -32768, f.right = 32767; }), "Invalid image width"},
      {"too large for the file", with([](form& f) { f.right = f.top = 30000; }), "Picture size 30001 x 30001"},
      {"literals beyond the record", rla_of({}, {record("\xFEr"), record("\xFEr")}), "Unexpected end of file"},
  });
}

}  // namespace
