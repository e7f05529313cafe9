#include "platform/qt/dialogs.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFormLayout>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressDialog>
#include <algorithm>

#include "platform/qt/open_dialog.h"
#include "platform/save_form.h"

namespace platform {
namespace {

constexpr int progress_patience = 500;  // milliseconds of work that shows no dialog

std::string bytes_of(const QString& path) {
  return QFile::encodeName(path).toStdString();
}

// The lists and the line of a form, below the files of a dialog.
class form_panel {
 public:
  form_panel(QFileDialog& dialog, save_form& form)
      : dialog_(dialog), form_(form), name_(dialog.findChild<QLineEdit*>("fileNameEdit")) {
    auto* grid = qobject_cast<QGridLayout*>(dialog.layout());
    if (!grid || !name_) return;
    panel_ = new QWidget(&dialog);
    rows_ = new QFormLayout(panel_);
    rows_->setContentsMargins(0, 0, 0, 0);
    description_ = new QLabel(panel_);
    description_->setTextFormat(Qt::PlainText);
    description_->setWordWrap(true);
    rows_->addRow(description_);
    grid->addWidget(panel_, grid->rowCount(), 0, 1, -1);
    QObject::connect(name_, &QLineEdit::textChanged, panel_, [this] { refresh(); });
    QObject::connect(&dialog, &QFileDialog::directoryEntered, panel_, [this] { refresh(); });
    refresh();
  }

  void take_chosen() {
    form_.chosen.clear();
    for (std::size_t i = 0; i < boxes_.size(); ++i)
      form_.chosen[shown_[i].key] = shown_[i].words[static_cast<std::size_t>(boxes_[i]->currentIndex())].word;
  }

 private:
  void refresh() {
    const std::string path = bytes_of(QDir(dialog_.directory()).absoluteFilePath(name_->text()));
    description_->setText(QString::fromStdString(form_.description(path)));
    std::vector<form_choice> choices = form_.choices(path);
    const auto same = [](const form_choice& a, const form_choice& b) {
      return a.key == b.key && std::equal(a.words.begin(), a.words.end(), b.words.begin(), b.words.end(),
                                          [](const form_word& x, const form_word& y) { return x.word == y.word; });
    };
    // What the user has chosen stays while he types.
    if (std::equal(choices.begin(), choices.end(), shown_.begin(), shown_.end(), same)) return;
    for (QComboBox* box : boxes_) rows_->removeRow(box);
    boxes_.clear();
    shown_ = std::move(choices);
    for (const form_choice& choice : shown_) {
      auto* box = new QComboBox(panel_);
      box->setObjectName(QString::fromStdString(choice.key));
      for (const form_word& word : choice.words) box->addItem(QString::fromStdString(word.text));
      box->setCurrentIndex(static_cast<int>(choice.chosen));
      rows_->addRow(QString::fromStdString(choice.label), box);
      boxes_.push_back(box);
    }
  }

  QFileDialog& dialog_;
  save_form& form_;
  QLineEdit* name_ = nullptr;  // of the dialog
  QWidget* panel_ = nullptr;
  QFormLayout* rows_ = nullptr;
  QLabel* description_ = nullptr;
  std::vector<form_choice> shown_;
  std::vector<QComboBox*> boxes_;
};

// The toolkit's own dialog, since that of the desktop has no room for a form.
QStringList ask_with_form(QWidget* over, const file_dialog& dialog) {
  QFileDialog box(over, QString::fromStdString(dialog.title), QString::fromStdString(dialog.folder),
                  QString::fromStdString(dialog.filter));
  box.setOption(QFileDialog::DontUseNativeDialog);
  box.setAcceptMode(QFileDialog::AcceptSave);
  box.setFileMode(QFileDialog::AnyFile);
  box.selectFile(QString::fromStdString(dialog.file_name));
  form_panel panel(box, *dialog.form);
  if (box.exec() != QDialog::Accepted) return {};
  panel.take_chosen();
  return box.selectedFiles();
}

}  // namespace

std::vector<std::string> ask_files(QWidget* over, const file_dialog& dialog) {
  const QString title = QString::fromStdString(dialog.title);
  const QString filter = QString::fromStdString(dialog.filter);
  const QString start =
      QString::fromStdString(dialog.folder.empty() ? dialog.file_name : dialog.folder + "/" + dialog.file_name);
  QStringList chosen;
  if (dialog.save && dialog.form) {
    chosen = ask_with_form(over, dialog);
  } else if (dialog.save) {
    chosen << QFileDialog::getSaveFileName(over, title, start, filter);
  } else if (dialog.list) {
    return ask_with_list(over, dialog);
  } else if (dialog.several) {
    chosen = QFileDialog::getOpenFileNames(over, title, start, filter);
  } else {
    chosen << QFileDialog::getOpenFileName(over, title, start, filter);
  }
  std::vector<std::string> paths;
  for (const QString& path : chosen) {
    if (!path.isEmpty()) paths.push_back(bytes_of(path));
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
