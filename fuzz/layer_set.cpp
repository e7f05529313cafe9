// Any text as a layer set, and as a value list for it.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "command/layer_set.h"
#include "command/value_list.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  ksn::state composition;
  for (const char* name : {"a", "b", "x,y", "a", "!'"}) {
    ksn::track_info layer;
    layer.id = 10 + composition.doc.track_count();
    layer.name = name;
    layer.group_id = composition.doc.track_count() % 2;
    composition.doc.tracks.push_back(layer);
  }
  composition.doc.selection = {1, 2, 4};
  command::layer_set set;
  if (command::parse_layer_set(composition, text, set)) {
    if (set.single && set.members.size() > 1) std::abort();
    for (const int index : set.members) {
      // The number of a member addresses the same member.
      command::layer_set again;
      const std::string number = std::to_string(command::layer_number(composition, index));
      if (!command::parse_layer_set(composition, number, again) || again.members != std::vector{index}) std::abort();
    }
  }

  std::string_view rest = text;
  std::string_view element;
  std::size_t count = 0;
  std::size_t taken = 0;
  for (bool more = !rest.empty(); command::take_value(rest, more, element); ++count) taken += element.size();
  if (count != command::count_values(text) || taken > size) std::abort();
  return 0;
}
