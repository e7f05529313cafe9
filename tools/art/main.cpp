// kestrin_art turns the drawings of assets/ into what the program reads. The same drawings give the same bytes.
//
//   kestrin_art skin FOLDER SCALE OUT         the bundle of all drawings in the folder, at scale 1 or 2
//   kestrin_art icon DRAWING SIZE OUT         a drawing as a picture of that many pixels width; OUT tells the format
//   kestrin_art sheet FOLDER SCALE ZOOM OUT   a picture of all states on the gray of the strips, to look at
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "composition/documents/serialize_image.h"
#include "img/format.h"
#include "io/binary_archive.h"
#include "io/buffered.h"
#include "io/exceptions.h"
#include "io/packer.h"
#include "pictures.h"
#include "text/draw.h"

namespace {

constexpr int record_version = 1;  // of pictures in a bundle

art::pictures draw_all(const std::string& folder, int scale) {
  std::vector<std::string> paths;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ".svg") paths.push_back(entry.path().string());
  }
  std::sort(paths.begin(), paths.end());
  art::pictures pictures;
  for (const std::string& path : paths) art::add_states(pictures, path, scale);
  return pictures;
}

class string_writer : public io::binary_writer {
 public:
  std::string bytes;
  void write(const void* buffer, int count) override { bytes.append(static_cast<const char*>(buffer), count); }
  void flush() override {}
  const char* name() const override { return "(string_writer)"; }
};

std::string bundle_of(const art::pictures& pictures) {
  string_writer out;
  {
    io::packer packed(out);
    io::buffered_writer buffer(packed);
    io::binary_oarchive archive(buffer);
    archive.write_header();
    archive.open_map_of(static_cast<int>(pictures.size()), "images");
    for (const auto& [name, drawn] : pictures) {
      archive.write(name);
      ksn::image_record record{drawn.picture};
      archive.open_versioned(&io::type_tag<ksn::image_record>, record_version, "value");
      ksn::serialize(archive, record, record_version);
    }
    buffer.flush();
    packed.flush();
  }
  return out.bytes;
}

void write_file(const std::string& path, const std::string& bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) throw std::runtime_error(path + ": can't be written");
}

// Each picture on its canvas at its place in a grid of cells, enlarged pixel by pixel, with its name below.
img::image sheet_of(const art::pictures& pictures, int zoom) {
  constexpr int columns = 12;
  constexpr int label = 22;
  constexpr int width = 1920;
  constexpr int cell = width / columns;
  struct placed {
    int x, y;
    const std::string* name;
    const art::drawn_state* drawn;
  };
  std::vector<placed> places;
  int x = 0, y = 0, row_height = 0;
  for (const auto& [name, drawn] : pictures) {
    const img::image* picture = drawn.picture.get();
    const int wanted = (picture->user[1].x * zoom + 8 + cell - 1) / cell * cell;
    if (x + std::min(wanted, width) > width) {
      x = 0;
      y += row_height;
      row_height = 0;
    }
    places.push_back({x, y, &name, &drawn});
    row_height = std::max(row_height, picture->user[1].y * zoom + label + 8);
    x += wanted;
  }
  img::image sheet("BGR", 8, width, y + row_height);
  sheet.fill(44, 44, 44, 255);
  text::fonts fonts;
  for (const placed& at : places) {
    const img::image& picture = *at.drawn->picture;
    for (int row = 0; row < picture.height * zoom; ++row) {
      for (int column = 0; column < picture.width * zoom; ++column) {
        const int tx = at.x + 4 + at.drawn->offset.x * zoom + column;
        const int ty = at.y + 4 + at.drawn->offset.y * zoom + row;
        if (tx >= sheet.width || ty >= sheet.height) continue;
        const int sx = column / zoom;
        const int sy = row / zoom;
        const int alpha = picture.row(3, sy)[sx];
        for (int plane = 0; plane < 3; ++plane) {
          std::uint8_t& sample = sheet.row(plane, ty)[tx];
          sample = static_cast<std::uint8_t>((sample * (255 - alpha) + picture.row(plane, sy)[sx] * alpha + 127) / 255);
        }
      }
    }
    text::draw_text(fonts, at.name->substr(0, at.name->size() - 4), text::interface_font("small"), sheet,
                    {at.x + 4, at.y + picture.user[1].y * zoom + 6}, {255, 130, 130, 130});
  }
  return sheet;
}

int run(const std::vector<std::string>& args) {
  if (args.size() == 4 && args[0] == "skin") {
    write_file(args[3], bundle_of(draw_all(args[1], std::atoi(args[2].c_str()))));
  } else if (args.size() == 4 && args[0] == "icon") {
    img::save(art::draw_at_size(art::read_svg(args[1]), std::atoi(args[2].c_str())), args[3], nullptr, {});
  } else if (args.size() == 5 && args[0] == "sheet") {
    img::save(sheet_of(draw_all(args[1], std::atoi(args[2].c_str())), std::atoi(args[3].c_str())), args[4], nullptr,
              {});
  } else {
    std::fprintf(stderr,
                 "kestrin_art skin FOLDER SCALE OUT\nkestrin_art icon DRAWING SIZE OUT\n"
                 "kestrin_art sheet FOLDER SCALE ZOOM OUT\n");
    return 2;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run({argv + 1, argv + argc});
  } catch (const io::exception& failure) {
    std::fprintf(stderr, "%s: %s\n", failure.source().c_str(), failure.message().c_str());
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
  }
  return 1;
}
