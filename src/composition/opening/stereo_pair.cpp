#include "composition/opening/stereo_pair.h"

#include <algorithm>
#include <optional>

#include "composition/editing/layer_stack.h"
#include "composition/opening/file_paths.h"
#include "composition/opening/route.h"
#include "composition/opening/sequence.h"
#include "lib/paths.h"
#include "platform/files.h"

namespace ksn {
namespace {

constexpr std::string_view eye_words[2] = {"left", "right"};

// `name` as the other eye has it: the whole name, or its ending after a dot. `eye` becomes the eye of `name`.
std::optional<std::string> other_layer_name(const std::string& name, int& eye) {
  for (eye = 0; eye < 2; ++eye) {
    const std::string_view word = eye_words[eye];
    const std::string_view other = eye_words[1 - eye];
    if (name == word) return std::string(other);
    if (name.ends_with(word) && name.size() > word.size() && name[name.size() - word.size() - 1] == '.') {
      return name.substr(0, name.size() - word.size()) + std::string(other);
    }
  }
  return std::nullopt;
}

// `text` with every `from` become `to`, in the letters that it has: left, Left or LEFT.
std::string replace_word(const std::string& text, std::string_view from, std::string_view to) {
  const std::string low = lib::to_lower(text);
  std::string result;
  std::size_t copied = 0;
  for (std::size_t at = low.find(from); at != std::string::npos; at = low.find(from, at + from.size())) {
    result.append(text, copied, at - copied);
    const auto is_upper = [&](std::size_t i) { return text[i] != low[i]; };
    for (std::size_t i = 0; i < to.size(); ++i) {
      const bool upper = is_upper(at) && (i == 0 || is_upper(at + 1));
      result += static_cast<char>(upper ? to[i] - ('a' - 'A') : to[i]);
    }
    copied = at + from.size();
  }
  return result.append(text, copied);
}

// Turns `copy` to the source whose folder and names have the words replaced. False when it is not there.
bool open_other_path(state& composition, track_info& copy, std::string path, std::string mask) {
  if (path == copy.source.path && mask == copy.source.mask) return false;
  if (copy.source.type != source_type::sequence) {
    if (!platform::file_exists(path)) return false;
    if (copy.source.is_clip()) {
      auto result = sources::open_clip(static_cast<sources::clip_kind>(copy.source.type), path, composition.doc.fpcs);
      if (!result.opened) return false;
      copy.source.clip = std::move(result.opened);
      copy.source.frames = copy.source.clip->frames();
    }
    copy.source.path = std::move(path);
    if (copy.source.clip) read_sound(composition, copy);
    return true;
  }
  track_info found;
  if (!copy.source.range.empty()) {
    if (!make_range(path + mask, copy.source.range, found, copy.look.alpha_type)) return false;
    if (!platform::file_exists(found.source.file_of(0))) return false;
  } else if (scan_folder(path + mask, found, copy.look.alpha_type, false, {}) == scan_result::nothing) {
    return false;
  }
  copy.source.path = std::move(found.source.path);
  copy.source.mask = std::move(found.source.mask);
  copy.source.frames = static_cast<int>(found.source.names.size());
  copy.source.names = std::move(found.source.names);
  return true;
}

// Tries the words in the file's name alone, in the folders alone and in both, in this order.
bool find_other_path(state& composition, track_info& copy, std::string_view from, std::string_view to) {
  const bool is_sequence = copy.source.type == source_type::sequence;
  const auto [folder_view, name_view] = split_real_path(copy.source.path);
  const std::string folder(folder_view);
  const std::string name = is_sequence ? copy.source.mask : std::string(name_view);
  const std::string other_folder = replace_word(folder, from, to);
  const std::string other_name = replace_word(name, from, to);
  const auto try_path = [&](const std::string& in, const std::string& file) {
    return open_other_path(composition, copy, is_sequence ? in : in + file, is_sequence ? file : copy.source.mask);
  };
  return try_path(folder, other_name) || try_path(other_folder, name) || try_path(other_folder, other_name);
}

bool find_other_eye(state& composition, const track_info& original, track_info& copy, int& eye) {
  if (!original.source.image_layers.empty()) {
    const auto other = other_layer_name(original.source.image_layer.name, eye);
    if (!other) return false;
    const auto found = std::find_if(original.source.image_layers.begin(), original.source.image_layers.end(),
                                    [&](const img::layer& layer) { return layer.name == *other; });
    if (found == original.source.image_layers.end()) return false;
    copy.source.image_layer = *found;
    return true;
  }
  if (!original.source.is_decoded()) return false;
  for (eye = 0; eye < 2; ++eye) {
    if (find_other_path(composition, copy, eye_words[eye], eye_words[1 - eye])) return true;
  }
  return false;
}

}  // namespace

bool add_other_stereo_view(state& composition) {
  const int index = composition.doc.selected_index();
  if (index == composition.doc.track_count()) return false;
  track_info& original = composition.doc.track_at(index);
  track_info copy = original;
  int eye = 0;
  if (!find_other_eye(composition, original, copy, eye)) return false;
  copy.id = next_layer_id();
  if (copy.name == copy.default_name) copy.name = name_of_source(copy);
  copy.default_name = name_of_source(copy);
  original.look.target_view = eye == 0 ? target_view_type::left : target_view_type::right;
  copy.look.target_view = eye == 0 ? target_view_type::right : target_view_type::left;
  std::vector<track_info> records;
  records.push_back(std::move(copy));
  insert_layers(composition, {index}, std::move(records));
  if (composition.settings.automatic_preload) {
    composition.hooks.request_preload(composition.doc.track_at(index));
  }
  return true;
}

}  // namespace ksn
