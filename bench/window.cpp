// The time that the areas of the window take beside the picture in its preview: the whole client area against the
// preview alone, at 1080p and, with the interface at twice its size, at 4K; and what lies over the picture.
#include "ui/window.h"

#include <cstdio>

#include "support.h"
#include "ui/screen.h"
#include "ui/skin/drawing.h"

namespace {

constexpr int rounds = 61;

struct bed {
  ksn::state composition;
  cache::frame_cache frames;
  cache::frame_scheduler reading{frames};
  cache::frame_board board{reading};
  command::engine engine{composition};
  render::pipeline pipeline{frames, {}};
  playback::clock clock{composition, frames};
  command::key_table keys;
  lib::error_record errors;
  text::fonts fonts;
  ui::skins skins;
  ui::drawing_functions drawing = ui::drawing_with(skins, fonts);
  math::point size;
  ui::window window{
      ui::window_parts{.composition = composition,
                       .engine = engine,
                       .pipeline = pipeline,
                       .clock = clock,
                       .keys = keys,
                       .errors = errors,
                       .frames = board,
                       .product_title = "Kestrin 1",
                       .drawing = drawing,
                       .client_size = [this] { return size; },
                       .set_cursor = [](ui::cursor_shape) {},
                       .run_key = [](int) { return false; },
                       .context_menu = [](std::string_view, math::point) {},
                       .run = [](const std::string&) {},
                       .work_area_changed = [] {},
                       .recent_sources = [] { return std::vector<std::string>(); },
                       .text = [](std::string_view key) { return std::string(key); },
                       .popup_menu = [](const std::vector<platform::menu_entry>&, math::point) { return -1; },
                       .clipboard_text = [] { return std::string(); },
                       .set_clipboard_text = [](const std::string&) {}}};
  img::image target;

  bed(math::point client, int scale) : size(client) {
    composition.interface_scale = scale;
    // The mask darkens a border around the output.
    composition.doc.mask_size = {client.x * 9 / 10, client.y * 6 / 10};
    for (int i = 0; i < 5; ++i) composition.new_adjustment_layer();
    composition.workspace.track_max = 5;
    command::register_document_actions(engine);
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
    std::vector<bench::contender> rows = {
        {"window", [&] { bed.window.draw(bed.target, bed.size, 0, nullptr); }, {}},
        {"preview",
         [&] { ui::draw_screen(bed.pipeline, bed.composition, 0, bed.target, bed.size.x, bed.size.y, nullptr); },
         {}},
        {"with mask, safe area and grid",
         [&] {
           ksn::view& view = bed.composition.view;
           view.safe_area_active = view.grid = true;
           ui::draw_screen(bed.pipeline, bed.composition, 0, bed.target, bed.size.x, bed.size.y, nullptr);
           view.safe_area_active = view.grid = false;
         },
         {}}};
    // With a tip on top.
    bed.window.draw(bed.target, bed.size, 0, nullptr);
    bed.window.input().mouse_move({bed.size.x / 2, bed.size.y - 160 * r.scale}, 0);
    bed.window.pass(601, true);
    bench::run_in_turn(rows, rounds);
    const double areas = rows[0].typical() - rows[1].typical();
    std::printf("%s: the areas beside the picture %.2f ms, %.1f %% of a frame at 60\n", r.name, areas * 1e3,
                100 * areas * 60);
    const double marks = rows[2].typical() - rows[1].typical();
    std::printf("%s: mask, safe area and grid %.2f ms, %.1f %% of a frame at 60\n", r.name, marks * 1e3,
                100 * marks * 60);
  }
}
