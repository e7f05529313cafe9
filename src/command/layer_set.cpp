#include "command/layer_set.h"

#include <algorithm>
#include <limits>

namespace command {

namespace {

constexpr std::size_t most_members = 1000000;
constexpr int largest_offset = 1 << 30;  // keeps an index with an offset within an int

class parser {
 public:
  parser(const ksn::state& composition, std::string_view text)
      : composition_(composition), count_(composition.doc.track_count()), rest_(text) {}

  bool parse(layer_set& set) {
    if (rest_.empty()) return false;
    bool lone = false;
    if (rest_[0] == '!') {
      for (int i = 0; i < count_; ++i) set.members.push_back(i);
    } else if (!list(set.members, lone)) {
      return false;
    }
    set.single = lone && rest_.empty();
    if (skip("!")) {
      std::vector<int> excluded;
      if (!list(excluded, lone)) return false;
      remove(set.members, excluded);
    }
    return rest_.empty();
  }

 private:
  // `lone` becomes true for one item that is a single index or id.
  bool list(std::vector<int>& members, bool& lone) {
    int items = 0;
    do {
      if (!item(members, lone) || members.size() > most_members) return false;
      ++items;
    } while (skip(","));
    lone = lone && items == 1;
    return true;
  }

  bool item(std::vector<int>& members, bool& lone) {
    lone = false;
    if (skip("selection")) return selected(members, false);
    if (skip("-selection")) return selected(members, true);
    int n = 0;
    if (skip("group(")) return number(n) && skip(")") && group(members, n, false);
    if (skip("-group(")) return number(n) && skip(")") && group(members, n, true);
    if (skip("id(")) {
      lone = true;
      if (!number(n) || !skip(")")) return false;
      if (const int found = composition_.doc.index_of_id(n); found >= 0) members.push_back(found);
      return true;
    }
    int first = 0;
    if (!index(first)) return false;
    if (!skip("..")) {
      lone = true;
      members.push_back(first);
      return true;
    }
    int last = 0;
    if (!index(last)) return false;
    return range(members, first, last);
  }

  // n, -n, 'name', 'name'+n, 'name'-n
  bool index(int& out) {
    int n = 0;
    if (skip("'")) {
      const std::size_t end = rest_.find('\'');
      if (end == rest_.npos) return false;
      const std::string_view name = rest_.substr(0, end);
      const auto found = std::find_if(composition_.doc.tracks.begin(), composition_.doc.tracks.end(),
                                      [&](const ksn::track_info& track) { return track.name == name; });
      if (found == composition_.doc.tracks.end()) return false;
      rest_.remove_prefix(end + 1);
      out = static_cast<int>(found - composition_.doc.tracks.begin());
      if (skip("+")) return number(n) && (out += std::min(n, largest_offset), true);
      if (skip("-")) return number(n) && (out -= std::min(n, largest_offset), true);
      return true;
    }
    const bool from_end = skip("-");
    if (!number(n) || n == 0) return false;
    out = from_end ? count_ - n : n - 1;
    return true;
  }

  bool range(std::vector<int>& members, int first, int last) {
    if (count_ == 0) return true;
    first = std::clamp(first, 0, count_ - 1);
    last = std::clamp(last, 0, count_ - 1);
    const int step = first <= last ? 1 : -1;
    for (int i = first; i != last + step; i += step) members.push_back(i);
    return true;
  }

  bool selected(std::vector<int>& members, bool descending) {
    const std::set<int>& selection = composition_.doc.selection;
    if (descending) {
      members.insert(members.end(), selection.rbegin(), selection.rend());
    } else {
      members.insert(members.end(), selection.begin(), selection.end());
    }
    return true;
  }

  bool group(std::vector<int>& members, int id, bool descending) {
    for (int k = 0; k < count_; ++k) {
      const int i = descending ? count_ - 1 - k : k;
      if (composition_.doc.track_at(i).group_id == id) members.push_back(i);
    }
    return true;
  }

  static void remove(std::vector<int>& members, std::vector<int>& excluded) {
    std::sort(excluded.begin(), excluded.end());
    std::erase_if(members, [&](int i) { return std::binary_search(excluded.begin(), excluded.end(), i); });
  }

  bool number(int& out) {
    std::size_t digits = 0;
    out = 0;
    for (; digits < rest_.size() && rest_[digits] >= '0' && rest_[digits] <= '9'; ++digits) {
      out = static_cast<int>(
          std::min(out * 10LL + (rest_[digits] - '0'), static_cast<long long>(std::numeric_limits<int>::max())));
    }
    rest_.remove_prefix(digits);
    return digits > 0;
  }

  bool skip(std::string_view word) {
    if (!rest_.starts_with(word)) return false;
    rest_.remove_prefix(word.size());
    return true;
  }

  const ksn::state& composition_;
  const int count_;
  std::string_view rest_;
};

}  // namespace

bool parse_layer_set(const ksn::state& composition, std::string_view text, layer_set& set) {
  set = {};
  return parser(composition, text).parse(set);
}

}  // namespace command
