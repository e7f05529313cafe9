// Names, patterns, ranges and version tokens: any text, and what must hold between them. Input is lines: a name, a
// pattern, a range, then names to sort.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "composition/opening/sequence.h"
#include "composition/opening/versions.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

std::string next_line(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  const std::string line(text.substr(0, end));
  text.remove_prefix(std::min(end + 1, text.size()));
  return line;
}

void check_pattern(const std::string& name, const std::string& pattern) {
  const int number = ksn::match_number(name, pattern);
  if (number != ksn::no_number && pattern.find('*') == std::string::npos) {
    require(name.size() == pattern.size());
  }
  if (pattern.find_first_of("?*") != std::string::npos) {
    for (const int n : {0, 7, number, number == ksn::no_number ? 0 : -number}) {
      const std::string made = ksn::name_for_number(pattern, n);
      require(made.size() >= pattern.size());
      if (n >= 0 && made.size() == pattern.size() && n < 1'000'000'000) {
        require(ksn::match_number(made, pattern) == n || ksn::match_number(made, pattern) == ksn::no_number);
      }
    }
  }
  std::string built;
  if (ksn::build_pattern(name, built) && name.find_first_of("?*#/") == std::string::npos) {
    require(built.size() == name.size());
    const std::size_t digits = static_cast<std::size_t>(std::count(built.begin(), built.end(), '?'));
    require(digits > 9 || ksn::match_number(name, built) != ksn::no_number);
  }
  ksn::display_pattern(pattern);
}

void check_order(std::vector<std::string> names) {
  for (const std::string& a : names) {
    require(!ksn::natural_less(a, a));
    for (const std::string& b : names) {
      require(!(ksn::natural_less(a, b) && ksn::natural_less(b, a)));
      for (const std::string& c : names) {
        if (ksn::natural_less(a, b) && ksn::natural_less(b, c)) require(ksn::natural_less(a, c));
        const auto same = [](const std::string& x, const std::string& y) {
          return !ksn::natural_less(x, y) && !ksn::natural_less(y, x);
        };
        if (same(a, b) && same(b, c)) require(same(a, c));
      }
    }
  }
  ksn::natural_sort(names);
  for (std::size_t i = 1; i < names.size(); ++i) require(!ksn::natural_less(names[i], names[i - 1]));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::string name = next_line(text);
  const std::string pattern = next_line(text);
  check_pattern(name, pattern);

  std::vector<int> numbers;
  if (ksn::expand_range(next_line(text), numbers)) require(!numbers.empty() && numbers.size() <= 1'000'000);

  std::size_t first = 0;
  std::size_t length = 0;
  if (ksn::find_version_token(name, true, first, length)) {
    require(length >= 2 && first + length <= name.size());
    const std::string token = name.substr(first, length);
    require(ksn::replace_version(name, token, token) == name);
  }

  std::vector<std::string> names;
  while (!text.empty() && names.size() < 8) names.push_back(next_line(text));
  check_order(std::move(names));
  return 0;
}
