#include <ImfMultiPartOutputFile.h>
#include <ImfOutputPart.h>
#include <ImfPartType.h>
#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

#include "img/format.h"
#include "img/formats/exr/files.h"
#include "support/failure.h"
#include "support/temp_folder.h"

namespace {

using exr_files::channel;
using exr_files::shape;

// The picture that a layer of a file must give: planes as a list of "letter=index of the channel in the file's list as
// written here", "-" for a black plane; or how the refusal begins.
struct layer_case {
  std::vector<channel> channels;
  const char* layer;
  const char* expected;
};

const layer_case cases[] = {
    {{{"d.R"}, {"d.G"}, {"d.B"}, {"d.A"}}, "d", "B=2 G=1 R=0 A=3"},
    {{{"d.R"}, {"d.G"}, {"d.B"}}, "d", "B=2 G=1 R=0"},
    {{{"d.r"}, {"d.g"}, {"d.b"}, {"d.a"}}, "d", "B=2 G=1 R=0 A=3"},
    {{{"d.red"}, {"d.green"}, {"d.blue"}, {"d.alpha"}}, "d", "B=2 G=1 R=0 A=3"},
    {{{"N.X"}, {"N.Y"}, {"N.Z"}}, "N", "B=2 G=1 R=0"},
    {{{"N.x"}, {"N.y"}, {"N.z"}}, "N", "B=2 G=1 R=0"},
    {{{"N.MX"}, {"N.MY"}, {"N.MZ"}}, "N", "B=2 G=1 R=0"},
    {{{"N.U"}, {"N.V"}, {"N.W"}}, "N", "B=2 G=1 R=0"},
    {{{"N.u"}, {"N.v"}, {"N.w"}}, "N", "B=2 G=1 R=0"},
    // Missing parts are black.
    {{{"d.G"}}, "d", "B=- G=0 R=-"},
    {{{"d.G"}, {"d.A"}}, "d", "B=- G=0 R=- A=1"},
    {{{"N.X"}}, "N", "B=- G=- R=0"},
    {{{"N.X"}, {"N.Z"}}, "N", "B=1 G=- R=0"},
    {{{"N.v"}}, "N", "B=- G=0 R=-"},
    // The first group decides; a group needs a colour.
    {{{"d.r"}, {"d.G"}, {"d.A"}, {"d.a"}}, "d", "B=- G=1 R=- A=2"},
    {{{"d.A"}, {"d.red"}}, "d", "B=- G=- R=1"},
    {{{"d.X"}, {"d.u"}, {"d.alpha"}}, "d", "B=- G=- R=0"},
    // A lone second or third vector channel, and a channel's own name, are gray.
    {{{"d.Z"}}, "d", "L=0"},
    {{{"right.Y"}}, "right", "L=0"},
    {{{"v.y"}}, "v", "L=0"},
    {{{"d.Z"}, {"d.R"}}, "d.Z", "L=0"},
    {{{"mask"}, {"mask.R"}}, "mask", "L=0"},
    {{{"Z", Imf::FLOAT}, {"R"}}, "Z", "L=0"},
    // Names with dots of their own.
    {{{"a.b.R"}, {"a.R"}, {"ab.R"}}, "a", "B=- G=- R=1"},
    {{{"a.b.R"}, {"a.R"}}, "a.b", "B=- G=- R=0"},
    // Refusals.
    {{{"R"}}, "foo", "Empty layer"},
    {{{"foobar.R"}}, "foo", "Empty layer"},
    {{{"foo.q"}}, "foo", "Unsupported layer"},
    {{{"foo.A"}}, "foo", "Unsupported layer"},
    {{{"foo.b.R"}}, "foo", "Unsupported layer"},
    {{{"d.R", Imf::UINT}, {"d.G", Imf::UINT}}, "d", "Unsupported channel type within a layer"},
    {{{"id", Imf::UINT}}, "id", "Unsupported channel type within a layer"},
    {{{"d.R", Imf::HALF}, {"d.G", Imf::FLOAT}}, "d", "Channel type mismatch within a layer"},
    {{{"d.R", Imf::HALF}, {"d.A", Imf::FLOAT}}, "d", "Channel type mismatch within a layer"},
    {{{"d.R", Imf::HALF, 2, 1}}, "d", "Unsupported sampling rate"},
    {{{"d.R"}, {"d.A", Imf::HALF, 1, 2}}, "d", "Unsupported sampling rate"},
    {{{"R", Imf::HALF, 2, 2}}, "", "Unsupported sampling rate"},
    // The main picture: whole colours before a luminance, luminance before a part of the colours.
    {{{"R"}, {"G"}, {"B"}, {"Y"}}, "", "B=2 G=1 R=0"},
    {{{"R"}, {"G"}, {"B"}, {"Y"}, {"RY", Imf::HALF, 2, 2}}, "", "B=2 G=1 R=0"},
    {{{"R"}, {"Y"}}, "", "B=1 G=1 R=1"},
    // Files of named layers only: the first with colours, whatever comes before it; then vectors.
    {{{"N.X"}, {"N.Y"}, {"N.Z"}, {"d.R"}, {"d.G"}, {"d.B"}, {"d.A"}}, "", "B=5 G=4 R=3 A=6"},
    {{{"b.R", Imf::UINT}, {"c.r"}, {"c.b"}}, "", "B=2 G=- R=1"},
    {{{"N.u"}, {"N.v"}}, "", "B=- G=1 R=0"},
    {{{"m.q"}}, "", "B=- G=- R=-"},
    // Other channels of the file do not matter.
    {{{"d.R"}, {"d.id", Imf::UINT}, {"e", Imf::FLOAT, 2, 2}}, "d", "B=- G=- R=0"},
};

// Layers stand in the display window, as the main picture does.
const Imath::Box2i display{{-2, -1}, {25, 9}};
const Imath::Box2i data{{0, 0}, {23, 7}};

std::string found_in(const std::string& path, const layer_case& c) {
  const img::layer layer{c.layer[0] != 0 ? 2 : 0, c.layer[0] != 0 ? 1 : -1, c.layer};
  if (const std::string failure = support::load_failure(path, layer); failure != "no failure") return failure;
  img::image image;
  img::load(image, path, nullptr, &layer);
  EXPECT_EQ(image.height, 11);
  std::string found;
  for (int p = 0; p < image.plane_count(); ++p) {
    if (p > 0) found += ' ';
    found += image.format[static_cast<std::size_t>(p)];
    int from = -2;
    for (int i = -1; i < static_cast<int>(c.channels.size()); ++i) {
      bool same = true;
      for (int x = 0; x < image.width; ++x) {
        const int column = x + display.min.x;
        float v = i < 0 || column < 0 || column > data.max.x ? 0 : exr_files::sample(i, column, 3);
        if (i >= 0 && c.channels[static_cast<std::size_t>(i)].type == Imf::FLOAT) v *= 1.0001F;
        same = same && image.row<std::uint16_t>(p, 3 - display.min.y)[x] == half(v).bits();
      }
      if (same) from = i;
    }
    found += from == -1 ? "=-" : "=" + std::to_string(from);
  }
  return found;
}

TEST(ExrLayers, NamesPickTheirChannels) {
  const support::temp_folder folder;
  const std::string path = folder / "a.exr";
  for (const layer_case& c : cases) {
    shape s;
    s.channels = c.channels;
    s.display = display;
    s.data = data;
    exr_files::write(path, s);
    std::string names;
    for (const channel& ch : c.channels) names += ch.name + " ";
    const std::string found = found_in(path, c);
    const bool refused = c.expected[1] != '=';
    EXPECT_EQ(refused ? found.substr(0, std::strlen(c.expected)) : found, c.expected)
        << "layer '" << c.layer << "' of " << names;
  }
}

// Parts with one value each, named as a program for stereo and one for passes name them.
TEST(ExrLayers, PartsAndTheirLayers) {
  const support::temp_folder folder;
  const std::string path = folder / "a.exr";
  struct part {
    const char* name;
    std::vector<const char*> channels;
  };
  const std::vector<part> parts = {{"rgba.left", {"R", "G", "B", "spec.R"}},
                                   {"rgba.right", {"R", "G", "B"}},
                                   {"diffuse", {"diffuse.R", "diffuse.G", "diffuse.B"}},
                                   {"data", {"Z", "N.X", "N.Y", "N.Z", "mask"}}};
  for (const Imf::Compression compression : {Imf::NO_COMPRESSION, Imf::ZIP_COMPRESSION, Imf::PIZ_COMPRESSION}) {
    std::vector<Imf::Header> headers;
    for (const part& p : parts) {
      Imf::Header header(8, 8);
      header.setName(p.name);
      header.setType(Imf::SCANLINEIMAGE);
      header.compression() = compression;
      for (const char* channel : p.channels) header.channels().insert(channel, Imf::Channel(Imf::HALF));
      headers.push_back(header);
    }
    // Sample of channel c of part p: 10 p + c.
    {
      Imf::MultiPartOutputFile file(path.c_str(), headers.data(), static_cast<int>(headers.size()));
      for (std::size_t p = 0; p < parts.size(); ++p) {
        std::vector<std::vector<half>> planes;
        Imf::FrameBuffer source;
        for (std::size_t c = 0; c < parts[p].channels.size(); ++c) {
          planes.emplace_back(64, half(static_cast<float>(10 * p + c)));
        }
        for (std::size_t c = 0; c < planes.size(); ++c) {
          source.insert(parts[p].channels[c], Imf::Slice(Imf::HALF, reinterpret_cast<char*>(planes[c].data()), 2, 16));
        }
        Imf::OutputPart output(file, static_cast<int>(p));
        output.setFrameBuffer(source);
        output.writePixels(8);
      }
    }
    std::vector<img::layer> layers;
    img::list_layers(path, nullptr, layers);
    std::string names;
    for (const img::layer& layer : layers) names += layer.name + ' ';
    EXPECT_EQ(names, " spec rgba.right diffuse data data.mask ");
    // Blue and red, or gray.
    const std::tuple<const char*, int, int> expected[] = {{"", 2, 0},
                                                          {"spec", 0, 3},
                                                          {"rgba.right", 12, 10},
                                                          {"rgba.left", 2, 0},
                                                          {"rgba.left.spec", 0, 3},
                                                          {"rgba.right.B", 12, -1},
                                                          {"diffuse", 22, 20},
                                                          {"diffuse.G", 21, -1},
                                                          {"data.N", 33, 31},
                                                          {"data.N.Y", 32, -1},
                                                          {"data.mask", 34, -1},
                                                          {"mask", 34, -1},
                                                          {"data", 33, 31},
                                                          {"N", 33, 31}};
    for (const auto& [name, blue, red] : expected) {
      img::image image;
      const img::layer layer{name[0] != 0 ? 2 : 0, -1, name};
      img::load(image, path, nullptr, &layer);
      EXPECT_EQ(image.row<std::uint16_t>(0, 5)[3], half(static_cast<float>(blue)).bits()) << name;
      ASSERT_EQ(image.has_plane(2), red >= 0) << name;
      if (red < 0) continue;
      EXPECT_EQ(image.row<std::uint16_t>(2, 5)[3], half(static_cast<float>(red)).bits()) << name;
    }
    img::image image;
    img::load(image, path);
    EXPECT_EQ(image.metadata.at("name"), "rgba.left");
  }
}

TEST(ExrLayers, ListNamesWhatCanBeRead) {
  struct list_case {
    std::vector<channel> channels;
    std::vector<std::string> names;
  };
  const list_case lists[] = {
      {{{"R"}, {"G"}, {"B"}, {"A"}, {"Z"}}, {}},
      {{{"Y"}, {"RY", Imf::HALF, 2, 2}, {"BY", Imf::HALF, 2, 2}}, {}},
      {{{"R"}, {"diffuse.R"}, {"diffuse.G"}, {"spec.r"}, {"N.x"}}, {"N", "diffuse", "spec"}},
      {{{"left.R"}, {"left.Z"}, {"right.Y"}, {"matte"}}, {"left", "right", "left.Z", "matte"}},
      {{{"id", Imf::UINT}, {"uv", Imf::FLOAT, 2, 2}, {"crypto00.q"}}, {"crypto00.q"}},
      {{{"a.b.R"}, {"a.c.G"}}, {"a.b", "a.c"}},
  };
  const support::temp_folder folder;
  const std::string path = folder / "a.exr";
  for (const list_case& list : lists) {
    shape s;
    s.channels = list.channels;
    s.display = s.data = {{0, 0}, {7, 7}};
    exr_files::write(path, s);
    std::vector<img::layer> layers;
    img::list_layers(path, nullptr, layers);
    ASSERT_EQ(layers.size(), list.names.size() + 1);
    EXPECT_EQ(layers[0], img::layer());
    for (std::size_t i = 1; i < layers.size(); ++i) {
      EXPECT_EQ(layers[i], (img::layer{2, static_cast<int>(i), list.names[i - 1]}));
      img::image by_name;
      img::image by_index;
      const img::layer index{2, static_cast<int>(i), ""};
      img::load(by_name, path, nullptr, &layers[i]);
      img::load(by_index, path, nullptr, &index);
      EXPECT_EQ(by_name.data, by_index.data);
    }
  }
}

}  // namespace
