#include "platform/qt/open_dialog.h"

#include <QAbstractTableModel>
#include <QComboBox>
#include <QDateTime>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDir>
#include <QFile>
#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QLocale>
#include <QPushButton>
#include <QRegularExpression>
#include <QShortcut>
#include <QTimer>
#include <QTreeView>
#include <algorithm>
#include <memory>
#include <mutex>
#include <numeric>

#include "platform/open_form.h"

namespace platform {
namespace {

constexpr int preview_width = 240;
constexpr int preview_height = 180;
constexpr int preview_delay = 120;  // milliseconds that a row is current before its picture is read

QString text_of(const std::string& bytes) {
  return QFile::decodeName(QByteArray::fromStdString(bytes));
}

std::string bytes_of(const QString& text) {
  return QFile::encodeName(text).toStdString();
}

class row_model : public QAbstractTableModel {
 public:
  row_model(const open_form& form, QObject* parent) : QAbstractTableModel(parent), form_(form) {}

  void show(std::vector<open_row> rows) {
    beginResetModel();
    rows_ = std::move(rows);
    shown_.resize(rows_.size());
    std::iota(shown_.begin(), shown_.end(), std::size_t{0});
    endResetModel();
  }
  const open_row& row(int index) const { return rows_[shown_[static_cast<std::size_t>(index)]]; }
  const std::vector<open_row>& rows() const { return rows_; }

  int rowCount(const QModelIndex& parent) const override {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
  }
  int columnCount(const QModelIndex&) const override { return 4; }
  QVariant headerData(int section, Qt::Orientation, int role) const override {
    if (role != Qt::DisplayRole) return {};
    const std::string* words[] = {&form_.name_column, &form_.frames_column, &form_.size_column, &form_.changed_column};
    return QString::fromStdString(*words[section]);
  }
  QVariant data(const QModelIndex& index, int role) const override {
    const open_row& row = this->row(index.row());
    if (role == Qt::TextAlignmentRole && index.column() == 2) return int(Qt::AlignRight | Qt::AlignVCenter);
    if (role != Qt::DisplayRole) return {};
    switch (index.column()) {
      case 0:
        return text_of(row.name) + (row.is_folder ? "/" : "");
      case 1:
        return QString::fromStdString(row.frames);
      case 2:
        return row.is_folder ? QString() : (row.about ? "~ " : "") + QLocale().formattedDataSize(row.bytes, 1);
      default:
        return row.changed > 0 ? QDateTime::fromSecsSinceEpoch(row.changed).toString("yyyy-MM-dd HH:mm") : QString();
    }
  }
  // Folders stay in front, and the list came in the order of names. What is chosen keeps its row's file.
  void sort(int column, Qt::SortOrder order) override {
    emit layoutAboutToBeChanged();
    const std::vector<std::size_t> before = shown_;
    std::iota(shown_.begin(), shown_.end(), std::size_t{0});
    const auto key = [&](std::size_t i) { return column == 2 ? rows_[i].bytes : rows_[i].changed; };
    const auto files =
        std::stable_partition(shown_.begin(), shown_.end(), [&](std::size_t i) { return rows_[i].is_folder; });
    if (column > 1) std::stable_sort(files, shown_.end(), [&](auto a, auto b) { return key(a) < key(b); });
    if (order == Qt::DescendingOrder) {
      std::reverse(shown_.begin(), files);
      std::reverse(files, shown_.end());
    }
    std::vector<int> places(shown_.size());
    for (std::size_t place = 0; place < shown_.size(); ++place) places[shown_[place]] = static_cast<int>(place);
    for (const QModelIndex& old : persistentIndexList()) {
      const std::size_t row = before[static_cast<std::size_t>(old.row())];
      changePersistentIndex(old, index(places[row], old.column()));
    }
    emit layoutChanged();
  }

 private:
  const open_form& form_;
  std::vector<open_row> rows_;      // in the order of names
  std::vector<std::size_t> shown_;  // which of them each row of the table is
};

// From the thread that makes a preview to a dialog that may have closed by then.
class preview_line {
 public:
  explicit preview_line(QObject* dialog) : dialog_(dialog) {}
  void close() {
    const std::lock_guard guard(lock_);
    dialog_ = nullptr;
  }
  // Any thread: `show` is called on that of the dialog, if there is one still.
  template <class Show>
  void post(Show show) {
    const std::lock_guard guard(lock_);
    if (dialog_) QMetaObject::invokeMethod(dialog_, std::move(show), Qt::QueuedConnection);
  }

 private:
  std::mutex lock_;
  QObject* dialog_;  // under lock
};

class open_dialog : public QDialog {
 public:
  open_dialog(QWidget* over, const file_dialog& asked)
      : QDialog(over),
        form_(*asked.list),
        several_(asked.several),
        model_(new row_model(form_, this)),
        line_(std::make_shared<preview_line>(this)) {
    setWindowTitle(QString::fromStdString(asked.title));
    resize(960, 540);
    make_parts(asked);
    go_to(text_of(asked.folder));
    name_->setFocus();
  }
  ~open_dialog() override { line_->close(); }

  std::vector<std::string> chosen() const { return chosen_; }

 private:
  void make_parts(const file_dialog& asked) {
    auto* grid = new QGridLayout(this);
    auto* up = new QPushButton(QString::fromUtf8("\xE2\x86\x91"), this);
    up->setFixedWidth(36);
    up->setAutoDefault(false);
    folder_ = new QLineEdit(this);
    folder_->setObjectName("folderEdit");
    places_ = new QListWidget(this);
    for (const auto& [name, path] : form_.places) {
      auto* item = new QListWidgetItem(text_of(name), places_);
      item->setData(Qt::UserRole, text_of(path));
      item->setToolTip(text_of(path));
    }
    view_ = new QTreeView(this);
    view_->setModel(model_);
    view_->setRootIsDecorated(false);
    view_->setUniformRowHeights(true);
    view_->setAllColumnsShowFocus(true);
    view_->setSortingEnabled(true);
    view_->header()->setSortIndicator(0, Qt::AscendingOrder);
    view_->header()->setStretchLastSection(false);
    view_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    view_->setColumnWidth(1, 130);
    view_->setColumnWidth(2, 80);
    view_->setColumnWidth(3, 130);
    view_->setSelectionMode(several_ ? QAbstractItemView::ExtendedSelection : QAbstractItemView::SingleSelection);
    picture_ = new QLabel(this);
    picture_->setFixedSize(preview_width, preview_height);
    picture_->setAlignment(Qt::AlignCenter);
    about_ = new QLabel(this);
    about_->setFixedWidth(preview_width);
    about_->setWordWrap(true);
    about_->setTextFormat(Qt::PlainText);
    about_->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    name_ = new QLineEdit(this);
    name_->setObjectName("fileNameEdit");
    kinds_ = new QComboBox(this);
    for (const QString& kind : QString::fromStdString(asked.filter).split(";;", Qt::SkipEmptyParts))
      kinds_->addItem(kind);
    said_ = new QLabel(this);
    said_->setTextFormat(Qt::PlainText);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Open | QDialogButtonBox::Cancel, this);

    grid->addWidget(up, 0, 0, Qt::AlignRight);
    grid->addWidget(folder_, 0, 1, 1, 3);
    grid->addWidget(places_, 1, 0, 2, 1);
    grid->addWidget(view_, 1, 1, 2, 2);
    grid->addWidget(picture_, 1, 3);
    grid->addWidget(about_, 2, 3);
    grid->addWidget(new QLabel(QString::fromStdString(form_.name_label), this), 3, 0, Qt::AlignRight);
    grid->addWidget(name_, 3, 1);
    grid->addWidget(kinds_, 3, 2);
    grid->addWidget(said_, 4, 0, 1, 3);
    grid->addWidget(buttons, 4, 3);
    grid->setColumnStretch(1, 3);
    grid->setColumnStretch(2, 1);
    grid->setRowStretch(2, 1);
    places_->setFixedWidth(130);

    timer_.setSingleShot(true);
    timer_.setInterval(preview_delay);
    connect(&timer_, &QTimer::timeout, this, [this] {
      show_preview({});  // a slow file does not stand beside the picture of another
      ask_for_preview();
    });
    connect(up, &QPushButton::clicked, this, [this] { go_up(); });
    connect(new QShortcut(QKeySequence("Alt+Up"), this), &QShortcut::activated, this, [this] { go_up(); });
    connect(places_, &QListWidget::itemClicked, this,
            [this](QListWidgetItem* item) { go_to(item->data(Qt::UserRole).toString()); });
    connect(view_, &QTreeView::doubleClicked, this, [this](const QModelIndex& at) { open_row_at(at.row()); });
    connect(view_->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] { selected(); });
    connect(kinds_, &QComboBox::currentIndexChanged, this, [this] { go_to(folder_name_); });
    connect(buttons, &QDialogButtonBox::accepted, this, [this] { take(); });
    connect(buttons, &QDialogButtonBox::rejected, this, [this] { reject(); });
  }

  // The names between the parentheses of the kind that is chosen.
  std::vector<std::string> patterns() const {
    const QString kind = kinds_->currentText();
    const qsizetype first = kind.lastIndexOf('(');
    std::vector<std::string> result;
    if (first < 0) return result;
    const QString list = kind.mid(first + 1, kind.lastIndexOf(')') - first - 1);
    for (const QString& one : list.split(' ', Qt::SkipEmptyParts)) result.push_back(one.toStdString());
    return result;
  }

  void go_to(const QString& folder) {
    folder_name_ = QDir::cleanPath(folder);
    folder_->setText(folder_name_);
    std::string error;
    model_->show(form_.list(bytes_of(folder_name_), patterns(), error));
    view_->sortByColumn(view_->header()->sortIndicatorSection(), view_->header()->sortIndicatorOrder());
    said_->setText(QString::fromStdString(error));
    look_at({});
  }
  void go_up() {
    const QString left = QDir(folder_name_).dirName();
    go_to(QDir(folder_name_).filePath(".."));
    // Where one came from stays in sight.
    for (int i = 0; i < model_->rowCount({}); ++i) {
      if (!model_->row(i).is_folder || text_of(model_->row(i).name) != left) continue;
      view_->setCurrentIndex(model_->index(i, 0));
      return;
    }
  }

  void selected() {
    QStringList names;
    std::string path;
    for (const QModelIndex& at : view_->selectionModel()->selectedRows()) {
      const open_row& row = model_->row(at.row());
      if (row.is_folder) continue;
      names << text_of(row.name);
      path = row.path;
    }
    if (!names.isEmpty()) name_->setText(names.size() == 1 ? names[0] : '"' + names.join("\" \"") + '"');
    look_at(names.size() == 1 ? path : std::string());
  }
  void look_at(const std::string& path) {
    preview_path_ = path;
    timer_.start();
  }
  void ask_for_preview() {
    if (preview_path_.empty() || !form_.preview) return;
    form_.preview(preview_path_, preview_width, preview_height,
                  [this, line = line_, path = preview_path_](open_preview made) {
                    line->post([this, path, made = std::move(made)] {
                      if (path == preview_path_) show_preview(made);
                    });
                  });
  }
  void show_preview(const open_preview& made) {
    about_->setText(QString::fromStdString(made.text));
    if (made.width <= 0) return picture_->clear();
    const QImage picture(made.pixels.data(), made.width, made.height, made.width * 4, QImage::Format_RGB32);
    picture_->setPixmap(QPixmap::fromImage(picture.copy()));
  }

  void open_row_at(int index) {
    const open_row row = model_->row(index);
    if (row.is_folder) return go_to(text_of(row.path));
    chosen_ = {row.path};
    accept();
  }

  // Enter or the button: a folder is gone into, names are opened.
  void take() {
    if (folder_->hasFocus()) return go_to(absolute(folder_->text()));
    const QModelIndexList rows = view_->selectionModel()->selectedRows();
    if (view_->hasFocus() && rows.size() == 1) return open_row_at(rows[0].row());
    QStringList typed;
    const QString text = name_->text();
    if (several_ && text.startsWith('"')) {
      static const QRegularExpression quoted("\"([^\"]+)\"");
      for (auto found = quoted.globalMatch(text); found.hasNext();) typed << found.next().captured(1);
    } else if (!text.isEmpty()) {
      typed << text;
    }
    std::vector<std::string> paths;
    for (const QString& name : typed) {
      const QString path = absolute(name);
      if (typed.size() == 1 && QFileInfo(path).isDir()) {
        name_->clear();
        return go_to(path);
      }
      const auto row = std::ranges::find_if(
          model_->rows(), [&](const open_row& one) { return !one.is_folder && text_of(one.name) == name; });
      paths.push_back(row != model_->rows().end() ? row->path : bytes_of(path));
      if (row != model_->rows().end() || form_.exists(paths.back())) continue;
      said_->setText(QString::fromStdString(form_.nothing_there) + ": " + name);
      return;
    }
    if (paths.empty()) return;
    chosen_ = std::move(paths);
    accept();
  }
  QString absolute(const QString& name) const {
    if (name == "~" || name.startsWith("~/")) return QDir::homePath() + name.mid(1);
    return QDir::isAbsolutePath(name) ? name : QDir(folder_name_).filePath(name);
  }

  const open_form& form_;
  bool several_;
  row_model* model_;
  std::shared_ptr<preview_line> line_;
  QLineEdit* folder_ = nullptr;
  QListWidget* places_ = nullptr;
  QTreeView* view_ = nullptr;
  QLabel* picture_ = nullptr;
  QLabel* about_ = nullptr;
  QLineEdit* name_ = nullptr;
  QComboBox* kinds_ = nullptr;
  QLabel* said_ = nullptr;
  QString folder_name_;
  std::string preview_path_;
  QTimer timer_;
  std::vector<std::string> chosen_;
};

}  // namespace

std::vector<std::string> ask_with_list(QWidget* over, const file_dialog& dialog) {
  open_dialog box(over, dialog);
  return box.exec() == QDialog::Accepted ? box.chosen() : std::vector<std::string>();
}

}  // namespace platform
