#include "platform/qt/main_window.h"

#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QTimer>
#include <QUrl>
#include <QWheelEvent>
#include <cmath>

#include "platform/qt/keys.h"

namespace platform {
namespace {

constexpr int modal_tick_milliseconds = 20;

int modifiers_of(Qt::KeyboardModifiers modifiers) {
  return (modifiers & Qt::ShiftModifier ? key_shift : 0) | (modifiers & Qt::ControlModifier ? key_ctrl : 0) |
         (modifiers & Qt::AltModifier ? key_alt : 0);
}

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

canvas_widget::canvas_widget(const window_events& events) : events_(events) {
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

void canvas_widget::keyPressEvent(QKeyEvent* event) {
  const int code = key_code_of(*event);
  if (code != 0 && events_.key) events_.key(code);
  const QString text = event->text();
  if (events_.text && !text.isEmpty() && text[0].isPrint() &&
      !(event->modifiers() & (Qt::ControlModifier | Qt::AltModifier)))
    events_.text(text.toStdString());
  event->accept();
}

void canvas_widget::tell(QMouseEvent* event, mouse_action action) {
  if (!events_.mouse) return;
  events_.mouse({action, button_of(event->button()), pixel_at(event->position()), 0, modifiers_of(event->modifiers())});
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
  if (!events_.mouse) return;
  events_.mouse({mouse_action::wheel, mouse_button::none, pixel_at(event->position()), event->angleDelta().y(),
                 modifiers_of(event->modifiers())});
}

void canvas_widget::leaveEvent(QEvent*) {
  if (events_.mouse) events_.mouse({mouse_action::leave, mouse_button::none, {-1, -1}, 0, 0});
}

void canvas_widget::focusOutEvent(QFocusEvent*) {
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
  QTimer::singleShot(0, this, [this, paths = std::move(paths)] {
    if (events_.dropped) events_.dropped(paths);
  });
}

main_window::main_window(const window_options& options, window_events events) : events_(std::move(events)) {
  setWindowTitle(QString::fromStdString(options.title));
  canvas_ = new canvas_widget(events_);
  canvas_->setMinimumSize(options.min_client_width, options.min_client_height);
  setCentralWidget(canvas_);
  if (options.always_on_top) setWindowFlag(Qt::WindowStaysOnTopHint);
  modal_timer_ = new QTimer(this);
  modal_timer_->setInterval(modal_tick_milliseconds);
  connect(modal_timer_, &QTimer::timeout, this, [this] {
    if (events_.modal_tick) events_.modal_tick();
  });
  for (const menu_description& menu : options.menus) add_menu(menu);
  resize(options.width, options.height);
  canvas_->setFocus();
}

void main_window::add_menu(const menu_description& description) {
  QMenu* menu = menuBar()->addMenu(QString::fromStdString(description.title));
  // Something must be in it, or the menu bar does not open it.
  menu->addAction(QString());
  connect(menu, &QMenu::aboutToShow, this,
          [this, menu, entries = description.entries] { refresh_menu(menu, entries); });
  connect(menu, &QMenu::aboutToShow, this, &main_window::start_modal_ticks);
  connect(menu, &QMenu::aboutToHide, this, &main_window::stop_modal_ticks);
}

void main_window::start_modal_ticks() {
  if (modal_loops_++ == 0) modal_timer_->start();
}
void main_window::stop_modal_ticks() {
  if (--modal_loops_ == 0) modal_timer_->stop();
}

void main_window::refresh_menu(QMenu* menu, const std::vector<std::string>& entries) {
  menu->clear();
  for (const std::string& entry : entries) {
    if (entry == "-") {
      menu->addSeparator();
      continue;
    }
    const menu_entry_state state =
        events_.menu_state ? events_.menu_state(entry) : menu_entry_state{entry, "", true, false, false, {}};
    const auto choose = [this, entry](int item) {
      if (events_.menu_chosen) events_.menu_chosen(entry, item);
    };
    // `&` would mark a letter as the entry's key.
    const QString text = QString::fromStdString(state.text).replace("&", "&&");
    if (!state.items.empty()) {
      QMenu* sub = menu->addMenu(text);
      for (std::size_t i = 0; i < state.items.size(); ++i) {
        QAction* action = sub->addAction(QString::fromStdString(state.items[i]).replace("&", "&&"));
        connect(action, &QAction::triggered, this, [choose, i] { choose(static_cast<int>(i)); });
      }
      continue;
    }
    QAction* action =
        menu->addAction(state.key_text.empty() ? text : text + '\t' + QString::fromStdString(state.key_text));
    action->setEnabled(state.enabled);
    action->setCheckable(state.checkable);
    action->setChecked(state.checked);
    connect(action, &QAction::triggered, this, [choose] { choose(-1); });
  }
}

void main_window::closeEvent(QCloseEvent* event) {
  if (may_close) {
    event->accept();
    return;
  }
  // The program files the document first and then takes the window down itself.
  event->ignore();
  close_asked = true;
  if (events_.close_requested) events_.close_requested();
}

}  // namespace platform
