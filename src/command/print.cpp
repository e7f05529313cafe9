// print_field and print_fields.
#include "command/engine.h"
#include "command/layer_set.h"
#include "command/messages.h"

extern char** environ;

namespace command {

void engine::print_field(const std::string& name) {
  const auto print = [&](const std::string& scoped) {
    std::string value;
    if (read_field(scoped, value) == field_read::value) write_output(scoped + "=" + value);
  };
  if (name.find(':') != name.npos) {
    print(name);
    return;
  }
  print("global:" + name);
  print("env:" + name);
  print("var:" + name);
  if (composition_.doc.selected_index() < composition_.doc.track_count()) print("selected:" + name);
}

bool engine::print_fields(const std::string& scope) {
  if (!scope.empty()) return print_scope(scope);
  print_scope("global");
  print_scope("env");
  print_scope("var");
  if (composition_.doc.selected_index() < composition_.doc.track_count()) print_scope("selected");
  return true;
}

bool engine::print_scope(const std::string& scope) {
  if (scope == "global") {
    for (const global_field& field : global_field_table) {
      std::string value;
      if (field.get(composition_, composition_, value)) write_output("global:" + field.name + "=" + value);
    }
    return true;
  }
  if (scope == "env") {
    for (char** variable = environ; variable && *variable; ++variable) write_output("env:" + std::string(*variable));
    return true;
  }
  if (scope == "var") {
    for (const auto& [name, value] : composition_.doc.vars) write_output("var:" + name + "=" + value);
    return true;
  }
  if (scope == "selected") {
    const int index = composition_.doc.selected_index();
    if (index < composition_.doc.track_count()) {
      print_layer_fields(scope, composition_.doc.track_at(index));
    } else {
      report(about("{" + scope + "}", field_needs_layer));
    }
    return true;
  }
  layer_set set;
  if (!parse_layer_set(composition_, scope, set)) return false;
  if (set.members.empty() && set.single) report(empty_layer_set("{" + scope + "}", scope));
  for (const int index : set.members) {
    const int number = layer_number(composition_, index);
    if (index < 0 || index >= composition_.doc.track_count()) {
      report(invalid_layer_index("{" + scope + "}", number));
    } else {
      print_layer_fields(set.single ? scope : std::to_string(number), composition_.doc.track_at(index));
    }
  }
  return true;
}

void engine::print_layer_fields(const std::string& scope, const ksn::track_info& layer) {
  for (const layer_field& field : layer_field_table) {
    std::string value;
    if (field.get(composition_, layer, value)) write_output(scope + ":" + field.name + "=" + value);
  }
}

}  // namespace command
