// How pictures and what belongs to them stand in archives. The versions are those of io/serialize.h.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include "img/image.h"
#include "img/lookup/table.h"
#include "img/transfer.h"
#include "io/serialize.h"
#include "sources/wave.h"

namespace ksn {

// A picture that may be absent: an empty one stands for it. Only binary archives hold pictures.
struct image_record {
  img::image_ptr picture;
};

// Sound that may be absent, as its format record and its samples.
struct sound_format {
  int sample_rate = 0;
  int bits = 0;
  int channels = 0;
};

// Throws io::invalid_format("(reader)", ...) unless the planes are of one of the pixel forms and have the bytes that
// size and depth ask for. Hints that do not fit are dropped.
void check_picture(img::image& picture);

// The stored number is the encoding's gamma in hundredths; files of before have 1 and 2. Anything else is the default.
inline int color_space_of(int stored) {
  return stored == 1 || stored == 100 ? 1 : stored == 2 || stored == 220 ? 2 : 0;
}

// The curves of files that hold three tables of 1024 values instead of a record.
using old_curves = std::array<std::array<double, 1024>, 3>;
void take_old_curves(img::lookup_table& table, const old_curves& curves);
// Cubes of lookup records of version 1 hold half floats.
void convert_half_cube(std::vector<std::uint16_t>& cube);

// The version of the lookup records of a document in which a cube has another grid than lookup_table::cube_points. To
// programs that know only that one such a table is absent.
constexpr int own_grid_version = 3;
inline bool has_own_grid(const img::lookup_table& table) {
  return table.has_cube() && table.points() != img::lookup_table::cube_points;
}
template <class A>
void state_own_grids(A& ar) {
  ar.state_version(&io::type_tag<img::lookup_table>, own_grid_version);
}

}  // namespace ksn

namespace io {
template <>
inline constexpr int record_version<img::correction> = 7;
template <>
inline constexpr int record_version<img::lookup_table> = 2;
template <>
inline constexpr int record_version<img::timecode> = 0;
template <>
inline constexpr int record_version<img::keycode> = 0;
template <>
inline constexpr int record_version<ksn::image_record> = 3;
template <>
inline constexpr int record_version<ksn::sound_format> = 0;
}  // namespace io

namespace img {

template <class A>
void serialize(A& ar, timecode& v, int) {
  ar.field("code", v.code);
  ar.field("user", v.user);
  ar.field("num", v.num);
  ar.field("den", v.den);
}

template <class A>
void serialize(A& ar, keycode& v, int) {
  ar.field("manufacturer", v.manufacturer);
  ar.field("film_type", v.film_type);
  ar.field("prefix", v.prefix);
  ar.field("count", v.count);
  ar.field("offset", v.offset);
  ar.field("perfs_per_frame", v.perfs_per_frame);
  ar.field("perfs_per_count", v.perfs_per_count);
}

template <class A>
void serialize(A& ar, row_hint& v, int) {
  ar.field("first", v.first);
  ar.field("last", v.last);
}

template <class A>
void serialize(A& ar, layer& v, int) {
  ar.ranged("type", v.type, 0, 2, 0);
  ar.field("index", v.index);
  ar.field("name", v.name);
}

template <class A>
void serialize(A& ar, lookup_table& v, int version) {
  if constexpr (A::reading) {
    if (version < 1) {
      ksn::old_curves curves;
      ar.field("tables", curves);
      ksn::take_old_curves(v, curves);
      return;
    }
  }
  std::vector<std::uint16_t> cube;
  std::vector<double> curves;
  if constexpr (!A::reading) {
    cube = v.raw_cube();
    curves = v.raw_curves();
  }
  ar.field("lookup3", cube);
  ar.field("sRGB_output3", v.output_srgb3);
  ar.field("lookup1", curves);
  ar.field("sRGB_output1", v.output_srgb1);
  if constexpr (A::reading) {
    if (version == 1) ksn::convert_half_cube(cube);
    v.set_raw(std::move(cube), v.output_srgb3, std::move(curves), v.output_srgb1);
  }
}

// Three values; one for all of them in records below version `from`.
template <class A>
void serialize_triple(A& ar, const char* key, std::array<int, 3>& values, int version, int from) {
  if (version >= from) {
    ar.field(key, values);
  } else {
    ar.field(key, values[0]);
    values[2] = values[1] = values[0];
  }
}

template <class A>
void serialize(A& ar, correction& v, int version) {
  int color_space = v.color_space == 1 ? 100 : v.color_space == 2 ? 220 : 0;
  ar.field("color_space", color_space);
  if constexpr (A::reading) v.color_space = ksn::color_space_of(color_space);
  ar.field("nonlog_cineon", v.nonlog_cineon);
  if (version >= 4) {
    ar.field("lookup_table_name", v.lookup);
    ar.field("lookup_table", v.lookup_table);
  } else if constexpr (A::reading) {
    if (version == 3 && color_space == 3) {
      ksn::old_curves curves;
      ar.field("lookup_table_name", v.lookup);
      ar.field("tables", curves);
      ksn::take_old_curves(v.lookup_table, curves);
    }
  }
  serialize_triple(ar, "exposure", v.exposure, version, 5);
  if (version >= 7) ar.field("temperature", v.temperature);
  if (version >= 2) ar.field("lift", v.lift);
  ar.field("gamma", v.gamma);
  if (version >= 2) ar.field("gain", v.gain);
  serialize_triple(ar, "brightness", v.brightness, version, 5);
  serialize_triple(ar, "contrast", v.contrast, version, 5);
  if (version == 5) {
    std::array<int, 3> soft_clip{v.soft_clip, 0, 0};
    ar.field("soft_clip", soft_clip);
    v.soft_clip = soft_clip[0];
  } else {
    ar.field("soft_clip", v.soft_clip);
  }
  if (version < 4) {
    int dropped = 0;
    ar.field("", dropped);
  }
  serialize_triple(ar, "hue", v.hue, version, 5);
  serialize_triple(ar, "saturation", v.saturation, version, 5);
  if (version >= 1) ar.field("disable_cc", v.disable_cc);
}

}  // namespace img

namespace ksn {

template <class A>
void serialize(A& ar, sound_format& v, int) {
  ar.field("sample_rate", v.sample_rate);
  ar.field("bits", v.bits);
  ar.field("channels", v.channels);
}

template <class A>
void serialize(A& ar, image_record& v, int version) {
  constexpr int planes = img::image::max_planes;
  if (!v.picture) v.picture = std::make_shared<img::image>();
  img::image& picture = *v.picture;
  ar.raw("format", picture.format);
  ar.raw("depth", picture.depth);
  ar.field("width", picture.width);
  ar.field("height", picture.height);
  std::array<int, planes> user;
  for (std::size_t i = 0; i < 4; ++i) {
    user[i * 2] = picture.user[i].x;
    user[i * 2 + 1] = picture.user[i].y;
  }
  ar.field("user", user);
  if constexpr (A::reading) {
    for (std::size_t i = 0; i < 4; ++i) picture.user[i] = {user[i * 2], user[i * 2 + 1]};
    std::array<std::vector<std::uint8_t>, planes> data;
    ar.field("data", data);
    for (std::size_t i = 0; i < planes; ++i) {
      if (data[i].empty()) continue;
      picture.data[i] = img::plane(data[i].size());
      std::memcpy(picture.data[i].data(), data[i].data(), data[i].size());
      data[i] = {};
    }
  } else {
    ar.write_sequence_size(planes);
    for (const img::plane& plane : picture.data) ar.write_values(plane.data(), plane.size(), 1);
  }
  if (version >= -3) {
    ar.field("hint", picture.hint);
    ar.field("src", picture.path);
  }
  if (version >= -1) ar.field("mtime", picture.mtime);
  if (version >= 1) ar.field("frame", picture.frame);
  if (version == 1) {
    std::string timecode;
    std::string keycode;
    ar.field("timecode", timecode);
    ar.field("keycode", keycode);
    if constexpr (A::reading) {
      picture.timecode = img::parse_timecode(timecode);
      picture.keycode = img::parse_keycode(keycode);
    }
  }
  if (version >= 2) {
    ar.field("timecode", picture.timecode);
    ar.field("timecode2", picture.timecode2);
    ar.field("keycode", picture.keycode);
    ar.field("frame_rate_nm", picture.frame_rate_nm);
    ar.field("frame_rate_dn", picture.frame_rate_dn);
  }
  if (version >= 3) ar.field("metadata", picture.metadata);
  if constexpr (A::reading) {
    if (picture.empty()) {
      v.picture = nullptr;
    } else {
      check_picture(picture);
    }
  }
}

}  // namespace ksn
