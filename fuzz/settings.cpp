// Settings that can be read come out of a second round the same.
#include "document.h"

namespace {

bool read(const std::uint8_t* data, std::size_t size, ksn::composition_view& view) {
  return fuzz::read_document(data, size, [&](auto& archive) { ksn::read_settings(archive, view); });
}

std::string written(const ksn::composition_view& view) {
  return fuzz::written_document([&](auto& archive) { ksn::write_settings(archive, view); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ksn::composition_view view;
  if (!read(data, size, view)) return 0;
  const std::string once = written(view);
  ksn::composition_view again;
  if (!read(reinterpret_cast<const std::uint8_t*>(once.data()), once.size(), again)) std::abort();
  if (written(again) != once) std::abort();
  return 0;
}
