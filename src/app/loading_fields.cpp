#include "app/loading_fields.h"

#include "command/field_builder.h"

namespace app {
namespace {

constexpr std::size_t megabyte = 1'000'000;

}  // namespace

void register_loading_fields(command::engine& engine, cache::frame_loader& loader) {
  using ksn::state;
  cache::frame_cache& frames = loader.reading().cache();
  cache::frame_scheduler& reading = loader.reading();

  command::add_by<state>(
      engine, "memory_limit", "megabytes of frames kept in memory; 0 goes by the machine's memory", command::integer(0),
      [&frames](const state&) { return static_cast<int>(frames.memory_limit / megabyte); },
      [&frames](state&, int megabytes) {
        frames.memory_limit = static_cast<std::size_t>(megabytes) * megabyte;
        frames.trim(frames.memory_reserve_percent);
      });
  command::add_by<state>(
      engine, "memory_reserve", "memory that is left to other programs, in percent", command::integer(0, 90),
      [&frames](const state&) { return frames.memory_reserve_percent.load(); },
      [&frames](state&, int percent) { frames.memory_reserve_percent = percent; });
  command::add_by<state>(
      engine, "readers",
      "frames read at once, 1 to 16, where a disk or server lets the processors wait; 0 as many as there are "
      "processors, at least 4",
      command::integer(0, cache::frame_scheduler::most_readers), [&reading](const state&) { return reading.readers(); },
      [&reading](state&, int count) { reading.set_readers(count); });
  engine.global_field_table.back().of_machine = true;
  command::add_by<state>(
      engine, "fill_at_rest", "load the work area from the current frame outward while nothing else goes on",
      command::boolean(), [&loader](const state&) { return loader.fill_at_rest; },
      [&loader](state&, bool on) { loader.fill_at_rest = on; });
  command::add_read_only<state>(
      engine, "frame_cache", "frames in memory, and their bytes; only to be read", command::text("FRAMES,BYTES"),
      [&frames](const state&) { return std::to_string(frames.queue_size()) + "," + std::to_string(frames.bytes()); });
  command::add_read_only<state>(
      engine, "frame_reading",
      "frames that are being read, that wait to be, and that do not come back; only to be read",
      command::text("READ,WAITING,HANGING"), [&reading](const state&) {
        const cache::frame_scheduler::counts count = reading.count();
        return std::to_string(count.reading) + "," + std::to_string(count.waiting) + "," +
               std::to_string(count.hanging);
      });
}

}  // namespace app
