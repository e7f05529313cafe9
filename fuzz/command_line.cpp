// Any text as a command line. Sources are not opened, and the only command file is the text itself.
#include <cstdint>
#include <cstdlib>

#include "command/engine.h"

namespace {

// The tables are built once; a run begins with a fresh document.
struct fixture {
  ksn::state composition;
  command::engine engine{composition};
  std::string text;
  std::size_t written = 0;

  fixture() {
    engine.write_error = engine.write_output = [this](const std::string& line) { written += line.size(); };
    engine.add_source = [this](const command::source_request& request) {
      ksn::track_info layer;
      layer.name = request.path;
      layer.source.type = ksn::source_type::image;
      layer.source.frames = 1;
      layer.look.visible = true;
      composition.enter_stack(std::move(layer), false);
    };
    // A few words that double the stack again and again take all memory, as they are told to.
    engine.stop_requested = [this] { return composition.doc.track_count() > 10000; };
    engine.read_command_file = [this](const std::string&, std::string& content) {
      content = text;
      return engine.include_stack.size() < 3;
    };
    command::register_fields(engine);
    command::register_language_actions(engine);
    command::register_document_actions(engine);
    engine.action_table["layer_replace_with"].execute_value = [](const std::string&) { return true; };
    command::register_menu_choices(engine);
  }

  void run() {
    composition = ksn::state();
    composition.hooks.report_error = [this](const std::string& line) { engine.report(line); };
    engine.quit_requested = false;
    engine.run_command_line("kestrin " + text);
    engine.run_command_file("/fuzz.ksncmd");
    if (engine.command_depth != 0 || !engine.include_stack.empty()) std::abort();
    // Whatever was set can be read.
    for (const ksn::track_info& layer : composition.doc.tracks) {
      for (const command::layer_field& field : engine.layer_field_table) {
        std::string value;
        if (!field.get(composition, layer, value)) std::abort();
      }
    }
    engine.print_fields("global");
    clearenv();
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static fixture fixture;
  fixture.text.assign(reinterpret_cast<const char*>(data), size);
  fixture.run();
  return 0;
}
