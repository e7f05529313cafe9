#include "command/keys.h"

#include <set>

#include "lib/paths.h"
#include "lib/text_file.h"
#include "platform/folders.h"

namespace command {
namespace {

constexpr key_code shift = 0x10000;
constexpr key_code ctrl = 0x20000;
constexpr key_code alt = 0x40000;
constexpr key_code question_mark = 191 | shift;  // known by its sign more than by its key

struct named_key {
  const char* name;  // as it is written in a definition, lower case
  int virtual_key;
  const char* display;  // null for a second name of the same key
};

constexpr named_key named_keys[] = {
    {"backspace", 8, "Backspace"},
    {"backsp", 8, nullptr},
    {"tab", 9, "Tab"},
    {"enter", 13, "Enter"},
    {"return", 13, nullptr},
    {"escape", 27, "Escape"},
    {"esc", 27, nullptr},
    {"space", 32, "Space"},
    {"pageup", 33, "Page Up"},
    {"pgup", 33, nullptr},
    {"pagedown", 34, "Page Down"},
    {"pgdown", 34, nullptr},
    {"pgdn", 34, nullptr},
    {"end", 35, "End"},
    {"home", 36, "Home"},
    {"left", 37, "Left"},
    {"up", 38, "Up"},
    {"right", 39, "Right"},
    {"down", 40, "Down"},
    {"insert", 45, "Insert"},
    {"ins", 45, nullptr},
    {"delete", 46, "Delete"},
    {"del", 46, nullptr},
    {"numpad*", 106, "Numpad *"},
    {"numpad+", 107, "Numpad +"},
    {"numpad-", 109, "Numpad -"},
    {"numpad.", 110, "Numpad ."},
    {"numpad/", 111, "Numpad /"},
    {";", 186, ";"},
    {"=", 187, "="},
    {",", 188, ","},
    {"-", 189, "-"},
    {".", 190, "."},
    {"/", 191, "/"},
    {"`", 192, "`"},
    {"~", 192, nullptr},
    {"[", 219, "["},
    {"\\", 220, "\\"},
    {"]", 221, "]"},
    {"'", 222, "'"},
};

// A number that fills the whole text, -1 for any other text.
int number_of(std::string_view text) {
  if (text.empty() || text.size() > 2) return -1;
  int value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return -1;
    value = value * 10 + (c - '0');
  }
  return value;
}

int base_key(std::string_view name) {
  if (name.size() == 1 && name[0] >= 'a' && name[0] <= 'z') return name[0] - 'a' + 'A';
  if (name.size() == 1 && name[0] >= '0' && name[0] <= '9') return name[0];
  for (const named_key& key : named_keys) {
    if (name == key.name) return key.virtual_key;
  }
  if (name.starts_with('f')) {
    const int number = number_of(name.substr(1));
    if (number >= 1 && number <= 24 && name[1] != '0') return 111 + number;
  }
  if (name.starts_with("numpad") && name.size() == 7) {
    const int number = number_of(name.substr(6));
    if (number >= 0) return 96 + number;
  }
  return 0;
}

std::string base_name(int key) {
  if ((key >= 'A' && key <= 'Z') || (key >= '0' && key <= '9')) return std::string(1, static_cast<char>(key));
  if (key >= 112 && key <= 135) return "F" + std::to_string(key - 111);
  if (key >= 96 && key <= 105) return "Numpad " + std::to_string(key - 96);
  for (const named_key& named : named_keys) {
    if (named.virtual_key == key && named.display) return named.display;
  }
  return {};
}

}  // namespace

key_code parse_key(std::string_view text) {
  if (text == "?") return question_mark;
  const std::string lowered = lib::to_lower(text);
  std::string_view rest = lowered;
  key_code modifiers = 0;
  for (bool found = true; found;) {
    found = false;
    for (const auto& [prefix, bit] :
         {std::pair<std::string_view, key_code>{"shift+", shift}, {"ctrl+", ctrl}, {"alt+", alt}}) {
      if (!(modifiers & bit) && rest.starts_with(prefix)) {
        rest.remove_prefix(prefix.size());
        modifiers |= bit;
        found = true;
      }
    }
  }
  const int key = base_key(rest);
  return key ? key | modifiers : 0;
}

std::string key_text(key_code code) {
  if (code == question_mark) return "?";
  const std::string name = base_name(code & 0xFFFF);
  if (name.empty()) return {};
  return (code & ctrl ? "Ctrl+" : "") + std::string(code & shift ? "Shift+" : "") + (code & alt ? "Alt+" : "") + name;
}

void key_table::load(std::string_view text) {
  std::set<std::string, std::less<>> met;  // commands that this text has bound
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::vector<std::string> words = tokenise(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    if (words.empty()) continue;
    const key_code code = parse_key(words.front());
    if (code == 0) continue;
    words.erase(words.begin());
    for (std::string& word : words) {
      if (word.starts_with("--")) word.erase(0, 2);
    }
    if (words.size() == 1 && met.insert(words.front()).second) key_of_action_[words.front()] = code;
    key_bindings_[code] = std::move(words);
  }
}

void key_table::load_file(const std::string& path) {
  if (std::string text; lib::read_text_file(path, text)) load(text);
}

void key_table::load_folders() {
  for (const std::string& folder : platform::definition_folders())
    load_file(lib::add_separator(folder) + "keydefs.txt");
}

std::string key_table::key_text_of_action(const std::string& command) const {
  const auto found = key_of_action_.find(command);
  return found == key_of_action_.end() ? std::string() : key_text(found->second);
}

std::vector<std::string> key_table::commands_of(key_code code) const {
  const auto found = key_bindings_.find(code);
  return found == key_bindings_.end() ? std::vector<std::string>() : found->second;
}

}  // namespace command
