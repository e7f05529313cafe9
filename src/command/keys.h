// Key definitions: which keys run which commands.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "command/engine.h"

namespace command {

// The low 16 bits are a virtual key; 0x10000 is added for Shift, 0x20000 for Ctrl, 0x40000 for Alt. 0 is no key.
using key_code = int;

// The key of a text such as "Ctrl+Shift+A", modifiers in any order, without regard to case; 0 for an unknown one.
key_code parse_key(std::string_view text);
// "Ctrl+Shift+Alt+" as far as they apply and the key's name; empty for a key that has no name.
std::string key_text(key_code code);

// The bindings of one program. Main thread.
class key_table {
 public:
  // Takes the lines of a keydefs.txt: a key, then commands with or without "--". A line whose first word is no key is
  // passed over; a later line replaces an earlier one for the same key. The key of a command that runs alone is the
  // first one in the last text that binds it.
  void load(std::string_view text);
  // The same from a file; one that can't be read is passed over.
  void load_file(const std::string& path);
  // keydefs.txt of the folders config, user and documents, in this order.
  void load_folders();

  bool key_bound(key_code code) const { return key_bindings_.contains(code); }
  // The key of a command that runs alone; empty when it has none.
  std::string key_text_of_action(const std::string& command) const;
  // The commands of a key in their order, each for engine::run_command(); none for a key without a binding.
  std::vector<std::string> commands_of(key_code code) const;

  const std::map<key_code, std::vector<std::string>>& bindings() const { return key_bindings_; }

 private:
  std::map<key_code, std::vector<std::string>> key_bindings_;
  std::map<std::string, key_code> key_of_action_;  // only ever added to
};

}  // namespace command
