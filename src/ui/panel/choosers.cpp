// Choosers whose lists are made when they open.
#include <algorithm>

#include "composition/opening/versions.h"
#include "img/format.h"
#include "ui/panel/cells.h"
#include "ui/widgets/chooser.h"

namespace ui::panel {
namespace {

using command::field_value;
using command::field_view;

// A chooser of the texts that a text field takes: `shown` is what the list says, `stored` what the field gets.
struct entry {
  std::string shown;
  std::string stored;
};

std::shared_ptr<ui_object> make_text_chooser(const binding& bound, const char* name, const widget_box& box,
                                             std::function<std::vector<entry>()> entries) {
  const field_view field = bound.field(name);
  ui_chooser::parts parts;
  parts.texts = [entries] {
    std::vector<std::string> texts;
    for (const entry& one : entries()) texts.push_back(one.shown);
    return texts;
  };
  parts.get = [field, entries] {
    const std::optional<field_value> value = field.value();
    if (!value) return -1;
    const std::vector<entry> all = entries();
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const entry& one) { return one.stored == value->text; });
    return found == all.end() ? -1 : static_cast<int>(found - all.begin());
  };
  parts.set = [&bound, field, entries, name](int index) {
    const std::vector<entry> all = entries();
    if (index >= static_cast<int>(all.size())) return;
    bound.changes.make(name, [&] {
      field_value value;
      value.text = all[static_cast<std::size_t>(index)].stored;
      field.set_value(value);
    });
  };
  parts.enabled = [field] { return field.has_record(); };
  return std::make_shared<ui_chooser>(bound.bench.host, box, std::move(parts));
}

// The pictures of a file, and in a list of their own its single channels, which are read as the list opens.
class picture_chooser : public ui_basic_chooser {
 public:
  picture_chooser(const binding& bound, widget_box box)
      : ui_basic_chooser(bound.bench.host, box), bound_(bound), field_(bound.field(field_name)) {}

  void mouse_up(mouse_button button, math::point point, bool double_click) override {
    list_channels();
    ui_basic_chooser::mouse_up(button, point, double_click);
    channels_.clear();
  }

 protected:
  std::vector<std::string> texts() const override {
    std::vector<std::string> texts;
    for (entry& one : all()) texts.push_back(std::move(one.shown));
    return texts;
  }
  int current_index() const override {
    const std::optional<field_value> now = field_.value();
    if (!now) return -1;
    const std::vector<entry> list = all();
    const auto found =
        std::find_if(list.begin(), list.end(), [&](const entry& one) { return one.stored == now->text; });
    return found == list.end() ? -1 : static_cast<int>(found - list.begin());
  }
  void select(int index) override {
    const std::string name = all()[static_cast<std::size_t>(index)].stored;
    bound_.changes.make(field_name, [&] {
      field_value value;
      value.text = name;
      field_.set_value(value);
    });
  }
  bool is_enabled() const override { return field_.has_record(); }
  int nested() const override { return static_cast<int>(channels_.size()); }
  std::string nested_text() const override { return bound_.bench.text("img_layer_chooser.channels"); }
  std::string shown_text() const override {
    const std::string text = ui_basic_chooser::shown_text();
    const ksn::track_info* track = first_layer(bound_);
    const std::size_t count = track ? track->source.image_layers.size() : 0;
    return count < 2 ? text : text + " (" + std::to_string(count) + ")";
  }

 private:
  static constexpr const char* field_name = "image_layer";
  const binding& bound_;
  field_view field_;
  std::vector<std::string> channels_;  // while the list is open, without those that are among the pictures

  std::vector<entry> pictures() const {
    std::vector<entry> list{{bound_.bench.text("img_layer_chooser.default"), ""}};
    const ksn::track_info* track = first_layer(bound_);
    if (!track) return list;
    for (const img::layer& layer : track->source.image_layers) {
      if (!layer.name.empty()) list.push_back({layer.name, layer.name});
    }
    return list;
  }
  static bool holds(const std::vector<entry>& list, const std::string& name) {
    return std::any_of(list.begin(), list.end(), [&](const entry& one) { return one.stored == name; });
  }
  std::vector<entry> all() const {
    std::vector<entry> list = pictures();
    for (const std::string& name : channels_) list.push_back({name, name});
    // A channel that was chosen by its name.
    const ksn::track_info* track = first_layer(bound_);
    if (track && !holds(list, track->source.image_layer.name)) {
      const std::string& name = track->source.image_layer.name;
      list.insert(list.end() - static_cast<std::ptrdiff_t>(channels_.size()), {name, name});
    }
    return list;
  }
  void list_channels() {
    channels_.clear();
    const ksn::track_info* track = first_layer(bound_);
    const std::string path = track ? track->source.frame_path(0) : std::string();
    const img::format* format = path.empty() ? nullptr : img::find_format(path);
    if (!format || !format->has_named_layers()) return;
    const std::vector<entry> list = pictures();
    try {
      for (std::string& name : format->list_channels(path)) {
        if (!holds(list, name)) channels_.push_back(std::move(name));
      }
    } catch (const std::exception&) {
      // A file that can't be read now has been told of where its picture failed.
      channels_.clear();
    }
  }
};

}  // namespace

std::shared_ptr<ui_object> make_picture_chooser(const binding& bound, const widget_box& box) {
  return std::make_shared<picture_chooser>(bound, box);
}

std::shared_ptr<ui_object> make_layer_chooser(const binding& bound, const widget_box& box) {
  return make_text_chooser(bound, "alpha_source", box, [&bound] {
    std::vector<entry> all{{bound.bench.text("panel.no_layer"), "none"}};
    for (const ksn::track_info& track : bound.bench.composition.doc.tracks) {
      const std::string number = std::to_string(all.size());
      all.push_back({number + "  " + track.name, number});
    }
    return all;
  });
}

std::shared_ptr<ui_object> make_version_chooser(const binding& bound, const widget_box& box) {
  ui_chooser::parts parts;
  const auto versions = [&bound] {
    const ksn::track_info* track = first_layer(bound);
    std::vector<std::string> all = track ? track->source.versions : std::vector<std::string>();
    if (track && all.empty() && !track->source.version.empty()) all.push_back(track->source.version);
    return all;
  };
  parts.texts = [&bound, versions] {
    std::vector<std::string> all = versions();
    all.push_back(bound.bench.text("pp_tab_source.scan_for_new_versions"));
    return all;
  };
  parts.get = [&bound, versions] {
    const ksn::track_info* track = first_layer(bound);
    const std::vector<std::string> all = versions();
    const auto found = track ? std::find(all.begin(), all.end(), track->source.version) : all.end();
    return found == all.end() ? -1 : static_cast<int>(found - all.begin());
  };
  parts.set = [&bound, versions](int index) {
    ksn::state& composition = bound.bench.composition;
    const std::vector<std::string> all = versions();
    const bool scans = index >= static_cast<int>(all.size());
    bound.changes.make("version", [&] {
      for (const int layer : composition.doc.selection) {
        ksn::track_info& track = composition.doc.track_at(layer);
        if (track.source.version.empty()) continue;
        scans ? ksn::scan_versions(track) : ksn::set_version(composition, track, all[static_cast<std::size_t>(index)]);
      }
    });
  };
  parts.enabled = [&bound] {
    const ksn::track_info* track = first_layer(bound);
    return track && !track->source.version.empty();
  };
  parts.count = [versions] { return static_cast<int>(versions().size()); };
  parts.actions = 1;
  return std::make_shared<ui_chooser>(bound.bench.host, box, std::move(parts));
}

}  // namespace ui::panel
