#include "sources/media/movie_clip.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

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

// The start of a movie whose pictures have the rate, in hundredths. A container counts every picture of a second in the
// last number, up to 59 of 60.
std::optional<movie_start> start_of(const std::string& text, int rate) {
  int hours = 0, minutes = 0, seconds = 0, frames = 0;
  char last_separator[2] = {};
  if (std::sscanf(text.c_str(), "%2d%*1[:;.]%2d%*1[:;.]%2d%1[:;.]%2d", &hours, &minutes, &seconds, last_separator,
                  &frames) != 5) {
    return std::nullopt;
  }
  const int whole = (rate + 50) / 100;
  const auto below = [](int value, int limit) { return value >= 0 && value < limit; };
  if (!below(hours, 24) || !below(minutes, 60) || !below(seconds, 60) || !below(frames, whole)) return std::nullopt;
  // Drop-frame codes skip two numbers of 30 in every minute that 10 does not divide.
  const bool drops = last_separator[0] == ';' && whole % 30 == 0;
  const int all_minutes = hours * 60 + minutes;
  const int dropped = drops ? 2 * (whole / 30) * (all_minutes - all_minutes / 10) : 0;
  const int counted_rate = !drops ? whole * 100 : whole == 30 ? 2997 : whole == 60 ? 5994 : rate;
  return movie_start{(all_minutes * 60 + seconds) * whole + frames - dropped, counted_rate};
}

// The container's turn of the picture, which is a multiple of 90 degrees or none.
int orientation_of(const AVStream& stream) {
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(60, 31, 100)
  const AVPacketSideData* side_data = av_packet_side_data_get(
      stream.codecpar->coded_side_data, stream.codecpar->nb_coded_side_data, AV_PKT_DATA_DISPLAYMATRIX);
  const std::uint8_t* bytes = side_data ? side_data->data : nullptr;
#else
  const std::uint8_t* bytes = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
#endif
  if (!bytes) return 1;
  const auto* matrix = reinterpret_cast<const std::int32_t*>(bytes);
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
  clip->free_.reserve(max_readers);
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
  clip->start_ = start_of(timecode_text(input), clip->rate());
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
      try {
        return reader::open(kind_, path_, timing_, lowres);
      } catch (...) {
        give_back(nullptr);
        throw;
      }
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

void movie_clip::give_back(std::unique_ptr<reader> used) noexcept {
  {
    const std::lock_guard guard(lock_);
    if (used) {
      free_.push_back(std::move(used));  // has room for all
    } else {
      --open_readers_;
    }
  }
  returned_.notify_one();
}

bool movie_clip::read_picture(reader& position, int frame, img::image& image) {
  const AVFrame* picture = position.read(frame);
  const int shift = position.lowres();
  const auto reduced = [shift](int size) { return (size + (1 << shift) - 1) >> shift; };
  if (!picture || picture->width != reduced(width_) || picture->height != reduced(height_)) return false;
  position.decode_ahead();
  return position.converter().convert(*picture, image);
}

bool movie_clip::read(int frame, int resolution, img::image& image) {
  if (frame < 0 || frame >= timing_.frames) return false;
  std::unique_ptr<reader> position = take_reader(frame, reduces_ ? resolution : 0);
  bool good = false;
  try {
    good = position && read_picture(*position, frame, image);
  } catch (...) {
    // Where it stands now is not known.
    position.reset();
    give_back(nullptr);
    throw;
  }
  give_back(std::move(position));
  if (!good) return false;
  image.set_centre_anchor();
  image.frame = frame;
  image.frame_rate_nm = static_cast<int>(av_q2d(timing_.rate) * 100.0 + 0.5);
  image.frame_rate_dn = 100;
  if (cine_) cine_->describe(frame, image);
  if (start_) image.timecode = img::timecode_of_frame(start_->frame + frame, start_->rate);
  return true;
}

std::shared_ptr<const sources::wave_context> movie_clip::read_audio() {
  return decode_sound(kind_, path_, timing_);
}

}  // namespace media
