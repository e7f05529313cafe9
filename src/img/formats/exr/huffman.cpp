#include "img/formats/exr/huffman.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace img {
namespace {

constexpr std::uint32_t most_symbols = 65537;  // every sample, and the mark of a run
constexpr int longest_code = 56;               // in bits; more would take more samples than a chunk has
constexpr int lookup_bits = 12;
constexpr std::size_t header_bytes = 20;  // first and last symbol, unused, bits of data, unused

std::uint32_t little32(const std::uint8_t* bytes) {
  std::uint32_t value;
  std::memcpy(&value, bytes, 4);
  return value;
}

// Bits from the highest of each byte on. The next ones stand at the top of window(), at least 56 after a refill().
class bit_reader {
 public:
  bit_reader(const std::uint8_t* begin, const std::uint8_t* end) : next_(begin), end_(end) {}

  // Behind the end come zeros.
  void refill() {
    if (next_ <= end_) {
      std::uint64_t bytes;
      std::memcpy(&bytes, next_, 8);
      window_ |= __builtin_bswap64(bytes) >> held_;
    }
    next_ += (63 - held_) >> 3;
    held_ |= 56;
  }
  std::uint64_t window() const { return window_; }
  void drop(int count) {
    window_ <<= count;
    held_ -= count;
  }
  std::uint32_t take(int count) {
    const auto bits = static_cast<std::uint32_t>(window_ >> (64 - count));
    drop(count);
    return bits;
  }
  // Bytes begun since `begin`.
  std::ptrdiff_t bytes_begun(const std::uint8_t* begin) const { return next_ - begin - held_ / 8; }

 private:
  const std::uint8_t* next_;
  const std::uint8_t* end_;
  std::uint64_t window_ = 0;
  int held_ = 0;
};

// An entry of the lookup table: 0-5 bits of the code, 6 a sample, 7 a run begins, 16-31 the sample. 0 where a longer
// code begins. Pairs of samples in entries twice as large were tried: the table then left the processor's first cache.
constexpr std::uint32_t sample_flag = 1u << 6;
constexpr std::uint32_t run_flag = 1u << 7;
constexpr int bits_of(std::uint32_t entry) {
  return static_cast<int>(entry & 63u);
}

class decoder {
 public:
  explicit decoder(piz_memory& memory) : memory_(memory) {}

  // Lengths in 6 bits each: 59 to 62 stand for 2 to 5 symbols without a code, 63 for 6 and the next 8 bits. Returns
  // where the data begins, null for damage.
  const std::uint8_t* read_lengths(const std::uint8_t* in, const std::uint8_t* end, std::uint32_t first,
                                   std::uint32_t last) {
    memory_.lengths.assign(most_symbols, 0);
    bit_reader bits(in, end);
    for (std::uint32_t symbol = first; symbol <= last; ++symbol) {
      bits.refill();
      const std::uint32_t length = bits.take(6);
      if (length < 59) {
        memory_.lengths[symbol] = static_cast<std::uint8_t>(length);
        continue;
      }
      const std::uint32_t zeros = length == 63 ? 6 + bits.take(8) : length - 57;
      if (zeros > last - symbol + 1) return nullptr;
      symbol += zeros - 1;
    }
    const std::ptrdiff_t begun = bits.bytes_begun(in);
    return begun <= end - in ? in + begun : nullptr;
  }

  // Codes of one length are consecutive numbers in the order of their symbols, and longer codes come before shorter.
  bool assign_codes(std::uint32_t first, std::uint32_t last) {
    std::array<std::uint64_t, longest_code + 3> counts{};
    for (std::uint32_t symbol = first; symbol <= last; ++symbol) ++counts[memory_.lengths[symbol]];
    if (counts[57] != 0 || counts[58] != 0) return false;
    counts[0] = 0;
    std::uint64_t code = 0;
    std::uint32_t place = 0;
    for (int length = longest_code; length > 0; --length) {
      const auto at = static_cast<std::size_t>(length);
      if (counts[at] != 0 && code + counts[at] > std::uint64_t{1} << length) return false;
      first_code_[at] = code;
      top_code_[at] = counts[at] != 0 ? code << (64 - length) : ~std::uint64_t{0};
      count_[at] = static_cast<std::uint32_t>(counts[at]);
      first_place_[at] = place;
      place += count_[at];
      if (counts[at] != 0 && length > lookup_bits) shortest_long_ = at;
      code = (code + counts[at]) >> 1;
    }
    memory_.symbols.resize(place);
    auto next = first_place_;
    for (std::uint32_t symbol = first; symbol <= last; ++symbol) {
      if (const std::size_t length = memory_.lengths[symbol]; length != 0) memory_.symbols[next[length]++] = symbol;
    }
    return true;
  }

  void build_lookup(std::uint32_t run_symbol) {
    run_symbol_ = run_symbol;
    memory_.lookup.assign(std::size_t{1} << lookup_bits, 0);
    for (int length = 1; length <= lookup_bits; ++length) {
      const auto at = static_cast<std::size_t>(length);
      for (std::uint32_t i = 0; i < count_[at]; ++i) {
        const std::uint32_t symbol = memory_.symbols[first_place_[at] + i];
        const auto bits = static_cast<std::uint32_t>(length);
        const std::uint32_t entry = symbol == run_symbol ? run_flag | bits : symbol << 16 | sample_flag | bits;
        const std::size_t begin = (first_code_[at] + i) << (lookup_bits - length);
        std::fill_n(&memory_.lookup[begin], std::size_t{1} << (lookup_bits - length), entry);
      }
    }
  }

  bool decode(const std::uint8_t* in, const std::uint8_t* end, std::uint16_t* out, std::size_t count) const {
    const std::uint16_t* const begin = out;
    std::uint16_t* const stop = out + count;
    const std::uint32_t* const lookup = memory_.lookup.data();
    bit_reader bits(in, end);
    while (out < stop) {
      bits.refill();
      std::uint32_t entry = lookup[bits.window() >> (64 - lookup_bits)];
      // Four entries take 48 bits at most.
      for (int i = 0; i < 4 && (entry & sample_flag) != 0 && out < stop; ++i) {
        *out++ = static_cast<std::uint16_t>(entry >> 16);
        bits.drop(bits_of(entry));
        entry = lookup[bits.window() >> (64 - lookup_bits)];
      }
      if ((entry & sample_flag) != 0) continue;
      if (out == stop) break;
      // A run or a long code.
      bits.refill();
      std::uint32_t symbol = run_symbol_;
      if ((entry & run_flag) != 0) {
        bits.drop(bits_of(entry));
      } else if (!decode_symbol(bits, symbol)) {
        return false;
      }
      if (symbol != run_symbol_) {
        *out++ = static_cast<std::uint16_t>(symbol);
        continue;
      }
      bits.refill();
      const std::uint32_t length = bits.take(8);
      // Behind the data zeros may stand for runs of no samples without end.
      if (bits.bytes_begun(in) > end - in) return false;
      if (out == begin || length > static_cast<std::size_t>(stop - out)) return false;
      std::fill_n(out, length, out[-1]);
      out += length;
    }
    return bits.bytes_begun(in) <= end - in;
  }

 private:
  // A code that is not in the lookup table. Codes of a length are all above those of greater lengths, when both are
  // shifted to the top of a word.
  bool decode_symbol(bit_reader& bits, std::uint32_t& symbol) const {
    std::size_t length = shortest_long_;
    while (bits.window() < top_code_[length]) ++length;
    const std::uint64_t place = (bits.window() - top_code_[length]) >> (64 - length);
    if (place >= count_[length]) return false;
    symbol = memory_.symbols[first_place_[length] + place];
    bits.drop(static_cast<int>(length));
    return true;
  }

  piz_memory& memory_;
  std::array<std::uint64_t, longest_code + 1> first_code_{};  // by length
  std::array<std::uint64_t, longest_code + 2> top_code_{};    // the same from the highest bit on
  std::array<std::uint32_t, longest_code + 2> count_{};
  std::array<std::uint32_t, longest_code + 2> first_place_{};  // in memory_.symbols
  std::uint32_t run_symbol_ = 0;
  std::size_t shortest_long_ = longest_code + 1;  // length of the codes that the lookup table does not hold
};

}  // namespace

bool decode_exr_huffman(const std::uint8_t* in, std::size_t in_size, std::uint16_t* out, std::size_t count,
                        piz_memory& memory) {
  if (count == 0) return true;
  if (in_size < header_bytes) return false;
  const std::uint32_t first = little32(in);
  const std::uint32_t last = little32(in + 4);
  const std::uint32_t data_bits = little32(in + 12);
  if (first > last || last >= most_symbols) return false;
  const std::uint8_t* const end = in + in_size;
  decoder codes(memory);
  const std::uint8_t* const data = codes.read_lengths(in + header_bytes, end, first, last);
  if (data == nullptr || (std::uint64_t{data_bits} + 7) / 8 > static_cast<std::uint64_t>(end - data)) return false;
  if (!codes.assign_codes(first, last)) return false;
  codes.build_lookup(last);
  return codes.decode(data, data + (std::uint64_t{data_bits} + 7) / 8, out, count);
}

}  // namespace img
