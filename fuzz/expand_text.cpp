// Fields of text layers: whatever stands between braces, the result is bounded, and braces that are no field stay.
#include "render/text/expand.h"

#include <cstdlib>

namespace {

ksn::state made_composition() {
  ksn::state composition;
  for (int i = 0; i < 3; ++i) {
    ksn::track_info track;
    track.source.type = ksn::source_type::sequence;
    track.source.path = "/shows/a/";
    track.source.names = {"p.0001.tga", "p.0002.tga"};
    track.source.frames = 2;
    track.timing.begin = i;
    track.name = std::string("layer ") + static_cast<char>('a' + i);
    composition.doc.tracks.push_back(track);
  }
  composition.doc.selection = {1};
  return composition;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const ksn::state composition = made_composition();
  const std::string text(reinterpret_cast<const char*>(data), size);
  const render::field_sources from{composition, 1.5, 1700000000, [](const ksn::track_info&) {
                                     auto image = std::make_shared<img::image>("BGR", 8, 1, 1);
                                     image->frame = 7;
                                     return img::const_image_ptr(image);
                                   }};
  const std::string result = render::expand_text(text, from);
  if (result.size() > render::longest_expansion) std::abort();
  if (text.find('{') == text.npos && result != text) std::abort();
  return 0;
}
