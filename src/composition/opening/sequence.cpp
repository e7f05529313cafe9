#include "composition/opening/sequence.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <map>
#include <new>
#include <numeric>
#include <unordered_set>
#include <utility>

#include "composition/opening/file_paths.h"
#include "composition/opening/open_error.h"
#include "img/format.h"
#include "lib/paths.h"

namespace ksn {
namespace {

// A sequence with holes is filled when at least this part of its numbers exists.
constexpr double least_density = 0.7;

struct found_files {
  name_list names;
  std::vector<int> numbers;  // of the names, when the pattern has wildcards
  int low = std::numeric_limits<int>::max();
  int high = -std::numeric_limits<int>::max();
  bool numbered = false;  // the pattern has wildcards
  bool all_fit = true;    // every number is an int
  bool by_value = false;  // the order of the names is that of their numbers
  int error = 0;          // errno of a folder that can't be listed
};

// Whether natural order compares the wildcards of a pattern as one number: after a `*` the others stand at no fixed
// place.
bool compares_by_value(std::string_view pattern) {
  const std::size_t first = pattern.find_first_of("?*");
  if (first == pattern.npos || pattern.find('*') == pattern.npos) return true;
  return pattern.find_first_not_of("?*", first) > pattern.find_last_of("?*");
}

// Asks the image library once for each run of names with the same extension.
class known_extension {
 public:
  bool operator()(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    const std::string_view extension = dot == std::string_view::npos ? std::string_view() : name.substr(dot);
    if (!asked_ || extension != extension_) {
      extension_ = extension;
      known_ = img::is_image_file(std::string(name));
      asked_ = true;
    }
    return known_;
  }

 private:
  std::string extension_;
  bool known_ = false;
  bool asked_ = false;
};

// The files that the image library knows and that match `pattern`, of those in `folder` or of those in `listed` when
// that is given; `*` alone takes all.
found_files find_files(const std::string& folder, const std::string& pattern, const name_list* listed) {
  found_files found;
  found.numbered = pattern != "*" && has_wildcard(pattern);
  known_extension is_known;
  found.by_value = found.numbered && compares_by_value(pattern);
  const name_matcher matches(pattern);
  const auto take = [&](std::string_view name) {
    int number = 0;
    bool fits = true;
    if (pattern != "*" && !matches(name, number, fits)) return;
    if (!is_known(name)) return;
    if (found.numbered) {
      found.low = std::min(found.low, fits ? number : found.low);
      found.high = std::max(found.high, fits ? number : found.high);
      found.all_fit = found.all_fit && fits;
      found.numbers.push_back(number);
    }
    found.names.add(name);
  };
  if (listed) {
    for (std::size_t i = 0; i < listed->size(); ++i) take((*listed)[i]);
  } else {
    found.error = lib::visit_files(folder.empty() ? "." : folder, take);
  }
  return found;
}

constexpr std::uint32_t nobody = 0xFFFFFFFFu;

// The indices of the names by their numbers, from the lowest number to the highest; `nobody` in the holes. Of several
// spellings of one number the first in byte order stays, whatever the order of the listing, and `unique` becomes false.
std::vector<std::uint32_t> by_number(const found_files& found, bool& unique) {
  std::vector<std::uint32_t> places(static_cast<std::size_t>(static_cast<long long>(found.high) - found.low + 1),
                                    nobody);
  for (std::size_t i = 0; i < found.names.size(); ++i) {
    std::uint32_t& place = places[static_cast<std::size_t>(static_cast<long long>(found.numbers[i]) - found.low)];
    unique = unique && place == nobody;
    if (place == nobody || found.names[i] < found.names[place]) place = static_cast<std::uint32_t>(i);
  }
  return places;
}

// The names become those of all numbers from the lowest to the highest; those that were found keep their own spelling.
// Gives the indices of the others.
std::vector<std::uint32_t> fill_holes(found_files& found, const std::string& pattern) {
  std::vector<std::uint32_t> holes;
  bool unique = true;
  std::vector<std::uint32_t> places = by_number(found, unique);
  for (std::size_t i = 0; i < places.size(); ++i) {
    if (places[i] != nobody) continue;
    holes.push_back(static_cast<std::uint32_t>(i));
    places[i] = static_cast<std::uint32_t>(found.names.size());
    found.names.add(name_for_number(pattern, static_cast<int>(found.low + static_cast<long long>(i))));
  }
  found.names.reorder(places);
  return holes;
}

// Puts the names in natural order, negative numbers in front of the others.
void sort_found(found_files& found) {
  if (!found.by_value || !found.all_fit) return natural_sort(found.names);
  const double span = static_cast<double>(found.high) - found.low + 1;
  if (span <= static_cast<double>(found.names.size()) * 4) {
    bool unique = true;
    std::vector<std::uint32_t> places = by_number(found, unique);
    if (unique) {
      std::erase(places, nobody);
      found.names.reorder(places);
      return;
    }
  }
  std::vector<std::uint32_t> order(found.names.size());
  std::iota(order.begin(), order.end(), 0u);
  std::sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
    if (found.numbers[a] != found.numbers[b]) return found.numbers[a] < found.numbers[b];
    if (natural_less(found.names[a], found.names[b])) return true;
    return !natural_less(found.names[b], found.names[a]) && found.names[a] < found.names[b];
  });
  found.names.reorder(order);
}

bool dense_enough(const found_files& found) {
  const double span = static_cast<double>(found.high) - found.low + 1;
  return found.numbered && found.all_fit && static_cast<double>(found.names.size()) / span >= least_density;
}

void reset_timing(track_info& record) {
  record.timing.begin = 0;
  record.timing.retime = 1.0;
  record.timing.sbegin_f = 0.0;
  record.timing.send_f = 1.0;
}

// All of a sequence but its frames.
void begin_sequence(track_info& record, const std::string& pattern_path) {
  reset_timing(record);
  const auto [folder, pattern] = split_real_path(pattern_path);
  record.source.path = folder;
  record.source.mask = pattern;
  record.source.range.clear();
  record.look.visible = true;
  record.source.type = ksn::source_type::sequence;
  record.name = name_of_source(record);
  record.default_name = record.name;
}

// scan_folder(), with the errno of a folder that can't be listed.
scan_result scan(const std::string& pattern_path, track_info& record, alpha_type default_alpha, bool forced,
                 const std::string& fallback_name, const name_list* listed, int& error) {
  begin_sequence(record, pattern_path);
  record.source.frames = 0;
  record.source.names.clear();
  found_files found = find_files(record.source.path, record.source.mask, listed);
  error = found.error;
  if (found.names.empty() && forced && !fallback_name.empty()) {
    name_list names;
    names.add(fallback_name);
    set_frame_names(record, std::move(names));
    record.look.alpha_type = default_alpha;
    record.look.blend_type = ksn::blend_type::normal;
    return scan_result::found;
  }
  if (found.names.empty()) return scan_result::nothing;
  if (found.names.size() == 1 && !forced) {
    record.source.names = frame_names(std::move(found.names));
    return scan_result::one_file;
  }
  std::vector<std::uint32_t> holes;
  if (!forced && dense_enough(found)) {
    holes = fill_holes(found, record.source.mask);
  } else {
    sort_found(found);
  }
  set_frame_names(record, std::move(found.names), std::move(holes));
  read_first_header(record, record.source.file_of(0), default_alpha);
  return scan_result::found;
}

}  // namespace

std::string name_of_source(const track_info& record) {
  if (record.source.type != source_type::sequence) return std::string(real_file_name(record.source.path));
  if (record.source.mask != "*") return display_pattern(record.source.mask);
  const std::string folder = lib::remove_separator(record.source.path);
  return std::string(real_file_name(folder));
}

void set_frame_names(track_info& record, name_list names, std::vector<std::uint32_t> holes) {
  record.source.frames = static_cast<int>(names.size());
  record.source.names = frame_names(std::move(names), std::move(holes));
  record.source.frame_states.clear();
}

void find_holes(std::span<track_info* const> sequences) {
  std::map<std::string, std::vector<track_info*>> by_folder;
  for (track_info* const track : sequences) by_folder[track->source.path].push_back(track);
  for (const auto& [folder, tracks] : by_folder) {
    name_list files;
    const int error = lib::visit_files(folder.empty() ? "." : folder, [&](std::string_view name) { files.add(name); });
    if (error != 0 && error != ENOENT && error != ENOTDIR) continue;
    std::unordered_set<std::string_view> there;
    there.reserve(files.size());
    for (std::size_t i = 0; i < files.size(); ++i) there.insert(files[i]);
    for (track_info* const track : tracks) {
      std::vector<std::uint32_t> holes;
      for (std::size_t i = 0; i < track->source.names.size(); ++i) {
        if (!there.contains(track->source.names[i])) holes.push_back(static_cast<std::uint32_t>(i));
      }
      track->source.names.set_holes(std::move(holes));
    }
  }
}

void read_first_header(track_info& record, const std::string& path, alpha_type default_alpha) {
  record.look.alpha_type = ksn::alpha_type::ignore;
  record.look.blend_type = ksn::blend_type::normal;
  try {
    const img::format* format = img::find_format(path);
    if (format == nullptr) return;
    const img::picture_header header = format->read_header(path, img::layer());
    record.source.width = header.width;
    record.source.height = header.height;
    if (header.has_alpha) record.look.alpha_type = default_alpha;
    if (header.pixel_aspect > 0) record.placement.set_aspect(header.pixel_aspect);
    if (header.layers.size() > 1) record.source.image_layers = header.layers;
  } catch (const std::bad_alloc&) {
    throw;  // else its frames would be shown without the alpha that the file has
  } catch (const std::exception&) {
    // The layer stands without a size; the decode of its frames says what is wrong with the file.
  }
}

scan_result scan_folder(const std::string& pattern_path, track_info& record, alpha_type default_alpha, bool forced,
                        const std::string& fallback_name, const name_list* listed) {
  int error = 0;
  return scan(pattern_path, record, default_alpha, forced, fallback_name, listed, error);
}

bool scan_sequence(const std::string& pattern_path, const std::string& given, track_info& record,
                   alpha_type default_alpha, const error_sink& errors) {
  int error = 0;
  const scan_result result = scan(pattern_path, record, default_alpha, false, {}, nullptr, error);
  if (result == scan_result::found) return true;
  if (result == scan_result::one_file) return add_single_image(record.source.file_of(0), record, default_alpha, errors);
  if (file_error(given) == 0) return add_single_image(given, record, default_alpha, errors);
  const bool could_list = error == 0 || error == ENOENT || error == ENOTDIR;
  if (errors) errors(could_list ? no_images_line(given) : open_error_line(given, error));
  return false;
}

bool add_single_image(const std::string& path, track_info& record, alpha_type default_alpha, const error_sink& errors) {
  if (const int error = file_error(path)) {
    if (errors) errors(open_error_line(path, error));
    return false;
  }
  reset_timing(record);
  record.source.type = ksn::source_type::image;
  record.source.path = path;
  record.name = name_of_source(record);
  record.default_name = record.name;
  record.source.mask.clear();
  record.source.range.clear();
  record.source.names.clear();
  record.look.visible = true;
  record.source.frames = 1;
  record.source.frame_states.clear();
  read_first_header(record, path, default_alpha);
  return true;
}

bool add_folder(const std::string& path, track_info& record, alpha_type default_alpha, const error_sink& errors) {
  return scan_sequence(lib::add_separator(path) + "*", path, record, default_alpha, errors);
}

bool make_range(const std::string& pattern_path, const std::string& range, track_info& record,
                alpha_type default_alpha) {
  std::vector<int> numbers;
  if (!expand_range(range, numbers)) return false;
  begin_sequence(record, pattern_path);
  record.source.range = range;
  name_list names;
  for (const int number : numbers) names.add(name_for_number(record.source.mask, number));
  set_frame_names(record, std::move(names));
  track_info* const sequence = &record;
  find_holes({&sequence, 1});
  read_first_header(record, record.source.file_of(0), default_alpha);
  return true;
}

}  // namespace ksn
