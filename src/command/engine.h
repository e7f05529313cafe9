// The command language: one table of actions and fields for command line, command files, keys and menu.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "command/action.h"
#include "command/field.h"
#include "composition/state.h"

namespace command {

class engine;

// Whatever runs commands holds one: error lines are written while there is any.
class execution {
 public:
  explicit execution(engine& engine);
  ~execution();
  execution(const execution&) = delete;
  execution& operator=(const execution&) = delete;

 private:
  engine& engine_;
};

// One source path of the command pass, absolute, with what the options after it ask for.
struct source_request {
  enum class kind { ordinary, range, still_image, forced_sequence };
  std::string path;
  kind how = kind::ordinary;
  std::string range;  // text of `--range=`
};

// A path as a source request holds it: absolute, but for the name of a picture in shared memory, which stays.
std::string source_path(const std::string& path);

// The tables and the interpreter. Main thread.
class engine {
 public:
  explicit engine(ksn::state& composition);

  // --- the tables, filled during start-up ---
  std::map<std::string, action, std::less<>> action_table;  // by name
  // Enters a row. One name has one row: a second one throws std::logic_error.
  void add(action row);
  const action* find_action(std::string_view name) const;
  std::vector<global_field> global_field_table;  // in the order of print_fields
  std::vector<layer_field> layer_field_table;
  const global_field* find_global_field(std::string_view name) const;
  const layer_field* find_layer_field(std::string_view name) const;

  // --- what the owner binds; the two writers start as ones that drop the line ---
  std::function<void(const std::string& line)> write_error;   // one line, without line feed
  std::function<void(const std::string& line)> write_output;  // the same, for print_field
  // Puts a source on the stack. Starts as the document's own operations.
  std::function<void(const source_request& request)> add_source;
  // Gives the bytes of a command file; false when it can't be opened. Starts as a reader of real files.
  std::function<bool(const std::string& path, std::string& text)> read_command_file;
  // Looked at before each argument, like quit_requested. May be empty.
  std::function<bool()> stop_requested;
  // Asks for the value of an action that has a question and runs it, if it is enabled; false where there is nobody to
  // ask. May be empty.
  std::function<bool(const action& row)> ask_for_value;

  // Opens a source and notes one that could not be opened in failed_inputs.
  void open_source(const source_request& request);
  // Sources, compositions and command files that the line under execution asked for and did not get. Emptied where a
  // line begins that no other one runs, and by what empties the document.
  std::vector<std::string> failed_inputs;

  // Runs a token list; index 0 is skipped.
  void command_pass(const std::vector<std::string>& args);
  // Drops comment lines, joins the rest, tokenises and runs it.
  void run_command_line(std::string_view text);
  void run_command_file(const std::string& path);
  void run_option(const std::string& text);
  bool execute_action(const std::string& text);
  // Runs the command of a key or menu entry: an action, or with a value maybe a field. False for an unknown name
  // without a value.
  bool run_command(const std::string& text);
  bool action_enabled(std::string_view name) const;
  bool action_checked(std::string_view name) const;
  bool set_field(const std::string& name, const std::string& value);
  bool get_field(const std::string& name, std::string& value);
  void print_field(const std::string& name);
  // Empty: all scopes. False for a scope that is none.
  bool print_fields(const std::string& scope);
  // One line of what a print action found: SCOPE:NAME=VALUE, or with `json` an object with these three. The shape of a
  // field tells its type there; without one the value is a text.
  void print_value(const std::string& scope, const std::string& name, const std::string& value,
                   const value_shape* shape = nullptr) const;
  bool json = false;

  // Writes the line while a command is under execution (command_depth above 0).
  void report(const std::string& line);
  // The option under execution as it was written, for error lines.
  const std::string& current_option() const { return current_option_; }

  long long lines_reported = 0;  // lines that report() has written
  bool quit_requested = false;
  bool exit_requested = false;    // by the action `exit`, which closes the window too
  bool exit_with_status = false;  // the process is to return 1 if any error line was written
  int command_depth = 0;
  std::set<std::string> include_stack;
  ksn::state& composition() { return composition_; }

 private:
  enum class field_read { value, reported, not_found };

  std::string expand_fields(std::string_view text, int level);
  std::string read_for_expansion(std::string_view name, std::string_view expression);
  std::size_t take_source(const std::vector<std::string>& args, std::size_t index, std::string path, bool expand);
  bool set_layers(const std::string& scope, const layer_field& field, const std::string& value);
  void set_one_layer(int index, const layer_field& field, const std::string& value, const std::string& quote);
  field_read read_field(const std::string& name, std::string& value);
  field_read read_layers(const std::string& scope, const std::string& name, const layer_field& field,
                         std::string& value);
  void print_layer_fields(const std::string& scope, const ksn::track_info& layer);
  bool print_scope(const std::string& scope);

  ksn::state& composition_;
  std::string current_option_;
  std::vector<std::string> include_order_;  // the files of include_stack, innermost last
};

// The tokeniser of command lines: blanks separate, double quotes join, backslashes before a quote escape it.
std::vector<std::string> tokenise(std::string_view text);

// Registers all fields, the actions of the language itself (print_field, print_fields, execute_cmdfile, exit, ...), the
// document's own actions, and the choices of right-click menus that concern the document.
void register_fields(engine& engine);
void register_language_actions(engine& engine);
void register_document_actions(engine& engine);
void register_menu_choices(engine& engine);

}  // namespace command
