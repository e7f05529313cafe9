#include "platform/qt/canvas.h"

#include <QBackingStore>
#include <QCursor>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QGuiApplication>
#include <QInputMethod>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QUrl>
#include <QWheelEvent>
#include <QWindow>
#include <cmath>
#include <utility>

#include "platform/qt/keys.h"

namespace platform {
namespace {

mouse_button button_of(Qt::MouseButton button) {
  switch (button) {
    case Qt::LeftButton:
      return mouse_button::left;
    case Qt::MiddleButton:
      return mouse_button::middle;
    case Qt::RightButton:
      return mouse_button::right;
    default:
      return mouse_button::none;
  }
}

}  // namespace

canvas_widget::canvas_widget(const window_events& events, event_queue& queue) : events_(events), queue_(queue) {
  // Every picture covers the whole canvas: nothing is cleared behind it.
  setAttribute(Qt::WA_OpaquePaintEvent);
  setAttribute(Qt::WA_NoSystemBackground);
  setFocusPolicy(Qt::StrongFocus);
  setMouseTracking(true);
  setAcceptDrops(true);
}

QRect canvas_widget::pixel_area() const {
  const double scale = devicePixelRatioF();
  const QPointF corner = QPointF(mapTo(window(), QPoint())) * scale;
  const QPointF end = corner + QPointF(width(), height()) * scale;
  const QPoint first(static_cast<int>(std::lround(corner.x())), static_cast<int>(std::lround(corner.y())));
  return {first, QSize(static_cast<int>(std::lround(end.x())), static_cast<int>(std::lround(end.y()))) -
                     QSize(first.x(), first.y())};
}

QPointF canvas_widget::pixel_offset() const {
  return QPointF(mapTo(window(), QPoint())) * devicePixelRatioF() - QPointF(pixel_area().topLeft());
}

math::point canvas_widget::pixel_at(QPointF position) const {
  const QPointF pixel = position * devicePixelRatioF() + pixel_offset();
  return {static_cast<int>(std::floor(pixel.x())), static_cast<int>(std::floor(pixel.y()))};
}

void canvas_widget::show_picture(std::shared_ptr<const std::uint8_t> pixels, int width, int height, bool now) {
  picture_ = QImage(pixels.get(), width, height, width * 4, QImage::Format_RGB32);
  pixels_ = std::move(pixels);
  if (now) {
    repaint();
  } else {
    update();
  }
}

bool canvas_widget::write_picture(int width, int height, const desktop::picture_writer& write) {
  QBackingStore* store = backingStore();
  QWindow* target = window()->windowHandle();
  // Others may have several pictures on their way, each with older parts of the window around this one.
  if (!store || !target || !target->isExposed() || QGuiApplication::platformName() != "xcb") return false;
  const QRegion region(QRect(mapTo(window(), QPoint()), size()));
  const QRect pixels = pixel_area();
  store->beginPaint(region);
  QPaintDevice* device = store->paintDevice();
  QImage* memory = device && device->devType() == QInternal::Image ? static_cast<QImage*>(device) : nullptr;
  const bool fits = memory && memory->format() == QImage::Format_RGB32 && memory->rect().contains(pixels) &&
                    pixels.size() == QSize(width, height);
  if (fits) write(memory->scanLine(pixels.top()) + 4 * pixels.left(), memory->bytesPerLine());
  store->endPaint();
  if (!fits) return false;
  store->flush(region, target);
  picture_ = QImage();
  pixels_.reset();
  return true;
}

void canvas_widget::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setCompositionMode(QPainter::CompositionMode_Source);
  if (picture_.isNull()) {
    painter.fillRect(rect(), Qt::black);
  } else {
    picture_.setDevicePixelRatio(devicePixelRatioF());
    const QPointF corner = -pixel_offset() / devicePixelRatioF();
    painter.drawImage(corner, picture_);
    const QRectF shown(corner, QSizeF(picture_.size()) / picture_.devicePixelRatio());
    if (!shown.contains(QRectF(rect()))) {
      // A window that grew shows its last picture until the next one.
      QRegion rest(rect());
      rest -= shown.toAlignedRect();
      for (const QRect& part : rest) painter.fillRect(part, Qt::black);
    }
  }
}

std::optional<math::point> canvas_widget::pointer() const {
  const QPoint position = mapFromGlobal(QCursor::pos());
  if (!rect().contains(position)) return std::nullopt;
  return pixel_at(position);
}

QPointF canvas_widget::position_of(math::point pixel) const {
  return (QPointF(pixel.x, pixel.y) - pixel_offset()) / devicePixelRatioF();
}

QPoint canvas_widget::global_position(math::point pixel) const {
  return mapToGlobal(position_of(pixel).toPoint());
}

void canvas_widget::set_text_input(bool on) {
  // What was composed for one control does not go into the next.
  if (!on) QGuiApplication::inputMethod()->reset();
  setAttribute(Qt::WA_InputMethodEnabled, on);
}

void canvas_widget::set_text_caret(const math::rectangle& caret) {
  caret_ = caret;
  QGuiApplication::inputMethod()->update(Qt::ImCursorRectangle);
}

void canvas_widget::keyPressEvent(QKeyEvent* event) {
  event->accept();
  const int code = key_code_of(*event);
  if (code == 0) tell_modifiers(*event, true);
  if (code != 0) {
    queue_.push([this, code] {
      if (events_.key) events_.key(code);
    });
  }
  if (!(event->modifiers() & (Qt::ControlModifier | Qt::AltModifier))) tell_text(event->text());
}

void canvas_widget::keyReleaseEvent(QKeyEvent* event) {
  event->accept();
  if (!event->isAutoRepeat()) tell_modifiers(*event, false);
}

void canvas_widget::tell_modifiers(const QKeyEvent& event, bool pressed) {
  if (!is_modifier_key(event)) return;
  queue_.push([this, modifiers = modifiers_after(event, pressed)] {
    if (events_.modifiers) events_.modifiers(modifiers);
  });
}

void canvas_widget::tell_text(const QString& text) {
  QString printable;
  for (const QChar c : text) {
    if (c.isPrint() || c.isSurrogate()) printable += c;
  }
  if (printable.isEmpty()) return;
  queue_.push([this, bytes = printable.toStdString()] {
    if (events_.text) events_.text(bytes);
  });
}

void canvas_widget::tell_composing(const QString& text) {
  if (text.isEmpty() && !composing_) return;
  composing_ = !text.isEmpty();
  queue_.push([this, bytes = text.toStdString()] {
    if (events_.composing) events_.composing(bytes);
  });
}

void canvas_widget::inputMethodEvent(QInputMethodEvent* event) {
  // What is done takes the place of what was composed; the next word may begin with the same event.
  if (!event->commitString().isEmpty()) tell_composing({});
  tell_text(event->commitString());
  tell_composing(event->preeditString());
  event->accept();
}

QVariant canvas_widget::inputMethodQuery(Qt::InputMethodQuery query) const {
  if (query == Qt::ImEnabled) return testAttribute(Qt::WA_InputMethodEnabled);
  if (query == Qt::ImCursorRectangle) {
    return QRectF(position_of({caret_.left, caret_.top}), position_of({caret_.right, caret_.bottom}));
  }
  if (query == Qt::ImHints) return static_cast<int>(Qt::ImhNoPredictiveText | Qt::ImhNoAutoUppercase);
  return QWidget::inputMethodQuery(query);
}

void canvas_widget::tell_mouse(const mouse_event& event) {
  queue_.push([this, event] {
    if (events_.mouse) events_.mouse(event);
  });
}

void canvas_widget::tell(QMouseEvent* event, mouse_action action) {
  mouse_event told{action, button_of(event->button()), pixel_at(event->position()), 0,
                   modifiers_of(event->modifiers())};
  if (event->pointerType() == QPointingDevice::PointerType::Pen) told.pressure = pen_pressure_;
  tell_mouse(told);
}

// Not taken, so that the event of a mouse that stands for it follows.
void canvas_widget::tabletEvent(QTabletEvent* event) {
  pen_pressure_ = event->pressure();
  event->ignore();
}

void canvas_widget::mousePressEvent(QMouseEvent* event) {
  tell(event, mouse_action::press);
}
void canvas_widget::mouseReleaseEvent(QMouseEvent* event) {
  tell(event, mouse_action::release);
}
void canvas_widget::mouseDoubleClickEvent(QMouseEvent* event) {
  tell(event, mouse_action::double_click);
}
void canvas_widget::mouseMoveEvent(QMouseEvent* event) {
  tell(event, mouse_action::move);
}

void canvas_widget::wheelEvent(QWheelEvent* event) {
  // Qt takes a wheel that is turned with Alt held for a sideways one.
  QPoint turned = event->angleDelta();
  if (event->modifiers() & Qt::AltModifier) turned = turned.transposed();
  tell_mouse({mouse_action::wheel, mouse_button::none, pixel_at(event->position()), turned.y(),
              modifiers_of(event->modifiers()), turned.x()});
}

void canvas_widget::leaveEvent(QEvent*) {
  tell_mouse({mouse_action::leave, mouse_button::none, {-1, -1}, 0, 0});
}

void canvas_widget::focusOutEvent(QFocusEvent* event) {
  const Qt::FocusReason reason = event->reason();
  if (reason == Qt::PopupFocusReason || reason == Qt::MenuBarFocusReason) return;
  if (events_.focus_lost) events_.focus_lost();
}

void canvas_widget::dragEnterEvent(QDragEnterEvent* event) {
  if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void canvas_widget::dropEvent(QDropEvent* event) {
  std::vector<std::string> paths;
  for (const QUrl& url : event->mimeData()->urls()) {
    // Names of files are bytes and need not be text.
    std::string path = QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1()).toStdString();
    if (url.isLocalFile() && !path.empty()) paths.push_back(std::move(path));
  }
  event->acceptProposedAction();
  if (paths.empty()) return;
  // The other program waits for the end of this event, which loading must not hold up.
  queue_.push([this, paths = std::move(paths)] {
    if (events_.dropped) events_.dropped(paths);
  });
}

}  // namespace platform
