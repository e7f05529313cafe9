// Documents of every version, in both forms, against tables of what they hold.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "composition/document_kinds.h"
#include "composition/document_rows.h"
#include "composition/documents/serialize_image.h"
#include "composition/stored_text.h"

namespace {

using namespace support;

// Where two documents begin to differ.
std::string difference(const std::string& found, const std::string& expected) {
  const auto at = static_cast<std::size_t>(
      std::mismatch(found.begin(), found.end(), expected.begin(), expected.end()).first - found.begin());
  if (at == found.size() && at == expected.size()) return "";
  const std::size_t from = at < 100 ? 0 : at - 100;
  return "at " + std::to_string(at) + ": " + found.substr(from, 160) + "\nexpected: " + expected.substr(from, 160);
}

std::string bytes_of(const value& tree, const char* key, bool xml, int archive = 4) {
  return xml ? xml_form(tree, key, archive).text() : binary_form(tree, archive).bytes();
}

// Reads the file that a table describes and expects to write what the table says of a reader.
template <class Kind>
void expect_read(const document_rows& rows, const std::function<value(const document_rows&)>& tree = Kind::tree) {
  for (const bool xml : {true, false}) {
    SCOPED_TRACE(xml ? "xml" : "binary");
    document_rows file = rows;
    file.xml = xml;
    document_rows read = file;
    read.as_read = true;
    ksn::composition_view view;
    std::size_t left = 0;
    const std::string bytes = bytes_of(tree(file), Kind::key, xml, rows.versions.archive);
    ASSERT_NO_THROW(left = read_document<Kind>(bytes, xml, view));
    EXPECT_EQ(left, 0u) << "bytes that nobody read";
    EXPECT_EQ(difference(written<Kind>(view, xml), bytes_of(tree(read), Kind::key, xml)), "");
  }
}

// A file of the newest versions but for one type.
struct one_type {
  const char* name;
  int file_versions::*version;
  int newest;
};

TEST(document_versions, compositions) {
  for (int archive = 0; archive < 4; ++archive) {
    SCOPED_TRACE("archive " + std::to_string(archive));
    expect_read<composition_kind>({of_archive(archive)});
  }
  const one_type types[] = {
      {"composition", &file_versions::composition, 12},
      {"track", &file_versions::track, 21},
      {"transfer", &file_versions::transfer, 7},
      {"lookup", &file_versions::lookup, 2},
      {"text", &file_versions::text, 1},
      {"image", &file_versions::image, 3},
  };
  for (const one_type& type : types) {
    for (int version = 0; version <= type.newest; ++version) {
      SCOPED_TRACE(type.name + (" " + std::to_string(version)));
      file_versions versions;
      versions.*type.version = version;
      expect_read<composition_kind>({versions});
    }
  }
}

TEST(document_versions, settings) {
  for (int archive = 0; archive < 4; ++archive) {
    SCOPED_TRACE("archive " + std::to_string(archive));
    expect_read<settings_kind>({of_archive(archive)});
  }
  for (int version = 0; version <= 27; ++version) {
    SCOPED_TRACE("version " + std::to_string(version));
    file_versions versions;
    versions.settings = version;
    expect_read<settings_kind>({versions});
  }
}

TEST(document_versions, numbers_outside_their_range) {
  for (const number_choice choice : {number_choice::below, number_choice::above}) {
    const document_rows rows{{}, false, false, choice};
    expect_read<settings_kind>(rows);
    // The source type becomes `none` too, so no layer has anything of its own in the file.
    expect_read<composition_kind>(rows, [](const document_rows& r) { return r.composition({2}); });
  }
}

// Transfers of version 3 whose colour space is 3 hold three curves instead of a named table.
TEST(document_versions, curves_within_a_transfer) {
  file_versions versions;
  versions.transfer = 3;
  value tree = document_rows{versions}.composition({2});
  const auto part = [](value& v, const std::string& key) -> value& {
    return std::find_if(v.parts.begin(), v.parts.end(), [&](const field& f) { return f.key == key; })->content;
  };
  value& transfer = part(part(part(tree, "tracks"), "[0]"), "tf");
  transfer.parts[0].content = integer(3);
  std::vector<value> curves;
  for (const double entry : {0.25, 0.5, 0.75}) curves.push_back(list(std::vector<value>(1024, real(entry))));
  transfer.parts.insert(transfer.parts.begin() + 2, {{"name", text("old.lut")}, {"tables", list(curves)}});
  ksn::composition_view view;
  read_document<composition_kind>(bytes_of(tree, "composition", false), false, view);
  const img::correction& found = view.doc.tracks.at(0).look.tf;
  EXPECT_EQ(found.color_space, 0) << "3 is no colour space";
  for (const auto& [stored, space] : {std::pair{0, 0}, {1, 1}, {100, 1}, {2, 2}, {220, 2}, {180, 0}, {-1, 0}}) {
    EXPECT_EQ(ksn::color_space_of(stored), space) << stored;
  }
  EXPECT_EQ(found.lookup, "old.lut");
  ASSERT_TRUE(found.lookup_table.has_curves());
  EXPECT_EQ(found.lookup_table.curves()[1023], 0.25);
  EXPECT_EQ(found.lookup_table.curves()[1024], 0.5);
  EXPECT_EQ(found.lookup_table.curves()[3071], 0.75);
}

// A cube keeps its grid; only documents that hold another one than 17 points say so in the version of their records.
TEST(document_versions, cubes_of_any_grid) {
  struct row {
    int points;  // of the layer's cube; that in the composition's list has 17
    const char* version;
  };
  for (const row& r : {row{17, "v=\"2\" name=\"lookup_table\""}, row{2, "v=\"3\" name=\"lookup_table\""},
                       row{9, "v=\"3\" name=\"lookup_table\""}}) {
    SCOPED_TRACE(r.points);
    ksn::composition_view view;
    read_document<composition_kind>(bytes_of(document_rows{}.composition({2}), "composition", false), false, view);
    std::vector<std::uint16_t> cube(img::lookup_table::entries_of(r.points));
    for (std::size_t i = 0; i < cube.size(); ++i) cube[i] = static_cast<std::uint16_t>(i % 16384);
    view.doc.tracks.at(0).look.tf.lookup_table.set_3d(cube, true);
    view.doc.lookup_table_map["plain.cube"].set_3d(std::vector<std::uint16_t>(img::lookup_table::cube_entries), false);
    const std::string xml = written<composition_kind>(view, true);
    EXPECT_NE(xml.find(r.version), std::string::npos);
    for (const bool as_xml : {true, false}) {
      const std::string bytes = written<composition_kind>(view, as_xml);
      ksn::composition_view again;
      EXPECT_EQ(read_document<composition_kind>(bytes, as_xml, again), 0u);
      EXPECT_TRUE(again.doc.tracks.at(0).look.tf.lookup_table == view.doc.tracks.at(0).look.tf.lookup_table);
      EXPECT_EQ(again.doc.lookup_table_map.at("plain.cube").points(), 17);
      EXPECT_TRUE(written<composition_kind>(again, as_xml) == bytes);
    }
    EXPECT_EQ(ksn::table_of(ksn::stored_table(view.doc.tracks[0].look.tf.lookup_table)).points(), r.points);
    // Records of version 2 with another grid are of programs in between.
    std::string older = xml;
    for (std::size_t at; (at = older.find("<r v=\"3\" name=\"lookup_table\"")) != std::string::npos;)
      older[at + 6] = '2';
    ksn::composition_view again;
    read_document<composition_kind>(older, true, again);
    EXPECT_EQ(again.doc.tracks.at(0).look.tf.lookup_table.points(), r.points);
  }
}

// A later program may add fields at the end of a document: what is known of it is read.
TEST(document_versions, from_the_future) {
  value tree = document_rows{}.composition({2});
  tree.version = 40;
  tree.parts.push_back({"more", integer(1)});
  ksn::composition_view view;
  EXPECT_EQ(read_document<composition_kind>(bytes_of(tree, "composition", false), false, view), 4u);
  EXPECT_EQ(view.doc.vars["shot"], "a 1");
  for (const bool xml : {false, true}) {
    EXPECT_THROW(read_document<composition_kind>(bytes_of(tree, "composition", xml, 5), xml, view),
                 io::invalid_version);
  }
}

}  // namespace
