// File dialogs, message boxes, and the dialog that shows how far long work is.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/desktop.h"

class QProgressDialog;
class QWidget;

namespace platform {

// `over` may be null.
std::vector<std::string> ask_files(QWidget* over, const file_dialog& dialog);
message_answer show_message(QWidget* over, const std::string& text, bool question);
// As if the user had cancelled all that are open.
void dismiss_dialogs();

// Comes up when the work has taken half a second.
class progress_dialog {
 public:
  progress_dialog();
  ~progress_dialog();
  // As desktop::show_progress().
  bool show(QWidget* over, const std::string& title, int done, int total);

 private:
  std::unique_ptr<QProgressDialog> dialog_;
};

}  // namespace platform
