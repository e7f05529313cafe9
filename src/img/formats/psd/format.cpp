// Photoshop documents, small and large: the merged picture, and layers whose pixels are stored as such.
#include "img/format.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <vector>

#include "img/formats/psd/channels.h"
#include "img/formats/psd/document.h"
#include "img/formats/psd/write.h"
#include "img/formats/shared/byte_order.h"
#include "img/formats/shared/deep_export.h"
#include "img/formats/shared/deep_samples.h"
#include "img/formats/shared/layer_names.h"
#include "img/formats/shared/refuse.h"
#include "io/exceptions.h"
#include "lib/parallel.h"

namespace img {
namespace {

// Where rows of a channel go: a rectangle on the canvas, of which parts may lie outside.
struct placement {
  int left = 0, top = 0, width = 0, height = 0;
};

// The plane of a channel; -1 for black ink, which has none in the picture.
int plane_of_channel(const psd_document& document, int channel) {
  if (channel == -1 || channel == document.colors()) return 3;
  return document.colors() == 1 ? 0 : 2 - channel;
}

class canvas {
 public:
  canvas(const source_file& file, const psd_document& document, image& image, bool on_white)
      : document_(document), image_(image), on_white_(on_white), deferred_(on_white || document.mode == psd_cmyk) {
    form_.bits = document.bits == 1 ? 8 : document.bits;
    form_.kind = document.bits == 32 ? sample_form::real : sample_form::whole;
    form_.swapped = true;
    if (document.mode == psd_cmyk) {
      if (document.bits == 32) refuse(file.path(), "Unsupported variant", "32 bits in CMYK", "8 and 16 are read");
      black_ = plane(image.data[0].size());
    }
    if (document.mode == psd_indexed) file.read(palette_, sizeof palette_, document.palette);
  }

  // Before the rows of a layer, which may be smaller than the canvas and without a channel of black ink.
  void clear_black() { fill_plane(black_, 255); }

  // A row of channel `channel`: a colour, -1 for transparency. May be called on several threads, each row once.
  void put(const placement& at, int channel, int row_of_channel, const std::uint8_t* row) {
    const int y = at.top + row_of_channel;
    const int first = std::max(0, -at.left);
    const int last = std::min(at.width, image_.width - at.left);
    if (y < 0 || y >= image_.height || first >= last) return;
    const int x = at.left + first;
    const auto count = static_cast<std::size_t>(last - first);
    row += first * form_.bytes();
    if (document_.mode == psd_bitmap) return put_bits(y, row);
    if (document_.mode == psd_indexed) return put_indices(y, row);
    const int bytes = form_.bytes();
    const int plane = plane_of_channel(document_, channel);
    if (deferred_) {
      // As the file has them until all are there.
      std::uint8_t* target =
          (plane < 0 ? black_ : image_.data[static_cast<std::size_t>(plane)]).data() +
          (static_cast<std::size_t>(y) * static_cast<std::size_t>(image_.width) + static_cast<std::size_t>(x)) *
              static_cast<std::size_t>(bytes);
      std::memcpy(target, row, count * static_cast<std::size_t>(bytes));
      return;
    }
    put_samples(image_, plane, x, y, count, row, static_cast<std::size_t>(bytes), form_);
    if (document_.colors() != 1 || plane == 3) return;
    repeat_gray(y);
  }

  // Call it when all rows are there.
  void finish() {
    if (!deferred_) return;
    const auto each_row = [&](const auto& take) {
      lib::parallel_rows(image_.height, static_cast<long long>(image_.width) * image_.height * 4,
                         [&](int first, int last) {
                           for (int y = first; y < last; ++y) take(y);
                         });
    };
    // Some programs state a transparency and store the colours as they are.
    if (on_white_) {
      std::atomic<bool> possible = true;
      each_row([&](int y) {
        if (!(document_.bits == 8 ? can_lie_on_white<std::uint8_t>(y) : can_lie_on_white<std::uint16_t>(y))) {
          possible = false;
        }
      });
      on_white_ = possible;
    }
    each_row([&](int y) { document_.bits == 8 ? mix_row<std::uint8_t>(y) : mix_row<std::uint16_t>(y); });
  }

 private:
  void put_bits(int y, const std::uint8_t* row) {
    std::uint8_t* out = image_.row(0, y);
    for (int x = 0; x < image_.width; ++x) out[x] = (row[x / 8] >> (7 - x % 8) & 1) != 0 ? 0 : 255;
    repeat_gray(y);
  }

  void put_indices(int y, const std::uint8_t* row) {
    for (std::size_t p = 0; p < 3; ++p) {
      std::uint8_t* out = image_.row(static_cast<int>(p), y);
      for (int x = 0; x < image_.width; ++x) out[x] = palette_[(2 - p) * 256 + row[x]];
    }
  }

  void repeat_gray(int y) {
    const std::size_t bytes = static_cast<std::size_t>(image_.depth[0]) / 8 * static_cast<std::size_t>(image_.width);
    const std::size_t offset = bytes * static_cast<std::size_t>(y);
    for (std::size_t p = 1; p < 3; ++p)
      std::memcpy(image_.data[p].data() + offset, image_.data[0].data() + offset, bytes);
  }

  template <class Sample>
  static constexpr std::uint32_t full = sizeof(Sample) == 1 ? 255 : 65535;

  // A sample as the file has it.
  template <class Sample>
  std::uint32_t stored(const plane& plane, int x, int y) const {
    const Sample* sample =
        plane.as<Sample>() + static_cast<std::size_t>(y) * static_cast<std::size_t>(image_.width) + x;
    return sizeof(Sample) == 1 ? *sample : be16(sample);
  }
  // Paper is the largest value: each light is what its ink and black leave.
  template <class Sample>
  std::uint32_t light(int p, int x, int y) const {
    const std::uint32_t value = stored<Sample>(image_.data[static_cast<std::size_t>(p)], x, y);
    if (document_.mode != psd_cmyk) return value;
    return static_cast<std::uint32_t>((std::uint64_t{value} * stored<Sample>(black_, x, y) + full<Sample> / 2) /
                                      full<Sample>);
  }
  int colors() const { return document_.colors() == 1 ? 1 : 3; }

  // Over white no light is below what the white lets through, but for rounding.
  template <class Sample>
  bool can_lie_on_white(int y) const {
    constexpr std::uint32_t rounding = sizeof(Sample) == 1 ? 2 : 16;
    for (int x = 0; x < image_.width; ++x) {
      const std::uint32_t alpha = stored<Sample>(image_.data[3], x, y);
      for (int p = 0; p < colors(); ++p) {
        if (light<Sample>(p, x, y) + alpha + rounding < full<Sample>) return false;
      }
    }
    return true;
  }

  // From samples as the file has them to those of the picture.
  template <class Sample>
  void mix_row(int y) {
    const auto keep = [&](int plane, int x, std::uint32_t value) {
      Sample& sample = image_.row<Sample>(plane, y)[x];
      if constexpr (sizeof(Sample) == 1) {
        sample = static_cast<Sample>(value);
      } else {
        sample = (plane == 3 ? fraction16_to_half() : encoded16_to_half())[value];
      }
    };
    for (int x = 0; x < image_.width; ++x) {
      const std::uint32_t alpha = image_.has_plane(3) ? stored<Sample>(image_.data[3], x, y) : full<Sample>;
      for (int p = 0; p < colors(); ++p) {
        const std::uint32_t value = light<Sample>(p, x, y);
        keep(p, x, on_white_ ? without_white(value, alpha, full<Sample>) : value);
      }
      if (image_.has_plane(3)) keep(3, x, alpha);
    }
    if (colors() == 1) repeat_gray(y);
  }

  static std::uint32_t without_white(std::uint32_t value, std::uint32_t alpha, std::uint32_t full) {
    if (alpha == 0 || value + alpha <= full) return 0;
    return static_cast<std::uint32_t>((std::uint64_t{value + alpha - full} * full + alpha / 2) / alpha);
  }

  const psd_document& document_;
  image& image_;
  bool on_white_;
  bool deferred_;
  sample_form form_;
  plane black_;
  std::uint8_t palette_[768] = {};
};

// No coding that is used gives more bytes than this for one.
void check_document_size(const source_file& file, const psd_document& document, std::int64_t available) {
  std::uint8_t word[2];
  file.read(word, 2, document.merged);
  const int compression = be16(word);
  const int expansion = compression == 0 ? 1 : compression == 1 ? 64 : 1032;
  const int bytes = document.bits == 1 ? 1 : document.bits / 8 * document.colors();
  check_size(file.path(), document.width, document.height, bytes, available,
             document.bits == 1 ? 8 * expansion : expansion);
}

void read_merged(const source_file& file, const psd_document& document, image& image) {
  canvas canvas(file, document, image, document.on_white);
  const placement all{0, 0, document.width, document.height};
  const psd_planes planes{document.merged,   file.size(),   document.width, document.height,
                          document.channels, document.bits, document.large};
  read_psd_planes(file, planes, document.colors() + (document.has_alpha() ? 1 : 0),
                  [&](int plane, int y, const std::uint8_t* row) { canvas.put(all, plane, y, row); });
  canvas.finish();
}

void read_layer(const source_file& file, const psd_document& document, const psd_layer& layer, image& image) {
  for (int p = 0; p < 4; ++p) fill_plane(image.data[static_cast<std::size_t>(p)], 0);
  canvas canvas(file, document, image, false);
  canvas.clear_black();
  const placement at{layer.left, layer.top, layer.width, layer.height};
  bool transparency = false;
  for (const psd_channel& channel : layer.channels) {
    if (channel.id < -1 || channel.id >= document.colors()) continue;
    transparency = transparency || channel.id == -1;
    const psd_planes planes{
        channel.position, channel.position + channel.size, layer.width, layer.height, 1, document.bits, document.large};
    read_psd_planes(file, planes, 1, [&](int, int y, const std::uint8_t* row) { canvas.put(at, channel.id, y, row); });
  }
  if (!transparency) {
    std::vector<std::uint8_t> opaque(static_cast<std::size_t>(layer.width) * 4, 255);
    if (document.bits == 32) {
      for (std::size_t i = 0; i < opaque.size(); i += 4) std::memcpy(opaque.data() + i, "\x3F\x80\0\0", 4);
    }
    for (int y = 0; y < layer.height; ++y) canvas.put(at, -1, y, opaque.data());
  }
  canvas.finish();
}

// A single plain layer over the whole canvas is the merged picture, without the white, which leaves less than all of
// the colours where they are thin. -1 where there is none.
int layer_of_merged(const psd_document& document, const std::vector<psd_layer>& layers) {
  if (layers.size() != 1 || !layers[0].alone) return -1;
  const psd_layer& only = layers[0];
  const bool whole = only.left == 0 && only.top == 0 && only.width == document.width && only.height == document.height;
  return whole && static_cast<int>(only.channels.size()) == document.colors() + 1 ? 0 : -1;
}

std::vector<layer> layer_list(const std::vector<psd_layer>& layers) {
  std::vector<std::string> names;
  for (const psd_layer& layer : layers) names.push_back(layer.name);
  return layers_named(std::move(names));
}

class psd : public deep_format {
 public:
  const char* name() const override { return "psd"; }

  void list_layers(const std::string& path, std::vector<layer>& layers) const override {
    const source_file file(path);
    layers = layer_list(read_psd_layers(file, read_psd_document(file)));
  }

  void read(image& image, const std::string& path, const layer& layer) const override {
    const source_file file(path);
    const psd_document document = read_psd_document(file);
    const std::vector<psd_layer> layers =
        layer.is_default() && !document.on_white ? std::vector<psd_layer>() : read_psd_layers(file, document);
    const int chosen =
        layer.is_default() ? layer_of_merged(document, layers) : find_layer(path, layer_list(layers), layer);
    check_document_size(file, document, file.size() - document.merged);
    const bool alpha = chosen >= 0 || document.has_alpha();
    image.reset(alpha ? "BGRA" : "BGR", document.bits > 8 ? 16 : 8, document.width, document.height);
    image.set_path(path);
    image.set_centre_anchor();
    take_psd_metadata(file, document, image);
    if (chosen < 0) {
      read_merged(file, document, image);
    } else {
      read_layer(file, document, layers[static_cast<std::size_t>(chosen)], image);
    }
  }

  picture_header read_header(const std::string& path, const layer& layer) const override {
    const source_file file(path);
    const psd_document document = read_psd_document(file);
    check_document_size(file, document, file.size() - document.merged);
    return {document.width, document.height, !layer.is_default() || document.has_alpha(),
            layer_list(read_psd_layers(file, document))};
  }

 private:
  void write_bytes(const export_planes& planes, const std::string& path, const save_options& options) const override {
    write_psd(planes, path, options);
  }
  void write_words(const deep_planes& planes, const std::string& path, const save_options& options) const override {
    write_psd(planes, path, options);
  }
  int most_side() const override { return most_psd_side; }
};

}  // namespace

const format& psd_format() {
  static const psd instance;
  return instance;
}

}  // namespace img
