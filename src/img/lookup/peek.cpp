#include "img/lookup/peek.h"

#include <algorithm>
#include <exception>
#include <string_view>

#include "img/lookup/text.h"
#include "io/file.h"
#include "lib/paths.h"

namespace img {
namespace {

constexpr int head_bytes = 16384;

std::string head_of(const std::string& path) {
  io::file file(path, "rb");
  std::string text(head_bytes, '\0');
  text.resize(static_cast<std::size_t>(std::max(file.read(text.data(), head_bytes), 0)));
  return text;
}

bool has_word(std::string_view text, std::string_view wanted) {
  line_scanner lines(text);
  for (std::string_view line; lines.next(line);) {
    if (take_word(line) == wanted) return true;
  }
  return false;
}

lookup_kind kind_by_text(const std::string& path, const std::string& extension) {
  if (extension == "cube") return has_word(head_of(path), "LUT_3D_SIZE") ? lookup_kind::cube : lookup_kind::curves;
  if (extension == "csp") return has_word(head_of(path), "3D") ? lookup_kind::cube : lookup_kind::curves;
  // Short files: a saturation makes a cube of them.
  lookup_table table;
  load_lookup(path, table);
  return table.has_cube() ? lookup_kind::cube : lookup_kind::curves;
}

}  // namespace

lookup_kind peek_lookup(const std::string& path) {
  const std::string extension = lib::lower_extension(path);
  const auto is = [&](std::initializer_list<std::string_view> all) {
    return std::find(all.begin(), all.end(), extension) != all.end();
  };
  if (is({"lut", "spi1d"})) return lookup_kind::curves;
  if (is({"3dl", "cms", "spi3d"})) return lookup_kind::cube;
  if (!is({"cube", "csp", "cc", "ccc", "cdl"})) return lookup_kind::none;
  try {
    return kind_by_text(path, extension);
  } catch (const std::exception&) {
    return lookup_kind::none;
  }
}

}  // namespace img
