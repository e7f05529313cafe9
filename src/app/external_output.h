// The picture on one device beside the window.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "command/engine.h"
#include "platform/desktop.h"
#include "playback/clock.h"
#include "render/pipeline.h"
#include "ui/presenter.h"

namespace app {

// What runs; all zero while nothing does.
struct output_settings {
  int kind = 0;   // the number of ksn::ext_device_type
  int width = 0;  // pixels
  int height = 0;
  int rate = 0;  // hundredths of a frame per second; 0 as the device takes them
  bool operator==(const output_settings&) const = default;
};

// Main thread.
class external_output {
 public:
  struct parts {
    command::engine& engine;
    playback::clock& clock;
    // Makes a pipeline of its own over the program's cache.
    std::function<std::unique_ptr<render::pipeline>()> make_pipeline;
    std::function<platform::desktop*()> desktop;  // null while there is no window
    std::function<std::string(std::string_view key)> text;
    std::function<void(const std::string& line)> report;
  };

  explicit external_output(parts parts) : parts_(std::move(parts)) {}
  ~external_output();
  external_output(const external_output&) = delete;
  external_output& operator=(const external_output&) = delete;

  // toggle_ext_device, opt_ext_turn_on, opt_ext_turn_off and the field ext_output.
  void register_actions();

  // Starts the device of the settings in place of the one that runs; false after an error line, and nothing runs. A
  // monitor waits for the window.
  bool start();
  void stop();
  bool running() const { return now_.kind != 0; }
  bool is_on() const { return running() || wanted_; }
  const output_settings& settings() const { return now_; }

  // Once in each tick: shows what has changed since the last picture. A device that is gone ends the output with a
  // line, and another choice among the settings changes over.
  void tick();
  void forget_layer(int id);

 private:
  class monitor_display;

  std::string name() const;
  bool is_due() const;

  parts parts_;
  output_settings now_;
  bool wanted_ = false;  // as soon as there is a window
  std::shared_ptr<monitor_display> display_;
  std::unique_ptr<ui::presenter> presenter_;
  std::unique_ptr<render::pipeline> pipeline_;  // made with the first picture
  math::point surface_;
  int frame_ = -1;  // of the picture that is shown
  unsigned long long revision_ = 0;
  std::chrono::steady_clock::time_point shown_;
};

}  // namespace app
