#include "command/reference.h"

#include "command/action_names.h"

namespace command {

namespace {

struct entry {
  std::string_view group;
  std::string name;  // as it is written: --exit=status
  std::string help;
};

// The registered actions: those of the list in its order, then any others.
std::vector<entry> actions_of(const engine& engine) {
  std::vector<entry> entries;
  std::set<std::string, std::less<>> plain;
  std::set<std::string, std::less<>> with_value;
  const auto add_plain = [&](std::string_view group, const std::string& name) {
    const auto found = engine.action_table.find(name);
    if (found == engine.action_table.end() || !plain.insert(name).second) return;
    entries.push_back({group, "--" + name, found->second.help});
  };
  const auto add_value = [&](std::string_view group, const std::string& name) {
    const auto found = engine.value_action_table.find(name);
    if (found == engine.value_action_table.end() || !with_value.insert(name).second) return;
    entries.push_back({group, "--" + name + "=" + found->second.value_form, found->second.help});
  };
  for (const action_name& listed : action_names()) {
    if (listed.value_form.empty()) {
      add_plain(listed.group, std::string(listed.name));
    } else {
      add_value(listed.group, std::string(listed.name));
    }
  }
  for (const auto& [name, record] : engine.action_table) add_plain("Other", name);
  for (const auto& [name, record] : engine.value_action_table) add_value("Other", name);
  return entries;
}

std::string padded(std::string text, std::size_t width) {
  if (text.size() < width) text.append(width - text.size(), ' ');
  return text;
}

std::string help_line(const std::string& name, const std::string& help) {
  constexpr std::size_t column = 38;
  std::string line = "  " + padded(name, column - 2);
  if (name.size() + 2 >= column) line += "\n" + std::string(column, ' ');
  return line + help + "\n";
}

std::string in_code(std::string text) {
  for (std::size_t i = 0; (i = text.find('|', i)) != text.npos; i += 2) text.insert(i, 1, '\\');
  return "`" + text + "`";
}

std::string plain_cell(std::string text) {
  for (std::size_t i = 0; (i = text.find_first_of("|\\", i)) != text.npos; i += 2) text.insert(i, 1, '\\');
  return text;
}

}  // namespace

std::string help_text(const engine& engine) {
  std::string text =
      "Usage: kestrin [PATH | OPTION | FILE.ksncmd]...\n"
      "\n"
      "Arguments are carried out from left to right. A path becomes a layer on top of the stack; behind it may stand\n"
      "--fcheck, and --range=LIST, --still_image or --force_sequence. An option is an action or sets a field:\n"
      "\n"
      "  --name                    run an action\n"
      "  --name=value              run an action with a value, or set a field\n"
      "  --1:name=value            set a field of a layer: 1 is the top one, ---1 the bottom one, --'NAME' one by "
      "name\n"
      "  --1,3:name=a,b            of several; also 1..4, selection, group(N), id(N), !1 for all but\n"
      "  --global:, --var:, --env: set a field of the composition, a variable, an environment variable\n"
      "  %{1:name}                 in any argument: the value of a field\n"
      "  --expand_env_vars=1       from here on %NAME% is an environment variable instead\n"
      "\n"
      "For the shell put quotes around an argument with blanks or any of ' ! ( ) ? * in it: \"--'NAME':opacity=50\".\n"
      "\n"
      "With --attach among them all arguments go to the Kestrin that runs on this display, if one does, and its "
      "window\n"
      "comes to the front; with --attach_nf it stays where it is.\n";
  std::string_view group;
  for (const entry& entry : actions_of(engine)) {
    if (entry.group != group) text += "\n" + std::string(entry.group) + "\n";
    group = entry.group;
    text += help_line(entry.name, entry.help);
  }
  text += "\nFields of the composition\n";
  for (const global_field& field : engine.global_field_table) {
    const bool of_layers_too = engine.find_layer_field(field.name) != nullptr;
    text += help_line((of_layers_too ? "--global:" : "--") + field.name + "=" + field.value_form, field.help);
  }
  text += "\nFields of layers (without a scope: of the selected layer)\n";
  for (const layer_field& field : engine.layer_field_table) {
    text += help_line("--" + field.name + "=" + field.value_form, field.help);
  }
  return text;
}

std::string reference_markdown(const engine& engine) {
  std::string text;
  std::string_view group;
  for (const entry& entry : actions_of(engine)) {
    if (entry.group != group) {
      text += "\n### " + std::string(entry.group) + "\n\n| action | does |\n|---|---|\n";
    }
    group = entry.group;
    text += "| " + in_code(entry.name) + " | " + plain_cell(entry.help) + " |\n";
  }
  const auto table = [&](const char* title, const auto& fields) {
    text += std::string("\n### ") + title + "\n\n| field | value | meaning |\n|---|---|---|\n";
    for (const auto& field : fields) {
      text += "| " + in_code(field.name) + " | " + in_code(field.value_form) + " | " + plain_cell(field.help) + " |\n";
    }
  };
  table("Fields of the composition", engine.global_field_table);
  table("Fields of layers", engine.layer_field_table);
  return text;
}

std::string keyboard_markdown(const key_table& keys) {
  std::map<std::vector<std::string>, std::string> keys_of;  // by what they run
  for (const auto& [code, commands] : keys.bindings()) {
    std::string& texts = keys_of[commands];
    texts += (texts.empty() ? "" : ", ") + in_code(key_text(code));
  }
  std::string text;
  std::string_view group;
  const auto add = [&](std::string_view of_group, const std::vector<std::string>& commands, std::string_view help) {
    const auto found = keys_of.find(commands);
    if (found == keys_of.end()) return;
    if (of_group != group) text += "\n### " + std::string(of_group) + "\n\n| key | does | commands |\n|---|---|---|\n";
    group = of_group;
    std::string written;
    for (const std::string& command : commands) written += (written.empty() ? "--" : " --") + command;
    text += "| " + found->second + " | " + plain_cell(std::string(help)) + " | " + in_code(written) + " |\n";
    keys_of.erase(found);
  };
  for (const action_name& listed : action_names()) add(listed.group, {std::string(listed.name)}, listed.help);
  while (!keys_of.empty()) add("Several commands and values", std::vector(keys_of.begin()->first), "as written");
  return text;
}

}  // namespace command
