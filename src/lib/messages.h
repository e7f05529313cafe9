// The texts that users see, by key.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace lib {

// Filled at start-up, then only read. Texts are UTF-8 and may hold the fields of lib::format.
class catalogue {
 public:
  // Takes `KEY=TEXT` for each line that begins with a letter, all others are comments. Nothing is trimmed but a final
  // carriage return. A later text replaces an earlier one, so a user's file is loaded after the shipped one.
  void load_text(std::string_view lines);
  // The same from a file. False when it can't be read.
  bool load_file(const std::string& path);

  // The key itself when there is no text for it.
  std::string text(std::string_view key) const;
  bool has(std::string_view key) const { return texts_.find(key) != texts_.end(); }

 private:
  // Every label of a panel is looked up for every picture.
  struct hash : std::hash<std::string_view> {
    using is_transparent = void;
  };
  std::unordered_map<std::string, std::string, hash, std::equal_to<>> texts_;
};

}  // namespace lib
