// Helpers of the fuzz targets of documents.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "composition/documents/persistence.h"
#include "io/exceptions.h"
#include "io/memory_reader.h"
#include "lib/from_string.h"

namespace fuzz {

// Gives the bytes to `read` as an archive of the form that the first one names: 'x' the XML one, any other the binary
// one. Only what archives throw may come out of it; false then.
template <class Read>
bool read_document(const std::uint8_t* data, std::size_t size, const Read& read) {
  if (size == 0) return false;
  try {
    if (data[0] == 'x') {
      std::istringstream text(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
      io::xml_iarchive archive(text, "fuzz.xml");
      archive.read_header();
      read(archive);
      archive.read_footer();
    } else {
      io::memory_reader reader(data + 1, size - 1);
      io::binary_iarchive archive(reader);
      archive.read_header();
      read(archive);
    }
    return true;
  } catch (const io::exception&) {
  } catch (const lib::from_string_failed&) {
  } catch (const std::ios_base::failure&) {
  }
  return false;
}

struct string_writer : io::binary_writer {
  void write(const void* buffer, int count) override {
    bytes.append(static_cast<const char*>(buffer), static_cast<std::size_t>(count));
  }
  void flush() override {}
  const char* name() const override { return "string"; }
  std::string bytes;
};

// The bytes that `write` gives an archive, with a first one that names their form.
template <class Write>
std::string written_document(const Write& write) {
  string_writer target;
  target.bytes = "b";
  io::binary_oarchive archive(target);
  archive.write_header();
  write(archive);
  return target.bytes;
}

}  // namespace fuzz
