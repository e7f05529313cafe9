#include "app/clipboard_actions.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "app/dialog_actions.h"
#include "command/messages.h"
#include "command/option_text.h"
#include "command/values.h"
#include "composition/editing/undo.h"
#include "composition/export/export.h"
#include "img/row_kernels.h"
#include "lib/format.h"
#include "lib/percent.h"
#include "platform/files.h"
#include "render/compositor.h"
#include "save/preview_view.h"

namespace app {
namespace {

constexpr std::string_view command_marker = "--ksncmd";
constexpr std::string_view file_address = "file://";

std::string_view without_return(std::string_view line) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

bool is_command_text(std::string_view text) {
  return without_return(text.substr(0, text.find('\n'))) == command_marker;
}

// The path of `file://HOST/PATH`, where `%` and two digits are a byte.
std::string path_of_address(std::string_view address) {
  address.remove_prefix(file_address.size());
  address.remove_prefix(std::min(address.find('/'), address.size()));
  return lib::decode_percent(address);
}

// The files that the text names, one a line; none when a line is something else.
std::vector<std::string> files_of(std::string_view text) {
  std::vector<std::string> paths;
  while (!text.empty()) {
    const std::string_view line = without_return(text.substr(0, text.find('\n')));
    text.remove_prefix(std::min(text.find('\n'), text.size() - 1) + 1);
    if (line.empty()) continue;
    const std::string path = line.starts_with(file_address) ? path_of_address(line) : std::string(line);
    if (!path.starts_with('/') || !platform::file_exists(path)) return {};
    paths.push_back(path);
  }
  return paths;
}

void copy_picture(const clipboard_parts& parts, platform::desktop& desktop, const render::frame_view& view) {
  const ksn::state& composition = parts.engine.composition();
  img::image picture;
  render::render_frame(parts.pipeline, composition, picture, view, parts.shown_time());
  std::vector<std::uint8_t> pixels(img::plane_bytes(32, picture.width, picture.height));
  for (int y = 0; y < picture.height; ++y) {
    img::active_row_kernels().join4(picture.row(0, y), picture.row(1, y), picture.row(2, y), picture.row(3, y),
                                    pixels.data() + img::plane_bytes(32, picture.width, y),
                                    static_cast<std::size_t>(picture.width));
  }
  desktop.set_clipboard_picture(pixels.data(), picture.width, picture.height);
}

std::vector<int> selected_layers(const clipboard_parts& parts) {
  const std::set<int>& selection = parts.engine.composition().doc.selection;
  return {selection.begin(), selection.end()};
}

void copy_layers(const clipboard_parts& parts, platform::desktop& desktop) {
  desktop.set_clipboard_text(std::string(command_marker) + "\n" +
                             command::layers_as_options(parts.engine, selected_layers(parts)));
}

void copy_correction(const clipboard_parts& parts, platform::desktop& desktop) {
  desktop.set_clipboard_text(
      std::string(command_marker) + "\n" +
      command::correction_as_options(parts.engine, *parts.engine.composition().doc.selected_track()));
}

void copy_nodes(const clipboard_parts& parts, platform::desktop& desktop) {
  desktop.set_clipboard_text(ksn::nuke_nodes(parts.engine.composition(), selected_layers(parts)));
}

bool paste_commands(const clipboard_parts& parts, platform::desktop& desktop) {
  const std::string text = desktop.clipboard_text();
  if (!is_command_text(text)) return false;
  ksn::state& composition = parts.engine.composition();
  const ksn::undo_capture before(composition);
  const auto step = composition.undo_stack;
  const int layers = composition.doc.track_count();
  run_and_tell(parts.engine, desktop, [&] { parts.engine.run_command_line(text); });
  // A pasted correction is a step; a step that the commands made themselves stays.
  if (composition.undo_stack == step && composition.doc.track_count() == layers) {
    before.remember(composition, {"paste"}, ksn::undo_rule::as_left, false);
  }
  return true;
}

bool paste_files(const clipboard_parts& parts, platform::desktop& desktop) {
  const std::vector<std::string> paths = files_of(desktop.clipboard_text());
  if (paths.empty()) return false;
  run_and_tell(parts.engine, desktop, [&] {
    for (const std::string& path : paths) parts.engine.run_option("--add_layer=" + path);
  });
  return true;
}

bool paste_picture(const clipboard_parts& parts, platform::desktop& desktop) {
  std::vector<std::uint8_t> pixels;
  int width = 0;
  int height = 0;
  if (!desktop.clipboard_picture(pixels, width, height) || width < 1 || height < 1 || width > img::max_dimension ||
      height > img::max_dimension) {
    return false;
  }
  auto picture = std::make_shared<img::image>("BGRA", 8, width, height);
  picture->set_centre_anchor();
  for (int y = 0; y < height; ++y) {
    img::active_row_kernels().split4(pixels.data() + img::plane_bytes(32, width, y), picture->row(0, y),
                                     picture->row(1, y), picture->row(2, y), picture->row(3, y),
                                     static_cast<std::size_t>(width));
  }
  ksn::state& composition = parts.engine.composition();
  ksn::track_info layer;
  layer.source.type = ksn::source_type::clipboard_image;
  layer.source.frames = 1;
  layer.source.width = width;
  layer.source.height = height;
  layer.name = composition.catalogue_text("ti_clipboard_image_name");
  layer.default_name = layer.name;
  layer.look.visible = true;
  layer.look.alpha_type = ksn::alpha_type::normal;
  layer.source.clipboard_image = std::move(picture);
  composition.enter_stack(std::move(layer), true);
  return true;
}

// A colour as three numbers from 0 to 255, red, green, blue, with commas or blanks between them, in brackets or not.
std::optional<lib::color> color_of(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '(' || c == ')' || c == ','; }, ' ');
  const std::vector<std::string> words = command::tokenise(text);
  lib::color color{255, 0, 0, 0};
  int parts[3];
  if (words.size() != 3) return std::nullopt;
  for (std::size_t i = 0; i < 3; ++i) {
    if (!command::read_int(words[i], parts[i], 0, 255)) return std::nullopt;
  }
  color.r = static_cast<std::uint8_t>(parts[0]);
  color.g = static_cast<std::uint8_t>(parts[1]);
  color.b = static_cast<std::uint8_t>(parts[2]);
  return color;
}

command::action paste_color_row(const clipboard_parts& parts) {
  const auto color = [parts]() -> std::optional<lib::color> {
    platform::desktop* desktop = parts.desktop();
    if (!desktop) return std::nullopt;
    const std::string text = desktop->clipboard_text();
    return text.size() > 40 ? std::nullopt : color_of(text);
  };
  ksn::state& composition = parts.engine.composition();
  return {.group = command::action_group::menu_choice,
          .name = "back_color_paste_color",
          .help = "put the colour on the clipboard behind the layers",
          .execute =
              [&composition, color] {
                if (const auto pasted = color()) composition.doc.set_back_color(*pasted);
              },
          .enabled = [color] { return color().has_value(); },
          .title =
              [&composition, color] {
                const lib::color pasted = color().value_or(composition.doc.resolved_back_color());
                return lib::format(composition.catalogue_text("back_color_paste_color"), pasted.r, pasted.g, pasted.b);
              }};
}

}  // namespace

void register_clipboard_actions(const clipboard_parts& parts) {
  struct row {
    const char* name;
    const char* help;
    const char* keys;
    int position;  // in the menu; 0 for none
    std::function<void(const clipboard_parts&, platform::desktop&)> run;
    std::function<bool(platform::desktop&)> enabled;  // asked where there is a window
  };
  const auto has_commands = [](platform::desktop& desktop) { return is_command_text(desktop.clipboard_text()); };
  const auto has_files = [](platform::desktop& desktop) { return !files_of(desktop.clipboard_text()).empty(); };
  const auto has_picture = [](platform::desktop& desktop) { return desktop.has_clipboard_picture(); };
  const ksn::document& doc = parts.engine.composition().doc;
  const auto some_selected = [&doc](platform::desktop&) { return doc.has_selection(); };
  const auto one_selected = [&doc](platform::desktop&) { return doc.selected_track() != nullptr; };
  const row rows[] = {
      {"clipboard_copy_layer", "copy the selected layers as option text", "", 20, copy_layers, some_selected},
      {"clipboard_copy_cc", "copy the selected layer's colour correction as option text", "", 21, copy_correction,
       one_selected},
      {"clipboard_copy_layer_as_nk", "copy the selected layers as Nuke nodes", "", 22, copy_nodes, some_selected},
      {"clipboard_copy_mask",
       "copy the composite as a picture",
       "",
       30,
       [](const clipboard_parts& p, platform::desktop& desktop) {
         copy_picture(p, desktop, render::output_view(p.engine.composition().doc, p.engine.composition().view));
       },
       {}},
      {"clipboard_copy_screen",
       "copy the preview area as a picture",
       "",
       31,
       [](const clipboard_parts& p, platform::desktop& desktop) {
         const math::point size = desktop.client_size();
         copy_picture(p, desktop, save::saved_screen(p.engine.composition(), size.x, size.y));
       },
       {}},
      {"clipboard_paste", "run the option text on the clipboard, or add its files or its picture as layers", "Ctrl+V",
       40,
       [](const clipboard_parts& p, platform::desktop& desktop) {
         paste_commands(p, desktop) || paste_files(p, desktop) || paste_picture(p, desktop);
       },
       [=](platform::desktop& desktop) { return has_commands(desktop) || has_files(desktop) || has_picture(desktop); }},
      {"clipboard_paste_ksncmd", "run the option text on the clipboard", "", 0, paste_commands, has_commands},
      {"clipboard_paste_frame", "add the files on the clipboard as layers", "", 41, paste_files, has_files},
      {"clipboard_paste_image", "add the picture on the clipboard as a layer", "", 42, paste_picture, has_picture},
  };
  for (const row& row : rows) {
    command::action action;
    action.group = command::action_group::clipboard;
    action.name = row.name;
    action.help = row.help;
    action.keys = row.keys;
    if (row.position) action.menu = {"mi_edit", row.position};
    action.execute = [parts, name = row.name, run = row.run] {
      if (platform::desktop* desktop = parts.desktop()) {
        run(parts, *desktop);
      } else {
        parts.engine.report(command::about(std::string("--") + name, command::not_available) + " without a window");
      }
    };
    // Without a window the line that says so is of more use than silence.
    if (row.enabled) {
      action.enabled = [parts, enabled = row.enabled] { return !parts.desktop() || enabled(*parts.desktop()); };
    }
    parts.engine.add(std::move(action));
  }
  parts.engine.add(paste_color_row(parts));
}

}  // namespace app
