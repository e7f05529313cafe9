// How a layer stands in archives.
#pragma once

#include <utility>

#include "composition/documents/serialize_image.h"
#include "composition/documents/serialize_words.h"
#include "composition/track_info.h"

namespace io {
template <>
inline constexpr int record_version<ksn::track_info> = 21;
template <>
inline constexpr int record_version<ksn::text_attributes> = 1;
}  // namespace io

namespace ksn {

// Sources whose pictures or sound stand in the document itself, and so in binary files only.
inline bool is_embedded(source_type type) {
  return type == source_type::clipboard_image || type == source_type::brush || type == source_type::brush_sequence ||
         type == source_type::embedded_audio;
}

template <class A>
void serialize(A& ar, color_key& v, int) {
  ar.field("enabled", v.enabled);
  ar.field("key", v.key);
  ar.field("slope", v.slope);
  ar.field("tolerance", v.tolerance);
}

template <class A>
void serialize(A& ar, text_attributes& v, int version) {
  put_word(ar, "align_x", v.align_x, text_align_x_type::center);
  put_word(ar, "align_y", v.align_y, text_align_y_type::middle);
  ar.field("font", v.font);
  ar.field("size", v.size);
  ar.field("bold", v.bold);
  ar.field("italic", v.italic);
  ar.field("color", v.color);
  ar.field("outline_color", v.outline_color);
  ar.field("shadow_color", v.shadow_color);
  ar.field("back_enabled", v.back_enabled);
  ar.field("back_color", v.back_color);
  if (version >= 1) ar.field("back_cover_layer", v.back_cover_layer);
}

template <class A>
void serialize(A& ar, r3d_color_settings& v, int) {
  put_word(ar, "preset", v.preset, r3d_preset_type::raw);
  ar.field("kelvin", v.kelvin);
  ar.field("tint", v.tint);
  ar.field("iso", v.iso);
  ar.field("compensation", v.flut);
  ar.field("color_space", v.color_space);
  ar.field("gamma_curve", v.gamma_curve);
  ar.field("video_track", v.track);
}

template <class A>
void serialize_names(A& ar, frame_names& names) {
  if constexpr (A::reading) {
    name_list list;
    const int count = ar.open_list(0, "names");
    std::string name;
    for (int i = 0; i < count; ++i) {
      ar.scalar(ar.element(i), name);
      list.add(name);
    }
    names = frame_names(std::move(list));
  } else {
    ar.open_list(static_cast<int>(names.size()), "names");
    std::string text;
    int i = 0;
    for (const std::string_view name : names) {
      text = name;
      ar.scalar(ar.element(i++), text);
    }
  }
  ar.close_list();
}

// A map from names to layers, which keeps the order of the file's list.
template <class A>
void serialize_layers(A& ar, std::vector<img::layer>& layers) {
  const int count = ar.open_map_of(static_cast<int>(layers.size()), "layers");
  if constexpr (A::reading) layers.clear();
  for (int i = 0; i < count; ++i) {
    if constexpr (A::reading) layers.emplace_back();
    img::layer& layer = layers[static_cast<std::size_t>(i)];
    std::string name = layer.name;
    io::detail::put_entry(ar, i, name, layer);
  }
  ar.close_map_of();
}

template <class A>
void serialize_canvases(A& ar, std::map<int, img::image_ptr>& canvases) {
  if constexpr (A::reading) {
    std::map<int, image_record> records;
    ar.field("brush_seq", records);
    canvases.clear();
    for (auto& [frame, record] : records) {
      if (record.picture) canvases[frame] = std::move(record.picture);
    }
  } else {
    ar.open_map_of(static_cast<int>(canvases.size()), "brush_seq");
    int i = 0;
    for (auto& [frame, picture] : canvases) {
      int key = frame;
      image_record record{picture};
      io::detail::put_entry(ar, i++, key, record);
    }
    ar.close_map_of();
  }
}

template <class A>
void serialize_picture(A& ar, const char* key, img::image_ptr& picture) {
  image_record record{picture};
  ar.field(key, record);
  if constexpr (A::reading) picture = std::move(record.picture);
}

template <class A>
void serialize_sound(A& ar, std::shared_ptr<const sources::wave_context>& sound) {
  sound_format format;
  if constexpr (A::reading) {
    auto read = std::make_shared<sources::wave_context>();
    ar.field("wcp_format", format);
    ar.field("wcp_data", read->data);
    const bool known_bits = format.bits == 8 || format.bits == 16 || format.bits == 24 || format.bits == 32;
    if (format.sample_rate < 1 || format.channels < 1 || format.channels > 64 || !known_bits) return;
    read->sample_rate = static_cast<std::uint32_t>(format.sample_rate);
    read->bits = format.bits;
    read->channels = static_cast<std::uint32_t>(format.channels);
    sound = std::move(read);
  } else {
    if (sound) {
      format = {static_cast<int>(sound->sample_rate), sound->bits, static_cast<int>(sound->channels)};
    }
    const std::vector<std::uint8_t> none;
    ar.field("wcp_format", format);
    ar.field("wcp_data", sound ? sound->data : none);
  }
}

template <class A>
void serialize(A& ar, track_info& v, int version) {
  ar.field("id", v.id);
  source_type stored_type = v.source.stored_type();
  put_word(ar, "source_type", stored_type, source_type::none);
  if constexpr (A::reading) v.source.type = stored_type;
  ar.field("frames", v.source.frames);
  ar.field("width", v.source.width);
  ar.field("height", v.source.height);
  ar.field("fpcs", v.source.fpcs);
  if (version >= 5) ar.field("fpcs2", v.source.fpcs2);
  ar.field("path", v.source.path);
  ar.field("mask", v.source.mask);
  if (version >= 7) ar.field("range", v.source.range);
  serialize_names(ar, v.source.names);
  if (version >= 9) ar.field("vdev", v.source.vdev);
  if constexpr (A::binary) {
    if (version >= 6 && stored_type == source_type::shmem) ar.field("smcp", v.source.smcp);
  }
  ar.field("begin", v.timing.begin);
  ar.field("retime", v.timing.retime);
  ar.field("sbegin_f", v.timing.sbegin_f);
  ar.field("send_f", v.timing.send_f);
  ar.field("name", v.name);
  ar.field("pos", v.placement.pos);
  put_word(ar, "alpha_type", v.look.alpha_type, alpha_type::ignore);
  put_word(ar, "blend_type", v.look.blend_type, blend_type::normal);
  put_word(ar, "depth_blend_type", v.look.depth_blend_type, depth_blend_type::ignore);
  ar.field("visible", v.look.visible);
  ar.field("opacity", v.look.opacity);
  ar.field("invert_color", v.look.invert_color);
  ar.field("invert_alpha", v.look.invert_alpha);
  ar.field("invert_depth", v.look.invert_depth);
  ar.field("alpha_source_id", v.look.alpha_source_id);
  put_word(ar, "alpha_source_channel", v.look.alpha_source_channel, channel_type::alpha);
  if (version >= 21) put_word(ar, "alpha_source_range", v.look.alpha_source_range, alpha_source_range_type::none);
  ar.field("alpha_source_invert", v.look.alpha_source_invert);
  ar.field("alpha_source_stretch", v.look.alpha_source_stretch);
  put_word(ar, "alpha_source_mode", v.look.alpha_source_mode, alpha_source_mode_type::replace);
  put_word(ar, "alpha_source_channel2", v.look.alpha_source_channel2, channel_type::alpha);
  ar.field("tf", v.look.tf);
  ar.field("auto_update", v.source.auto_update);
  ar.field("disable_cache", v.source.disable_cache);
  ar.field("aspect", v.placement.aspect);
  ar.field("scale_x", v.placement.scale_x);
  if (version >= 2) {
    ar.field("scale_y", v.placement.scale_y);
  } else {
    v.placement.scale_y = v.placement.scale_x;
  }
  if (version >= 1) {
    ar.field("flip_x", v.placement.flip_x);
    ar.field("flip_y", v.placement.flip_y);
  }
  if (version >= 3) {
    ar.field("border", v.placement.border);
    ar.field("border_color", v.placement.border_color);
  }
  if (version >= 4) {
    ar.field("crop", v.placement.crop);
    ar.field("crop_xy", v.placement.crop_xy);
    ar.field("crop_wh", v.placement.crop_wh);
  } else {
    v.placement.crop_wh = {v.source.width, v.source.height};
  }
  if constexpr (A::binary) {
    if (stored_type == source_type::clipboard_image) serialize_picture(ar, "clipboard_image", v.source.clipboard_image);
    if (stored_type == source_type::brush) serialize_picture(ar, "brush_image", v.source.brush_image);
    if (stored_type == source_type::brush_sequence) serialize_canvases(ar, v.source.brush_seq);
    if (stored_type == source_type::embedded_audio) serialize_sound(ar, v.source.audio);
  }
  if (version >= 8) {
    ar.field("text", io::wide(v.lettering.text));
    ar.field("text_attr", v.lettering.text_attr);
  }
  if (version >= 10) {
    ar.field("ck_primary", v.look.ck_primary);
    ar.field("ck_secondary", v.look.ck_secondary);
  }
  if (version >= 11) {
    ar.field("fade_in", v.timing.fade_in);
    ar.field("fade_out", v.timing.fade_out);
    ar.field("blur_radius", v.look.blur_radius);
  }
  if (version >= 12) {
    ar.field("layer", v.source.image_layer);
    serialize_layers(ar, v.source.image_layers);
  }
  if (version >= 13) {
    ar.field("version", v.source.version);
    ar.field("versions", v.source.versions);
  }
  if (version >= 14) put_word(ar, "target_view", v.look.target_view, target_view_type::both);
  if (version >= 15) ar.field("safe_area", v.placement.safe_area);
  if (version >= 16) put_word(ar, "channels", v.look.channels, view_type::rgb);
  if (version >= 17) {
    put_word(ar, "rds", v.source.rds, r3d_resolution_type::half);
    ar.field("rcs", v.source.rcs);
  }
  if (version >= 18) ar.field("group_id", v.group_id);
  if (version >= 19) {
    ar.field("audible", v.sound.audible);
    ar.field("volume", v.sound.volume);
  }
  if (version >= 20) ar.field("default_name", v.default_name);
  if constexpr (A::reading) {
    v.placement.border_color.a = 255;
    if (!A::binary && is_embedded(v.source.type)) v.source.type = source_type::none;
  }
}

}  // namespace ksn
