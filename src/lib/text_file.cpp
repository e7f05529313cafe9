#include "lib/text_file.h"

#include <cstdio>
#include <memory>

namespace lib {

bool read_text_file(const std::string& path, std::string& text) {
  constexpr std::size_t largest = 256 << 20;  // /dev/zero is a file, too
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rbe"), std::fclose);
  if (!file) return false;
  text.clear();
  std::string block(1 << 16, '\0');
  while (const std::size_t count = std::fread(block.data(), 1, block.size(), file.get())) {
    text.append(block, 0, count);
    if (text.size() > largest) return false;
  }
  if (text.starts_with("\xEF\xBB\xBF")) text.erase(0, 3);
  return !std::ferror(file.get());
}

}  // namespace lib
