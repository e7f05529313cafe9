#include "img/formats/dpx/header.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "img/formats/dpx/names.h"
#include "img/formats/shared/frame_rate.h"
#include "img/formats/shared/metadata_text.h"
#include "img/formats/shared/refuse.h"
#include "io/exceptions.h"

namespace img {
namespace {

constexpr std::uint32_t not_given = 0xFFFFFFFFu;
constexpr std::uint32_t dpx_magic = 0x53445058u;
constexpr std::uint32_t cineon_magic = 0x802A5FD7u;
// Ends of what the pixels can't be read without: the first image element, the image data format.
constexpr std::size_t dpx_element_end = 852;
constexpr std::size_t cineon_format_end = 712;

// The bytes of a header in its byte order. Fields past the end read as not given.
class header_view {
 public:
  header_view(std::span<const std::uint8_t> bytes, bool big_endian) : bytes_(bytes), big_endian_(big_endian) {}

  bool big_endian() const { return big_endian_; }
  void cut(std::size_t end) { bytes_ = bytes_.first(std::min(end, bytes_.size())); }
  bool holds(std::size_t offset, std::size_t count) const { return offset + count <= bytes_.size(); }

  std::uint32_t number(std::size_t offset, int count) const {
    if (!holds(offset, static_cast<std::size_t>(count))) return not_given >> (32 - 8 * count);
    std::uint32_t value = 0;
    for (int i = 0; i < count; ++i) {
      value = value << 8 | bytes_[offset + static_cast<std::size_t>(big_endian_ ? i : count - 1 - i)];
    }
    return value;
  }
  std::uint32_t u32(std::size_t offset) const { return number(offset, 4); }
  float real(std::size_t offset) const {
    const std::uint32_t bits = u32(offset);
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }
  // Up to the first zero or unset byte.
  std::string text(std::size_t offset, std::size_t count) const {
    std::string result;
    if (!holds(offset, count)) return result;
    for (std::size_t i = offset; i < offset + count && bytes_[i] != 0 && bytes_[i] != 0xFF; ++i) {
      result += static_cast<char>(bytes_[i]);
    }
    return result;
  }
  bool is_text_given(std::size_t offset, std::size_t count) const {
    return holds(offset, count) && bytes_[offset] != 0xFF;
  }

 private:
  std::span<const std::uint8_t> bytes_;
  bool big_endian_;
};

enum class kind { text, u8, u16, u32, real, named_u8, named_u16, bcd };

struct field {
  const char* name;
  std::size_t offset;
  kind type;
  std::size_t length = 0;                      // of a text
  const char* (*name_of)(unsigned) = nullptr;  // of a named value
};

// In the order of the file; offsets and types of SMPTE ST 268-1.
constexpr field dpx_fields[] = {
    {"dpx_version", 8, kind::text, 8},
    {"generic_header_size", 24, kind::u32},
    {"industry_header_size", 28, kind::u32},
    {"user_header_size", 32, kind::u32},
    {"image_filename", 36, kind::text, 100},
    {"creation_date_time", 136, kind::text, 24},
    {"creator", 160, kind::text, 100},
    {"project_name", 260, kind::text, 200},
    {"copyright", 460, kind::text, 200},
    {"image_orientation", 768, kind::named_u16, 0, dpx_orientation_name},
    {"image_elements", 770, kind::u16},
    {"image_width", 772, kind::u32},
    {"image_height", 776, kind::u32},
    {"e0_data_sign", 780, kind::u32},
    {"e0_reference_low_code", 784, kind::u32},
    {"e0_reference_low_quantity", 788, kind::real},
    {"e0_reference_high_code", 792, kind::u32},
    {"e0_reference_high_quantity", 796, kind::real},
    {"e0_descriptor", 800, kind::named_u8, 0, dpx_descriptor_name},
    {"e0_transfer_characteristic", 801, kind::named_u8, 0, dpx_characteristic_name},
    {"e0_colorimetric_specification", 802, kind::named_u8, 0, dpx_characteristic_name},
    {"e0_bit_depth", 803, kind::u8},
    {"e0_packing", 804, kind::named_u16, 0, dpx_packing_name},
    {"e0_encoding", 806, kind::named_u16, 0, dpx_encoding_name},
    {"e0_line_padding", 812, kind::u32},
    {"e0_image_padding", 816, kind::u32},
    {"e0_description", 820, kind::text, 32},
    {"source_x_offset", 1408, kind::u32},
    {"source_y_offset", 1412, kind::u32},
    {"source_x_center", 1416, kind::real},
    {"source_y_center", 1420, kind::real},
    {"source_width", 1424, kind::u32},
    {"source_height", 1428, kind::u32},
    {"source_image_filename", 1432, kind::text, 100},
    {"source_image_date_time", 1532, kind::text, 24},
    {"input_device_name", 1556, kind::text, 32},
    {"input_device_serial_no", 1588, kind::text, 32},
    {"pixel_aspect_x", 1628, kind::u32},
    {"pixel_aspect_y", 1632, kind::u32},
    {"scanned_size_x", 1636, kind::real},
    {"scanned_size_y", 1640, kind::real},
    {"film_format", 1680, kind::text, 32},
    {"frame_position", 1712, kind::u32},
    {"sequence_length", 1716, kind::u32},
    {"held_count", 1720, kind::u32},
    {"frame_rate", 1724, kind::real},
    {"shutter_angle", 1728, kind::real},
    {"frame_identification", 1732, kind::text, 32},
    {"slate_information", 1764, kind::text, 100},
    {"smpte_time_code", 1920, kind::bcd},
    {"smpte_user_bits", 1924, kind::bcd},
    {"tv_interlaced", 1928, kind::named_u8, 0, dpx_interlace_name},
    {"tv_field_number", 1929, kind::u8},
    {"tv_video_standard", 1930, kind::named_u8, 0, dpx_video_standard_name},
    {"tv_horizontal_sampling_rate", 1932, kind::real},
    {"tv_vertical_sampling_rate", 1936, kind::real},
    {"tv_frame_rate", 1940, kind::real},
    {"tv_time_offset", 1944, kind::real},
    {"tv_gamma", 1948, kind::real},
    {"tv_black_level", 1952, kind::real},
    {"tv_black_gain", 1956, kind::real},
    {"tv_breakpoint", 1960, kind::real},
    {"tv_white_level", 1964, kind::real},
    {"tv_integration_time", 1968, kind::real},
};

constexpr field cineon_fields[] = {
    {"cineon_version", 24, kind::text, 8},
    {"generic_header_size", 8, kind::u32},
    {"industry_header_size", 12, kind::u32},
    {"user_header_size", 16, kind::u32},
    {"image_filename", 32, kind::text, 100},
    {"creation_date", 132, kind::text, 12},
    {"creation_time", 144, kind::text, 12},
    {"image_orientation", 192, kind::named_u8, 0, cineon_orientation_name},
    {"image_channels", 193, kind::u8},
    {"e0_bit_depth", 198, kind::u8},
    {"image_width", 200, kind::u32},
    {"image_height", 204, kind::u32},
    {"e0_reference_low_code", 208, kind::real},
    {"e0_reference_low_quantity", 212, kind::real},
    {"e0_reference_high_code", 216, kind::real},
    {"e0_reference_high_quantity", 220, kind::real},
    {"image_label", 452, kind::text, 200},
    {"image_interleave", 680, kind::u8},
    {"image_packing", 681, kind::u8},
    {"image_data_sign", 682, kind::u8},
    {"image_sense", 683, kind::u8},
    {"image_line_padding", 684, kind::u32},
    {"image_channel_padding", 688, kind::u32},
    {"source_x_offset", 712, kind::u32},
    {"source_y_offset", 716, kind::u32},
    {"source_image_filename", 720, kind::text, 100},
    {"source_image_date", 820, kind::text, 12},
    {"source_image_time", 832, kind::text, 12},
    {"input_device_name", 844, kind::text, 64},
    {"input_device_model", 908, kind::text, 32},
    {"input_device_serial_no", 940, kind::text, 32},
    {"input_device_x_pitch", 972, kind::real},
    {"input_device_y_pitch", 976, kind::real},
    {"image_gamma", 980, kind::real},
    {"film_format", 1036, kind::text, 32},
    {"frame_position", 1068, kind::u32},
    {"frame_rate", 1072, kind::real},
    {"frame_identification", 1076, kind::text, 32},
    {"slate_information", 1108, kind::text, 200},
};

std::string bcd_text(std::uint32_t word) {
  return print("%02X:%02X:%02X:%02X", word >> 24, word >> 16 & 255u, word >> 8 & 255u, word & 255u);
}

void add_field(const header_view& header, const field& f, image_info& info) {
  std::string text;
  switch (f.type) {
    case kind::text:
      if (!header.is_text_given(f.offset, f.length)) return;
      text = valid_utf8(header.text(f.offset, f.length));
      break;
    case kind::u8:
    case kind::u16:
    case kind::u32:
    case kind::named_u8:
    case kind::named_u16: {
      const int count = f.type == kind::u32 ? 4 : f.type == kind::u16 || f.type == kind::named_u16 ? 2 : 1;
      const std::uint32_t value = header.number(f.offset, count);
      if (value == not_given >> (32 - 8 * count)) return;
      text = f.name_of != nullptr ? print("%u (%s)", value, f.name_of(value)) : print("%u", value);
      break;
    }
    case kind::real:
      // Infinity is what Cineon, and many a writer of DPX, puts for a value that was not given; all bits are a NaN.
      if (!std::isfinite(header.real(f.offset))) return;
      text = print("%g", static_cast<double>(header.real(f.offset)));
      break;
    case kind::bcd:
      if (header.u32(f.offset) == not_given) return;
      text = bcd_text(header.u32(f.offset));
      break;
  }
  info.metadata[f.name] = text;
}

void add_keycode(const keycode& code, image_info& info) {
  info.keycode = code;
  info.metadata["film_edge_code"] =
      print("%02d%02d%02d%06d%04d", code.manufacturer, code.film_type, code.offset, code.prefix, code.count);
}

void take_frame(std::uint32_t position, image_info& info) {
  if (position <= 0x7FFFFFFFu) info.frame = static_cast<int>(position);
}

int picture_size(std::uint32_t value) {
  return value > 0x7FFFFFFFu ? -1 : static_cast<int>(value);
}

void take_dpx_information(const header_view& header, image_info& info) {
  for (const field& f : dpx_fields) add_field(header, f, info);
  keycode code;
  if (std::sscanf(header.text(1664, 16).c_str(), "%2d%2d%2d%6d%4d", &code.manufacturer, &code.film_type, &code.offset,
                  &code.prefix, &code.count) == 5) {
    code.perfs_per_frame = 4;
    code.perfs_per_count = 64;
    add_keycode(code, info);
  }
  take_frame(header.u32(1712), info);
  const std::uint32_t aspect_x = header.u32(1628);
  const std::uint32_t aspect_y = header.u32(1632);
  if (aspect_x != 0 && aspect_x != not_given && aspect_y != 0 && aspect_y != not_given) {
    info.pixel_aspect = static_cast<double>(aspect_x) / aspect_y;
  }
  set_frame_rate(info, static_cast<double>(header.real(1724)));
  if (info.frame_rate_nm == 0) set_frame_rate(info, static_cast<double>(header.real(1940)));

  const std::uint32_t user_bits = header.u32(1924);
  info.timecode.code = header.u32(1920);
  info.timecode.user = user_bits;
  // User bits may carry a time code of their own; most often they carry nothing.
  if (timecode second{user_bits, not_given, 0, 1}; user_bits != 0 && second.is_valid()) info.timecode2 = second;
  take_sub_frames(info);
}

// The packings are 0 (samples run on), 1 (filled at the lower end) and 2 (filled at the upper end).
void take_dpx_coding(const header_view& header, const std::string& path, film_header& result) {
  const std::uint32_t descriptor = header.number(800, 1);
  switch (descriptor) {
    case 6:
      result.channels = 1;
      break;
    case 50:
      result.channels = 3;
      break;
    case 51:
    case 52:
      result.channels = 4;
      result.alpha_first = descriptor == 52;
      break;
    default:
      refuse(path, "Unsupported descriptor", descriptor, "6 (luma), 50 (RGB), 51 (RGBA) and 52 (ABGR) are read");
  }
  const std::uint32_t packing = header.number(804, 2);
  if (packing > 2 && packing != 0xFFFFu) refuse(path, "Unsupported packing type", packing, "0, 1 and 2 are read");
  if (const std::uint32_t encoding = header.number(806, 2); encoding != 0 && encoding != 0xFFFFu) {
    refuse(path, "Unsupported encoding", encoding, "0, no run lengths, is read");
  }
  const std::uint32_t bits = header.number(803, 1);
  result.bits = static_cast<int>(bits);
  result.shift = 0;
  switch (bits) {
    case 8:
      result.coding = film_coding::bytes;
      break;
    case 10:
      result.coding = packing == 0 ? film_coding::run_on : film_coding::three_a_word;
      if (packing == 1 || packing == 0xFFFFu) result.shift = 2;
      break;
    case 12:
      result.coding = packing == 0 ? film_coding::run_on : film_coding::shorts;
      if (packing == 1 || packing == 0xFFFFu) result.shift = 4;
      break;
    case 16:
      result.coding = film_coding::shorts;
      break;
    case 32:
      result.coding = film_coding::floats;
      break;
    default:
      refuse(path, "Unsupported bit depth", bits, "8, 10, 12, 16 and 32 are read");
  }
}

film_header parse_dpx(header_view header, const std::string& path, image_info& info) {
  film_header result;
  result.big_endian = header.big_endian();
  result.width = picture_size(header.u32(772));
  result.height = picture_size(header.u32(776));
  const std::uint32_t element_offset = header.u32(808);
  const std::uint32_t file_offset = header.u32(4);
  const bool use_element = element_offset != 0 && element_offset != not_given;
  result.data_offset = use_element ? element_offset : file_offset;
  const std::uint32_t padding = header.u32(812);
  result.line_padding = padding == not_given ? 0 : padding;
  const std::uint32_t orientation = header.number(768, 2);
  result.bottom_up = orientation == 2 || orientation == 3;

  take_dpx_coding(header, path, result);
  header.cut(static_cast<std::size_t>(result.data_offset));
  take_dpx_information(header, info);
  return result;
}

void take_cineon_information(const header_view& header, image_info& info) {
  for (const field& f : cineon_fields) add_field(header, f, info);
  const std::uint32_t prefix = header.u32(1028);
  const std::uint32_t count = header.u32(1032);
  const std::uint32_t maker = header.number(1024, 1);
  const std::uint32_t type = header.number(1025, 1);
  const std::uint32_t offset = header.number(1026, 1);
  const keycode code{static_cast<int>(maker),
                     static_cast<int>(type),
                     static_cast<int>(prefix),
                     static_cast<int>(count),
                     static_cast<int>(offset),
                     4,
                     64};
  if (code.is_valid()) add_keycode(code, info);
  take_frame(header.u32(1068), info);
  set_frame_rate(info, static_cast<double>(header.real(1072)));
}

film_header parse_cineon(header_view header, const std::string& path, image_info& info) {
  film_header result;
  result.big_endian = header.big_endian();
  result.data_offset = header.u32(4);
  result.width = picture_size(header.u32(200));
  result.height = picture_size(header.u32(204));
  const std::uint32_t orientation = header.number(192, 1);
  result.bottom_up = orientation == 1 || orientation == 3;
  const std::uint32_t padding = header.u32(684);
  result.line_padding = padding == not_given ? 0 : padding;

  if (const std::uint32_t channels = header.number(193, 1); channels != 3) {
    refuse(path, "Unsupported number of channels", channels, "3 are read");
  }
  const std::uint32_t bits = header.number(198, 1);
  for (std::size_t channel = 196 + 28; channel <= 196 + 2 * 28; channel += 28) {
    if (header.number(channel + 2, 1) != bits || header.u32(channel + 4) != header.u32(200) ||
        header.u32(channel + 8) != header.u32(204)) {
      throw io::invalid_format(path, "Unsupported variant: channels of unequal size or depth");
    }
  }
  if (const std::uint32_t interleave = header.number(680, 1); interleave != 0) {
    refuse(path, "Unsupported interleave type", interleave, "0, by pixel, is read");
  }
  if (bits != 10 && bits != 12 && bits != 16) refuse(path, "Unsupported bit depth", bits, "10, 12 and 16 are read");
  // 1, 3 and 5: left justified in bytes, words of 16 and words of 32 bits. Only the last holds several samples.
  const std::uint32_t packing = header.number(681, 1);
  if (packing != 1 && packing != 3 && packing != 5)
    refuse(path, "Unsupported packing type", packing, "1, 3 and 5 are read");
  if (bits == 12 && packing == 5) refuse(path, "Unsupported bit depth", bits, "10 and 16 are read in this packing");
  result.bits = static_cast<int>(bits);
  const bool words = bits == 10 && packing == 5;
  result.coding = words ? film_coding::three_a_word : film_coding::shorts;
  result.shift = words ? 2 : 16 - result.bits;

  header.cut(static_cast<std::size_t>(result.data_offset));
  take_cineon_information(header, info);
  return result;
}

}  // namespace

film_header parse_film_header(std::span<const std::uint8_t> bytes, const std::string& path, image_info& info) {
  if (bytes.size() < 8) throw io::eof_error(path);
  const std::uint32_t magic = header_view(bytes, true).u32(0);
  const bool big_endian = magic == dpx_magic || magic == cineon_magic;
  switch (big_endian ? magic : __builtin_bswap32(magic)) {
    case dpx_magic:
      if (bytes.size() < dpx_element_end) throw io::eof_error(path);
      return parse_dpx({bytes, big_endian}, path, info);
    case cineon_magic:
      if (bytes.size() < cineon_format_end) throw io::eof_error(path);
      return parse_cineon({bytes, big_endian}, path, info);
    default:
      throw io::invalid_signature(path);
  }
}

}  // namespace img
