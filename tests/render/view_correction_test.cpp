// The correction of the view: on what is shown, with exposure before the 8-bit step where one layer is all there is.
#include <gtest/gtest.h>

#include "render/compositor.h"
#include "support/fake_clip.h"

namespace {

class view_correction_test : public testing::Test {
 protected:
  view_correction_test() {
    cache.memory_load = [] { return 0; };
    composition.doc.mask_size = {4, 2};
  }
  // A layer of halves of one value.
  ksn::track_info& add_half(float value, const std::string& path) {
    auto clip = std::make_shared<support::fake_clip>(1, [=](int, int, img::image& image) {
      const std::uint32_t bits = img::float_to_half(value);
      image = support::flat_picture("BGR", 16, {bits, bits, bits}, 4, 2);
      image.set_centre_anchor();
      return true;
    });
    composition.doc.tracks.push_back(support::clip_layer(clip, 4, 2, path));
    return composition.doc.tracks.back();
  }
  int shown(const ksn::view& how, int plane = 2) {
    render::frame_view view = render::output_view(composition.doc, how);
    view.correction = how.tf;
    view.channels = how.channels;
    img::image target;
    render::render_frame(pipeline, composition, target, view, 0.0);
    return target.row(plane, 1)[1];
  }
  static int byte_of(double linear) { return static_cast<int>(std::min(img::srgb_encode(linear), 1.0) * 255.99); }

  cache::frame_cache cache;
  render::pipeline pipeline{cache, {}};
  ksn::state composition;
};

TEST_F(view_correction_test, stopping_down_shows_the_highlights_of_a_single_layer) {
  ksn::track_info& track = add_half(4.0f, "/clips/a.avi");
  ksn::view view;
  EXPECT_EQ(shown(view), 255);
  view.add_exposure(-300);
  EXPECT_EQ(shown(view), byte_of(0.5));
  // After the layer's own correction, whatever that is.
  track.look.tf.gain.fill(50);
  EXPECT_EQ(shown(view), byte_of(0.25));
  track.look.tf.disable_cc = true;
  EXPECT_EQ(shown(view), byte_of(0.5));
  track.look.tf = {};

  // Where it can't act early it acts on the bytes: white becomes an eighth.
  struct hindrance {
    const char* name;
    std::function<void(ksn::track_info&)> change;
  };
  const hindrance hindrances[] = {
      {"blend", [](ksn::track_info& t) { t.look.blend_type = ksn::blend_type::add; }},
      {"a key", [](ksn::track_info& t) { t.look.ck_primary.enabled = true; }},
  };
  for (const hindrance& h : hindrances) {
    const ksn::track_info before = track;
    h.change(track);
    EXPECT_EQ(shown(view), byte_of(0.125)) << h.name;
    track = before;
  }
  add_half(4.0f, "/clips/b.avi");
  EXPECT_EQ(shown(view), byte_of(0.125));
  composition.doc.tracks.back().look.visible = false;
  EXPECT_EQ(shown(view), byte_of(0.5));

  // Other pictures of the same layer have none of it.
  const img::const_image_ptr saved = render::prepare_layer_picture(pipeline, composition, 0, 0.0);
  EXPECT_EQ(saved->row(2, 0)[0], 255);
}

TEST_F(view_correction_test, acts_on_the_finished_picture_before_channels_and_checker) {
  composition.doc.tracks.push_back(support::plain_layer(1, "BGR", 4, 2, {10, 100, 200}));
  ksn::view view;
  const int plain = shown(view);
  EXPECT_EQ(plain, 200);
  view.tf.gamma.fill(200);
  const int darker = byte_of(img::srgb_decode(200 / 255.0) * img::srgb_decode(200 / 255.0));
  EXPECT_EQ(shown(view), darker);
  view.channels = ksn::view_type::r_grayscale;
  EXPECT_EQ(shown(view, 0), darker);
  view.channels = ksn::view_type::rgb;

  img::lookup_table black;
  black.set_3d(std::vector<std::uint16_t>(img::lookup_table::cube_entries, 512), true);
  view.tf = {};
  view.tf.lookup_table = black;
  EXPECT_EQ(shown(view), 0);
  EXPECT_EQ(shown(ksn::view{}), 200);

  // A saved composite has none of it.
  composition.view.tf.exposure.fill(100);
  EXPECT_EQ(render::output_view(composition.doc, composition.view).correction, img::correction{});

  composition.doc.back_color = ksn::back_color_type::white;
  composition.doc.tracks.clear();
  view.tf = {};
  view.tf.exposure.fill(-100);
  EXPECT_EQ(shown(view), byte_of(0.5));
}

TEST(view, neutral_again_keeps_the_table) {
  ksn::view view;
  EXPECT_TRUE(view.is_neutral());
  view.tf.lookup = "film.cube";
  EXPECT_TRUE(view.is_neutral());
  view.add_exposure(25);
  view.add_gamma(-5);
  EXPECT_EQ(view.tf.exposure, (std::array{25, 25, 25}));
  EXPECT_EQ(view.tf.gamma, (std::array{95, 95, 95}));
  EXPECT_FALSE(view.is_neutral());
  view.make_neutral();
  EXPECT_TRUE(view.is_neutral());
  EXPECT_EQ(view.tf.lookup, "film.cube");
  for (int i = 0; i < 1000; ++i) view.add_gamma(-5);
  EXPECT_GT(view.tf.gamma[0], 0);
}

}  // namespace
