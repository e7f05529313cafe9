// Documents in files, the recent lists and the unsaved items, as commands.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "command/engine.h"

namespace command {

// Changes to the recent lists that are not written yet. Outlives the engine's tables. Main thread.
class recent_notes {
 public:
  // Finds the folder of the lists, and makes it with `create`; false when there is none.
  using folder_lookup = std::function<bool(bool create, std::string& folder)>;

  explicit recent_notes(folder_lookup folder) : folder_(std::move(folder)) {}

  // Registers the actions, files the document where the composition asks for it, and notes the sources that are added.
  void register_actions(engine& engine);
  // Writes what was noted. Never throws: lists that can't be written are given up.
  void write();
  // A document that was filed as the user knows it: name, first source, number of layers and time.
  std::string text_of(const ksn::state& composition, const std::string& path);

 private:
  void open(engine& engine, const std::string& path, bool remember);
  void save(engine& engine, const std::string& path);
  void note_opened(const std::string& path);
  // The path of the n-th item of a list; false after an error line.
  bool item(engine& engine, const char* kind, const std::string& number, std::string& path);

  // The entries of the menu of a list, newest first.
  std::vector<list_item> items(const ksn::state& composition, const char* kind);

  folder_lookup folder_;
  std::vector<std::string> added_;
  std::map<std::string, std::string> unsaved_texts_;  // by path
};

}  // namespace command
