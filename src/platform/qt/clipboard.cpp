#include "platform/qt/clipboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QImage>
#include <QMimeData>
#include <cstring>

namespace platform {

std::string clipboard_text() {
  return QGuiApplication::clipboard()->text().toStdString();
}

void set_clipboard_text(const std::string& text) {
  QGuiApplication::clipboard()->setText(QString::fromStdString(text));
}

bool has_clipboard_picture() {
  const QMimeData* data = QGuiApplication::clipboard()->mimeData();
  return data && data->hasImage();
}

bool clipboard_picture(std::vector<std::uint8_t>& pixels, int& width, int& height) {
  const QImage image = QGuiApplication::clipboard()->image().convertToFormat(QImage::Format_ARGB32);
  if (image.isNull()) return false;
  width = image.width();
  height = image.height();
  pixels.resize(static_cast<std::size_t>(width) * height * 4);
  for (int y = 0; y < height; ++y)
    std::memcpy(pixels.data() + static_cast<std::size_t>(y) * width * 4, image.constScanLine(y),
                static_cast<std::size_t>(width) * 4);
  return true;
}

void set_clipboard_picture(const std::uint8_t* pixels, int width, int height) {
  QGuiApplication::clipboard()->setImage(QImage(pixels, width, height, width * 4, QImage::Format_ARGB32).copy());
}

}  // namespace platform
