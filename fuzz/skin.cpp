// A bundle of pictures is taken whole or not at all, and what was taken can be drawn.
#include "ui/skin/skin.h"

#include <cstdlib>
#include <string>

#include "io/binary_archive.h"
#include "io/packer.h"

namespace {

class string_writer : public io::binary_writer {
 public:
  std::string bytes;
  void write(const void* buffer, int count) override { bytes.append(static_cast<const char*>(buffer), count); }
  void flush() override {}
  const char* name() const override { return "(string_writer)"; }
};

void try_bundle(const void* data, std::size_t size) {
  ui::skin skin;
  if (!skin.load(data, size) && skin.size() != 0) std::abort();
  img::image target("BGRAZ", 8, 40, 30);
  target.fill(1, 2, 3, 255, 0);
  const math::rectangle clip{3, 3, 35, 25};
  skin.for_each([&](const std::string&, const img::image& image) { ui::draw_image(target, &image, {20, 15}, &clip); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try_bundle(data, size);
  // The sum at the end of a packed stream would keep new inputs from the reader of pictures.
  string_writer out;
  {
    io::packer packed(out);
    packed.write(data, static_cast<int>(size));
    packed.flush();
  }
  try_bundle(out.bytes.data(), out.bytes.size());
  return 0;
}
