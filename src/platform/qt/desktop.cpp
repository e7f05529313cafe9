#include "platform/desktop.h"

#include <QApplication>
#include <QEventLoop>
#include <QMenuBar>
#include <QScreen>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <clocale>
#include <cmath>
#include <memory>
#include <utility>

#include "platform/qt/clipboard.h"
#include "platform/qt/connection.h"
#include "platform/qt/dialogs.h"
#include "platform/qt/gl_surface.h"
#include "platform/qt/keys.h"
#include "platform/qt/main_window.h"
#include "platform/qt/menus.h"
#include "platform/qt/screen_cover.h"
#include "platform/qt/style.h"
#include "platform/sdl/ring_device.h"

namespace platform {
namespace {

constexpr int largest_window = 32767;  // pixels, of the window system
constexpr int least_shown = 64;        // pixels of a window's width that a user can take hold of
constexpr int error_no_window = 1400;
constexpr int error_size = static_cast<int>(0x80049205u);

Qt::CursorShape qt_cursor(cursor_shape shape) {
  switch (shape) {
    case cursor_shape::arrow:
      return Qt::ArrowCursor;
    case cursor_shape::hand:
      return Qt::PointingHandCursor;
    case cursor_shape::move:
      return Qt::SizeAllCursor;
    case cursor_shape::cross:
      return Qt::CrossCursor;
    case cursor_shape::size_horizontal:
      return Qt::SizeHorCursor;
    case cursor_shape::size_vertical:
      return Qt::SizeVerCursor;
    case cursor_shape::text:
      return Qt::IBeamCursor;
    case cursor_shape::wait:
      return Qt::WaitCursor;
    case cursor_shape::hidden:
    case cursor_shape::brush:
      return Qt::BlankCursor;
    case cursor_shape::size_diagonal_down:
      return Qt::SizeFDiagCursor;
    case cursor_shape::size_diagonal_up:
      return Qt::SizeBDiagCursor;
    case cursor_shape::pick:
      return Qt::CrossCursor;
  }
  return Qt::ArrowCursor;
}

QRect rectangle_of(const window_placement& placement) {
  return {QPoint(placement.left, placement.top), QPoint(placement.right - 1, placement.bottom - 1)};
}

class qt_desktop : public desktop {
 public:
  qt_desktop() : application_(argument_count_, arguments_) {
    std::setlocale(LC_NUMERIC, "C");  // numbers in files and fields have a point, whatever the user's language
    wear_program_style(application_);
    watch_connection([this] {
      if (window_ && display_lost_) std::exchange(display_lost_, nullptr)();
    });
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setApplicationName("Kestrin");
    QApplication::setDesktopFileName("kestrin");
  }
  ~qt_desktop() override {
    destroy_window();
    watch_connection(nullptr);
  }

  bool create_window(const window_options& options, window_events events) override {
    display_lost_ = events.display_lost;
    window_ = std::make_unique<main_window>(options, std::move(events));
    if (options.placement) apply_placement(*options.placement);
    if (options.placement && options.placement->show_command == 3) {
      window_->showMaximized();
    } else {
      window_->show();
    }
    QApplication::processEvents();
    last_scale_ = scale();
    return true;
  }

  void destroy_window() override {
    if (!window_) return;
    fullscreen_ = false;
    gl_in_use_ = false;
    gl_.reset();
    gl_tried_ = false;
    window_->may_close = true;
    window_->close();
    window_.reset();
  }

  bool window_exists() const override { return window_ != nullptr; }
  void set_title(const std::string& title) override {
    if (window_) window_->setWindowTitle(QString::fromStdString(title));
  }
  math::point client_size() const override { return window_ ? window_->canvas().pixel_size() : math::point{}; }

  void set_client_size(math::point size) override {
    if (!window_) return;
    const double scale = window_->canvas().devicePixelRatioF();
    const QSize frame = window_->size() - window_->canvas().size();
    window_->resize(
        frame + QSize(static_cast<int>(std::lround(size.x / scale)), static_cast<int>(std::lround(size.y / scale))));
    QApplication::processEvents();
  }

  bool is_minimised() const override { return window_ && window_->isMinimized(); }
  bool is_foreground() const override { return window_ && window_->isActiveWindow(); }
  void bring_forward() override {
    if (!window_) return;
    if (window_->isMinimized()) window_->showNormal();
    window_->raise();
    window_->activateWindow();
  }

  void set_fullscreen(bool on) override {
    if (!window_ || on == fullscreen_) return;
    window_->menuBar()->setVisible(!on && menu_visible_);
    if (on) {
      before_fullscreen_ = placement();
      fullscreen_ = true;
      window_->showFullScreen();
      if (!has_window_manager()) window_->setGeometry(window_->screen()->geometry());
      return;
    }
    fullscreen_ = false;
    if (before_fullscreen_.show_command == 3) {
      window_->showMaximized();
    } else {
      window_->showNormal();
      if (!has_window_manager()) window_->setGeometry(rectangle_of(before_fullscreen_));
    }
  }
  bool is_fullscreen() const override { return window_ && fullscreen_; }

  void set_always_on_top(bool on) override {
    if (!window_) return;
    window_->setWindowFlag(Qt::WindowStaysOnTopHint, on);
    window_->show();  // a change of flags hides the window
  }
  void set_cursor(cursor_shape shape) override {
    if (window_) window_->canvas().setCursor(qt_cursor(shape));
  }
  std::optional<math::point> pointer() override {
    return window_ ? window_->canvas().pointer() : std::optional<math::point>();
  }
  int modifiers() override { return modifiers_now(); }
  int scale() const override { return window_ && window_->devicePixelRatioF() >= 1.5 ? 2 : 1; }
  void set_text_input(bool on) override {
    if (window_) window_->canvas().set_text_input(on);
  }
  void set_text_caret(const math::rectangle& caret) override {
    if (window_) window_->canvas().set_text_caret(caret);
  }
  void set_menu_visible(bool visible) override {
    menu_visible_ = visible;
    if (window_ && !fullscreen_) window_->menuBar()->setVisible(visible);
  }

  window_placement placement() const override {
    window_placement result;
    if (!window_) return result;
    if (fullscreen_) return before_fullscreen_;
    const QRect normal = window_->isMaximized() ? window_->normalGeometry() : window_->geometry();
    result.show_command = window_->isMaximized() ? 3 : 1;
    result.left = normal.x();
    result.top = normal.y();
    result.right = normal.x() + normal.width();
    result.bottom = normal.y() + normal.height();
    return result;
  }

  int start_presenting() override { return window_ ? 0 : error_no_window; }
  int show_picture(std::shared_ptr<const std::uint8_t> pixels, int width, int height, bool at_blank) override {
    if (QThread::currentThread() == application_.thread()) {
      if (!window_) return error_no_window;
      if (client_size() != math::point{width, height}) return error_size;
      use_gl(at_blank);
      if (gl_in_use_) {
        gl_->resize(window_->canvas().size());
        gl_->show_picture(pixels, width, height, false);
      }
      window_->canvas().show_picture(std::move(pixels), width, height, !gl_in_use_);
      return 0;
    }
    if (gl_in_use_) {
      gl_->show_picture(std::move(pixels), width, height, true);
      return 0;
    }
    QMetaObject::invokeMethod(
        &application_,
        [this, pixels = std::move(pixels), width, height]() mutable {
          if (!window_) return;
          use_gl(true);
          window_->canvas().show_picture(std::move(pixels), width, height, false);
        },
        Qt::QueuedConnection);
    return 0;
  }
  bool write_picture(int width, int height, const picture_writer& write) override {
    return window_ && !gl_in_use_ && window_->canvas().write_picture(width, height, write);
  }
  bool knows_vertical_blank() const override { return gl_in_use_; }
  void wait_vertical_blank() override {}  // the swap waits

  void wait_events(int milliseconds) override {
    QEventLoop::ProcessEventsFlags flags = QEventLoop::AllEvents;
    if (milliseconds <= 0 || (window_ && !window_->queue().empty())) {
      QApplication::processEvents(flags);
    } else {
      QTimer timer;
      timer.setTimerType(Qt::PreciseTimer);
      timer.setSingleShot(true);
      timer.start(milliseconds);
      QApplication::processEvents(flags | QEventLoop::WaitForMoreEvents);
    }
    if (!window_) return;
    if (std::exchange(last_scale_, scale()) != last_scale_ && window_->events().scale_changed) {
      window_->events().scale_changed();
    }
    window_->queue().run();
  }
  void wake() override {
    QMetaObject::invokeMethod(
        &application_, [] {}, Qt::QueuedConnection);
  }

  int popup_menu(const std::vector<menu_entry>& entries, math::point at) override {
    if (!window_) return -1;
    const modal_loop loop(window_.get());
    return run_menu(entries, window_->canvas().global_position(at));
  }
  std::vector<std::string> ask_files(const file_dialog& dialog) override {
    const modal_loop loop(window_.get());
    return platform::ask_files(window_.get(), dialog);
  }
  message_answer show_message(const std::string& text, bool question) override {
    const modal_loop loop(window_.get());
    return platform::show_message(window_.get(), text, question);
  }
  void dismiss_dialogs() override { platform::dismiss_dialogs(); }
  bool show_progress(const std::string& title, int done, int total) override {
    return progress_.show(window_.get(), title, done, total);
  }

  std::string clipboard_text() override { return platform::clipboard_text(); }
  void set_clipboard_text(const std::string& text) override { platform::set_clipboard_text(text); }
  bool has_clipboard_picture() override { return platform::has_clipboard_picture(); }
  bool clipboard_picture(std::vector<std::uint8_t>& pixels, int& width, int& height) override {
    return platform::clipboard_picture(pixels, width, height);
  }
  void set_clipboard_picture(const std::uint8_t* pixels, int width, int height) override {
    platform::set_clipboard_picture(pixels, width, height);
  }

  std::vector<monitor> monitors() override {
    std::vector<monitor> result;
    for (const QScreen* screen : QGuiApplication::screens()) {
      const QRect area = screen->geometry();
      const double scale = screen->devicePixelRatio();
      result.push_back({screen->name().toStdString(),
                        (screen->manufacturer() + " " + screen->model()).trimmed().toStdString(), area.x(), area.y(),
                        static_cast<int>(std::lround(area.width() * scale)),
                        static_cast<int>(std::lround(area.height() * scale)), scale});
    }
    return result;
  }

  std::unique_ptr<output_window> open_output(std::size_t monitor) override {
    const QList<QScreen*> screens = QGuiApplication::screens();
    if (monitor >= static_cast<std::size_t>(screens.size())) return nullptr;
    return cover_screen(*screens[static_cast<qsizetype>(monitor)]);
  }

  audio_device& audio() override { return audio_; }

 private:
  int argument_count_ = 1;
  char program_[8] = "kestrin";
  char* arguments_[2] = {program_, nullptr};
  QApplication application_;
  std::unique_ptr<main_window> window_;
  std::unique_ptr<gl_surface> gl_;  // looked at by other threads only while gl_in_use_
  bool gl_tried_ = false;
  std::atomic<bool> gl_in_use_ = false;
  progress_dialog progress_;
  std::function<void()> display_lost_;
  int last_scale_ = 1;
  bool menu_visible_ = true;
  bool fullscreen_ = false;  // as it was asked for: without a window manager Qt takes the state back
  window_placement before_fullscreen_;
  sdl_ring_device audio_;

  // OpenGL is looked for with the first picture that is to wait for the blank: a driver takes its time to load.
  void use_gl(bool wanted) {
    if (wanted && !gl_tried_) {
      gl_tried_ = true;
      gl_ = gl_surface::make(&window_->canvas());
    }
    if (!gl_ || wanted == gl_in_use_) return;
    gl_->set_visible(wanted);
    gl_in_use_ = wanted;
  }

  // The window is put inside the monitor that shows most of it, no larger than that; one that lies outside all of them
  // takes the default place.
  void apply_placement(const window_placement& placement) {
    const long long width = 0LL + placement.right - placement.left;
    const long long height = 0LL + placement.bottom - placement.top;
    if (width < 1 || height < 1 || width > largest_window || height > largest_window) return;
    QRect wanted = rectangle_of(placement);
    const QScreen* best = nullptr;
    long long most = 0;
    for (const QScreen* screen : QGuiApplication::screens()) {
      const QSize shown = screen->availableGeometry().intersected(wanted).size();
      const long long pixels = shown.width() < least_shown ? 0 : 1LL * shown.width() * shown.height();
      if (pixels > most) best = screen;
      most = std::max(most, pixels);
    }
    const QRect room = (best ? best : QGuiApplication::primaryScreen())->availableGeometry();
    wanted.setSize(wanted.size().boundedTo(room.size()));
    if (!best) {
      window_->resize(wanted.size());
      return;
    }
    wanted.moveLeft(std::clamp(wanted.left(), room.left(), room.right() + 1 - wanted.width()));
    wanted.moveTop(std::clamp(wanted.top(), room.top(), room.bottom() + 1 - wanted.height()));
    window_->setGeometry(wanted);
  }
};

}  // namespace
}  // namespace platform

extern "C" __attribute__((visibility("default"))) platform::desktop* kestrin_make_desktop(std::string& error) {
  const platform::display_probe probe;
  if (!probe.good()) {
    error = "the display can't be reached";
    return nullptr;
  }
  platform::quiet_toolkit();
  try {
    return new platform::qt_desktop;
  } catch (const std::exception& failure) {
    error = failure.what();
    return nullptr;
  }
}
