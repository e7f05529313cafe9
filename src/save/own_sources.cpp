#include "save/own_sources.h"

#include <sys/stat.h>

#include <map>
#include <unordered_map>
#include <utility>

#include "render/compositor.h"

namespace save {
namespace {

using identity = std::pair<dev_t, ino_t>;

// False for what is not there.
bool identify(const std::string& path, identity& id) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0) return false;
  id = {status.st_dev, status.st_ino};
  return true;
}

}  // namespace

std::vector<int> layers_of_composite(const ksn::state& composition) {
  std::vector<int> layers;
  const std::vector<bool> taking_part = render::layers_taking_part(composition);
  for (std::size_t i = 0; i < taking_part.size(); ++i) {
    if (taking_part[i]) layers.push_back(static_cast<int>(i));
  }
  return layers;
}

std::vector<int> layers_of_layer(const ksn::state& composition, int index) {
  std::vector<int> layers{index};
  const int source = composition.doc.index_of_id(composition.doc.track_at(index).look.alpha_source_id);
  if (source >= 0 && source != index) layers.push_back(source);
  return layers;
}

std::string overwritten_source(const ksn::state& composition, const std::vector<int>& layers, bool any_order,
                               const std::function<std::string(int frame)>& name_of) {
  std::map<identity, int> outputs;  // that exist, by the frame that writes them
  for (int frame = composition.doc.tm_f; frame < composition.doc.tm_l; ++frame) {
    identity id;
    if (identify(name_of(frame), id)) outputs.emplace(id, frame);
  }
  if (outputs.empty()) return {};
  int first = composition.doc.tm_l;
  std::unordered_map<std::string, int> writers;  // of a source: the frame that writes over it
  for (int frame = composition.doc.tm_f; frame < composition.doc.tm_l; ++frame) {
    for (const int index : layers) {
      const ksn::track_info& track = composition.doc.track_at(index);
      const double position = track.source_position(frame);
      if (!track.source.is_decoded() || track.source.is_clip() || position < 0.0) continue;
      const auto [entry, fresh] =
          writers.emplace(track.source.frame_path(static_cast<int>(position)), composition.doc.tm_l);
      if (identity id; fresh && identify(entry->first, id)) {
        if (const auto output = outputs.find(id); output != outputs.end()) entry->second = output->second;
      }
      const bool is_elsewhere = any_order && entry->second != frame && entry->second < composition.doc.tm_l;
      if (entry->second < frame || is_elsewhere) first = std::min(first, entry->second);
    }
  }
  return first < composition.doc.tm_l ? name_of(first) : std::string();
}

}  // namespace save
