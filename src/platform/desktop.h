// The window and all that a desktop gives beside it. The program without a window never loads an implementation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "lib/point.h"
#include "lib/rectangle.h"
#include "platform/audio_device.h"

namespace platform {

// Virtual keys with 0x10000 for Shift, 0x20000 for Ctrl, 0x40000 for Alt.
constexpr int key_shift = 0x10000;
constexpr int key_ctrl = 0x20000;
constexpr int key_alt = 0x40000;
// Caps Lock is on. Among the modifiers of events and of desktop::modifiers(), never in the code of a key.
constexpr int key_caps = 0x80000;

enum class mouse_button { none, left, middle, right };
enum class mouse_action { press, release, double_click, move, wheel, leave };

struct mouse_event {
  mouse_action action = mouse_action::move;
  mouse_button button = mouse_button::none;
  math::point position;  // in picture pixels of the window's content
  int wheel = 0;         // a notch is 120
  int modifiers = 0;     // key_shift, key_ctrl, key_alt, key_caps
  int wheel_x = 0;       // of the sideways wheel, a notch is 120
  double pressure = 1;   // of a pen, 0 to 1; 1 for a mouse
};

enum class cursor_shape {
  arrow,
  hand,
  move,
  cross,
  size_horizontal,
  size_vertical,
  text,
  wait,
  hidden,
  size_diagonal_down,  // from the upper left to the lower right corner
  size_diagonal_up,
  pick,   // of a colour
  brush,  // none: the program draws its own
};

// Where the window stood, as it is kept between runs.
struct window_placement {
  int flags = 0;
  int show_command = 1;  // 1 normal, 2 minimised, 3 maximised
  math::point min_position{-1, -1};
  math::point max_position{-1, -1};
  int left = 0, top = 0, right = 0, bottom = 0;
  bool operator==(const window_placement&) const = default;
};

struct monitor {
  std::string identifier;
  std::string name;
  int left = 0, top = 0, width = 0, height = 0;  // in pixels of the desktop
  double scale = 1.0;
};

// One entry of a menu as it shows at that moment.
struct menu_entry {
  std::string text;      // empty for a separator
  std::string key_text;  // shown at the right end
  bool enabled = true;
  bool checkable = false;
  bool checked = false;
  int id = 0;                       // 0 or above; what a context menu returns when this entry is chosen
  std::vector<menu_entry> entries;  // of a sub-menu; an entry with some is not chosen itself
  std::string command;              // what the entry stands for, where that is a command; told by the menu bar
  std::function<void()> reached;    // the pointer or the keys came to it while the menu is open; at once; may be empty

  bool is_separator() const { return text.empty(); }
};

struct open_form;
struct save_form;

struct file_dialog {
  std::string title;
  std::string folder;
  std::string file_name;
  std::string filter;  // "name (*.a *.b)", entries separated by ";;"
  bool save = false;
  bool several = false;
  save_form* form = nullptr;        // of a save dialog; null offers only the name
  const open_form* list = nullptr;  // of a dialog that opens; null leaves the files to the desktop
};

enum class message_answer { ok, yes, no, cancel };

// The events of the window, called on the main thread. Events of the user come from wait_events() after the toolkit's
// own event is over, so that they may open menus and dialogs; the ones below that say so come at once, from inside of
// it.
struct window_events {
  std::function<void(int key_code)> key;
  // Text that a key typed, after `key`, or that an input method made.
  std::function<void(const std::string& text)> text;
  // Text that an input method is at, which may still become any other; empty when it is done or gives up.
  std::function<void(const std::string& text)> composing;
  // Shift, Ctrl, Alt or Caps Lock alone went down or up: the state from now on.
  std::function<void(int modifiers)> modifiers;
  std::function<void(const mouse_event& event)> mouse;
  std::function<void(const std::vector<std::string>& paths)> dropped;
  std::function<void()> close_requested;
  std::function<void()> focus_lost;  // the window lost the keyboard, but not to a menu; at once
  // A menu or a dialog opens: it takes the pointer, and the release of a button that is down will not come. At once.
  std::function<void()> capture_lost;
  std::function<void()> scale_changed;
  // The entries of a menu of the menu bar, asked each time that it opens.
  std::function<std::vector<menu_entry>(std::size_t menu)> open_menu;
  std::function<void(const std::string& command)> menu_chosen;
  // While a menu or a dialog runs its own loop: keeps picture and clock going.
  std::function<void()> modal_tick;
  // The connection to the display broke. The process is about to end; nothing of the desktop works any more.
  std::function<void()> display_lost;
};

struct window_options {
  std::string title;
  int width = 940;
  int height = 800;
  int min_client_width = 440;
  int min_client_height = 330;
  bool always_on_top = false;
  const window_placement* placement = nullptr;  // null for the default
  std::vector<std::string> menus;               // titles of the menu bar
};

// A window without a frame that covers a whole monitor and shows one picture. Takes no input. Main thread.
class output_window {
 public:
  virtual ~output_window() = default;

  // In pixels of the monitor; 0 x 0 once the monitor is gone.
  virtual math::point size() const = 0;
  // As desktop::show_picture() on the main thread.
  virtual int show_picture(std::shared_ptr<const std::uint8_t> pixels, int width, int height, bool at_blank) = 0;
  // As desktop::knows_vertical_blank().
  virtual bool knows_vertical_blank() const = 0;
};

class desktop {
 public:
  virtual ~desktop() = default;

  // --- the main window; at most one ---
  virtual bool create_window(const window_options& options, window_events events) = 0;
  virtual void destroy_window() = 0;
  virtual bool window_exists() const = 0;
  virtual void set_title(const std::string& title) = 0;
  // In pixels: one pixel of a picture is one pixel of the screen, whatever the screen's scale.
  virtual math::point client_size() const = 0;
  virtual void set_client_size(math::point size) = 0;
  virtual bool is_minimised() const = 0;
  virtual bool is_foreground() const = 0;
  virtual void bring_forward() = 0;
  virtual void set_fullscreen(bool on) = 0;
  virtual bool is_fullscreen() const = 0;
  virtual void set_always_on_top(bool on) = 0;
  virtual void set_cursor(cursor_shape shape) = 0;
  // Where the pointer is, in pixels of the window's content; nothing outside of it.
  virtual std::optional<math::point> pointer() = 0;
  // key_shift and the others that are down, and key_caps while Caps Lock is on (under Wayland: at the last key).
  virtual int modifiers() = 0;
  // Of the interface on the screen of the window: 2 where one pixel of a desktop is 1.5 pixels of the screen or more,
  // else 1.
  virtual int scale() const = 0;
  // While a control takes text, input methods and dead keys compose; without, every key is a key.
  virtual void set_text_input(bool on) = 0;
  // Where that control has its caret, in pixels of the window's content: an input method shows its choices there.
  virtual void set_text_caret(const math::rectangle& /*caret*/) {}
  virtual void set_menu_visible(bool visible) = 0;
  virtual window_placement placement() const = 0;

  // --- the way to the screen ---
  // Gets the way to the screen ready; 0, or an error number below 0.
  virtual int start_presenting() = 0;
  // Shows one whole-window picture: rows of blue, green, red, unused bytes. 0, or an error number. The pixels are read
  // when the window is painted, also again later, and let go with the next picture. Any thread: on the main thread the
  // picture is painted at once, and another size than the client's is an error; from another thread it is painted as
  // soon as the main thread runs events. `at_blank`: the display swaps at its vertical blank,
  // where it can; a call from another thread returns then.
  virtual int show_picture(std::shared_ptr<const std::uint8_t> pixels, int width, int height, bool at_blank) = 0;
  // The same for a picture that is soon followed by another: `write` fills the memory that goes to the screen, rows
  // that begin `stride` bytes apart, and nothing is held for later paints. Main thread. False, and nothing done, where
  // there is no such memory of that size.
  using picture_writer = std::function<void(std::uint8_t* pixels, std::ptrdiff_t stride)>;
  virtual bool write_picture(int, int, const picture_writer&) { return false; }
  // Whether this display tells of its vertical blank. Waiting for the next one returns at once where it does not; any
  // thread.
  virtual bool knows_vertical_blank() const = 0;
  virtual void wait_vertical_blank() = 0;

  // Runs waiting events; without any, waits for one up to the time.
  virtual void wait_events(int milliseconds) = 0;
  // Makes a running or coming wait_events() return. Any thread.
  virtual void wake() = 0;

  // --- menus and dialogs: each runs a loop of its own with modal_tick and returns when it is closed ---
  // Opens a menu with its corner at a point of the window's content; the id of the chosen entry, -1 for none.
  virtual int popup_menu(const std::vector<menu_entry>& entries, math::point at) = 0;
  virtual std::vector<std::string> ask_files(const file_dialog& dialog) = 0;
  virtual message_answer show_message(const std::string& text, bool question) = 0;
  // Ends the dialogs that wait for an answer, as if the user had cancelled them.
  virtual void dismiss_dialogs() = 0;
  // One line of progress; false once the user cancelled. `done` equal to `total` closes it.
  virtual bool show_progress(const std::string& title, int done, int total) = 0;

  // --- clipboard ---
  virtual std::string clipboard_text() = 0;
  virtual void set_clipboard_text(const std::string& text) = 0;
  virtual bool has_clipboard_picture() = 0;
  // Rows of blue, green, red, alpha, straight; false without a picture.
  virtual bool clipboard_picture(std::vector<std::uint8_t>& pixels, int& width, int& height) = 0;
  virtual void set_clipboard_picture(const std::uint8_t* pixels, int width, int height) = 0;

  virtual std::vector<monitor> monitors() = 0;
  // A window over the monitor with that place in monitors(); null when there is none.
  virtual std::unique_ptr<output_window> open_output(std::size_t monitor) = 0;

  // The sound output of this desktop. Lives as long as the desktop; may fail to open.
  virtual audio_device& audio() = 0;
};

// Whether this session has a display at all, by its environment.
bool has_display();

// Loads the desktop module and connects to the display. Null, with the reason in `error`, without a display, the module
// or its libraries.
std::unique_ptr<desktop> open_desktop(std::string& error);

// The function "kestrin_make_desktop" of the module "desktop".
using make_desktop_function = desktop* (*)(std::string& error);

}  // namespace platform
