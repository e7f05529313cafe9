// The first byte tells the form: 'x' the XML one, any other the binary one. The rest is the document.
#include <cstdlib>
#include <sstream>
#include <string>

#include "composition/invariants.h"
#include "composition/persistence.h"
#include "io/exceptions.h"
#include "io/memory_reader.h"
#include "lib/from_string.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  ksn::state document;
  try {
    if (data[0] == 'x') {
      std::istringstream text(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
      io::xml_iarchive archive(text, "fuzz.xml");
      archive.read_header();
      ksn::read_composition(archive, document);
      archive.read_footer();
    } else {
      io::memory_reader reader(data + 1, size - 1);
      io::binary_iarchive archive(reader);
      archive.read_header();
      ksn::read_composition(archive, document);
    }
  } catch (const io::exception&) {
  } catch (const lib::from_string_failed&) {
  } catch (const std::ios_base::failure&) {
  }
  ksn::put_within_bounds(document);
  if (!ksn::broken_invariant(document).empty()) std::abort();
  return 0;
}
