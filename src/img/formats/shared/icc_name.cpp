#include "img/formats/shared/icc_name.h"

#include <algorithm>

#include "img/formats/shared/byte_order.h"
#include "img/formats/shared/metadata_text.h"
#include "lib/utf.h"

namespace img {
namespace {

std::string description(std::span<const std::uint8_t> tag) {
  if (tag.size() < 12) return {};
  const std::uint32_t type = be32(tag.data());
  if (type == 0x64657363) {  // `desc`: a length and ASCII text
    const std::size_t count = std::min<std::size_t>(be32(tag.data() + 8), tag.size() - 12);
    const char* text = reinterpret_cast<const char*>(tag.data() + 12);
    return valid_utf8({text, static_cast<std::size_t>(std::find(text, text + count, '\0') - text)});
  }
  if (type == 0x6D6C7563 && tag.size() >= 28) {  // `mluc`: records of language, length and place of UTF-16 text
    const std::size_t length = be32(tag.data() + 20), offset = be32(tag.data() + 24);
    if (offset > tag.size() || length > tag.size() - offset) return {};
    std::u16string text;
    for (std::size_t i = 0; i + 1 < length; i += 2) text += static_cast<char16_t>(be16(tag.data() + offset + i));
    return lib::to_utf8(text);
  }
  return {};
}

}  // namespace

std::string icc_name(std::span<const std::uint8_t> profile) {
  if (profile.size() < 132) return {};
  const std::size_t count = std::min<std::size_t>(be32(profile.data() + 128), (profile.size() - 132) / 12);
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t* entry = profile.data() + 132 + 12 * i;
    if (be32(entry) != 0x64657363) continue;
    const std::size_t offset = be32(entry + 4), size = be32(entry + 8);
    if (offset > profile.size() || size > profile.size() - offset) return {};
    std::string name = description(profile.subspan(offset, size));
    if (name.size() > 200) name = valid_utf8(name.substr(0, 200));
    return name;
  }
  return {};
}

}  // namespace img
