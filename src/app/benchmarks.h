// The actions that measure: bench_decode and bench_composite.
#pragma once

#include "command/engine.h"
#include "render/pipeline.h"

namespace app {

// Options of a pipeline whose failures become error lines.
render::pipeline_options reporting(command::engine& engine, bool use_cache);

// bench_decode works without the cache of `pipeline`.
void register_benchmarks(command::engine& engine, render::pipeline& pipeline);

}  // namespace app
