// Shared by the tests of the raster formats: one file that is written and read again and again.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "img/format.h"
#include "support/failure.h"
#include "support/levels.h"
#include "support/temp_folder.h"

namespace raster_files {

using bytes = std::string;

inline bytes samples(const img::image& image, int plane) {
  return {reinterpret_cast<const char*>(image.data[plane].data()), image.data[plane].size()};
}

class file_test : public testing::Test {
 protected:
  explicit file_test(const std::string& extension) : path(folder / "a." + extension) {}

  // Everything but the samples is held against `content` having been read from `path`.
  img::image read(const bytes& content) {
    support::write_file(path, content);
    img::image image;
    img::load(image, path);
    EXPECT_EQ(image.path, path);
    EXPECT_NE(image.mtime, 0);
    EXPECT_EQ(image.user[0], (math::point{image.width / 2, image.height / 2}));
    const img::picture_header header = img::find_format(path)->read_header(path, {});
    EXPECT_EQ(header.width, image.width);
    EXPECT_EQ(header.height, image.height);
    EXPECT_EQ(header.has_alpha, image.plane_of('A') >= 0);
    EXPECT_EQ(header.layers, std::vector<img::layer>(1));
    return image;
  }

  bytes written(const img::image& image, const img::save_options& options = {}) {
    img::save(image, path, nullptr, options);
    return support::read_file(path);
  }

  // A picture of bytes comes back as it was from a file of it, on any number of threads; a gray one as three equal
  // planes.
  void expect_back(const img::image& picture, int compression) {
    written(picture, {compression, 90, false});
    support::every_thread_count([&](int threads) {
      img::image again;
      img::load(again, path);
      ASSERT_EQ(again.plane_count() == 4, picture.plane_of('A') >= 0);
      for (int p = 0; p < again.plane_count(); ++p) {
        const int from = picture.format[0] == 'L' ? p / 3 : p;
        EXPECT_TRUE(again.data[p] == picture.data[from])
            << picture.plane_count() << " planes, width " << picture.width << ", compression " << compression
            << ", plane " << p << ", threads " << threads;
      }
    });
  }

  struct bad_file {
    const char* what;
    bytes content;
    const char* failure;  // a part of it
  };
  void expect_failures(const std::vector<bad_file>& files) {
    for (const bad_file& file : files) {
      const bytes failure = support::failure_of(path, [&] { read(file.content); });
      EXPECT_NE(failure, "") << file.what << " was read";
      EXPECT_NE(failure.find(file.failure), bytes::npos) << file.what << ": " << failure;
    }
  }

  support::temp_folder folder;
  std::string path;
};

}  // namespace raster_files
