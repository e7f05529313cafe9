// A composition of every kind of layer and the option text that it is exported to give the same pictures.
#include <sstream>

#include "command/random_document.h"
#include "composition/documents/persistence.h"
#include "img/formats/exr/files.h"
#include "support/numbered_movie.h"
#include "support/program_test.h"

namespace {

class option_text_pictures : public support::program_test {
 protected:
  // Values at random leave most layers outside the picture or next to nothing: these bring them in.
  static void bring_into_view(support::random_document& random, support::document& document) {
    document.doc.mask_size = {64, 48};
    document.doc.fpcs = 2400;
    document.view.zoom_factor2 = 80;
    document.view.pan_position = {3, 2};
    for (ksn::track_info& layer : document.doc.tracks) {
      layer.look.visible = random.below(8) != 0;
      layer.look.opacity = 40 + random.below(61);
      layer.look.channels = random.below(4) ? ksn::view_type::rgb : layer.look.channels;
      layer.look.target_view = ksn::target_view_type::both;
      layer.look.tf = random.below(2) ? img::correction() : layer.look.tf;
      layer.placement.pos = {random.below(41) - 20, random.below(31) - 15};
      layer.placement.scale_x = 40 + random.below(200);
      layer.placement.scale_y = 40 + random.below(200);
      layer.placement.crop = random.below(4) == 0;
      layer.placement.crop_xy = {random.below(9) - 4, random.below(9) - 4};
      layer.timing.begin = random.below(20) - 10;
      layer.timing.retime = 1 + random.below(3) / 4.0;
      layer.timing.fade_in = random.below(5);
      layer.timing.fade_out = random.below(5);
      layer.set_in_out(random.below(4), 300);
      layer.lettering.text_attr.font = "Liberation Sans";
    }
  }

  // An option text but for its lookup tables: those of layers are the document's when it has been run.
  strings text_without_tables(const std::string& name) const {
    strings lines;
    std::istringstream text(support::read_file(folder / name));
    for (std::string line; std::getline(text, line);) {
      if (!line.starts_with("--lookup_table_data=")) lines.push_back(line);
    }
    return lines;
  }

  // Pictures at several times, and one of the view, under names that begin with `name`.
  static strings pictures_of(const std::string& name) {
    strings arguments;
    for (const char* time : {"0", "3", "11.5", "40"}) {
      arguments.push_back(std::string("--time=") + time);
      arguments.push_back("--save_mask_as_image=" + name + "." + time + ".tga");
    }
    arguments.push_back("--save_screen_as=" + name + ".view.tga");
    return arguments;
  }
};

TEST_F(option_text_pictures, are_those_of_the_composition) {
  support::write_frames(folder, 40, 30);
  std::vector<std::string> sources = {folder / "layers.exr", folder / "sound.wav"};
  exr_files::shape layers;
  layers.channels = {{"R"}, {"G"}, {"B"}, {"A"}, {"Z"}, {"glow.R"}, {"glow.G"}, {"glow.B"}};
  exr_files::write(sources[0], layers);
  for (const char* name : {"s q.1.tga", "s q.2.tga", "s q.4.tga", "one.7.tga"}) {
    img::save(support::random_picture("BGRA", 40, 30, static_cast<unsigned>(name[4])), folder / name, nullptr, {});
  }
  const auto le = [](unsigned value, int bytes) {
    std::string out;
    for (int i = 0; i < bytes; ++i) out += static_cast<char>(value >> (8 * i));
    return out;
  };
  support::write_file(sources[1], "RIFF" + le(36 + 400, 4) + "WAVEfmt " + le(16, 4) + le(1, 2) + le(1, 2) +
                                      le(44100, 4) + le(88200, 4) + le(2, 2) + le(16, 2) + "data" + le(400, 4) +
                                      std::string(400, '\1'));
  if (support::have_ffmpeg()) {
    sources.push_back(folder / "movie.mov");
    ASSERT_TRUE(support::encode_numbers(sources.back(), 24, "-c:v png -pix_fmt rgb24"));
  }
  int shown = 0, pictures = 0;
  for (unsigned seed = 1; seed <= 6; ++seed) {
    {
      support::program made;
      support::random_document random(made, seed, folder, sources);
      random.fill();
      bring_into_view(random, made.document);
      ASSERT_EQ(made.errors, strings()) << seed;
      ksn::save_composition(made.document, folder / "a.ksncomp");
    }
    strings first = {"a.ksncomp", "--global:exposure=0.5", "--global:saturation=60", "--view_filter=smooth"};
    strings second = {"first.ksncmd"};
    for (auto [arguments, name] : {std::pair(&first, "first"), std::pair(&second, "second")}) {
      arguments->push_back(std::string("--export_composition_as=") + name + ".ksncmd");
      for (const std::string& argument : pictures_of(name)) arguments->push_back(argument);
      arguments->push_back("--exit=status");
      const support::outcome found = run(*arguments);
      // Of a frame that isn't there each save says so.
      for (const std::string& line : found.error_lines()) {
        EXPECT_NE(line.find("The frame is missing"), line.npos) << seed << name << line;
      }
    }
    EXPECT_EQ(text_without_tables("first.ksncmd"), text_without_tables("second.ksncmd")) << seed;
    for (const char* which : {"0", "3", "11.5", "40", "view"}) {
      const std::string ending = std::string(".") + which + ".tga";
      const std::string bytes = support::read_file(folder / ("first" + ending));
      EXPECT_TRUE(bytes == support::read_file(folder / ("second" + ending))) << seed << ending;
      img::image picture;
      img::load(picture, folder / ("first" + ending));
      const img::plane& green = picture.data[1];
      ++pictures;
      shown += std::any_of(green.data(), green.data() + green.size(), [&](int v) { return v != green.data()[0]; });
    }
  }
  EXPECT_GT(shown, pictures * 3 / 4) << "of " << pictures << " pictures";
}

}  // namespace
