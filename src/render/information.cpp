#include "render/information.h"

#include <algorithm>

#include "command/messages.h"

namespace render {
namespace {

std::string pixel_form(const img::image& picture) {
  std::string letters;
  for (const char letter : picture.format) {
    if (letter != 0) letters += letter;
  }
  switch (picture.depth[0]) {
    case 16:
      return letters + " half";
    case 32:
      return letters + " packed 10-bit";
    default:
      return letters + " " + std::to_string(picture.depth[0]) + "-bit";
  }
}

std::string in_one_line(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; }, ' ');
  return text;
}

// The selected layer, or null with the line that says so.
const ksn::track_info* selected_layer(command::engine& engine) {
  const ksn::state& composition = engine.composition();
  const int index = composition.doc.selected_index();
  if (index < composition.doc.track_count()) return &composition.doc.track_at(index);
  engine.report(command::about(engine.current_option(), command::option_needs_layer));
  return nullptr;
}

void print_metadata(command::engine& engine, pipeline& pipeline) {
  const ksn::track_info* track = selected_layer(engine);
  if (track == nullptr) return;
  const double position = track->source_position(engine.composition().doc.tm_t);
  if (position < 0) {
    engine.report(command::about(engine.current_option(), "The layer has no picture at the current time"));
    return;
  }
  const img::const_image_ptr picture = pipeline.native_frame(*track, static_cast<int>(position));
  if (picture == nullptr) return;
  for (const std::string& line : describe_picture(*picture)) {
    const std::size_t equals = std::min(line.find('='), line.size());
    engine.print_value("", line.substr(0, equals), line.substr(std::min(equals + 1, line.size())));
  }
}

void print_image_layers(command::engine& engine) {
  const ksn::track_info* track = selected_layer(engine);
  if (track == nullptr) return;
  for (const img::layer& layer : track->source.image_layers) {
    if (layer.is_default()) continue;
    engine.json ? engine.print_value("", "image_layer", layer.name) : engine.write_output(layer.name);
  }
}

}  // namespace

std::vector<std::string> describe_picture(const img::image& picture) {
  std::vector<std::string> lines;
  const auto add = [&](const std::string& name, const std::string& value) {
    lines.push_back(in_one_line(name + "=" + value));
  };
  add("path", picture.path);
  add("size", std::to_string(picture.width) + "x" + std::to_string(picture.height));
  add("pixel_form", pixel_form(picture));
  add("frame", picture.frame >= 0 ? std::to_string(picture.frame) : "");
  add("timecode", to_text(picture.timecode));
  add("timecode2", to_text(picture.timecode2));
  add("keycode", to_text(picture.keycode));
  const bool has_rate = picture.frame_rate_nm > 0 && picture.frame_rate_dn > 0;
  add("rate", has_rate ? std::to_string(picture.frame_rate_nm) + "/" + std::to_string(picture.frame_rate_dn) : "");
  for (const auto& [name, value] : picture.metadata) add(name, value);
  return lines;
}

void register_information(command::engine& engine, pipeline& pipeline) {
  engine.add({.group = command::action_group::information,
              .name = "print_metadata",
              .help = "print what the selected layer's frame carries: size, pixels, time codes, rate, metadata",
              .execute = [&] { print_metadata(engine, pipeline); }});
  engine.add({.group = command::action_group::information,
              .name = "print_image_layers",
              .help = "print the names that --image_layer takes for the selected layer's file",
              .execute = [&] { print_image_layers(engine); }});
}

}  // namespace render
