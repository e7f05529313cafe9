#include "composition/opening/natural_order.h"

#include <algorithm>
#include <cstdint>

#include "composition/opening/sequence_pattern.h"

namespace ksn {
namespace {

// A name's place among names that differ in one number only: the number, then the length of its run of digits.
struct numbered_name {
  std::uint64_t key;
  std::uint32_t index;
};

constexpr int length_bits = 5;
// Beyond this the key of value and length does not fit in 64 bits.
constexpr std::size_t most_digits = 17;

// How far the two texts agree from the front, of the first `limit` letters; from the back with the other.
std::size_t common_prefix(std::string_view a, std::string_view b, std::size_t limit) {
  if (a.substr(0, limit) == b.substr(0, limit)) return limit;
  return static_cast<std::size_t>(
      std::mismatch(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(limit), b.begin()).first - a.begin());
}
std::size_t common_suffix(std::string_view a, std::string_view b, std::size_t limit) {
  if (a.substr(a.size() - limit) == b.substr(b.size() - limit)) return limit;
  return static_cast<std::size_t>(
      std::mismatch(a.rbegin(), a.rbegin() + static_cast<std::ptrdiff_t>(limit), b.rbegin()).first - a.rbegin());
}

// Fills `keys` when all names are the same text before and after one run of digits.
template <class Names>
bool number_keys(const Names& names, std::vector<numbered_name>& keys) {
  const std::string_view model = names[0];
  std::size_t prefix = model.size();
  std::size_t suffix = model.size();
  for (std::size_t i = 1; i < names.size(); ++i) {
    const std::string_view name = names[i];
    prefix = common_prefix(model, name, std::min(prefix, name.size()));
    suffix = common_suffix(model, name, std::min(suffix, name.size()));
  }
  // The shared text may have swallowed digits of the number.
  while (prefix > 0 && is_digit(model[prefix - 1])) --prefix;
  while (suffix > 0 && is_digit(model[model.size() - suffix])) --suffix;

  keys.reserve(names.size());
  for (std::size_t i = 0; i < names.size(); ++i) {
    const std::string_view name = names[i];
    if (name.size() <= prefix + suffix || name.size() - prefix - suffix > most_digits) return false;
    const std::size_t digits = name.size() - prefix - suffix;
    std::uint64_t value = 0;
    for (std::size_t at = prefix; at < prefix + digits; ++at) {
      if (!is_digit(name[at])) return false;
      value = value * 10 + static_cast<std::uint64_t>(name[at] - '0');
    }
    keys.push_back({value << length_bits | digits, static_cast<std::uint32_t>(i)});
  }
  return true;
}

// Puts each name at the place of its number, when the numbers lie close together and none comes twice.
bool place_by_number(const std::vector<numbered_name>& keys, std::vector<std::uint32_t>& order) {
  const auto [least, most] = std::minmax_element(
      keys.begin(), keys.end(), [](const numbered_name& a, const numbered_name& b) { return a.key < b.key; });
  const std::uint64_t first = least->key >> length_bits;
  const std::uint64_t span = (most->key >> length_bits) - first + 1;
  if (span > keys.size() * 4) return false;
  constexpr std::uint32_t nobody = 0xFFFFFFFFu;
  std::vector<std::uint32_t> places(static_cast<std::size_t>(span), nobody);
  for (const numbered_name& name : keys) {
    std::uint32_t& place = places[static_cast<std::size_t>((name.key >> length_bits) - first)];
    if (place != nobody) return false;
    place = name.index;
  }
  for (const std::uint32_t index : places) {
    if (index != nobody) order.push_back(index);
  }
  return true;
}

// The indices of the names in natural order.
template <class Names>
std::vector<std::uint32_t> order_of(const Names& names) {
  std::vector<std::uint32_t> order;
  order.reserve(names.size());
  std::vector<numbered_name> keys;
  if (names.size() > 1 && number_keys(names, keys)) {
    if (place_by_number(keys, order)) return order;
    order.clear();
    std::sort(keys.begin(), keys.end(), [](const numbered_name& a, const numbered_name& b) { return a.key < b.key; });
    for (const numbered_name& name : keys) order.push_back(name.index);
    return order;
  }
  for (std::size_t i = 0; i < names.size(); ++i) order.push_back(static_cast<std::uint32_t>(i));
  // Names that are equal without regard to case keep one order, whatever the order of the listing.
  std::sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
    if (natural_less(names[a], names[b])) return true;
    if (natural_less(names[b], names[a])) return false;
    return std::string_view(names[a]) < std::string_view(names[b]);
  });
  return order;
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
  std::vector<std::string> sorted;
  sorted.reserve(names.size());
  for (const std::uint32_t index : order_of(names)) sorted.push_back(std::move(names[index]));
  names = std::move(sorted);
}

void natural_sort(name_list& names) {
  names.reorder(order_of(names));
}

}  // namespace ksn
