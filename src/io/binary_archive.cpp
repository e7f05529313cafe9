#include "io/binary_archive.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <stdexcept>

#include "io/exceptions.h"

namespace io {
namespace {

constexpr char signature[4] = {'L', 'S', 'B', '\x1a'};
constexpr char sequence_mark[4] = {'[', 'n', ']', '\x1a'};
constexpr int stretch_bytes = 65536;

}  // namespace

const int* type_versions::find(const void* tag) const {
  for (const auto& [known, version] : versions_)
    if (known == tag) return &version;
  return nullptr;
}

void binary_oarchive::write_header() {
  write_block(signature, sizeof signature);
  write(std::int32_t{archive_version});
}

void binary_oarchive::write_version(const void* tag, int version) {
  if (const int* known = versions_.find(tag)) {
    if (*known != version) throw std::logic_error("io::version_conflict");
    return;
  }
  write(std::int32_t{version});
  versions_.add(tag, version);
}

void binary_oarchive::write_sequence_size(int count) {
  char header[8];
  std::memcpy(header, sequence_mark, 4);
  std::memcpy(header + 4, &count, 4);
  write_block(header, sizeof header);
}

void binary_oarchive::write_block(const void* data, int count) {
  writer_.write(data, count);
}

void binary_oarchive::write(const std::string& value) {
  write_values(value.data(), value.size(), 1);
}

void binary_oarchive::write(const std::u16string& value) {
  const std::vector<std::uint32_t> units(value.begin(), value.end());
  write_values(units.data(), units.size(), sizeof(std::uint32_t));
}

void binary_oarchive::write_values(const void* data, std::size_t count, std::size_t size) {
  if (count > INT_MAX) throw invalid_format(writer_.name(), "More than a document can hold");
  write_sequence_size(static_cast<int>(count));
  // The bytes of the block may be more than an int holds.
  const auto* bytes = static_cast<const char*>(data);
  for (std::size_t left = count * size; left > 0;) {
    const std::size_t part = std::min(left, std::size_t{1} << 30);
    write_block(bytes, static_cast<int>(part));
    bytes += part;
    left -= part;
  }
}

void binary_iarchive::read_header() {
  char found[4];
  read_block(found, sizeof found);
  if (std::memcmp(found, signature, sizeof found) != 0) throw invalid_signature(reader_.name());
  std::int32_t version = 0;
  read(version);
  if (version < 0 || version > archive_version) throw invalid_version(reader_.name());
  version_ = version;
}

int binary_iarchive::read_version(const void* tag) {
  if (version_ < 4) return version_ - 4;
  if (const int* known = versions_.find(tag)) return *known;
  std::int32_t version = 0;
  read(version);
  versions_.add(tag, version);
  return version;
}

int binary_iarchive::read_sequence_size() {
  struct {
    char mark[4];
    std::int32_t count;
  } found;
  const int size = reader_.read(&found, sizeof found);
  if (size < static_cast<int>(sizeof found.mark)) throw eof_error(reader_.name());
  if (std::memcmp(found.mark, sequence_mark, sizeof found.mark) != 0) throw invalid_signature(reader_.name());
  if (size < static_cast<int>(sizeof found)) throw eof_error(reader_.name());
  if (found.count < 0) throw invalid_count(reader_.name());
  return found.count;
}

int binary_iarchive::read_element_count() {
  const int count = read_sequence_size();
  claim_elements(count);
  return count;
}

void binary_iarchive::claim_elements(long long count) {
  if (count > elements_left_) throw invalid_format(reader_.name(), "More elements than a file of its size can hold");
  elements_left_ -= count;
}

void binary_iarchive::read_block(void* data, int count) {
  if (count > 0 && reader_.read(data, count) < count) throw eof_error(reader_.name());
}

void binary_iarchive::read(bool& value) {
  std::uint8_t byte = 0;
  read(byte);
  value = byte != 0;
}

template <class Container>
void binary_iarchive::read_values(Container& values, int count) {
  constexpr int size = sizeof(typename Container::value_type);
  values.clear();
  while (count > 0) {
    const int part = std::min(count, stretch_bytes / size);
    const std::size_t before = values.size();
    values.resize(before + static_cast<std::size_t>(part));
    read_block(values.data() + before, part * size);
    count -= part;
  }
}

template void binary_iarchive::read_values(std::vector<std::int8_t>&, int);
template void binary_iarchive::read_values(std::vector<std::uint8_t>&, int);
template void binary_iarchive::read_values(std::vector<std::int16_t>&, int);
template void binary_iarchive::read_values(std::vector<std::uint16_t>&, int);
template void binary_iarchive::read_values(std::vector<std::int32_t>&, int);
template void binary_iarchive::read_values(std::vector<std::uint32_t>&, int);

void binary_iarchive::read(std::string& value) {
  const int count = read_sequence_size();
  if (count > stretch_bytes) {
    read_values(value, count);
    return;
  }
  value.resize(static_cast<std::size_t>(count));
  read_block(value.data(), count);
}

void binary_iarchive::read(std::u16string& value) {
  const int count = read_sequence_size();
  if (version_ == 0) {
    read_values(value, count);
    return;
  }
  std::vector<std::uint32_t> units;
  read_values(units, count);
  value.resize(units.size());
  std::transform(units.begin(), units.end(), value.begin(),
                 [](std::uint32_t unit) { return static_cast<char16_t>(unit & 0xFFFF); });
}

}  // namespace io
