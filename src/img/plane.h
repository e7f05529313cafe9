// The bytes of one picture plane.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

namespace img {

// Owns an uninitialised block that begins on a page boundary, so that a file can be read straight into it. Copies are
// deep. Freed blocks of picture size are kept warm for the next plane, up to a bound (release_spare_planes()).
class plane {
 public:
  static constexpr std::size_t alignment = 4096;

  plane() = default;
  // Throws std::bad_alloc. The bytes have no particular value.
  explicit plane(std::size_t bytes);
  plane(const plane& other);
  plane(plane&& other) noexcept { swap(other); }
  plane& operator=(plane other) noexcept {
    swap(other);
    return *this;
  }
  ~plane();

  void swap(plane& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
  }

  std::size_t size() const { return size_; }  // bytes
  bool empty() const { return size_ == 0; }
  std::uint8_t* data() { return data_; }
  const std::uint8_t* data() const { return data_; }
  // The block as samples of T, which must be the plane's own sample type.
  template <class T>
  T* as() {
    return reinterpret_cast<T*>(data_);
  }
  template <class T>
  const T* as() const {
    return reinterpret_cast<const T*>(data_);
  }

  bool operator==(const plane& other) const;

 private:
  std::uint8_t* data_ = nullptr;
  std::size_t size_ = 0;
};

// Gives the blocks that are kept for reuse back to the heap. Any thread.
void release_spare_planes();

}  // namespace img
