// Layers that change their source: versions, replacement, the other eye, scans and watches.
#include <gtest/gtest.h>

#include <filesystem>

#include "composition/invariants.h"
#include "composition/opening/replace.h"
#include "composition/opening/stereo_pair.h"
#include "composition/opening/versions.h"
#include "composition/opening/watching.h"
#include "composition/test_document.h"
#include "platform/file_watch.h"

namespace {

using ksn::source_type;
using ksn::track_info;
using support::document;
using support::tga;
using support::write_file;
namespace fs = std::filesystem;

class source_changes : public testing::Test {
 protected:
  support::temp_folder folder;
  document c;

  void files(std::initializer_list<const char*> names) {
    for (const char* name : names) write_file(folder / name, tga());
  }
  track_info& add(const std::string& path, bool single = false) {
    EXPECT_TRUE(c.add(folder / path, single, false, false)) << path;
    return c.doc.track_at(0);
  }
  // Path below the test's folder, and pattern or nothing.
  std::string source(int index = 0) const {
    const track_info& track = c.doc.track_at(index);
    EXPECT_TRUE(track.source.path.starts_with(folder.path() + "/")) << track.source.path;
    return track.source.path.substr(folder.path().size() + 1) + track.source.mask;
  }
  // The sources that the top layer, the only selected one, shows after each of the operations.
  std::string walk(std::initializer_list<void (*)(ksn::state&)> operations) {
    c.doc.selection = {0};
    std::string visited;
    for (const auto run : operations) {
      run(c);
      visited += (visited.empty() ? "" : " ") + source();
    }
    return visited;
  }
  void TearDown() override { EXPECT_EQ(ksn::broken_invariant(c), ""); }
};

TEST(version_token, in_names) {
  std::size_t first = 0;
  std::size_t length = 0;
  // After the last blank the token.
  for (const std::string row :
       {"shot_v2_comp v2", "v012 v012", "V3_x V3", "a_v1_v2 v1", "_v1 v1", "x_v1.tga v1", "x_v1.0001.tga v1"}) {
    const std::string name = row.substr(0, row.find(' '));
    const bool is_file = name.find('.') != std::string::npos;
    EXPECT_TRUE(ksn::find_version_token(name, is_file, first, length)) << row;
    EXPECT_EQ(name.substr(first, length), row.substr(row.find(' ') + 1));
  }
  for (const char* name : {"xv12", "x_v12y", "x_v", "x_v_1", "x-v1", "x_v1.tga", ""}) {
    EXPECT_FALSE(ksn::find_version_token(name, false, first, length)) << name;
  }
  EXPECT_EQ(ksn::replace_version("/v2/a_v2.v2.xv2_v20_v2", "v2", "v10"), "/v10/a_v10.v10.xv2_v20_v10");
}

constexpr auto next = ksn::layer_next_version;
constexpr auto previous = ksn::layer_previous_version;

TEST_F(source_changes, versions_of_a_sequence) {
  files({"shot_v2_comp/a_v2.1.tga", "shot_v2_comp/a_v2.2.tga", "shot_v10_comp/a_v10.1.tga", "shot_v10_comp/a_v10.2.tga",
         "shot_v3_comp/b_v3.1.tga", "shot_v4_compX/a_v4.1.tga"});
  track_info& track = add("shot_v2_comp/a_v2.#.tga");
  EXPECT_EQ(track.source.version, "v2");
  // v3 has no such files.
  EXPECT_EQ(walk({next}), "shot_v10_comp/a_v10.?.tga");
  EXPECT_EQ(track.source.versions, (std::vector<std::string>{"v2", "v3", "v10"})) << "in the order of their numbers";
  EXPECT_EQ(track.source.names, (ksn::frame_names{"a_v10.1.tga", "a_v10.2.tga"}));
  EXPECT_EQ(track.name, "a_v10.#.tga");
  EXPECT_EQ(track.source.version, "v10");
  EXPECT_EQ(c.dropped, std::vector{folder / "shot_v2_comp/"});
  track.name = "mine";
  EXPECT_EQ(walk({next, previous}), "shot_v2_comp/a_v2.?.tga shot_v10_comp/a_v10.?.tga");
  EXPECT_EQ(track.name, "mine");

  fs::remove_all(folder / "shot_v10_comp");
  EXPECT_EQ(walk({next, next}), "shot_v2_comp/a_v2.?.tga shot_v2_comp/a_v2.?.tga") << "nothing else is left";
  ksn::set_version(c, track, "v77");
  EXPECT_EQ(source(), "shot_v77_comp/a_v77.?.tga") << "asked for by name, though it is not there";
  EXPECT_EQ(track.source.frames, 2);
  for (const char* none : {"rubbish", ""}) ksn::set_version(c, track, none);
  EXPECT_EQ(track.source.version, "v77");
}

TEST_F(source_changes, versions_of_stills_and_folders) {
  files({"a_v1.tga", "a_v2.tga", "a_v02.tga", "a_v3.png", "v1/b.tga", "v2/b.tga", "v1/c_v1.tga", "v2/c_v1.tga",
         "all/v1/x.tga", "all/v1/y.tga", "all/v2/z.tga", "all/v3/y.tga"});
  add("a_v1.tga", true);
  EXPECT_EQ(walk({next, next, next}), "a_v2.tga a_v02.tga a_v1.tga");
  EXPECT_EQ(c.doc.track_at(0).name, "a_v1.tga");
  EXPECT_EQ(add("v1/b.tga", true).source.version, "v1");
  EXPECT_EQ(walk({next}), "v2/b.tga");
  add("v1/c_v1.tga", true);
  EXPECT_EQ(walk({next}), "v1/c_v1.tga") << "the file names the version, and there is no c_v2 nor v2/c_v2";
  // A folder above that has the same token by chance, or means it.
  files({"u/v1/s_v1/a_v1.1.tga", "u/v1/s_v1/a_v1.2.tga", "u/v1/s_v2/a_v2.1.tga", "u/v1/s_v2/a_v2.2.tga",
         "u/v1/s_v3/a_v2.1.tga", "u/v1/s_v3/a_v2.2.tga", "u/v4/s_v4/a_v4.1.tga", "u/v1/s_v4/readme.txt"});
  add("u/v1/s_v1/a_v1.#.tga");
  EXPECT_EQ(walk({next, next, previous}), "u/v1/s_v2/a_v2.?.tga u/v1/s_v3/a_v2.?.tga u/v1/s_v2/a_v2.?.tga");
  add("u/v1/s_v1/a_v1.#.tga");
  EXPECT_EQ(walk({previous}), "u/v4/s_v4/a_v4.?.tga");
  add("all/v1");
  EXPECT_EQ(walk({next, next}), "all/v3/* all/v1/*") << "v2 has none of the names";
  c.new_text_layer();
  EXPECT_FALSE(ksn::can_change_version(c));
}

TEST_F(source_changes, replacing) {
  files({"a.1.tga", "a.2.tga", "a.3.tga", "b.1.tga", "b.2.tga", "still.tga"});
  track_info& track = add("a.#.tga");
  track.set_in(1);
  track.timing.begin = 5;
  track.look.opacity = 40;
  const int id = track.id;
  c.doc.selection = {0};
  EXPECT_TRUE(ksn::layer_replace_with(c, folder / "b.1.tga"));
  EXPECT_EQ(source(), "b.?.tga") << "a numbered file is its sequence";
  EXPECT_EQ(track.name, "b.#.tga");
  EXPECT_EQ(track.source.frames, 2);
  EXPECT_EQ(track.timing.begin, 5);
  EXPECT_EQ(track.in(), 1) << "a third of two frames";
  EXPECT_EQ(track.look.opacity, 40);
  EXPECT_EQ(track.id, id);
  track.name = "mine";
  EXPECT_TRUE(ksn::layer_replace_with(c, folder / "still.tga"));
  EXPECT_EQ(track.source.type, source_type::image);
  EXPECT_EQ(track.name, "mine");
  EXPECT_EQ(track.default_name, "still.tga");
  EXPECT_FALSE(ksn::layer_replace_with(c, folder / "gone.tga"));
  EXPECT_EQ(source(), "still.tga");
  EXPECT_EQ(c.errors.size(), 1u);
}

TEST_F(source_changes, neighbours_in_the_folder) {
  constexpr auto forward = ksn::layer_replace_with_next;
  constexpr auto back = ksn::layer_replace_with_previous;
  files({"p1.tga", "p2.tga", "p10.tga", "p3.txt", "s/a.1.tga", "s/a.2.tga", "s/b.1.tga", "s/b.2.tga", "s/c.tga",
         "alone/x.1.tga", "alone/x.2.tga"});
  add("p2.tga", true);
  EXPECT_EQ(walk({forward, forward, forward, back}), "p10.tga p1.tga p2.tga p1.tga");
  EXPECT_EQ(c.doc.track_at(0).source.type, source_type::image);
  add("s/a.#.tga");
  // From a still to the next still.
  EXPECT_EQ(walk({forward, forward, forward}), "s/b.?.tga s/c.tga s/a.1.tga");
  add("alone/x.#.tga");
  EXPECT_EQ(walk({forward}), "alone/x.?.tga");
}

TEST_F(source_changes, the_other_eye_by_path) {
  struct row {
    std::vector<const char*> files;
    const char *path, *other;  // other is empty for none
    bool original_is_left = true;
  };
  const row rows[] = {
      {{"a_left.tga", "a_right.tga"}, "a_left.tga", "a_right.tga"},
      {{"a_left.tga", "a_right.tga"}, "a_right.tga", "a_left.tga", false},
      {{"a_Left.tga", "a_Right.tga"}, "a_Left.tga", "a_Right.tga"},
      {{"LEFT.tga", "RIGHT.tga"}, "LEFT.tga", "RIGHT.tga"},
      {{"left/a.1.tga", "left/a.2.tga", "right/a.1.tga", "right/a.2.tga"}, "left/a.#.tga", "right/a.?.tga"},
      {{"left/left.1.tga", "left/left.2.tga", "right/right.1.tga", "right/right.2.tga"},
       "left/left.#.tga",
       "right/right.?.tga"},
      {{"a_left.tga"}, "a_left.tga", ""},
      {{"a.tga"}, "a.tga", ""},
  };
  for (const row& r : rows) {
    support::temp_folder place;
    document d;
    for (const char* file : r.files) write_file(place / file, tga());
    EXPECT_TRUE(d.add(place / r.path, false, false, true));
    if (!*r.other) {
      EXPECT_EQ(d.doc.track_count(), 1) << r.path;
      EXPECT_EQ(d.doc.track_at(0).look.target_view, ksn::target_view_type::both);
      continue;
    }
    ASSERT_EQ(d.doc.track_count(), 2) << r.path;
    EXPECT_EQ(d.doc.track_at(0).source.path + d.doc.track_at(0).source.mask, place / r.other);
    const auto left = ksn::target_view_type::left;
    const auto right = ksn::target_view_type::right;
    EXPECT_EQ(d.doc.track_at(1).look.target_view, r.original_is_left ? left : right) << r.path;
    EXPECT_EQ(d.doc.track_at(0).look.target_view, r.original_is_left ? right : left) << r.path;
    EXPECT_EQ(d.doc.selection, std::set<int>{1}) << "the original stays selected";
    EXPECT_EQ(ksn::broken_invariant(d), "");
  }
}

TEST_F(source_changes, the_other_eye_by_image_layer) {
  track_info& track = c.put_still("exr");
  track.source.image_layers = {
      {}, {2, 1, "left"}, {2, 2, "right"}, {2, 3, "depth.left"}, {2, 4, "depth.right"}, {2, 5, "x.right"}};
  c.doc.selection = {0};
  EXPECT_FALSE(ksn::add_other_stereo_view(c)) << "no layer chosen";
  c.doc.track_at(0).source.image_layer = c.doc.track_at(0).source.image_layers[5];
  EXPECT_FALSE(ksn::add_other_stereo_view(c)) << "no x.left";
  c.doc.track_at(0).source.image_layer = c.doc.track_at(0).source.image_layers[4];
  EXPECT_TRUE(ksn::add_other_stereo_view(c));
  EXPECT_EQ(c.doc.track_at(0).source.image_layer.name, "depth.left");
  EXPECT_EQ(c.doc.track_at(0).look.target_view, ksn::target_view_type::left);
  EXPECT_EQ(c.doc.track_at(1).look.target_view, ksn::target_view_type::right);
  EXPECT_NE(c.doc.track_at(0).id, c.doc.track_at(1).id);
}

TEST_F(source_changes, a_growing_sequence_takes_the_view_along) {
  struct row {
    const char* change;  // of a sequence of twelve frames
    int wa_end;
    double time;
    const char* timeline_after;
  };
  const row rows[] = {
      {"two more", 12, 11, "14: 0 to 14, at 12"},  // the last frame but one
      {"two more", 12, 10, "14: 0 to 14, at 12"},
      {"two more", 12, 9.5, "14: 0 to 14, at 9.5"},
      {"two more, playing", 12, 11, "14: 0 to 14, at 11"},
      {"two more", 9, 11, "14: 0 to 9, at 11"},  // the work area did not end with the layer
      {"two more, after the timeline", 10, 10, "10: 0 to 10, at 10"},
      {"one less", 12, 11, "12: 0 to 12, at 11"},
  };
  for (const row& r : rows) {
    support::temp_folder place;
    document d;
    const auto frame = [&](int n) { return place / ("r." + std::to_string(n) + ".tga"); };
    for (int n = 11; n <= 22; ++n) write_file(frame(n), tga());
    ASSERT_TRUE(d.add(place / "r.##.tga", false, false, false));
    const std::string_view change = r.change;
    if (change.ends_with("timeline")) d.doc.set_timeline_length(10, true);
    d.doc.tm_l = r.wa_end;
    d.doc.tm_t = r.time;
    d.doc.playing = change.ends_with("playing");
    if (change == "one less") {
      fs::remove(frame(12));
    } else {
      for (const int n : {23, 24}) write_file(frame(n), tga());
    }
    ksn::layer_rescan_sequence(d);
    EXPECT_EQ(d.doc.track_at(0).out(), change == "one less" ? 11 : 14) << r.change;
    EXPECT_EQ(d.timeline(), r.timeline_after) << r.change << " at " << r.time;
    for (const auto& entry : fs::directory_iterator(place.path())) fs::remove(entry);
    ksn::layer_rescan_sequence(d);
    EXPECT_EQ(d.doc.track_at(0).source.names, ksn::frame_names{"r.11.tga"}) << "one frame stays";
    EXPECT_EQ(ksn::broken_invariant(d), "");
  }
}

TEST_F(source_changes, a_watch_scans_again_until_it_ends) {
  const auto watched = [&] {
    ksn::poll_watches(c);
    return ksn::watches_selected(c);
  };
  files({"r/a.1.tga", "r/a.2.tga"});
  track_info& track = add("r/a.#.tga");
  EXPECT_FALSE(watched());
  ksn::layer_watch_sequence(c);
  EXPECT_TRUE(watched());
  EXPECT_EQ(track.source.frames, 2);
  files({"r/a.3.tga"});
  EXPECT_TRUE(watched());
  EXPECT_EQ(track.source.frames, 3);
  ksn::layer_watch_sequence(c);
  files({"r/a.4.tga"});
  EXPECT_FALSE(watched());
  EXPECT_EQ(track.source.frames, 3);

  // It ends with its folder, and can't be started without, which nobody is told.
  for (const bool moved : {false, true}) {
    files({"r/a.1.tga", "r/a.2.tga"});
    ksn::layer_watch_sequence(c);
    ASSERT_TRUE(watched());
    if (moved) {
      fs::rename(folder / "r", folder / "elsewhere");
    } else {
      fs::remove_all(folder / "r");
    }
    EXPECT_FALSE(watched()) << moved;
    ksn::layer_watch_sequence(c);
    EXPECT_FALSE(watched());
  }
  EXPECT_TRUE(c.errors.empty());
  track.source.range = "1-2";
  EXPECT_FALSE(ksn::can_watch_selected(c));
}

TEST(folder_watcher, many_keys_on_one_folder) {
  support::temp_folder folder;
  fs::create_directories(folder / "other");
  platform::folder_watcher watcher;
  for (int key = 1; key <= 300; ++key) EXPECT_TRUE(watcher.watch(key, folder.path())) << "no limit of a user's queues";
  EXPECT_TRUE(watcher.watch(7, folder / "other"));
  write_file(folder / "x", "");
  EXPECT_EQ(watcher.poll().size(), 299u);
  EXPECT_TRUE(watcher.poll().empty());
  for (int key = 2; key <= 300; ++key) {
    if (key != 7) watcher.forget(key);
  }
  write_file(folder / "other/x", "");
  write_file(folder / "y", "");
  EXPECT_EQ(watcher.poll(), (std::vector<int>{1, 7}));
  write_file(folder / "y", "rewritten");
  EXPECT_TRUE(watcher.poll().empty()) << "names only";
  EXPECT_FALSE(watcher.watch(1, folder / "y")) << "no folder";
  EXPECT_FALSE(watcher.watches(1));
  fs::remove_all(folder / "other");
  EXPECT_TRUE(watcher.poll().empty());
  EXPECT_TRUE(watcher.empty());
}

}  // namespace
