#include <gtest/gtest.h>

#include "save/preview_view.h"
#include "save/save.h"

namespace {

TEST(names, numbered) {
  struct row {
    const char* path;
    int number;
    const char* name;
  };
  const row rows[] = {
      {"out.####.tga", 7, "out.0007.tga"},
      {"out.##.tga", 123, "out.123.tga"},
      {"/a.##/out.tga", 5, "/a.##/out_0005.tga"},  // only the file part counts
      {"out.tga", 12345, "out_12345.tga"},
      {"/a/out.v2.tga", 1, "/a/out.v2_0001.tga"},
      {".tga", 1, "_0001.tga"},
      {"#.tga", 3, "3.tga"},
      {"v#.shot.###.tga", 3, "v#.shot.003.tga"},  // the last run
      {"out.####", 3, "out.0003"},
      {"out 100%.##.tga", 3, "out 100%.03.tga"},
  };
  for (const row& r : rows) EXPECT_EQ(save::numbered_name(r.path, r.number), r.name) << r.path;
}

TEST(names, save_options) {
  struct row {
    const char* text;
    bool taken;
    img::save_options options;  // when taken
    std::string codec = {};
    bool audio = true;
  };
  const row rows[] = {
      {"", true, {0, 90, false}},
      {"compression=uncompressed", true, {1, 90, false}},
      {"compression=rle", true, {2, 90, false}},
      {"compression=zip,quality=1", true, {3, 1, false}},
      {"ignore_alpha=1,quality=100,compression=b44a", true, {4, 100, true}},
      {"quality=50", true, {0, 50, false}},  // what is not listed goes back to its default
      {"ignore_alpha=0", true, {0, 90, false}},
      {"quality=50,quality=60", true, {0, 60, false}},
      {"compression=lzw,bits=16", true, {5, 90, false, 16}},
      {"compression=deflate", true, {3, 90, false}},
      {"bits=8,compression=packbits", true, {2, 90, false, 8}},
      {"codec=h264,audio=0,quality=7", true, {0, 7, false}, "h264", false},
      {"codec=prores_4444,audio=1", true, {}, "prores_4444"},
      {"codec=divx", false, {}},
      {"codec=", false, {}},
      {"audio=2", false, {}},
      {"compression=lzma", false, {}},
      {"bits=12", false, {}},
      {"compression", false, {}},
      {"quality=0", false, {}},
      {"quality=101", false, {}},
      {"quality=5x", false, {}},
      {"ignore_alpha=2", false, {}},
      {"quality=50,", false, {}},
      {",quality=50", false, {}},
      {"quality=50,speed=1", false, {}},
  };
  const save::save_options before{{2, 33, true}, "png", false};
  for (const row& r : rows) {
    save::save_options options = before;
    EXPECT_EQ(save::parse_save_options(r.text, options), r.taken) << r.text;
    const save::save_options taken{r.options, r.codec, r.audio};
    EXPECT_EQ(options, r.taken ? taken : before) << r.text;
  }
}

TEST(screen, the_preview_lies_above_timeline_and_layer_rows) {
  struct row {
    bool timeline, full_screen, fs_timeline;
    int layers, track_max, height, preview;
  };
  const row rows[] = {
      {true, false, false, 0, 5, 800, 726},   // the strip of 74 pixels
      {true, false, false, 3, 5, 800, 666},   // and 20 for each layer
      {true, false, false, 9, 5, 800, 626},   // no more than the user wants
      {true, false, false, 9, 50, 100, 6},    // no more than there is room for: (100 - 74) / 20
      {false, false, false, 3, 5, 800, 797},  // the thin strip of a window without a timeline
      {true, true, false, 3, 5, 800, 800},   {false, true, true, 0, 5, 800, 726},
      {true, false, false, 0, 5, 20, 17},  // no room for the strip: as if it were hidden
      {true, false, false, 0, 5, 70, 1},
  };
  ksn::state composition;
  composition.view.zoom_factor2 = 200;
  composition.view.aspect_enabled = true;
  composition.view.aspect = 1.5;
  composition.view.pan_position = {10.0, -4.25};
  for (const row& r : rows) {
    composition.workspace.timeline_visible = r.timeline;
    composition.workspace.full_screen = r.full_screen;
    composition.workspace.fs_timeline_visible = r.fs_timeline;
    composition.workspace.track_max = r.track_max;
    composition.doc.tracks.resize(static_cast<std::size_t>(r.layers));
    const render::frame_view view = save::preview_view(composition, 940, r.height);
    EXPECT_EQ(view.width, 940);
    EXPECT_EQ(view.height, r.preview) << r.layers << " layers, height " << r.height;
    EXPECT_TRUE(view.for_display);
    EXPECT_DOUBLE_EQ(view.zoom_x, 3.0);
    EXPECT_DOUBLE_EQ(view.zoom_y, 2.0);
    EXPECT_EQ(view.offset, (math::point{30, -8}));  // -8.5 goes to the even
  }
}

}  // namespace
