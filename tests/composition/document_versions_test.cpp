// Documents of every version, in both forms, against tables of what they hold.
#include <gtest/gtest.h>

#include <algorithm>

#include "composition/document_kinds.h"
#include "composition/document_rows.h"

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

template <class Kind>
void expect_read(const file_versions& versions, number_choice choice = number_choice::as_listed) {
  for (const bool xml : {true, false}) {
    const document_rows file{versions, false, xml, choice};
    const document_rows read{versions, true, xml, choice};
    const std::string bytes = xml ? xml_form(Kind::tree(file), Kind::key, versions.archive).text()
                                  : binary_form(Kind::tree(file), versions.archive).bytes();
    const std::string expected =
        xml ? xml_form(Kind::tree(read), Kind::key, 4).text() : binary_form(Kind::tree(read), 4).bytes();
    ksn::composition_view view;
    std::size_t left = 0;
    ASSERT_NO_THROW(left = read_document<Kind>(bytes, xml, view)) << (xml ? "xml" : "binary");
    EXPECT_EQ(left, 0u) << "bytes that nobody read";
    EXPECT_EQ(difference(written<Kind>(view, xml), expected), "") << (xml ? "xml" : "binary");
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
    expect_read<composition_kind>(of_archive(archive));
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
      expect_read<composition_kind>(versions);
    }
  }
}

TEST(document_versions, settings) {
  for (int archive = 0; archive < 4; ++archive) {
    SCOPED_TRACE("archive " + std::to_string(archive));
    expect_read<settings_kind>(of_archive(archive));
  }
  for (int version = 0; version <= 26; ++version) {
    SCOPED_TRACE("version " + std::to_string(version));
    file_versions versions;
    versions.settings = version;
    expect_read<settings_kind>(versions);
  }
}

TEST(document_versions, numbers_outside_their_range) {
  for (const number_choice choice : {number_choice::below, number_choice::above}) {
    expect_read<settings_kind>({}, choice);
    // The source type becomes `none` too, so no layer has anything of its own in the file.
    for (const bool xml : {true, false}) {
      const auto tree = [&](bool as_read) { return document_rows{{}, as_read, xml, choice}.composition({2}); };
      const std::string bytes =
          xml ? xml_form(tree(false), "composition", 4).text() : binary_form(tree(false), 4).bytes();
      const std::string expected =
          xml ? xml_form(tree(true), "composition", 4).text() : binary_form(tree(true), 4).bytes();
      ksn::composition_view view;
      ASSERT_NO_THROW(read_document<composition_kind>(bytes, xml, view));
      EXPECT_EQ(difference(written<composition_kind>(view, xml), expected), "");
    }
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
  const std::string bytes = binary_form(tree, 4).bytes();
  ksn::composition_view view;
  read_document<composition_kind>(bytes, false, view);
  const img::correction& found = view.tracks.at(0).tf;
  EXPECT_EQ(found.color_space, 0) << "3 is no colour space";
  EXPECT_EQ(found.lookup, "old.lut");
  ASSERT_TRUE(found.lookup_table.has_curves());
  EXPECT_EQ(found.lookup_table.curves()[1023], 0.25);
  EXPECT_EQ(found.lookup_table.curves()[1024], 0.5);
  EXPECT_EQ(found.lookup_table.curves()[3071], 0.75);
}

// A later program may add fields at the end of a document: what is known of it is read.
TEST(document_versions, from_the_future) {
  value tree = document_rows{}.composition({2});
  tree.version = 40;
  tree.parts.push_back({"more", integer(1)});
  ksn::composition_view view;
  EXPECT_EQ(read_document<composition_kind>(binary_form(tree, 4).bytes(), false, view), 4u);
  EXPECT_EQ(view.vars["shot"], "a 1");
  EXPECT_THROW(read_document<composition_kind>(binary_form(tree, 5).bytes(), false, view), io::invalid_version);
  EXPECT_THROW(read_document<composition_kind>(xml_form(tree, "composition", 5).text(), true, view),
               io::invalid_version);
}

}  // namespace
