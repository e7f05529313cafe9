// The recent lists and the place of the window, both always XML. An 'r' in front means the lists.
#include "composition/documents/recent_items.h"
#include "composition/documents/window_file.h"
#include "document.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  std::string bytes(reinterpret_cast<const char*>(data), size);
  const bool lists = bytes[0] == 'r';
  bytes[0] = 'x';
  fuzz::read_document(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(), [&](auto& archive) {
    if constexpr (!std::decay_t<decltype(archive)>::binary) {
      if (lists) {
        ksn::read_recent(archive);
      } else {
        ksn::read_window_placement(archive);
      }
    }
  });
  return 0;
}
