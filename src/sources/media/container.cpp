#include "sources/media/container.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <tuple>
#include <utility>
#include <vector>

namespace media {
namespace {

bool has_name(const AVInputFormat* format, const char* name) {
  return std::strncmp(format->name, name, std::strlen(name)) == 0;
}

bool is_of_kind(const AVInputFormat* format, sources::clip_kind kind) {
  const bool avi = has_name(format, "avi");
  const bool mov = has_name(format, "mov,");
  switch (kind) {
    case sources::clip_kind::avi:
      return avi;
    case sources::clip_kind::quicktime:
      return mov;
    case sources::clip_kind::directshow:
      return !mov && !avi;
    case sources::clip_kind::phantom_cine:
      return has_name(format, "cine");
    case sources::clip_kind::r3d:
      return has_name(format, "r3d");
    case sources::clip_kind::rtv:
      return false;
  }
  return false;
}

// Readers of text, of lists that name other files, and of single pictures: none of them is a movie.
constexpr const char* refused_formats[] = {"tty", "concat", "hls", "dash", "image2", "ffmetadata", "sdp", "rtsp"};

bool is_movie_format(const AVInputFormat* format) {
  for (const char* refused : refused_formats) {
    if (has_name(format, refused)) return false;
  }
  const std::size_t length = std::strlen(format->name);
  return length < 5 || std::strcmp(format->name + length - 5, "_pipe") != 0;
}

// No file that is a movie needs as much to say what it is; 1 GB of empty transport packets takes seven seconds.
constexpr long long most_opening_bytes = 128 << 20;

int reads_too_much(void* opaque) {
  const auto* guard = static_cast<const opening_guard*>(opaque);
  return guard->opening && guard->context->pb && guard->context->pb->bytes_read > most_opening_bytes;
}

// The first error that the library tells on this thread goes there; everything else that it tells is dropped.
thread_local std::string* error_text = nullptr;

void note_error(void*, int level, const char* form, va_list values) {
  if (level > AV_LOG_ERROR || !error_text || !error_text->empty()) return;
  char line[200];
  va_list copy;
  va_copy(copy, values);
  std::vsnprintf(line, sizeof line, form, copy);
  va_end(copy);
  *error_text = line;
  error_text->resize(std::min(error_text->find_first_of("\r\n"), error_text->size()));
}

int open_choice(sources::clip_kind kind, const std::string& path, AVMediaType type, stream_choice& choice);

}  // namespace

int open_container(sources::clip_kind kind, const std::string& path, AVMediaType type, stream_choice& choice,
                   std::string* words) {
  static const bool quiet = [] {
    av_log_set_callback(note_error);
    return true;
  }();
  static_cast<void>(quiet);
  std::string said;
  error_text = &said;
  const int error = open_choice(kind, path, type, choice);
  error_text = nullptr;
  if (error < 0 && words) {
    char text[AV_ERROR_MAX_STRING_SIZE] = "";
    if (said.empty() && av_strerror(error, text, sizeof text) == 0) said = text;
    *words = said;
  }
  return error;
}

namespace {

int open_choice(sources::clip_kind kind, const std::string& path, AVMediaType type, stream_choice& choice) {
  // A pipe without a writer would be waited for.
  std::error_code ignored;
  if (std::filesystem::exists(path, ignored) && !std::filesystem::is_regular_file(path, ignored))
    return AVERROR(EINVAL);
  auto guard = std::make_unique<opening_guard>();
  AVFormatContext* opened = avformat_alloc_context();
  if (!opened) return AVERROR(ENOMEM);
  guard->context = opened;
  opened->interrupt_callback = {reads_too_much, guard.get()};
  AVDictionary* options = nullptr;
  av_dict_set(&options, "protocol_whitelist", "file", 0);
  const int error = avformat_open_input(&opened, ("file:" + path).c_str(), nullptr, &options);
  av_dict_free(&options);
  if (error < 0) return error;
  format_ptr file(opened);
  if (!is_of_kind(file->iformat, kind) || !is_movie_format(file->iformat)) return AVERROR_INVALIDDATA;
  // Looking into the stream replaces the container's tags by those of the codec, even by none.
  std::vector<std::pair<AVColorSpace, AVColorRange>> tags;
  for (unsigned i = 0; i < file->nb_streams; ++i)
    tags.emplace_back(file->streams[i]->codecpar->color_space, file->streams[i]->codecpar->color_range);
  const int info = avformat_find_stream_info(file.get(), nullptr);
  if (info < 0) return info;
  const int stream = av_find_best_stream(file.get(), type, -1, -1, nullptr, 0);
  if (stream < 0) return stream;
  // A cover picture is no movie.
  if (file->streams[stream]->disposition & AV_DISPOSITION_ATTACHED_PIC) return AVERROR_STREAM_NOT_FOUND;
  for (unsigned i = 0; i < file->nb_streams; ++i) {
    if (static_cast<int>(i) != stream) file->streams[i]->discard = AVDISCARD_ALL;
  }
  if (static_cast<std::size_t>(stream) < tags.size())
    std::tie(choice.color_space, choice.color_range) = tags[static_cast<std::size_t>(stream)];
  guard->opening = false;
  choice.file = std::move(file);
  choice.guard = std::move(guard);
  choice.stream = stream;
  return 0;
}

// More of them cost memory for the pictures in work and no longer make a movie faster.
constexpr int most_decoder_threads = 16;

// Whether each picture of a codec is decoded without any other one.
bool stands_alone(AVCodecID codec) {
  const AVCodecDescriptor* descriptor = avcodec_descriptor_get(codec);
  return descriptor && (descriptor->props & AV_CODEC_PROP_INTRA_ONLY);
}

}  // namespace

bool has_styles(const stream_choice& choice) {
  constexpr int both = AV_CODEC_CAP_SLICE_THREADS | AV_CODEC_CAP_FRAME_THREADS;
  const AVCodecID id = choice.file->streams[choice.stream]->codecpar->codec_id;
  const AVCodec* codec = avcodec_find_decoder(id);
  return codec && stands_alone(id) && (codec->capabilities & both) == both;
}

codec_ptr open_decoder(const stream_choice& choice, int threads, int lowres, reading_style style) {
  const AVStream* stream = choice.file->streams[choice.stream];
  const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
  if (!codec) return nullptr;
  codec_ptr context(avcodec_alloc_context3(codec));
  if (!context || avcodec_parameters_to_context(context.get(), stream->codecpar) < 0) return nullptr;
  context->pkt_timebase = stream->time_base;
  context->thread_count = std::min(threads, most_decoder_threads);
  if (style == reading_style::jumping && has_styles(choice)) context->thread_type = FF_THREAD_SLICE;
  context->lowres = std::min<int>(lowres, codec->max_lowres);
  if (avcodec_open2(context.get(), codec, nullptr) < 0) return nullptr;
  return context;
}

long long timing::time_of(int frame) const {
  return origin + av_rescale_q(frame, av_inv_q(rate), time_base);
}

int timing::frame_at(long long time) const {
  const long long frame = av_rescale_q_rnd(time - origin, time_base, av_inv_q(rate), AV_ROUND_NEAR_INF);
  return static_cast<int>(
      std::clamp<long long>(frame, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

void timing::start_at(long long first_picture) {
  if (counted) first_picture = 0;
  sound_origin = delayed ? origin : first_picture;
  last += std::max(0LL, first_picture - sound_origin);
  origin = first_picture;
  frames = std::clamp(frame_at(last) + 1, 1, 100'000'000);
}

namespace {

struct packet_span {
  long long first = std::numeric_limits<long long>::max();
  long long last = std::numeric_limits<long long>::min();
  long long packets = 0;
  bool without_presentation = false;  // a packet has a decoding time only
  bool found() const { return last >= first; }
};

// Reads packets to the end, or `limit` of them, and widens the span by those that will be shown.
void read_span(const stream_choice& choice, long long limit, packet_span& span) {
  packet_ptr packet(av_packet_alloc());
  for (long long i = 0; i < limit && av_read_frame(choice.file.get(), packet.get()) >= 0;) {
    if (packet->stream_index == choice.stream) {
      const long long time = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
      const bool shown = !(packet->flags & (AV_PKT_FLAG_DISCARD | AV_PKT_FLAG_CORRUPT));
      if (shown && packet->size > 0) {
        ++span.packets;
        if (time != AV_NOPTS_VALUE) {
          span.first = std::min(span.first, time);
          span.last = std::max(span.last, time);
          span.without_presentation |= packet->pts == AV_NOPTS_VALUE;
        }
      }
      ++i;
    }
    av_packet_unref(packet.get());
  }
}

// More than the pictures that any codec here reorders.
constexpr int reorder_window = 40;

}  // namespace

bool measure(const stream_choice& choice, int fallback_rate, timing& result) {
  AVFormatContext* file = choice.file.get();
  AVStream* stream = file->streams[choice.stream];
  result.time_base = stream->time_base;
  if (stands_alone(stream->codecpar->codec_id)) result.walk_ahead = 1;
  result.rate = av_guess_frame_rate(file, stream, nullptr);
  const double rate = result.rate.den > 0 ? av_q2d(result.rate) : 0.0;
  // Outside files of high-speed cameras, such a rate is the tick of the clock of a file with a variable rate.
  const double most = is_of_kind(file->iformat, sources::clip_kind::phantom_cine) ? 2e7 : 1001.0;
  if (!(rate > 0.0 && rate < most)) {
    const double average = stream->avg_frame_rate.den > 0 ? av_q2d(stream->avg_frame_rate) : 0.0;
    result.rate =
        average > 0.0 && average < most ? stream->avg_frame_rate : AVRational{std::max(fallback_rate, 1), 100};
  }

  packet_span head;
  read_span(choice, reorder_window, head);
  if (!head.found()) {
    if (head.packets == 0) return false;
    read_span(choice, std::numeric_limits<long long>::max(), head);
    result.counted = true;
    result.time_base = av_inv_q(result.rate);
    result.origin = 0;
    result.last = head.packets - 1;
    return true;
  }
  result.origin = head.first;
  result.delayed = head.without_presentation;

  // The end in the header may be wrong: the last packets that can be read decide. The first jump may land
  // after some of the pictures that are shown last, so a second one goes back for them.
  packet_span tail;
  constexpr long long everything = std::numeric_limits<long long>::max();
  if (av_seek_frame(file, choice.stream, everything / 2, AVSEEK_FLAG_BACKWARD) >= 0)
    read_span(choice, everything, tail);
  if (tail.found()) {
    const long long back = tail.last - av_rescale_q(1, {2, 1}, stream->time_base);
    if (av_seek_frame(file, choice.stream, back, AVSEEK_FLAG_BACKWARD) >= 0) read_span(choice, everything, tail);
  }
  if (!tail.found() || tail.last < head.last) {
    tail = head;
    if (av_seek_frame(file, choice.stream, head.first, AVSEEK_FLAG_BACKWARD) < 0)
      av_seek_frame(file, choice.stream, 0, AVSEEK_FLAG_BYTE);
    read_span(choice, everything, tail);
  }
  result.last = std::max(tail.last, head.last);
  return true;
}

}  // namespace media
