#include "composition/opening/folder_rows.h"

#include <sys/stat.h>

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "composition/opening/natural_order.h"
#include "composition/opening/sequence_pattern.h"
#include "img/format.h"
#include "lib/paths.h"

namespace ksn {
namespace {

using steady = std::chrono::steady_clock;

// The files of a row, to ask for their sizes.
struct group {
  folder_row row;
  std::vector<std::string> names;
};

std::vector<group> grouped(std::vector<std::string> files, const std::vector<std::string>& extensions) {
  std::vector<group> groups;
  std::unordered_map<std::string, std::size_t> of_pattern;
  for (std::string& name : files) {
    if (name.starts_with('.')) continue;
    const std::string extension = lib::lower_extension(name);
    if (!extensions.empty() && std::ranges::find(extensions, extension) == extensions.end()) continue;
    std::string pattern;
    int number = no_number;
    if (img::is_image_file(name) && build_pattern(name, pattern)) number = match_number(name, pattern);
    if (number == no_number) {
      group& single = groups.emplace_back();
      single.row.name = single.row.first = name;
      single.names.push_back(std::move(name));
      continue;
    }
    const auto [found, is_new] = of_pattern.try_emplace(pattern, groups.size());
    if (is_new) groups.emplace_back().row.name = pattern;
    group& sequence = groups[found->second];
    folder_row& row = sequence.row;
    if (is_new || number < row.low || (number == row.low && name < row.first)) row.first = name;
    row.low = is_new ? number : std::min(row.low, number);
    row.high = is_new ? number : std::max(row.high, number);
    sequence.names.push_back(std::move(name));
  }
  for (group& one : groups) {
    one.row.files = static_cast<int>(one.names.size());
    one.row.name = one.row.is_sequence() ? display_pattern(one.row.name) : one.row.first;
  }
  return groups;
}

// Of the first file in any case.
void measure(group& group, const std::string& folder, steady::time_point give_up) {
  struct stat status;
  if (stat((folder + group.row.first).c_str(), &status) == 0) {
    group.row.changed = status.st_mtime;
    group.row.bytes = status.st_size;
  }
  if (group.names.size() == 1) return;
  long long sum = 0;
  long long asked = 0;
  for (const std::string& name : group.names) {
    if (asked > 0 && steady::now() > give_up) break;
    ++asked;
    if (stat((folder + name).c_str(), &status) == 0) sum += status.st_size;
  }
  const auto all = static_cast<long long>(group.names.size());
  group.row.about = asked < all;
  group.row.bytes = group.row.about ? sum / asked * all : sum;
}

}  // namespace

int list_rows(const std::string& folder, const std::vector<std::string>& extensions, std::chrono::milliseconds patience,
              std::vector<folder_row>& rows) {
  std::vector<std::string> files;
  std::vector<std::string> folders;
  rows.clear();
  if (const int error = lib::list_folder(folder, "*", &files, &folders); error != 0) return error;
  std::erase_if(folders, [](const std::string& name) { return name.starts_with('.'); });
  natural_sort(folders);
  for (std::string& name : folders) {
    folder_row& row = rows.emplace_back();
    row.first = name;
    row.name = std::move(name);
    row.is_folder = true;
  }
  std::vector<group> groups = grouped(std::move(files), extensions);
  std::ranges::sort(groups, [](const group& a, const group& b) { return natural_less(a.row.first, b.row.first); });
  const auto give_up = steady::now() + patience;
  const std::string prefix = lib::add_separator(folder);
  for (group& one : groups) {
    measure(one, prefix, give_up);
    rows.push_back(std::move(one.row));
  }
  return 0;
}

std::string frames_text(const folder_row& row) {
  if (!row.is_sequence()) return {};
  const long long missing = static_cast<long long>(row.high) - row.low + 1 - row.files;
  std::string text = std::to_string(row.low) + "-" + std::to_string(row.high);
  return missing > 0 ? text + ", " + std::to_string(missing) + " missing" : text;
}

}  // namespace ksn
