// What a call that should fail says.
#pragma once

#include <gtest/gtest.h>

#include <string>

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

}  // namespace support
