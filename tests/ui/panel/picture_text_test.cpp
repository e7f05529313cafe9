// A text edited on the picture: what typing, keys, mouse and clipboard make of it, that the picture follows, and that
// one step brings it back.
#include "ui/panel/picture_text.h"

#include "composition/editing/undo.h"
#include "save/preview_view.h"
#include "ui/panel/board.h"

namespace {

// Letters are 10 pixels wide and lines 20 high.
class plain_letters : public text::engine {
 public:
  std::vector<std::string> faces() override { return {"Serif", "Sans", "Serif"}; }
  std::string nearest_face(const std::string& face) override { return face; }
  text::font_metrics metrics_of(const text::font&) override { return {15, 20}; }
  int width_of(const text::font&, std::string_view line) override { return static_cast<int>(line.size()) * 10; }
  text::mask draw(const text::font& font, std::string_view line) override {
    text::mask ink{0, 0, width_of(font, line), 20, {}};
    ink.coverage.assign(static_cast<std::size_t>(ink.width) * 20, 255);
    return ink;
  }
  int caret_of(const text::font&, std::string_view, std::size_t byte) override { return static_cast<int>(byte) * 10; }
  std::size_t byte_at(const text::font&, std::string_view line, int x) override {
    return std::min(static_cast<std::size_t>(std::max(x + 5, 0) / 10), line.size());
  }
};

class picture_text : public support::board {
 protected:
  text::fonts letters{{}, [](std::string&) { return std::make_unique<plain_letters>(); }};
  render::pipeline drawn_by{frames, with_letters()};
  ui::workbench words{{composition, engine, drawn_by, clock, keys, errors, opened_parts::board},
                      input,
                      bench.host,
                      bench.layout,
                      bench.run};
  std::shared_ptr<ui::ui_object> area;

  render::pipeline_options with_letters() {
    render::pipeline_options options;
    options.fonts = &letters;
    return options;
  }
  void SetUp() override {
    board::SetUp();
    area = ui::make_picture_text(words);
    composition.doc.mask_size = {200, 100};
    composition.new_text_layer();
    set("one two\nthree");
  }
  void set(const std::string& text) { composition.doc.tracks[0].lettering.text = text; }
  const std::string& layer_text() { return composition.doc.tracks[0].lettering.text; }
  // A point of the layer, whose middle stands in the middle of the preview.
  math::point on_layer(int x, int y) {
    const render::frame_view view = save::preview_view(composition, size.x, size.y);
    return {view.width / 2 - 100 + x, view.height / 2 - 50 + y};
  }
};

TEST_F(picture_text, keys_mouse_and_clipboard) {
  constexpr int left = 37, home = 36, key_end = 35, shift = platform::key_shift, ctrl = platform::key_ctrl;
  // Lines are centred: "one two" from 65 to 135 at a height of 30 to 50, "three" from 75 to 125 below.
  struct row {
    const char* what;
    std::function<void()> act;
    const char* text;
  };
  const auto press = [this](std::initializer_list<int> codes) {
    return [this, codes = std::vector<int>(codes)] {
      for (const int code : codes) input.key_down(code);
    };
  };
  const row rows[] = {
      {"all is selected at first", [] {}, "X"},
      {"the end", press({key_end | ctrl}), "one two\nthreeX"},
      {"a line up, as it stands there", press({key_end | ctrl, up}), "one twXo\nthree"},
      {"a line down with Shift", press({home | ctrl, 40 | shift}), "Xthree"},
      {"words", press({key_end | ctrl, left | ctrl | shift}), "one two\nX"},
      {"a new line", press({key_end | ctrl, enter | shift}), "one two\nthree\nX"},
      {"a click", [this] { click(on_layer(96, 40)); }, "oneX two\nthree"},
      {"a click in the second line", [this] { click(on_layer(76, 60)); }, "one two\nXthree"},
      {"a drag over letters", [this] { drag(on_layer(65, 40), 30); }, "X two\nthree"},
      {"a double click", [this] { input.mouse_down(ui::mouse_button::left, on_layer(120, 40), true, 0); },
       "one X\nthree"},
      {"cut and paste", press({home | ctrl, key_end | shift, 'X' | ctrl, key_end | ctrl, 'V' | ctrl}),
       "\nthreeone twoX"},
  };
  for (const row& r : rows) {
    set("one two\nthree");
    ASSERT_TRUE(engine.action_enabled("edit_text"));
    engine.run_command("edit_text");
    r.act();
    type("X");
    EXPECT_EQ(layer_text(), r.text) << r.what;
    ui::painter on = canvas.painter();
    area->draw(on, at());
    input.key_down(escape);
    EXPECT_EQ(layer_text(), "one two\nthree") << r.what;
  }
}

TEST_F(picture_text, is_one_step_and_shows_fields_as_they_are_written) {
  set("{timeline:frame}");
  composition.undo_stack.reset();
  const auto drawn = [&] {
    drawn_by.layer_image(composition, composition.doc.tracks[0], 0, ksn::cache_resolution_type::full);
    int ink = 0;
    const auto picture =
        drawn_by.layer_image(composition, composition.doc.tracks[0], 0, ksn::cache_resolution_type::full);
    for (int x = 0; x < picture->width; ++x) ink += picture->row(3, 50)[x] > 200;
    return ink;
  };
  EXPECT_LT(drawn(), 20) << "one digit";
  engine.run_command("edit_text");
  EXPECT_GT(drawn(), 150);
  input.key_down(35);
  type("ab");
  click({2, 2});
  EXPECT_FALSE(input.focus()) << "a click beside it ends the editing and keeps the text";
  EXPECT_EQ(layer_text(), "{timeline:frame}ab");
  EXPECT_LT(drawn(), 50);
  ASSERT_TRUE(composition.can_undo());
  EXPECT_EQ(composition.undo_stack->text_key(), "undo_text");
  composition.undo();
  EXPECT_EQ(layer_text(), "{timeline:frame}");
  engine.run_command("edit_text");
  composition.layer_delete_all();
  type("z");
  EXPECT_FALSE(input.focus()) << "the layer is gone";
  EXPECT_FALSE(engine.action_enabled("edit_text"));
}

// What an input method is at shows in the picture and becomes the text only when it is done.
TEST_F(picture_text, composing) {
  constexpr int home = 36;
  set("ab");
  composition.undo_stack.reset();
  const auto lines_drawn = [&] {
    ui::painter on = canvas.painter();
    canvas.picture.fill(0, 0, 0, 0);
    area->draw(on, at());
    // The line below what is composed has the colour of what is under way.
    int length = 0;
    for (int x = 0; x < canvas.picture.width; ++x) length += canvas.red_at(x, on_layer(0, 58).y) == 251;
    return length;
  };
  engine.run_command("edit_text");
  input.key_down(home);
  input.composing("\xE3\x81\x8B");
  EXPECT_EQ(layer_text(),
            "\xE3\x81\x8B"
            "ab");
  input.composing("xyz");
  EXPECT_EQ(layer_text(), "xyzab");
  EXPECT_GE(lines_drawn(), 30) << "three letters and the caret";
  EXPECT_LE(lines_drawn(), 31);
  input.composing("");
  input.pass(0, true);
  input.text("K");
  EXPECT_EQ(layer_text(), "Kab");
  EXPECT_LE(lines_drawn(), 1);
  const math::rectangle caret = input.focus()->caret();
  EXPECT_GT(caret.bottom, caret.top);
  input.composing("lost");
  click({2, 2});
  EXPECT_EQ(layer_text(), "Kab") << "what was not done is dropped";
  composition.undo();
  EXPECT_EQ(layer_text(), "ab");
  engine.run_command("edit_text");
  input.composing("lost");
  EXPECT_EQ(layer_text(), "lost") << "in the place of what was selected";
  input.key_down(escape);
  EXPECT_EQ(layer_text(), "ab");
}

}  // namespace
