#include "lib/format.h"

#include <algorithm>
#include <locale>
#include <sstream>
#include <string_view>
#include <type_traits>

namespace lib {
namespace {

// Widths and precisions of a catalogue entry stay within what a line of text could need.
constexpr int most_places = 1000;

struct specification {
  bool left = false;
  bool plus = false;
  bool alternate = false;
  bool zeros = false;
  int width = 0;
  int precision = -1;
  char letter = 0;
};

template <class Char>
bool take_number(std::basic_string_view<Char>& text, int& number) {
  const std::size_t before = text.size();
  number = 0;
  for (; !text.empty() && text[0] >= '0' && text[0] <= '9'; text.remove_prefix(1))
    number = std::min(most_places, number * 10 + static_cast<int>(text[0] - '0'));
  return text.size() != before;
}

template <class Char>
specification parse_specification(std::basic_string_view<Char> text) {
  specification spec;
  for (; !text.empty(); text.remove_prefix(1)) {
    if (text[0] == '-') {
      spec.left = true;
    } else if (text[0] == '+') {
      spec.plus = true;
    } else if (text[0] == '#') {
      spec.alternate = true;
    } else if (text[0] == '0') {
      spec.zeros = true;
    } else {
      break;
    }
  }
  take_number(text, spec.width);
  if (!text.empty() && text[0] == '.') {
    text.remove_prefix(1);
    if (int number; take_number(text, number)) spec.precision = number;
  }
  if (!text.empty() && text[0] < 0x80) spec.letter = static_cast<char>(text[0]);
  return spec;
}

void set_up(const specification& spec, std::ostream& stream) {
  stream.imbue(std::locale::classic());
  if (spec.left) stream << std::left;
  if (spec.plus) stream << std::showpos;
  if (spec.zeros) stream.fill('0');
  stream.width(spec.width);
  if (spec.precision >= 0) stream.precision(spec.precision);
  switch (spec.letter) {
    case 'o':
      stream << std::oct;
      break;
    case 'X':
      stream << std::uppercase;
      [[fallthrough]];
    case 'x':
      stream << std::hex;
      break;
    case 'f':
      stream << std::fixed;
      break;
    case 'E':
      stream << std::uppercase;
      [[fallthrough]];
    case 'e':
      stream << std::scientific;
      break;
    default:
      return;
  }
  if (spec.alternate) stream << std::showbase << std::showpoint;
}

template <class T, class Char>
struct value_formatter final : abstract_formatter<Char> {
  void format(std::basic_string<Char>& result, const void* value, const std::basic_string<Char>& text) const override {
    const specification spec = parse_specification<Char>(text);
    const T& typed = *static_cast<const T*>(value);
    if constexpr (std::is_same_v<T, std::basic_string<Char>>) {
      const auto width = static_cast<std::size_t>(spec.width);
      const std::basic_string<Char> fill(width > typed.size() ? width - typed.size() : 0,
                                         static_cast<Char>(spec.zeros ? '0' : ' '));
      result += spec.left ? typed + fill : fill + typed;
    } else {
      // Numbers are plain ASCII, so the narrow stream serves both widths.
      std::ostringstream stream;
      set_up(spec, stream);
      if constexpr (std::is_same_v<T, unsigned char>) {
        stream << static_cast<int>(typed);
      } else {
        stream << typed;
      }
      for (char c : stream.str()) result += static_cast<Char>(c);
    }
  }
};

template <class Char>
void add_ascii(std::basic_string<Char>& result, std::string_view text) {
  result.append(text.begin(), text.end());
}

template <class Char>
std::basic_string<Char> format_text(const std::basic_string<Char>& text, const abstract_argument_map<Char>& map) {
  std::basic_string<Char> result;
  for (std::size_t at = 0;;) {
    const std::size_t brace = std::min(text.find(Char('{'), at), text.size());
    result.append(text, at, brace - at);
    if (brace == text.size()) return result;
    if (brace + 1 < text.size() && text[brace + 1] == Char('{')) {
      result += Char('{');
      at = brace + 2;
      continue;
    }
    const std::size_t end = text.find(Char('}'), brace);
    if (end == text.npos) {
      add_ascii(result, "[error: parse error at '");
      result.append(text, brace);
      add_ascii(result, "']");
      return result;
    }
    const std::basic_string<Char> field = text.substr(brace + 1, end - brace - 1);
    const std::size_t colon = std::min(field.find(Char(':')), field.size());
    map.format(result, field.substr(0, colon), field.substr(std::min(colon + 1, field.size())));
    at = end + 1;
  }
}

}  // namespace

template <class T, class Char>
const abstract_formatter<Char>& formatter() {
  static const value_formatter<T, Char> instance;
  return instance;
}

template <class Char>
void indexed_argument_map<Char>::format(std::basic_string<Char>& result, const std::basic_string<Char>& name,
                                        const std::basic_string<Char>& spec) const {
  std::basic_string_view<Char> rest(name);
  int number = 0;
  if (take_number(rest, number) && rest.empty() && number >= 1 && number <= count_) {
    const argument<Char>& entry = entries_[number - 1];
    entry.formatter->format(result, entry.value, spec);
  } else {
    add_ascii(result, "[error: argument '");
    result += name;
    add_ascii(result, "' missing]");
  }
}

std::string format(const std::string& text, const abstract_argument_map<char>& map) {
  return format_text(text, map);
}

std::u16string format(const std::u16string& text, const abstract_argument_map<char16_t>& map) {
  return format_text(text, map);
}

template class indexed_argument_map<char>;
template class indexed_argument_map<char16_t>;

#define KSN_FORMATTERS(Char)                                                           \
  template const abstract_formatter<Char>& formatter<std::basic_string<Char>, Char>(); \
  template const abstract_formatter<Char>& formatter<int, Char>();                     \
  template const abstract_formatter<Char>& formatter<unsigned int, Char>();            \
  template const abstract_formatter<Char>& formatter<unsigned char, Char>();           \
  template const abstract_formatter<Char>& formatter<double, Char>()
KSN_FORMATTERS(char);
KSN_FORMATTERS(char16_t);

}  // namespace lib
