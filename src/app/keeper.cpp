#include "app/keeper.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <exception>
#include <new>
#include <system_error>
#include <utility>

#include "composition/documents/persistence.h"
#include "composition/documents/recent_items.h"
#include "composition/documents/window_file.h"
#include "io/document.h"
#include "io/failure.h"
#include "platform/crash.h"

namespace app {
namespace {

constexpr std::uint32_t look_interval = 1000;  // milliseconds

std::string time_of_day() {
  const std::time_t now = std::time(nullptr);
  struct tm local {};
  char text[16];
  return localtime_r(&now, &local) && std::strftime(text, sizeof text, "%H:%M:%S", &local) > 0 ? text : "";
}

}  // namespace

void keeper::begin(std::uint32_t milliseconds, bool keep_settings, bool keep_copies) {
  running_ = true;
  keeps_settings_ = keep_settings;
  keeps_copies_ = keep_copies;
  looked_ = copied_ = milliseconds;
  settings_revision_ = parts_.composition.revision;
  if (keeps_settings_) settings_ = ksn::settings_bytes(parts_.composition);
  placement_ = parts_.placement();
  // A document that the command line made is worth a copy as well.
  copy_revision_ = parts_.composition.revision - (parts_.composition.doc.track_count() > 0 ? 1 : 0);
}

void keeper::tick(std::uint32_t milliseconds) {
  if (!running_ || milliseconds - looked_ < look_interval || is_working()) return;
  looked_ = milliseconds;
  try {
    if (keeps_settings_ && keep_settings()) return;
    if (keeps_copies_ && copy_interval > 0) keep_document(milliseconds);
  } catch (const std::bad_alloc&) {
    // What was not begun is tried again: settings at the next look, a copy after the next interval.
  }
}

bool keeper::keep_settings() {
  const unsigned long long revision = parts_.composition.revision;
  std::string changed;
  if (settings_revision_ != revision) {
    changed = ksn::settings_bytes(parts_.composition);
    if (changed == settings_) changed.clear();
  }
  const std::optional<platform::window_placement> placement = parts_.placement();
  const bool moved = placement && placement != placement_;
  if (!changed.empty() || moved) {
    start([changed, moved, placement] {
      if (moved) ksn::save_window_placement(*placement);
      return changed.empty() || ksn::save_settings_bytes(changed) ? "" : "The settings can't be saved";
    });
  }
  settings_revision_ = revision;
  if (moved) placement_ = placement;
  if (!changed.empty()) settings_ = std::move(changed);
  return work_.valid();
}

void keeper::keep_document(std::uint32_t milliseconds) {
  const ksn::state& composition = parts_.composition;
  if (copy_revision_ == composition.revision || milliseconds - copied_ < 1000u * static_cast<unsigned>(copy_interval))
    return;
  copied_ = milliseconds;
  if (composition.doc.track_count() == 0) {
    copy_revision_ = composition.revision;
    return drop_copy();
  }
  std::string bytes =
      io::document_bytes([&](io::binary_oarchive& archive) { ksn::write_composition(archive, composition); });
  start([this, name = ksn::unsaved_name(composition.file_name), bytes = std::move(bytes)] {
    std::string folder;
    try {
      if (!copy_ && parts_.folder(folder)) copy_ = std::make_unique<ksn::document_copy>(folder);
      if (copy_) copy_->write(name, bytes);
      return std::string();
    } catch (const std::exception&) {
      return "No copy of the composition can be kept in case of a crash: " + io::failure_line(name);
    }
  });
  copying_ = composition.revision;
}

void keeper::start(std::function<std::string()> work) {
  try {
    work_ = std::async(std::launch::async, work);
  } catch (const std::system_error&) {
    // Without a thread the window waits.
    std::packaged_task<std::string()> task(std::move(work));
    work_ = task.get_future();
    task();
  }
}

// Whether something is still being written; takes what came of it.
bool keeper::is_working() {
  if (!work_.valid()) return false;
  if (work_.wait_for(std::chrono::seconds(0)) != std::future_status::ready) return true;
  wait();
  return false;
}

void keeper::wait() {
  if (!work_.valid()) return;
  const std::string line = work_.get();
  const std::optional<unsigned long long> copied = std::exchange(copying_, std::nullopt);
  std::string& reported = copied ? copy_reported_ : settings_reported_;
  if (!line.empty() && line != reported) parts_.report(line);
  reported = line;
  if (!copied || !line.empty()) return;
  copy_revision_ = *copied;
  if (copy_ && copy_->exists()) {
    platform::set_crash_note("The composition as it was at " + time_of_day() + " is offered at the next start.");
  }
}

void keeper::copy_soon() {
  copied_ = looked_ - 1000u * static_cast<unsigned>(std::max(copy_interval, 0));
}

void keeper::drop_copy() {
  wait();
  if (copy_) copy_->remove();
  platform::set_crash_note({});
}

void keeper::end() {
  running_ = false;
  drop_copy();
  copy_.reset();
}

}  // namespace app
