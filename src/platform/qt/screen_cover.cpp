#include "platform/qt/screen_cover.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QPainter>
#include <QPointer>
#include <QScreen>
#include <QWidget>
#include <QWindow>
#include <cmath>
#include <utility>

#include "platform/qt/connection.h"
#include "platform/qt/gl_surface.h"

namespace platform {
namespace {

constexpr int error_no_window = 1400;
constexpr int error_size = static_cast<int>(0x80049205u);

// Shows a picture pixel for pixel.
class cover_widget : public QWidget {
 public:
  cover_widget() {
    setWindowFlags(Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAttribute(Qt::WA_NoSystemBackground);
    setWindowTitle("Kestrin Output");
    setCursor(Qt::BlankCursor);
  }
  void show_picture(std::shared_ptr<const std::uint8_t> pixels, int width, int height, bool now) {
    picture_ = QImage(pixels.get(), width, height, width * 4, QImage::Format_RGB32);
    pixels_ = std::move(pixels);
    if (now) repaint();
  }

 protected:
  // The program alone ends an output.
  void closeEvent(QCloseEvent* event) override { event->ignore(); }
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    if (picture_.isNull()) return painter.fillRect(rect(), Qt::black);
    picture_.setDevicePixelRatio(devicePixelRatioF());
    painter.drawImage(QPoint(), picture_);
  }

 private:
  std::shared_ptr<const std::uint8_t> pixels_;
  QImage picture_;
};

class screen_cover final : public output_window {
 public:
  explicit screen_cover(QScreen& screen) : screen_(&screen) {
    widget_.winId();  // makes the window, which can then be given its screen
    widget_.windowHandle()->setScreen(&screen);
    widget_.setGeometry(screen.geometry());
    // Under Wayland only a full-screen window gets the screen that it asks for.
    if (has_window_manager() || QGuiApplication::platformName().startsWith("wayland")) {
      widget_.showFullScreen();
    } else {
      widget_.show();
    }
  }
  // The surface goes before the widget that it lies on.
  ~screen_cover() override { gl_.reset(); }

  math::point size() const override {
    if (!screen_ || !QGuiApplication::screens().contains(screen_.data())) return {};
    const QSize size = screen_->size();
    const double scale = screen_->devicePixelRatio();
    return {static_cast<int>(std::lround(size.width() * scale)), static_cast<int>(std::lround(size.height() * scale))};
  }

  int show_picture(std::shared_ptr<const std::uint8_t> pixels, int width, int height, bool at_blank) override {
    const math::point now = size();
    if (now == math::point{}) return error_no_window;
    if (now != math::point{width, height}) return error_size;
    if (widget_.geometry() != screen_->geometry()) widget_.setGeometry(screen_->geometry());
    if (at_blank && !std::exchange(gl_tried_, true)) gl_ = gl_surface::make(&widget_);
    const bool with_gl = at_blank && gl_;
    if (gl_ && with_gl != gl_in_use_) gl_->set_visible(with_gl);
    gl_in_use_ = with_gl;
    if (with_gl) {
      gl_->resize(widget_.size());
      gl_->show_picture(pixels, width, height, false);
    }
    widget_.show_picture(std::move(pixels), width, height, !with_gl);
    return 0;
  }
  bool knows_vertical_blank() const override { return gl_in_use_; }

 private:
  QPointer<QScreen> screen_;
  cover_widget widget_;
  std::unique_ptr<gl_surface> gl_;  // looked for with the first picture that is to wait for the blank
  bool gl_tried_ = false;
  bool gl_in_use_ = false;
};

}  // namespace

std::unique_ptr<output_window> cover_screen(QScreen& screen) {
  return std::make_unique<screen_cover>(screen);
}

}  // namespace platform
