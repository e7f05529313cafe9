#include "img/formats/exr/metadata.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>

#include "img/formats/shared/frame_rate.h"
#include "img/formats/shared/metadata_text.h"

namespace img {
namespace {

std::string number(double value) {
  return print("%.10g", value);
}

template <class Number>
std::string numbers(const Number* values, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    if (i > 0) text += ' ';
    text += number(static_cast<double>(values[i]));
  }
  return text;
}

// A packed record of numbers of one type.
template <class Number, class Record>
std::string fields(const Record& record) {
  Number values[sizeof(Record) / sizeof(Number)];
  static_assert(sizeof values == sizeof record);
  std::memcpy(values, &record, sizeof record);
  return numbers(values, std::size(values));
}

template <std::size_t Count>
std::string name_in(const char* const (&names)[Count], unsigned value) {
  return value < Count ? names[value] : print("%u", value);
}

constexpr const char* compressions[] = {"NO_COMPRESSION",   "RLE_COMPRESSION",   "ZIPS_COMPRESSION", "ZIP_COMPRESSION",
                                        "PIZ_COMPRESSION",  "PXR24_COMPRESSION", "B44_COMPRESSION",  "B44A_COMPRESSION",
                                        "DWAA_COMPRESSION", "DWAB_COMPRESSION"};
constexpr const char* line_orders[] = {"INCREASING_Y", "DECREASING_Y", "RANDOM_Y"};
constexpr const char* pixel_types[] = {"UINT", "HALF", "FLOAT"};
constexpr const char* level_modes[] = {"ONE_LEVEL", "MIPMAP_LEVELS", "RIPMAP_LEVELS"};
constexpr const char* level_rounding[] = {"ROUND_DOWN", "ROUND_UP"};
constexpr const char* environment_maps[] = {"ENVMAP_LATLONG", "ENVMAP_CUBE"};

std::string text_of(const exr_attr_string_t& text) {
  if (text.str == nullptr || text.length <= 0) return {};
  return valid_utf8({text.str, static_cast<std::size_t>(text.length)});
}

// "A HALF, B HALF, BY HALF 2x2"
std::string channels_text(const exr_attr_chlist_t& list) {
  std::string text;
  for (int i = 0; i < list.num_channels; ++i) {
    const exr_attr_chlist_entry_t& channel = list.entries[i];
    if (i > 0) text += ", ";
    text += text_of(channel.name) + ' ' + name_in(pixel_types, channel.pixel_type);
    if (channel.x_sampling != 1 || channel.y_sampling != 1) {
      text += print(" %dx%d", channel.x_sampling, channel.y_sampling);
    }
  }
  return text;
}

std::string tiles_text(const exr_attr_tiledesc_t& tiles) {
  return print("%ux%u ", tiles.x_size, tiles.y_size) + name_in(level_modes, tiles.level_and_round & 15u) + ' ' +
         name_in(level_rounding, tiles.level_and_round >> 4);
}

// Bits of SMPTE ST 12-1 in the television packing.
std::string timecode_text(std::uint32_t code) {
  const auto digits = [&](int shift, unsigned tens_mask) {
    return static_cast<int>((code >> (shift + 4) & tens_mask) * 10 + (code >> shift & 15u));
  };
  const auto flag = [&](int bit) { return static_cast<int>(code >> bit & 1u); };
  return print("%02d:%02d:%02d:%02d df:%d cf:%d f/p:%d bgf0:%d bgf1:%d bgf2:%d", digits(24, 3), digits(16, 7),
               digits(8, 7), digits(0, 3), flag(6), flag(7), flag(15), flag(23), flag(30), flag(31));
}

std::string keycode_text(const exr_attr_keycode_t& code) {
  return print("%02d %02d %06d %04d %02d ppf:%d ppc:%d", code.film_mfc_code, code.film_type, code.prefix, code.count,
               code.perf_offset, code.perfs_per_frame, code.perfs_per_count);
}

std::string value_text(const exr_attribute_t& a) {
  switch (a.type) {
    case EXR_ATTR_BOX2I:
      return fields<std::int32_t>(*a.box2i);
    case EXR_ATTR_BOX2F:
      return fields<float>(*a.box2f);
    case EXR_ATTR_CHLIST:
      return channels_text(*a.chlist);
    case EXR_ATTR_CHROMATICITIES:
      return fields<float>(*a.chromaticities);
    case EXR_ATTR_COMPRESSION:
      return name_in(compressions, a.uc);
    case EXR_ATTR_DOUBLE:
      return number(a.d);
    case EXR_ATTR_ENVMAP:
      return name_in(environment_maps, a.uc);
    case EXR_ATTR_FLOAT:
      return number(static_cast<double>(a.f));
    case EXR_ATTR_FLOAT_VECTOR:
      return numbers(a.floatvector->arr, static_cast<std::size_t>(std::max(0, a.floatvector->length)));
    case EXR_ATTR_INT:
      return number(a.i);
    case EXR_ATTR_KEYCODE:
      return keycode_text(*a.keycode);
    case EXR_ATTR_LINEORDER:
      return name_in(line_orders, a.uc);
    case EXR_ATTR_M33F:
      return fields<float>(*a.m33f);
    case EXR_ATTR_M33D:
      return fields<double>(*a.m33d);
    case EXR_ATTR_M44F:
      return fields<float>(*a.m44f);
    case EXR_ATTR_M44D:
      return fields<double>(*a.m44d);
    case EXR_ATTR_PREVIEW:
      return print("[preview image %dx%d]", a.preview->width, a.preview->height);
    case EXR_ATTR_RATIONAL:
      return print("%d/%u", a.rational->num, a.rational->denom);
    case EXR_ATTR_STRING:
      return text_of(*a.string);
    case EXR_ATTR_STRING_VECTOR: {
      std::string text;
      for (int i = 0; i < a.stringvector->n_strings; ++i) {
        text += (i > 0 ? ", " : "") + text_of(a.stringvector->strings[i]);
      }
      return text;
    }
    case EXR_ATTR_TILEDESC:
      return tiles_text(*a.tiledesc);
    case EXR_ATTR_TIMECODE:
      return timecode_text(a.timecode->time_and_flags);
    case EXR_ATTR_V2I:
      return fields<std::int32_t>(*a.v2i);
    case EXR_ATTR_V2F:
      return fields<float>(*a.v2f);
    case EXR_ATTR_V2D:
      return fields<double>(*a.v2d);
    case EXR_ATTR_V3I:
      return fields<std::int32_t>(*a.v3i);
    case EXR_ATTR_V3F:
      return fields<float>(*a.v3f);
    case EXR_ATTR_V3D:
      return fields<double>(*a.v3d);
    default:
      return "[type " + valid_utf8(a.type_name) + "]";
  }
}

void take_rate(const exr_attribute_t& a, image_info& info) {
  if (a.type == EXR_ATTR_RATIONAL) {
    if (a.rational->num <= 0 || a.rational->denom == 0 || a.rational->denom > 0x7FFFFFFFu) return;
    info.frame_rate_nm = a.rational->num;
    info.frame_rate_dn = static_cast<int>(a.rational->denom);
  } else if (a.type == EXR_ATTR_FLOAT) {
    set_frame_rate(info, static_cast<double>(a.f));
  }
}

void take_value(const exr_attribute_t& a, image_info& info) {
  const std::string_view name = a.name;
  if (name == "timeCode" && a.type == EXR_ATTR_TIMECODE) {
    info.timecode.code = a.timecode->time_and_flags;
    info.timecode.user = a.timecode->user_data;
  } else if (name == "keyCode" && a.type == EXR_ATTR_KEYCODE) {
    const exr_attr_keycode_t& k = *a.keycode;
    const keycode code{k.film_mfc_code, k.film_type,       k.prefix,         k.count,
                       k.perf_offset,   k.perfs_per_frame, k.perfs_per_count};
    if (code.is_valid()) info.keycode = code;
  } else if (name == "framesPerSecond") {
    take_rate(a, info);
  } else if (name == "pixelAspectRatio" && a.type == EXR_ATTR_FLOAT) {
    if (std::isfinite(a.f) && a.f > 0) info.pixel_aspect = static_cast<double>(a.f);
  }
}

}  // namespace

void take_exr_attributes(const exr_file& file, image_info& info) {
  int count = 0;
  file.check(exr_get_attribute_count(file.context(), file.part(), &count));
  for (int i = 0; i < count; ++i) {
    const exr_attribute_t* attribute = nullptr;
    file.check(exr_get_attribute_by_index(file.context(), file.part(), EXR_ATTR_LIST_FILE_ORDER, i, &attribute));
    info.metadata[valid_utf8(attribute->name)] = value_text(*attribute);
    take_value(*attribute, info);
  }
  take_sub_frames(info);
}

}  // namespace img
