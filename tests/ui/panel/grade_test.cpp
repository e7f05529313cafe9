// Lift, gamma and gain that are asked for by a colour: what the correction makes of it then, and the way from a click
// on the picture to the numbers.
#include "ui/panel/grade.h"

#include <cmath>

#include "save/preview_view.h"
#include "ui/panel/board.h"
#include "ui/panel/picker.h"

namespace {

using ui::panel::grade_goal;
using ui::panel::linear_color;

class grading : public support::board {
 protected:
  // Clicks a field's swatch and then the picture.
  void pick(const std::string& name, math::point on_picture) {
    for (const auto& one : panel->open_page().widgets()) {
      if (one.made_from->kind != ui::panel::widget::color || one.made_from->field != name) continue;
      click(panel->page_place(at()).at(one.box.right - 6, (one.box.top + one.box.bottom) / 2));
    }
    ASSERT_TRUE(input.focus()) << name;
    click(on_picture);
  }
};

// A linear colour after a correction, by the table that pictures go through.
std::array<double, 3> corrected(const linear_color& color, const img::correction& tf) {
  img::image pixel("BGR", 16, 1, 1);
  for (int plane = 0; plane < 3; ++plane) {
    pixel.row<std::uint16_t>(plane, 0)[0] =
        img::float_to_half(static_cast<float>(color[static_cast<std::size_t>(2 - plane)]));
  }
  img::correction settings = tf;
  settings.color_space = 1;
  img::float_image out;
  img::transfer(settings).convert_float(out, pixel, false);
  return {out.data[2][0], out.data[1][0], out.data[0][0]};
}

TEST_F(grading, a_colour_becomes_what_is_wanted) {
  struct row {
    const char* field;
    grade_goal goal;
    linear_color color;
  };
  const row rows[] = {
      {"lift", grade_goal::black, {0.1, 0.05, 0.02}},   {"lift", grade_goal::neutral, {0.1, 0.05, 0.02}},
      {"gain", grade_goal::white, {0.5, 0.7, 0.9}},     {"gain", grade_goal::neutral, {0.5, 0.7, 0.9}},
      {"gamma", grade_goal::neutral, {0.3, 0.35, 0.4}},
  };
  for (const row& r : rows) {
    for (const bool graded_before : {false, true}) {
      img::correction tf;
      if (graded_before) {
        tf.lift = {10, 20, -10};
        tf.gain = {110, 95, 120};
        tf.gamma = {120, 90, 100};
      }
      const std::array<double, 3> values = ui::panel::graded(r.field, r.goal, r.color, tf);
      std::array<int, 3>& stored = std::string(r.field) == "lift"   ? tf.lift
                                   : std::string(r.field) == "gain" ? tf.gain
                                                                    : tf.gamma;
      const double scale = std::string(r.field) == "lift" ? 1000 : 100;
      for (std::size_t c = 0; c < 3; ++c) stored[2 - c] = static_cast<int>(std::rint(values[c] * scale));
      // Before the gamma the points are exact; a grey is one after lift and gain, or after the gamma that was asked
      // for.
      img::correction seen = tf;
      if (std::string(r.field) != "gamma") seen.gamma = {100, 100, 100};
      const std::array<double, 3> out = corrected(r.color, seen);
      const double wanted = r.goal == grade_goal::black ? 0 : r.goal == grade_goal::white ? 1 : out[1];
      for (std::size_t c = 0; c < 3; ++c) EXPECT_NEAR(out[c], wanted, 0.006) << r.field << ' ' << c << graded_before;
      EXPECT_TRUE(r.goal != grade_goal::neutral || out[1] > 0.02) << "as bright as before, not black";
    }
  }
  // A grade that says nothing about an end changes nothing.
  img::correction tf;
  EXPECT_EQ(ui::panel::graded("lift", grade_goal::black, {1, 1, 1}, tf), (std::array<double, 3>{0, 0, 0}));
  EXPECT_EQ(ui::panel::graded("gain", grade_goal::white, {0, 0, 0}, tf), (std::array<double, 3>{1, 1, 1}));
  EXPECT_EQ(ui::panel::graded("gamma", grade_goal::neutral, {0, 1, 1}, tf), (std::array<double, 3>{1, 1, 1}));
}

TEST_F(grading, from_a_click_on_the_picture_or_the_clipboard) {
  composition.doc.mask_size = {90, 70};
  ksn::track_info& layer = add_layer();  // blue 40, green 100, red 200
  layer.look.alpha_type = ksn::alpha_type::ignore;
  img::image picture;
  const auto look = [&] {
    composition.view.zoom_factor2 = 400;
    render::render_frame(pipeline, composition, picture, save::preview_view(composition, size.x, size.y), 0);
  };
  look();
  const math::point middle{470, 363};
  drawn_texts();
  const auto from_menu = [&](const char* field, const char* key) {
    menu_answers = {text(key)};
    click(find(field), ui::mouse_button::right);
  };
  from_menu("gain", "panel.set_white_point");
  ASSERT_TRUE(input.focus()) << "waits for a colour";
  input.key_down(escape);
  EXPECT_EQ(field("gain"), "1");
  from_menu("gain", "panel.set_white_point");
  click(middle);
  EXPECT_FALSE(input.focus());
  const double red = 1 / img::srgb_decode(200 / 255.0);
  const double green = 1 / img::srgb_decode(100 / 255.0);
  double r = 0, g = 0, b = 0;
  ASSERT_EQ(std::sscanf(field("gain").c_str(), "%lf,%lf,%lf", &r, &g, &b), 3);
  EXPECT_NEAR(r, red, 0.01);
  EXPECT_NEAR(g, green, 0.01);
  composition.undo();
  EXPECT_EQ(field("gain"), "1");
  clipboard = "not a colour";
  click(find("lift"), ui::mouse_button::right);
  EXPECT_EQ(
      std::count_if(menu.begin(), menu.end(), [](const auto& entry) { return !entry.text.empty() && !entry.enabled; }),
      2);
  clipboard = "10 20 30";
  from_menu("lift", "panel.paste_black_point");
  EXPECT_EQ(field("lift").substr(0, 1), "-");
  from_menu("lift", "panel.reset_lift");
  EXPECT_EQ(field("lift"), "0");

  // The swatch of a colour key takes the layer's own colour, whatever the correction does to it.
  composition.workspace.pp_tab = 5;
  field("exposure");
  engine.set_field("exposure", "1");
  look();
  drawn_texts();
  for (const char* key : {"primary_color_key", "secondary_color_key"}) click(find(key));  // switches it on
  pick("primary_color_key", middle);
  EXPECT_EQ(field("primary_color_key").substr(0, 11), "200,100,40,");
  composition.doc.set_back_color({255, 9, 8, 7});
  pick("secondary_color_key", {30, 30});
  EXPECT_EQ(field("secondary_color_key").substr(0, 6), "9,8,7,") << "beside the layer";
}

TEST_F(grading, swatches_take_what_the_picture_shows) {
  composition.doc.mask_size = {90, 70};
  add_layer().look.alpha_type = ksn::alpha_type::ignore;
  composition.new_text_layer();
  composition.view.zoom_factor2 = 400;
  composition.workspace.pp_tab = 4;
  drawn_texts();
  for (const char* name : {"text_color", "text_outline_color"}) {
    pick(name, {470, 363});
    EXPECT_EQ(field(name).substr(0, 10), "200,100,40") << name;
  }
}

}  // namespace
