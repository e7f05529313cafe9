#include "sources/cine.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>

#include "platform/positioned_file.h"

namespace sources {
namespace {

constexpr int header_size = 44;
// Within the setup block.
constexpr int rate_16_offset = 0;
constexpr int mark_offset = 140;
constexpr int rate_offset = 768;

constexpr int block_header_size = 8;
constexpr int time_block = 1002;
constexpr int timecode_block = 1007;
constexpr int most_blocks = 256;

// More than the memory of any camera holds, and an index that stays small.
constexpr std::uint32_t most_images = 16'000'000;

std::uint32_t word(const std::uint8_t* p) {
  return p[0] | p[1] << 8 | p[2] << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

int half_word(const std::uint8_t* p) {
  return p[0] | p[1] << 8;
}

int decimal(int bcd) {
  return (bcd >> 4) * 10 + (bcd & 15);
}

bool is_decimal(int bcd) {
  return (bcd & 15) < 10 && (bcd >> 4) < 10;
}

}  // namespace

std::optional<cine_file> cine_file::open(const std::string& path) {
  const auto file = std::make_shared<const platform::positioned_file>(path);
  if (file->error() != 0) return std::nullopt;
  return open(
      [file](void* buffer, std::size_t count, std::int64_t offset) {
        return file->read(buffer, count, offset) == static_cast<std::int64_t>(count);
      },
      file->size());
}

std::optional<cine_file> cine_file::open(read_function read, std::int64_t size) {
  std::uint8_t header[header_size];
  if (size < header_size || !read(header, header_size, 0)) return std::nullopt;
  if (std::memcmp(header, "CI", 2) != 0 || half_word(header + 2) < header_size) return std::nullopt;
  const std::uint32_t images = word(header + 20);
  const std::int64_t setup = word(header + 28);
  const std::int64_t table = word(header + 32);
  if (images < 1 || images > most_images) return std::nullopt;
  const std::int64_t entry_size = half_word(header + 6) == 0 ? 4 : 8;  // by the version of the format
  if (table < header_size || table + entry_size * images > size) return std::nullopt;

  cine_file cine;
  cine.read_ = std::move(read);
  cine.size_ = size;
  cine.table_ = table;
  cine.entry_size_ = entry_size;
  cine.first_image_ = static_cast<int>(word(header + 16));
  cine.frames_ = static_cast<int>(images);
  cine.trigger_ = {word(header + 40), word(header + 36)};
  std::uint8_t part[4];
  if (setup < header_size || !cine.read_(part, 4, setup + mark_offset) || std::memcmp(part, "ST", 2) != 0) return cine;
  const std::int64_t length = half_word(part + 2);
  if (length >= rate_offset + 4 && cine.read_(part, 4, setup + rate_offset) && word(part) != 0) {
    cine.rate_ = word(part);
  } else if (cine.read_(part, 2, setup + rate_16_offset)) {
    cine.rate_ = half_word(part);
  }
  cine.find_blocks(setup + length, table);
  return cine;
}

// An annotation goes before each image; the last of its words is the size of the image.
bool cine_file::is_whole(int frame) const {
  std::uint8_t bytes[8] = {};
  if (!read_(bytes, static_cast<std::size_t>(entry_size_), table_ + entry_size_ * frame)) return false;
  const std::int64_t image = word(bytes) | static_cast<std::int64_t>(word(bytes + 4)) << 32;
  if (image < header_size || image > size_ - 8 || !read_(bytes, 4, image)) return false;
  const std::int64_t annotation = word(bytes);
  if (annotation < 8 || !read_(bytes, 4, image + annotation - 4)) return false;
  return image + annotation + word(bytes) <= size_;
}

// Images follow one another, so that the first that is cut decides.
int cine_file::whole_frames() const {
  int whole = 0;
  for (int cut = frames_; whole < cut;) {
    const int middle = whole + (cut - whole) / 2;
    if (is_whole(middle)) {
      whole = middle + 1;
    } else {
      cut = middle;
    }
  }
  return whole;
}

void cine_file::find_blocks(std::int64_t position, std::int64_t end) {
  for (int i = 0; i < most_blocks && position + block_header_size <= end; ++i) {
    std::uint8_t header[block_header_size];
    if (!read_(header, sizeof header, position)) return;
    const std::int64_t size = word(header);
    if (size < block_header_size || position + size > end) return;
    const int entries = static_cast<int>(std::min<std::int64_t>((size - block_header_size) / 8, frames_));
    const block found{position + block_header_size, entries};
    const int type = half_word(header + 4);
    if (type == time_block) times_ = found;
    if (type == timecode_block) timecodes_ = found;
    position += size;
  }
}

std::optional<cine_time> cine_file::time_of(int frame) const {
  std::uint8_t entry[8];
  if (frame < 0 || frame >= times_.entries || !read_(entry, 8, times_.position + 8LL * frame)) return std::nullopt;
  // The two lowest bits of the fraction are flags of the clock's synchronisation.
  const cine_time time{word(entry + 4), word(entry) & ~3u};
  if (time == cine_time{}) return std::nullopt;
  return time;
}

img::timecode cine_file::timecode_of(int frame) const {
  std::uint8_t entry[8];
  if (frame < 0 || frame >= timecodes_.entries || !read_(entry, 8, timecodes_.position + 8LL * frame)) return {};
  // SMPTE ST 12-1: frames, seconds, minutes, hours, each with flags above its tens.
  const int frames = entry[0] & 0x3F;
  const int seconds = entry[1] & 0x7F;
  const int minutes = entry[2] & 0x7F;
  const int hours = entry[3] & 0x3F;
  if (word(entry) == 0 || !is_decimal(frames) || !is_decimal(seconds) || !is_decimal(minutes) || !is_decimal(hours))
    return {};
  img::timecode code = img::make_timecode(decimal(hours), decimal(minutes), decimal(seconds), decimal(frames), 0, 1,
                                          (entry[0] & 0x40) != 0);
  if (code.is_valid()) code.user = word(entry + 4);
  return code;
}

void cine_file::describe(int frame, img::image_info& info) const {
  info.metadata["image_number"] = std::to_string(static_cast<long long>(first_image_) + frame);
  if (trigger_ != cine_time{}) info.metadata["trigger_time"] = to_text(trigger_);
  info.timecode = timecode_of(frame);
  const auto time = time_of(frame);
  if (!time) return;
  info.metadata["image_time"] = to_text(*time);
  (info.timecode.is_valid() ? info.timecode2 : info.timecode) = sources::timecode_of(*time, rate_);
}

img::timecode timecode_of(const cine_time& time, double rate) {
  if (!(rate > 0.0)) rate = 1.0;
  int base = static_cast<int>(std::lrint(std::clamp(rate, 1.0, 30.0)));
  int parts = 1;
  if (rate > 30.0) {
    const double whole = std::rint(rate);
    base = 30;
    for (const int candidate : {24, 25, 30}) {
      if (std::fmod(whole, candidate) == 0.0) base = candidate;
    }
    parts = static_cast<int>(std::clamp(std::rint(rate / base), 2.0, 9999.0));
  }
  const std::uint64_t count = static_cast<std::uint64_t>(time.fraction) * static_cast<unsigned>(base * parts) >> 32;
  const int day = static_cast<int>(time.seconds % 86400);
  const int at = static_cast<int>(count);
  return img::make_timecode(day / 3600, day / 60 % 60, day % 60, at / parts, at % parts, parts, false);
}

std::string to_text(const cine_time& time) {
  const std::time_t seconds = time.seconds;
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  const unsigned micro = static_cast<unsigned>(static_cast<std::uint64_t>(time.fraction) * 1'000'000 >> 32);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%06u UTC", parts.tm_year + 1900, parts.tm_mon + 1,
                parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec, micro);
  return text;
}

}  // namespace sources
