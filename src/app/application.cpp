#include "app/application.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <system_error>
#include <thread>

#include "app/after_save.h"
#include "app/attach.h"
#include "app/benchmarks.h"
#include "app/clipboard_actions.h"
#include "app/console.h"
#include "app/dialog_actions.h"
#include "app/external_output.h"
#include "app/interrupt.h"
#include "app/keeper.h"
#include "app/live_services.h"
#include "app/loading_fields.h"
#include "app/news_line.h"
#include "app/open_choices.h"
#include "app/preview_maker.h"
#include "app/serving.h"
#include "app/shell_actions.h"
#include "app/sound_start.h"
#include "app/window_run.h"
#include "cache/allocation.h"
#include "cache/frame_cache.h"
#include "cache/reading/frame_loader.h"
#include "command/engine.h"
#include "command/manual.h"
#include "command/messages.h"
#include "command/option_text.h"
#include "command/persistence_actions.h"
#include "command/reference.h"
#include "composition/documents/persistence.h"
#include "composition/state.h"
#include "lib/format.h"
#include "lib/from_string.h"
#include "lib/messages.h"
#include "lib/paths.h"
#include "platform/crash.h"
#include "platform/desktop.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "platform/handover_message.h"
#include "playback/actions.h"
#include "playback/clock.h"
#include "render/compositor.h"
#include "render/information.h"
#include "render/pipeline.h"
#include "save/actions.h"
#include "save/queue/actions.h"
#include "text/fonts.h"
#include "ui/skin/drawing.h"

namespace app {

namespace {

constexpr int longest_interval = 86400;  // seconds
constexpr const char* no_settings_option = "no_settings";

constexpr const char* product_title = "Kestrin 32 " KESTRIN_VERSION;

constexpr const char* short_usage =
    "Usage: kestrin [PATH | OPTION | FILE.ksncmd]...\n"
    "\n"
    "To see what it does without a window, from the project's folder:\n"
    "  ./run examples/first_look.ksncmd\n"
    "To put one sequence over another and save the result:\n"
    "  kestrin back.####.tga front.####.tga --alpha=normal --save_mask_as_sequence=out.####.tga --exit=status\n"
    "kestrin --help lists every option.\n";

// Whether an argument is --NAME; after "--" there are only paths.
bool has_option(const std::vector<std::string>& args, const std::string& name) {
  const auto end = std::find(args.begin(), args.end(), "--");
  return std::find(args.begin(), end, "--" + name) != end;
}

// Without `reading` for a pipeline that bypasses the cache.
render::pipeline_options reporting(command::engine& engine, text::fonts& fonts, cache::frame_scheduler* reading) {
  render::pipeline_options options;
  options.use_cache = reading != nullptr;
  options.reading = reading;
  // A picture fails in the window as well, where no command is under execution.
  options.report_error = [&engine](const std::string& line) { engine.write_error(line); };
  options.fonts = &fonts;
  return options;
}

}  // namespace

struct application::impl {
  lib::error_record errors;
  app::console console{errors};
  lib::catalogue catalogue;
  bool catalogue_loaded = false;
  ksn::state composition;
  cache::frame_cache frames;
  cache::frame_scheduler reading{frames};
  cache::frame_loader loader{reading};
  command::engine engine{composition};
  text::fonts fonts{[this](const std::string& line) { engine.write_error(line); }};
  render::pipeline pipeline{frames, reporting(engine, fonts, &reading)};
  playback::clock clock{composition, frames};
  app::sound_start sound{composition, clock};
  app::attach attach{engine};
  int answered_saves = 0;          // the last one that a line of another instance can have begun
  bool exits_after_saves = false;  // a line of another instance asked for the exit while saves ran
  after_save_scripts scripts{[this](const std::string& line) { engine.write_error(line); }};
  shell_watch shell{[this](const std::string& line) { engine.write_error(line); }};
  save::queue saves{{[this](std::function<void(const std::string& line)> report) {
                       render::pipeline_options options;
                       options.report_error = std::move(report);
                       options.reading = &reading;
                       return std::make_unique<render::pipeline>(frames, std::move(options));
                     },
                     [this] { desktop->wake(); }, [this](const std::string& line) { engine.write_error(line); },
                     [this](const std::string& path) { after_save(path); }}};
  preview_maker previews{preview_of};
  command::recent_notes recent{[](bool create, std::string& folder) {
    return platform::get_folder(platform::folder_kind::local_data, create, folder);
  }};
  // The desktop goes last: the window's parts refer to it.
  std::unique_ptr<platform::desktop> desktop;
  // The interface's art is read with the first picture that needs it.
  ui::skins skins{[this](const std::string& line) { console.report(line); }};
  ui::drawing_functions drawing = ui::drawing_with(skins, fonts);
  app::news_line news{product_title, [this](std::string_view key) { return text(key); }};
  app::window_run window{{composition, engine, pipeline, frames, loader, clock, product_title,
                          [this](std::string_view key) { return text(key); },
                          [this](const std::string& line) { console.report(line); }, &errors, &drawing, &saves,
                          [this] { return news.shown(window.desktop() != nullptr); }}};
  app::live_services services{{engine, clock, [this] { return services_pipeline(); },
                               [this](std::string_view key) { return text(key); },
                               [this](const std::string& copied) {
                                 if (window.desktop()) window.desktop()->set_clipboard_text(copied);
                               }}};
  app::external_output output{{engine, clock, [this] { return services_pipeline(); },
                               [this] { return window.desktop(); }, [this](std::string_view key) { return text(key); },
                               [this](const std::string& line) { console.report(line); }}};
  app::keeper keeper{
      {composition,
       [](std::string& folder) { return platform::get_folder(platform::folder_kind::local_data, true, folder); },
       [this] { return window.placement(); }, [this](const std::string& line) { console.report(line); }}};
  bool serves = false;     // runs without a window until it is interrupted
  bool transient = false;  // save neither settings nor recent lists at the end

  std::optional<int> start(const std::vector<std::string>& args);
  void bind();
  void register_actions();
  void add_own_actions();
  bool print_tables(const std::string& which);
  // How far a save is, with what is saved.
  std::string titled(const save::progress& progress);
  int run_step(bool any_arguments);
  int run_serving();
  std::jthread prepare_window();
  std::unique_ptr<render::pipeline> services_pipeline();
  int run_window();
  // A transient run leaves no trace of a crash either, but on the error stream.
  void set_transient(bool on);
  // What everybody at the site begins with.
  void run_site_start();
  // Tells of the documents that runs left which ended badly; an empty window offers the last one.
  void offer(const std::vector<std::string>& left);
  close_answer may_close();
  std::function<bool(std::string& answer)> saves_left();
  // 1 in place of 0 when the process is to tell of error lines.
  int exit_code(int code) const { return code == 0 && engine.exit_with_status && console.any_error() ? 1 : code; }
  void after_save(const std::string& path);
  // The user's text for a key, from messages.txt of the definition folders, read when first needed.
  std::string text(std::string_view key);
};

std::string application::impl::text(std::string_view key) {
  if (!catalogue_loaded) {
    catalogue_loaded = true;
    for (const std::string& folder : platform::definition_folders())
      catalogue.load_file(lib::add_separator(folder) + "messages.txt");
  }
  return catalogue.text(key);
}

void application::impl::bind() {
  engine.write_error = [this](const std::string& line) {
    // The menu entry asks for an instance that runs; that there is none is nothing to show in the one that begins.
    is_attach_option(engine.current_option()) ? console.report_outside(line) : console.report(line);
  };
  engine.write_output = [this](const std::string& line) { console.print(line); };
  engine.stop_requested = interrupted;

  ksn::state_hooks& hooks = composition.hooks;
  hooks.report_error = [this](const std::string& line) { engine.report(line); };
  hooks.drop_path = [this](const std::string& path) {
    frames.remove_path(path);
    reading.failures().forget(path);
    loader.look_again();
  };
  hooks.drop_folder = [this](const std::string& folder) {
    frames.remove_folder(folder);
    reading.failures().forget_folder(folder);
    loader.look_again();
  };
  hooks.drop_changed = [this](const std::string& path) {
    frames.remove_changed(path);
    reading.failures().forget_changed();
    loader.look_again();
  };
  hooks.drop_changed_in = [this](const std::string& folder) {
    frames.remove_changed_in(folder);
    reading.failures().forget_changed();
    loader.look_again();
  };
  loader.taking_part = render::layers_taking_part;
  hooks.request_preload = [this](const ksn::track_info& track) {
    loader.preload(track, composition.doc.tm_f, composition.doc.tm_l);
    loader.begin_preload(composition);
  };
  hooks.cancel_preload = [this](const ksn::track_info& track) { loader.cancel_layer(track.id); };
  hooks.stop_preload = [this] { loader.stop(); };
  hooks.clear_cache = [this] {
    loader.stop();
    frames.clear();
    reading.failures().forget_all();
    pipeline.forget_all();
    services.forget_layer(-1);
    output.forget_layer(-1);
  };
  hooks.start_audio = [this] { sound.retry(); };
  hooks.forget_layer = [this](int id) {
    pipeline.forget_layer(id);
    services.forget_layer(id);
    output.forget_layer(id);
  };
  hooks.text = [this](std::string_view key) { return text(key); };
}

void application::impl::register_actions() {
  command::register_fields(engine);
  register_loading_fields(engine, loader);
  command::register_language_actions(engine);
  command::register_document_actions(engine);
  command::register_export_actions(engine);
  recent.register_actions(engine);
  // A document that is filed needs no copy any more.
  composition.hooks.file_among_unsaved = [this, file = composition.hooks.file_among_unsaved] {
    file();
    keeper.drop_copy();
  };

  command::register_menu_choices(engine);
  window.register_actions();
  window.is_transient = [this] { return transient || platform::own_folders_left_out(); };
  add_own_actions();
  register_benchmarks(engine, pipeline, reporting(engine, fonts, nullptr), loader);
  render::register_information(engine, pipeline);
  playback::register_playback_actions(engine, clock);
  save::register_save_actions(
      engine, pipeline,
      {[this](const save::progress& progress) {
         const std::string shown = titled(progress);
         console.show(progress, shown);
         window.show_progress(shown, progress.done, progress.total);
       },
       [this] { return interrupted() || window.progress_cancelled(); },
       [this](const std::string& path) { after_save(path); },
       [this](int& width, int& height) { return window.client_area(width, height); },
       [this] { return clock.shown_time(); }, [this] { return window.desktop() ? &saves : nullptr; }});
  save::register_queue_actions(engine, saves, [this](const std::string& shown, int done, int total) {
    window.show_progress(shown, done, total);
    return !interrupted() && !window.progress_cancelled();
  });
  const auto current_desktop = [this] { return window.desktop(); };
  ask_with_dialogs(
      {engine, current_desktop, [this](std::string_view key) { return text(key); }, [this] { window.redraw(); },
       [this] {
         std::string folder;
         const bool kept = !transient && platform::get_folder(platform::folder_kind::roaming_data, true, folder);
         return kept ? lib::add_separator(folder) + "kestrin.dialogs.txt" : std::string();
       },
       &previews});
  services.register_actions();
  output.register_actions();
  register_shell_actions(
      engine, [this] { return clock.shown_time(); }, shell);
  news.register_actions(engine);
  register_clipboard_actions({engine, pipeline, current_desktop, [this] { return clock.shown_time(); }});
}

void application::impl::add_own_actions() {
  using command::action_group;
  engine.add({.group = action_group::window,
              .name = "transient",
              .help = "save no settings at the end of this run",
              .value_form = "0|1",
              .value_help = "save no settings at the end of this run, or save them after all",
              .execute = [this] { set_transient(true); },
              .execute_value =
                  [this](const std::string& value) {
                    if (value != "0" && value != "1") return false;
                    set_transient(value == "1");
                    return true;
                  }});
  engine.add({.group = action_group::window,
              .name = no_settings_option,
              .help = "begin without settings, keys, texts and start file of user and site, and save none; only in the "
                      "arguments of the program",
              .execute = [] {}});
  engine.add({.group = action_group::window,
              .name = "autosave",
              .value_form = "SECONDS",
              .value_help =
                  "the time between two copies of a composition that changes in a window, which the next start "
                  "offers after a crash; 60 without this, 0 for none",
              .execute_value = [this](const std::string& value) {
                int seconds = 0;
                if (!lib::parse_value(value, seconds) || seconds < 0 || seconds > longest_interval) return false;
                keeper.copy_interval = seconds;
                if (seconds == 0) keeper.drop_copy();
                return true;
              }});
  const auto switch_of = [this](const char* name, const char* help, std::function<void(bool on)> set) {
    engine.add({.group = action_group::information,
                .name = name,
                .help = help,
                .value_form = "0|1",
                .value_help = std::string(help) + ", or no longer",
                .execute = [set] { set(true); },
                .execute_value =
                    [set](const std::string& value) {
                      if (value == "0" || value == "1") set(value == "1");
                      return value == "0" || value == "1";
                    }});
  };
  switch_of("json", "print actions after it give one JSON object a line", [this](bool on) { engine.json = on; });
  switch_of("quiet", "show no progress", [this](bool on) { console.set_quiet(on); });
  engine.add({.group = action_group::information,
              .name = "log",
              .value_form = "PATH",
              .value_help =
                  "from here on write all that is printed and every error line to the end of this file, with the time",
              .execute_value = [this](const std::string& value) {
                const std::string path = lib::full_path(value);
                if (const int error = console.log_to(path); error != 0)
                  engine.report(command::about(path, std::strerror(error)));
                return true;
              }});
  engine.add({.group = action_group::services,
              .name = "cache_clear",
              .help = "drop all frames from memory",
              .menu = {"mi_edit", 131},
              .execute = [this] { composition.hooks.clear_cache(); }});
  engine.add({.group = action_group::services,
              .name = "cache_stop_preload",
              .help = "stop loading frames ahead",
              .keys = "Escape",
              .menu = {"mi_edit", 142},
              .execute = [this] { composition.hooks.stop_preload(); }});
  engine.add({.group = action_group::services,
              .name = "serve",
              .help = "open no window; start the HTTP server if it does not listen, and go on until Ctrl+C",
              .execute = [this] { serves = true; },
              .enabled = [this] { return !window.desktop(); }});
  engine.add({.group = action_group::information,
              .name = "help",
              .help = "print what can be written on a command line, and end",
              .value_form = "TOPIC",
              .value_help = "print the help on one action, field or group, such as opacity or \"work area\", and end; "
                            "markdown, keys, keydefs, man, bash, zsh and fish print what the documentation, the key "
                            "file and the completions of the shells are made of",
              .execute =
                  [this] {
                    console.print(product_title + std::string("\n") + command::help_text(engine));
                    engine.quit_requested = true;
                  },
              .execute_value = [this](const std::string& value) { return print_tables(value); }});
  engine.add(
      {.group = action_group::information, .name = "version", .help = "print the version, and end", .execute = [this] {
         console.print(product_title);
         engine.quit_requested = true;
       }});
}

bool application::impl::print_tables(const std::string& which) {
  if (which == "markdown") {
    console.print(command::reference_markdown(engine));
  } else if (which == "keys") {
    command::key_table keys;
    keys.load_folders();
    console.print(command::keyboard_markdown(engine, keys));
  } else if (which == "keydefs") {
    console.print(command::key_definitions(engine));
  } else if (which == "man") {
    console.print(command::manual_page(engine, KESTRIN_VERSION));
  } else if (which == "bash") {
    console.print(command::bash_completion(engine));
  } else if (which == "zsh") {
    console.print(command::zsh_completion(engine));
  } else if (which == "fish") {
    console.print(command::fish_completion(engine));
  } else if (const std::string help = command::help_on(engine, which); !help.empty()) {
    console.print(help);
  } else {
    const std::string near = command::nearest_name(engine, which, true);
    console.report("No help on \"" + which + "\"" +
                   (near.empty() ? "; --help lists everything" : "; did you mean " + near + "?"));
    // A process that was started to print this has failed; a window goes on.
    if (!window.desktop()) engine.exit_with_status = true;
  }
  engine.quit_requested = true;
  return true;
}

std::string application::impl::titled(const save::progress& progress) {
  const std::string state = save::progress_text(progress);
  const std::string& option = engine.current_option();
  if (option.starts_with("--save_layer_as")) return text("save_layer_as.pdlg_title") + ": " + state;
  if (!option.starts_with("--save_mask_as_sequence")) return state;
  const math::point size = composition.doc.mask_size;
  return text("save_mask_as_sequence.pdlg_title") + " " + std::to_string(size.x) + " x " + std::to_string(size.y) +
         ": " + state;
}

void application::impl::after_save(const std::string& path) {
  std::string folder;
  if (!platform::get_folder(platform::folder_kind::after_save, false, folder)) return;
  scripts.add(folder, path);
  // A window goes on while they run.
  if (!window.desktop()) scripts.finish(interrupted);
}

int application::impl::run_step(bool any_arguments) {
  if (interrupted()) return interrupt_status();
  if (serves) return run_serving();
  if (engine.quit_requested) return 0;
  std::string error;
  const std::jthread preparing = platform::has_display() ? prepare_window() : std::jthread();
  desktop = platform::open_desktop(error);
  if (desktop) return run_window();

  const std::string no_window = "No window can be opened: " + (platform::has_display() ? error : "there is no display");
  if (!any_arguments) {
    std::printf("%s.\n%s", no_window.c_str(), short_usage);
    return 0;
  }
  console.report(no_window + "; end the arguments with --exit to work without one");
  return -1;
}

// The window system takes its time. The first picture, the skin and the fonts come meanwhile.
std::jthread application::impl::prepare_window() {
  loader.read_shown(composition, clock.shown_time());
  try {
    return std::jthread([this] {
      skins.prepare(1);
      fonts.prepare();
    });
  } catch (const std::system_error&) {
    return {};  // what is drawn first loads them
  }
}

int application::impl::run_serving() {
  {
    const command::execution running(engine);
    if (!services.listen()) return 1;
  }
  console.flush();
  serve({composition, loader, clock, services, [this] {
           scripts.poll();
           shell.poll();
         }});
  return interrupt_status();
}

// One that has its own pictures, so that what the window shows stays. With a window that one tells what fails.
std::unique_ptr<render::pipeline> application::impl::services_pipeline() {
  render::pipeline_options options = reporting(engine, fonts, &reading);
  options.report_error = [this](const std::string& line) {
    if (!window.desktop()) engine.write_error(line);
  };
  return std::make_unique<render::pipeline>(frames, options);
}

// Asks the user where saves would be cut short; who gave a line with an exit in it waits for them instead.
close_answer application::impl::may_close() {
  const int count = saves.unfinished();
  if (count == 0) return close_answer::close;
  if (exits_after_saves) return close_answer::later;
  const std::string question = count == 1 ? text("close_save_runs") : lib::format(text("close_saves_run"), count);
  if (window.desktop()->show_message(question, true) != platform::message_answer::yes) return close_answer::stay;
  return close_answer::close;
}

// What is to be asked until the saves of the line just carried out are over, with their error lines; nothing when it
// began none.
std::function<bool(std::string& answer)> application::impl::saves_left() {
  const int last = saves.last_id();
  const int first = std::exchange(answered_saves, last) + 1;
  exits_after_saves = exits_after_saves || (engine.exit_requested && saves.unfinished() > 0);
  if (first > last) return nullptr;
  return [this, first, last](std::string& answer) {
    if (!saves.is_over_to(last)) return false;
    for (int id = first; id <= last; ++id) {
      for (const std::string& line : saves.lines_of(id))
        answer += platform::encode_answer(platform::answer_kind::error, line);
    }
    return true;
  };
}

int application::impl::run_window() {
  attach.serve([this] { desktop->wake(); }, [this] { desktop->bring_forward(); });
  sound.use(&desktop->audio());
  std::string folder;
  const bool has_folder = platform::get_folder(platform::folder_kind::local_data, false, folder);
  std::vector<std::string> left = has_folder ? ksn::adopt_copies(folder) : std::vector<std::string>();
  keeper.begin(platform::milliseconds(), !window.is_transient(), !transient);
  bool shown = false;
  window.poll_handover = [this, &shown, &left] {
    if (saves.poll()) window.redraw();
    attach.poll();
    scripts.poll();
    shell.poll();
    // A script reads what was printed while the window is open.
    console.flush();
    // A source that was added stands in the menu from now on, in other instances too.
    if (!transient) recent.write();
    // The first picture does not wait for the sound device.
    if (!std::exchange(shown, true)) return;
    sound.poll();
    if (!left.empty()) offer(std::exchange(left, {}));
    keeper.tick(platform::milliseconds());
  };
  services.set_wake([this] { desktop->wake(); });
  window.poll_services = [this] { return services.poll(); };
  window.show_elsewhere = [this] { output.tick(); };
  window.may_close = [this] { return may_close(); };
  window.end_work = [this] { saves.stop(); };
  attach.work_left = [this] { return saves_left(); };
  const int result = window.run(*desktop);
  keeper.end();
  saves.stop();
  attach.work_left = nullptr;
  window.end_work = nullptr;
  window.may_close = nullptr;
  window.show_elsewhere = nullptr;
  output.stop();
  window.poll_services = nullptr;
  services.set_wake(nullptr);
  window.poll_handover = nullptr;
  sound.use(nullptr);
  attach.stop();
  return result;
}

void application::impl::set_transient(bool on) {
  transient = on;
  std::string folder;
  if (!on) platform::get_folder(platform::folder_kind::state, false, folder);
  platform::watch_crashes(product_title, folder);
}

void application::impl::run_site_start() {
  const char* named = std::getenv("KESTRIN_SITE");
  if (!named || !*named || platform::own_folders_left_out()) return;
  std::string folder;
  if (!platform::get_folder(platform::folder_kind::site, false, folder) || !platform::is_folder(folder)) {
    console.report(command::about(named, "KESTRIN_SITE names no folder; it takes an absolute path"));
    return;
  }
  const std::string start = lib::add_separator(folder) + "start.ksncmd";
  if (platform::file_exists(start)) engine.command_pass({"", start});
}

void application::impl::offer(const std::vector<std::string>& left) {
  const std::string shown = recent.text_of(composition, left.front());
  if (composition.doc.track_count() > 0) {
    console.report(lib::format(text("left_by_crash"), shown));
  } else if (desktop->show_message(text("offer_after_crash") + "\n\n" + shown, true) == platform::message_answer::yes) {
    const command::execution running(engine);
    engine.run_command("open_unsaved=1");
    // What ended one run may end the next one within the minute.
    keeper.copy_soon();
  }
}

application::application() : impl_(std::make_unique<impl>()) {
  cache::set_allocation_fallback(&impl_->frames);
}
application::~application() = default;

int fail_without_memory() {
  constexpr char line[] = "Not enough memory\n";
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line, sizeof line - 1);
  return 1;
}

// The exit code, if handing over the line was all there was to do.
std::optional<int> application::impl::start(const std::vector<std::string>& args) {
  if (const std::optional<int> code = attach.hand_over(args)) return code;
  watch_interrupt();
  const char* transient_by_default = std::getenv("KESTRIN_TRANSIENT");
  set_transient(transient_by_default && std::string_view(transient_by_default) == "1");
  platform::leave_out_own_folders(has_option(args, no_settings_option));
  bind();
  if (!platform::own_folders_left_out()) ksn::load_settings(composition);
  register_actions();
  run_site_start();
  engine.command_pass(args);
  console.clear_progress();
  return std::nullopt;
}

int application::application_main(const std::vector<std::string>& args) {
  try {
    if (const std::optional<int> code = impl_->start(args)) return *code;
  } catch (const std::bad_alloc&) {
    // Commands and saves tell of it themselves; this is for all else, and for the telling.
    return fail_without_memory();
  }
  // Not from here on: unwinding would remove the copy of the composition that is kept for a crash.
  int result = impl_->run_step(args.size() > 1);
  impl_->services.end();
  impl_->scripts.finish(interrupted);
  impl_->shell.finish(interrupted);
  impl_->console.finish();
  result = impl_->exit_code(result);
  if (!impl_->transient) impl_->recent.write();
  const bool reads_are_done = impl_->reading.shutdown(std::chrono::milliseconds(200));
  if (!impl_->previews.shutdown(std::chrono::milliseconds(0)) || !reads_are_done) {
    // A thread is still in a read, perhaps of a file server that is gone. It ends with the process.
    std::fflush(nullptr);
    std::_Exit(result);
  }
  return result;
}

}  // namespace app
