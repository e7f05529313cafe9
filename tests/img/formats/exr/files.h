// OpenEXR files of any shape, written by the library, and what the library reads from them.
#pragma once

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <ImfOutputFile.h>
#include <ImfRgbaFile.h>
#include <ImfTileDescription.h>
#include <ImfTiledOutputFile.h>
#include <half.h>

#include <array>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "img/image.h"

namespace exr_files {

struct channel {
  std::string name;
  Imf::PixelType type = Imf::HALF;
  int x_step = 1;
  int y_step = 1;
  bool linear = false;  // B44 codes its logarithm
};

struct shape {
  Imath::Box2i display{{0, 0}, {36, 52}};
  Imath::Box2i data{{0, 0}, {36, 52}};
  Imf::Compression compression = Imf::ZIP_COMPRESSION;
  std::vector<channel> channels{{"R"}, {"G"}, {"B"}};
  int tile = 0;  // edge of square tiles, 0 for scan lines
  Imf::LevelMode levels = Imf::ONE_LEVEL;
  Imf::LineOrder order = Imf::INCREASING_Y;
  std::function<unsigned()> bits;  // of the next half, in place of the test picture
};

// Sample of channel `c` of the test picture: smooth, with some below 0 and above 1, exact in halves.
inline float sample(int c, int x, int y) {
  return static_cast<float>(half(static_cast<float>(0.5 + 0.7 * std::sin(x * 0.11 + c) * std::cos(y * 0.07 - c) +
                                                    ((x * 7 + y * 13 + c) % 17) * 0.01)));
}

// Also for files with further attributes: `header` has them already.
inline void write(const std::string& path, const shape& s, Imf::Header header = Imf::Header()) {
  header.displayWindow() = s.display;
  header.dataWindow() = s.data;
  header.compression() = s.compression;
  header.lineOrder() = s.order;
  if (s.tile > 0) header.setTileDescription(Imf::TileDescription(s.tile, s.tile, s.levels));
  const int width = s.data.max.x - s.data.min.x + 1;
  const int height = s.data.max.y - s.data.min.y + 1;
  std::vector<std::vector<char>> planes;
  Imf::FrameBuffer source;
  for (std::size_t c = 0; c < s.channels.size(); ++c) {
    const channel& ch = s.channels[c];
    header.channels().insert(ch.name, Imf::Channel(ch.type, ch.x_step, ch.y_step, ch.linear));
    const std::size_t size = ch.type == Imf::HALF ? 2 : 4;
    planes.emplace_back(size * static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        const float v = sample(static_cast<int>(c), x + s.data.min.x, y + s.data.min.y);
        char* at = planes.back().data() +
                   (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)) * size;
        if (ch.type == Imf::HALF) {
          auto* sample = reinterpret_cast<half*>(at);
          *sample = half(v);
          if (s.bits) sample->setBits(static_cast<unsigned short>(s.bits()));
        }
        if (ch.type == Imf::FLOAT) *reinterpret_cast<float*>(at) = v * 1.0001F;
        if (ch.type == Imf::UINT) *reinterpret_cast<unsigned*>(at) = static_cast<unsigned>(std::fabs(v) * 100);
      }
    }
    source.insert(ch.name, Imf::Slice::Make(ch.type, planes.back().data(), s.data.min, width, height, size,
                                            size * static_cast<std::size_t>(width), ch.x_step, ch.y_step));
  }
  if (s.tile > 0) {
    Imf::TiledOutputFile file(path.c_str(), header);
    file.setFrameBuffer(source);
    // Lower levels hold the start of the same planes.
    for (int ly = 0; ly < file.numYLevels(); ++ly) {
      for (int lx = 0; lx < file.numXLevels(); ++lx) {
        if (file.isValidLevel(lx, ly)) file.writeTiles(0, file.numXTiles(lx) - 1, 0, file.numYTiles(ly) - 1, lx, ly);
      }
    }
  } else {
    Imf::OutputFile file(path.c_str(), header);
    file.setFrameBuffer(source);
    file.writePixels(height);
  }
}

// Blue, green, red, alpha and depth over the display window as the library reads them, 0 outside of the data window.
struct reference {
  int width = 0;
  int height = 0;
  bool has_alpha = false;
  bool has_depth = false;
  std::array<std::vector<unsigned short>, 5> planes;
};

inline reference read_reference(const std::string& path) {
  reference r;
  Imf::RgbaInputFile file(path.c_str());
  const Imath::Box2i data = file.dataWindow();
  const Imath::Box2i display = file.displayWindow();
  const int width = data.max.x - data.min.x + 1;
  const int height = data.max.y - data.min.y + 1;
  std::vector<Imf::Rgba> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  std::vector<half> depth(pixels.size());
  file.setFrameBuffer(pixels.data() - data.min.x - static_cast<long>(data.min.y) * width, 1,
                      static_cast<std::size_t>(width));
  file.readPixels(data.min.y, data.max.y);
  r.has_alpha = (file.channels() & Imf::WRITE_A) != 0;
  r.has_depth = file.header().channels().findChannel("Z") != nullptr;
  if (r.has_depth) {
    Imf::InputFile second(path.c_str());
    Imf::FrameBuffer target;
    target.insert("Z", Imf::Slice::Make(Imf::HALF, depth.data(), data.min, width, height));
    second.setFrameBuffer(target);
    second.readPixels(data.min.y, data.max.y);
  }
  r.width = display.max.x - display.min.x + 1;
  r.height = display.max.y - display.min.y + 1;
  for (auto& plane : r.planes) plane.assign(static_cast<std::size_t>(r.width) * static_cast<std::size_t>(r.height), 0);
  for (int y = std::max(data.min.y, display.min.y); y <= std::min(data.max.y, display.max.y); ++y) {
    for (int x = std::max(data.min.x, display.min.x); x <= std::min(data.max.x, display.max.x); ++x) {
      const std::size_t from = static_cast<std::size_t>(y - data.min.y) * static_cast<std::size_t>(width) +
                               static_cast<std::size_t>(x - data.min.x);
      const std::size_t to = static_cast<std::size_t>(y - display.min.y) * static_cast<std::size_t>(r.width) +
                             static_cast<std::size_t>(x - display.min.x);
      r.planes[0][to] = pixels[from].b.bits();
      r.planes[1][to] = pixels[from].g.bits();
      r.planes[2][to] = pixels[from].r.bits();
      r.planes[3][to] = pixels[from].a.bits();
      r.planes[4][to] = depth[from].bits();
    }
  }
  return r;
}

}  // namespace exr_files
