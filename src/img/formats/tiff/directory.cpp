#include "img/formats/tiff/directory.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "img/formats/shared/byte_order.h"
#include "img/formats/shared/metadata_text.h"
#include "io/exceptions.h"

namespace img {
namespace {

// TIFF 6.0 section 2, and the 8-byte types of BigTIFF from 16 on.
constexpr std::array<int, 19> type_bytes{0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 0, 0, 8, 8, 8};
constexpr int rational_type = 5, signed_rational_type = 10, float_type = 11, double_type = 12;

int bytes_of(int type) {
  return type > 0 && type < static_cast<int>(type_bytes.size()) ? type_bytes[static_cast<std::size_t>(type)] : 0;
}

bool is_whole(int type) {
  return bytes_of(type) > 0 && type != rational_type && type != signed_rational_type && type != float_type &&
         type != double_type;
}

bool is_signed(int type) {
  return type == 6 || type == 8 || type == 9 || type == signed_rational_type || type == 17;
}

double signed_value(std::uint64_t value, int bytes) {
  const int unused = 64 - 8 * bytes;
  return static_cast<double>(static_cast<std::int64_t>(value << unused) >> unused);
}

}  // namespace

tiff_file::tiff_file(const std::string& path) : file_(path) {
  std::uint8_t header[16] = {};
  file_.read(header, 8, 0);
  big_endian_ = header[0] == 'M';
  const bool marked = (header[0] == 'I' && header[1] == 'I') || (header[0] == 'M' && header[1] == 'M');
  const std::uint64_t version = number_at(header + 2, 2);
  if (!marked || (version != 42 && version != 43)) throw io::invalid_format(path, "Unsupported TIFF variant");
  big_ = version == 43;
  if (big_) file_.read(header, 16, 0);
  first_ = static_cast<std::int64_t>(big_ ? number_at(header + 8, 8) : number_at(header + 4, 4));
}

std::uint64_t tiff_file::number_at(const std::uint8_t* at, int bytes) const {
  switch (bytes) {
    case 1:
      return *at;
    case 2:
      return big_endian_ ? be16(at) : le16(at);
    case 4:
      return big_endian_ ? be32(at) : le32(at);
    default:
      return big_endian_ ? be64(at) : le64(at);
  }
}

std::vector<tiff_entry> tiff_file::read_directory(std::int64_t position, std::int64_t* next) const {
  const int count_bytes = big_ ? 8 : 2;
  const int entry_bytes = big_ ? 20 : 12;
  const int value_bytes = big_ ? 8 : 4;
  std::uint8_t head[8];
  file_.check_range(position, count_bytes);
  file_.read(head, static_cast<std::size_t>(count_bytes), position);
  const std::uint64_t count = number_at(head, count_bytes);
  if (count == 0 || count > 4096) throw io::invalid_format(path(), "Unsupported TIFF variant");
  std::vector<std::uint8_t> table(count * static_cast<std::size_t>(entry_bytes) +
                                  static_cast<std::size_t>(value_bytes));
  const std::int64_t start = position + count_bytes;
  // The last directory of a cut file may lack the position of the next one.
  const std::size_t needed = table.size() - static_cast<std::size_t>(value_bytes);
  const bool has_next = file_.size() - start >= static_cast<std::int64_t>(table.size());
  file_.read(table.data(), has_next ? table.size() : needed, start);
  std::vector<tiff_entry> entries;
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t* at = table.data() + i * static_cast<std::size_t>(entry_bytes);
    tiff_entry entry;
    entry.tag = static_cast<int>(number_at(at, 2));
    entry.type = static_cast<int>(number_at(at + 2, 2));
    entry.count = number_at(at + 4, value_bytes);
    const int bytes = bytes_of(entry.type);
    if (bytes == 0 || entry.count == 0 || entry.count > static_cast<std::uint64_t>(file_.size())) continue;
    const std::int64_t size = static_cast<std::int64_t>(entry.count) * bytes;
    const std::uint8_t* value = at + 4 + value_bytes;
    entry.position =
        size <= value_bytes ? start + (value - table.data()) : static_cast<std::int64_t>(number_at(value, value_bytes));
    if (entry.position < 0 || entry.position > file_.size() || size > file_.size() - entry.position) continue;
    entries.push_back(entry);
  }
  if (next) *next = has_next ? static_cast<std::int64_t>(number_at(table.data() + needed, value_bytes)) : 0;
  return entries;
}

std::vector<std::int64_t> tiff_file::pages() const {
  std::vector<std::int64_t> found;
  for (std::int64_t position = first_; position > 0 && found.size() < most_pages;) {
    if (std::find(found.begin(), found.end(), position) != found.end()) break;
    std::int64_t next = 0;
    try {
      read_directory(position, &next);
    } catch (const io::exception&) {
      if (found.empty()) throw;
      break;  // what comes after a whole picture does not make it unreadable
    }
    found.push_back(position);
    position = next;
  }
  if (found.empty()) throw io::invalid_format(path(), "Unsupported TIFF variant");
  return found;
}

std::vector<std::uint64_t> tiff_file::numbers(const tiff_entry& entry, std::uint64_t most) const {
  if (!is_whole(entry.type)) return {};
  const int bytes = bytes_of(entry.type);
  const std::vector<std::uint8_t> raw = this->bytes(entry, std::min(most, entry.count) * static_cast<unsigned>(bytes));
  std::vector<std::uint64_t> values(raw.size() / static_cast<std::size_t>(bytes));
  for (std::size_t i = 0; i < values.size(); ++i) {
    values[i] = number_at(raw.data() + i * static_cast<std::size_t>(bytes), bytes);
  }
  return values;
}

std::vector<double> tiff_file::reals(const tiff_entry& entry, std::uint64_t most) const {
  const int bytes = bytes_of(entry.type);
  const std::vector<std::uint8_t> raw = this->bytes(entry, std::min(most, entry.count) * static_cast<unsigned>(bytes));
  std::vector<double> values;
  for (std::size_t at = 0; at + static_cast<std::size_t>(bytes) <= raw.size(); at += static_cast<std::size_t>(bytes)) {
    const auto whole = [&](std::size_t offset, int size) {
      const std::uint64_t number = number_at(raw.data() + at + offset, size);
      return is_signed(entry.type) ? signed_value(number, size) : static_cast<double>(number);
    };
    if (entry.type == float_type) {
      values.push_back(std::bit_cast<float>(static_cast<std::uint32_t>(number_at(raw.data() + at, 4))));
    } else if (entry.type == double_type) {
      values.push_back(std::bit_cast<double>(number_at(raw.data() + at, 8)));
    } else if (entry.type == rational_type || entry.type == signed_rational_type) {
      const double divisor = whole(4, 4);
      values.push_back(divisor == 0 ? 0 : whole(0, 4) / divisor);
    } else {
      values.push_back(whole(0, bytes));
    }
  }
  return values;
}

std::string tiff_file::text(const tiff_entry& entry) const {
  const std::vector<std::uint8_t> raw = bytes(entry, 64 << 10);
  std::string text(raw.begin(), std::find(raw.begin(), raw.end(), 0));
  text.erase(text.find_last_not_of(" \r\n") + 1);
  return valid_utf8(text);
}

std::vector<std::uint8_t> tiff_file::bytes(const tiff_entry& entry, std::uint64_t most) const {
  std::vector<std::uint8_t> raw(
      static_cast<std::size_t>(std::min(most, entry.count * static_cast<unsigned>(bytes_of(entry.type)))));
  if (!raw.empty()) file_.read(raw.data(), raw.size(), entry.position);
  return raw;
}

const tiff_entry* find_entry(const std::vector<tiff_entry>& entries, int tag) {
  for (const tiff_entry& entry : entries) {
    if (entry.tag == tag) return &entry;
  }
  return nullptr;
}

}  // namespace img
