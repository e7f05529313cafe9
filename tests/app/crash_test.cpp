// Ends that nobody wanted: what is left then, and what a window has written before.
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>

#include "app/keeper.h"
#include "composition/documents/persistence.h"
#include "composition/documents/recent_items.h"
#include "support/no_threads.h"
#include "support/program_test.h"
#include "support/sanitized.h"
#include "support/variable.h"

namespace {

class crash : public support::program_test {};

// As where several threads come upon the same fault.
void send_to_all_threads(pid_t process, int signal) {
  std::error_code gone;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task", gone)) {
    syscall(SYS_tgkill, process, std::stoi(thread.path().filename()), signal);
  }
}

TEST_F(crash, a_fatal_signal_leaves_a_trace_and_says_where) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the thread sanitizer fails itself where a signal reaches a thread that it has not begun to watch";
#endif
#if defined(KSN_SANITIZED)
  const std::vector<int> signals{SIGABRT};  // the others are the sanitizer's own
#else
  const std::vector<int> signals{SIGABRT, SIGSEGV, SIGBUS, SIGILL, SIGFPE};
#endif
  picture("a.tga");
  for (const bool transient : {false, true}) {
    for (const int signal : signals) {
      const support::temp_folder home;
      std::filesystem::remove_all(folder / "out");
      support::process program({KESTRIN_BINARY, "a.tga", "--length=100000", "--timeline=100000", "--wa_end=100000",
                                "--save_mask_as_sequence=out/c.#.tga", "--exit"},
                               {folder.path(),
                                {{"DISPLAY", ""},
                                 {"XDG_STATE_HOME", home / "state"},
                                 {"XDG_DATA_HOME", home / "data"},
                                 {"XDG_CONFIG_HOME", home / "config"},
                                 {"KESTRIN_TRANSIENT", transient ? "1" : ""}},
                                home / "out",
                                home / "errors"});
      ASSERT_TRUE(support::wait_until([&] { return exists("out/c.1.tga"); }));
      if (transient) {
        program.send(signal);
      } else {
        send_to_all_threads(program.id(), signal);
      }
      EXPECT_EQ(program.wait_for_end(), 1000 + signal);
      const std::string errors = support::read_file(home / "errors");
      const std::string number = std::to_string(signal);
      std::string trace = errors;
      if (transient) {
        EXPECT_FALSE(std::filesystem::exists(home / "state"));
      } else {
        const std::filesystem::directory_iterator files(home / "state/Kestrin");
        ASSERT_NE(files, std::filesystem::directory_iterator());
        trace = support::read_file(files->path());
        EXPECT_EQ(errors,
                  "Kestrin ended by signal " + number + "; the trace is in \"" + files->path().string() + "\".\n");
      }
      EXPECT_EQ(trace.rfind("Kestrin 32 ", 0), 0u) << trace;
      EXPECT_NE(trace.find("Ended by signal " + number + " ("), std::string::npos) << trace;
      const std::string binary = std::filesystem::canonical(KESTRIN_BINARY);
      EXPECT_NE(trace.find("\n" + binary + "+0x"), std::string::npos) << "a call: " << trace;
      EXPECT_NE(trace.find(" " + binary + "\n", trace.find("Modules:")), std::string::npos) << trace;
    }
  }
}

class keeper : public testing::Test {
 protected:
  support::temp_folder home;
  support::variable config{"XDG_CONFIG_HOME", home / "config"};
  support::variable data{"XDG_DATA_HOME", home / "data"};
  ksn::state composition;
  std::vector<std::string> lines;
  std::optional<platform::window_placement> placement = platform::window_placement{};
  bool has_folder = true;
  app::keeper kept{{composition,
                    [this](std::string& folder) {
                      folder = home / "data/Kestrin";
                      return has_folder;
                    },
                    [this] { return placement; }, [this](const std::string& line) { lines.push_back(line); }}};
  std::uint32_t now = 4'294'960'000u;  // milliseconds; wraps soon
  std::string settings = home / "config/Kestrin/kestrin.settings.dat";

  void pass(int seconds) {
    for (int i = 0; i < seconds; ++i) {
      kept.tick(now += 1000);
      kept.wait();
    }
  }
  std::vector<std::string> copies() const {
    std::vector<std::string> found;
    std::error_code none;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home / "data/Kestrin/unsaved", none)) {
      if (entry.path().extension() == ".ksncomp") found.push_back(entry.path());
    }
    return found;
  }
};

TEST_F(keeper, settings_are_written_when_they_change) {
  kept.begin(now, true, false);
  pass(5);
  composition.touch();  // something that is no setting
  pass(5);
  EXPECT_FALSE(std::filesystem::exists(settings));
  composition.settings.volume = 33;
  kept.tick(now += 1000);
  EXPECT_FALSE(std::filesystem::exists(settings)) << "nothing told of a change";
  composition.touch();
  pass(1);
  ksn::composition_view read;
  ksn::load_settings_file(read, settings);
  EXPECT_EQ(read.settings.volume, 33);
  placement->left = 77;
  pass(1);
  EXPECT_NE(support::read_file(home / "data/Kestrin/kestrin.window.xml").find("77"), std::string::npos);
  // What another program writes stays as long as nothing changes here.
  support::write_file(settings, "theirs");
  composition.touch();
  pass(5);
  EXPECT_EQ(support::read_file(settings), "theirs");

  std::filesystem::remove_all(home / "config");
  support::write_file(home / "config", "no folder");
  for (const int volume : {1, 2}) {
    composition.settings.volume = volume;
    composition.touch();
    pass(1);
  }
  EXPECT_EQ(lines, std::vector<std::string>{"The settings can't be saved"}) << "once";
}

TEST_F(keeper, a_copy_of_the_document_outlives_a_crash) {
  kept.begin(now, false, true);
  composition.new_text_layer();
  composition.file_name = home / "shots/010.xml";
  composition.touch();
  pass(59);
  EXPECT_TRUE(copies().empty());
  pass(1);
  ASSERT_EQ(copies().size(), 1u);
  const std::string copy = copies()[0];
  EXPECT_TRUE(copy.ends_with("/010.ksncomp")) << copy;
  const std::string place = copy.substr(0, copy.rfind('/'));

  // Not a copy of a program that runs, but that of one which is gone, here one that had two layers.
  composition.new_text_layer();
  composition.touch();
  pass(60);
  std::filesystem::copy(place, home / "data/Kestrin/unsaved/run-dead");
  const std::string dead = home / "data/Kestrin/unsaved/run-dead/010.ksncomp";
  const std::string lists = home / "data/Kestrin";
  EXPECT_EQ(ksn::adopt_copies(lists), std::vector<std::string>{dead});
  EXPECT_EQ(ksn::adopt_copies(lists), std::vector<std::string>());
  EXPECT_EQ(ksn::read_recent(lists)[ksn::unsaved_items], (std::vector<ksn::recent_item>{{dead, 0}}));
  ksn::state opened;
  ksn::load_composition(opened, dead, false);
  EXPECT_EQ(opened.doc.track_count(), 2);

  // A name that changes, a document that is filed, and the end.
  composition.file_name.clear();
  composition.touch();
  pass(60);
  EXPECT_EQ(copies().size(), 2u);
  EXPECT_TRUE(std::filesystem::exists(place + "/unnamed.ksncomp"));
  kept.drop_copy();
  EXPECT_EQ(copies(), std::vector<std::string>{dead});
  pass(120);
  EXPECT_EQ(copies(), std::vector<std::string>{dead}) << "nothing has changed since";
  composition.touch();
  pass(1);
  EXPECT_EQ(copies().size(), 2u);
  kept.end();
  EXPECT_FALSE(std::filesystem::exists(place));
  EXPECT_EQ(lines, std::vector<std::string>());
}

TEST_F(keeper, a_copy_that_can_not_be_written_is_told_once_and_tried_again) {
  const std::string blocked = home / "data/Kestrin/unsaved";
  support::write_file(blocked, "no folder");
  composition.new_text_layer();
  kept.begin(now, true, true);
  for (int i = 0; i < 3; ++i) {
    pass(60);
    composition.settings.volume = i;
    composition.touch();
  }
  pass(120);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].find("No copy of the composition can be kept"), std::string::npos) << lines[0];
  std::filesystem::remove(blocked);
  pass(60);
  EXPECT_EQ(copies().size(), 1u) << "though nothing has changed since";
  std::filesystem::remove(copies()[0]);
  pass(120);
  EXPECT_EQ(copies().size(), 0u) << "one that is whole is not made again";
}

TEST_F(keeper, works_without_a_thread) {
  kept.begin(now, true, true);
  composition.new_text_layer();
  composition.settings.volume = 33;
  composition.touch();
  {
    const support::no_threads none;
    pass(61);
  }
  EXPECT_TRUE(std::filesystem::exists(settings));
  EXPECT_EQ(copies().size(), 1u);
  EXPECT_EQ(lines, std::vector<std::string>());
}

}  // namespace
