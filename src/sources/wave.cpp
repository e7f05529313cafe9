#include "sources/wave.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "io/exceptions.h"
#include "io/file.h"
#include "platform/files.h"

namespace sources {
namespace {

constexpr int pcm_tag = 1;
constexpr int float_tag = 3;  // WAVE_FORMAT_IEEE_FLOAT
constexpr int extensible_tag = 0xFFFE;
// The sub-format of the extensible format is a tag and these bytes.
constexpr std::array<std::uint8_t, 14> guid_tail{0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};

struct chunk_reader {
  io::binary_reader& reader;
  long long left;  // bytes that the source can still hold

  void exact(void* buffer, int count) {
    if (reader.read(buffer, count) != count) throw io::eof_error(reader.name());
    left -= count;
  }
  std::uint32_t word() {
    std::uint8_t b[4];
    exact(b, 4);
    return b[0] | b[1] << 8 | b[2] << 16 | static_cast<std::uint32_t>(b[3]) << 24;
  }
  bool tag(char (&out)[4]) {
    if (left < 8) return false;
    exact(out, 4);
    return true;
  }
  void skip(long long count) {
    if (count > left) throw io::eof_error(reader.name());
    for (left -= count; count > 0;) {
      const int step = static_cast<int>(std::min<long long>(count, 1 << 30));
      reader.read(nullptr, step);
      count -= step;
    }
  }
  // Moves to the body of the next chunk with this name; false when there is none.
  bool find(const char* wanted, std::uint32_t& size) {
    char name[4];
    while (tag(name)) {
      size = word();
      if (std::memcmp(name, wanted, 4) == 0) return true;
      const long long padded = static_cast<long long>(size) + (size & 1);
      if (padded > left) return false;
      skip(padded);
    }
    return false;
  }
};

int word16(const std::vector<std::uint8_t>& bytes, int at) {
  return bytes[at] | bytes[at + 1] << 8;
}

// Whether the samples are floats.
bool read_format(const std::vector<std::uint8_t>& format, const char* name, wave_context& out) {
  if (format.size() < 16) throw io::invalid_format(name, "Invalid format description");
  int tag = word16(format, 0);
  out.channels = static_cast<std::uint32_t>(word16(format, 2));
  out.sample_rate = static_cast<std::uint32_t>(word16(format, 4) | word16(format, 6) << 16);
  out.bits = word16(format, 14);
  constexpr int guid_at = 24;
  const bool has_guid = format.size() >= guid_at + 2 + guid_tail.size() &&
                        std::equal(guid_tail.begin(), guid_tail.end(), format.begin() + guid_at + 2);
  if (tag == extensible_tag || (tag != float_tag && tag != pcm_tag)) tag = has_guid ? word16(format, guid_at) : 0;
  if (tag != pcm_tag && tag != float_tag) throw io::invalid_format(name, "Non-PCM formats are not supported");
  const bool is_float = tag == float_tag;
  const bool known_bits =
      is_float ? out.bits == 32 || out.bits == 64 : out.bits == 8 || out.bits == 16 || out.bits == 24 || out.bits == 32;
  if (!known_bits || out.channels == 0 || out.sample_rate == 0)
    throw io::invalid_format(name, "Invalid format description");
  return is_float;
}

template <class Float>
void floats_to_integers(std::vector<std::uint8_t>& data) {
  const std::size_t count = data.size() / sizeof(Float);
  for (std::size_t i = 0; i < count; ++i) {
    Float value;
    std::memcpy(&value, data.data() + i * sizeof value, sizeof value);
    constexpr double full = 2147483647.0;
    const double level = std::isnan(value) ? 0.0 : std::clamp<double>(value, -1.0, 1.0) * full;
    const auto sample = static_cast<std::int32_t>(std::lrint(level));
    std::memcpy(data.data() + i * sizeof sample, &sample, sizeof sample);
  }
  data.resize(count * sizeof(std::int32_t));
}

}  // namespace

int wave_context::sample(long long frame, int channel) const {
  const int bytes = bits / 8;
  const std::uint8_t* at = data.data() + frame * frame_bytes() + static_cast<long long>(channel) * bytes;
  if (bits == 8) {
    // 128 is silence; the cast keeps 255 at full level.
    return static_cast<std::int16_t>(((at[0] + 128) & 255) * 257);
  }
  return static_cast<std::int16_t>(at[bytes - 2] | at[bytes - 1] << 8);
}

int wave_context::peak() const {
  int found = peak_.load(std::memory_order_relaxed);
  if (found >= 0) return found;
  found = 0;
  const int heard = static_cast<int>(std::min<std::uint32_t>(channels, 2));
  for (long long i = 0, n = frames(); i < n; ++i) {
    for (int c = 0; c < heard; ++c) found = std::max(found, std::abs(sample(i, c)));
  }
  peak_.store(found, std::memory_order_relaxed);
  return found;
}

std::shared_ptr<const wave_context> read_wave(io::binary_reader& reader, long long available) {
  chunk_reader in{reader, available};
  auto wave = std::make_shared<wave_context>();
  char tag[4] = {};
  if (reader.read(tag, 4) != 4 || std::memcmp(tag, "RIFF", 4) != 0)
    throw io::invalid_format(reader.name(), "Invalid RIFF signature");
  in.left -= 4;
  if (in.left < 8) throw io::eof_error(reader.name());
  in.word();
  in.exact(tag, 4);
  if (std::memcmp(tag, "WAVE", 4) != 0) throw io::invalid_format(reader.name(), "Invalid WAVE signature");

  std::uint32_t size = 0;
  if (!in.find("fmt ", size) || size > 65536) throw io::invalid_format(reader.name(), "Invalid format description");
  if (size > in.left) throw io::eof_error(reader.name());
  wave->format_bytes.resize(size);
  in.exact(wave->format_bytes.data(), static_cast<int>(size));
  if (size & 1) in.skip(std::min<long long>(1, in.left));
  const bool is_float = read_format(wave->format_bytes, reader.name(), *wave);

  if (!in.find("data", size)) throw io::eof_error(reader.name());
  if (size > in.left) throw io::eof_error(reader.name());
  wave->data.resize(size);
  for (std::size_t done = 0; done < wave->data.size();) {
    const int step = static_cast<int>(std::min<std::size_t>(wave->data.size() - done, 1 << 24));
    in.exact(wave->data.data() + done, step);
    done += static_cast<std::size_t>(step);
  }
  if (is_float) {
    if (wave->bits == 64) {
      floats_to_integers<double>(wave->data);
    } else {
      floats_to_integers<float>(wave->data);
    }
    wave->bits = 32;
  }
  return wave;
}

std::shared_ptr<const wave_context> load_wave(const std::string& path) {
  io::file file(path, "rb");
  return read_wave(file, platform::file_size(path));
}

}  // namespace sources
