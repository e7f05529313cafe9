// Every field both ways.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "command/field_view.h"
#include "img/format.h"
#include "language.h"
#include "support/pictures.h"
#include "support/temp_folder.h"

namespace {

TEST(fields, names_in_the_order_of_print_fields) {
  const std::string color =
      " exposure soft_clip temperature lift gamma gain brightness contrast hue saturation color_space lookup_table"
      " disable_cc";
  const std::string global =
      " timeline wa_begin wa_end time back_color safe_area mask_type mask_size fps zoom pan frame_base global_aspect"
      " apply_transforms_to_mask stereo_view stereo_mode global_volume";
  const std::string layer =
      " name group_id begin in_point out_point length position blend alpha depth opacity fade_in fade_out invert_color"
      " invert_alpha invert_depth auto_update disable_caching pixel_aspect scale_x scale_y flip_x flip_y border"
      " border_color layer_safe_area crop primary_color_key secondary_color_key image_layer_index image_layer"
      " layer_channels target_view volume alpha_source alpha_source_channel alpha_source_range alpha_source_invert"
      " alpha_source_stretch alpha_source_mode alpha_source_channel2";
  const std::string text =
      " text text_align_x text_align_y text_font text_size text_bold text_italic text_color text_outline_color"
      " text_shadow_color text_back_color text_back_cover_layer r3d_resolution r3d_track r3d_preset r3d_kelvin r3d_tint"
      " r3d_iso r3d_flut r3d_color_space r3d_gamma_curve";
  const language tried;
  std::string found;
  for (const auto& field : tried.engine.global_field_table) found += " " + field.name;
  EXPECT_TRUE(found.starts_with(global + color + " repeat ")) << found;
  found.clear();
  for (const auto& field : tried.engine.layer_field_table) found += " " + field.name;
  EXPECT_TRUE(found.starts_with(layer + color + text + " visible ")) << found;
}

// The steps, between "|", set the field: TEXT reads back as it stands, TEXT > READ as something else, and !TEXT is
// refused and changes nothing.
struct row {
  const char* field;
  const char* initial;
  const char* steps;
};

void check(const std::string& scope, const std::vector<row>& rows, const std::string& table) {
  for (const row& r : rows) {
    language tried({"a", "b"});
    tried.composition.doc.tracks[0].source.width = 30;
    tried.composition.doc.tracks[0].source.height = 20;
    const std::string name = scope + ":" + r.field;
    std::string value = r.initial;
    EXPECT_EQ(tried.field(name), value) << name;
    std::istringstream steps(r.steps);
    for (std::string step; std::getline(steps, step, '|');) {
      const bool refused = step.starts_with('!');
      const std::size_t arrow = step.find(" > ");
      const std::string text = step.substr(refused ? 1 : 0, arrow);
      if (!refused) value = arrow == step.npos ? text : step.substr(arrow + 3);
      tried.run({"--" + name + "=" + text});
      EXPECT_EQ(
          tried.errors,
          refused ? strings{"Invalid value \"" + text + "\" for " + table + " field \"" + r.field + "\""} : strings{})
          << name << "=" << text;
      EXPECT_EQ(tried.field(name), value) << name << "=" << text;
      // A value that was read can be set again.
      tried.run({"--" + name + "=" + value});
      EXPECT_EQ(tried.errors, strings{}) << name << "=" << value;
      EXPECT_EQ(tried.field(name), value) << name;
    }
  }
}

constexpr const char* yes_or_no = "1|0|!2|!true|!|!1x";

const std::vector<row> color_rows = {
    {"exposure", "0", "1.5|1,2,-3|0.005 > 0|0.015 > 0.02|!1,2|!nan|!1e300|!1,2,x"},
    {"soft_clip", "0", "0.25|!-1|!1,1,1"},
    {"temperature", "6600", "3200|5000.4 > 5000|!0|!warm"},
    {"lift", "0", "0.01|-0.001,0,0.5|0.0004 > 0"},
    {"gamma", "1", "2.2|1,1,1 > 1|0.5,1,1|!0|!-1"},
    {"gain", "1", "1.25|0|2,1,0.5"},
    {"brightness", "0", "0.125|-0.5"},
    {"contrast", "0", "0.3|-2,0,2"},
    {"hue", "0", "180|-90,0,90|12.5 > 12"},
    {"saturation", "100", "0|120|!-1"},
    {"color_space", "default", "linear|srgb|default|!log|!1"},
    {"lookup_table", "none", "!/no/such.cube|none|!"},
    {"disable_cc", "0", yes_or_no},
};

TEST(fields, of_the_composition) {
  const std::vector<row> rows = {
      {"timeline", "250", "100|5 > 10|-5 > 10| 40 > 40|!40x|!|!1e3|!99999999999"},
      {"wa_begin", "0", "10|-3 > 0|249|250 > 249|900 > 249"},
      {"wa_end", "250", "20|900 > 250|2|1|-7 > 1"},
      {"time", "0", "12.5|-1 > 0|900 > 250|!inf"},
      {"back_color", "black",
       "dark_grey|transparent|255,0,255 > magenta|255,255,255,7 > white|1,2,3|0,0,0 > black|custom > 1,2,3|!0,0|"
       "!0,0,256|!0,0,-1|!grey"},
      {"safe_area", "none", "blue|orange|none|!red"},
      {"mask_type", "transparent", "none|crop|crop_safe|!Crop"},
      {"mask_size", "720,576", "1920,1080|1,65535|!0,5|!5,-1|!65536,1|!5|!5,5,5|!5;5|layer > 30,20"},
      {"fps", "25", "24|23.976 > 23.98|29.97|0.01|!0|!-5|!1e99"},
      {"zoom", "100", "1|400|!0"},
      {"pan", "0,0", "1.5,-2|1e-3,7 > 0.001,7|!1|!1,nan"},
      {"frame_base", "0", "1|0|!2"},
      {"global_aspect", "1.0666667", "1.5|0.9 > 1.5|!x"},
      {"apply_transforms_to_mask", "0", yes_or_no},
      {"stereo_view", "left", "right|both|!middle"},
      {"stereo_mode", "anaglyph", "interlaced|checkerboard|anaglyph_gm|!"},
      {"global_volume", "100", "0|50|!-1"},
      {"repeat", "loop", "none|ping_pong|!once"},
      {"counter_type", "frame", "embedded_keycode|!7"},
      {"selection", "1", "2|1,2|!3|none|2,1 > 1,2"},
      {"resolution", "full", "half|quarter|!eighth"},
      {"view_channels", "rgb", "g_hidden|depth|!red"},
      {"property_panel_tab", "color", "r3d|text|!8"},
      {"vsync_mode", "1", "0|2|!3"},
      {"brush_size", "2", "1|10000|!0"},
      {"brush_color", "255,255,255", "1,2,3,4|!1,2"},
      {"default_fps", "25", "23.976 > 23.98|!0"},
      {"default_text_size", "32", "8|!0"},
  };
  check("global", rows, "global");
  check("global", color_rows, "global");
}

TEST(fields, of_layers) {
  const std::vector<row> rows = {
      {"name", "a", "x y, z=1:2| > a"},
      {"group_id", "0", "7|!-1"},
      {"begin", "0", "-12|30|!3.5"},
      {"length", "1", "50|1|!0"},
      {"out_point", "1", "24|0 > 1"},
      {"in_point", "0", "5 > 0|-5 > 0"},  // of a still, which has one frame
      {"position", "0,0", "-10,20|!1,2,3|!1.5,2"},
      {"blend", "normal", "add|multiply|screen|difference|!over"},
      {"alpha", "ignore", "normal|pm|mask|!none"},
      {"depth", "replace", "ignore|combine|!"},
      {"opacity", "100", "0|55|!101|!-1|!50%"},
      {"fade_in", "0", "10|!-1"},
      {"fade_out", "0", "10|!-1"},
      {"invert_color", "0", yes_or_no},
      {"invert_alpha", "0", yes_or_no},
      {"invert_depth", "0", yes_or_no},
      {"auto_update", "0", yes_or_no},
      {"disable_caching", "0", yes_or_no},
      {"pixel_aspect", "1", "1.0666667|0 > 0.001|-3 > 0.001|!1:1"},
      {"scale_x", "100", "50|1|0 > 1|-50 > 1|!x"},
      {"scale_y", "100", "250|-1 > 1"},
      {"flip_x", "0", yes_or_no},
      {"flip_y", "0", yes_or_no},
      {"border", "0", yes_or_no},
      {"border_color", "58,107,139", "1,2,3|1,2,3,4 > 1,2,3|!red"},
      {"layer_safe_area", "0", yes_or_no},
      {"crop", "none", "1,-2,30,40|none|!1,2,3"},
      {"primary_color_key", "none",
       "0,255,0,48,6|1,2,3,10.6,4 > 1,2,3,11,4|none|!1,2,3|!1,2,300,4,5|!1,2,3,-4,5|!1,2,3,4,5.5"},
      {"secondary_color_key", "none", "9,8,7,6,5"},
      {"image_layer_index", "-1", "-1|!3|!-2"},
      {"image_layer", "", "|!left"},
      {"layer_channels", "rgb", "alpha|r_color|b_grayscale|g_hidden|!red"},
      {"target_view", "both", "left|right"},
      {"volume", "100", "30|!-1"},
      {"alpha_source", "none", "2|'b' > 2|id(102) > 2|-1 > 2|none|!3|!1,2|!x"},
      {"alpha_source_channel", "alpha", "blue|luma|depth|5|6|!3|!8"},
      {"alpha_source_range", "none", "shadows|midtones|highlights|!all"},
      {"alpha_source_invert", "0", yes_or_no},
      {"alpha_source_stretch", "0", yes_or_no},
      {"alpha_source_mode", "replace", "combine|multiply|!add"},
      {"alpha_source_channel2", "alpha", "red|green"},
      {"text", "", "a\\nb\\\\c\\q|\" > \\q|\\x\\ > \\\\x\\\\| > "},
      {"text_align_x", "center", "left|right|!top"},
      {"text_align_y", "middle", "top|bottom|!left"},
      {"text_font", "Arial", "DejaVu Sans|!"},
      {"text_size", "32", "8|!0|!99999999"},
      {"text_bold", "0", yes_or_no},
      {"text_italic", "0", yes_or_no},
      {"text_color", "255,255,255", "1,2,3|1,2,3,4|1,2,3,255 > 1,2,3"},
      {"text_outline_color", "0,0,0", "9,9,9,0"},
      {"text_shadow_color", "0,0,0", "9,9,9,0"},
      {"text_back_color", "none", "1,2,3|1,2,3,4|none|!black"},
      {"text_back_cover_layer", "0", yes_or_no},
      {"r3d_resolution", "half", "full|half_premium|quarter|eighth|5|!6|!1"},
      {"r3d_track", "0", "1|!-1"},
      {"r3d_preset", "clip", "rmd|baseline|raw|!none"},
      {"r3d_kelvin", "5600", "3200|!0"},
      {"r3d_tint", "0", "-5"},
      {"r3d_iso", "800", "320|!0"},
      {"r3d_flut", "0", "3"},
      {"r3d_color_space", "0", "4"},
      {"r3d_gamma_curve", "0", "2"},
      {"visible", "0", yes_or_no},
      {"retime", "1", "2.5|!0"},
  };
  check("1", rows, "layer");
  check("1", color_rows, "layer");
}

TEST(fields, in_and_out_count_from_begin) {
  language tried({"a"});
  tried.composition.doc.tracks[0].source.frames = 100;
  tried.composition.doc.tracks[0].source.type = ksn::source_type::sequence;
  tried.run({"--1:begin=1000", "--1:in_point=10", "--1:out_point=60"});
  EXPECT_EQ(tried.field("1:length"), "50");
  tried.run({"--1:length=20"});
  EXPECT_EQ(tried.field("1:out_point"), "30");
  EXPECT_EQ(tried.field("1:in_point"), "10");
  tried.run({"--1:out_point=5"});
  EXPECT_EQ(tried.field("1:out_point"), "11");
}

TEST(fields, picture_of_a_file_that_holds_several) {
  language tried({"a"});
  tried.composition.doc.tracks[0].source.image_layers = {{}, {2, 1, "left"}, {2, 2, "right"}};
  tried.run({"--image_layer=right"});
  EXPECT_EQ(tried.field("1:image_layer_index"), "2");
  tried.run({"--image_layer_index=1"});
  EXPECT_EQ(tried.field("1:image_layer"), "left");
  tried.run({"--image_layer_index=3", "--image_layer=middle"});
  EXPECT_EQ(tried.errors.size(), 2u);
  EXPECT_EQ(tried.composition.doc.tracks[0].source.image_layer, (img::layer{2, 1, "left"}));
  tried.run({"--image_layer="});
  EXPECT_TRUE(tried.composition.doc.tracks[0].source.image_layer.is_default());
}

TEST(fields, one_channel_of_a_file) {
  const support::temp_folder folder;
  img::save(support::random_picture("BGRA", 4, 2), folder / "a.exr", nullptr, {});
  language tried({"a"});
  ksn::layer_source& source = tried.composition.doc.tracks[0].source;
  source.path = folder / "a.exr";
  source.image_layers = {{}, {2, 1, "A"}};
  tried.run({"--image_layer=G"});
  EXPECT_EQ(tried.field("1:image_layer"), "G");
  EXPECT_EQ(tried.errors, strings{});
  tried.run({"--image_layer=Q"});
  EXPECT_EQ(tried.errors, strings{"Invalid value \"Q\" for layer field \"image_layer\""});
  EXPECT_EQ(source.image_layer, (img::layer{2, -1, "G"}));
}

TEST(fields, lookup_table_of_a_path_is_always_fresh_and_kept_by_name) {
  const support::temp_folder folder;
  const std::string path = folder.path() + "/film look.cube";
  std::ofstream(path) << "LUT_3D_SIZE 2\n0 0 0\n1 0 0\n0 1 0\n1 1 0\n0 0 1\n1 0 1\n0 1 1\n1 1 1\n";
  language tried({"a", "b"});
  tried.run({"--1:lookup_table=" + path});
  EXPECT_EQ(tried.errors, strings{});
  EXPECT_EQ(tried.field("1:lookup_table"), "film look.cube");
  EXPECT_TRUE(tried.composition.doc.tracks[0].look.tf.lookup_table.has_cube());
  EXPECT_EQ(tried.composition.doc.lookup_table_map.count("film look.cube"), 1u);
  const img::lookup_table before = tried.composition.doc.tracks[0].look.tf.lookup_table;
  std::ofstream(path) << "LUT_3D_SIZE 2\n1 1 1\n1 0 0\n0 1 0\n1 1 0\n0 0 1\n1 0 1\n0 1 1\n0 0 0\n";
  tried.run({"--1:lookup_table=" + path});
  EXPECT_FALSE(tried.composition.doc.tracks[0].look.tf.lookup_table == before) << "the file was written again";
  std::ofstream(path) << "rubbish";
  tried.run({"--2:lookup_table=film look.cube", "--global:lookup_table=film look.cube"});
  EXPECT_EQ(tried.errors, strings{});
  EXPECT_TRUE(tried.composition.doc.tracks[1].look.tf.lookup_table.has_cube());
  EXPECT_EQ(tried.field("global:lookup_table"), "film look.cube");
  tried.run({"--1:lookup_table=none"});
  EXPECT_TRUE(tried.composition.doc.tracks[0].look.tf.lookup_table.empty());
  // A file that can't be read is one line with its path, and the layer keeps what it had.
  tried.run({"--2:lookup_table=" + path});
  EXPECT_EQ(tried.errors.size(), 1u);
  EXPECT_EQ(tried.errors.at(0).find("\"" + path + "\": "), 0u);
  EXPECT_TRUE(tried.composition.doc.tracks[1].look.tf.lookup_table.has_cube());
}

TEST(fields, as_a_widget_sees_them) {
  language l({"a", "b"});
  using command::field_view;
  const field_view opacity(l.engine, "opacity");
  const field_view exposure(l.engine, "exposure");
  const field_view position(l.engine, "position");
  const field_view blend(l.engine, "blend");
  const field_view crop(l.engine, "crop");
  const field_view zoom(l.engine, "global:zoom");
  EXPECT_EQ(opacity.number(), 100);
  EXPECT_TRUE(opacity.set_number(250));
  EXPECT_EQ(opacity.number(), 100) << "as far as the field goes";
  EXPECT_TRUE(opacity.set_number(-3.0) && zoom.set_number(-3));
  EXPECT_EQ(opacity.number(), 0);
  EXPECT_EQ(zoom.number(), 1);
  EXPECT_TRUE(exposure.set_number(1.5, 1));
  EXPECT_EQ(l.field("1:exposure"), "0,1.5,0");
  l.run({"--selection=1,2"});
  EXPECT_TRUE(opacity.has_record());
  EXPECT_EQ(opacity.number(), std::nullopt) << "the layers differ";
  EXPECT_EQ(exposure.number(0), 0) << "but not in red";
  EXPECT_TRUE(position.set_number(7.4, 1) && blend.set_text("add") && crop.set_number(30, 2));
  EXPECT_EQ(l.field("1,2:position"), "{0,7},{0,7}");
  EXPECT_EQ(l.field("1,2:blend"), "add,add");
  EXPECT_EQ(crop.text(), "0,0,30,0");
  EXPECT_FALSE(blend.set_text("over") || field_view(l.engine, "global:playing").set_number(1));
  EXPECT_FALSE(field_view(l.engine, "primary_color_key").set_number(300, 0)) << "no byte";
  EXPECT_TRUE(field_view(l.engine, "text").set_text("a\nb"));
  EXPECT_EQ(l.field("1:text"), "a\\nb");
  l.run({"--selection=none"});
  EXPECT_FALSE(opacity.has_record() || opacity.number());
  EXPECT_THROW(field_view(l.engine, "nonsense"), std::invalid_argument);
}

TEST(fields, of_color_are_stored_in_their_own_units) {
  language tried({"a"});
  tried.run({"--exposure=0.5,-1,2", "--lift=0.012", "--gamma=1.5", "--gain=0.9", "--brightness=-0.25", "--contrast=0.1",
             "--soft_clip=0.75", "--temperature=4300", "--hue=10,20,30", "--saturation=90"});
  EXPECT_EQ(tried.errors, strings{});
  img::correction expected;  // blue, green, red
  expected.exposure = {200, -100, 50};
  expected.lift = {12, 12, 12};
  expected.gamma = {150, 150, 150};
  expected.gain = {90, 90, 90};
  expected.brightness = {-250, -250, -250};
  expected.contrast = {10, 10, 10};
  expected.soft_clip = 75;
  expected.temperature = 4300;
  expected.hue = {30, 20, 10};
  expected.saturation = {90, 90, 90};
  EXPECT_EQ(tried.composition.doc.tracks[0].look.tf, expected);
}

}  // namespace
