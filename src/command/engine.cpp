#include "command/engine.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "command/expansion.h"
#include "command/guard.h"
#include "command/manual.h"
#include "command/messages.h"
#include "composition/opening/sequence_pattern.h"
#include "io/failure.h"
#include "lib/paths.h"
#include "lib/text_file.h"
#include "platform/files.h"

namespace command {

namespace {

constexpr std::size_t deepest_inclusion = 100;  // command files inside command files

// Whether an action leaves nothing of what the line has opened so far, or failed to.
bool empties_document(std::string_view action) {
  return action == "new_composition" || action == "layer_delete_all";
}

bool is_option(std::string_view text) {
  return text.starts_with("--");
}

void add_to_composition(ksn::state& composition, const source_request& request) {
  using kind = source_request::kind;
  switch (request.how) {
    case kind::ordinary:
      composition.add(request.path, false, false, false);
      return;
    case kind::still_image:
      composition.add(request.path, true, false, false);
      return;
    case kind::range:
      composition.add_with_range(request.path, request.range);
      return;
    case kind::forced_sequence:
      composition.add_forced_sequence(request.path);
      return;
  }
}

// A name in the convention of `name.#.ext` for four digits and `@` for one each.
std::string rewrite_fcheck(const std::string& path) {
  const std::string folder = lib::folder_of(path);
  auto [stem, extension] = lib::split_extension(lib::file_name(path));
  const std::size_t last = stem.rfind('#');
  if (last != stem.npos && (last == 0 || stem[last - 1] != '#')) stem.replace(last, 1, "@@@@");
  std::replace(stem.begin(), stem.end(), '@', '#');
  return folder + stem + extension;
}

// The lines of a text that are no comments, joined with blanks.
std::string without_comments(std::string_view text) {
  std::string joined;
  joined.reserve(text.size());
  bool first = true;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    std::string_view compared = line;
    if (compared.ends_with('\r')) compared.remove_suffix(1);
    if (compared == "//" || compared.starts_with("// ") || compared.starts_with("//\t")) continue;
    if (!first) joined += ' ';
    joined += line;
    first = false;
  }
  return joined;
}

}  // namespace

std::string source_path(const std::string& path) {
  if (path.starts_with("shm:/")) return path;
  const std::string full = lib::full_path(path);
  if (platform::file_exists(full)) return full;
  std::string numbered = ksn::with_number_signs(full);
  // "%d" and a lone "@" leave the width of the number open.
  const std::size_t sign = numbered.rfind('#');
  if (numbered != full && sign != numbered.npos && numbered[sign - 1] != '#') numbered[sign] = '*';
  return numbered;
}

execution::execution(engine& engine) : engine_(engine) {
  if (engine_.command_depth++ == 0) engine_.failed_inputs.clear();
}

execution::~execution() {
  if (--engine_.command_depth == 0) engine_.composition().touch();
}

engine::engine(ksn::state& composition)
    : write_error([](const std::string&) {}),
      write_output([](const std::string&) {}),
      add_source([this](const source_request& request) { add_to_composition(composition_, request); }),
      read_command_file(
          [](const std::string& path, std::string& text) { return lib::read_text_file(path, text, lib::pipes::read); }),
      composition_(composition) {}

const global_field* engine::find_global_field(std::string_view name) const {
  const auto found = std::find_if(global_field_table.begin(), global_field_table.end(),
                                  [&](const global_field& field) { return field.name == name; });
  return found == global_field_table.end() ? nullptr : &*found;
}

const layer_field* engine::find_layer_field(std::string_view name) const {
  const auto found = std::find_if(layer_field_table.begin(), layer_field_table.end(),
                                  [&](const layer_field& field) { return field.name == name; });
  return found == layer_field_table.end() ? nullptr : &*found;
}

void engine::report(const std::string& line) {
  if (command_depth == 0) return;
  ++lines_reported;
  write_error(line);
}

void engine::command_pass(const std::vector<std::string>& args) {
  const execution running(*this);
  std::size_t i = 1;
  if (args.size() >= 2 && !is_option(args[1]) && lib::lower_extension(args[1]) == "ksncomp") {
    execute_action("open_composition=" + lib::full_path(args[1]));
    i = 2;
  }
  constexpr std::string_view expansion_switch = "--expand_env_vars=";
  bool expand = false;
  bool paths_only = false;  // after "--"
  while (i < args.size() && !quit_requested && !(stop_requested && stop_requested())) {
    if (args[i].starts_with(expansion_switch)) {
      expand = std::atoi(args[i].c_str() + expansion_switch.size()) != 0;
      ++i;
      continue;
    }
    const std::string& argument = args[i++];
    reported(*this, argument, [&] {
      std::string text = expand ? expand_environment(argument) : expand_fields(argument, 0);
      if (text.find('\0') != text.npos) {
        report(about(text, "A name can't hold the character 0"));
        failed_inputs.push_back(text);
      } else if (paths_only) {
        if (!text.empty()) i = take_source(args, i, std::move(text), expand);
      } else if (text == "--") {
        paths_only = true;
      } else if (text == "-h") {
        run_option("--help");
      } else if (text == "-") {
        run_command_file("/dev/stdin");
      } else if (is_option(text)) {
        run_option(text);
      } else if (lib::lower_extension(text) == "ksncmd" || lib::is_pipe(text)) {
        run_command_file(text);
      } else if (!text.empty()) {
        i = take_source(args, i, std::move(text), expand);
      }
    });
  }
}

// Adds `path` as the options from `index` on ask for; returns the index after those that were taken.
std::size_t engine::take_source(const std::vector<std::string>& args, std::size_t index, std::string path,
                                bool expand) {
  constexpr std::string_view range_option = "--range=";
  path = source_path(path);
  if (index < args.size() && args[index] == "--fcheck") {
    path = rewrite_fcheck(path);
    ++index;
  }
  source_request request;
  request.path = std::move(path);
  if (index < args.size()) {
    const std::string& option = args[index];
    if (option.starts_with(range_option)) {
      request.how = source_request::kind::range;
      request.range = (expand ? expand_environment(option) : expand_fields(option, 0)).substr(range_option.size());
    } else if (option == "--still_image") {
      request.how = source_request::kind::still_image;
    } else if (option == "--force_sequence") {
      request.how = source_request::kind::forced_sequence;
    }
    if (request.how != source_request::kind::ordinary) ++index;
  }
  open_source(request);
  return index;
}

void engine::open_source(const source_request& request) {
  const int before = composition_.doc.track_count();
  reported(*this, request.path, [&] { add_source(request); });
  if (composition_.doc.track_count() == before) failed_inputs.push_back(request.path);
}

void engine::run_command_line(std::string_view text) {
  command_pass(tokenise(without_comments(text)));
}

void engine::run_command_file(const std::string& relative_path) {
  const std::string path = lib::full_path(relative_path);
  if (include_stack.contains(path)) {
    report(about(path, includes_itself));
    return;
  }
  if (include_stack.size() >= deepest_inclusion) {
    report(about(path, "More than " + std::to_string(deepest_inclusion) + " command files inside each other"));
    return;
  }
  std::string text;
  errno = 0;
  if (!read_command_file(path, text)) {
    // A name that is not there needs no word more.
    report(errno == 0 || errno == ENOENT ? about(path, open_error) : about(path, open_error, io::reason(errno, path)));
    failed_inputs.push_back(path);
    return;
  }
  if (text.empty()) return;
  std::vector<std::string> args = tokenise("kestrin.exe " + without_comments(text));
  // The marker of pasted command text does no harm in a file.
  if (args.size() > 1 && args[1] == "--ksncmd") args.erase(args.begin() + 1);
  include_stack.insert(path);
  include_order_.push_back(path);
  command_pass(args);  // reports whatever goes wrong inside
  include_order_.pop_back();
  include_stack.erase(path);
}

namespace {

// The name in "1:opacity=50".
std::string name_in(const std::string& option) {
  const std::string left = option.substr(0, option.find('='));
  return left.substr(left.rfind(':') + 1);
}

}  // namespace

void engine::run_option(const std::string& text) {
  const execution running(*this);
  const std::string outer = std::exchange(current_option_, text);
  reported(*this, text, [&] {
    const std::string stripped = is_option(text) ? text.substr(2) : text;
    if (execute_action(stripped)) return;
    const std::size_t equals = stripped.find('=');
    if (equals == stripped.npos || !set_field(stripped.substr(0, equals), stripped.substr(equals + 1))) {
      const std::string near = nearest_name(*this, name_in(stripped));
      report(about(text, invalid_option) + (near.empty() ? "" : "; did you mean --" + near + "?"));
    }
  });
  current_option_ = outer;
}

void engine::add(action row) {
  row.order = static_cast<int>(action_table.size()) + 1;
  const std::string name = row.name;
  if (!action_table.emplace(name, std::move(row)).second) throw std::logic_error("Two rows of the action " + name);
}

const action* engine::find_action(std::string_view name) const {
  const auto found = action_table.find(name);
  return found == action_table.end() ? nullptr : &found->second;
}

bool engine::execute_action(const std::string& text) {
  const std::size_t equals = text.find('=');
  const action* entry = find_action(std::string_view(text).substr(0, equals));
  if (!entry) return false;
  const std::string option = "--" + text;
  if (!entry->unbuilt.empty() && (equals == text.npos ? entry->plain() : entry->takes_value())) {
    report(about("--" + entry->name, not_available));
    return true;
  }
  if (equals != text.npos) {
    if (!entry->execute_value) return false;
    bool done = true;
    reported(*this, option, [&] { done = entry->execute_value(text.substr(equals + 1)); });
    return done;
  }
  if (!entry->plain()) return false;
  reported(*this, option, [&] {
    if (entry->ask) {
      if (ask_for_value && ask_for_value(*entry)) return;
      report(about(option, not_available) + " without a value: " + option + "=" + entry->value_form);
    } else if (!entry->enabled || entry->enabled()) {
      entry->execute();
      if (empties_document(text)) failed_inputs.clear();
    }
  });
  return true;
}

bool engine::run_command(const std::string& text) {
  if (text.find('=') == text.npos) return execute_action(text);
  run_option(text);
  return true;
}

bool engine::action_enabled(std::string_view name) const {
  const action* entry = find_action(name);
  return entry && entry->unbuilt.empty() && (!entry->enabled || entry->enabled());
}

bool engine::action_checked(std::string_view name) const {
  const action* entry = find_action(name);
  return entry && entry->checked && entry->checked();
}

}  // namespace command
