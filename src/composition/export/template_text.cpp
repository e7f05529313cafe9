#include "composition/export/template_text.h"

#include <charconv>
#include <cmath>
#include <stdexcept>

namespace ksn {
namespace {

std::string fixed(double number, int decimals) {
  char text[400];
  if (!std::isfinite(number)) number = 0;
  const auto end = std::to_chars(text, text + sizeof text, number, std::chars_format::fixed, decimals).ptr;
  return {text, end};
}

int digits(std::string_view form, std::size_t& i) {
  int number = 0;
  while (i < form.size() && form[i] >= '0' && form[i] <= '9') number = number * 10 + (form[i++] - '0');
  return number;
}

}  // namespace

void template_text::fill(std::string_view form, const value* values, std::size_t count) {
  std::size_t next = 0;
  for (std::size_t i = 0; i < form.size(); ++i) {
    if (form[i] != '%') {
      text_ += form[i];
      continue;
    }
    if (++i < form.size() && form[i] == '%') {
      text_ += '%';
      continue;
    }
    const bool zeros = i < form.size() && form[i] == '0';
    const auto width = static_cast<std::size_t>(digits(form, i));
    int decimals = 6;
    if (i < form.size() && form[i] == '.') decimals = digits(form, ++i);
    const char kind = i < form.size() ? form[i] : '\0';
    const std::size_t type = kind == 's' ? 0 : kind == 'd' ? 1 : kind == 'f' ? 2 : 3;
    if (next == count || values[next].index() != type) throw std::logic_error("Template " + std::string(form));
    const value& filled = values[next++];
    const std::string part = kind == 's'   ? std::string(std::get<std::string_view>(filled))
                             : kind == 'd' ? std::to_string(std::get<int>(filled))
                                           : fixed(std::get<double>(filled), decimals);
    if (part.size() < width) text_.append(width - part.size(), zeros ? '0' : ' ');
    text_ += part;
  }
  if (next != count) throw std::logic_error("Template " + std::string(form));
}

}  // namespace ksn
