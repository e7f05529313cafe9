// Command lines that go to an instance that runs already, and those that come from later ones.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "command/engine.h"
#include "platform/handover.h"

namespace app {

// --attach, --attach=status, --use_existing_window, --attach_nf.
bool is_attach_option(const std::string& argument);

// Main thread.
class attach {
 public:
  // Without an address the one of this display is taken when it is first needed.
  explicit attach(command::engine& engine, std::string address = {});

  // For each of these arguments: gives the line to the instance that serves on this display and waits until it has been
  // carried out there; what it prints and reports is written here too. Returns the code with which this process ends:
  // 0, or 1 after an error line where --attach=status asked for it; 1 with a line when the other instance does not
  // answer, or this one's folder is gone. Without a code this instance goes on, and unless its line shows that it will
  // have no window, later ones wait for it.
  std::optional<int> hand_over(const std::vector<std::string>& args);

  // Serves from now on. `wake` makes the main loop call poll(), from any thread; `bring_forward` shows the window.
  void serve(std::function<void()> wake, std::function<void()> bring_forward);
  // Between two events: carries out the lines that have come, each in its sender's folder. Does nothing while a command
  // is under execution, which may run a loop of events of its own. True when a line came.
  bool poll();
  void stop();

  // Asked after each line: what is to be called at each poll() until it gives true, and may add to the answer, before
  // the sender hears that its line has been carried out; empty when all of it has. May be empty itself.
  std::function<platform::rest_of_answer()> work_left;

 private:
  command::engine& engine_;
  std::string address_;
  std::unique_ptr<platform::handover> line_;  // made when it is first needed
  std::function<void()> bring_forward_;

  platform::handover& line();
  std::optional<int> ask(const std::vector<std::string>& args);
  bool carry_out(const platform::handover_message& message, std::string& answer);
};

}  // namespace app
