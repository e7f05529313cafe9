// The command language: one table of actions and fields for command line, command files, keys and menu.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "composition/state.h"

namespace command {

// An action without a value. Absent predicates mean always enabled, and not a toggle.
struct action {
  std::function<void()> execute;
  std::function<bool()> enabled;
  std::function<bool()> checked;
  std::function<std::string()> title;  // absent: the catalogue text of the action's name
  std::string help;                    // one short line for --help and the command reference
};

struct value_action {
  std::function<bool(const std::string& value)> execute;  // false: the text is tried as a field assignment
  std::string value_form;                                 // "PATH", "N", for the help
  std::string help;
};

// Getter and setter of a field; one of them may be absent. A setter reports a bad value itself and returns true.
struct global_field {
  std::string name;
  std::function<bool(const ksn::state&, std::string& out)> get;
  std::function<bool(ksn::state&, const std::string& value)> set;
  std::string value_form;
  std::string help;
};
struct layer_field {
  std::string name;
  std::function<bool(const ksn::state&, const ksn::track_info&, std::string& out)> get;
  std::function<bool(ksn::state&, ksn::track_info&, const std::string& value)> set;
  std::string value_form;
  std::string help;
};

// The tables and the interpreter. Main thread.
class engine {
 public:
  explicit engine(ksn::state& composition);

  // --- the tables, filled during start-up ---
  std::map<std::string, action, std::less<>> action_table;
  std::map<std::string, value_action, std::less<>> value_action_table;
  std::vector<global_field> global_field_table;  // in the order of print_fields
  std::vector<layer_field> layer_field_table;
  const global_field* find_global_field(std::string_view name) const;
  const layer_field* find_layer_field(std::string_view name) const;

  // --- what the owner binds ---
  std::function<void(const std::string& line)> write_error;   // one line, without line feed
  std::function<void(const std::string& line)> write_output;  // the same, for print_field

  // Runs a token list; index 0 is skipped.
  void command_pass(const std::vector<std::string>& args);
  // Drops comment lines, joins the rest, tokenises and runs it.
  void run_command_line(std::string_view text);
  void run_command_file(const std::string& path);
  void run_option(const std::string& text);
  bool execute_action(const std::string& text);
  bool action_enabled(std::string_view name) const;
  bool action_checked(std::string_view name) const;
  bool set_field(const std::string& name, const std::string& value);
  bool get_field(const std::string& name, std::string& value);
  void print_field(const std::string& name);
  void print_fields(const std::string& scope);

  // Writes the line while a command is under execution (command_depth above 0).
  void report(const std::string& line);

  bool quit_requested = false;
  int command_depth = 0;
  std::set<std::string> include_stack;
  ksn::state& composition() { return composition_; }

 private:
  ksn::state& composition_;
};

// The tokeniser of command lines: blanks separate, double quotes join, backslashes before a quote escape it.
std::vector<std::string> tokenise(std::string_view text);

// Registers all fields and the document's own actions.
void register_fields(engine& engine);
void register_document_actions(engine& engine);

}  // namespace command
