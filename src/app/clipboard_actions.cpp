#include "app/clipboard_actions.h"

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "app/dialog_actions.h"
#include "command/messages.h"
#include "img/row_kernels.h"
#include "platform/files.h"
#include "render/compositor.h"
#include "save/screen.h"

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

int hex_digit(char c) {
  return c >= '0' && c <= '9'   ? c - '0'
         : c >= 'a' && c <= 'f' ? c - 'a' + 10
         : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                : -1;
}

// The path of `file://HOST/PATH`, where `%` and two digits are a byte.
std::string path_of_address(std::string_view address) {
  address.remove_prefix(file_address.size());
  address.remove_prefix(std::min(address.find('/'), address.size()));
  std::string path;
  for (std::size_t i = 0; i < address.size(); ++i) {
    const bool coded =
        address[i] == '%' && i + 2 < address.size() && hex_digit(address[i + 1]) >= 0 && hex_digit(address[i + 2]) >= 0;
    path += coded ? static_cast<char>(hex_digit(address[i + 1]) * 16 + hex_digit(address[i + 2])) : address[i];
    if (coded) i += 2;
  }
  return path;
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

render::frame_view mask_view(const ksn::state& composition) {
  render::frame_view view;
  view.width = composition.doc.mask_size.x;
  view.height = composition.doc.mask_size.y;
  return view;
}

bool paste_commands(const clipboard_parts& parts, platform::desktop& desktop) {
  const std::string text = desktop.clipboard_text();
  if (!is_command_text(text)) return false;
  run_and_tell(parts.engine, desktop, [&] { parts.engine.run_command_line(text); });
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

}  // namespace

void register_clipboard_actions(const clipboard_parts& parts) {
  const auto add = [&](const char* name, auto run) {
    command::action& action = parts.engine.action_table[name];
    action.execute = [parts, name, run] {
      if (platform::desktop* desktop = parts.desktop()) {
        run(parts, *desktop);
      } else {
        parts.engine.report(command::about(std::string("--") + name, command::not_available) + " without a window");
      }
    };
    return &action;
  };
  // Without a window the line that says so is of more use than silence.
  const auto enable = [&](command::action* action, auto holds) {
    action->enabled = [parts, holds] { return !parts.desktop() || holds(*parts.desktop()); };
  };
  const auto has_commands = [](platform::desktop& desktop) { return is_command_text(desktop.clipboard_text()); };
  const auto has_files = [](platform::desktop& desktop) { return !files_of(desktop.clipboard_text()).empty(); };
  const auto has_picture = [](platform::desktop& desktop) { return desktop.has_clipboard_picture(); };

  add("clipboard_copy_mask", [](const clipboard_parts& p, platform::desktop& desktop) {
    copy_picture(p, desktop, mask_view(p.engine.composition()));
  });
  add("clipboard_copy_screen", [](const clipboard_parts& p, platform::desktop& desktop) {
    const math::point size = desktop.client_size();
    copy_picture(p, desktop, save::screen_view(p.engine.composition(), size.x, size.y));
  });
  enable(add("clipboard_paste_ksncmd", paste_commands), has_commands);
  enable(add("clipboard_paste_frame", paste_files), has_files);
  enable(add("clipboard_paste_image", paste_picture), has_picture);
  enable(
      add("clipboard_paste",
          [](const clipboard_parts& p, platform::desktop& desktop) {
            paste_commands(p, desktop) || paste_files(p, desktop) || paste_picture(p, desktop);
          }),
      [=](platform::desktop& desktop) { return has_commands(desktop) || has_files(desktop) || has_picture(desktop); });
}

}  // namespace app
