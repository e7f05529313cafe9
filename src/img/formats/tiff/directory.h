// The tagged directories of TIFF 6.0 and BigTIFF, which Exif uses too.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "img/formats/shared/source_file.h"

namespace img {

struct tiff_entry {
  int tag = 0;
  int type = 0;
  std::uint64_t count = 0;    // values
  std::int64_t position = 0;  // of the first value in the file
};

// An open file and the numbers that its header gives. Nothing but the header is read at first.
class tiff_file {
 public:
  // Throws io::open_error, io::eof_error and io::invalid_format(path, "Unsupported TIFF variant").
  explicit tiff_file(const std::string& path);

  const source_file& source() const { return file_; }
  const std::string& path() const { return file_.path(); }
  bool big_endian() const { return big_endian_; }
  std::int64_t first_directory() const { return first_; }

  // The entries of the directory at `position`, and where the next one lies (0 for none). Entries whose values are not
  // in the file are left out.
  std::vector<tiff_entry> read_directory(std::int64_t position, std::int64_t* next = nullptr) const;
  // Positions of all pictures of the file, at most `most_pages`, each once.
  std::vector<std::int64_t> pages() const;
  static constexpr std::size_t most_pages = 1000;

  // The values of an entry; numbers of other types than whole ones give nothing. At most `most`.
  std::vector<std::uint64_t> numbers(const tiff_entry& entry, std::uint64_t most) const;
  // Whole, rational and real numbers.
  std::vector<double> reals(const tiff_entry& entry, std::uint64_t most) const;
  // Up to the first zero byte, at most 64 KiB, with trailing blanks removed and as valid UTF-8.
  std::string text(const tiff_entry& entry) const;
  // At most `most` bytes of an entry of bytes.
  std::vector<std::uint8_t> bytes(const tiff_entry& entry, std::uint64_t most) const;

 private:
  std::uint64_t number_at(const std::uint8_t* at, int bytes) const;

  source_file file_;
  bool big_endian_ = false;
  bool big_ = false;  // BigTIFF: positions of eight bytes
  std::int64_t first_ = 0;
};

const tiff_entry* find_entry(const std::vector<tiff_entry>& entries, int tag);

}  // namespace img
