// The lists of the panel that depend on layers and files: lookup tables with what the pointer shows, alpha sources,
// pictures and versions of a source.
#include <algorithm>
#include <filesystem>

#include "composition/editing/undo.h"
#include "img/format.h"
#include "img/transfer.h"
#include "support/pictures.h"
#include "support/temp_folder.h"
#include "support/variable.h"
#include "ui/panel/board.h"

namespace {

using strings = std::vector<std::string>;

class panel_lists : public support::board {
 protected:
  strings texts_of_menu() const {
    strings all;
    for (const platform::menu_entry& entry : menu) all.push_back(entry.text);
    return all;
  }
};

const char* const cube = "LUT_3D_SIZE 2\n0 0 0\n1 0 0\n0 1 0\n1 1 0\n0 0 1\n1 0 1\n0 1 1\n1 1 1\n";
const char* const curve = "LUT_1D_SIZE 2\n0 0 0\n1 1 1\n";

TEST_F(panel_lists, lookup_tables_show_while_the_pointer_is_on_them) {
  support::temp_folder folder;
  support::write_file(folder / "dusk.cube", cube);
  support::write_file(folder / "film.cube", curve);
  add_layer();
  add_layer();
  for (const char* name : {"dusk.cube", "film.cube"}) engine.run_option("--import_lookup_table=" + folder / name);
  EXPECT_EQ(engine.composition().doc.tracks[1].look.tf.lookup, "film.cube");
  composition.undo();
  EXPECT_EQ(engine.composition().doc.tracks[1].look.tf.lookup, "dusk.cube") << "each import is a step";
  composition.doc.tracks[0].look.tf = {};
  composition.undo_stack.reset();

  strings seen;
  on_entry = [&](const platform::menu_entry&) { seen.push_back(composition.doc.tracks[0].look.tf.lookup); };
  drawn_texts();
  EXPECT_TRUE(shows("---")) << "they differ";
  menu_answers = {"nothing"};
  click(find("lookup_table"));
  EXPECT_EQ(texts_of_menu(),
            (strings{text("pp_lookup_chooser.none"), "dusk.cube, 3D", "film.cube, 1D", text("import_lookup_table"),
                     text("export_lookup_table"), text("delete_unused_lookup_tables")}));
  EXPECT_EQ(seen, (strings{"", "dusk.cube", "film.cube", "", "", ""}));
  EXPECT_EQ(composition.doc.tracks[0].look.tf.lookup + "+" + composition.doc.tracks[1].look.tf.lookup, "+dusk.cube")
      << "closed without a choice";
  EXPECT_FALSE(composition.undo_stack);
  menu_answers = {"film.cube, 1D"};
  click(find("lookup_table"));
  EXPECT_EQ(field("1:lookup_table") + field("2:lookup_table"), "film.cubefilm.cube");
  EXPECT_TRUE(shows("film.cube, 1D"));
  composition.undo();
  EXPECT_EQ(field("1:lookup_table") + field("2:lookup_table"), "nonedusk.cube") << "to what each of them had";
  menu_answers = {text("import_lookup_table")};
  click(find("lookup_table"));
  EXPECT_EQ(commands, strings{"import_lookup_table"});
  input.mouse_wheel(find("lookup_table"), -1200, 0, 0);
  EXPECT_EQ(field("1:lookup_table"), "film.cube") << "the wheel ends at the last table";
  EXPECT_EQ(commands.size(), 1u);
}

TEST_F(panel_lists, only_a_chosen_table_becomes_the_compositions) {
  support::temp_folder folder;
  const support::variable site("KESTRIN_SITE", folder.path());
  std::filesystem::create_directory(folder / "LUTs");
  for (const char* name : {"LUTs/a.cube", "LUTs/b.cube", "LUTs/c.cube"}) support::write_file(folder / name, curve);
  support::write_file(folder / "own.cube", cube);
  add_layer();
  engine.run_option("--import_lookup_table=" + folder / "own.cube");
  const auto tables = [this] {
    std::string names;
    for (const auto& [name, table] : composition.doc.lookup_table_map) names += name + " ";
    return names;
  };
  drawn_texts();
  menu_answers = {"nothing", "b.cube, 1D", text("import_lookup_table"), "own.cube, 3D"};
  for (const char* left : {"own.cube ", "b.cube own.cube ", "b.cube own.cube ", "b.cube own.cube "}) {
    click(find("lookup_table"));
    EXPECT_EQ(tables(), left);
  }
  composition.undo();
  EXPECT_EQ(field("lookup_table"), "b.cube");
  input.mouse_wheel(find("lookup_table"), -1200, 0, 0);
  EXPECT_EQ(field("lookup_table"), "c.cube");
  EXPECT_EQ(tables(), "b.cube c.cube own.cube ");
  composition.view.tf.lookup = "own.cube";
  menu_answers = {text("delete_unused_lookup_tables")};
  click(find("lookup_table"));
  EXPECT_EQ(tables(), "c.cube own.cube ");
  EXPECT_EQ(field("lookup_table"), "c.cube");
}

TEST_F(panel_lists, a_table_is_saved_as_the_layer_has_it) {
  support::temp_folder folder;
  support::write_file(folder / "in.cube", cube);
  ksn::track_info& layer = add_layer();
  strings lines;
  engine.write_error = [&lines](const std::string& line) { lines.push_back(line); };
  const auto save = [&](const char* name) { engine.run_option("--export_lookup_table=" + folder / name); };
  save("encoding.lut");
  img::lookup_table saved;
  img::load_lookup(folder / "encoding.lut", saved);
  EXPECT_NEAR(saved.curves()[512], img::srgb_decode(512 / 1023.0), 1e-4) << "8 bits are sRGB";
  engine.run_option("--import_lookup_table=" + folder / "in.cube");
  save("out.cube");
  img::load_lookup(folder / "out.cube", saved);
  EXPECT_TRUE(std::ranges::equal(saved.cube(), layer.look.tf.lookup_table.cube()));
  EXPECT_EQ(lines, strings{});
  save("out.lut");
  EXPECT_EQ(lines.size(), 1u) << "no room for a cube";
  composition.doc.selection.clear();
  save("none.cube");
  EXPECT_EQ(lines.back(), "\"--export_lookup_table=" + folder / "none.cube" + "\": Option requires a selected layer");
}

TEST_F(panel_lists, alpha_sources_and_pictures) {
  add_layer().name = "title";
  add_layer().name = "matte";
  composition.doc.selection = {0};
  composition.workspace.pp_tab = 2;
  drawn_texts();
  menu_answers = {"2  matte"};
  click(find("alpha_source"));
  EXPECT_EQ(field("alpha_source"), "2");
  EXPECT_TRUE(shows("2  matte"));
  composition.undo();
  EXPECT_EQ(field("alpha_source"), "none");

  composition.workspace.pp_tab = 6;
  ksn::layer_source& source = composition.doc.tracks[0].source;
  source.image_layers = {{}, {2, 1, "beauty"}, {2, 2, "crypto"}};
  drawn_texts();
  menu_answers = {"crypto"};
  click(find("image_layer"));
  EXPECT_EQ(field("image_layer"), "crypto");
  EXPECT_TRUE(shows("crypto (3)"));
  composition.undo();
  EXPECT_EQ(field("image_layer"), "");
}

TEST_F(panel_lists, single_channels_have_a_list_of_their_own) {
  support::temp_folder folder;
  const std::string path = folder / "a.exr";
  img::save(support::picture("BGRA", 4, 4, {10, 20, 30, 255}), path, nullptr, {});
  ksn::layer_source& source = add_layer(ksn::source_type::image).source;
  source.path = path;
  composition.workspace.pp_tab = 6;
  drawn_texts();
  menu_answers = {"G"};
  click(find("image_layer"));
  EXPECT_EQ(texts_of_menu(), (strings{text("img_layer_chooser.default"), "", text("img_layer_chooser.channels")}));
  strings channels;
  for (const platform::menu_entry& entry : menu.back().entries) channels.push_back(entry.text);
  EXPECT_EQ(channels, (strings{"A", "B", "G", "R"}));
  EXPECT_EQ(field("image_layer"), "G");
  EXPECT_TRUE(shows("G"));
  composition.undo();
  EXPECT_EQ(field("image_layer"), "");
  // A file that has gone since has no channels to choose from.
  std::filesystem::remove(path);
  click(find("image_layer"));
  EXPECT_EQ(texts_of_menu(), strings{text("img_layer_chooser.default")});
}

TEST_F(panel_lists, typefaces_show_while_the_pointer_is_on_them) {
  add_layer(ksn::source_type::text);
  add_layer(ksn::source_type::text);
  composition.workspace.pp_tab = 4;
  drawn_texts();
  const strings faces = pipeline.fonts().faces();
  ASSERT_GT(faces.size(), 1u) << "the program brings its fonts";
  const std::string before = field("1:text_font");
  strings seen;
  on_entry = [&](const platform::menu_entry&) { seen.push_back(field("2:text_font")); };
  // The mark at the right end of the field opens the list; left of it the name is typed.
  math::point mark = find("text_font");
  for (const ui::panel::page::widget_of& widget : panel->open_page().widgets()) {
    if (widget.made_from->kind == ui::panel::widget::face) mark.x += widget.box.right - widget.box.left - 15 - 4;
  }
  menu_answers = {"nothing"};
  click(mark);
  EXPECT_EQ(texts_of_menu(), faces);
  EXPECT_EQ(seen, faces);
  EXPECT_EQ(field("1:text_font"), before) << "closed without a choice";
  EXPECT_FALSE(composition.undo_stack);
  menu_answers = {faces.back()};
  click(mark);
  EXPECT_EQ(field("1:text_font") + field("2:text_font"), faces.back() + faces.back());
  composition.undo();
  EXPECT_EQ(field("1:text_font") + field("2:text_font"), before + before);
  EXPECT_FALSE(input.focus());
}

TEST_F(panel_lists, versions_are_found_chosen_and_scanned) {
  support::temp_folder folder;
  for (const char* version : {"v001", "v002"}) {
    support::write_file(folder / ("shot_" + std::string(version) + ".tga"), "x");
  }
  ksn::track_info& layer = add_layer(ksn::source_type::image);
  layer.source.path = folder / "shot_v001.tga";
  layer.source.version = "v001";
  composition.workspace.pp_tab = 6;
  drawn_texts();
  EXPECT_TRUE(shows("v001"));
  menu_answers = {text("pp_tab_source.scan_for_new_versions"), "v002"};
  click(find(""));
  EXPECT_TRUE(shows("v001 (2)"));
  click(find(""));
  EXPECT_EQ(layer.source.path, folder / "shot_v002.tga");
  EXPECT_TRUE(shows("v002 (2)"));
  support::write_file(folder / "shot_v003.tga", "x");
  input.mouse_wheel(find(""), -1200, 0, 0);
  EXPECT_TRUE(shows("v002 (2)")) << "the wheel looks for no files";
  composition.undo();
  EXPECT_EQ(layer.source.path, folder / "shot_v001.tga");
  composition.undo();
  EXPECT_EQ(layer.source.path, folder / "shot_v002.tga");
}

}  // namespace
