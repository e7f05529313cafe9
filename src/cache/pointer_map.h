// A map from pointers to small values for many entries. Open addressing: a look-up reads one place of memory, where
// std::unordered_map reads three, one after another.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace cache {

// Values are trivially copyable. Null is no key. Not thread-safe.
template <class Key, class Value>
class pointer_map {
 public:
  // The value of the key, or null. It stays where it is until the next insert() or erase().
  const Value* find(const Key* key) const {
    const std::size_t at = place_of(key);
    return slots_.empty() || !slots_[at].key ? nullptr : &slots_[at].value;
  }
  bool contains(const Key* key) const { return find(key) != nullptr; }
  std::size_t size() const { return size_; }

  // The key is not there yet. Throws std::bad_alloc, and then nothing has changed.
  void insert(const Key* key, const Value& value) {
    if (slots_.size() < 2 * (size_ + 1)) grow();
    slots_[place_of(key)] = {key, value};
    ++size_;
  }

  // Allocates nothing. False when the key is not there.
  bool erase(const Key* key) {
    if (!contains(key)) return false;
    const std::size_t mask = slots_.size() - 1;
    std::size_t gap = place_of(key);
    // Those after the gap that were turned away from it, or from before it, move up, so that a search still meets them.
    for (std::size_t at = (gap + 1) & mask; slots_[at].key; at = (at + 1) & mask) {
      const std::size_t wanted = first_place_of(slots_[at].key);
      if (((at - wanted) & mask) < ((at - gap) & mask)) continue;
      slots_[gap] = slots_[at];
      gap = at;
    }
    slots_[gap] = {};
    --size_;
    return true;
  }

  // Keeps its memory.
  void clear() {
    for (slot& s : slots_) s = {};
    size_ = 0;
  }

 private:
  struct slot {
    const Key* key = nullptr;
    Value value{};
  };

  // Neighbours in memory, which often come one after another, have places near each other; 64 KB of them start
  // anywhere, by Fibonacci hashing: the high bits of the product with 2^64 divided by the golden ratio.
  std::size_t first_place_of(const Key* key) const {
    const auto bits = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(key));
    return static_cast<std::size_t>((bits >> 6) + ((bits >> 16) * 0x9E3779B97F4A7C15u >> 32)) & (slots_.size() - 1);
  }

  // Where the key is, or the free place for it.
  std::size_t place_of(const Key* key) const {
    if (slots_.empty()) return 0;
    std::size_t at = first_place_of(key);
    while (slots_[at].key && slots_[at].key != key) at = (at + 1) & (slots_.size() - 1);
    return at;
  }

  void grow() {
    pointer_map larger;
    larger.slots_.resize(std::bit_ceil(4 * (size_ + 1)));
    for (const slot& s : slots_) {
      if (s.key) larger.slots_[larger.place_of(s.key)] = s;
    }
    slots_.swap(larger.slots_);
  }

  std::vector<slot> slots_;  // a power of two, at least half of them free
  std::size_t size_ = 0;
};

}  // namespace cache
