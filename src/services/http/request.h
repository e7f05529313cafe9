// A browser's request: from the bytes on the socket to a picture, a file or an error.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace services::http {

struct status {
  int code = 200;
  std::string_view text = "OK";
  bool operator==(const status&) const = default;
};

constexpr status ok{200, "OK"};
constexpr status bad_request{400, "Bad request"};
constexpr status bad_path{400, "Bad request path"};
constexpr status bad_size{400, "Bad image size"};
constexpr status not_authorized{401, "Authorization failed"};
constexpr status not_found{404, "Not found"};
constexpr status no_root{500, "Root folder not found"};
constexpr status no_size{500, "Invalid file size"};
constexpr status no_image{500, "Image not available"};

constexpr int largest_picture = 2048;  // pixels, either way
constexpr std::size_t largest_request = 16384;

struct request {
  std::string path;  // as it was sent
  std::string user;  // of "Authorization: Basic" (RFC 7617); empty without one that can be read
  std::string password;
  bool operator==(const request&) const = default;
};

// Takes a request of HTTP/1.0 (RFC 1945) in pieces of any size. Bytes after its end do not count.
class request_parser {
 public:
  enum class state { incomplete, complete, bad };
  state take(std::string_view bytes);
  state now() const { return state_; }
  const request& parsed() const { return request_; }

 private:
  void take_line(std::string_view line);

  std::string text_;         // at most largest_request bytes
  std::size_t line_ = 0;     // begin of the line that is not whole yet
  std::size_t scanned_ = 0;  // bytes that hold no further end of a line
  bool in_headers_ = false;
  state state_ = state::incomplete;
  request request_;
};

// The meaning of a path.
struct target {
  enum class kind { picture, file, error };
  kind what = kind::error;
  status error = bad_path;
  int width = 0;  // of the picture
  int height = 0;
  int refresh = 0;   // seconds after which the browser is to ask again; 0 for never
  std::string name;  // of the file below the root, decoded; empty for the first page
  bool operator==(const target&) const = default;
};

target find_target(std::string_view path);

// Whether a part of a path between slashes begins with a dot. Such files are never given out.
bool has_hidden_component(std::string_view path);

}  // namespace services::http
