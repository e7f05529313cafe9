#include "app/benchmarks.h"

#include <chrono>

#include "app/interrupt.h"
#include "command/messages.h"
#include "command/values.h"
#include "render/compositor.h"

namespace app {

namespace {

using steady = std::chrono::steady_clock;

void print_rate(command::engine& engine, const std::string& name, std::size_t frames, steady::time_point start) {
  const std::chrono::duration<double> time = steady::now() - start;
  engine.write_output(name + "=" + std::to_string(frames));
  engine.write_output(
      name + "_fps=" + command::write_double(time.count() > 0 ? static_cast<double>(frames) / time.count() : 0));
}

// Calls frame(t) for every timeline frame of the work area, counts those for which it is true and prints count and
// rate.
template <class Frame>
void measure(command::engine& engine, const std::string& name, Frame frame) {
  const ksn::state& composition = engine.composition();
  const auto start = steady::now();
  std::size_t frames = 0;
  for (int t = composition.doc.tm_f; t < composition.doc.tm_l && !interrupted(); ++t) frames += frame(t) ? 1 : 0;
  print_rate(engine, name, frames, start);
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
  const render::frame_view view = render::output_view(composition.doc, composition.view);
  measure(engine, "bench_composite", [&](int t) {
    render::render_frame(pipeline, composition, target, view, t);
    return true;
  });
}

// Frames of all layers count, each as it comes into memory.
void bench_preload(command::engine& engine, cache::frame_loader& loader) {
  const ksn::state& composition = engine.composition();
  composition.hooks.clear_cache();
  const auto start = steady::now();
  for (const ksn::track_info& track : composition.doc.tracks) {
    if (track.look.visible) loader.preload(track, composition.doc.tm_f, composition.doc.tm_l);
  }
  loader.finish_preload(composition, interrupted);
  print_rate(engine, "bench_preload", loader.reading().cache().queue_size(), start);
}

}  // namespace

void register_benchmarks(command::engine& engine, render::pipeline& pipeline, const render::pipeline_options& uncached,
                         cache::frame_loader& loader) {
  engine.add({.group = command::action_group::information,
              .name = "bench_decode",
              .help = "measure how fast the selected layer's frames of the work area are decoded, without the cache",
              .execute = [&engine, &pipeline, uncached] { bench_decode(engine, pipeline.frame_cache(), uncached); }});
  engine.add({.group = command::action_group::information,
              .name = "bench_composite",
              .help = "measure how fast the frames of the work area are composited",
              .execute = [&] { bench_composite(engine, pipeline); }});
  engine.add({.group = command::action_group::information,
              .name = "bench_preload",
              .help = "measure how fast the frame cache is filled with the work area",
              .execute = [&] { bench_preload(engine, loader); }});
}

}  // namespace app
