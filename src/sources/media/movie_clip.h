// A movie or camera clip behind the clip seam.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "sources/cine.h"
#include "sources/clip.h"
#include "sources/media/reader.h"

namespace media {

// Where the time codes of a movie begin.
struct movie_start {
  int frame = 0;  // that the time code of frame 0 stands for, as img::timecode_of_frame() counts at `rate`
  int rate = 0;   // hundredths of frames a second; a code that drops no numbers counts whole frames
};

// Reads of any number of threads share at most `max_readers` decoding positions. A read takes the free position that
// comes to its frame soonest, so that each thread that reads in order keeps its own and never seeks.
class movie_clip : public sources::clip {
 public:
  static constexpr int max_readers = 5;  // the preload workers and the thread that draws

  // Fills `result` with a clip or an error number.
  static void open(sources::clip_kind kind, const std::string& path, int rate, sources::open_result& result);

  sources::clip_kind kind() const override { return kind_; }
  int frames() const override { return timing_.frames; }
  int rate() const override;
  int width() const override { return width_; }
  int height() const override { return height_; }
  bool has_alpha() const override { return alpha_; }
  long long address_of(int frame) const override;
  bool can_reduce() const override { return reduces_; }
  bool read(int frame, int resolution, img::image& image) override;
  std::shared_ptr<const sources::wave_context> read_audio() override;

 private:
  sources::clip_kind kind_{};
  std::string path_;
  timing timing_;
  int width_ = 0;
  int height_ = 0;
  bool alpha_ = false;
  bool reduces_ = false;
  std::optional<movie_start> start_;        // without a value: no time codes
  std::optional<sources::cine_file> cine_;  // of a Cine only

  std::mutex lock_;  // guards what follows; never held while decoding
  std::condition_variable returned_;
  std::vector<std::unique_ptr<reader>> free_;
  int open_readers_ = 0;

  std::unique_ptr<reader> take_reader(int frame, int lowres);
  // Null stands for a position that could not be opened or is given up.
  void give_back(std::unique_ptr<reader> used) noexcept;
  bool read_picture(reader& position, int frame, img::image& image);
};

}  // namespace media
