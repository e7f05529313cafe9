#include "composition/persistence.h"

#include <gtest/gtest.h>

#include <sstream>

#include "composition/document.h"
#include "composition/invariants.h"
#include "composition/recent_items.h"
#include "io/exceptions.h"
#include "io/memory_reader.h"
#include "lib/from_string.h"

namespace {

using support::document;
using support::temp_folder;

struct byte_writer : io::binary_writer {
  std::string bytes;
  void write(const void* buffer, int count) override {
    bytes.append(static_cast<const char*>(buffer), static_cast<std::size_t>(count));
  }
  void flush() override {}
  const char* name() const override { return "bytes"; }
  byte_writer& number(int value) {
    write(&value, 4);
    return *this;
  }
  byte_writer& real(double value) {
    write(&value, 8);
    return *this;
  }
  byte_writer& flags(int count, char value = 0) {
    bytes.append(static_cast<std::size_t>(count), value);
    return *this;
  }
  byte_writer& list(int count) {
    bytes += "[n]\x1a";
    return number(count);
  }
};

void read(const std::string& bytes, ksn::composition_view& view) {
  io::memory_reader reader(bytes.data(), bytes.size());
  io::binary_iarchive archive(reader);
  archive.read_header();
  ksn::read_composition(archive, view);
}

// A composition without layers as an older writer left it, up to where versions begin to differ.
byte_writer old_head(int version, int view = 9) {
  byte_writer w;
  w.bytes = "LSB\x1a";
  w.number(4).number(version);
  w.number(view).number(4).flags(1, 1).number(2).number(3).number(640).number(480);
  w.flags(1, 1).number(6).flags(2, 0).number(1).number(2400).flags(1, 1);
  w.number(100).number(5).number(50).real(7.5).number(200).real(1.5).real(-2.5);
  w.list(0);
  if (version >= 4) {
    w.list(0);
  } else {
    w.number(0);
  }
  return w.number(3).flags(1, 1).real(0.25).real(0.75).number(2).number(1).flags(1, 0);
}

void fill(document& d) {
  d.view = ksn::view_type::luma;
  d.back_color = ksn::back_color_type::custom;
  d.back_custom_color = {255, 1, 2, 3};
  d.mask_size = {640, 480};
  d.grid = d.can_drop_frames = d.pp_visible = d.aspect_enabled = true;
  d.forward = d.infobar_visible = d.timeline_visible = false;
  d.repeat = ksn::repeat_type::ping_pong;
  d.fpcs = 2997;
  d.tm_n = 300;
  d.tm_f = 3;
  d.tm_l = 200;
  d.tm_t = 12.5;
  d.zoom_factor2 = 50;
  d.pan_position = {1.5, -2.25};
  d.vars = {{"shot", "a < b & \"c\""}};
  d.stereo_view = ksn::stereo_view_type::checkerboard;
  std::vector<double> curve(img::lookup_table::curve_entries, 0.5);
  d.lookup_table_map["warm.lut"].set_1d(curve, true);
  ksn::track_info& first = d.put("plate", 5, 4);
  first.tf.exposure = {1, 2, 3};
  first.tf.soft_clip = 40;
  first.tf.lookup = "warm.lut";
  first.tf.lookup_table.set_1d(curve, true);
  first.text = "H\xC3\xA9 \xF0\x9F\x8E\xAC";
  first.layers = {{0, -1, "main"}, {2, 1, "Z"}, {2, 2, "A"}};
  first.layer = {2, 2, "A"};
  first.versions = {"v1", "v2"};
  first.version = "v2";
  first.retime = 0.5;
  first.crop_wh = {10, 20};
  first.rcs.kelvin = 3200;
  first.volume = 70;
  const int first_id = first.id;
  ksn::track_info& second = d.put_still("matte");
  second.alpha_source_id = first_id;
  second.alpha_source_range = ksn::alpha_source_range_type::midtones;
  second.ck_primary = {true, {255, 9, 8, 7}, 11, 12};
  d.selection = {1};
  d.track_max = 2;
}

void expect_same(const ksn::state& a, const ksn::state& b) {
  EXPECT_EQ(a.view, b.view);
  EXPECT_EQ(a.back_color, b.back_color);
  EXPECT_EQ(a.back_custom_color, b.back_custom_color);
  EXPECT_EQ(a.mask_size, b.mask_size);
  EXPECT_EQ(a.grid, b.grid);
  EXPECT_EQ(a.forward, b.forward);
  EXPECT_EQ(a.repeat, b.repeat);
  EXPECT_EQ(a.fpcs, b.fpcs);
  EXPECT_EQ(a.tm_n, b.tm_n);
  EXPECT_EQ(a.tm_f, b.tm_f);
  EXPECT_EQ(a.tm_l, b.tm_l);
  EXPECT_EQ(a.tm_t, b.tm_t);
  EXPECT_EQ(a.pan_position, b.pan_position);
  EXPECT_EQ(a.selection, b.selection);
  EXPECT_EQ(a.vars, b.vars);
  EXPECT_EQ(a.stereo_view, b.stereo_view);
  EXPECT_EQ(a.lookup_table_map, b.lookup_table_map);
  EXPECT_EQ(a.infobar_visible, b.infobar_visible);
  ASSERT_EQ(a.track_count(), b.track_count());
  for (int i = 0; i < a.track_count(); ++i) {
    const ksn::track_info& x = a.track_at(i);
    const ksn::track_info& y = b.track_at(i);
    EXPECT_EQ(x.id, y.id);
    EXPECT_EQ(x.source_type, y.source_type);
    EXPECT_EQ(x.path, y.path);
    EXPECT_EQ(x.names, y.names);
    EXPECT_EQ(x.begin, y.begin);
    EXPECT_EQ(x.retime, y.retime);
    EXPECT_EQ(x.tf, y.tf);
    EXPECT_EQ(x.text, y.text);
    EXPECT_EQ(x.layer, y.layer);
    EXPECT_EQ(x.layers, y.layers);
    EXPECT_EQ(x.versions, y.versions);
    EXPECT_EQ(x.crop_wh, y.crop_wh);
    EXPECT_EQ(x.rcs, y.rcs);
    EXPECT_EQ(x.volume, y.volume);
    EXPECT_EQ(x.alpha_source_id, y.alpha_source_id);
    EXPECT_EQ(x.alpha_source_range, y.alpha_source_range);
    EXPECT_EQ(x.ck_primary, y.ck_primary);
    EXPECT_EQ(x.default_name, y.default_name);
  }
}

TEST(persistence, a_composition_comes_back_the_same_in_both_forms) {
  for (const char* name : {"/shot.ksncomp", "/shot.XML"}) {
    SCOPED_TRACE(name);
    const temp_folder folder;
    document written;
    fill(written);
    ksn::save_composition(written, folder.path() + name);
    document found;
    ksn::load_composition(found, folder.path() + name, false);
    expect_same(written, found);
    EXPECT_EQ(ksn::broken_invariant(found), "");
  }
}

TEST(persistence, pictures_are_in_binary_files_only) {
  const temp_folder folder;
  document written;
  ksn::track_info& layer = written.put_still("kept", ksn::source_type::clipboard_image);
  layer.clipboard_image = std::make_shared<img::image>("BGR", 8, 2, 1);
  layer.clipboard_image->fill(10, 20, 30, 0);
  layer.clipboard_image->metadata["a"] = "b";
  for (const char* name : {"/a.ksncomp", "/a.xml"}) ksn::save_composition(written, folder.path() + name);
  document found;
  ksn::load_composition(found, folder.path() + "/a.ksncomp", false);
  ASSERT_TRUE(found.track_at(0).clipboard_image);
  EXPECT_EQ(*found.track_at(0).clipboard_image->row(2, 0), 30);
  EXPECT_EQ(found.track_at(0).clipboard_image->metadata, layer.clipboard_image->metadata);
  ksn::load_composition(found, folder.path() + "/a.xml", false);
  EXPECT_EQ(found.track_at(0).source_type, ksn::source_type::none);
  EXPECT_FALSE(found.track_at(0).clipboard_image);
}

TEST(persistence, older_compositions_have_the_values_of_their_version) {
  ksn::composition_view view;
  read(old_head(0, 13).bytes, view);
  EXPECT_EQ(view.view, ksn::view_type::rgb) << "13 is no view";
  EXPECT_EQ(view.tm_l, 50);
  EXPECT_EQ(view.pan_position, (math::pointd{1.5, -2.5}));
  EXPECT_FALSE(view.aspect_enabled);
  EXPECT_EQ(view.selection, std::set<int>{0});

  // Version 7 has a bool behind the aspect and two at its end, version 8 has none of them.
  for (const int version : {7, 8}) {
    byte_writer w = old_head(version);
    w.flags(1, 1).real(1.5);
    if (version == 7) w.flags(1, 0);
    w.number(2).number(11).number(12).number(13);
    w.number(0).flags(4, 20);  // the first colour of the file states its version, 0
    w.flags(4, 30);
    w.flags(5, 1).real(0.5).real(0.5).flags(1, 1).flags(1, 1);
    if (version == 7) w.flags(2, 0);
    ksn::composition_view found;
    read(w.bytes, found);
    EXPECT_EQ(found.resolution, ksn::cache_resolution_type::quarter);
    EXPECT_EQ(found.brush_spacing, 13);
    EXPECT_EQ(found.brush_color, (lib::color{20, 20, 20, 20}));
    EXPECT_TRUE(found.mask_transforms_enabled);
    w.bytes.pop_back();
    EXPECT_THROW(read(w.bytes, found), io::eof_error) << version;
  }
}

// Every prefix and every changed bit is refused with an error of the family or gives a document that holds together.
TEST(persistence, broken_files_cost_one_exception) {
  document written;
  written.put("plate", 0, 2);
  written.put_still("matte").layers = {{0, -1, "main"}};
  {
    const temp_folder folder;
    ksn::save_composition(written, folder.path() + "/a.xml");
    const std::string xml = support::read_file(folder / "a.xml");
    for (std::size_t size = 0; size < xml.size(); size += 7) {
      std::istringstream text(xml.substr(0, size));
      ksn::composition_view view;
      try {
        io::xml_iarchive reader(text, "a.xml");
        reader.read_header();
        ksn::read_composition(reader, view);
        reader.read_footer();
      } catch (const io::exception&) {
      } catch (const lib::from_string_failed&) {
      } catch (const std::ios_base::failure&) {
      }
      document held;
      ksn::put_within_bounds(view);
      static_cast<ksn::composition_view&>(held) = view;
      ASSERT_EQ(ksn::broken_invariant(held), "") << size;
    }
  }
  std::string whole = old_head(12).bytes;
  for (std::size_t size = 0; size < whole.size(); ++size) {
    ksn::composition_view view;
    EXPECT_THROW(read(whole.substr(0, size), view), io::exception) << size;
  }
  // A count of two billion layers, of which none is there.
  byte_writer huge = old_head(12);
  const std::size_t at = huge.bytes.find("[n]") + 4;
  huge.bytes.replace(at, 4, std::string("\xff\xff\xff\x7f", 4));
  ksn::composition_view view;
  EXPECT_THROW(read(huge.bytes, view), io::exception);
}

TEST(persistence, a_file_that_cannot_be_written_leaves_the_old_one) {
  const temp_folder folder;
  document d;
  d.put("plate");
  const std::string path = folder.path() + "/a.ksncomp";
  ksn::save_composition(d, path);
  const std::string before = support::read_file(folder / "a.ksncomp");
  std::filesystem::create_directory(path + ".part");
  d.put("more");
  EXPECT_THROW(ksn::save_composition(d, path), io::exception);
  EXPECT_EQ(support::read_file(folder / "a.ksncomp"), before);
}

TEST(persistence, settings_come_back) {
  const temp_folder folder;
  ksn::composition_view written;
  written.default_cfps = 2398;
  written.default_aspect = {{{720, 576}, 1.5}};
  written.default_text_attr.font = "Mono";
  written.ext_device = 5;
  written.switch_views = true;
  written.aspect = 1.25;
  for (const char* name : {"/kestrin.settings.dat", "/kestrin.settings.xml"}) {
    ksn::save_settings_file(written, folder.path() + name);
    ksn::composition_view found;
    ksn::load_settings_file(found, folder.path() + name);
    EXPECT_EQ(found.default_cfps, 2398);
    EXPECT_EQ(found.fpcs, 2398);
    EXPECT_EQ(found.default_aspect, written.default_aspect);
    EXPECT_EQ(found.default_text_attr, written.default_text_attr);
    EXPECT_EQ(found.ext_device, 5);
    EXPECT_TRUE(found.switch_views);
    EXPECT_EQ(found.aspect, 1.25);
  }
}

TEST(recent_items, newest_first_twenty_at_most_each_once) {
  const temp_folder folder;
  EXPECT_TRUE(ksn::read_recent(folder.path()).empty());
  for (int i = 0; i < 22; ++i) ksn::note_recent(folder.path(), ksn::added_items, {"/" + std::to_string(i)});
  ksn::note_recent(folder.path(), ksn::added_items, {"/5"});
  ksn::note_recent(folder.path(), ksn::opened_items, {"/a", "/b"});
  ksn::recent_lists lists = ksn::read_recent(folder.path());
  ASSERT_EQ(lists["add"].size(), 20u);
  EXPECT_EQ(lists["add"][0].path, "/5");
  EXPECT_EQ(lists["add"][1].path, "/21");
  EXPECT_EQ(lists["add"][19].path, "/2");
  EXPECT_EQ(lists["open"], (std::vector<ksn::recent_item>{{"/b", 0}, {"/a", 0}}));
}

TEST(recent_items, unsaved_documents_come_back_and_the_oldest_goes) {
  const temp_folder folder;
  document d;
  d.put("plate");
  d.file_name = "/else/shot.xml";
  ksn::file_unsaved(folder.path(), d);
  const std::string first = ksn::read_recent(folder.path())["unsaved"].at(0).path;
  EXPECT_TRUE(first.ends_with("/shot.ksncomp")) << first;
  document found;
  ksn::load_composition(found, first, true);
  EXPECT_EQ(found.stack(), d.stack());
  for (int i = 0; i < 20; ++i) ksn::file_unsaved(folder.path(), d);
  EXPECT_EQ(ksn::read_recent(folder.path())["unsaved"].size(), 20u);
  EXPECT_FALSE(std::filesystem::exists(first));
}

}  // namespace
