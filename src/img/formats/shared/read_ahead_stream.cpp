#include "img/formats/shared/read_ahead_stream.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "io/exceptions.h"
#include "lib/foreground.h"

namespace img {
namespace {

constexpr int most_slots = 3;  // one in use, one ready and one that is being read

}  // namespace

read_ahead_stream::read_ahead_stream(const io::llfile& file, std::int64_t begin, std::int64_t end)
    : file_(file),
      begin_(begin),
      size_(std::max<std::int64_t>(end - begin, 0)),
      piece_bytes_(std::min<std::size_t>(piece_size, static_cast<std::size_t>(size_))),
      slots_(size_ <= static_cast<std::int64_t>(piece_size) ? 1 : most_slots),
      memory_(static_cast<std::size_t>(slots_) * (piece_bytes_ + 2 * margin)),
      states_(static_cast<std::size_t>((size_ + static_cast<std::int64_t>(piece_size) - 1) /
                                       static_cast<std::int64_t>(piece_size))),
      limit_(slots_) {
  position_ = end_ = memory_.data() + margin;
}

std::uint8_t* read_ahead_stream::slot_of(int piece) {
  return memory_.data() + static_cast<std::size_t>(piece % slots_) * (piece_bytes_ + 2 * margin) + margin;
}

bool read_ahead_stream::claim(int piece) {
  state expected = state::untouched;
  return states_[static_cast<std::size_t>(piece)].compare_exchange_strong(expected, state::being_read);
}

void read_ahead_stream::set_state(int piece, state value) {
  states_[static_cast<std::size_t>(piece)].store(value);
  states_[static_cast<std::size_t>(piece)].notify_all();
}

// A claimed piece, which is untouched again when that fails.
void read_ahead_stream::read(int piece) {
  const std::int64_t from = piece * static_cast<std::int64_t>(piece_size);
  const int wanted = static_cast<int>(std::min(static_cast<std::int64_t>(piece_size), size_ - from));
  try {
    if (file_.read_at(slot_of(piece), wanted, begin_ + from) < wanted) throw io::eof_error(file_.name());
  } catch (...) {
    set_state(piece, state::untouched);
    throw;
  }
  set_state(piece, state::ready);
}

void read_ahead_stream::more() {
  if (next_ == static_cast<int>(states_.size())) throw io::eof_error(file_.name());
  const int piece = next_++;
  lib::give_way();
  std::atomic<state>& present = states_[static_cast<std::size_t>(piece)];
  while (present != state::ready) {
    if (claim(piece)) {
      read(piece);
    } else {
      present.wait(state::being_read);
    }
  }
  const auto left = static_cast<std::size_t>(end_ - position_);
  std::uint8_t* const begin = slot_of(piece);
  std::memmove(begin - left, position_, left);
  position_ = begin - left;
  end_ = begin + std::min(static_cast<std::int64_t>(piece_size), size_ - piece * static_cast<std::int64_t>(piece_size));
  limit_ = piece + slots_;
  limit_.notify_all();
}

void read_ahead_stream::read_ahead() noexcept {
  const int count = static_cast<int>(states_.size());
  for (int piece = 1; piece < count; ++piece) {
    for (int limit = limit_; limit <= piece; limit = limit_) limit_.wait(limit);
    if (limit_ == INT_MAX) return;
    if (!claim(piece)) continue;
    try {
      read(piece);
    } catch (...) {
      return;
    }
  }
}

void read_ahead_stream::stop() noexcept {
  limit_ = INT_MAX;
  limit_.notify_all();
}

}  // namespace img
