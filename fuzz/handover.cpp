// Bytes on the socket of the hand-over, whole and in pieces; what is read is written and read again.
#include <cstdint>
#include <cstdlib>

#include "platform/handover_message.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  platform::handover_parser whole;
  whole.take(bytes);
  platform::handover_parser pieces;
  for (std::size_t at = 0; at < size && pieces.state() == platform::parse_state::incomplete; at += 7) {
    pieces.take(bytes.substr(at, 7));
  }
  if (whole.state() == platform::parse_state::complete) {
    if (pieces.state() != whole.state() || !(pieces.message() == whole.message())) std::abort();
    if (platform::encode_handover(whole.message()) != bytes) std::abort();
  }
  std::vector<platform::answer_record> records;
  platform::answer_parser().take(bytes, records);
  return 0;
}
