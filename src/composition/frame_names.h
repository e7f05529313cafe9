// The file names of a sequence.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ksn {

// Names one behind the other in one block: a folder of 100,000 takes two allocations.
class name_list {
 public:
  void add(std::string_view name) {
    bytes_.append(name);
    ends_.push_back(bytes_.size());
  }
  void reserve(std::size_t count, std::size_t bytes) {
    ends_.reserve(count);
    bytes_.reserve(bytes);
  }
  std::size_t size() const { return ends_.size(); }
  bool empty() const { return ends_.empty(); }
  std::size_t bytes() const { return bytes_.size(); }
  // Valid until the next add().
  std::string_view operator[](std::size_t index) const {
    const std::size_t first = index == 0 ? 0 : ends_[index - 1];
    return {bytes_.data() + first, ends_[index] - first};
  }
  bool operator==(const name_list&) const = default;

 private:
  std::string bytes_;
  std::vector<std::size_t> ends_;
};

// A list that is replaced as a whole and never changed in place. Copies share it, so that a layer of 100,000 frames is
// duplicated, kept for undo and handed to a preload thread at no cost.
class frame_names {
 public:
  class iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = std::string_view;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = std::string_view;

    iterator(const name_list& names, std::size_t index) : names_(&names), index_(index) {}
    std::string_view operator*() const { return (*names_)[index_]; }
    iterator& operator++() {
      ++index_;
      return *this;
    }
    iterator operator++(int) { return {*names_, index_++}; }
    difference_type operator-(const iterator& other) const {
      return static_cast<difference_type>(index_) - static_cast<difference_type>(other.index_);
    }
    bool operator==(const iterator& other) const { return index_ == other.index_; }

   private:
    const name_list* names_;
    std::size_t index_;
  };

  frame_names() = default;
  explicit frame_names(name_list names) : names_(std::make_shared<const name_list>(std::move(names))) {}
  frame_names(const std::vector<std::string>& names) { take(names); }
  frame_names(std::initializer_list<std::string_view> names) { take(names); }

  std::size_t size() const { return list().size(); }
  bool empty() const { return list().empty(); }
  std::string_view operator[](std::size_t index) const { return list()[index]; }
  std::string_view front() const { return list()[0]; }
  std::string_view back() const { return list()[size() - 1]; }
  iterator begin() const { return {list(), 0}; }
  iterator end() const { return {list(), size()}; }
  void clear() { names_.reset(); }
  bool shares_with(const frame_names& other) const { return names_ == other.names_; }
  bool operator==(const frame_names& other) const { return names_ == other.names_ || list() == other.list(); }

 private:
  const name_list& list() const {
    static const name_list none;
    return names_ ? *names_ : none;
  }
  template <class Names>
  void take(const Names& names) {
    name_list copied;
    for (const auto& name : names) copied.add(name);
    names_ = std::make_shared<const name_list>(std::move(copied));
  }

  std::shared_ptr<const name_list> names_;
};

}  // namespace ksn
