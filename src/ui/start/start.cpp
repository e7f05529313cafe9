#include "ui/start/start.h"

#include <algorithm>
#include <chrono>

#include "lib/paths.h"
#include "ui/toolkit/null_handlers.h"
#include "ui/toolkit/painter.h"
#include "ui/toolkit/palette.h"

namespace ui {
namespace {

// Of the layout, at scale 1, from the middle of the preview.
constexpr int logo_size = 64;
constexpr int width = 440;
constexpr int cap_width = 96;
constexpr int cap_gap = 14;
constexpr int line_height = 26;
constexpr int title_height = 54;  // of name and version
constexpr int cap_height = 20;
constexpr int recent_height = 24;
constexpr int most_recent = 6;
constexpr std::chrono::seconds lists_stay(2);  // another instance may change them
// The line of news lies around the middle of the preview.
constexpr int news_half_width = 160;
constexpr int news_top = -4;
constexpr int news_bottom = 32;

class start : public ui_object, public mouse_handler {
 public:
  explicit start(workbench& bench) : bench_(bench) {}

  mouse_handler* hit_test(math::point point, const place& at) override {
    place_ = at;
    hovered_ = recent_at(point);
    return hovered_ >= 0 || on_news(point) ? this : nullptr;
  }
  press_result mouse_down(mouse_button, math::point, bool) override { return press_result::click; }
  void mouse_up(mouse_button button, math::point point, bool) override {
    if (button != mouse_button::left) return;
    const int index = recent_at(point);
    if (index >= 0) bench_.run("add_recent=" + std::to_string(index + 1));
    if (on_news(point)) bench_.run("open_news");
  }
  cursor_shape get_cursor(math::point) override { return cursor_shape::hand; }
  bool moved(math::point point) override { return recent_at(point) != drawn_hover_; }
  std::string get_tool_tip(math::point point) override {
    if (on_news(point)) return bench_.text("open_news");
    const int index = recent_at(point);
    return index < 0 ? std::string() : recent_[static_cast<std::size_t>(index)];
  }

  void draw(painter& on, const place& at) override {
    place_ = at;
    refresh_recent();
    news_ = bench_.news ? bench_.news() : std::string();
    const rectangle before = on.set_clip({0, 0, at.size.x, bench_.layout().split});
    on.fill(on.clip(), palette::ground);
    int y = top();
    const std::size_t blank = bench_.product_title.rfind(' ');
    const std::string name = bench_.product_title.substr(0, blank);
    const std::string version = blank == std::string::npos ? "" : bench_.product_title.substr(blank + 1);
    if (room() >= full_height()) {
      if (const img::image* logo = on.art_of("kestrin_logo_64")) {
        // Pictures know their canvas; the middle of it stands on the middle of the window.
        const math::point canvas = logo->user[1];
        const math::point anchor = logo->user[0];
        on.art("kestrin_logo_64", {at.origin.x - canvas.x / 2 + anchor.x, at.at(0, y).y + anchor.y});
      }
      y += logo_size + 14;
    }
    centred(on, y, 20, name, "about.bold", palette::value);
    centred(on, y + 20, 16, version, "small", palette::quiet);
    y += title_height;
    if (!news_.empty()) {
      on.line(news_, "small", on.is_hot(this) && hovered_ < 0 ? palette::value : palette::live, news_box(),
              painter::align::centre);
      y = news_bottom + 6;
    }
    tip(on, y, "start_drop_key", "start_drop", palette::live);
    tip(on, y + line_height, "", "start_add", palette::value, "add_layer");
    tip(on, y + 2 * line_height, "", "start_keys", palette::value, "show_keys");
    y += 3 * line_height + 18;
    drawn_hover_ = on.is_hot(this) ? hovered_ : -1;
    if (shown_recent() > 0) {
      on.line(bench_.text("start_recent"), "small", palette::quiet, box(y, 18), painter::align::left, on.px(8));
      y += 20;
      first_recent_ = y;
      for (int i = 0; i < shown_recent(); ++i) draw_recent(on, i);
    }
    on.set_clip(before);
  }

 private:
  workbench& bench_;
  place place_;
  std::vector<std::string> recent_;
  std::chrono::steady_clock::time_point read_at_{};
  int first_recent_ = 0;
  int hovered_ = -1;
  int drawn_hover_ = -1;
  std::string news_;  // as it was drawn last

  rectangle news_box() const {
    const math::point first = place_.at(-news_half_width, news_top);
    const math::point last = place_.at(news_half_width, news_bottom);
    return {first.x, first.y, last.x, last.y};
  }
  bool on_news(math::point point) const {
    return !news_.empty() && holds(news_box(), point) && bench_.engine.action_enabled("open_news");
  }
  int room() const { return bench_.layout().split / bench_.layout().scale; }
  static int plain_height() { return title_height + 3 * line_height + 18; }
  int full_height() const { return logo_size + 14 + plain_height() + 20; }
  // As many as there is room for below the rest.
  int shown_recent() const {
    const int below_news = room() / 2 - (news_bottom + 6) - 3 * line_height - 18;
    const int free = (news_.empty() ? room() - full_height() : below_news) - 20;
    return std::clamp(free / recent_height, 0, std::min(most_recent, static_cast<int>(recent_.size())));
  }
  int top() const {
    const int logo = room() >= full_height() ? logo_size + 14 : 0;
    if (!news_.empty()) return news_top - title_height - logo;
    const int recent = shown_recent() > 0 ? 20 + shown_recent() * recent_height : 0;
    return -(logo + plain_height() + recent) / 2;
  }
  rectangle box(int y, int height) const {
    const math::point first = place_.at(-width / 2, y);
    const math::point last = place_.at(width / 2, y + height);
    return {std::max(first.x, 0), first.y, std::min(last.x, place_.size.x), last.y};
  }
  int recent_at(math::point point) const {
    for (int i = 0; i < shown_recent(); ++i) {
      if (holds(box(first_recent_ + i * recent_height, recent_height), point)) return i;
    }
    return -1;
  }
  void refresh_recent() {
    const auto now = std::chrono::steady_clock::now();
    if (read_at_.time_since_epoch().count() != 0 && now - read_at_ < lists_stay) return;
    read_at_ = now;
    recent_ = bench_.recent_sources();
  }
  void centred(painter& on, int y, int height, const std::string& text, const char* font, lib::color color) {
    on.line(text, font, color, box(y, height), painter::align::centre);
  }
  // A line: what to press or to do on a plate, and what that does.
  void tip(painter& on, int y, const char* cap_key, const char* text, lib::color color, const char* action = nullptr) {
    const std::string cap = action ? bench_.keys.key_text_of_action(action) : bench_.text(cap_key);
    const rectangle line = box(y, cap_height);
    const rectangle plate{line.left + on.px(8), line.top, line.left + on.px(8 + cap_width), line.bottom};
    on.round_fill(plate, on.px(palette::button_radius), palette::gray(50));
    on.line(cap, "small", color, plate, painter::align::centre);
    on.line(bench_.text(text), "default", palette::text,
            {plate.right + on.px(cap_gap), line.top, line.right, line.bottom});
  }
  void draw_recent(painter& on, int index) {
    const std::string& path = recent_[static_cast<std::size_t>(index)];
    const rectangle row = box(first_recent_ + index * recent_height, recent_height);
    if (index == drawn_hover_) on.round_fill(row, on.px(palette::button_radius), palette::gray(50));
    const int half = (row.right - row.left) / 2;
    on.line(lib::file_name(path), "default", palette::value, {row.left, row.top, row.left + half, row.bottom},
            painter::align::left, on.px(8));
    on.line(lib::folder_of(path), "small", palette::text, {row.left + half, row.top, row.right, row.bottom},
            painter::align::right, on.px(8));
  }
};

}  // namespace

std::shared_ptr<ui_object> make_start(workbench& bench) {
  return std::make_shared<start>(bench);
}

}  // namespace ui
