#include "command/option_text.h"

#include <algorithm>
#include <map>
#include <optional>

#include "command/values.h"
#include "composition/opening/sequence.h"
#include "composition/stored_text.h"

namespace command {

namespace {

using ksn::source_type;
using ksn::track_info;

constexpr const char* head_fields[] = {"global_aspect", "global_aspect_enabled", "apply_transforms_to_mask",
                                       "stereo_view",   "stereo_mode",           "global_volume"};
constexpr const char* placement_fields[] = {
    "group_id",     "retime",      "begin",           "in_point",     "out_point",      "position",     "blend",
    "alpha",        "depth",       "opacity",         "fade_in",      "fade_out",       "invert_color", "invert_alpha",
    "invert_depth", "auto_update", "disable_caching", "pixel_aspect", "scale_x",        "scale_y",      "flip_x",
    "flip_y",       "border",      "layer_safe_area", "border_color", "layer_safe_area"};
constexpr const char* picture_fields[] = {"layer_channels", "target_view", "volume"};
constexpr const char* correction_fields[] = {"exposure", "soft_clip",  "temperature", "lift",
                                             "gamma",    "gain",       "brightness",  "contrast",
                                             "hue",      "saturation", "color_space"};
constexpr const char* text_fields[] = {"text_align_x", "text_align_y", "text_font"};
constexpr const char* text_look_fields[] = {"text_size",  "text_bold",          "text_italic",
                                            "text_color", "text_outline_color", "text_shadow_color"};
constexpr const char* alpha_source_fields[] = {"alpha_source_channel", "alpha_source_range", "alpha_source_invert",
                                               "alpha_source_stretch", "alpha_source_mode",  "alpha_source_channel2"};
constexpr const char* r3d_fields[] = {"r3d_resolution", "r3d_track", "r3d_preset",      "r3d_kelvin",     "r3d_tint",
                                      "r3d_iso",        "r3d_flut",  "r3d_color_space", "r3d_gamma_curve"};
constexpr const char* state_fields[] = {"visible", "audible", "nonlog_cineon", "blur_radius"};
constexpr const char* time_fields[] = {"timeline", "wa_begin", "wa_end", "time", "fps", "repeat", "can_drop_frames"};
constexpr const char* view_fields[] = {"counter_type",      "resolution", "view_channels", "view_filter",
                                       "safe_area_visible", "grid",       "switch_views"};

// The runs of a list of numbers as the text of a range.
std::string range_of(const std::vector<int>& numbers) {
  std::string text;
  for (std::size_t i = 0; i < numbers.size();) {
    std::size_t end = i + 1;
    while (end < numbers.size() && numbers[end] == numbers[end - 1] + 1) ++end;
    text += (text.empty() ? "" : ",") + std::to_string(numbers[i]);
    if (end - i > 1) text += "-" + std::to_string(numbers[end - 1]);
    i = end;
  }
  return text;
}

// The range that gives just the names of a sequence; empty for names that none gives.
std::string range_of_names(const ksn::layer_source& source) {
  std::vector<int> numbers;
  for (const std::string_view name : source.names) {
    const int number = ksn::match_number(name, source.mask);
    if (number == ksn::no_number || ksn::name_for_number(source.mask, number) != name) return {};
    numbers.push_back(number);
  }
  const std::string text = range_of(numbers);
  std::vector<int> read_back;
  return ksn::expand_range(text, read_back) && read_back == numbers ? text : std::string();
}

// The options after the path of a sequence that give it the names that it has.
std::string sequence_option(const ksn::layer_source& source) {
  if (!source.range.empty()) return "--range=" + quoted(source.range);
  track_info found;
  const std::string pattern = source.path + source.mask;
  if (ksn::scan_folder(pattern, found, {}, false, {}) == ksn::scan_result::found &&
      found.source.names == source.names) {
    return {};
  }
  const std::string range = source.mask == "*" ? std::string() : range_of_names(source);
  return range.empty() ? "--force_sequence" : "--range=" + quoted(range);
}

bool opens_at_a_rate(const track_info& layer) {
  return layer.source.is_clip() || layer.source.type == source_type::wave;
}

class writer {
 public:
  explicit writer(engine& engine) : engine_(engine), composition_(engine.composition()) {}

  void line(std::string_view text) {
    text_ += text;
    text_ += '\n';
  }
  void composition_options();
  void document_end();
  void layers(const std::vector<int>& indices, bool with_rates);
  void correction(const std::string& scope, const img::correction& settings);
  void reset_correction();
  std::string take() { return std::move(text_); }

 private:
  const layer_field& of_layer(const char* name) const { return *engine_.find_layer_field(name); }
  void option(const std::string& name, std::string_view value) { line("--" + name + "=" + std::string(value)); }
  template <class Names>
  void fields(const Names& names, const track_info& layer) {
    for (const char* name : names) field(name, layer);
  }
  template <class Names>
  void global_fields(const Names& names) {
    for (const char* name : names) global(name);
  }
  void global(const char* name);
  void field(const char* name, const track_info& layer);
  void switchable(const char* name, const track_info& layer, const field_value& fresh);
  void define_table(const std::string& name, const img::lookup_table& table);
  void creation(const track_info& layer);
  void crop(const track_info& layer);
  void picture(const track_info& layer);
  void lettering(const track_info& layer);
  void layer_lines(const track_info& layer);

  engine& engine_;
  const ksn::state& composition_;
  std::string text_;
  std::map<std::string, img::lookup_table> tables_;  // that the text has defined so far
  int rate_ = 0;                                     // of the timeline where the text stands, 0 unknown
};

void writer::global(const char* name) {
  const global_field& row = *engine_.find_global_field(name);
  field_value value;
  row.get_value(composition_, composition_, value);
  option(engine_.find_layer_field(name) ? std::string("global:") + name : name, write_exact_value(row.shape, value));
}

void writer::field(const char* name, const track_info& layer) {
  const layer_field& row = of_layer(name);
  field_value value;
  row.get_value(composition_, layer, value);
  const std::string text = write_exact_value(row.shape, value);
  option(name, row.shape.kind == value_kind::text ? quoted(text) : text);
}

// A field that can be off keeps its values then: where they are not those of a fresh layer they are told first.
void writer::switchable(const char* name, const track_info& layer, const field_value& fresh) {
  const layer_field& row = of_layer(name);
  field_value value;
  row.get_value(composition_, layer, value);
  if (!value.off || value.numbers != fresh.numbers) {
    field_value on = value;
    on.off = false;
    option(name, write_exact_value(row.shape, on));
  }
  if (value.off) option(name, row.shape.off);
}

// The colour of a name that has none is told by the name.
void writer::composition_options() {
  const ksn::document& doc = composition_.doc;
  const ksn::view& view = composition_.view;
  const lib::color back = doc.resolved_back_color();
  if (doc.back_color == ksn::back_color_type::transparent) {
    line("--back_color=transparent");
  } else {
    option("back_color", write_color({255, back.r, back.g, back.b}));
  }
  // The kind that would show stays known while none does.
  option("safe_area", ksn::word_of(view.safe_area_type));
  for (const char* name : {"mask_type", "mask_size", "fps", "zoom", "pan", "frame_base"}) global(name);
  rate_ = doc.fpcs;
  // One below 1 was never taken for a value.
  if (view.aspect < 1.0) {
    global_fields(std::vector<const char*>(std::begin(head_fields) + 1, std::end(head_fields)));
  } else {
    global_fields(head_fields);
  }
  for (const auto& [name, table] : doc.lookup_table_map) define_table(name, table);
}

void writer::define_table(const std::string& name, const img::lookup_table& table) {
  const auto known = tables_.find(name);
  if (name.empty() || (known != tables_.end() && known->second == table)) return;
  option("lookup_table_data", quoted(ksn::stored_table(table) + "," + name));
  tables_[name] = table;
}

void writer::correction(const std::string& scope, const img::correction& settings) {
  track_info holder;
  track_info fresh;
  holder.look.tf = settings;
  define_table(settings.lookup, settings.lookup_table);
  for (const char* name : correction_fields) {
    const layer_field& row = of_layer(name);
    field_value value;
    field_value neutral;
    row.get_value(composition_, holder, value);
    row.get_value(composition_, fresh, neutral);
    if (value != neutral) option(scope + name, write_exact_value(row.shape, value));
  }
  option(scope + "lookup_table", settings.lookup.empty() ? "none" : quoted(settings.lookup));
  option(scope + "disable_cc", write_bool(settings.disable_cc));
}

void writer::reset_correction() {
  const track_info fresh;
  fields(correction_fields, fresh);
  option("lookup_table", "none");
}

void writer::creation(const track_info& layer) {
  const ksn::layer_source& source = layer.source;
  const std::string frames = std::to_string(std::max(source.frames, 1));
  // Options after a source that can't be opened must not reach another layer.
  line("--selection=none");
  switch (source.type) {
    case source_type::adjustment:
      option("new_adjustment_layer", frames);
      break;
    case source_type::brush:
      option("new_brush_layer", frames);
      break;
    case source_type::brush_sequence:
      option("new_brush_sequence_layer", frames);
      break;
    case source_type::text:
      option("new_text_layer", frames);
      break;
    case source_type::video:
      option("new_video_layer", quoted(source.vdev));
      break;
    case source_type::clipboard_image:
    case source_type::embedded_audio:
      option("new_stored_layer", ksn::stored_content(layer));
      break;
    case source_type::image:
      line(quoted(source.path));
      line("--still_image");
      break;
    case source_type::sequence: {
      line(quoted(source.mask == "*" ? source.path : source.path + source.mask));
      const std::string how = sequence_option(source);
      if (!how.empty()) line(how);
      break;
    }
    default:
      if (rate_ != 0 && opens_at_a_rate(layer) && source.fpcs > 0 && rate_ != source.fpcs) {
        option("fps", write_exact_double(source.fpcs / 100.0));
        rate_ = source.fpcs;
      }
      line(quoted(source.path));
  }
  const bool has_canvas = source.brush_image || !source.brush_seq.empty();
  if (has_canvas) option("layer_content", ksn::stored_content(layer));
  field("length", layer);
}

// A layer has the size of its picture as its crop until that is set.
void writer::crop(const track_info& layer) {
  field_value fresh;
  fresh.numbers = {0, 0, double(std::max(layer.source.width, 1)), double(std::max(layer.source.height, 1))};
  if (layer.placement.crop) {
    field("crop", layer);
  } else {
    switchable("crop", layer, fresh);
  }
}

void writer::picture(const track_info& layer) {
  const ksn::layer_source& source = layer.source;
  const bool listed = std::find(source.image_layers.begin(), source.image_layers.end(), source.image_layer) !=
                      source.image_layers.end();
  if (listed || source.image_layer.name.empty()) {
    field("image_layer_index", layer);
  } else {
    field("image_layer", layer);
  }
  fields(picture_fields, layer);
}

void writer::lettering(const track_info& layer) {
  option("text", quoted(escape_text(layer.lettering.text)));
  fields(text_fields, layer);
  fields(text_look_fields, layer);
  field_value fresh;
  fresh.numbers = {0, 0, 0, 255};
  switchable("text_back_color", layer, fresh);
  field("text_back_cover_layer", layer);
}

void writer::layer_lines(const track_info& layer) {
  const source_type type = layer.source.type;
  creation(layer);
  option("name", quoted(layer.name));
  const math::point output = composition_.doc.mask_size;
  const bool made_inside = type == source_type::adjustment || type == source_type::text || type == source_type::brush ||
                           type == source_type::brush_sequence;
  const bool other_size = math::point{layer.source.width, layer.source.height} != output;
  if (made_inside && other_size) field("size", layer);
  fields(placement_fields, layer);
  if (made_inside && other_size) {
    switchable("crop", layer, {});
  } else {
    crop(layer);
  }
  field_value fresh_key;
  fresh_key.numbers = {0, 0, 0, double(ksn::color_key().tolerance), double(ksn::color_key().slope)};
  switchable("primary_color_key", layer, fresh_key);
  switchable("secondary_color_key", layer, fresh_key);
  picture(layer);
  correction({}, layer.look.tf);
  if (type == source_type::text || type == source_type::text_sequence) lettering(layer);
}

void writer::layers(const std::vector<int>& indices, bool with_rates) {
  if (!with_rates) rate_ = 0;
  const ksn::document& doc = composition_.doc;
  // From the bottom: each new layer comes on top. `place` counts from the lowest that is written.
  std::map<int, int> places;
  for (std::size_t i = 0; i < indices.size(); ++i) places[indices[i]] = static_cast<int>(indices.size() - 1 - i);
  bool first = true;
  for (auto index = indices.rbegin(); index != indices.rend(); ++index) {
    const track_info& layer = doc.track_at(*index);
    layer_lines(layer);
    // The first source of a document brings its rate.
    if (first && rate_ != 0 && layer.source.fpcs2 != 0) rate_ = layer.source.fpcs2;
    first = false;
    const int place = places[*index];
    const int source = layer.look.alpha_source_id ? doc.index_of_id(layer.look.alpha_source_id) : -1;
    const auto source_place = places.find(source);
    const bool is_below = source_place != places.end() && source_place->second <= place;
    option("alpha_source", is_below ? std::to_string(place - source_place->second + 1) : "none");
    fields(alpha_source_fields, layer);
    if (layer.source.type == source_type::r3d) fields(r3d_fields, layer);
    fields(state_fields, layer);
    // Layers below whose alpha source stands now.
    for (const auto& [other, other_place] : places) {
      if (other_place < place && doc.track_at(other).look.alpha_source_id == layer.id) {
        option(std::to_string(place - other_place + 1) + ":alpha_source", "1");
      }
    }
  }
}

void writer::document_end() {
  const ksn::document& doc = composition_.doc;
  const bool has_length = doc.track_count() > 0 || doc.timeline_user_set;
  for (const char* name : time_fields) {
    if (has_length || name != time_fields[0]) global(name);
  }
  global_fields(view_fields);
  correction("global:", composition_.view.tf);
  for (const auto& [name, value] : doc.vars) {
    if (name.find('=') == name.npos) line("--var:" + quoted(name + "=" + value));
  }
  global("selection");
}

}  // namespace

std::string quoted(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    // A percent sign before a bracket opens a field.
    const std::size_t run_end = std::min(text.find_first_not_of('%', i), text.size());
    const bool opens = c == '%' && run_end < text.size() && text[run_end] == '{';
    if (c == 0) continue;
    if (opens || (c < ' ' && c != '\t')) {
      plain += "%{char:" + std::to_string(c) + "}";
    } else {
      plain += text[i];
    }
  }
  std::string out = "\"";
  for (std::size_t i = 0; i < plain.size();) {
    const std::size_t run_end = std::min(plain.find_first_not_of('\\', i), plain.size());
    const std::size_t backslashes = run_end - i;
    const bool before_quote = run_end == plain.size() || plain[run_end] == '"';
    out.append(before_quote ? 2 * backslashes : backslashes, '\\');
    i = run_end;
    if (i == plain.size()) break;
    if (plain[i] == '"') out += '\\';
    out += plain[i++];
  }
  return out + '"';
}

std::string option_text(engine& engine) {
  writer out(engine);
  out.composition_options();
  std::vector<int> all;
  for (int i = 0; i < engine.composition().doc.track_count(); ++i) all.push_back(i);
  out.layers(all, true);
  out.document_end();
  return out.take();
}

std::string layers_as_options(engine& engine, const std::vector<int>& layers) {
  writer out(engine);
  out.layers(layers, false);
  if (layers.size() > 1) out.line("--selection=1.." + std::to_string(layers.size()));
  return out.take();
}

std::string correction_as_options(engine& engine, const ksn::track_info& layer) {
  writer out(engine);
  out.reset_correction();
  out.correction({}, layer.look.tf);
  return out.take();
}

std::string r3d_look_as_options(engine& engine, const ksn::track_info& layer) {
  std::string text;
  for (const char* name : r3d_fields) {
    // Size and track are no part of a look.
    if (name == std::string_view("r3d_resolution") || name == std::string_view("r3d_track")) continue;
    std::string value;
    engine.find_layer_field(name)->get(engine.composition(), layer, value);
    text += "--" + std::string(name) + "=" + value + "\n";
  }
  return text;
}

}  // namespace command
