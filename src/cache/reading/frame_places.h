// Which frames of which sources a path names.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "composition/layer/source.h"

namespace cache {

// Sources by the paths of their frames without the number: a path is looked for in those alone that have frames of its
// kind, whatever their number. Costs a few bytes a source, and eight a frame where names do not follow from their
// numbers. Main thread.
class frame_places {
 public:
  struct place {
    std::uint64_t source;
    int frame;
  };

  // A source that is known already stays as it is. The cost is that of reading the names once.
  void add(std::uint64_t id, const ksn::layer_source& source);
  void remove(std::uint64_t id);
  bool has(std::uint64_t id) const { return sources_.contains(id); }

  // Every frame whose path that is. `source_of` gives the source that was added under an id.
  template <class SourceOf>
  std::vector<place> find(const std::string& path, const SourceOf& source_of) {
    std::vector<place> found;
    const auto [kind, number] = kind_of(path);
    const auto here = by_kind_.find(kind);
    if (here == by_kind_.end()) return found;
    for (const std::uint64_t id : here->second) add_frames(id, source_of(id), path, number, found);
    return found;
  }

 private:
  using numbered_frame = std::pair<long long, int>;  // number of the name, frame
  struct known_source {
    std::vector<std::string> kinds;
    std::vector<numbered_frame> frames;  // ascending, made on first need
  };
  std::unordered_map<std::uint64_t, known_source> sources_;
  std::unordered_map<std::string, std::vector<std::uint64_t>> by_kind_;

  static std::pair<std::string, long long> kind_of(std::string_view path);
  void add_frames(std::uint64_t id, const ksn::layer_source& source, const std::string& path, long long number,
                  std::vector<place>& found);
};

}  // namespace cache
