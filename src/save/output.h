// Where the pictures of a walk go: each into a file of its own, or all into one movie.
#pragma once

#include <string>

#include "save/picture_file.h"

namespace save {

// The thread of the save. Pictures are taken in the order of their frames and written on other threads.
class output {
 public:
  struct result {
    bool written = false;
    std::string line;     // of a failure
    long long bytes = 0;  // of one file for all, so far
  };

  virtual ~output() = default;

  // Takes over the picture of a timeline frame. When it can't be a part of the output, it is not taken, and why is
  // returned.
  virtual std::string add(int frame, picture picture) = 0;
  // Whether the frame stands there already, whole. Any thread.
  virtual bool is_done(int frame) const = 0;
  // The frame has no picture.
  virtual void miss(int frame) = 0;
  // Takes the oldest result when it is there, or waits for it; false when none is there, or none will come.
  virtual bool take(result& result, bool wait) = 0;
  // Pictures without a result as yet.
  virtual int pending() const = 0;
  // Writes that have not started are dropped; they have no result.
  virtual void abandon() = 0;
  // After the last result: completes what was written. `whole`: no frame was left out at the end. Returns a line where
  // there is something to say, and `kept` is false when there is nothing under the final name.
  virtual std::string finish(bool whole, bool& kept) = 0;
  // The line of a frame that can't be had.
  virtual std::string missing_line(int frame, const std::string& text, const std::string& reason) const = 0;
  // A file that the output would write over although a layer still needs it: its error line, or nothing.
  virtual std::string obstacle() const = 0;
};

}  // namespace save
