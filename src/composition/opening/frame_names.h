// The file names of a sequence.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ksn {

// Names whose letters stand in one block, in any order: a folder of 100,000 takes few allocations, and sorting moves no
// letters.
class name_list {
 public:
  // Throws std::length_error beyond 4 GB of letters.
  void add(std::string_view name) {
    if (letters_.size() + name.size() > std::numeric_limits<std::uint32_t>::max()) throw std::length_error("name_list");
    places_.push_back({static_cast<std::uint32_t>(letters_.size()), static_cast<std::uint32_t>(name.size())});
    letters_.append(name);
  }
  std::size_t size() const { return places_.size(); }
  bool empty() const { return places_.empty(); }
  // Valid until the next change.
  std::string_view operator[](std::size_t index) const {
    return {letters_.data() + places_[index].first, places_[index].size};
  }
  // The names in this order; indices may be left out or come twice.
  void reorder(const std::vector<std::uint32_t>& indices) {
    std::vector<place> places;
    places.reserve(indices.size());
    for (const std::uint32_t index : indices) places.push_back(places_[index]);
    places_ = std::move(places);
  }
  bool operator==(const name_list& other) const {
    if (size() != other.size()) return false;
    for (std::size_t i = 0; i < size(); ++i) {
      if ((*this)[i] != other[i]) return false;
    }
    return true;
  }

 private:
  struct place {
    std::uint32_t first;
    std::uint32_t size;
  };
  std::string letters_;
  std::vector<place> places_;
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
  explicit frame_names(name_list names, std::vector<std::uint32_t> holes = {})
      : names_(std::make_shared<const name_list>(std::move(names))) {
    set_holes(std::move(holes));
  }
  frame_names(const std::vector<std::string>& names) { take(names); }
  frame_names(std::initializer_list<std::string_view> names) { take(names); }

  std::size_t size() const { return list().size(); }
  bool empty() const { return list().empty(); }
  std::string_view operator[](std::size_t index) const { return list()[index]; }
  std::string_view front() const { return list()[0]; }
  std::string_view back() const { return list()[size() - 1]; }
  iterator begin() const { return {list(), 0}; }
  iterator end() const { return {list(), size()}; }
  void clear() {
    names_.reset();
    holes_.reset();
  }
  // The indices, ascending, of names that no file had when they were looked for; copies made from now on know them.
  void set_holes(std::vector<std::uint32_t> holes) {
    holes_ = holes.empty() ? nullptr : std::make_shared<const std::vector<std::uint32_t>>(std::move(holes));
  }
  std::span<const std::uint32_t> holes() const { return holes_ ? *holes_ : std::span<const std::uint32_t>(); }
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
  std::shared_ptr<const std::vector<std::uint32_t>> holes_;  // null for none
};

}  // namespace ksn
