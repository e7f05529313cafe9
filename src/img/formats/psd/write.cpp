#include "img/formats/psd/write.h"

#include <limits>
#include <string_view>
#include <utility>
#include <vector>

#include "img/formats/psd/document.h"
#include "img/formats/shared/packbits.h"
#include "io/file.h"

namespace img {
namespace {

constexpr std::size_t piece_bytes = 256 << 10;

// A file with places that are filled in when all is written.
class output {
 public:
  explicit output(const std::string& path) : file_(path, true) {}

  void put(std::string_view text) { append(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()); }
  void put(std::size_t value, int bytes) {
    for (int i = bytes - 1; i >= 0; --i) waiting_.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  }
  void append(const std::uint8_t* data, std::size_t size) {
    waiting_.insert(waiting_.end(), data, data + size);
    if (waiting_.size() > piece_bytes) flush();
  }
  std::size_t position() const { return written_ + waiting_.size(); }

  void fill_in(std::size_t at, std::vector<std::uint8_t> bytes) { later_.emplace_back(at, std::move(bytes)); }
  // A number of four bytes.
  void fill_in(std::size_t at, std::size_t value) {
    std::vector<std::uint8_t> bytes;
    for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    fill_in(at, std::move(bytes));
  }
  void finish() {
    flush();
    for (const auto& [at, bytes] : later_) {
      file_.seek(static_cast<int>(at), SEEK_SET);
      file_.write(bytes.data(), static_cast<int>(bytes.size()));
    }
  }

 private:
  void flush() {
    file_.write(waiting_.data(), static_cast<int>(waiting_.size()));
    written_ += waiting_.size();
    waiting_.clear();
  }

  io::llfile file_;
  std::vector<std::uint8_t> waiting_;
  std::size_t written_ = 0;
  std::vector<std::pair<std::size_t, std::vector<std::uint8_t>>> later_;
};

template <class Sample>
void store(std::uint8_t*& out, std::uint32_t value) {
  if constexpr (sizeof(Sample) == 2) *out++ = static_cast<std::uint8_t>(value >> 8);
  *out++ = static_cast<std::uint8_t>(value);
}

// The word that tells the compression, how long each packed row is, and the rows, which fetch(row, samples) gives.
template <class Fetch>
void put_rows(output& out, bool packed, std::size_t rows, std::size_t row_bytes, const Fetch& fetch) {
  out.put(packed ? 1 : 0, 2);
  const std::size_t counts_at = out.position();
  std::vector<std::uint8_t> counts(packed ? 2 * rows : 0), samples(row_bytes), codes(packed_packbits_room(row_bytes));
  out.append(counts.data(), counts.size());
  for (std::size_t i = 0; i < rows; ++i) {
    fetch(i, samples.data());
    if (!packed) {
      out.append(samples.data(), row_bytes);
      continue;
    }
    const std::size_t size = pack_packbits(codes.data(), samples.data(), row_bytes);
    counts[2 * i] = static_cast<std::uint8_t>(size >> 8);
    counts[2 * i + 1] = static_cast<std::uint8_t>(size);
    out.append(codes.data(), size);
  }
  if (packed) out.fill_in(counts_at, std::move(counts));
}

template <class Planes>
class document_writer {
 public:
  document_writer(const Planes& planes, const std::string& path, const save_options& options)
      : planes_(planes),
        packed_(options.compression != 1),
        colors_(planes.count >= 3 ? 3 : 1),
        columns_(static_cast<std::size_t>(planes.width)),
        rows_(static_cast<std::size_t>(planes.height)),
        out_(path) {}

  void write() {
    out_.put("8BPS");
    out_.put(1, 2);
    out_.put(0, 6);
    out_.put(static_cast<std::size_t>(planes_.count), 2);
    out_.put(rows_, 4);
    out_.put(columns_, 4);
    out_.put(8 * sizeof(sample), 2);
    out_.put(colors_ == 3 ? psd_rgb : psd_gray, 2);
    out_.put(0, 4);  // palette
    out_.put(0, 4);  // resources
    // Only a layer can tell that the channel after the colours is a transparency and no mask. Its places must lie where
    // a file can be sought.
    const std::size_t most =
        2 * static_cast<std::size_t>(planes_.count) * rows_ * (packed_packbits_room(row_bytes()) + 2);
    const bool layered = planes_.count > colors_ && most < std::numeric_limits<int>::max() - piece_bytes;
    if (layered) {
      put_layer();
    } else {
      out_.put(0, 4);
    }
    put_merged(layered && colors_ == 3);
    out_.finish();
  }

 private:
  using sample = std::remove_cv_t<std::remove_pointer_t<decltype(std::declval<Planes>().row(0, 0))>>;
  static constexpr std::uint32_t full = std::numeric_limits<sample>::max();

  std::size_t row_bytes() const { return columns_ * sizeof(sample); }

  void plain_row(int channel, std::size_t y, std::uint8_t* out) const {
    const sample* from = planes_.row(plane_red_first(planes_.count, channel), static_cast<int>(y));
    for (std::size_t x = 0; x < columns_; ++x) store<sample>(out, from[x]);
  }

  void put_layer() {
    const std::size_t section = out_.position();
    out_.put(0, 4);
    out_.put(0, 4);
    out_.put(0xFFFF, 2);  // one layer; negative, so the merged picture has a transparency
    for (std::size_t side : {std::size_t{0}, std::size_t{0}, rows_, columns_}) out_.put(side, 4);
    out_.put(static_cast<std::size_t>(planes_.count), 2);
    const std::size_t list = out_.position();
    for (int i = 0; i < planes_.count; ++i) {
      out_.put(i == 0 ? 0xFFFF : static_cast<std::size_t>(i - 1), 2);  // transparency is -1
      out_.put(0, 4);
    }
    out_.put("8BIMnorm");
    out_.put(0xFF000000, 4);  // opacity; not clipped, shown
    out_.put(16, 4);
    out_.put(0, 4);  // mask
    out_.put(0, 4);  // blending ranges
    out_.put("\7Layer 1");
    for (int i = 0; i < planes_.count; ++i) {
      const std::size_t begin = out_.position();
      const int channel = i == 0 ? colors_ : i - 1;
      put_rows(out_, packed_, rows_, row_bytes(),
               [&](std::size_t y, std::uint8_t* out) { plain_row(channel, y, out); });
      out_.fill_in(list + 6 * static_cast<std::size_t>(i) + 2, out_.position() - begin);
    }
    while ((out_.position() - section) % 4 != 0) out_.put(0, 1);
    out_.fill_in(section + 4, out_.position() - section - 8);
    out_.put(0, 4);  // mask of all layers
    out_.fill_in(section, out_.position() - section - 4);
  }

  // Colours with a transparency lie on white in the merged picture. Gray does too where layers are shown again, but
  // what reads the merged picture alone takes it as it is.
  void put_merged(bool on_white) {
    put_rows(out_, packed_, rows_ * static_cast<std::size_t>(planes_.count), row_bytes(),
             [&](std::size_t i, std::uint8_t* out) {
               const int channel = static_cast<int>(i / rows_);
               const std::size_t y = i % rows_;
               if (!on_white || channel >= colors_) return plain_row(channel, y, out);
               const sample* from = planes_.row(plane_red_first(planes_.count, channel), static_cast<int>(y));
               const sample* alpha = planes_.row(colors_, static_cast<int>(y));
               for (std::size_t x = 0; x < columns_; ++x) {
                 store<sample>(out, full - alpha[x] + (std::uint32_t{from[x]} * alpha[x] + full / 2) / full);
               }
             });
  }

  const Planes& planes_;
  const bool packed_;
  const int colors_;
  const std::size_t columns_, rows_;
  output out_;
};

}  // namespace

void write_psd(const export_planes& planes, const std::string& path, const save_options& options) {
  document_writer<export_planes>(planes, path, options).write();
}

void write_psd(const deep_planes& planes, const std::string& path, const save_options& options) {
  document_writer<deep_planes>(planes, path, options).write();
}

}  // namespace img
