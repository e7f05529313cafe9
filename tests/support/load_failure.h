// What the reading of a picture says when it fails.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "img/format.h"
#include "io/exceptions.h"

namespace support {

// The message of the io family, which must name the file; "no failure" when the picture could be read.
inline std::string load_failure(const std::string& path, const img::layer& layer = {}) {
  img::image image;
  try {
    img::load(image, path, nullptr, &layer);
  } catch (const io::exception& e) {
    EXPECT_EQ(e.source(), path);
    return e.message();
  }
  return "no failure";
}

}  // namespace support
