#include "app/window_run.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "app/interrupt.h"
#include "cache/reading/frame_order.h"
#include "command/menu.h"
#include "composition/documents/persistence.h"
#include "composition/documents/window_file.h"
#include "composition/opening/watching.h"
#include "io/failure.h"
#include "lib/foreground.h"
#include "lib/paths.h"
#include "platform/folders.h"
#include "playback/pacing.h"
#include "render/image_pool.h"
#include "ui/screen.h"

namespace app {
namespace {

// For a frame that has to be read. After that the window goes on with the picture before.
constexpr std::chrono::milliseconds frame_patience(1500);
constexpr int longest_sleep = 960;   // milliseconds, of a stopped window in the background
constexpr int aging_picture = 1000;  // milliseconds after which a picture may be out of date by itself
constexpr long long drag_picture =
    1'000'000'000 / 60;               // nanoseconds that a picture may take while something is dragged
constexpr int lost_display_code = 1;  // of the process
// Milliseconds between two pictures for the marks of frames alone.
constexpr std::uint32_t marks_redraw = 250;
// Milliseconds before a frame is due when its picture is begun, beside twice what the last one took. Not earlier: what
// was just made is still in the processors' caches when it is shown, and the display has taken the picture before.
constexpr int least_lead = 2;
// Of a frame's time, what a play's pictures may take before nothing is loaded beside them that it does not show.
constexpr double heavy_work = 0.5;
constexpr int smoothed_pictures = 12;
constexpr const char* unnamed_composition = "unnamed.ksncomp";

using steady = std::chrono::steady_clock;

long long since(steady::time_point start) {
  return std::chrono::nanoseconds(steady::now() - start).count();
}

// Frames until the shown one changes.
double frames_left(const ksn::state& composition) {
  const double part = composition.doc.tm_t - std::floor(composition.doc.tm_t);
  return composition.doc.forward ? 1.0 - part : part;
}

}  // namespace

std::string slowest_part(const tick_times& times) {
  struct row {
    const char* name;
    long long nanoseconds;
  };
  const row rows[] = {{"advance", times.advance},
                      {"fetch", times.fetch},
                      {"composite", times.composite},
                      {"draw", times.draw},
                      {"present", times.present}};
  long long sum = 0;
  for (const row& part : rows) sum += part.nanoseconds;
  const row& slowest = *std::max_element(std::begin(rows), std::end(rows),
                                         [](const row& a, const row& b) { return a.nanoseconds < b.nanoseconds; });
  char text[96];
  std::snprintf(text, sizeof text, "%s %.1f ms of %.1f ms", slowest.name,
                static_cast<double>(slowest.nanoseconds) / 1e6, static_cast<double>(sum) / 1e6);
  return text;
}

// The window as the presenter sees it.
class window_run::window_display : public ui::display {
 public:
  explicit window_display(platform::desktop& desktop) : desktop_(desktop) {}
  int create() override { return desktop_.start_presenting(); }
  int restore() override { return 0; }
  bool window_exists() override { return desktop_.window_exists(); }
  bool is_minimised() override { return desktop_.is_minimised(); }
  int blit(const std::shared_ptr<const ui::surface>& picture, bool at_blank) override {
    return desktop_.show_picture({picture, picture->pixels.get()}, picture->width, picture->height, at_blank);
  }
  bool write(int width, int height,
             const std::function<void(std::uint8_t* pixels, std::ptrdiff_t stride)>& write) override {
    return desktop_.write_picture(width, height, write);
  }
  bool knows_blank() override { return desktop_.knows_vertical_blank(); }
  void wait_vertical_blank() override { desktop_.wait_vertical_blank(); }
  std::optional<int> scan_line() override { return std::nullopt; }
  void wait_events(int milliseconds) override { desktop_.wait_events(milliseconds); }
  void wake() override { desktop_.wake(); }

 private:
  platform::desktop& desktop_;
};

window_run::window_run(window_parts parts) : parts_(std::move(parts)), board_(parts_.loader.reading()) {}
window_run::~window_run() = default;

int window_run::run(platform::desktop& desktop) {
  desktop_ = &desktop;
  close_requested_ = closed_ = false;
  redraw_ = true;
  surface_size_ = {};
  parts_.loader.reading().set_wake([&desktop] { desktop.wake(); });
  const int result = open() ? loop() : -1;
  parts_.loader.reading().set_wake(nullptr);
  presenter_.reset();
  display_.reset();
  desktop.destroy_window();
  desktop_ = nullptr;
  return result;
}

bool window_run::open() {
  keys_.load_folders();
  parts_.composition.hooks.refresh_caption = [this] { refresh_caption(); };

  platform::window_options options;
  options.title = parts_.product_title;
  options.always_on_top = always_on_top_;
  for (const std::string_view menu : command::main_menus()) options.menus.push_back(parts_.text(menu));
  platform::window_placement placement;
  if (!platform::own_folders_left_out() && ksn::load_window_placement(placement)) options.placement = &placement;
  if (!desktop_->create_window(options, events())) {
    desktop_->show_message("Unable to create the main window.", false);
    return false;
  }
  parts_.composition.has_window = true;
  if (pending_client_size_.x > 0 && pending_client_size_.y > 0) desktop_->set_client_size(pending_client_size_);
  if (parts_.composition.workspace.full_screen) desktop_->set_fullscreen(true);
  caption_.clear();
  refresh_caption();
  refresh_scale();

  display_ = std::make_shared<window_display>(*desktop_);
  presenter_ = std::make_unique<ui::presenter>(display_);
  if (const int error = presenter_->start(); error < 0) {
    char text[80];
    std::snprintf(text, sizeof text, "Unable to initialize DirectDraw (Error code: %08X).",
                  static_cast<unsigned>(error));
    desktop_->show_message(text, false);
    return false;
  }
  return true;
}

int window_run::loop() {
  fit_view();
  last_tick_ = milliseconds();
  while (!closed_) {
    desktop_->wait_events(0);
    if (poll_handover) poll_handover();
    end_progress();
    if (!waiting_drops_.empty()) drop(std::exchange(waiting_drops_, {}));
    std::fflush(stdout);  // what commands printed: who reads it waits for it
    // Only the exit action asks for the close; the others that end a command line leave the window alone.
    close_requested_ = close_requested_ || parts_.engine.exit_requested;
    if (!close_requested_) parts_.engine.quit_requested = false;
    if (wants_to_close() && close()) break;
    const std::uint32_t start = milliseconds();
    const bool may_sleep = main_tick();
    if (may_sleep && !parts_.composition.doc.playing) {
      parts_.frames.trim(parts_.frames.memory_reserve_percent);
      const int until_due = due_ ? std::max(static_cast<int>(*due_ - milliseconds()), 1) : longest_sleep;
      desktop_->wait_events(std::min(until_due, longest_sleep));
    } else {
      pace(start);
    }
  }
  return interrupted() ? interrupt_status() : 0;
}

bool window_run::wants_to_close() {
  if (interrupted()) return true;
  if (!close_requested_) return false;
  // Lines of other instances are carried out while a question is open, or saves are waited for.
  parts_.engine.exit_requested = parts_.engine.quit_requested = false;
  const close_answer answer = may_close ? may_close() : close_answer::close;
  close_requested_ = answer != close_answer::stay;
  return answer == close_answer::close;
}

bool window_run::main_tick() {
  ksn::state& composition = parts_.composition;
  in_tick_ = true;
  const bool served = poll_services && poll_services();

  const auto start = steady::now();
  const std::uint32_t now = milliseconds();
  pass_interface(now - last_tick_);
  const double elapsed = playback::elapsed_seconds(now, last_tick_);
  last_tick_ = now;
  tick_times times;
  const bool was_playing = composition.doc.playing;
  parts_.clock.tick(elapsed, interface_->input().dragging());
  times.advance = since(start);
  times.playing = was_playing;
  parts_.loader.tick(composition, parts_.clock.shown_time());
  board_.update(composition);

  if (!desktop_->window_exists() || desktop_->is_minimised()) {
    redraw_ = true;
    if (show_elsewhere) show_elsewhere();
    in_tick_ = false;
    if (observer) observer(times);
    return true;
  }
  ksn::poll_watches(composition);

  const bool dragging = interface_->input().dragging();
  if (!composition.doc.playing && !dragging && composition.plain_sampling) {
    sampling_.stop();
    composition.plain_sampling = false;
    redraw_ = true;
  }
  // The window keeps the picture that stays.
  if (!composition.doc.playing && shown_directly_) redraw_ = true;
  const bool live = composition.doc.shows_live();
  // A wait that ended early makes no second picture of a frame, which would keep the next one waiting.
  const std::uint32_t since_draw = now - last_draw_;
  const bool next_picture =
      was_playing && (static_cast<int>(composition.doc.tm_t) != last_frame_ ||
                      since_draw > static_cast<std::uint32_t>(playback::tick_milliseconds(composition.doc.fpcs) + 1));
  const bool marks = board_.revision() != drawn_marks_ && since_draw >= marks_redraw;
  if (redraw_ || composition.revision != drawn_revision_ || interface_is_due() || next_picture || live || marks ||
      parts_.pipeline.waits_for_frames() || (since_draw >= aging_picture && is_out_of_date()) ||
      desktop_->client_size() != surface_size_ ||
      parts_.pipeline.finds_changed_file(composition, parts_.clock.shown_time())) {
    // Whatever asked for a picture may show in it.
    if (std::exchange(redraw_, false)) interface_->forget_ahead();
    drawn_revision_ = composition.revision;
    drawn_marks_ = board_.revision();
    if (since_draw >= aging_picture) drawn_load_ = parts_.frames.memory_load();
    due_.reset();
    last_draw_ = now;
    draw_and_present(times);
    const long long worked = since(start) + made_ahead_;
    const long long frame = 100'000'000'000 / std::max(composition.doc.fpcs, 1);
    work_ += (static_cast<double>(worked) / static_cast<double>(frame) - work_) / smoothed_pictures;
    parts_.loader.play_is_heavy = was_playing && work_ > heavy_work;
    sampling_.picture(was_playing || dragging, times.composite + times.draw + std::exchange(made_ahead_, 0),
                      was_playing ? frame : drag_picture);
    composition.plain_sampling = sampling_.plain();
    times.lateness = since(start);
    if (was_playing) {
      const double gone = 1.0 - frames_left(composition);
      times.lateness += static_cast<long long>(gone * 1e11 / std::max(composition.doc.fpcs, 1));
    }
  }
  if (show_elsewhere) show_elsewhere();
  refresh_caption();
  foreground_ = desktop_->is_foreground();
  in_tick_ = false;
  if (observer) observer(times);
  return !served && !foreground_;
}

bool window_run::is_out_of_date() const {
  const ksn::state& composition = parts_.composition;
  return composition.doc.shows_text() ||
         (composition.workspace.shown_infobar() && parts_.frames.memory_load() != drawn_load_);
}

void window_run::draw_and_present(tick_times& times) {
  const ksn::state& composition = parts_.composition;
  const math::point size = desktop_->client_size();
  if (size.x <= 0 || size.y <= 0) return;
  try {
    if (size != surface_size_) {
      presenter_->resize(size.x, size.y);
      surface_size_ = size;
    }
    // What is read ahead meanwhile stands aside for the picture that is due.
    std::optional<lib::foreground_scope> due;
    due.emplace(composition.doc.playing || interface_->input().dragging());
    auto start = steady::now();
    render::frame_times frame;
    const img::image_ptr picture = render::empty_image();
    parts_.pipeline.patience = frame_patience;
    owe(interface_->draw(*picture, size, parts_.clock.shown_time(), &frame));
    parts_.pipeline.patience.reset();
    times.fetch = frame.fetch;
    times.composite = frame.composite;
    times.draw = since(start) - frame.fetch - frame.composite;
    start = steady::now();
    shown_directly_ =
        composition.doc.playing && turn_mode() == ui::present_mode::immediate && presenter_->present_directly(*picture);
    if (!shown_directly_) {
      int error = presenter_->take_picture(*picture);
      if (display_->knows_blank()) due.reset();  // it may be waited for
      if (error == 0) error = presenter_->present(turn_mode());
      // The rest goes out with the next tick.
      if (error != 0) redraw_ = true;
    }
    times.present = since(start);
  } catch (const std::bad_alloc&) {
    parts_.pipeline.patience.reset();
    // The picture before stays until memory is there again.
    parts_.frames.trim(parts_.frames.memory_reserve_percent);
    return;
  }
  times.drawn = true;
  times.frame = static_cast<int>(composition.doc.tm_t);
  times.new_frame = times.frame != last_frame_;
  last_frame_ = times.frame;
}

ui::present_mode window_run::turn_mode() const {
  return ui::mode_for(parts_.composition.settings.vsync, parts_.composition.settings.vsync_mode);
}

bool window_run::waits_for_next() const {
  const ksn::document& doc = parts_.composition.doc;
  return doc.playing && made_after_ != last_frame_ && !desktop_->is_minimised() &&
         std::any_of(doc.tracks.begin(), doc.tracks.end(), [](const ksn::track_info& t) { return t.look.visible; });
}

void window_run::make_next() {
  made_after_ = last_frame_;
  const ksn::document& doc = parts_.composition.doc;
  const int head = static_cast<int>(doc.tm_t);
  if (head < doc.tm_f || head >= doc.tm_l) return;
  const cache::play_order order{doc.tm_f, doc.tm_l, head, doc.forward, doc.repeat};
  const std::optional<int> next = order.at(1);
  if (!next) return;
  const auto start = steady::now();
  const lib::foreground_scope due;
  try {
    interface_->make_ahead(surface_size_, *next);
  } catch (const std::exception&) {
    // It is made when it is due, and what fails is told then.
    interface_->forget_ahead();
  }
  made_ahead_ = since(start);
  ahead_lead_ = least_lead + 2 * static_cast<int>(made_ahead_ / 1'000'000);
}

void window_run::pace(std::uint32_t tick_start) {
  const ksn::state& composition = parts_.composition;
  playback::tick tick;
  tick.fpcs = composition.doc.fpcs;
  tick.spent = static_cast<int>(milliseconds() - tick_start);
  tick.present_mode = static_cast<int>(turn_mode());
  tick.foreground = foreground_;
  tick.throttled = composition.settings.vsync_parameter != 0;
  playback::pacing rest = playback::pace(tick);
  int left = 0;  // milliseconds until the next frame of a play is due
  if (composition.doc.playing) {
    // A picture goes out when it is due: a tick that came a little before would make it late by a whole tick.
    const double due = std::ceil(frames_left(composition) * 1e5 / std::max(composition.doc.fpcs, 1));
    left = static_cast<int>(std::min(due - tick.spent, 1e6));
    rest.milliseconds = std::min(rest.milliseconds, left);
  }
  if (rest.milliseconds < 1) return;
  if (waits_for_next()) {
    if (left <= ahead_lead_) return make_next();
    rest.milliseconds = std::min(rest.milliseconds, left - ahead_lead_);
  }
  switch (rest.wait) {
    case playback::pacing_wait::none:
      return;
    case playback::pacing_wait::present_done:
      // A display that does not tell of its blank is done at once: the tick's time is waited for then.
      if (display_->knows_blank()) {
        presenter_->wait_done(rest.milliseconds);
        return;
      }
      [[fallthrough]];
    case playback::pacing_wait::events:
    case playback::pacing_wait::device:
      desktop_->wait_events(rest.milliseconds);
      return;
  }
}

void window_run::modal_tick() {
  if (in_tick_ || closed_ || !presenter_) return;
  if (interrupted()) desktop_->dismiss_dialogs();
  if (poll_handover) poll_handover();
  modal_ = true;
  main_tick();
  modal_ = false;
}

bool window_run::close() {
  if (closed_) return true;
  if (!file_document()) {
    close_requested_ = parts_.engine.exit_requested = parts_.engine.quit_requested = false;
    return false;
  }
  closed_ = true;
  parts_.composition.has_window = false;
  presenter_->shut_down();
  set_fullscreen(false);
  save_state();
  desktop_->destroy_window();
  return true;
}

bool window_run::file_document() {
  std::string reason;
  try {
    parts_.composition.new_composition(true);
    return true;
  } catch (const std::exception&) {
    reason = io::failure_line(parts_.composition.file_name);
  }
  const std::string text = "The composition can't be kept among the unsaved ones.";
  parts_.report(text + " " + reason);
  if (!interrupted() &&
      desktop_->show_message(text + "\n" + reason + "\n\nClose and lose it?", true) != platform::message_answer::yes) {
    return false;
  }
  parts_.composition.new_composition(false);
  return true;
}

void window_run::save_state() {
  if (is_transient && is_transient()) return;
  ksn::save_window_placement(desktop_->placement());
  if (!ksn::save_settings(parts_.composition)) parts_.report("The settings can't be saved");
}

void window_run::lose_display() {
  parts_.report("The display is gone");
  if (end_work) end_work();
  try {
    if (!closed_) parts_.composition.hooks.file_among_unsaved();
  } catch (const std::exception& failure) {
    parts_.report(failure.what());
  }
  if (!(is_transient && is_transient())) ksn::save_settings(parts_.composition);
  std::fflush(nullptr);
  // The toolkit has begun to end the process from inside a call: nothing of it can be used or taken down any more.
  std::_Exit(lost_display_code);
}

// The name of what is loaded: the composition, or as long as it has no name its layers.
void window_run::refresh_caption() {
  if (!desktop_ || !desktop_->window_exists()) return;
  const ksn::state& composition = parts_.composition;
  std::string name = lib::file_name(composition.file_name);
  if (name.empty() && composition.doc.track_count() > 0) {
    name = composition.doc.track_at(0).name;
    if (composition.doc.track_count() > 1) name += " +" + std::to_string(composition.doc.track_count() - 1);
  }
  if (name.empty()) name = unnamed_composition;
  std::string caption = parts_.product_title + " - " + name;
  if (caption == caption_) return;
  caption_ = std::move(caption);
  desktop_->set_title(caption_);
}

void window_run::show_progress(const std::string& text, int done, int total) {
  if (!desktop()) return;
  progress_shown_ = done < total;
  if (!desktop_->show_progress(text, done, total)) progress_cancelled_ = true;
}

// Work that ended before its last step leaves its dialog.
void window_run::end_progress() {
  if (progress_shown_) desktop_->show_progress({}, 1, 1);
  progress_shown_ = false;
  progress_cancelled_ = false;
}

std::optional<platform::window_placement> window_run::placement() const {
  if (!desktop() || desktop_->is_fullscreen()) return std::nullopt;
  return desktop_->placement();
}

bool window_run::client_area(int& width, int& height) const {
  const math::point size = desktop_ && desktop_->window_exists() ? desktop_->client_size() : pending_client_size_;
  if (size.x <= 0 || size.y <= 0) return false;
  width = size.x;
  height = size.y;
  return true;
}

}  // namespace app
