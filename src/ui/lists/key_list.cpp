#include <algorithm>

#include "lib/paths.h"
#include "ui/lists/lists.h"

namespace ui {
namespace {

class key_list : public list_panel {
 public:
  using list_panel::list_panel;

 protected:
  std::string title() const override { return bench().text("show_keys"); }
  std::string note() const override { return bench().text("key_list_note"); }
  int left_width() const override { return 150; }
  bool is_searchable() const override { return true; }

  std::vector<list_row> rows(const std::string& search) const override {
    std::vector<list_row> result;
    for (const auto& [code, commands] : bench().keys.bindings()) {
      list_row row{command::key_text(code), {}, false};
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
    std::stable_sort(result.begin(), result.end(),
                     [](const list_row& a, const list_row& b) { return a.right < b.right; });
    return result;
  }
};

}  // namespace

std::shared_ptr<list_panel> make_key_list(workbench& bench) {
  return std::make_shared<key_list>(bench);
}

}  // namespace ui
