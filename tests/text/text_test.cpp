// Layout against a made-up font of known widths, and the module's letters where fonts are installed.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "text/draw.h"
#include "text/layout.h"
#include "text/rows.h"

namespace {

constexpr int advance = 7;
constexpr int line_height = 10;
constexpr int line_ascent = 8;

// Every byte is 7 pixels wide and inks its whole box but the last column.
class made_up_engine : public text::engine {
 public:
  int drawn = 0;
  std::string face;  // that was measured last
  std::vector<std::string> faces() override { return {"Serif", "Sans", "Serif"}; }
  std::string nearest_face(const std::string& face) override { return face == "Nowhere" ? "Somewhere" : face; }
  text::font_metrics metrics_of(const text::font&) override { return {line_ascent, line_height}; }
  int width_of(const text::font& font, std::string_view line) override {
    face = font.face;
    return static_cast<int>(line.size()) * advance;
  }
  text::mask draw(const text::font& font, std::string_view line) override {
    ++drawn;
    text::mask mask{0, 0, width_of(font, line) - 1, line_height, {}};
    mask.coverage.assign(static_cast<std::size_t>(mask.width) * mask.height, 255);
    return mask;
  }
  int caret_of(const text::font&, std::string_view, std::size_t) override { return 0; }
  std::size_t byte_at(const text::font&, std::string_view, int) override { return 0; }
};

struct made_up {
  made_up_engine* engine = new made_up_engine;
  std::vector<std::string> lines;
  text::fonts fonts{[this](const std::string& line) { lines.push_back(line); },
                    [this](std::string&) { return std::unique_ptr<text::engine>(engine); }};
};

// Left, top, right and bottom of what is not `ground` in the plane.
math::rectangle ink_of(const img::image& image, int plane = 0, int ground = 0) {
  math::rectangle box{image.width, image.height, 0, 0};
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      if (image.row(plane, y)[x] == ground) continue;
      box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x + 1), std::max(box.bottom, y + 1)};
    }
  }
  return box;
}

img::image black(int width, int height) {
  img::image image("BGRA", 8, width, height);
  image.fill(0, 0, 0, 0);
  return image;
}

TEST(Text, LinesAreBrokenAtWords) {
  struct row {
    std::string text;
    int width, limit;
    std::vector<std::string_view> lines;
  };
  const std::string long_word(700, 'x');
  const row rows[] = {
      {"", 70, 0, {}},
      {"one two", 0, 0, {"one two"}},
      {"one two", 49, 0, {"one two"}},
      {"one two", 48, 0, {"one", "two"}},
      {"one  \t two", 48, 0, {"one", "two"}},
      {"one  two", 56, 0, {"one  two"}},
      {"  one ", 70, 0, {"one"}},
      {"unbreakable", 21, 0, {"unbreakable"}},
      {"a unbreakable b", 21, 0, {"a", "unbreakable", "b"}},
      {"a\nb", 70, 0, {"a", "b"}},
      {"a\r\nb", 70, 0, {"a", "b"}},
      {"a\n", 70, 0, {"a"}},
      {"a\n\n", 70, 0, {"a", ""}},
      {"\n\na", 70, 0, {"", "", "a"}},
      {"a \n \nb", 70, 0, {"a", "", "b"}},
      {"a b c d", 21, 2, {"a b", "c d"}},
      {"a b c d", 21, 1, {"a b"}},
      {"a b c d\ne", 21, 2, {"a b", "c d"}},
      {"a\nb\nc", 70, 2, {"a", "b"}},
      {long_word + " a", 5000, 0, {long_word, "a"}},
      {long_word + " a", 4096, 0, {long_word, "a"}},
  };
  for (const row& r : rows) {
    const auto lines = text::break_lines(
        r.text, r.width, r.limit, [](std::string_view piece) { return static_cast<int>(piece.size()) * advance; });
    EXPECT_EQ(lines, r.lines) << '"' << r.text.substr(0, 40) << "\" in " << r.width << ", " << r.limit << " lines";
  }
}

TEST(Text, StandsWhereThePlacementSays) {
  made_up m;
  struct row {
    const char* what;
    const char* text;
    text::placement placement;
    math::rectangle ink;
  };
  const row rows[] = {
      {"at its position", "ab", {}, {5, 4, 18, 14}},
      {"centred", "ab", {.x_align = 40}, {18, 4, 31, 14}},
      {"an odd difference", "ab", {.x_align = 41}, {18, 4, 31, 14}},
      {"wider than the centre", "ab", {.x_align = 14}, {5, 4, 18, 14}},
      {"at the right", "ab", {.right_align = 40}, {31, 4, 44, 14}},
      {"wider than the right", "ab", {.right_align = 13}, {5, 4, 18, 14}},
      {"below the baseline", "ab", {.below_baseline = true}, {5, 12, 18, 22}},
      {"two lines with a gap", "a\nbc", {.line_gap = 3}, {5, 4, 18, 27}},
      {"an empty line in between", "a\n\nb", {}, {5, 4, 11, 34}},
      {"clipped", "ab", {.clip = math::rectangle{7, 5, 9, 8}}, {7, 5, 9, 8}},
  };
  for (const row& r : rows) {
    img::image image = black(60, 40);
    text::draw_text(m.fonts, r.text, {}, image, {5, 4}, {255, 10, 20, 30}, r.placement);
    EXPECT_EQ(ink_of(image), r.ink) << r.what;
    EXPECT_EQ(ink_of(image, 3), r.ink) << r.what;
    EXPECT_EQ(image.row(0, r.ink.top)[r.ink.left], 30) << r.what;
    EXPECT_EQ(image.row(2, r.ink.top)[r.ink.left], 10) << r.what;
  }
  const text::extent extent = text::measure_text(m.fonts, "ab\n\ncde fg", 30, 0, {});
  EXPECT_EQ(extent.width, 21);
  EXPECT_EQ(extent.height, 4 * line_height);
}

TEST(Text, IsDrawnOnceAndKeptWithinALimit) {
  made_up m;
  img::image image = black(60, 20);
  for (int i = 0; i < 3; ++i) text::draw_text(m.fonts, "again", {}, image, {0, 0}, {});
  EXPECT_EQ(m.engine->drawn, 1);
  text::draw_text(m.fonts, "again", {.bold = true}, image, {0, 0}, {});
  EXPECT_EQ(m.engine->drawn, 2);
  EXPECT_EQ(m.fonts.drawn({}, "too wide", 8 * advance - 1).ink, nullptr);
  EXPECT_EQ(m.engine->drawn, 2);
  EXPECT_EQ(m.fonts.drawn({}, "wide", 4 * advance).ink->width, 4 * advance - 1);
  // More fonts than are remembered: each line keeps to its own.
  for (int height = 1; height < 600; ++height) m.fonts.width_of({.height = height}, "again");
  m.engine->drawn = 0;
  text::draw_text(m.fonts, "again", {}, image, {0, 0}, {});
  EXPECT_EQ(m.engine->drawn, 1);
  m.fonts.limit_bytes(4000);
  for (int i = 0; i < 100; ++i) m.fonts.mask_of({}, "line " + std::to_string(i));
  EXPECT_LE(m.fonts.kept_bytes(), 4000u);
  m.engine->drawn = 0;
  m.fonts.mask_of({}, "line 99");
  EXPECT_EQ(m.engine->drawn, 0);
  m.fonts.mask_of({}, "line 1");
  EXPECT_EQ(m.engine->drawn, 1);
}

TEST(Text, AMissingFontIsOneLine) {
  made_up m;
  for (int i = 0; i < 3; ++i) m.fonts.width_of({.face = "Nowhere"}, "a" + std::to_string(i));
  EXPECT_EQ(m.lines, std::vector<std::string>{"The font \"Nowhere\" is not installed, \"Somewhere\" is taken"});
  m.fonts.width_of({.face = "Arial"}, "a");
  EXPECT_EQ(m.engine->face, "Arial") << "its stand-in is for machines that lack it";
  std::vector<std::string> lines;
  text::fonts none([&](const std::string& line) { lines.push_back(line); },
                   [](std::string& error) {
                     error = "no module";
                     return nullptr;
                   });
  img::image image = black(20, 20);
  text::draw_text(none, "a\nb", {}, image, {0, 0}, {});
  EXPECT_TRUE(ink_of(image).empty());
  EXPECT_EQ(lines, std::vector<std::string>{"Text can't be drawn: no module"});
}

TEST(Text, EveryBuildOfTheRowGivesTheSameBytes) {
  std::vector<std::uint8_t> coverage(256);
  std::iota(coverage.begin(), coverage.end(), 0);
  for (int value = 0; value < 256; value += 15) {
    for (int alpha : {0, 1, 127, 128, 254, 255}) {
      for (int ground : {0, 100, 255}) {
        std::vector<std::uint8_t> row(256, static_cast<std::uint8_t>(ground));
        std::vector<std::uint8_t> plain = row;
        std::uint8_t* const rows[] = {row.data()};
        const auto sample = static_cast<std::uint8_t>(value);
        text::cover_rows(rows, &sample, 1, coverage.data(), row.size(), alpha);
        text::plain_cover_row(plain.data(), coverage.data(), row.size(), value, alpha);
        ASSERT_EQ(row, plain) << value << ' ' << alpha << ' ' << ground;
        ASSERT_EQ(row[0], ground);
        ASSERT_TRUE(alpha < 255 || row[255] == value);
      }
    }
  }
}

TEST(Text, BytesThatAreNotUtf8BecomeOneMarkEach) {
  struct row {
    std::string_view text, clean;
  };
  constexpr std::string_view bad = "\uFFFD";
  const row rows[] = {
      {"plain", "plain"},
      {"\u00e9\u4e2d\U0001F600", "\u00e9\u4e2d\U0001F600"},
      {"a\xFF"
       "b",
       "a\uFFFDb"},
      {"\xC3", bad},
      {"\xC0\x80", "\uFFFD\uFFFD"},            // two bytes for what one can say
      {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},  // a surrogate
      {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},
      {{"a\0b\x7F", 4}, "a b "},
  };
  for (const row& r : rows) EXPECT_EQ(text::clean_utf8(r.text, 100), r.clean);
  EXPECT_EQ(text::clean_utf8("aa\u00e9", 3), "aa");
}

// --- the module ---

struct real {
  std::vector<std::string> lines;
  text::fonts fonts{[this](const std::string& line) { lines.push_back(line); }};
};

TEST(PangoText, InterfaceFontsAreThereAndGrowWithTheScale) {
  real r;
  for (const char* key : {"default", "small", "timeline.digits", "track.opacity", "about.bold", "panel.value"}) {
    const text::font one = text::interface_font(key);
    const text::font two = text::interface_font(key, 2);
    EXPECT_EQ(two.height, 2 * one.height);
    const double width = r.fonts.width_of(one, "Exposure 0123");
    EXPECT_GT(width, one.height * 3) << key;
    EXPECT_NEAR(r.fonts.width_of(two, "Exposure 0123"), 2 * width, 0.2 * width) << key;
    EXPECT_GE(r.fonts.metrics_of(one).height, one.height) << key;
    // Figures stand in columns.
    EXPECT_EQ(r.fonts.width_of(one, "1111"), r.fonts.width_of(one, "0808")) << key;
  }
  EXPECT_EQ(text::interface_font("no such key"), text::interface_font("default"));
  EXPECT_TRUE(text::interface_font("about.bold").bold);
  EXPECT_GT(r.fonts.width_of(text::interface_font("about.bold"), "abc"),
            r.fonts.width_of(text::interface_font("about"), "abc"));
  EXPECT_EQ(r.lines, std::vector<std::string>{});
}

TEST(PangoText, NothingOfALineIsCut) {
  real r;
  for (const int height : {9, 12, 32, 200}) {
    for (const bool italic : {false, true}) {
      for (const char* line :
           {"f", "Wj", "\u00c5\u030a\u0323g\u0301", "\u4e2d\u6587", "\u0645\u0631\u062d\u0628\u0627"}) {
        const auto mask = r.fonts.mask_of({"Arial", height, false, italic}, line);
        ASSERT_TRUE(mask) << line;
        ASSERT_EQ(mask->coverage.size(), static_cast<std::size_t>(mask->width) * mask->height);
        int edge = 0;
        int inked = 0;
        for (int y = 0; y < mask->height; ++y) {
          const std::uint8_t* row = mask->coverage.data() + static_cast<std::size_t>(y) * mask->width;
          edge += row[mask->width - 1];
          inked += static_cast<int>(std::count_if(row, row + mask->width, [](int c) { return c > 0; }));
        }
        EXPECT_EQ(edge, 0) << line << ' ' << height << (italic ? " italic" : "");
        // Rows without ink are not kept.
        for (const auto row : {mask->coverage.begin(), mask->coverage.end() - mask->width}) {
          EXPECT_TRUE(std::any_of(row, row + mask->width, [](int c) { return c > 0; })) << line << ' ' << height;
        }
        EXPECT_GT(inked, height / 4) << line << ' ' << height;
      }
    }
  }
}

TEST(PangoText, SurvivesWhatItIsGiven) {
  real r;
  std::string long_word(10000, 'w');
  std::string marks = "a";
  for (int i = 0; i < 5000; ++i) marks += "\u0301";
  const std::string texts[] = {long_word,
                               marks,
                               "\xff\xfe\x80",
                               std::string("a\0b", 3),
                               "\u202e\u202dabc\u202c",
                               "\u2028\u2029",
                               "\u05e9\u05dc\u05d5\u05dd 123 abc",
                               "\U0001F468\u200D\U0001F469\u200D\U0001F467",
                               "\t \t"};
  for (const std::string& text : texts) {
    img::image image = black(100, 40);
    text::draw_text(r.fonts, text, {"Arial", 14, false, true}, image, {3, 3}, {255, 255, 255, 255}, {.max_width = 90});
    const auto mask = r.fonts.mask_of({}, text);
    if (mask) {
      EXPECT_LE(mask->width, text::max_line_width);
      EXPECT_LE(mask->height, text::max_mask_height);
    }
  }
  for (const int height : {-5, 0, 1, 100000}) r.fonts.mask_of({.height = height}, "Ag");
  EXPECT_FALSE(r.fonts.mask_of({}, " "));
}

TEST(PangoText, FacesAreFoundOrReplacedByTheNearest) {
  real r;
  EXPECT_EQ(r.fonts.face_of("liberation SANS"), "Liberation Sans");
  EXPECT_NE(r.fonts.face_of("Arial"), "");
  EXPECT_EQ(r.lines.size(), 0u);
  const std::string taken = r.fonts.face_of("No Such Face");
  EXPECT_NE(taken, "");
  EXPECT_EQ(r.lines,
            std::vector<std::string>{"The font \"No Such Face\" is not installed, \"" + taken + "\" is taken"});
  EXPECT_NE(r.fonts.mask_of({"DejaVu Serif", 20, false, false}, "mw")->coverage,
            r.fonts.mask_of({"DejaVu Sans", 20, false, false}, "mw")->coverage);
}

TEST(PangoText, TheCaretGoesFromCharacterToCharacter) {
  real r;
  const text::font font = text::interface_font("panel.value");
  const std::string line = "a\u00e9b";
  const int places[] = {r.fonts.caret_of(font, line, 0), r.fonts.caret_of(font, line, 1),
                        r.fonts.caret_of(font, line, 3), r.fonts.caret_of(font, line, 4)};
  EXPECT_EQ(places[0], 0);
  EXPECT_TRUE(std::is_sorted(std::begin(places), std::end(places)));
  EXPECT_NEAR(places[3], r.fonts.width_of(font, line), 1);
  EXPECT_EQ(r.fonts.byte_at(font, line, -10), 0u);
  EXPECT_EQ(r.fonts.byte_at(font, line, places[2] - 1), 3u);
  EXPECT_EQ(r.fonts.byte_at(font, line, 1000), 4u);
}

}  // namespace
