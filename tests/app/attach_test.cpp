// Lines that one instance hands to another.
#include "app/attach.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <future>

#include "paths.h"
#include "support/program.h"
#include "support/variable.h"

namespace {

// The result of `work` on a thread of its own, while this one carries lines out.
template <class Work>
auto while_polling(app::attach& attach, Work&& work) {
  auto result = std::async(std::launch::async, work);
  while (result.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) attach.poll();
  return result.get();
}

// A running instance without a window.
struct receiver {
  support::temp_folder folder;
  ksn::state composition;
  command::engine engine{composition};
  app::attach attach{engine, folder / "line"};
  std::vector<std::string> sources;
  std::vector<std::string> lines;
  std::atomic<int> woken = 0;
  int forward = 0;

  receiver() {
    engine.write_error = engine.write_output = [this](const std::string& line) { lines.push_back(line); };
    engine.add_source = [this](const command::source_request& request) { sources.push_back(request.path); };
    command::register_fields(engine);
    command::register_language_actions(engine);
    command::register_document_actions(engine);
    attach.serve([this] { ++woken; }, [this] { ++forward; });
  }

  // Whether a sender of this line may end.
  bool run(std::vector<std::string> args) {
    args.insert(args.begin(), "kestrin");
    return while_polling(attach, [&] {
      ksn::state other;
      command::engine none(other);
      return app::attach(none, folder / "line").hand_over(args).has_value();
    });
  }
};

TEST(attach, lines_that_are_handed_over) {
  receiver r;
  struct row {
    std::vector<std::string> args;
    bool handed_over;
    std::size_t sources;
    bool forward;
  };
  const row rows[] = {
      {{"--attach", "a.tga"}, true, 1, true},
      {{"a.tga", "b.tga", "--use_existing_window"}, true, 2, true},
      {{"--attach_nf", "a.tga"}, true, 1, false},
      {{"--attach", "a.tga", "--attach_nf"}, true, 1, false},
      {{"a.tga"}, false, 0, false},
      {{"--attach=1", "a.tga"}, false, 0, false},
      {{"attach", "--Attach"}, false, 0, false},
      {{"--attach"}, true, 0, true},
  };
  for (const row& row : rows) {
    r.sources.clear();
    r.forward = 0;
    EXPECT_EQ(r.run(row.args), row.handed_over) << row.args[0];
    EXPECT_EQ(r.sources.size(), row.sources) << row.args[0];
    EXPECT_EQ(r.forward, row.forward ? 1 : 0) << row.args[0];
    EXPECT_TRUE(r.lines.empty()) << r.lines[0];
  }
  EXPECT_GE(r.woken, 5);
  EXPECT_FALSE(r.engine.action_table.contains("attach")) << "elsewhere the option stays unknown";
}

TEST(attach, the_status_of_the_line_comes_back_when_asked_for) {
  receiver r;
  const struct {
    std::vector<std::string> args;
    int code;
  } rows[] = {
      {{"--attach=status", "--time=7"}, 0},
      {{"--attach=status", "--nonsense"}, 1},
      {{"--attach", "--nonsense"}, 0},
      {{"--nonsense", "--attach_nf", "--attach=status"}, 1},
  };
  for (const auto& row : rows) {
    std::vector<std::string> args = row.args;
    args.insert(args.begin(), "kestrin");
    r.lines.clear();
    const std::optional<int> code = while_polling(r.attach, [&] {
      ksn::state other;
      command::engine none(other);
      return app::attach(none, r.folder / "line").hand_over(args);
    });
    EXPECT_EQ(code, row.code) << row.args[0];
    EXPECT_EQ(r.lines.size(), static_cast<std::size_t>(std::count(args.begin(), args.end(), "--nonsense")));
  }
  EXPECT_FALSE(r.engine.action_table.contains("attach"));
}

// A save that goes on: the sender ends when it is over, with its lines; other lines do not wait for it.
TEST(attach, what_a_line_left_going_on_is_waited_for) {
  receiver r;
  int asked = 0;
  bool over = false;
  int held_lines = 0;
  r.attach.work_left = [&]() -> platform::rest_of_answer {
    // Before and after each line.
    if (++asked != 2) return nullptr;
    ++held_lines;
    return [&](std::string& answer) {
      if (over) answer += platform::encode_answer(platform::answer_kind::error, "the disk is full");
      return over;
    };
  };
  const auto sender = [&](std::vector<std::string> args) {
    args.insert(args.begin(), "kestrin");
    return std::async(std::launch::async, [&r, args] {
      ksn::state other;
      command::engine none(other);
      return app::attach(none, r.folder / "line").hand_over(args);
    });
  };
  const auto polled = [&](std::future<std::optional<int>>& result) {
    while (result.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) r.attach.poll();
    return result.get();
  };
  auto first = sender({"--attach=status", "--time=3"});
  while (held_lines == 0) r.attach.poll();
  auto second = sender({"--attach=status", "--time=4"});
  EXPECT_EQ(polled(second), 0);
  EXPECT_EQ(first.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  over = true;
  EXPECT_EQ(polled(first), 1);

  // An end of this instance answers as well: the line must not be sent to the next one.
  asked = 0;
  over = false;
  auto third = sender({"--attach=status", "--time=5"});
  while (held_lines == 1) r.attach.poll();
  r.attach.stop();
  EXPECT_EQ(third.get(), 0);
}

TEST(attach, relative_paths_mean_the_senders_folder) {
  receiver r;
  const std::string before = std::filesystem::current_path();
  const support::temp_folder elsewhere;
  platform::handover line(r.folder / "line");
  const auto send = [&](const std::string& folder) {
    return while_polling(r.attach, [&] {
      return line.send({folder, {"kestrin", "--attach", "shot.tga", "/abs/b.tga"}}, false,
                       [](const platform::answer_record&) {}) == platform::handover_result::carried_out;
    });
  };
  EXPECT_TRUE(send(elsewhere.path()));
  EXPECT_EQ(r.sources, (std::vector<std::string>{elsewhere / "shot.tga", "/abs/b.tga"}));
  EXPECT_EQ(std::filesystem::current_path(), before);
  EXPECT_FALSE(send(elsewhere / "missing")) << "the paths would mean something else";
  EXPECT_EQ(r.sources.size(), 2u);
}

TEST(attach, not_while_a_command_runs) {
  receiver r;
  bool polled = false;
  r.engine.action_table["dialog"].execute = [&] {
    // A loop of events inside an action.
    r.attach.poll();
    polled = true;
  };
  platform::handover line(r.folder / "line");
  auto sender = std::async(std::launch::async, [&] {
    return line.send({"", {"kestrin", "--attach", "a.tga"}}, false, [](const platform::answer_record&) {});
  });
  ASSERT_TRUE(support::wait_until([&] { return r.woken > 0; }));
  r.engine.run_option("--dialog");
  EXPECT_TRUE(polled);
  EXPECT_TRUE(r.sources.empty());
  while (sender.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) r.attach.poll();
  EXPECT_EQ(r.sources.size(), 1u);
}

// The real program as the sender: what the receiver prints and reports comes to its console.
TEST(attach, the_program_hands_over_and_prints_the_answer) {
  const support::temp_folder runtime;
  const support::variable folder("XDG_RUNTIME_DIR", runtime.path()), display("DISPLAY", ":77");
  receiver r;
  app::attach attach(r.engine);
  attach.serve([] {}, [] {});
  const auto run = [&](const std::vector<std::string>& args) {
    return while_polling(attach, [&] {
      return support::run_program(KESTRIN_BINARY, args, runtime.path(),
                                  {{"XDG_RUNTIME_DIR", runtime.path()}, {"DISPLAY", ":77"}});
    });
  };
  const std::vector<std::string> args{"--attach",           "x.####.tga", "--time=7",
                                      "--print_field=time", "--nonsense", std::string(100000, 'x')};
  const support::outcome outcome = run(args);
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.out, "global:time=7\n");
  EXPECT_EQ(outcome.errors, "\"--nonsense\": Invalid option\n");
  EXPECT_EQ(r.sources, (std::vector<std::string>{runtime / "x.####.tga", runtime / std::string(100000, 'x')}));

  // With nobody there it goes on by itself, and says that it does not know the option.
  attach.stop();
  for (const char* option : {"--attach", "--use_existing_window", "--attach_nf"}) {
    const support::outcome alone = run({option, "--print_field=time", "--exit"});
    EXPECT_EQ(alone.code, 0);
    EXPECT_EQ(alone.out, "global:time=0\n");
    EXPECT_EQ(alone.errors, "\"" + std::string(option) + "\": Invalid option\n");
  }
}

}  // namespace
