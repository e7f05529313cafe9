#include "sources/wave.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <string>

#include "io/exceptions.h"
#include "io/memory_reader.h"
#include "paths.h"
#include "support/ffmpeg.h"
#include "support/temp_folder.h"

namespace {

std::string word(unsigned value, int bytes) {
  std::string out;
  for (int i = 0; i < bytes; ++i) out += static_cast<char>(value >> 8 * i);
  return out;
}

std::string chunk(const std::string& name, const std::string& body) {
  return name + word(static_cast<unsigned>(body.size()), 4) + body + std::string(body.size() & 1, '\0');
}

std::string format_block(int tag, int channels, int rate, int bits) {
  return word(tag, 2) + word(channels, 2) + word(rate, 4) + word(rate * channels * bits / 8, 4) +
         word(channels * bits / 8, 2) + word(bits, 2);
}

std::string riff(const std::string& chunks) {
  return "RIFF" + word(static_cast<unsigned>(chunks.size() + 4), 4) + "WAVE" + chunks;
}

std::shared_ptr<const sources::wave_context> read(const std::string& bytes) {
  io::memory_reader reader(bytes.data(), static_cast<int>(bytes.size()));
  return sources::read_wave(reader, static_cast<long long>(bytes.size()));
}

TEST(wave, reads_past_other_chunks) {
  const std::string plain = riff(chunk("LIST", "odd") + chunk("fmt ", format_block(1, 2, 48000, 16)) +
                                 chunk("fact", word(3, 4)) + chunk("data", std::string(8, '\1')) + chunk("LIST", "x"));
  const auto wave = read(plain);
  EXPECT_EQ(wave->sample_rate, 48000u);
  EXPECT_EQ(wave->channels, 2u);
  EXPECT_EQ(wave->bits, 16);
  EXPECT_EQ(wave->frames(), 2);
  EXPECT_EQ(wave->sample(1, 1), 0x0101);
  EXPECT_EQ(wave->peak(), 0x0101);
}

TEST(wave, extensible) {
  const std::string guid("\1\0\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 16);
  std::string float_guid = guid;
  float_guid[0] = 3;
  const auto file = [](const std::string& sub_format) {
    return riff(
        chunk("fmt ", format_block(0xFFFE, 1, 44100, 24) + word(22, 2) + word(24, 2) + word(4, 4) + sub_format) +
        chunk("data", std::string(6, '\2')));
  };
  EXPECT_EQ(read(file(guid))->frames(), 2);
  EXPECT_THROW(read(file(float_guid)), io::invalid_format);  // 24 bits are no float
  std::string other_guid = guid;
  other_guid[0] = 2;
  EXPECT_THROW(read(file(other_guid)), io::invalid_format);
}

TEST(wave, floats_are_heard) {
  const auto row = [](auto values, int tag, const std::string& extension) {
    std::string data(sizeof values, '\0');
    std::memcpy(data.data(), values.data(), data.size());
    const int bits = 8 * static_cast<int>(sizeof values[0]);
    return read(riff(chunk("fmt ", format_block(tag, 1, 48000, bits) + extension) + chunk("data", data)));
  };
  const std::string guid("\3\0\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 16);
  const std::string extension = word(22, 2) + word(32, 2) + word(4, 4) + guid;
  for (const auto& wave : {row(std::array<float, 5>{0.5F, -1.0F, 3.0F, 0.0F, NAN}, 3, ""),
                           row(std::array<double, 5>{0.5, -1.0, 3.0, 0.0, NAN}, 3, ""),
                           row(std::array<float, 5>{0.5F, -1.0F, 3.0F, 0.0F, NAN}, 0xFFFE, extension)}) {
    ASSERT_EQ(wave->frames(), 5);
    EXPECT_EQ(wave->bits, 32);
    const int samples[] = {16384, -32768, 32767, 0, 0};
    for (int i = 0; i < 5; ++i) EXPECT_EQ(wave->sample(i, 0), samples[i]) << i;
  }
}

TEST(wave, refusals) {
  const std::string format = chunk("fmt ", format_block(1, 1, 44100, 16));
  struct row {
    std::string bytes;
    const char* message;
  };
  const row rows[] = {
      {"", "Invalid RIFF signature"},
      {"RIFX" + word(4, 4) + "WAVE", "Invalid RIFF signature"},
      {"RIFF" + word(4, 4) + "AVI ", "Invalid WAVE signature"},
      {"RIFF", "Unexpected end of file"},
      {riff(chunk("data", "abcd")), "Invalid format description"},
      {riff(chunk("fmt ", "short")), "Invalid format description"},
      {riff(chunk("fmt ", format_block(1, 0, 44100, 16))), "Invalid format description"},
      {riff(chunk("fmt ", format_block(1, 1, 44100, 12))), "Invalid format description"},
      {riff(chunk("fmt ", format_block(2, 1, 44100, 4))), "Non-PCM formats are not supported"},
      {riff(chunk("fmt ", format_block(3, 1, 44100, 16))), "Invalid format description"},
      {riff("fmt " + word(0x7FFFFFFF, 4)), "Invalid format description"},
      {riff(format), "Unexpected end of file"},
      {riff(format + "data" + word(0xFFFFFFF0u, 4) + "ab"), "Unexpected end of file"},
      {riff("junk" + word(0xFFFFFFFFu, 4) + format), "Invalid format description"},
  };
  for (const row& r : rows) {
    try {
      read(r.bytes);
      ADD_FAILURE() << "no error, expected " << r.message;
    } catch (const io::exception& error) {
      EXPECT_EQ(error.message(), r.message);
    }
  }
}

TEST(wave, files_of_others) {
  if (support::have_ffmpeg()) {
    const support::temp_folder folder;
    for (const char* coding : {"pcm_u8", "pcm_s16le", "pcm_s24le", "pcm_s32le"}) {
      const std::string path = folder / coding + ".wav";
      ASSERT_TRUE(support::run_ffmpeg(std::string("-f lavfi -i sine=d=0.5:r=48000 -c:a ") + coding + " " + path));
      EXPECT_EQ(sources::load_wave(path)->frames(), 24000) << coding;
    }
  }
  const std::filesystem::path folder = std::string(KESTRIN_SAMPLES_DIR) + "/wav";
  if (!std::filesystem::exists(folder)) return;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    try {
      const auto wave = sources::load_wave(entry.path().string());
      EXPECT_GT(wave->frames(), 0) << entry.path();
    } catch (const io::exception& error) {
      EXPECT_NE(error.message(), "Unexpected end of file") << entry.path();
    }
  }
}

}  // namespace
