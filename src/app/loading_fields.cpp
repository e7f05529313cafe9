#include "app/loading_fields.h"

#include <limits>

#include "command/field_builder.h"

namespace app {
namespace {

constexpr std::size_t megabyte = 1'000'000;

}  // namespace

void register_loading_fields(command::engine& engine, cache::frame_loader& loader) {
  using command::add_global;
  const auto read_only = [](const ksn::state&, const std::string&) { return false; };
  cache::frame_cache& frames = loader.reading().cache();
  cache::frame_scheduler& reading = loader.reading();

  add_global(
      engine, "memory_limit", "N", "megabytes of frames kept in memory; 0 goes by the machine's memory",
      [&frames](const ksn::state&) { return std::to_string(frames.memory_limit / megabyte); },
      [&frames](ksn::state&, const std::string& value) {
        int megabytes = 0;
        if (!command::read_int(value, megabytes, 0, std::numeric_limits<int>::max())) return false;
        frames.memory_limit = static_cast<std::size_t>(megabytes) * megabyte;
        frames.trim(frames.memory_reserve_percent);
        return true;
      });
  add_global(
      engine, "readers", "N",
      "frames read at once, 1 to 16, where a disk or server lets the processors wait; 0 as many as there are "
      "processors, at least 4",
      [&reading](const ksn::state&) { return std::to_string(reading.readers()); },
      [&reading](ksn::state&, const std::string& value) {
        int count = 0;
        if (!command::read_int(value, count, 0, cache::frame_scheduler::most_readers)) return false;
        reading.set_readers(count);
        return true;
      });
  add_global(
      engine, "fill_at_rest", "0|1", "load the work area from the current frame outward while nothing else goes on",
      [&loader](const ksn::state&) { return command::write_bool(loader.fill_at_rest); },
      [&loader](ksn::state&, const std::string& value) { return command::read_bool(value, loader.fill_at_rest); });
  add_global(
      engine, "frame_cache", "FRAMES,BYTES", "frames in memory, and their bytes; only to be read",
      [&frames](const ksn::state&) {
        return std::to_string(frames.queue_size()) + "," + std::to_string(frames.bytes());
      },
      read_only);
  add_global(
      engine, "frame_reading", "READ,WAITING,HANGING",
      "frames that are being read, that wait to be, and that do not come back; only to be read",
      [&reading](const ksn::state&) {
        const cache::frame_scheduler::counts count = reading.count();
        return std::to_string(count.reading) + "," + std::to_string(count.waiting) + "," +
               std::to_string(count.hanging);
      },
      read_only);
}

}  // namespace app
