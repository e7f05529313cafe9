// The order in which people read numbered names.
#include <algorithm>
#include <cstdint>
#include <numeric>

#include "composition/sequence.h"
#include "composition/sequence_pattern.h"

namespace ksn {
namespace {

// A name's place among names that differ in one number only: the number, then the length of its run of digits.
struct numbered_name {
  std::uint64_t key;
  std::uint32_t index;
};

// Beyond this the key of value and length does not fit in 64 bits.
constexpr std::size_t most_digits = 17;

// Fills `keys` when all names are the same text in front of and behind one run of digits.
bool number_keys(const std::vector<std::string>& names, std::vector<numbered_name>& keys) {
  const std::string_view model = names.front();
  std::size_t prefix = model.size();
  std::size_t suffix = model.size();
  for (const std::string& name : names) {
    prefix = std::min(prefix, name.size());
    suffix = std::min(suffix, name.size());
    // Compared from the far end first: the text in front is nearly always the same as for the name before.
    if (model.compare(0, prefix, name, 0, prefix) != 0) {
      prefix = static_cast<std::size_t>(
          std::mismatch(model.begin(), model.begin() + static_cast<std::ptrdiff_t>(prefix), name.begin()).first -
          model.begin());
    }
    if (model.compare(model.size() - suffix, suffix, name, name.size() - suffix, suffix) != 0) {
      suffix = static_cast<std::size_t>(
          std::mismatch(model.rbegin(), model.rbegin() + static_cast<std::ptrdiff_t>(suffix), name.rbegin()).first -
          model.rbegin());
    }
  }
  // The shared text may have swallowed digits of the number.
  while (prefix > 0 && is_digit(model[prefix - 1])) --prefix;
  while (suffix > 0 && is_digit(model[model.size() - suffix])) --suffix;

  keys.reserve(names.size());
  for (std::size_t i = 0; i < names.size(); ++i) {
    const std::string& name = names[i];
    if (name.size() <= prefix + suffix || name.size() - prefix - suffix > most_digits) return false;
    const std::size_t digits = name.size() - prefix - suffix;
    std::uint64_t value = 0;
    for (std::size_t at = prefix; at < prefix + digits; ++at) {
      if (!is_digit(name[at])) return false;
      value = value * 10 + static_cast<std::uint64_t>(name[at] - '0');
    }
    keys.push_back({value * 32 + digits, static_cast<std::uint32_t>(i)});
  }
  return true;
}

}  // namespace

bool natural_less(std::string_view a, std::string_view b) {
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < a.size() && j < b.size()) {
    if (is_digit(a[i]) && is_digit(b[j])) {
      const std::size_t run_a = i;
      const std::size_t run_b = j;
      while (i < a.size() && a[i] == '0') ++i;
      while (j < b.size() && b[j] == '0') ++j;
      const std::size_t value_a = i;
      const std::size_t value_b = j;
      while (i < a.size() && is_digit(a[i])) ++i;
      while (j < b.size() && is_digit(b[j])) ++j;
      if (i - value_a != j - value_b) return i - value_a < j - value_b;
      const int order = a.substr(value_a, i - value_a).compare(b.substr(value_b, j - value_b));
      if (order != 0) return order < 0;
      if (i - run_a != j - run_b) return i - run_a < j - run_b;
      continue;
    }
    const auto byte_a = static_cast<unsigned char>(lowered(a[i++]));
    const auto byte_b = static_cast<unsigned char>(lowered(b[j++]));
    if (byte_a != byte_b) return byte_a < byte_b;
  }
  return i == a.size() && j < b.size();
}

void natural_sort(std::vector<std::string>& names) {
  if (names.size() < 2) return;
  std::vector<numbered_name> keys;
  if (!number_keys(names, keys)) {
    // Names that are equal without regard to case keep one order, whatever the order of the listing.
    std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
      if (natural_less(a, b)) return true;
      if (natural_less(b, a)) return false;
      return a < b;
    });
    return;
  }
  const auto before = [](const numbered_name& a, const numbered_name& b) { return a.key < b.key; };
  if (std::is_sorted(keys.begin(), keys.end(), before)) return;
  std::sort(keys.begin(), keys.end(), before);
  std::vector<std::string> sorted;
  sorted.reserve(names.size());
  for (const numbered_name& key : keys) sorted.push_back(std::move(names[key.index]));
  names = std::move(sorted);
}

}  // namespace ksn
