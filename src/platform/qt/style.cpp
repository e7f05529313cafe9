#include "platform/qt/style.h"

#include <QApplication>
#include <QIcon>
#include <QPalette>
#include <QProxyStyle>
#include <QToolTip>
#include <cstdlib>
#include <string>
#include <utility>

#include "lib/palette.h"
#include "platform/folders.h"

namespace platform {
namespace {

namespace palette = lib::palette;

QColor qt(lib::color color) {
  return {color.r, color.g, color.b, color.a};
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
    // The light edge under disabled text belongs to light menus.
    if (hint == SH_EtchDisabledText) return 0;
    return QProxyStyle::styleHint(hint, option, widget, data);
  }
};

QPalette dark_palette() {
  QPalette colors;
  const std::pair<QPalette::ColorRole, lib::color> roles[] = {
      {QPalette::Window, palette::menu},
      {QPalette::WindowText, palette::value},
      {QPalette::Base, palette::field},
      {QPalette::AlternateBase, palette::gray(35)},
      {QPalette::Text, palette::value},
      {QPalette::PlaceholderText, palette::faint},
      {QPalette::Button, palette::gray(52)},
      {QPalette::ButtonText, palette::value},
      {QPalette::BrightText, palette::live},
      {QPalette::ToolTipBase, palette::gray(16)},
      {QPalette::ToolTipText, palette::value},
      {QPalette::Highlight, palette::selected},
      {QPalette::HighlightedText, palette::gray(255)},
      {QPalette::Link, palette::selected},
      {QPalette::LinkVisited, palette::selected},
      {QPalette::Light, palette::gray(66)},
      {QPalette::Midlight, palette::rule_light},
      {QPalette::Mid, palette::gray(34)},
      {QPalette::Dark, palette::row_rule},
      {QPalette::Shadow, palette::rule_dark},
  };
  for (const auto& [role, color] : roles) colors.setColor(role, qt(color));
  for (const QPalette::ColorRole role :
       {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::HighlightedText}) {
    colors.setColor(QPalette::Disabled, role, qt(palette::faint));
  }
  colors.setColor(QPalette::Disabled, QPalette::Highlight, qt(palette::hover));
  return colors;
}

QIcon window_icon() {
  QIcon icon;
  std::string folder;
  if (!get_folder(folder_kind::executable, false, folder)) return icon;
  for (const int size : {16, 24, 32, 48, 64, 128, 256}) {
    const QString sides = QString("%1x%1").arg(size);
    icon.addFile(QString::fromStdString(folder) + "/icons/hicolor/" + sides + "/apps/kestrin.png", QSize(size, size));
  }
  return icon;
}

}  // namespace

void wear_program_style(QApplication& application) {
  application.setWindowIcon(QIcon::fromTheme("kestrin", window_icon()));
  const char* own = std::getenv("QT_STYLE_OVERRIDE");
  if (own && *own) {
    QApplication::setStyle(new program_style);
    return;
  }
  QApplication::setStyle(new program_style("Fusion"));
  QPalette colors = dark_palette();
  application.setPalette(colors);
  QToolTip::setPalette(colors);
  // A menu's entry under the pointer is not selected yet.
  colors.setColor(QPalette::Highlight, qt(palette::hover));
  colors.setColor(QPalette::HighlightedText, qt(palette::value));
  application.setPalette(colors, "QMenu");
  application.setPalette(colors, "QMenuBar");
}

}  // namespace platform
