#include <algorithm>
#include <chrono>
#include <map>

#include "lib/paths.h"
#include "save/queue/queue.h"
#include "ui/lists/lists.h"
#include "ui/toolkit/palette.h"

namespace ui {
namespace {

using std::chrono::steady_clock;

// At scale 1.
constexpr int width = 330;
constexpr int row_height = 44;
constexpr int from_edge = 12;
constexpr int from_bottom = 25;  // above the information bar
constexpr int bar_height = 3;
constexpr int cross = 20;
constexpr std::size_t most_rows = 4;
constexpr std::chrono::milliseconds over_stays(6000);  // a save that went well

class save_list : public ui_object, public mouse_handler {
 public:
  explicit save_list(workbench& bench) : bench_(bench) {}

  mouse_handler* hit_test(math::point point, const place& at) override {
    place_ = at;
    const std::vector<save::queue_item> all = shown();
    return !all.empty() && holds(panel(all.size()), point) ? this : nullptr;
  }
  press_result mouse_down(mouse_button, math::point, bool) override { return press_result::click; }
  void mouse_up(mouse_button button, math::point point, bool) override {
    const int id = crossed_at(point);
    if (button == mouse_button::left && id > 0) bench_.run("save_queue_cancel=" + std::to_string(id));
  }
  cursor_shape get_cursor(math::point point) override {
    return crossed_at(point) > 0 ? cursor_shape::hand : cursor_shape::arrow;
  }
  bool moved(math::point point) override { return crossed_at(point) != drawn_hover_; }
  std::string get_tool_tip(math::point point) override {
    const std::vector<save::queue_item> all = shown();
    for (std::size_t i = 0; i < all.size(); ++i) {
      if (holds(cross_box(i, all.size()), point))
        return bench_.text(save::is_over(all[i].state) ? "save_list_remove" : "save_list_cancel");
      if (holds(row(i, all.size()), point)) return all[i].path;
    }
    return {};
  }

  void draw(painter& on, const place& at) override {
    place_ = at;
    const std::vector<save::queue_item> all = shown();
    if (all.empty()) return;
    drawn_hover_ = on.is_hot(this) ? crossed_at(bench_.input.pointer()) : -1;
    const rectangle box = panel(all.size());
    on.round_fill(box, on.px(palette::panel_radius), palette::panel);
    on.round_frame(box, on.px(palette::panel_radius), palette::gray(74));
    for (std::size_t i = 0; i < all.size(); ++i) draw_row(on, all[i], i, all.size());
  }

 private:
  workbench& bench_;
  place place_;
  int drawn_hover_ = -1;
  std::map<int, steady_clock::time_point> seen_over_;  // since when, by id

  // Those that are not over, before them those that failed until they are taken off, and for a while those that went
  // well. Of many the ones that run first.
  std::vector<save::queue_item> shown() {
    std::vector<save::queue_item> all;
    if (!bench_.saves) return all;
    const auto now = steady_clock::now();
    for (save::queue_item& item : bench_.saves->items()) {
      if (save::is_over(item.state) && item.state != save::queue_state::failed) {
        const auto gone = now - seen_over_.try_emplace(item.id, now).first->second;
        if (gone >= over_stays) continue;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(over_stays - gone);
        bench_.input.ask_redraw({false, static_cast<int>(left.count()) + 1});
      }
      all.push_back(std::move(item));
    }
    const auto waits = [](const save::queue_item& item) { return item.state == save::queue_state::waiting; };
    while (all.size() > most_rows && std::ranges::any_of(all, waits)) {
      if (waits(all.back())) {
        all.pop_back();
      } else {
        break;
      }
    }
    if (all.size() > most_rows) all.erase(all.begin(), all.end() - most_rows);
    return all;
  }
  // In pixels of the client area, whose corner the place counts from.
  rectangle panel(std::size_t rows) const {
    const int s = place_.scale;
    const int right = place_.size.x - from_edge * s;
    const int bottom = bench_.layout().split - from_bottom * s;
    return {std::max(right - width * s, from_edge * s), bottom - (static_cast<int>(rows) * row_height + 4) * s, right,
            bottom};
  }
  rectangle row(std::size_t index, std::size_t rows) const {
    const int s = place_.scale;
    const rectangle box = panel(rows);
    const int top = box.top + (2 + static_cast<int>(index) * row_height) * s;
    return {box.left + 10 * s, top, box.right - 6 * s, top + row_height * s};
  }
  rectangle cross_box(std::size_t index, std::size_t rows) const {
    const rectangle line = row(index, rows);
    return {line.right - cross * place_.scale, line.top, line.right, line.top + cross * place_.scale};
  }
  // The id of the save whose cross is there, -1 for none.
  int crossed_at(math::point point) {
    const std::vector<save::queue_item> all = shown();
    for (std::size_t i = 0; i < all.size(); ++i) {
      if (holds(cross_box(i, all.size()), point)) return all[i].id;
    }
    return -1;
  }

  std::string state_text(const save::queue_item& item) const {
    if (item.state == save::queue_state::running) return save::progress_text(item.done);
    const std::string frames = std::to_string(item.done.done) + "/" + std::to_string(item.done.total);
    return bench_.text(std::string("save_list_") + save::word_of(item.state)) + ", " + frames;
  }

  void draw_row(painter& on, const save::queue_item& item, std::size_t index, std::size_t rows) const {
    const rectangle line = row(index, rows);
    const rectangle off = cross_box(index, rows);
    const int first = line.top + on.px(20);
    const int second = first + on.px(16);
    on.line(lib::file_name(item.path), "small", palette::value, {line.left, line.top, off.left, first});
    on.line("\xC3\x97", "default", drawn_hover_ == item.id ? palette::value : palette::faint, off,
            painter::align::centre);
    const bool failed = item.state == save::queue_state::failed;
    on.line(state_text(item), "small", failed ? palette::failed : palette::text,
            {line.left, first, line.right, second});
    const rectangle bar{line.left, second + on.px(1), line.right, second + on.px(1 + bar_height)};
    on.fill(bar, palette::field);
    const int length =
        item.done.total > 0
            ? static_cast<int>(static_cast<long long>(bar.right - bar.left) * item.done.done / item.done.total)
            : 0;
    on.fill({bar.left, bar.top, bar.left + length, bar.bottom}, failed ? palette::failed
                                                                : item.state == save::queue_state::running
                                                                    ? palette::live
                                                                    : palette::selected);
  }
};

}  // namespace

std::shared_ptr<ui_object> make_save_list(workbench& bench) {
  return std::make_shared<save_list>(bench);
}

}  // namespace ui
