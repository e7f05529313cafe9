// Fields and what stands in their place, at one time and one clock.
#include "render/text/expand.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "support/fake_clip.h"

namespace {

constexpr std::time_t tuesday = 1700000000;  // 2023-11-14 22:13:20 UTC

ksn::track_info named(ksn::track_info track, const std::string& name, int begin) {
  track.name = name;
  track.timing.begin = begin;
  return track;
}

class expand_test : public testing::Test {
 protected:
  expand_test() {
    setenv("TZ", "UTC", 1);
    tzset();
    ksn::track_info plate;
    plate.source.type = ksn::source_type::sequence;
    plate.source.path = "/shows/moth/sh010/";
    plate.source.mask = "plate_v012.####.dpx";
    plate.source.names = {"plate_v012.0995.dpx", "plate_v012.0996.dpx", "plate_v012.0997.dpx"};
    plate.source.frames = 3;
    plate.source.width = 2048;
    plate.source.height = 1556;
    plate.source.version = "v012";
    plate.group_id = 7;
    composition.doc.tracks.push_back(named(plate, "plate", 11));
    composition.doc.tracks.push_back(named(support::plain_layer(5, "BGR", 4, 3, {1, 2, 3}), "late", 100));
    ksn::track_info title;
    title.source.type = ksn::source_type::text;
    title.source.width = 64;
    title.source.height = 32;
    title.group_id = 7;
    title.source.frames = 50;
    composition.doc.tracks.push_back(named(title, "title", 0));
    composition.doc.selection = {0};
    composition.doc.fpcs = 2500;
    composition.doc.mask_size = {1920, 1080};
  }

  std::string expanded(std::string_view text, double time = 12) {
    const render::field_sources from{composition, time, tuesday, [](const ksn::track_info& track) {
                                       auto image = std::make_shared<img::image>("BGR", 8, 1, 1);
                                       if (track.name != "plate") return img::const_image_ptr(image);
                                       image->frame = 1007;
                                       image->timecode = img::make_timecode(10, 20, 30, 4, 0, 1, false);
                                       image->keycode = {2, 32, 123456, 789, 5, 4, 64};
                                       return img::const_image_ptr(image);
                                     }};
    return render::expand_text(text, from);
  }

  ksn::state composition;
};

TEST_F(expand_test, EveryFieldAndItsForms) {
  struct row {
    const char* text;
    const char* expected;
  };
  const row rows[] = {
      {"", ""},
      {"no field, } and all", "no field, } and all"},
      {"{{x}", "{x}"},
      {"{{{mask:width}", "{1920"},
      {"{unknown", "{unknown"},
      {"a {unknown} b", "a {unknown} b"},
      {"{}", "{}"},
      {"{composition:name}", "untitled"},
      {"{composition:names}", "{composition:names}"},
      {"{composition}", "{composition}"},
      {"{mask:width} x {mask:height}", "1920 x 1080"},
      {"{mask:width+1}", "{mask:width+1}"},
      // numbers
      {"{timeline:frame}", "12"},
      {"{timeline:frame,5}", "00012"},
      {"{timeline:frame+1,4}", "0013"},
      {"{timeline:frame-20}", "-8"},
      {"{timeline:frame-20,4}", "-8"},
      {"{timeline:frame,1}", "12"},
      {"{timeline:frame,40}", "0000000000000012"},
      {"{timeline:frame+}", "{timeline:frame+}"},
      {"{timeline:frame,}", "{timeline:frame,}"},
      {"{timeline:frame 5}", "{timeline:frame 5}"},
      {"{timeline:frame+99999999999999999999}", "1000000012"},
      {"{timeline:timecode}", "00:00:00:12"},
      {"{timeline:timecode+25}", "00:00:01:12"},
      // the clock
      {"{clock:date} {clock:time}", "11/14/23 22:13:20"},
      {"{clock:longdate}", "Tuesday, 14 November 2023"},
      {"{clock:%Y-%m-%d %H:%M}", "2023-11-14 22:13"},
      {"{clock:%#d.%#m. 100%%}", "14.11. 100%"},
      {"{clock:at %#I o'clock %p}", "at 10 o'clock PM"},
      {"{clock:%Q}", "{clock:%Q}"},
      {"{clock:%}", "{clock:%}"},
      {"{clock:%#}", "{clock:%#}"},
      {"{clock:plain}", "plain"},
      // layers
      {"{1:name} {1:version} {1:width}x{1:height}", "plate v012 2048x1556"},
      {"{'plate':length,4}", "0003"},
      {"{1:frame} {1:frame+1001,6}", "1 001002"},
      {"{1:fnframe} {1:fnframe+4,6}", "996 001000"},
      {"{1:emframe} {1:emframe-7}", "1007 1000"},
      {"{1:timecode} {1:timecode2}|", "10:20:30:04 |"},
      {"{1:keycode}", "02 32 123456 0789 05"},
      {"{1:edgecode}", "02 32 12 3456 0789+05"},
      {"{3:emframe}{3:keycode}{3:fnframe}|", "|"},
      {"{2:name}|", "|"},       // not active at the time
      {"{9:name}|", "|"},       // not there
      {"{2,1:name}", "plate"},  // the first that is active
      {"{selection:name}", "plate"},
      {"{group(7):name}", "plate"},
      {"{1:no key}", "{1:no key}"},
      {"{1:name+1}", "{1:name+1}"},
      {"{no set:name}", "{no set:name}"},
      // several layers
      {"{*1..3:name}", "plate\nlate\ntitle"},
      {"{*group(7):name}", "plate\ntitle"},
      {"{*1,9,3:name}", "plate\ntitle"},
      {"{*group(5):name}|", "|"},
      {"{*1..3:emframe}|", "1007\n\n|"},
      // parts of a path
      {"{1:path}", "/shows/moth/sh010/plate_v012.0996.dpx"},
      {"{1:path[1]} {1:path[-1]}", "shows plate_v012.0996.dpx"},
      {"{1:path[2:3]}", "moth/sh010"},
      {"{1:path[-3:-2]}", "moth/sh010"},
      {"{1:path[3:99]}", "sh010/plate_v012.0996.dpx"},
      {"{1:path[-99:1]}", "shows"},
      {"{1:path[3:2]}|{1:path[9]}|{1:path[0]}|", "|||"},
      {"{1:path[1}", "{1:path[1}"},
      {"{1:path[a]}", "{1:path[a]}"},
  };
  for (const row& r : rows) EXPECT_EQ(expanded(r.text), r.expected) << r.text;
  composition.file_name = "/shows/moth/comp.v3.ksncomp";
  EXPECT_EQ(expanded("{composition:name}"), "comp.v3");
  EXPECT_EQ(expanded("{1:frame}|{1:fnframe}|", 5), "||");
  EXPECT_EQ(expanded("{2:name}", 103), "late");
}

TEST_F(expand_test, TheResultIsBounded) {
  composition.doc.tracks[0].name.assign(5000, 'n');
  const ksn::track_info wordy = composition.doc.tracks[0];
  for (int i = 0; i < 9; ++i) composition.doc.tracks.push_back(wordy);
  std::string text;
  for (int i = 0; i < 400; ++i) text += "{*1..12:name}";
  EXPECT_EQ(expanded(text).size(), render::longest_expansion);
}

}  // namespace
