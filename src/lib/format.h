// Text with numbered arguments: "{1}", "{2:05d}". The texts come from a catalogue that users edit, so a bad one shows
// its error on screen in place of the argument and nothing ever throws but for want of memory.
#pragma once

#include <string>
#include <type_traits>

namespace lib {

// `Char` is char (UTF-8) or char16_t throughout.
template <class Char>
struct abstract_formatter {
  virtual ~abstract_formatter() = default;
  // Appends the value to `result`. `spec` is a reduced printf form, each piece optional: the flags `-` left, `+` plus
  // sign, `#` base or decimal point, `0` fill with zeros; a width; `.` and a precision; one of d i o x X f e E.
  virtual void format(std::basic_string<Char>& result, const void* value,
                      const std::basic_string<Char>& spec) const = 0;
};

// The stateless formatter of a type: std::basic_string<Char>, int, unsigned int, unsigned char (as a number), double.
template <class T, class Char>
const abstract_formatter<Char>& formatter();

template <class Char>
struct abstract_argument_map {
  virtual ~abstract_argument_map() = default;
  virtual void format(std::basic_string<Char>& result, const std::basic_string<Char>& name,
                      const std::basic_string<Char>& spec) const = 0;
};

template <class Char>
struct argument {
  const void* value;
  const abstract_formatter<Char>* formatter;
};

// Arguments by number, from 1. Holds no values: it lives for the one call that formats with it.
template <class Char>
class indexed_argument_map : public abstract_argument_map<Char> {
 public:
  indexed_argument_map(const argument<Char>* entries, int count) : entries_(entries), count_(count) {}
  void format(std::basic_string<Char>& result, const std::basic_string<Char>& name,
              const std::basic_string<Char>& spec) const override;

 private:
  const argument<Char>* entries_;
  int count_;
};

// `{{` gives `{`; a `}` outside a field is an ordinary character.
std::string format(const std::string& text, const abstract_argument_map<char>& map);
std::u16string format(const std::u16string& text, const abstract_argument_map<char16_t>& map);

// The same with the values in order.
template <class Char, class... T>
requires(!std::is_base_of_v<abstract_argument_map<Char>, T> &&
         ...) std::basic_string<Char> format(const std::basic_string<Char>& text, const T&... values) {
  const argument<Char> entries[] = {{&values, &formatter<T, Char>()}..., {nullptr, nullptr}};
  return lib::format(text, indexed_argument_map<Char>(entries, static_cast<int>(sizeof...(values))));
}

}  // namespace lib
