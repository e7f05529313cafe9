// What a lookup file holds, for a list of many.
#pragma once

#include <string>

namespace img {

enum class lookup_kind { none, curves, cube };

// By the extension and the first lines alone. `none` for a file that is no lookup table or can't be read; one whose
// form is refused when it is loaded counts as what it says.
lookup_kind peek_lookup(const std::string& path);

}  // namespace img
