// Movies as layers: which reader takes them, and what it fills in.
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "composition/documents/persistence.h"
#include "composition/editing/layer_stack.h"
#include "composition/invariants.h"
#include "composition/opening/stereo_pair.h"
#include "composition/opening/versions.h"
#include "composition/test_document.h"
#include "support/numbered_movie.h"

namespace {

using ksn::source_type;
using ksn::track_info;

class movies : public testing::Test {
 protected:
  void SetUp() override {
    if (!support::have_ffmpeg()) GTEST_SKIP() << "no ffmpeg to make movies with";
  }

  support::temp_folder folder;
};

TEST_F(movies, the_container_decides_the_reader) {
  struct row {
    const char* name;
    const char* form;
    source_type expected;
  };
  const row rows[] = {
      {"a.avi", "avi", source_type::avi},
      {"b.mov", "mov", source_type::quicktime},
      {"c.mp4", "mp4", source_type::quicktime},
      {"d.mkv", "matroska", source_type::directshow},
      {"e.ts", "mpegts", source_type::directshow},
      {"f.avi", "matroska", source_type::directshow},  // unreadable as AVI, so the next in the order takes it
      {"g.avi", "mov", source_type::quicktime},
      {"h.mov", "avi", source_type::avi},
      {"i", "mov", source_type::quicktime},
      {"with, comma \\A,1.MOV", "mov", source_type::quicktime},
  };
  for (const row& r : rows) {
    ASSERT_TRUE(support::encode_numbers(folder / "made", 12, std::string("-c:v mpeg4 -q:v 3 -f ") + r.form)) << r.name;
    std::filesystem::rename(folder / "made", folder / r.name);
    support::document c;
    ASSERT_TRUE(c.add(folder / r.name, false, false, false)) << r.name;
    EXPECT_TRUE(c.errors.empty()) << c.errors.front();
    const track_info& track = c.doc.track_at(0);
    EXPECT_EQ(track.source.type, r.expected) << r.name;
    EXPECT_EQ(track.source.frames, 12) << r.name;
    EXPECT_EQ(track.name, r.name);
    EXPECT_EQ(track.source.path, folder / r.name);
    EXPECT_EQ(ksn::broken_invariant(c), "");
  }
}

TEST_F(movies, fill_in_the_layer_and_the_timeline) {
  ASSERT_TRUE(support::encode_numbers(folder / "a.mov", 36,
                                      "-map 0:v -map 1:a -c:v prores_ks -profile:v 4444 -pix_fmt yuva444p10 "
                                      "-c:a pcm_s16le -t 1.5",
                                      "24000/1001", "-f lavfi -i sine=d=1.5"));
  ASSERT_TRUE(support::encode_numbers(folder / "silent.mkv", 300, "-c:v ffv1", "50"));
  support::document c;
  int started = 0;
  c.hooks.start_audio = [&] { ++started; };
  ASSERT_TRUE(c.add(folder / "a.mov", false, false, false));
  const auto facts = [&] {
    const track_info& track = c.doc.track_at(0);
    std::ostringstream text;
    text << track.source.width << "x" << track.source.height << ", " << track.source.fpcs2 << ", " << track.timing.begin
         << " + " << track.in() << " to " << track.out() << ", " << ksn::word_of(track.look.alpha_type)
         << (track.look.visible ? ", visible" : "") << (track.sound.audible ? ", audible" : "")
         << (track.source.has_audio() ? ", sound" : "");
    return text.str();
  };
  EXPECT_EQ(facts(), "160x96, 2398, 0 + 0 to 36, pm, visible, audible, sound");
  EXPECT_EQ(started, 1);
  EXPECT_EQ(c.doc.fpcs, 2398) << "the first layer brings its rate";
  EXPECT_EQ(c.timeline(), "36: 0 to 36, at 0");

  ASSERT_TRUE(c.add(folder / "silent.mkv", false, false, false));
  EXPECT_EQ(facts(), "160x96, 5000, 0 + 0 to 300, ignore, visible");
  EXPECT_EQ(c.doc.fpcs, 2398);
  EXPECT_EQ(c.timeline(), "300: 0 to 36, at 0");

  // A copy shares the open movie, or opens it again; either shows the same frames.
  c.doc.selection = {1};
  ksn::layer_duplicate(c);
  img::image image;
  ASSERT_TRUE(c.doc.track_at(2).source.clip);
  ASSERT_TRUE(c.doc.track_at(2).source.clip->read(7, 0, image));
  EXPECT_EQ(support::number_in(image), 7);
}

TEST_F(movies, another_version_or_eye_brings_its_own_frames_and_sound) {
  ASSERT_TRUE(support::encode_numbers(folder / "left_v1.mov", 12, "-map 0:v -map 1:a -c:v mpeg4 -c:a pcm_s16le", "25",
                                      "-f lavfi -i sine=d=0.48"));
  ASSERT_TRUE(support::encode_numbers(folder / "left_v2.mov", 24, "-c:v mpeg4"));
  std::filesystem::copy_file(folder / "left_v2.mov", folder / "right_v1.mov");
  support::document c;
  ASSERT_TRUE(c.add(folder / "left_v1.mov", false, false, false));
  const auto expect = [&](int layer, const std::string& name, int frames, bool sound) {
    const track_info& track = c.doc.track_at(layer);
    EXPECT_EQ(track.source.path, folder / name);
    EXPECT_EQ(track.source.frames, frames) << name;
    EXPECT_EQ(track.source.has_audio(), sound) << name;
    EXPECT_TRUE(track.source.clip) << name;
  };
  ksn::layer_next_version(c);
  expect(0, "left_v2.mov", 24, false);
  ksn::layer_next_version(c);
  expect(0, "left_v1.mov", 12, true);
  ASSERT_TRUE(ksn::add_other_stereo_view(c));
  expect(0, "right_v1.mov", 24, false);
  expect(1, "left_v1.mov", 12, true);
  EXPECT_EQ(ksn::broken_invariant(c), "");
}

// A document that is opened where its movie is not keeps what the layer was, through another save.
TEST_F(movies, one_that_is_away_is_there_again_later) {
  ASSERT_TRUE(support::encode_numbers(folder / "a.mov", 12, "-c:v mpeg4 -q:v 3 -f mov"));
  support::document c;
  ASSERT_TRUE(c.add(folder / "a.mov", false, false, false));
  c.doc.track_at(0).look.opacity = 40;
  for (const char* name : {"a.ksncomp", "a.xml"}) {
    ksn::save_composition(c, folder / name);
    const std::string saved = support::read_file(folder / name);
    std::filesystem::rename(folder / "a.mov", folder / "elsewhere");
    support::document without;
    ksn::load_composition(without, folder / name, false);
    EXPECT_EQ(without.doc.track_at(0).source.type, source_type::none);
    EXPECT_EQ(without.errors, std::vector<std::string>{'"' + (folder / "a.mov") + "\": Open error 2 (0x00000002)"});
    ksn::save_composition(without, folder / name);
    EXPECT_EQ(support::read_file(folder / name), saved);
    std::filesystem::rename(folder / "elsewhere", folder / "a.mov");
    ksn::load_composition(without, folder / name, false);
    EXPECT_EQ(without.doc.track_at(0).source.type, source_type::quicktime);
    EXPECT_TRUE(without.doc.track_at(0).source.clip);
  }
}

}  // namespace
