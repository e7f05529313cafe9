// Whatever is read holds together within its bounds, and comes out of a second round the same.
#include "composition/invariants.h"
#include "document.h"

namespace {

bool read(const std::uint8_t* data, std::size_t size, ksn::state& document) {
  const bool whole = fuzz::read_document(data, size, [&](auto& archive) { ksn::read_composition(archive, document); });
  ksn::put_within_bounds(document);
  if (!ksn::broken_invariant(document).empty()) std::abort();
  return whole;
}

std::string written(const ksn::state& document) {
  return fuzz::written_document([&](auto& archive) { ksn::write_composition(archive, document); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ksn::state document;
  if (!read(data, size, document)) return 0;
  const std::string once = written(document);
  ksn::state again;
  if (!read(reinterpret_cast<const std::uint8_t*>(once.data()), once.size(), again)) std::abort();
  if (written(again) != once) std::abort();
  return 0;
}
