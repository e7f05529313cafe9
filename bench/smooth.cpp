// A smooth view and a brush.
//
// A composite of 3840 x 2160 with its one layer in memory, in a window of 1920 x 1080 at 45 percent: processor time and
// time of a picture, against the time that a frame has at 24 a second, against the same view with one sample a pixel,
// and against `oiiotool --resize` with a box filter on the same picture, less the same call without it. Then one stamp
// of a soft brush of 200 pixels on a 4K canvas.
#include <cstdio>
#include <ctime>
#include <random>

#include "img/format.h"
#include "render/brush/stamp.h"
#include "render/compositor.h"
#include "support.h"

namespace {

constexpr int layer_width = 3840;
constexpr int layer_height = 2160;

double processor_seconds(const std::function<void()>& work) {
  const auto now = [] {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + time.tv_nsec * 1e-9;
  };
  const double start = now();
  work();
  return now() - start;
}

img::image_ptr noise_picture() {
  auto picture = std::make_shared<img::image>("BGR", 8, layer_width, layer_height);
  picture->set_centre_anchor();
  std::minstd_rand random(1);
  for (int p = 0; p < 3; ++p) {
    for (std::size_t i = 0; i < picture->data[p].size(); ++i) {
      picture->data[p].data()[i] = static_cast<std::uint8_t>(random() >> 8);
    }
  }
  return picture;
}

struct scene {
  ksn::state composition;
  std::vector<render::prepared_layer> layers;
  img::image_ptr picture = noise_picture();
  img::image target{"BGRAZ", 8, 1920, 1080};

  scene() {
    ksn::track_info track;
    track.source.type = ksn::source_type::image;
    track.look.visible = true;
    track.source.width = layer_width;
    track.source.height = layer_height;
    composition.doc.tracks.push_back(track);
    render::prepared_layer layer;
    layer.image = picture;
    layer.opacity = 100;
    layers.push_back(layer);
  }
  void draw(bool smooth) {
    render::frame_view view;
    view.width = 1920;
    view.height = 1080;
    view.zoom_x = view.zoom_y = 0.45;
    view.smooth = smooth;
    const render::background black{};
    render::render_stereo_pair(&target, nullptr, composition, layers, view, &black);
  }
};

double median_of(int rounds, const std::function<double()>& time) {
  std::vector<double> times;
  for (int i = 0; i < rounds; ++i) times.push_back(time());
  return bench::median(times);
}

void against_oiiotool(scene& s, double smooth) {
  if (!bench::have("oiiotool")) {
    std::printf("no oiiotool here\n");
    return;
  }
  const bench::work_folder folder;
  const std::string path = folder.path() + "/plate.tga";
  img::find_format(path)->write(*s.picture, path, {});
  // Runs that resize 21 times less runs that do so once: twenty times the filter, nothing of reading or starting.
  const std::string resize = " --dup --resize:filter=box 1728x972 --pop";
  const auto command = [&](int count) {
    std::string line = "oiiotool --threads 2 " + path;
    for (int i = 0; i < count; ++i) line += resize;
    return line + " -o " + folder.path() + "/out.tga";
  };
  const double many = median_of(3, [&] { return bench::seconds([&] { bench::run(command(21)); }); });
  const double one = median_of(3, [&] { return bench::seconds([&] { bench::run(command(1)); }); });
  const double peer = (many - one) / 20;
  std::printf("oiiotool's box filter: %.1f ms, the smooth view's rate: %.1f times\n", peer * 1e3, peer / smooth);
}

}  // namespace

int main() {
  scene s;
  s.draw(true);
  s.draw(false);
  std::vector<double> clock_smooth, clock_plain, work_smooth, work_plain;
  for (int i = 0; i < 41; ++i) {
    double clock = 0;
    work_smooth.push_back(processor_seconds([&] { clock = bench::seconds([&] { s.draw(true); }); }));
    clock_smooth.push_back(clock);
    work_plain.push_back(processor_seconds([&] { clock = bench::seconds([&] { s.draw(false); }); }));
    clock_plain.push_back(clock);
  }
  const double smooth = bench::median(clock_smooth);
  std::printf("3840 x 2160 in 1920 x 1080 at 45 percent: %.2f ms by the clock, %.2f ms of processor time\n",
              smooth * 1e3, bench::median(work_smooth) * 1e3);
  std::printf(
      "part of two processors' time at 24: %.2f; times the plain view: %.1f by the clock, %.1f in processor time\n",
      bench::median(work_smooth) / 2 * 24, smooth / bench::median(clock_plain),
      bench::median(work_smooth) / bench::median(work_plain));
  against_oiiotool(s, smooth);

  img::image canvas("BGRA", 8, 4096, 2160);
  canvas.fill(0, 0, 0, 0);
  render::brush_stamps stamps;
  const render::brush_shape brush{200, 80};
  const auto stroke = [&](int first_size) {
    for (int i = 0; i < 200; ++i) {
      const render::brush_shape shape{first_size == 0 ? brush.size : first_size + i % 2, brush.softness};
      render::paint_stamp(canvas, stamps.stamp(shape, i % 4, i / 4 % 4), {100 + 7 * i, 50 + 5 * i}, {200, 90, 50, 10},
                          false);
    }
  };
  stroke(0);
  const double kept = median_of(9, [&] { return processor_seconds([&] { stroke(0); }) / 200; });
  const double changing = median_of(5, [&] { return processor_seconds([&] { stroke(199); }) / 200; });
  std::printf("a stamp of 200 pixels: %.3f ms of processor time, with a new size each time %.3f ms\n", kept * 1e3,
              changing * 1e3);
}
