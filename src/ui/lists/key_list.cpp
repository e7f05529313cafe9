#include <algorithm>
#include <set>

#include "composition/editing/undo.h"
#include "lib/paths.h"
#include "ui/lists/lists.h"

namespace ui {
namespace {

// What the mouse does on the picture: the catalogue has `mouse.NAME` for the gesture and `mouse.NAME_does`.
constexpr const char* gestures[] = {"scrub", "flick", "pan",  "zoom",       "move", "scale",
                                    "text",  "pixel", "area", "brush_size", "erase"};

class key_list : public list_panel {
 public:
  using list_panel::list_panel;

 protected:
  std::string title() const override { return bench().text("show_keys"); }
  std::string note() const override { return bench().text("key_list_note"); }
  int left_width() const override { return 150; }
  bool is_searchable() const override { return true; }
  bool has_choice() const override { return true; }

  void row_clicked(const list_row& row) override {
    if (row.commands.empty()) return;
    bench().input.drop_focus(this);
    const bool typed_field = row.left.empty() && sets_field(row.right);
    // What is typed may name any layer. Actions make steps of undo of their own.
    std::set<int> all;
    for (const ksn::track_info& track : bench().composition.doc.tracks) all.insert(track.id);
    const ksn::undo_capture before(bench().composition, all);
    for (const std::string& command : row.commands) bench().run(command);
    if (typed_field) before.remember(bench().composition, {"typed_field"}, ksn::undo_rule::as_left, false);
  }

  std::vector<list_row> rows(const std::string& search) const override {
    std::vector<list_row> result;
    for (const auto& [code, commands] : bench().keys.bindings()) {
      list_row row{command::key_text(code), {}, false, commands};
      std::string plain;
      for (const std::string& command : commands) {
        const std::string text = bench().text(command);
        row.right += (row.right.empty() ? "" : ", ") + text;
        plain += command + " ";
        // Who forgot a key remembers what it does, and not what it is called.
        if (const command::action* action = bench().engine.find_action(command)) plain += action->help + " ";
      }
      if (row.right.empty() || row.left.empty()) continue;
      const std::string all = lib::to_lower(row.left + " " + row.right + " " + plain);
      if (all.find(search) != std::string::npos) result.push_back(std::move(row));
    }
    for (const std::string gesture : gestures) {
      list_row row{bench().text("mouse." + gesture), bench().text("mouse." + gesture + "_does")};
      if (lib::to_lower(row.left + " " + row.right + " mouse").find(search) != std::string::npos)
        result.push_back(std::move(row));
    }
    std::stable_sort(result.begin(), result.end(),
                     [](const list_row& a, const list_row& b) { return a.right < b.right; });
    if (!search.empty()) add_without_key(search, result);
    if (sets_field(typed())) result.push_back({{}, typed(), false, {typed()}});
    return result;
  }

 private:
  // "opacity=50", "2:opacity=50"
  bool sets_field(const std::string& text) const {
    const std::size_t equals = text.find('=');
    if (equals == text.npos) return false;
    const std::string left = text.substr(0, equals);
    const std::string name = left.substr(left.rfind(':') + 1);
    return bench().engine.find_layer_field(name) || bench().engine.find_global_field(name);
  }

  // What can be done and no key does.
  void add_without_key(const std::string& search, std::vector<list_row>& rows) const {
    for (const auto& [name, action] : bench().engine.action_table) {
      using enum command::action_group;
      const bool is_for_users = action.group != internal && action.group != menu_choice && action.group != other;
      if (!is_for_users || !action.plain() || !bench().keys.key_text_of_action(name).empty()) continue;
      const std::string text = bench().text(name);
      if (lib::to_lower(text + " " + name + " " + action.help).find(search) == std::string::npos) continue;
      rows.push_back({{}, text, false, {name}});
    }
  }
};

}  // namespace

std::shared_ptr<list_panel> make_key_list(workbench& bench) {
  return std::make_shared<key_list>(bench);
}

}  // namespace ui
