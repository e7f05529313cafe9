// A lookup table as text. One that is taken can be used, and comes out of a second round the same.
#include "img/transfer.h"
#include "stored_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  img::correction settings;
  try {
    settings.lookup_table = ksn::table_of(fuzz::text_of(data, size));
  } catch (const io::exception&) {
    return 0;
  }
  img::image in("BGR", 8, 4, 1), out;
  in.fill(0, 100, 255, 0);
  img::transfer(settings).convert(out, in);
  const std::string once = ksn::stored_table(settings.lookup_table);
  if (ksn::stored_table(ksn::table_of(once)) != once) std::abort();
  return 0;
}
