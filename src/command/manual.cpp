#include "command/manual.h"

#include <algorithm>
#include <cctype>
#include <utility>
#include <vector>

#include "command/examples.h"
#include "command/reference.h"

namespace command {

namespace {

// An option as the shells complete it.
struct option {
  std::string name;
  std::string help;
  bool plain = false;  // can stand without a value
  bool value = false;
  bool path = false;               // the value is a file
  std::vector<std::string> words;  // that the value can be; empty when it is free
};

std::vector<option> options_of(const engine& engine) {
  std::vector<option> options;
  for (const action* row : rows_of(engine)) {
    if (!row->unbuilt.empty()) continue;
    option o{row->name,          row->plain() ? row->help : row->value_help,        row->plain(),
             row->takes_value(), row->value_form.find("PATH") != std::string::npos, words_in(row->value_form)};
    options.push_back(std::move(o));
  }
  const auto fields = [&](const auto& table) {
    for (const auto& field : table) {
      if (field.read_only()) continue;
      const std::string form = form_of(field.shape);
      const auto same =
          std::find_if(options.begin(), options.end(), [&](const option& o) { return o.name == field.name; });
      if (same != options.end()) continue;
      options.push_back({field.name, field.help, false, true, form.find("PATH") != std::string::npos, words_in(form)});
    }
  };
  fields(engine.global_field_table);
  fields(engine.layer_field_table);
  return options;
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

// Text of a manual page: no line of it is taken for a request, and a minus is one.
std::string in_roff(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '\\') {
      result += "\\e";
    } else if (c == '-') {
      result += "\\-";
    } else {
      result += c;
    }
  }
  if (!result.empty() && (result[0] == '.' || result[0] == '\'')) result.insert(0, "\\&");
  return result;
}

// In single quotes for a shell.
std::string quoted(const std::string& text) {
  std::string result = "'";
  for (const char c : text) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

std::string escaped(const std::string& text, std::string_view special) {
  std::string result;
  for (const char c : text) {
    if (special.find(c) != special.npos) result += '\\';
    result += c;
  }
  return result;
}

std::string lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// For a shell.
std::string argument(const std::string& text) {
  return text.find(' ') == text.npos ? text : '"' + text + '"';
}

template <class Field>
std::string help_on_field(const Field& field, const std::string& scope, const char* of) {
  const std::string form = form_of(field.shape);
  const std::string name = scope + field.name;
  std::string text = "  --" + name + "=" + form + "\n      " + field.help + "\n      A field of " + of;
  if (field.read_only()) return text + " that is only read: --print_field=" + name + "\n";
  return text + ".\n      Set it: " + argument("--" + name + "=" + example_value(field.name, form, &field.shape)) +
         "\n      Read it: --print_field=" + name + "\n";
}

// The name alone is the layers' where both have it.
std::string help_on_global_field(const engine& engine, const global_field& field) {
  return help_on_field(field, engine.find_layer_field(field.name) ? "global:" : "", "the composition");
}

std::string help_on_layer_field(const layer_field& field) {
  return help_on_field(field, "", "a layer");
}

std::string help_on_action(const action& row) {
  std::string text;
  // One that only a menu shows has a name that is an assignment.
  if (!row.plain() && !row.takes_value()) return text;
  if (row.plain()) text += "  --" + row.name + "\n      " + row.help + "\n";
  if (row.takes_value()) text += "  --" + row.name + "=" + row.value_form + "\n      " + row.value_help + "\n";
  if (!row.keys.empty()) text += "      Keys: " + row.keys + "\n";
  if (!row.unbuilt.empty()) return text + "      Not available: " + row.unbuilt + "\n";
  // Packed data comes from the program itself.
  if (row.value_form.starts_with("DATA")) return text;
  text += "      Example: kestrin shot.####.exr --" + row.name;
  if (row.ask) {
    text += "=" + example_file(*row.ask);
  } else if (!row.plain()) {
    text += "=" + example_value(row.name, row.value_form, nullptr);
  }
  return text + "\n";
}

// Words of the command line that are neither action nor field.
struct line_word {
  std::string_view name;
  const char* form;
  const char* help;
  const char* example;
};
constexpr line_word line_words[] = {
    {"range", "LIST", "after a path: only these frames; b-a runs down, xN takes each N-th",
     "shot.####.exr --range=1-10,20-40x2"},
    {"still_image", "", "after a path: this file alone, and not its sequence", "shot.0101.exr --still_image"},
    {"force_sequence", "", "after a path: a sequence of the files that are there, even where it is only one so far",
     "shot.0101.exr --force_sequence"},
    {"fcheck", "", "after a path: # stands for four digits and @ for one", "shot.#.tga --fcheck"},
    {"attach", "", "all arguments go to the Kestrin that runs on this display; its window comes to the front",
     "--attach shot.####.exr"},
    {"attach_nf", "", "the same, and its window stays where it is", "--attach_nf shot.####.exr"},
    {"use_existing_window", "", "the same as --attach", "--use_existing_window shot.####.exr"},
    {"expand_env_vars", "0|1", "1: from here on %NAME% in an argument is an environment variable",
     "--expand_env_vars=1 %SHOT%/plate.####.exr"},
};

std::string help_on_word(const std::string& name) {
  for (const line_word& word : line_words) {
    if (word.name != name) continue;
    const std::string form = *word.form ? std::string("=") + word.form : "";
    return "  --" + name + form + "\n      " + word.help + "\n      Example: kestrin " + word.example + "\n";
  }
  return {};
}

// Insertions, deletions, exchanges of a letter and of two neighbours (optimal string alignment).
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> before(b.size() + 1), last(b.size() + 1), row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) last[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (a[i - 1] != b[j - 1])});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) row[j] = std::min(row[j], before[j - 2] + 1);
    }
    before.swap(last);
    last.swap(row);
  }
  return last[b.size()];
}

}  // namespace

std::string manual_page(const engine& engine, const std::string& version) {
  std::string text = ".TH KESTRIN 1 \"\" \"Kestrin " + version +
                     "\" \"User Commands\"\n"
                     ".SH NAME\n"
                     "kestrin \\- play and composite image sequences and movies\n"
                     ".SH SYNOPSIS\n"
                     ".B kestrin\n"
                     "[\\fIPATH\\fR | \\fIOPTION\\fR | \\fIFILE\\fR.ksncmd]...\n"
                     ".SH DESCRIPTION\n"
                     "Kestrin shows image files, numbered sequences and movies as layers on one timeline, plays them "
                     "in real time with sound, composites them, and saves frames, sequences and movies. Without a "
                     "display it works through its command line and ends.\n"
                     ".PP\n"
                     "Arguments are carried out from left to right. A path becomes a layer on top of the stack. "
                     "#### or %04d in a path stands for the frame numbers of a sequence. An option runs an action or "
                     "sets a field.\n"
                     ".TP\n.B \\-\\-name\nRun an action.\n"
                     ".TP\n.B \\-\\-name=value\nRun an action with a value, or set a field.\n"
                     ".TP\n.B \\-\\-1:name=value\nSet a field of the top layer; \\-\\-\\-1 is the bottom one, "
                     "\\-\\-'NAME' one by name.\n"
                     ".TP\n.B \\-\\-1,3:name=a,b\nOf several layers; also 1..4, selection, group(N), id(N), and !1 for "
                     "all but one.\n"
                     ".TP\n.B \\-\\-global:, \\-\\-var:, \\-\\-env:\nSet a field of the composition, a variable, an "
                     "environment variable.\n"
                     ".TP\n.B %{1:name}\nIn any argument: the value of a field.\n"
                     ".SH ACTIONS\n";
  action_group group = action_group::other;
  bool first = true;
  for (const action* row : rows_of(engine)) {
    if (first || row->group != group) text += ".SS " + in_roff(std::string(title_of(row->group))) + "\n";
    group = row->group;
    first = false;
    const std::string why = row->unbuilt.empty() ? "" : " (not available: " + row->unbuilt + ")";
    const std::string name = in_roff("--" + row->name);
    if (row->plain()) text += ".TP\n.B " + name + "\n" + in_roff(row->help + why) + ".\n";
    if (!row->takes_value()) continue;
    text += ".TP\n.BI " + name + "= " + in_roff("\"" + row->value_form + "\"") + "\n" + in_roff(row->value_help + why) +
            ".\n";
  }
  const auto fields = [&](const char* title, const auto& table) {
    text += std::string(".SH ") + title + "\n";
    for (const auto& field : table) {
      text += ".TP\n.BI " + in_roff("--" + field.name) + "= " + in_roff("\"" + form_of(field.shape) + "\"") + "\n" +
              in_roff(field.help) + (field.read_only() ? " (read only)" : "") + ".\n";
    }
  };
  fields("FIELDS OF THE COMPOSITION", engine.global_field_table);
  fields("FIELDS OF LAYERS", engine.layer_field_table);
  text +=
      ".SH EXIT STATUS\n"
      "0 after a plain \\-\\-exit, whatever happened. With \\-\\-exit=status, which jobs of a farm should end in, 1 if "
      "any error line was written. 128 and the number of the signal after an interrupt.\n"
      ".SH ENVIRONMENT\n"
      ".TP\n.B XDG_CONFIG_HOME, XDG_DATA_HOME\nWhere the settings, the recent list and the unsaved items are kept, in "
      "a folder Kestrin.\n"
      ".TP\n.B TMPDIR\nFor temporary files.\n"
      ".SH FILES\n"
      ".TP\n.I ~/Documents/Kestrin/keydefs.txt\nKey definitions of your own, over those that come with the program.\n"
      ".TP\n.I ~/.config/Kestrin\nSettings.\n"
      ".SH EXAMPLES\n"
      ".TP\nPlay a sequence:\n.B kestrin shot.####.exr \\-\\-play\n"
      ".TP\nPut one sequence over another on a farm node:\n"
      ".B kestrin back.####.tga front.####.tga \\-\\-alpha=normal \\-\\-save_mask_as_sequence=out.####.tga "
      "\\-\\-exit=status\n";
  return text;
}

std::string bash_completion(const engine& engine) {
  std::string names;
  std::string values;
  for (const option& o : options_of(engine)) {
    if (o.plain) names += " --" + o.name;
    if (o.value) names += " --" + o.name + "=";
    if (!o.words.empty()) values += "    --" + o.name + ") words=" + quoted(joined(o.words)) + " ;;\n";
  }
  return "# Completion of kestrin(1) for bash.\n"
         "_kestrin() {\n"
         "  local line=${COMP_LINE:0:COMP_POINT} word option words=\n"
         "  word=${line##*[[:space:]]}\n"
         "  COMPREPLY=()\n"
         "  if [[ $word != --* ]]; then\n"
         "    compopt -o filenames 2>/dev/null\n"
         "    mapfile -t COMPREPLY < <(compgen -f -- \"$word\")\n"
         "    return\n"
         "  fi\n"
         "  if [[ $word != *=* ]]; then\n"
         "    compopt -o nospace 2>/dev/null\n"
         "    mapfile -t COMPREPLY < <(compgen -W \"$_kestrin_options\" -- \"$word\")\n"
         "    [[ ${#COMPREPLY[@]} -ne 1 || ${COMPREPLY[0]} == *= ]] || COMPREPLY[0]+=' '\n"
         "    return\n"
         "  fi\n"
         "  option=${word%%=*}\n"
         "  case \"$option\" in\n" +
         values +
         "  esac\n"
         "  if [[ -n $words ]]; then\n"
         "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"${word#*=}\")\n"
         "  else\n"
         "    compopt -o filenames 2>/dev/null\n"
         "    mapfile -t COMPREPLY < <(compgen -f -- \"${word#*=}\")\n"
         "  fi\n"
         "}\n"
         "_kestrin_options=" +
         quoted(names.empty() ? names : names.substr(1)) +
         "\n"
         "complete -F _kestrin kestrin\n";
}

std::string zsh_completion(const engine& engine) {
  std::string text =
      "#compdef kestrin\n"
      "# Completion of kestrin(1) for zsh.\n"
      "_arguments -S \\\n";
  for (const option& o : options_of(engine)) {
    const std::string help = "[" + escaped(o.help, "[]:\\") + "]";
    std::string kind = o.path ? ":file:_files" : ":value:";
    if (!o.words.empty()) kind = ":value:(" + joined(o.words) + ")";
    if (o.plain) text += "  " + quoted("*--" + o.name + help) + " \\\n";
    if (o.value) text += "  " + quoted("*--" + o.name + "=-" + help + kind) + " \\\n";
  }
  return text + "  '*:file:_files'\n";
}

std::string fish_completion(const engine& engine) {
  std::string text = "# Completion of kestrin(1) for fish.\n";
  for (const option& o : options_of(engine)) {
    std::string line = "complete -c kestrin -l " + o.name + " -d '" + escaped(o.help, "'\\") + "'";
    if (!o.words.empty()) line += " -a '" + joined(o.words) + "'";
    if (o.value && !o.plain) line += o.words.empty() ? " -r" : " -x";
    text += line + "\n";
  }
  return text;
}

namespace {

// The words by which a group is asked for, in lower case: its title, and both sides of "Work area and timeline".
std::vector<std::string> words_for(action_group group) {
  const std::string title = lower(std::string(title_of(group)));
  constexpr std::string_view link = " and ";
  const std::size_t at = title.find(link);
  if (at == title.npos) return {title};
  return {title, title.substr(0, at), title.substr(at + link.size())};
}

}  // namespace

std::string help_on(const engine& engine, const std::string& topic) {
  std::string name = topic.starts_with("--") ? topic.substr(2) : topic;
  name = name.substr(0, name.find('='));
  std::string text;
  if (const action* row = engine.find_action(name)) text += help_on_action(*row);
  if (const auto* field = engine.find_global_field(name)) text += help_on_global_field(engine, *field);
  if (const auto* field = engine.find_layer_field(name)) text += help_on_layer_field(*field);
  text += help_on_word(name);
  if (!text.empty()) return text;
  for (const action* row : rows_of(engine)) {
    const std::vector<std::string> words = words_for(row->group);
    if (std::find(words.begin(), words.end(), lower(topic)) != words.end()) text += help_on_action(*row);
  }
  if (lower(topic) == "fields of the composition") {
    for (const global_field& field : engine.global_field_table) text += help_on_global_field(engine, field);
  } else if (lower(topic) == "fields of layers") {
    for (const layer_field& field : engine.layer_field_table) text += help_on_layer_field(field);
  }
  return text;
}

std::string nearest_name(const engine& engine, const std::string& name, bool or_group) {
  constexpr std::size_t longest_name = 64;
  if (name.size() > longest_name) return {};
  // A name that exists has a value that it does not take.
  if (engine.find_action(name) || engine.find_global_field(name) || engine.find_layer_field(name)) return {};
  std::string nearest;
  // A third of the letters may be wrong, or half of the names would be near a short one.
  std::size_t best = std::min<std::size_t>(name.size() / 3, 3) + 1;
  const auto look_at = [&](const std::string& candidate) {
    const auto [shorter, longer] = std::minmax({name.size(), candidate.size()});
    if (longer - shorter >= best) return;
    const std::size_t off = distance(name, candidate);
    if (off < best) nearest = candidate, best = off;
  };
  for (const auto& [candidate, row] : engine.action_table) {
    if (row.unbuilt.empty()) look_at(candidate);
  }
  for (const auto& field : engine.global_field_table) look_at(field.name);
  for (const auto& field : engine.layer_field_table) look_at(field.name);
  for (const action* row : or_group ? rows_of(engine) : std::vector<const action*>()) {
    for (const std::string& word : words_for(row->group)) look_at(word);
  }
  return nearest;
}

}  // namespace command
