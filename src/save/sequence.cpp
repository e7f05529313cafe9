#include "save/sequence.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <memory>
#include <new>
#include <numeric>
#include <utility>

#include "command/messages.h"
#include "img/plane.h"
#include "lib/parallel.h"
#include "platform/memory.h"
#include "render/image_pool.h"
#include "save/memory.h"
#include "save/movie.h"
#include "save/write_behind.h"

namespace save {
namespace {

// Pictures that may be held for frames to come.
constexpr std::size_t most_bytes_ahead = std::size_t{512} << 20;
// The part of the free memory that pictures under way may take, and as much again for those that are read ahead.
constexpr std::size_t part_under_way = 4;

using seconds = std::chrono::duration<double>;

class stopwatch {
 public:
  double read() const { return seconds(std::chrono::steady_clock::now() - start_).count(); }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

class sequence_save {
 public:
  // `frames`: ascending.
  sequence_save(context& context, const walk& walk, output& output, std::vector<int> frames)
      : context_(context),
        walk_(walk),
        output_(output),
        frames_(std::move(frames)),
        picture_bytes_(walk.frame_bytes),
        budget_(platform::available_memory() / part_under_way),
        reading_(*context.pipeline.reading()),
        ahead_(reading_) {}

  // Returns what making a picture threw, if it did. The pictures before that are written in any case.
  std::exception_ptr run() {
    std::exception_ptr failure;
    try {
      make_all();
    } catch (...) {
      failure = std::current_exception();
    }
    collect(0);
    return failure;
  }

  bool wrote_all() const { return written_ == count(); }
  bool wrote_any() const { return written_ > 0; }
  // Whether the walk came to its end; frames may be missing.
  bool reached_end() const { return written_ + missing_ == count(); }
  bool failed() const { return failed_; }

 private:
  void make_all() {
    for (int at = 0; at < count() && !failed_ && !is_cancelled(); ++at) {
      const int frame = frame_at(at);
      read_ahead_of(at);
      const stopwatch waiting;
      collect(most_pending() - 1);
      while (output_.pending() > 0 && !find_memory(cache(), walk_.frame_bytes)) collect(output_.pending() - 1);
      // Lines of this frame must not come before those of frames that are still being written.
      if (!wait_for_sources(at)) collect(0);
      if (failed_) break;
      save::picture picture = make(frame, waiting.read());
      ahead_.release(frame);
      std::string failure = picture.failure;
      if (picture) {
        picture_bytes_ = std::max(walk_.frame_bytes, bytes_of(picture));
        failure = output_.add(frame, std::move(picture));
        if (failure.empty()) continue;
      }
      collect(0);
      if (!failed_) report_missing(frame, failure);
    }
  }

  int count() const { return static_cast<int>(frames_.size()); }
  int frame_at(int at) const { return frames_[static_cast<std::size_t>(at)]; }
  bool is_cancelled() const { return context_.cancelled && context_.cancelled(); }
  cache::frame_cache& cache() const { return context_.pipeline.frame_cache(); }

  // Pictures that are written at once: one for each worker, where they and what their writing takes fit.
  int most_pending() const {
    const std::uint64_t fitting = budget_ / std::max<std::uint64_t>(2 * picture_bytes_, 1);
    return static_cast<int>(std::clamp<std::uint64_t>(fitting, 1, static_cast<std::uint64_t>(lib::thread_count())));
  }

  // The frame at hand is read in any case, further ones when memory allows.
  void read_ahead_of(int at) {
    const int end = std::min(count(), at + 1 + frames_ahead_);
    for (; next_read_ < end; ++next_read_) {
      const std::uint64_t most = std::min<std::uint64_t>(budget_, most_bytes_ahead);
      if (next_read_ > at && ahead_.bytes() + picture_bytes_ > most) return;
      ahead_.want(frame_at(next_read_), walk_.sources(frame_at(next_read_)));
    }
  }

  // False when some could not be read. Reading goes further ahead only when that would have spared a wait: pictures
  // that lie ready for long leave the processor's cache.
  bool wait_for_sources(int at) {
    const int frame = frame_at(at);
    if (frames_ahead_ < lib::thread_count() && !ahead_.is_ready(frame) && reading_.has_free_processor()) {
      ++frames_ahead_;
      read_ahead_of(at);
    }
    return ahead_.wait(frame);
  }

  // The readers and writers fill the processors as long as this thread has to wait for them; it takes one processor
  // then. When it never waits, compositing is what takes the time, and gets all of them.
  save::picture make(int frame, double waited) {
    const lib::single_thread_scope alone(waited > made_ / 10);
    const stopwatch making;
    save::picture picture = make_with_memory(frame);
    made_ = making.read();
    return picture;
  }

  save::picture make_with_memory(int frame) {
    try {
      return walk_.make(frame);
    } catch (const std::bad_alloc&) {
      collect(0);
      render::release_pooled_images();
      img::release_spare_planes();
    }
    try {
      return walk_.make(frame);
    } catch (const std::bad_alloc&) {
      return {nullptr, nullptr, "Out of memory"};
    }
  }

  // Takes results until at most `left` are to come.
  void collect(int left) {
    output::result result;
    while (output_.take(result, output_.pending() > left)) {
      if (result.written) {
        ++written_;
        bytes_ = result.bytes;
        show_progress();
      } else if (!failed_) {
        failed_ = true;
        context_.report_error(result.line);
        output_.abandon();
      }
    }
  }

  void report_missing(int frame, const std::string& reason) {
    context_.report_error(output_.missing_line(frame, missing_frame_text(context_.composition), reason));
    output_.miss(frame);
    ++missing_;
    show_progress();
  }

  void show_progress() {
    if (!context_.show_progress) return;
    progress shown;
    shown.done = written_ + missing_;
    shown.total = count();
    const double time = since_start_.read();
    shown.frames_per_second = time > 0 ? shown.done / time : 0.0;
    shown.seconds_left = shown.done > 0 ? (shown.total - shown.done) * time / shown.done : 0.0;
    shown.bytes = bytes_;
    context_.show_progress(shown);
  }

  context& context_;
  const walk& walk_;
  output& output_;
  std::vector<int> frames_;
  std::size_t picture_bytes_;  // of the last picture, the expected ones before the first
  std::uint64_t budget_;
  int next_read_ = 0;
  int frames_ahead_ = 1;  // after the frame at hand
  int written_ = 0;
  int missing_ = 0;
  bool failed_ = false;
  double made_ = 0.0;  // seconds that the last frame took to make
  stopwatch since_start_;
  cache::frame_scheduler& reading_;
  read_ahead ahead_;
  long long bytes_ = 0;
};

// The frames of the part of the work area. None, and `line` set, where the user asks for frames that are not in it.
std::vector<int> frames_of_part(const context& context, std::string& line) {
  const auto& doc = context.composition.doc;
  const frame_range range = frames_of(context.part, {doc.tm_f, doc.tm_l}, doc.frame_base);
  std::vector<int> frames(static_cast<std::size_t>(range.end - range.first));
  std::iota(frames.begin(), frames.end(), range.first);
  if (const part& part = context.part; part.last >= part.first && part.chunks == 1 && frames.empty()) {
    line = "No frame from " + std::to_string(part.first) + " to " + std::to_string(part.last) +
           " in the work area, which goes from " + std::to_string(doc.tm_f + doc.frame_base) + " to " +
           std::to_string(doc.tm_l - 1 + doc.frame_base);
  }
  return frames;
}

// Takes out the frames that stand there already. As many are read at once as fit into the memory.
void leave_out_done(const context& context, const output& output, std::size_t frame_bytes, std::vector<int>& frames) {
  std::vector<char> done(frames.size());
  const std::size_t fitting = platform::available_memory() / part_under_way / std::max<std::size_t>(frame_bytes, 1);
  const std::size_t at_once = std::clamp<std::size_t>(fitting, 1, static_cast<std::size_t>(lib::thread_count()));
  for (std::size_t at = 0; at < frames.size() && !(context.cancelled && context.cancelled()); at += at_once) {
    const std::size_t count = std::min(at_once, frames.size() - at);
    lib::parallel_chunks(static_cast<int>(count), 1, [&](int first, int) {
      const std::size_t i = at + static_cast<std::size_t>(first);
      done[i] = output.is_done(frames[i]);
    });
  }
  std::size_t i = 0;
  std::erase_if(frames, [&](int) { return done[i++] != 0; });
}

}  // namespace

std::string missing_frame_text(const ksn::state& composition) {
  std::string text = composition.catalogue_text(missing_frame_key);
  return text == missing_frame_key ? "The frame is missing" : text;
}

bool save_walk(context& context, const target& target, const walk& walk) {
  std::string line;
  std::vector<int> frames = frames_of_part(context, line);
  std::unique_ptr<output> output;
  if (target.is_movie()) {
    output = std::make_unique<movie_output>(context, target, walk, static_cast<int>(frames.size()));
  } else {
    output = std::make_unique<write_behind>(context, target, walk.layers, *context.pipeline.reading());
  }
  if (!line.empty()) {
    line = command::about(target.path, line);
  } else if (find_memory(context.pipeline.frame_cache(), walk.frame_bytes)) {
    line = output->obstacle();
  } else {
    line = command::about(target.path, too_large_text(walk.frame_bytes));
  }
  if (!line.empty()) {
    context.report_error(line);
    return false;
  }
  if (context.part.skip_existing) leave_out_done(context, *output, walk.frame_bytes, frames);
  bool complete = false;
  bool kept = false;
  std::exception_ptr failure;
  {
    sequence_save save(context, walk, *output, std::move(frames));
    failure = save.run();
    complete = save.wrote_all();
    // A movie that failed goes, with all that was written into it.
    kept = save.wrote_any() && !(save.failed() && target.is_movie());
    if (kept && !save.failed()) line = output->finish(save.reached_end(), kept);
  }
  if (!line.empty()) {
    context.report_error(line);
    complete = false;
  }
  if (kept && context.after_save) context.after_save(target.path);
  if (failure) std::rethrow_exception(failure);
  return complete;
}

}  // namespace save
