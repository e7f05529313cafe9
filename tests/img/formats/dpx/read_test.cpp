#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <vector>

#include "img/format.h"
#include "img/formats/dpx/files.h"
#include "img/transfer.h"
#include "io/exceptions.h"
#include "support/failure.h"
#include "support/temp_folder.h"

namespace {

using film_files::bytes;
using film_files::shape;

std::uint32_t word_at(const img::image& image, int x, int y) {
  const std::uint32_t word = image.row<std::uint32_t>(0, y)[x];
  return image.format[0] == 'U' ? __builtin_bswap32(word) : word;
}

void expect_test_picture(const img::image& image, const shape& s, const std::string& what) {
  ASSERT_EQ(image.width, s.width) << what;
  ASSERT_EQ(image.height, s.height) << what;
  EXPECT_EQ(image.user[0], (math::point{s.width / 2, s.height / 2})) << what;
  const std::size_t channels = film_files::channels_of(s).size();
  const bool planes = s.bits == 8 || s.bits == 32;
  constexpr const char* letters[] = {"", "L", "", "BGR", "BGRA"};
  const std::string form = planes ? letters[channels] : channels == 4 ? "uA" : s.big_endian ? "uU" : "u";
  ASSERT_EQ(image.plane_count(), planes ? static_cast<int>(channels) : channels == 4 ? 2 : 1) << what;
  EXPECT_EQ(image.depth[0], s.bits == 8 ? 8 : s.bits == 32 ? 16 : 32) << what;
  for (int i = 0; i < image.plane_count(); ++i) {
    const char letter = image.format[static_cast<std::size_t>(i)];
    EXPECT_TRUE(letter == form[static_cast<std::size_t>(i)] || (letter == 'U' && form == "uU")) << what;
  }
  for (int y = 0; y < s.height; ++y) {
    for (int x = 0; x < s.width; ++x) {
      const std::string place = what + " at " + std::to_string(x) + ", " + std::to_string(y);
      for (int i = 0; i < image.plane_count() && planes; ++i) {
        const int channel = channels == 1 || i == 3 ? (i == 3 ? 3 : 0) : 2 - i;
        if (s.bits == 8) {
          ASSERT_EQ(image.row(i, y)[x], film_files::sample(s, x, y, channel)) << place;
        } else {
          ASSERT_EQ(image.row<std::uint16_t>(i, y)[x], img::float_to_half(film_files::real_sample(x, y, channel)))
              << place;
        }
      }
      if (planes) continue;
      const std::uint32_t luma = film_files::code(x, y, 0) * 0x100401;
      ASSERT_EQ(word_at(image, x, y) >> 2, channels == 1 ? luma : film_files::word(x, y) >> 2) << place;
      if (channels < 4) continue;
      const double largest = (1 << s.bits) - 1;
      ASSERT_EQ(image.row(1, y)[x], std::rint(film_files::sample(s, x, y, 3) * 255 / largest)) << place;
    }
  }
}

// Every route of the reader, both orders, over widths that end anywhere in a group of samples.
TEST(DpxRead, EveryRouteGivesTheSamePicture) {
  struct route {
    const char* what;
    bool cineon;
    shape s;
  };
  const route routes[] = {
      {"10 bits", false, {}},
      {"10 bits, odd offset", false, {.offset = 2052}},
      {"10 bits, padding", false, {.padding = 12}},
      {"10 bits RGBA", false, {.descriptor = 51}},
      {"10 bits RGBA, padding", false, {.descriptor = 51, .padding = 8}},
      {"16 bits", false, {.bits = 16}},
      {"16 bits, packed", false, {.bits = 16, .packing = 0}},
      {"16 bits, padding", false, {.bits = 16, .padding = 6, .offset = 3000}},
      {"16 bits, rows of whole words", false, {.bits = 16, .aligned = true}},
      {"16 bits RGBA", false, {.bits = 16, .descriptor = 51}},
      {"16 bits RGBA, padding", false, {.bits = 16, .descriptor = 51, .padding = 2}},
      {"10 bits, upper end free", false, {.packing = 2}},
      {"10 bits, upper end free, RGBA", false, {.descriptor = 51, .packing = 2}},
      {"10 bits, run on", false, {.packing = 0}},
      {"10 bits ABGR", false, {.descriptor = 52}},
      {"10 bits luma", false, {.descriptor = 6}},
      {"10 bits luma, upper end free", false, {.descriptor = 6, .packing = 2}},
      {"10 bits luma, run on", false, {.descriptor = 6, .packing = 0}},
      {"12 bits, run on", false, {.bits = 12, .packing = 0}},
      {"12 bits RGBA, run on, padding", false, {.bits = 12, .descriptor = 51, .padding = 4, .packing = 0}},
      {"12 bits, lower end", false, {.bits = 12, .packing = 2}},
      {"12 bits luma", false, {.bits = 12, .descriptor = 6}},
      {"16 bits luma", false, {.bits = 16, .descriptor = 6}},
      {"16 bits ABGR", false, {.bits = 16, .descriptor = 52}},
      {"8 bits", false, {.bits = 8}},
      {"8 bits, rows of whole words", false, {.bits = 8, .packing = 0, .aligned = true}},
      {"8 bits RGBA", false, {.bits = 8, .descriptor = 51}},
      {"8 bits ABGR", false, {.bits = 8, .descriptor = 52}},
      {"8 bits luma", false, {.bits = 8, .descriptor = 6}},
      {"floats", false, {.bits = 32}},
      {"floats RGBA", false, {.bits = 32, .descriptor = 51}},
      {"floats luma, padding", false, {.bits = 32, .descriptor = 6, .padding = 8}},
      {"12 bits", false, {.bits = 12}},
      {"12 bits, rows of whole words", false, {.bits = 12, .aligned = true}},
      {"Cineon", true, {.packing = 5}},
      {"Cineon, short header", true, {.offset = 1024, .packing = 5}},
      {"Cineon, padding", true, {.padding = 4, .packing = 5}},
      {"Cineon 16 bits", true, {.bits = 16, .packing = 3}},
      {"Cineon 10 bits in 16", true, {.packing = 1, .wide = true}},
  };
  const support::temp_folder folder;
  for (const route& r : routes) {
    for (const bool big_endian : {true, false}) {
      for (const int width : {1, 2, 3, 5, 128, 1000}) {
        shape s = r.s;
        s.width = width;
        s.height = 7;
        s.big_endian = big_endian;
        const std::string path = folder / (r.cineon ? "scan.cin" : "scan.dpx");
        // Bytes after the pixels are no padding of rows.
        const std::string behind(s.aligned ? 0 : 64, 'x');
        support::write_file(path, (r.cineon ? film_files::make_cineon(s) : film_files::make_dpx(s)).data + behind);
        img::image image;
        img::load(image, path);
        const bool kept = s.bits == 10 && s.descriptor == 50 && !s.wide && (r.cineon || s.packing == 1);
        const std::string what =
            std::string(r.what) + (big_endian ? " big" : " little") + " width " + std::to_string(width);
        EXPECT_EQ(image.format[0] == 'U', kept && big_endian) << what;
        EXPECT_EQ(image.path, path) << what;
        EXPECT_GT(image.mtime, 0) << what;
        expect_test_picture(image, s, what);
      }
    }
  }
}

TEST(DpxRead, ElementOffsetGoesBeforeTheFilesOwn) {
  for (const std::uint32_t element : {0u, 0xFFFFFFFFu, 4096u}) {
    shape s;
    s.offset = element == 4096u ? 4096 : 2048;
    bytes file = film_files::make_dpx(s);
    file.put32(4, 2048);
    file.put32(808, element);
    expect_test_picture(film_files::load(file), s, std::to_string(element));
  }
}

TEST(DpxRead, LowestRowFirstIsTurned) {
  for (const bool cineon : {false, true}) {
    for (const int orientation : {0, 1, 2, 3}) {
      const shape s{.packing = cineon ? 5 : 1, .orientation = orientation};
      const img::image image = film_files::load(cineon ? film_files::make_cineon(s) : film_files::make_dpx(s));
      const bool turned = orientation == 3 || orientation == (cineon ? 1 : 2);
      EXPECT_EQ(word_at(image, 0, 0), film_files::word(0, turned ? s.height - 1 : 0)) << cineon << orientation;
      EXPECT_EQ(word_at(image, 4, 1), film_files::word(4, 1)) << cineon << orientation;
    }
  }
}

// Values that a field of a good file must not have, and the text that says so. Sizes are refused before memory is asked
// for.
TEST(DpxRead, RefusalsSayWhat) {
  struct change {
    bool cineon;
    std::size_t offset;
    int count;
    std::vector<std::uint32_t> values;
    const char* message;
  };
  const std::vector<std::uint32_t> no_size{0, 65536, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  const change changes[] = {
      {false, 800, 1, {7, 100, 255}, "Unsupported descriptor: "},
      {false, 803, 1, {1, 64}, "Unsupported bit depth: "},
      {false, 804, 2, {3, 256}, "Unsupported packing type: "},
      {false, 806, 2, {1}, "Unsupported encoding: 1; 0, no run lengths, is read"},
      {true, 193, 1, {1, 4}, "Unsupported number of channels"},
      {true, 198 + 28, 1, {8}, "Unsupported variant"},
      {true, 200 + 28, 4, {6}, "Unsupported variant"},
      {true, 204 + 56, 4, {6}, "Unsupported variant"},
      {true, 680, 1, {1}, "Unsupported interleave type"},
      {true, 681, 1, {0, 2, 0x85}, "Unsupported packing type"},
      {false, 772, 4, no_size, "Invalid picture size"},
      {false, 776, 4, no_size, "Invalid picture size"},
      {false, 772, 4, {65535}, "Unexpected end of file"},
      {false, 776, 4, {65535}, "Unexpected end of file"},
      {false, 4, 4, {2049, 0xFFFFFFFE}, "Unexpected end of file"},
      {false, 808, 4, {0xFFFFFFF0}, "Unexpected end of file"},
      {false, 812, 4, {1, 0xFFFFFFFE}, "Unexpected end of file"},
      {false, 0, 4, {0x53445059}, "Invalid signature"},
  };
  const support::temp_folder folder;
  const std::string path = folder / "a.dpx";
  const auto failure_of = [&](const bytes& file) {
    support::write_file(path, file.data);
    return support::load_failure(path);
  };
  for (const change& c : changes) {
    for (const std::uint32_t value : c.values) {
      const shape s{.packing = c.cineon ? 5 : 1};
      bytes file = c.cineon ? film_files::make_cineon(s) : film_files::make_dpx(s);
      file.put(c.offset, value, c.count);
      EXPECT_TRUE(failure_of(file).starts_with(c.message)) << failure_of(file) << ": " << value << " at " << c.offset;
    }
  }
  for (const shape& s : {shape{.bits = 8, .packing = 5}, shape{.bits = 12, .packing = 5}}) {
    EXPECT_TRUE(failure_of(film_files::make_cineon(s)).starts_with("Unsupported bit depth: "));
  }
  img::image image;
  EXPECT_THROW(img::load(image, folder / "missing.dpx"), io::open_error);
  EXPECT_THROW(img::load(image, folder.path(), "dpx"), io::open_error);
}

TEST(DpxRead, CutAnywhereGivesTheEndOfTheFile) {
  const support::temp_folder folder;
  const std::string path = folder / "a.dpx";
  for (const int bits : {10, 16}) {
    for (const bool cineon : {false, true}) {
      const shape s{.width = 4, .height = 2, .bits = bits, .packing = cineon ? 5 : 1};
      const std::string whole = (cineon ? film_files::make_cineon(s) : film_files::make_dpx(s)).data;
      support::write_file(path, whole);
      for (std::size_t size = whole.size(); size > 0; size -= size > 2040 ? 1 : std::min<std::size_t>(size, 13)) {
        std::filesystem::resize_file(path, size - 1);
        img::image image;
        EXPECT_THROW(img::load(image, path), io::eof_error) << size - 1 << " bytes of " << whole.size();
      }
    }
  }
}

TEST(DpxRead, HeaderAloneGivesTheSize) {
  const support::temp_folder folder;
  bytes file = film_files::make_dpx({});
  file.put32(772, 2048);
  file.put32(776, 1556);
  support::write_file(folder / "a.dpx", file.data.substr(0, 2048));
  const img::picture_header header = img::find_format("a.dpx")->read_header(folder / "a.dpx", img::layer());
  EXPECT_EQ(header.width, 2048);
  EXPECT_EQ(header.height, 1556);
  EXPECT_FALSE(header.has_alpha);
  EXPECT_EQ(header.layers, std::vector<img::layer>(1));
}

// Share of a file's pages that are in the page cache; -1 when the system does not say.
double cached_share(const std::string& path, std::size_t size) {
  const int fd = open(path.c_str(), O_RDONLY);
  void* view = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, 0);
  std::vector<unsigned char> pages((size + 4095) / 4096);
  const bool known = view != MAP_FAILED && mincore(view, size, pages.data()) == 0;
  std::size_t there = 0;
  for (const unsigned char page : pages) there += page & 1u;
  if (view != MAP_FAILED) munmap(view, size);
  close(fd);
  return known ? static_cast<double>(there) / static_cast<double>(pages.size()) : -1;
}

void drop_from_cache(const std::string& path, off_t begin, off_t count) {
  const int fd = open(path.c_str(), O_RDONLY);
  fsync(fd);
  posix_fadvise(fd, begin, count, POSIX_FADV_DONTNEED);
  close(fd);
}

// A frame that is in the page cache comes from there, one that is not comes around it and leaves it alone, and one that
// is there in part comes from both.
TEST(DpxRead, UncachedFramesLeaveThePageCacheAlone) {
  const support::temp_folder folder;
  const std::string path = folder / "a.dpx";
  shape s;
  s.width = 2048;
  s.height = 1024;
  s.offset = 8192;
  const std::string file = film_files::make_dpx(s).data;
  support::write_file(path, file);
  const off_t size = static_cast<off_t>(file.size());
  for (const double kept : {1.0, 0.0, 0.3}) {
    img::image image;
    img::load(image, path);
    expect_test_picture(image, s, "cached");
    drop_from_cache(path, static_cast<off_t>(kept * static_cast<double>(size)), 0);
    const double before = cached_share(path, file.size());
    if (before < 0 || before > kept + 0.3) GTEST_SKIP() << "this file system keeps pages or does not tell";
    img::load(image, path);
    expect_test_picture(image, s, "kept " + std::to_string(kept));
    EXPECT_LT(cached_share(path, file.size()), before + 0.2) << "kept " << kept;
    support::write_file(path, file);
  }
}

}  // namespace
