// The state of the program that its user works on, and what it asks of the floors above.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "composition/document.h"
#include "composition/settings.h"
#include "composition/view.h"
#include "composition/workspace.h"

namespace platform {
class folder_watcher;
}

namespace ksn {

class state;
class undo_action;

// The record that documents and settings are stored from and read into.
struct composition_view {
  document doc;
  ksn::view view;
  ksn::workspace workspace;
  ksn::settings settings;
  bool operator==(const composition_view&) const = default;
};

// Requests of the document to the floors above it. By default nothing happens; the owner of the document binds what it
// has, and a test binds its own.
struct state_hooks {
  // One error line without its line feed, as it stands.
  std::function<void(const std::string&)> report_error = [](const auto&) {};
  std::function<void(const track_info&)> request_preload = [](const auto&) {};
  std::function<void(const track_info&)> cancel_preload = [](const auto&) {};
  std::function<void()> stop_preload = [] {};
  std::function<void()> start_audio = [] {};
  // Pictures of a file, or of all files directly in a folder, leave the frame cache.
  std::function<void(const std::string&)> drop_path = [](const auto&) {};
  std::function<void(const std::string&)> drop_folder = [](const auto&) {};
  // The picture of a file leaves the cache when the file is newer; the same for all files directly in a folder.
  std::function<void(const std::string&)> drop_changed = [](const auto&) {};
  std::function<void(const std::string&)> drop_changed_in = [](const auto&) {};
  std::function<void()> clear_cache = [] {};
  // A layer's picture changed or the layer goes away: what is kept for it outside the document is dropped.
  std::function<void(int layer_id)> forget_layer = [](int) {};
  std::function<void()> refresh_caption = [] {};
  // `fit` became `due` or `asked`: a window zooms now, and one that opens later when it does.
  std::function<void()> fit_view = [] {};
  // The current document joins the unsaved items, under its name or as unnamed.
  std::function<void()> file_among_unsaved = [] {};
  // The user's text for a key of the message catalogue; the key itself without one.
  std::function<std::string(std::string_view key)> text = [](std::string_view key) { return std::string(key); };
};

// How a window comes to its zoom.
enum class view_fit {
  open,    // by the first layer of a new composition
  due,     // that layer is there: to fit, but not above 100 %
  asked,   // `zoom=fit`: to fit all visible layers
  settled  // the zoom is what was told, or fitted
};

// The one document of a process.
class state : public composition_view {
 public:
  state_hooks hooks;
  std::string file_name;  // of the composition, empty before a first save

  // --- ways into the stack; those that can fail return false after an error line ---
  // Opens `path` into a fresh record: a folder, a picture or its sequence, a movie, a sound.
  bool route_source(track_info& record, const std::string& path, bool single_image, ksn::alpha_type default_alpha);
  // Opens `path` as a layer, after the end of the selected one or along with its other eye if told so.
  bool add(const std::string& path, bool single_image, bool after_selected, bool other_view);
  // The frames that `range` lists, there or not; a path that is no numbered picture is added as by add().
  bool add_with_range(const std::string& path, const std::string& range);
  // A sequence of the files that match the name of `path`, of itself alone when there are none yet.
  bool add_forced_sequence(const std::string& path);
  // Puts the record on top of the stack, selects it and fits the timeline.
  void enter_stack(track_info record, bool apply_default_aspect);
  // Layers made inside, as large as the output mask.
  void new_adjustment_layer(int frames = 1);
  void new_brush_layer(int frames = 1);
  void new_brush_sequence_layer(int frames = 1);
  void new_text_layer(int frames = 1);
  // A layer that shows the video input of that name, or without one the first; false after an error line.
  bool new_video_layer(const std::string& device = {});
  // Not undoable.
  void layer_delete_all();
  // Deletes all layers and takes the settings of a new document.
  void new_composition(bool file_among_unsaved);

  // Grows with everything that may change what is shown: at the end of each command, with each step of undo, with what
  // a watched folder brings. Who changes the document in another way calls touch(). The time of a playing clock is not
  // counted. Who draws or hands out pictures compares it with the number that it drew at.
  unsigned long long revision = 0;
  void touch() { ++revision; }

  // --- undo: one step (undo.h) ---
  std::shared_ptr<undo_action> undo_stack;
  void set_undo_action(std::shared_ptr<undo_action> action);
  // Whether there is an action, and the composition still is as it left it.
  bool can_undo() const;
  void undo();

  // --- run-time state that is never stored ---
  int interface_scale = 1;  // of the main window's interface, 1 or 2
  view_fit fit = view_fit::open;
  bool has_window = false;
  bool plain_sampling = false;  // playing can't afford a smooth view
  // The folders of watched sequences, by layer id; made with the first watch.
  std::shared_ptr<platform::folder_watcher> watcher;

  // The catalogue text of a key, or the key itself without a catalogue.
  std::string catalogue_text(std::string_view key) const;
  void report_error(const std::string& line) const { hooks.report_error(line); }
};

}  // namespace ksn
