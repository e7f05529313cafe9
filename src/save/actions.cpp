#include "save/actions.h"

#include <memory>
#include <utility>

#include "command/messages.h"
#include "lib/paths.h"
#include "save/preview_view.h"
#include "sources/movie_codec.h"

namespace save {
namespace {

// The codec that a list of options names though there is none; empty when that is not what is wrong with it.
std::string unknown_codec(const std::string& text) {
  constexpr std::string_view key = "codec=";
  const std::size_t at = text.find(key);
  if (at == text.npos || (at > 0 && text[at - 1] != ',')) return {};
  const std::size_t first = at + key.size();
  const std::string codec = text.substr(first, text.find(',', first) - first);
  return sources::find_movie_codec(codec) ? std::string() : codec;
}

}  // namespace

void register_save_actions(command::engine& engine, render::pipeline& pipeline, surroundings surroundings) {
  const auto around = std::make_shared<const save::surroundings>(std::move(surroundings));
  const auto options = std::make_shared<save::save_options>();
  const auto incomplete = std::make_shared<bool>(false);
  const auto part = std::make_shared<save::part>();
  struct row {
    const char* name;
    const char* help;
    const char* value_help;
    const char* keys;
    int position;  // in the menu
    const char* title;
    const char* file_name;
    bool (*run)(context& context, const std::string& path);
    bool (*may_run)(context& context, const std::string& path) = nullptr;  // of a walk, which can be queued
  };
  constexpr std::string_view pictures = "picture_filter any_file_filter";
  constexpr std::string_view walks = "picture_filter movie_filter any_file_filter";
  const auto add = [&](const row& row, auto run) {
    engine.add({.group = command::action_group::save,
                .name = row.name,
                .help = row.help,
                .value_form = "PATH",
                .value_help = row.value_help,
                .keys = row.keys,
                .menu = {"mi_file", row.position},
                .execute_value =
                    [&engine, &pipeline, around, options, incomplete, part, run, walk = row](const std::string& value) {
                      context context{engine.composition(),
                                      pipeline,
                                      *options,
                                      around->shown_time ? around->shown_time() : engine.composition().doc.tm_t,
                                      engine.failed_inputs,
                                      *incomplete,
                                      *part,
                                      [&engine](const std::string& line) { engine.report(line); },
                                      around->show_progress,
                                      around->cancelled,
                                      around->after_save};
                      queue* const waiting = walk.may_run && around->queue ? around->queue() : nullptr;
                      if (!waiting) {
                        run(context, value);
                      } else if (walk.may_run(context, value)) {
                        waiting->add(walk.run, lib::full_path(value), context);
                      }
                      return true;
                    },
                .ask = command::file_question{row.title, row.file_name, row.may_run ? walks : pictures}});
  };
  constexpr row rows[] = {
      {"save_frame_as", "save the selected layer's frame at the current time to a file that you choose",
       "save the selected layer's frame at the current time, at its own size", "Ctrl+E", 61, "save_frame_as_title",
       "frame.exr", save_frame_as},
      {"save_mask_as_image", "save the composite at the current time to a file that you choose",
       "save the composite at the current time, with 8 bits a channel, at the size of the output (mask_size)", "", 62,
       "save_mask_as_image.title", "composite.png", save_mask_as_image},
      {"save_layer_as", "save the selected layer's frames in the work area to files that you choose",
       "save the selected layer's frames in the work area, at their own size; # in the name is the frame number on the "
       "timeline; "
       "to one movie for .mov, .mp4, .mkv and .avi",
       "", 70, "save_layer_as.action", "layer.####.exr", save_layer_as, may_save_layer_as},
      {"save_mask_as_sequence", "save the composite of each frame of the work area to files that you choose",
       "save the composite of each frame of the work area, with 8 bits a channel, at the size of the output "
       "(mask_size); "
       "# in the name is the frame number on the timeline; to one movie for .mov, .mp4, .mkv and .avi",
       "Ctrl+Shift+E", 71, "save_mask_as_sequence.action", "composite.####.exr", save_mask_as_sequence,
       may_save_mask_as_sequence},
  };
  for (const row& row : rows) add(row, row.run);
  add({"save_screen_as", "save the preview area as the window shows it to a file that you choose",
       "save the preview area as the window shows it, or as a window of the usual size would", "", 60,
       "save_screen_as_title", "screen.png", nullptr},
      [around](context& context, const std::string& path) {
        int width = 0;
        int height = 0;
        if (!around->client_area || !around->client_area(width, height)) {
          width = default_client_width;
          height = default_client_height;
        }
        return save_screen_as(context, path, width, height);
      });
  engine.add(
      {.group = command::action_group::save,
       .name = "save_incomplete",
       .value_form = "0|1",
       .value_help = "1: save composites without layers that failed, and without inputs that could not be opened",
       .execute_value = [incomplete](const std::string& value) {
         if (value != "0" && value != "1") return false;
         *incomplete = value == "1";
         return true;
       }});
  engine.add({.group = command::action_group::save,
              .name = "frames",
              .value_form = "A-B",
              .value_help = "save_layer_as and save_mask_as_sequence write only these frames of the work area, by the "
                            "numbers in the names of the files that are written; all: every frame again",
              .execute_value = [part](const std::string& value) { return parse_frames(value, *part); }});
  engine.add({.group = command::action_group::save,
              .name = "chunk",
              .value_form = "I/N",
              .value_help =
                  "save_layer_as and save_mask_as_sequence write the I-th of N equal pieces of the work area, "
                  "or of --frames; 1/1: all of it again",
              .execute_value = [part](const std::string& value) { return parse_chunk(value, *part); }});
  const auto skip = [part](const std::string& value) {
    if (value != "0" && value != "1") return false;
    part->skip_existing = value == "1";
    return true;
  };
  engine.add({.group = command::action_group::save,
              .name = "skip_existing",
              .help = "sequences that are saved leave frames alone whose files are there and whole",
              .value_form = "0|1",
              .value_help = "1: sequences that are saved leave frames alone whose files are there and whole",
              .execute = [skip] { skip("1"); },
              .execute_value = skip});
  engine.add(
      {.group = command::action_group::save,
       .name = "save_options",
       .value_form = "LIST",
       .value_help =
           "options of all saves after it: compression=uncompressed|rle|zip|b44a|lzw (none, packbits and "
           "deflate are other words for the first three), bits=8|16, quality=1..100, ignore_alpha=0|1; of movies "
           "codec=NAME, audio=0|1",
       .execute_value = [options, &engine](const std::string& value) {
         if (parse_save_options(value, *options)) return true;
         const std::string codec = unknown_codec(value);
         if (codec.empty()) return false;
         engine.report(command::about("--save_options=" + value,
                                      "No codec \"" + codec + "\"; there are " + sources::all_codecs()));
         return true;
       }});
}

}  // namespace save
