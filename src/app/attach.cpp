#include "app/attach.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <new>
#include <utility>

#include "app/line_copy.h"
#include "command/messages.h"
#include "lib/printable.h"

namespace app {
namespace {

constexpr const char* attach_options[] = {"attach", "use_existing_window", "attach_nf"};
constexpr const char* status_option = "--attach=status";

bool ends_by_itself(const std::vector<std::string>& args) {
  return std::any_of(args.begin(), args.end(),
                     [](const std::string& a) { return a == "--exit" || a.starts_with("--exit="); });
}

void show_line(const platform::answer_record& record) {
  const bool error = record.kind == platform::answer_kind::error;
  const std::string line = (error ? lib::printable(record.text) : record.text) + "\n";
  std::FILE* stream = error ? stderr : stdout;
  std::fwrite(line.data(), 1, line.size(), stream);
  std::fflush(stream);
}

int give_up(const std::string& option, const char* reason) {
  show_line({platform::answer_kind::error, command::about(option, reason)});
  return 1;
}

// The process is in another folder while it lives.
class visit {
 public:
  explicit visit(const std::string& folder) {
    if (folder.empty()) return;
    before_ = std::filesystem::current_path(error_);
    error_.clear();
    std::filesystem::current_path(folder, error_);
  }
  ~visit() {
    std::error_code ignored;
    if (!before_.empty()) std::filesystem::current_path(before_, ignored);
  }
  visit(const visit&) = delete;
  visit& operator=(const visit&) = delete;
  bool arrived() const { return !error_; }

 private:
  std::filesystem::path before_;
  std::error_code error_;
};

// The options that led here are part of the line, and have done what they ask for.
class known_options {
 public:
  explicit known_options(command::engine& engine) : engine_(engine) {}
  void enter() {
    for (const char* name : attach_options) engine_.action_table[name].execute = [] {};
    engine_.action_table["attach"].execute_value = [](const std::string& value) { return value == "status"; };
  }
  ~known_options() {
    for (const char* name : attach_options) {
      const auto found = engine_.action_table.find(std::string_view(name));
      if (found != engine_.action_table.end()) engine_.action_table.erase(found);
    }
  }
  known_options(const known_options&) = delete;
  known_options& operator=(const known_options&) = delete;

 private:
  command::engine& engine_;
};

}  // namespace

bool is_attach_option(const std::string& argument) {
  return argument == status_option ||
         std::any_of(std::begin(attach_options), std::end(attach_options),
                     [&](const char* name) { return argument == std::string("--") + name; });
}

attach::attach(command::engine& engine, std::string address) : engine_(engine), address_(std::move(address)) {}

platform::handover& attach::line() {
  if (!line_) line_ = std::make_unique<platform::handover>(address_.empty() ? platform::handover_address() : address_);
  return *line_;
}

std::optional<int> attach::hand_over(const std::vector<std::string>& args) {
  try {
    return ask(args);
  } catch (const std::bad_alloc&) {
    std::fputs("\"--attach\": Not enough memory\n", stderr);
    return 1;
  }
}

std::optional<int> attach::ask(const std::vector<std::string>& args) {
  platform::handover_message message;
  bool failed = false;
  const auto show = [&](const platform::answer_record& record) {
    failed = failed || record.kind == platform::answer_kind::error;
    show_line(record);
  };
  for (std::size_t i = 1; i < args.size(); ++i) {
    if (!is_attach_option(args[i])) continue;
    if (message.arguments.empty()) {
      std::error_code error;
      message.folder = std::filesystem::current_path(error).string();
      message.arguments = args;
      // Relative paths would mean those of another folder there.
      if (error) return give_up(args[i], "The working folder is gone");
    }
    switch (line().send(message, !ends_by_itself(args), show)) {
      case platform::handover_result::carried_out:
        return failed && std::find(args.begin(), args.end(), status_option) != args.end() ? 1 : 0;
      case platform::handover_result::no_answer:
        return give_up(args[i], "The Kestrin that runs on this display does not answer");
      case platform::handover_result::refused:
      case platform::handover_result::nobody:
        break;
    }
  }
  return std::nullopt;
}

void attach::serve(std::function<void()> wake, std::function<void()> bring_forward) {
  bring_forward_ = std::move(bring_forward);
  line().serve(std::move(wake));
}

void attach::stop() {
  if (line_) line_->stop();
}

bool attach::poll() {
  if (!line_ || engine_.command_depth > 0) return false;
  bool any = false;
  line_->poll([&](const platform::handover_message& message, std::string& answer) {
    any = true;
    return carry_out(message, answer);
  });
  return any;
}

bool attach::carry_out(const platform::handover_message& message, std::string& answer) {
  const visit folder(message.folder);
  if (!folder.arrived()) return false;
  if (work_left) work_left();
  {
    // Every line goes to both consoles.
    const line_copy output(engine_.write_output, [&answer](const std::string& line) {
      answer += platform::encode_answer(platform::answer_kind::output, line);
    });
    const line_copy errors(engine_.write_error, [&answer](const std::string& line) {
      answer += platform::encode_answer(platform::answer_kind::error, line);
    });
    known_options known(engine_);
    known.enter();
    engine_.command_pass(message.arguments);
  }
  if (work_left) line().hold(work_left());
  // Whoever reads this instance's output has it when the sender ends.
  std::fflush(stdout);

  const auto& args = message.arguments;
  if (!args.empty() && std::find(args.begin() + 1, args.end(), "--attach_nf") == args.end() && bring_forward_) {
    bring_forward_();
  }
  return true;
}

}  // namespace app
