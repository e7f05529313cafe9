// Small Phantom Cine files as a camera would write them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace support {

struct cine_options {
  int width = 16;
  int height = 12;
  int frames = 3;
  int first_image = -2;
  int rate = 1000;
  std::uint32_t trigger_seconds = 0;
  std::uint32_t trigger_fraction = 0;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> times;  // seconds and fraction, one a frame, or none
  std::vector<std::uint32_t> timecodes;                        // hours in the highest byte, one a frame, or none
};

// Gray pictures of 8 bits; frame N is filled with 10 * (N + 1).
inline std::string cine_file(const cine_options& o) {
  constexpr int setup_size = 5768;
  std::string out;
  const auto put = [&](std::uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) out += static_cast<char>(value >> 8 * i);
  };
  const auto pad_to = [&](std::size_t size) { out.resize(size); };
  const int picture = o.width * o.height;
  const std::size_t blocks =
      (o.times.empty() ? 0 : 8 + 8 * o.times.size()) + 12 + (o.timecodes.empty() ? 0 : 8 + 8 * o.timecodes.size());
  const std::size_t setup = 44 + 40;
  const std::size_t table = setup + setup_size + blocks;
  out = "CI";
  put(44, 2), put(0, 2), put(1, 2);
  put(static_cast<std::uint32_t>(o.first_image), 4), put(static_cast<std::uint32_t>(o.frames), 4);
  put(static_cast<std::uint32_t>(o.first_image), 4), put(static_cast<std::uint32_t>(o.frames), 4);
  put(44, 4), put(setup, 4), put(table, 4), put(o.trigger_fraction, 4), put(o.trigger_seconds, 4);
  put(40, 4), put(static_cast<std::uint32_t>(o.width), 4), put(static_cast<std::uint32_t>(o.height), 4);
  put(1, 2), put(8, 2), put(0, 4), put(static_cast<std::uint32_t>(picture), 4), put(0, 4), put(0, 4), put(0, 4),
      put(256, 4);
  put(static_cast<std::uint32_t>(o.rate), 2);
  pad_to(setup + 140);
  out += "ST";
  put(setup_size, 2);
  pad_to(setup + 768);
  put(static_cast<std::uint32_t>(o.rate), 4);
  pad_to(setup + setup_size);
  if (!o.times.empty()) {
    put(8 + 8 * o.times.size(), 4), put(1002, 2), put(0, 2);
    for (const auto& [seconds, fraction] : o.times) put(fraction, 4), put(seconds, 4);
  }
  put(12, 4), put(1003, 2), put(0, 2), put(0, 4);
  if (!o.timecodes.empty()) {
    put(8 + 8 * o.timecodes.size(), 4), put(1007, 2), put(0, 2);
    for (const std::uint32_t code : o.timecodes) put(code, 4), put(0x1234, 4);
  }
  for (int i = 0; i < o.frames; ++i) put(table + 8 * static_cast<std::size_t>(o.frames) + i * (8 + picture), 8);
  for (int i = 0; i < o.frames; ++i) {
    put(8, 4), put(static_cast<std::uint32_t>(picture), 4);
    out.append(static_cast<std::size_t>(picture), static_cast<char>(10 * (i + 1)));
  }
  return out;
}

}  // namespace support
