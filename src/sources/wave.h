// The sound of a layer: one whole PCM block in memory.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "io/streams.h"

namespace sources {

// Immutable once loaded, shared among copies of a layer.
struct wave_context {
  std::uint32_t sample_rate = 0;           // Hz
  int bits = 0;                            // per sample: 8, 16, 24 or 32
  std::uint32_t channels = 0;              // 1, or 2 and more of which the first two are heard
  std::vector<std::uint8_t> format_bytes;  // the format block as it stood in the file
  std::vector<std::uint8_t> data;          // the samples, little-endian, interleaved

  int frame_bytes() const { return static_cast<int>(channels) * (bits / 8); }
  // Sample frames in the block.
  long long frames() const { return frame_bytes() > 0 ? static_cast<long long>(data.size()) / frame_bytes() : 0; }
  // Sample of one channel on the 16-bit scale; 8-bit samples are unsigned, wider ones give their top 16 bits.
  int sample(long long frame, int channel) const;
  // Greatest magnitude on the 16-bit scale; computed once over the whole data. Any thread.
  int peak() const;

 private:
  mutable std::atomic<int> peak_{-1};
};

// Reads a RIFF wave file with samples of PCM or floats, plain or extensible; floats become 32-bit samples, from -1 to 1
// as full level, cut there. Throws io::invalid_format with "Invalid RIFF
// signature", "Invalid WAVE signature", "Invalid format description" or "Non-PCM formats are not supported", and
// io::eof_error. `available` is the number of bytes that the source can hold; a chunk is believed only up to it.
std::shared_ptr<const wave_context> read_wave(io::binary_reader& reader, long long available);
std::shared_ptr<const wave_context> load_wave(const std::string& path);

}  // namespace sources
