#include "app/attach.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <utility>

namespace app {
namespace {

constexpr const char* attach_options[] = {"attach", "use_existing_window", "attach_nf"};

bool is_attach_option(const std::string& argument) {
  return std::any_of(std::begin(attach_options), std::end(attach_options),
                     [&](const char* name) { return argument == std::string("--") + name; });
}

bool ends_by_itself(const std::vector<std::string>& args) {
  return std::any_of(args.begin(), args.end(),
                     [](const std::string& a) { return a == "--exit" || a.starts_with("--exit="); });
}

void show_line(const platform::answer_record& record) {
  std::FILE* stream = record.kind == platform::answer_kind::error ? stderr : stdout;
  std::fprintf(stream, "%.*s\n", static_cast<int>(record.text.size()), record.text.c_str());
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

}  // namespace

attach::attach(command::engine& engine, std::string address) : engine_(engine), address_(std::move(address)) {}

platform::handover& attach::line() {
  if (!line_) line_ = std::make_unique<platform::handover>(address_.empty() ? platform::handover_address() : address_);
  return *line_;
}

bool attach::hand_over(const std::vector<std::string>& args) {
  platform::handover_message message;
  for (std::size_t i = 1; i < args.size(); ++i) {
    if (!is_attach_option(args[i])) continue;
    if (message.arguments.empty()) {
      std::error_code unknown;
      message.folder = std::filesystem::current_path(unknown).string();
      message.arguments = args;
    }
    if (line().send(message, !ends_by_itself(args), show_line)) return true;
  }
  return false;
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
  // What is written goes to both consoles.
  const auto copied = [&answer](std::function<void(const std::string&)>& writer, platform::answer_kind kind) {
    auto original = writer;
    writer = [original, kind, &answer](const std::string& line) {
      original(line);
      answer += platform::encode_answer(kind, line);
    };
    return original;
  };
  auto write_output = copied(engine_.write_output, platform::answer_kind::output);
  auto write_error = copied(engine_.write_error, platform::answer_kind::error);
  // The options that led here are part of the line, and have done what they ask for.
  for (const char* name : attach_options) engine_.action_table[name].execute = [] {};
  engine_.command_pass(message.arguments);
  for (const char* name : attach_options) engine_.action_table.erase(name);
  engine_.write_output = std::move(write_output);
  engine_.write_error = std::move(write_error);
  // Whoever reads this instance's output has it when the sender ends.
  std::fflush(stdout);

  const auto& args = message.arguments;
  if (!args.empty() && std::find(args.begin() + 1, args.end(), "--attach_nf") == args.end() && bring_forward_) {
    bring_forward_();
  }
  return true;
}

}  // namespace app
