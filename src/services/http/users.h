// Who may look: the users of the file `.htpasswd`.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace services::http {

class users {
 public:
  // Lines of NAME:PASSWORD, or of NAME::SUM with the MD5 of "NAME::PASSWORD" in lower-case hexadecimal digits. Blank
  // lines, lines without a colon and those that begin with `#` or `;` do not count. Of two lines for a name the last
  // one holds.
  static users parse(std::string_view text);

  bool empty() const { return passwords_.empty(); }
  // With no users everybody is let in. How long it takes does not tell how much of a password was right.
  bool admit(const std::string& name, std::string_view password) const;

 private:
  std::map<std::string, std::string> passwords_;  // by name, as they stand in the file
};

}  // namespace services::http
