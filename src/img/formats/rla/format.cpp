// Wavefront RLA pictures and RPF: rows of run-length packed channels, bottom row first, of a part of the picture.
#include "img/format.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <vector>

#include "img/formats/rla/header.h"
#include "img/formats/shared/byte_cursor.h"
#include "img/formats/shared/layer_names.h"
#include "img/formats/shared/parallel_tasks.h"
#include "img/picture_form.h"
#include "img/transfer.h"
#include "io/exceptions.h"

namespace img {
namespace {

// Where the channels of the file go: the place in a row's order and the plane of the picture.
struct channel_use {
  int channel = 0;
  int plane = 0;
};
// The layer of a pixel channel stands in the list as this and its number.
constexpr int first_pixel_channel = 1000;

const rla_channels& kind_of(const rla_header& header, int channel) {
  if (channel < header.colors.count) return header.colors;
  return channel < header.colors.count + header.mattes.count ? header.mattes : header.others;
}

// All that is not the main picture's red, green, blue and alpha. The first of the other channels is the depth where
// the file says so, or says nothing.
std::vector<layer> layer_list(const rla_header& header, std::vector<int>* channels = nullptr) {
  std::vector<std::string> names;
  const auto add = [&](int channel, const std::string& name) {
    names.push_back(name);
    if (channels) channels->push_back(channel);
  };
  for (int i = 3; i < header.colors.count; ++i) add(i, "color " + std::to_string(i + 1));
  for (int i = 1; i < header.mattes.count; ++i) add(header.colors.count + i, "matte " + std::to_string(i + 1));
  for (int i = 0; i < header.others.count; ++i) {
    const bool depth =
        i == 0 && (header.others_name.empty() || header.others_name == "depth" || header.others_name == "Z");
    const std::string number = header.others.count > 1 ? " " + std::to_string(i + 1) : "";
    add(header.colors.count + header.mattes.count + i,
        depth ? "Z" : (header.others_name.empty() ? "aux" : header.others_name) + number);
  }
  for (std::size_t i = 0; i < header.pixel_channels.size(); ++i) {
    if (header.pixel_channels[i].kind == rla_pixel_channel::packed) continue;
    add(first_pixel_channel + static_cast<int>(i), header.pixel_channels[i].name);
  }
  return layers_named(std::move(names));
}

// Packed bytes of one sample byte each: a count below 0 is so many as they stand, from 0 on one more copies of one.
void unpack(byte_cursor& codes, std::uint8_t* out, std::size_t count) {
  for (std::size_t x = 0; x < count;) {
    const int code = static_cast<std::int8_t>(codes.u8());
    const std::size_t run = std::min<std::size_t>(
        code < 0 ? static_cast<std::size_t>(-code) : static_cast<std::size_t>(code) + 1, count - x);
    if (code < 0) {
      std::memcpy(out + x, codes.take(run), run);
    } else {
      std::memset(out + x, codes.u8(), run);
    }
    x += run;
  }
}

struct row_memory {
  std::vector<std::uint8_t> bytes, samples;
};

// One channel of one row as samples of its form, the most significant byte first. Real numbers are stored as they are
// where the record is as long, all others byte by byte: all the highest, then the next.
const std::uint8_t* unpack_channel(byte_cursor codes, const rla_channels& kind, std::size_t width, row_memory& own) {
  const auto size = static_cast<std::size_t>(kind.bytes());
  if (kind.real && codes.left() == 4 * width) {
    // A record may begin at any byte.
    const std::uint8_t* const reals = codes.take(4 * width);
    own.samples.assign(reals, reals + 4 * width);
    return own.samples.data();
  }
  own.bytes.resize(width * size);
  for (std::size_t b = 0; b < size; ++b) unpack(codes, own.bytes.data() + b * width, width);
  own.samples.resize(width * size);
  for (std::size_t b = 0; b < size; ++b) {
    for (std::size_t x = 0; x < width; ++x) own.samples[x * size + b] = own.bytes[b * width + x];
  }
  // Samples of other than 8, 16 or 32 bits fill theirs from below.
  if (kind.bits < 16 && kind.bits > 8) {
    const std::uint32_t most = (1U << kind.bits) - 1;
    for (std::size_t x = 0; x < width; ++x) {
      const std::uint32_t value =
          (std::min<std::uint32_t>(be16(own.samples.data() + 2 * x), most) * 65535 + most / 2) / most;
      own.samples[2 * x] = static_cast<std::uint8_t>(value >> 8);
      own.samples[2 * x + 1] = static_cast<std::uint8_t>(value);
    }
  } else if (kind.bits < 8) {
    const std::uint32_t most = (1U << kind.bits) - 1;
    for (std::size_t x = 0; x < width; ++x) {
      own.samples[x] =
          static_cast<std::uint8_t>((std::min<std::uint32_t>(own.samples[x], most) * 255 + most / 2) / most);
    }
  }
  return own.samples.data();
}

// The columns of the stored part that lie in the picture.
struct columns {
  int first, last;
  explicit columns(const rla_header& header)
      : first(std::max(0, -header.left)), last(std::min(header.stored_width, header.width - header.left)) {}
  std::size_t count() const { return static_cast<std::size_t>(last - first); }
};

struct worker {
  row_memory memory;
  plane row;
};

// Calls put(y, row, worker) for each stored row in the picture, with a cursor over its records; on any number of
// threads.
template <class Put>
void each_row(const source_file& file, const rla_header& header, const Put& put) {
  const auto stored = static_cast<std::size_t>(header.stored_height);
  std::vector<std::uint8_t> table(4 * stored);
  file.read(table.data(), table.size(), rla_header_size);
  if (columns(header).first >= columns(header).last) return;
  const auto most = static_cast<std::int64_t>(header.most_row_bytes());
  const bool small = static_cast<long long>(header.stored_width) * header.stored_height < 32768;
  parallel_tasks<worker>(header.stored_height, small ? 1 : lib::thread_count(), [&](int i, worker& own) {
    const int y = header.top + header.stored_height - 1 - i;
    if (y < 0 || y >= header.height) return;
    const std::int64_t offset = be32(table.data() + 4 * static_cast<std::size_t>(i));
    const std::int64_t there = std::clamp<std::int64_t>(file.size() - offset, 0, most);
    if (own.row.size() < static_cast<std::size_t>(there)) own.row = plane(static_cast<std::size_t>(there));
    if (there > 0) file.read(own.row.data(), static_cast<std::size_t>(there), offset);
    put(y, byte_cursor(own.row.data(), static_cast<std::size_t>(there), file.path()), own);
  });
}

void skip_records(byte_cursor& row, int count) {
  for (int i = 0; i < count; ++i) row.take(row.be_u16());
}

void read_rows(const source_file& file, const rla_header& header, const std::vector<channel_use>& uses, image& image) {
  const columns part(header);
  each_row(file, header, [&](int y, byte_cursor row, worker& own) {
    int channel = 0;
    for (const channel_use& use : uses) {
      skip_records(row, use.channel - channel);
      const byte_cursor record = row.part(row.be_u16());
      channel = use.channel + 1;
      const rla_channels& kind = kind_of(header, use.channel);
      const std::uint8_t* samples =
          unpack_channel(record, kind, static_cast<std::size_t>(header.stored_width), own.memory);
      sample_form form;
      form.kind = kind.real ? sample_form::real : sample_form::whole;
      form.bits = 8 * kind.bytes();
      form.swapped = !(kind.real && header.little_endian);
      const auto step = static_cast<std::size_t>(kind.bytes());
      put_samples(image, use.plane, header.left + part.first, y, part.count(),
                  samples + static_cast<std::size_t>(part.first) * step, step, form);
    }
  });
}

bool is_gray(const rla_pixel_channel& channel) {
  return channel.kind == rla_pixel_channel::whole || channel.kind == rla_pixel_channel::real;
}
bool is_of_bytes(const rla_pixel_channel& channel) {
  return channel.bytes == 1 || channel.kind == rla_pixel_channel::color;
}

// One pixel of a pixel channel, its bytes highest first, as red (or gray), green, blue. Numbers of objects stay as they
// are; shared exponents are those of Radiance pictures.
void values_of(const rla_pixel_channel& channel, const std::uint8_t* bytes, float* values) {
  switch (channel.kind) {
    case rla_pixel_channel::whole:
      values[0] = be16(bytes);
      break;
    case rla_pixel_channel::real:
      values[0] = std::bit_cast<float>(be32(bytes));
      break;
    case rla_pixel_channel::pair_of_reals:
      values[0] = std::bit_cast<float>(be32(bytes + 4));
      values[1] = std::bit_cast<float>(be32(bytes));
      values[2] = 0;
      break;
    default:
      for (int i = 0; i < 3; ++i) values[i] = std::ldexp(static_cast<float>(bytes[3 - i]), bytes[0] - (128 + 8));
  }
}

void read_pixel_channel(const source_file& file, const rla_header& header, std::size_t number, image& image) {
  const rla_pixel_channel& channel = header.pixel_channels[number];
  const columns part(header);
  const int planes = is_gray(channel) ? 1 : 3;
  const auto size = static_cast<std::size_t>(channel.bytes), width = static_cast<std::size_t>(header.stored_width);
  each_row(file, header, [&](int y, byte_cursor row, worker& own) {
    skip_records(row, header.records_before(number));
    std::vector<std::uint8_t>& bytes = own.memory.bytes;
    bytes.resize(size * width);
    for (std::size_t b = 0; b < size; ++b) {
      byte_cursor record = row.part(row.be_u16());
      unpack(record, bytes.data() + b * width, width);
    }
    const auto first = static_cast<std::size_t>(part.first), left = static_cast<std::size_t>(header.left + part.first);
    if (is_of_bytes(channel)) {
      // The records of a colour are blue, green, red, as the planes are.
      for (int p = 0; p < planes; ++p) {
        std::memcpy(image.row(p, y) + left, bytes.data() + static_cast<std::size_t>(p) * width + first, part.count());
      }
      return;
    }
    for (std::size_t x = 0; x < part.count(); ++x) {
      std::uint8_t pixel[8];
      float values[3];
      for (std::size_t b = 0; b < size; ++b) pixel[b] = bytes[b * width + first + x];
      values_of(channel, pixel, values);
      for (int p = 0; p < planes; ++p) {
        image.row<std::uint16_t>(p, y)[left + x] = float_to_half(values[planes - 1 - p]);
      }
    }
  });
}

// Channels that stand for several planes come once: gray is repeated afterwards.
void repeat_gray(image& image) {
  for (std::size_t p = 1; p < 3; ++p) copy_plane(image.data[p], image.data[0]);
}

bool is_deep(const rla_header& header) {
  return header.colors.bits > 8 || (header.has_alpha() && header.mattes.bits > 8);
}

class rla : public format {
 public:
  const char* name() const override { return "rla"; }

  void list_layers(const std::string& path, std::vector<layer>& layers) const override {
    layers = layer_list(read_rla_header(source_file(path)));
  }

  void read(image& image, const std::string& path, const layer& layer) const override {
    const source_file file(path);
    rla_header header = read_rla_header(file);
    std::vector<int> channels;
    const int chosen = find_layer(path, layer_list(header, &channels), layer);
    std::vector<channel_use> uses;
    const bool gray = header.colors.count < 3;
    const int pixel_channel = chosen < 0 ? -1 : channels[static_cast<std::size_t>(chosen)] - first_pixel_channel;
    if (pixel_channel >= 0) {
      const rla_pixel_channel& of = header.pixel_channels[static_cast<std::size_t>(pixel_channel)];
      image.reset(is_gray(of) ? "L" : "BGR", is_of_bytes(of) ? 8 : 16, header.width, header.height);
    } else if (chosen >= 0) {
      const int channel = channels[static_cast<std::size_t>(chosen)];
      image.reset("L", kind_of(header, channel).bits > 8 ? 16 : 8, header.width, header.height);
      uses = {{channel, 0}};
    } else {
      image.reset(header.has_alpha() ? "BGRA" : "BGR", is_deep(header) ? 16 : 8, header.width, header.height);
      uses = gray ? std::vector<channel_use>{{0, 0}} : std::vector<channel_use>{{0, 2}, {1, 1}, {2, 0}};
      if (header.has_alpha()) uses.push_back({header.colors.count, 3});
      // A plane of depth stands beside halves, after a gap where there is no alpha.
      if (is_deep(header) && header.others.count > 0 && header.others.real &&
          layer_list(header)[1 + static_cast<std::size_t>(std::max(header.colors.count - 3, 0) +
                                                          std::max(header.mattes.count - 1, 0))]
                  .name == "Z") {
        image.set_plane(4, 'Z', 16);
        uses.push_back({header.colors.count + header.mattes.count, 4});
      }
    }
    image.set_path(path);
    image.set_centre_anchor();
    image.frame = header.frame;
    image.metadata = std::move(header.metadata);
    for (int p = 0; p < image::max_planes; ++p) {
      if (image.has_plane(p)) fill_plane(image.data[static_cast<std::size_t>(p)], 0);
    }
    if (pixel_channel >= 0) {
      read_pixel_channel(file, header, static_cast<std::size_t>(pixel_channel), image);
    } else {
      read_rows(file, header, uses, image);
    }
    if (chosen < 0 && gray) repeat_gray(image);
  }

  picture_header read_header(const std::string& path, const layer& layer) const override {
    const rla_header header = read_rla_header(source_file(path));
    return {header.width, header.height, layer.is_default() && header.has_alpha(), layer_list(header)};
  }
};

}  // namespace

const format& rla_format() {
  static const rla instance;
  return instance;
}

}  // namespace img
