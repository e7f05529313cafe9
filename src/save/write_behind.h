// Pictures that wait to be written to files of their own, and their results in the order of the frames.
#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "cache/reading/frame_scheduler.h"
#include "save/output.h"
#include "save/save.h"

namespace save {

// The threads that read frames do the writing.
class write_behind : public output {
 public:
  // Files of `target` for frames that `layers` give. All must outlive this.
  write_behind(const context& context, const target& target, const std::vector<int>& layers,
               cache::frame_scheduler& threads)
      : context_(context), target_(target), layers_(layers), threads_(threads) {}
  // Waits for what is being written, and writes nothing else.
  ~write_behind() override;
  write_behind(const write_behind&) = delete;
  write_behind& operator=(const write_behind&) = delete;

  std::string add(int frame, picture picture) override;
  void miss(int) override {}
  bool is_done(int frame) const override;
  bool take(result& result, bool wait) override;
  int pending() const override { return static_cast<int>(items_.size()); }
  void abandon() override;
  std::string finish(bool, bool&) override { return {}; }
  std::string missing_line(int frame, const std::string& text, const std::string& reason) const override;
  std::string obstacle() const override;

 private:
  std::string name_of(int frame) const;

  struct item {
    bool begun = false;
    bool done = false;
    bool abandoned = false;
    result outcome;
  };

  const context& context_;
  const target& target_;
  const std::vector<int>& layers_;
  cache::frame_scheduler& threads_;
  std::mutex mutex_;  // guards the items themselves
  std::condition_variable done_;
  int tasks_ = 0;                            // mutex_: handed over and not ended
  std::deque<std::shared_ptr<item>> items_;  // oldest first; the thread of the save
};

}  // namespace save
