// The error lines of the command language.
#pragma once

#include <string>
#include <string_view>

namespace command {

// "object": text
inline std::string about(std::string_view object, std::string_view text) {
  std::string line;
  line.reserve(object.size() + text.size() + 4);
  line += '"';
  line += object;
  line += "\": ";
  line += text;
  return line;
}

// "object": kind: text
inline std::string about(std::string_view object, std::string_view kind, std::string_view text) {
  return about(object, std::string(kind) + ": " + std::string(text));
}

constexpr std::string_view invalid_option = "Invalid option";
constexpr std::string_view invalid_field = "Invalid field";
constexpr std::string_view missing_bracket = "Missing field closing bracket";
constexpr std::string_view option_needs_layer = "Option requires a selected layer";
constexpr std::string_view field_needs_layer = "Field access requires a selected layer";
constexpr std::string_view open_error = "Open error";
constexpr std::string_view includes_itself = "File includes itself";
constexpr std::string_view not_available = "Not available";

// `number` counts from 1, or from -1 at the end of the stack.
inline std::string invalid_layer_index(std::string_view option, int number) {
  return about(option, "Invalid layer index " + std::to_string(number));
}
inline std::string counts_differ(std::string_view option, std::size_t layers, std::size_t values) {
  return about(option, "Numbers of layers (" + std::to_string(layers) + ") and values (" + std::to_string(values) +
                           ") do not match");
}
inline std::string invalid_suboption(std::string_view option, int number, std::string_view field,
                                     std::string_view value) {
  return about(option, "invalid suboption \"" + std::to_string(number) + ":" + std::string(field) + "=" +
                           std::string(value) + "\"");
}
inline std::string invalid_subfield(std::string_view expression, int number, std::string_view field) {
  return about(expression, "invalid subfield \"" + std::to_string(number) + ":" + std::string(field) + "\"");
}
inline std::string empty_layer_set(std::string_view option, std::string_view scope) {
  return about(option, "Empty layer set \"" + std::string(scope) + "\"");
}
inline std::string invalid_value(std::string_view value, std::string_view table, std::string_view field) {
  std::string line = "Invalid value \"";
  line.append(value).append("\" for ").append(table).append(" field \"").append(field).append("\"");
  return line;
}

}  // namespace command
