// The content of the window: one picture, and the events that happen over it.
#pragma once

#include <QImage>
#include <QWidget>
#include <memory>
#include <optional>

#include "platform/desktop.h"
#include "platform/qt/event_queue.h"

namespace platform {

// Shows the last picture pixel for pixel, and turns Qt's events into those of window_events.
class canvas_widget : public QWidget {
 public:
  canvas_widget(const window_events& events, event_queue& queue);

  // Size of the canvas in pixels of the screen.
  math::point pixel_size() const { return {pixel_area().width(), pixel_area().height()}; }
  // The pixels are held until the next call, for paints that the window system asks for. `now` paints at once.
  void show_picture(std::shared_ptr<const std::uint8_t> pixels, int width, int height, bool now);
  // As desktop::write_picture().
  bool write_picture(int width, int height, const desktop::picture_writer& write);
  // Where the pointer is; nothing outside the canvas.
  std::optional<math::point> pointer() const;
  // A pixel of the canvas as a point of the desktop.
  QPoint global_position(math::point pixel) const;
  void set_text_input(bool on);
  void set_text_caret(const math::rectangle& caret);

 protected:
  void paintEvent(QPaintEvent*) override;
  void keyPressEvent(QKeyEvent* event) override;
  void keyReleaseEvent(QKeyEvent* event) override;
  void inputMethodEvent(QInputMethodEvent* event) override;
  QVariant inputMethodQuery(Qt::InputMethodQuery query) const override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void tabletEvent(QTabletEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;
  void leaveEvent(QEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  bool focusNextPrevChild(bool) override { return false; }  // Tab is a key like any other

 private:
  double pen_pressure_ = 1;
  bool composing_ = false;
  math::rectangle caret_;
  const window_events& events_;
  event_queue& queue_;
  std::shared_ptr<const std::uint8_t> pixels_;  // of picture_
  QImage picture_;

  // The canvas in pixels of the window: with a broken scale its edges fall between pixels and are rounded.
  QRect pixel_area() const;
  // From the corner of pixel_area() to that of the canvas, in pixels.
  QPointF pixel_offset() const;
  math::point pixel_at(QPointF position) const;
  QPointF position_of(math::point pixel) const;
  void tell(QMouseEvent* event, mouse_action action);
  void tell_mouse(const mouse_event& event);
  void tell_text(const QString& text);
  void tell_composing(const QString& text);
  void tell_modifiers(const QKeyEvent& event, bool pressed);
};

}  // namespace platform
