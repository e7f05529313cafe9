// The message that one running instance sends another, and the answer, as bytes on a stream.
//
// A message is the eight bytes "ksnhand1", the length of what follows, and then texts: the sender's folder and its
// arguments, index 0 the program. An answer is a row of records, each a kind and a text. Every length is an unsigned
// 32-bit number, little-endian, in front of its text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

struct handover_message {
  std::string folder;  // that relative paths mean; empty when it is unknown
  std::vector<std::string> arguments;
  bool operator==(const handover_message&) const = default;
};

// Command lines that a system can start are far below it.
constexpr std::size_t longest_handover = std::size_t{16} << 20;

enum class parse_state { incomplete, complete, broken };

std::string encode_handover(const handover_message& message);

// Takes a message in pieces of any size. Memory grows with what has arrived, never with what a length claims.
class handover_parser {
 public:
  // Bytes after a message break it, as do lengths that do not add up.
  parse_state take(std::string_view bytes);
  parse_state state() const { return state_; }
  // Once the state is complete.
  const handover_message& message() const { return message_; }

 private:
  std::string bytes_;
  handover_message message_;
  parse_state state_ = parse_state::incomplete;
};

enum class answer_kind : char {
  taken = 't',    // the message has arrived; what follows may take as long as the line takes
  output = 'o',   // a line for the standard output
  error = 'e',    // a line for the error stream
  done = 'd',     // the line was carried out; the last record
  refused = 'r',  // it was not; the last record
};

struct answer_record {
  answer_kind kind = answer_kind::done;
  std::string text;
};

std::string encode_answer(answer_kind kind, std::string_view text);

// Takes answers in pieces of any size and gives the whole records in their order.
class answer_parser {
 public:
  // broken after a record of an unknown kind or an absurd length; complete after the last record.
  parse_state take(std::string_view bytes, std::vector<answer_record>& records);

 private:
  std::string bytes_;
  parse_state state_ = parse_state::incomplete;
};

}  // namespace platform
