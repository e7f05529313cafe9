// A desktop without a display: a script of events, and notes of what was asked of it.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/desktop.h"
#include "platform/save_form.h"

namespace support {

class made_up_desktop : public platform::desktop {
 public:
  // Run one by one as the program waits for events; after the last one the window is asked to close.
  std::deque<std::function<void()>> script;

  bool window_opens = true;
  int presenting_error = 0;
  math::point size{940, 780};
  bool minimised = false;
  bool foreground = true;
  std::string board_text;
  std::vector<std::uint8_t> board_pixels;
  math::point board_size;
  std::deque<std::vector<std::string>> answers;  // of file dialogs
  std::map<std::string, std::string> chosen;     // in the forms of save dialogs
  std::deque<platform::message_answer> message_answers;
  std::deque<std::string> menu_answers;  // texts of the entries that are chosen, "" for none
  std::optional<math::point> pointer_at;
  int held_modifiers = 0;
  int screen_scale = 1;
  int cancel_progress_at = -1;
  std::function<void(int milliseconds)> waited;  // called in each wait

  platform::window_options options;
  platform::window_events events;
  std::vector<std::string> calls;     // of what matters in its order
  std::vector<int> waits;             // milliseconds
  std::vector<std::string> messages;  // of message boxes
  std::vector<platform::file_dialog> dialogs;
  std::vector<std::string> described;                    // by the forms of save dialogs
  std::vector<platform::form_choice> offered;            // by the latest one
  std::vector<std::vector<platform::menu_entry>> menus;  // that were opened
  platform::cursor_shape cursor = platform::cursor_shape::arrow;
  std::string title;
  int pictures = 0;
  bool has_memory = false;           // of the screen, for pictures that are not kept
  int written = 0;                   // there
  std::vector<std::uint8_t> pixels;  // of the last picture

  bool create_window(const platform::window_options& wanted, platform::window_events told) override {
    options = wanted;
    events = std::move(told);
    exists_ = window_opens;
    return window_opens;
  }
  void destroy_window() override {
    if (std::exchange(exists_, false)) calls.push_back("destroy");
  }
  bool window_exists() const override { return exists_; }
  void set_title(const std::string& text) override { title = text; }
  math::point client_size() const override { return size; }
  void set_client_size(math::point wanted) override { size = wanted; }
  bool is_minimised() const override { return minimised; }
  bool is_foreground() const override { return foreground; }
  void bring_forward() override { calls.push_back("forward"); }
  void set_fullscreen(bool on) override {
    calls.push_back(on ? "fullscreen" : "window");
    fullscreen_ = on;
  }
  bool is_fullscreen() const override { return fullscreen_; }
  void set_always_on_top(bool) override {}
  void set_cursor(platform::cursor_shape shape) override { cursor = shape; }
  std::optional<math::point> pointer() override { return pointer_at; }
  int modifiers() override { return held_modifiers; }
  int scale() const override { return screen_scale; }
  void set_text_input(bool on) override { text_input = on; }
  void set_text_caret(const math::rectangle& place) override { text_caret = place; }
  void set_menu_visible(bool) override {}
  platform::window_placement placement() const override {
    platform::window_placement placement;
    placement.right = size.x;
    placement.bottom = size.y;
    return placement;
  }
  int start_presenting() override { return presenting_error; }
  bool write_picture(int width, int height, const picture_writer& write) override {
    if (!has_memory) return false;
    std::vector<std::uint8_t> memory(static_cast<std::size_t>(4 * width * height));
    write(memory.data(), 4 * width);
    ++written;
    return true;
  }
  int show_picture(std::shared_ptr<const std::uint8_t> shown, int width, int height, bool) override {
    ++pictures;
    pixels.assign(shown.get(), shown.get() + static_cast<std::size_t>(width) * height * 4);
    return 0;
  }
  bool knows_vertical_blank() const override { return false; }
  void wait_vertical_blank() override {}
  void wait_events(int milliseconds) override {
    waits.push_back(milliseconds);
    if (waited) waited(milliseconds);
    if (script.empty()) {
      if (events.close_requested) events.close_requested();
      return;
    }
    const std::function<void()> step = std::move(script.front());
    script.pop_front();
    if (step) step();
  }
  void wake() override {}
  int popup_menu(const std::vector<platform::menu_entry>& entries, math::point) override {
    menus.push_back(entries);
    modal();
    if (menu_answers.empty()) return -1;
    const std::string answer = menu_answers.front();
    menu_answers.pop_front();
    return id_of(entries, answer);
  }
  std::vector<std::string> ask_files(const platform::file_dialog& dialog) override {
    dialogs.push_back(dialog);
    dialogs.back().form = nullptr;  // gone when the dialog is closed
    dialogs.back().list = nullptr;
    modal();
    if (dialog.form && !answers.empty() && !answers.front().empty()) {
      described.push_back(dialog.form->description(answers.front().front()));
      offered = dialog.form->choices(answers.front().front());
      dialog.form->chosen = chosen;
    }
    if (answers.empty()) return {};
    const std::vector<std::string> answer = answers.front();
    answers.pop_front();
    return answer;
  }
  platform::message_answer show_message(const std::string& text, bool) override {
    messages.push_back(text);
    modal();
    if (message_answers.empty()) return platform::message_answer::ok;
    const platform::message_answer answer = message_answers.front();
    message_answers.pop_front();
    return answer;
  }
  void dismiss_dialogs() override {}
  bool show_progress(const std::string&, int done, int) override {
    ++progress_steps;
    return cancel_progress_at < 0 || done < cancel_progress_at;
  }
  std::string clipboard_text() override { return board_text; }
  void set_clipboard_text(const std::string& text) override { board_text = text; }
  bool has_clipboard_picture() override { return !board_pixels.empty(); }
  bool clipboard_picture(std::vector<std::uint8_t>& into, int& width, int& height) override {
    into = board_pixels;
    width = board_size.x;
    height = board_size.y;
    return !into.empty();
  }
  void set_clipboard_picture(const std::uint8_t* from, int width, int height) override {
    board_pixels.assign(from, from + static_cast<std::size_t>(width) * height * 4);
    board_size = {width, height};
  }
  std::vector<platform::monitor> monitors() override { return {}; }
  // Of the monitors beside the first one; 0 x 0 for one that is not there any more.
  std::vector<math::point> outputs;
  std::vector<std::vector<std::uint8_t>> output_pictures;  // that were shown, in their order
  std::unique_ptr<platform::output_window> open_output(std::size_t monitor) override {
    if (monitor < 1 || monitor > outputs.size()) return nullptr;
    calls.push_back("output " + std::to_string(monitor));
    return std::make_unique<output>(*this, monitor - 1);
  }
  platform::audio_device& audio() override { return silence_; }

  int progress_steps = 0;
  bool text_input = false;
  math::rectangle text_caret;

 private:
  // Called while a menu or a dialog is open.
  void modal() {
    if (events.capture_lost) events.capture_lost();
    if (events.modal_tick) events.modal_tick();
  }
  static int id_of(const std::vector<platform::menu_entry>& entries, const std::string& text) {
    for (const platform::menu_entry& entry : entries) {
      if (entry.entries.empty() && entry.reached) entry.reached();
      if (entry.entries.empty() && entry.enabled && !text.empty() && entry.text == text) return entry.id;
      if (const int found = id_of(entry.entries, text); found >= 0) return found;
    }
    return -1;
  }
  class output : public platform::output_window {
   public:
    output(made_up_desktop& desktop, std::size_t index) : desktop_(desktop), index_(index) {}
    ~output() override { desktop_.calls.push_back("no output"); }
    math::point size() const override { return desktop_.outputs[index_]; }
    int show_picture(std::shared_ptr<const std::uint8_t> shown, int width, int height, bool) override {
      desktop_.output_pictures.emplace_back(shown.get(), shown.get() + static_cast<std::size_t>(width) * height * 4);
      return 0;
    }
    bool knows_vertical_blank() const override { return false; }

   private:
    made_up_desktop& desktop_;
    std::size_t index_;
  };
  class no_sound : public platform::audio_device {
   public:
    bool open() override { return false; }
    bool is_open() const override { return false; }
    bool get_cursors(int&, int&) override { return false; }
    void write(int, const void*, int) override {}
  };
  bool exists_ = false;
  bool fullscreen_ = false;
  no_sound silence_;
};

}  // namespace support
