#include "app/benchmarks.h"

#include <chrono>

#include "app/interrupt.h"
#include "command/messages.h"
#include "command/values.h"
#include "render/compositor.h"

namespace app {

namespace {

// Calls frame(t) for every timeline frame of the work area, counts those for which it is true and prints count and
// rate.
template <class Frame>
void measure(command::engine& engine, const std::string& name, Frame frame) {
  const ksn::state& composition = engine.composition();
  const auto start = std::chrono::steady_clock::now();
  int frames = 0;
  for (int t = composition.doc.tm_f; t < composition.doc.tm_l && !interrupted(); ++t) frames += frame(t) ? 1 : 0;
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  engine.write_output(name + "=" + std::to_string(frames));
  engine.write_output(name + "_fps=" + command::write_double(time.count() > 0 ? frames / time.count() : 0));
}

void bench_decode(command::engine& engine, cache::frame_cache& frames, const render::pipeline_options& options) {
  const ksn::state& composition = engine.composition();
  const int index = composition.doc.selected_index();
  if (index >= composition.doc.track_count()) {
    engine.report(command::about("--bench_decode", command::option_needs_layer));
    return;
  }
  render::pipeline uncached(frames, options);
  measure(engine, "bench_decode", [&](int t) {
    return uncached.layer_image(composition, composition.doc.track_at(index), t, ksn::cache_resolution_type::full) !=
           nullptr;
  });
}

void bench_composite(command::engine& engine, render::pipeline& pipeline) {
  const ksn::state& composition = engine.composition();
  img::image target;
  render::frame_view view;
  view.width = composition.doc.mask_size.x;
  view.height = composition.doc.mask_size.y;
  measure(engine, "bench_composite", [&](int t) {
    render::render_frame(pipeline, composition, target, view, t);
    return true;
  });
}

}  // namespace

void register_benchmarks(command::engine& engine, render::pipeline& pipeline,
                         const render::pipeline_options& uncached) {
  engine.add({.group = command::action_group::information,
              .name = "bench_decode",
              .help = "measure how fast the selected layer's frames of the work area are decoded, without the cache",
              .execute = [&engine, &pipeline, uncached] { bench_decode(engine, pipeline.frame_cache(), uncached); }});
  engine.add({.group = command::action_group::information,
              .name = "bench_composite",
              .help = "measure how fast the frames of the work area are composited",
              .execute = [&] { bench_composite(engine, pipeline); }});
}

}  // namespace app
