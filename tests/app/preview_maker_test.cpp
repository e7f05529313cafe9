#include "app/preview_maker.h"

#include <gtest/gtest.h>

#include <future>
#include <string>
#include <vector>

namespace {

using app::preview_maker;
using platform::open_preview;

// A file "slow" is not read before it is let go.
TEST(preview_maker, makes_what_was_asked_for_last_and_keeps_nobody_waiting) {
  std::promise<void> begun, let_go, last;
  std::vector<std::string> made, shown;
  {
    preview_maker maker([&](const std::string& path, int width, int height) {
      if (path == "slow") {
        begun.set_value();
        let_go.get_future().wait();
      }
      made.push_back(path);
      open_preview preview;
      preview.text = path + " " + std::to_string(width) + " " + std::to_string(height);
      return preview;
    });
    const auto show = [&](const open_preview& preview) { shown.push_back(preview.text); };
    maker.ask("slow", 4, 3, show);
    begun.get_future().wait();
    maker.ask("passed over", 4, 3, show);
    maker.ask("next", 8, 6, [&](const open_preview& preview) {
      show(preview);
      last.set_value();
    });
    let_go.set_value();
    last.get_future().wait();
    EXPECT_TRUE(maker.shutdown(std::chrono::hours(1))) << "nothing is at hand";
    maker.ask("late", 4, 3, show);
  }
  EXPECT_EQ(made, (std::vector<std::string>{"slow", "next"}));
  EXPECT_EQ(shown, (std::vector<std::string>{"slow 4 3", "next 8 6"}));
}

TEST(preview_maker, says_when_a_file_hangs) {
  std::promise<void> begun, let_go;
  preview_maker hangs([&](const std::string&, int, int) {
    begun.set_value();
    let_go.get_future().wait();
    return open_preview();
  });
  hangs.ask("file", 4, 3, [](const open_preview&) {});
  begun.get_future().wait();
  EXPECT_FALSE(hangs.shutdown(std::chrono::milliseconds(1)));
  let_go.set_value();
  EXPECT_TRUE(hangs.shutdown(std::chrono::hours(1)));
}

}  // namespace
