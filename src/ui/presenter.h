// The way of a finished picture to the screen.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "img/image.h"
#include "lib/point.h"

namespace ui {

// How a present deals with the vertical blank.
enum class present_mode {
  immediate,            // not at all
  no_tearing,           // as the display does it by itself
  wait_blank,           // waits for the blank
  poll_blank,           // asks for the blank again and again
  threaded_wait_blank,  // as wait_blank, on the present thread
  threaded_poll_blank,  // as poll_blank, on the present thread
};
constexpr bool is_threaded(present_mode mode) {
  return mode >= present_mode::threaded_wait_blank;
}

// The mode for the user's choice: `vsync` on or off, and the sub-mode 0 to 2.
present_mode mode_for(bool vsync, int sub_mode);

constexpr int error_not_ready = static_cast<int>(0x80049200u);
constexpr int error_no_primary = static_cast<int>(0x80049202u);
constexpr int error_no_offscreen = static_cast<int>(0x80049203u);
constexpr int error_size = static_cast<int>(0x80049205u);
constexpr int error_no_window = 1400;

// A whole-window picture as a display takes it: rows of blue, green, red, unused bytes without padding.
struct surface {
  int width = 0;
  int height = 0;
  std::unique_ptr<std::uint8_t[]> pixels;
};

// The functions of a display that the presenter needs. Main thread, but for the functions that say otherwise.
class display {
 public:
  virtual ~display() = default;
  // 0, or an error number.
  virtual int create() = 0;
  virtual int restore() = 0;
  virtual bool window_exists() = 0;
  virtual bool is_minimised() = 0;
  // Any thread; the main thread's picture is on its way to the screen on return. The surface is not written to before
  // the next picture is shown on the main thread. `at_blank`: a display that swaps pictures does it at its blank.
  virtual int blit(const std::shared_ptr<const surface>& picture, bool at_blank) = 0;
  // Main thread: `write` fills what goes to the screen now, rows of blue, green, red and a byte that is not looked at,
  // `stride` bytes apart; nothing is kept of it. False, and nothing done, where the display can't have it so.
  virtual bool write(int, int, const std::function<void(std::uint8_t* pixels, std::ptrdiff_t stride)>&) {
    return false;
  }
  // Whether the display tells of its vertical blank.
  virtual bool knows_blank() = 0;
  // Any thread. Without such knowledge the first returns at once, and the second gives nothing, as it does during the
  // blank.
  virtual void wait_vertical_blank() = 0;
  virtual std::optional<int> scan_line() = 0;
  // Runs waiting window events; without any, waits for one or for wake(), up to the time.
  virtual void wait_events(int milliseconds) = 0;
  // Any thread.
  virtual void wake() = 0;
};

// One per window. Main thread, with one thread of its own for the modes that wait elsewhere.
class presenter {
 public:
  // Milliseconds of a steady counter; a test moves it by hand.
  using millisecond_clock = std::function<std::uint32_t()>;

  // Shares the display with its thread, which may outlive both owners.
  explicit presenter(std::shared_ptr<display> display, millisecond_clock milliseconds = {});
  ~presenter() { shut_down(); }
  presenter(const presenter&) = delete;
  presenter& operator=(const presenter&) = delete;

  // Connects to the display; 0 or an error number. Before it every present fails.
  int start();
  // A surface of this size, at least one pixel either way, in place of the one before.
  void resize(int width, int height);
  // Copies the picture, 8-bit planes that begin with B, G, R, to the surface. 0 or an error number; an image of another
  // size than the surface is `error_size` for this tick alone.
  int take_picture(const img::image& image);
  // Shows the surface.
  int present(present_mode mode);
  // Shows a picture at once without the surface, for one that is soon followed by another. False, and nothing done,
  // where the display can't.
  bool present_directly(const img::image& image);
  // Takes and shows it. 0 or an error number.
  int present_picture(const img::image& image, present_mode mode);

  // Waits until a present is done, window events have run, or the time is over; true when a present is done.
  bool wait_done(int milliseconds);
  // When the last present was finished, in milliseconds.
  std::uint32_t last_present();

  // Ends the thread, which gets 400 ms for the present that it is in, and gives the display up.
  void shut_down();

 private:
  // State that the thread shares with its owner, alive for a thread that outlives its 400 ms.
  struct shared;

  std::shared_ptr<display> display_;
  millisecond_clock milliseconds_;
  bool ready_ = false;
  std::shared_ptr<shared> shared_;
  std::thread thread_;

  static int wait_and_blit(display& display, shared& shared, present_mode mode);
  static void run(display& display, const std::shared_ptr<shared>& shared);
};

}  // namespace ui
