#include "platform/qt/menus.h"

#include <QMenu>
#include <QPoint>

namespace platform {
namespace {

// `&` would mark a letter as the entry's key; the key text stands after a tab.
QString label(const std::string& text, const std::string& key_text = {}) {
  const QString shown = QString::fromStdString(text).replace("&", "&&");
  return key_text.empty() ? shown : shown + '\t' + QString::fromStdString(key_text);
}

void add_entries(QMenu& menu, const std::vector<menu_entry>& entries) {
  for (const menu_entry& entry : entries) {
    if (entry.text.empty()) {
      menu.addSeparator();
      continue;
    }
    if (!entry.entries.empty()) {
      QMenu* sub = menu.addMenu(label(entry.text));
      sub->setEnabled(entry.enabled);
      add_entries(*sub, entry.entries);
      continue;
    }
    QAction* action = menu.addAction(label(entry.text, entry.key_text));
    action->setEnabled(entry.enabled);
    action->setCheckable(entry.checkable);
    action->setChecked(entry.checked);
    action->setData(entry.id);
  }
}

}  // namespace

void fill_menu(QMenu& menu, const std::vector<std::string>& entries,
               const std::function<menu_entry_state(const std::string& action)>& state_of,
               const std::function<void(const std::string& action, int item)>& chosen) {
  menu.clear();
  std::vector<QMenu*> open = {&menu};
  for (const std::string& entry : entries) {
    QMenu& into = *open.back();
    if (entry == "-") {
      into.addSeparator();
      continue;
    }
    if (entry[0] == '>') {
      open.push_back(into.addMenu(label(entry.substr(1))));
      continue;
    }
    if (entry == "<") {
      if (open.size() > 1) open.pop_back();
      continue;
    }
    const menu_entry_state state = state_of ? state_of(entry) : menu_entry_state{entry, "", true, false, false, {}};
    if (!state.items.empty()) {
      QMenu* sub = into.addMenu(label(state.text));
      for (std::size_t i = 0; i < state.items.size(); ++i) {
        QObject::connect(sub->addAction(label(state.items[i])), &QAction::triggered,
                         [chosen, entry, i] { chosen(entry, static_cast<int>(i)); });
      }
      continue;
    }
    QAction* action = into.addAction(label(state.text, state.key_text));
    action->setEnabled(state.enabled);
    action->setCheckable(state.checkable);
    action->setChecked(state.checked);
    QObject::connect(action, &QAction::triggered, [chosen, entry] { chosen(entry, -1); });
  }
}

int run_menu(const std::vector<menu_entry>& entries, const QPoint& at) {
  QMenu menu;
  add_entries(menu, entries);
  const QAction* chosen = menu.exec(at);
  return chosen ? chosen->data().toInt() : -1;
}

}  // namespace platform
