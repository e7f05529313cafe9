// Cameras and capture cards.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "sources/clip.h"
#include "sources/live_source.h"

namespace sources {

// The names of the video inputs of this machine, each once. KESTRIN_TEST_INPUT in the environment adds one called "Test
// input": a graph of filters of FFmpeg that makes pictures, as "testsrc2=size=640x360:rate=25".
std::vector<std::string> list_inputs();

// Opens the input of that name, waits for its first picture, five seconds at most, and takes more on a thread of its
// own until the last reference goes. An input that goes away leaves its last picture, with a note. Null with what went
// wrong in `reason`.
std::shared_ptr<live_source> open_input(const std::string& name, std::string& reason);

// The functions "kestrin_list_inputs" and "kestrin_open_input" of the module "media". They never throw.
using list_inputs_function = void (*)(std::vector<std::string>& names);
using open_input_function = void (*)(const module_host& host, const std::string& name,
                                     std::shared_ptr<live_source>& opened, std::string& reason);

}  // namespace sources
