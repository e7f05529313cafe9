// Documents that lie, end early or cannot be written.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "composition/document_kinds.h"
#include "composition/invariants.h"
#include "composition/test_document.h"
#include "io/exceptions.h"
#include "io/file.h"
#include "io/packer.h"
#include "lib/from_string.h"

namespace {

using namespace support;

// Reads, and puts within bounds what came of it. Any failure that the readers of archives may have will do, and is
// true.
template <class Kind>
bool expect_error_or_document(const std::string& bytes, bool xml, std::size_t at) {
  ksn::state held;
  bool failed = true;
  try {
    read_document<Kind>(bytes, xml, held);
    failed = false;
  } catch (const io::exception&) {
  } catch (const lib::from_string_failed&) {
    EXPECT_TRUE(xml) << at;
  } catch (const std::ios_base::failure&) {
    EXPECT_TRUE(xml) << at;
  }
  ksn::put_within_bounds(held);
  EXPECT_EQ(ksn::broken_invariant(held), "") << at;
  return failed;
}

template <class Kind>
void break_everywhere(const value& tree, bool xml) {
  const std::string whole = xml ? xml_form(tree, Kind::key, 4).text() : binary_form(tree, 4).bytes();
  const std::size_t step = xml ? 7 : 1;
  for (std::size_t size = 0; size < whole.size(); size += step) {
    EXPECT_TRUE(expect_error_or_document<Kind>(whole.substr(0, size), xml, size)) << size;
  }
  std::string bytes = whole;
  for (std::size_t at = 0; at < whole.size(); at += step) {
    bytes[at] = static_cast<char>(whole[at] ^ 1 << at * 5 % 8);
    expect_error_or_document<Kind>(bytes, xml, at);
    bytes[at] = whole[at];
  }
}

TEST(broken_documents, cut_off_and_changed_anywhere) {
  break_everywhere<composition_kind>(document_rows{}.composition({2, 12, 17}), false);
  break_everywhere<composition_kind>(document_rows{{}, false, true}.composition({2}), true);
  for (const bool xml : {false, true}) break_everywhere<settings_kind>(document_rows{{}, false, xml}.settings(), xml);
}

TEST(broken_documents, counts_that_nothing_backs) {
  const auto most_memory = [] {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss >> 10;  // megabytes
  };
  const long before = most_memory();
  const std::string whole = binary_form(composition_kind::tree({}), 4).bytes();
  int lists = 0;
  for (std::size_t at = 0; (at = whole.find("[n]\x1a", at)) != whole.npos; at += 4, ++lists) {
    ksn::composition_view view;
    std::string bytes = whole;
    bytes.replace(at + 4, 4, std::string("\xff\xff\xff\x7f", 4));
    EXPECT_THROW(read_document<composition_kind>(bytes, false, view), io::exception) << at;
    bytes.replace(at + 4, 4, std::string("\xff\xff\xff\xff", 4));
    EXPECT_THROW(read_document<composition_kind>(bytes, false, view), io::invalid_count) << at;
  }
  EXPECT_GT(lists, 100);
  EXPECT_LT(most_memory() - before, 500) << "megabytes";
}

// Counts that a packed file of a few bytes could well back, with millions of empty names or layers.
TEST(broken_documents, counts_that_only_the_packing_backs) {
  const temp_folder folder;
  const std::string path = folder / "a.ksncomp";
  const std::string whole = binary_form(composition_kind::tree({}), 4).bytes();
  const std::string layers = binary_form(document_rows{}.composition({}), 4).bytes();
  const std::pair<std::string, int> lists[] = {
      {whole.substr(0, whole.find("[n]\x1a\x3", whole.find("1-3"))), 20'000'000},  // names of a sequence
      {layers.substr(0, layers.find("[n]")), 100'000},
  };
  for (const auto& [head, count] : lists) {
    {
      io::file file(path, "wb");
      io::packer packed(file);
      packed.write(head.data(), static_cast<int>(head.size()));
      packed.write("[n]\x1a", 4);
      packed.write(&count, 4);
      packed.flush();
    }
    document found;
    EXPECT_EQ(failure([&] { ksn::load_composition(found, path, false); }),
              "io::invalid_format|" + path + "|More elements than a file of its size can hold");
  }
}

TEST(broken_documents, packed_files_changed_anywhere) {
  const temp_folder folder;
  const std::string path = folder / "a.ksncomp";
  document written;
  for (int i = 0; i < 5; ++i) written.put("plate" + std::to_string(i), i, 20);
  ksn::save_composition(written, path);
  const std::string whole = read_file(path);
  for (std::size_t at = 0; at < whole.size(); at += 5) {
    std::string bytes = whole;
    bytes[at] = static_cast<char>(bytes[at] ^ 1 << at % 8);
    for (const std::string& changed : {bytes, whole.substr(0, at)}) {
      write_file(path, changed);
      document found;
      try {
        ksn::load_composition(found, path, false);
      } catch (const io::exception&) {
      }
      ASSERT_EQ(ksn::broken_invariant(found), "") << at;
    }
  }
}

}  // namespace
