#include "command/engine.h"

namespace command {

namespace {

bool is_blank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

}  // namespace

std::vector<std::string> tokenise(std::string_view text) {
  std::vector<std::string> tokens;
  std::size_t i = 0;
  while (true) {
    while (i < text.size() && is_blank(text[i])) ++i;
    if (i == text.size()) return tokens;
    std::string token;
    bool quoted = false;
    while (i < text.size() && (quoted || !is_blank(text[i]))) {
      const std::size_t run_end = std::min(text.find_first_not_of('\\', i), text.size());
      const std::size_t backslashes = run_end - i;
      i = run_end;
      if (i < text.size() && text[i] == '"') {
        token.append(backslashes / 2, '\\');
        if (backslashes % 2 != 0) {
          token += '"';
        } else {
          quoted = !quoted;
        }
        ++i;
        continue;
      }
      token.append(backslashes, '\\');
      const std::size_t plain = i;
      while (i < text.size() && text[i] != '"' && text[i] != '\\' && (quoted || !is_blank(text[i]))) ++i;
      token += text.substr(plain, i - plain);
    }
    // After the last token an empty pair of quotes counts for nothing; elsewhere it is an empty token.
    if (i < text.size() || quoted || !token.empty()) tokens.push_back(std::move(token));
  }
}

}  // namespace command
