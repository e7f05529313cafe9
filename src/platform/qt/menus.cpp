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

}  // namespace

void fill_menu(QMenu& menu, const std::vector<menu_entry>& entries,
               const std::function<void(const menu_entry& entry)>& chosen) {
  for (const menu_entry& entry : entries) {
    if (entry.is_separator()) {
      menu.addSeparator();
      continue;
    }
    if (!entry.entries.empty()) {
      QMenu* sub = menu.addMenu(label(entry.text));
      sub->setEnabled(entry.enabled);
      fill_menu(*sub, entry.entries, chosen);
      continue;
    }
    QAction* action = menu.addAction(label(entry.text, entry.key_text));
    action->setEnabled(entry.enabled);
    action->setCheckable(entry.checkable);
    action->setChecked(entry.checked);
    QObject::connect(action, &QAction::triggered, [chosen, entry] { chosen(entry); });
    if (entry.reached) QObject::connect(action, &QAction::hovered, entry.reached);
  }
}

int run_menu(const std::vector<menu_entry>& entries, const QPoint& at) {
  QMenu menu;
  int id = -1;
  fill_menu(menu, entries, [&](const menu_entry& entry) { id = entry.id; });
  menu.exec(at);
  return id;
}

}  // namespace platform
