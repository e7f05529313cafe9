// Movies that the program saved: what ffprobe says of them and what our own clip shows.
#pragma once

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "img/format.h"
#include "support/numbered_movie.h"

namespace support {

inline bool have_ffprobe() {
  return std::system("command -v ffprobe >/dev/null 2>&1") == 0;
}

// What ffprobe says: "streams.stream.0.codec_name" and the like to their values.
inline std::map<std::string, std::string> probed(const std::string& path) {
  std::map<std::string, std::string> found;
  const std::string command = "ffprobe -v error -count_frames -show_streams -show_format -of flat '" + path + "'";
  if (FILE* const out = popen(command.c_str(), "r")) {
    char line[1024];
    while (std::fgets(line, sizeof line, out)) {
      std::string text = line;
      std::erase_if(text, [](char c) { return c == '"' || c == '\n'; });
      if (const std::size_t equals = text.find('='); equals != text.npos)
        found.emplace(text.substr(0, equals), text.substr(equals + 1));
    }
    pclose(out);
  }
  return found;
}

// A picture that shows its number: ramps of colour in the upper third, ten blocks for the binary digits below it.
inline img::image numbered_scene(int number, int width, int height, bool alpha) {
  img::image image(alpha ? "BGRA" : "BGR", 8, width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const bool ramps = y < height / 3;
      const int digit = number >> (x * number_bits / width) & 1 ? 200 : 50;
      const int values[4] = {ramps ? x * 255 / width : digit, ramps ? 255 - x * 255 / width : digit,
                             ramps ? y * 3 * 255 / height : digit, x < width / 2 ? 255 : 60};
      for (int plane = 0; plane < (alpha ? 4 : 3); ++plane)
        image.row(plane, y)[x] = static_cast<std::uint8_t>(values[plane]);
    }
  }
  return image;
}

// Mean difference of the colours of two pictures, over the size of the second; 999 when the first is smaller.
inline double mean_difference(const img::image& first, const img::image& second) {
  if (first.width < second.width || first.height < second.height || first.plane_of('R') != 2) return 999.0;
  long long sum = 0;
  for (int plane = 0; plane < 3; ++plane) {
    for (int y = 0; y < second.height; ++y) {
      for (int x = 0; x < second.width; ++x) sum += std::abs(first.row(plane, y)[x] - second.row(plane, y)[x]);
    }
  }
  return static_cast<double>(sum) / (3.0 * second.width * second.height);
}

// A RIFF wave file of stereo, 16 bits, with one loud sample.
inline void write_click(const std::string& path, int rate, int samples, int click, std::int16_t height = 20000) {
  const auto number = [](std::uint32_t value, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) text += static_cast<char>(value >> (8 * i));
    return text;
  };
  const auto bytes = static_cast<std::uint32_t>(4 * samples);
  std::string data(bytes, '\0');
  for (int channel = 0; channel < 2; ++channel)
    data.replace(static_cast<std::size_t>(4 * click + 2 * channel), 2, number(static_cast<std::uint16_t>(height), 2));
  const auto hertz = static_cast<std::uint32_t>(rate);
  write_file(path, "RIFF" + number(36 + bytes, 4) + "WAVEfmt " + number(16, 4) + number(1, 2) + number(2, 2) +
                       number(hertz, 4) + number(4 * hertz, 4) + number(4, 2) + number(16, 2) + "data" +
                       number(bytes, 4) + data);
}

// The sample frame at which the sound is loudest.
inline long long loudest(const sources::wave_context& wave) {
  long long best = 0;
  for (long long i = 0; i < wave.frames(); ++i) {
    if (std::abs(wave.sample(i, 0)) > std::abs(wave.sample(best, 0))) best = i;
  }
  return best;
}

}  // namespace support
