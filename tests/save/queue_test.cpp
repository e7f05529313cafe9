// Saves beside the user's work: what they write, whatever happens to the document meanwhile.
#include "save/queue/queue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>

#include "command/engine.h"
#include "composition/editing/canvas.h"
#include "lib/parallel.h"
#include "save/actions.h"
#include "save/queue/actions.h"
#include "save/queue/snapshot.h"
#include "support/pictures.h"
#include "support/saved_movie.h"
#include "support/temp_folder.h"
#include "support/wait.h"

namespace {

using text_list = std::vector<std::string>;
using save::queue_state;

class save_queue : public testing::Test {
 protected:
  support::temp_folder folder;
  ksn::state composition;
  cache::frame_cache frames;
  cache::frame_scheduler reading{frames};
  command::engine engine{composition};
  text_list lines;
  text_list saved;
  std::atomic<int> woken{0};
  render::pipeline pipeline{frames, {true, [this](const std::string& line) { engine.report(line); }, {}, &reading}};
  bool has_window = true;
  int patience = -1;  // of save_queue_wait; below 0 without end
  save::queue queue{{[this](std::function<void(const std::string& line)> report) {
                       render::pipeline_options options;
                       options.report_error = std::move(report);
                       options.reading = &reading;
                       return std::make_unique<render::pipeline>(frames, std::move(options));
                     },
                     [this] { ++woken; }, [this](const std::string& line) { lines.push_back(line); },
                     [this](const std::string& path) { saved.push_back(path); }}};

  save_queue() {
    engine.write_error = engine.write_output = [this](const std::string& line) { lines.push_back(line); };
    composition.hooks.report_error = [this](const std::string& line) { engine.report(line); };
    composition.hooks.forget_layer = [this](int id) { pipeline.forget_layer(id); };
    composition.hooks.drop_path = [this](const std::string& path) { frames.remove_path(path); };
    command::register_fields(engine);
    command::register_language_actions(engine);
    command::register_document_actions(engine);
    save::register_save_actions(engine, pipeline, {nullptr, nullptr, nullptr, nullptr, nullptr, [this] {
                                                     return has_window ? &queue : nullptr;
                                                   }});
    save::register_queue_actions(engine, queue,
                                 [this](const std::string&, int, int) { return patience < 0 || patience-- > 0; });
  }

  text_list run(text_list arguments) {
    lines.clear();
    arguments.insert(arguments.begin(), "kestrin");
    engine.command_pass(arguments);
    return lines;
  }
  std::vector<queue_state> states() const {
    std::vector<queue_state> result;
    for (const save::queue_item& item : queue.items()) result.push_back(item.state);
    return result;
  }
  // Polls as the main loop does.
  bool all_over() {
    return support::wait_until([this] {
      queue.poll();
      return queue.is_over_to(queue.last_id());
    });
  }
  // a.100.tga and those that follow.
  void sequence_of(int count) const {
    for (int i = 0; i < count; ++i)
      img::save(support::random_picture("BGR", 64, 48), folder / ("a." + std::to_string(100 + i) + ".tga"), nullptr,
                {});
  }
  static std::string number_of(int frame) { return (frame < 10 ? ".000" : ".00") + std::to_string(frame) + ".tga"; }
  std::string bytes_of(const std::string& name) const { return support::read_file(folder / name); }
};

TEST_F(save_queue, writes_the_document_as_it_was) {
  constexpr int count = 24;
  sequence_of(count);
  run({folder / "a.100.tga", "--mask_size=64,48", "--exposure=0.5", "--new_brush_layer", "--alpha=normal",
       "--new_text_layer", "--text=frame %{time}", "--alpha=normal", "--new_adjustment_layer", "--saturation=40",
       "--wa_begin=0", "--wa_end=24"});
  ASSERT_EQ(composition.doc.track_count(), 4);
  ksn::track_info* brush = &composition.doc.track_at(2);
  ksn::canvas_for_painting(composition, *brush, 0)->fill(200, 100, 50, 128);
  has_window = false;
  EXPECT_EQ(run({"--save_mask_as_sequence=" + folder / "wanted.####.tga"}), text_list());
  has_window = true;
  for (const char* name : {"one", "two", "three"})
    EXPECT_EQ(run({"--save_mask_as_sequence=" + folder / name + ".####.tga"}), text_list());
  EXPECT_EQ(states().size(), 3u);
  // All that a user does, as fast as it goes.
  img::image shown;
  int round = 0;
  EXPECT_TRUE(support::wait_until([&] {
    queue.poll();
    ++round;
    if (brush) {
      ksn::canvas_for_painting(composition, *brush, 0)->fill(round & 255, 0, 0, 255);
      brush->placement.pos = {round % 20, 3};
    }
    if (round == 5) {
      run({"--layer_select_all", "--layer_delete_selected", folder / "a.105.tga", "--fps=30"});
      brush = nullptr;
    }
    if (round % 7 == 0) frames.clear();
    if (round % 3 == 0) run({"--saturation=" + std::to_string(round % 100), "--text=other", "--wa_end=3"});
    render::render_frame(pipeline, composition, shown, render::output_view(composition.doc, composition.view),
                         round % count);
    return queue.unfinished() == 0;
  }));
  EXPECT_TRUE(all_over());
  EXPECT_EQ(states(), std::vector(3, queue_state::saved));
  EXPECT_EQ(saved.size(), 3u);
  for (int i = 0; i < count; ++i) {
    for (const char* name : {"one", "two", "three"})
      EXPECT_EQ(bytes_of(name + number_of(i)), bytes_of("wanted" + number_of(i))) << name << i;
  }
}

TEST_F(save_queue, edits_cancels_and_the_end_at_any_moment) {
  constexpr int count = 40;
  sequence_of(count);
  const auto make_document = [this] {
    run({"--new_composition", folder / "a.100.tga", "--mask_size=64,48", "--new_brush_layer", "--alpha=normal",
         "--new_text_layer", "--text=%{time}", "--alpha=normal", "--wa_begin=0", "--wa_end=40"});
  };
  make_document();
  has_window = false;
  EXPECT_EQ(run({"--save_mask_as_sequence=" + folder / "wanted.####.tga"}), text_list());
  has_window = true;
  for (int turn = 0; turn < 6; ++turn) {
    make_document();
    const std::string name = "turn" + std::to_string(turn);
    const int first = queue.last_id() + 1;
    run({"--save_mask_as_sequence=" + folder / (name + "a.####.tga"), "--save_options=codec=raw",
         "--save_mask_as_sequence=" + folder / (name + ".avi"),
         "--save_mask_as_sequence=" + folder / (name + "b.####.tga")});
    ASSERT_EQ(queue.last_id(), first + 2) << lines.back();
    int rounds = 0;
    // Each turn comes further before the running save is cancelled and the window closes.
    EXPECT_TRUE(support::wait_until([&] {
      queue.poll();
      ksn::canvas_for_painting(composition, composition.doc.track_at(1), 0)->fill(++rounds & 255, 0, 0, 255);
      if (rounds % 3 == 0) frames.clear();
      run({"--layer_move_up", "--undo", "--text=" + std::to_string(rounds), "--wa_end=" + std::to_string(5 + turn)});
      const std::vector<save::queue_item> items = queue.items();
      const auto begun =
          std::ranges::find_if(items, [](const save::queue_item& item) { return item.state == queue_state::running; });
      if (begun == items.end()) return queue.unfinished() == 0;
      if (begun->done.done < 5 * turn) return false;
      queue.cancel(begun->id);
      return begun->id >= first + turn % 3;
    }));
    queue.stop();
    EXPECT_EQ(queue.unfinished(), 0);
    // What is there is as the document was, whole and from the first frame on.
    for (const char* part : {"a", "b"}) {
      int there = 0;
      for (int i = 0; i < count; ++i) {
        const std::string file = bytes_of(name + part + number_of(i));
        if (file.empty()) continue;
        EXPECT_EQ(there++, i) << name << part;
        EXPECT_EQ(file, bytes_of("wanted" + number_of(i))) << name << part << i;
      }
    }
    const std::string movie = folder / (name + ".avi");
    EXPECT_FALSE(std::filesystem::exists(movie + ".part"));
    if (!std::filesystem::exists(movie)) continue;
    const auto clip = support::open_movie(movie).opened;
    ASSERT_TRUE(clip);
    for (int i = 0; i < clip->frames(); ++i) {
      img::image played;
      img::image wanted;
      ASSERT_TRUE(clip->read(i, 0, played));
      img::load(wanted, folder / ("wanted" + number_of(i)));
      EXPECT_EQ(support::mean_difference(played, wanted), 0.0) << name << i;
    }
  }
}

// Saves that last as long as the test wants.
std::atomic<int> runs_now{0};

bool until_cancelled(save::context& context, const std::string& path) {
  context.show_progress({1, 2, 3.0, 4.0, 5});
  runs_now = 1;
  while (!context.cancelled()) std::this_thread::yield();
  context.report_error(path + " stopped");
  context.after_save(path);
  runs_now = 0;
  return false;
}

bool at_once(save::context&, const std::string&) {
  return true;
}

bool fails(save::context&, const std::string& path) {
  throw std::runtime_error(path);
}

TEST_F(save_queue, one_after_the_other_and_each_can_be_cancelled) {
  const auto add = [this](save::save_function run, const char* name) {
    return queue.add(run, name, {composition, pipeline, {}, 0.0, {}, false, {}, nullptr, nullptr, nullptr, nullptr});
  };
  const int first = add(until_cancelled, "/a");
  ASSERT_TRUE(support::wait_until([] { return runs_now == 1; }));
  const int second = add(at_once, "/b");
  const int third = add(fails, "/c");
  const int fourth = add(at_once, "/d");
  EXPECT_EQ(queue.unfinished(), 4);
  EXPECT_TRUE(queue.cancel(third + 1));
  EXPECT_FALSE(queue.cancel(99));
  using enum queue_state;
  EXPECT_EQ(states(), (std::vector{running, waiting, waiting, cancelled}));
  EXPECT_TRUE(queue.poll());
  EXPECT_EQ(queue.items()[0].done.bytes, 5);
  EXPECT_EQ(
      run({"--print_field=save_queue", "--print_field=saves_running"}),
      (text_list{
          "global:save_queue=1 running 1/2 3.0 4.0 5 /a\n2 waiting 0/250 0.0 0.0 0 /b\n3 waiting 0/250 0.0 0.0 0 /c\n"
          "4 cancelled 0/250 0.0 0.0 0 /d",
          "global:saves_running=3"}));
  EXPECT_FALSE(queue.is_over_to(first));
  patience = 2;
  EXPECT_EQ(run({"--save_queue_wait"}), text_list()) << "ends when the user has waited enough";
  EXPECT_EQ(run({"--save_queue_cancel=1"}), text_list());
  EXPECT_TRUE(all_over());
  EXPECT_EQ(states(), (std::vector{cancelled, queue_state::saved, failed, cancelled}));
  EXPECT_EQ(lines, (text_list{"/a stopped", "\"/c\": /c"}));
  EXPECT_EQ(queue.lines_of(third), text_list{"\"/c\": /c"});
  EXPECT_EQ(this->saved, text_list{"/a"});
  EXPECT_GT(woken, 0);
  // What is over goes off the list.
  EXPECT_EQ(run({"--save_queue_cancel=2", "--save_queue_cancel=x"}),
            text_list{"\"--save_queue_cancel=x\": Invalid option"});
  EXPECT_EQ(states(), (std::vector{cancelled, failed, cancelled}));
  for (int i = 0; i < 25; ++i) add(at_once, "/e");
  EXPECT_TRUE(all_over());
  EXPECT_EQ(states().size(), save::queue::most_over);
  EXPECT_TRUE(queue.is_over_to(second) && queue.is_over_to(fourth));
  // Its end cancels the rest, and it can begin again.
  add(until_cancelled, "/f");
  add(at_once, "/g");
  queue.stop();
  EXPECT_EQ(queue.unfinished(), 0);
  EXPECT_EQ(states().back(), cancelled);
  add(at_once, "/h");
  EXPECT_TRUE(all_over());
}

TEST_F(save_queue, what_can_not_begin_is_told_at_once) {
  support::write_file(folder / "file", "");
  EXPECT_EQ(run({"--save_mask_as_sequence=" + folder / "x.nothing"}),
            text_list{"\"" + folder / "x.nothing" + "\": Invalid file type"});
  EXPECT_EQ(run({"--save_layer_as=" + folder / "x.tga"}).size(), 1u) << "no layer";
  EXPECT_EQ(run({"--save_options=codec=prores_hq", "--save_mask_as_sequence=" + folder / "x.mp4"}).size(), 1u);
  EXPECT_TRUE(queue.items().empty());
  // A path means the folder of the moment.
  run({"--new_adjustment_layer", "--wa_end=1", "--save_options=quality=90"});
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  EXPECT_EQ(run({"--save_mask_as_sequence=here.#.tga"}), text_list());
  std::filesystem::current_path(before);
  EXPECT_EQ(run({"--save_queue_wait"}), text_list());
  EXPECT_TRUE(std::filesystem::exists(folder / "here.0.tga"));
}

class counted_source : public sources::live_source {
 public:
  int asked = 0;
  int width() const override { return 4; }
  int height() const override { return 3; }
  bool has_alpha() const override { return false; }
  img::const_image_ptr newest() override {
    ++asked;
    return std::make_shared<img::image>("BGR", 8, 4, 3);
  }
  img::const_image_ptr latest() override { return nullptr; }
};

TEST_F(save_queue, a_live_layer_keeps_its_picture_in_the_copy) {
  const auto live = std::make_shared<counted_source>();
  ksn::track_info track;
  track.source.live = live;
  composition.doc.tracks.push_back(track);
  const auto copy = save::snapshot(composition);
  const auto& kept = copy->doc.track_at(0).source.live;
  EXPECT_EQ(kept->newest(), kept->newest());
  EXPECT_EQ(live->asked, 1);
}

}  // namespace
