// The real window on a display of its own: how many frames of a cached sequence are shown in time and what a tick of
// the main loop costs, what a stopped window costs, how soon the first picture is there, and whether looping takes
// memory.
//
// `--only=ahead` plays sequences that nobody has read yet: what is shown in time from the twelfth frame on, and how
// many frames were decoded for nothing.
//
// `--only=served` plays while eight browsers ask for the picture, and then idles with a server that nobody asks.
//
// `--only=output` plays 1080p at 60 in the window and on a second monitor beside it, which has its own picture of it.
//
// `--only=smooth` plays 4K at 24 as the smooth picture of a window of 1080p, and counts the frames of plain sampling.
//
// `--only=preload` plays 4K at 60 from memory while frames of another layer are loaded.
//
// bench_realtime [--seconds=20] [--loop=600] [--only=play|preload|smooth|ahead|idle|served|output|start|loop]
// [WIDTHxHEIGHT@RATE...]:
// the seconds of each rate, and those of the loop that looks for growth. Sequences are named by size and rate; without
// any, 1080p and 4K at 24, 30 and 60.
#include <sys/resource.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <optional>
#include <set>

#include "app/external_output.h"
#include "app/window_run.h"
#include "browsers.h"
#include "cache/track_frame.h"
#include "img/format.h"
#include "platform/desktop.h"
#include "services/http/picture.h"
#include "services/http/server.h"
#include "support.h"
#include "test_picture.h"
#include "x_display.h"

namespace {

struct job {
  std::string kind;  // play, preload, smooth, ahead, loop, idle, served, unasked or output
  int width = 0;
  int height = 0;
  int rate = 0;
  int frames = 0;
  double seconds = 0;
  std::string pattern;
};

double processor_seconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& t) { return static_cast<double>(t.tv_sec) + t.tv_usec / 1e6; };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double resident_megabytes() {
  std::ifstream file("/proc/self/statm");
  long size = 0;
  long resident = 0;
  file >> size >> resident;
  return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

double milliseconds(long long nanoseconds) {
  return static_cast<double>(nanoseconds) / 1e6;
}

double percentile(std::vector<double> values, double share) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  return values[std::min(static_cast<std::size_t>(static_cast<double>(values.size()) * share), values.size() - 1)];
}

// Where a late frame lost its time: before its tick began, or in the part of the tick that took the most.
constexpr const char* part_names[] = {"advance", "fetch", "composite", "draw", "present", "start"};
constexpr int turn_parts = 5;

std::vector<double> parts_of(const app::tick_times& times) {
  std::vector<double> parts;
  for (const long long part : {times.advance, times.fetch, times.composite, times.draw, times.present}) {
    parts.push_back(milliseconds(part));
  }
  return parts;
}

int blamed_part(const app::tick_times& times) {
  std::vector<double> parts = parts_of(times);
  parts.push_back(milliseconds(times.lateness) - std::accumulate(parts.begin(), parts.end(), 0.0));
  return static_cast<int>(std::max_element(parts.begin(), parts.end()) - parts.begin());
}

// The numbers that the observer of the main loop gathers once the sequence is in the cache.
struct record {
  std::vector<double> lateness;  // of each new frame
  std::vector<double> parts[turn_parts];
  std::vector<double> ticks;   // the sums of the parts
  std::vector<double> starts;  // how late the ticks began
  int in_time = 0;
  int beside_in_time = 0;         // on the second monitor
  std::vector<double> beside;     // what its pictures took
  int late[turn_parts + 1] = {};  // by the part that is to blame
  app::tick_times worst;
};

void print_play(const job& job, const record& r, double seconds) {
  const double due = std::round(seconds * job.rate);
  std::printf("%4d x %4d at %2d  %6.1f %%  %6.1f ms  %5.0f %%  ", job.width, job.height, job.rate,
              100.0 * r.in_time / due, percentile(r.lateness, 0.99), percentile(r.ticks, 0.5) * job.rate / 10.0);
  for (const auto& part : r.parts) std::printf(" %6.2f", percentile(part, 0.5));
  std::printf("   worst %.1f ms: %s; late", milliseconds(r.worst.lateness), app::slowest_part(r.worst).c_str());
  for (int i = 0; i <= turn_parts; ++i) {
    if (r.late[i] > 0) std::printf(" %s %d", part_names[i], r.late[i]);
  }
  std::printf(", skipped %d\n", std::max(0, static_cast<int>(due) - static_cast<int>(r.lateness.size())));
}

// Frames before the last one on the screen that were decoded and never shown.
int passed_over(const ksn::state& composition, cache::frame_cache& frames, const std::set<int>& shown) {
  const ksn::track_info& track = composition.doc.tracks[0];
  int count = 0;
  for (int i = 0; !shown.empty() && i < *shown.rbegin(); ++i) {
    const cache::frame_key key = cache::key_of_frame(track, i, composition.view.resolution);
    count += !shown.contains(i) && frames.find(key);
  }
  return count;
}

void print_ahead(const job& job, const record& r, double seconds, std::size_t shown, int passed_over) {
  std::printf("%4d x %4d %s at %2d  %6.1f %%  %6.1f ms  %6.1f ms  %5zu shown  %5d passed over  ", job.width, job.height,
              job.pattern.substr(job.pattern.rfind('.') + 1).c_str(), job.rate,
              100.0 * r.in_time / std::round(seconds * job.rate), percentile(r.lateness, 0.99),
              percentile(r.lateness, 0.5), shown, passed_over);
  for (const auto& part : r.parts) std::printf(" %.1f/%.1f", percentile(part, 0.5), percentile(part, 0.99));
  std::printf(" start %.1f/%.1f\n", percentile(r.starts, 0.5), percentile(r.starts, 0.99));
}

// One window in this process, which the parent made for it.
int run_window(const job& job) {
  ksn::state composition;
  cache::frame_cache frames;
  cache::frame_scheduler reading(frames);
  cache::frame_loader loader(reading);
  command::engine engine(composition);
  render::pipeline pipeline(frames, {true, {}, {}, &reading});
  playback::clock clock(composition, frames);
  const auto to_console = [](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); };
  engine.write_error = to_console;
  app::window_run window({composition, engine, pipeline, frames, loader, clock, "bench",
                          [](std::string_view key) { return std::string(key); }, to_console});
  command::register_fields(engine);
  command::register_language_actions(engine);
  command::register_document_actions(engine);
  render::pipeline_options shared;
  shared.reading = &reading;
  app::external_output output({engine, clock, [&] { return std::make_unique<render::pipeline>(frames, shared); },
                               [&window] { return window.desktop(); },
                               [](std::string_view key) { return std::string(key); }, to_console});
  double beside = 0;  // milliseconds of the last picture on the second monitor
  if (job.kind == "output") {
    composition.settings.ext_device = ksn::ext_device_type::secondary;
    output.start();
    window.show_elsewhere = [&output, &beside] { beside = bench::seconds([&output] { output.tick(); }) * 1e3; };
  }
  window.register_actions();
  window.is_transient = [] { return true; };
  engine.command_pass({"bench", job.pattern, "--fps=" + std::to_string(job.rate)});
  if (job.kind == "preload") {
    // Another layer of many frames, which nobody sees, beside the loop of a few.
    const int loop_end = composition.doc.tm_n;
    engine.command_pass({"bench", job.pattern.substr(0, job.pattern.rfind('/')) + "/long1080.####.exr"});
    composition.doc.tracks[0].look.visible = false;
    composition.doc.tm_f = 0;
    composition.doc.tm_l = loop_end;
    composition.doc.set_current_time(0);
  }
  if (job.kind == "smooth") {
    engine.command_pass({"bench", "--window_size=1920,1080", "--view_filter=smooth", "--zoom=fit"});
  } else {
    engine.command_pass({"bench", "--resize_window_to_fit"});
  }
  if (job.kind == "ahead") {
    // A second layer over the first, where there is one to blend.
    if (job.pattern.ends_with(".tga")) engine.command_pass({"bench", job.pattern, "--alpha=normal", "--opacity=50"});
    composition.doc.set_current_time(0);
  }
  composition.doc.can_drop_frames = true;
  const bool stands = job.kind == "idle" || job.kind == "unasked";
  composition.doc.playing = !stands;

  using steady = std::chrono::steady_clock;
  const auto since = [](steady::time_point start) {
    return std::chrono::duration<double>(steady::now() - start).count();
  };
  services::http::server server;
  std::optional<bench::browsers> clients;
  record r;
  int shown = 0;
  int sampled_plainly = 0;
  std::set<int> frames_shown;
  bool measuring = false;
  steady::time_point start;
  double used = 0;
  double resident = 0;
  window.observer = [&](const app::tick_times& times) {
    if (times.new_frame) {
      ++shown;
      frames_shown.insert(static_cast<int>(composition.doc.tm_t));
    }
    if (!measuring) {
      // Twice around, and the queue holds every frame; a stopped window has drawn its picture and read the rest.
      const int first = job.kind == "ahead" ? 12 : stands ? 0 : 3 * job.frames;
      if (shown < first || (stands && frames.queue_size() < static_cast<std::size_t>(job.frames))) return;
      measuring = true;
      start = steady::now();
      used = processor_seconds();
      resident = resident_megabytes();
      if (job.kind == "preload") {
        loader.preload(composition.doc.tracks[0], 0, composition.doc.tracks[0].source.frames);
        loader.begin_preload(composition);
      }
      if (job.kind == "served") clients.emplace(server.port(), 8, "/640,360");
      return;
    }
    if (times.new_frame) {
      r.lateness.push_back(milliseconds(times.lateness));
      const bool in_time = times.lateness < 1000000000LL / job.rate;
      r.in_time += in_time;
      sampled_plainly += composition.plain_sampling;
      if (!in_time) ++r.late[blamed_part(times)];
      // The second picture follows the first.
      r.beside.push_back(beside);
      r.beside_in_time += output.running() && milliseconds(times.lateness) + beside < 1000.0 / job.rate;
      const std::vector<double> parts = parts_of(times);
      for (int i = 0; i < turn_parts; ++i) r.parts[i].push_back(parts[static_cast<std::size_t>(i)]);
      r.ticks.push_back(std::accumulate(parts.begin(), parts.end(), 0.0));
      r.starts.push_back(milliseconds(times.lateness) - r.ticks.back());
      if (times.lateness > r.worst.lateness) r.worst = times;
    }
    const double seconds = since(start);
    // It ends with a picture, as it began, so that the pictures between are those that were due.
    if (seconds < job.seconds || (!stands && !times.new_frame && seconds < job.seconds + 1)) return;
    engine.execute_action("exit");
    if (job.kind == "play") print_play(job, r, seconds);
    if (job.kind == "preload") {
      print_play(job, r, seconds);
      std::printf("  %zu frames of another layer loaded meanwhile\n",
                  frames.queue_size() - static_cast<std::size_t>(job.frames));
    }
    if (job.kind == "smooth") {
      print_play(job, r, seconds);
      std::printf("  shown at %d %%; %d of %d frames with plain sampling\n", composition.view.zoom_factor2,
                  sampled_plainly, static_cast<int>(r.lateness.size()));
    }
    if (job.kind == "ahead") {
      print_ahead(job, r, seconds, frames_shown.size(), passed_over(composition, frames, frames_shown));
    }
    if (job.kind == "output") {
      const double due = std::round(seconds * job.rate);
      std::printf(
          "%d x %d at %d beside a second monitor of %d x %d: %.2f %% shown in time in the window, %.2f %% on the "
          "monitor, whose picture takes %.0f %% of a frame; lateness %.1f ms (99th)\n",
          job.width, job.height, job.rate, output.settings().width, output.settings().height, 100.0 * r.in_time / due,
          100.0 * r.beside_in_time / due, percentile(r.beside, 0.5) * job.rate / 10.0, percentile(r.lateness, 0.99));
    }
    if (stands) {
      std::printf("stopped window in the background%s: %.2f %% of one processor\n",
                  job.kind == "idle" ? "" : ", with a server", 100.0 * (processor_seconds() - used) / seconds);
    }
    if (job.kind == "served") {
      std::printf(
          "%d x %d at %d with eight browsers: %.1f %% shown in time; %.0f answers a second of %.0f kB, %d failed\n",
          job.width, job.height, job.rate, 100.0 * r.in_time / std::round(seconds * job.rate),
          clients->answers() / seconds, static_cast<double>(clients->bytes()) / std::max(clients->answers(), 1) / 1e3,
          clients->failures());
      clients->stop();
      server.end();
    }
    if (job.kind == "loop") {
      std::printf("%.0f s of looping, %d frames shown: %.1f MB resident at first, %+.1f MB at the end\n", seconds,
                  static_cast<int>(r.lateness.size()), resident, resident_megabytes() - resident);
    }
    std::fflush(stdout);
    window.observer = nullptr;  // this function goes with it
  };
  std::string error;
  const std::unique_ptr<platform::desktop> desktop = platform::open_desktop(error);
  if (!desktop) {
    to_console("no window: " + error);
    return 1;
  }
  render::pipeline_options served;
  served.reading = &reading;
  services::http::pictures pictures(std::make_unique<render::pipeline>(frames, served), composition);
  if (job.kind == "served" || job.kind == "unasked") {
    int error_number = 0;
    server.set_wake([&desktop] { desktop->wake(); });
    if (!server.start("localhost", 0, {}, error, error_number)) return 1;
    window.poll_services = [&] {
      return server.poll([&](int width, int height) { return pictures.draw(clock.shown_time(), width, height); });
    };
  }
  const int result = window.run(*desktop);
  output.stop();
  server.set_wake(nullptr);
  return result;
}

void run_apart(const job& job) {
  const pid_t child = bench::start_process({"/proc/self/exe", "--job", job.kind, std::to_string(job.width),
                                            std::to_string(job.height), std::to_string(job.rate),
                                            std::to_string(job.frames), std::to_string(job.seconds), job.pattern});
  int status = 0;
  waitpid(child, &status, 0);
  if (status != 0) std::exit(1);
}

// A shot of frames that differ, in the folder.
std::string make_shot(const std::string& folder, int width, int height, int frames) {
  const std::string stem = folder + "/" + std::to_string(height);
  for (int i = 0; i < frames; ++i) {
    char name[16];
    std::snprintf(name, sizeof name, ".%04d.tga", i);
    if (std::ifstream(stem + name)) continue;
    img::save(bench::test_picture("BGR", width, height, i), stem + name, nullptr, {});
  }
  return stem + ".####.tga";
}

// A long shot of which eight frames exist, under many names each, so that the cache knows them all apart.
std::string make_long_shot(const std::string& folder, const std::string& extension, int width, int height, int frames) {
  constexpr int different = 8;
  const std::string stem = folder + "/long" + std::to_string(height);
  const auto name = [&](int i) {
    char number[16];
    std::snprintf(number, sizeof number, ".%04d.", i);
    return stem + number + extension;
  };
  img::save_options options;
  if (extension == "exr") options.compression = 3;
  for (int i = 0; i < frames; ++i) {
    if (i < different) {
      img::save(bench::test_picture("BGR", width, height, i), name(i), nullptr, options);
    } else {
      std::filesystem::create_hard_link(name(i % different), name(i));
    }
  }
  return stem + ".####." + extension;
}

// From the start of the process to the picture on the screen, for a shot of one colour.
void first_picture(bench::x_display& display, const std::string& folder) {
  std::vector<double> times;
  for (int i = 0; i < 7; ++i) {
    img::image plain("BGR", 8, 1920, 1080);
    const int level = 100 + i;
    for (int plane = 0; plane < 3; ++plane) {
      for (int y = 0; y < plain.height; ++y)
        std::memset(plain.row(plane, y), level, static_cast<std::size_t>(plain.width));
    }
    const std::string path = folder + "/plain.tga";
    img::save(plain, path, nullptr, {});
    const std::uint32_t color = static_cast<std::uint32_t>(level) * 0x10101u;
    pid_t program = 0;
    times.push_back(bench::seconds([&] {
      program = bench::start_process({KESTRIN_BINARY, path, "--transient"});
      while (display.pixel(400, 300) != color) usleep(200);
    }));
    kill(program, SIGTERM);
    waitpid(program, nullptr, 0);
  }
  std::printf("start to first picture, 1920 x 1080 TGA: %.0f ms (median of %zu, of the fastest %.0f ms)\n",
              bench::median(times) * 1e3, times.size(), *std::min_element(times.begin(), times.end()) * 1e3);
}

}  // namespace

int main(int count, char** arguments) {
  if (count == 9 && std::strcmp(arguments[1], "--job") == 0) {
    return run_window({arguments[2], std::atoi(arguments[3]), std::atoi(arguments[4]), std::atoi(arguments[5]),
                       std::atoi(arguments[6]), std::atof(arguments[7]), arguments[8]});
  }
  double seconds = 20;
  double loop_seconds = 600;
  char only[8] = "";
  std::vector<job> jobs;
  for (int i = 1; i < count; ++i) {
    job j{"play", 0, 0, 0, 0, 0, {}};
    if (std::sscanf(arguments[i], "--seconds=%lf", &seconds) == 1) continue;
    if (std::sscanf(arguments[i], "--loop=%lf", &loop_seconds) == 1) continue;
    if (std::sscanf(arguments[i], "--only=%7s", only) == 1) continue;
    if (std::sscanf(arguments[i], "%dx%d@%d", &j.width, &j.height, &j.rate) == 3) jobs.push_back(j);
  }
  if (jobs.empty()) {
    for (const int height : {1080, 2160}) {
      for (const int rate : {24, 30, 60}) jobs.push_back({"play", height * 16 / 9, height, rate, 0, 0, {}});
    }
  }

  const bench::work_folder folder;
  setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
  setenv("XDG_DATA_HOME", folder.path().c_str(), 1);
  setenv("XDG_RUNTIME_DIR", folder.path().c_str(), 1);
  bench::x_display display(folder.path(), 4096, 2400);
  const auto asked = [&](const char* kind) { return only[0] == 0 || std::strcmp(only, kind) == 0; };
  if (asked("play")) {
    std::printf("%-18s %8s %10s %8s    %s\n%-18s %8s %10s %8s  %6s %6s %6s %6s %6s\n", "cached sequence", "shown",
                "lateness", "tick of", "of that, medians in ms", "", "in time", "99th", "a frame", "advnce", "fetch",
                "compos", "draw", "presnt");
    std::fflush(stdout);
    for (job& j : jobs) {
      j.frames = j.height > 1200 ? 12 : 24;
      j.seconds = seconds;
      j.pattern = make_shot(folder.path(), j.width, j.height, j.frames);
      run_apart(j);
    }
  }
  if (asked("preload")) {
    make_long_shot(folder.path(), "exr", 1920, 1080, 1200);
    run_apart({"preload", 3840, 2160, 60, 12, seconds, make_shot(folder.path(), 3840, 2160, 12)});
  }
  if (asked("smooth")) {
    run_apart({"smooth", 3840, 2160, 24, 12, seconds, make_shot(folder.path(), 3840, 2160, 12)});
  }
  if (asked("ahead")) {
    std::printf("%-22s %8s %11s %9s    %s\n", "never read before", "in time", "late: 99th", "median",
                "then median and 99th in ms of advance, fetch, composite, draw, present and start");
    std::fflush(stdout);
    const struct {
      const char* extension;
      int width, height;
    } rows[] = {
        {"exr", 1920, 1080}, {"dpx", 2048, 1556}, {"jpg", 1920, 1080}, {"tga", 1920, 1080}, {"exr", 3840, 2160}};
    const int frames = static_cast<int>(seconds * 24) + 40;
    for (const auto& row : rows) {
      run_apart({"ahead", row.width, row.height, 24, frames, seconds,
                 make_long_shot(folder.path(), row.extension, row.width, row.height, frames)});
    }
  }
  if (asked("idle")) run_apart({"idle", 1920, 1080, 24, 24, seconds, make_shot(folder.path(), 1920, 1080, 24)});
  if (asked("served")) {
    for (const char* kind : {"served", "unasked"}) {
      run_apart({kind, 1920, 1080, 24, 24, seconds, make_shot(folder.path(), 1920, 1080, 24)});
    }
  }
  if (asked("output")) {
    bench::run("xrandr --setmonitor first 1920/500x1200/300+0+0 screen");
    bench::run("xrandr --setmonitor second 1920/500x1080/280+1920+0 none");
    run_apart({"output", 1920, 1080, 60, 24, seconds, make_shot(folder.path(), 1920, 1080, 24)});
    bench::run("xrandr --delmonitor second");
    bench::run("xrandr --delmonitor first");
  }
  if (asked("start")) first_picture(display, folder.path());
  if (asked("loop")) run_apart({"loop", 1920, 1080, 24, 24, loop_seconds, make_shot(folder.path(), 1920, 1080, 24)});
}
