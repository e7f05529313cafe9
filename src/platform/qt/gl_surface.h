// Pictures through OpenGL, whose swap can wait for the vertical blank.
#pragma once

#include <QWidget>
#include <QWindow>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

class QThread;

namespace platform {

// A window over a widget that takes no input, and a thread of its own that draws into it.
class gl_surface {
 public:
  // Null without OpenGL 3 in hardware. Software is taken too when the variable KESTRIN_OPENGL is "software", for tests.
  // Takes the time that loading a driver takes. Main thread, as the destructor.
  static std::unique_ptr<gl_surface> make(QWidget* over);
  ~gl_surface();
  gl_surface(const gl_surface&) = delete;
  gl_surface& operator=(const gl_surface&) = delete;

  // Main thread.
  void resize(const QSize& size) { container_->resize(size); }
  void set_visible(bool visible) { container_->setVisible(visible); }
  // Draws a picture at the next vertical blank; one that is not drawn yet is passed over. Returns when the pixels were
  // taken over, or with `until_shown` when they are on the screen; after 100 ms in any case, for a window that the
  // window system does not show. Any thread but one at a time.
  void show_picture(std::shared_ptr<const std::uint8_t> pixels, int width, int height, bool until_shown);

 private:
  class drawing_window;
  struct picture {
    std::shared_ptr<const std::uint8_t> pixels;
    int width = 0;
    int height = 0;
  };
  enum class start_result { waiting, good, failed };

  gl_surface() = default;
  void draw_pictures();
  void show_again();

  drawing_window* window_ = nullptr;  // owned by container_
  QWidget* container_ = nullptr;      // owned by the widget below
  std::unique_ptr<QThread> thread_;

  std::mutex lock_;  // everything below
  std::condition_variable changed_;
  start_result started_ = start_result::waiting;
  bool ending_ = false;
  picture last_;
  int wanted_ = 0;  // number of the last picture that was handed over
  int taken_ = 0;   // number of the last one whose pixels were read
  int drawn_ = 0;   // number of the last one on the screen
};

}  // namespace platform
