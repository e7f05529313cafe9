#include "io/failure.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <new>

#include "io/exceptions.h"

namespace io {
namespace {

std::string line(const std::string& object, const std::string& text) {
  return '"' + object + "\": " + text;
}

bool is_link(const std::string& path) {
  struct stat status;
  return !path.empty() && lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

std::string text_of(const file_error& failure) {
  if (failure.error_number() == 0) return failure.message();
  const std::string why = reason(failure.error_number(), failure.source());
  // A message that is the system's own text says no more than the reason does.
  if (failure.message() == why || failure.message() == std::strerror(failure.error_number())) return why;
  return failure.message() + ": " + why;
}

}  // namespace

std::string reason(int error_number, const std::string& path) {
  switch (error_number) {
    case ENOENT:
      if (is_link(path)) return "The link points to nothing";
      break;
    case ELOOP:
      return "The links lead round in a circle";
    case EWOULDBLOCK:
      return "Another program is writing it";
    case EISDIR:
      return "It is a folder";
    case ESPIPE:
      return "It is a pipe or a device and not a file";
    case ENODATA:
      return "Nobody writes to the pipe";
    case ENXIO:
      return "Nobody reads from the pipe";
    default:
      break;
  }
  return std::strerror(error_number);
}

std::string failure_line(const std::string& object, const char* no_memory) {
  try {
    throw;
  } catch (const exception& failure) {
    return line(failure.source().empty() ? object : failure.source(), failure_text(no_memory));
  } catch (...) {
    return line(object, failure_text(no_memory));
  }
}

std::string failure_text(const char* no_memory) {
  try {
    throw;
  } catch (const file_error& failure) {
    return failure.what() + std::string(": ") + text_of(failure);
  } catch (const exception& failure) {
    return failure.what() + std::string(": ") + failure.message();
  } catch (const std::bad_alloc&) {
    return no_memory;
  } catch (const std::exception& failure) {
    return failure.what();
  } catch (...) {
    return "Unknown failure";
  }
}

}  // namespace io
