#include "sources/media/movie_clip.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "sources/media/picture.h"
#include "sources/media/sound.h"

namespace media {
namespace {

std::string timecode_text(const stream_choice& input) {
  const auto value = [](const AVDictionary* metadata) -> std::string {
    const AVDictionaryEntry* entry = av_dict_get(metadata, "timecode", nullptr, 0);
    return entry ? entry->value : "";
  };
  std::string text = value(input.file->streams[input.stream]->metadata);
  for (unsigned i = 0; text.empty() && i < input.file->nb_streams; ++i) text = value(input.file->streams[i]->metadata);
  return text.empty() ? value(input.file->metadata) : text;
}

// The frame that a time code counts at a rate (hundredths); drop-frame codes skip two numbers a minute but each tenth.
int frame_of_timecode(const img::timecode& code, int rate) {
  const int whole = rate == 2398 ? 24 : (rate + 50) / 100;
  const int minutes = code.hours() * 60 + code.minutes();
  int frame = (minutes * 60 + code.seconds()) * whole + code.frames();
  if (code.drop_frame()) frame -= 2 * (minutes - minutes / 10);
  return frame;
}

// The container's turn of the picture, which is a multiple of 90 degrees or none.
int orientation_of(const AVStream& stream) {
  const auto* matrix =
      reinterpret_cast<const std::int32_t*>(av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr));
  if (!matrix) return 1;
  const bool mirrored = static_cast<double>(matrix[0]) * matrix[4] < static_cast<double>(matrix[1]) * matrix[3];
  const double counter_clockwise = av_display_rotation_get(matrix);
  if (mirrored || std::isnan(counter_clockwise)) return 1;
  constexpr int clockwise_by_90[] = {1, 6, 3, 8};
  const double turns = -counter_clockwise / 90.0;
  const double nearest = std::nearbyint(turns);
  return std::abs(turns - nearest) < 0.01 ? clockwise_by_90[(static_cast<int>(nearest) % 4 + 4) % 4] : 1;
}

}  // namespace

void movie_clip::open(sources::clip_kind kind, const std::string& path, int rate, sources::open_result& result) {
  auto clip = std::make_shared<movie_clip>();
  if (kind == sources::clip_kind::phantom_cine) {
    // Before the library makes an index as long as the header asks for.
    clip->cine_ = sources::cine_file::open(path);
    result.error = AVERROR_INVALIDDATA;
    if (!clip->cine_) return;
  }
  stream_choice input;
  result.error = open_container(kind, path, AVMEDIA_TYPE_VIDEO, input, &result.words);
  if (result.error < 0) return;
  clip->kind_ = kind;
  clip->path_ = path;
  const AVCodecParameters* picture = input.file->streams[input.stream]->codecpar;
  clip->width_ = picture->width;
  clip->height_ = picture->height;
  clip->alpha_ = media::has_alpha(static_cast<AVPixelFormat>(picture->format));
  result.error = AVERROR_INVALIDDATA;
  if (picture->width < 1 || picture->height < 1 || picture->width > 65535 || picture->height > 65535) return;
  if (!measure(input, rate, clip->timing_)) return;
  if (kind == sources::clip_kind::r3d) {
    const AVCodec* codec = avcodec_find_decoder(picture->codec_id);
    clip->reduces_ = codec && codec->max_lowres >= 2;
  }
  AVStream* const stream = input.file->streams[input.stream];
  result.orientation = orientation_of(*stream);
  const AVRational aspect = av_guess_sample_aspect_ratio(input.file.get(), stream, nullptr);
  if (aspect.num > 0 && aspect.den > 0) result.pixel_aspect = av_q2d(aspect);
  clip->start_ = img::parse_timecode(timecode_text(input));
  input.file.reset();

  auto first = reader::open(kind, path, clip->timing_, 0);
  result.error = AVERROR_DECODER_NOT_FOUND;
  if (!first) return;
  result.error = AVERROR_INVALIDDATA;
  long long time = 0;
  if (!first->first_picture(time)) return;
  clip->timing_.start_at(time);
  if (clip->cine_) clip->timing_.frames = std::min(clip->timing_.frames, clip->cine_->whole_frames());
  if (clip->timing_.frames < 1) return;
  result.error = 0;
  result.opened = std::move(clip);
}

int movie_clip::rate() const {
  return static_cast<int>(std::lrint(av_q2d(timing_.rate) * 100.0));
}

long long movie_clip::address_of(int frame) const {
  switch (kind_) {
    case sources::clip_kind::directshow:
      // Units of 100 ns.
      return static_cast<long long>(frame) * std::llrint(1e7 / av_q2d(timing_.rate));
    case sources::clip_kind::quicktime:
      return timing_.time_of(frame);
    case sources::clip_kind::phantom_cine:
      return static_cast<long long>(cine_->first_image()) + frame;
    default:
      return frame;
  }
}

std::unique_ptr<reader> movie_clip::take_reader(int frame, int lowres) {
  std::unique_lock guard(lock_);
  const auto take = [this](auto position) {
    auto taken = std::move(*position);
    free_.erase(position);
    return taken;
  };
  for (;;) {
    auto best = free_.end();
    int best_distance = timing_.walk_ahead + 1;
    for (auto it = free_.begin(); it != free_.end(); ++it) {
      const int distance = frame - (*it)->next();
      if ((*it)->lowres() == lowres && (*it)->next() >= 0 && distance >= -1 && distance < best_distance) {
        best = it;
        best_distance = distance;
      }
    }
    if (best != free_.end()) return take(best);
    if (open_readers_ < max_readers) {
      ++open_readers_;
      guard.unlock();
      return reader::open(kind_, path_, timing_, lowres);
    }
    if (!free_.empty()) {
      // The position that rested longest is given up.
      if (free_.front()->lowres() == lowres) return take(free_.begin());
      free_.erase(free_.begin());
      --open_readers_;
      continue;
    }
    returned_.wait(guard);
  }
}

void movie_clip::give_back(std::unique_ptr<reader> used) {
  {
    const std::lock_guard guard(lock_);
    if (used) {
      free_.push_back(std::move(used));
    } else {
      --open_readers_;
    }
  }
  returned_.notify_one();
}

bool movie_clip::read(int frame, int resolution, img::image& image) {
  if (frame < 0 || frame >= timing_.frames) return false;
  std::unique_ptr<reader> position = take_reader(frame, reduces_ ? resolution : 0);
  const AVFrame* picture = position ? position->read(frame) : nullptr;
  const int shift = position ? position->lowres() : 0;
  const auto reduced = [shift](int size) { return (size + (1 << shift) - 1) >> shift; };
  bool good = picture && picture->width == reduced(width_) && picture->height == reduced(height_);
  if (good) {
    position->decode_ahead();
    try {
      good = position->converter().convert(*picture, image);
    } catch (...) {
      give_back(std::move(position));
      throw;
    }
  }
  give_back(std::move(position));
  if (!good) return false;
  image.set_centre_anchor();
  image.frame = frame;
  image.frame_rate_nm = static_cast<int>(av_q2d(timing_.rate) * 100.0 + 0.5);
  image.frame_rate_dn = 100;
  if (cine_) cine_->describe(frame, image);
  if (start_.is_valid()) image.timecode = img::timecode_of_frame(frame_of_timecode(start_, rate()) + frame, rate());
  return true;
}

std::shared_ptr<const sources::wave_context> movie_clip::read_audio() {
  return decode_sound(kind_, path_, timing_);
}

}  // namespace media
