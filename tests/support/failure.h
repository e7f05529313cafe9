// The text of a call that should fail.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "img/format.h"
#include "io/exceptions.h"

namespace support {

// "kind: message" of the failure about `source` that `call` ends in, empty when it ends well.
template <class Call>
std::string failure_of(const std::string& source, Call&& call) {
  try {
    call();
  } catch (const io::exception& failure) {
    EXPECT_EQ(failure.source(), source);
    return std::string(failure.what()) + ": " + failure.message();
  }
  return {};
}

// The message of reading a picture, of the io family, which must name the file; "no failure" when the
// picture could be read.
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
