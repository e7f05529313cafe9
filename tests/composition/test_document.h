// A document with its own hooks, and small picture files for it.
#pragma once

#include <algorithm>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "composition/state.h"
#include "support/temp_folder.h"

namespace support {

// A TGA of one colour, 4 by 3 unless told otherwise.
inline std::string tga(bool with_alpha = false, int width = 4, int height = 3) {
  const auto low = [](int value) { return static_cast<char>(value & 255); };
  std::string file(18, '\0');
  file[2] = 2;
  file[12] = low(width);
  file[13] = low(width >> 8);
  file[14] = low(height);
  file[15] = low(height >> 8);
  file[16] = with_alpha ? 32 : 24;
  file[17] = with_alpha ? 0x28 : 0x20;
  return file + std::string(static_cast<std::size_t>(width * height * (with_alpha ? 4 : 3)), '\x40');
}

// A document whose hooks note their calls.
struct document : ksn::state {
  std::vector<std::string> errors;
  std::vector<std::string> dropped;  // paths, folders with a closing separator, "all"
  std::vector<int> forgotten;
  std::vector<int> preloaded;

  document() {
    hooks.report_error = [this](const std::string& line) { errors.push_back(line); };
    hooks.drop_path = [this](const std::string& path) { dropped.push_back(path); };
    hooks.drop_folder = [this](const std::string& folder) { dropped.push_back(folder); };
    hooks.drop_changed_in = [this](const std::string& folder) { dropped.push_back("changed in " + folder); };
    hooks.drop_changed = [this](const std::string& path) { dropped.push_back("changed " + path); };
    hooks.clear_cache = [this] { dropped.push_back("all"); };
    hooks.forget_layer = [this](int id) { forgotten.push_back(id); };
    hooks.request_preload = [this](const ksn::track_info& track) { preloaded.push_back(track.id); };
  }
  document(const document&) = delete;

  // A layer of `frames` frames at the bottom of the stack.
  ksn::track_info& put(const std::string& name, int begin = 0, int frames = 10) {
    ksn::track_info track;
    track.source.type = ksn::source_type::sequence;
    std::vector<std::string> names;
    for (int i = 0; i < frames; ++i) names.push_back(name + "." + std::to_string(i) + ".tga");
    track.source.frames = frames;
    track.source.names = std::move(names);
    track.source.path = "/nowhere/" + name + "/";
    track.source.mask = name + ".?.tga";
    track.name = track.default_name = name;
    track.timing.begin = begin;
    track.source.width = 40;
    track.source.height = 30;
    track.look.visible = true;
    doc.tracks.push_back(track);
    workspace.track_max = doc.track_count();
    return doc.tracks.back();
  }
  ksn::track_info& put_still(const std::string& name, ksn::source_type type = ksn::source_type::image) {
    ksn::track_info& track = put(name, 0, 1);
    track.source.type = type;
    track.source.path = "/nowhere/" + name + ".tga";
    track.source.names.clear();
    track.source.mask.clear();
    return track;
  }

  // Layers as stack() writes them.
  void put_stack(std::string_view text) {
    while (!text.empty()) {
      std::string_view name = text.substr(0, text.find(' '));
      text.remove_prefix(std::min(name.size() + 1, text.size()));
      if (name.front() == '[') {
        doc.selection.insert(doc.track_count());
        name = name.substr(1, name.size() - 2);
      }
      put(std::string(name));
    }
  }

  // Length, work area and current time: "250: 0 to 250, at 12.5".
  std::string timeline() const {
    std::ostringstream text;
    text << doc.tm_n << ": " << doc.tm_f << " to " << doc.tm_l << ", at " << doc.tm_t;
    return text.str();
  }
  std::vector<int> begins() const {
    std::vector<int> list;
    for (const ksn::track_info& track : doc.tracks) list.push_back(track.timing.begin);
    return list;
  }

  // The names of the layers from the top, those selected in brackets.
  std::string stack() const {
    std::string text;
    for (int i = 0; i < doc.track_count(); ++i) {
      if (i > 0) text += ' ';
      text += doc.selection.contains(i) ? '[' + doc.track_at(i).name + ']' : doc.track_at(i).name;
    }
    return text;
  }
};

}  // namespace support
