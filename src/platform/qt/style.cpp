#include "platform/qt/style.h"

#include <QApplication>
#include <QPalette>
#include <QProxyStyle>
#include <cstdlib>

namespace platform {
namespace {

QColor gray(int level) {
  return {level, level, level};
}

// Alt alone, and with a key, belongs to the key definitions and not to the menu bar. A menu that is higher than the
// screen scrolls in place of running into a second column.
class program_style : public QProxyStyle {
 public:
  using QProxyStyle::QProxyStyle;
  int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                QStyleHintReturn* data) const override {
    if (hint == SH_MenuBar_AltKeyNavigation) return 0;
    if (hint == SH_Menu_Scrollable) return 1;
    return QProxyStyle::styleHint(hint, option, widget, data);
  }
};

QPalette dark_palette() {
  const QColor selected(75, 141, 190);
  QPalette palette;
  palette.setColor(QPalette::Window, gray(44));
  palette.setColor(QPalette::WindowText, gray(208));
  palette.setColor(QPalette::Base, gray(31));
  palette.setColor(QPalette::AlternateBase, gray(38));
  palette.setColor(QPalette::Text, gray(226));
  palette.setColor(QPalette::Button, gray(52));
  palette.setColor(QPalette::ButtonText, gray(208));
  palette.setColor(QPalette::BrightText, Qt::white);
  palette.setColor(QPalette::Light, gray(70));
  palette.setColor(QPalette::Midlight, gray(60));
  palette.setColor(QPalette::Mid, gray(36));
  palette.setColor(QPalette::Dark, gray(24));
  palette.setColor(QPalette::Shadow, gray(16));
  palette.setColor(QPalette::Highlight, QColor(49, 92, 124));
  palette.setColor(QPalette::HighlightedText, gray(240));
  palette.setColor(QPalette::Link, selected);
  palette.setColor(QPalette::LinkVisited, selected);
  palette.setColor(QPalette::ToolTipBase, gray(16));
  palette.setColor(QPalette::ToolTipText, gray(226));
  palette.setColor(QPalette::PlaceholderText, gray(110));
  for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
    palette.setColor(QPalette::Disabled, role, gray(110));
  }
  palette.setColor(QPalette::Disabled, QPalette::Highlight, gray(52));
  palette.setColor(QPalette::Disabled, QPalette::HighlightedText, gray(110));
  return palette;
}

}  // namespace

void wear_program_style(QApplication& application) {
  const char* own = std::getenv("QT_STYLE_OVERRIDE");
  if (own && *own) {
    QApplication::setStyle(new program_style);
    return;
  }
  QApplication::setStyle(new program_style("Fusion"));
  application.setPalette(dark_palette());
}

}  // namespace platform
