// What a save dialog offers for each kind of file, and what was chosen for it before.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "composition/state.h"
#include "platform/save_form.h"

namespace app {

// Main thread. Kinds of files go by their extension.
class save_choices {
 public:
  using text_function = std::function<std::string(std::string_view key)>;  // of the message catalogue

  // The options that the format of a path has. `is_walk`: movies can be written.
  std::vector<platform::form_choice> of_path(const std::string& path, bool is_walk, const text_function& text) const;
  // Keeps what was chosen for the kind of `path`, and returns it as a list for --save_options.
  std::string remember(const std::string& path, const std::map<std::string, std::string>& chosen);

  // The folder that the last dialog of an action ended in, empty before the first one.
  const std::string& folder_of(const std::string& action) { return folders_[action]; }
  void remember_folder(const std::string& action, const std::string& folder) { folders_[action] = folder; }
  // Of all actions.
  std::vector<std::string> folders() const;

  // All of it as lines, "options EXTENSION KEY=WORD,KEY=WORD" and "folder ACTION PATH", and back; a line that is
  // neither is passed over.
  std::string text() const;
  void take_text(std::string_view text);

 private:
  std::map<std::string, std::map<std::string, std::string>> kept_;  // by extension
  std::map<std::string, std::string> folders_;                      // by action
};

// The file of the user that choices are kept in, which several instances share. A file that can't be read or written
// changes nothing.
void load_choices(save_choices& choices, const std::string& path);
void store_choices(const save_choices& choices, const std::string& path);

// "1920 x 1080, 48 frames at 24 a second: /shots/out.0000.exr to out.0047.exr". `action` is the name of a save action.
std::string save_description(const ksn::state& composition, const std::string& action, const std::string& path);

}  // namespace app
