// From a path to an open source.
#include "composition/opening/route.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <new>

#include "composition/opening/file_paths.h"
#include "composition/opening/open_error.h"
#include "composition/opening/sequence.h"
#include "composition/state.h"
#include "composition/time/frame_numbers.h"
#include "img/format.h"
#include "io/failure.h"
#include "lib/paths.h"
#include "platform/files.h"
#include "sources/shared_picture.h"
#include "sources/video_input.h"
#include "sources/wave.h"

namespace ksn {
namespace {

using sources::clip_kind;

std::string line(const std::string& path, const std::string& text) {
  return '"' + path + "\": " + text;
}

std::string hexadecimal(int code) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(code));
  return text;
}

struct refused {
  int error = 0;
  std::string words;  // with what goes before them in a line
};

bool open_kind(state& composition, track_info& record, clip_kind kind, const std::string& path, refused& refusal) {
  const sources::open_result result = sources::open_clip(kind, path, composition.doc.fpcs);
  refusal = {result.error, result.words.empty() ? "" : ": " + result.words};
  if (!result.opened) return false;
  take_clip(record, result.opened, path, composition.doc.fpcs);
  if (result.pixel_aspect > 0) record.placement.set_aspect(result.pixel_aspect);
  read_sound(composition, record);
  record.sound.audible = record.source.has_audio();
  return true;
}

// A layer of sound alone, as long as its samples last. False for a file that is no such wave, with the error line for
// it.
bool open_wave(track_info& record, const std::string& path, int rate, std::string& refusal) {
  std::shared_ptr<const sources::wave_context> sound;
  try {
    sound = sources::load_wave(path);
  } catch (const std::exception&) {
    refusal = io::failure_line(path);
    return false;
  }
  record = track_info();
  record.source.type = source_type::wave;
  record.source.frames =
      std::clamp(rounded_frame(std::ceil(static_cast<double>(sound->frames()) / sound->sample_rate * rate / 100.0)), 1,
                 frame_limit);
  record.source.fpcs = rate;
  record.source.path = path;
  record.name = name_of_source(record);
  record.default_name = record.name;
  record.look.visible = true;
  record.sound.audible = true;
  record.source.audio = std::move(sound);
  return true;
}

void take_live(track_info& record, std::shared_ptr<sources::live_source> live, source_type type,
               ksn::alpha_type default_alpha) {
  record.source.type = type;
  record.source.frames = 1;
  record.timing.begin = 0;
  record.timing.retime = 1.0;
  record.timing.sbegin_f = 0.0;
  record.timing.send_f = 1.0;
  record.source.width = live->width();
  record.source.height = live->height();
  record.look.alpha_type = live->has_alpha() ? default_alpha : ksn::alpha_type::ignore;
  record.look.visible = true;
  record.source.frame_states.clear();
  record.source.live = std::move(live);
}

bool open_shared(const state& composition, track_info& record, const std::string& path, ksn::alpha_type default_alpha) {
  int error = 0;
  std::string reason;
  try {
    std::shared_ptr<sources::live_source> live = sources::open_shared_picture(path, error, reason);
    if (live) {
      take_live(record, std::move(live), ksn::source_type::shmem, default_alpha);
      record.source.path = path;
      record.name = path.substr(std::string_view(sources::shared_picture_prefix).size());
      record.default_name = record.name;
      return true;
    }
  } catch (const std::bad_alloc&) {
    reason = "Not enough memory";
  }
  composition.report_error(error != 0 ? open_error_line(path, error) : line(path, "Open error: " + reason));
  return false;
}

// Kinds that are known by their extension and never fall through to another reader.
bool open_camera_clip(state& composition, track_info& record, clip_kind kind, const std::string& path) {
  refused refusal;
  if (open_kind(composition, record, kind, path, refusal)) return true;
  composition.report_error(open_error_line(path, refusal.error) + refusal.words);
  return false;
}

// `refusal`: what a reader before these had to say, in place of their own line.
bool open_movie(state& composition, track_info& record, const std::string& path, bool is_avi,
                const std::string& refusal) {
  refused avi, directshow, quicktime;
  const auto try_kind = [&](clip_kind kind, refused& found) {
    return open_kind(composition, record, kind, path, found);
  };
  if (try_kind(clip_kind::avi, avi)) return true;
  if (is_avi && try_kind(clip_kind::directshow, directshow)) return true;
  if (try_kind(clip_kind::quicktime, quicktime)) return true;
  if (!is_avi && try_kind(clip_kind::directshow, directshow)) return true;
  const std::string codes = "Open error " + hexadecimal(avi.error) + ", " + hexadecimal(directshow.error) + ", " +
                            std::to_string(quicktime.error) + (is_avi ? avi.words : quicktime.words);
  composition.report_error(refusal.empty() ? line(path, codes) : refusal);
  return false;
}

}  // namespace

void read_sound(const state& composition, track_info& record) {
  try {
    record.source.audio = record.source.clip->read_audio();
  } catch (const std::bad_alloc&) {
    composition.report_error(line(record.source.path, "Could not get audio for work area (out of memory?)"));
  }
}

bool state::new_video_layer(const std::string& device) {
  const std::vector<std::string> devices = sources::list_inputs();
  if (devices.empty()) {
    report_error(catalogue_text("no_video_input_devices"));
    return false;
  }
  const std::string& name = device.empty() ? devices.front() : device;
  std::string reason;
  std::shared_ptr<sources::live_source> live = sources::open_input(name, reason);
  if (!live) {
    report_error(line(name, "Open error: " + reason));
    return false;
  }
  track_info record;
  take_live(record, std::move(live), source_type::video, settings.default_alpha_type);
  record.source.vdev = name;
  record.name = record.default_name = name;
  enter_stack(std::move(record), false);
  return true;
}

void take_clip(track_info& record, std::shared_ptr<sources::clip> clip, const std::string& path, int rate) {
  record.source.type = static_cast<ksn::source_type>(clip->kind());
  record.source.frames = clip->frames();
  record.source.fpcs = rate;
  record.source.fpcs2 = clip->rate();
  record.source.path = path;
  record.name = real_file_name(path);
  record.default_name = record.name;
  record.timing.begin = 0;
  record.timing.retime = 1.0;
  record.timing.sbegin_f = 0.0;
  record.timing.send_f = 1.0;
  record.source.width = clip->width();
  record.source.height = clip->height();
  record.look.alpha_type = clip->has_alpha() ? ksn::alpha_type::pm : ksn::alpha_type::ignore;
  record.look.visible = true;
  record.source.frame_states.clear();
  record.source.clip = std::move(clip);
}

bool state::route_source(track_info& record, const std::string& path, bool single_image,
                         ksn::alpha_type default_alpha) {
  const auto errors = [this](const std::string& text) { report_error(text); };
  if (path.starts_with(sources::shared_picture_prefix)) return open_shared(*this, record, path, default_alpha);
  if (platform::is_folder(path)) return add_folder(path, record, default_alpha, errors);
  const std::string extension = lib::lower_extension(path);
  if (extension == "ksncomp") {
    report_error(line(path, "Open error"));
    return false;
  }
  if (img::is_image_file(path)) {
    std::string pattern;
    if (single_image || !build_pattern(path, pattern)) return add_single_image(path, record, default_alpha, errors);
    return scan_sequence(pattern, path, record, default_alpha, errors);
  }
  if (const int error = file_error(path)) {
    report_error(open_error_line(path, error));
    return false;
  }
  if (extension == "rtv") return open_camera_clip(*this, record, clip_kind::rtv, path);
  if (extension == "cine") return open_camera_clip(*this, record, clip_kind::phantom_cine, path);
  if (extension == "r3d") return open_camera_clip(*this, record, clip_kind::r3d, path);
  std::string refusal;
  if (extension == "wav" && open_wave(record, path, doc.fpcs, refusal)) return true;
  return open_movie(*this, record, path, extension == "avi", refusal);
}

}  // namespace ksn
