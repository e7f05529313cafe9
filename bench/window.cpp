// The time that the areas of the window take beside the picture in its preview: the whole client area against the
// preview alone, at 1080p and, with the interface at twice its size, at 4K; what lies over the picture; the property
// panel by itself; and a turn of one of its sliders over five layers of 1920 x 1080 in memory, from the new value to
// the picture of the window.
#include "ui/window.h"

#include <cstdio>

#include "command/field_view.h"
#include "support.h"
#include "ui/opened_parts.h"
#include "ui/screen.h"
#include "ui/skin/drawing.h"

namespace {

constexpr int rounds = 301;

struct bed : support::opened_parts {
  text::fonts fonts;
  ui::skins skins;
  ui::drawing_functions drawing = ui::drawing_with(skins, fonts);
  math::point size;
  ui::window window{ui::window_parts{{subjects()}, drawing, [this] { return size; }}};
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

// Opens the panel at its fullest tab.
void open_panel(bed& bed) {
  bed.composition.workspace.pp_visible = true;
  bed.composition.workspace.split_color = true;
}

void panel_row(const char* name, math::point size, int scale) {
  bed bed(size, scale);
  bed.composition.workspace.split_color = true;
  bool& shown = bed.composition.workspace.pp_visible;
  const auto draw = [&](bool with_panel) {
    shown = with_panel;
    bed.window.draw(bed.target, bed.size, 0, nullptr);
  };
  std::vector<bench::contender> rows = {{"with", [&] { draw(true); }, {}}, {"without", [&] { draw(false); }, {}}};
  bench::run_in_turn(rows, rounds);
  const double panel = rows[0].typical() - rows[1].typical();
  std::printf("%s: the property panel %.2f ms, %.1f %% of a frame at 60\n", name, panel * 1e3, 100 * panel * 60);
}

void slider_row() {
  bed bed({1920, 1080}, 1);
  ksn::state& composition = bed.composition;
  composition.layer_delete_all();
  for (int i = 0; i < 5; ++i) {
    ksn::track_info layer;
    layer.source.type = ksn::source_type::clipboard_image;
    layer.source.frames = 1;
    layer.source.width = 1920;
    layer.source.height = 1080;
    layer.source.clipboard_image = std::make_shared<img::image>("BGRA", 8, 1920, 1080);
    layer.source.clipboard_image->set_centre_anchor();
    layer.source.clipboard_image->fill(static_cast<std::uint8_t>(40 * i), 100, 200, 128);
    layer.look.visible = true;
    layer.look.alpha_type = ksn::alpha_type::normal;
    composition.enter_stack(std::move(layer), false);
  }
  open_panel(bed);
  const command::field_view exposure(bed.engine, "exposure");
  double value = 0;
  std::vector<bench::contender> rows = {{"turn",
                                         [&] {
                                           value = value > 1 ? 0 : value + 0.01;
                                           exposure.set_number(value, 0);
                                           bed.window.draw(bed.target, bed.size, 0, nullptr);
                                         },
                                         {}}};
  bench::run_in_turn(rows, rounds);
  const double turn = rows[0].typical();
  std::printf("a slider over five layers of 1920 x 1080: a turn %.1f ms, %.0f %% of a frame at 24\n", turn * 1e3,
              100 * turn * 24);
}

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
    panel_row(r.name, r.size, r.scale);
  }
  slider_row();
}
