// What a save dialog offers beside folder and name.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace platform {

struct form_word {
  std::string word;  // what is taken
  std::string text;  // what is shown
};

// One list of which one word is chosen.
struct form_choice {
  std::string key;
  std::string label;
  std::vector<form_word> words;
  std::size_t chosen = 0;  // index of the word at the beginning
};

struct save_form {
  // The choices for a path, and what would be written there; both are asked whenever the path changes.
  std::function<std::vector<form_choice>(const std::string& path)> choices;
  std::function<std::string(const std::string& path)> description;
  // Words by their keys, of the choices that stood there when the dialog was closed. The dialog fills it in.
  std::map<std::string, std::string> chosen = {};
};

}  // namespace platform
