#include "ui/panel/picture_text.h"

#include <algorithm>
#include <utility>

#include "lib/utf.h"
#include "render/failures.h"
#include "render/places.h"
#include "render/text/line_places.h"
#include "save/preview_view.h"
#include "ui/toolkit/palette.h"
#include "ui/widgets/text_editor.h"

namespace ui {
namespace {

constexpr std::size_t most_characters = 10000;
constexpr int key_up = 38;
constexpr int key_down = 40;
constexpr int least_caret = 8;  // pixels high, so that it is seen at any zoom
constexpr const char* field = "text";

bool is_text(const ksn::track_info* track) {
  return track && track->source.type == ksn::source_type::text && track->source.width > 0 && track->source.height > 0;
}

std::size_t byte_of(const std::u16string& text, std::size_t unit) {
  return lib::to_utf8(std::u16string_view(text).substr(0, unit)).size();
}

std::size_t unit_of(const std::string& text, std::size_t byte) {
  return lib::to_utf16(std::string_view(text).substr(0, byte)).size();
}

// Has the focus from the start of the editing to its end. The layer shows the text as it is written, so that the caret
// stands between the letters of the picture.
class picture_text : public ui_object, public mouse_handler, public ui_focus_handler {
 public:
  explicit picture_text(workbench& bench) : bench_(bench), changes_(bench), editor_({}, most_characters, true) {
    const auto selected = [&bench] { return bench.composition.doc.selected_track(); };
    bench.engine.add({.group = command::action_group::edit,
                      .name = "edit_text",
                      .help = "edit the text of the selected layer on the picture",
                      .execute = [this] { start(); },
                      .enabled = [selected] { return is_text(selected()); }});
    bench.engine.add(
        {.group = command::action_group::edit,
         .name = "text_attributes_set_as_default",
         .help = "give new text layers typeface, colours and alignment of the selected one",
         .execute = [&bench,
                     selected] { bench.composition.settings.default_text_attr = selected()->lettering.text_attr; },
         .enabled = [selected] { return is_text(selected()); }});
  }

  mouse_handler* hit_test(math::point, const place&) override { return nullptr; }
  mouse_handler* handler_at(math::point) override { return this; }

  void draw(painter& on, const place&) override {
    const ksn::track_info* track = edited();
    if (bench_.input.focus().get() != this || !track) return;
    const rectangle before = on.set_clip({0, 0, bench_.layout().size.x, bench_.layout().split});
    const rectangle picture = on_screen();
    on.frame({picture.left - on.px(1), picture.top - on.px(1), picture.right + on.px(1), picture.bottom + on.px(1)},
             palette::with_alpha(palette::selected, 200));
    const std::u16string units = editor_.shown_units();
    const std::string text = lib::to_utf8(units);
    const std::vector<render::line_place> lines = places(*track, text);
    const auto mark = [&](const std::pair<std::size_t, std::size_t>& range, const auto& fill) {
      for_each_box(*track, text, lines, byte_of(units, range.first), byte_of(units, range.second), fill);
    };
    if (editor_.selected()) {
      mark(editor_.selection(),
           [&](const rectangle& box) { on.fill(box, palette::with_alpha(palette::selected, 120)); });
    }
    mark(editor_.composed(), [&](const rectangle& box) {
      on.fill({box.left, box.bottom - on.px(2), box.right, box.bottom}, palette::live);
    });
    caret_ = to_screen(caret_of(*track, text, lines, byte_of(units, editor_.shown_caret())));
    caret_.right = caret_.left + on.px(1);
    caret_.bottom = std::max(caret_.bottom, caret_.top + on.px(least_caret));
    on.fill({caret_.left - on.px(1), caret_.top, caret_.right + on.px(1), caret_.bottom}, palette::gray(0, 160));
    on.fill(caret_, palette::live);
    on.set_clip(before);
  }

  void key_char(char16_t character) override {
    editor_.type(character);
    show();
  }
  void composing(std::string_view utf8) override {
    editor_.compose(utf8);
    show();
  }
  rectangle caret() const override { return caret_; }
  bool key(int code) override {
    switch (code) {
      case 'X' | platform::key_ctrl:
      case 'C' | platform::key_ctrl:
        if (editor_.selected()) bench_.host.set_clipboard_text(editor_.selected_text());
        if (code != ('X' | platform::key_ctrl) || !editor_.selected()) return false;
        editor_.erase_selected();
        break;
      case 'V' | platform::key_ctrl:
        editor_.insert(bench_.host.clipboard_text());
        break;
      case key_up:
      case key_down:
      case key_up | platform::key_shift:
      case key_down | platform::key_shift:
        step_line((code & 0xFFFF) == key_up ? -1 : 1, (code & platform::key_shift) != 0);
        break;
      default:
        if (!editor_.key(code)) return false;
    }
    show();
    return true;
  }
  void commit() override { finish(true); }
  void cancel() override { finish(false); }

  press_result mouse_down(mouse_button button, math::point point, bool double_click) override {
    if (button != mouse_button::left) return press_result::click;
    if (!holds(on_screen(), point)) {
      // A click beside the text ends the editing and keeps what was typed.
      bench_.input.drop_focus(this);
      finish(true);
      return press_result::click;
    }
    if (double_click) {
      editor_.select_word(unit_at(point));
      return press_result::click;
    }
    editor_.go_to(unit_at(point), (bench_.input.modifiers() & platform::key_shift) != 0);
    return press_result::drag;
  }
  std::shared_ptr<drag_handler> get_drag_handler(mouse_button, math::point) override {
    return std::make_shared<select_drag>(std::static_pointer_cast<picture_text>(shared_from_this()));
  }
  cursor_shape get_cursor(math::point point) override {
    return holds(on_screen(), point) ? cursor_shape::text : cursor_shape::arrow;
  }

 private:
  class select_drag : public drag_handler {
   public:
    explicit select_drag(std::shared_ptr<picture_text> text) : text_(std::move(text)) {}
    void begin(math::point) override {}
    void move(math::point point) override { text_->editor_.go_to(text_->unit_at(point), true); }
    void end(math::point) override {}
    void cancel() override {}
    cursor_shape get_cursor(math::point) override { return cursor_shape::text; }

   private:
    std::shared_ptr<picture_text> text_;
  };

  workbench& bench_;
  panel::edits changes_;
  text_editor editor_;
  int layer_ = 0;  // id of the edited one
  rectangle caret_;

  ksn::track_info* edited() {
    const int index = bench_.composition.doc.index_of_id(layer_);
    return index < 0 ? nullptr : &bench_.composition.doc.track_at(index);
  }

  void start() {
    const ksn::track_info& track = *bench_.composition.doc.selected_track();
    layer_ = track.id;
    changes_.begin();
    editor_.start(track.lettering.text, true);
    bench_.pipeline.written_layer = layer_;
    bench_.input.take_focus({shared_from_this(), this});
  }

  void finish(bool kept) {
    // What was not composed to its end is dropped.
    editor_.compose({});
    if (ksn::track_info* track = edited(); kept && track) track->lettering.text = editor_.text();
    changes_.end(field, kept);
    bench_.pipeline.written_layer = 0;
    layer_ = 0;
    bench_.composition.touch();
    bench_.input.ask_redraw();
  }

  // The layer follows what is typed.
  void show() {
    ksn::track_info* track = edited();
    if (!track) {
      // The layer was taken away while its text was edited.
      bench_.input.drop_focus(this);
      return finish(true);
    }
    changes_.make(field, [&] { track->lettering.text = lib::to_utf8(editor_.shown_units()); });
  }

  std::vector<render::line_place> places(const ksn::track_info& track, const std::string& text) {
    return render::place_text_lines(bench_.pipeline.fonts(), track.lettering.text_attr, text, track.source.width,
                                    track.source.height);
  }
  rectangle caret_of(const ksn::track_info& track, const std::string& text,
                     const std::vector<render::line_place>& lines, std::size_t byte) {
    return render::caret_place(bench_.pipeline.fonts(), track.lettering.text_attr, text, lines, byte);
  }

  // --- between the layer's pixels and those of the window ---

  rectangle on_screen() {
    const ksn::track_info* track = edited();
    const math::point size = bench_.layout().size;
    return track ? render::picture_place(*track, save::preview_view(bench_.composition, size.x, size.y)) : rectangle();
  }
  rectangle to_screen(const rectangle& box) {
    const ksn::track_info& track = *edited();
    const rectangle picture = on_screen();
    const auto place = [](int value, int size, int first, int last, bool mirrored) {
      const double part = static_cast<double>(mirrored ? size - value : value) / size;
      return first + static_cast<int>(part * (last - first));
    };
    const auto x = [&](int value) {
      return place(value, track.source.width, picture.left, picture.right, track.placement.flip_x);
    };
    const auto y = [&](int value) {
      return place(value, track.source.height, picture.top, picture.bottom, track.placement.flip_y);
    };
    const auto [left, right] = std::minmax({x(box.left), x(box.right)});
    const auto [top, bottom] = std::minmax({y(box.top), y(box.bottom)});
    return {left, top, right, bottom};
  }
  std::size_t unit_at(math::point point) {
    const ksn::track_info* track = edited();
    const rectangle picture = on_screen();
    if (!track || picture.empty()) return 0;
    const auto back = [](int value, int size, int first, int last, bool mirrored) {
      const double part = static_cast<double>(value - first) / (last - first);
      return static_cast<int>((mirrored ? 1 - part : part) * size);
    };
    const int x = back(point.x, track->source.width, picture.left, picture.right, track->placement.flip_x);
    const int y = back(point.y, track->source.height, picture.top, picture.bottom, track->placement.flip_y);
    const std::string text = editor_.text();
    const std::size_t byte =
        render::byte_at_place(bench_.pipeline.fonts(), track->lettering.text_attr, text, places(*track, text), x, y);
    return unit_of(text, byte);
  }

  // To the line above or below as it stands on the picture.
  void step_line(int direction, bool extend) {
    const ksn::track_info* track = edited();
    if (!track) return;
    const std::string text = editor_.text();
    const std::vector<render::line_place> lines = places(*track, text);
    const rectangle caret = caret_of(*track, text, lines, byte_of(editor_.units(), editor_.caret()));
    const int y = (caret.top + caret.bottom) / 2 + direction * (caret.bottom - caret.top);
    if (y < lines.front().top) return editor_.go_to(0, extend);
    if (y >= lines.back().top + lines.back().height) return editor_.go_to(editor_.units().size(), extend);
    const std::size_t byte =
        render::byte_at_place(bench_.pipeline.fonts(), track->lettering.text_attr, text, lines, caret.left, y);
    editor_.go_to(unit_of(text, byte), extend);
  }

  // The places in the window of the text between two bytes, line by line.
  void for_each_box(const ksn::track_info& track, const std::string& text, const std::vector<render::line_place>& lines,
                    std::size_t first, std::size_t last, const std::function<void(const rectangle& box)>& each) {
    text::fonts& fonts = bench_.pipeline.fonts();
    for (const render::line_place& line : lines) {
      const std::size_t from = std::max(first, line.first);
      const std::size_t to = std::min(last, line.last);
      if (from >= to) continue;
      rectangle box = render::caret_place(fonts, track.lettering.text_attr, text, lines, from);
      box.right = render::caret_place(fonts, track.lettering.text_attr, text, lines, to).left;
      each(to_screen(box));
    }
  }
};

}  // namespace

std::shared_ptr<ui_object> make_picture_text(workbench& bench) {
  return std::make_shared<picture_text>(bench);
}

}  // namespace ui
