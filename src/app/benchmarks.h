// The actions that measure: bench_decode and bench_composite.
#pragma once

#include "command/engine.h"
#include "render/pipeline.h"

namespace app {

// `uncached`: how bench_decode makes a pipeline of its own on the cache of `pipeline`.
void register_benchmarks(command::engine& engine, render::pipeline& pipeline, const render::pipeline_options& uncached);

}  // namespace app
