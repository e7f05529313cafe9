#include "text/fonts.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <span>
#include <utility>

#include "platform/module.h"

namespace text {
namespace {

constexpr std::size_t longest_line = 16 << 10;  // bytes

std::unique_ptr<engine> engine_of_module(std::string& error) {
  void* function = platform::module_function("text", "kestrin_make_text_engine", error);
  std::unique_ptr<engine> result;
  if (function) reinterpret_cast<make_engine_function>(function)(result);
  return result;
}

bool same_letters(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c; };
  return std::ranges::equal(a, b, {}, lower, lower);
}

int held(int height) {
  return std::clamp(height, 1, max_font_height);
}

// Bytes of the valid character at the start of the text, 0 when there is none (RFC 3629).
std::size_t character_bytes(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned lead = byte(0);
  if (lead < 0x80) return 1;
  const std::size_t count = lead >= 0xC2 && lead < 0xE0   ? 2
                            : lead >= 0xE0 && lead < 0xF0 ? 3
                            : lead >= 0xF0 && lead < 0xF5 ? 4
                                                          : 0;
  if (count == 0 || text.size() < count) return 0;
  for (std::size_t i = 1; i < count; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  // Forms that are longer than they need to be, surrogates, and what lies beyond U+10FFFF.
  const unsigned second = byte(1);
  if (lead == 0xE0 && second < 0xA0) return 0;
  if (lead == 0xED && second >= 0xA0) return 0;
  if (lead == 0xF0 && second < 0x90) return 0;
  if (lead == 0xF4 && second >= 0x90) return 0;
  return count;
}

// Without the empty rows above and below the ink, which are a good part of a line of small letters.
mask without_empty_rows(mask ink) {
  const auto width = static_cast<std::size_t>(ink.width);
  const auto row = [&](int y) { return ink.coverage.begin() + static_cast<std::ptrdiff_t>(width * y); };
  const auto is_empty = [&](int y) { return std::all_of(row(y), row(y + 1), [](auto c) { return c == 0; }); };
  int first = 0;
  int last = ink.height;
  while (first < last && is_empty(first)) ++first;
  while (last > first && is_empty(last - 1)) --last;
  ink.coverage = {row(first), row(last)};
  ink.top += first;
  ink.height = last - first;
  return ink;
}

}  // namespace

std::string clean_utf8(std::string_view text, std::size_t max_bytes) {
  std::string clean;
  clean.reserve(std::min(text.size(), max_bytes));
  while (!text.empty()) {
    const std::size_t count = character_bytes(text);
    const bool control = count == 1 && (static_cast<unsigned char>(text[0]) < 0x20 || text[0] == 0x7F);
    const std::string_view piece = control ? " " : count ? text.substr(0, count) : "\xEF\xBF\xBD";
    if (clean.size() + piece.size() > max_bytes) break;
    clean += piece;
    text.remove_prefix(std::max<std::size_t>(count, 1));
  }
  return clean;
}

std::size_t fonts::kept_line::bytes() const {
  constexpr std::size_t bookkeeping = 160;  // of the list, the index and the mask
  return bookkeeping + key.size() + (ink ? ink->coverage.size() : 0);
}

fonts::fonts(std::function<void(const std::string&)> report, engine_maker maker)
    : report_(std::move(report)), maker_(maker ? std::move(maker) : engine_maker(engine_of_module)) {}

fonts::~fonts() = default;

void fonts::load_engine() {
  if (std::exchange(tried_, true)) return;
  failure_ = "no fonts";
  engine_ = maker_(failure_);
}

bool fonts::have_engine() {
  load_engine();
  if (engine_) return true;
  const std::string failure = std::exchange(failure_, {});
  if (!failure.empty() && report_) report_("Text can't be drawn: " + failure);
  return false;
}

void fonts::prepare() {
  const std::span<const font> all = interface_fonts(1);
  for (font opened : std::set<font>(all.begin(), all.end())) {
    // Who needs a text meanwhile waits for one font and not for all.
    const std::lock_guard guard(lock_);
    load_engine();
    if (!engine_) return;
    opened.face = engine_->nearest_face(opened.face);
    engine_->metrics_of(opened);
  }
}

const std::string& fonts::family(const std::string& face) {
  if (const auto found = faces_.find(face); found != faces_.end()) return found->second;
  std::string nearest = engine_->nearest_face(face);
  const std::string_view instead = stand_in(face);
  if (!same_letters(nearest, face) && instead != face) nearest = engine_->nearest_face(std::string(instead));
  if (report_ && nearest.empty()) {
    report_("There is no font for \"" + face + "\"");
  } else if (report_ && !same_letters(nearest, face) && !same_letters(nearest, instead)) {
    report_("The font \"" + face + "\" is not installed, \"" + nearest + "\" is taken");
  }
  return faces_.emplace(face, std::move(nearest)).first->second;
}

font fonts::actual(const font& wanted) {
  return {family(wanted.face), held(wanted.height), wanted.bold, wanted.italic};
}

std::vector<std::string> fonts::faces() {
  const std::lock_guard guard(lock_);
  if (!have_engine()) return {};
  std::vector<std::string> names = engine_->faces();
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
  return names;
}

std::string fonts::face_of(const std::string& face) {
  const std::lock_guard guard(lock_);
  return have_engine() ? family(face) : std::string();
}

font_metrics fonts::metrics_of(const font& font) {
  const std::lock_guard guard(lock_);
  if (!have_engine()) return {held(font.height), held(font.height)};
  return known(font).metrics;
}

const fonts::known_font& fonts::known(const font& font) {
  if (last_ && last_->first == font) return last_->second;
  auto found = known_.find(font);
  if (found == known_.end()) {
    // A text that grows from frame to frame brings ever new fonts.
    last_ = nullptr;
    if (known_.size() >= 256) known_.clear();
    font_metrics metrics = engine_->metrics_of(actual(font));
    metrics.height = std::max(metrics.height, 1);
    found = known_.emplace(font, known_font{++fonts_, metrics}).first;
  }
  last_ = &*found;
  return found->second;
}

bool fonts::kept_line::is(std::uint64_t font, std::string_view line) const {
  return key.size() == sizeof font + line.size() && std::memcmp(key.data(), &font, sizeof font) == 0 &&
         std::string_view(key).substr(sizeof font) == line;
}

fonts::kept_line& fonts::line_of(const font& font, std::string_view line) {
  line = line.substr(0, longest_line);
  const known_font& wanted = known(font);
  // What was just measured is drawn next.
  if (!lines_.empty() && lines_.front().is(wanted.number, line)) return lines_.front();
  key_.assign(reinterpret_cast<const char*>(&wanted.number), sizeof wanted.number).append(line);
  if (const auto found = index_.find(key_); found != index_.end()) {
    lines_.splice(lines_.begin(), lines_, found->second);
    return lines_.front();
  }
  kept_line made;
  made.key = key_;
  made.size.height = wanted.metrics.height;
  made.size.width = line.empty() ? 0 : engine_->width_of(actual(font), clean_utf8(line, longest_line));
  lines_.push_front(std::move(made));
  index_.emplace(lines_.front().key, lines_.begin());
  bytes_ += lines_.front().bytes();
  return lines_.front();
}

const std::shared_ptr<const mask>& fonts::ink_of(const font& font, std::string_view line, kept_line& kept) {
  if (!kept.drawn) {
    mask ink = without_empty_rows(engine_->draw(actual(font), clean_utf8(line.substr(0, longest_line), longest_line)));
    bytes_ -= kept.bytes();
    kept.drawn = true;
    if (!ink.coverage.empty()) kept.ink = std::make_shared<const mask>(std::move(ink));
    bytes_ += kept.bytes();
  }
  return kept.ink;
}

void fonts::drop_old() {
  while (bytes_ > limit_ && !lines_.empty()) {
    bytes_ -= lines_.back().bytes();
    index_.erase(lines_.back().key);
    lines_.pop_back();
  }
}

int fonts::width_of(const font& font, std::string_view line) {
  const std::lock_guard guard(lock_);
  if (!have_engine()) return 0;
  const int width = line_of(font, line).size.width;
  drop_old();
  return width;
}

extent fonts::extent_of(const font& font, std::string_view line) {
  const std::lock_guard guard(lock_);
  if (!have_engine()) return {0, held(font.height)};
  const extent result = line_of(font, line).size;
  drop_old();
  return result;
}

std::shared_ptr<const mask> fonts::mask_of(const font& font, std::string_view line) {
  const std::lock_guard guard(lock_);
  if (!have_engine()) return nullptr;
  std::shared_ptr<const mask> result = ink_of(font, line, line_of(font, line));
  drop_old();
  return result;
}

drawn_line fonts::drawn(const font& font, std::string_view line, int widest) {
  const std::lock_guard guard(lock_);
  if (!have_engine()) return {{0, held(font.height)}, nullptr};
  kept_line& kept = line_of(font, line);
  drawn_line result{kept.size, nullptr};
  if (kept.size.width <= widest) result.ink = ink_of(font, line, kept);
  drop_old();
  return result;
}

int fonts::caret_of(const font& font, std::string_view line, std::size_t byte) {
  const std::lock_guard guard(lock_);
  line = line.substr(0, longest_line);
  return have_engine() ? engine_->caret_of(actual(font), clean_utf8(line, longest_line), byte) : 0;
}

std::size_t fonts::byte_at(const font& font, std::string_view line, int x) {
  const std::lock_guard guard(lock_);
  line = line.substr(0, longest_line);
  return have_engine() ? engine_->byte_at(actual(font), clean_utf8(line, longest_line), x) : 0;
}

void fonts::limit_bytes(std::size_t bytes) {
  const std::lock_guard guard(lock_);
  limit_ = bytes;
  drop_old();
}

std::size_t fonts::kept_bytes() {
  const std::lock_guard guard(lock_);
  return bytes_;
}

}  // namespace text
