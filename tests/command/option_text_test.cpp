// Option text makes the same document again, whatever stands in it.
#include "command/option_text.h"

#include <gtest/gtest.h>

#include "command/field_values.h"
#include "command/random_document.h"
#include "composition/document_kinds.h"

namespace {

using ksn::source_type;
using ksn::track_info;
using support::program;
using support::ugly;

// Everything that a document file holds but for identities, places of panels and what can't be seen.
std::string contents(const ksn::state& composition) {
  ksn::composition_view view = composition;
  const ksn::counter_type_t counter = view.workspace.counter_type;
  view.workspace = {};
  view.workspace.counter_type = counter;
  view.settings = {};
  if (view.doc.back_color != ksn::back_color_type::custom) view.doc.back_custom_color = {};
  std::map<int, int> numbers;
  int number = 0;
  for (track_info& layer : view.doc.tracks) numbers[layer.id] = ++number;
  for (track_info& layer : view.doc.tracks) {
    layer.id = numbers[layer.id];
    layer.look.alpha_source_id = numbers[layer.look.alpha_source_id];
    layer.source.range.clear();
    layer.source.fpcs = 0;  // the rate of the document where a layer was made; it decides nothing but for clips
  }
  return support::written<support::composition_kind>(view, false);
}

// How the text of a field begins in an option text.
std::string line_of(const program& of, const command::global_field& field) {
  return "\n--" + std::string(of.engine.find_layer_field(field.name) ? "global:" : "") + field.name + "=";
}

// Whatever of a document or of its view can be set by a field stands in the text, and what a field of a layer sets.
TEST(option_text, says_every_field) {
  const std::set<std::string> in_other_words = {"rate", "dimensions", "image_layer"};
  const support::temp_folder folder;
  support::write_frames(folder);
  program p;
  for (int i = 0; i < 2; ++i) p.document.add(folder / "s q.1.tga", false, false, false);
  p.document.new_text_layer(20);
  p.document.put_still("clip.r3d", source_type::r3d);
  p.document.doc.track_at(1).source.image_layers = {{0, -1, "main"}, {1, 0, "Z"}};
  p.document.doc.lookup_table_map["warm.lut"].set_1d(std::vector<double>(3072, 0.5), true);
  p.document.doc.selection = {0};
  std::vector<std::string> wanted;
  for (const command::global_field& field : p.engine.global_field_table) {
    if (!field.set) continue;
    const ksn::document document = p.document.doc;
    const ksn::view view = p.document.view;
    ASSERT_TRUE(support::change(p.engine, p.errors, "global:" + field.name, field.shape)) << field.name;
    if (document != p.document.doc || view != p.document.view) wanted.push_back(line_of(p, field));
  }
  EXPECT_GT(wanted.size(), 30u);
  p.document.doc.mask_size = {100, 90};  // which is no size that a layer will get
  // From the top: text, picture with layers, picture, clip. A field is that of the first one that takes it.
  for (const command::layer_field& field : p.engine.layer_field_table) {
    if (!field.set || in_other_words.contains(field.name)) continue;
    const std::string layer = field.name.starts_with("r3d") ? "4:" : field.name.starts_with("image") ? "2:" : "1:";
    ASSERT_TRUE(support::change(p.engine, p.errors, layer + field.name, field.shape)) << field.name;
    wanted.push_back("\n--" + field.name + "=");
  }
  const std::string text = '\n' + command::option_text(p.engine);
  for (const std::string& line : wanted) EXPECT_NE(text.find(line), text.npos) << line << '\n' << text;
}

TEST(option_text, makes_the_same_document_again) {
  const support::temp_folder folder;
  support::write_frames(folder);
  for (unsigned seed = 1; seed <= 60; ++seed) {
    program first;
    support::random_document(first, seed, folder).fill();
    const std::string text = command::option_text(first.engine);
    program second;
    second.engine.run_command_line("kestrin " + text);
    ASSERT_EQ(second.errors, std::vector<std::string>()) << seed;
    // The tables that layers had are those of the document then.
    first.document.doc.lookup_table_map = second.document.doc.lookup_table_map;
    ASSERT_TRUE(contents(second.document) == contents(first.document)) << seed << '\n' << text;
    EXPECT_EQ(second.document.view, first.document.view) << seed;
  }
}

TEST(option_text, quotes_what_the_language_would_read_otherwise) {
  const std::string rows[] = {ugly,     "",     "\\",     "\\\\", "\"", "\\\"", "// no comment",
                              "--exit", "%%%{", "a\r\nb", "%{%{"};
  for (const std::string& row : rows) {
    program run;
    run.document.put("layer");
    run.document.doc.selection = {0};
    run.engine.run_command_line("kestrin --var:" + command::quoted("x=" + row));
    EXPECT_EQ(run.document.doc.vars["x"], row);
    EXPECT_TRUE(run.errors.empty()) << row;
  }
}

TEST(option_text, copied_layers_come_on_top_with_their_own_alpha_sources) {
  program from;
  for (int i = 0; i < 4; ++i) from.document.new_adjustment_layer(5);
  const auto id = [&](int index) { return from.document.doc.track_at(index).id; };
  from.document.doc.track_at(0).look.alpha_source_id = id(3);
  from.document.doc.track_at(3).look.alpha_source_id = id(0);
  from.document.doc.track_at(2).look.alpha_source_id = id(1);  // which is not copied
  program to;
  to.document.new_text_layer(3);
  to.engine.run_command_line("--ksncmd\n" + command::layers_as_options(from.engine, {0, 2, 3}));
  const ksn::document& doc = to.document.doc;
  ASSERT_EQ(doc.track_count(), 4);
  EXPECT_EQ(doc.track_at(0).look.alpha_source_id, doc.track_at(2).id);
  EXPECT_EQ(doc.track_at(1).look.alpha_source_id, 0);
  EXPECT_EQ(doc.track_at(2).look.alpha_source_id, doc.track_at(0).id);
  EXPECT_EQ(doc.track_at(3).source.type, source_type::text);
  EXPECT_EQ(doc.selection, (std::set<int>{0, 1, 2}));
}

TEST(option_text, options_of_a_source_that_is_away_reach_no_other_layer) {
  program from;
  from.document.put_still("gone").placement.pos = {70, 80};
  program to;
  to.document.new_text_layer(3);
  const std::string before = contents(to.document);
  to.engine.run_command_line("--ksncmd\n" + command::layers_as_options(from.engine, {0}));
  EXPECT_FALSE(to.errors.empty());
  to.document.doc.selection = {0};
  EXPECT_EQ(contents(to.document), before);
}

TEST(option_text, a_correction_replaces_the_one_before) {
  program run;
  run.document.new_adjustment_layer(1);
  run.document.new_adjustment_layer(1);
  img::correction& wanted = run.document.doc.track_at(1).look.tf;
  wanted.exposure = {150, 50, -33};
  wanted.lookup_table.set_3d(std::vector<std::uint16_t>(img::lookup_table::entries_of(2), 7), true);
  wanted.lookup = "x.cube";
  img::correction& other = run.document.doc.track_at(0).look.tf;
  other.hue = {1, 2, 3};
  other.disable_cc = true;
  run.engine.run_command_line("--ksncmd\n" + command::correction_as_options(run.engine, run.document.doc.track_at(1)));
  EXPECT_EQ(run.document.doc.track_at(0).look.tf, run.document.doc.track_at(1).look.tf);
  EXPECT_EQ(run.errors, std::vector<std::string>());
}

TEST(option_text, broken_contents_are_one_line_and_change_nothing) {
  program run;
  run.document.new_brush_layer(1);
  const std::string before = contents(run.document);
  const std::string whole = command::option_text(run.engine);
  for (const char* option :
       {"--layer_content=AAAA", "--layer_content=?", "--new_stored_layer=", "--layer_content=A",
        "--new_stored_layer=eNpjYGBgAAAABAAB", "--lookup_table_data=AAAA,x", "--lookup_table_data=x"}) {
    run.errors.clear();
    run.engine.command_pass({"kestrin", option});
    EXPECT_EQ(run.errors.size(), 1u) << option;
    EXPECT_EQ(contents(run.document), before) << option;
  }
}

TEST(option_text, a_look_is_a_file_that_gives_it_again) {
  const support::temp_folder folder;
  program p;
  track_info clip;
  clip.source.type = source_type::r3d;
  p.document.doc.tracks = {clip, clip, track_info()};
  p.document.doc.selection = {0};
  for (const char* option :
       {"--r3d_kelvin=3200", "--r3d_tint=-5", "--r3d_preset=raw", "--r3d_gamma_curve=7", "--r3d_resolution=quarter"}) {
    p.engine.run_option(option);
  }
  const std::string path = folder / "new/warm";
  p.engine.run_option("--save_current_look=" + path);
  EXPECT_EQ(p.errors, std::vector<std::string>{});
  p.document.doc.selection = {1};
  p.engine.run_option("--execute_cmdfile=" + path + ".ksncmd");
  EXPECT_EQ(p.document.doc.tracks[1].source.rcs, p.document.doc.tracks[0].source.rcs);
  EXPECT_EQ(p.document.doc.tracks[1].source.rds, clip.source.rds) << "the size is no part of the look";
  EXPECT_EQ(p.errors, std::vector<std::string>{});
  p.document.doc.selection = {2};
  EXPECT_FALSE(p.engine.action_enabled("save_current_look"));
  p.engine.run_option("--save_current_look=" + (folder / "other"));
  EXPECT_EQ(p.errors.size(), 1u);
  EXPECT_FALSE(std::filesystem::exists(folder / "other.ksncmd"));
}

TEST(option_text, an_export_goes_by_the_extension_of_its_name) {
  const support::temp_folder folder;
  program run;
  run.document.new_text_layer(3);
  for (const char* name : {"a.jsx", "b.nk", "new/c.ksncmd"}) {
    run.engine.command_pass({"kestrin", "--export_composition_as=" + (folder / name)});
    EXPECT_FALSE(support::read_file(folder / name).empty());
  }
  EXPECT_EQ(support::read_file(folder / "new/c.ksncmd"), command::option_text(run.engine));
  EXPECT_EQ(run.errors, std::vector<std::string>());
  run.engine.command_pass({"kestrin", "--export_composition_as=" + (folder / "d.txt")});
  ASSERT_EQ(run.errors.size(), 1u);
  EXPECT_NE(run.errors[0].find(".jsx, .nk or .ksncmd"), std::string::npos);
}

}  // namespace
