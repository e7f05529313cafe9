// The time to draw the interface: pictures of the skin, texts whose masks are kept, and texts that change. And what a
// text layer takes.
//
// A picture is compared with copying its planes and those that it is drawn over; everything also with a frame's time at
// 60 pictures a second.
#include <cstring>

#include "render/pipeline.h"
#include "support.h"
#include "text/draw.h"
#include "ui/skin/skin.h"

namespace {

constexpr int buttons = 40;
constexpr int labels = 60;
constexpr int repeats = 200;
constexpr int rounds = 31;

struct bed {
  int scale;
  ui::skin skin;
  text::fonts fonts;
  img::image target{"BGRAZ", 8, 1920, 200};
  std::vector<const img::image*> pictures;
  std::size_t picture_bytes = 0;

  explicit bed(int scale) : scale(scale) {
    std::string error;
    if (!skin.load_for_scale(scale, error)) {
      std::fprintf(stderr, "%s\n", error.c_str());
      std::exit(1);
    }
    target.fill(44, 44, 44, 255, 0);
    skin.for_each([&](const std::string& name, const img::image& image) {
      if (name.ends_with("_pressed.tga") && static_cast<int>(pictures.size()) < buttons) pictures.push_back(&image);
    });
    for (const img::image* picture : pictures) picture_bytes += 4 * picture->data[0].size();
  }

  math::point place(int i, int of) const { return {40 + i * 1800 / of, 100}; }

  void draw_pictures() {
    for (int i = 0; i < buttons; ++i) {
      ui::draw_image(target, pictures[static_cast<std::size_t>(i) % pictures.size()], place(i, buttons));
    }
  }
  void draw_texts(int turn) {
    const text::font font = text::interface_font("panel.label", scale);
    for (int i = 0; i < labels; ++i) {
      text::draw_text(fonts, "Exposure " + std::to_string(1000 + turn * labels + i), font, target, place(i, labels),
                      {255, 226, 226, 226});
    }
  }
};

// A text layer of ten fields over 1920 x 1080, in another frame each time and in the same one.
void text_layer() {
  ksn::state composition;
  ksn::track_info track;
  track.source.type = ksn::source_type::text;
  track.look.alpha_type = ksn::alpha_type::normal;
  track.source.frames = 1000;
  track.source.width = 1920;
  track.source.height = 1080;
  for (int i = 0; i < 5; ++i) track.lettering.text += "{composition:name} frame {timeline:frame,4}\n";
  composition.doc.tracks.push_back(track);
  cache::frame_cache cache;
  render::pipeline pipeline(cache, {});
  int frame = 0;
  const auto shown = [&](int at) {
    pipeline.layer_frame(composition, composition.doc.tracks[0], 0, ksn::cache_resolution_type::full, false, at);
  };
  std::vector<bench::contender> rows = {{"changed", [&] { shown(++frame % 1000); }, {}},
                                        {"unchanged",
                                         [&] {
                                           for (int i = 0; i < repeats; ++i) shown(frame % 1000);
                                         },
                                         {}}};
  bench::run_in_turn(rows, 10 * rounds);
  std::printf("text layer of ten fields at 1080p: %.2f ms when it changed, %.4f ms when not\n", rows[0].typical() * 1e3,
              rows[1].typical() * 1e3 / repeats);
}

}  // namespace

int main() {
  for (const int scale : {1, 2}) {
    bed bed(scale);
    std::vector<char> from(bed.picture_bytes), to(bed.picture_bytes);
    int turn = 0;
    std::vector<bench::contender> rows = {
        {"pictures",
         [&] {
           for (int i = 0; i < repeats; ++i) bed.draw_pictures();
         },
         {}},
        {"copies",
         [&] {
           for (int i = 0; i < repeats; ++i) std::memcpy(to.data(), from.data(), from.size());
         },
         {}},
        {"kept texts",
         [&] {
           for (int i = 0; i < repeats; ++i) bed.draw_texts(0);
         },
         {}},
        {"new texts", [&] { bed.draw_texts(++turn); }, {}},
    };
    bench::run_in_turn(rows, rounds);
    const double frame = 1.0 / 60;
    const double pictures = rows[0].typical() / repeats;
    const double kept = rows[2].typical() / repeats;
    std::printf("scale %d: %zu pictures of the skin %.1f times copying them, %.2f %% of a frame at 60\n", scale,
                bed.pictures.size(), rows[0].typical() / rows[1].typical(), 100 * pictures / frame);
    std::printf("scale %d: %d texts with kept masks %.2f %% of a frame at 60, new ones %.0f times that\n", scale,
                labels, 100 * kept / frame, rows[3].typical() / kept);
  }
  std::vector<bench::contender> start = {{"bundle",
                                          [] {
                                            ui::skin skin;
                                            std::string error;
                                            skin.load_for_scale(2, error);
                                          },
                                          {}},
                                         {"first text",
                                          [] {
                                            text::fonts fonts;
                                            fonts.mask_of(text::interface_font("default"), "a");
                                          },
                                          {}}};
  bench::run_in_turn(start, rounds);
  text_layer();
  for (const bench::contender& row : start) std::printf("%s: %.1f ms\n", row.name.c_str(), row.typical() * 1e3);
}
