// print_field and print_fields.
#include <algorithm>
#include <cmath>

#include "command/engine.h"
#include "command/layer_set.h"
#include "command/messages.h"
#include "command/values.h"
#include "lib/json.h"

extern char** environ;

namespace command {
namespace {

bool is_layer_scope(const std::string& scope) {
  return scope != "global" && scope != "env" && scope != "var" && scope != "cmdfile";
}

// A number as JSON allows it, or nothing: "nan" and "inf" are none.
std::string json_number(std::string_view text) {
  double value = 0;
  return read_double(text, value) && std::isfinite(value) ? write_double(value) : std::string();
}

// Numbers, truths and lists of numbers as such; all else as a text.
std::string json_value(const std::string& value, const value_shape* shape) {
  using enum value_kind;
  if (!shape || shape->kind == text || shape->kind == word) return lib::json_string(value);
  if (shape->kind == boolean && (value == "0" || value == "1")) return value == "1" ? "true" : "false";
  std::string list;
  std::size_t count = 0;
  for (std::size_t at = 0; at <= value.size(); ++count) {
    const std::size_t end = std::min(value.find(',', at), value.size());
    const std::string number = json_number(std::string_view(value).substr(at, end - at));
    if (number.empty()) return lib::json_string(value);
    list += (count > 0 ? "," : "") + number;
    at = end + 1;
  }
  return count == 1 && shape->count == 1 && shape->kind != color ? list : "[" + list + "]";
}

}  // namespace

void engine::print_value(const std::string& scope, const std::string& name, const std::string& value,
                         const value_shape* shape) const {
  if (!json) {
    write_output((scope.empty() ? "" : scope + ":") + name + "=" + value);
    return;
  }
  write_output("{" + (scope.empty() ? "" : "\"scope\":" + lib::json_string(scope) + ",") +
               "\"name\":" + lib::json_string(name) + ",\"value\":" + json_value(value, shape) + "}");
}

void engine::print_field(const std::string& name) {
  const auto print = [&](const std::string& scoped) {
    std::string value;
    if (read_field(scoped, value) != field_read::value) return;
    const std::size_t colon = scoped.find(':');
    const std::string scope = scoped.substr(0, colon);
    const std::string field = scoped.substr(colon + 1);
    const value_shape* shape = nullptr;
    if (const global_field* found = scope == "global" ? find_global_field(field) : nullptr) shape = &found->shape;
    if (const layer_field* found = is_layer_scope(scope) ? find_layer_field(field) : nullptr) shape = &found->shape;
    print_value(scope, field, value, shape);
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
      if (field.get(composition_, composition_, value)) print_value("global", field.name, value, &field.shape);
    }
    return true;
  }
  if (scope == "env") {
    for (char** variable = environ; variable && *variable; ++variable) {
      const std::string_view text = *variable;
      const std::size_t equals = std::min(text.find('='), text.size());
      print_value("env", std::string(text.substr(0, equals)),
                  std::string(text.substr(std::min(equals + 1, text.size()))));
    }
    return true;
  }
  if (scope == "var") {
    for (const auto& [name, value] : composition_.doc.vars) print_value("var", name, value);
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
    if (field.get(composition_, layer, value)) print_value(scope, field.name, value, &field.shape);
  }
}

}  // namespace command
