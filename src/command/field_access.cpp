// Reading and setting of fields by scope.
#include <cstdlib>

#include "command/engine.h"
#include "command/layer_set.h"
#include "command/messages.h"
#include "command/value_list.h"
#include "command/values.h"
#include "lib/utf.h"

namespace command {

namespace {

// The text that an error line quotes: the option under execution, or the assignment itself when there is none.
std::string quoted_option(const engine& engine, const std::string& name, const std::string& value) {
  return engine.current_option().empty() ? name + "=" + value : engine.current_option();
}

constexpr int last_code_point = 0x10FFFF;

std::string utf8_of(int code) {
  if (code < 0x10000) return lib::to_utf8(std::u16string(1, static_cast<char16_t>(code)));
  const int above = code - 0x10000;
  const char16_t pair[] = {static_cast<char16_t>(0xD800 + (above >> 10)),
                           static_cast<char16_t>(0xDC00 + (above & 0x3FF))};
  return lib::to_utf8({pair, 2});
}

// The quote of a line that comes once for each layer of a list: one of a million layers has as many lines.
std::string shortened(std::string quote) {
  constexpr std::size_t longest = 1000;  // bytes
  if (quote.size() > longest) quote.replace(longest, quote.npos, "...");
  return quote;
}

}  // namespace

bool engine::set_field(const std::string& name, const std::string& value) {
  const std::size_t colon = name.find(':');
  if (colon == name.npos) {
    if (find_layer_field(name)) return set_field("selected:" + name, value);
    return set_field("global:" + name, value);
  }
  const std::string scope = name.substr(0, colon);
  const std::string field = name.substr(colon + 1);
  if (scope == "global") {
    const global_field* entry = find_global_field(field);
    return entry && entry->set && entry->set(composition_, composition_, value);
  }
  if (scope == "env") return setenv(field.c_str(), value.c_str(), 1) == 0;
  if (scope == "var") {
    composition_.doc.vars[field] = value;
    return true;
  }
  const layer_field* entry = find_layer_field(field);
  if (!entry || !entry->set) return false;
  if (scope == "selected") {
    const int index = composition_.doc.selected_index();
    if (index < composition_.doc.track_count())
      return entry->set(composition_, composition_.doc.track_at(index), value);
    report(about(quoted_option(*this, name, value), option_needs_layer));
    return true;
  }
  return set_layers(scope, *entry, value);
}

bool engine::set_layers(const std::string& scope, const layer_field& field, const std::string& value) {
  layer_set set;
  if (!parse_layer_set(composition_, scope, set)) return false;
  const std::string quote = quoted_option(*this, scope + ":" + field.name, value);
  if (set.single) {
    if (set.members.empty()) {
      report(empty_layer_set(quote, scope));
    } else {
      set_one_layer(set.members[0], field, value, quote);
    }
    return true;
  }
  const std::size_t values = count_values(value);
  if (values != set.members.size()) {
    report(counts_differ(quote, set.members.size(), values));
    return true;
  }
  const std::string short_quote = shortened(quote);
  std::string_view rest = value;
  std::string_view element;
  bool more = !rest.empty();
  for (const int index : set.members) {
    take_value(rest, more, element);
    set_one_layer(index, field, std::string(element), short_quote);
  }
  return true;
}

void engine::set_one_layer(int index, const layer_field& field, const std::string& value, const std::string& quote) {
  const int number = layer_number(composition_, index);
  if (index < 0 || index >= composition_.doc.track_count()) {
    report(invalid_layer_index(quote, number));
  } else if (!field.set(composition_, composition_.doc.track_at(index), value)) {
    report(invalid_suboption(quote, number, field.name, value));
  }
}

bool engine::get_field(const std::string& name, std::string& value) {
  value.clear();
  return read_field(name, value) != field_read::not_found;
}

engine::field_read engine::read_field(const std::string& name, std::string& value) {
  const std::size_t colon = name.find(':');
  if (colon == name.npos) return field_read::not_found;
  const std::string scope = name.substr(0, colon);
  const std::string field = name.substr(colon + 1);
  const auto found_if = [](bool found) { return found ? field_read::value : field_read::not_found; };
  if (scope == "global") {
    const global_field* entry = find_global_field(field);
    return found_if(entry && entry->get(composition_, composition_, value));
  }
  if (scope == "env") {
    const char* variable = std::getenv(field.c_str());
    if (variable) value = variable;
    return found_if(variable != nullptr);
  }
  if (scope == "var") {
    const auto variable = composition_.doc.vars.find(field);
    if (variable != composition_.doc.vars.end()) value = variable->second;
    return found_if(variable != composition_.doc.vars.end());
  }
  if (scope == "char") {
    int code = 0;
    const bool is_letter = read_int(field, code, 1, last_code_point);
    if (is_letter) value = utf8_of(code);
    return found_if(is_letter);
  }
  if (scope == "cmdfile" && field == "folder" && !include_order_.empty()) {
    const std::string& file = include_order_.back();
    value = file.substr(0, file.rfind('/'));
    return field_read::value;
  }
  const layer_field* entry = find_layer_field(field);
  if (!entry) return field_read::not_found;
  if (scope != "selected") return read_layers(scope, name, *entry, value);
  const int index = composition_.doc.selected_index();
  if (index < composition_.doc.track_count())
    return found_if(entry->get(composition_, composition_.doc.track_at(index), value));
  report(about("{" + name + "}", field_needs_layer));
  return field_read::reported;
}

engine::field_read engine::read_layers(const std::string& scope, const std::string& name, const layer_field& field,
                                       std::string& value) {
  layer_set set;
  if (!parse_layer_set(composition_, scope, set)) return field_read::not_found;
  std::string quote = "{" + name + "}";
  if (set.single && set.members.empty()) {
    report(empty_layer_set(quote, scope));
    return field_read::reported;
  }
  if (!set.single) quote = shortened(quote);
  field_read result = field_read::value;
  bool first = true;
  for (const int index : set.members) {
    const int number = layer_number(composition_, index);
    std::string element;
    if (index < 0 || index >= composition_.doc.track_count()) {
      report(invalid_layer_index(quote, number));
      result = field_read::reported;
    } else if (!field.get(composition_, composition_.doc.track_at(index), element)) {
      element.clear();
      if (set.single) return field_read::not_found;
      report(invalid_subfield(quote, number, field.name));
      result = field_read::reported;
    }
    if (set.single) {
      value = element;
    } else {
      append_value(value, first, element);
    }
    first = false;
  }
  return result;
}

}  // namespace command
