// The main window: a menu bar and one canvas that shows the picture.
#pragma once

#include <QMainWindow>
#include <string>
#include <vector>

#include "platform/desktop.h"
#include "platform/qt/canvas.h"
#include "platform/qt/event_queue.h"

class QTimer;

namespace platform {

class main_window : public QMainWindow {
 public:
  main_window(const window_options& options, window_events events);

  canvas_widget& canvas() { return *canvas_; }
  const window_events& events() const { return events_; }
  event_queue& queue() { return queue_; }
  // Keeps picture and clock going from now on until the matching call; for loops that do not end at once.
  void start_modal_ticks();
  void stop_modal_ticks();
  // Set by the owner when the program itself takes the window down.
  bool may_close = false;

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  window_events events_;
  event_queue queue_;
  canvas_widget* canvas_;
  QTimer* modal_timer_;
  int modal_loops_ = 0;
  void add_menu(const std::string& title, std::size_t index);
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
