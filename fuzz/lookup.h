// Helpers of the targets of lookup tables.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "img/lookup/text.h"
#include "img/transfer.h"
#include "io/exceptions.h"

inline int fuzz_lookup(img::lookup_table (*read)(std::string_view, const std::string&), const std::uint8_t* data,
                       std::size_t size) {
  try {
    const img::lookup_table table = read({reinterpret_cast<const char*>(data), size}, "fuzz");
    if (table.has_cube() == table.has_curves()) std::abort();
    img::correction settings;
    settings.lookup_table = table;
    img::image in("BGR", 8, 4, 1), out;
    in.fill(0, 100, 255, 0);
    img::transfer(settings).convert(out, in);
    // A table that was read can be written, and that read again. A large cube takes a hundred times as long as reading
    // a correction that makes one, so only some do.
    if (table.points() > img::lookup_table::cube_points && size % 32 != 0) return 0;
    const std::string text = img::write_cube(table);
    if (img::read_cube(text, "written").has_cube() != table.has_cube()) std::abort();
  } catch (const io::exception&) {
  }
  return 0;
}
