// The chooser of a lookup table: those of the composition, those of the LUTs folders, or a file; and what else can be
// done with tables. While its list is open, the picture shows what the pointer is on.
#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "composition/opening/natural_order.h"
#include "img/lookup/peek.h"
#include "platform/folders.h"
#include "ui/panel/cells.h"
#include "ui/widgets/chooser.h"

namespace ui::panel {
namespace {

constexpr const char* field_name = "lookup_table";

struct table_entry {
  std::string name;  // of the table, which the field takes too
  img::lookup_kind kind = img::lookup_kind::none;
};

std::string shown_name(const table_entry& entry) {
  return entry.name + (entry.kind == img::lookup_kind::cube ? ", 3D" : ", 1D");
}

// At the end of the list, by the names of their actions, whose texts they bear.
constexpr const char* list_actions[] = {"import_lookup_table", "export_lookup_table", "delete_unused_lookup_tables"};

class lookup_chooser : public ui_basic_chooser {
 public:
  lookup_chooser(const binding& bound, widget_box box)
      : ui_basic_chooser(bound.bench.host, box), bound_(bound), field_(bound.field(field_name)) {}

  void mouse_up(mouse_button button, math::point point, bool double_click) override {
    list_tables();
    ui_basic_chooser::mouse_up(button, point, double_click);
  }
  void wheel(int axis, int steps, math::point point) override {
    if (axis == 0 && is_enabled()) list_tables();
    ui_basic_chooser::wheel(axis, steps, point);
  }
  std::string get_tool_tip(math::point) override {
    return bound_.bench.text("pp_lookup_chooser.hint") + "\n" + bound_.bench.text("pp_lookup_chooser.hint2");
  }

 protected:
  // None, the tables, and the actions.
  std::vector<std::string> texts() const override {
    std::vector<std::string> texts{bound_.bench.text("pp_lookup_chooser.none")};
    for (const table_entry& table : tables_) texts.push_back(shown_name(table));
    for (const char* action : list_actions) texts.push_back(bound_.bench.text(action));
    return texts;
  }
  int current_index() const override {
    const std::optional<std::string> now = current();
    if (!now) return -1;
    if (*now == "none") return 0;
    for (std::size_t i = 0; i < tables_.size(); ++i) {
      if (tables_[i].name == *now) return static_cast<int>(i) + 1;
    }
    return -1;
  }
  int actions() const override { return static_cast<int>(std::size(list_actions)); }
  bool is_enabled() const override { return field_.has_record(); }
  std::string shown_text() const override {
    const std::optional<std::string> now = current();
    if (!now) return no_value;
    if (*now == "none") return bound_.bench.text("pp_lookup_chooser.none");
    const auto& map = bound_.bench.composition.doc.lookup_table_map;
    const auto found = map.find(*now);
    const bool cube = found != map.end() && found->second.has_cube();
    return shown_name({*now, cube ? img::lookup_kind::cube : img::lookup_kind::curves});
  }

  void point_at(int index) override {
    if (!bound_.changes.in_gesture()) bound_.changes.begin();
    bound_.changes.take_back();
    if (!action_at(index)) store(index);
  }
  void leave_list() override {
    bound_.changes.end(field_name, false);
    take_tables_back({});
  }
  void select(int index) override {
    if (const char* action = action_at(index)) {
      leave_list();
      bound_.bench.run(action);
      return;
    }
    bound_.changes.take_back();
    store(index);
    bound_.changes.end(field_name, true);
    take_tables_back(name_of(index));
  }

 private:
  const binding& bound_;
  command::field_view field_;
  std::vector<table_entry> tables_;  // as of the last time that the list opened
  // Tables that the composition reads as they are shown, by name, as it had them before.
  std::map<std::string, std::optional<img::lookup_table>> before_;

  // Null for none and the tables.
  const char* action_at(int index) const {
    const std::size_t first = tables_.size() + 1;
    return static_cast<std::size_t>(index) < first ? nullptr : list_actions[static_cast<std::size_t>(index) - first];
  }

  std::optional<std::string> current() const {
    const std::optional<command::field_value> value = field_.value();
    return value ? std::optional(value->text) : std::nullopt;
  }

  std::string name_of(int index) const {
    return index == 0 ? "none" : tables_[static_cast<std::size_t>(index - 1)].name;
  }

  void store(int index) {
    const std::string name = name_of(index);
    const auto& map = bound_.bench.composition.doc.lookup_table_map;
    const auto own = map.find(name);
    before_.try_emplace(name, own == map.end() ? std::nullopt : std::optional(own->second));
    bound_.changes.make(field_name, [&] {
      command::field_value value;
      value.text = name;
      field_.set_value(value);
    });
  }

  // The composition keeps the table that was chosen; of the others it has what it had.
  void take_tables_back(const std::string& chosen) {
    auto& map = bound_.bench.composition.doc.lookup_table_map;
    for (auto& [name, table] : std::exchange(before_, {})) {
      if (name == chosen) continue;
      if (table) {
        map[name] = std::move(*table);
      } else {
        map.erase(name);
      }
    }
  }

  // The composition's own come first in the order of names, and hide files of the same name.
  void list_tables() {
    tables_.clear();
    const auto& map = bound_.bench.composition.doc.lookup_table_map;
    for (const auto& [name, table] : map) {
      tables_.push_back({name, table.has_cube() ? img::lookup_kind::cube : img::lookup_kind::curves});
    }
    const std::size_t own = tables_.size();
    std::set<std::string> met;
    for (const std::string& folder : platform::lookup_folders()) {
      std::error_code failed;
      for (std::filesystem::directory_iterator file(folder, failed), end; !failed && file != end;
           file.increment(failed)) {
        const std::string name = file->path().filename().string();
        if (map.contains(name) || !met.insert(name).second) continue;
        const img::lookup_kind kind = img::peek_lookup(file->path().string());
        if (kind != img::lookup_kind::none) tables_.push_back({name, kind});
      }
    }
    std::sort(tables_.begin() + static_cast<std::ptrdiff_t>(own), tables_.end(),
              [](const table_entry& a, const table_entry& b) { return ksn::natural_less(a.name, b.name); });
  }
};

}  // namespace

std::shared_ptr<ui_object> make_lookup_chooser(const binding& bound, const widget_box& box) {
  return std::make_shared<lookup_chooser>(bound, box);
}

}  // namespace ui::panel
