// Templates in the manner of printf, filled without regard to the locale.
#pragma once

#include <string>
#include <string_view>
#include <variant>

namespace ksn {

class template_text {
 public:
  using value = std::variant<std::string_view, int, double>;

  // Appends `form` with its places filled in their order: %s, %d, %f, each with a width, zeros or a precision as printf
  // has them; %% is a percent sign. A number that is not finite is 0. Throws std::logic_error where places and values
  // do not go together.
  template <class... Values>
  void add(std::string_view form, const Values&... values) {
    const value list[] = {value(values)..., value(0)};
    fill(form, list, sizeof...(values));
  }
  std::string take() { return std::move(text_); }

 private:
  void fill(std::string_view form, const value* values, std::size_t count);

  std::string text_;
};

}  // namespace ksn
