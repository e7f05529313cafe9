#include <algorithm>
#include <cmath>

#include "composition/export/correction_stages.h"
#include "composition/export/export.h"
#include "composition/export/template_text.h"
#include "composition/opening/sequence_pattern.h"
#include "lib/paths.h"
#include "lib/utf.h"
#include "platform/files.h"

namespace ksn {
namespace {

// The text between the quotes of a string.
std::string js_text(std::string_view utf8) {
  constexpr char hex[] = "0123456789abcdef";
  std::string out;
  for (const char16_t unit : lib::to_utf16(utf8)) {
    if (unit == u'"' || unit == u'\\') {
      out += {'\\', static_cast<char>(unit)};
    } else if (unit == u'\n') {
      out += "\\n";
    } else if (unit >= 32 && unit < 127) {
      out += static_cast<char>(unit);
    } else {
      out += {'\\', 'u', hex[unit >> 12], hex[unit >> 8 & 15], hex[unit >> 4 & 15], hex[unit & 15]};
    }
  }
  return out;
}

// Names of files are addresses there, in which a percent sign announces a coded byte.
std::string js_path(std::string_view path) {
  std::string address;
  for (const char c : path) address += c == '%' ? std::string("%25") : std::string(1, c);
  return js_text(address);
}

std::string_view js_bool(bool value) {
  return value ? "true" : "false";
}

bool has_sound_only(const track_info& layer) {
  return layer.source.type == source_type::wave || layer.source.type == source_type::embedded_audio;
}

bool has_file(const track_info& layer) {
  return (layer.source.is_decoded() || layer.source.type == source_type::wave) && !layer.source.path.empty();
}

// The first file of a sequence that is there; the other program finds the rest.
std::string file_of(const track_info& layer) {
  const layer_source& source = layer.source;
  if (source.type != source_type::sequence) return source.path;
  for (std::size_t i = 0; i < source.names.size(); ++i) {
    if (platform::file_exists(source.file_of(i))) return source.file_of(i);
  }
  return source.names.empty() ? source.path : source.file_of(0);
}

std::string_view alpha_mode(alpha_type type) {
  switch (type) {
    case alpha_type::ignore:
      return "AlphaMode.IGNORE";
    case alpha_type::pm:
      return "AlphaMode.PREMULTIPLIED";
    default:
      return "AlphaMode.STRAIGHT";
  }
}

std::string_view blending_mode(blend_type type) {
  switch (type) {
    case blend_type::add:
      return "BlendingMode.ADD";
    case blend_type::multiply:
      return "BlendingMode.MULTIPLY";
    case blend_type::screen:
      return "BlendingMode.SCREEN";
    case blend_type::difference:
      return "BlendingMode.DIFFERENCE";
    default:
      return "BlendingMode.NORMAL";
  }
}

struct walk {
  const state& composition;
  double fps;
  template_text out;

  void item(const track_info& layer);
  void transform(const track_info& layer);
  void correction(const track_info& layer);
  void layer_block(const track_info& layer);
  void script();
};

void walk::item(const track_info& layer) {
  const layer_source& source = layer.source;
  // One source frame lasts as long there as it does here.
  const double rate = fps / std::max(layer.timing.retime, 0.001);
  if (has_file(layer)) {
    out.add("      var io = new ImportOptions;\n\n");
    out.add("      io.file = new File( \"%s\" );\n", std::string_view(js_path(file_of(layer))));
    out.add("      io.sequence = %s;\n\n", js_bool(source.type == source_type::sequence));
    out.add("      var item = project.importFile( io );\n");
  } else {
    constexpr int least_side = 4;  // that a placeholder there takes
    constexpr int most_side = 30000;
    const int width = source.width > 0 ? source.width : composition.doc.mask_size.x;
    const int height = source.height > 0 ? source.height : composition.doc.mask_size.y;
    out.add("      var item = project.importPlaceholder( \"%s\", %d, %d, %f, %f );\n\n",
            std::string_view(js_text(layer.name)), std::clamp(width, least_side, most_side),
            std::clamp(height, least_side, most_side), rate, layer.length() / fps);
  }
  // A still has no rate and sound no picture: setting one would stop the script.
  if (!has_sound_only(layer)) {
    out.add("      var source = item.mainSource;\n\n");
    if (source.type != source_type::image) {
      out.add("      source.conformFrameRate = %f;\n", rate);
      out.add("      source.loop = %d;\n", std::max(1, (layer.out() + layer.length() - 1) / layer.length()));
    }
    out.add("      source.alphaMode = %s;\n\n", alpha_mode(layer.look.alpha_type));
    out.add("      item.pixelAspect = %f;\n", layer.placement.aspect);
  }
  out.add("      item.parentFolder = folder;\n\n");
}

void walk::transform(const track_info& layer) {
  const math::point size = composition.doc.mask_size;
  const layer_placement& placement = layer.placement;
  const auto of_transform = [&](std::string_view variable, std::string_view property) {
    out.add("      var %s = layer.property( \"Transform\" ).property( \"%s\" );\n", variable, property);
  };
  of_transform("position", "Position");
  out.add("      position.setValue( [ %d, %d ] );\n\n", size.x / 2 + placement.pos.x, size.y / 2 + placement.pos.y);
  of_transform("scale", "Scale");
  out.add("      scale.setValue( [ %d, %d ] );\n\n", placement.flip_x ? -placement.scale_x : placement.scale_x,
          placement.flip_y ? -placement.scale_y : placement.scale_y);
  of_transform("opacity", "Opacity");
  out.add("      opacity.setValue( %d );\n\n", layer.look.opacity);
}

void walk::correction(const track_info& layer) {
  constexpr std::string_view colors[] = {"Red", "Green", "Blue"};
  const correction_stages stages(layer.look.tf);
  const auto effect = [&](std::string_view variable, std::string_view name, std::string_view end) {
    out.add("      var %s = layer.property( \"Effects\" ).addProperty( \"%s\" );\n%s", variable, name, end);
  };
  // One exposure for all channels; what they differ by goes into their gains.
  const double stops = mean(stages.stops);
  rgb_values balance = stages.multiply;
  for (double& factor : balance) factor /= std::exp2(stops);
  if (equal(stages.stops) && equal(stages.multiply)) balance = {1, 1, 1};
  if (stops != 0) {
    effect("cc_exp", "Exposure", "");
    out.add("      cc_exp.property( \"Exposure\" ).setValue( %.2f );\n\n", stops);
  }
  if (!all(stages.lift, 0) || !all(stages.gain, 1) || !all(balance, 1)) {
    effect("cc_lgg", "Gamma/Pedestal/Gain", "\n");
    for (std::size_t i = 0; i < 3; ++i) {
      out.add("      cc_lgg.property( \"%s Pedestal\" ).setValue( %f );\n", colors[i], stages.lift[i]);
      out.add("      cc_lgg.property( \"%s Gamma\" ).setValue( %f );\n", colors[i], 1.0);
      // From pedestal to gain: the balance scales that way.
      out.add("      cc_lgg.property( \"%s Gain\" ).setValue( %f );\n\n", colors[i],
              stages.lift[i] + (stages.gain[i] - stages.lift[i]) * balance[i]);
    }
  }
  if (!all(stages.gamma, 1)) {
    effect("cc_lgg2", "Gamma/Pedestal/Gain", "\n");
    for (std::size_t i = 0; i < 3; ++i) {
      out.add("      cc_lgg2.property( \"%s Gamma\" ).setValue( %f );\n%s", colors[i], stages.gamma[i],
              std::string_view(i == 2 ? "\n" : ""));
    }
  }
  if (stages.has_contrast()) {
    effect("cc_bnc", "Brightness & Contrast", "");
    const auto percent = [](double value) { return std::clamp(value * 100, -100.0, 100.0); };
    out.add("      cc_bnc.property( \"Brightness\" ).setValue( %.1f );\n", percent(mean(stages.brightness)));
    out.add("      cc_bnc.property( \"Contrast\" ).setValue( %f );\n\n", percent(mean(stages.contrast) - 1));
  }
  if (stages.has_hue()) {
    effect("cc_hst", "Hue/Saturation", "");
    out.add("      cc_hst.property( \"Master Hue\" ).setValue( %d );\n", static_cast<int>(std::rint(mean(stages.hue))));
    out.add("      cc_hst.property( \"Master Saturation\" ).setValue( %d );\n\n",
            static_cast<int>(std::rint(std::clamp(mean(stages.saturation) * 100 - 100, -100.0, 100.0))));
  }
  if (layer.look.tf.disable_cc) out.add("      layer.effectsActive = false;\n");
}

void walk::layer_block(const track_info& layer) {
  out.add("   {\n");
  item(layer);
  out.add("      var layer = layers.add( item );\n\n");
  const int begin = layer.timing.begin;
  out.add("      layer.startTime = %f;\n", begin / fps);
  out.add("      layer.inPoint = %f;\n", (static_cast<double>(begin) + layer.in()) / fps);
  out.add("      layer.outPoint = %f;\n", (static_cast<double>(begin) + layer.out()) / fps);
  out.add("      layer.enabled = %s;\n", js_bool(layer.look.visible));
  if (!has_sound_only(layer)) {
    out.add("      layer.blendingMode = %s;\n\n", blending_mode(layer.look.blend_type));
    if (layer.source.type == source_type::adjustment) out.add("      layer.adjustmentLayer = true;\n\n");
    transform(layer);
    correction(layer);
  }
  out.add("   }\n\n");
}

void walk::script() {
  const document& doc = composition.doc;
  const std::string file = composition.file_name.empty() ? "unnamed" : lib::file_name(composition.file_name);
  const std::string name = js_text(lib::split_extension(file).stem);
  const lib::color back = doc.resolved_back_color();
  out.add("{\n");
  out.add("   app.beginUndoGroup( \"Import %s\" );\n\n", std::string_view(js_text(file)));
  out.add("   var project = app.project;\n");
  out.add("   var comp = project.items.addComp( \"%s\", %d, %d, %f, %f, %.2f );\n", std::string_view(name),
          doc.mask_size.x, doc.mask_size.y, composition.view.view_pixel_aspect(), doc.tm_n / fps, fps);
  out.add("   var folder = project.items.addFolder( \"%s\" );\n\n", std::string_view(name));
  out.add("   comp.workAreaStart = %f;\n", doc.tm_f / fps);
  out.add("   comp.workAreaDuration = %f;\n", (doc.tm_l - doc.tm_f) / fps);
  out.add("   comp.bgColor = [ %f, %f, %f ];\n\n", back.r / 255.0, back.g / 255.0, back.b / 255.0);
  out.add("   var layers = comp.layers;\n\n");
  // A layer that is added goes on top.
  for (int i = doc.track_count() - 1; i >= 0; --i) layer_block(doc.track_at(i));
  out.add("   app.endUndoGroup();\n");
  out.add("}\n");
}

}  // namespace

std::string after_effects_script(const state& composition) {
  walk script{composition, composition.doc.fpcs / 100.0, {}};
  script.script();
  return script.out.take();
}

}  // namespace ksn
