// Bytes on the socket of the HTTP server: whole and in pieces they mean the same, and no path leads out of the root.
#include "../tests/support/http_requests.h"

#include <cstdint>
#include <cstdlib>

#include "services/http/users.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using services::http::target;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const support::http_reading whole = support::read_in_pieces(bytes, size + 1);
  for (const std::size_t piece : {1, 2, 3}) {
    if (support::read_in_pieces(bytes, piece) != whole) std::abort();
  }
  for (const std::string_view path : {std::string_view(whole.request.path), bytes}) {
    const target found = services::http::find_target(path);
    if (found.what == target::kind::picture && (found.width < 1 || found.width > services::http::largest_picture ||
                                                found.height < 1 || found.height > services::http::largest_picture)) {
      std::abort();
    }
    const std::string inside = "/" + found.name;
    if (found.what == target::kind::file && inside.find("/.") != inside.npos) std::abort();
    if (found.refresh < 0) std::abort();
  }
  const services::http::users people = services::http::users::parse(bytes);
  if (people.empty() != people.admit("\n", "\n")) std::abort();
  return 0;
}
