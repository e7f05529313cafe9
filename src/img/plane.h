// The bytes of one picture plane.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

namespace img {

// Owns an uninitialised block that begins on a page boundary, so that a file can be read straight into it. Copies are
// deep. Freed blocks of picture size are kept warm for the next plane of the same size, within the bounds below. Blocks
// may be made and freed on any thread.
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

// Copies or fills a whole plane on all threads. Both planes of a copy must have the same size.
void copy_plane(plane& to, const plane& from);
void fill_plane(plane& target, std::uint8_t value);

// Limits of the blocks kept for reuse: their number, their bytes in all, and the smallest one kept. The block that was
// freed longest ago goes first. Sixteen cover the planes of the frames that a save or a playback has at hand at once.
constexpr std::size_t most_spare_planes = 16;
constexpr std::size_t most_spare_bytes = std::size_t{256} << 20;
constexpr std::size_t smallest_spare_plane = std::size_t{64} << 10;

// Gives the blocks that are kept for reuse back to the heap. Any thread.
void release_spare_planes();
// Bytes that are kept at the moment.
std::size_t spare_plane_bytes();

}  // namespace img
