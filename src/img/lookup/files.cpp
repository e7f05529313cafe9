// Lookup files by their extension.
#include <algorithm>

#include "img/lookup/text.h"
#include "io/exceptions.h"
#include "io/file.h"
#include "io/part_file.h"
#include "lib/paths.h"

namespace img {
namespace {

using reader = lookup_table (*)(std::string_view text, const std::string& source);
using writer = std::string (*)(const lookup_table& table);

struct text_form {
  std::string_view extension;
  reader read;
  writer write;  // null for one that is only read
  bool holds_cube;
  bool holds_curves;
};

constexpr text_form forms[] = {
    {"lut", read_lut, write_lut, false, true},    {"3dl", read_3dl, write_3dl, true, false},
    {"cms", read_cube, write_cms, true, false},   {"cube", read_cube, write_cube, true, true},
    {"csp", read_csp, nullptr, false, false},     {"spi1d", read_spi1d, nullptr, false, false},
    {"spi3d", read_spi3d, nullptr, false, false}, {"cc", read_cdl, nullptr, false, false},
    {"ccc", read_cdl, nullptr, false, false},     {"cdl", read_cdl, nullptr, false, false}};

const text_form& form_of(const std::string& path) {
  const std::string extension = lib::lower_extension(path);
  for (const text_form& form : forms) {
    if (form.extension == extension) return form;
  }
  throw io::invalid_format(path, "Unrecognized file type");
}

// A cube of 256 points a side in full figures is just below this.
constexpr std::size_t largest_file = std::size_t{512} << 20;

std::string whole_text(const std::string& path) {
  io::file file(path, "rb");
  std::string text;
  std::size_t size = 0;
  for (;;) {
    constexpr int piece = 1 << 16;
    if (text.size() < size + piece) text.resize(std::max(size + piece, 2 * text.size()));
    const int count = file.read(text.data() + size, piece);
    size += static_cast<std::size_t>(count);
    if (count < piece) break;
    if (size > largest_file) throw io::invalid_format(path, "Lookup tables of more than 512 MB are not supported");
  }
  text.resize(size);
  return text;
}

}  // namespace

void load_lookup(const std::string& path, lookup_table& table) {
  const text_form& form = form_of(path);
  table = form.read(whole_text(path), path);
}

void save_lookup(const std::string& path, const lookup_table& table) {
  const text_form& form = form_of(path);
  if (table.empty()) throw io::invalid_format(path, "Cannot export an empty lookup table");
  if (form.write == nullptr) {
    throw io::invalid_format(path, "Lookup tables are written as .cube, .3dl, .cms and .lut");
  }
  if (table.has_cube() && !form.holds_cube) {
    throw io::invalid_format(path, "This format does not support 3D lookup tables");
  }
  if (!table.has_cube() && !form.holds_curves) {
    throw io::invalid_format(path, "This format does not support 1D lookup tables");
  }
  const std::string text = form.write(table);
  io::part_file target(path);
  {
    io::file file(target.path(), "wb");
    file.write(text.data(), static_cast<int>(text.size()));
    file.flush();
  }
  target.commit();
}

}  // namespace img
