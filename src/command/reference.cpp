#include "command/reference.h"

#include <algorithm>
#include <set>
#include <tuple>

namespace command {

std::vector<const action*> rows_of(const engine& engine) {
  std::vector<const action*> rows;
  for (const auto& [name, row] : engine.action_table) rows.push_back(&row);
  std::sort(rows.begin(), rows.end(), [](const action* a, const action* b) {
    return std::tie(a->group, a->order, a->name) < std::tie(b->group, b->order, b->name);
  });
  return rows;
}

namespace {

struct entry {
  std::string_view group;
  std::string name;  // as it is written: --exit=status
  std::string help;
};

std::string help_of(const action& row, const std::string& help) {
  return row.unbuilt.empty() ? help : help + " (not available: " + row.unbuilt + ")";
}

std::vector<entry> actions_of(const engine& engine) {
  std::vector<entry> entries;
  for (const action* row : rows_of(engine)) {
    const std::string option = "--" + row->name;
    if (row->plain()) entries.push_back({title_of(row->group), option, help_of(*row, row->help)});
    if (!row->takes_value()) continue;
    entries.push_back({title_of(row->group), option + "=" + row->value_form, help_of(*row, row->value_help)});
  }
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
  // A grave accent stands between two of them.
  return text == "`" ? "`` ` ``" : "`" + text + "`";
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
      "Arguments are carried out from left to right. A path becomes a layer on top of the stack; after it may come\n"
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
      "comes to the front; with --attach_nf it stays where it is. --attach=status returns 1 when the line failed "
      "there.\n"
      "\n"
      "End a line for a farm in --exit=status: it returns 1 if any error line was written, and plain --exit 0 "
      "whatever\n"
      "happened.\n";
  std::string_view group;
  for (const entry& entry : actions_of(engine)) {
    if (entry.group != group) text += "\n" + std::string(entry.group) + "\n";
    group = entry.group;
    text += help_line(entry.name, entry.help);
  }
  const auto fields = [&](const char* title, const auto& table, const auto& scope_of) {
    text += std::string("\n") + title + "\n";
    for (const auto& field : table) {
      const std::string option = "--" + scope_of(field) + field.name + "=" + form_of(field.shape);
      text += help_line(field.read_only() ? field.name : option, field.help);
    }
  };
  fields("Fields of the composition", engine.global_field_table,
         [&](const global_field& field) { return std::string(engine.find_layer_field(field.name) ? "global:" : ""); });
  fields("Fields of layers (without a scope: of the selected layer)", engine.layer_field_table,
         [](const layer_field&) { return std::string(); });
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
  const ksn::state fresh;
  const auto table = [&](const char* title, const auto& fields, const auto& record) {
    text += std::string("\n### ") + title + "\n\n| field | value | at first | meaning |\n|---|---|---|---|\n";
    for (const auto& field : fields) {
      std::string initial;
      if (!field.read_only() && !field.of_machine) field.get(fresh, record, initial);
      text += "| " + in_code(field.name) + " | " + in_code(form_of(field.shape)) + " | " +
              (initial.empty() ? "" : in_code(initial)) + " | " + plain_cell(field.help) + " |\n";
    }
  };
  table("Fields of the composition", engine.global_field_table, fresh);
  table("Fields of layers", engine.layer_field_table, ksn::track_info());
  return text;
}

std::string keyboard_markdown(const engine& engine, const key_table& keys) {
  std::map<std::vector<std::string>, std::string> keys_of;  // by what they run
  for (const auto& [code, commands] : keys.bindings()) {
    std::string& texts = keys_of[commands];
    texts += (texts.empty() ? "" : ", ") + in_code(key_text(code));
  }
  std::string text;
  std::string_view group;
  const auto add = [&](std::string_view of_group, const std::vector<std::string>& commands, const std::string& help) {
    const auto found = keys_of.find(commands);
    if (found == keys_of.end()) return;
    if (of_group != group) text += "\n### " + std::string(of_group) + "\n\n| key | does | commands |\n|---|---|---|\n";
    group = of_group;
    std::string written;
    for (const std::string& command : commands) written += (written.empty() ? "--" : " --") + command;
    text += "| " + found->second + " | " + plain_cell(help) + " | " + in_code(written) + " |\n";
    keys_of.erase(found);
  };
  for (const action* row : rows_of(engine)) {
    if (!row->help.empty()) add(title_of(row->group), {row->name}, row->help);
  }
  while (!keys_of.empty()) add("Fields and several commands", std::vector(keys_of.begin()->first), "as written");
  return text;
}

std::string key_definitions(const engine& engine) {
  std::string text =
      "# Key definitions: a key and the commands that it runs, with their values. A line whose first word is no key "
      "is\n"
      "# passed over. Of several keys of one command menus show the first. Your own keydefs.txt in the folder "
      "\"Kestrin\"\n"
      "# of your documents overrides these, key by key. This file is made by tools/update_commands.sh.\n";
  std::string_view group;
  for (const action* row : rows_of(engine)) {
    if (row->keys.empty()) continue;
    if (title_of(row->group) != group) text += "\n# " + std::string(title_of(row->group)) + "\n";
    group = title_of(row->group);
    for (const std::string& key : tokenise(row->keys)) text += key + " " + row->name + "\n";
  }
  text.pop_back();
  return text;
}

}  // namespace command
