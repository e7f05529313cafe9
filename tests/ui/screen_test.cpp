// The window's picture is the composite in the preview area.
#include "ui/screen.h"

#include <gtest/gtest.h>

#include "save/preview_view.h"
#include "support/fake_clip.h"

namespace {

TEST(screen, the_preview_area) {
  cache::frame_cache cache;
  render::pipeline pipeline(cache, {});
  ksn::state composition;
  composition.doc.tracks.push_back(support::plain_layer(3, "BGRA", 90, 70, {40, 100, 200, 128}));
  composition.doc.tracks.push_back(support::plain_layer(3, "BGR", 200, 30, {9, 8, 7}));
  composition.doc.selection = {0};
  struct row {
    const char* what;
    ksn::target_view_type eyes;
    bool timeline;
    ksn::view_type view;
    ksn::back_color_type background;
    int width, height;
  };
  using enum ksn::target_view_type;
  const row rows[] = {
      {"one eye", left, true, ksn::view_type::rgb, ksn::back_color_type::black, 300, 400},
      {"the other", right, true, ksn::view_type::rgb, ksn::back_color_type::blue, 301, 333},
      {"both", both, true, ksn::view_type::rgb, ksn::back_color_type::black, 300, 400},
      {"a channel", left, true, ksn::view_type::alpha, ksn::back_color_type::black, 300, 400},
      {"a checker", left, true, ksn::view_type::rgb, ksn::back_color_type::transparent, 299, 211},
      {"no timeline", left, false, ksn::view_type::rgb, ksn::back_color_type::black, 300, 400},
      {"no room for the preview", left, true, ksn::view_type::rgb, ksn::back_color_type::black, 300, 5},
      {"one pixel", both, true, ksn::view_type::rgb, ksn::back_color_type::black, 1, 1},
  };
  for (const row& r : rows) {
    composition.view.stereo_view = r.eyes;
    composition.workspace.timeline_visible = r.timeline;
    composition.view.channels = r.view;
    composition.doc.back_color = r.background;
    const render::frame_view view = save::preview_view(composition, r.width, r.height);
    img::image expected;
    render::render_frame(pipeline, composition, expected, view, composition.doc.tm_t, nullptr);
    img::image whole;
    ui::draw_screen(pipeline, composition, composition.doc.tm_t, whole, r.width, r.height, nullptr);
    ASSERT_EQ(whole.width, r.width) << r.what;
    ASSERT_EQ(whole.height, r.height) << r.what;
    const int shown = std::min(view.height, r.height);
    for (int plane = 0; plane < 3; ++plane) {
      for (int y = 0; y < shown; ++y) {
        for (int x = 0; x < r.width; ++x) {
          ASSERT_EQ(whole.row(plane, y)[x], expected.row(plane, y)[x])
              << r.what << ' ' << plane << ' ' << x << ',' << y;
        }
      }
    }
  }
}

TEST(screen, shows_the_marks_of_its_view) {
  ksn::state composition;
  ksn::view& shown = composition.view;
  shown.grid = shown.safe_area_active = shown.mask_transforms_enabled = true;
  EXPECT_EQ(render::output_view(composition.doc, shown).marks, render::view_marks{});
  EXPECT_EQ(save::preview_view(composition, 300, 200).marks,
            (render::view_marks{ksn::mask_type_t::transparent, ksn::safe_area_type_t::blue, true, true}));
  shown.safe_area_active = false;
  EXPECT_EQ(save::preview_view(composition, 300, 200).marks, (render::view_marks{.grid = true}));
}

}  // namespace
