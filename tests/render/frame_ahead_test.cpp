#include <gtest/gtest.h>

#include "render/compositor.h"
#include "support/fake_clip.h"

namespace {

// Two layers, the upper one at half opacity, and the picture of frame 1 made while frame 0 is shown.
class frame_ahead_test : public testing::Test {
 protected:
  frame_ahead_test() {
    cache.memory_load = [] { return 0; };
    view.width = 4;
    view.height = 2;
    composition.doc.tracks = {support::plain_layer(9, "BGRA", 4, 2, {10, 20, 30, 200}),
                              support::plain_layer(9, "BGR", 4, 2, {40, 50, 60})};
    upper().look.alpha_type = ksn::alpha_type::normal;
    upper().look.opacity = 50;
    upper().look.tf.exposure = {100, 0, 0};
  }

  ksn::track_info& upper() { return composition.doc.track_at(0); }
  img::image render(double time, render::frame_ahead* made = nullptr) {
    img::image target;
    render::render_frame(pipeline, composition, target, view, time, nullptr, made);
    return target;
  }
  void make(double time) { render::make_ahead(pipeline, composition, view, time, ahead); }
  // Whether the next picture at that time is the one that was made before. It is the right one in any case.
  bool is_taken(double time) {
    const bool made = ahead.picture != nullptr;
    if (made) ahead.picture->row(4, 1)[3] = 77;
    img::image shown = render(time, &ahead);
    EXPECT_FALSE(ahead.picture);
    const bool taken = shown.row(4, 1)[3] == 77;
    if (taken) shown.row(4, 1)[3] = 0;
    const img::image fresh = render(time);
    for (int p = 0; p < 5; ++p) EXPECT_EQ(shown.data[p], fresh.data[p]) << "plane " << p;
    EXPECT_EQ(shown.frame, fresh.frame);
    return taken;
  }

  cache::frame_cache cache;
  render::pipeline pipeline{cache, {}};
  ksn::state composition;
  render::frame_view view;
  render::frame_ahead ahead;
};

TEST_F(frame_ahead_test, is_taken_as_long_as_nothing_it_came_from_has_changed) {
  render(1);
  render(2);
  render(0);
  const img::const_image_ptr shown = pipeline.layer_image(composition, upper(), 0, view.resolution);
  const int made = pipeline.render_count(upper().id);
  make(1);
  ASSERT_TRUE(ahead.picture);
  EXPECT_EQ(pipeline.layer_image(composition, upper(), 0, view.resolution), shown) << "what is shown stays";
  EXPECT_EQ(pipeline.render_count(upper().id), made);
  EXPECT_TRUE(is_taken(1.3)) << "at any time of its frame";

  const std::vector<std::pair<const char*, std::function<void()>>> changes = {
      {"another frame", [] {}},
      {"revision", [&] { composition.touch(); }},
      {"correction",
       [&] {
         upper().look.tf.exposure = {0, 200, 0};
       }},
      {"opacity", [&] { upper().look.opacity = 60; }},
      {"fade", [&] { upper().timing.fade_out = 90; }},
      {"layer", [&] { upper().look.visible = false; }},
      {"view",
       [&] {
         view.offset = {1, 0};
       }},
      {"view's correction",
       [&] {
         view.correction.exposure = {100, 100, 100};
       }},
  };
  for (const auto& [name, change] : changes) {
    SCOPED_TRACE(name);
    render(0);
    make(1);
    ASSERT_TRUE(ahead.picture);
    change();
    EXPECT_FALSE(is_taken(std::string_view(name) == "another frame" ? 2 : 1));
  }
}

TEST_F(frame_ahead_test, is_made_of_what_is_known_and_in_memory) {
  const auto is_made = [&] {
    render(0);
    make(1);
    return ahead.picture != nullptr;
  };
  EXPECT_FALSE(is_made()) << "not in memory";
  EXPECT_EQ(std::static_pointer_cast<support::fake_clip>(upper().source.clip)->reads, 1);
  render(1);
  EXPECT_TRUE(is_made());
  upper().look.alpha_source_id = composition.doc.track_at(1).id;
  EXPECT_FALSE(is_made());
  upper().look.alpha_source_id = 0;
  upper().look.invert_color = true;
  EXPECT_FALSE(is_made());
  upper().look.invert_color = false;
  upper().source.disable_cache = true;
  EXPECT_FALSE(is_made());
  upper().source.disable_cache = false;

  ksn::track_info adjustment;
  adjustment.source.type = ksn::source_type::adjustment;
  adjustment.source.frames = 9;
  adjustment.source.width = 4;
  adjustment.source.height = 2;
  adjustment.look.visible = true;
  adjustment.look.tf.exposure = {0, 0, 100};
  composition.doc.tracks.insert(composition.doc.tracks.begin(), adjustment);
  EXPECT_TRUE(is_made());
  EXPECT_TRUE(is_taken(1));
  composition.doc.track_at(0).source.type = ksn::source_type::text;
  EXPECT_FALSE(is_made());
}

TEST_F(frame_ahead_test, carries_the_value_under_the_pointer) {
  render::composite_probe probe{{1, 1}, false, {}};
  view.probe = &probe;
  render(1);
  const auto wanted = probe.rgba;
  render(0);
  make(1);
  EXPECT_NE(probe.rgba, wanted);
  EXPECT_TRUE(is_taken(1));
  EXPECT_EQ(probe.rgba, wanted);
  EXPECT_TRUE(probe.inside);
  render(0);
  make(1);
  probe.at = {2, 1};
  EXPECT_FALSE(is_taken(1));
}

}  // namespace
