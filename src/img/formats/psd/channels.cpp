#include "img/formats/psd/channels.h"

#include <zlib.h>

#include <algorithm>
#include <vector>

#include "img/formats/shared/byte_order.h"
#include "img/formats/shared/packbits.h"
#include "img/formats/shared/parallel_tasks.h"
#include "img/formats/shared/refuse.h"
#include "io/exceptions.h"

namespace img {
namespace {

constexpr int psd_raw = 0, psd_rle = 1, psd_zip = 2, psd_zip_predicted = 3;
constexpr std::size_t piece_bytes = 256 << 10;

using put_row = std::function<void(int plane, int y, const std::uint8_t* row)>;

struct worker {
  std::vector<std::uint8_t> stored, row;
};

int threads_for(const psd_planes& planes) {
  return static_cast<long long>(planes.width) * planes.height < 32768 ? 1 : lib::thread_count();
}

// Calls body(first, last, own) for stretches of all rows of the wanted planes, numbered through.
template <class Body>
void for_rows(const psd_planes& planes, int wanted, const Body& body) {
  const int rows = planes.height * wanted;
  const int at_once = static_cast<int>(std::clamp<std::size_t>(piece_bytes / planes.row_bytes(), 1, 4096));
  parallel_tasks<worker>((rows + at_once - 1) / at_once, threads_for(planes), [&](int task, worker& own) {
    body(task * at_once, std::min(rows, (task + 1) * at_once), own);
  });
}

void read_raw(const source_file& file, const psd_planes& planes, int wanted, const put_row& put) {
  const std::size_t row_bytes = planes.row_bytes();
  const std::int64_t begin = planes.position + 2;
  file.check_range(begin, static_cast<std::int64_t>(row_bytes) * planes.height * wanted);
  for_rows(planes, wanted, [&](int first, int last, worker& own) {
    own.stored.resize(row_bytes * static_cast<std::size_t>(last - first));
    file.read(own.stored.data(), own.stored.size(), begin + static_cast<std::int64_t>(row_bytes) * first);
    for (int i = first; i < last; ++i) {
      put(i / planes.height, i % planes.height, own.stored.data() + row_bytes * static_cast<std::size_t>(i - first));
    }
  });
}

void read_rle(const source_file& file, const psd_planes& planes, int wanted, const put_row& put) {
  const std::size_t row_bytes = planes.row_bytes();
  const std::size_t wide = planes.large ? 4 : 2;
  const std::size_t rows = static_cast<std::size_t>(planes.height) * static_cast<std::size_t>(planes.count);
  file.check_range(planes.position + 2, static_cast<std::int64_t>(rows * wide));
  std::vector<std::uint8_t> counts(rows * wide);
  file.read(counts.data(), counts.size(), planes.position + 2);
  std::vector<std::int64_t> starts(rows + 1);
  starts[0] = planes.position + 2 + static_cast<std::int64_t>(counts.size());
  for (std::size_t i = 0; i < rows; ++i) {
    const std::int64_t size = wide == 4 ? be32(counts.data() + 4 * i) : be16(counts.data() + 2 * i);
    starts[i + 1] = starts[i] + size;
  }
  for_rows(planes, wanted, [&](int first, int last, worker& own) {
    own.row.resize(row_bytes);
    for (int i = first; i < last;) {
      // As many rows as come to a piece, however long the file says that they are.
      int end = i + 1;
      const auto at = static_cast<std::size_t>(i);
      while (end < last &&
             starts[static_cast<std::size_t>(end) + 1] - starts[at] <= static_cast<std::int64_t>(2 * piece_bytes))
        ++end;
      const std::int64_t size = starts[static_cast<std::size_t>(end)] - starts[at];
      file.check_range(starts[at], size);
      own.stored.resize(static_cast<std::size_t>(
          std::min<std::int64_t>(size, static_cast<std::int64_t>(4 * (piece_bytes + row_bytes)))));
      file.read(own.stored.data(), own.stored.size(), starts[at]);
      for (; i < end; ++i) {
        const auto row = static_cast<std::size_t>(i);
        const auto offset = static_cast<std::size_t>(starts[row] - starts[at]);
        const auto there =
            std::min(static_cast<std::size_t>(starts[row + 1] - starts[row]), own.stored.size() - offset);
        if (unpack_packbits(own.row.data(), row_bytes, own.stored.data() + offset, there) < row_bytes) {
          throw io::eof_error(file.path());
        }
        put(i / planes.height, i % planes.height, own.row.data());
      }
    }
  });
}

// Samples as differences to their neighbour; floats have all their highest bytes first.
void undo_prediction(std::uint8_t* row, std::size_t bytes, int bits, std::vector<std::uint8_t>& copy) {
  if (bits == 16) {
    for (std::size_t i = 2; i + 1 < bytes; i += 2) {
      const unsigned sum = be16(row + i) + be16(row + i - 2);
      row[i] = static_cast<std::uint8_t>(sum >> 8);
      row[i + 1] = static_cast<std::uint8_t>(sum);
    }
    return;
  }
  for (std::size_t i = 1; i < bytes; ++i) row[i] = static_cast<std::uint8_t>(row[i] + row[i - 1]);
  if (bits != 32) return;
  copy.assign(row, row + bytes);
  const std::size_t samples = bytes / 4;
  for (std::size_t i = 0; i < samples; ++i) {
    for (std::size_t b = 0; b < 4; ++b) row[4 * i + b] = copy[b * samples + i];
  }
}

// One stream for all planes, so one thread unpacks it, row by row.
void read_zip(const source_file& file, const psd_planes& planes, int wanted, bool predicted, const put_row& put) {
  const std::size_t row_bytes = planes.row_bytes();
  std::vector<std::uint8_t> stored(64 << 10), row(row_bytes), copy;
  struct stream : z_stream {
    stream() : z_stream{} {
      if (inflateInit(this) != Z_OK) throw std::bad_alloc();
    }
    ~stream() { inflateEnd(this); }
  } stream;
  std::int64_t at = planes.position + 2;
  for (int i = 0; i < planes.height * wanted; ++i) {
    stream.next_out = row.data();
    stream.avail_out = static_cast<uInt>(row_bytes);
    while (stream.avail_out > 0) {
      if (stream.avail_in == 0) {
        const auto count =
            std::min<std::int64_t>(static_cast<std::int64_t>(stored.size()), std::min(planes.end, file.size()) - at);
        if (count <= 0) throw io::eof_error(file.path());
        file.read(stored.data(), static_cast<std::size_t>(count), at);
        at += count;
        stream.next_in = stored.data();
        stream.avail_in = static_cast<uInt>(count);
      }
      const int result = inflate(&stream, Z_NO_FLUSH);
      if (result == Z_STREAM_END && stream.avail_out > 0) throw io::eof_error(file.path());
      if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) {
        throw io::invalid_format(file.path(), "Invalid compressed data");
      }
    }
    if (predicted) undo_prediction(row.data(), row_bytes, planes.bits, copy);
    put(i / planes.height, i % planes.height, row.data());
  }
}

}  // namespace

void read_psd_planes(const source_file& file, const psd_planes& planes, int wanted, const put_row& put) {
  std::uint8_t word[2];
  file.read(word, 2, planes.position);
  switch (be16(word)) {
    case psd_raw:
      return read_raw(file, planes, wanted, put);
    case psd_rle:
      return read_rle(file, planes, wanted, put);
    case psd_zip:
      return read_zip(file, planes, wanted, false, put);
    case psd_zip_predicted:
      return read_zip(file, planes, wanted, true, put);
    default:
      refuse(file.path(), "Unsupported compression method", be16(word), "0 to 3 are read");
  }
}

}  // namespace img
