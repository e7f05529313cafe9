#include "ui/panel/edits.h"

#include <string_view>
#include <utility>

namespace ui::panel {
namespace {

// The modes have steps of their own, which their actions make too.
constexpr std::pair<std::string_view, const char*> modes[] = {
    {"blend", "blend_mode_change"}, {"alpha", "alpha_mode_change"}, {"depth", "depth_mode_change"}};

bool is_mode(const char* name) {
  for (const auto& mode : modes) {
    if (name == mode.second) return true;
  }
  return false;
}

}  // namespace

const char* undo_name_of(const char* field) {
  const std::string_view name = field;
  if (name.starts_with("global:")) return "";
  for (const auto& mode : modes) {
    if (name == mode.first) return mode.second;
  }
  return field;
}

void edits::begin() {
  before_.emplace(bench_.composition);
}

void edits::end(const char* field, bool kept) {
  if (!before_) return;
  const ksn::undo_capture before = *std::exchange(before_, std::nullopt);
  if (kept) {
    remember(before, field);
  } else {
    before.take_back(bench_.composition);
  }
}

void edits::take_back() {
  if (before_) before_->take_back(bench_.composition);
}

void edits::make(const char* field, const std::function<void()>& change) {
  if (before_) {
    change();
  } else {
    const ksn::undo_capture before(bench_.composition);
    change();
    remember(before, field);
  }
  bench_.composition.touch();
  bench_.input.ask_redraw();
}

void edits::remember(const ksn::undo_capture& before, const char* field) {
  const char* name = undo_name_of(field);
  if (!*name) return;
  // A step of a mode fits as long as one layer still has it; any other whatever is selected.
  const ksn::undo_rule rule = is_mode(name) ? ksn::undo_rule::any_left : ksn::undo_rule::as_left;
  before.remember(bench_.composition, {name}, rule, false);
}

}  // namespace ui::panel
