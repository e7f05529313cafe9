// What ruler and layer stack take of a frame: 30 rows of 1,000 layers on a timeline of 100,000 frames, half of which
// are in memory, in a thousand pieces, while the time cursor goes on from frame to frame. And what a change of one
// frame, another width of the window and a turn in which nothing happens cost.
#include <cstdio>

#include "cache/reading/frame_board.h"
#include "cache/track_frame.h"
#include "support.h"
#include "ui/opened_parts.h"
#include "ui/skin/drawing.h"
#include "ui/timeline/timeline.h"
#include "ui/toolkit/painter.h"

namespace {

constexpr int layers = 1000;
constexpr int frames_of_each = 100'000;
constexpr int rows = 30;
constexpr int piece = 100;  // frames
constexpr int rounds = 101;
constexpr double frame = 1.0 / 60;

// A clip of pictures of one pixel.
class small_clip : public sources::clip {
 public:
  sources::clip_kind kind() const override { return sources::clip_kind::avi; }
  int frames() const override { return frames_of_each; }
  int rate() const override { return 2400; }
  int width() const override { return 1; }
  int height() const override { return 1; }
  bool has_alpha() const override { return false; }
  long long address_of(int frame) const override { return frame; }
  bool can_reduce() const override { return false; }
  bool reads_in_order() const override { return false; }
  bool read(int, int, img::image& image) override {
    image = img::image("L", 8, 1, 1);
    return true;
  }
};

struct bed : support::opened_parts {
  text::fonts fonts;
  ui::skins skins;
  ui::drawing_functions drawing = ui::drawing_with(skins, fonts);
  ui::input input{{[](math::point) { return nullptr; }, [](ui::cursor_shape) {}, [](int) { return false; }}};
  math::point size;
  ui::workbench bench{{subjects()}, input, {input}, [this] { return ksn::layout_window(composition, size); }};
  std::shared_ptr<ui::mark_table> marks = std::make_shared<ui::mark_table>();
  std::shared_ptr<ui::ui_object> ruler = ui::make_timeline(bench, marks);
  std::shared_ptr<ui::ui_object> stack = ui::make_tracks(bench, marks);
  img::image target;
  std::vector<img::const_image_ptr> kept;

  bed(math::point client, int scale) : size(client), target("BGRAZ", 8, client.x, client.y) {
    frames.memory_load = [] { return 0; };
    composition.interface_scale = scale;
    composition.workspace.track_max = rows;
    composition.doc.tm_n = composition.doc.tm_l = frames_of_each;
    // One source for all: what is in memory takes memory here, too.
    const auto clip = std::make_shared<small_clip>();
    for (int i = 0; i < layers; ++i) {
      ksn::track_info track;
      track.name = "shot_" + std::to_string(1000 + i) + "_plate.####.exr";
      track.source.type = ksn::source_type::avi;
      track.source.frames = frames_of_each;
      track.source.path = "/clip";
      track.source.clip = clip;
      track.look.visible = true;
      composition.doc.tracks.push_back(track);
    }
    for (int i = piece; i < frames_of_each; i += i % piece == piece - 1 ? piece + 1 : 1) {
      const cache::frame_key key = cache::key_of_frame(composition.doc.tracks[0], i, ksn::cache_resolution_type::full);
      kept.push_back(frames.get_clip_frame(key, *clip, i, nullptr));
      frames.touch(kept.back());
    }
    do {
      board.update(composition);
    } while (board.is_busy());
    draw();
  }
  void draw() {
    ui::painter on(target, drawing, composition.interface_scale);
    const ksn::window_layout window = bench.layout();
    const ui::place at{window.split_middle(), window.size, window.scale};
    ruler->draw(on, at);
    stack->draw(on, at);
  }
};

}  // namespace

int main() {
  struct row {
    const char* name;
    math::point size;
    int scale;
  };
  for (const row& r : {row{"1920 x 1080, scale 1", {1920, 1080}, 1}, row{"3840 x 2160, scale 2", {3840, 2160}, 2}}) {
    bed bed(r.size, r.scale);
    int turn = 0;
    int time = 0;
    int first = 0;
    std::vector<bench::contender> work = {
        {"draw",
         [&] {
           bed.composition.doc.set_current_time(time = (time + 1) % 600);
           bed.draw();
         },
         {}},
        {"scrolled",
         [&] {
           bed.composition.doc.selection = {first = (first + 37) % layers};
           bed.draw();
         },
         {}},
        {"event and draw",
         [&] {
           const img::const_image_ptr& image = bed.kept[static_cast<std::size_t>(turn++) % bed.kept.size()];
           turn % 2 ? bed.frames.drop(image) : bed.frames.touch(image);
           bed.board.update(bed.composition);
           bed.draw();
         },
         {}},
        {"quiet turn", [&] { bed.board.update(bed.composition); }, {}},
    };
    bench::run_in_turn(work, rounds);
    const double drawn = work[0].typical();
    std::printf("%s: ruler and %d of %d rows %.2f ms, %.1f %% of a frame at 60; scrolled %.1f %%\n", r.name, rows,
                layers, drawn * 1e3, 100 * drawn / frame, 100 * work[1].typical() / frame);
    std::printf("  one frame more or less in memory, seen by %d layers: %.0f us; a quiet turn %.1f us\n", layers,
                (work[2].typical() - drawn) * 1e6, work[3].typical() * 1e6);
    std::vector<bench::contender> width = {{"width",
                                            [&] {
                                              bed.size.x ^= 2;
                                              bed.draw();
                                            },
                                            {}}};
    bench::run_in_turn(width, 9);
    std::printf("  another width, all %d layers anew: %.0f ms\n", layers, width[0].typical() * 1e3);
  }
}
