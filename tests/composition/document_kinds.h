// Documents in memory, in both forms.
#pragma once

#include <sstream>
#include <string>

#include "composition/document_rows.h"
#include "composition/documents/persistence.h"
#include "io/memory_reader.h"
#include "support/streams.h"

namespace support {

// How one kind of document is read, written and listed.
struct composition_kind {
  static constexpr const char* key = "composition";
  static value tree(const document_rows& rows) { return rows.composition({2, 8, 9, 11, 12, 17, 1}); }
  template <class A>
  static void read(A& archive, ksn::composition_view& view) {
    ksn::read_composition(archive, view);
  }
  template <class A>
  static void write(A& archive, const ksn::composition_view& view) {
    ksn::write_composition(archive, view);
  }
};

struct settings_kind {
  static constexpr const char* key = "kestrin.settings";
  static value tree(const document_rows& rows) { return rows.settings(); }
  template <class A>
  static void read(A& archive, ksn::composition_view& view) {
    view.settings.creation_timestamp = 5;
    ksn::read_settings(archive, view);
  }
  template <class A>
  static void write(A& archive, const ksn::composition_view& view) {
    ksn::write_settings(archive, view);
  }
};

template <class Kind>
std::string written(const ksn::composition_view& view, bool xml) {
  if (xml) {
    std::ostringstream text;
    io::xml_oarchive archive(text);
    archive.write_header();
    Kind::write(archive, view);
    archive.write_footer();
    return text.str();
  }
  byte_writer writer;
  io::binary_oarchive archive(writer);
  archive.write_header();
  Kind::write(archive, view);
  return writer.bytes;
}

// Returns the number of bytes after the document.
template <class Kind>
std::size_t read_document(const std::string& bytes, bool xml, ksn::composition_view& view) {
  if (xml) {
    std::istringstream text(bytes);
    io::xml_iarchive archive(text, "text");
    archive.read_header();
    Kind::read(archive, view);
    archive.read_footer();
    return 0;
  }
  io::memory_reader reader(bytes.data(), bytes.size());
  io::binary_iarchive archive(reader);
  archive.read_header();
  Kind::read(archive, view);
  return static_cast<std::size_t>(reader.left());
}

}  // namespace support
