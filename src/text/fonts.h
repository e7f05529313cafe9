// The fonts of a process and the lines that were drawn with them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "text/engine.h"
#include "text/font.h"

namespace text {

// The size of a text in pixels.
struct extent {
  int width = 0;   // of the widest line
  int height = 0;  // of all lines, without gaps
};

// A line that is to be drawn.
struct drawn_line {
  extent size;
  std::shared_ptr<const mask> ink;  // null for a line without ink
};

// One per process. Making it touches no font: the engine comes with the first text. Any thread; one lock guards all of
// it, and masks are only read once they are given out.
//
// Lines are UTF-8. Bytes that are not become U+FFFD, and of a line only the first 16 KiB count, which no width shows.
class fonts {
 public:
  using engine_maker = std::function<std::unique_ptr<engine>(std::string& error)>;
  // `report` takes error lines; it may be empty. Without a maker the engine is the module's.
  explicit fonts(std::function<void(const std::string& line)> report = {}, engine_maker maker = {});
  ~fonts();
  fonts(const fonts&) = delete;
  fonts& operator=(const fonts&) = delete;

  // Loads the engine and opens the fonts of the interface, on a thread that has nothing else to do, so that the first
  // texts do not wait for them. Tells nothing: what fails is told by the first text.
  void prepare();

  // Without an engine, which is reported once, lines have their nominal height and no width.
  font_metrics metrics_of(const font& font);
  int width_of(const font& font, std::string_view line);
  // The width of a line and the height of its font.
  extent extent_of(const font& font, std::string_view line);
  // Null for a line without ink.
  std::shared_ptr<const mask> mask_of(const font& font, std::string_view line);
  // Both in one. A line wider than `widest` is measured and not drawn.
  drawn_line drawn(const font& font, std::string_view line, int widest);
  // The caret of an edited line, as engine::caret_of() and byte_at(), for valid UTF-8.
  int caret_of(const font& font, std::string_view line, std::size_t byte);
  std::size_t byte_at(const font& font, std::string_view line, int x);

  // The family that is drawn with. Another one than was asked for, unless it is its stand-in, is reported once.
  std::string face_of(const std::string& face);
  // The families that are installed, each once, in the order of their names.
  std::vector<std::string> faces();

  // Limits the bytes of the kept lines, oldest out first; 0 keeps none.
  void limit_bytes(std::size_t bytes);
  std::size_t kept_bytes();

 private:
  // A font that was asked for. Its number stands for it in the keys of lines and is never given again.
  struct known_font {
    std::uint64_t number = 0;
    font_metrics metrics;
  };
  // A line that was measured, and drawn if it was asked for.
  struct kept_line {
    std::string key;
    extent size;
    bool drawn = false;
    std::shared_ptr<const mask> ink;
    std::size_t bytes() const;
    bool is(std::uint64_t font, std::string_view line) const;
  };

  std::mutex lock_;
  std::function<void(const std::string&)> report_;
  engine_maker maker_;
  bool tried_ = false;
  std::string failure_;  // why there is no engine, until it is told
  std::unique_ptr<engine> engine_;
  std::map<std::string, std::string, std::less<>> faces_;  // the family for a name
  std::map<font, known_font> known_;
  const std::pair<const font, known_font>* last_ = nullptr;  // of them, the one that was asked for last
  std::uint64_t fonts_ = 0;                                  // that were ever known
  std::list<kept_line> lines_;                               // the last one used first
  std::unordered_map<std::string_view, std::list<kept_line>::iterator> index_;
  std::string key_;  // of the line at hand, to spare an allocation
  std::size_t bytes_ = 0;
  std::size_t limit_ = std::size_t{16} << 20;

  void load_engine();
  bool have_engine();
  const known_font& known(const font& font);
  const std::string& family(const std::string& face);
  font actual(const font& wanted);
  kept_line& line_of(const font& font, std::string_view line);
  const std::shared_ptr<const mask>& ink_of(const font& font, std::string_view line, kept_line& kept);
  void drop_old();
};

// The text with U+FFFD for every byte that is not part of valid UTF-8, a space for control characters, and nothing
// beyond `max_bytes`.
std::string clean_utf8(std::string_view text, std::size_t max_bytes);

}  // namespace text
