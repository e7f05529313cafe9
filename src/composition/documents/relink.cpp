#include "composition/documents/relink.h"

#include <string_view>
#include <vector>

#include "composition/opening/file_paths.h"
#include "lib/paths.h"
#include "platform/files.h"

namespace ksn {
namespace {

constexpr std::size_t searched_folders = 4;

// The folder of the composition and those above it, nearest first, with closing separators. The root is not searched.
std::vector<std::string> folders_around(const std::string& composition_path) {
  std::vector<std::string> folders;
  std::string folder(split_real_path(composition_path).folder);
  while (folder.size() > 1 && folders.size() < searched_folders) {
    folders.push_back(folder);
    folder.pop_back();
    folder.resize(folder.rfind('/') + 1);
  }
  return folders;
}

// Whether the source stands at `path`. Of a sequence one end suffices: it may have holes.
bool stands_at(const track_info& track, const std::string& path) {
  if (track.source.type != source_type::sequence) return platform::file_exists(path);
  return platform::file_exists(path + std::string(track.source.names.front())) ||
         platform::file_exists(path + std::string(track.source.names.back()));
}

// The change that a move made to the path of one layer, tried first on the next one.
struct move {
  std::string from;
  std::string to;
};

bool find(const track_info& track, const std::vector<std::string>& folders, move& found) {
  const std::string_view path = track.source.path;
  for (std::size_t level = 0; level < folders.size(); ++level) {
    for (std::size_t slash = path.find('/'); slash != path.npos; slash = path.find('/', slash + 1)) {
      const std::string_view rest = path.substr(slash + 1);
      // A bare file name is looked for beside the composition alone: further up it may be another file's.
      if (level > 0 && rest.find('/') == rest.npos) break;
      if (!stands_at(track, folders[level] + std::string(rest))) continue;
      found = {std::string(path.substr(0, slash + 1)), folders[level]};
      return true;
    }
  }
  return false;
}

bool has_file(const track_info& track) {
  return track.source.type == source_type::sequence
             ? !track.source.names.empty()
             : track.source.is_decoded() || track.source.type == source_type::wave;
}

}  // namespace

void relink(std::deque<track_info>& tracks, const std::string& composition_path) {
  const std::vector<std::string> folders = folders_around(lib::full_path(composition_path));
  move last;
  for (track_info& track : tracks) {
    if (!has_file(track)) continue;
    if (!folders.empty() && !track.source.path.starts_with('/'))
      track.source.path = lib::full_path(folders[0] + track.source.path);
    if (stands_at(track, track.source.path)) continue;
    const auto moved = [&] { return last.to + track.source.path.substr(last.from.size()); };
    const bool as_before = !last.from.empty() && track.source.path.starts_with(last.from) && stands_at(track, moved());
    if (as_before || find(track, folders, last)) track.source.path = moved();
  }
}

}  // namespace ksn
