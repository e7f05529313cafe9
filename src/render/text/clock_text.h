// Dates and times by pattern.
#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace render {

// The value of a key of the source `clock`: "date", "time", "longdate", or a pattern of strftime whose every % is
// followed, after a # that leaves out leading zeros, by one of aAbBcdHIjmMpSUwWxXyYzZ%. Nothing for any other key.
std::optional<std::string> clock_text(std::string_view key, std::time_t clock);

}  // namespace render
