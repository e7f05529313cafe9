#include "platform/desktop.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileDialog>
#include <QGuiApplication>
#include <QLibraryInfo>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressDialog>
#include <QProxyStyle>
#include <QScreen>
#include <QThread>
#include <QTimer>
#include <QWindow>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <thread>
#include <utility>

#include "platform/qt/gl_surface.h"
#include "platform/qt/main_window.h"
#include "platform/sdl/ring_device.h"

namespace platform {
namespace {

constexpr int progress_patience = 500;             // milliseconds of work that shows no progress dialog
constexpr std::chrono::seconds lost_patience(10);  // for a document to be filed
constexpr int largest_window = 32767;              // pixels, of the window system
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
      return Qt::BlankCursor;
  }
  return Qt::ArrowCursor;
}

bool is_set(const char* variable) {
  const char* value = std::getenv(variable);
  return value && *value;
}

// Whether a Wayland compositor takes connections, and Qt knows how to speak to it.
bool reaches_wayland() {
  const QDir plugins(QLibraryInfo::path(QLibraryInfo::PluginsPath) + "/platforms");
  if (plugins.entryList({"libqwayland*"}, QDir::Files).isEmpty()) return false;
  if (is_set("WAYLAND_SOCKET")) return true;
  std::string path = is_set("WAYLAND_DISPLAY") ? std::getenv("WAYLAND_DISPLAY") : "wayland-0";
  if (path[0] != '/') path = std::string(is_set("XDG_RUNTIME_DIR") ? std::getenv("XDG_RUNTIME_DIR") : "") + "/" + path;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path.c_str(), path.size());
  const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool reached = socket >= 0 && connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  if (socket >= 0) close(socket);
  return reached;
}

// Qt ends the process when it can't connect to a display, so that is tried first. A connection to an X display stays
// until Qt has its own: some servers begin anew, and refuse connections meanwhile, when their last one is closed.
class display_probe {
 public:
  display_probe() {
    const std::string platform = is_set("QT_QPA_PLATFORM") ? std::getenv("QT_QPA_PLATFORM") : "";
    const bool asks_wayland = platform.empty() ? is_set("WAYLAND_DISPLAY") : platform.starts_with("wayland");
    const bool asks_x = platform.empty() ? is_set("DISPLAY") : platform == "xcb";
    if (!asks_wayland && !asks_x) {
      good_ = !platform.empty();  // one of the platforms that need no display
    } else if (asks_wayland && reaches_wayland()) {
      good_ = true;
    } else if (asks_x) {
      connection_ = xcb_connect(nullptr, nullptr);
      good_ = xcb_connection_has_error(connection_) == 0;
      // Otherwise Qt would go to the Wayland display that is not there first.
      if (good_) setenv("QT_QPA_PLATFORM", "xcb", 1);
    }
  }
  ~display_probe() {
    if (connection_) xcb_disconnect(connection_);
  }
  display_probe(const display_probe&) = delete;
  display_probe& operator=(const display_probe&) = delete;
  bool good() const { return good_; }

 private:
  xcb_connection_t* connection_ = nullptr;
  bool good_ = false;
};

void tell_lost_connection();

// The toolkit's remarks about the session are nothing that a user of the command line can act on. Those about a broken
// connection to a Wayland display are the last that it does in this process.
void show_only_errors(QtMsgType type, const QMessageLogContext&, const QString& text) {
  if (text.startsWith("The Wayland connection")) tell_lost_connection();
  if (type == QtCriticalMsg || type == QtFatalMsg) std::fprintf(stderr, "%s\n", qPrintable(text));
}

// Alt alone, and with a key, belongs to the key definitions and not to the menu bar.
class program_style : public QProxyStyle {
 public:
  int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                QStyleHintReturn* data) const override {
    if (hint == SH_MenuBar_AltKeyNavigation) return 0;
    return QProxyStyle::styleHint(hint, option, widget, data);
  }
};

class qt_desktop;
// The desktop whose connection may break: Qt then ends the process from inside a call.
qt_desktop* connected = nullptr;

QRect rectangle_of(const window_placement& placement) {
  return {QPoint(placement.left, placement.top), QPoint(placement.right - 1, placement.bottom - 1)};
}

// Whether somebody carries out what a window asks for its state. An X server alone does not.
bool has_window_manager() {
  const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  if (!x11) return true;
  xcb_connection_t* connection = x11->connection();
  constexpr std::string_view name = "_NET_SUPPORTING_WM_CHECK";
  const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> atom(
      xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 1, name.size(), name.data()), nullptr), std::free);
  if (!atom || atom->atom == XCB_ATOM_NONE) return false;
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
  const std::unique_ptr<xcb_get_property_reply_t, decltype(&std::free)> property(
      xcb_get_property_reply(connection, xcb_get_property(connection, 0, root, atom->atom, XCB_ATOM_WINDOW, 0, 1),
                             nullptr),
      std::free);
  return property && xcb_get_property_value_length(property.get()) > 0;
}

class qt_desktop : public desktop {
 public:
  qt_desktop() : application_(argument_count_, arguments_) {
    QApplication::setStyle(new program_style);
    connected = this;
    std::atexit(tell_lost_connection);
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setApplicationName("Kestrin");
    QApplication::setDesktopFileName("kestrin");
  }
  ~qt_desktop() override {
    destroy_window();
    connected = nullptr;
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
  bool knows_vertical_blank() const override { return gl_in_use_; }
  void wait_vertical_blank() override {}  // the swap waits

  void wait_events(int milliseconds) override {
    QEventLoop::ProcessEventsFlags flags = QEventLoop::AllEvents;
    if (milliseconds <= 0) {
      QApplication::processEvents(flags);
      return;
    }
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    timer.setSingleShot(true);
    timer.start(milliseconds);
    QApplication::processEvents(flags | QEventLoop::WaitForMoreEvents);
  }
  void wake() override {
    QMetaObject::invokeMethod(
        &application_, [] {}, Qt::QueuedConnection);
  }

  std::vector<std::string> ask_files(const file_dialog& dialog) override {
    const modal_loop loop(window_.get());
    const QString title = QString::fromStdString(dialog.title);
    const QString filter = QString::fromStdString(dialog.filter);
    const QString start =
        QString::fromStdString(dialog.folder.empty() ? dialog.file_name : dialog.folder + "/" + dialog.file_name);
    QStringList chosen;
    if (dialog.save) {
      chosen << QFileDialog::getSaveFileName(window_.get(), title, start, filter);
    } else if (dialog.several) {
      chosen = QFileDialog::getOpenFileNames(window_.get(), title, start, filter);
    } else {
      chosen << QFileDialog::getOpenFileName(window_.get(), title, start, filter);
    }
    std::vector<std::string> paths;
    for (const QString& path : chosen) {
      if (!path.isEmpty()) paths.push_back(QFile::encodeName(path).toStdString());
    }
    return paths;
  }

  message_answer show_message(const std::string& text, bool question) override {
    const modal_loop loop(window_.get());
    QMessageBox box(window_.get());
    box.setTextFormat(Qt::PlainText);
    box.setText(QString::fromStdString(text));
    box.setStandardButtons(question ? QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel
                                    : QMessageBox::StandardButtons(QMessageBox::Ok));
    switch (box.exec()) {
      case QMessageBox::Yes:
        return message_answer::yes;
      case QMessageBox::No:
        return message_answer::no;
      case QMessageBox::Cancel:
        return message_answer::cancel;
      default:
        return message_answer::ok;
    }
  }

  void dismiss_dialogs() override {
    // One may stand in front of another.
    QWidget* last = nullptr;
    for (QWidget* top; (top = QApplication::activeModalWidget()) && top != last; last = top) {
      if (auto* dialog = qobject_cast<QDialog*>(top)) dialog->reject();
    }
  }

  bool show_progress(const std::string& title, int done, int total) override {
    if (!progress_) {
      if (done >= total) return true;
      progress_ = std::make_unique<QProgressDialog>(window_.get());
      progress_->setWindowModality(Qt::ApplicationModal);
      progress_->setMinimumDuration(progress_patience);
      progress_->setAutoClose(false);
      progress_->setAutoReset(false);
    }
    progress_->setLabelText(QString::fromStdString(title));
    progress_->setMaximum(std::max(total, 1));
    progress_->setValue(done);
    QApplication::processEvents();
    const bool go_on = !progress_->wasCanceled();
    if (done >= total || !go_on) progress_.reset();
    return go_on;
  }

  std::string clipboard_text() override { return QGuiApplication::clipboard()->text().toStdString(); }
  void set_clipboard_text(const std::string& text) override {
    QGuiApplication::clipboard()->setText(QString::fromStdString(text));
  }
  bool has_clipboard_picture() override {
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    return data && data->hasImage();
  }
  bool clipboard_picture(std::vector<std::uint8_t>& pixels, int& width, int& height) override {
    const QImage image = QGuiApplication::clipboard()->image().convertToFormat(QImage::Format_ARGB32);
    if (image.isNull()) return false;
    width = image.width();
    height = image.height();
    pixels.resize(static_cast<std::size_t>(width) * height * 4);
    for (int y = 0; y < height; ++y)
      std::memcpy(pixels.data() + static_cast<std::size_t>(y) * width * 4, image.constScanLine(y),
                  static_cast<std::size_t>(width) * 4);
    return true;
  }
  void set_clipboard_picture(const std::uint8_t* pixels, int width, int height) override {
    QGuiApplication::clipboard()->setImage(QImage(pixels, width, height, width * 4, QImage::Format_ARGB32).copy());
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

  audio_device& audio() override { return audio_; }

  void tell_lost() {
    if (window_ && display_lost_) std::exchange(display_lost_, nullptr)();
  }

 private:
  int argument_count_ = 1;
  char program_[8] = "kestrin";
  char* arguments_[2] = {program_, nullptr};
  QApplication application_;
  std::unique_ptr<main_window> window_;
  std::unique_ptr<gl_surface> gl_;  // looked at by other threads only while gl_in_use_
  bool gl_tried_ = false;
  std::atomic<bool> gl_in_use_ = false;
  std::unique_ptr<QProgressDialog> progress_;
  std::function<void()> display_lost_;
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

  // A window that would lie outside every monitor keeps its size and takes the default place.
  void apply_placement(const window_placement& placement) {
    const long long width = 0LL + placement.right - placement.left;
    const long long height = 0LL + placement.bottom - placement.top;
    if (width < 1 || height < 1 || width > largest_window || height > largest_window) return;
    const QRect wanted = rectangle_of(placement);
    bool on_screen = false;
    for (const QScreen* screen : QGuiApplication::screens()) {
      on_screen = on_screen || screen->availableGeometry().intersected(wanted).width() >= 64;
    }
    if (on_screen) {
      window_->setGeometry(wanted);
    } else {
      window_->resize(wanted.size());
    }
  }
};

// Several threads of the toolkit may find the connection broken and are about to end the process: they leave that to
// the main thread, which finds it with its next picture.
void tell_lost_connection() {
  if (!connected) return;
  if (QThread::currentThread() == qGuiApp->thread()) {
    connected->tell_lost();
  } else {
    std::this_thread::sleep_for(lost_patience);
  }
}

}  // namespace
}  // namespace platform

extern "C" __attribute__((visibility("default"))) platform::desktop* kestrin_make_desktop(std::string& error) {
  const platform::display_probe probe;
  if (!probe.good()) {
    error = "the display can't be reached";
    return nullptr;
  }
  qInstallMessageHandler(platform::show_only_errors);
  try {
    return new platform::qt_desktop;
  } catch (const std::exception& failure) {
    error = failure.what();
    return nullptr;
  }
}
