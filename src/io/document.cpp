#include "io/document.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>
#include <system_error>

#include "io/buffered.h"
#include "io/exceptions.h"
#include "io/file.h"
#include "io/packer.h"
#include "io/part_file.h"
#include "lib/from_string.h"
#include "lib/paths.h"

namespace io {
namespace {

long long file_bytes(const std::string& path) {
  std::error_code ignored;
  const auto size = std::filesystem::file_size(path, ignored);
  return ignored ? 0 : static_cast<long long>(size);
}

}  // namespace

bool is_xml_document(const std::string& path) {
  return path.size() >= 4 && lib::to_lower(path.substr(path.size() - 4)) == ".xml";
}

namespace {

void write_whole(const std::string& path, const std::function<void(binary_oarchive&)>& binary,
                 const std::function<void(xml_oarchive&)>& xml) {
  part_file part(path);
  llfile file(part.path(), true);
  if (is_xml_document(path)) {
    std::ostringstream text;
    xml_oarchive archive(text);
    archive.write_header();
    xml(archive);
    archive.write_footer();
    buffered_writer buffer(file);
    std::string_view left = text.view();
    while (!left.empty()) {
      const std::string_view part_of_text = left.substr(0, 1 << 20);
      buffer.write(part_of_text.data(), static_cast<int>(part_of_text.size()));
      left.remove_prefix(part_of_text.size());
    }
    buffer.flush();
  } else {
    packer packed(file);
    buffered_writer buffer(packed);
    binary_oarchive archive(buffer);
    archive.write_header();
    binary(archive);
    buffer.flush();
  }
  // Renamed while it is still open and so locked: nobody else can get hold of the file under its old name.
  file.flush_to_disk();
  part.commit();
}

}  // namespace

void write_document(const std::string& path, const std::function<void(binary_oarchive&)>& binary,
                    const std::function<void(xml_oarchive&)>& xml) {
  // The user knows the document and not its temporary file, and needs the reason and not the call that met it.
  try {
    write_whole(path, binary, xml);
  } catch (const open_error& failure) {
    throw open_error(path, failure.error_number());
  } catch (const write_error& failure) {
    throw write_error(path, failure.error_number());
  }
}

void read_document(const std::string& path, const std::function<void(binary_iarchive&)>& binary,
                   const std::function<void(xml_iarchive&)>& xml) {
  file source(path, "rb");
  if (!is_xml_document(path)) {
    unpacker unpacked(source);
    buffered_reader buffer(unpacked);
    binary_iarchive archive(buffer);
    // The names of long sequences pack to some three bytes each.
    archive.limit_elements((1 << 20) + 16 * file_bytes(path));
    archive.read_header();
    binary(archive);
    return;
  }
  // The text stream and the conversions have failures of their own; the reader of a document gets the path with each.
  try {
    std::ifstream text(path);
    xml_iarchive archive(text, path);
    archive.read_header();
    xml(archive);
    archive.read_footer();
  } catch (const std::ios_base::failure&) {
    throw eof_error(path);
  } catch (const lib::from_string_failed& e) {
    throw invalid_format(path, e.what());
  }
}

}  // namespace io
