// The chooser of a lookup table: those of the composition, those of the LUTs folders, or a file. While its list is
// open, the picture shows what the pointer is on.
#include <algorithm>
#include <filesystem>
#include <set>

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

class lookup_chooser : public ui_basic_chooser {
 public:
  lookup_chooser(const binding& bound, widget_box box)
      : ui_basic_chooser(bound.bench.host, box), bound_(bound), field_(bound.field(field_name)) {}

  void mouse_up(mouse_button button, math::point point, bool double_click) override {
    list_tables();
    ui_basic_chooser::mouse_up(button, point, double_click);
  }
  // The last entry asks for a file; the wheel ends in front of it.
  void wheel(int axis, int steps, math::point) override {
    if (axis != 0 || !is_enabled()) return;
    list_tables();
    const int wanted = std::clamp(current_index() - steps, 0, static_cast<int>(tables_.size()));
    if (wanted != current_index()) select(wanted);
  }
  std::string get_tool_tip(math::point) override {
    return bound_.bench.text("pp_lookup_chooser.hint") + "\n" + bound_.bench.text("pp_lookup_chooser.hint2");
  }

 protected:
  // None, the tables, and to choose a file.
  int item_count() const override { return static_cast<int>(tables_.size()) + 2; }
  int current_index() const override {
    const std::optional<std::string> now = current();
    if (!now) return -1;
    if (*now == "none") return 0;
    for (std::size_t i = 0; i < tables_.size(); ++i) {
      if (tables_[i].name == *now) return static_cast<int>(i) + 1;
    }
    return -1;
  }
  std::string item_text(int index) const override {
    if (index == 0) return bound_.bench.text("pp_lookup_chooser.none");
    if (is_file(index)) return bound_.bench.text("import_lookup_table");
    return shown_name(tables_[static_cast<std::size_t>(index - 1)]);
  }
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
    if (!is_file(index)) store(index);
  }
  void leave_list() override { bound_.changes.end(field_name, false); }
  void select(int index) override {
    if (is_file(index)) {
      bound_.changes.end(field_name, false);
      bound_.bench.run("import_lookup_table");
      return;
    }
    bound_.changes.take_back();
    store(index);
    bound_.changes.end(field_name, true);
  }

 private:
  const binding& bound_;
  command::field_view field_;
  std::vector<table_entry> tables_;  // as of the last time that the list opened

  bool is_file(int index) const { return index == item_count() - 1; }

  std::optional<std::string> current() const {
    const std::optional<command::field_value> value = field_.value();
    return value ? std::optional(value->text) : std::nullopt;
  }

  void store(int index) {
    const std::string name = index == 0 ? "none" : tables_[static_cast<std::size_t>(index - 1)].name;
    bound_.changes.make(field_name, [&] {
      command::field_value value;
      value.text = name;
      field_.set_value(value);
    });
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
