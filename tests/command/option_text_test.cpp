// Option text makes the same document again, whatever stands in it.
#include "command/option_text.h"

#include <gtest/gtest.h>

#include <random>

#include "composition/document_kinds.h"
#include "composition/test_document.h"
#include "support/pictures.h"

namespace {

using ksn::source_type;
using ksn::track_info;

const std::string ugly = "a \"b\" \\\\ c\\ %{name} %%%{x} %%{y}\n\té\xF0\x9F\x8E\xAC\\";

struct program {
  support::document document;
  command::engine engine{document};
  std::vector<std::string> errors;

  program() {
    engine.write_error = [this](const std::string& line) { errors.push_back(line); };
    document.hooks.report_error = [this](const std::string& line) { engine.report(line); };
    command::register_fields(engine);
    command::register_language_actions(engine);
    command::register_document_actions(engine);
    command::register_export_actions(engine);
  }
};

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

// Documents with a layer of every kind and values at random.
class random_document {
 public:
  random_document(program& into, unsigned seed, const support::temp_folder& folder)
      : random_(seed), program_(into), document_(into.document), folder_(folder) {}

  void fill() {
    for (const command::global_field& field : program_.engine.global_field_table) {
      if (is_of_document(field.name)) randomise(field, document_);
    }
    document_.view.tf.lookup = "t,able";
    document_.view.tf.lookup_table = table();
    const int count = 1 + below(8);
    for (int i = 0; i < count; ++i) add(below(9));
    for (track_info& layer : document_.doc.tracks) {
      if (below(2)) layer.look.alpha_source_id = document_.doc.track_at(below(document_.doc.track_count())).id;
    }
    document_.doc.vars = {{"shot", ugly}, {"a b", ""}};
    document_.doc.set_timeline_length(400 + below(100), true);
    document_.doc.set_workarea_end(200 + below(100));
    document_.doc.set_workarea_begin(below(100));
    document_.doc.set_current_time(below(200) + 1.0 / 3);
    document_.doc.selection = {below(document_.doc.track_count())};
  }

 private:
  std::mt19937 random_;
  program& program_;
  support::document& document_;
  const support::temp_folder& folder_;

  int below(int end) { return static_cast<int>(random_() % static_cast<unsigned>(end)); }

  static bool is_of_document(const std::string& name) {
    static const std::set<std::string> names = {"back_color",
                                                "safe_area",
                                                "mask_type",
                                                "mask_size",
                                                "fps",
                                                "zoom",
                                                "pan",
                                                "frame_base",
                                                "repeat",
                                                "global_aspect",
                                                "global_volume",
                                                "exposure",
                                                "stereo_view",
                                                "stereo_mode",
                                                "hue",
                                                "counter_type",
                                                "grid",
                                                "resolution",
                                                "view_channels",
                                                "safe_area_visible",
                                                "can_drop_frames",
                                                "switch_views",
                                                "global_aspect_enabled",
                                                "apply_transforms_to_mask"};
    return names.contains(name);
  }

  img::lookup_table table() {
    img::lookup_table made;
    std::vector<std::uint16_t> cube(img::lookup_table::entries_of(2 + below(4)));
    for (std::uint16_t& entry : cube) entry = static_cast<std::uint16_t>(below(16384));
    made.set_3d(cube, below(2) != 0);
    return made;
  }

  template <class Record, class Field>
  void randomise(const Field& field, Record& record) {
    if (!field.set_value || field.name == "dimensions") return;  // those are the scale in pixels
    command::field_value value;
    field.get_value(document_, record, value);
    const command::value_shape& shape = field.shape;
    if (field.name == "back_color") {
      value.text = below(2) ? "1,2,3" : "transparent";
    } else if (shape.kind == command::value_kind::text) {
      return;
    } else if (shape.kind == command::value_kind::word) {
      value.numbers[0] = shape.words[static_cast<std::size_t>(below(static_cast<int>(shape.words.size())))].value;
    } else {
      for (double& number : value.numbers)
        number = shape.one_for_all && below(2) ? value.numbers[0] : (7 + below(400)) / 7.0;
    }
    if (shape.kind == command::value_kind::color && !shape.alpha) value.numbers[3] = 255;
    if (shape.count == 5) value.numbers = {1, 2, 3, double(below(100)), double(below(9))};  // a colour key
    value.off = !shape.off.empty() && below(2);
    ASSERT_TRUE(field.set_value(document_, record, command::clamped(shape, value))) << field.name;
  }

  void add(int kind) {
    const auto frame = [&](int n) { return folder_ / ("s q." + std::to_string(n) + ".tga"); };
    const img::image_ptr picture = std::make_shared<img::image>(
        support::random_picture("BGRA", document_.doc.mask_size.x, document_.doc.mask_size.y, random_()));
    switch (kind) {
      case 0:
        document_.add(frame(1), true, false, false);
        break;
      case 1:
        document_.add(frame(1), false, false, false);
        break;
      case 2:
        document_.add_with_range(frame(1), "2-9x3,4");
        break;
      case 3:
        document_.add_forced_sequence(folder_ / "one.7.tga");
        break;
      case 4:
        document_.new_adjustment_layer(1 + below(20));
        break;
      case 5:
        document_.new_text_layer(1 + below(20));
        document_.doc.track_at(0).lettering.text = ugly;
        document_.doc.track_at(0).lettering.text_attr.font = "A \"font\"";
        break;
      case 6:
        document_.new_brush_layer(1 + below(20));
        if (below(2)) document_.doc.track_at(0).source.brush_image = picture;
        break;
      case 7:
        document_.new_brush_sequence_layer(9);
        document_.doc.track_at(0).source.brush_seq[below(9)] = picture;
        break;
      default: {
        track_info layer;
        layer.source.frames = 1;
        layer.name = layer.default_name = document_.catalogue_text("ti_clipboard_image_name");
        layer.source.type = below(2) ? source_type::clipboard_image : source_type::embedded_audio;
        if (layer.source.type == source_type::clipboard_image) {
          layer.source.clipboard_image = picture;
          layer.source.width = picture->width;
          layer.source.height = picture->height;
        } else {
          auto sound = std::make_shared<sources::wave_context>();
          sound->sample_rate = 48000;
          sound->bits = 16;
          sound->channels = 1;
          sound->data = {1, 2, 3, 4};
          layer.source.audio = sound;
        }
        document_.enter_stack(std::move(layer), true);
      }
    }
    track_info& layer = document_.doc.track_at(0);
    const bool is_text = layer.source.type == source_type::text;
    for (const command::layer_field& field : program_.engine.layer_field_table) {
      const bool skipped = field.name == "length" || field.name.starts_with("image_layer") ||
                           field.name.starts_with("r3d") || (field.name.starts_with("text") && !is_text) ||
                           (field.name == "size" && layer.source.type != source_type::adjustment && !is_text);
      if (!skipped) randomise(field, layer);
    }
    layer.set_in_out(below(layer.length()), 300);
    if (below(2)) layer.name = ugly;
    if (below(2)) {
      layer.look.tf.lookup = below(2) ? "grade.cube" : "other";
      layer.look.tf.lookup_table = table();
    } else {
      layer.look.tf.lookup.clear();
      layer.look.tf.lookup_table = {};
    }
  }
};

TEST(option_text, makes_the_same_document_again) {
  const support::temp_folder folder;
  for (const char* name : {"s q.1.tga", "s q.2.tga", "s q.4.tga", "one.7.tga"}) {
    support::write_file(folder / name, support::tga(true));
  }
  for (unsigned seed = 1; seed <= 60; ++seed) {
    program first;
    random_document(first, seed, folder).fill();
    const std::string text = command::option_text(first.engine);
    program second;
    second.engine.run_command_line("kestrin " + text);
    ASSERT_EQ(second.errors, std::vector<std::string>()) << seed;
    // The tables that layers had are those of the document then.
    first.document.doc.lookup_table_map = second.document.doc.lookup_table_map;
    ASSERT_TRUE(contents(second.document) == contents(first.document)) << seed << '\n' << text;
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
