#include "save/queue/actions.h"

#include <charconv>
#include <cstdio>

#include "command/field_builder.h"

namespace save {
namespace {

constexpr int wait_milliseconds = 50;  // between two pictures of the progress

// "3 running 12/48 24.6 1.5 3145728 /shots/out.mov": rate in frames a second, seconds left, bytes so far.
std::string line_of(const queue_item& item) {
  char text[128];
  std::snprintf(text, sizeof text, "%d %s %d/%d %.1f %.1f %lld ", item.id, word_of(item.state), item.done.done,
                item.done.total, item.done.frames_per_second, item.done.seconds_left, item.done.bytes);
  return text + item.path;
}

bool read_id(const std::string& text, int& id) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
  return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

void register_queue_actions(command::engine& engine, queue& queue,
                            std::function<bool(const std::string& text, int done, int total)> keep_waiting) {
  using command::action_group;
  command::add_read_only<ksn::state>(
      engine, "save_queue",
      "saves that run while a window is open, one a line, and the last ones that are over; only to be read",
      command::text("ID STATE DONE/TOTAL RATE SECONDS_LEFT BYTES PATH"), [&queue](const ksn::state&) {
        std::string text;
        for (const queue_item& item : queue.items()) text += (text.empty() ? "" : "\n") + line_of(item);
        return text;
      });
  command::add_read_only<ksn::state>(engine, "saves_running", "saves in the queue that are not over; only to be read",
                                     command::integer(0), [&queue](const ksn::state&) { return queue.unfinished(); });
  engine.add({.group = action_group::save,
              .name = "save_queue_cancel",
              .help = "cancel all saves in the queue; what is written is kept, and a movie is completed",
              .value_form = "ID",
              .value_help = "cancel one save by its number in save_queue, or take one that is over off the list",
              .menu = {"mi_file", 74},
              .execute = [&queue] { queue.cancel_all(); },
              .execute_value =
                  [&queue](const std::string& value) {
                    int id = 0;
                    return read_id(value, id) && queue.cancel(id);
                  },
              .enabled = [&queue] { return queue.unfinished() > 0; }});
  engine.add({.group = action_group::save,
              .name = "save_queue_wait",
              .help = "wait until all saves in the queue are over, for commands after it that need their files",
              .execute = [&queue, keep_waiting = std::move(keep_waiting)] {
                const int last = queue.last_id();
                for (queue.poll(); !queue.is_over_to(last); queue.poll()) {
                  queue.wait(wait_milliseconds);
                  int done = 0;
                  int total = 0;
                  progress shown;
                  for (const queue_item& item : queue.items()) {
                    if (is_over(item.state)) continue;
                    done += item.done.done;
                    total += item.done.total;
                    if (item.state != queue_state::waiting) shown = item.done;
                  }
                  if (total > 0 && !keep_waiting(progress_text(shown), done, total)) return;
                }
              }});
}

}  // namespace save
