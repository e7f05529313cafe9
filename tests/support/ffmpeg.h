// The ffmpeg program, where there is one: it makes files that nothing of ours had a part in.
#pragma once

#include <cstdlib>
#include <string>

namespace support {

inline bool have_ffmpeg() {
  return std::system("command -v ffmpeg >/dev/null 2>&1") == 0;
}

inline bool run_ffmpeg(const std::string& arguments) {
  return std::system(("ffmpeg -nostdin -v error -y " + arguments + " >/dev/null 2>&1").c_str()) == 0;
}

}  // namespace support
