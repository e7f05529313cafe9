// An environment variable for the time of a test.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace support {

// Puts the former value back when it goes. An empty value is as good as none.
class variable {
 public:
  variable(const char* name, const std::string& value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    setenv(name, value.c_str(), 1);
  }
  ~variable() { old_ ? setenv(name_, old_->c_str(), 1) : unsetenv(name_); }
  variable(const variable&) = delete;
  variable& operator=(const variable&) = delete;

 private:
  const char* name_;
  std::optional<std::string> old_;
};

}  // namespace support
