#include "img/formats/shared/source_file.h"

#include <cerrno>

#include "io/exceptions.h"

namespace img {

source_file::source_file(const std::string& path) : path_(path), file_(path) {
  if (file_.error() != 0) throw io::open_error(path, file_.error());
}

void source_file::read(void* buffer, std::size_t count, std::int64_t offset) const {
  const std::int64_t got = file_.read(buffer, count, offset);
  if (got < 0) throw io::read_error(path_, errno);
  if (got != static_cast<std::int64_t>(count)) throw io::eof_error(path_);
}

void source_file::check_range(std::int64_t offset, std::int64_t count) const {
  if (offset < 0 || count < 0 || offset > size() || count > size() - offset) throw io::eof_error(path_);
}

}  // namespace img
