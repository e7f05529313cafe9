#include "save/actions.h"

#include <memory>
#include <utility>

#include "save/screen.h"

namespace save {

void register_save_actions(command::engine& engine, render::pipeline& pipeline, surroundings surroundings) {
  const auto around = std::make_shared<const save::surroundings>(std::move(surroundings));
  const auto options = std::make_shared<img::save_options>();
  const auto incomplete = std::make_shared<bool>(false);
  auto& table = engine.value_action_table;

  auto bind = [&, around, options, incomplete](const char* name, auto run) {
    table[name].execute = [&engine, &pipeline, around, options, incomplete, run](const std::string& value) {
      context context{engine.composition(),
                      pipeline,
                      *options,
                      around->shown_time ? around->shown_time() : engine.composition().doc.tm_t,
                      engine.failed_inputs,
                      *incomplete,
                      [&engine](const std::string& line) { engine.report(line); },
                      around->show_progress,
                      around->cancelled,
                      around->after_save};
      run(context, value);
      return true;
    };
  };
  bind("save_frame_as", save_frame_as);
  bind("save_layer_as", save_layer_as);
  bind("save_mask_as_image", save_mask_as_image);
  bind("save_mask_as_sequence", save_mask_as_sequence);
  bind("save_screen_as", [around](context& context, const std::string& path) {
    int width = 0;
    int height = 0;
    if (!around->client_area || !around->client_area(width, height)) {
      width = default_client_width;
      height = default_client_height;
    }
    return save_screen_as(context, path, width, height);
  });
  table["save_incomplete"].execute = [incomplete](const std::string& value) {
    if (value != "0" && value != "1") return false;
    *incomplete = value == "1";
    return true;
  };
  table["save_options"].execute = [options](const std::string& value) { return parse_save_options(value, *options); };
}

}  // namespace save
