#include "command/expansion.h"

#include <algorithm>
#include <cstdlib>

#include "command/engine.h"
#include "command/messages.h"

namespace command {

namespace {

constexpr int deepest_expansion = 32;  // expressions inside expressions

bool starts_name(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
bool continues_name(char c) {
  return starts_name(c) || (c >= '0' && c <= '9');
}

struct bracket {
  std::size_t end;  // of the matching `}`, npos when there is none
  int depth;        // most brackets open at once
};

// `text` begins after an opening bracket.
bracket find_bracket(std::string_view text) {
  int open = 1;
  int depth = 1;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '{') depth = std::max(depth, ++open);
    if (text[i] == '}' && --open == 0) return {i, depth};
  }
  return {text.npos, depth};
}

}  // namespace

std::string expand_environment(std::string_view text) {
  std::string out;
  std::size_t i = 0;
  while (i < text.size()) {
    if (text[i] != '%') {
      const std::size_t end = std::min(text.find('%', i), text.size());
      out += text.substr(i, end - i);
      i = end;
      continue;
    }
    std::size_t end = i + 1;
    if (end < text.size() && starts_name(text[end])) {
      while (end < text.size() && continues_name(text[end])) ++end;
    }
    if (end == text.size() || text[end] != '%') {
      out += text.substr(i, end - i);
      i = end;
      continue;
    }
    const std::string name(text.substr(i + 1, end - i - 1));
    const char* value = name.empty() ? "%" : std::getenv(name.c_str());
    out += value ? value : text.substr(i, end + 1 - i);
    i = end + 1;
  }
  return out;
}

std::string engine::expand_fields(std::string_view text, int level) {
  std::string out;
  std::size_t i = 0;
  while (i < text.size()) {
    const std::size_t run = text.find('%', i);
    if (run == text.npos) break;
    const std::size_t run_end = std::min(text.find_first_not_of('%', run), text.size());
    const std::size_t percents = run_end - run;
    out += text.substr(i, run - i);
    i = run_end;
    if (percents % 2 == 0 || run_end == text.size() || text[run_end] != '{') {
      out += text.substr(run, percents);
      continue;
    }
    out.append(percents / 2, '%');
    const std::string_view expression = text.substr(run_end - 1);
    const bracket closing = find_bracket(expression.substr(2));
    if (closing.end == expression.npos) {
      report(about(expression, missing_bracket));
      return out;
    }
    const std::string_view whole = expression.substr(0, closing.end + 3);
    if (level == 0 && closing.depth > deepest_expansion) {
      report(about(whole, invalid_field));
    } else {
      out += read_for_expansion(expand_fields(whole.substr(2, closing.end), level + 1), whole);
    }
    i = run_end - 1 + whole.size();
  }
  out += text.substr(std::min(i, text.size()));
  return out;
}

std::string engine::read_for_expansion(std::string_view name, std::string_view expression) {
  std::string value;
  if (!get_field(std::string(name), value)) {
    report(about(expression, invalid_field));
    return {};
  }
  return value;
}

}  // namespace command
