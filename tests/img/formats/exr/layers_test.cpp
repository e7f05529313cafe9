#include <gtest/gtest.h>

#include "img/format.h"
#include "img/formats/exr/files.h"
#include "support/failure.h"
#include "support/temp_folder.h"

namespace {

using exr_files::channel;
using exr_files::shape;

// What a layer of a file must give: planes as a list of "letter=index of the channel in the file's list as written
// here", "-" for a black plane; or the text of the refusal.
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
    // What is missing is black.
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
    EXPECT_EQ(found_in(path, c), c.expected) << "layer '" << c.layer << "' of " << names;
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
