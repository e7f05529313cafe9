// The picture, canvases or sound of a layer as text. What is refused leaves the layer as it was; what is taken comes
// out of a second round the same.
#include "stored_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ksn::track_info layer;
  layer.source.frames = 7;
  const ksn::track_info before = layer;
  try {
    ksn::take_stored_content(fuzz::text_of(data, size), layer);
  } catch (const io::exception&) {
    if (!(layer == before)) std::abort();
    return 0;
  }
  if (!ksn::has_stored_content(layer)) std::abort();
  const std::string once = ksn::stored_content(layer);
  ksn::track_info again;
  ksn::take_stored_content(once, again);
  if (ksn::stored_content(again) != once) std::abort();
  return 0;
}
