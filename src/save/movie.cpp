#include "save/movie.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <utility>

#include "command/messages.h"
#include "img/formats/shared/deep_export.h"
#include "io/exceptions.h"
#include "io/failure.h"
#include "lib/paths.h"
#include "platform/files.h"
#include "sources/movie_codec.h"

namespace save {
namespace {

// Pictures that wait for the encoder at most, beside the one that it has.
constexpr std::size_t most_queued = 8;

math::point size_of(const picture& picture) {
  return picture.bytes ? math::point{picture.bytes->width, picture.bytes->height}
                       : math::point{picture.floats->width, picture.floats->height};
}

bool has_alpha(const picture& picture) {
  return picture.bytes ? picture.bytes->plane_of('A') >= 0 : !picture.floats->data[3].empty();
}

// "hh:mm:ss:ff" with all frames of a second in the last part; empty for a null code.
std::string timecode_text(const img::timecode& code) {
  if (!code.is_valid()) return {};
  const int parts = static_cast<int>(std::max(code.den, 1u));
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d%c%02d", code.hours(), code.minutes(), code.seconds(),
                code.drop_frame() ? ';' : ':', code.frames() * parts + static_cast<int>(code.num));
  return text;
}

picture black_picture(int width, int height) {
  const auto image = std::make_shared<img::image>("BGRA", 8, width, height);
  image->fill(0, 0, 0, 0);
  return {image, nullptr, {}};
}

// The planes of a picture in the form that the writer was opened for, and what holds them.
class movie_planes {
 public:
  movie_planes(const picture& shown, const sources::movie_settings& settings, const img::save_options& options) {
    if (shown.bytes && !settings.deep) {
      take_bytes(*shown.bytes);
    } else {
      take_words(shown.bytes ? img::deep_planes_for_export(*shown.bytes, settings.path, options)
                             : img::deep_planes_for_export(*shown.floats, settings.path, options),
                 settings.deep);
    }
    if (!settings.alpha) picture_.planes[3] = nullptr;
  }
  const sources::movie_picture& picture() const { return picture_; }

 private:
  img::deep_planes words_;
  std::array<std::vector<std::uint8_t>, 4> narrowed_;
  sources::movie_picture picture_;

  void take_bytes(const img::image& image) {
    const int gray = image.plane_of('L');
    const auto plane = [&](char letter) -> const void* {
      const int index = gray >= 0 && letter != 'A' ? gray : image.plane_of(letter);
      return index >= 0 ? image.data[index].data() : nullptr;
    };
    picture_.planes = {plane('B'), plane('G'), plane('R'), plane('A')};
  }

  void take_words(img::deep_planes words, bool keep) {
    words_ = std::move(words);
    std::array<const void*, 4> found{};
    for (std::size_t i = 0; i < static_cast<std::size_t>(words_.count); ++i) {
      found[i] = words_.data[i].data();
      if (keep) continue;
      for (const std::uint16_t word : words_.data[i])
        narrowed_[i].push_back(static_cast<std::uint8_t>((word + 128) / 257));
      found[i] = narrowed_[i].data();
    }
    const bool gray = words_.count < 3;
    picture_.planes = gray ? std::array<const void*, 4>{found[0], found[0], found[0], found[1]} : found;
  }
};

}  // namespace

std::string codec_of(const target& target, bool alpha) {
  return target.codec.empty() ? std::string(sources::default_codec(target.container, alpha)) : target.codec;
}

movie_output::movie_output(const context& context, const target& target, const walk& walk, int frames)
    : context_(context),
      target_(target),
      walk_(walk),
      wanted_(frames),
      sound_(context.composition, context.options.audio ? walk.heard : std::vector<int>(), target.container) {}

movie_output::~movie_output() {
  abandon();
  end_thread();
}

std::string movie_output::missing_line(int frame, const std::string& text, const std::string& reason) const {
  const std::string number = std::to_string(frame + context_.composition.doc.frame_base);
  return command::about(target_.path, "Frame " + number + ": " + text + (last_ ? ", the one before it stands in" : "") +
                                          (reason.empty() ? "" : ": " + reason));
}

std::string movie_output::obstacle() const {
  struct stat written;
  if (context_.part.chunks > 1 || context_.part.skip_existing)
    return command::about(target_.path, "A movie is one file: --chunk and --skip_existing are for frames in files");
  if (stat(target_.path.c_str(), &written) != 0) return {};
  for (const ksn::track_info& track : context_.composition.doc.tracks) {
    struct stat source;
    if (track.source.is_clip() && stat(track.source.path.c_str(), &source) == 0 && source.st_dev == written.st_dev &&
        source.st_ino == written.st_ino)
      return command::about(target_.path, "Not saved, because a layer plays this file");
  }
  return {};
}

std::string movie_output::add(int frame, picture picture) {
  std::string line;
  if (!last_) {
    line = begin(picture);
  } else if (const math::point size = size_of(picture); size.x != settings_.width || size.y != settings_.height) {
    return "it is " + std::to_string(size.x) + " x " + std::to_string(size.y) + ", and the movie " +
           std::to_string(settings_.width) + " x " + std::to_string(settings_.height);
  }
  // Counted once the result is sure to come.
  if (!line.empty()) {
    const std::lock_guard guard(lock_);
    results_.push_back({false, line, 0});
  } else {
    last_ = std::move(picture);
    push(last_, frame, true);
  }
  ++pending_;
  return {};
}

void movie_output::miss(int frame) {
  if (last_) {
    push(last_, frame, false);
  } else {
    missed_at_start_.push_back(frame);
  }
}

// Opens the file for pictures like the first one. Returns the line of a failure.
std::string movie_output::begin(const picture& first) {
  const std::string folder = lib::folder_of(target_.path);
  if (!folder.empty() && !platform::make_folders(folder)) return create_error(lib::remove_separator(folder), errno);
  try {
    file_.emplace(target_.path);
  } catch (const io::open_error& failure) {
    return create_error(target_.path, failure.error_number());
  }
  const bool transparent = walk_.alpha && !context_.options.ignore_alpha && has_alpha(first);
  // A layer's own alpha is kept by those who choose a codec that holds it.
  settings_.codec = codec_of(target_, transparent && walk_.is_composite);
  const sources::movie_codec& codec = *sources::find_movie_codec(settings_.codec);
  const math::point size = size_of(first);
  if (size.x < codec.least_width || size.y < codec.least_height) {
    return command::about(target_.path, std::string(codec.title) + " takes no pictures below " +
                                            std::to_string(codec.least_width) + " x " +
                                            std::to_string(codec.least_height));
  }
  const ksn::frame_rate rate = ksn::exact_rate(context_.composition.doc.fpcs);
  settings_.path = file_->path();
  settings_.container = target_.container;
  settings_.quality = context_.options.quality;
  settings_.width = size.x;
  settings_.height = size.y;
  settings_.rate_numerator = rate.numerator;
  settings_.rate_denominator = rate.denominator;
  settings_.alpha = codec.alpha && transparent;
  settings_.deep = codec.deep && first.floats != nullptr;
  settings_.sound_rate = sound_.sample_rate();
  if (missed_at_start_.empty())
    settings_.timecode = timecode_text(first.bytes ? first.bytes->timecode : first.floats->timecode);
  sources::movie_failure failure;
  writer_ = sources::open_movie_writer(settings_, failure);
  if (!writer_) return line_of(failure);
  thread_ = std::thread([this] { encode_all(); });
  if (!missed_at_start_.empty()) {
    const picture black = black_picture(size.x, size.y);
    for (const int frame : missed_at_start_) push(black, frame, false);
  }
  return {};
}

void movie_output::push(const picture& shown, int frame, bool counted) {
  item next{shown, {}, counted};
  if (sound_.sample_rate() > 0) next.sound = sound_.of_frame(frames_, frame);
  std::unique_lock lock(lock_);
  changed_.wait(lock, [this] { return queue_.size() < most_queued || !failure_.empty(); });
  queue_.push_back(std::move(next));
  ++frames_;
  changed_.notify_all();
}

void movie_output::encode_all() {
  for (;;) {
    item next;
    {
      std::unique_lock lock(lock_);
      changed_.wait(lock, [this] { return !queue_.empty() || ending_; });
      if (queue_.empty() || abandoned_) return;
      next = std::move(queue_.front());
      queue_.pop_front();
      changed_.notify_all();
    }
    const std::string line = encode(next);
    next.shown = {};  // back to its pool before the thread of the save needs the next one
    const std::lock_guard guard(lock_);
    if (next.counted || !line.empty()) results_.push_back({line.empty(), line, writer_->bytes()});
    failure_ = line;
    changed_.notify_all();
    if (!line.empty()) return;
  }
}

std::string movie_output::encode(const item& item) {
  try {
    const movie_planes planes(item.shown, settings_, context_.options);
    if (!item.sound.empty() && !writer_->add_sound(item.sound)) return line_of(writer_->failure());
    return writer_->add_picture(planes.picture()) ? std::string() : line_of(writer_->failure());
  } catch (const std::exception&) {
    return command::about(target_.path, "Out of memory");
  }
}

std::string movie_output::line_of(const sources::movie_failure& failure) const {
  if (failure.error_number == ENOMEM) return command::about(target_.path, "Out of memory");
  if (failure.error_number == 0) return command::about(target_.path, failure.text);
  try {
    throw io::write_error(target_.path, failure.error_number);
  } catch (const io::write_error&) {
    return command::about(target_.path, io::failure_text());
  }
}

bool movie_output::take(result& result, bool wait) {
  if (pending_ == 0) return false;
  std::unique_lock lock(lock_);
  if (wait) changed_.wait(lock, [this] { return !results_.empty(); });
  if (results_.empty()) return false;
  result = std::move(results_.front());
  results_.pop_front();
  --pending_;
  return true;
}

void movie_output::abandon() {
  const std::lock_guard guard(lock_);
  abandoned_ = ending_ = true;
  pending_ = static_cast<int>(results_.size());
  changed_.notify_all();
}

void movie_output::end_thread() {
  {
    const std::lock_guard guard(lock_);
    ending_ = true;
    changed_.notify_all();
  }
  if (thread_.joinable()) thread_.join();
}

std::string movie_output::finish(bool whole, bool& kept) {
  end_thread();
  kept = false;
  if (!failure_.empty()) return failure_;
  if (!writer_->finish()) return line_of(writer_->failure());
  writer_.reset();
  try {
    file_->commit();
  } catch (const io::exception&) {
    return command::about(target_.path, io::failure_text());
  }
  kept = true;
  if (whole) return {};
  return command::about(
      target_.path, "Stopped, the movie has " + std::to_string(frames_) + " of " + std::to_string(wanted_) + " frames");
}

}  // namespace save
