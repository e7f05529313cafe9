// Documents with layers of every kind and values at random, for what must hold of all of them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "command/option_text.h"
#include "composition/test_document.h"
#include "support/pictures.h"

namespace support {

// Text with everything that the command language gives a meaning to.
inline const std::string ugly = "a \"b\" \\\\ c\\ %{name} %%%{x} %%{y}\n\té\xF0\x9F\x8E\xAC\\";

// A document with the language on it.
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

// The files of random documents.
inline void write_frames(const temp_folder& folder, int width = 4, int height = 3) {
  for (const char* name : {"s q.1.tga", "s q.2.tga", "s q.4.tga", "one.7.tga"}) {
    write_file(folder / name, tga(true, width, height));
  }
}

class random_document {
 public:
  // The folder is that of write_frames(). Of `sources`, further files, some become layers too.
  random_document(program& into, unsigned seed, const temp_folder& folder, std::vector<std::string> sources = {})
      : random_(seed), program_(into), document_(into.document), folder_(folder), sources_(std::move(sources)) {}

  void fill() {
    for (const command::global_field& field : program_.engine.global_field_table) {
      // These depend on each other and on the layers.
      static const std::set<std::string> later = {"timeline", "wa_begin", "wa_end", "time"};
      if (!later.contains(field.name)) randomise(field, document_);
    }
    document_.view.tf.lookup = "t,able";
    document_.view.tf.lookup_table = table();
    const int count = 1 + below(8);
    for (int i = 0; i < count; ++i) add(below(9 + static_cast<int>(sources_.size())));
    for (ksn::track_info& layer : document_.doc.tracks) {
      if (below(2)) layer.look.alpha_source_id = document_.doc.track_at(below(document_.doc.track_count())).id;
    }
    document_.doc.vars = {{"shot", ugly}, {"a b", ""}};
    document_.doc.set_timeline_length(400 + below(100), true);
    document_.doc.set_workarea_end(200 + below(100));
    document_.doc.set_workarea_begin(below(100));
    document_.doc.set_current_time(below(200) + 1.0 / 3);
    document_.doc.selection = {below(document_.doc.track_count())};
  }

  int below(int end) { return static_cast<int>(random_() % static_cast<unsigned>(end)); }

 private:
  std::mt19937 random_;
  program& program_;
  support::document& document_;
  const temp_folder& folder_;
  std::vector<std::string> sources_;

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
    using ksn::source_type;
    const auto frame = [&](int n) { return folder_ / ("s q." + std::to_string(n) + ".tga"); };
    const img::image_ptr picture = std::make_shared<img::image>(
        random_picture("BGRA", document_.doc.mask_size.x, document_.doc.mask_size.y, random_()));
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
      case 8: {
        ksn::track_info layer;
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
        break;
      }
      default:
        document_.add(sources_[static_cast<std::size_t>(kind - 9)], false, false, false);
    }
    ASSERT_GT(document_.doc.track_count(), 0);
    ksn::track_info& layer = document_.doc.track_at(0);
    const bool is_text = layer.source.type == source_type::text;
    for (const command::layer_field& field : program_.engine.layer_field_table) {
      const bool skipped = field.name == "length" || field.name.starts_with("image_layer") ||
                           field.name.starts_with("r3d") || (field.name.starts_with("text") && !is_text) ||
                           (field.name == "size" && layer.source.type != source_type::adjustment && !is_text);
      if (!skipped) randomise(field, layer);
    }
    if (const auto& pictures = layer.source.image_layers; !pictures.empty()) {
      layer.source.image_layer = pictures[static_cast<std::size_t>(below(static_cast<int>(pictures.size())))];
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

}  // namespace support
