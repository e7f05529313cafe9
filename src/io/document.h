// Documents as files: an archive of the form that the name asks for, written whole or not at all.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "io/binary_archive.h"
#include "io/xml_archive.h"

namespace io {

// Whether the name ends in ".xml", letters without regard to case: XML then, else binary inside a zlib stream.
bool is_xml_document(const std::string& path);

// Writes `NAME.part`, has it on the disk and renames it, so that a crash or a full disk leaves the old file whole. What
// could not be finished is removed. Fails while another process writes the same document. Throws std::bad_alloc,
// io::open_error and io::write_error with the path and the system's text, and what the bodies throw.
void write_document(const std::string& path, const std::function<void(binary_oarchive&)>& binary,
                    const std::function<void(xml_oarchive&)>& xml);
// A binary document before it is packed, for who writes it later or elsewhere.
std::string document_bytes(const std::function<void(binary_oarchive&)>& binary);
// write_document() of such bytes.
void write_document_bytes(const std::string& path, std::string_view bytes);
// Throws the io family: a text that ends too early is io::eof_error, a value that doesn't convert io::invalid_format.
void read_document(const std::string& path, const std::function<void(binary_iarchive&)>& binary,
                   const std::function<void(xml_iarchive&)>& xml);

// A document that is one value; `key` is its name in XML. A failed read leaves what it got that far.
template <class T>
void save_document(const std::string& path, const char* key, const T& value) {
  const auto body = [&](auto& archive) { archive.field(key, value); };
  write_document(path, body, body);
}
template <class T>
void load_document(const std::string& path, const char* key, T& value) {
  const auto body = [&](auto& archive) { archive.field(key, value); };
  read_document(path, body, body);
}

}  // namespace io
