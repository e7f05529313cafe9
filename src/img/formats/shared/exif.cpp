#include "img/formats/shared/exif.h"

#include <algorithm>

#include "img/formats/shared/metadata_text.h"

namespace img {
namespace {

constexpr std::uint32_t exif_directory = 0x8769;
constexpr std::uint32_t orientation_tag = 0x0112;
constexpr std::size_t longest_text = 4096;
constexpr std::uint32_t most_numbers = 8;  // of one field that are shown

struct exif_name {
  std::uint32_t tag;
  const char* name;
};

constexpr exif_name names[] = {
    {0x010E, "exif_image_description"},
    {0x010F, "exif_make"},
    {0x0110, "exif_model"},
    {0x0112, "exif_orientation"},
    {0x011A, "exif_x_resolution"},
    {0x011B, "exif_y_resolution"},
    {0x0128, "exif_resolution_unit"},
    {0x0131, "exif_software"},
    {0x0132, "exif_date_time"},
    {0x013B, "exif_artist"},
    {0x8298, "exif_copyright"},
    {0x829A, "exif_exposure_time"},
    {0x829D, "exif_f_number"},
    {0x8822, "exif_exposure_program"},
    {0x8827, "exif_iso"},
    {0x9003, "exif_date_time_original"},
    {0x9204, "exif_exposure_bias"},
    {0x9207, "exif_metering_mode"},
    {0x9209, "exif_flash"},
    {0x920A, "exif_focal_length"},
    {0xA001, "exif_color_space"},
    {0xA402, "exif_exposure_mode"},
    {0xA403, "exif_white_balance"},
    {0xA405, "exif_focal_length_35mm"},
    {0xA433, "exif_lens_make"},
    {0xA434, "exif_lens_model"},
};

// Bytes of the types 1 to 12 of TIFF 6.0.
constexpr std::size_t type_bytes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};

class tiff_view {
 public:
  explicit tiff_view(std::span<const std::uint8_t> bytes)
      : bytes_(bytes), big_endian_(!bytes.empty() && bytes[0] == 'M') {}

  std::uint32_t number(std::size_t at, int count) const {
    if (at > bytes_.size() || bytes_.size() - at < static_cast<std::size_t>(count)) return 0;
    std::uint32_t value = 0;
    for (int i = 0; i < count; ++i) {
      value = value << 8 | bytes_[at + static_cast<std::size_t>(big_endian_ ? i : count - 1 - i)];
    }
    return value;
  }
  // A view of what is there; empty when it is not all there.
  std::span<const std::uint8_t> part(std::size_t at, std::size_t count) const {
    if (at > bytes_.size() || bytes_.size() - at < count) return {};
    return bytes_.subspan(at, count);
  }
  std::size_t size() const { return bytes_.size(); }

 private:
  std::span<const std::uint8_t> bytes_;
  bool big_endian_;
};

std::string ratio(const tiff_view& tiff, std::size_t at, bool is_signed) {
  const std::uint32_t over = tiff.number(at, 4);
  const std::uint32_t under = tiff.number(at + 4, 4);
  if (under == 0) return {};
  const double value = is_signed
                           ? static_cast<double>(static_cast<std::int32_t>(over)) / static_cast<std::int32_t>(under)
                           : static_cast<double>(over) / under;
  // Exposure times are read as fractions.
  if (over == 1 && under > 1) return print("1/%u", under);
  return print("%.6g", value);
}

std::string value_text(const tiff_view& tiff, int type, std::uint32_t count, std::size_t at) {
  if (type == 2) {
    const auto text = tiff.part(at, std::min<std::size_t>(count, longest_text));
    const std::string_view view(reinterpret_cast<const char*>(text.data()), text.size());
    std::string value = valid_utf8(view.substr(0, view.find('\0')));
    while (!value.empty() && value.back() == ' ') value.pop_back();
    return value;
  }
  std::string value;
  for (std::uint32_t i = 0; i < std::min(count, most_numbers); ++i) {
    const std::size_t place = at + i * type_bytes[type];
    if (!value.empty()) value += ' ';
    if (type == 5 || type == 10) {
      value += ratio(tiff, place, type == 10);
    } else if (type == 1 || type == 3 || type == 4) {
      value += std::to_string(tiff.number(place, static_cast<int>(type_bytes[type])));
    } else {
      return {};
    }
  }
  return value;
}

// One directory; the place of the EXIF directory is left in `further`.
void take_directory(const tiff_view& tiff, std::size_t at, metadata_map& metadata, int& orientation,
                    std::size_t& further) {
  const std::uint32_t entries = tiff.number(at, 2);
  for (std::uint32_t i = 0; i < entries; ++i) {
    const std::size_t entry = at + 2 + 12 * static_cast<std::size_t>(i);
    if (tiff.part(entry, 12).empty()) return;
    const std::uint32_t tag = tiff.number(entry, 2);
    const auto type = static_cast<int>(tiff.number(entry + 2, 2));
    const std::uint32_t count = tiff.number(entry + 4, 4);
    if (type < 1 || type > 12 || count == 0) continue;
    const std::size_t bytes = type_bytes[type] * count;
    const std::size_t place = bytes <= 4 ? entry + 8 : tiff.number(entry + 8, 4);
    if (tiff.part(place, std::min(bytes, tiff.size() + 1)).empty()) continue;
    if (tag == exif_directory) further = tiff.number(entry + 8, 4);
    if (tag == orientation_tag && type == 3) orientation = static_cast<int>(tiff.number(place, 2));
    const char* name = exif_name_of(tag);
    if (!name) continue;
    if (std::string text = value_text(tiff, type, count, place); !text.empty()) metadata[name] = std::move(text);
  }
}

}  // namespace

int take_exif(std::span<const std::uint8_t> block, metadata_map& metadata) {
  int orientation = 1;
  if (block.size() < 8 || (block[0] != 'I' && block[0] != 'M') || block[0] != block[1]) return orientation;
  const tiff_view tiff(block);
  if (tiff.number(2, 2) != 42) return orientation;
  std::size_t further = 0;
  std::size_t none = 0;
  int unused = 1;
  take_directory(tiff, tiff.number(4, 4), metadata, orientation, further);
  if (further != 0) take_directory(tiff, further, metadata, unused, none);
  return orientation >= 1 && orientation <= 8 ? orientation : 1;
}

const char* exif_name_of(std::uint32_t tag) {
  const auto* name = std::find_if(std::begin(names), std::end(names), [&](const exif_name& n) { return n.tag == tag; });
  return name == std::end(names) ? nullptr : name->name;
}

}  // namespace img
