// The interface between window and toolkit: events go in, wishes to draw come out, and its picture can be saved without
// a window.
#include <algorithm>
#include <cstdio>

#include "app/dialog_actions.h"
#include "app/window_run.h"
#include "command/menu.h"
#include "composition/documents/recent_items.h"
#include "lib/paths.h"
#include "platform/folders.h"
#include "render/image_pool.h"
#include "save/picture_file.h"
#include "save/preview_view.h"

namespace app {
namespace {

constexpr int largest_client = 32767;  // pixels, of the window system

}  // namespace

void window_run::make_interface() {
  ui::window_parts parts{{parts_.composition, parts_.engine, parts_.pipeline, parts_.clock, keys_,
                          parts_.errors ? *parts_.errors : no_errors_, board_, parts_.product_title},
                         parts_.drawing ? *parts_.drawing : no_drawing_,
                         [this] { return interface_size(); }};
  parts.set_cursor = [this](platform::cursor_shape shape) {
    if (desktop()) desktop_->set_cursor(shape);
  };
  parts.run_key = [this](int code) { return run_key(code); };
  parts.context_menu = [this](std::string_view menu, math::point at) {
    const std::vector<platform::menu_entry> entries = command::context_menu({parts_.engine, keys_, parts_.text}, menu);
    const std::string command = command::command_of(entries, popup_menu(entries, at));
    if (!command.empty()) choose(command);
  };
  parts.run = [this](const std::string& command) { choose(command); };
  parts.work_area_changed = [this] {
    parts_.loader.preload_after_gesture(parts_.composition, [this] { parts_.clock.keep_alive_sweep(); });
  };
  parts.recent_sources = [] {
    std::vector<std::string> paths;
    std::string folder;
    if (!platform::get_folder(platform::folder_kind::local_data, false, folder)) return paths;
    ksn::recent_lists lists = ksn::read_recent(folder);
    for (const ksn::recent_item& item : lists[ksn::added_items]) paths.push_back(item.path);
    return paths;
  };
  parts.text = parts_.text;
  parts.popup_menu = [this](const std::vector<platform::menu_entry>& entries, math::point at) {
    return popup_menu(entries, at);
  };
  parts.clipboard_text = [this] { return desktop() ? desktop_->clipboard_text() : std::string(); };
  parts.set_clipboard_text = [this](const std::string& text) {
    if (desktop()) desktop_->set_clipboard_text(text);
  };
  parts.milliseconds = [this] { return milliseconds(); };
  parts.saves = parts_.saves;
  parts.news = parts_.news;
  interface_ = std::make_unique<ui::window>(std::move(parts));

  command::engine& engine = parts_.engine;
  engine.add({.group = command::action_group::save,
              .name = "save_window_as",
              .value_form = "PATH",
              .value_help = "save what the whole window shows, with or without a window",
              .execute_value = [this](const std::string& path) { return save_window_as(path); }});
  engine.add({.group = command::action_group::window,
              .name = "window_size",
              .value_form = "W,H",
              .value_help = "the size of the window's content in pixels",
              .execute_value = [this](const std::string& value) {
                math::point size;
                char rest = 0;
                if (std::sscanf(value.c_str(), "%d,%d%c", &size.x, &size.y, &rest) != 2) return false;
                if (size.x < 1 || size.y < 1 || size.x > largest_client || size.y > largest_client) return false;
                pending_client_size_ = size;
                if (desktop()) desktop_->set_client_size(size);
                return true;
              }});
  engine.add({.group = command::action_group::window,
              .name = "ui_scale",
              .value_form = "1|2|auto",
              .value_help = "the size of the interface; auto goes by the screen of the window",
              .execute_value = [this](const std::string& value) {
                if (value != "1" && value != "2" && value != "auto") return false;
                wanted_scale_ = value == "auto" ? 0 : value[0] - '0';
                refresh_scale();
                return true;
              }});
}

platform::window_events window_run::events() {
  platform::window_events events;
  events.key = [this](int code) {
    redraw_ = true;
    carry_out([&] { owe(interface_->input().key_down(code)); });
  };
  events.text = [this](const std::string& text) { carry_out([&] { owe(interface_->input().text(text)); }); };
  events.composing = [this](const std::string& text) { carry_out([&] { owe(interface_->input().composing(text)); }); };
  events.modifiers = [this](int modifiers) {
    carry_out([&] { owe(interface_->input().modifiers_changed(modifiers)); });
  };
  events.mouse = [this](const platform::mouse_event& event) { carry_out([&] { on_mouse(event); }); };
  events.dropped = [this](const std::vector<std::string>& paths) { drop(paths); };
  events.focus_lost = [this] { owe(interface_->input().focus_lost()); };
  events.capture_lost = [this] { owe(interface_->input().cancel_drag()); };
  events.scale_changed = [this] { refresh_scale(); };
  events.close_requested = [this] { close_requested_ = true; };
  events.open_menu = [this](std::size_t menu) {
    return command::main_menu({parts_.engine, keys_, parts_.text}, command::main_menus()[menu]);
  };
  events.menu_chosen = [this](const std::string& command) { choose(command); };
  events.modal_tick = [this] { modal_tick(); };
  events.display_lost = [this] { lose_display(); };
  return events;
}

void window_run::run_out_of_memory() {
  // The gesture can't go on from where it broke.
  const bool dragging = interface_->input().dragging();
  owe(interface_->input().cancel_drag());
  parts_.frames.trim(parts_.frames.memory_reserve_percent);
  const command::execution running(parts_.engine);
  parts_.engine.report(dragging ? "Not enough memory; what was dragged is as it was before" : "Not enough memory");
}

void window_run::on_mouse(const platform::mouse_event& event) {
  using platform::mouse_action;
  ui::input& input = interface_->input();
  input.set_pressure(event.pressure);
  switch (event.action) {
    case mouse_action::press:
    case mouse_action::double_click: {
      const bool twice = event.action == mouse_action::double_click;
      return owe(input.mouse_down(event.button, event.position, twice, event.modifiers));
    }
    case mouse_action::release:
      return owe(input.mouse_up(event.button, event.position, event.modifiers));
    case mouse_action::move:
      return owe(input.mouse_move(event.position, event.modifiers));
    case mouse_action::wheel:
      if (event.wheel != 0) owe(input.mouse_wheel(event.position, event.wheel, 0, event.modifiers));
      if (event.wheel_x != 0) owe(input.mouse_wheel(event.position, event.wheel_x, 1, event.modifiers));
      return;
    case mouse_action::leave:
      return owe(input.mouse_leave());
  }
}

// Escape leaves full screen before it does anything else that it is bound to.
bool window_run::run_key(int code) {
  if (code == command::parse_key("escape") && parts_.composition.workspace.full_screen) {
    set_fullscreen(false);
    return true;
  }
  const std::vector<std::string> commands = keys_.commands_of(code);
  for (const std::string& command : commands) {
    // Error lines show over the picture: a box would take the next key.
    const command::action* row = parts_.engine.find_action(command);
    if (command == "save_composition" || (row && row->ask)) {
      choose(command);
    } else {
      const command::execution running(parts_.engine);
      parts_.engine.run_command(command);
    }
  }
  return !commands.empty();
}

void window_run::owe(const ui::redraw& wish) {
  redraw_ = redraw_ || wish.now;
  if (wish.within < 0) return;
  const std::uint32_t at = milliseconds() + static_cast<std::uint32_t>(wish.within);
  // The counter wraps: the earlier one is the one that comes after the other.
  if (!due_ || static_cast<std::int32_t>(at - *due_) < 0) due_ = at;
}

bool window_run::interface_is_due() const {
  return due_ && static_cast<std::int32_t>(milliseconds() - *due_) >= 0;
}

void window_run::pass_interface(std::uint32_t elapsed_milliseconds) {
  if (!desktop()) return;
  ui::input& input = interface_->input();
  if (look_for_pointer_ && !modal_) {
    look_for_pointer_ = false;
    const std::optional<math::point> at = desktop_->pointer();
    owe(at ? input.mouse_move(*at, desktop_->modifiers()) : input.mouse_leave());
  }
  const bool typing = input.focus() != nullptr;
  if (typing != text_input_) {
    text_input_ = typing;
    desktop_->set_text_input(typing);
  }
  if (typing) {
    const math::rectangle caret = input.focus()->caret();
    if (caret != std::exchange(told_caret_, caret)) desktop_->set_text_caret(caret);
  }
  const bool live = !modal_ && desktop_->is_foreground();
  ui::redraw wish;
  carry_out(
      [&] { wish = interface_->pass(static_cast<int>(std::min<std::uint32_t>(elapsed_milliseconds, 10000)), live); });
  // A tip that is due shows with the pass that finds it so: the time until then needs no picture.
  redraw_ = redraw_ || wish.now;
}

int window_run::popup_menu(const std::vector<platform::menu_entry>& entries, math::point at) {
  if (!desktop() || entries.empty()) return -1;
  const int chosen = desktop_->popup_menu(entries, at);
  look_for_pointer_ = true;
  redraw_ = true;
  return chosen;
}

math::point window_run::interface_size() const {
  math::point size{save::default_client_width, save::default_client_height};
  client_area(size.x, size.y);
  return size;
}

void window_run::refresh_scale() {
  const int scale = wanted_scale_ > 0 ? wanted_scale_ : desktop() ? desktop_->scale() : 1;
  if (scale == parts_.composition.interface_scale) return;
  parts_.composition.interface_scale = scale;
  redraw_ = true;
}

void window_run::load_keys() {
  if (keys_.bindings().empty()) keys_.load_folders();
}

bool window_run::save_window_as(const std::string& path) {
  save::target target;
  std::string line;
  if (!save::find_target(path, target, line)) {
    parts_.engine.report(line);
    return true;
  }
  load_keys();
  try {
    // Without a window no turn has looked.
    do {
      board_.update(parts_.composition);
    } while (board_.is_busy());
    const img::image_ptr picture = render::empty_image();
    interface_->draw(*picture, interface_size(), parts_.clock.shown_time(), nullptr);
    // A window is opaque.
    const img::image_ptr opaque = render::pooled_image("BGR", picture->width, picture->height);
    for (int plane = 0; plane < 3; ++plane) {
      std::copy_n(picture->row(plane, 0), opaque->data[plane].size(), opaque->row(plane, 0));
    }
    line = save::write_picture({opaque, nullptr, {}}, target.path, *target.format, {});
  } catch (const std::bad_alloc&) {
    line = '"' + target.path + "\": Not enough memory";
  }
  if (!line.empty()) parts_.engine.report(line);
  return true;
}

}  // namespace app
