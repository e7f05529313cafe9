#include "sources/media/input.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>
#include <utility>

#include "sources/media/library.h"
#include "sources/media/picture.h"

extern "C" {
#include <libavdevice/avdevice.h>
}

namespace media {
namespace {

constexpr const char* test_input = "Test input";
constexpr const char* test_variable = "KESTRIN_TEST_INPUT";
constexpr std::chrono::milliseconds between_looks(2);  // for the next picture of a device
constexpr std::chrono::seconds longest_start(5);       // that a device may take for its first picture

// What a device is opened by.
struct device {
  std::string name;  // for the user
  std::string file;  // what the format opens
  const AVInputFormat* format = nullptr;
};

void add_devices_of(const char* format_name, std::vector<device>& devices) {
  const AVInputFormat* format = av_find_input_format(format_name);
  AVDeviceInfoList* list = nullptr;
  if (!format || avdevice_list_input_sources(format, nullptr, nullptr, &list) < 0) return;
  for (int i = 0; i < list->nb_devices; ++i) {
    const AVDeviceInfo& info = *list->devices[i];
    const bool described = info.device_description && *info.device_description;
    std::string name = described ? info.device_description : info.device_name;
    for (const device& other : devices) {
      if (other.name == name) name += " (" + std::string(info.device_name) + ")";
    }
    devices.push_back({std::move(name), info.device_name, format});
  }
  avdevice_free_list_devices(&list);
}

std::vector<device> find_devices() {
  static const bool registered = (avdevice_register_all(), true);
  (void)registered;
  av_log_set_level(AV_LOG_QUIET);
  std::vector<device> devices;
  add_devices_of("v4l2", devices);
  const char* graph = std::getenv(test_variable);
  // Filters make pictures as fast as they can; the last one holds them to their rate.
  if (graph && *graph) devices.push_back({test_input, std::string(graph) + ",realtime", av_find_input_format("lavfi")});
  return devices;
}

std::string text_of(int error) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(error, text, sizeof text);
  return text;
}

// Takes pictures on a thread of its own. The lock guards the newest one.
class input final : public sources::live_source {
 public:
  input(format_ptr format, codec_ptr codec, int stream)
      : format_(std::move(format)), codec_(std::move(codec)), stream_(stream) {
    width_ = codec_->width;
    height_ = codec_->height;
    has_alpha_ = media::has_alpha(codec_->pix_fmt);
    thread_ = std::thread([this] { take_pictures(); });
  }
  ~input() override {
    stop_ = true;
    thread_.join();
  }

  int width() const override { return width_; }
  int height() const override { return height_; }
  bool has_alpha() const override { return has_alpha_; }
  img::const_image_ptr newest() override {
    const std::lock_guard guard(lock_);
    return newest_;
  }
  img::const_image_ptr latest() override { return newest(); }
  // False when none came. A picture that is saved at once must not be black.
  bool wait_for_first() {
    std::unique_lock guard(lock_);
    return came_.wait_for(guard, longest_start, [this] { return newest_ != nullptr; });
  }

 private:
  void take_pictures() {
    const packet_ptr packet(av_packet_alloc());
    const frame_ptr frame(av_frame_alloc());
    picture_converter converter;
    int error = packet && frame ? 0 : AVERROR(ENOMEM);
    while (!stop_ && error >= 0) {
      error = av_read_frame(format_.get(), packet.get());
      if (error == AVERROR(EAGAIN)) {
        std::this_thread::sleep_for(between_looks);
        error = 0;
        continue;
      }
      if (error < 0) break;
      // A picture that can't be decoded is left out.
      if (packet->stream_index == stream_ && avcodec_send_packet(codec_.get(), packet.get()) == 0) {
        while (avcodec_receive_frame(codec_.get(), frame.get()) == 0) show(*frame, converter);
      }
      av_packet_unref(packet.get());
    }
    if (!stop_) tell("The video input is gone: " + text_of(error));
  }

  void show(const AVFrame& frame, picture_converter& converter) {
    try {
      auto picture = std::make_shared<img::image>();
      // The layer keeps the size that it was opened with.
      if (frame.width != width_ || frame.height != height_ || !converter.convert(frame, *picture)) return;
      picture->set_centre_anchor();
      set(std::move(picture));
    } catch (const std::exception&) {
      // Without memory for it the picture before stays.
    }
  }

  void set(img::const_image_ptr picture) {
    const std::lock_guard guard(lock_);
    newest_ = std::move(picture);
    came_.notify_all();
  }

  // The last picture once more, with what happened.
  void tell(const std::string& note) {
    try {
      const img::const_image_ptr last = newest();
      auto picture = std::make_shared<img::image>();
      const std::string letters = last ? std::string(last->format.data(), last->plane_count()) : "BGR";
      host().reset_image(*picture, letters.c_str(), 8, width_, height_);
      for (std::size_t plane = 0; plane < letters.size(); ++plane) {
        const std::size_t size = picture->data[plane].size();
        last ? std::memcpy(picture->data[plane].data(), last->data[plane].data(), size)
             : std::memset(picture->data[plane].data(), 0, size);
      }
      picture->set_centre_anchor();
      picture->note = note;
      set(std::move(picture));
    } catch (const std::exception&) {
    }
  }

  format_ptr format_;
  codec_ptr codec_;
  int stream_;
  int width_ = 0;
  int height_ = 0;
  bool has_alpha_ = false;
  std::mutex lock_;
  std::condition_variable came_;
  img::const_image_ptr newest_;
  std::atomic<bool> stop_ = false;
  std::thread thread_;
};

}  // namespace

std::vector<std::string> list_inputs() {
  std::vector<std::string> names;
  for (const device& found : find_devices()) names.push_back(found.name);
  return names;
}

std::shared_ptr<sources::live_source> open_input(const std::string& name, std::string& reason) {
  const std::vector<device> devices = find_devices();
  const device* wanted = nullptr;
  for (const device& found : devices) {
    if (found.name == name || (!wanted && found.file == name)) wanted = &found;
  }
  if (!wanted || !wanted->format) {
    reason = "There is no such video input";
    return nullptr;
  }
  AVFormatContext* context = avformat_alloc_context();
  if (!context) throw std::bad_alloc();
  // A device that gives nothing must not keep the thread from its end.
  context->flags |= AVFMT_FLAG_NONBLOCK;
  if (const int error = avformat_open_input(&context, wanted->file.c_str(), wanted->format, nullptr); error < 0) {
    reason = text_of(error);
    return nullptr;
  }
  format_ptr format(context);
  const AVCodec* decoder = nullptr;
  const int stream = av_find_best_stream(context, AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
  codec_ptr codec(decoder ? avcodec_alloc_context3(decoder) : nullptr);
  if (stream < 0 || !codec || avcodec_parameters_to_context(codec.get(), context->streams[stream]->codecpar) < 0 ||
      avcodec_open2(codec.get(), decoder, nullptr) < 0) {
    reason = "Its pictures can't be decoded";
    return nullptr;
  }
  if (codec->width < 1 || codec->height < 1 || codec->width > img::max_dimension ||
      codec->height > img::max_dimension) {
    reason = "It tells no size";
    return nullptr;
  }
  auto opened = std::make_shared<input>(std::move(format), std::move(codec), stream);
  if (opened->wait_for_first()) return opened;
  reason = "No picture has come from it in " + std::to_string(longest_start.count()) + " seconds";
  return nullptr;
}

}  // namespace media
