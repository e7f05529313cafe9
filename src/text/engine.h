// The engine that shapes and draws letters: Pango in the module `text`, a made-up one in tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "text/font.h"

namespace text {

struct font_metrics {
  int ascent = 0;  // pixels from the top of a line to its baseline
  int height = 0;  // pixels of a line, at least 1
};

// The ink of a line as coverage, 0 to 255.
struct mask {
  int left = 0;  // of the first column, from where the line begins; negative for ink that hangs over
  int top = 0;   // of the first row, from the top of the line
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> coverage;  // width * height, row by row
};

// Lines are valid UTF-8 without line feeds and zero bytes, and of bounded length; faces are names of families that
// nearest_face() gave. One thread at a time.
class engine {
 public:
  virtual ~engine() = default;
  // The installed family for a name: the same one when it is there, in any case of its letters, else what the system
  // takes for it. Empty when there is no font at all.
  virtual std::string nearest_face(const std::string& face) = 0;
  // The families that can be drawn with, by one of their names each.
  virtual std::vector<std::string> faces() = 0;
  virtual font_metrics metrics_of(const font& font) = 0;
  // Pixels from the start of a line to its end.
  virtual int width_of(const font& font, std::string_view line) = 0;
  // At most max_line_width by max_mask_height; what lies beyond is cut off.
  virtual mask draw(const font& font, std::string_view line) = 0;
  // Where the caret stands in front of the byte, in pixels from the start of the line, and the byte of the character
  // boundary that is nearest to such a place. In text from right to left places fall as bytes rise.
  virtual int caret_of(const font& font, std::string_view line, std::size_t byte) = 0;
  virtual std::size_t byte_at(const font& font, std::string_view line, int x) = 0;
};

// The function "kestrin_make_text_engine" of the module "text".
using make_engine_function = void (*)(std::unique_ptr<engine>& result);

}  // namespace text
