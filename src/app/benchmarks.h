// The actions that measure: bench_decode, bench_composite and bench_preload.
#pragma once

#include "cache/reading/frame_loader.h"
#include "command/engine.h"
#include "render/pipeline.h"

namespace app {

// `uncached`: how bench_decode makes a pipeline of its own on the cache of `pipeline`.
void register_benchmarks(command::engine& engine, render::pipeline& pipeline, const render::pipeline_options& uncached,
                         cache::frame_loader& loader);

}  // namespace app
