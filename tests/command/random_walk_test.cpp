// A long walk of random commands over a document never breaks what holds for it. KESTRIN_WALK_STEPS and
// KESTRIN_WALK_SEED make it longer or another.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <random>

#include "command/engine.h"
#include "composition/editing/layer_switches.h"
#include "composition/editing/undo.h"
#include "composition/invariants.h"
#include "composition/opening/watching.h"
#include "composition/test_document.h"

namespace {

namespace fs = std::filesystem;

int from_environment(const char* name, int otherwise) {
  const char* text = std::getenv(name);
  return text ? std::atoi(text) : otherwise;
}

class walk {
 public:
  explicit walk(unsigned seed) : random_(seed) {
    command::register_document_actions(engine_);
    for (const auto& [name, row] : engine_.action_table) {
      if (row.execute) actions_.push_back(name);
      if (row.execute_value) value_actions_.push_back(name);
    }
    command::register_fields(engine_);
    for (const command::layer_field& field : engine_.layer_field_table) fields_.push_back("selected:" + field.name);
    for (const command::global_field& field : engine_.global_field_table) fields_.push_back("global:" + field.name);
    for (const char* name : {"v1/s_v1", "v2/s_v2", "left/eye", "right/eye", "still_left", "still_right", "a", "b"}) {
      stems_.push_back(name);
      for (int n = 1; n <= 4; ++n) support::write_file(file(name, n), support::tga(n % 2 == 0));
    }
  }

  // One step; its text.
  std::string step() {
    if (document_.doc.track_count() > 30) {
      for (int i = 0; i < 20; ++i) document_.doc.selection.insert(below(document_.doc.track_count()));
      return act("layer_delete_selected");
    }
    switch (below(20)) {
      case 0:
      case 1:
        return add();
      case 2:
        return change_files();
      case 3:
        return select();
      case 4:
        return gesture();
      case 5:
      case 6:
      case 7:
        return assign();
      case 8:
        return act(pick(value_actions_) + "=" + pick(values_));
      default:
        return act(pick(actions_));
    }
  }
  const ksn::state& document() const { return document_; }

 private:
  std::mt19937 random_;
  support::temp_folder folder_;
  support::document document_;
  command::engine engine_{document_};
  std::vector<std::string> actions_, value_actions_, fields_, stems_;
  const std::vector<std::string> values_ = {
      "0",   "1",    "2",          "-1",   "7",       "100",         "1000",      "-2147483648", "2147483647", "1e30",
      "nan", "0.25", "inf",        "1,1",  "-7,2000", "0,0,100,-50", "1,2,3",     "1,2,3,40",    "none",       "red",
      "rgb", "left", "both",       "",     "pm",      "1,2,3,4,5",   "multiply",  "text",        "custom",     "id(1)",
      "-1",  "1,2",  "difference", "crop", "50",      "1..2",        "'a.#.tga'", "luma",        "srgb",       "full"};

  int below(int end) { return static_cast<int>(random_() % static_cast<unsigned>(end)); }
  const std::string& pick(const std::vector<std::string>& from) {
    return from[static_cast<std::size_t>(below(static_cast<int>(from.size())))];
  }
  std::string file(const std::string& stem, int number) const {
    return folder_ / (stem + "." + std::to_string(number) + ".tga");
  }

  std::string act(const std::string& text) {
    engine_.run_option("--" + text);
    return text;
  }
  std::string assign() {
    const std::string text = pick(fields_) + "=" + pick(values_);
    engine_.run_option("--" + text);
    return text;
  }
  std::string add() {
    const std::string path = file(pick(stems_), 1 + below(5));
    switch (below(5)) {
      case 0:
        document_.add(path, true, below(2) == 0, below(2) == 0);
        break;
      case 1:
        document_.add_with_range(path, "1-9x2,3--3");
        break;
      case 2:
        document_.add_forced_sequence(path);
        break;
      default:
        document_.add(path, false, below(2) == 0, below(3) == 0);
    }
    return "add " + path;
  }
  std::string change_files() {
    const std::string path = file(pick(stems_), 1 + below(9));
    if (below(3) == 0) {
      fs::remove(path);
    } else {
      support::write_file(path, support::tga());
    }
    ksn::poll_watches(document_);
    return "change " + path;
  }
  std::string select() {
    document_.doc.selection.clear();
    for (int i = below(4); i > 0 && document_.doc.track_count() > 0; --i) {
      document_.doc.selection.insert(below(document_.doc.track_count()));
    }
    if (document_.doc.selection.size() == 1 && below(2) == 0) {
      // One layer supplies the alpha of another.
      document_.doc.track_at(*document_.doc.selection.begin()).look.alpha_source_id =
          document_.doc.track_at(below(document_.doc.track_count())).id;
    }
    document_.doc.set_current_time(below(document_.doc.tm_n + 2) + below(4) * 0.25);
    return "select";
  }
  // Changes that only the mouse makes.
  std::string gesture() {
    switch (below(4)) {
      case 0:
        ksn::set_alpha_mode(document_, static_cast<ksn::alpha_type>(below(4)));
        return "set_alpha_mode";
      case 1:
        ksn::set_depth_mode(document_, static_cast<ksn::depth_blend_type>(below(3)));
        return "set_depth_mode";
      case 2: {
        const ksn::undo_capture before(document_);
        const int offset = below(9) - 4;
        for (const int index : document_.doc.selection) document_.doc.track_at(index).timing.begin += offset;
        before.remember(document_, ksn::undo_name{"multiple_move_in_timeline"}, ksn::undo_rule::by_offset);
        return "move";
      }
      default:
        if (document_.doc.selected_index() < document_.doc.track_count()) {
          ksn::track_info& track = document_.doc.track_at(document_.doc.selected_index());
          const ksn::undo_capture before(document_);
          track.set_in_out(below(50) - 20, below(90) - 20);
          before.remember(document_, ksn::undo_name{"move_in_timeline"}, ksn::undo_rule::as_left, false);
        }
        return "trim";
    }
  }
};

TEST(random_walk, keeps_the_invariants) {
  const int steps = from_environment("KESTRIN_WALK_STEPS", 4000);
  const auto seed = static_cast<unsigned>(from_environment("KESTRIN_WALK_SEED", 1));
  walk walk(seed);
  std::deque<std::string> last;
  int most_layers = 0;
  int changes = 0;  // steps after which the stack had another size
  int layers = 0;
  for (int i = 0; i < steps; ++i) {
    last.push_back(walk.step());
    if (last.size() > 12) last.pop_front();
    changes += walk.document().doc.track_count() != layers;
    layers = walk.document().doc.track_count();
    most_layers = std::max(most_layers, layers);
    const std::string broken = ksn::broken_invariant(walk.document());
    if (broken.empty()) continue;
    std::string trail;
    for (const std::string& step : last) trail += "\n  " + step;
    FAIL() << "seed " << seed << ", step " << i << ": " << broken << trail;
  }
  EXPECT_GT(most_layers, 10);
  EXPECT_GT(changes, steps / 20) << "the walk stood still";
}

}  // namespace
