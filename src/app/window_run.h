// The main window's part of a run: its start, the main loop with its ticks, and its close.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include "cache/frame_cache.h"
#include "cache/reading/frame_board.h"
#include "cache/reading/frame_loader.h"
#include "command/engine.h"
#include "command/keys.h"
#include "lib/error_record.h"
#include "platform/desktop.h"
#include "platform/files.h"
#include "playback/clock.h"
#include "render/pipeline.h"
#include "ui/presenter.h"
#include "ui/sampling_choice.h"
#include "ui/window.h"

namespace app {

// The work of one tick, and its times in nanoseconds.
struct tick_times {
  long long advance = 0;    // clock and sound
  long long fetch = 0;      // pictures of the layers, from the cache or from their files
  long long composite = 0;  // blending them
  long long draw = 0;       // the rest of the window's picture
  long long present = 0;    // on its way to the screen
  bool drawn = false;       // a picture was drawn and presented; the last four are 0 without one
  bool playing = false;
  bool new_frame = false;  // `frame` is another one than in the picture before
  int frame = 0;           // timeline frame that is shown
  long long lateness = 0;  // while playing: from the moment when the frame was due to the end of the present
};

// The part that took the most, for a report: "fetch 31.2 ms of 35.0 ms".
std::string slowest_part(const tick_times& times);

// The objects that the window works on. All of them outlive it.
struct window_parts {
  ksn::state& composition;
  command::engine& engine;
  render::pipeline& pipeline;
  cache::frame_cache& frames;
  cache::frame_loader& loader;
  playback::clock& clock;
  std::string product_title;
  std::function<std::string(std::string_view key)> text;  // of the message catalogue
  std::function<void(const std::string& line)> report;    // to the console
  const lib::error_record* errors = nullptr;              // the latest error lines, for the areas that show them
  const ui::drawing_functions* drawing = nullptr;         // art and text; null draws neither
  const save::queue* saves = nullptr;                     // what the window shows of saves; null for none
  std::function<std::string()> news = {};                 // the latest of the program; may be empty
};

enum class close_answer {
  close,
  later,  // is asked again with each pass of the loop
  stay
};

// Main thread.
class window_run {
 public:
  explicit window_run(window_parts parts);
  ~window_run();

  // Registers the actions that belong to a window. They can be called before there is one.
  void register_actions();

  // Opens the window, runs the main loop and closes the window. Returns the exit code: 0, 128 and the signal's number
  // after an interrupt, -1 after a message when there is no window or no way to the screen.
  int run(platform::desktop& desktop);
  // Null while there is no window.
  platform::desktop* desktop() const { return desktop_ && desktop_->window_exists() ? desktop_ : nullptr; }
  // For long work on the main thread: shows how far it is where there is a window, and remembers when the user cancels.
  void show_progress(const std::string& text, int done, int total);
  bool progress_cancelled() const { return progress_cancelled_; }
  // The next tick draws: something changed that no event of the window told of.
  void redraw() { redraw_ = true; }

  // The client area of the window, or of the one that would be opened when that is known.
  bool client_area(int& width, int& height) const;

  // Where the window stands; none while it covers the screen or is not there.
  std::optional<platform::window_placement> placement() const;

  // The counter that all waiting goes by; a test moves it by hand.
  std::function<std::uint32_t()> milliseconds = platform::milliseconds;

  // The state of the frames of all layers, as of the last tick.
  const cache::frame_board& board() const { return board_; }

  // --- bound by their owners; each may be empty ---
  // Carries out what other instances hand over. Called in each pass of the loop; platform::desktop::wake() ends a wait.
  std::function<void()> poll_handover;
  // Whether a window that is asked to close may do that. Signals are not asked for.
  std::function<close_answer()> may_close;
  // Ends work that goes on beside the window, before the process is cut short.
  std::function<void()> end_work;
  // Draws what was asked for from elsewhere. Called in each tick; true when there was something to do.
  std::function<bool()> poll_services;
  // Shows the picture on other devices. Called in each tick, after the window has shown its own.
  std::function<void()> show_elsewhere;
  // Called at the end of each tick, before it waits.
  std::function<void(const tick_times& times)> observer;
  // Saves neither settings nor placement at the close while it gives true.
  std::function<bool()> is_transient;

 private:
  class window_display;

  window_parts parts_;
  cache::frame_board board_;
  platform::desktop* desktop_ = nullptr;
  std::shared_ptr<window_display> display_;
  std::unique_ptr<ui::presenter> presenter_;
  command::key_table keys_;
  math::point pending_client_size_;
  math::point surface_size_;
  bool always_on_top_ = false;
  bool close_requested_ = false;  // by the window's frame
  bool closed_ = false;
  bool in_tick_ = false;
  // Something happened that may change the picture.
  bool redraw_ = true;
  unsigned long long drawn_revision_ = 0;
  std::uint64_t drawn_marks_ = 0;  // revision of the board
  int drawn_load_ = 0;             // of the memory, as the information bar tells it
  std::uint32_t last_draw_ = 0;
  std::uint32_t last_tick_ = 0;
  bool foreground_ = false;
  int last_frame_ = -1;
  int made_after_ = -1;          // the frame after which the next one's picture was made
  long long made_ahead_ = 0;     // nanoseconds that it took
  int ahead_lead_ = 10;          // milliseconds before a frame is due when its picture is begun
  double work_ = 0;              // of a frame's time, what the last pictures took
  bool shown_directly_ = false;  // the last picture
  ui::sampling_choice sampling_;
  bool progress_shown_ = false;
  bool progress_cancelled_ = false;
  std::unique_ptr<ui::window> interface_;
  ui::drawing_functions no_drawing_;
  lib::error_record no_errors_;
  int wanted_scale_ = 0;              // of the interface; 0 as the screen of the window has it
  std::optional<std::uint32_t> due_;  // when something of the interface changes by itself
  bool modal_ = false;                // a menu or a dialog of the toolkit is open
  bool look_for_pointer_ = false;     // one was, and took the pointer's events
  bool text_input_ = false;
  math::rectangle told_caret_;
  std::string caption_;
  std::vector<std::string> waiting_drops_;

  bool open();
  bool wants_to_close();
  // False when the document can't be filed away and the user keeps it.
  bool close();
  bool file_document();
  void save_state();
  [[noreturn]] void lose_display();
  int loop();
  // One tick; true when the loop may sleep.
  bool main_tick();
  // A tick from inside a loop of the toolkit.
  void modal_tick();
  // The picture tells of something that nobody announces: the time, the memory.
  bool is_out_of_date() const;
  void draw_and_present(tick_times& times);
  // Whether there is a picture to make before it is due.
  bool waits_for_next() const;
  // Does what it can for the picture of the frame that comes next.
  void make_next();
  void pace(std::uint32_t tick_start);
  ui::present_mode turn_mode() const;
  void refresh_caption();
  void set_fullscreen(bool on);
  void register_fits();
  // Carries out what `state::fit` waits for, as far as that can be done now.
  void fit_view();
  platform::window_events events();
  // Runs what a menu or a click stands for.
  void choose(const std::string& command);
  // --- the interface, in window_interface.cpp ---
  void make_interface();
  // Hands an event to the interface. Memory that runs out meanwhile ends the gesture and is one line.
  template <class Event>
  void carry_out(Event event) {
    try {
      event();
    } catch (const std::bad_alloc&) {
      run_out_of_memory();
    }
  }
  void run_out_of_memory();
  void on_mouse(const platform::mouse_event& event);
  bool run_key(int code);
  // The picture that an event, or a drawing of the interface, owes to the screen.
  void owe(const ui::redraw& wish);
  void pass_interface(std::uint32_t elapsed_milliseconds);
  bool interface_is_due() const;
  int popup_menu(const std::vector<platform::menu_entry>& entries, math::point at);
  math::point interface_size() const;
  void refresh_scale();
  void load_keys();
  bool save_window_as(const std::string& path);
  void end_progress();
  void drop(const std::vector<std::string>& paths);
};

}  // namespace app
