// The engine of the module `text`: Pango for shaping and fallback, FreeType for drawing, fontconfig for finding.
#include "text/engine.h"

#include <fontconfig/fontconfig.h>
#include <pango/pangofc-fontmap.h>
#include <pango/pangoft2.h>

#include <algorithm>
#include <cstring>

#include "text/layout.h"

namespace {

template <class T>
struct unref {
  void operator()(T* object) const { g_object_unref(object); }
};
template <class T>
using object = std::unique_ptr<T, unref<T>>;

// The same letters on every machine, whatever the user's settings of the desktop say: gray, hinted along the height
// only.
void substitute(FcPattern* pattern, gpointer) {
  const std::pair<const char*, bool> switches[] = {
      {FC_ANTIALIAS, true}, {FC_HINTING, true}, {FC_AUTOHINT, false}, {FC_EMBEDDED_BITMAP, false}};
  for (const auto& [name, value] : switches) {
    FcPatternDel(pattern, name);
    FcPatternAddBool(pattern, name, value);
  }
  const std::pair<const char*, int> numbers[] = {
      {FC_HINT_STYLE, FC_HINT_SLIGHT}, {FC_RGBA, FC_RGBA_NONE}, {FC_LCD_FILTER, FC_LCD_NONE}};
  for (const auto& [name, value] : numbers) {
    FcPatternDel(pattern, name);
    FcPatternAddInteger(pattern, name, value);
  }
}

class pango_engine : public text::engine {
 public:
  pango_engine() {
    map_.reset(pango_ft2_font_map_new());
    pango_fc_font_map_set_default_substitute(PANGO_FC_FONT_MAP(map_.get()), substitute, nullptr, nullptr);
    // Pango's own 96 dots to the inch play no part: all sizes are absolute.
    context_.reset(pango_font_map_create_context(map_.get()));
    pango_context_set_language(context_.get(), pango_language_from_string("en"));
    layout_.reset(pango_layout_new(context_.get()));
    pango_layout_set_single_paragraph_mode(layout_.get(), true);
  }

  std::string nearest_face(const std::string& face) override {
    const std::unique_ptr<FcPattern, decltype(&FcPatternDestroy)> pattern(FcPatternCreate(), FcPatternDestroy);
    FcPatternAddString(pattern.get(), FC_FAMILY, reinterpret_cast<const FcChar8*>(face.c_str()));
    FcConfigSubstitute(nullptr, pattern.get(), FcMatchPattern);
    FcDefaultSubstitute(pattern.get());
    FcResult result = FcResultMatch;
    const std::unique_ptr<FcPattern, decltype(&FcPatternDestroy)> match(FcFontMatch(nullptr, pattern.get(), &result),
                                                                        FcPatternDestroy);
    if (!match) return {};
    // A font may go by several names.
    std::string first;
    for (int i = 0;; ++i) {
      FcChar8* name = nullptr;
      if (FcPatternGetString(match.get(), FC_FAMILY, i, &name) != FcResultMatch) return first;
      const char* text = reinterpret_cast<const char*>(name);
      if (i == 0) first = text;
      if (FcStrCmpIgnoreCase(name, reinterpret_cast<const FcChar8*>(face.c_str())) == 0) return text;
    }
  }

  std::vector<std::string> faces() override {
    const std::unique_ptr<FcPattern, decltype(&FcPatternDestroy)> wanted(FcPatternCreate(), FcPatternDestroy);
    FcPatternAddBool(wanted.get(), FC_SCALABLE, FcTrue);
    const std::unique_ptr<FcObjectSet, decltype(&FcObjectSetDestroy)> parts(FcObjectSetBuild(FC_FAMILY, nullptr),
                                                                            FcObjectSetDestroy);
    const std::unique_ptr<FcFontSet, decltype(&FcFontSetDestroy)> found(FcFontList(nullptr, wanted.get(), parts.get()),
                                                                        FcFontSetDestroy);
    std::vector<std::string> names;
    for (int i = 0; found && i < found->nfont; ++i) {
      FcChar8* name = nullptr;
      if (FcPatternGetString(found->fonts[i], FC_FAMILY, 0, &name) == FcResultMatch) {
        names.emplace_back(reinterpret_cast<const char*>(name));
      }
    }
    return names;
  }

  text::font_metrics metrics_of(const text::font& font) override {
    take(font, "0");
    PangoRectangle logical;
    pango_layout_get_pixel_extents(layout_.get(), nullptr, &logical);
    return {pixels(pango_layout_get_baseline(layout_.get())), logical.height};
  }

  int width_of(const text::font& font, std::string_view line) override {
    take(font, line);
    PangoRectangle logical;
    pango_layout_get_pixel_extents(layout_.get(), nullptr, &logical);
    return logical.width;
  }

  text::mask draw(const text::font& font, std::string_view line) override {
    const text::font_metrics metrics = metrics_of(font);
    take(font, line);
    PangoRectangle ink;
    PangoRectangle logical;
    pango_layout_get_pixel_extents(layout_.get(), &ink, &logical);
    text::mask mask;
    if (ink.width <= 0 || ink.height <= 0) return mask;
    // Letters of another face may be taller: the baseline stays where the line's own face has it.
    const int down = metrics.ascent - pixels(pango_layout_get_baseline(layout_.get()));
    int margin = font.italic ? std::max(16, metrics.height / 5) : 1;
    mask.left = std::min(ink.x - 1, 0);
    mask.top = std::min(ink.y + down - 1, 0);
    margin += std::max(logical.x + logical.width, ink.x + ink.width);
    mask.width = std::clamp(margin - mask.left, 0, text::max_line_width);
    mask.height =
        std::clamp(std::max(metrics.height, ink.y + down + ink.height + 1) - mask.top, 0, text::max_mask_height);
    mask.coverage.resize(static_cast<std::size_t>(mask.width) * mask.height);
    FT_Bitmap bitmap{};
    bitmap.rows = static_cast<unsigned>(mask.height);
    bitmap.width = static_cast<unsigned>(mask.width);
    bitmap.pitch = mask.width;
    bitmap.buffer = mask.coverage.data();
    bitmap.num_grays = 256;
    bitmap.pixel_mode = FT_PIXEL_MODE_GRAY;
    pango_ft2_render_layout(&bitmap, layout_.get(), -mask.left, down - mask.top);
    return mask;
  }

  int caret_of(const text::font& font, std::string_view line, std::size_t byte) override {
    take(font, line);
    PangoRectangle place;
    pango_layout_get_cursor_pos(layout_.get(), static_cast<int>(std::min(byte, line.size())), &place, nullptr);
    return pixels(place.x);
  }

  std::size_t byte_at(const text::font& font, std::string_view line, int x) override {
    take(font, line);
    int index = 0;
    int trailing = 0;
    pango_layout_xy_to_index(layout_.get(), std::clamp(x, -(1 << 20), 1 << 20) * PANGO_SCALE, 0, &index, &trailing);
    std::size_t byte = std::min(static_cast<std::size_t>(index), line.size());
    for (; trailing > 0 && byte < line.size(); --trailing) {
      ++byte;
      while (byte < line.size() && (line[byte] & 0xC0) == 0x80) ++byte;
    }
    return byte;
  }

 private:
  object<PangoFontMap> map_;
  object<PangoContext> context_;
  object<PangoLayout> layout_;

  static int pixels(int units) { return (units + PANGO_SCALE / 2) / PANGO_SCALE; }

  void take(const text::font& font, std::string_view line) {
    const std::unique_ptr<PangoFontDescription, decltype(&pango_font_description_free)> wanted(
        pango_font_description_new(), pango_font_description_free);
    pango_font_description_set_family(wanted.get(), font.face.c_str());
    pango_font_description_set_absolute_size(wanted.get(), font.height * PANGO_SCALE);
    pango_font_description_set_weight(wanted.get(), font.bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
    pango_font_description_set_style(wanted.get(), font.italic ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
    pango_layout_set_font_description(layout_.get(), wanted.get());
    pango_layout_set_text(layout_.get(), line.data(), static_cast<int>(line.size()));
    pango_layout_set_attributes(layout_.get(), figures_in_columns(line).get());
  }

  // Some fonts draw the figures of a pair such as 11 together, and a counter would tremble.
  static std::unique_ptr<PangoAttrList, decltype(&pango_attr_list_unref)> figures_in_columns(std::string_view line) {
    std::unique_ptr<PangoAttrList, decltype(&pango_attr_list_unref)> list(nullptr, pango_attr_list_unref);
    constexpr std::string_view figures = "0123456789";
    for (std::size_t first = 0, end = 0; (first = line.find_first_of(figures, end)) != line.npos;) {
      end = std::min(line.find_first_not_of(figures, first), line.size());
      if (end - first < 2) continue;
      PangoAttribute* attribute = pango_attr_font_features_new("kern=0");
      attribute->start_index = static_cast<guint>(first);
      attribute->end_index = static_cast<guint>(end);
      if (!list) list.reset(pango_attr_list_new());
      pango_attr_list_insert(list.get(), attribute);
    }
    return list;
  }
};

}  // namespace

extern "C" __attribute__((visibility("default"))) void kestrin_make_text_engine(std::unique_ptr<text::engine>& result) {
  result = std::make_unique<pango_engine>();
}
