// The actions of the language itself.
#include "command/engine.h"
#include "command/values.h"

namespace command {

namespace {

void add_information(engine& engine) {
  engine.add({.group = action_group::information,
              .name = "print_field",
              .value_form = "FIELD",
              .value_help = "print a field to standard output: FIELD or SCOPE:FIELD",
              .execute_value = [&engine](const std::string& name) {
                engine.print_field(name);
                return true;
              }});
  engine.add(
      {.group = action_group::information,
       .name = "print_fields",
       .help = "print all fields of all scopes",
       .value_form = "SCOPE",
       .value_help = "print all fields of a scope: global, env, var, selected, or a layer set",
       .execute = [&engine] { engine.print_fields(""); },
       .execute_value = [&engine](const std::string& scope) { return !scope.empty() && engine.print_fields(scope); }});
}

}  // namespace

void register_language_actions(engine& engine) {
  engine.add({.group = action_group::file,
              .name = "add_layer",
              .help = "add layers from files that you choose",
              .value_form = "PATH",
              .value_help = "add a source as a layer, as a path alone does",
              .keys = "Ctrl+Shift+O",
              .menu = {"mi_file", 10},
              .execute_value =
                  [&engine](const std::string& path) {
                    if (path.empty()) return false;
                    source_request request;
                    request.path = source_path(path);
                    engine.open_source(request);
                    return true;
                  },
              .ask = file_question{"add_layer_title", "", "any_file_filter", true}});
  engine.add({.group = action_group::file,
              .name = "execute_cmdfile",
              .help = "run a command file that you choose",
              .value_form = "PATH",
              .value_help = "run a command file",
              .menu = {"mi_file", 50},
              .execute_value =
                  [&engine](const std::string& path) {
                    if (path.empty()) return false;
                    engine.run_command_file(path);
                    return true;
                  },
              .ask = file_question{"", "", "command_file_filter any_file_filter"}});
  engine.add({.group = action_group::file,
              .name = "exit",
              .help = "end the program; nothing after it is carried out",
              .value_form = "status",
              .value_help = "end the program, which returns 1 if any error line was written",
              .keys = "Ctrl+Q",
              .menu = {"mi_file", 110},
              .execute = [&engine] { engine.exit_requested = engine.quit_requested = true; },
              .execute_value =
                  [&engine](const std::string& value) {
                    if (value != "status") return false;
                    engine.exit_with_status = engine.exit_requested = engine.quit_requested = true;
                    return true;
                  }});
  engine.add({.group = action_group::transport,
              .name = "set_time",
              .value_form = "T",
              .value_help = "go to a time, in frames of the timeline",
              .execute_value = [&engine](const std::string& value) {
                double time = 0;
                if (!read_double(value, time)) return false;
                engine.composition().doc.set_current_time(time);
                return true;
              }});
  add_information(engine);
}

}  // namespace command
