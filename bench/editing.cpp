// Every editing action on 1,000 layers that are sequences of 100,000 frames each, with one layer and with all selected,
// and its undo: the median processor time as a part of a frame's time at 24 frames a second. The slowest come first;
// none should reach 1. One layer stands on a real folder of that many files, for what reads it.
#include <time.h>

#include <fstream>
#include <map>

#include "command/engine.h"
#include "composition/opening/sequence.h"
#include "support.h"

namespace {

constexpr int layers = 1000;
constexpr int frames = 100000;
constexpr int rounds = 9;
constexpr double frame_time = 1.0 / 24;

ksn::frame_names names_of(const std::string& stem) {
  ksn::name_list names;
  for (int i = 0; i < frames; ++i) names.add(ksn::name_for_number(stem + ".??????.tga", i));
  return ksn::frame_names(std::move(names));
}

void make_files(const std::string& folder, const std::string& stem, int count) {
  std::filesystem::create_directories(folder);
  for (int i = 0; i < count; ++i) {
    std::ofstream file(folder + "/" + ksn::name_for_number(stem + ".??????.tga", i), std::ios::binary);
  }
}

// Processor time, which is the same however busy the machine is.
double processor_seconds(const std::function<void()>& work) {
  const auto now = [] {
    timespec time;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  };
  const double start = now();
  work();
  return now() - start;
}

struct measurement {
  std::string operation;
  double time;
};

}  // namespace

int main() {
  const bench::work_folder work;
  make_files(work.path() + "/shot_v1", "beauty", frames);
  make_files(work.path() + "/shot_v1", "depth", 2);
  make_files(work.path() + "/shot_v2", "beauty", 10);

  ksn::state composition;
  command::engine engine(composition);
  command::register_document_actions(engine);

  for (int i = 0; i < layers; ++i) {
    const std::string stem = "layer" + std::to_string(i % 10);
    ksn::track_info track;
    track.source.type = ksn::source_type::sequence;
    // Ten lists of names in all; layers with the same number share one, as duplicates do.
    track.source.names = i < 10 ? names_of(stem) : composition.doc.track_at(i - 10).source.names;
    track.source.frames = frames;
    track.source.path = "/show/" + stem + "/";
    track.source.mask = stem + ".??????.tga";
    track.name = track.default_name = stem + ".######.tga";
    track.source.width = 1920;
    track.source.height = 1080;
    track.timing.begin = i;
    track.look.visible = true;
    track.source.frame_states.assign(frames, 1);
    if (i % 3 == 0 && i > 0) track.look.alpha_source_id = composition.doc.track_at(i - 1).id;
    composition.doc.tracks.push_back(track);
  }
  ksn::track_info& real = composition.doc.track_at(layers / 2);
  real.source.path = work.path() + "/shot_v1/";
  real.source.mask = "beauty.??????.tga";
  real.source.names = names_of("beauty");
  real.source.version = "v1";
  composition.doc.set_timeline_length(frames + layers, true);
  composition.workspace.track_max = layers;
  composition.doc.tm_t = frames / 2;
  const ksn::composition_view start = composition;

  std::vector<std::string> operations = {"layer_replace_with=" + work.path() + "/shot_v1/depth.000000.tga",
                                         "new_adjustment_layer=1000", "new_brush_sequence_layer=100000"};
  for (const auto& [name, action] : engine.action_table) operations.push_back(name);

  std::map<std::string, std::vector<double>> times;
  for (int round = 0; round < rounds; ++round) {
    for (const std::string& operation : operations) {
      for (const bool all : {false, true}) {
        static_cast<ksn::composition_view&>(composition) = start;
        composition.undo_stack.reset();
        composition.watcher.reset();
        composition.doc.selection.clear();
        for (int i = all ? 0 : layers / 2; i < (all ? layers : layers / 2 + 1); ++i)
          composition.doc.selection.insert(i);
        const std::string name = operation.substr(0, operation.find('=')) + (all ? ", all selected" : "");
        times[name].push_back(processor_seconds([&] { engine.execute_action(operation); }));
        if (operation != "undo" && composition.undo_stack) {
          times["undo of " + name].push_back(processor_seconds([&] { engine.execute_action("undo"); }));
        }
      }
    }
  }

  std::vector<measurement> sorted;
  for (const auto& [name, taken] : times) sorted.push_back({name, bench::median(taken)});
  std::sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) { return a.time > b.time; });
  std::printf("%d layers of %d frames, %zu operations; median processor time against a frame at 24 frames a second\n",
              layers, frames, sorted.size());
  for (std::size_t i = 0; i < std::min<std::size_t>(sorted.size(), 15); ++i) {
    std::printf("%-50s %.3f\n", sorted[i].operation.c_str(), sorted[i].time / frame_time);
  }
}
