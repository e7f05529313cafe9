// The pictures of a walk as one movie.
#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "io/part_file.h"
#include "save/movie_sound.h"
#include "save/output.h"
#include "save/sequence.h"
#include "sources/movie_writer.h"

namespace save {

// The codec of a movie target: the chosen one, or what its container has. `alpha`: the picture has transparent parts.
std::string codec_of(const target& target, bool alpha);

// Encodes on a thread of its own. The file begins with the first picture, which tells the size and whether there is
// alpha; frames missing before it are black. All that is given must outlive this.
class movie_output : public output {
 public:
  // `frames`: how many the movie shall have.
  movie_output(const context& context, const target& target, const walk& walk, int frames);
  // Without finish() nothing is left but what was there before.
  ~movie_output() override;

  std::string add(int frame, picture picture) override;
  bool is_done(int) const override { return false; }
  void miss(int frame) override;
  bool take(result& result, bool wait) override;
  int pending() const override { return pending_; }
  void abandon() override;
  std::string finish(bool whole, bool& kept) override;
  std::string missing_line(int frame, const std::string& text, const std::string& reason) const override;
  std::string obstacle() const override;

 private:
  struct item {
    picture shown;
    std::vector<std::int16_t> sound;
    bool counted = false;  // has a result
  };

  std::string begin(const picture& first);
  void push(const picture& shown, int frame, bool counted);
  void encode_all();
  std::string encode(const item& item);
  std::string line_of(const sources::movie_failure& failure) const;
  void end_thread();

  const context& context_;
  const target& target_;
  const walk& walk_;
  int wanted_;  // frames
  movie_sound sound_;
  sources::movie_settings settings_;  // not changed while the thread runs
  std::optional<io::part_file> file_;
  std::unique_ptr<sources::movie_writer> writer_;  // belongs to the thread while that runs
  picture last_;
  int frames_ = 0;  // of the movie
  int pending_ = 0;
  std::vector<int> missed_at_start_;

  std::thread thread_;
  std::mutex lock_;  // guards what follows
  std::condition_variable changed_;
  std::deque<item> queue_;
  std::deque<result> results_;
  std::string failure_;     // line; nothing is encoded after it
  bool ending_ = false;     // no more items come
  bool abandoned_ = false;  // no more are to be encoded
};

}  // namespace save
