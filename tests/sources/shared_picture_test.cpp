// Pictures in shared memory: what counts as one, and writers that do as they like.
#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "sources/shared_picture.h"
#include "support/pictures.h"
#include "support/shared_block.h"

namespace {

using support::block_header;
constexpr std::uint32_t magic = sources::shared_picture_header::magic;

std::shared_ptr<sources::live_source> open(const std::string& path, std::string* why = nullptr) {
  int error = 0;
  std::string reason;
  auto opened = sources::open_shared_picture(path, error, reason);
  if (why) *why = error != 0 ? "error " + std::to_string(error) : reason;
  EXPECT_EQ(opened == nullptr, error != 0 || !reason.empty());
  return opened;
}

// Each rule as a row of bytes: 2 x 3 pixels, so 24 bytes of colours and 6 of alpha.
TEST(shared_picture, what_counts_as_one) {
  struct row {
    const char* name;
    std::initializer_list<std::uint32_t> header;
    std::size_t bytes;   // of the block
    std::string reason;  // empty for a good one
  };
  const row rows[] = {
      {"the least", {magic, 0, 32, 2, 3, 32, 0, 0}, 56, ""},
      {"larger than needed", {magic, 0, 32, 2, 3, 100, 0, 0}, 4096, ""},
      {"with alpha", {magic, 0, 32, 2, 3, 32, 56, 0}, 62, ""},
      {"planes that lie over each other", {magic, 0, 32, 2, 3, 32, 32, 32}, 56, ""},
      {"the third plane", {magic, 0, 32, 2, 3, 32, 0, 56}, 80, ""},
      {"a header as large as the block", {magic, 0, 56, 2, 3, 56, 0, 0}, 80, ""},
      {"nothing", {}, 0, "The block has 0 bytes, its header alone takes 32"},
      {"31 bytes", {magic, 0, 32, 2, 3, 32, 0}, 31, "The block has 31 bytes, its header alone takes 32"},
      {"magic",
       {magic + 1, 0, 32, 2, 3, 32, 0, 0},
       56,
       "It is no picture: it begins with 0xFC7D001B and not with 0xFC7D001A"},
      {"version", {magic, 1, 32, 2, 3, 32, 0, 0}, 56, "Its version is 1, and 0 is the only one that is known"},
      {"a short header", {magic, 0, 31, 2, 3, 32, 0, 0}, 56, "A header of 31 bytes does not fit the block of 56"},
      {"a long header", {magic, 0, 57, 2, 3, 57, 0, 0}, 56, "A header of 57 bytes does not fit the block of 56"},
      {"no width",
       {magic, 0, 32, 0, 3, 32, 0, 0},
       56,
       "Its size is 0 x 3 pixels, and 1 to 65535 either way can be shown"},
      {"no height",
       {magic, 0, 32, 2, 0, 32, 0, 0},
       56,
       "Its size is 2 x 0 pixels, and 1 to 65535 either way can be shown"},
      {"a product that overflows",
       {magic, 0, 32, 0x10000, 0x10000, 32, 0, 0},
       56,
       "Its size is 65536 x 65536 pixels, and 1 to 65535 either way can be shown"},
      {"no colours",
       {magic, 0, 32, 2, 3, 0, 0, 0},
       56,
       "The colour plane of 24 bytes at 0 does not fit between the header of 32 and the end at 56"},
      {"colours in the header",
       {magic, 0, 32, 2, 3, 31, 0, 0},
       56,
       "The colour plane of 24 bytes at 31 does not fit between the header of 32 and the end at 56"},
      {"colours a byte too long",
       {magic, 0, 32, 2, 3, 32, 0, 0},
       55,
       "The colour plane of 24 bytes at 32 does not fit between the header of 32 and the end at 55"},
      {"colours far away",
       {magic, 0, 32, 2, 3, 0xFFFFFFF0, 0, 0},
       56,
       "The colour plane of 24 bytes at 4294967280 does not fit between the header of 32 and the end at 56"},
      {"alpha in the header",
       {magic, 0, 32, 2, 3, 32, 4, 0},
       56,
       "The alpha plane of 6 bytes at 4 does not fit between the header of 32 and the end at 56"},
      {"alpha a byte too long",
       {magic, 0, 32, 2, 3, 32, 56, 0},
       61,
       "The alpha plane of 6 bytes at 56 does not fit between the header of 32 and the end at 61"},
      {"the third plane too long",
       {magic, 0, 32, 2, 3, 32, 0, 40},
       56,
       "The third plane of 24 bytes at 40 does not fit between the header of 32 and the end at 56"},
  };
  for (const row& r : rows) {
    std::string bytes = block_header(r.header);
    bytes.resize(r.bytes);
    const support::shared_block block(bytes);
    std::string reason;
    const auto picture = open(block.path(), &reason);
    EXPECT_EQ(reason, r.reason) << r.name;
    EXPECT_EQ(picture && picture->newest(), r.reason.empty()) << r.name;
  }
  std::string reason;
  for (const char* name : {"shm:/kestrin_nobody_has_this", "shm:/", "shm:/a/b", "shm://a", "shm:/.."}) {
    EXPECT_FALSE(open(name, &reason)) << name;
    EXPECT_TRUE(reason.starts_with("error ")) << name << ": " << reason;
  }
}

TEST(shared_picture, header_fields_by_its_size) {
  const std::string project(64, 'p');
  std::string bytes = block_header({magic, 0, 0, 1, 1, 108, 0, 0, 7, 80}) + project + block_header({9, 0x04030201});
  struct row {
    std::uint32_t size;
    int frame;
    std::uint32_t time;
    std::string project;
    std::uint32_t further;
  };
  for (const row& r : {row{32, -1, 0, "", 0}, row{35, -1, 0, "", 0}, row{36, 7, 0, "", 0}, row{40, 7, 80, "", 0},
                       row{103, 7, 80, "", 0}, row{104, 7, 80, project, 0}, row{108, 7, 80, project, 9}}) {
    bytes.replace(8, 4, block_header({r.size}));
    sources::shared_picture_header header;
    std::string reason;
    ASSERT_TRUE(sources::parse_header(reinterpret_cast<const std::uint8_t*>(bytes.data()), 108,
                                      static_cast<std::int64_t>(bytes.size()), header, reason))
        << reason;
    EXPECT_EQ(header.frame, r.frame) << r.size;
    EXPECT_EQ(header.render_time, r.time) << r.size;
    EXPECT_EQ(header.project, r.project) << r.size;
    EXPECT_EQ(header.further, r.further) << r.size;
  }
  const support::shared_block block(bytes);
  const auto picture = open(block.path())->newest();
  EXPECT_EQ(picture->frame, 7);
  EXPECT_EQ(picture->metadata.at("project"), project);
  EXPECT_EQ(picture->metadata.at("render time"), "80");
  EXPECT_EQ(picture->row(0, 0)[0], 1);
  EXPECT_EQ(picture->row(1, 0)[0], 2);
  EXPECT_EQ(picture->row(2, 0)[0], 3);
  EXPECT_FALSE(picture->has_plane(3));
}

TEST(shared_picture, follows_its_writer_and_outlives_it) {
  constexpr int width = 301;
  constexpr int height = 211;
  constexpr std::size_t pixels = width * height;
  const auto offset = static_cast<std::uint32_t>(32 + 4 * pixels);
  std::string bytes = block_header({magic, 0, 32, width, height, 32, offset, 0});
  bytes.resize(32 + 5 * pixels);
  std::mt19937 random(3);
  for (std::size_t i = 32; i < bytes.size(); ++i) bytes[i] = static_cast<char>(random());
  const support::shared_block block(bytes);
  const auto source = open(block.path());
  ASSERT_TRUE(source);
  const auto expect_shown = [&](const char* when) {
    const auto picture = source->newest();
    ASSERT_EQ(support::letters_of(*picture), "BGRA") << when;
    EXPECT_EQ(picture->user[0], (math::point{width / 2, height / 2}));
    for (std::size_t i = 0; i < pixels; ++i) {
      for (std::size_t p = 0; p < 4; ++p) {
        const char expected = p < 3 ? bytes[32 + 4 * i + p] : bytes[offset + i];
        ASSERT_EQ(static_cast<char>(picture->data[p].data()[i]), expected)
            << when << ", pixel " << i << ", plane " << p;
      }
    }
  };
  expect_shown("at first");
  const auto before = source->newest();
  for (std::size_t i = 32; i < bytes.size(); i += 7) bytes[i] = static_cast<char>(random());
  const img::image kept = *before;
  block.write(bytes);
  expect_shown("rewritten");
  EXPECT_EQ(support::differing_plane(*before, kept), -1) << "a picture that was given stays as it was";
  block.resize(static_cast<long>(bytes.size() - 1));
  expect_shown("a byte too short: the picture before stays");
  block.resize(0);
  expect_shown("empty");
  block.write(std::string(bytes.size(), '\0'));
  const auto black = source->newest();
  EXPECT_EQ(support::samples(*black, 2), std::vector<int>(pixels, 0)) << "the header does not count any more";
  block.write(bytes);
  block.remove();
  expect_shown("removed");
}

// As large as one that the system is asked to hold in large pages.
TEST(shared_picture, large_ones_follow_their_writer_too) {
  constexpr std::uint32_t side = 1024;
  std::string bytes = block_header({magic, 0, 32, side, side, 32, 0, 0});
  bytes.resize(32 + 4 * side * side, '\x11');
  const support::shared_block block(bytes);
  const auto source = open(block.path());
  ASSERT_TRUE(source);
  for (const int value : {0x11, 0x22, 0x33}) {
    bytes.replace(32, bytes.size() - 32, bytes.size() - 32, static_cast<char>(value));
    block.write(bytes);
    const auto picture = source->newest();
    EXPECT_EQ(picture->data[1].data()[0], value);
    EXPECT_EQ(picture->data[1].data()[side * side - 1], value);
    EXPECT_EQ(source->latest(), picture);
    block.resize(1 << 20);
    EXPECT_EQ(source->newest(), picture) << "cut, and grown again by the next";
  }
}

// Grows, shrinks, removes and rewrites while it is read.
TEST(shared_picture, survives_hostile_writers) {
  constexpr std::uint32_t side = 64;
  std::string bytes = block_header({magic, 0, 32, side, side, 32, 0, 0});
  bytes.resize(32 + 4 * side * side, '\x55');
  const support::shared_block block(bytes);
  const auto source = open(block.path());
  ASSERT_TRUE(source);
  std::atomic<bool> stop = false;
  std::thread writer([&] {
    std::mt19937 random(11);
    while (!stop) {
      block.resize(static_cast<long>(random() % (2 * bytes.size())));
      std::string header = bytes;
      header[random() % 32] = static_cast<char>(random());
      block.write(random() % 2 ? bytes : header);
    }
  });
  for (int i = 0; i < 10000; ++i) {
    const auto picture = source->newest();
    ASSERT_TRUE(picture);
    ASSERT_EQ(picture->width, static_cast<int>(side));
    if (i % 50 == 0) {
      int error = 0;
      std::string reason;
      sources::open_shared_picture(block.path(), error, reason);
    }
  }
  stop = true;
  writer.join();
}

}  // namespace
