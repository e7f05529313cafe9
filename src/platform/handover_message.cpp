#include "platform/handover_message.h"

#include <cstdint>

namespace platform {
namespace {

constexpr std::string_view magic = "ksnhand1";
constexpr std::size_t length_bytes = 4;
constexpr std::size_t head_bytes = magic.size() + length_bytes;
// Arguments of no length still cost memory.
constexpr std::size_t most_arguments = 1 << 20;

void put_length(std::string& out, std::size_t length) {
  for (int shift = 0; shift < 32; shift += 8) out += static_cast<char>(length >> shift & 255);
}

std::size_t length_at(std::string_view bytes) {
  std::size_t length = 0;
  for (int i = 3; i >= 0; --i) length = length << 8 | static_cast<unsigned char>(bytes[static_cast<std::size_t>(i)]);
  return length;
}

// Takes a text from the front; false when the bytes do not hold it.
bool take_text(std::string_view& bytes, std::string& text) {
  if (bytes.size() < length_bytes) return false;
  const std::size_t length = length_at(bytes);
  bytes.remove_prefix(length_bytes);
  if (length > bytes.size()) return false;
  text.assign(bytes.substr(0, length));
  bytes.remove_prefix(length);
  return true;
}

}  // namespace

std::string encode_handover(const handover_message& message) {
  std::string body;
  put_length(body, message.folder.size());
  body += message.folder;
  for (const std::string& argument : message.arguments) {
    put_length(body, argument.size());
    body += argument;
  }
  std::string out(magic);
  put_length(out, body.size());
  return out += body;
}

parse_state handover_parser::take(std::string_view bytes) {
  if (state_ == parse_state::broken) return state_;
  bytes_.append(bytes.substr(0, longest_handover + head_bytes + 1 - bytes_.size()));
  const std::string_view known(bytes_);
  const std::string_view start = known.substr(0, magic.size());
  if (start != magic.substr(0, start.size())) return state_ = parse_state::broken;
  if (known.size() < head_bytes) return state_;
  const std::size_t length = length_at(known.substr(magic.size()));
  if (length > longest_handover || known.size() > head_bytes + length) return state_ = parse_state::broken;
  if (known.size() < head_bytes + length) return state_;

  std::string_view body = known.substr(head_bytes);
  if (!take_text(body, message_.folder)) return state_ = parse_state::broken;
  while (!body.empty()) {
    if (message_.arguments.size() == most_arguments || !take_text(body, message_.arguments.emplace_back())) {
      return state_ = parse_state::broken;
    }
  }
  return state_ = parse_state::complete;
}

std::string encode_answer(answer_kind kind, std::string_view text) {
  std::string out(1, static_cast<char>(kind));
  put_length(out, text.size());
  return out.append(text);
}

parse_state answer_parser::take(std::string_view bytes, std::vector<answer_record>& records) {
  if (state_ != parse_state::incomplete) return state_;
  bytes_ += bytes;
  std::string_view rest(bytes_);
  while (rest.size() >= 1 + length_bytes) {
    const auto kind = static_cast<answer_kind>(rest[0]);
    const bool last = kind == answer_kind::done || kind == answer_kind::refused;
    const std::size_t length = length_at(rest.substr(1));
    const bool known = last || kind == answer_kind::taken || kind == answer_kind::output || kind == answer_kind::error;
    if (!known || length > longest_handover) {
      return state_ = parse_state::broken;
    }
    if (rest.size() < 1 + length_bytes + length) break;
    records.push_back({kind, std::string(rest.substr(1 + length_bytes, length))});
    rest.remove_prefix(1 + length_bytes + length);
    if (last) return state_ = parse_state::complete;
  }
  bytes_.erase(0, bytes_.size() - rest.size());
  return state_;
}

}  // namespace platform
