// The main window: a menu bar and one canvas that shows the picture.
#pragma once

#include <QImage>
#include <QMainWindow>
#include <QWidget>
#include <memory>
#include <vector>

#include "platform/desktop.h"

class QMenu;
class QTimer;

namespace platform {

// Shows the last picture pixel for pixel, and turns Qt's events into those of window_events.
class canvas_widget : public QWidget {
 public:
  explicit canvas_widget(const window_events& events);

  // Size of the canvas in pixels of the screen.
  math::point pixel_size() const { return {pixel_area().width(), pixel_area().height()}; }
  // The pixels are held until the next call, for paints that the window system asks for. `now` paints at once.
  void show_picture(std::shared_ptr<const std::uint8_t> pixels, int width, int height, bool now);

 protected:
  void paintEvent(QPaintEvent*) override;
  void keyPressEvent(QKeyEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;
  void leaveEvent(QEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  bool focusNextPrevChild(bool) override { return false; }  // Tab is a key like any other

 private:
  const window_events& events_;
  std::shared_ptr<const std::uint8_t> pixels_;  // of picture_
  QImage picture_;

  // The canvas in pixels of the window: with a broken scale its edges fall between pixels and are rounded.
  QRect pixel_area() const;
  // From the corner of pixel_area() to that of the canvas, in pixels.
  QPointF pixel_offset() const;
  math::point pixel_at(QPointF position) const;
  void tell(QMouseEvent* event, mouse_action action);
};

class main_window : public QMainWindow {
 public:
  main_window(const window_options& options, window_events events);

  canvas_widget& canvas() { return *canvas_; }
  // Keeps picture and clock going from now on until the matching call; for loops that do not end at once.
  void start_modal_ticks();
  void stop_modal_ticks();
  bool close_asked = false;
  // Set by the owner when the program itself takes the window down.
  bool may_close = false;

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  window_events events_;
  canvas_widget* canvas_;
  QTimer* modal_timer_;
  int modal_loops_ = 0;
  void add_menu(const menu_description& description);
  void refresh_menu(QMenu* menu, const std::vector<std::string>& entries);
};

// A loop of the toolkit's own, for the time of a scope.
class modal_loop {
 public:
  explicit modal_loop(main_window* window) : window_(window) {
    if (window_) window_->start_modal_ticks();
  }
  ~modal_loop() {
    if (window_) window_->stop_modal_ticks();
  }
  modal_loop(const modal_loop&) = delete;
  modal_loop& operator=(const modal_loop&) = delete;

 private:
  main_window* window_;
};

}  // namespace platform
