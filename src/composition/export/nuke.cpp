#include <algorithm>
#include <cmath>

#include "composition/export/correction_stages.h"
#include "composition/export/export.h"
#include "composition/export/template_text.h"
#include "composition/opening/sequence_pattern.h"
#include "img/correction_math.h"

namespace ksn {
namespace {

// The text between the quotes of a Tcl word: nothing in it is a command, a variable or a bracket of the node.
std::string word_text(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (c == '\n') {
      out += "\\n";
      continue;
    }
    if (std::string_view("\"\\[]{}$").find(c) != std::string_view::npos) out += '\\';
    out += c;
  }
  return out;
}

// The name of a file is read once more as an expression: its own brackets, backslashes, dollars and percents are told
// apart from those that mean something there.
std::string literal_file(std::string_view path) {
  std::string out;
  for (const char c : path) {
    if (std::string_view("\\[]$").find(c) != std::string_view::npos) out += '\\';
    if (c == '%') out += '%';
    out += c;
  }
  return out;
}

bool has_file(const track_info& layer) {
  return layer.source.is_decoded() && !layer.source.path.empty();
}

bool has_sound_only(const track_info& layer) {
  return layer.source.type == source_type::wave || layer.source.type == source_type::embedded_audio;
}

struct read_file {
  std::string name;  // as the file knob holds it
  int first = 0;     // number of the first source frame there
};

read_file file_of(const track_info& layer) {
  const layer_source& source = layer.source;
  if (source.type == source_type::image) return {literal_file(source.path), 0};
  // Frames of a movie count from 1 there.
  if (source.type != source_type::sequence || source.names.empty()) return {literal_file(source.path), 1};
  std::string pattern = source.path + source.mask;
  if (source.mask.empty() || source.mask == "*") build_pattern(source.file_of(0), pattern);
  const std::string mask = pattern.substr(source.path.size());
  const std::size_t begin = mask.find_first_of("?*");
  if (begin == mask.npos) return {literal_file(source.file_of(0)), 0};
  const std::size_t end = std::min(mask.find_first_not_of("?*", begin), mask.size());
  // More than one run of wildcards is no number of that program; the first file stands for all then.
  if (has_wildcard(std::string_view(mask).substr(end))) return {literal_file(source.file_of(0)), 0};
  const bool padded = mask.find('*', begin) == mask.npos && end - begin > 1;
  const int number = match_number(source.names[0], mask);
  return {literal_file(source.path + mask.substr(0, begin)) + (padded ? "%0" + std::to_string(end - begin) : "%") +
              "d" + literal_file(mask.substr(end)),
          number == no_number ? 0 : number};
}

struct walk {
  const state& composition;
  template_text out;

  void disabled(bool yes) {
    if (yes) out.add(" disable true\n");
  }
  void values(std::string_view form, const rgb_values& rgb) { out.add(form, rgb[0], rgb[1], rgb[2]); }
  void ignore_alpha(int first, int last);
  void source(const track_info& layer);
  void hue(const img::correction& settings, const correction_stages& stages);
  void correction(const img::correction& settings);
  void transform(const track_info& layer);
  void merge(const track_info& layer);
  void stack(const std::vector<int>& layers);
  void root();
};

void walk::ignore_alpha(int first, int last) {
  out.add(
      "Group {\n label \"Ignore Alpha\"\n}\nInput {}\n\n"
      "Remove {\n channels {-rgba.red -rgba.green -rgba.blue rgba.alpha}\n}\n\n"
      "AddChannels {\n channels {-rgba.red -rgba.green -rgba.blue rgba.alpha}\n");
  out.add(" color {{\"frame >= %d && frame <= %d\"}}\n}\n\n", first, last);
  out.add("Output {}\nend_group\n\n");
}

void walk::source(const track_info& layer) {
  const int in = layer.in();
  const int last = layer.out() - 1;
  int first_number = 0;
  if (has_file(layer)) {
    const read_file file = file_of(layer);
    first_number = file.first;
    out.add("Read {\n inputs 0\n file \"%s\"\n before black\n after black\n", std::string_view(word_text(file.name)));
  } else {
    out.add("Constant {\n inputs 0\n");
  }
  out.add(" first %d\n last %d\n", first_number + in, first_number + last);
  disabled(has_file(layer) && !layer.look.visible);
  out.add("}\n\n");
  out.add("TimeOffset {\n time_offset %d\n}\n\n", layer.timing.begin - first_number);
  // Here frames count as on the timeline.
  if (has_file(layer) && layer.look.alpha_type == alpha_type::ignore) {
    ignore_alpha(layer.timing.begin + in, layer.timing.begin + last);
  }
  // The picture is chosen before it is corrected.
  const img::layer& picture = layer.source.image_layer;
  if (!picture.name.empty()) out.add("Shuffle {\n in \"%s\"\n}\n\n", std::string_view(word_text(picture.name)));
}

void walk::hue(const img::correction& settings, const correction_stages& stages) {
  const bool one_saturation = equal(stages.saturation);
  img::correction turn;
  turn.hue = settings.hue;
  if (!one_saturation) turn.saturation = settings.saturation;
  const img::color_matrix matrix = img::hue_saturation_matrix(turn);
  out.add("Group {\n label \"Hue/Sat\"\n");
  disabled(settings.disable_cc);
  out.add("}\nInput {}\n\nColorspace {\n colorspace_out sRGB\n}\n\n");
  out.add("Saturation {\n saturation %f\n}\n\n", one_saturation ? stages.saturation[0] : 1.0);
  out.add("ColorMatrix {\n matrix {\n");
  for (const rgb_values& row : matrix) values("  { %f %f %f }\n", row);
  out.add(" }\n}\n\nColorspace {\n colorspace_in sRGB\n}\n\nOutput {}\nend_group\n\n");
}

void walk::correction(const img::correction& settings) {
  const correction_stages stages(settings);
  if (stages.has_grade()) {
    out.add("Grade {\n");
    values(" multiply {%f %f %f}\n", stages.multiply);
    values(" black {%f %f %f 0}\n", stages.lift);
    values(" white {%f %f %f 1}\n", stages.gain);
    values(" gamma {%f %f %f 1}\n", stages.gamma);
    disabled(settings.disable_cc);
    out.add("}\n\n");
  }
  if (stages.has_contrast()) {
    rgb_values offset;
    for (std::size_t i = 0; i < 3; ++i) offset[i] = contrast_pivot * (1 - stages.contrast[i]);
    out.add("Group {\n label \"Bright/Contr\"\n");
    disabled(settings.disable_cc);
    out.add("}\nInput {}\n\nColorspace {\n colorspace_out sRGB\n}\n\n");
    values("Grade {\n add {%f %f %f}\n}\n\n", stages.brightness);
    values("Grade {\n multiply {%f %f %f}\n", stages.contrast);
    values(" add {%f %f %f}\n}\n\n", offset);
    out.add("Colorspace {\n colorspace_in sRGB\n}\n\nOutput {}\nend_group\n\n");
  }
  if (stages.clips) {
    out.add("SoftClip {\n softclip_min %f\n softclip_max 32.0\n", stages.knee);
    disabled(settings.disable_cc);
    out.add("}\n\n");
  }
  if (stages.has_hue()) hue(settings, stages);
}

// Pictures lie there with their lower left corner in that of the composition, and y goes up.
void walk::transform(const track_info& layer) {
  const math::point size = composition.doc.mask_size;
  const layer_placement& placement = layer.placement;
  const int width = layer.source.width > 0 ? layer.source.width : size.x;
  const int height = layer.source.height > 0 ? layer.source.height : size.y;
  const auto factor = [](int percent, bool flip) { return (flip ? -percent : percent) / 100.0; };
  out.add("Transform {\n translate {%d %d}\n", size.x / 2 + placement.pos.x - width / 2,
          size.y / 2 - placement.pos.y - height / 2);
  out.add(" scale {%.2f %.2f}\n", factor(placement.scale_x, placement.flip_x),
          factor(placement.scale_y, placement.flip_y));
  out.add(" center {%d %d}\n}\n\n", width / 2, height / 2);
}

void walk::merge(const track_info& layer) {
  constexpr std::string_view operations[] = {"over", "plus", "multiply", "screen", "difference"};
  const layer_look& look = layer.look;
  const bool straight = look.blend_type == blend_type::normal && look.alpha_type == alpha_type::normal;
  out.add("Merge2 {\n inputs 2\n operation %s\n",
          straight ? std::string_view("matte") : operations[static_cast<std::size_t>(look.blend_type)]);
  out.add(" mix %f\n}\n\n", look.opacity / 100.0);
}

// Each node takes its inputs from the stack, what was put there last as the first one, and a merge has what lies below
// as its first input. So an upper layer is written before all that is below it, and merged when that stands. An
// adjustment layer has no nodes of its own but for the correction of what is below it.
void walk::stack(const std::vector<int>& layers) {
  std::vector<int> shown;
  for (const int index : layers) {
    const track_info& layer = composition.doc.track_at(index);
    const bool adjusts = layer.source.type == source_type::adjustment;
    if (has_sound_only(layer) || (adjusts && !layer.look.visible)) continue;
    shown.push_back(index);
    if (adjusts) continue;
    source(layer);
    correction(layer.look.tf);
    transform(layer);
  }
  bool lies_on_something = false;
  for (auto index = shown.rbegin(); index != shown.rend(); ++index) {
    const track_info& layer = composition.doc.track_at(*index);
    const bool adjusts = layer.source.type == source_type::adjustment;
    if (lies_on_something && adjusts) {
      correction(layer.look.tf);
    } else if (lies_on_something) {
      merge(layer);
    }
    lies_on_something = lies_on_something || !adjusts;
  }
}

void walk::root() {
  const document& doc = composition.doc;
  const double fps = doc.fpcs / 100.0;
  const math::point size = doc.mask_size;
  out.add("Root {\n inputs 0\n frame %d\n", static_cast<int>(doc.tm_t));
  out.add(" first_frame %d\n last_frame %d\n fps %.2f\n", doc.tm_f, doc.tm_l - 1, fps);
  out.add(" format \"%d %d 0 0 %d %d %.3f %d_%d_%04d\"\n}\n\n", size.x, size.y, size.x, size.y,
          composition.view.view_pixel_aspect(), size.x, size.y, 1);
  out.add("Viewer {\n fps %.2f\n}\n\n", fps);
}

}  // namespace

std::string nuke_nodes(const state& composition, const std::vector<int>& layers) {
  walk nodes{composition, {}};
  nodes.stack(layers);
  return nodes.out.take();
}

std::string nuke_script(const state& composition) {
  walk script{composition, {}};
  script.root();
  std::vector<int> layers;
  for (int i = 0; i < composition.doc.track_count(); ++i) layers.push_back(i);
  script.stack(layers);
  return script.out.take();
}

}  // namespace ksn
