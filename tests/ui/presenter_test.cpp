// The presenter on a display that is made up.
#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <thread>

#include "support/pictures.h"
#include "ui/presenter.h"

namespace {

using ui::present_mode;

// Notes what is asked of it. The present thread comes in here too, and may outlive the test that waited for it.
class made_up_display : public ui::display {
 public:
  struct shown {
    std::vector<std::uint8_t> pixels;
    bool at_blank;
    bool other_thread;
    int waits;  // for the blank, before it
    int polls;
  };

  int create_error = 0;
  int restore_error = 0;
  int blit_error = 0;
  bool exists = true;
  bool minimised = false;
  bool blank = true;
  bool has_memory = false;               // of the screen
  std::vector<std::uint8_t> written;     // there
  std::deque<std::optional<int>> lines;  // that the beam is asked for; then the blank

  int create() override { return create_error; }
  int restore() override { return restore_error; }
  bool window_exists() override { return exists; }
  bool is_minimised() override { return minimised; }
  int blit(const std::shared_ptr<const ui::surface>& picture, bool at_blank) override {
    const std::lock_guard guard(lock_);
    const std::size_t bytes = static_cast<std::size_t>(picture->width) * picture->height * 4;
    shown_.push_back({{picture->pixels.get(), picture->pixels.get() + bytes},
                      at_blank,
                      std::this_thread::get_id() != main_,
                      waits_,
                      polls_});
    return blit_error;
  }
  bool write(int width, int height,
             const std::function<void(std::uint8_t* pixels, std::ptrdiff_t stride)>& write) override {
    if (!has_memory) return false;
    constexpr std::ptrdiff_t more = 8;  // bytes of a row that are not the picture's
    const std::ptrdiff_t stride = 4 * width + more;
    written.assign(static_cast<std::size_t>(stride * height), 99);
    write(written.data(), stride);
    return true;
  }
  bool knows_blank() override { return blank; }
  void wait_vertical_blank() override {
    const std::lock_guard guard(lock_);
    ++waits_;
  }
  std::optional<int> scan_line() override {
    const std::lock_guard guard(lock_);
    ++polls_;
    if (lines.empty()) return std::nullopt;
    const std::optional<int> line = lines.front();
    lines.pop_front();
    return line;
  }
  void wait_events(int) override {
    std::unique_lock guard(lock_);
    woken_.wait_for(guard, std::chrono::minutes(3), [this] { return wakes_ > 0; });
    wakes_ = 0;
  }
  void wake() override {
    const std::lock_guard guard(lock_);
    ++wakes_;
    woken_.notify_all();
  }

  std::vector<shown> all_shown() {
    const std::lock_guard guard(lock_);
    return shown_;
  }

 private:
  std::mutex lock_;
  std::condition_variable woken_;
  std::vector<shown> shown_;
  int waits_ = 0;
  int polls_ = 0;
  int wakes_ = 0;

  std::thread::id main_ = std::this_thread::get_id();
};

TEST(presenter, picks_the_mode_of_a_turn) {
  struct row {
    bool vsync;
    int sub_mode;
    int mode;
  };
  const row rows[] = {{false, 0, 0}, {false, 1, 0}, {false, 2, 0}, {true, 0, 1},
                      {true, 1, 4},  {true, 2, 5},  {true, 3, 1},  {true, -1, 1}};
  for (const row& r : rows) EXPECT_EQ(static_cast<int>(ui::mode_for(r.vsync, r.sub_mode)), r.mode) << r.sub_mode;
}

TEST(presenter, shows_in_each_mode) {
  struct row {
    present_mode mode;
    bool at_blank;
    bool other_thread;
    int waits;
    int polls;
    std::deque<std::optional<int>> lines = {700, 800, 10, 20};  // of the beam, which has started again at 10
  };
  const row rows[] = {
      {present_mode::immediate, false, false, 0, 0},
      {present_mode::no_tearing, true, false, 0, 0},
      {present_mode::wait_blank, true, false, 1, 0},
      {present_mode::poll_blank, true, false, 0, 3},
      {present_mode::poll_blank, true, false, 0, 3, {5, 6, std::nullopt, 7}},  // the blank is there
      {present_mode::threaded_wait_blank, true, true, 1, 0},
      {present_mode::threaded_poll_blank, true, true, 0, 3},
  };
  // Blue, green, red and alpha planes; the fourth byte is free.
  const img::image picture = support::picture("BGRA", 3, 2, {1, 2, 3, 4});
  for (const row& r : rows) {
    const auto shared = std::make_shared<made_up_display>();
    made_up_display& display = *shared;
    display.lines = r.lines;
    constexpr std::uint32_t now = 4'000'000'000u;
    ui::presenter presenter(shared, [] { return now; });
    ASSERT_EQ(presenter.start(), 0);
    presenter.resize(3, 2);
    EXPECT_EQ(presenter.present_picture(picture, r.mode), 0);
    EXPECT_TRUE(presenter.wait_done(1000)) << static_cast<int>(r.mode);
    EXPECT_EQ(presenter.last_present(), now);
    const std::vector<made_up_display::shown> shown = display.all_shown();
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0].at_blank, r.at_blank);
    EXPECT_EQ(shown[0].other_thread, r.other_thread);
    EXPECT_EQ(shown[0].waits, r.waits);
    EXPECT_EQ(shown[0].polls, r.polls);
    ASSERT_EQ(shown[0].pixels.size(), 24u);
    for (std::size_t i = 0; i < 24; i += 4) {
      EXPECT_EQ(shown[0].pixels[i], 1);
      EXPECT_EQ(shown[0].pixels[i + 1], 2);
      EXPECT_EQ(shown[0].pixels[i + 2], 3);
    }
  }
}

TEST(presenter, writes_where_the_screen_has_memory) {
  const auto shared = std::make_shared<made_up_display>();
  made_up_display& display = *shared;
  constexpr std::uint32_t now = 5;
  ui::presenter presenter(shared, [] { return now; });
  const img::image picture = support::picture("BGR", 2, 2, {1, 2, 3});
  display.has_memory = true;
  EXPECT_FALSE(presenter.present_directly(picture)) << "before the start";
  ASSERT_EQ(presenter.start(), 0);
  EXPECT_TRUE(presenter.present_directly(picture));
  EXPECT_EQ(presenter.last_present(), now);
  for (std::size_t at = 0; at < display.written.size(); ++at) {
    const std::size_t in_row = at % 16;
    if (in_row % 4 == 3 && in_row < 8) continue;
    EXPECT_EQ(display.written[at], in_row < 8 ? in_row % 4 + 1 : 99) << at;
  }
  EXPECT_TRUE(display.all_shown().empty());
  for (bool made_up_display::*gone : {&made_up_display::exists, &made_up_display::has_memory}) {
    display.*gone = false;
    EXPECT_FALSE(presenter.present_directly(picture));
    display.*gone = true;
  }
  display.minimised = true;
  EXPECT_FALSE(presenter.present_directly(picture));
}

TEST(presenter, gives_errors_back) {
  constexpr int not_ready = static_cast<int>(0x80049200u);
  constexpr int no_primary = static_cast<int>(0x80049202u);
  constexpr int no_offscreen = static_cast<int>(0x80049203u);
  constexpr int other_size = static_cast<int>(0x80049205u);
  const img::image picture = support::picture("BGRAZ", 4, 4);

  for (int mode = 0; mode < 6; ++mode) {
    const auto in_mode = static_cast<present_mode>(mode);
    const auto shared = std::make_shared<made_up_display>();
    made_up_display& display = *shared;
    display.create_error = -7;
    ui::presenter presenter(shared);
    EXPECT_EQ(presenter.start(), -7);
    EXPECT_EQ(presenter.present_picture(picture, in_mode), not_ready);
    EXPECT_EQ(presenter.present(in_mode), no_primary);

    display.create_error = 0;
    EXPECT_EQ(presenter.start(), 0);
    EXPECT_EQ(presenter.present_picture(picture, in_mode), no_offscreen);
    EXPECT_EQ(presenter.present(in_mode), no_offscreen);

    presenter.resize(4, 5);
    EXPECT_EQ(presenter.present_picture(picture, in_mode), other_size);
    presenter.resize(4, 4);
    display.restore_error = -9;
    EXPECT_EQ(presenter.present_picture(picture, in_mode), -9);
    display.restore_error = 0;
    display.exists = false;
    EXPECT_EQ(presenter.present_picture(picture, in_mode), 1400);
    display.minimised = true;
    EXPECT_EQ(presenter.present_picture(picture, in_mode), 0);
    EXPECT_TRUE(display.all_shown().empty());

    presenter.shut_down();
    EXPECT_EQ(presenter.present_picture(picture, in_mode), not_ready);
  }
  const auto shared = std::make_shared<made_up_display>();
  made_up_display& display = *shared;
  display.blit_error = -3;
  ui::presenter presenter(shared);
  presenter.start();
  presenter.resize(0, -5);  // at least one pixel
  EXPECT_EQ(presenter.present_picture(support::picture("BGR", 1, 1), present_mode::immediate), -3);
  EXPECT_TRUE(presenter.wait_done(0)) << "done all the same";
}

TEST(presenter, goes_on_while_the_thread_waits_and_shows_the_last_picture) {
  const auto shared = std::make_shared<made_up_display>();
  made_up_display& display = *shared;
  ui::presenter presenter(shared);
  presenter.start();
  presenter.resize(64, 64);
  for (int i = 0; i < 500; ++i) {
    ASSERT_EQ(presenter.present_picture(support::picture("BGR", 64, 64, {i % 256, i % 256, i % 256}),
                                        present_mode::threaded_wait_blank),
              0);
  }
  // Each picture that went out is whole, and the last one comes.
  const int last = 499 % 256;
  while (display.all_shown().empty() || display.all_shown().back().pixels[0] != last) presenter.wait_done(1000);
  for (const made_up_display::shown& shown : display.all_shown()) {
    for (std::size_t i = 0; i < shown.pixels.size(); ++i) {
      if (i % 4 != 3) {
        ASSERT_EQ(shown.pixels[i], shown.pixels[0]);
      }
    }
  }
}

}  // namespace
