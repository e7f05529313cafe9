// An answer to a browser: a header and the bytes of a text, a picture or a file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/positioned_file.h"
#include "services/http/request.h"

namespace services::http {

struct answer {
  std::string head;                                 // status line and headers
  std::shared_ptr<const std::string> text;          // the body, where it is no file
  std::unique_ptr<platform::positioned_file> file;  // the body, where it is one
  std::int64_t length = 0;                          // of the body, in bytes
};

// The status line and all headers with the empty line at their end.
std::string header(status status, std::int64_t length, std::string_view type, int refresh);
answer error_answer(status status, int refresh = 0);
answer text_answer(std::shared_ptr<const std::string> body, std::string_view type, int refresh);
// A file below the folder `root`, index.html for an empty name. Files elsewhere, links included, are not found; nor
// is anything but a plain file.
answer file_answer(const std::string& root, const std::string& name, int refresh);

}  // namespace services::http
