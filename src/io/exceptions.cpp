#include "io/exceptions.h"

#include <cstring>

namespace io {

file_error::file_error(std::string source, int error_number)
    : exception(std::move(source), std::strerror(error_number)), error_number_(error_number) {}

}  // namespace io
