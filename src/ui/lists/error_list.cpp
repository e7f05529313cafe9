#include <algorithm>
#include <chrono>
#include <ctime>

#include "ui/lists/lists.h"
#include "ui/toolkit/palette.h"

namespace ui {
namespace {

using std::chrono::system_clock;

constexpr std::chrono::milliseconds lines_stay(6000);
constexpr std::size_t most_lines = 3;  // over the preview
// At scale 1.
constexpr int line_height = 20;
constexpr int from_edge = 12;
constexpr int from_bottom = 25;  // above the information bar
constexpr int widest = 560;
constexpr int dot = 6;

std::string time_of_day(system_clock::time_point time) {
  const std::time_t seconds = system_clock::to_time_t(time);
  std::tm parts{};
  localtime_r(&seconds, &parts);
  char text[16];
  std::strftime(text, sizeof text, "%H:%M:%S", &parts);
  return text;
}

class error_list : public list_panel {
 public:
  using list_panel::list_panel;

 protected:
  std::string title() const override { return bench().text("show_errors"); }
  std::string note() const override { return bench().text("error_list_note"); }
  int left_width() const override { return 70; }
  bool starts_at_end() const override { return true; }
  std::vector<list_row> rows(const std::string&) const override {
    std::vector<list_row> result;
    for (const lib::error_entry& entry : bench().errors.entries()) {
      result.push_back({time_of_day(entry.time), entry.text, false});
    }
    return result;
  }
  void row_clicked(const list_row& row) override { bench().host.set_clipboard_text(row.left + " " + row.right); }
  void copied() override {
    std::string text;
    for (const list_row& row : rows({})) text += row.left + " " + row.right + "\n";
    bench().host.set_clipboard_text(text);
  }
};

class messages : public ui_object, public mouse_handler {
 public:
  messages(workbench& bench, std::shared_ptr<list_panel> list) : bench_(bench), list_(std::move(list)) {}

  mouse_handler* hit_test(math::point point, const place& at) override {
    const int count = static_cast<int>(latest().size());
    return count > 0 && holds(area(at, count), point) ? this : nullptr;
  }
  press_result mouse_down(mouse_button, math::point, bool) override { return press_result::click; }
  void mouse_up(mouse_button button, math::point, bool) override {
    if (button == mouse_button::left) list_->open();
  }
  cursor_shape get_cursor(math::point) override { return cursor_shape::hand; }
  std::string get_tool_tip(math::point) override { return tip_text(bench_, "messages_hint", "show_errors"); }

  void draw(painter& on, const place& at) override {
    const std::vector<const lib::error_entry*> lines = latest();
    if (lines.empty()) return;
    const auto age = std::chrono::duration_cast<std::chrono::milliseconds>(system_clock::now() - lines.front()->time);
    bench_.input.ask_redraw({false, static_cast<int>((lines_stay - age).count()) + 1});
    const rectangle box = area(at, static_cast<int>(lines.size()));
    on.round_fill(box, on.px(palette::button_radius), palette::tip);
    int top = box.top + on.px(2);
    for (const lib::error_entry* line : lines) {
      const int middle = top + on.px(line_height) / 2;
      const int left = box.left + on.px(8);
      on.round_fill({left, middle - on.px(dot / 2), left + on.px(dot), middle + on.px(dot / 2)}, on.px(dot / 2),
                    palette::failed);
      on.line(line->text, "small", palette::value, {left, top, box.right - on.px(8), top + on.px(line_height)},
              painter::align::left, on.px(dot + 8));
      top += on.px(line_height);
    }
  }

 private:
  workbench& bench_;
  std::shared_ptr<list_panel> list_;

  // Oldest first.
  std::vector<const lib::error_entry*> latest() const {
    std::vector<const lib::error_entry*> result;
    const auto now = system_clock::now();
    const auto& entries = bench_.errors.entries();
    for (auto entry = entries.rbegin(); entry != entries.rend() && result.size() < most_lines; ++entry) {
      if (now - entry->time >= lines_stay) break;
      result.insert(result.begin(), &*entry);
    }
    return result;
  }
  // In pixels of the client area, whose corner the place counts from.
  rectangle area(const place& at, int count) const {
    const int s = at.scale;
    const int bottom = bench_.layout().split - from_bottom * s;
    const int right = std::min(from_edge * s + widest * s, at.size.x - from_edge * s);
    return {from_edge * s, bottom - (count * line_height + 4) * s, right, bottom};
  }
};

}  // namespace

std::shared_ptr<list_panel> make_error_list(workbench& bench) {
  return std::make_shared<error_list>(bench);
}

std::shared_ptr<ui_object> make_messages(workbench& bench, std::shared_ptr<list_panel> list) {
  return std::make_shared<messages>(bench, std::move(list));
}

}  // namespace ui
