#include "platform/qt/dialogs.h"

#include <QApplication>
#include <QFile>
#include <QFileDialog>
#include <QMessageBox>
#include <QProgressDialog>
#include <algorithm>

namespace platform {
namespace {

constexpr int progress_patience = 500;  // milliseconds of work that shows no dialog

}  // namespace

std::vector<std::string> ask_files(QWidget* over, const file_dialog& dialog) {
  const QString title = QString::fromStdString(dialog.title);
  const QString filter = QString::fromStdString(dialog.filter);
  const QString start =
      QString::fromStdString(dialog.folder.empty() ? dialog.file_name : dialog.folder + "/" + dialog.file_name);
  QStringList chosen;
  if (dialog.save) {
    chosen << QFileDialog::getSaveFileName(over, title, start, filter);
  } else if (dialog.several) {
    chosen = QFileDialog::getOpenFileNames(over, title, start, filter);
  } else {
    chosen << QFileDialog::getOpenFileName(over, title, start, filter);
  }
  std::vector<std::string> paths;
  for (const QString& path : chosen) {
    if (!path.isEmpty()) paths.push_back(QFile::encodeName(path).toStdString());
  }
  return paths;
}

message_answer show_message(QWidget* over, const std::string& text, bool question) {
  QMessageBox box(over);
  box.setTextFormat(Qt::PlainText);
  box.setText(QString::fromStdString(text));
  box.setStandardButtons(question ? QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel
                                  : QMessageBox::StandardButtons(QMessageBox::Ok));
  switch (box.exec()) {
    case QMessageBox::Yes:
      return message_answer::yes;
    case QMessageBox::No:
      return message_answer::no;
    case QMessageBox::Cancel:
      return message_answer::cancel;
    default:
      return message_answer::ok;
  }
}

void dismiss_dialogs() {
  // A menu holds the events of all others, and one dialog may stand in front of another.
  while (QWidget* menu = QApplication::activePopupWidget()) {
    if (!menu->close()) break;
  }
  QWidget* last = nullptr;
  for (QWidget* top; (top = QApplication::activeModalWidget()) && top != last; last = top) {
    if (auto* dialog = qobject_cast<QDialog*>(top)) dialog->reject();
  }
}

progress_dialog::progress_dialog() = default;
progress_dialog::~progress_dialog() = default;

bool progress_dialog::show(QWidget* over, const std::string& title, int done, int total) {
  if (!dialog_) {
    if (done >= total) return true;
    dialog_ = std::make_unique<QProgressDialog>(over);
    dialog_->setWindowModality(Qt::ApplicationModal);
    dialog_->setMinimumDuration(progress_patience);
    dialog_->setAutoClose(false);
    dialog_->setAutoReset(false);
  }
  dialog_->setLabelText(QString::fromStdString(title));
  dialog_->setMaximum(std::max(total, 1));
  dialog_->setValue(done);
  QApplication::processEvents();
  const bool go_on = !dialog_->wasCanceled();
  if (done >= total || !go_on) dialog_.reset();
  return go_on;
}

}  // namespace platform
