// A failure as the line that the user reads.
#pragma once

#include <string>

namespace io {

// Why the system refused something with `path`, in words; `path` may be empty.
std::string reason(int error_number, const std::string& path);

// Call it where an exception is being handled: "SOURCE": CLASS: MESSAGE of the io family, with the reason in words
// after it where there is one; for everything else "OBJECT": and what it says, with `no_memory` for memory that ran
// out.
std::string failure_line(const std::string& object, const char* no_memory = "Not enough memory");
// The same without what it is about, for who knows that better than the exception does.
std::string failure_text(const char* no_memory = "Not enough memory");

}  // namespace io
