// Fields that are set to something else, whatever they are.
#pragma once

#include <string>
#include <vector>

#include "command/engine.h"

namespace support {

// Texts that fit a shape, the plainest first.
inline std::vector<std::string> values_of(const command::value_shape& shape) {
  std::vector<std::string> found;
  switch (shape.kind) {
    case command::value_kind::boolean:
      return {"0", "1"};
    case command::value_kind::word:
      for (const ksn::enum_word& entry : shape.words) found.emplace_back(entry.word);
      return found;
    case command::value_kind::color:
      return {"12,14,16"};
    case command::value_kind::text:
      return {"Z", "main", "other \xC3\xA9 <&>", "'b'", "warm.lut", "1,2,3", "2", "3"};
    default:
      for (const char* number : {"12", "3", "1", "0", "0.5"}) {
        found.emplace_back(number);
        for (int i = 1; i < shape.count; ++i) found.back() += i % 2 ? ",14" : std::string(",") + number;
      }
      return found;
  }
}

// Sets the field to something else than it is; false when nothing will do. `errors` is where the engine's lines go.
inline bool change(command::engine& engine, std::vector<std::string>& errors, const std::string& name,
                   const command::value_shape& shape) {
  const auto read = [&] {
    std::string value;
    return engine.get_field(name, value) ? value : "(no field)";
  };
  const std::string before = read();
  for (const std::string& value : values_of(shape)) {
    errors.clear();
    engine.command_pass({"kestrin", "--" + name + "=" + value});
    if (errors.empty() && read() != before) return true;
  }
  return false;
}

}  // namespace support
