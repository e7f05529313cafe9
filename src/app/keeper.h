// What a window keeps on the disk while it runs, so that a crash loses nothing: settings, the window's place, and a
// copy of the document.
#pragma once

#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>

#include "composition/documents/document_copy.h"
#include "composition/state.h"
#include "platform/desktop.h"

namespace app {

struct keeper_parts {
  const ksn::state& composition;
  // Finds the folder of the recent lists, and makes it; false when there is none.
  std::function<bool(std::string& folder)> folder;
  // Where the window stands; none while it covers the screen or is not there.
  std::function<std::optional<platform::window_placement>()> placement;
  std::function<void(const std::string& line)> report;
};

// Main thread. What takes time is done on a thread of its own, one thing after the other.
class keeper {
 public:
  explicit keeper(keeper_parts parts) : parts_(std::move(parts)) {}
  ~keeper() { end(); }
  keeper(const keeper&) = delete;
  keeper& operator=(const keeper&) = delete;

  // Seconds between two copies of a document that changes; 0 makes none.
  int copy_interval = 60;

  // What the program has at this moment needs no writing.
  void begin(std::uint32_t milliseconds, bool keep_settings, bool keep_copies);
  // Looks once a second for what has changed. Between begin() and end().
  void tick(std::uint32_t milliseconds);
  // The next look makes a copy, whenever the one before was made.
  void copy_soon();
  // The document has been filed, or is given up: the copy goes.
  void drop_copy();
  // Waits for what is being written, and removes the copy.
  void end();
  // Waits for what is being written, and reports what went wrong with it.
  void wait();

 private:
  void start(std::function<std::string()> work);
  bool is_working();
  // True when there was something to write.
  bool keep_settings();
  void keep_document(std::uint32_t milliseconds);

  keeper_parts parts_;
  bool keeps_settings_ = false;
  bool keeps_copies_ = false;
  bool running_ = false;
  std::uint32_t looked_ = 0;  // milliseconds
  std::uint32_t copied_ = 0;
  unsigned long long settings_revision_ = 0;
  unsigned long long copy_revision_ = 0;  // that needs no copy, or has one
  std::string settings_;                  // as they stand on the disk
  std::optional<platform::window_placement> placement_;
  std::unique_ptr<ksn::document_copy> copy_;
  std::future<std::string> work_;              // gives the line of a failure, or nothing
  std::optional<unsigned long long> copying_;  // the revision of the copy that work_ makes; none for other work
  // The last failures, each told once.
  std::string settings_reported_;
  std::string copy_reported_;
};

}  // namespace app
