// Choosers whose lists are made when they open.
#include <algorithm>

#include "composition/opening/versions.h"
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
                                             std::function<std::vector<entry>()> entries,
                                             std::function<int()> count = {}) {
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
  parts.count = std::move(count);
  return std::make_shared<ui_chooser>(bound.bench.host, box, std::move(parts));
}

}  // namespace

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

std::shared_ptr<ui_object> make_picture_chooser(const binding& bound, const widget_box& box) {
  return make_text_chooser(
      bound, "image_layer", box,
      [&bound] {
        std::vector<entry> all{{bound.bench.text("img_layer_chooser.default"), ""}};
        const ksn::track_info* track = first_layer(bound);
        if (!track) return all;
        for (const img::layer& layer : track->source.image_layers) {
          if (!layer.name.empty()) all.push_back({layer.name, layer.name});
        }
        // A channel that was chosen by its name.
        const std::string& now = track->source.image_layer.name;
        if (std::none_of(all.begin(), all.end(), [&](const entry& one) { return one.stored == now; })) {
          all.push_back({now, now});
        }
        return all;
      },
      [&bound] {
        const ksn::track_info* track = first_layer(bound);
        return track ? static_cast<int>(track->source.image_layers.size()) : 0;
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
  return std::make_shared<ui_chooser>(bound.bench.host, box, std::move(parts));
}

}  // namespace ui::panel
