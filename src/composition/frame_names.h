// The file names of a sequence.
#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace ksn {

// A list that is replaced as a whole and never changed in place. Copies share it, so that a layer of 100,000 frames is
// duplicated, kept for undo and handed to a preload thread at no cost.
class frame_names {
 public:
  frame_names() = default;
  frame_names(std::vector<std::string> names)
      : list_(std::make_shared<const std::vector<std::string>>(std::move(names))) {}
  frame_names(std::initializer_list<std::string> names) : frame_names(std::vector<std::string>(names)) {}

  const std::vector<std::string>& list() const { return list_ ? *list_ : none(); }
  operator const std::vector<std::string>&() const { return list(); }
  std::size_t size() const { return list().size(); }
  bool empty() const { return list().empty(); }
  const std::string& operator[](std::size_t index) const { return list()[index]; }
  const std::string& front() const { return list().front(); }
  const std::string& back() const { return list().back(); }
  auto begin() const { return list().begin(); }
  auto end() const { return list().end(); }
  void clear() { list_.reset(); }
  bool operator==(const frame_names& other) const { return list_ == other.list_ || list() == other.list(); }

 private:
  static const std::vector<std::string>& none() {
    static const std::vector<std::string> empty;
    return empty;
  }

  std::shared_ptr<const std::vector<std::string>> list_;
};

}  // namespace ksn
