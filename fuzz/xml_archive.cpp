// Bytes as an XML archive. An archive that can be read must come out of a second round the same.
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <sstream>
#include <string>

#include "archive_sample.h"
#include "io/xml_archive.h"

namespace {

support::everything read(const std::string& text) {
  std::istringstream stream(text);
  io::xml_iarchive in(stream, "text");
  support::everything value;
  in.read_header();
  in.field("all", value);
  in.read_footer();
  return value;
}

std::string written(const support::everything& value) {
  std::ostringstream stream;
  io::xml_oarchive out(stream);
  out.write_header();
  out.field("all", value);
  out.write_footer();
  return stream.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  support::everything value;
  try {
    value = read(std::string(reinterpret_cast<const char*>(data), size));
  } catch (const std::exception&) {
    return 0;
  }
  const std::string once = written(value);
  if (written(read(once)) != once) std::abort();
  return 0;
}
