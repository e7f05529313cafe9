#include "img/plane.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <new>
#include <utility>

#include "img/fresh_rows.h"
#include "lib/parallel.h"

namespace img {
namespace {

constexpr std::size_t copy_block = 1024;  // bytes; the unit in which fills and copies are dealt to threads

std::size_t block_size(std::size_t bytes) {
  return (bytes + plane::alignment - 1) / plane::alignment * plane::alignment;
}

// Through the program's operators, which evict cached frames when memory runs out.
std::uint8_t* new_block(std::size_t size) {
  return static_cast<std::uint8_t*>(::operator new (size, std::align_val_t{plane::alignment}, std::nothrow));
}

void free_block(std::uint8_t* data) noexcept {
  ::operator delete (data, std::align_val_t{plane::alignment});
}

// Freed blocks, oldest first. A block that the heap gives back to the system costs a page fault for every 4 KiB when
// the next frame writes to it, which is more than the decoding of most formats. Blocks in huge pages were tried: they
// halved the time of a load into new memory, but in a virtual machine whose host takes free memory back it took three
// times as long.
class spare_blocks {
 public:
  std::uint8_t* take(std::size_t size) {
    if (size < smallest_spare_plane) return nullptr;
    std::lock_guard lock(mutex_);
    for (std::size_t i = count_; i-- > 0;) {
      if (blocks_[i].size != size) continue;
      std::uint8_t* data = blocks_[i].data;
      remove(i);
      return data;
    }
    return nullptr;
  }

  void give(std::uint8_t* data, std::size_t size) noexcept {
    if (size < smallest_spare_plane || size > most_spare_bytes) {
      free_block(data);
      return;
    }
    std::lock_guard lock(mutex_);
    while (count_ >= most_spare_planes || bytes_ + size > most_spare_bytes) drop_oldest();
    blocks_[count_++] = {data, size};
    bytes_ += size;
  }

  void release() {
    std::lock_guard lock(mutex_);
    while (count_ > 0) drop_oldest();
  }

  std::size_t bytes() {
    std::lock_guard lock(mutex_);
    return bytes_;
  }

 private:
  struct block {
    std::uint8_t* data;
    std::size_t size;
  };

  void remove(std::size_t index) noexcept {
    bytes_ -= blocks_[index].size;
    std::copy(blocks_.begin() + static_cast<std::ptrdiff_t>(index) + 1,
              blocks_.begin() + static_cast<std::ptrdiff_t>(count_),
              blocks_.begin() + static_cast<std::ptrdiff_t>(index));
    --count_;
  }
  void drop_oldest() noexcept {
    free_block(blocks_[0].data);
    remove(0);
  }

  std::mutex mutex_;                             // guards all of it
  std::array<block, most_spare_planes> blocks_;  // no list: it must never ask for memory, not even when it is made
  std::size_t count_ = 0;
  std::size_t bytes_ = 0;
};

// One per process, like the heap that it stands in front of: a plane is freed wherever its last owner ends. Never
// destroyed: planes of static objects may be freed after everything else.
spare_blocks& spares() {
  // No memory is asked for: who runs out of it while this is made would come here again.
  alignas(spare_blocks) static std::byte place[sizeof(spare_blocks)];
  static auto* list = new (place) spare_blocks;
  return *list;
}

// The blocks that this thread had from the heap last. One that was freed since may stand here still.
thread_local std::array<const std::uint8_t*, 8> new_blocks{};
thread_local std::size_t new_block_count = 0;

std::uint8_t* allocate(std::size_t bytes) {
  if (bytes > PTRDIFF_MAX - plane::alignment) throw std::bad_alloc();
  const std::size_t size = block_size(bytes);
  if (std::uint8_t* warm = spares().take(size)) {
    std::replace(new_blocks.begin(), new_blocks.end(), static_cast<const std::uint8_t*>(warm),
                 static_cast<const std::uint8_t*>(nullptr));
    return warm;
  }
  std::uint8_t* data = new_block(size);
  if (!data) {
    spares().release();
    data = new_block(size);
  }
  if (!data) throw std::bad_alloc();
  new_blocks[new_block_count++ % new_blocks.size()] = data;
  return data;
}

// Calls body(first, last) with byte ranges of whole blocks on all threads, and with the tail on the calling one.
template <class Body>
void in_blocks(std::size_t bytes, Body&& body) {
  const std::size_t blocks = bytes / copy_block;
  lib::parallel_rows(static_cast<int>(blocks), static_cast<long long>(bytes), [&](int first, int last) {
    body(static_cast<std::size_t>(first) * copy_block, static_cast<std::size_t>(last) * copy_block);
  });
  if (blocks * copy_block < bytes) body(blocks * copy_block, bytes);
}

}  // namespace

plane::plane(std::size_t bytes) : data_(bytes ? allocate(bytes) : nullptr), size_(bytes) {}

plane::plane(const plane& other) : plane(other.size_) {
  copy_plane(*this, other);
}

plane::~plane() {
  if (data_) spares().give(data_, block_size(size_));
}

bool plane::operator==(const plane& other) const {
  return size_ == other.size_ && (size_ == 0 || std::memcmp(data_, other.data_, size_) == 0);
}

bool has_new_memory(const plane& block) {
  return !block.empty() && std::find(new_blocks.begin(), new_blocks.end(), block.data()) != new_blocks.end();
}

void copy_plane(plane& to, const plane& from) {
  in_blocks(from.size(), [&](std::size_t first, std::size_t last) {
    std::memcpy(to.data() + first, from.data() + first, last - first);
  });
}

void fill_plane(plane& target, std::uint8_t value) {
  in_blocks(target.size(),
            [&](std::size_t first, std::size_t last) { std::memset(target.data() + first, value, last - first); });
}

void release_spare_planes() {
  spares().release();
}

std::size_t spare_plane_bytes() {
  return spares().bytes();
}

}  // namespace img
