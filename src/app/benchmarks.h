// The actions that measure: bench_decode and bench_composite.
#pragma once

#include "command/engine.h"
#include "render/pipeline.h"

namespace app {

// bench_decode works without the cache of `pipeline`.
void register_benchmarks(command::engine& engine, render::pipeline& pipeline);

}  // namespace app
