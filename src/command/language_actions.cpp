// The actions of the language itself, and what stands for those that nobody carries out.
#include "command/action_names.h"
#include "command/engine.h"
#include "command/messages.h"
#include "command/values.h"

namespace command {

void register_language_actions(engine& engine) {
  const auto with_value = [&](const char* name, std::function<bool(const std::string&)> execute) {
    engine.value_action_table[name].execute = std::move(execute);
  };
  engine.action_table["exit"].execute = [&engine] { engine.quit_requested = true; };
  with_value("print_field", [&engine](const std::string& name) {
    engine.print_field(name);
    return true;
  });
  engine.action_table["print_fields"].execute = [&engine] { engine.print_fields(""); };
  with_value("print_fields",
             [&engine](const std::string& scope) { return !scope.empty() && engine.print_fields(scope); });
  with_value("execute_cmdfile", [&engine](const std::string& path) {
    if (path.empty()) return false;
    engine.run_command_file(path);
    return true;
  });
  with_value("add_layer", [&engine](const std::string& path) {
    if (path.empty()) return false;
    source_request request;
    request.path = source_path(path);
    engine.open_source(request);
    return true;
  });
  with_value("set_time", [&engine](const std::string& value) {
    double time = 0;
    if (!read_double(value, time)) return false;
    engine.composition().doc.set_current_time(time);
    return true;
  });
}

void register_unavailable(engine& engine) {
  for (const action_name& entry : action_names()) {
    const std::string name(entry.name);
    const auto say_so = [&engine, line = about("--" + name, not_available)] { engine.report(line); };
    if (entry.value_form.empty()) {
      action& record = engine.action_table[name];
      record.help = entry.help;
      if (!record.execute) record.execute = say_so;
      continue;
    }
    value_action& record = engine.value_action_table[name];
    record.value_form = entry.value_form;
    record.help = entry.help;
    if (record.execute) continue;
    record.execute = [say_so](const std::string&) {
      say_so();
      return true;
    };
  }
}

}  // namespace command
