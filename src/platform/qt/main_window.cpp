#include "platform/qt/main_window.h"

#include <QCloseEvent>
#include <QMenu>
#include <QMenuBar>
#include <QTimer>
#include <utility>

#include "platform/qt/menus.h"

namespace platform {
namespace {

constexpr int modal_tick_milliseconds = 20;

}  // namespace

main_window::main_window(const window_options& options, window_events events) : events_(std::move(events)) {
  setWindowTitle(QString::fromStdString(options.title));
  canvas_ = new canvas_widget(events_, queue_);
  canvas_->setMinimumSize(options.min_client_width, options.min_client_height);
  setCentralWidget(canvas_);
  if (options.always_on_top) setWindowFlag(Qt::WindowStaysOnTopHint);
  modal_timer_ = new QTimer(this);
  modal_timer_->setInterval(modal_tick_milliseconds);
  connect(modal_timer_, &QTimer::timeout, this, [this] {
    if (events_.modal_tick) events_.modal_tick();
  });
  for (std::size_t i = 0; i < options.menus.size(); ++i) add_menu(options.menus[i], i);
  resize(options.width, options.height);
  canvas_->setFocus();
}

void main_window::add_menu(const std::string& title, std::size_t index) {
  QMenu* menu = menuBar()->addMenu(QString::fromStdString(title));
  // Something must be in it, or the menu bar does not open it.
  menu->addAction(QString());
  connect(menu, &QMenu::aboutToShow, this, [this, menu, index] {
    menu->clear();
    if (!events_.open_menu) return;
    fill_menu(*menu, events_.open_menu(index), [this](const menu_entry& entry) {
      queue_.push([this, command = entry.command] {
        if (events_.menu_chosen) events_.menu_chosen(command);
      });
    });
  });
  connect(menu, &QMenu::aboutToShow, this, &main_window::start_modal_ticks);
  connect(menu, &QMenu::aboutToHide, this, &main_window::stop_modal_ticks);
}

void main_window::start_modal_ticks() {
  if (modal_loops_++ > 0) return;
  if (events_.capture_lost) events_.capture_lost();
  modal_timer_->start();
}
void main_window::stop_modal_ticks() {
  if (--modal_loops_ == 0) modal_timer_->stop();
}

void main_window::closeEvent(QCloseEvent* event) {
  if (may_close) {
    event->accept();
    return;
  }
  // The program files the document first and then takes the window down itself.
  event->ignore();
  if (events_.close_requested) events_.close_requested();
}

}  // namespace platform
