#include "io/document.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "io/buffered.h"
#include "io/exceptions.h"
#include "io/file.h"
#include "io/memory_writer.h"
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

// Counts of a stream are ints.
void write_all(binary_writer& to, std::string_view bytes) {
  while (!bytes.empty()) {
    const std::string_view part = bytes.substr(0, 1 << 20);
    to.write(part.data(), static_cast<int>(part.size()));
    bytes.remove_prefix(part.size());
  }
}

}  // namespace

bool is_xml_document(const std::string& path) {
  return path.size() >= 4 && lib::to_lower(path.substr(path.size() - 4)) == ".xml";
}

namespace {

void write_text(llfile& file, const std::function<void(xml_oarchive&)>& xml) {
  std::ostringstream text;
  xml_oarchive archive(text);
  archive.write_header();
  xml(archive);
  archive.write_footer();
  buffered_writer buffer(file);
  write_all(buffer, text.view());
  buffer.flush();
}

void write_whole(const std::string& path, const std::function<void(llfile&)>& body) {
  // The user knows the document and not its temporary file, and needs the reason and not the call that met it.
  try {
    part_file part(path);
    llfile file(part.path(), true);
    body(file);
    // Renamed while it is still open and so locked: nobody else can get hold of the file under its old name.
    file.flush_to_disk();
    part.commit();
  } catch (const open_error& failure) {
    throw open_error(path, failure.error_number());
  } catch (const write_error& failure) {
    throw write_error(path, failure.error_number());
  }
}

}  // namespace

void write_document(const std::string& path, const std::function<void(binary_oarchive&)>& binary,
                    const std::function<void(xml_oarchive&)>& xml) {
  write_whole(path, [&](llfile& file) {
    if (is_xml_document(path)) return write_text(file, xml);
    packer packed(file);
    buffered_writer buffer(packed);
    binary_oarchive archive(buffer);
    archive.write_header();
    binary(archive);
    buffer.flush();
  });
}

std::string document_bytes(const std::function<void(binary_oarchive&)>& binary) {
  memory_writer memory;
  binary_oarchive archive(memory);
  archive.write_header();
  binary(archive);
  return std::move(memory.bytes);
}

void write_document_bytes(const std::string& path, std::string_view bytes) {
  write_whole(path, [&](llfile& file) {
    packer packed(file);
    write_all(packed, bytes);
    packed.flush();
  });
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
